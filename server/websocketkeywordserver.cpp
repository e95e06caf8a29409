// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/websocketkeywordserver.h"

#include "server/accesscontrol_p.h"
#include "server/clientsocket_p.h"
#include "server/keywordserver_p.h"
#include "server/keywordsession_p.h"
#include "server/openinghandshake_p.h"

#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
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
constexpr int waitingConnections = 1024; // that the system keeps: after a restart, all come at once
constexpr auto farewellTime = 1s; // for the closing handshake of a session that is ended

// Takes connections, and has them encrypted if it has a certificate. It does not wait for the
// encryption, unlike QSslServer: one time limit counts for all that comes before the upgrade.
class Listener : public QTcpServer
{
public:
    explicit Listener(const std::optional<QSslConfiguration> &tls) : tls(tls)
    {
        setListenBacklogSize(waitingConnections);
    }

    bool isEncrypted() const { return tls.has_value(); }
    void setConfiguration(const QSslConfiguration &configuration) { tls = configuration; }

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
    std::optional<QSslConfiguration> tls;
    QString lastTlsError;
};

// A client is asked for a certificate if somebody is there to have signed it. A wrong one does not
// end the encryption: the request tells of other credentials, and its answer what was wrong.
QSslConfiguration tlsConfiguration(const QList<QSslCertificate> &chain, const QSslKey &key,
                                   const QList<QSslCertificate> &authorities = {})
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificateChain(chain);
    configuration.setPrivateKey(key);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    if (!authorities.isEmpty()) {
        configuration.setPeerVerifyMode(QSslSocket::QueryPeer);
        configuration.setCaCertificates(authorities); // and none of the system
    }
    // A resumed session would bring a certificate without the errors of its verification.
    configuration.setSslOption(QSsl::SslOptionDisableSessionTickets, true);
    return configuration;
}

// Why nothing can be encrypted with them. Qt offers no other way to learn whether a certificate and
// a key belong together than to begin an encryption.
QString tlsProblem(const QList<QSslCertificate> &chain, const QSslKey &key)
{
    if (std::any_of(chain.cbegin(), chain.cend(), [](const auto &link) { return link.isNull(); }))
        return QStringLiteral("one of the chain is none");
    Listener listener(tlsConfiguration(chain, key));
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
    struct Identity
    {
        ClientCredentials credentials;
        Peer peer;
        QPointer<ClientSocket> socket;
    };

    explicit Private(WebSocketKeywordServer *q) : q(q) { }

    ClientIdentification defaultIdentification() const;
    QString listenProblem() const;
    void replaceTlsConfiguration();
    void admit(QTcpSocket *connection, OpeningHandshake *handshake,
               const HandshakeRequest &request);
    void refuse(QTcpSocket *connection, OpeningHandshake *handshake,
                const AccessControl::Decision &decision);
    void drop(QTcpSocket *connection, const char *reason);
    void dropOldestHandshakes();
    void endHandshake(OpeningHandshake *handshake);
    void serve(QWebSocket *socket);
    QTcpSocket *connectionOf(const QWebSocket *socket) const;
    void forget(ClientSocket *client, const QWebSocket *socket);
    void release(QWebSocket *socket);
    void endSessionsOf(QWebSocket *socket);
    void judgeAnew();
    void endSession(QWebSocket *socket);
    void dropAll();
    void tellClientCount();

    WebSocketKeywordServer *const q;
    QPointer<KeywordServer> server;
    std::unique_ptr<Listener> listener; // ours, so that faults reach the bare connections
    std::unique_ptr<QWebSocketServer> upgrade;
    QList<QSslCertificate> chain; // of certificates, the listener's own first
    QSslKey key;
    QHostAddress address;
    QList<QPointer<QTcpSocket>> connections;
    QList<OpeningHandshake *> handshakes; // unfinished, the oldest first
    QList<ClientSocket *> clients;
    QHash<const QWebSocket *, Identity> identities; // of the clients
    AccessControl access;
    bool isIdentificationSet = false;
    bool unencryptedAllowed = false;
    bool isDestroyed = false;
    int maximumHandshakes = 64;
    quint64 droppedHandshakes = 0;
    std::chrono::milliseconds handshakeTimeout = defaultHandshakeTimeout;
    QString error;
};

// On this machine alone, everybody may do all; elsewhere, nobody comes in by default.
ClientIdentification WebSocketKeywordServer::Private::defaultIdentification() const
{
    ClientIdentification identification;
    if (address.isLoopback())
        identification.role = ClientIdentification::fullRights;
    return identification;
}

// Why it must not listen as it is set.
QString WebSocketKeywordServer::Private::listenProblem() const
{
    if (!chain.isEmpty())
        return {};
    if (!access.identification.authorities.isEmpty())
        return QStringLiteral("certificates of clients need a listener with a certificate");
    if (address.isLoopback() || unencryptedAllowed)
        return {};
    return QStringLiteral("without a certificate, everybody on the network could read values and "
                          "tokens. Set a certificate, or allow unencrypted connections");
}

// For the next connections.
void WebSocketKeywordServer::Private::replaceTlsConfiguration()
{
    if (listener && listener->isEncrypted() && !chain.isEmpty()) {
        listener->setConfiguration(tlsConfiguration(chain, key, access.identification.authorities));
    }
}

void WebSocketKeywordServer::Private::admit(QTcpSocket *connection, OpeningHandshake *handshake,
                                            const HandshakeRequest &request)
{
    const auto granted =
        std::count_if(handshakes.cbegin(), handshakes.cend(),
                      [](const OpeningHandshake *other) { return other->isGranted(); });
    const AccessControl::Decision decision =
        access.decide(request, connection, int(clients.size() + granted));
    if (decision.refusal) {
        refuse(connection, handshake, decision);
        return;
    }
    handshake->grant(decision.credentials);
    upgrade->handleConnection(connection);
}

void WebSocketKeywordServer::Private::refuse(QTcpSocket *connection, OpeningHandshake *handshake,
                                             const AccessControl::Decision &decision)
{
    const ClientCredentials &credentials = decision.credentials;
    const QString name = credentials.cameThroughProxy()
        ? QStringLiteral("%1, through %2")
              .arg(credentials.clientAddress().toString(), peerName(connection))
        : peerName(connection);
    // One line for each attempt over the limit would be one more thing to flood.
    if (decision.refusal == Refusal::TooManyAttempts)
        qCDebug(lcWebSocketServer, "refused %s: %s", qUtf8Printable(name),
                qUtf8Printable(decision.reason));
    else
        qCWarning(lcWebSocketServer, "refused %s: %s", qUtf8Printable(name),
                  qUtf8Printable(decision.reason));
    handshake->refuse(decision.status, decision.headers, decision.reason);
}

// Gives up a connection that has not become a WebSocket.
void WebSocketKeywordServer::Private::drop(QTcpSocket *connection, const char *reason)
{
    if (connection->signalsBlocked())
        return; // a subclass holds it, and to drop it would be an answer
    if (connection->state() == QAbstractSocket::UnconnectedState)
        return; // it has left, and is deleted when the event loop turns
    qCInfo(lcWebSocketServer, "dropped %s: %s", qUtf8Printable(peerName(connection)), reason);
    ++droppedHandshakes;
    connection->abort();
}

// Those who open connections and say nothing cannot keep others out: a handshake takes no longer
// than they need to open as many again.
void WebSocketKeywordServer::Private::dropOldestHandshakes()
{
    const QList<OpeningHandshake *> open = handshakes;
    qsizetype excess = q->handshakeCount() - maximumHandshakes;
    for (OpeningHandshake *handshake : open) {
        auto *const connection = qobject_cast<QTcpSocket *>(handshake->parent());
        if (excess <= 0)
            return;
        if (connection->signalsBlocked())
            continue;
        --excess;
        drop(connection, "too many handshakes are unfinished");
    }
}

void WebSocketKeywordServer::Private::endHandshake(OpeningHandshake *handshake)
{
    handshakes.removeOne(handshake);
    QObject::disconnect(handshake, nullptr, q, nullptr); // its time limit counts no longer
    QObject::disconnect(handshake->parent(), nullptr, handshake, nullptr);
    handshake->deleteLater();
}

// A WebSocket does not tell which connection it has been made of. Null when its client has left.
QTcpSocket *WebSocketKeywordServer::Private::connectionOf(const QWebSocket *socket) const
{
    const auto found =
        std::find_if(connections.cbegin(), connections.cend(), [socket](const auto &connection) {
            return connection && connection->peerPort() != 0
                && connection->peerPort() == socket->peerPort()
                && connection->peerAddress() == socket->peerAddress()
                && connection->localAddress() == socket->localAddress();
        });
    return found == connections.cend() ? nullptr : found->data();
}

void WebSocketKeywordServer::Private::serve(QWebSocket *socket)
{
    QTcpSocket *const connection = connectionOf(socket);
    auto *const handshake = connection ? connection->findChild<OpeningHandshake *>() : nullptr;
    if (!handshake || !handshake->isGranted()) {
        socket->abort();
        socket->deleteLater();
        return;
    }
    const ClientCredentials credentials = handshake->credentials();
    endHandshake(handshake);
    const auto judgement = credentials.judge(access.identification); // it may have been replaced
    if (!server || judgement.verdict != ClientCredentials::Known) {
        socket->abort();
        socket->deleteLater();
        return;
    }
    socket->setParent(q);
    const Limits limits = server->limits();
    socket->setMaxAllowedIncomingMessageSize(quint64(limits.commandBytes));
    socket->setMaxAllowedIncomingFrameSize(quint64(limits.commandBytes)); // it waits for whole ones
    auto *const client = new ClientSocket(socket, connection, limits, server->d->budget);
    clients.append(client);
    identities.insert(socket, {credentials, judgement.peer, client});
    KeywordSession *const session = server->openSession(judgement.peer, socket);
    client->setSession(session);
    SessionState &state = session->d->state;
    state.receiver = [this, socket](const QByteArray &message) { q->deliver(socket, message); };
    state.hasRoom = [client = QPointer<ClientSocket>(client)] {
        return client && client->hasRoom();
    };
    QObject::connect(client, &ClientSocket::drained, session, [session] {
        if (session->isPaused())
            session->resume();
    });
    QObject::connect(client, &ClientSocket::received, session,
                     [session](const QByteArray &command) { session->receive(command); });
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
    QObject::connect(socket, &QWebSocket::disconnected, client,
                     [client, session = QPointer(session)] {
                         if (session)
                             session->d->state.hangUp();
                         client->finish();
                     });
    QObject::connect(client, &ClientSocket::finished, q, [this, socket, client] {
        forget(client, socket);
        release(socket);
    });
    QObject::connect(client, &QObject::destroyed, q,
                     [this, socket, client] { forget(client, socket); });
    tellClientCount();
}

void WebSocketKeywordServer::Private::forget(ClientSocket *client, const QWebSocket *socket)
{
    identities.remove(socket);
    if (clients.removeOne(client))
        tellClientCount();
}

// Whoever hears that a session is destroyed may delete everything: none of it may be in the midst
// of being deleted itself, or among the children of what is.
void WebSocketKeywordServer::Private::release(QWebSocket *socket)
{
    endSessionsOf(socket);
    if (!isDestroyed)
        socket->setParent(nullptr);
    socket->deleteLater();
}

void WebSocketKeywordServer::Private::endSessionsOf(QWebSocket *socket)
{
    const auto sessions = socket->findChildren<KeywordSession *>(Qt::FindDirectChildrenOnly);
    for (KeywordSession *session : sessions) {
        session->d->end();
        if (isDestroyed)
            continue; // with this server
        session->setParent(nullptr);
        session->deleteLater();
    }
}

// Ends the sessions of those who would not get in any more, or as somebody else.
void WebSocketKeywordServer::Private::judgeAnew()
{
    const QList<ClientSocket *> judged = clients;
    for (const ClientSocket *client : judged) {
        const Identity identity = identities.value(client->webSocket());
        const auto judgement = identity.credentials.judge(access.identification);
        if (judgement.verdict != ClientCredentials::Known
            || judgement.peer.name != identity.peer.name
            || judgement.peer.role != identity.peer.role)
            endSession(client->webSocket());
    }
}

// At once: neither commands nor events pass any more. This may be called by a handler of either.
void WebSocketKeywordServer::Private::endSession(QWebSocket *socket)
{
    endSessionsOf(socket);
    if (auto *const client =
            socket->findChild<ClientSocket *>(QString(), Qt::FindDirectChildrenOnly))
        client->flush();
    QTimer::singleShot(farewellTime, socket, [socket] { socket->abort(); });
    socket->close(QWebSocketProtocol::CloseCodePolicyViolated,
                  QStringLiteral("access was taken away"));
}

// Aborts all connections, those that are not upgraded yet or silent included.
void WebSocketKeywordServer::Private::dropAll()
{
    const QList<ClientSocket *> dropped = std::exchange(clients, {});
    identities.clear();
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
        endSessionsOf(socket);
        socket->abort();
        release(socket);
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

    By default, the server listens on this machine alone, and whoever connects there has full
    rights. For others, set a certificate, and how clients are known:

    \code
    WebSocketKeywordServer listener(&keywords);
    listener.setTls(certificate, key);
    listener.setIdentification(identification);
    listener.listen(QHostAddress::Any, 8765);
    \endcode

    Certificate, tokens and roles can be replaced while it listens.

    The keyword server is not owned, and may be destroyed first: clients get no answers then.
*/

/*!
    Constructs a server for \a server that listens nowhere yet. \a parent owns it, if given.
*/
WebSocketKeywordServer::WebSocketKeywordServer(KeywordServer *server, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>(this))
{
    d->server = server;
    if (server)
        connect(server, &KeywordServer::roleRemoved, this, &WebSocketKeywordServer::endSessions);
}

/*!
    Destroys the server and drops its connections.
*/
WebSocketKeywordServer::~WebSocketKeywordServer()
{
    blockSignals(true);
    d->isDestroyed = true;
    close();
}

/*!
    Has the server speak wss with \a certificate and its private \a key.

    A server that listens already and speaks wss shows the new certificate to the next clients;
    those who are connected stay. Whether it speaks ws or wss is decided by the next listen().

    Returns \c false, and changes nothing, when they cannot be used, above all because they do not
    belong together; errorString() then says why. A null certificate has the server speak ws again.
*/
bool WebSocketKeywordServer::setTls(const QSslCertificate &certificate, const QSslKey &key)
{
    return setTls(certificate.isNull() ? QList<QSslCertificate>() : QList {certificate}, key);
}

/*!
    \overload

    Has the server speak wss with the first certificate of \a chain and its private \a key, and show
    the others as well, in their order: those of the authorities between the server's and one that
    clients know, each signed by the next. QSslCertificate::fromPath() reads them from one file. An
    empty chain has the server speak ws again.
*/
bool WebSocketKeywordServer::setTls(const QList<QSslCertificate> &chain, const QSslKey &key)
{
    const QString problem = chain.isEmpty() ? QString() : tlsProblem(chain, key);
    if (!problem.isEmpty()) {
        const bool fits = !problem.contains(QLatin1String("private key"), Qt::CaseInsensitive);
        d->error = (fits ? QStringLiteral("the certificate cannot be used: %1")
                         : QStringLiteral("the certificate and the private key do not belong "
                                          "together: %1"))
                       .arg(problem);
        return false;
    }
    d->error.clear();
    d->chain = chain;
    d->key = key;
    d->replaceTlsConfiguration();
    return true;
}

/*!
    Returns in how many days the server's certificate expires, rounded down: 0 on the last day, and
    when it has expired. Of a chain, the first to expire counts. Returns -1 without a certificate.
*/
int WebSocketKeywordServer::certificateDays() const
{
    if (d->chain.isEmpty())
        return -1;
    QDateTime expiry = d->chain.constFirst().expiryDate();
    for (const QSslCertificate &certificate : std::as_const(d->chain))
        expiry = qMin(expiry, certificate.expiryDate());
    const qint64 seconds = QDateTime::currentDateTimeUtc().secsTo(expiry);
    return int(qMax(qint64(0), seconds / (24 * 60 * 60)));
}

/*!
    Has listen() take addresses of the network without a certificate when \a allowed is \c true.

    Everybody on the way can then read and change what is sent, tokens included: this is for
    development, and for networks that are protected otherwise. The default is \c false, and then
    only loopback addresses are taken without a certificate.
*/
void WebSocketKeywordServer::setUnencryptedAllowed(bool allowed)
{
    d->unencryptedAllowed = allowed;
}

/*!
    Sets how clients are known to \a identification, from the next request on.

    A session ends at once when its client would be refused now, or would get another name or role:
    its token or its certificate was taken away, or the role of the listener. The client is told by
    the close code 1008, a violated policy. Other sessions go on.

    Until this is called, a client on a loopback address has full rights, and a listener on another
    address takes no client.

    Returns \c false, and changes nothing, when the settings contradict each other; errorString()
    then says why.
    \sa endSessions()
*/
bool WebSocketKeywordServer::setIdentification(const ClientIdentification &identification)
{
    d->error = identification.problem();
    const bool isPlain = d->listener && !d->listener->isEncrypted();
    if (d->error.isEmpty() && isPlain && !identification.authorities.isEmpty())
        d->error = QStringLiteral("certificates of clients need a listener with a certificate");
    if (!d->error.isEmpty())
        return false;
    d->isIdentificationSet = true;
    d->access.identification = identification;
    d->replaceTlsConfiguration();
    d->judgeAnew();
    return true;
}

/*!
    Returns how clients are known. Until setIdentification() is called, that depends on the address
    of the last listen().
*/
ClientIdentification WebSocketKeywordServer::identification() const
{
    return d->isIdentificationSet ? d->access.identification : d->defaultIdentification();
}

/*!
    Ends the sessions of all clients with \a role, as setIdentification() does. They may come back,
    and do if they are set to reconnect: call it after what the role may do has changed.
*/
void WebSocketKeywordServer::endSessions(const QString &role)
{
    const QList<ClientSocket *> clients = d->clients;
    for (const ClientSocket *client : clients) {
        if (peerOf(client->webSocket()).role == role)
            d->endSession(client->webSocket());
    }
}

/*!
    Has handshakes pass that name one of \a origins, such as "https://example.org:8443", as where
    they come from. Takes effect with the next request.

    Browsers name the origin of the page in each handshake; other programs, such as those that use
    PWebSocketKeywordClient, name none and always pass. By default no origin is allowed: whatever
    page a browser shows could otherwise use a server on the same machine. A handshake with another
    origin is refused by the HTTP status 403, and logged. Texts that are no origin are ignored.
    \sa isOrigin()
*/
void WebSocketKeywordServer::setAllowedOrigins(const QStringList &origins)
{
    d->access.allowedOrigins.clear();
    for (const QString &origin : origins) {
        if (isOrigin(origin))
            d->access.allowedOrigins.append(normalizedOrigin(origin));
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
    Returns how many clients may be connected at a time: 500 by default. More are refused by the
    HTTP status 503.
*/
int WebSocketKeywordServer::maximumClients() const
{
    return d->access.maximumClients;
}

/*!
    Sets how many clients may be connected at a time to \a clients; 0 takes none. Those who are
    connected already stay.
*/
void WebSocketKeywordServer::setMaximumClients(int clients)
{
    d->access.maximumClients = clients;
}

/*!
    Returns how many connections may be on their way to become a WebSocket at a time: 64 by default.
    One more has the oldest of them dropped, so that connections that say nothing keep nobody out.
*/
int WebSocketKeywordServer::maximumHandshakes() const
{
    return d->maximumHandshakes;
}

/*!
    Sets how many connections may be on their way to become a WebSocket at a time to \a handshakes,
    at least 1. Takes effect with the next connection.
*/
void WebSocketKeywordServer::setMaximumHandshakes(int handshakes)
{
    d->maximumHandshakes = qMax(1, handshakes);
}

/*!
    Returns how many attempts of one address may fail in a minute: 20 by default.

    An attempt fails when a client brings wrong credentials, or none where some are needed. After so
    many, the address is refused by the HTTP status 429, with right credentials as well, and gets
    its attempts back evenly over a minute. All addresses of an IPv6 network of 64 bits count as
    one, and loopback like any other. The 2048 addresses that failed last are remembered, and some
    more.
*/
int WebSocketKeywordServer::maximumAttempts() const
{
    return d->access.attempts.perMinute();
}

/*!
    Sets how many attempts of one address may fail in a minute to \a attempts; 0 ends the limit. All
    addresses start anew.
*/
void WebSocketKeywordServer::setMaximumAttempts(int attempts)
{
    d->access.attempts.setPerMinute(attempts);
}

/*!
    Starts to listen on \a address and \a port, a free one for 0. Returns \c false when that fails;
    errorString() then says why.

    An address that is not a loopback one needs a certificate, unless setUnencryptedAllowed() says
    otherwise.
    \sa setTls(), setIdentification()
*/
bool WebSocketKeywordServer::listen(const QHostAddress &address, quint16 port)
{
    close();
    d->address = address;
    d->access.identification = identification();
    d->error = d->listenProblem();
    if (!d->error.isEmpty())
        return false;
    const bool tls = !d->chain.isEmpty();
    d->upgrade = std::make_unique<QWebSocketServer>(QStringLiteral("pellixclient-server"),
                                                    tls ? QWebSocketServer::SecureMode
                                                        : QWebSocketServer::NonSecureMode);
    connect(d->upgrade.get(), &QWebSocketServer::newConnection, this, [this] {
        while (QWebSocket *const socket = d->upgrade->nextPendingConnection())
            d->serve(socket);
    });
    d->listener =
        std::make_unique<Listener>(tls ? std::make_optional(tlsConfiguration(
                                       d->chain, d->key, d->access.identification.authorities))
                                       : std::nullopt);
    connect(d->listener.get(), &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket *const connection = d->listener->nextPendingConnection()) {
            d->connections.removeIf([](const auto &gone) { return gone.isNull(); });
            d->connections.append(connection);
            accept(connection);
        }
        d->dropOldestHandshakes();
    });
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
    const bool isEncrypted = d->listener ? d->listener->isEncrypted() : !d->chain.isEmpty();
    QList<QUrl> urls;
    for (const QHostAddress &address : reachableAddresses(d->address)) {
        QUrl url;
        url.setScheme(isEncrypted ? QStringLiteral("wss") : QStringLiteral("ws"));
        url.setHost(address.toString());
        url.setPort(port());
        urls.append(url);
    }
    return urls;
}

/*!
    Returns why the last listen(), setTls() or setIdentification() failed; empty when it did not.
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
    Returns the number of connections that are on their way to become a WebSocket. Those that a
    subclass holds do not count.
*/
int WebSocketKeywordServer::handshakeCount() const
{
    return int(std::count_if(
        d->handshakes.cbegin(), d->handshakes.cend(),
        [](const OpeningHandshake *handshake) { return !handshake->parent()->signalsBlocked(); }));
}

/*!
    \enum pellix::server::WebSocketKeywordServer::Refusal

    Why a client was refused.

    \value BadRequest its request is malformed, or too long (HTTP status 400 or 431)
    \value ForeignOrigin it is a web page of an origin that is not allowed (403)
    \value NoCredentials it does not say who it is (401)
    \value WrongCredentials its token or its certificate is not accepted (401)
    \value TooManyAttempts too many attempts of its address have failed (429)
    \value TooManyClients the server is full (503)
*/

/*!
    Returns how many clients have been refused for \a reason since the server was made.
*/
quint64 WebSocketKeywordServer::refusedClients(Refusal reason) const
{
    return d->access.refused.value(reason);
}

/*!
    Returns how many connections have been dropped before they became a WebSocket, because they took
    too long or were too many.
*/
quint64 WebSocketKeywordServer::droppedHandshakes() const
{
    return d->droppedHandshakes;
}

/*!
    Returns the statistics of the keyword server, with what this listener knows besides: how many
    clients it has refused, for whatever reason, and how many days its certificate is valid.
*/
Statistics WebSocketKeywordServer::statistics() const
{
    Statistics statistics = d->server ? d->server->statistics() : Statistics();
    for (const quint64 count : std::as_const(d->access.refused))
        statistics.refusedClients += count;
    statistics.certificateDays = certificateDays();
    return statistics;
}

/*!
    Closes all connections with the closing handshake.
*/
void WebSocketKeywordServer::closeClients()
{
    const QList<ClientSocket *> clients = d->clients;
    for (ClientSocket *client : clients) {
        client->flush();
        client->webSocket()->close(QWebSocketProtocol::CloseCodeGoingAway);
    }
}

/*!
    \overload

    Closes at most \a most connections with the closing handshake, those first that have been open
    for longest. Clients with a write that is not decided yet are left out. Returns how many clients
    are still to be closed.

    This is how a server goes without having all of its clients come back in the same moment.
    \sa setMaximumClients()
*/
int WebSocketKeywordServer::closeClients(int most)
{
    const QList<ClientSocket *> clients = d->clients;
    int left = 0;
    for (ClientSocket *client : clients) {
        if (client->webSocket()->state() != QAbstractSocket::ConnectedState)
            continue;
        if (most <= 0 || client->hasUndecidedWrites()) {
            ++left;
            continue;
        }
        --most;
        client->flush();
        client->webSocket()->close(QWebSocketProtocol::CloseCodeGoingAway);
    }
    return left;
}

/*!
    Takes a new \a connection: reads its request for a WebSocket and grants or refuses it.

    For subclasses that watch or disturb what happens. One that blocks the signals of a connection
    holds it: nothing is read from it, and it is not dropped for being late.
*/
void WebSocketKeywordServer::accept(QTcpSocket *connection)
{
    auto *const handshake = new OpeningHandshake(connection, d->handshakeTimeout);
    d->handshakes.append(handshake);
    // Its WebSocket disposes of it later.
    QObject::connect(connection, &QTcpSocket::disconnected, handshake,
                     [connection, handshake, this] {
                         d->handshakes.removeOne(handshake);
                         connection->deleteLater();
                     });
    QObject::connect(handshake, &QObject::destroyed, this,
                     [this, handshake] { d->handshakes.removeOne(handshake); });
    QObject::connect(handshake, &OpeningHandshake::requested, this,
                     [this, connection, handshake](const HandshakeRequest &request) {
                         d->admit(connection, handshake, request);
                     });
    QObject::connect(handshake, &OpeningHandshake::timedOut, this,
                     [this, connection] { d->drop(connection, "its handshake takes too long"); });
    handshake->begin();
}

/*!
    Sends a \a message of the session, JSON in UTF-8, to its \a client. For subclasses that watch,
    delay or change what is sent.
*/
void WebSocketKeywordServer::deliver(QWebSocket *client, const QByteArray &message)
{
    const auto found = d->identities.constFind(client);
    if (found != d->identities.cend() && found->socket)
        found->socket->sendMessage(message);
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
    Returns who \a client is: its name, which is empty if it is known by nothing but the listener's
    role, its address and its role.
*/
Peer WebSocketKeywordServer::peerOf(QWebSocket *client) const
{
    return d->identities.value(client).peer;
}

/*!
    Aborts all connections.
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
