// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/stallingreader.h"

#include "tests/soak/changingkeywords.h"

namespace {

constexpr int receiveBufferSize = 64 * 1024; // otherwise, the system uses megabytes

// The mask is 0, so the payload is unchanged. It must have less than 126 bytes.
QByteArray textFrame(const QByteArray &payload)
{
    return QByteArray("\x81") + char(0x80 | payload.size()) + QByteArray(4, '\0') + payload;
}

} // namespace

StallingReader::StallingReader(quint16 port, int keywords, std::chrono::milliseconds readingTime)
    : port(port), keywords(keywords)
{
    reading.setSingleShot(true);
    reading.setInterval(readingTime);
    connect(&reading, &QTimer::timeout, this, &StallingReader::stall);
}

void StallingReader::start()
{
    if (hasLeft)
        return;
    socket = std::make_unique<QTcpSocket>();
    isAnswered = false;
    sinceStalled.invalidate();
    reading.stop();
    socket->bind(QHostAddress(QHostAddress::LocalHost));
    socket->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, receiveBufferSize);
    ownPort = socket->localPort();
    connect(socket.get(), &QTcpSocket::connected, this, [this] {
        socket->write("GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\n"
                      "Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                      "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n");
    });
    connect(socket.get(), &QTcpSocket::readyRead, this, [this] {
        const QByteArray bytes = socket->readAll();
        if (std::exchange(isAnswered, true))
            return;
        if (bytes.startsWith("HTTP/1.1 101"))
            askForKeywords();
        else
            Q_EMIT failed(QStringLiteral("a handshake was answered: ") + QString::fromUtf8(bytes));
    });
    connect(socket.get(), &QTcpSocket::disconnected, this, [this] {
        if (!isStalled())
            Q_EMIT failed(QStringLiteral("a client was disconnected while it read"));
    });
    socket->connectToHost(QHostAddress(QHostAddress::LocalHost), port);
}

// Leaves permanently. The server may already have dropped the client and report this later, because
// it has stalled long enough.
void StallingReader::leave()
{
    hasLeft = true;
    reading.stop();
    socket->disconnect(this);
    socket->abort();
}

void StallingReader::askForKeywords()
{
    for (int i = 0; i < keywords; ++i) {
        socket->write(textFrame("{\"cmd\":\"keyCreateOrUpdate\",\"payload\":{\"keyword\":\""
                                + ChangingKeywords::name(i).toUtf8() + "\"}}"));
    }
    reading.start();
}

void StallingReader::stall()
{
    socket->disconnect(this);
    socket->setReadBufferSize(1);
    sinceStalled.start();
    Q_EMIT stalled();
}
