// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/support/recordingclient.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QMap>

#include <functional>

// A client whose index queries are answered by the test, or immediately from a list of keywords and
// their types. It counts its requests.
class AnsweringClient : public RecordingClient
{
public:
    AnsweringClient()
    {
        answer = [this](const QByteArray &data) { take(data); };
    }

    void link(bool linked) { publisher()->setActive(linked); }

    // Replies to the latest query.
    void list(const QStringList &names, const QString &type = QStringLiteral("double"))
    {
        QJsonArray children;
        for (const QString &name : names) {
            children.append(
                QJsonObject {{QStringLiteral("name"), name}, {QStringLiteral("type"), type}});
        }
        send(QStringLiteral("keyIndex"),
             {{QStringLiteral("request"), lastQuery}, {QStringLiteral("response"), children}});
    }
    void label(const QString &keyword, const QString &text)
    {
        value(keyword + QStringLiteral("/Label"), text, QStringLiteral("string"));
    }
    void value(const QString &keyword, const QJsonValue &value,
               const QString &type = QStringLiteral("double"), const QString &flags = {})
    {
        const QJsonObject event {{QStringLiteral("keyword"), keyword},
                                 {QStringLiteral("value"), value},
                                 {QStringLiteral("type"), type},
                                 {QStringLiteral("connected"), !flags.contains(QLatin1Char('c'))},
                                 {QStringLiteral("online"), !flags.contains(QLatin1Char('o'))},
                                 {QStringLiteral("consistent"), !flags.contains(QLatin1Char('i'))},
                                 {QStringLiteral("error"), flags.contains(QLatin1Char('e'))}};
        told.insert(keyword, event);
        send(QStringLiteral("keyEvent"), event);
    }

    QMap<QString, QString> tree; // if set, queries are answered within the call that sends them
    QStringList queries; // the paths, such as "/a/b"
    QStringList created;
    bool repeats = false; // if set, an event is sent within a create request for a known keyword
    QStringList updates; // the values, as JSON
    QStringList destroyed;
    std::function<void(const QString &keyword)> onCreate;
    std::function<void(const QString &keyword)> onDestroy;

private:
    void take(const QByteArray &data)
    {
        const QJsonObject command = QJsonDocument::fromJson(data).object();
        const QJsonObject payload = command[QLatin1String("payload")].toObject();
        const QString name = command[QLatin1String("cmd")].toString();
        const QString keyword = payload[QLatin1String("keyword")].toString();
        if (name == QLatin1String("keyCreateOrUpdate")) {
            created.append(keyword);
            if (const auto handler = onCreate)
                handler(keyword);
            else if (repeats && told.contains(keyword))
                send(QStringLiteral("keyEvent"), told.value(keyword));
        } else if (name == QLatin1String("keyUpdate")) {
            const QJsonArray value {payload[QLatin1String("value")]};
            const QByteArray text = QJsonDocument(value).toJson(QJsonDocument::Compact);
            updates.append(QString::fromUtf8(text.mid(1, text.size() - 2)));
        } else if (name == QLatin1String("keyDestroy")) {
            destroyed.append(keyword);
            if (const auto handler = onDestroy)
                handler(keyword);
        } else if (name == QLatin1String("keyIndex")) {
            lastQuery = payload;
            const QString path = pathOf(payload);
            queries.append(path);
            if (!tree.isEmpty())
                answerFromTree(path);
        }
    }
    static QString pathOf(const QJsonObject &query)
    {
        QString path;
        for (const char *level : {"factory", "instance"}) {
            if (query.contains(QLatin1String(level)))
                path += QLatin1Char('/') + query[QLatin1String(level)].toString();
        }
        const QJsonArray below = query[QLatin1String("keyQuery")].toArray();
        for (const auto &level : below)
            path += QLatin1Char('/') + level.toString();
        return path.isEmpty() ? QStringLiteral("/") : path;
    }
    void answerFromTree(const QString &path)
    {
        const QString above = path == QLatin1String("/") ? path : path + QLatin1Char('/');
        QMap<QString, QString> below;
        for (auto keyword = tree.cbegin(); keyword != tree.cend(); ++keyword) {
            if (!keyword.key().startsWith(above))
                continue;
            const QString rest = keyword.key().mid(above.size());
            const QString child = above + rest.section(QLatin1Char('/'), 0, 0);
            below.insert(child, tree.value(child));
        }
        QJsonArray children;
        for (auto child = below.cbegin(); child != below.cend(); ++child) {
            children.append(QJsonObject {{QStringLiteral("name"), child.key()},
                                         {QStringLiteral("type"), child.value()}});
        }
        send(QStringLiteral("keyIndex"),
             {{QStringLiteral("request"), lastQuery}, {QStringLiteral("response"), children}});
    }
    void send(const QString &cmd, const QJsonObject &payload)
    {
        receiveCommand(QJsonDocument(QJsonObject {{QStringLiteral("cmd"), cmd},
                                                  {QStringLiteral("payload"), payload}})
                           .toJson(QJsonDocument::Compact));
    }

    QJsonObject lastQuery;
    QMap<QString, QJsonObject> told;
};
