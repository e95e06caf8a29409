// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtWebSockets/QWebSocket>

#include <vector>

// Compares all keywords of one gateway with the values that the broker has acknowledged. A keyword
// is wrong while it is online with a value older than the last acknowledged one.
class Inspector : public QObject
{
    Q_OBJECT

public:
    Inspector(const QString &name, quint16 port, int keywords, QObject *parent = nullptr);
    ~Inspector() override;

    void noteAcknowledged(int keyword, qint64 value, qint64 time);
    // The number of keywords that are offline, or do not have the last acknowledged value. If kept
    // contains the values that the brokers have, values that the brokers lost are not counted.
    int missing(const std::vector<qint64> &kept = {}) const;
    int wrong(qint64 longerThan) const; // keywords at this moment; in milliseconds
    int offline() const;

    qint64 longestWrong = 0; // in milliseconds, so far
    qint64 faultEnd = 0; // the time of plant::now(); 0: there was no fault
    qint64 longestWrongAfter = 0; // in milliseconds, counted from faultEnd
    qint64 lateValues = 0; // occasions on which a keyword was wrong for longer than 1 s
    qint64 stepsBack = 0; // changes to an older value
    qint64 events = 0;

private:
    struct Place
    {
        qint64 value = -1;
        qint64 acknowledged = 0;
        qint64 wrongSince = 0;
        bool online = false;
    };
    void read(const QString &text);
    void endWrong(Place *place, qint64 now);

    QWebSocket socket;
    QTimer retry;
    std::vector<Place> places;
};
