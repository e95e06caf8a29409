// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/websocketkeywordclient.h"

#include "client/websocket_p.h"
#include "pubsub/deletionwatch_p.h"
#include "pubsub/publisher.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QTimer>
#include <QtCore/QTimerEvent>
#include <QtCore/QUrl>

#include <chrono>

namespace pellix::client {

using namespace std::chrono_literals;

namespace {

// Unlike in the other categories, debug output is enabled here: a lost connection must be logged.
Q_LOGGING_CATEGORY(lcWebSocketClient, "pellixclient.keyword.websocketclient", QtDebugMsg)

constexpr auto keepAliveInterval = 5000ms;
constexpr auto reconnectInterval = 1000ms;

QUrl tolerantUrl(const QString &address)
{
    return QUrl(address, QUrl::TolerantMode);
}

// The address as it is opened. Without a path, QWebSocket would put the query right behind the
// method: a request line that servers refuse.
QUrl toOpen(const QString &address)
{
    QUrl url = tolerantUrl(address);
    if (url.path().isEmpty() && url.hasQuery())
        url.setPath(QStringLiteral("/"));
    return url;
}

} // namespace

class Q_DECL_HIDDEN PWebSocketKeywordClient::Private
{
public:
    QStringList urls;
    std::unique_ptr<WebSocket, WebSocket::Disposal> socket {new WebSocket};
    bool autoReconnect = false;
    int reconnectTimerId = 0; // stays as it was when the timer is stopped
    bool timerRuns = false;
    bool pingOutstanding = false;
    bool attemptFailed = false; // and the socket has not said so by its state
    QTimer keepAliveTimer;
    DeletionWatch watch;
};

/*!
    \class pellix::client::PWebSocketKeywordClient
    \inmodule PellixClientKeyword
    \inheaderfile client/websocketkeywordclient.h
    \ingroup PellixClientKeywordClasses
    \brief The PWebSocketKeywordClient class is the client of a keyword server over a WebSocket.

    Setting urls opens a connection to the first valid address of the list. With autoReconnect, the
    client retries a lost or failed connection every second.

    The client sends a ping every 5 seconds. If the server does not answer it before the next one is
    due, it is considered unresponsive, and the client closes the connection: 5 to 10 seconds after
    the server became unresponsive.

    Commands sent without a connection are discarded, although the sending function returns \c true.
    Proxies subscribe again as soon as the client is connected.

    The client logs its activity in the category "pellixclient.keyword.websocketclient", in which
    debug output is enabled by default. The filter rule
    \c {pellixclient.keyword.websocketclient.debug=false} disables it.
*/

/*!
    \property pellix::client::PWebSocketKeywordClient::url
    \brief the first entry of urls that is a valid URL in tolerant mode, or an empty URL if there is
    none.

    The value is computed at each access. Its change signal is never emitted: bindings are not
    updated when urls changes.
*/

/*!
    \property pellix::client::PWebSocketKeywordClient::urls
    \brief the candidate addresses of the server, as ws:// or wss:// URLs.

    The client uses the first valid URL, even if that server cannot be reached. It uses a later
    entry only if all entries before it are not valid URLs. An entry is valid if it is a valid URL:
    \c {localhost:8765} without \c {ws://} is valid, but the client can never connect to it.

    Setting a different list closes the connection, even if its first valid entry is the same, and
    connects immediately. If the list has no valid entry, it only closes the connection.
*/

/*!
    \property pellix::client::PWebSocketKeywordClient::autoReconnect
    \brief whether the client retries a lost or failed connection every 1000 ms.

    The default is \c false. Enabling it does not connect immediately: the first attempt takes place
    1000 ms later. Each attempt selects the address again.
    \sa urls, disconnect()
*/

/*!
    \property pellix::client::PWebSocketKeywordClient::connected
    \brief whether the connection to the server is established.
*/

/*!
    \fn void PWebSocketKeywordClient::urlChanged()

    This signal is never emitted. Use urlsChanged() instead.
*/

/*!
    Constructs a client without addresses, which is not connected. If \a parent is given, it owns
    the client.
*/
PWebSocketKeywordClient::PWebSocketKeywordClient(QObject *parent)
    : PKeywordClient(parent), d(std::make_unique<Private>())
{
    WebSocket *const socket = d->socket.get();

    connect(publisher(), &PPublisher::activeChanged, this,
            &PWebSocketKeywordClient::connectedChanged);

    const auto onError = [this, socket] {
        d->attemptFailed = socket->state() == QAbstractSocket::ConnectingState;
        qCDebug(lcWebSocketClient) << "error:" << socket->errorString();
        qCWarning(lcWebSocketClient) << socket->errorString();
    };
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    connect(socket, &QWebSocket::errorOccurred, this, onError);
#else
    connect(socket, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), this, onError);
#endif
    connect(socket, &QWebSocket::textMessageReceived, this, [this, socket](const QString &text) {
        const WebSocket::InUse inUse(socket);
        receiveCommand(text.toUtf8());
    });
    connect(socket, &QWebSocket::stateChanged, this,
            [this, socket](QAbstractSocket::SocketState state) {
                const WebSocket::InUse inUse(socket);
                qCDebug(lcWebSocketClient) << "state:" << state;
                d->attemptFailed = false;
                if (state == QAbstractSocket::ConnectedState) {
                    limitReceiveBuffer(socket);
                    d->pingOutstanding = false; // from an earlier connection; never answered
                }
                publisher()->setActive(state == QAbstractSocket::ConnectedState);
            });
    connect(socket, &QWebSocket::pong, this, [this] { d->pingOutstanding = false; });

    publisher()->setActive(socket->state() == QAbstractSocket::ConnectedState);

    connect(
        &d->keepAliveTimer, &QTimer::timeout, &d->keepAliveTimer,
        [this, socket] {
            if (socket->state() != QAbstractSocket::ConnectedState)
                return;
            if (d->pingOutstanding) {
                d->pingOutstanding = false;
                const WebSocket::InUse inUse(socket);
                socket->abort();
                return;
            }
            d->pingOutstanding = true;
            socket->ping();
        },
        Qt::DirectConnection);
    d->keepAliveTimer.start(keepAliveInterval);
}

/*!
    Destroys the client, closes the connection, and detaches the subscribers.
*/
PWebSocketKeywordClient::~PWebSocketKeywordClient()
{
    // Closing must not call back into an object that is being destroyed.
    QObject::disconnect(d->socket.get(), nullptr, this, nullptr);
}

QString PWebSocketKeywordClient::url() const
{
    for (const QString &url : d->urls) {
        if (tolerantUrl(url).isValid())
            return url;
    }
    return QString();
}

QList<QString> PWebSocketKeywordClient::urls() const
{
    return d->urls;
}

void PWebSocketKeywordClient::setUrls(const QList<QString> &urls)
{
    if (urls == d->urls)
        return;
    d->urls = urls;

    const DeletionWatch::Scope self(d->watch);
    Q_EMIT urlsChanged();
    if (self.deleted())
        return;
    {
        const WebSocket::InUse inUse(d->socket.get());
        d->socket->abort();
    }
    if (self.deleted())
        return;
    reconnect();
}

bool PWebSocketKeywordClient::autoReconnect() const
{
    return d->autoReconnect;
}

void PWebSocketKeywordClient::setAutoReconnect(bool autoReconnect)
{
    if (autoReconnect == d->autoReconnect)
        return;
    d->autoReconnect = autoReconnect;

    const DeletionWatch::Scope self(d->watch);
    Q_EMIT autoReconnectChanged();
    if (self.deleted() || d->autoReconnect != autoReconnect || d->timerRuns == autoReconnect)
        return; // a handler has set it again, and that call has dealt with the timer
    d->timerRuns = autoReconnect;
    if (autoReconnect)
        d->reconnectTimerId = startTimer(reconnectInterval, Qt::CoarseTimer);
    else
        killTimer(d->reconnectTimerId);
}

bool PWebSocketKeywordClient::connected() const
{
    return publisher()->active();
}

/*!
    Closes the connection. urls and autoReconnect do not change: with autoReconnect set, the client
    reconnects within a second. To stay disconnected, set autoReconnect to \c false first.
*/
void PWebSocketKeywordClient::disconnect()
{
    qDebug() << "disconnect Websocket"; // Required: in the default category, not in this one's.
    d->pingOutstanding = false;

    const DeletionWatch::Scope self(d->watch);
    WebSocket *const socket = d->socket.get();
    const WebSocket::InUse inUse(socket);
    socket->abort();
    if (self.deleted() || socket->state() != QAbstractSocket::UnconnectedState)
        return; // a handler has deleted the client, or opened the next connection already
    socket->close(QWebSocketProtocol::CloseCodeNormal);
}

/*!
    \reimp

    Sends \a data as one text message. Always returns \c true, even if there is no connection and
    the command is lost.
*/
bool PWebSocketKeywordClient::sendCommand(const QByteArray &data)
{
    qCDebug(lcWebSocketClient) << "send" << data;
    WebSocket *const socket = d->socket.get();
    const WebSocket::InUse inUse(socket);
    const qint64 sent = socket->sendTextMessage(QString::fromStdString(data.toStdString()));
    if (sent != data.size())
        qCDebug(lcWebSocketClient) << "send issue" << sent << data.size();
    return true;
}

/*!
    \reimp
*/
void PWebSocketKeywordClient::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == d->reconnectTimerId)
        reconnect();
}

void PWebSocketKeywordClient::reconnect()
{
    const DeletionWatch::Scope self(d->watch);
    WebSocket *const socket = d->socket.get();
    const WebSocket::InUse inUse(socket);

    const QUrl target = toOpen(url());
    if (!target.isValid()) {
        socket->abort();
        return;
    }
    // A server that refuses the handshake with an HTTP status may keep the connection open, as
    // proxies do. QWebSocket reports the error and then stays in ConnectingState until it is
    // closed.
    if (socket->state() != QAbstractSocket::UnconnectedState
        && (socket->requestUrl() != target || d->attemptFailed)) {
        qCDebug(lcWebSocketClient) << "disconnect" << socket->requestUrl();
        socket->abort();
        if (self.deleted())
            return;
    }
    if (socket->state() == QAbstractSocket::UnconnectedState) {
        qCDebug(lcWebSocketClient) << "connect" << target;
        socket->open(target);
    }
}

} // namespace pellix::client
