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

// What a gateway is to do. All that is named in it has been read: certificates, tokens and what a
// source needs.
struct Configuration
{
    struct Listener
    {
        QHostAddress address;
        quint16 port = 0;
        bool isUnencryptedAllowed = false; // beyond loopback
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
    int clients = 500; // of each listener
    QList<Source> sources;
    std::optional<Health> health;
    QString self; // where the gateway tells of itself; empty: nowhere
    QString audit; // the file that gets a line for each write of a client; empty: none

    // Nothing if there are problems.
    static std::optional<Configuration> read(const QString &fileName, const SourceTypes &types,
                                             ConfigurationProblems *problems);
    // Relative file names are below the folder.
    static std::optional<Configuration> parse(const QByteArray &json, const QString &folder,
                                              const SourceTypes &types,
                                              ConfigurationProblems *problems);
};

} // namespace pellix::gateway
