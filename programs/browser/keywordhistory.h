// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "client/keywordtypes.h"
#include "pubsub/subscriber.h"

#include <QtCore/QDateTime>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtCore/QVariant>
#include <QtQml/qqmlregistration.h>

#include <vector>

// The latest samples of a number, the oldest making room for the newest.
class SampleRing
{
public:
    struct Sample
    {
        qint64 time; // milliseconds since the epoch
        double value; // not a number: nothing is known from here on
    };

    explicit SampleRing(std::size_t capacity) : capacity(capacity) { samples.reserve(capacity); }

    std::size_t size() const { return samples.size(); }
    bool empty() const { return samples.empty(); }
    const Sample &at(std::size_t index) const { return samples[(first + index) % samples.size()]; }
    const Sample &back() const { return at(size() - 1); }
    void clear();
    void append(const Sample &sample);

    // The index of the first sample at or after a time; size() if all are older.
    std::size_t lowerBound(qint64 time) const;

private:
    const std::size_t capacity;
    std::size_t first = 0;
    std::vector<Sample> samples;
};

// What has become of one keyword since it is watched: the last known value also after the link is
// lost, when it changed, how often, and the samples of a number or of a bool.
//
// It listens to the events themselves, and leaves asking the server for the keyword to the proxy
// that shows it.
class KeywordHistory : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(bool known READ known NOTIFY changed)
    Q_PROPERTY(bool current READ current NOTIFY currentChanged)
    Q_PROPERTY(bool watched READ watched NOTIFY changed)
    Q_PROPERTY(QDateTime lastSeen READ lastSeen NOTIFY changed)
    // Qt 6.4 compiles "lastValue ?? 0" and comparisons wrongly; as an argument of a function it is
    // right.
    Q_PROPERTY(QVariant lastValue READ lastValue NOTIFY changed)
    Q_PROPERTY(int valueType READ valueType NOTIFY changed)
    Q_PROPERTY(QDateTime lastChange READ lastChange NOTIFY changed)
    Q_PROPERTY(int changeCount READ changeCount NOTIFY changed)
    Q_PROPERTY(double changesPerSecond READ changesPerSecond NOTIFY changesPerSecondChanged)
    QML_ELEMENT

public:
    explicit KeywordHistory(QObject *parent = nullptr);
    ~KeywordHistory() override;

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);
    QString keyword() const;
    void setKeyword(const QString &keyword);

    bool known() const; // an event with a value has come since the keyword was set
    bool current() const; // the last value is still good: the link is up
    // Whether every change is seen: the link is up, and the server has a source for the keyword.
    // What became of the value before is not known, so changes are counted from then on.
    bool watched() const;
    QDateTime lastSeen() const; // until when it was watched; invalid if it has been so all the time
    QVariant lastValue() const;
    int valueType() const;
    QDateTime lastChange() const;
    int changeCount() const;
    double changesPerSecond() const; // over the last seconds

    const SampleRing &samples() const { return ring; }

Q_SIGNALS:
    void clientChanged();
    void keywordChanged();
    void changed();
    void currentChanged();
    void changesPerSecondChanged();
    void sampled();

private:
    void restart();
    void onEvent(const QVariant &published);
    void onLinkChanged();
    void interrupt();
    void setCurrent(bool current);
    void measure();

    QPointer<pellix::client::PKeywordClient> source;
    pellix::client::PSubscriber subscriber;
    pellix::client::PKeywordValue last;
    bool hasValue = false;
    bool isCurrent = false;
    bool isWatched = false;
    QDateTime seenUntil;
    QDateTime changedAt;
    int changes = 0;
    std::vector<qint64> recentChanges; // monotonic milliseconds, within the window of the rate
    double rate = 0;
    QTimer rateTimer;
    SampleRing ring;
};
