// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QSet>

#include <mutex>
#include <vector>

struct mosquitto;

// A device of the plant. Publishes its keywords in turn, retained and with QoS 1, and records the
// values that the broker has acknowledged. A value is given as its count, see plant::value().
// Uses only libmosquitto, with a thread of its own. After
// a lost connection, it publishes only the newest values, because older ones would count as wrong.
class Publisher : public QObject
{
    Q_OBJECT

public:
    Publisher(quint16 port, int first, int count, QObject *parent = nullptr);
    ~Publisher() override;

    void look(); // call periodically: reconnects after a lost connection
    void publishNext(); // the next value of the next keyword
    void publishAll(qint64 value); // for each keyword
    void setQos(int level, bool isRetained);
    qint64 unacknowledged() const;

    struct Acknowledged
    {
        int keyword;
        qint64 value;
        qint64 time; // plant::now()
    };
    std::vector<Acknowledged> takeAcknowledged();
    bool publishes(int keyword) const
    {
        return keyword >= first && keyword < first + int(values.size());
    }
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
    QHash<int, Sent> underWay; // by packet identifier
    std::vector<Acknowledged> acknowledged;
    QSet<int> due; // keywords to publish after connecting
    bool connected = false;
    bool isLost = false;
};

// The counts of the retained values that a broker delivers to a new subscriber.
QHash<int, qint64> retainedAt(quint16 port, int keywords);
