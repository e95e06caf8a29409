// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>
#include <QtNetwork/QTcpSocket>

// The part of a protocol that a client needs to subscribe to values, change some of them, and count
// the received messages. With it, clients of different servers do the same work.
class Wire
{
public:
    enum Kind {
        Message, // a value
        Ping,
        Other
    };
    struct Frame
    {
        qsizetype size = 0; // 0 if the frame is incomplete
        Kind kind = Other;
    };

    virtual ~Wire() = default;
    virtual QByteArray opening() const = 0;
    virtual Frame answerToOpening(QByteArrayView received) const { return nextFrame(received); }
    // Subscribes to values by their numbers.
    virtual QByteArray subscription(int first, int count) const = 0;
    // Changes the given number of values.
    virtual QByteArray changes(int count, double value) const = 0;
    virtual Frame nextFrame(QByteArrayView received) const = 0;
    virtual QByteArray pong() const { return {}; }
};

const Wire &keywordWire(); // commands and events in WebSocket frames
const Wire &goWire(); // the same, but one command makes the server change all values
const Wire &mqttWire(); // MQTT 3.1.1, QoS 0

class WireClient
{
public:
    WireClient(const Wire &wire, quint16 port, qint64 *messages);

    // Sends the data as soon as the connection is open.
    void send(const QByteArray &data);
    bool isOpen() const { return open; }
    int otherFrames() const { return others; }

private:
    void read();
    void count(Wire::Kind kind);

    const Wire &wire;
    qint64 *const messages; // the counter of all clients
    QTcpSocket socket;
    QByteArray received; // an incomplete frame
    QByteArray waiting;
    int others = 0;
    bool open = false;
};
