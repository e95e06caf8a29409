// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Commands of two clients to the server, one per line. A line that begins with a space comes from
// the second client. A line "!" replaces the second client.

#include "server/keywordserver.h"
#include "server/keywordsession.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <memory>

using namespace pellix::server;

namespace {

// A client. Every message of the server must be one that a client understands.
class Client
{
public:
    explicit Client(KeywordServer *server) : session(server->openSession())
    {
        QObject::connect(session.get(), &KeywordSession::send, session.get(),
                         [this](const QByteArray &bytes) {
                             const QJsonObject message = QJsonDocument::fromJson(bytes).object();
                             payloads.append(message.value(QLatin1String("payload")).toObject());
                             const bool isEvent = message.value(QLatin1String("cmd"))
                                 == QJsonValue(QLatin1String("keyEvent"));
                             if (isEvent)
                                 FUZZ_CHECK(client.receiveCommand(bytes));
                             else
                                 FUZZ_CHECK(message.value(QLatin1String("cmd"))
                                            == QJsonValue(QLatin1String("keyIndex")));
                         });
    }

    std::unique_ptr<KeywordSession> session;
    RecordingClient client;
    QList<QJsonObject> payloads; // since the last clear()
};

const QList<KeywordServer::Keyword> &keywords()
{
    static const QList<KeywordServer::Keyword> all = [] {
        QList<KeywordServer::Keyword> result;
        const auto add = [&result](const char *path, const char *type, const char *access,
                                   const QVariant &value) {
            KeywordServer::Keyword keyword;
            keyword.path = QString::fromLatin1(path);
            keyword.type = QString::fromLatin1(type);
            keyword.access = QString::fromLatin1(access);
            keyword.value = value;
            keyword.label = keyword.path.mid(1);
            result.append(keyword);
        };
        add("/p/b", "bool", "RW", true);
        add("/p/i", "int", "RW", 3);
        add("/p/d", "double", "RW", 1.5);
        add("/p/s", "string", "W", QStringLiteral("text"));
        add("/p/o", "object", "RW", QVariantMap());
        add("/p/r", "int", "R", 7);
        return result;
    }();
    return all;
}

bool fits(const QVariant &value, const QString &type)
{
    const int id = value.metaType().id();
    if (type == QLatin1String("bool"))
        return id == QMetaType::Bool;
    if (type == QLatin1String("int"))
        return id == QMetaType::LongLong;
    if (type == QLatin1String("double"))
        return id == QMetaType::Double;
    if (type == QLatin1String("string"))
        return id == QMetaType::QString;
    return id == QMetaType::QVariantMap || id == QMetaType::QVariantList;
}

QByteArray listing(KeywordServer *server)
{
    Client peer(server);
    QByteArray all;
    for (const char *payload : {"{}", R"({"factory":"p"})"}) {
        peer.session->receive(QByteArray(R"({"cmd":"keyIndex","payload":)") + payload + '}');
        FUZZ_CHECK(peer.payloads.size() == 1);
        const QJsonArray items =
            peer.payloads.takeFirst().value(QLatin1String("response")).toArray();
        all += QJsonDocument(items).toJson(QJsonDocument::Compact);
    }
    return all;
}

// For each keyword, the server must send the same as a server without previous clients.
void checkNothingIsLeft(KeywordServer *server, const QStringList &asked)
{
    KeywordServer fresh;
    for (KeywordServer::Keyword keyword : keywords()) {
        keyword.value = server->value(keyword.path);
        FUZZ_CHECK(fresh.declare(keyword));
    }
    for (const QString &keyword : asked) {
        const QJsonObject payload {{QStringLiteral("keyword"), keyword}};
        const QJsonObject message {{QStringLiteral("cmd"), QStringLiteral("keyCreateOrUpdate")},
                                   {QStringLiteral("payload"), payload}};
        const QByteArray command = QJsonDocument(message).toJson(QJsonDocument::Compact);
        Client peer(server);
        Client freshClient(&fresh);
        peer.session->receive(command);
        freshClient.session->receive(command);
        FUZZ_CHECK(peer.payloads == freshClient.payloads);
    }
}

} // namespace

void runInput(const QByteArray &input)
{
    KeywordServer server;
    for (const KeywordServer::Keyword &keyword : keywords())
        FUZZ_CHECK(server.declare(keyword));
    const QByteArray before = listing(&server);

    QStringList asked;
    auto first = std::make_unique<Client>(&server);
    auto second = std::make_unique<Client>(&server);
    for (const QByteArray &line : input.split('\n')) {
        if (line == "!") {
            second.reset();
            second = std::make_unique<Client>(&server);
            continue;
        }
        Client &peer = line.startsWith(' ') ? *second : *first;
        const QJsonObject message = QJsonDocument::fromJson(line).object();
        const QString command = message.value(QLatin1String("cmd")).toString();
        const QJsonObject payload = message.value(QLatin1String("payload")).toObject();
        const QString keyword = payload.value(QLatin1String("keyword")).toString();

        if (command == QLatin1String("keyCreateOrUpdate") && asked.size() < 16)
            asked.append(keyword);
        first->payloads.clear();
        second->payloads.clear();
        peer.session->receive(line);

        // Subscriptions and queries get a reply, and writes may cause events; other commands have
        // no reply.
        if (command == QLatin1String("keyIndex")) {
            FUZZ_CHECK(peer.payloads.size() == 1);
            FUZZ_CHECK(peer.payloads.constFirst().value(QLatin1String("request")).toObject()
                       == reread(payload));
        } else if (command == QLatin1String("keyCreateOrUpdate") && !keyword.isEmpty()) {
            FUZZ_CHECK(!peer.payloads.isEmpty());
            FUZZ_CHECK(peer.payloads.constLast().value(QLatin1String("keyword")).toString()
                       == reread(keyword));
        } else if (command != QLatin1String("keyUpdate")) {
            FUZZ_CHECK(first->payloads.isEmpty() && second->payloads.isEmpty());
        }

        for (const KeywordServer::Keyword &one : keywords())
            FUZZ_CHECK(fits(server.value(one.path), one.type));
        FUZZ_CHECK(server.value(QStringLiteral("/p/r")) == QVariant(7));
    }
    first.reset();
    second.reset();
    FUZZ_CHECK(server.sessionCount() == 0);
    checkNothingIsLeft(&server, asked);
    FUZZ_CHECK(server.keywordCount() == keywords().size());
    FUZZ_CHECK(listing(&server) == before);
}
