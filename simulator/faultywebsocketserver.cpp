// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "simulator/faultywebsocketserver.h"

#include "server/keywordserver.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTimer>
#include <QtCore/QUuid>
#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>

namespace pellix::simulator {

class Q_DECL_HIDDEN FaultyWebSocketServer::Private
{
public:
    QByteArray withFaults(const QByteArray &message) const;

    bool silent = false;
    std::chrono::milliseconds answerDelay {0};
    bool duplicateIndexItems = false;
    bool wrongRequestIds = false;
};

QByteArray FaultyWebSocketServer::Private::withFaults(const QByteArray &message) const
{
    if (!duplicateIndexItems && !wrongRequestIds)
        return message;
    QJsonObject object = QJsonDocument::fromJson(message).object();
    if (object.value(QLatin1String("cmd")) != QLatin1String("keyIndex"))
        return message;

    QJsonObject payload = object.value(QLatin1String("payload")).toObject();
    if (duplicateIndexItems) {
        const QJsonArray once = payload.value(QLatin1String("response")).toArray();
        QJsonArray twice = once;
        for (const auto &item : once)
            twice.append(item);
        payload.insert(QLatin1String("response"), twice);
    }
    if (wrongRequestIds) {
        QJsonObject request = payload.value(QLatin1String("request")).toObject();
        request.insert(QLatin1String("uuid"), QUuid::createUuid().toString());
        payload.insert(QLatin1String("request"), request);
    }
    object.insert(QLatin1String("payload"), payload);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

/*!
    \class pellix::simulator::FaultyWebSocketServer
    \inmodule PellixClientSimulator
    \inheaderfile simulator/faultywebsocketserver.h
    \ingroup PellixClientSimulatorClasses
    \brief The FaultyWebSocketServer class simulates connection faults for WebSocket clients.

    Without a fault, it behaves like its base class, WebSocketKeywordServer.
    \sa declareFaultKeywords()
*/

/*!
    Constructs a listener for \a server that is not listening yet. If \a parent is given, it owns
    the listener.
*/
FaultyWebSocketServer::FaultyWebSocketServer(server::KeywordServer *server, QObject *parent)
    : WebSocketKeywordServer(server, parent), d(std::make_unique<Private>())
{ }

/*!
    Destroys the server and closes its connections.
*/
FaultyWebSocketServer::~FaultyWebSocketServer()
{
    blockSignals(true);
    close(); // while deliver() is still overridden
}

/*!
    Makes the server unresponsive if \a silent is \c true: connections stay open, but nothing is
    read, answered, or sent, including pongs, and new connections get no handshake. Setting
    \a silent to \c false closes the affected connections, because their clients have missed events
    in the meantime.
*/
void FaultyWebSocketServer::setSilent(bool silent)
{
    if (silent == d->silent)
        return;
    d->silent = silent;
    if (!silent) {
        abortClients();
        return;
    }
    const QList<QTcpSocket *> open = connections();
    for (QTcpSocket *connection : open)
        connection->blockSignals(true); // the WebSocket reads on the signals of the connection
}

/*!
    Delays every message to clients by \a delay; 0 ends it.
*/
void FaultyWebSocketServer::setAnswerDelay(std::chrono::milliseconds delay)
{
    d->answerDelay = delay;
}

/*!
    Lists every child twice in index replies while \a duplicate is \c true.
*/
void FaultyWebSocketServer::setDuplicateIndexItems(bool duplicate)
{
    d->duplicateIndexItems = duplicate;
}

/*!
    Replies to index queries with a wrong identifier while \a wrong is \c true.
*/
void FaultyWebSocketServer::setWrongRequestIds(bool wrong)
{
    d->wrongRequestIds = wrong;
}

/*!
    Sends \a text unchanged to all clients.
*/
void FaultyWebSocketServer::sendText(const QString &text)
{
    const QList<QWebSocket *> receivers = clients();
    for (QWebSocket *client : receivers)
        sendTo(client, text);
}

/*!
    Sends \a data to all clients as a binary message.
*/
void FaultyWebSocketServer::sendBinary(const QByteArray &data)
{
    const QList<QWebSocket *> receivers = clients();
    for (QWebSocket *client : receivers)
        sendTo(client, data);
}

/*!
    Restarts with an empty state: closes all connections, clears the keyword server, and listens
    again on the same port. Emits restarted() before the first client reconnects, so that keywords
    can be declared again. Returns whether the port was available.
*/
bool FaultyWebSocketServer::restart()
{
    const quint16 port = this->port();
    close();
    if (keywordServer())
        keywordServer()->clear();
    const bool listening = listen(address(), port);
    Q_EMIT restarted();
    return listening;
}

void FaultyWebSocketServer::accept(QTcpSocket *connection)
{
    if (!d->silent) {
        WebSocketKeywordServer::accept(connection);
        return;
    }
    connect(connection, &QTcpSocket::disconnected, connection, &QObject::deleteLater);
    connection->blockSignals(true); // until it is closed at the end of the fault
}

void FaultyWebSocketServer::deliver(QWebSocket *client, const QByteArray &message)
{
    if (d->silent)
        return;
    const QByteArray sent = d->withFaults(message);
    if (d->answerDelay.count() == 0) {
        WebSocketKeywordServer::deliver(client, sent);
        return;
    }
    QTimer::singleShot(d->answerDelay, client,
                       [this, client, sent] { WebSocketKeywordServer::deliver(client, sent); });
}

/*!
    \fn void FaultyWebSocketServer::restarted()

    This signal is emitted by restart(), once the server is empty and listens again.
*/

} // namespace pellix::simulator
