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

// Debug output is on in this category, unlike in the others: a lost link has to show in the log.
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

class PWebSocketKeywordClient::Private
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
    \brief The PWebSocketKeywordClient class talks to a keyword server over a WebSocket.

    Setting urls opens a connection to the first valid address of the list. With autoReconnect a
    lost or failed connection is tried again every second.

    The connection is kept alive by pings every 5 seconds. A server that does not answer one until
    the next is due is taken for dead, and the connection dropped: 5 to 10 seconds after it fell
    silent.

    Commands sent while there is no connection are dropped, although the sending function returns
    \c true. Bound keywords need none: proxies ask
    for theirs again as soon as the server is reached.

    What happens is logged in the category "pellixclient.keyword.websocketclient", in which debug
    output is enabled. The filter rule
    \c {pellixclient.keyword.websocketclient.debug=false} silences it.
*/

/*!
    \property pellix::client::PWebSocketKeywordClient::url
    \brief the first entry of urls that is a valid URL in tolerant parsing; empty when none is.

    It is computed at each read. Its change signal is never emitted: a binding on it is not
    refreshed when urls changes.
*/

/*!
    \property pellix::client::PWebSocketKeywordClient::urls
    \brief the candidate addresses of the server, as ws:// or wss:// URLs.

    The first valid one is used. A connection that fails does not move on to the next: later entries
    count only when all before them are not valid URLs. Valid means valid as any URL: localhost:8765
    without ws:// is, and never connects.

    Setting a list that differs from the current one drops the connection, even when its first valid
    entry is the same, and connects at once. With no valid entry it only drops the connection.
*/

/*!
    \property pellix::client::PWebSocketKeywordClient::autoReconnect
    \brief whether a lost or failed connection is tried again, once every 1000 ms.

    The default is \c false. Enabling it does not connect at once: the first attempt comes 1000 ms
    later. The address is chosen anew each time.
    \sa urls, disconnect()
*/

/*!
    \property pellix::client::PWebSocketKeywordClient::connected
    \brief whether the connection to the server is established.
*/

/*!
    \fn void PWebSocketKeywordClient::urlChanged()

    This signal is never emitted; follow urlsChanged() instead.
*/

/*!
    Constructs a client without addresses, which connects to nothing yet. \a parent owns it, if
    given.
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
                    d->pingOutstanding = false; // an earlier connection's, which nobody answers
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
    Destroys the client and drops the connection. Its subscribers are detached.
*/
PWebSocketKeywordClient::~PWebSocketKeywordClient()
{
    // Closing must not call back into an object that is half gone.
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
    Drops the connection. urls and autoReconnect stay as they are: with automatic reconnection the
    connection comes back within a second. To stay disconnected, switch that off first.
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

    Sends \a data as one text message. Always returns \c true, also when there is no connection and
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
    // A server that refuses the handshake by an HTTP status may keep the connection open, as
    // proxies do. QWebSocket reports the error and then stays in ConnectingState as long.
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
