// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/websocketkeywordserver.h"

#include "server/clientsocket_p.h"
#include "server/keywordserver_p.h"
#include "server/keywordsession_p.h"
#include "server/openinghandshake_p.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>
#include <QtNetwork/QNetworkInterface>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslSocket>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

#include <algorithm>
#include <optional>

namespace pellix::server {

using namespace std::chrono_literals;

namespace {

Q_LOGGING_CATEGORY(lcWebSocketServer, "pellixclient.server.websocketserver", QtInfoMsg)

constexpr auto defaultHandshakeTimeout = 10s;

// Takes connections, and has them encrypted if it has a certificate. It does not wait for the
// encryption, unlike QSslServer: one time limit counts for all that comes before the upgrade.
class Listener : public QTcpServer
{
public:
    explicit Listener(const std::optional<QSslConfiguration> &tls) : tls(tls) { }

    // Why the encryption of the last connection could not even begin.
    const QString &tlsError() const { return lastTlsError; }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        if (!tls) {
            QTcpServer::incomingConnection(descriptor);
            return;
        }
        auto connection = std::make_unique<QSslSocket>(this);
        connection->setSslConfiguration(*tls);
        if (!connection->setSocketDescriptor(descriptor))
            return;
        lastTlsError.clear();
        const auto noted = connect(connection.get(), &QSslSocket::errorOccurred, this, [&] {
            if (lastTlsError.isEmpty()) // what follows says less
                lastTlsError = connection->errorString();
        });
        connection->startServerEncryption();
        disconnect(noted);
        if (lastTlsError.isEmpty())
            addPendingConnection(connection.release());
    }

private:
    const std::optional<QSslConfiguration> tls;
    QString lastTlsError;
};

QSslConfiguration tlsConfiguration(const QSslCertificate &certificate, const QSslKey &key)
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(certificate);
    configuration.setPrivateKey(key);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    return configuration;
}

// Why nothing can be encrypted with them. Qt offers no other way to learn whether a certificate and
// a key belong together than to begin an encryption.
QString tlsProblem(const QSslCertificate &certificate, const QSslKey &key)
{
    Listener listener(tlsConfiguration(certificate, key));
    QTcpSocket peer;
    listener.listen(QHostAddress::LocalHost);
    peer.connectToHost(QHostAddress::LocalHost, listener.serverPort());
    listener.waitForNewConnection(5000);
    return listener.tlsError();
}

// Address and port of whoever is at the other end.
template <typename Socket> QString peerName(const Socket *socket)
{
    const QHostAddress address = socket->peerAddress();
    const bool isLong = address.protocol() == QAbstractSocket::IPv6Protocol;
    return (isLong ? QStringLiteral("[%1]:%2") : QStringLiteral("%1:%2"))
        .arg(address.toString())
        .arg(socket->peerPort());
}

// The addresses that reach a listener at this one.
QList<QHostAddress> reachableAddresses(const QHostAddress &address)
{
    const bool any4 = address == QHostAddress::Any || address == QHostAddress::AnyIPv4;
    const bool any6 = address == QHostAddress::Any || address == QHostAddress::AnyIPv6;
    if (!any4 && !any6)
        return {address};
    QList<QHostAddress> addresses = QNetworkInterface::allAddresses();
    addresses.removeIf([any4, any6](const QHostAddress &candidate) {
        const bool is4 = candidate.protocol() == QAbstractSocket::IPv4Protocol;
        // Link-local ones mean nothing without the interface, which has another name elsewhere.
        return is4 ? !any4 : !any6 || candidate.isLinkLocal();
    });
    std::stable_partition(addresses.begin(), addresses.end(),
                          [](const QHostAddress &candidate) { return candidate.isLoopback(); });
    if (addresses.isEmpty())
        addresses.append(any4 ? QHostAddress::LocalHost : QHostAddress::LocalHostIPv6);
    return addresses;
}

} // namespace

class WebSocketKeywordServer::Private
{
public:
    explicit Private(WebSocketKeywordServer *q) : q(q) { }

    void drop(QTcpSocket *connection);
    void endHandshake(QTcpSocket *connection);
    void serve(QWebSocket *socket);
    QTcpSocket *connectionOf(const QWebSocket *socket) const;
    void dropAll();
    void tellClientCount();

    WebSocketKeywordServer *const q;
    QPointer<KeywordServer> server;
    std::unique_ptr<QTcpServer> listener; // ours, so that faults reach the bare connections
    std::unique_ptr<QWebSocketServer> upgrade;
    QSslCertificate certificate;
    QSslKey key;
    QHostAddress address;
    QList<QPointer<QTcpSocket>> connections;
    QList<ClientSocket *> clients;
    QStringList allowedOrigins;
    std::chrono::milliseconds handshakeTimeout = defaultHandshakeTimeout;
    QString error;
};

// Gives up a connection that has not become a WebSocket in time.
void WebSocketKeywordServer::Private::drop(QTcpSocket *connection)
{
    if (connection->signalsBlocked())
        return; // a subclass holds it, and to drop it would be an answer
    qCInfo(lcWebSocketServer, "dropped %s: its handshake takes too long",
           qUtf8Printable(peerName(connection)));
    connection->abort();
}

void WebSocketKeywordServer::Private::endHandshake(QTcpSocket *connection)
{
    auto *const handshake = connection->findChild<OpeningHandshake *>();
    QObject::disconnect(handshake, nullptr, q, nullptr); // its time limit counts no longer
    QObject::disconnect(connection, nullptr, handshake, nullptr);
    handshake->deleteLater();
}

// A WebSocket does not tell which connection it has been made of.
QTcpSocket *WebSocketKeywordServer::Private::connectionOf(const QWebSocket *socket) const
{
    const auto found =
        std::find_if(connections.cbegin(), connections.cend(), [socket](const auto &connection) {
            return connection && connection->peerPort() == socket->peerPort()
                && connection->peerAddress() == socket->peerAddress();
        });
    return found == connections.cend() ? nullptr : found->data();
}

void WebSocketKeywordServer::Private::serve(QWebSocket *socket)
{
    QTcpSocket *const connection = connectionOf(socket);
    if (connection)
        endHandshake(connection);
    if (!server) {
        socket->abort();
        socket->deleteLater();
        return;
    }
    socket->setParent(q);
    const Limits limits = server->limits();
    socket->setMaxAllowedIncomingMessageSize(quint64(limits.commandBytes));
    auto *const client = new ClientSocket(socket, connection, limits, server->d->budget);
    clients.append(client);
    KeywordSession *const session =
        server->openSession(Peer {QString(), peerName(socket), QStringLiteral("*")}, socket);
    client->setSession(session);
    session->d->state.receiver = [this, socket, client, session](const Message &message) {
        const QPointer<ClientSocket> alive(client);
        q->deliver(socket, message.text());
        if (alive && !client->hasRoom())
            session->pause();
    };
    QObject::connect(client, &ClientSocket::drained, session, [session] {
        if (session->isPaused())
            session->resume();
    });
    QObject::connect(client, &ClientSocket::received, session,
                     [session](const QString &text) { session->receive(text.toUtf8()); });
    QObject::connect(client, &ClientSocket::delayed, q, [this] {
        if (server)
            ++server->d->counts.delayedCommands;
    });
    QObject::connect(client, &ClientSocket::stalled, socket, [this, socket](const QString &why) {
        qCWarning(lcWebSocketServer, "dropped %s: %s", qUtf8Printable(peerName(socket)),
                  qUtf8Printable(why));
        if (server)
            ++server->d->counts.droppedClients;
        socket->abort();
    });
    QObject::connect(socket, &QWebSocket::disconnected, q, [this, socket, client] {
        if (clients.removeOne(client)) {
            socket->deleteLater();
            tellClientCount();
        }
    });
    tellClientCount();
}

// Ends all connections without a word, those that are not upgraded yet or silent included.
void WebSocketKeywordServer::Private::dropAll()
{
    const QList<ClientSocket *> dropped = std::exchange(clients, {});
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
    for (ClientSocket *client : dropped) {
        QWebSocket *const socket = client->webSocket();
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
        tellClientCount();
}

// From the event loop: whoever hears of it may delete the server, and a WebSocket or a connection
// that is emitting a signal with it.
void WebSocketKeywordServer::Private::tellClientCount()
{
    QMetaObject::invokeMethod(q, &WebSocketKeywordServer::clientCountChanged, Qt::QueuedConnection);
}

/*!
    \class pellix::server::WebSocketKeywordServer
    \inmodule PellixClientServer
    \inheaderfile server/websocketkeywordserver.h
    \ingroup PellixClientServerClasses
    \brief The WebSocketKeywordServer class serves a KeywordServer to WebSocket clients.

    Each client gets a session of its own, which ends with its connection. With a certificate the
    server speaks wss.

    A client that cannot keep up is told the newest value of each keyword, once it has read what was
    sent before. One that reads nothing for Limits::stalledTime is dropped, as is one that does not
    complete its handshake in time. Web pages are refused unless their origin is allowed, as are
    handshakes that name more than one host. All of this is logged in the category
    "pellixclient.server.websocketserver".

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

    Returns \c false, and changes nothing, when they cannot be used, above all because they do not
    belong together; errorString() then says why. A null certificate has the server speak ws again.
*/
bool WebSocketKeywordServer::setTls(const QSslCertificate &certificate, const QSslKey &key)
{
    const QString problem = certificate.isNull() ? QString() : tlsProblem(certificate, key);
    if (!problem.isEmpty()) {
        const bool fits = !problem.contains(QLatin1String("private key"), Qt::CaseInsensitive);
        d->error = (fits ? QStringLiteral("the certificate cannot be used: %1")
                         : QStringLiteral("the certificate and the private key do not belong "
                                          "together: %1"))
                       .arg(problem);
        return false;
    }
    d->error.clear();
    d->certificate = certificate;
    d->key = key;
    return true;
}

/*!
    Has handshakes pass that name one of \a origins, such as "https://example.org:8443", as where
    they come from. Takes effect with the next connection.

    Browsers name the origin of the page in each handshake; other programs, such as those that use
    PWebSocketKeywordClient, name none and always pass. By default no origin is allowed: whatever
    page a browser shows could otherwise use a server on the same machine. A handshake with another
    origin is refused by the HTTP status 403, and logged. Texts that are no origin are ignored.
    \sa isOrigin()
*/
void WebSocketKeywordServer::setAllowedOrigins(const QStringList &origins)
{
    d->allowedOrigins.clear();
    for (const QString &origin : origins) {
        if (isOrigin(origin))
            d->allowedOrigins.append(normalizedOrigin(origin));
    }
}

/*!
    Returns whether \a text is an origin: a scheme, a host and perhaps a port, and nothing else.
    \sa setAllowedOrigins()
*/
bool WebSocketKeywordServer::isOrigin(const QString &text)
{
    return !normalizedOrigin(text).isEmpty();
}

/*!
    Returns the time within which a connection has to become a WebSocket, encryption included: 10
    seconds by default. One that takes longer is dropped.
*/
std::chrono::milliseconds WebSocketKeywordServer::handshakeTimeout() const
{
    return d->handshakeTimeout;
}

/*!
    Sets the time within which a connection has to become a WebSocket to \a timeout. Takes effect
    with the next connection.
*/
void WebSocketKeywordServer::setHandshakeTimeout(std::chrono::milliseconds timeout)
{
    d->handshakeTimeout = timeout;
}

/*!
    Starts to listen on \a address and \a port, a free one for 0. Returns \c false when that fails;
    errorString() then says why.
*/
bool WebSocketKeywordServer::listen(const QHostAddress &address, quint16 port)
{
    close();
    const bool tls = !d->certificate.isNull();
    d->upgrade = std::make_unique<QWebSocketServer>(QStringLiteral("pellixclient-server"),
                                                    tls ? QWebSocketServer::SecureMode
                                                        : QWebSocketServer::NonSecureMode);
    connect(d->upgrade.get(), &QWebSocketServer::newConnection, this, [this] {
        while (QWebSocket *const socket = d->upgrade->nextPendingConnection())
            d->serve(socket);
    });
    d->listener = std::make_unique<Listener>(
        tls ? std::make_optional(tlsConfiguration(d->certificate, d->key)) : std::nullopt);
    connect(d->listener.get(), &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket *const connection = d->listener->nextPendingConnection()) {
            d->connections.removeIf([](const auto &gone) { return gone.isNull(); });
            d->connections.append(connection);
            accept(connection);
        }
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
    Returns the address of the last listen().
*/
QHostAddress WebSocketKeywordServer::address() const
{
    return d->address;
}

/*!
    Returns the port on which the server listens, 0 when it does not.
*/
quint16 WebSocketKeywordServer::port() const
{
    return d->listener ? d->listener->serverPort() : 0;
}

/*!
    Returns the address for clients on this machine, such as ws://127.0.0.1:41234: the first one of
    urls().
*/
QUrl WebSocketKeywordServer::url() const
{
    return urls().constFirst();
}

/*!
    Returns the addresses under which clients reach the server. It is one, unless the server listens
    on all of the machine's; then those of this moment are listed, loopback first.
*/
QList<QUrl> WebSocketKeywordServer::urls() const
{
    QList<QUrl> urls;
    for (const QHostAddress &address : reachableAddresses(d->address)) {
        QUrl url;
        url.setScheme(d->certificate.isNull() ? QStringLiteral("ws") : QStringLiteral("wss"));
        url.setHost(address.toString());
        url.setPort(port());
        urls.append(url);
    }
    return urls;
}

/*!
    Returns why the last listen() or setTls() failed; empty when it did not.
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
    Closes all connections with the closing handshake.
*/
void WebSocketKeywordServer::closeClients()
{
    const QList<ClientSocket *> clients = d->clients;
    for (ClientSocket *client : clients)
        client->webSocket()->close(QWebSocketProtocol::CloseCodeGoingAway);
}

/*!
    Takes a new \a connection: reads its request for a WebSocket and grants or refuses it.

    For subclasses that watch or disturb what happens. One that blocks the signals of a connection
    holds it: nothing is read from it, and it is not dropped for being late.
*/
void WebSocketKeywordServer::accept(QTcpSocket *connection)
{
    auto *const handshake =
        new OpeningHandshake(connection, d->allowedOrigins, d->handshakeTimeout);
    // Its WebSocket disposes of it later.
    QObject::connect(connection, &QTcpSocket::disconnected, handshake,
                     [connection] { connection->deleteLater(); });
    QObject::connect(handshake, &OpeningHandshake::granted, this,
                     [this, connection] { d->upgrade->handleConnection(connection); });
    QObject::connect(handshake, &OpeningHandshake::refused, this,
                     [name = peerName(connection)](const QString &reason) {
                         qCWarning(lcWebSocketServer, "refused %s: %s", qUtf8Printable(name),
                                   qUtf8Printable(reason));
                     });
    QObject::connect(handshake, &OpeningHandshake::timedOut, this,
                     [this, connection] { d->drop(connection); });
    handshake->begin();
}

/*!
    Sends a \a message of the session to its \a client. For subclasses that watch, delay or change
    what is sent.
*/
void WebSocketKeywordServer::deliver(QWebSocket *client, const QString &message)
{
    client->sendTextMessage(message);
}

/*!
    Sends \a text to \a client, beside what its session sends.
*/
void WebSocketKeywordServer::sendTo(QWebSocket *client, const QString &text)
{
    client->findChild<ClientSocket *>(QString(), Qt::FindDirectChildrenOnly)->sendText(text);
}

/*!
    Sends \a data to \a client as a binary message, which no client of a keyword server expects.
*/
void WebSocketKeywordServer::sendTo(QWebSocket *client, const QByteArray &data)
{
    client->findChild<ClientSocket *>(QString(), Qt::FindDirectChildrenOnly)->sendBinary(data);
}

/*!
    Returns the keyword server, or null when it is gone.
*/
KeywordServer *WebSocketKeywordServer::keywordServer() const
{
    return d->server;
}

/*!
    Returns all connections, those included that are no WebSockets yet.
*/
QList<QTcpSocket *> WebSocketKeywordServer::connections() const
{
    QList<QTcpSocket *> connections;
    for (const QPointer<QTcpSocket> &connection : d->connections) {
        if (connection)
            connections.append(connection);
    }
    return connections;
}

/*!
    Returns the WebSockets of all clients.
*/
QList<QWebSocket *> WebSocketKeywordServer::clients() const
{
    QList<QWebSocket *> sockets;
    for (const ClientSocket *client : d->clients)
        sockets.append(client->webSocket());
    return sockets;
}

/*!
    Drops all connections without a word.
*/
void WebSocketKeywordServer::abortClients()
{
    d->dropAll();
}

/*!
    \fn void WebSocketKeywordServer::clientCountChanged()

    This signal is emitted after a client has connected or its connection has ended, when the event
    loop turns. The server may be deleted then.
*/

} // namespace pellix::server
