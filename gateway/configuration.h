// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/configurationobject.h"
#include "gateway/sourcetype.h"
#include "server/clientidentification.h"
#include "server/limits.h"
#include "server/role.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslKey>

#include <memory>
#include <optional>

namespace pellix::gateway {

using SourceTypes = QList<const SourceType *>;

// The configuration of a gateway. The files that it names have already been read: certificates,
// tokens, and the files of the sources.
struct Configuration
{
    struct Listener
    {
        QHostAddress address;
        quint16 port = 0;
        bool isUnencryptedAllowed = false; // on addresses other than loopback
        QList<QSslCertificate> chain; // empty: not encrypted
        QSslKey key;
        QStringList origins;
        server::ClientIdentification identification;

        bool isSamePlace(const Listener &other) const;
    };
    struct Source
    {
        QString name;
        QString mount;
        std::shared_ptr<const SourceSettings> settings;
    };
    struct Health
    {
        QHostAddress address;
        quint16 port = 0;
    };

    QList<Listener> listeners;
    QList<server::Role> roles;
    server::Limits limits;
    int clients = 500; // limit for each listener
    QList<Source> sources;
    std::optional<Health> health;
    QString self; // path of the gateway's own keywords; empty: none
    QString audit; // the file that gets a line for each write of a client; empty: none

    // Returns nothing if there are problems.
    static std::optional<Configuration> read(const QString &fileName, const SourceTypes &types,
                                             ConfigurationProblems *problems);
    // Relative file names refer to the folder.
    static std::optional<Configuration> parse(const QByteArray &json, const QString &folder,
                                              const SourceTypes &types,
                                              ConfigurationProblems *problems);
};

} // namespace pellix::gateway
