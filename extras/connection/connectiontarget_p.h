// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariantMap>
#include <QtNetwork/QNetworkRequest>

#include <optional>

namespace pellix::extras {

// The credentials of a client, apart from its certificate.
struct Credentials
{
    QString token;
    QVariantMap headers;
    bool allowedPlain = false; // over ws://, which is not encrypted
};

// One address, as used to open a connection.
struct ConnectionTarget
{
    QNetworkRequest request; // without user and password in its address
    QString shown;
    QStringList secrets; // must not be shown, even if the server repeats them
    bool encrypted = false;
};

// Nothing, and the reason as text, if these do not allow a connection.
std::optional<ConnectionTarget> connectionTarget(const QString &address,
                                                 const Credentials &credentials, QString *problem);

} // namespace pellix::extras
