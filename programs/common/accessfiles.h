// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

// The options by which a program gets into a server: --ca, --cert, --key, --token-file.
namespace programs {

struct AccessFiles
{
    std::optional<QString> authorities;
    std::optional<QString> certificate;
    std::optional<QString> key;
    std::optional<QString> token;
};

// What is wrong with them for these addresses, or an empty text. No file is opened.
QString accessProblem(const AccessFiles &files, const QStringList &addresses);

// The token in a file, which may end with a line break as editors write it; or an empty text, and
// the problem.
QString readToken(const QString &fileName, QString *problem);

} // namespace programs
