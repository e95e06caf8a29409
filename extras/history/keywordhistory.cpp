// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/history/keywordhistory.h"

#include "pubsub/publisher.h"

#include <QtCore/QDeadlineTimer>
#include <QtQml/QQmlInfo>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

using namespace pellix::client;

namespace pellix::extras {

namespace {

constexpr qint64 rateWindow = 4000; // milliseconds
constexpr int rateInterval = 500; // milliseconds
constexpr std::size_t mostRecentChanges = 100000;
constexpr int mostSamples = 10000000;
constexpr double nothing = std::numeric_limits<double>::quiet_NaN();

// A number unchanged, a Boolean value as 0 or 1, and nothing for all other values.
double numberOf(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong: {
        const double number = value.toDouble();
        return std::isfinite(number) ? number : nothing;
    }
    default:
        return nothing;
    }
}

} // namespace

/*!
    \class pellix::extras::PKeywordHistory
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/history/keywordhistory.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordHistory class records the values of one keyword.

    It subscribes to the keyword and records its last value, which is kept when the connection is
    lost, the time and number of its changes, and the samples of a number or a Boolean value. Each
    event is a sample. The samples have a gap where the connection was lost, where the server had no
    source for the keyword, or where its value was null. While the server has a source, null is a
    value like any other: becoming null is a change.

    Set the client and the keyword first: setting another client or another keyword clears the
    history.

    The history does not own the client. If the client is destroyed, the property becomes
    \c nullptr, and the recorded data is kept. Handlers of the signals may do anything, including
    deleting the history or its client.

    \sa PKeywordHistories, {Trends}
*/

/*!
    \property pellix::extras::PKeywordHistory::client
    \brief the client that is connected to the server. The default is \c nullptr. The history does
    not own the client.
*/

/*!
    \property pellix::extras::PKeywordHistory::keyword
    \brief the keyword to record. The default is an empty string, which records nothing.
*/

/*!
    \property pellix::extras::PKeywordHistory::name
    \brief the name of the keyword in legends and exports. If it is empty or not set, it is the
    keyword itself.
*/

/*!
    \property pellix::extras::PKeywordHistory::capacity
    \brief the maximum number of samples. The default is 16384.

    Each sample takes 17 bytes, including one byte for finding extremes: 272 KiB with the default,
    allocated as samples arrive. When you set the property, the newest samples are kept. Values
    outside 1 to 10 000 000 are limited to this range, with a warning.
*/

/*!
    \property pellix::extras::PKeywordHistory::known
    \brief whether a value has arrived since the client and the keyword were set.
*/

/*!
    \property pellix::extras::PKeywordHistory::current
    \brief whether the last value is current: an event has arrived, and the connection has not been
    lost since.
*/

/*!
    \property pellix::extras::PKeywordHistory::watched
    \brief whether every change is recorded: the client is connected, and the server has a source.

    Changes before that are unknown, so they are counted from then on.
*/

/*!
    \property pellix::extras::PKeywordHistory::lastSeen
    \brief the time until which the keyword was watched. It is invalid if the keyword has been
    watched without interruption.
*/

/*!
    \property pellix::extras::PKeywordHistory::lastValue
    \brief the last known value. It is null if the keyword was null, and undefined if there is no
    known value.
*/

/*!
    \property pellix::extras::PKeywordHistory::valueType
    \brief the type that the server declares for the last value, a PKeywordValueType.
*/

/*!
    \property pellix::extras::PKeywordHistory::lastChange
    \brief the time of the last change of the value. If it has not changed, this is the time since
    which the keyword is watched.
*/

/*!
    \property pellix::extras::PKeywordHistory::changeCount
    \brief the number of changes since the keyword is watched.
*/

/*!
    \property pellix::extras::PKeywordHistory::changesPerSecond
    \brief the number of changes per second, over the last four seconds.
*/

/*!
    \property pellix::extras::PKeywordHistory::sampleCount
    \brief the number of samples, including those that only begin a gap.
*/

/*!
    \fn void PKeywordHistory::changed()

    This signal is emitted when the data about the value has changed.
*/

/*!
    \fn void PKeywordHistory::sampled()

    This signal is emitted when the samples have changed.
*/

/*!
    \fn const PKeywordSamples &PKeywordHistory::samples() const

    Returns the samples, which change with the next event.
*/

/*!
    Constructs a history without a keyword. If \a parent is given, it owns the history.
*/
PKeywordHistory::PKeywordHistory(QObject *parent) : QObject(parent)
{
    connect(&subscriber, &PSubscriber::valueChanged, this, &PKeywordHistory::onEvent);
    connect(&subscriber, &PSubscriber::publisherActiveChanged, this,
            &PKeywordHistory::onLinkChanged);
    rateTimer.setInterval(rateInterval);
    connect(&rateTimer, &QTimer::timeout, this, &PKeywordHistory::measure);
}

/*!
    Destroys the history and its samples.
*/
PKeywordHistory::~PKeywordHistory()
{
    // The subscriber emits signals when it leaves, which must not reach an object that is being
    // destroyed.
    subscriber.disconnect(this);
}

PKeywordClient *PKeywordHistory::client() const
{
    return source;
}

void PKeywordHistory::setClient(PKeywordClient *client)
{
    if (client == source)
        return;
    const QPointer<PKeywordHistory> self(this);
    source = client;
    forget();
    // Leaving the previous client sends commands, whose handlers may set a client, too: that one is
    // kept.
    subscriber.setPublisher(client ? client->publisher() : nullptr);
    if (!self || source != client)
        return;
    Q_EMIT clientChanged();
    if (self)
        tellAll();
    if (self && source == client)
        ask();
}

QString PKeywordHistory::keyword() const
{
    return const_cast<PSubscriber &>(subscriber).topic();
}

void PKeywordHistory::setKeyword(const QString &keyword)
{
    if (keyword == this->keyword())
        return;
    // Handlers may destroy the argument.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const QString wanted = keyword;
    const QPointer<PKeywordHistory> self(this);
    forget();
    subscriber.setTopic(wanted);
    if (!self || this->keyword() != wanted)
        return;
    Q_EMIT keywordChanged();
    if (self && givenName.isEmpty())
        Q_EMIT nameChanged();
    if (self)
        tellAll();
    if (self && this->keyword() == wanted)
        ask();
}

QString PKeywordHistory::name() const
{
    return givenName.isEmpty() ? keyword() : givenName;
}

void PKeywordHistory::setName(const QString &name)
{
    if (name == givenName)
        return;
    givenName = name;
    Q_EMIT nameChanged();
}

int PKeywordHistory::capacity() const
{
    return static_cast<int>(ring.capacity());
}

void PKeywordHistory::setCapacity(int capacity)
{
    const int taken = std::clamp(capacity, 1, mostSamples);
    if (taken != capacity) {
        qmlWarning(this) << "a capacity of " << capacity << " samples is out of range; it is "
                         << taken;
    }
    if (taken == this->capacity())
        return;
    ring.setCapacity(static_cast<std::size_t>(taken));
    const QPointer<PKeywordHistory> self(this);
    Q_EMIT capacityChanged();
    if (self)
        Q_EMIT sampled();
}

bool PKeywordHistory::known() const
{
    return hasValue;
}

bool PKeywordHistory::current() const
{
    return isCurrent;
}

bool PKeywordHistory::watched() const
{
    return isWatched;
}

QDateTime PKeywordHistory::lastSeen() const
{
    return seenUntil;
}

QVariant PKeywordHistory::lastValue() const
{
    return last.value;
}

int PKeywordHistory::valueType() const
{
    return static_cast<int>(last.type);
}

QDateTime PKeywordHistory::lastChange() const
{
    return changedAt;
}

int PKeywordHistory::changeCount() const
{
    return changes;
}

double PKeywordHistory::changesPerSecond() const
{
    return rate;
}

int PKeywordHistory::sampleCount() const
{
    return static_cast<int>(ring.size());
}

/*!
    Returns the statistics of the known values from \a from to \a to. If \a from is invalid, the
    beginning is used; if \a to is invalid or in the future, the current time is used. The cost
    grows with the number of samples in between.
*/
PKeywordStatistics PKeywordHistory::statistics(const QDateTime &from, const QDateTime &to) const
{
    if (ring.empty())
        return {};
    const qint64 begin = from.isValid() ? timeAt(from) : ring.front().time;
    return ring.statistics(begin, to.isValid() ? std::min(timeAt(to), now()) : now());
}

/*!
    Removes all samples. The data about the last value is kept.
*/
void PKeywordHistory::clear()
{
    ring.clear();
    Q_EMIT sampled();
}

/*!
    Appends \a sample, such as one that was stored elsewhere. Only a sample whose value is not a
    number begins a gap. Samples must be in the order of their times; a sample with an earlier time
    counts as simultaneous to the previous one.
*/
void PKeywordHistory::append(const PKeywordSample &sample)
{
    ring.append(sample);
    Q_EMIT sampled();
}

/*!
    Returns the current time of the samples: milliseconds of a monotonic clock.
*/
qint64 PKeywordHistory::now()
{
    return QDeadlineTimer::current().deadline();
}

/*!
    Returns the wall-clock time for \a time, a time of now().

    If the system clock has been set since then, this is the time that it would have shown if it had
    been correct.
*/
QDateTime PKeywordHistory::wallTime(qint64 time)
{
    return QDateTime::currentDateTime().addMSecs(time - now());
}

/*!
    Returns the time of now() for the wall-clock time \a wallTime.
*/
qint64 PKeywordHistory::timeAt(const QDateTime &wallTime)
{
    return now() + wallTime.toMSecsSinceEpoch() - QDateTime::currentMSecsSinceEpoch();
}

void PKeywordHistory::forget()
{
    last = {};
    hasValue = false;
    isCurrent = false;
    isWatched = false;
    seenUntil = {};
    changedAt = {};
    changes = 0;
    recentChanges.clear();
    ring.clear();
}

void PKeywordHistory::tellAll()
{
    const QPointer<PKeywordHistory> self(this);
    Q_EMIT changed();
    if (self)
        Q_EMIT currentChanged();
    if (self)
        Q_EMIT sampled();
    if (self)
        measure();
}

// A handler of the command may delete this.
void PKeywordHistory::ask()
{
    if (source && subscriber.publisherActive() && !keyword().isEmpty())
        source->sendKeyCreate(keyword());
}

void PKeywordHistory::onEvent(const QVariant &published)
{
    const auto event = published.value<PKeywordValue>();
    const bool sampleTaken = takeSample(event.connected ? numberOf(event.value) : nothing);
    const bool becameCurrent = !std::exchange(isCurrent, true);
    const bool interrupted = !event.connected && interrupt();
    const bool valueTaken = takeValue(event);

    // The state is final now: handlers may call back, and delete this object.
    const QPointer<PKeywordHistory> self(this);
    if (sampleTaken)
        Q_EMIT sampled();
    if (self && becameCurrent)
        Q_EMIT currentChanged();
    if (self && (interrupted || valueTaken))
        Q_EMIT changed();
}

bool PKeywordHistory::takeSample(double value)
{
    // One gap is equivalent to many.
    if (std::isnan(value) && (ring.empty() || std::isnan(ring.back().value)))
        return false;
    ring.append({now(), value});
    return true;
}

bool PKeywordHistory::takeValue(const PKeywordValue &event)
{
    // Without a source, null means that there is no value. With a source, it is the value.
    if (!event.value.isValid() || (!event.connected && event.value.isNull()))
        return false;
    if (event.connected && !isWatched) {
        // The first value is new, but not an observed change.
        isWatched = true;
        changes = 0;
        changedAt = QDateTime::currentDateTime();
    } else if (isWatched && event.value != last.value) {
        ++changes;
        changedAt = QDateTime::currentDateTime();
        if (recentChanges.size() < mostRecentChanges)
            recentChanges.push_back(now());
        if (!rateTimer.isActive())
            rateTimer.start();
    }
    hasValue = true;
    last = event;
    return true;
}

bool PKeywordHistory::interrupt()
{
    if (!isWatched)
        return false;
    isWatched = false;
    seenUntil = QDateTime::currentDateTime();
    return true;
}

void PKeywordHistory::onLinkChanged()
{
    if (subscriber.publisherActive()) {
        ask(); // the next event contains the current state
        return;
    }
    const bool sampleTaken = takeSample(nothing);
    const bool interrupted = interrupt();
    const bool wasCurrent = std::exchange(isCurrent, false);
    const QPointer<PKeywordHistory> self(this);
    if (sampleTaken)
        Q_EMIT sampled();
    if (self && interrupted)
        Q_EMIT changed();
    if (self && wasCurrent)
        Q_EMIT currentChanged();
}

void PKeywordHistory::measure()
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

} // namespace pellix::extras
