// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QAbstractEventDispatcher>
#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>

// Shared by the transports over WebSockets.
namespace pellix::client {

/*
    All data that the system has buffered for a connection is processed at once, before control
    returns to the event loop. On Linux, this buffer can grow to many megabytes (net.ipv4.tcp_rmem)
    when a server sends faster than the client reads. The result is seconds without a frame, and a
    pong behind all that data, until the keep-alive considers the server unresponsive. With a fixed
    size, the server has to wait.

    Limiting the amount that QWebSocket reads at a time is not an option: a frame above that limit
    would never arrive.
*/
inline void limitReceiveBuffer(const QWebSocket *socket)
{
    constexpr int receiveBufferSize = 128 * 1024;
    // QWebSocket does not offer the option; the connection below it is its child.
    const auto connections = socket->findChildren<QTcpSocket *>(Qt::FindDirectChildrenOnly);
    for (QTcpSocket *const connection : connections)
        connection->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption,
                                    receiveBufferSize);
}

/*
    A socket whose owner may be deleted while it emits a signal: handlers delete clients, and a
    socket must not be deleted further down its own call stack. InUse marks such a section; the last
    one to end deletes an abandoned socket, from the event loop level that emitted the signal.
*/
class WebSocket : public QWebSocket
{
public:
    WebSocket() : QWebSocket(QString(), QWebSocketProtocol::VersionLatest) { }

    class InUse
    {
    public:
        explicit InUse(WebSocket *socket) : socket(socket) { ++socket->uses; }
        InUse(const InUse &) = delete;
        InUse &operator=(const InUse &) = delete;
        ~InUse()
        {
            if (--socket->uses == 0 && socket->abandoned)
                socket->deleteLater();
        }

    private:
        WebSocket *const socket;
    };

    struct Disposal
    {
        void operator()(WebSocket *socket) const
        {
            if (socket->uses > 0) {
                socket->abandoned = true;
                return;
            }
            // The client is destroyed after the application: closing properly requires an event
            // loop.
            if (!QAbstractEventDispatcher::instance())
                socket->abort();
            delete socket;
        }
    };

private:
    int uses = 0;
    bool abandoned = false;
};

} // namespace pellix::client
