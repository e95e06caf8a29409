// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

// The candidate that a mistyped or shortened word most likely stands for, in any case of letters;
// empty if there is none.
QString nearest(const QString &word, const QStringList &candidates);

// "; did you mean watch?" for the end of a message, or nothing.
QString suggestion(const QString &word, const QStringList &candidates, const QString &prefix = {});
