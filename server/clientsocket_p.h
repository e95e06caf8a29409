// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QQueue>
#include <QtCore/QString>

class QTcpSocket;
class QWebSocket;

namespace pellix::server {

// One client's WebSocket and the connection below it, with a limit to what waits to be sent: a
// client that does not read would take up any amount of memory. It belongs to the WebSocket.
//
// Answers do not reach the limit, however much a client asks for at once: its commands wait while
// half of the limit does. What reaches it are messages that nobody asked for one by one.
class ClientSocket : public QObject
{
    Q_OBJECT

public:
    ClientSocket(QWebSocket *socket, QTcpSocket *connection, qint64 limit);

    QWebSocket *webSocket() const { return socket; }
    void sendText(const QString &text);
    void sendBinary(const QByteArray &data);

Q_SIGNALS:
    void received(const QString &text);
    // Once, when too much waits, and from the event loop: nobody is sending or receiving then.
    // Nothing is sent any more.
    void stalled(qint64 waitingBytes);

private:
    qint64 waitingBytes() const;
    void sent(qint64 bytes);
    void checkBacklog();
    void enqueue(const QString &text);
    void takeCommands();
    void takeAllCommands();

    QWebSocket *const socket;
    const QPointer<QTcpSocket> connection;
    const qint64 limit;
    qint64 longMessage = 0; // bytes of one that waits besides the limit
    QQueue<QString> commands; // that wait for answers to be read
    qint64 commandBytes = 0;
    bool taking = false;
    bool full = false;
};

} // namespace pellix::server
