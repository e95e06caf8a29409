// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/tables/keywordtable.h"

#include "extras/browsing/listedkeyword_p.h"
#include "extras/shared/clientlink_p.h"
#include "extras/shared/numberlocale_p.h"
#include "extras/shared/rowupdate_p.h"
#include "extras/tables/keywordresolver_p.h"
#include "extras/writing/keywordwrite.h"

#include <QtCore/QDateTime>
#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonValue>
#include <QtCore/QLocale>
#include <QtCore/QMetaEnum>
#include <QtCore/QPointer>
#include <QtCore/QSaveFile>
#include <QtCore/QTimer>

#include <algorithm>
#include <chrono>
#include <utility>

using namespace pellix::client;
using namespace std::chrono_literals;

namespace pellix::extras {

namespace {

constexpr auto frame = 16ms; // changes within one are signaled together
constexpr qint64 rateWindow = 5000; // ms
constexpr auto rateInterval = 1s;
constexpr int defaultLimit = 10'000;
constexpr int mostRuns = 200; // of changed rows, before all rows in between are signaled as well

// The changes of the last window: those of the current bucket, and the share of the previous one
// that the window covers, assuming an even distribution.
class Rate
{
public:
    void begin(qint64 now)
    {
        *this = {};
        began = now;
        start = now;
    }
    void count(qint64 now)
    {
        roll(now);
        ++current;
    }
    double perSecond(qint64 now) const
    {
        Rate rolled = *this;
        rolled.roll(now);
        const double within = double(now - rolled.start) / rateWindow;
        const double seconds = double(std::clamp<qint64>(now - began, 1000, rateWindow)) / 1000;
        return (rolled.previous * (1 - within) + rolled.current) / seconds;
    }
    bool any(qint64 now)
    {
        roll(now);
        return previous > 0 || current > 0;
    }

private:
    void roll(qint64 now)
    {
        const qint64 buckets = (now - start) / rateWindow;
        if (buckets <= 0)
            return;
        previous = buckets == 1 ? current : 0;
        current = 0;
        start += buckets * rateWindow;
    }

    qint64 began = 0;
    qint64 start = 0; // of the current bucket
    int previous = 0;
    int current = 0;
};

struct TableRow : UpdatedRow
{
    QString keyword;
    QString normalized;
    QString name;
    QString label;
    PKeywordValue event; // the last one
    bool known = false; // there has been one
    bool current = false; // and since the connection was established
    bool dirty = false;
    bool rated = false;
    qint64 changed = 0; // wall time, in ms
    Rate rate;
    std::unique_ptr<PKeywordWrite> writing;
    std::unique_ptr<ClientLink::Watch> watch;
    std::unique_ptr<ClientLink::Watch> labelWatch;
};
using RowPointer = std::shared_ptr<TableRow>;

QString nameOf(PKeywordValueType type)
{
    switch (type) {
    case PKeywordValueType::KVT_OBJECT:
        return QStringLiteral("object");
    case PKeywordValueType::KVT_BOOL:
        return QStringLiteral("bool");
    case PKeywordValueType::KVT_STRING:
        return QStringLiteral("string");
    case PKeywordValueType::KVT_DOUBLE:
        return QStringLiteral("double");
    case PKeywordValueType::KVT_INT:
        return QStringLiteral("int");
    case PKeywordValueType::KVT_NOPROP:
        break;
    }
    return {};
}

bool isWritable(PKeywordValueType type)
{
    return type != PKeywordValueType::KVT_OBJECT && type != PKeywordValueType::KVT_NOPROP;
}

QString textOf(const QVariant &value, const QLocale &locale)
{
    if (!value.isValid() || value.isNull())
        return {};
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
        return locale.toString(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    case QMetaType::Int:
    case QMetaType::LongLong:
        return locale.toString(value.toLongLong());
    case QMetaType::QVariantMap:
    case QMetaType::QVariantList: {
        const QJsonDocument document = QJsonDocument::fromVariant(value);
        return QString::fromUtf8(document.toJson(QJsonDocument::Compact));
    }
    default:
        return value.toString();
    }
}

// As a number in QML: code compiled by Qt 6.4 loses 64-bit integers.
QVariant scriptValue(const QVariant &value)
{
    if (value.typeId() != QMetaType::LongLong)
        return value;
    const qlonglong whole = value.toLongLong();
    if (whole == int(whole))
        return int(whole);
    constexpr qlonglong exact = 1LL << 53;
    return whole >= -exact && whole <= exact ? QVariant(double(whole)) : value;
}

// RFC 4180: in quotes if need be, quotes doubled.
QString csvField(const QString &text, QChar separator)
{
    const bool quoted = text.contains(separator) || text.contains(QLatin1Char('"'))
        || text.contains(QLatin1Char('\n')) || text.contains(QLatin1Char('\r'));
    if (!quoted)
        return text;
    return QLatin1Char('"') + QString(text).replace(QLatin1String("\""), QLatin1String("\"\""))
        + QLatin1Char('"');
}

} // namespace

class Q_DECL_HIDDEN PKeywordTable::Private
{
public:
    explicit Private(PKeywordTable *q) : q(q) { }

    void resolve();
    void onResolved(const KeywordResolver::Found &found);
    QStringList wantedKeywords(bool *complete) const;
    void arrange();
    void watch(const std::vector<RowPointer> &added);
    void watchLabels();
    void onEvent(TableRow *row, const PKeywordValue &event);
    void onLink();
    void change(const RowPointer &row);
    void flush();
    void tick();
    void tellAll();
    void tell();
    PKeywordWrite *writingOf(const RowPointer &row);
    QString stateText(const TableRow &row) const;
    int outcome(const TableRow &row) const;
    QString outcomeText(const TableRow &row) const;
    QVariant exported(const TableRow &row, int column) const;
    bool isLive(const TableRow &row) const { return row.current && link.linked(); }

    PKeywordTable *const q;
    QStringList keywords;
    bool labels = true;
    int limit = defaultLimit;
    bool complete = true; // what the patterns stand for
    QHash<QString, QStringList> found; // by pattern
    QElapsedTimer clock;
    QTimer frameTimer;
    QTimer rateTimer;
    ClientLink link;
    std::unique_ptr<KeywordResolver> resolver;
    UpdatedRows<TableRow> shown;
    QHash<QString, RowPointer> byKeyword; // normalized
    std::vector<std::weak_ptr<TableRow>> dirty;
    std::vector<std::weak_ptr<TableRow>> rated;
    bool arranging = false;
    bool arrangeAgain = false;

    // The last signaled values.
    bool toldResolving = false;
    bool toldTruncated = false;
    int toldCount = 0;
};

// The known matches of the patterns are kept until they are resolved again.
void PKeywordTable::Private::resolve()
{
    resolver.reset();
    QStringList patterns;
    for (const QString &keyword : std::as_const(keywords)) {
        if (KeywordResolver::isPattern(keyword))
            patterns.append(keyword);
    }
    const QPointer<PKeywordTable> self(q);
    if (patterns.isEmpty()) {
        found.clear();
        complete = true;
    } else if (link.client()) {
        resolver = std::make_unique<KeywordResolver>(
            &link, patterns, limit,
            [this](const KeywordResolver::Found &found) { onResolved(found); });
        resolver->start();
        if (!self)
            return;
    }
    arrange();
}

void PKeywordTable::Private::onResolved(const KeywordResolver::Found &resolved)
{
    const auto done = std::exchange(resolver, nullptr); // which is calling
    found = resolved.keywords;
    complete = resolved.complete;
    arrange();
}

QStringList PKeywordTable::Private::wantedKeywords(bool *all) const
{
    QStringList wanted;
    for (const QString &keyword : keywords) {
        if (KeywordResolver::isPattern(keyword))
            wanted += found.value(keyword);
        else if (!levelsOf(keyword).isEmpty())
            wanted.append(keyword);
    }
    *all = complete;
    return wanted;
}

// A handler of a removed or inserted row may require other rows: they follow after these.
void PKeywordTable::Private::arrange()
{
    arrangeAgain = true;
    if (arranging)
        return;
    const QPointer<PKeywordTable> self(q);
    arranging = true;
    while (std::exchange(arrangeAgain, false)) {
        bool all = true;
        QHash<QString, RowPointer> wanted;
        std::vector<RowPointer> rows;
        std::vector<RowPointer> added;
        for (const QString &keyword : wantedKeywords(&all)) {
            const QString normalized = normalizedKeyword(keyword);
            if (wanted.contains(normalized))
                continue;
            if (int(rows.size()) >= limit) {
                complete = false;
                break;
            }
            RowPointer row = byKeyword.value(normalized);
            if (!row) {
                row = std::make_shared<TableRow>();
                row->keyword = keyword;
                row->normalized = normalized;
                row->name = levelsOf(keyword).constLast();
                added.push_back(row);
            }
            wanted.insert(normalized, row);
            rows.push_back(row);
        }
        // Removed rows are unsubscribed at the end: this sends commands, and their handlers may do
        // anything.
        auto gone = std::exchange(byKeyword, wanted);
        RowUpdate::run(q, {}, shown, std::move(rows));
        if (!self)
            return;
        watch(added);
        // cppcheck-suppress identicalConditionAfterEarlyExit ; handlers run in between
        if (!self)
            return;
        gone.clear();
        // cppcheck-suppress identicalConditionAfterEarlyExit ; handlers run in between
        if (!self)
            return;
    }
    arranging = false;
    tell();
}

void PKeywordTable::Private::watch(const std::vector<RowPointer> &added)
{
    const QPointer<PKeywordTable> self(q);
    for (const RowPointer &row : added) {
        if (row->row < 0)
            continue;
        auto watch = link.watch(row->keyword, [this, row = row.get()](const PKeywordValue &event) {
            onEvent(row, event);
        });
        row->watch = std::move(watch);
        if (!self)
            return;
    }
    watchLabels();
}

void PKeywordTable::Private::watchLabels()
{
    const QPointer<PKeywordTable> self(q);
    const auto rows = shown.rows;
    for (const RowPointer &row : rows) {
        if (bool(row->labelWatch) == labels)
            continue;
        if (!labels) {
            row->labelWatch.reset();
        } else {
            auto watch = link.watch(row->keyword + QLatin1String("/Label"),
                                    [this, row = row.get()](const PKeywordValue &event) {
                                        row->label = event.value.toString();
                                        change(byKeyword.value(row->normalized));
                                    });
            row->labelWatch = std::move(watch);
        }
        if (!self)
            return;
    }
}

// Called for each event: of constant cost, and without a signal.
void PKeywordTable::Private::onEvent(TableRow *row, const PKeywordValue &event)
{
    const qint64 now = clock.elapsed();
    const RowPointer shared = byKeyword.value(row->normalized);
    if (shared.get() != row)
        return; // about to be destroyed
    if (!row->current)
        row->rate.begin(now);
    if (!row->known || row->event.value != event.value) {
        row->changed = QDateTime::currentMSecsSinceEpoch();
        if (row->known && row->current) {
            row->rate.count(now);
            if (!std::exchange(row->rated, true))
                rated.push_back(shared);
            if (!rateTimer.isActive())
                rateTimer.start();
        }
    }
    row->event = event;
    row->known = true;
    row->current = true;
    change(shared);
}

void PKeywordTable::Private::onLink()
{
    for (const RowPointer &row : shown.rows)
        row->current = false;
    const QPointer<PKeywordTable> self(q);
    tellAll();
    // The keywords may have changed in the meantime.
    if (self && link.linked() && !resolver)
        resolve();
}

void PKeywordTable::Private::change(const RowPointer &row)
{
    if (!row || std::exchange(row->dirty, true))
        return;
    dirty.push_back(row);
    if (!frameTimer.isActive())
        frameTimer.start();
}

void PKeywordTable::Private::flush()
{
    std::vector<int> rows;
    for (const auto &weak : std::exchange(dirty, {})) {
        const RowPointer row = weak.lock();
        if (!row)
            continue;
        row->dirty = false;
        if (row->row >= 0)
            rows.push_back(row->row);
    }
    if (rows.empty())
        return;
    std::sort(rows.begin(), rows.end());
    std::vector<std::pair<int, int>> runs;
    for (const int row : rows) {
        if (!runs.empty() && runs.back().second == row - 1)
            runs.back().second = row;
        else
            runs.emplace_back(row, row);
    }
    if (int(runs.size()) > mostRuns)
        runs = {{rows.front(), rows.back()}};
    const QPointer<PKeywordTable> self(q);
    for (const auto &[first, last] : runs) {
        if (last < int(shown.rows.size()))
            Q_EMIT q->dataChanged(q->index(first, LabelColumn), q->index(last, OutcomeColumn));
        if (!self)
            return;
    }
}

// Rates decrease while there are no events.
void PKeywordTable::Private::tick()
{
    const qint64 now = clock.elapsed();
    std::vector<std::weak_ptr<TableRow>> still;
    for (const auto &weak : std::exchange(rated, {})) {
        const RowPointer row = weak.lock();
        if (!row)
            continue;
        if (row->rate.any(now))
            still.push_back(weak);
        else
            row->rated = false;
        change(row);
    }
    rated = std::move(still);
    if (rated.empty())
        rateTimer.stop();
}

void PKeywordTable::Private::tellAll()
{
    if (shown.rows.empty())
        return;
    if (arranging) {
        for (const RowPointer &row : shown.rows)
            change(row);
        return;
    }
    Q_EMIT q->dataChanged(q->index(0, LabelColumn),
                          q->index(int(shown.rows.size()) - 1, OutcomeColumn));
}

void PKeywordTable::Private::tell()
{
    if (arranging)
        return;
    const QPointer<PKeywordTable> self(q);
    if (std::exchange(toldCount, q->count()) != q->count())
        Q_EMIT q->countChanged();
    if (self && std::exchange(toldTruncated, !complete) != !complete)
        Q_EMIT q->truncatedChanged();
    if (self && std::exchange(toldResolving, q->resolving()) != q->resolving())
        Q_EMIT q->resolvingChanged();
}

PKeywordWrite *PKeywordTable::Private::writingOf(const RowPointer &row)
{
    if (row->writing)
        return row->writing.get();
    row->writing = std::make_unique<PKeywordWrite>();
    row->writing->setKeyword(row->keyword);
    const std::weak_ptr<TableRow> kept = row;
    connect(row->writing.get(), &PKeywordWrite::stateChanged, q,
            [this, kept] { change(kept.lock()); });
    connect(row->writing.get(), &PKeywordWrite::finished, q, [this, kept] {
        const RowPointer row = kept.lock();
        if (row && row->writing)
            Q_EMIT q->written(row->keyword, row->writing->state());
    });
    return row->writing.get();
}

QString PKeywordTable::Private::stateText(const TableRow &row) const
{
    if (!isLive(row))
        return row.known ? tr("last known") : tr("unknown");
    if (!row.event.connected)
        return tr("no source");
    if (row.event.error)
        return tr("error");
    if (!row.event.online)
        return tr("offline");
    return row.event.consistent ? tr("good") : tr("inconsistent");
}

int PKeywordTable::Private::outcome(const TableRow &row) const
{
    return row.writing ? row.writing->state() : PKeywordWrite::Idle;
}

QString PKeywordTable::Private::outcomeText(const TableRow &row) const
{
    switch (outcome(row)) {
    case PKeywordWrite::Pending:
        return tr("waiting");
    case PKeywordWrite::Taken:
        return row.writing->isUnchanged() ? tr("unchanged") : tr("taken");
    case PKeywordWrite::Changed:
        return tr("a different value was set");
    case PKeywordWrite::Refused:
        return tr("refused");
    case PKeywordWrite::TimedOut:
    case PKeywordWrite::NotSent:
        return row.writing->problem();
    default:
        return {};
    }
}

// The content of a column as a value, not yet formatted for users.
QVariant PKeywordTable::Private::exported(const TableRow &row, int column) const
{
    const bool live = isLive(row);
    switch (column) {
    case KeywordColumn:
        return row.keyword;
    case LabelColumn:
        return row.label;
    case ValueColumn:
        return row.event.value;
    case TypeColumn:
        return nameOf(row.event.type);
    case ConnectedColumn:
        return live && row.event.connected;
    case OnlineColumn:
        return live && row.event.online;
    case ConsistentColumn:
        return live && row.event.consistent;
    case ErrorColumn:
        return live && row.event.error;
    case ChangedColumn:
        return row.changed ? QVariant(QDateTime::fromMSecsSinceEpoch(row.changed)) : QVariant();
    case RateColumn:
        return live ? row.rate.perSecond(clock.elapsed()) : 0.0;
    default:
        return {};
    }
}

/*!
    \class pellix::extras::PKeywordTable
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/tables/keywordtable.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordTable class provides a table of keywords: one row for each, with its value,
    its state, and the outcome of the last write.

    The rows are defined by \l keywords, a list of keywords and patterns. In a pattern, a level of
    one star matches exactly one level, and a level of two stars any number of levels, including
    none: the pattern with the levels \c plant, \c *, and \c level matches the levels of all tanks.
    The table queries the matching keywords when the connection is established, and again when it is
    restored; call refresh() to query them at any other time. The table finds keywords with a value,
    in natural order; keywords that match both before and after keep their rows.

    The cost of an event does not depend on the number of rows: the changes within 16 ms are
    signaled with one dataChanged() for each range of adjacent rows. Without a connection, the
    values are kept and marked as \c stale, and no flag is set.

    A view with columns, such as a TableView, shows those of \l Column. A ListView can read the
    roles from any column:

    \table
    \header \li Role \li Value
    \row \li keyword \li the keyword, as specified or found
    \row \li name \li the last level
    \row \li label \li the label; empty until it has arrived, and if there is none
    \row \li displayName \li the label, or the name if there is none
    \row \li value \li the value; integers beyond 2\sup{53} lose precision in QML
    \row \li valueText \li the value as text, in the default locale
    \row \li valueType \li the type, such as PKeyword.KVT_DOUBLE
    \row \li type \li the type's name in the protocol, such as "double"; empty if it is not known
    \row \li known \li whether a value or a state has arrived
    \row \li stale \li whether the data is from before the connection was lost
    \row \li connected, online, consistent, error \li \l {The four state flags}
    \row \li stateText \li a word that summarizes them
    \row \li changed \li when the current value arrived; an invalid date before
    \row \li rate \li changes per second, over the last 5 seconds
    \row \li writableType \li whether the type is bool, int, double, or string
    \row \li outcome \li the outcome of the last write, a PKeywordWrite::State
    \row \li outcomeText \li the outcome in words, including the reason if the write failed
    \endtable

    The table does not own the client. If the client is destroyed, the property becomes \c nullptr.
    \sa {Tables and alarms}
*/

/*!
    \enum pellix::extras::PKeywordTable::Column

    This enum describes the columns. The text of each is available as the role with the same name.

    \value KeywordColumn     the keyword
    \value LabelColumn       the label, or the name
    \value ValueColumn       the value, which can be edited
    \value TypeColumn        the type
    \value ConnectedColumn   whether the server has a source
    \value OnlineColumn      whether the source delivers data
    \value ConsistentColumn  whether the value is consistent with all its sources
    \value ErrorColumn       whether it is in error
    \value ChangedColumn     when the value arrived
    \value RateColumn        changes per second
    \value OutcomeColumn     the outcome of the last write
    \omitvalue ColumnCount
*/

/*!
    \enum pellix::extras::PKeywordTable::Role

    This enum describes the roles of a row. Their names in QML are those in the table above.

    \value KeywordRole       \c keyword
    \value NameRole          \c name
    \value LabelRole         \c label
    \value DisplayNameRole   \c displayName
    \value ValueRole         \c value
    \value ValueTextRole     \c valueText
    \value ValueTypeRole     \c valueType
    \value TypeRole          \c type
    \value KnownRole         \c known
    \value StaleRole         \c stale
    \value ConnectedRole     \c connected
    \value OnlineRole        \c online
    \value ConsistentRole    \c consistent
    \value ErrorRole         \c error
    \value StateTextRole     \c stateText
    \value ChangedRole       \c changed
    \value RateRole          \c rate
    \value WritableTypeRole  \c writableType
    \value OutcomeRole       \c outcome
    \value OutcomeTextRole   \c outcomeText
*/

/*!
    \property pellix::extras::PKeywordTable::client
    \brief the client that provides the values. The default is \c nullptr. Setting another client
    clears all values.
*/

/*!
    \property pellix::extras::PKeywordTable::keywords
    \brief the keywords and patterns, in the order of the rows. The default is an empty list. A
    keyword that occurs twice has one row. A keyword without a level, such as "/", has none.
*/

/*!
    \property pellix::extras::PKeywordTable::labels
    \brief whether the table subscribes to the labels, which is one more keyword for each row. The
    default is \c true.
*/

/*!
    \property pellix::extras::PKeywordTable::limit
    \brief the maximum number of rows. The default is 10 000. The search for matches ends when this
    number is reached, or after four queries for each possible row and 1000 more.
*/

/*!
    \property pellix::extras::PKeywordTable::resolving
    \brief whether a query of the keywords that match the patterns is pending, including while there
    is no connection.
*/

/*!
    \property pellix::extras::PKeywordTable::truncated
    \brief whether there are keywords that have no row because of \l limit.
*/

/*!
    \property pellix::extras::PKeywordTable::count
    \brief the number of rows.
*/

/*!
    \fn void pellix::extras::PKeywordTable::written(const QString &keyword, int outcome)

    This signal is emitted when the \a outcome of a write of \a keyword with write() or setData() is
    known. The outcome is a PKeywordWrite::State.
*/

/*!
    Constructs a table without rows. If \a parent is given, it owns the table.
*/
PKeywordTable::PKeywordTable(QObject *parent)
    : QAbstractTableModel(parent), d(std::make_unique<Private>(this))
{
    d->clock.start();
    d->frameTimer.setSingleShot(true);
    d->frameTimer.setTimerType(Qt::PreciseTimer);
    d->frameTimer.setInterval(frame);
    connect(&d->frameTimer, &QTimer::timeout, this, [this] { d->flush(); });
    d->rateTimer.setInterval(rateInterval);
    connect(&d->rateTimer, &QTimer::timeout, this, [this] { d->tick(); });
    connect(&d->link, &ClientLink::linkedChanged, this, [this] { d->onLink(); });
}

/*!
    Destroys the table, and unsubscribes from its keywords.
*/
PKeywordTable::~PKeywordTable()
{
    d->link.disconnect(this);
    d->resolver.reset();
}

PKeywordClient *PKeywordTable::client() const
{
    return d->link.client();
}

void PKeywordTable::setClient(PKeywordClient *client)
{
    if (d->link.isClient(client))
        return;
    const QPointer<PKeywordTable> self(this);
    // Released at the end: a pending write is sent then, and a handler may do anything.
    std::vector<std::unique_ptr<PKeywordWrite>> ended;
    d->resolver.reset();
    d->found.clear();
    for (const RowPointer &row : d->shown.rows) {
        row->event = {};
        row->known = false;
        row->current = false;
        row->changed = 0;
        row->label.clear();
        ended.push_back(std::move(row->writing));
    }
    d->link.setClient(client);
    if (self)
        Q_EMIT clientChanged();
    if (self && d->link.isClient(client) && !d->resolver)
        d->resolve();
    if (self)
        d->tellAll();
}

QStringList PKeywordTable::keywords() const
{
    return d->keywords;
}

void PKeywordTable::setKeywords(const QStringList &keywords)
{
    if (keywords == d->keywords)
        return;
    d->keywords = keywords;
    const QPointer<PKeywordTable> self(this);
    Q_EMIT keywordsChanged();
    if (self && d->keywords == keywords)
        d->resolve();
}

bool PKeywordTable::labels() const
{
    return d->labels;
}

void PKeywordTable::setLabels(bool labels)
{
    if (labels == d->labels)
        return;
    d->labels = labels;
    const QPointer<PKeywordTable> self(this);
    Q_EMIT labelsChanged();
    if (self)
        d->watchLabels();
}

int PKeywordTable::limit() const
{
    return d->limit;
}

void PKeywordTable::setLimit(int limit)
{
    limit = qMax(0, limit);
    if (limit == d->limit)
        return;
    d->limit = limit;
    const QPointer<PKeywordTable> self(this);
    Q_EMIT limitChanged();
    if (self)
        d->resolve();
}

bool PKeywordTable::resolving() const
{
    return d->resolver != nullptr;
}

bool PKeywordTable::truncated() const
{
    return !d->complete;
}

int PKeywordTable::count() const
{
    return int(d->shown.rows.size());
}

/*!
    Queries the keywords that match the patterns again. The rows remain until the replies arrive.
*/
void PKeywordTable::refresh()
{
    d->resolve();
}

/*!
    Returns the row of \a keyword, in any spelling, or -1.
*/
int PKeywordTable::rowOf(const QString &keyword) const
{
    const RowPointer row = d->byKeyword.value(normalizedKeyword(keyword));
    return row ? row->row : -1;
}

/*!
    Returns the keyword of \a row, or an empty string if there is no such row.
*/
QString PKeywordTable::keywordAt(int row) const
{
    return data(index(row, 0), KeywordRole).toString();
}

/*!
    Returns the data of \a row, with the names of the roles as keys, or an empty object if there is
    no such row.
*/
QVariantMap PKeywordTable::get(int row) const
{
    QVariantMap fields;
    if (row < 0 || row >= count())
        return fields;
    const QHash<int, QByteArray> names = roleNames();
    for (auto name = names.cbegin(); name != names.cend(); ++name)
        fields.insert(QString::fromLatin1(*name), data(index(row, 0), name.key()));
    return fields;
}

/*!
    Writes \a value to the keyword of \a row, like PKeywordWrite::set(): as a value of the keyword's
    type, where a string is read as a number in the default locale or in the C locale, without group
    separators. The call has no effect if there is no such row. A value that does not fit the type
    is not sent. The roles \c outcome and \c outcomeText and the signal written() report the
    outcome.
*/
void PKeywordTable::write(int row, const QVariant &value)
{
    if (row < 0 || row >= count())
        return;
    const RowPointer written = d->shown.rows[size_t(row)];
    const QPointer<PKeywordWrite> writing(d->writingOf(written));
    // cppcheck-suppress nullPointerRedundantCheck ; handlers run in between
    writing->setClient(d->link.client()); // the first time, this subscribes to the value
    if (writing)
        writing->set(value);
}

/*!
    Returns the table as CSV, as defined in RFC 4180, with a header and all columns.

    The default format is for programs: in English, separated by commas, with numbers with all
    digits and a decimal point, \c true and \c false, times in UTC as in ISO 8601, and lists and
    objects as JSON. If \a localized is \c true, the format is for users: headers and texts are
    translated, numbers and times follow the default locale, and the separator is a semicolon if the
    decimal separator of the locale is a comma.

    Strings are not changed. A spreadsheet program may interpret a string that begins with "=" as a
    formula.
*/
QString PKeywordTable::toCsv(bool localized) const
{
    const QLocale locale = withoutGroups(localized ? QLocale() : QLocale::c());
    const bool comma = localized && QString(locale.decimalPoint()) == QLatin1String(",");
    const QLatin1Char separator(comma ? ';' : ',');
    static const char *const names[ColumnCount] = {"keyword",   "label",  "value",      "type",
                                                   "connected", "online", "consistent", "error",
                                                   "changed",   "rate",   "outcome"};
    const auto outcomes = QMetaEnum::fromType<PKeywordWrite::State>();
    QString text;
    const auto add = [&](int column, const QString &field) {
        text += csvField(field, separator);
        if (column == OutcomeColumn)
            text += QLatin1String("\r\n");
        else
            text += separator;
    };
    for (int column = 0; column < ColumnCount; ++column) {
        add(column,
            localized ? headerData(column, Qt::Horizontal).toString()
                      : QString::fromLatin1(names[column]));
    }
    for (const RowPointer &row : d->shown.rows) {
        for (int column = 0; column < ColumnCount; ++column) {
            const QVariant value = d->exported(*row, column);
            if (column == OutcomeColumn) {
                add(column,
                    localized ? d->outcomeText(*row)
                              : QString::fromLatin1(outcomes.valueToKey(d->outcome(*row))));
            } else if (column == ChangedColumn && value.isValid()) {
                add(column,
                    localized ? locale.toString(value.toDateTime(), QLocale::ShortFormat)
                              : value.toDateTime().toUTC().toString(Qt::ISODateWithMs));
            } else if (column == RateColumn) {
                add(column, locale.toString(value.toDouble(), 'f', 3));
            } else {
                add(column, textOf(value, locale));
            }
        }
    }
    return text;
}

/*!
    Writes the result of toCsv(\a localized) to \a file, in UTF-8. An existing file is replaced only
    after everything has been written. Returns an empty string, or the reason if the file could not
    be written.
*/
QString PKeywordTable::saveCsv(const QUrl &file, bool localized) const
{
    const QString path = file.scheme().isEmpty() ? file.path() : file.toLocalFile();
    if (path.isEmpty())
        return tr("cannot write \"%1\": not a local file").arg(file.toString());
    QSaveFile out(path);
    const QByteArray text = toCsv(localized).toUtf8();
    if (out.open(QIODevice::WriteOnly) && out.write(text) == text.size() && out.commit())
        return {};
    return tr("cannot write %1: %2").arg(out.fileName(), out.errorString());
}

int PKeywordTable::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

int PKeywordTable::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(ColumnCount);
}

QVariant PKeywordTable::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const TableRow &row = *d->shown.rows[size_t(index.row())];
    const bool live = d->isLive(row);
    switch (role) {
    case Qt::EditRole:
        return scriptValue(d->exported(row, index.column()));
    case Qt::DisplayRole:
        switch (index.column()) {
        case LabelColumn:
            return data(index, DisplayNameRole);
        case ValueColumn:
            return data(index, ValueTextRole);
        case ConnectedColumn:
        case OnlineColumn:
        case ConsistentColumn:
        case ErrorColumn:
            if (!live)
                return QString();
            return d->exported(row, index.column()).toBool() ? tr("yes") : tr("no");
        case ChangedColumn:
            return row.changed ? QLocale().toString(
                       QDateTime::fromMSecsSinceEpoch(row.changed).time(), QLocale::LongFormat)
                               : QString();
        case RateColumn:
            return numberLocale().toString(row.rate.perSecond(d->clock.elapsed()), 'f', 1);
        case OutcomeColumn:
            return d->outcomeText(row);
        default:
            return d->exported(row, index.column());
        }
    case KeywordRole:
        return row.keyword;
    case NameRole:
        return row.name;
    case LabelRole:
        return row.label;
    case DisplayNameRole:
        return row.label.isEmpty() ? row.name : row.label;
    case ValueRole:
        return scriptValue(row.event.value);
    case ValueTextRole:
        return textOf(row.event.value, numberLocale());
    case ValueTypeRole:
        return int(row.event.type);
    case TypeRole:
        return nameOf(row.event.type);
    case KnownRole:
        return row.known;
    case StaleRole:
        return row.known && !live;
    case ConnectedRole:
        return d->exported(row, ConnectedColumn);
    case OnlineRole:
        return d->exported(row, OnlineColumn);
    case ConsistentRole:
        return d->exported(row, ConsistentColumn);
    case ErrorRole:
        return d->exported(row, ErrorColumn);
    case StateTextRole:
        return d->stateText(row);
    case ChangedRole:
        return row.changed ? QDateTime::fromMSecsSinceEpoch(row.changed) : QDateTime();
    case RateRole:
        return d->exported(row, RateColumn);
    case WritableTypeRole:
        return isWritable(row.event.type);
    case OutcomeRole:
        return d->outcome(row);
    case OutcomeTextRole:
        return d->outcomeText(row);
    }
    return {};
}

QVariant PKeywordTable::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case KeywordColumn:
        return tr("Keyword");
    case LabelColumn:
        return tr("Label");
    case ValueColumn:
        return tr("Value");
    case TypeColumn:
        return tr("Type");
    case ConnectedColumn:
        return tr("Connected");
    case OnlineColumn:
        return tr("Online");
    case ConsistentColumn:
        return tr("Consistent");
    case ErrorColumn:
        return tr("Error");
    case ChangedColumn:
        return tr("Changed");
    case RateColumn:
        return tr("Changes/s");
    case OutcomeColumn:
        return tr("Last write");
    }
    return {};
}

/*!
    \reimp

    Writes the \a value of the ValueColumn, like write(). Returns \c false if the value is
    immediately known not to be sent. For the first write of a row, this may be known only after a
    reply of the server: the signal written() reports the outcome.
*/
bool PKeywordTable::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || index.column() != ValueColumn || role != Qt::EditRole)
        return false;
    const RowPointer row = d->shown.rows[size_t(index.row())];
    write(index.row(), value); // which may delete the table, but not the row
    return row->writing && row->writing->state() != PKeywordWrite::NotSent;
}

Qt::ItemFlags PKeywordTable::flags(const QModelIndex &index) const
{
    Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    if (index.isValid() && index.column() == ValueColumn
        && isWritable(d->shown.rows[size_t(index.row())]->event.type))
        flags |= Qt::ItemIsEditable;
    return flags;
}

QHash<int, QByteArray> PKeywordTable::roleNames() const
{
    return {
        {Qt::DisplayRole, "display"},
        {Qt::EditRole, "edit"},
        {KeywordRole, "keyword"},
        {NameRole, "name"},
        {LabelRole, "label"},
        {DisplayNameRole, "displayName"},
        {ValueRole, "value"},
        {ValueTextRole, "valueText"},
        {ValueTypeRole, "valueType"},
        {TypeRole, "type"},
        {KnownRole, "known"},
        {StaleRole, "stale"},
        {ConnectedRole, "connected"},
        {OnlineRole, "online"},
        {ConsistentRole, "consistent"},
        {ErrorRole, "error"},
        {StateTextRole, "stateText"},
        {ChangedRole, "changed"},
        {RateRole, "rate"},
        {WritableTypeRole, "writableType"},
        {OutcomeRole, "outcome"},
        {OutcomeTextRole, "outcomeText"},
    };
}

} // namespace pellix::extras
