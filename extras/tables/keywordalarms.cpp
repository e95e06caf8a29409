// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/tables/keywordalarms.h"

#include "extras/shared/clientlink_p.h"
#include "extras/shared/rowupdate_p.h"

#include <QtCore/QDateTime>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>
#include <utility>

using namespace pellix::client;

namespace pellix::extras {

namespace {

constexpr int defaultLimit = 1000;

// One occurrence of a condition.
struct AlarmRow : UpdatedRow
{
    QString keyword;
    QString text;
    int priority = 0;
    quint64 number = 0; // in the order of their occurrence
    QDateTime cameAt;
    QDateTime wentAt; // invalid while it is active
    QDateTime acknowledgedAt;
    QString acknowledgedBy;
    bool known = true;
    bool dirty = false;

    bool active() const { return !wentAt.isValid(); }
    bool acknowledged() const { return acknowledgedAt.isValid(); }
};
using RowPointer = std::shared_ptr<AlarmRow>;

bool isBefore(const RowPointer &a, const RowPointer &b)
{
    const auto key = [](const AlarmRow &row) {
        return std::make_tuple(!row.active(), row.acknowledged(), -row.priority);
    };
    if (key(*a) != key(*b))
        return key(*a) < key(*b);
    return a->number > b->number; // the newest first
}

// A monitored condition.
struct Condition
{
    QPointer<PKeywordAlarm> alarm;
    QString keyword; // that is monitored
    std::unique_ptr<ClientLink::Watch> watch;
    PKeywordValue event;
    bool current = false; // an event has arrived since the connection was established
    bool isAbove = false;
    bool isBelow = false;
    RowPointer row; // while it is active
};
using ConditionPointer = std::shared_ptr<Condition>;

std::optional<double> numberIn(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Double:
        return value.toDouble();
    default:
        return std::nullopt;
    }
}

bool hasFlag(PKeywordAlarm::Flags flags, const PKeywordValue &event)
{
    return (flags.testFlag(PKeywordAlarm::Error) && event.error)
        || (flags.testFlag(PKeywordAlarm::NotOnline) && !event.online)
        || (flags.testFlag(PKeywordAlarm::NotConnected) && !event.connected)
        || (flags.testFlag(PKeywordAlarm::NotConsistent) && !event.consistent);
}

bool isEqual(const QVariant &wanted, const QVariant &value)
{
    const auto a = numberIn(wanted);
    const auto b = numberIn(value);
    return a && b ? *a == *b : !a && !b && wanted == value;
}

// Whether the value meets the condition; nothing if that is not known.
std::optional<bool> hasValue(Condition &condition, const PKeywordAlarm &alarm)
{
    const bool limited = !std::isnan(alarm.above()) || !std::isnan(alarm.below());
    if (!limited && !alarm.equalTo().isValid())
        return false;
    if (!condition.event.connected)
        return std::nullopt; // the server has no value
    if (alarm.equalTo().isValid() && isEqual(alarm.equalTo(), condition.event.value))
        return true;
    if (!limited)
        return false;
    const auto number = numberIn(condition.event.value);
    if (!number)
        return std::nullopt;
    // Comparisons with NaN, which is no limit, are false.
    condition.isAbove = *number > alarm.above()
        || (condition.isAbove && *number > alarm.above() - alarm.hysteresis());
    condition.isBelow = *number < alarm.below()
        || (condition.isBelow && *number < alarm.below() + alarm.hysteresis());
    return condition.isAbove || condition.isBelow;
}

} // namespace

class Q_DECL_HIDDEN PKeywordAlarms::Private
{
public:
    explicit Private(PKeywordAlarms *q) : q(q) { }

    void add(PKeywordAlarm *alarm);
    void remove(const QObject *alarm);
    void watch(const ConditionPointer &condition);
    void onEvent(Condition *condition, const PKeywordValue &event);
    void evaluate(const ConditionPointer &condition);
    void set(const ConditionPointer &condition, bool active);
    void change(const RowPointer &row);
    void arrange();
    void tell();
    ConditionPointer find(const QObject *alarm) const;

    PKeywordAlarms *const q;
    int limit = defaultLimit;
    QTimer soon;
    quint64 lastNumber = 0;
    ClientLink link;
    std::vector<ConditionPointer> conditions;
    std::vector<RowPointer> wanted;
    UpdatedRows<AlarmRow> shown;
    std::vector<std::pair<QPointer<PKeywordAlarm>, bool>> moves; // that occurred (true) or cleared
    bool arranging = false;
    bool arrangeAgain = false;

    int toldCount = 0;
    int toldActive = 0;
    int toldUnacknowledged = 0;
};

ConditionPointer PKeywordAlarms::Private::find(const QObject *alarm) const
{
    const auto found =
        std::find_if(conditions.cbegin(), conditions.cend(),
                     [&](const ConditionPointer &condition) { return condition->alarm == alarm; });
    return found == conditions.cend() ? nullptr : *found;
}

void PKeywordAlarms::Private::add(PKeywordAlarm *alarm)
{
    if (!alarm || find(alarm))
        return;
    const auto condition = std::make_shared<Condition>();
    condition->alarm = alarm;
    conditions.push_back(condition);
    const std::weak_ptr<Condition> kept = condition;
    const auto again = [this, kept] {
        if (const ConditionPointer changed = kept.lock())
            evaluate(changed);
    };
    connect(alarm, &PKeywordAlarm::keywordChanged, q, [this, kept] {
        if (const ConditionPointer changed = kept.lock())
            watch(changed);
    });
    connect(alarm, &PKeywordAlarm::enabledChanged, q, again);
    connect(alarm, &PKeywordAlarm::flagsChanged, q, again);
    connect(alarm, &PKeywordAlarm::aboveChanged, q, again);
    connect(alarm, &PKeywordAlarm::belowChanged, q, again);
    connect(alarm, &PKeywordAlarm::hysteresisChanged, q, again);
    connect(alarm, &PKeywordAlarm::equalToChanged, q, again);
    connect(alarm, &PKeywordAlarm::textChanged, q, [this, kept] {
        const ConditionPointer changed = kept.lock();
        if (!changed || !changed->row)
            return;
        changed->row->text = changed->alarm->text();
        change(changed->row);
    });
    connect(alarm, &PKeywordAlarm::priorityChanged, q, [this, kept] {
        const ConditionPointer changed = kept.lock();
        if (!changed || !changed->row)
            return;
        changed->row->priority = changed->alarm->priority();
        change(changed->row);
    });
    connect(alarm, &QObject::destroyed, q, [this, kept] {
        const ConditionPointer gone = kept.lock();
        if (!gone)
            return;
        set(gone, false);
        conditions.erase(std::remove(conditions.begin(), conditions.end(), gone), conditions.end());
    });
    watch(condition);
}

void PKeywordAlarms::Private::remove(const QObject *alarm)
{
    const ConditionPointer condition = find(alarm);
    if (!condition)
        return;
    condition->alarm->disconnect(q);
    conditions.erase(std::remove(conditions.begin(), conditions.end(), condition),
                     conditions.end());
    set(condition, false);
}

// Nothing is known about a new keyword yet.
void PKeywordAlarms::Private::watch(const ConditionPointer &condition)
{
    const QPointer<PKeywordAlarms> self(q);
    const QString keyword = condition->alarm->keyword();
    set(condition, false);
    condition->current = false;
    condition->isAbove = false;
    condition->isBelow = false;
    const auto left = std::exchange(condition->watch, nullptr);
    if (keyword.isEmpty())
        return;
    auto watch =
        link.watch(keyword, [this, condition = condition.get()](const PKeywordValue &event) {
            onEvent(condition, event);
        });
    if (self)
        condition->watch = std::move(watch);
}

void PKeywordAlarms::Private::onEvent(Condition *condition, const PKeywordValue &event)
{
    condition->event = event;
    condition->current = true;
    if (const ConditionPointer shared = find(condition->alarm); shared.get() == condition)
        evaluate(shared);
}

void PKeywordAlarms::Private::evaluate(const ConditionPointer &condition)
{
    const PKeywordAlarm *const alarm = condition->alarm;
    if (!alarm)
        return;
    if (!alarm->enabled()) {
        set(condition, false);
        return;
    }
    if (!condition->current || !link.linked())
        return; // neither occurs nor clears
    if (condition->row && !std::exchange(condition->row->known, true))
        change(condition->row);
    const std::optional<bool> byValue = hasValue(*condition, *alarm);
    if (hasFlag(alarm->flags(), condition->event))
        set(condition, true);
    else if (byValue)
        set(condition, *byValue);
}

// Without a signal: all changes within one iteration of the event loop are signaled at its end.
void PKeywordAlarms::Private::set(const ConditionPointer &condition, bool active)
{
    if (active == bool(condition->row))
        return;
    const QDateTime now = QDateTime::currentDateTime();
    if (active) {
        const auto row = std::make_shared<AlarmRow>();
        row->keyword = condition->alarm->keyword();
        row->text = condition->alarm->text();
        row->priority = condition->alarm->priority();
        row->number = ++lastNumber;
        row->cameAt = now;
        condition->row = row;
        wanted.push_back(row);
        soon.start();
    } else {
        const RowPointer row = std::exchange(condition->row, nullptr);
        row->wentAt = now;
        row->known = true;
        change(row);
    }
    moves.emplace_back(condition->alarm, active);
}

void PKeywordAlarms::Private::change(const RowPointer &row)
{
    row->dirty = true;
    soon.start();
}

void PKeywordAlarms::Private::arrange()
{
    soon.stop();
    arrangeAgain = true;
    if (arranging)
        return;
    const QPointer<PKeywordAlarms> self(q);
    arranging = true;
    while (std::exchange(arrangeAgain, false)) {
        std::sort(wanted.begin(), wanted.end(), isBefore);
        // The rows at the end have cleared: the oldest acknowledged ones are last.
        while (int(wanted.size()) > limit && !wanted.back()->active())
            wanted.pop_back();
        RowUpdate::run(q, {}, shown, wanted);
        if (!self)
            return;
        const auto rows = shown.rows;
        for (const RowPointer &row : rows) {
            if (!std::exchange(row->dirty, false) || row->row < 0)
                continue;
            const QModelIndex index = q->index(row->row);
            Q_EMIT q->dataChanged(index, index);
            if (!self)
                return;
        }
    }
    arranging = false;
    tell();
}

void PKeywordAlarms::Private::tell()
{
    const QPointer<PKeywordAlarms> self(q);
    const auto tellOne = [&](int &told, int now, auto signal) {
        if (std::exchange(told, now) != now)
            Q_EMIT(q->*signal)();
    };
    tellOne(toldCount, q->count(), &PKeywordAlarms::countChanged);
    if (self)
        tellOne(toldActive, q->activeCount(), &PKeywordAlarms::activeCountChanged);
    if (self) {
        tellOne(toldUnacknowledged, q->unacknowledgedCount(),
                &PKeywordAlarms::unacknowledgedCountChanged);
    }
    if (!self)
        return;
    for (const auto &[alarm, active] : std::exchange(moves, {})) {
        if (!alarm)
            continue;
        alarm->setActive(active);
        if (self && alarm) {
            if (active)
                Q_EMIT q->came(alarm);
            else
                Q_EMIT q->went(alarm);
        }
        if (!self)
            return;
    }
}

/*!
    \class pellix::extras::PKeywordAlarms
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/tables/keywordalarms.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordAlarms class provides an alarm list: conditions of keywords that occurred and
    cleared, and their acknowledgment.

    Declare the conditions inside it, or add them with addAlarm():

    \snippet Alarms.qml alarms

    Each occurrence of a condition is a row. The row remains when the condition clears, and when it
    is acknowledged, up to \l limit rows. Active rows are listed before cleared rows. Within both
    groups, the order is: not acknowledged before acknowledged, then by priority, highest first,
    then by time, newest first.

    The data from the server determines when a condition occurs and clears. It does neither while
    the data is not known: without a connection, until the first event of the keyword after that,
    and, for a limit or a value, while the keyword is not connected or its value is not a number.
    The role \c known is \c false for an active row if there has been no event of its keyword since
    the connection was lost. All changes within one iteration of the event loop are signaled at its
    end.

    \table
    \header \li Role \li Value
    \row \li keyword, text, priority \li those of the alarm when it occurred, or while it is active
    \row \li active \li whether the condition is still active
    \row \li known \li whether this state is currently known
    \row \li came, went \li when it occurred and cleared; \c went is invalid while it is active
    \row \li acknowledged \li whether it was acknowledged
    \row \li acknowledgedAt, acknowledgedBy \li when, and by whom, if specified
    \endtable

    The list owns neither the client nor the alarms. If you set another client, conditions do not
    change until it provides data of their keywords.

    \sa PKeywordAlarm, PKeywordTable
*/

/*!
    \enum pellix::extras::PKeywordAlarms::Role

    This enum describes the roles of a row.

    \value KeywordRole         \c keyword
    \value TextRole            \c text
    \value PriorityRole        \c priority
    \value ActiveRole          \c active
    \value KnownRole           \c known
    \value CameRole            \c came
    \value WentRole            \c went
    \value AcknowledgedRole    \c acknowledged
    \value AcknowledgedAtRole  \c acknowledgedAt
    \value AcknowledgedByRole  \c acknowledgedBy
*/

/*!
    \property pellix::extras::PKeywordAlarms::client
    \brief the client that subscribes to the keywords. The default is \c nullptr.
*/

/*!
    \property pellix::extras::PKeywordAlarms::alarms
    \brief the conditions, in the order in which they were declared or added.
*/

/*!
    \property pellix::extras::PKeywordAlarms::limit
    \brief the maximum number of rows. The default is 1000. A new row replaces the last one; active
    rows are never removed.
*/

/*!
    \property pellix::extras::PKeywordAlarms::count
    \brief the number of rows.
*/

/*!
    \property pellix::extras::PKeywordAlarms::activeCount
    \brief the number of active conditions.
*/

/*!
    \property pellix::extras::PKeywordAlarms::unacknowledgedCount
    \brief the number of rows that are not acknowledged.
*/

/*!
    \fn void pellix::extras::PKeywordAlarms::came(pellix::extras::PKeywordAlarm *alarm)

    This signal is emitted when the condition of \a alarm has occurred and its row has been added.
*/

/*!
    \fn void pellix::extras::PKeywordAlarms::went(pellix::extras::PKeywordAlarm *alarm)

    This signal is emitted when the condition of \a alarm has cleared.
*/

/*!
    Constructs a list without alarms. If \a parent is given, it owns the list.
*/
PKeywordAlarms::PKeywordAlarms(QObject *parent)
    : QAbstractListModel(parent), d(std::make_unique<Private>(this))
{
    d->soon.setSingleShot(true);
    connect(&d->soon, &QTimer::timeout, this, [this] { d->arrange(); });
    connect(&d->link, &ClientLink::linkedChanged, this, [this] {
        for (const ConditionPointer &condition : d->conditions) {
            condition->current = false;
            if (condition->row && std::exchange(condition->row->known, false))
                d->change(condition->row);
        }
    });
}

/*!
    Destroys the list, and unsubscribes from the keywords.
*/
PKeywordAlarms::~PKeywordAlarms()
{
    d->link.disconnect(this);
    for (const ConditionPointer &condition : d->conditions) {
        if (condition->alarm)
            condition->alarm->disconnect(this);
    }
}

PKeywordClient *PKeywordAlarms::client() const
{
    return d->link.client();
}

void PKeywordAlarms::setClient(PKeywordClient *client)
{
    if (d->link.isClient(client))
        return;
    const QPointer<PKeywordAlarms> self(this);
    d->link.setClient(client);
    if (self)
        Q_EMIT clientChanged();
}

/*!
    Returns the alarms in the order in which they were declared or added.
*/
QList<PKeywordAlarm *> PKeywordAlarms::alarms() const
{
    QList<PKeywordAlarm *> alarms;
    for (const ConditionPointer &condition : d->conditions)
        alarms.append(condition->alarm);
    return alarms;
}

/*!
    Adds \a alarm to the monitored alarms. The list does not own it; if it is destroyed, it is
    removed. The call has no effect if \a alarm is null or was added before.
*/
void PKeywordAlarms::addAlarm(PKeywordAlarm *alarm)
{
    d->add(alarm);
}

/*!
    Removes \a alarm from the monitored alarms. If it is active, it is cleared.
*/
void PKeywordAlarms::removeAlarm(PKeywordAlarm *alarm)
{
    d->remove(alarm);
}

/*!
    \internal
*/
QQmlListProperty<PKeywordAlarm> PKeywordAlarms::alarmList()
{
    using List = QQmlListProperty<PKeywordAlarm>;
    return List(
        this, nullptr,
        [](List *list, PKeywordAlarm *alarm) {
            static_cast<PKeywordAlarms *>(list->object)->addAlarm(alarm);
        },
        [](List *list) {
            return qsizetype(static_cast<PKeywordAlarms *>(list->object)->alarms().size());
        },
        [](List *list, qsizetype index) {
            return static_cast<PKeywordAlarms *>(list->object)->alarms().value(int(index));
        },
        [](List *list) {
            auto *const model = static_cast<PKeywordAlarms *>(list->object);
            const QList<PKeywordAlarm *> alarms = model->alarms();
            for (PKeywordAlarm *alarm : alarms)
                model->removeAlarm(alarm);
        });
}

int PKeywordAlarms::limit() const
{
    return d->limit;
}

void PKeywordAlarms::setLimit(int limit)
{
    limit = qMax(0, limit);
    if (limit == d->limit)
        return;
    d->limit = limit;
    const QPointer<PKeywordAlarms> self(this);
    Q_EMIT limitChanged();
    if (self)
        d->arrange();
}

int PKeywordAlarms::count() const
{
    return int(d->shown.rows.size());
}

int PKeywordAlarms::activeCount() const
{
    return int(std::count_if(d->shown.rows.cbegin(), d->shown.rows.cend(),
                             [](const RowPointer &row) { return row->active(); }));
}

int PKeywordAlarms::unacknowledgedCount() const
{
    return int(std::count_if(d->shown.rows.cbegin(), d->shown.rows.cend(),
                             [](const RowPointer &row) { return !row->acknowledged(); }));
}

/*!
    Acknowledges \a row, optionally with the name of the person in \a by. The call has no effect if
    the row is already acknowledged or does not exist.
*/
void PKeywordAlarms::acknowledge(int row, const QString &by)
{
    if (row < 0 || row >= count())
        return;
    const RowPointer acknowledged = d->shown.rows[size_t(row)];
    if (acknowledged->acknowledged())
        return;
    acknowledged->acknowledgedAt = QDateTime::currentDateTime();
    acknowledged->acknowledgedBy = by;
    acknowledged->dirty = true;
    d->arrange();
}

/*!
    Acknowledges all rows that are not acknowledged yet, optionally with the name of the person in
    \a by.
*/
void PKeywordAlarms::acknowledgeAll(const QString &by)
{
    const QDateTime now = QDateTime::currentDateTime();
    for (const RowPointer &row : d->shown.rows) {
        if (row->acknowledged())
            continue;
        row->acknowledgedAt = now;
        row->acknowledgedBy = by;
        row->dirty = true;
    }
    d->arrange();
}

/*!
    Removes the rows that have cleared and are acknowledged.
*/
void PKeywordAlarms::removeAcknowledged()
{
    d->wanted.erase(
        std::remove_if(d->wanted.begin(), d->wanted.end(),
                       [](const RowPointer &row) { return !row->active() && row->acknowledged(); }),
        d->wanted.end());
    d->arrange();
}

/*!
    Returns the data of \a row, with the names of the roles as keys, or an empty object if there is
    no such row.
*/
QVariantMap PKeywordAlarms::get(int row) const
{
    QVariantMap fields;
    if (row < 0 || row >= count())
        return fields;
    const QHash<int, QByteArray> names = roleNames();
    for (auto name = names.cbegin(); name != names.cend(); ++name)
        fields.insert(QString::fromLatin1(*name), data(index(row), name.key()));
    return fields;
}

int PKeywordAlarms::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant PKeywordAlarms::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const AlarmRow &row = *d->shown.rows[size_t(index.row())];
    switch (role) {
    case KeywordRole:
        return row.keyword;
    case Qt::DisplayRole:
    case TextRole:
        return row.text;
    case PriorityRole:
        return row.priority;
    case ActiveRole:
        return row.active();
    case KnownRole:
        return row.known;
    case CameRole:
        return row.cameAt;
    case WentRole:
        return row.wentAt;
    case AcknowledgedRole:
        return row.acknowledged();
    case AcknowledgedAtRole:
        return row.acknowledgedAt;
    case AcknowledgedByRole:
        return row.acknowledgedBy;
    }
    return {};
}

QHash<int, QByteArray> PKeywordAlarms::roleNames() const
{
    return {
        {KeywordRole, "keyword"},
        {TextRole, "text"},
        {PriorityRole, "priority"},
        {ActiveRole, "active"},
        {KnownRole, "known"},
        {CameRole, "came"},
        {WentRole, "went"},
        {AcknowledgedRole, "acknowledged"},
        {AcknowledgedAtRole, "acknowledgedAt"},
        {AcknowledgedByRole, "acknowledgedBy"},
    };
}

} // namespace pellix::extras
