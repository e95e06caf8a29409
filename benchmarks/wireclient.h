// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>
#include <QtNetwork/QTcpSocket>

// A protocol as far as a client needs it that asks for values, changes some, and counts the
// messages that come. So clients of different servers do the same work.
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
        qsizetype size = 0; // 0 if it has not come completely
        Kind kind = Other;
    };

    virtual ~Wire() = default;
    virtual QByteArray opening() const = 0;
    virtual Frame answerToOpening(QByteArrayView received) const { return nextFrame(received); }
    // Asks for values by their numbers.
    virtual QByteArray subscription(int first, int count) const = 0;
    // Changes so many of them.
    virtual QByteArray changes(int count, double value) const = 0;
    virtual Frame nextFrame(QByteArrayView received) const = 0;
    virtual QByteArray pong() const { return {}; }
};

const Wire &keywordWire(); // commands and events in WebSocket frames
const Wire &goWire(); // the same, but that one command has the server make all changes
const Wire &mqttWire(); // MQTT 3.1.1, QoS 0

class WireClient
{
public:
    WireClient(const Wire &wire, quint16 port, qint64 *messages);

    // Sends this as soon as the connection is open.
    void send(const QByteArray &data);
    bool isOpen() const { return open; }
    int otherFrames() const { return others; }

private:
    void read();
    void count(Wire::Kind kind);

    const Wire &wire;
    qint64 *const messages; // counted here, by all clients together
    QTcpSocket socket;
    QByteArray received; // of a frame that is not complete
    QByteArray waiting;
    int others = 0;
    bool open = false;
};
