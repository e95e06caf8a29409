// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/browser/keywordhistory.h"

#include "pubsub/publisher.h"

#include <QtCore/QDeadlineTimer>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace pellix::client;

namespace {

constexpr std::size_t ringCapacity = 16384;
constexpr qint64 rateWindow = 4000; // milliseconds
constexpr int rateInterval = 500; // milliseconds
constexpr std::size_t mostRecentChanges = 100000;

qint64 now()
{
    return QDeadlineTimer::current().deadline(); // monotonic, in milliseconds
}

// What a plot can show of a value: a number as it is, a bool as 0 or 1, anything else not at all.
double plottable(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::LongLong:
    case QMetaType::Int:
    case QMetaType::Bool:
        return value.toDouble();
    default:
        return std::numeric_limits<double>::quiet_NaN();
    }
}

} // namespace

void SampleRing::clear()
{
    samples.clear();
    first = 0;
}

void SampleRing::append(const Sample &sample)
{
    if (samples.size() < capacity) {
        samples.push_back(sample);
        return;
    }
    samples[first] = sample;
    first = (first + 1) % capacity;
}

std::size_t SampleRing::lowerBound(qint64 time) const
{
    std::size_t from = 0;
    std::size_t to = size();
    while (from < to) {
        const std::size_t middle = from + (to - from) / 2;
        if (at(middle).time < time)
            from = middle + 1;
        else
            to = middle;
    }
    return from;
}

KeywordHistory::KeywordHistory(QObject *parent) : QObject(parent), ring(ringCapacity)
{
    connect(&subscriber, &PSubscriber::valueChanged, this, &KeywordHistory::onEvent);
    connect(&subscriber, &PSubscriber::publisherActiveChanged, this,
            &KeywordHistory::onLinkChanged);
    rateTimer.setInterval(rateInterval);
    connect(&rateTimer, &QTimer::timeout, this, &KeywordHistory::measure);
}

// The subscriber tells of its leaving, which must not reach what is half gone.
KeywordHistory::~KeywordHistory()
{
    subscriber.disconnect(this);
}

PKeywordClient *KeywordHistory::client() const
{
    return source;
}

void KeywordHistory::setClient(PKeywordClient *client)
{
    if (client == source)
        return;
    source = client;
    restart();
    subscriber.setPublisher(client ? client->publisher() : nullptr);
    Q_EMIT clientChanged();
}

QString KeywordHistory::keyword() const
{
    return const_cast<PSubscriber &>(subscriber).topic();
}

void KeywordHistory::setKeyword(const QString &keyword)
{
    if (keyword == this->keyword())
        return;
    restart();
    subscriber.setTopic(keyword);
    Q_EMIT keywordChanged();
}

void KeywordHistory::restart()
{
    last = {};
    hasValue = false;
    isWatched = false;
    seenUntil = {};
    changedAt = {};
    changes = 0;
    recentChanges.clear();
    ring.clear();
    rateTimer.stop();
    measure();
    setCurrent(false);
    Q_EMIT changed();
    Q_EMIT sampled();
}

bool KeywordHistory::known() const
{
    return hasValue;
}

bool KeywordHistory::current() const
{
    return isCurrent;
}

bool KeywordHistory::watched() const
{
    return isWatched;
}

QDateTime KeywordHistory::lastSeen() const
{
    return seenUntil;
}

QVariant KeywordHistory::lastValue() const
{
    return last.value;
}

int KeywordHistory::valueType() const
{
    return static_cast<int>(last.type);
}

QDateTime KeywordHistory::lastChange() const
{
    return changedAt;
}

int KeywordHistory::changeCount() const
{
    return changes;
}

double KeywordHistory::changesPerSecond() const
{
    return rate;
}

void KeywordHistory::onEvent(const QVariant &published)
{
    const auto event = published.value<PKeywordValue>();
    const QDateTime at = QDateTime::currentDateTime();
    const bool plotted = event.connected && !event.error;
    const double number = plotted ? plottable(event.value) : plottable(QVariant());
    // One gap says as much as many.
    if (!std::isnan(number) || (!ring.empty() && !std::isnan(ring.back().value))) {
        ring.append({at.toMSecsSinceEpoch(), number});
        Q_EMIT sampled();
    }

    setCurrent(true);
    if (!event.connected)
        interrupt();
    if (!event.value.isValid() || event.value.isNull())
        return;
    if (event.connected && !isWatched) {
        // The first value is news, but no change that was seen to happen.
        isWatched = true;
        changes = 0;
        changedAt = at;
    } else if (isWatched && event.value != last.value) {
        ++changes;
        changedAt = at;
        if (recentChanges.size() < mostRecentChanges)
            recentChanges.push_back(now());
        if (!rateTimer.isActive())
            rateTimer.start();
    }
    hasValue = true;
    last = event;
    Q_EMIT changed();
}

void KeywordHistory::interrupt()
{
    if (!isWatched)
        return;
    isWatched = false;
    seenUntil = QDateTime::currentDateTime();
    Q_EMIT changed();
}

void KeywordHistory::onLinkChanged()
{
    if (subscriber.publisherActive())
        return; // the next event says what is true now
    if (!ring.empty() && !std::isnan(ring.back().value)) {
        ring.append(
            {QDateTime::currentMSecsSinceEpoch(), std::numeric_limits<double>::quiet_NaN()});
        Q_EMIT sampled();
    }
    interrupt();
    setCurrent(false);
}

void KeywordHistory::setCurrent(bool current)
{
    if (current == isCurrent)
        return;
    isCurrent = current;
    Q_EMIT currentChanged();
}

void KeywordHistory::measure()
{
    const qint64 oldest = now() - rateWindow;
    recentChanges.erase(recentChanges.begin(),
                        std::lower_bound(recentChanges.begin(), recentChanges.end(), oldest));
    if (recentChanges.empty())
        rateTimer.stop();
    const double measured = static_cast<double>(recentChanges.size()) * 1000 / rateWindow;
    if (measured == rate)
        return;
    rate = measured;
    Q_EMIT changesPerSecondChanged();
}
