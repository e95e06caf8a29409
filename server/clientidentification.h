// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/accesstokens.h"
#include "server/serverglobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QSslCertificate>

namespace pellix::server {

struct PELLIXCLIENT_SERVER_EXPORT ClientIdentification
{
    struct Certificate
    {
        QString subject;
        QString name;
        QString role;
    };
    struct Proxy
    {
        QList<QPair<QHostAddress, int>> addresses;
        QByteArray addressHeader;
        QByteArray subjectHeader;
    };
    static constexpr QLatin1String fullRights {"*"};

    QString problem() const;

    QString role;
    AccessTokens tokens;
    bool tokensInPath = false;
    QList<QSslCertificate> authorities;
    QList<Certificate> certificates;
    Proxy proxy;
};

} // namespace pellix::server
