// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/wireclient.h"

#include "benchmarks/eventtext.h"

#include <QtCore/QtEndian>
#include <QtNetwork/QHostAddress>

namespace {

constexpr char textFrame = char(0x81);
constexpr char pingFrame = char(0x89);
constexpr char pongFrame = char(0x8a);
constexpr char masked = char(0x80);

QByteArray bigEndian(quint16 number)
{
    QByteArray bytes(2, Qt::Uninitialized);
    qToBigEndian(number, bytes.data());
    return bytes;
}

// The mask consists of zeros, so the text is unchanged.
QByteArray clientFrame(char kind, const QByteArray &text)
{
    const bool isShort = text.size() < 126;
    return kind + QByteArray(1, char(masked | (isShort ? char(text.size()) : char(126))))
        + (isShort ? QByteArray() : bigEndian(quint16(text.size()))) + QByteArray(4, '\0') + text;
}

class KeywordWire : public Wire
{
public:
    QByteArray opening() const override
    {
        return "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
               "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n";
    }

    Frame answerToOpening(QByteArrayView received) const override
    {
        const qsizetype end = received.toByteArray().indexOf("\r\n\r\n");
        return {end < 0 ? 0 : end + 4, Other};
    }

    QByteArray subscription(int first, int count) const override
    {
        QByteArray frames;
        for (int i = first; i < first + count; ++i)
            frames += clientFrame(textFrame,
                                  R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":")"
                                      + keywordName(i).toUtf8() + R"("}})");
        return frames;
    }

    QByteArray changes(int count, double value) const override
    {
        QByteArray frames;
        for (int i = 0; i < count; ++i)
            frames += update(keywordName(i), value);
        return frames;
    }

    // Frames from a server are not masked, and no event here is longer than 64 KiB.
    Frame nextFrame(QByteArrayView received) const override
    {
        if (received.size() < 4)
            return {};
        const bool isShort = received.at(1) < 126;
        const qsizetype size =
            isShort ? 2 + received.at(1) : 4 + qFromBigEndian<quint16>(received.data() + 2);
        if (received.size() < size)
            return {};
        const char kind = received.front();
        return {size, kind == textFrame ? Message : kind == pingFrame ? Ping : Other};
    }

    QByteArray pong() const override { return clientFrame(pongFrame, {}); }

protected:
    static QByteArray update(const QString &keyword, double value)
    {
        return clientFrame(textFrame,
                           R"({"cmd":"keyUpdate","payload":{"keyword":")" + keyword.toUtf8()
                               + R"(","value":)" + QByteArray::number(value) + "}}");
    }
};

class GoWire : public KeywordWire
{
public:
    QByteArray changes(int count, double) const override
    {
        return update(QStringLiteral("/go"), count);
    }
};

class MqttWire : public Wire
{
public:
    // Without a name and without a keep-alive interval.
    QByteArray opening() const override
    {
        return packet(0x10, text("MQTT") + QByteArray("\x04\x02\0\0", 4) + text({}));
    }

    QByteArray subscription(int first, int count) const override
    {
        QByteArray topics;
        for (int i = first; i < first + count; ++i)
            topics += text(topic(i)) + '\0';
        return packet(char(0x82), bigEndian(1) + topics);
    }

    QByteArray changes(int count, double value) const override
    {
        QByteArray packets;
        for (int i = 0; i < count; ++i)
            packets += packet(0x30, text(topic(i)) + QByteArray::number(value));
        return packets;
    }

    Frame nextFrame(QByteArrayView received) const override
    {
        qsizetype length = 0;
        for (qsizetype i = 1, shift = 0; i < received.size(); ++i, shift += 7) {
            length |= qsizetype(received.at(i) & 0x7f) << shift;
            if (received.at(i) & 0x80)
                continue;
            const qsizetype size = i + 1 + length;
            if (received.size() < size)
                return {};
            return {size, (received.front() & 0xf0) == 0x30 ? Message : Other};
        }
        return {};
    }

private:
    static QByteArray topic(int number) { return keywordName(number).mid(1).toUtf8(); }
    static QByteArray text(const QByteArray &text)
    {
        return bigEndian(quint16(text.size())) + text;
    }

    static QByteArray packet(char kind, const QByteArray &content)
    {
        QByteArray bytes(1, kind);
        for (qsizetype length = content.size(); bytes.size() == 1 || length > 0; length >>= 7)
            bytes += char((length & 0x7f) | (length > 0x7f ? 0x80 : 0));
        return bytes + content;
    }
};

} // namespace

const Wire &keywordWire()
{
    static const KeywordWire wire;
    return wire;
}

const Wire &goWire()
{
    static const GoWire wire;
    return wire;
}

const Wire &mqttWire()
{
    static const MqttWire wire;
    return wire;
}

WireClient::WireClient(const Wire &wire, quint16 port, qint64 *messages)
    : wire(wire), messages(messages)
{
    QObject::connect(&socket, &QTcpSocket::connected, &socket, [this] {
        socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
        socket.write(this->wire.opening());
    });
    QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [this] { read(); });
    socket.connectToHost(QHostAddress::LocalHost, port);
}

void WireClient::send(const QByteArray &data)
{
    if (open)
        socket.write(data);
    else
        waiting += data;
}

void WireClient::read()
{
    received += socket.readAll();
    QByteArrayView rest = received;
    for (;;) {
        const Wire::Frame frame = open ? wire.nextFrame(rest) : wire.answerToOpening(rest);
        if (frame.size == 0)
            break;
        rest = rest.sliced(frame.size);
        if (open)
            count(frame.kind);
        else
            socket.write(std::exchange(waiting, {}));
        open = true;
    }
    received = rest.toByteArray();
}

void WireClient::count(Wire::Kind kind)
{
    if (kind == Wire::Message)
        ++*messages;
    else if (kind == Wire::Ping)
        socket.write(wire.pong());
    else
        ++others;
}
