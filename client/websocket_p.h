// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QAbstractEventDispatcher>
#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>

// What the transports over WebSockets share.
namespace pellix::client {

/*
    What the system holds ready of a connection is handled in one go, before the event loop turns
    again. Linux lets that grow to many megabytes (net.ipv4.tcp_rmem) when a server sends faster
    than the client reads. That makes seconds without a frame, and a pong that waits behind it all
    until the keep-alive takes the server for dead. With a fixed size the server has to wait.

    Limiting what QWebSocket reads at a time is no way: a frame above that limit would never arrive.
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
    A socket that may lose its owner while it emits a signal: handlers delete clients, and a socket
    must not be deleted further down its own call stack. InUse marks such a stretch; the last one
    to end disposes of an abandoned socket, from the event loop level where the signal came from.
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
            // A client that outlives the application: to close in order takes an event loop.
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
