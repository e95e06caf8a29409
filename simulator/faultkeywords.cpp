// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "simulator/faultkeywords.h"

#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"

#include <QtCore/QTimer>

#include <chrono>

namespace pellix::simulator {

using server::KeywordServer;

namespace {

using Action = std::function<void(const QVariant &)>;

void declareFault(KeywordServer *server, FaultyWebSocketServer *socketServer, const char *name,
                  const char *type, const QVariant &value, const char *label, const Action &action)
{
    KeywordServer::Keyword keyword;
    keyword.path = QStringLiteral("/simulator/faults/") + QString::fromLatin1(name);
    keyword.type = QString::fromLatin1(type);
    keyword.access = QStringLiteral("RW");
    keyword.label = QString::fromLatin1(label);
    keyword.value = value;
    server->declare(keyword);
    // The action is executed after the reply to the write, because most faults close the connection
    // of the writer.
    server->setWriteCheck(keyword.path, [socketServer, action](const QVariant &written) {
        QTimer::singleShot(0, socketServer, [action, written] { action(written); });
        return true;
    });
}

} // namespace

/*!
    \relates FaultyWebSocketServer

    Declares keywords on \a server, below /simulator/faults, with which a client controls the faults
    of \a socketServer. Both must exist as long as the keywords.
*/
void declareFaultKeywords(KeywordServer *server, FaultyWebSocketServer *socketServer)
{
    const auto declare = [=](const char *name, const char *type, const QVariant &value,
                             const char *label, const Action &action) {
        declareFault(server, socketServer, name, type, value, label, action);
    };
    const auto declareTrigger = [&](const char *name, const char *label, auto &&action) {
        const QString path = QStringLiteral("/simulator/faults/") + QString::fromLatin1(name);
        declare(name, "bool", false, label, [=](const QVariant &written) {
            server->setValue(path, false); // reset for the next write
            if (written.toBool())
                action();
        });
    };
    declare("silent", "bool", false, "Become unresponsive",
            [=](const QVariant &on) { socketServer->setSilent(on.toBool()); });
    declare("answerDelay", "int", 0, "Delay of replies in ms", [=](const QVariant &delay) {
        socketServer->setAnswerDelay(std::chrono::milliseconds(qMax(0, delay.toInt())));
    });
    declare("duplicateIndexItems", "bool", false, "List children twice",
            [=](const QVariant &on) { socketServer->setDuplicateIndexItems(on.toBool()); });
    declare("wrongRequestIds", "bool", false, "Reply with wrong identifiers",
            [=](const QVariant &on) { socketServer->setWrongRequestIds(on.toBool()); });
    declareTrigger("close", "Close all connections", [=] { socketServer->closeClients(); });
    declareTrigger("abort", "Abort all connections", [=] { socketServer->abortClients(); });
    declareTrigger("garbage", "Send garbage", [=] {
        socketServer->sendText(QStringLiteral("{\"cmd\":\"keyEvent\",\"payload\":[1,2"));
    });
    declareTrigger("binary", "Send a binary message",
                   [=] { socketServer->sendBinary(QByteArray("\0\1\2\3", 4)); });
    declareTrigger("restart", "Restart with empty state", [=] { socketServer->restart(); });
}

} // namespace pellix::simulator
