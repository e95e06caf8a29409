// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtWebSockets/QWebSocket>

#include <vector>

// Looks at all keywords of one gateway, and compares them with what the broker has acknowledged. A
// value is wrong as long as an older one than the last acknowledged one is shown as of now.
class Inspector : public QObject
{
    Q_OBJECT

public:
    Inspector(const QString &name, quint16 port, int keywords, QObject *parent = nullptr);
    ~Inspector() override;

    void noteAcknowledged(int keyword, qint64 value, qint64 time);
    // Keywords without the last acknowledged value, or not of now. What the broker has lost itself
    // is not asked for, if it is known what it has.
    int missing(const std::vector<qint64> &kept = {}) const;
    int wrong(qint64 longerThan) const; // at this moment
    int offline() const;

    qint64 longestWrong = 0; // in milliseconds, so far
    qint64 faultEnd = 0; // if there was one: what is wrong after it
    qint64 longestWrongAfter = 0; // in milliseconds, counted from then
    qint64 lateValues = 0; // wrong for longer than a second
    qint64 stepsBack = 0; // to an older value
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
