// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtWebSockets/QWebSocket>

#include <functional>
#include <vector>

// Compares all keywords of one gateway with the values that the broker has acknowledged. A keyword
// is wrong while it is online with a value older than the last acknowledged one. Values are given
// as their counts, see plant::value().
class Inspector : public QObject
{
    Q_OBJECT

public:
    // lastSent returns the last published value of a keyword.
    Inspector(const QString &name, quint16 port, int keywords,
              const std::function<qint64(int)> &lastSent, QObject *parent = nullptr);
    ~Inspector() override;

    void noteAcknowledged(int keyword, qint64 value, qint64 time);
    // The number of keywords that are offline, or do not have the last acknowledged value. If kept
    // contains the values that the brokers have, values that the brokers lost are not counted.
    int missing(const std::vector<qint64> &kept = {}) const;
    int wrong(qint64 longerThan) const; // keywords at this moment; in milliseconds
    int offline() const;

    // How long keywords were wrong until now, including those that still are; in milliseconds.
    struct Wrongness
    {
        qint64 longest = 0;
        qint64 longestAfter = 0; // counted from the end of the fault
        qint64 longestRecovered = 0; // counted from the recovery of the brokers
        qint64 late = 0; // occasions on which a keyword was wrong for longer than 1 s
        int still = 0; // keywords that are wrong
    };
    // Omits keywords whose acknowledged value is not in kept, as missing() does.
    Wrongness wrongness(const std::vector<qint64> &kept = {}) const;
    void restart(); // forgets what was wrong before

    // These times are of plant::now().
    void endFault(qint64 time);
    void setRecovery(qint64 time); // again, if the brokers had not yet recovered

    qint64 stepsBack = 0; // changes to an older value
    qint64 foreign = 0; // values that were never published for the keyword
    qint64 events = 0;

private:
    struct Place
    {
        qint64 value = -1;
        qint64 acknowledged = 0;
        qint64 wrongSince = 0;
        bool online = false;
        Wrongness wrongness; // without the current occasion
    };
    void read(const QString &text);
    Wrongness wrongnessOf(const Place &place, qint64 now) const;
    void endWrong(Place *place, qint64 now);

    const std::function<qint64(int)> lastSent;
    QWebSocket socket;
    QTimer retry;
    std::vector<Place> places;
    qint64 faultEnd = 0; // 0: there was no fault
    qint64 recovery = 0;
};
