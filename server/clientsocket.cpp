// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/clientsocket_p.h"

#include <QtNetwork/QSslSocket>
#include <QtWebSockets/QWebSocket>

namespace pellix::server {

ClientSocket::ClientSocket(QWebSocket *socket, QTcpSocket *connection, qint64 limit)
    : QObject(socket), socket(socket), connection(connection), limit(limit)
{
    connect(socket, &QWebSocket::textMessageReceived, this, &ClientSocket::enqueue);
    connect(socket, &QWebSocket::disconnected, this, &ClientSocket::takeAllCommands);
    if (!connection)
        return;
    connect(connection, &QTcpSocket::bytesWritten, this, &ClientSocket::takeCommands);
    // A WebSocket answers pings by itself, as it reads them. It was connected before this object.
    connect(connection, &QTcpSocket::readyRead, this, &ClientSocket::checkBacklog);
    if (auto *const encrypted = qobject_cast<QSslSocket *>(connection))
        connect(encrypted, &QSslSocket::encryptedBytesWritten, this, &ClientSocket::takeCommands);
}

void ClientSocket::sendText(const QString &text)
{
    if (!full)
        sent(socket->sendTextMessage(text));
}

void ClientSocket::sendBinary(const QByteArray &data)
{
    if (!full)
        sent(socket->sendBinaryMessage(data));
}

qint64 ClientSocket::waitingBytes() const
{
    // The WebSocket writes through to its connection. Under TLS, what is encrypted already waits in
    // another buffer, and the connection does not count it.
    const auto *const encrypted = qobject_cast<const QSslSocket *>(connection.data());
    return socket->bytesToWrite() + (encrypted ? encrypted->encryptedBytesToWrite() : 0);
}

// A message that is long by itself says nothing about the reader.
void ClientSocket::sent(qint64 bytes)
{
    const qint64 waiting = waitingBytes();
    if (waiting - bytes <= limit)
        longMessage = bytes > limit / 2 ? bytes : 0;
    checkBacklog();
}

void ClientSocket::checkBacklog()
{
    if (full || (waitingBytes() <= limit + longMessage && commandBytes <= limit))
        return;
    full = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (socket->state() == QAbstractSocket::ConnectedState)
                Q_EMIT stalled(waitingBytes());
        },
        Qt::QueuedConnection);
}

void ClientSocket::enqueue(const QString &text)
{
    commands.enqueue(text);
    commandBytes += text.size() * qint64(sizeof(QChar));
    takeCommands();
    checkBacklog();
}

void ClientSocket::takeCommands()
{
    const QPointer<ClientSocket> guard(this);
    if (taking)
        return;
    taking = true;
    while (guard && !commands.isEmpty() && waitingBytes() <= limit / 2) {
        const QString text = commands.dequeue();
        commandBytes -= text.size() * qint64(sizeof(QChar));
        Q_EMIT received(text);
    }
    if (!guard)
        return;
    taking = false;
    // A WebSocket cannot be told to wait, but it finds no whole frame in one byte. Under TLS, it
    // would go on byte by byte.
    if (connection && !qobject_cast<QSslSocket *>(connection.data()))
        connection->setReadBufferSize(commands.isEmpty() ? 0 : 1);
}

// Their answers have nowhere to go, but what they write counts.
void ClientSocket::takeAllCommands()
{
    const QPointer<ClientSocket> guard(this);
    while (guard && !commands.isEmpty())
        Q_EMIT received(commands.dequeue());
}

} // namespace pellix::server
