// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QSet>

#include <mutex>
#include <vector>

struct mosquitto;

// A device of the plant: publishes its keywords in turn, QoS 1 and retained, and knows which values
// the broker has acknowledged. A client of libmosquitto alone, with a thread of its own. After a
// lost connection it publishes the newest values alone: older ones once more would be wrong values.
class Publisher : public QObject
{
    Q_OBJECT

public:
    Publisher(quint16 port, int first, int count, QObject *parent = nullptr);
    ~Publisher() override;

    void look(); // now and then: connects again
    void publishNext(); // one value
    void publishAll(qint64 value); // of each keyword
    void setQos(int level, bool isRetained);
    qint64 unacknowledged() const;

    struct Acknowledged
    {
        int keyword;
        qint64 value;
        qint64 time; // plant::now()
    };
    std::vector<Acknowledged> takeAcknowledged();
    qint64 sent(int keyword) const { return values[size_t(keyword - first)]; }
    qint64 published() const { return count; }

private:
    void connectNow();
    void disconnectNow();
    void publish(int keyword, qint64 value);

    struct Sent
    {
        int keyword;
        qint64 value;
    };
    mosquitto *client = nullptr;
    const quint16 port;
    const int first;
    std::vector<qint64> values; // last sent
    size_t next = 0;
    qint64 count = 0;
    int qos = 1;
    bool retained = true;
    mutable std::mutex mutex;
    QHash<int, Sent> underWay; // by number of the packet
    std::vector<Acknowledged> acknowledged;
    QSet<int> due; // keywords to publish once there is a connection
    bool connected = false;
    bool isLost = false;
};

// A bare subscriber: what a broker gives to somebody who comes now.
QHash<int, qint64> retainedAt(quint16 port, int keywords);
