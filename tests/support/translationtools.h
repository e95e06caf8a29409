// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QLibraryInfo>
#include <QtCore/QStandardPaths>
#include <QtCore/QString>

// The path of lupdate or lrelease of this Qt, or an empty string, because they are in a separate
// package.
inline QString translationTool(const QString &name)
{
    return QStandardPaths::findExecutable(name, {QLibraryInfo::path(QLibraryInfo::BinariesPath)});
}
