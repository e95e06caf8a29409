// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/keywordserver.h"
#include "server/keywordsession.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <memory>
#include <utility>

inline QString q(const char *text)
{
    return QString::fromUtf8(text);
}

inline pellix::server::KeywordServer::Keyword keyword(const char *path, const char *type,
                                                      const QVariant &value,
                                                      const char *access = "RW",
                                                      const char *label = "")
{
    pellix::server::KeywordServer::Keyword result;
    result.path = q(path);
    result.type = q(type);
    result.access = q(access);
    result.label = q(label);
    result.value = value;
    return result;
}

// A client that sends commands, and records events as "keyword=value flags" and index replies as
// names.
class Client : public QObject
{
public:
    explicit Client(pellix::server::KeywordServer *server) : Client(server->openSession()) { }
    Client(pellix::server::KeywordServer *server, const char *role, const char *name = "somebody")
        : Client(server->openSession({q(name), q("127.0.0.1:1"), q(role)}))
    { }
    explicit Client(pellix::server::KeywordSession *opened) : session(opened)
    {
        connect(session.get(), &pellix::server::KeywordSession::send, this,
                [this](const QByteArray &message) {
                    const QJsonObject object = QJsonDocument::fromJson(message).object();
                    const QJsonObject payload = object.value(q("payload")).toObject();
                    messages << message;
                    if (object.value(q("cmd")) == q("keyEvent")) {
                        QString flags;
                        for (const char *flag : {"connected", "online", "consistent", "error"}) {
                            flags += payload.value(q(flag)).toBool() ? QLatin1Char(flag[0])
                                                                     : QLatin1Char('-');
                        }
                        const QByteArray value =
                            QJsonDocument(QJsonArray {payload.value(q("value"))})
                                .toJson(QJsonDocument::Compact);
                        seen << q("%1=%2 %3")
                                    .arg(payload.value(q("keyword")).toString(),
                                         QString::fromUtf8(value.mid(1, value.size() - 2)), flags);
                    } else {
                        QStringList names;
                        const QJsonArray items = payload.value(q("response")).toArray();
                        for (const auto &item : items)
                            names << item.toObject().value(q("name")).toString();
                        seen << names.join(QLatin1Char(' '));
                    }
                });
    }

    void command(const char *name, const char *payload)
    {
        session->receive(q(R"({"cmd":"%1","payload":%2})").arg(q(name), q(payload)).toUtf8());
    }
    void create(const char *path)
    {
        command("keyCreateOrUpdate", qPrintable(q(R"({"keyword":"%1"})").arg(q(path))));
    }
    void update(const char *path, const char *value, bool relative = false)
    {
        command("keyUpdate",
                q(R"({"keyword":"%1","value":%2%3})")
                    .arg(q(path), q(value),
                         relative ? q(R"(,"valueChangeMode":"relative")") : QString())
                    .toUtf8()
                    .constData());
    }
    QString taken() { return std::exchange(seen, {}).join(q(" | ")); }

    std::unique_ptr<pellix::server::KeywordSession> session;
    QStringList seen;
    QList<QByteArray> messages;
};
