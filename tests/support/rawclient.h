// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/support/waitfor.h"

#include <QtCore/QUrl>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslSocket>

// A client that sends any bytes and reads only as much as requested, for invalid frames and
// requests, and for readers that have stopped.
class RawClient : public QObject
{
public:
    // With a size of the receive buffer of the system, which otherwise takes megabytes for a client
    // that does not read.
    explicit RawClient(const QUrl &url, bool encrypted = false,
                       const QSslConfiguration &configuration = QSslConfiguration(),
                       int receiveBufferSize = 0)
    {
        connect(&socket, &QSslSocket::readyRead, this, &RawClient::read);
        connect(&socket, &QSslSocket::connected, this, // avoids delays of small messages
                [this] { socket.setSocketOption(QAbstractSocket::LowDelayOption, 1); });
        if (!configuration.isNull())
            socket.setSslConfiguration(configuration);
        socket.setPeerVerifyMode(QSslSocket::VerifyNone);
        if (receiveBufferSize > 0) { // before the connection is open, which fixes it
            socket.bind(QHostAddress(QHostAddress::LocalHost));
            socket.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption,
                                   receiveBufferSize);
        }
        if (encrypted)
            socket.connectToHostEncrypted(url.host(), quint16(url.port()));
        else
            socket.connectToHost(url.host(), quint16(url.port()));
    }

    static QByteArray request(const QByteArray &moreHeaders = {})
    {
        return "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
               "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
            + moreHeaders + "\r\n";
    }

    // A frame as sent by clients, with the mask 0, which does not change the payload.
    static QByteArray frame(int opcode, const QByteArray &payload)
    {
        QByteArray frame(1, char(0x80 | opcode));
        if (payload.size() < 126)
            frame.append(char(0x80 | payload.size()));
        else
            frame.append(char(0x80 | 126))
                .append(char(payload.size() >> 8))
                .append(char(payload.size() & 0xff));
        return frame + QByteArray(4, '\0') + payload;
    }

    // The status in the reply to a request, such as 401; empty if there is no reply.
    QByteArray statusOf(const QByteArray &request)
    {
        send(request);
        const bool answered = waitFor([this] { return received.contains("\r\n\r\n"); }, 30000);
        return answered ? received.mid(9, 3) : QByteArray();
    }

    // Returns whether the connection became a WebSocket. Removes the reply from the received data.
    bool open(const QByteArray &moreHeaders = {})
    {
        const QByteArray status = statusOf(request(moreHeaders));
        received.remove(0, received.indexOf("\r\n\r\n") + 4);
        return status == "101";
    }

    void send(const QByteArray &data) { socket.write(data); }

    // Reads at most this number of bytes per turn of the event loop; 0 stops reading.
    void setReading(qint64 bytes)
    {
        atOnce = bytes;
        socket.setReadBufferSize(qMax(bytes, qint64(1)));
        read();
    }

    qint64 unsentBytes() const { return socket.bytesToWrite() + socket.encryptedBytesToWrite(); }

    bool isConnected() const { return socket.state() != QAbstractSocket::UnconnectedState; }

    QSslSocket socket;
    QByteArray received;
    qint64 count = 0; // total number of received bytes
    bool keeps = true; // whether received data is stored, and not only counted

private:
    void read()
    {
        const QByteArray data = socket.read(atOnce);
        count += data.size();
        if (keeps)
            received += data;
        if (atOnce > 0 && socket.bytesAvailable() > 0 && !readsAgain) {
            readsAgain = true;
            QMetaObject::invokeMethod(this, &RawClient::readAgain, Qt::QueuedConnection);
        }
    }

    void readAgain()
    {
        readsAgain = false;
        read();
    }

    qint64 atOnce = 1 << 20;
    bool readsAgain = false;
};
