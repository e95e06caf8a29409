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

// A number as it is, a bool as 0 or 1, anything else not at all.
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
    \inmodule PellixClientKeyword
    \inheaderfile extras/history/keywordhistory.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordHistory class keeps what has become of one keyword since it is watched.

    It asks the server for the keyword by itself and keeps its last value, also after the link is
    lost, when it changed and how often, and the samples of a number or of a bool. A sample is taken
    of each event; where the link is lost, or the server has no source for the keyword, the samples
    have a gap.

    Set the client and the keyword before there is something to keep: with another client or another
    keyword the history begins anew.

    The client is not owned. After its destruction it reads as \c nullptr, and what is known stays.
    Handlers of the signals may do anything, including deleting the history or its client.

    \sa PKeywordHistories, {Trends}
*/

/*!
    \property pellix::extras::PKeywordHistory::client
    \brief the client whose server holds the keyword; \c nullptr by default. Not owned.
*/

/*!
    \property pellix::extras::PKeywordHistory::keyword
    \brief the keyword that is watched; empty by default, which watches nothing.
*/

/*!
    \property pellix::extras::PKeywordHistory::name
    \brief what people call the keyword, in legends and exports; the keyword itself if it is empty
    or not set.
*/

/*!
    \property pellix::extras::PKeywordHistory::capacity
    \brief how many samples are kept at the most, 16384 by default.

    Each takes 16 bytes, and one byte more for finding extremes: 272 KiB with the default, taken as
    samples come. The newest samples stay when it is set. What is not within 1 and 10 000 000 is
    taken as the nearer of the two, with a warning.
*/

/*!
    \property pellix::extras::PKeywordHistory::known
    \brief whether a value has come since the client and the keyword were set.
*/

/*!
    \property pellix::extras::PKeywordHistory::current
    \brief whether the last value is still good: an event has come, and the link is up since.
*/

/*!
    \property pellix::extras::PKeywordHistory::watched
    \brief whether every change is seen: the link is up, and the server has a source.

    What became of the value before is not known, so changes are counted from then on.
*/

/*!
    \property pellix::extras::PKeywordHistory::lastSeen
    \brief until when the keyword was watched; invalid if it has been so all the time.
*/

/*!
    \property pellix::extras::PKeywordHistory::lastValue
    \brief the last value that is known; undefined while there is none.
*/

/*!
    \property pellix::extras::PKeywordHistory::valueType
    \brief the type of the last value as the server declares it, a PKeywordValueType.
*/

/*!
    \property pellix::extras::PKeywordHistory::lastChange
    \brief when the value was seen to change last, or since when it is watched if it has not.
*/

/*!
    \property pellix::extras::PKeywordHistory::changeCount
    \brief how often the value has changed since it is watched.
*/

/*!
    \property pellix::extras::PKeywordHistory::changesPerSecond
    \brief how often the value changes, over the last four seconds.
*/

/*!
    \property pellix::extras::PKeywordHistory::sampleCount
    \brief the number of samples that there are, those that only begin a gap included.
*/

/*!
    \fn void PKeywordHistory::changed()

    This signal is emitted when what is known of the value has changed.
*/

/*!
    \fn void PKeywordHistory::sampled()

    This signal is emitted when the samples have changed.
*/

/*!
    \fn const PKeywordSamples &PKeywordHistory::samples() const

    Returns the samples. They change with the next event.
*/

/*!
    Constructs a history of nothing. \a parent owns it, if given.
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
    // The subscriber tells of its leaving, which must not reach what is half gone.
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
    // Leaving the other one tells its server, whose handlers may set a client, too: that one stays.
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
    const QString wanted = keyword; // handlers may destroy the argument
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
    Sums up what was known from the time \a from, or the beginning if it is invalid, to the time
    \a to, or now if it is invalid or later. The time that it takes grows with the samples in
    between.
*/
PKeywordStatistics PKeywordHistory::statistics(const QDateTime &from, const QDateTime &to) const
{
    if (ring.empty())
        return {};
    const qint64 begin = from.isValid() ? timeAt(from) : ring.front().time;
    return ring.statistics(begin, to.isValid() ? std::min(timeAt(to), now()) : now());
}

/*!
    Forgets all samples. What is known of the last value stays.
*/
void PKeywordHistory::clear()
{
    ring.clear();
    Q_EMIT sampled();
}

/*!
    Appends \a sample, such as one that was kept elsewhere. Only its value, being no number, makes a
    gap. Samples have to be in the order of their time; one that is not counts as simultaneous to
    the one before.
*/
void PKeywordHistory::append(const PKeywordSample &sample)
{
    ring.append(sample);
    Q_EMIT sampled();
}

/*!
    Returns the time that samples are taken by: milliseconds of a clock that nobody sets.
*/
qint64 PKeywordHistory::now()
{
    return QDeadlineTimer::current().deadline();
}

/*!
    Returns what a clock on the wall shows at \a time, a time of now().

    Where the clock of the system was set since, it is what that clock would have shown if it had
    been right then.
*/
QDateTime PKeywordHistory::wallTime(qint64 time)
{
    return QDateTime::currentDateTime().addMSecs(time - now());
}

/*!
    Returns the time of now() at which a clock on the wall shows \a wallTime.
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

    // All is as it will be: handlers may come back, and delete this.
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
    // One gap says as much as many.
    if (std::isnan(value) && (ring.empty() || std::isnan(ring.back().value)))
        return false;
    ring.append({now(), value});
    return true;
}

bool PKeywordHistory::takeValue(const PKeywordValue &event)
{
    if (!event.value.isValid() || event.value.isNull())
        return false;
    if (event.connected && !isWatched) {
        // The first value is news, but no change that was seen to happen.
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
        ask(); // the next event says what is true now
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
