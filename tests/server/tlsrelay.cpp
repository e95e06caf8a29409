// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include <QtCore/QCoreApplication>
#include <QtNetwork/QSslSocket>
#include <QtNetwork/QTcpServer>

#include <cstdio>

namespace {

constexpr qint64 mostUnsent = 64 * 1024; // bytes, in each direction

qint64 unsentBytes(const QTcpSocket *socket)
{
    const auto *const encrypted = qobject_cast<const QSslSocket *>(socket);
    return socket->bytesToWrite() + (encrypted ? encrypted->encryptedBytesToWrite() : 0);
}

// Reads no more than the other connection sends.
void pass(QTcpSocket *from, QTcpSocket *to)
{
    const qint64 room = mostUnsent - unsentBytes(to);
    if (room > 0 && to->state() == QAbstractSocket::ConnectedState)
        to->write(from->read(room));
}

void connectOneWay(QTcpSocket *from, QTcpSocket *to)
{
    const auto passOn = [from, to] { pass(from, to); };
    from->setReadBufferSize(mostUnsent);
    QObject::connect(from, &QIODevice::readyRead, to, passOn);
    QObject::connect(to, &QIODevice::bytesWritten, from, passOn);
    if (auto *const encrypted = qobject_cast<QSslSocket *>(to))
        QObject::connect(encrypted, &QSslSocket::encryptedBytesWritten, from, passOn);
    QObject::connect(from, &QAbstractSocket::disconnected, qApp, &QCoreApplication::quit);
}

} // namespace

// Accepts one connection, whose port it writes to standard output, and relays it with TLS to the
// port of a server: so a client needs no memory for TLS in its own process.
int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTcpServer listener;
    if (argc != 2 || !listener.listen(QHostAddress::LocalHost))
        return 1;
    QSslSocket server;
    server.setPeerVerifyMode(QSslSocket::VerifyNone);
    server.bind(QHostAddress(QHostAddress::LocalHost));
    server.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, int(mostUnsent));
    QObject::connect(&server, &QSslSocket::errorOccurred, qApp, &QCoreApplication::quit);
    QObject::connect(&listener, &QTcpServer::newConnection, &server, [&] {
        QTcpSocket *const client = listener.nextPendingConnection();
        client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        server.connectToHostEncrypted(QStringLiteral("127.0.0.1"), QByteArray(argv[1]).toUShort());
        QObject::connect(&server, &QSslSocket::encrypted, client, [client, &server] {
            server.setSocketOption(QAbstractSocket::LowDelayOption, 1);
            connectOneWay(client, &server);
            connectOneWay(&server, client);
            pass(client, &server);
        });
    });
    std::printf("%d\n", listener.serverPort());
    std::fflush(stdout);
    return QCoreApplication::exec();
}
