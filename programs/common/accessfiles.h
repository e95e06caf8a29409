// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

// The options for access to a server: --ca, --cert, --key, and --token-file.
namespace programs {

struct AccessFiles
{
    std::optional<QString> authorities;
    std::optional<QString> certificate;
    std::optional<QString> key;
    std::optional<QString> token;
};

// Returns the problem with these options for the addresses, or an empty string. Opens no file.
QString accessProblem(const AccessFiles &files, const QStringList &addresses);

// Returns the token in a file, without a line break at its end; or sets problem, and returns an
// empty string.
QString readToken(const QString &fileName, QString *problem);

} // namespace programs
