// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "simulator/websocketkeywordserver.h"

#include "simulator/keywordserver.h"
#include "simulator/keywordsession.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtCore/QUuid>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslServer>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

namespace pellix::simulator {

class WebSocketKeywordServer::Private
{
public:
    explicit Private(WebSocketKeywordServer *q) : q(q) { }

    void accept(QTcpSocket *connection);
    void serve(QWebSocket *socket);
    void deliver(QWebSocket *socket, const QByteArray &message);
    QByteArray withFaults(const QByteArray &message) const;
    void dropAll();

    WebSocketKeywordServer *const q;
    QPointer<KeywordServer> server;
    std::unique_ptr<QTcpServer> listener; // ours, so that faults reach the bare connections
    std::unique_ptr<QWebSocketServer> upgrade;
    QSslCertificate certificate;
    QSslKey key;
    QHostAddress address;
    QList<QPointer<QTcpSocket>> connections;
    QList<QWebSocket *> clients;
    QString error;

    bool silent = false;
    std::chrono::milliseconds answerDelay {0};
    bool duplicateIndexItems = false;
    bool wrongRequestIds = false;
};

void WebSocketKeywordServer::Private::accept(QTcpSocket *connection)
{
    connections.removeIf([](const QPointer<QTcpSocket> &gone) { return gone.isNull(); });
    connections.append(connection);
    if (silent)
        connection->blockSignals(true);
    upgrade->handleConnection(connection);
}

void WebSocketKeywordServer::Private::serve(QWebSocket *socket)
{
    if (!server) {
        socket->abort();
        socket->deleteLater();
        return;
    }
    socket->setParent(q);
    clients.append(socket);
    KeywordSession *const session = server->openSession(socket);
    QObject::connect(socket, &QWebSocket::textMessageReceived, session,
                     [session](const QString &text) { session->receive(text.toUtf8()); });
    QObject::connect(session, &KeywordSession::send, socket,
                     [this, socket](const QByteArray &message) { deliver(socket, message); });
    QObject::connect(socket, &QWebSocket::disconnected, q, [this, socket] {
        if (clients.removeOne(socket)) {
            socket->deleteLater();
            Q_EMIT q->clientCountChanged();
        }
    });
    Q_EMIT q->clientCountChanged();
}

void WebSocketKeywordServer::Private::deliver(QWebSocket *socket, const QByteArray &message)
{
    if (silent)
        return;
    const QString text = QString::fromUtf8(withFaults(message));
    if (answerDelay.count() > 0)
        QTimer::singleShot(answerDelay, socket, [socket, text] { socket->sendTextMessage(text); });
    else
        socket->sendTextMessage(text);
}

QByteArray WebSocketKeywordServer::Private::withFaults(const QByteArray &message) const
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

// Ends all connections without a word, those that are not upgraded yet or silent included.
void WebSocketKeywordServer::Private::dropAll()
{
    const QList<QWebSocket *> dropped = std::exchange(clients, {});
    for (const QPointer<QTcpSocket> &connection : std::as_const(connections)) {
        if (!connection || !connection->signalsBlocked())
            continue;
        connection->blockSignals(false);
        if (connection->state() == QAbstractSocket::UnconnectedState) {
            // Its client left during the silence; the WebSocket on top has yet to be told.
            Q_EMIT connection->stateChanged(QAbstractSocket::UnconnectedState);
            Q_EMIT connection->disconnected();
        }
    }
    for (QWebSocket *socket : dropped) {
        qDeleteAll(socket->findChildren<KeywordSession *>(Qt::FindDirectChildrenOnly));
        socket->abort();
        socket->deleteLater();
    }
    for (const QPointer<QTcpSocket> &connection : std::as_const(connections)) {
        if (connection)
            connection->abort();
    }
    connections.clear();
    if (!dropped.isEmpty())
        Q_EMIT q->clientCountChanged();
}

/*!
    \class pellix::simulator::WebSocketKeywordServer
    \inmodule PellixClientSimulator
    \inheaderfile simulator/websocketkeywordserver.h
    \ingroup PellixClientSimulatorClasses
    \brief The WebSocketKeywordServer class serves a KeywordServer to WebSocket clients.

    Each client gets a session of its own, which ends with its connection. With a certificate the
    server speaks wss. Its faults bring a client into situations that are rare in life.

    The keyword server is not owned; when it goes first, clients get no answers.
*/

/*!
    Constructs a server for \a server that listens nowhere yet. \a parent owns it, if given.
*/
WebSocketKeywordServer::WebSocketKeywordServer(KeywordServer *server, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>(this))
{
    d->server = server;
}

/*!
    Destroys the server and drops its connections.
*/
WebSocketKeywordServer::~WebSocketKeywordServer()
{
    blockSignals(true);
    close();
}

/*!
    Has the server speak wss with \a certificate and its private \a key. Takes effect at the next
    listen().
*/
void WebSocketKeywordServer::setTls(const QSslCertificate &certificate, const QSslKey &key)
{
    d->certificate = certificate;
    d->key = key;
}

/*!
    Starts to listen on \a address and \a port, a free one for 0. Returns \c false when that fails;
    errorString() then says why.
*/
bool WebSocketKeywordServer::listen(const QHostAddress &address, quint16 port)
{
    close();
    const bool tls = !d->certificate.isNull();
    d->upgrade = std::make_unique<QWebSocketServer>(QStringLiteral("keyword-simulator"),
                                                    tls ? QWebSocketServer::SecureMode
                                                        : QWebSocketServer::NonSecureMode);
    connect(d->upgrade.get(), &QWebSocketServer::newConnection, this, [this] {
        while (QWebSocket *const socket = d->upgrade->nextPendingConnection())
            d->serve(socket);
    });
    if (tls) {
        auto sslListener = std::make_unique<QSslServer>();
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        configuration.setLocalCertificate(d->certificate);
        configuration.setPrivateKey(d->key);
        configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
        sslListener->setSslConfiguration(configuration);
        d->listener = std::move(sslListener);
    } else {
        d->listener = std::make_unique<QTcpServer>();
    }
    connect(d->listener.get(), &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket *const connection = d->listener->nextPendingConnection())
            d->accept(connection);
    });
    d->address = address;
    if (d->listener->listen(address, port)) {
        d->error.clear();
        return true;
    }
    d->error = d->listener->errorString();
    return false;
}

/*!
    Stops to listen and drops all connections.
*/
void WebSocketKeywordServer::close()
{
    d->dropAll();
    d->listener.reset();
    d->upgrade.reset();
}

/*!
    Returns the port on which the server listens, 0 when it does not.
*/
quint16 WebSocketKeywordServer::port() const
{
    return d->listener ? d->listener->serverPort() : 0;
}

/*!
    Returns the address for clients on this machine, such as ws://127.0.0.1:41234.
*/
QUrl WebSocketKeywordServer::url() const
{
    QUrl url;
    url.setScheme(d->certificate.isNull() ? QStringLiteral("ws") : QStringLiteral("wss"));
    const bool any = d->address == QHostAddress::Any || d->address == QHostAddress::AnyIPv4
        || d->address == QHostAddress::AnyIPv6;
    url.setHost(any ? QStringLiteral("127.0.0.1") : d->address.toString());
    url.setPort(port());
    return url;
}

/*!
    Returns why the last listen() failed; empty when it did not.
*/
QString WebSocketKeywordServer::errorString() const
{
    return d->error;
}

/*!
    Returns the number of connected clients.
*/
int WebSocketKeywordServer::clientCount() const
{
    return int(d->clients.size());
}

/*!
    Falls silent when \a silent is \c true: connections stay open, but nothing is read, answered or
    sent, pings included, and new connections get no handshake. Ending it drops the connections
    that went through it, as their clients have missed what happened meanwhile.
*/
void WebSocketKeywordServer::setSilent(bool silent)
{
    if (silent == d->silent)
        return;
    d->silent = silent;
    if (!silent) {
        d->dropAll();
        return;
    }
    for (const QPointer<QTcpSocket> &connection : std::as_const(d->connections)) {
        if (connection)
            connection->blockSignals(true); // the WebSocket reads when the connection says so
    }
}

/*!
    Delays every message to clients by \a delay; 0 ends it.
*/
void WebSocketKeywordServer::setAnswerDelay(std::chrono::milliseconds delay)
{
    d->answerDelay = delay;
}

/*!
    Lists every child twice in index answers while \a duplicate is \c true.
*/
void WebSocketKeywordServer::setDuplicateIndexItems(bool duplicate)
{
    d->duplicateIndexItems = duplicate;
}

/*!
    Answers index queries with an identifier that nobody asked with while \a wrong is \c true.
*/
void WebSocketKeywordServer::setWrongRequestIds(bool wrong)
{
    d->wrongRequestIds = wrong;
}

/*!
    Closes all connections with the closing handshake.
*/
void WebSocketKeywordServer::closeClients()
{
    const QList<QWebSocket *> clients = d->clients;
    for (QWebSocket *socket : clients)
        socket->close(QWebSocketProtocol::CloseCodeGoingAway);
}

/*!
    Drops all connections without a word.
*/
void WebSocketKeywordServer::abortClients()
{
    d->dropAll();
}

/*!
    Sends \a text to all clients as it stands.
*/
void WebSocketKeywordServer::sendText(const QString &text)
{
    for (QWebSocket *socket : std::as_const(d->clients))
        socket->sendTextMessage(text);
}

/*!
    Sends \a data to all clients as a binary message.
*/
void WebSocketKeywordServer::sendBinary(const QByteArray &data)
{
    for (QWebSocket *socket : std::as_const(d->clients))
        socket->sendBinaryMessage(data);
}

/*!
    Restarts with an empty state: drops all connections, clears the keyword server, and listens
    again on the same port. Emits restarted() before the first client is back, so that keywords can
    be declared anew. Returns whether the port could be had.
*/
bool WebSocketKeywordServer::restart()
{
    const quint16 port = this->port();
    const QHostAddress address = d->address;
    close();
    if (d->server)
        d->server->clear();
    const bool listening = listen(address, port);
    Q_EMIT restarted();
    return listening;
}

/*!
    \fn void WebSocketKeywordServer::clientCountChanged()

    This signal is emitted after a client has connected or its connection has ended.
*/

/*!
    \fn void WebSocketKeywordServer::restarted()

    This signal is emitted by restart(), once the server is empty and listens again.
*/

} // namespace pellix::simulator
