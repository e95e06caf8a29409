// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/websocketkeywordserver.h"

#include "server/accesscontrol_p.h"
#include "server/clientsocket_p.h"
#include "server/keywordserver_p.h"
#include "server/keywordsession_p.h"
#include "server/loglimit_p.h"
#include "server/openinghandshake_p.h"

#include <QtCore/QDateTime>
#include <QtCore/QElapsedTimer>
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
constexpr int waitingConnections = 1024; // queued by the system; clients reconnect at once
constexpr auto farewellTime = 1s; // for the closing handshake of a session that is ended

// Accepts connections, and starts TLS if it has a certificate. Unlike QSslServer, it does not wait
// for TLS: a single time limit applies to everything before the upgrade.
class Listener : public QTcpServer
{
public:
    explicit Listener(const std::optional<QSslConfiguration> &tls) : tls(tls)
    {
        setListenBacklogSize(waitingConnections);
    }

    bool isEncrypted() const { return tls.has_value(); }
    void setConfiguration(const QSslConfiguration &configuration) { tls = configuration; }

    // The reason why TLS of the last connection could not be started.
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

// A client is asked for a certificate if there is an authority for it. An invalid certificate does
// not end the connection: the request may contain other credentials, and the response contains the
// error.
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
    // A resumed session would provide a certificate without its verification errors.
    configuration.setSslOption(QSsl::SslOptionDisableSessionTickets, true);
    return configuration;
}

// The reason why they cannot be used. In Qt, the only way to determine whether a certificate and a
// key belong together is to start TLS with them.
QString tlsProblem(const QList<QSslCertificate> &chain, const QSslKey &key)
{
    if (std::any_of(chain.cbegin(), chain.cend(), [](const auto &link) { return link.isNull(); }))
        return QStringLiteral("the chain contains an invalid one");
    Listener listener(tlsConfiguration(chain, key));
    QTcpSocket peer;
    listener.listen(QHostAddress::LocalHost);
    peer.connectToHost(QHostAddress::LocalHost, listener.serverPort());
    listener.waitForNewConnection(5000);
    return listener.tlsError();
}

// Address and port of the peer.
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
        // Link-local addresses require the interface, which has a different name on other machines.
        return is4 ? !any4 : !any6 || candidate.isLinkLocal();
    });
    std::stable_partition(addresses.begin(), addresses.end(),
                          [](const QHostAddress &candidate) { return candidate.isLoopback(); });
    if (addresses.isEmpty())
        addresses.append(any4 ? QHostAddress::LocalHost : QHostAddress::LocalHostIPv6);
    return addresses;
}

} // namespace

class Q_DECL_HIDDEN WebSocketKeywordServer::Private
{
public:
    struct Identity
    {
        ClientCredentials credentials;
        Peer peer;
        QPointer<ClientSocket> socket;
    };

    explicit Private(WebSocketKeywordServer *q) : q(q) { clock.start(); }

    ClientIdentification defaultIdentification() const;
    QString listenProblem() const;
    void replaceTlsConfiguration();
    void admit(QTcpSocket *connection, OpeningHandshake *handshake,
               const HandshakeRequest &request);
    void refuse(QTcpSocket *connection, OpeningHandshake *handshake,
                const AccessControl::Decision &decision);
    std::optional<QString> noteToLog(const QByteArray &kind);
    void drop(QTcpSocket *connection, const char *reason);
    void dropOldestHandshakes();
    void limitTime(std::chrono::milliseconds time);
    void dropLateHandshakes();
    void endHandshake(OpeningHandshake *handshake);
    void serve(QWebSocket *socket);
    std::shared_ptr<QTimer> progressTimerFor(const Limits &limits);
    OpeningHandshake *handshakeOf(const QWebSocket *socket) const;
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
    QHash<const QTcpSocket *, ClientSocket *> readers; // the clients, by their connection
    std::shared_ptr<QTimer> progressTimer; // of the next one
    QTimer handshakeTimer {q}; // until the first handshake may be late
    AccessControl access;
    LogLimit logLimit;
    QElapsedTimer clock;
    bool isIdentificationSet = false;
    bool unencryptedAllowed = false;
    bool isDestroyed = false;
    int maximumHandshakes = 64;
    quint64 droppedHandshakes = 0;
    std::chrono::milliseconds handshakeTimeout = defaultHandshakeTimeout;
    QString error;
};

// On loopback, all clients have full rights; on other addresses, clients are refused by default.
ClientIdentification WebSocketKeywordServer::Private::defaultIdentification() const
{
    ClientIdentification identification;
    if (address.isLoopback())
        identification.role = ClientIdentification::fullRights;
    return identification;
}

// The reason why it must not listen with its settings.
QString WebSocketKeywordServer::Private::listenProblem() const
{
    if (!chain.isEmpty())
        return {};
    if (!access.identification.authorities.isEmpty())
        return QStringLiteral("client certificates require a listener with a certificate");
    if (address.isLoopback() || unencryptedAllowed)
        return {};
    return QStringLiteral("without a certificate, others on the network could read values and "
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
    // Connected before the WebSocket is, which will read the data.
    QObject::connect(connection, &QTcpSocket::readyRead, q, [this, connection] {
        if (ClientSocket *const client = readers.value(connection))
            client->aboutToRead(connection->bytesAvailable());
    });
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
    const QString line = QStringLiteral("refused %1: %2").arg(name, decision.reason);
    switch (*decision.refusal) {
    case Refusal::TooManyAttempts: // each of them follows one that has been logged
        qCDebug(lcWebSocketServer).noquote() << line;
        break;
    case Refusal::NoCredentials: // the attempts of an address are limited
    case Refusal::WrongCredentials:
        qCWarning(lcWebSocketServer).noquote() << line;
        break;
    default:
        if (const auto note = noteToLog(decision.status))
            qCWarning(lcWebSocketServer).noquote().nospace() << line << *note;
    }
    handshake->refuse(decision.status, decision.headers, decision.reason);
}

// What follows a line of this kind; none if it is not to be logged, since anybody can cause it.
std::optional<QString> WebSocketKeywordServer::Private::noteToLog(const QByteArray &kind)
{
    const auto leftOut = logLimit.next(kind, std::chrono::milliseconds(clock.elapsed()));
    if (!leftOut)
        return std::nullopt;
    return *leftOut == 0 ? QString() : QStringLiteral(" (%1 more not logged)").arg(*leftOut);
}

// Closes a connection that has not become a WebSocket.
void WebSocketKeywordServer::Private::drop(QTcpSocket *connection, const char *reason)
{
    if (connection->signalsBlocked())
        return; // a subclass holds it, and closing it would be a reply
    if (connection->state() == QAbstractSocket::UnconnectedState)
        return; // it has disconnected, and is deleted from the event loop
    if (const auto note = noteToLog(reason))
        qCInfo(lcWebSocketServer, "disconnected %s: %s%s", qUtf8Printable(peerName(connection)),
               reason, qUtf8Printable(*note));
    ++droppedHandshakes;
    connection->abort();
}

// Clients that open connections without sending anything cannot block others: a handshake takes no
// longer than opening the same number of connections again.
void WebSocketKeywordServer::Private::dropOldestHandshakes()
{
    if (handshakes.size() <= maximumHandshakes)
        return;
    const QList<OpeningHandshake *> open = handshakes;
    qsizetype excess = q->handshakeCount() - maximumHandshakes;
    for (OpeningHandshake *handshake : open) {
        QTcpSocket *const connection = handshake->socket();
        if (excess <= 0)
            return;
        if (connection->signalsBlocked())
            continue;
        --excess;
        drop(connection, "too many handshakes are unfinished");
    }
}

// The timer is one for all handshakes.
void WebSocketKeywordServer::Private::limitTime(std::chrono::milliseconds time)
{
    if (!handshakeTimer.isActive() || time < handshakeTimer.intervalAsDuration())
        handshakeTimer.start(qMax(time, 1ms));
}

void WebSocketKeywordServer::Private::dropLateHandshakes()
{
    const QList<OpeningHandshake *> open = handshakes;
    for (OpeningHandshake *handshake : open) {
        if (!handshake->isLate())
            continue;
        handshake->startTime(); // anew, if it stays: a subclass may hold it
        drop(handshake->socket(), "its handshake takes too long");
    }
    handshakeTimer.stop();
    for (const OpeningHandshake *handshake : std::as_const(handshakes))
        limitTime(handshake->timeLeft());
}

void WebSocketKeywordServer::Private::endHandshake(OpeningHandshake *handshake)
{
    handshakes.removeOne(handshake);
    QObject::disconnect(handshake, nullptr, q, nullptr);
    QObject::disconnect(handshake->parent(), nullptr, handshake, nullptr);
    handshake->deleteLater();
}

// A WebSocket does not provide its connection. Null if its client has disconnected.
OpeningHandshake *WebSocketKeywordServer::Private::handshakeOf(const QWebSocket *socket) const
{
    const auto found =
        std::find_if(handshakes.cbegin(), handshakes.cend(), [socket](const auto *handshake) {
            const QTcpSocket *const connection = handshake->socket();
            return connection->peerPort() != 0 && connection->peerPort() == socket->peerPort()
                && connection->peerAddress() == socket->peerAddress()
                && connection->localAddress() == socket->localAddress();
        });
    return found == handshakes.cend() ? nullptr : *found;
}

// Clients share one, unless the limit has changed meanwhile: with one for each of them, all other
// timers of the program would take longer to start.
std::shared_ptr<QTimer> WebSocketKeywordServer::Private::progressTimerFor(const Limits &limits)
{
    const auto interval = limits.stalledTime / ClientSocket::ticksInStalledTime;
    if (!progressTimer || progressTimer->intervalAsDuration() != interval) {
        progressTimer = std::make_shared<QTimer>();
        progressTimer->start(interval);
    }
    return progressTimer;
}

void WebSocketKeywordServer::Private::serve(QWebSocket *socket)
{
    OpeningHandshake *const handshake = handshakeOf(socket);
    if (!handshake || !handshake->isGranted()) {
        socket->abort();
        socket->deleteLater();
        return;
    }
    QTcpSocket *const connection = handshake->socket();
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
    auto *const client =
        new ClientSocket(socket, connection, limits, server->d->budget, progressTimerFor(limits));
    clients.append(client);
    readers.insert(connection, client);
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
    QObject::connect(client, &ClientSocket::tooLong, q, [this, socket, limits] {
        qCWarning(lcWebSocketServer, "disconnected %s: it sent a command longer than %d bytes",
                  qUtf8Printable(peerName(socket)), limits.commandBytes);
        if (server)
            ++server->d->counts.longCommands;
    });
    QObject::connect(client, &ClientSocket::stalled, socket, [this, socket](const QString &why) {
        qCWarning(lcWebSocketServer, "disconnected %s: %s", qUtf8Printable(peerName(socket)),
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
    readers.removeIf([client](const auto &reader) { return reader.value() == client; });
    if (clients.removeOne(client))
        tellClientCount();
}

// Receivers of the destruction of a session may delete everything: nothing may be in the process of
// being deleted then, or be a child of such an object.
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

// Ends the sessions of clients that would be refused now, or would have another identity.
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

// Immediately: neither commands nor events are processed any more. A handler of either may call
// this.
void WebSocketKeywordServer::Private::endSession(QWebSocket *socket)
{
    endSessionsOf(socket);
    QTimer::singleShot(farewellTime, socket, [socket] { socket->abort(); });
    if (auto *const client =
            socket->findChild<ClientSocket *>(QString(), Qt::FindDirectChildrenOnly)) {
        client->close(QWebSocketProtocol::CloseCodePolicyViolated,
                      QStringLiteral("its access was removed"));
    }
}

// Aborts all connections, including those that are not upgraded yet or are on hold.
void WebSocketKeywordServer::Private::dropAll()
{
    const QList<ClientSocket *> dropped = std::exchange(clients, {});
    identities.clear();
    readers.clear();
    for (const QPointer<QTcpSocket> &connection : std::as_const(connections)) {
        if (!connection || !connection->signalsBlocked())
            continue;
        connection->blockSignals(false);
        if (connection->state() == QAbstractSocket::UnconnectedState) {
            // Its client disconnected during the hold; the WebSocket has not been notified yet.
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

// From the event loop: a receiver may delete the server, including a WebSocket or a connection that
// is emitting a signal.
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

    Each client gets its own session, which ends with the connection. With a certificate, the server
    uses TLS (wss).

    A slow client receives the newest value of each keyword after it has read the previous messages.
    The server closes the connection of a client that reads nothing for Limits::stalledTime, or that
    does not complete its handshake in time. It refuses web pages unless their origin is allowed,
    and handshakes with more than one host. All of this is logged in the category
    "pellixclient.server.websocketserver".

    By default, the server listens on this machine only, and all clients have full rights. To listen
    on the network, set a certificate and the identification of clients:

    \code
    WebSocketKeywordServer listener(&keywords);
    listener.setTls(certificate, key);
    listener.setIdentification(identification);
    listener.listen(QHostAddress::Any, 8765);
    \endcode

    You can replace the certificate, tokens, and roles while the server is listening. To create
    certificates, see \l {Certificates for servers and clients}.

    This class does not own the keyword server, which may be destroyed first: clients receive no
    replies then.
*/

/*!
    Constructs a listener for \a server that is not listening yet. If \a parent is given, it owns
    the listener.
*/
WebSocketKeywordServer::WebSocketKeywordServer(KeywordServer *server, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>(this))
{
    d->server = server;
    d->handshakeTimer.setSingleShot(true);
    connect(&d->handshakeTimer, &QTimer::timeout, this, [this] { d->dropLateHandshakes(); });
    if (server)
        connect(server, &KeywordServer::roleRemoved, this, &WebSocketKeywordServer::endSessions);
}

/*!
    Destroys the server and closes its connections.
*/
WebSocketKeywordServer::~WebSocketKeywordServer()
{
    blockSignals(true);
    d->isDestroyed = true;
    close();
}

/*!
    Makes the server use TLS (wss) with \a certificate and its private \a key.

    If the server is already listening with TLS, it sends the new certificate to the next clients;
    existing connections are not affected. The next listen() determines whether the server uses ws
    or wss.

    Returns \c false, and changes nothing, if they cannot be used, in particular if they do not
    belong together; errorString() then contains the reason. With a null certificate, the server
    uses ws again.
*/
bool WebSocketKeywordServer::setTls(const QSslCertificate &certificate, const QSslKey &key)
{
    return setTls(certificate.isNull() ? QList<QSslCertificate>() : QList {certificate}, key);
}

/*!
    \overload

    Makes the server use TLS (wss) with the first certificate of \a chain and its private \a key.
    The server also sends the other certificates, in their order: those of the intermediate
    authorities, each signed by the next. QSslCertificate::fromPath() reads them from one file. With
    an empty chain, the server uses ws again.
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
    Returns the number of days until the certificate of the server expires, rounded down: 0 on the
    last day, and after it has expired. For a chain, the first certificate to expire is used.
    Returns -1 if there is no certificate.
*/
int WebSocketKeywordServer::certificateDays() const
{
    if (d->chain.isEmpty())
        return -1;
    QDateTime expiry = d->chain.constFirst().expiryDate();
    for (const QSslCertificate &certificate : std::as_const(d->chain))
        expiry = qMin(expiry, certificate.expiryDate());
    const qint64 seconds = QDateTime::currentDateTimeUtc().secsTo(expiry);
    constexpr qint64 secondsPerDay = 86400;
    return int(qMax(qint64(0), seconds / secondsPerDay));
}

/*!
    If \a allowed is \c true, listen() accepts addresses of the network without a certificate.

    Others on the network can then read and change all data, including tokens: use this only for
    development, and in networks that are protected by other means. The default is \c false: only
    loopback addresses are accepted without a certificate.
*/
void WebSocketKeywordServer::setUnencryptedAllowed(bool allowed)
{
    d->unencryptedAllowed = allowed;
}

/*!
    Sets the identification of clients to \a identification, starting with the next request.

    A session ends immediately if its client would be refused now, or would get another name or
    role: its token, its certificate, or the role of the listener was removed. The client receives
    the close code 1008, policy violation. Other sessions continue.

    Until this function is called, a listener on a loopback address gives clients full rights, and a
    listener on another address refuses all clients.

    Returns \c false, and changes nothing, if the settings contradict each other; errorString() then
    contains the reason.
    \sa endSessions()
*/
bool WebSocketKeywordServer::setIdentification(const ClientIdentification &identification)
{
    d->error = identification.problem();
    const bool isPlain = d->listener && !d->listener->isEncrypted();
    if (d->error.isEmpty() && isPlain && !identification.authorities.isEmpty())
        d->error = QStringLiteral("client certificates require a listener with a certificate");
    if (!d->error.isEmpty())
        return false;
    d->isIdentificationSet = true;
    d->access.identification = identification;
    d->replaceTlsConfiguration();
    d->judgeAnew();
    return true;
}

/*!
    Returns the identification of clients. Until setIdentification() is called, it depends on the
    address of the last listen().
*/
ClientIdentification WebSocketKeywordServer::identification() const
{
    return d->isIdentificationSet ? d->access.identification : d->defaultIdentification();
}

/*!
    Ends the sessions of all clients with \a role, like setIdentification(). Clients may connect
    again, and do so if they reconnect automatically: call this function after the rights of the
    role have changed.
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
    Allows handshakes of web pages from \a origins, such as "https://example.org:8443". The change
    takes effect with the next request.

    Browsers send the origin of the page in each handshake; other programs, such as those that use
    PWebSocketKeywordClient, send none and are always accepted. By default, no origin is allowed:
    otherwise, any page in a browser could use a server on the same machine. A handshake with
    another origin is refused with the HTTP status 403, and logged. Strings that are not valid
    origins are ignored.
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
    Returns whether \a text is an origin: a scheme, a host, and optionally a port, and nothing else.
    \sa setAllowedOrigins()
*/
bool WebSocketKeywordServer::isOrigin(const QString &text)
{
    return !normalizedOrigin(text).isEmpty();
}

/*!
    Returns the time limit for a connection to become a WebSocket, including TLS: 10 seconds by
    default. A connection that takes longer is closed.
*/
std::chrono::milliseconds WebSocketKeywordServer::handshakeTimeout() const
{
    return d->handshakeTimeout;
}

/*!
    Sets the time limit for a connection to become a WebSocket to \a timeout. The change takes
    effect with the next connection.
*/
void WebSocketKeywordServer::setHandshakeTimeout(std::chrono::milliseconds timeout)
{
    d->handshakeTimeout = timeout;
}

/*!
    Returns the maximum number of connected clients: 500 by default. Further clients are refused
    with the HTTP status 503.
*/
int WebSocketKeywordServer::maximumClients() const
{
    return d->access.maximumClients;
}

/*!
    Sets the maximum number of connected clients to \a clients; with 0, all clients are refused.
    Existing connections are not affected.
*/
void WebSocketKeywordServer::setMaximumClients(int clients)
{
    d->access.maximumClients = clients;
}

/*!
    Returns the maximum number of unfinished handshakes: 64 by default. One more closes the oldest
    of them, so that inactive connections cannot block clients.
*/
int WebSocketKeywordServer::maximumHandshakes() const
{
    return d->maximumHandshakes;
}

/*!
    Sets the maximum number of unfinished handshakes to \a handshakes, at least 1. The change takes
    effect with the next connection.
*/
void WebSocketKeywordServer::setMaximumHandshakes(int handshakes)
{
    d->maximumHandshakes = qMax(1, handshakes);
}

/*!
    Returns the number of failed attempts that one address may make per minute: 20 by default.

    An attempt fails if a client sends invalid credentials, or none where they are required. Beyond
    the limit, the address is refused with the HTTP status 429, even with valid credentials, and
    regains its attempts evenly over a minute. All addresses of a 64-bit IPv6 network count as one,
    and loopback addresses count like any other. At least the last 2048 addresses that failed are
    recorded.
*/
int WebSocketKeywordServer::maximumAttempts() const
{
    return d->access.attempts.perMinute();
}

/*!
    Sets the number of failed attempts that one address may make per minute to \a attempts; 0
    disables the limit. The counts of all addresses are reset.
*/
void WebSocketKeywordServer::setMaximumAttempts(int attempts)
{
    d->access.attempts.setPerMinute(attempts);
}

/*!
    Starts listening on \a address and \a port; with 0, a free port is used. Returns \c false if
    this fails; errorString() then contains the reason.

    An address other than a loopback address requires a certificate, unless setUnencryptedAllowed()
    is set.
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
    Stops listening and closes all connections.
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
    Returns the port on which the server is listening, or 0 if it is not listening.
*/
quint16 WebSocketKeywordServer::port() const
{
    return d->listener ? d->listener->serverPort() : 0;
}

/*!
    Returns the URL for clients on this machine, such as ws://127.0.0.1:41234: the first entry of
    urls().
*/
QUrl WebSocketKeywordServer::url() const
{
    return urls().constFirst();
}

/*!
    Returns the URLs of the server. There is one URL, unless the server is listening on all
    addresses of the machine; then the current addresses are listed, loopback first.
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
    Returns the reason why the last listen(), setTls(), or setIdentification() failed, or an empty
    string if it succeeded.
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
    Returns the number of unfinished handshakes. Connections that a subclass holds do not count.
*/
int WebSocketKeywordServer::handshakeCount() const
{
    return int(std::count_if(
        d->handshakes.cbegin(), d->handshakes.cend(),
        [](const OpeningHandshake *handshake) { return !handshake->parent()->signalsBlocked(); }));
}

/*!
    \enum pellix::server::WebSocketKeywordServer::Refusal

    This enum describes why a client was refused.

    \value BadRequest its request is malformed, or too long (HTTP status 400 or 431)
    \value ForeignOrigin it is a web page from an origin that is not allowed (403)
    \value NoCredentials it sends no credentials (401)
    \value WrongCredentials its token or its certificate is not accepted (401)
    \value TooManyAttempts too many attempts from its address have failed (429)
    \value TooManyClients the maximum number of clients is reached (503)
*/

/*!
    Returns the number of clients refused for \a reason since the server was created.
*/
quint64 WebSocketKeywordServer::refusedClients(Refusal reason) const
{
    return d->access.refused.value(reason);
}

/*!
    Returns the number of connections that were closed before they became a WebSocket, because they
    took too long or there were too many.
*/
quint64 WebSocketKeywordServer::droppedHandshakes() const
{
    return d->droppedHandshakes;
}

/*!
    Returns the statistics of the keyword server, including those of this listener: the number of
    refused clients, in total and for each reason, the number of dropped handshakes, and the number
    of days until its certificate expires.
*/
Statistics WebSocketKeywordServer::statistics() const
{
    Statistics statistics = d->server ? d->server->statistics() : Statistics();
    for (const quint64 count : std::as_const(d->access.refused))
        statistics.refusedClients += count;
    statistics.badRequests = refusedClients(Refusal::BadRequest);
    statistics.foreignOrigins = refusedClients(Refusal::ForeignOrigin);
    statistics.missingCredentials = refusedClients(Refusal::NoCredentials);
    statistics.wrongCredentials = refusedClients(Refusal::WrongCredentials);
    statistics.excessAttempts = refusedClients(Refusal::TooManyAttempts);
    statistics.excessClients = refusedClients(Refusal::TooManyClients);
    statistics.droppedHandshakes = d->droppedHandshakes;
    statistics.certificateDays = certificateDays();
    return statistics;
}

/*!
    Closes all connections with the closing handshake. Commands that the server reads afterwards
   have no effect.
*/
void WebSocketKeywordServer::closeClients()
{
    const QList<ClientSocket *> clients = d->clients;
    for (ClientSocket *client : clients)
        client->close(QWebSocketProtocol::CloseCodeGoingAway);
}

/*!
    \overload

    Closes at most \a most connections with the closing handshake, the oldest first. Clients with a
    pending write are skipped. Returns the number of clients that remain to be closed.

    Use this function to shut down a server without all of its clients reconnecting at the same
    time.
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
        client->close(QWebSocketProtocol::CloseCodeGoingAway);
    }
    return left;
}

/*!
    Accepts a new \a connection: reads its WebSocket request and grants or refuses it.

    Subclasses can reimplement this function to observe or disturb connections. A subclass that
    blocks the signals of a connection holds it: nothing is read from it, and the time limit does
    not apply.
*/
void WebSocketKeywordServer::accept(QTcpSocket *connection)
{
    auto *const handshake = new OpeningHandshake(connection, d->handshakeTimeout);
    d->handshakes.append(handshake);
    // Its WebSocket deletes it later.
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
    d->limitTime(d->handshakeTimeout);
    handshake->begin();
}

/*!
    Sends a \a message of the session, JSON in UTF-8, to its \a client. Subclasses can reimplement
    this function to observe, delay, or change messages.
*/
void WebSocketKeywordServer::deliver(QWebSocket *client, const QByteArray &message)
{
    const auto found = d->identities.constFind(client);
    if (found != d->identities.cend() && found->socket)
        found->socket->sendMessage(message);
}

/*!
    Sends \a text to \a client, in addition to the messages of its session.
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
    Returns the keyword server, or null if it has been destroyed.
*/
KeywordServer *WebSocketKeywordServer::keywordServer() const
{
    return d->server;
}

/*!
    Returns all connections, including those that are not WebSockets yet.
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
    Returns the identity of \a client: its name, which is empty if only the role of the listener is
    known, its address, and its role.
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

    This signal is emitted from the event loop after a client has connected or its connection has
    ended. Handlers may delete the server.
*/

} // namespace pellix::server
