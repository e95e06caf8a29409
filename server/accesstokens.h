// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/serverglobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <optional>

namespace pellix::server {

class PELLIXCLIENT_SERVER_EXPORT AccessTokens
{
public:
    struct Holder
    {
        QString name;
        QString role;
    };

    bool load(const QString &fileName, QString *error = nullptr);
    bool save(const QString &fileName, QString *error = nullptr) const;

    QByteArray create(const QString &name, const QString &role);
    bool revoke(const QString &name);

    std::optional<Holder> find(const QByteArray &token) const;
    QList<Holder> holders() const;
    bool isEmpty() const;

private:
    friend class ClientCredentials;
    struct Token
    {
        QByteArray digest;
        Holder holder;
    };

    static QByteArray digestOf(const QByteArray &token);
    std::optional<Holder> findDigest(const QByteArray &digest) const;
    QString add(const Token &token);

    QList<Token> tokens;
};

} // namespace pellix::server
