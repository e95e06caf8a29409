// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariantMap>
#include <QtNetwork/QNetworkRequest>

#include <optional>

namespace pellix::extras {

// By what a client says who it is, besides its certificate.
struct Credentials
{
    QString token;
    QVariantMap headers;
    bool allowedPlain = false; // over ws://, which anybody on the way can read
};

// One address as it is opened.
struct ConnectionTarget
{
    QNetworkRequest request; // without user and password in its address
    QString shown;
    QStringList secrets; // not to be told, whoever repeats them
    bool encrypted = false;
};

// Nothing, and the reason in words, if no connection is to be made with these.
std::optional<ConnectionTarget> connectionTarget(const QString &address,
                                                 const Credentials &credentials, QString *problem);

} // namespace pellix::extras
