// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/sourcemount.h"

#include <QtCore/QDateTime>
#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QJsonValue>
#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>
#include <QtCore/QSet>
#include <QtCore/QTimer>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

namespace pellix::gateway {

Q_LOGGING_CATEGORY(lcSourceMount, "pellixclient.gateway.source", QtInfoMsg)

namespace {

using server::KeywordServer;
using server::WriteRequest;
using namespace std::chrono_literals;

constexpr auto quickReadback = 300ms; // a write confirmed within this time is not shown as pending
constexpr auto decisionMargin = 5000ms; // by which the server waits longer than the mount

bool isWritable(const SourceKeyword &keyword)
{
    return keyword.access == QLatin1String("W") || keyword.access == QLatin1String("RW");
}

// Whether more has to be kept of a served keyword than its flags.
bool needsDetails(const SourceKeyword &keyword)
{
    return isWritable(keyword) || keyword.staleAfter.count() > 0 || keyword.minimum.isValid()
        || keyword.maximum.isValid();
}

bool isNumber(const QVariant &value)
{
    return KeywordServer::fits(value, QStringLiteral("double"));
}

// Devices with 32-bit numbers report a written value with reduced precision.
bool isReadbackOf(const QVariant &reported, const SourceKeyword &keyword, const QVariant &written)
{
    if (keyword.type == QLatin1String("object"))
        return QJsonValue::fromVariant(reported) == QJsonValue::fromVariant(written);
    if (!isNumber(reported) || !isNumber(written))
        return reported == written;
    if (keyword.type == QLatin1String("int") && keyword.tolerance == 0)
        return reported.toLongLong() == written.toLongLong();
    const double a = reported.toDouble();
    const double b = written.toDouble();
    return std::abs(a - b) <= keyword.tolerance || float(a) == float(b);
}

bool isOutside(const QVariant &value, const SourceKeyword &keyword)
{
    if (!isNumber(value))
        return false;
    const double number = value.toDouble();
    return (keyword.minimum.isValid() && number < keyword.minimum.toDouble())
        || (keyword.maximum.isValid() && number > keyword.maximum.toDouble());
}

bool isInteger(const QVariant &value)
{
    return KeywordServer::fits(value, QStringLiteral("int"));
}

// A double does not represent all integers. Invalid if the result is not a 64-bit integer.
QVariant roundedExactly(qlonglong value, qlonglong from, qlonglong step)
{
    qlonglong distance = 0;
    if (qSubOverflow(value, from, &distance))
        return {};
    const qlonglong rest = qAbs(distance % step);
    qlonglong change = rest < step - rest ? -rest : step - rest;
    if (distance < 0)
        change = -change;
    qlonglong result = 0;
    return qAddOverflow(value, change, &result) ? QVariant() : QVariant(result);
}

QVariant rounded(const QVariant &value, const SourceKeyword &keyword, const QVariant &current)
{
    if (keyword.step <= 0 || !isNumber(value))
        return value;
    const QVariant from = keyword.minimum.isValid() ? keyword.minimum
        : keyword.maximum.isValid()                 ? keyword.maximum
                                                    : current;
    const bool isInt = keyword.type == QLatin1String("int");
    if (isInt && isInteger(value) && isInteger(from) && isInteger(keyword.step))
        return roundedExactly(value.toLongLong(), from.toLongLong(), qlonglong(keyword.step));
    const double steps = std::round((value.toDouble() - from.toDouble()) / keyword.step);
    const double number = from.toDouble() + steps * keyword.step;
    if (!isInt)
        return number;
    return isInteger(number) ? QVariant(qlonglong(number)) : QVariant();
}

// The result of a relative write; invalid if the type cannot represent it.
QVariant changed(const QVariant &base, const QVariant &change)
{
    if (base.typeId() == QMetaType::Bool)
        return base.toBool() != change.toBool();
    if (base.typeId() == QMetaType::Double) {
        const double sum = base.toDouble() + change.toDouble();
        return std::isfinite(sum) ? QVariant(sum) : QVariant();
    }
    qlonglong sum = 0;
    return qAddOverflow(base.toLongLong(), change.toLongLong(), &sum) ? QVariant() : QVariant(sum);
}

} // namespace

class PathQueue
{
public:
    // The source path is the path within the source of the mount.
    void wait(const QString &path, SourceMount *mount, const QString &sourcePath);
    void leave(const QString &path, SourceMount *mount);
    // Call this function when a path is no longer in use.
    void free(const QString &path);

    void add(SourceMount *mount);
    void remove(SourceMount *mount);
    // Call this function when there may be room for more keywords.
    void offerRoom();

private:
    QHash<QString, QList<std::pair<SourceMount *, QString>>> waiting;
    QList<SourceMount *> mounts;
};

class SourceMount::Private
{
public:
    struct Entry;
    // Data that only few keywords need.
    struct Details
    {
        SourceKeyword keyword;
        QVariant kept; // the value while the keyword is not served
        std::vector<quint64> writes; // pending writes, in order
        int lateWrites = 0; // number of pending writes that are late
        quint64 turn = 0; // the order in which it waits for room; 0: it does not wait
    };
    struct Entry
    {
        QString path; // on the server
        std::unique_ptr<Details> details;
        qint64 staleAt = 0; // on the clock of the mount; 0: never
        qint64 queuedFor = 0; // the time of its entry in the queue
        quint64 declaredIn = 0; // number of the report
        bool isServed = false;
        bool isShownOnline = false;
        bool hasValue = false; // since the connection was established
        bool isOnline = true; // as reported by the source, like the next two
        bool isConsistent = true;
        bool hasError = false;
        bool isStale = false;
        bool isOutside = false;
        bool isMisfit = false;
    };
    struct Write
    {
        WriteRequest request;
        Entry *entry;
        QVariant target;
        qint64 late = 0; // time at which it becomes late, or 0
        qint64 deadline = 0;
        bool isAnswered = false;
        bool isLate = false;
    };
    // Passed on when no data of the mount is being changed.
    struct Decision
    {
        WriteRequest request;
        bool isAccepted;
        QString reason;
    };
    using Decisions = std::vector<Decision>;
    enum class Due {
        Late,
        Unconfirmed
    };

    SourceMount *q;
    QPointer<Source> source;
    QPointer<KeywordServer> server;
    QString name;
    QString mount; // without a trailing slash; empty for the root
    std::shared_ptr<PathQueue> queue;
    std::unordered_map<QString, Entry> entries; // by path in the source
    QSet<QString> requested; // paths on the server
    std::map<quint64, Write> writes;
    std::map<quint64, QString> waiting; // paths in the source, by turn
    std::set<std::pair<qint64, Entry *>> staleness;
    std::set<std::tuple<qint64, Due, quint64>> writesDue;
    QElapsedTimer clock;
    QTimer timer;
    qint64 timerFor = 0;
    quint64 lastWrite = 0;
    quint64 lastTurn = 0;
    quint64 reports = 0;
    Source::State state = Source::State::Stopped;
    int loggedLimit = -1; // the limit of keywords that was in the log last
    bool isConflictLogged = false;
    Statistics counts;

    bool isReady() const { return state == Source::State::Ready; }
    bool isLinked() const { return isReady() || state == Source::State::Subscribing; }

    // Reports of the source
    void onReported(const SourceReport &report);
    void onStateChanged(Source::State now);
    void onAnswered(quint64 id, Source::Outcome outcome, const QString &reason);
    void declare(const SourceKeyword &keyword);
    void serve(Entry &entry, const SourceKeyword &keyword, const QVariant &value);
    void refuse(Entry &entry, const SourceKeyword &keyword, const QVariant &value);
    void takeOver(const QString &path);
    bool hasRoom() const;
    bool stopWaiting(Entry &entry);
    void serveWaiting();
    void remove(const QString &path, Decisions *decisions);
    void take(const SourceValue &value, Decisions *decisions);
    void noteAge(Entry &entry, qint64 time);

    // Requests of clients
    bool isOurs(const QString &path) const;
    void request(const QString &path);
    void release(const QString &path);

    // States shown to clients
    KeywordServer::State shown(Entry &entry);
    void show(Entry &entry);

    // Writes
    void onWrite(const QString &path, const WriteRequest &request);
    QString findTarget(const Entry &entry, const WriteRequest &request, QVariant *target) const;
    void confirm(Entry &entry, const QVariant &value, bool isNew, Decisions *decisions);
    void settle(quint64 id, bool isAccepted, const QString &reason, Decisions *decisions);
    void giveUpWrites(const QString &reason, Decisions *decisions);
    static void tell(const Decisions &decisions);

    // Time
    void arm();
    void onTimeout();
    void becomeStale(qint64 now);
    void becomeLate(Write &write);
    void expire(quint64 id, Decisions *decisions);
};

void PathQueue::wait(const QString &path, SourceMount *mount, const QString &sourcePath)
{
    waiting[path].append({mount, sourcePath});
}

void PathQueue::leave(const QString &path, SourceMount *mount)
{
    const auto found = waiting.find(path);
    if (found == waiting.end())
        return;
    found->removeIf([mount](const auto &entry) { return entry.first == mount; });
    if (found->isEmpty())
        waiting.remove(path);
}

void PathQueue::free(const QString &path)
{
    const auto found = waiting.find(path);
    if (found == waiting.end())
        return;
    const auto [mount, sourcePath] = found->takeFirst();
    if (found->isEmpty())
        waiting.remove(path);
    mount->d->takeOver(sourcePath);
}

void PathQueue::add(SourceMount *mount)
{
    mounts.append(mount);
}

void PathQueue::remove(SourceMount *mount)
{
    mounts.removeOne(mount);
}

void PathQueue::offerRoom()
{
    for (SourceMount *const mount : std::as_const(mounts))
        mount->d->serveWaiting();
}

SourceMount::SourceMount(Source *source, KeywordServer *server, const QString &name,
                         const QString &mount, const std::shared_ptr<PathQueue> &queue,
                         QObject *parent)
    : QObject(parent), d(std::make_unique<Private>())
{
    d->q = this;
    d->source = source;
    d->server = server;
    d->name = name;
    d->mount = KeywordServer::normalizedPath(mount);
    d->queue = queue ? queue : createQueue();
    d->queue->add(this);
    d->clock.start();
    d->timer.setSingleShot(true);
    d->timer.setTimerType(Qt::PreciseTimer);
    d->state = source->state();

    connect(&d->timer, &QTimer::timeout, this, [this] { d->onTimeout(); });
    connect(source, &Source::reported, this,
            [this](const SourceReport &report) { d->onReported(report); });
    connect(source, &Source::stateChanged, this,
            [this](Source::State state) { d->onStateChanged(state); });
    connect(source, &Source::writeAnswered, this,
            [this](quint64 id, Source::Outcome outcome, const QString &reason) {
                d->onAnswered(id, outcome, reason);
            });
    connect(source, &QObject::destroyed, this,
            [this] { d->onStateChanged(Source::State::Stopped); });
    connect(server, &KeywordServer::keywordRequested, this,
            [this](const QString &path) { d->request(path); });
    connect(server, &KeywordServer::keywordReleased, this,
            [this](const QString &path) { d->release(path); });
    connect(server, &KeywordServer::indexRequested, this, [this](const QString &path) {
        if (d->isOurs(path) && d->source)
            d->source->browse(path.mid(d->mount.size()));
    });
    // Requests the keywords that clients already watch. Queued, so that the source can handle them.
    QMetaObject::invokeMethod(
        this,
        [this] {
            const QStringList paths =
                d->server ? d->server->requestedKeywords(d->mount) : QStringList();
            for (const QString &path : paths)
                d->request(path);
        },
        Qt::QueuedConnection);
}

SourceMount::~SourceMount()
{
    Private::Decisions decisions;
    d->queue->remove(this);
    if (d->server) {
        const KeywordServer::Batch batch(d->server);
        while (!d->entries.empty())
            d->remove(QString(d->entries.begin()->first), &decisions);
        d->queue->offerRoom();
    }
    Private::tell(decisions);
}

std::shared_ptr<PathQueue> SourceMount::createQueue()
{
    return std::make_shared<PathQueue>();
}

Source *SourceMount::source() const
{
    return d->source;
}

QString SourceMount::name() const
{
    return d->name;
}

QString SourceMount::mount() const
{
    return d->mount.isEmpty() ? QStringLiteral("/") : d->mount;
}

bool SourceMount::isReady() const
{
    return d->isReady();
}

SourceMount::Statistics SourceMount::statistics() const
{
    Statistics counts = d->counts;
    counts.waiting = int(d->waiting.size());
    return counts;
}

void SourceMount::serveWaiting()
{
    if (!d->server)
        return;
    const KeywordServer::Batch batch(d->server);
    d->serveWaiting();
}

void SourceMount::giveUpWrites(const QString &reason)
{
    if (!d->server)
        return;
    Private::Decisions decisions;
    {
        const KeywordServer::Batch batch(d->server);
        d->giveUpWrites(reason, &decisions);
    }
    Private::tell(decisions);
}

bool SourceMount::Private::isOurs(const QString &path) const
{
    return path.startsWith(mount)
        && (path.size() == mount.size() || path.at(mount.size()) == QLatin1Char('/'));
}

void SourceMount::Private::request(const QString &path)
{
    if (!isOurs(path) || !source || requested.contains(path))
        return;
    requested.insert(path);
    source->request(path.mid(mount.size()));
}

void SourceMount::Private::release(const QString &path)
{
    if (requested.remove(path) && source)
        source->release(path.mid(mount.size()));
}

void SourceMount::Private::onReported(const SourceReport &report)
{
    if (!server)
        return;
    Decisions decisions;
    {
        const KeywordServer::Batch batch(server);
        ++reports;
        for (const QString &path : report.removed)
            remove(path, &decisions);
        for (const SourceKeyword &keyword : report.declared)
            declare(keyword);
        for (const SourceValue &value : report.values)
            take(value, &decisions);
        if (!report.removed.isEmpty())
            queue->offerRoom();
        arm();
    }
    tell(decisions); // may delete the mount
}

// Values are kept, but are no longer current.
void SourceMount::Private::onStateChanged(Source::State now)
{
    const bool wasReady = isReady();
    state = now;
    if (!server)
        return;
    Decisions decisions;
    {
        const KeywordServer::Batch batch(server);
        const bool isLost = !isLinked();
        if (wasReady && !isReady())
            giveUpWrites(QStringLiteral("the connection was lost"), &decisions);
        for (auto &[path, entry] : entries) {
            if (isLost)
                entry.hasValue = false;
            if (entry.isServed)
                show(entry);
        }
    }
    tell(decisions);
}

void SourceMount::Private::onAnswered(quint64 id, Source::Outcome outcome, const QString &reason)
{
    const auto found = writes.find(id);
    if (found == writes.end() || !server)
        return;
    Decisions decisions;
    {
        const KeywordServer::Batch batch(server);
        Write &write = found->second;
        Entry &entry = *write.entry;
        const SourceKeyword &keyword = entry.details->keyword;
        if (outcome == Source::Outcome::Refused) {
            settle(id, false, reason, &decisions);
        } else if (outcome == Source::Outcome::Unknown) {
            ++counts.unconfirmedWrites;
            settle(id, false, QStringLiteral("the outcome is unknown: ") + reason, &decisions);
        } else if (keyword.confirmation == SourceKeyword::Confirmation::Answer) {
            settle(id, true, {}, &decisions);
        } else if (keyword.confirmation == SourceKeyword::Confirmation::Assumed) {
            entry.hasValue = true;
            entry.isOutside = entry.isMisfit = false;
            noteAge(entry, 0);
            arm();
            server->update(entry.path, write.target, shown(entry));
            settle(id, true, {}, &decisions);
        } else {
            write.isAnswered = true;
            // Many devices do not report a value that has not changed.
            if (entry.isShownOnline && entry.details->writes.front() == id
                && isReadbackOf(server->value(entry.path), keyword, write.target))
                settle(id, true, {}, &decisions);
        }
    }
    tell(decisions);
}

void SourceMount::Private::declare(const SourceKeyword &keyword)
{
    Entry &entry = entries[keyword.path];
    const bool isNew = entry.path.isEmpty();
    if (isNew)
        entry.path = KeywordServer::normalizedPath(mount + QLatin1Char('/') + keyword.path);
    const bool isTwice = entry.declaredIn == reports;
    const bool isElsewhere = !entry.isServed && server->contains(entry.path);
    if (isTwice || (isNew && isElsewhere)) {
        ++counts.conflicts;
        if (!std::exchange(isConflictLogged, true)) {
            qCWarning(lcSourceMount).noquote().nospace()
                << name << ": " << entry.path
                << " already exists and is not served again; further ones are only counted";
        }
        if (isTwice)
            return;
    }

    entry.declaredIn = reports;
    const bool hasWaited = stopWaiting(entry);
    const QVariant kept = hasWaited ? std::exchange(entry.details->kept, {}) : QVariant();
    const bool hasDetails =
        isElsewhere || needsDetails(keyword) || (entry.details && !entry.details->writes.empty());
    if (!hasDetails)
        entry.details.reset();
    else if (!entry.details)
        entry.details = std::make_unique<Details>();
    if (entry.details)
        entry.details->keyword = keyword;
    if (keyword.staleAfter.count() <= 0) {
        entry.staleAt = 0;
        entry.isStale = false;
    }
    if (isElsewhere) {
        if (hasWaited)
            entry.details->kept = kept;
        if (isNew || hasWaited)
            queue->wait(entry.path, q, keyword.path);
        return;
    }
    if (!isNew && !entry.isServed)
        queue->leave(entry.path, q);
    serve(entry, keyword, entry.isServed ? server->value(entry.path) : kept);
}

void SourceMount::Private::serve(Entry &entry, const SourceKeyword &keyword, const QVariant &value)
{
    const bool isKnown = entry.isServed;
    const bool fits = KeywordServer::fits(value, keyword.type);
    entry.isOutside = isOutside(value, keyword);
    const KeywordServer::State state = shown(entry);
    KeywordServer::Keyword declared;
    declared.path = entry.path;
    declared.type = keyword.type;
    declared.access = keyword.access;
    declared.label = keyword.label;
    if (fits)
        declared.value = value;
    declared.connected = state.connected;
    declared.online = state.online;
    declared.consistent = state.consistent;
    declared.error = state.error;
    if (!server->declare(declared)) {
        refuse(entry, keyword, value);
        return;
    }
    if (!isKnown)
        ++counts.keywords;
    entry.isServed = true;
    if (isKnown)
        server->setLabel(entry.path, keyword.label);
    if (!isWritable(keyword)) {
        if (isKnown)
            server->setWriteHandler(entry.path, {});
        return;
    }
    server->setWriteHandler(
        entry.path,
        [mount = QPointer<SourceMount>(q), path = keyword.path](const WriteRequest &request) {
            if (mount)
                mount->d->onWrite(path, request);
        });
    server::Limits limits = server->limits();
    if (limits.writeTime < keyword.confirmWithin + decisionMargin) {
        limits.writeTime = keyword.confirmWithin + decisionMargin;
        server->setLimits(limits);
    }
}

// A keyword beyond the limit waits for room, because sources declare each keyword only once.
void SourceMount::Private::refuse(Entry &entry, const SourceKeyword &keyword, const QVariant &value)
{
    ++counts.refusedDeclarations;
    if (std::exchange(loggedLimit, server->limits().keywords) != server->limits().keywords) {
        qCWarning(lcSourceMount).noquote().nospace()
            << name << ": " << entry.path << " is not served: there are " << server->keywordCount()
            << " keywords of at most " << server->limits().keywords << ", or its type "
            << keyword.type << " or access " << keyword.access
            << " is none; further ones are only counted";
    }
    if (entry.isServed)
        return;
    if (std::exchange(entry.isShownOnline, false))
        --counts.online;
    if (hasRoom()) { // it is invalid
        if (entry.queuedFor > 0)
            staleness.erase({entry.queuedFor, &entry});
        entries.erase(keyword.path);
        return;
    }
    if (!entry.details)
        entry.details = std::make_unique<Details>();
    entry.details->keyword = keyword;
    entry.details->kept = value;
    entry.details->turn = ++lastTurn;
    waiting.emplace(entry.details->turn, keyword.path);
}

bool SourceMount::Private::hasRoom() const
{
    return server->keywordCount() < server->limits().keywords;
}

// Returns whether the keyword waited for room.
bool SourceMount::Private::stopWaiting(Entry &entry)
{
    if (!entry.details || entry.details->turn == 0)
        return false;
    waiting.erase(std::exchange(entry.details->turn, 0));
    return true;
}

void SourceMount::Private::serveWaiting()
{
    if (!server)
        return;
    while (!waiting.empty() && hasRoom()) {
        const auto found = entries.find(waiting.begin()->second);
        Entry &entry = found->second;
        stopWaiting(entry);
        if (server->contains(entry.path)) { // of another source
            ++counts.conflicts;
            queue->wait(entry.path, q, found->first);
            continue;
        }
        const QVariant value = std::exchange(entry.details->kept, {});
        const SourceKeyword keyword = entry.details->keyword;
        if (!needsDetails(keyword))
            entry.details.reset();
        serve(entry, keyword, value);
    }
}

// The mount that had this path has released it.
void SourceMount::Private::takeOver(const QString &path)
{
    const auto found = entries.find(path);
    if (found == entries.end() || !server)
        return;
    Entry &entry = found->second;
    const QVariant value = std::exchange(entry.details->kept, {});
    const SourceKeyword keyword = entry.details->keyword;
    serve(entry, keyword, value);
}

void SourceMount::Private::remove(const QString &path, Decisions *decisions)
{
    const auto found = entries.find(path);
    if (found == entries.end())
        return;
    Entry &entry = found->second;
    while (entry.details && !entry.details->writes.empty()) {
        settle(entry.details->writes.front(), false, QStringLiteral("the keyword has been removed"),
               decisions);
    }
    if (entry.queuedFor > 0)
        staleness.erase({entry.queuedFor, &entry});
    if (entry.isShownOnline)
        --counts.online;
    stopWaiting(entry);
    const QString served = entry.path;
    const bool wasServed = entry.isServed;
    entries.erase(found);
    if (!wasServed) {
        queue->leave(served, q);
        return;
    }
    --counts.keywords;
    server->remove(served);
    queue->free(served);
}

void SourceMount::Private::take(const SourceValue &reported, Decisions *decisions)
{
    const auto found = entries.find(reported.path);
    if (found == entries.end())
        return;
    Entry &entry = found->second;
    Details *const details = entry.details.get();
    ++counts.values;
    entry.isOnline = reported.online;
    entry.isConsistent = reported.consistent;
    entry.hasError = reported.error;
    if (!reported.value) {
        if (entry.isServed)
            show(entry);
        return;
    }

    const QVariant &value = *reported.value;
    const bool hadValue = std::exchange(entry.hasValue, true);
    entry.isMisfit = false;
    if (details) {
        noteAge(entry, reported.time);
        entry.isOutside = isOutside(value, details->keyword);
    }
    if (!entry.isServed) {
        details->kept = value;
        return;
    }
    const bool hasWrites = details && !details->writes.empty();
    const QVariant before = hasWrites ? server->value(entry.path) : QVariant();
    if (!server->update(entry.path, value, shown(entry))) {
        ++counts.misfits;
        entry.isMisfit = true;
        entry.hasValue = hadValue;
        show(entry);
        return;
    }
    if (hasWrites)
        confirm(entry, value, value != before, decisions);
}

// Converts the time to the steady clock at once, because the wall clock may be set.
void SourceMount::Private::noteAge(Entry &entry, qint64 time)
{
    const qint64 staleAfter = entry.details ? entry.details->keyword.staleAfter.count() : 0;
    if (staleAfter <= 0)
        return;
    const qint64 now = clock.elapsed();
    const qint64 age = time > 0 ? qMax<qint64>(0, QDateTime::currentMSecsSinceEpoch() - time) : 0;
    entry.staleAt = now + staleAfter - age;
    entry.isStale = entry.staleAt <= now;
    // A keyword that is queued for an earlier time is queued again at that time.
    if (entry.isStale || (entry.queuedFor > 0 && entry.queuedFor <= entry.staleAt))
        return;
    if (entry.queuedFor > 0)
        staleness.erase({entry.queuedFor, &entry});
    entry.queuedFor = entry.staleAt;
    staleness.insert({entry.queuedFor, &entry});
}

KeywordServer::State SourceMount::Private::shown(Entry &entry)
{
    KeywordServer::State shown;
    shown.connected = isReady();
    shown.online = isReady() && entry.hasValue && entry.isOnline && !entry.isStale;
    shown.consistent = entry.isConsistent && !entry.isOutside
        && (!entry.details || entry.details->lateWrites == 0);
    shown.error = entry.hasError || entry.isMisfit;
    if (shown.online != entry.isShownOnline) {
        entry.isShownOnline = shown.online;
        counts.online += shown.online ? 1 : -1;
    }
    return shown;
}

void SourceMount::Private::show(Entry &entry)
{
    const KeywordServer::State state = shown(entry);
    server->setState(entry.path, state.connected, state.online, state.consistent, state.error);
}

void SourceMount::Private::onWrite(const QString &path, const WriteRequest &request)
{
    ++counts.writes;
    const auto found = entries.find(path);
    if (found == entries.end() || !found->second.details) {
        ++counts.refusedWrites;
        request.refuse(QStringLiteral("the keyword has been removed"));
        return;
    }
    Entry &entry = found->second;
    QVariant target;
    const QString problem = findTarget(entry, request, &target);
    if (!problem.isEmpty()) {
        ++counts.refusedWrites;
        request.refuse(problem);
        return;
    }

    const SourceKeyword &keyword = entry.details->keyword;
    const quint64 id = ++lastWrite;
    Write write {request, &entry, target};
    const qint64 now = clock.elapsed();
    write.deadline = now + keyword.confirmWithin.count();
    writesDue.insert({write.deadline, Due::Unconfirmed, id});
    if (keyword.confirmation == SourceKeyword::Confirmation::Readback) {
        write.late = now + std::chrono::milliseconds(quickReadback).count();
        writesDue.insert({write.late, Due::Late, id});
    }
    entry.details->writes.push_back(id);
    writes.emplace(id, write);
    arm();
    const bool isChange = keyword.writesChange && request.isRelative();
    source->write({id, path, target, isChange ? request.change() : QVariant()});
}

// Determines the value to write. Returns the reason if there is none.
QString SourceMount::Private::findTarget(const Entry &entry, const WriteRequest &request,
                                         QVariant *target) const
{
    if (!isReady() || !source)
        return QStringLiteral("the source is not connected");
    const Details &details = *entry.details;
    const QVariant current = server->value(entry.path);
    QVariant value = request.value();
    if (request.isRelative()) {
        const bool isUnderWay = !details.writes.empty();
        if (!isUnderWay && (!entry.isShownOnline || !current.isValid()))
            return QStringLiteral("there is no current value to which to add");
        value = changed(isUnderWay ? writes.at(details.writes.back()).target : current,
                        request.change());
    }
    value = rounded(value, details.keyword, current);
    if (!KeywordServer::fits(value, details.keyword.type))
        return QStringLiteral("the value does not fit");
    if (isOutside(value, details.keyword))
        return QStringLiteral("the value is out of range");
    if (!details.keyword.choices.isEmpty() && !details.keyword.choices.contains(value))
        return QStringLiteral("the value is not one of the choices");
    *target = value;
    return {};
}

// A value settles the first write that it matches, and all earlier writes, which it supersedes. An
// unchanged value settles only the first write.
void SourceMount::Private::confirm(Entry &entry, const QVariant &value, bool isNew,
                                   Decisions *decisions)
{
    const SourceKeyword &keyword = entry.details->keyword;
    if (keyword.confirmation != SourceKeyword::Confirmation::Readback)
        return;
    const std::vector<quint64> pending = entry.details->writes;
    const std::size_t last = isNew ? pending.size() : 1;
    for (std::size_t i = 0; i < last; ++i) {
        if (!isReadbackOf(value, keyword, writes.at(pending[i]).target))
            continue;
        for (std::size_t done = 0; done <= i; ++done)
            settle(pending[done], true, {}, decisions);
        return;
    }
}

void SourceMount::Private::settle(quint64 id, bool isAccepted, const QString &reason,
                                  Decisions *decisions)
{
    const auto found = writes.find(id);
    const Write write = found->second;
    writes.erase(found);
    writesDue.erase({write.deadline, Due::Unconfirmed, id});
    writesDue.erase({write.late, Due::Late, id});
    std::vector<quint64> &pending = write.entry->details->writes;
    pending.erase(std::find(pending.begin(), pending.end(), id));
    if (write.isLate && --write.entry->details->lateWrites == 0)
        show(*write.entry);
    if (!isAccepted)
        ++counts.refusedWrites;
    decisions->push_back({write.request, isAccepted, reason});
}

// A write may or may not have been executed, for example if the connection was lost. It is not
// repeated.
void SourceMount::Private::giveUpWrites(const QString &reason, Decisions *decisions)
{
    while (!writes.empty()) {
        ++counts.unconfirmedWrites;
        settle(writes.begin()->first, false, reason + QStringLiteral("; the outcome is unknown"),
               decisions);
    }
}

void SourceMount::Private::tell(const Decisions &decisions)
{
    for (const Decision &decision : decisions) {
        if (decision.isAccepted)
            decision.request.acceptAsReported();
        else
            decision.request.refuse(decision.reason);
    }
}

void SourceMount::Private::arm()
{
    qint64 next = staleness.empty() ? 0 : staleness.begin()->first;
    if (!writesDue.empty() && (next == 0 || std::get<0>(*writesDue.begin()) < next))
        next = std::get<0>(*writesDue.begin());
    if (next == 0 || (timer.isActive() && timerFor <= next))
        return;
    timerFor = next;
    timer.start(std::chrono::milliseconds(qMax<qint64>(0, next - clock.elapsed())));
}

void SourceMount::Private::onTimeout()
{
    if (!server)
        return;
    Decisions decisions;
    {
        const KeywordServer::Batch batch(server);
        const qint64 now = clock.elapsed();
        becomeStale(now);
        while (!writesDue.empty() && std::get<0>(*writesDue.begin()) <= now) {
            const auto [at, due, id] = *writesDue.begin();
            writesDue.erase(writesDue.begin());
            if (due == Due::Late)
                becomeLate(writes.at(id));
            else
                expire(id, &decisions);
        }
        arm();
    }
    tell(decisions);
}

void SourceMount::Private::becomeStale(qint64 now)
{
    while (!staleness.empty() && staleness.begin()->first <= now) {
        Entry &entry = *staleness.begin()->second;
        staleness.erase(staleness.begin());
        entry.queuedFor = 0;
        if (entry.staleAt == 0)
            continue;
        if (entry.staleAt > now) {
            entry.queuedFor = entry.staleAt;
            staleness.insert({entry.queuedFor, &entry});
            continue;
        }
        entry.isStale = true;
        if (entry.isServed)
            show(entry);
    }
}

void SourceMount::Private::becomeLate(Write &write)
{
    write.isLate = true;
    if (++write.entry->details->lateWrites == 1)
        show(*write.entry);
}

void SourceMount::Private::expire(quint64 id, Decisions *decisions)
{
    const Write &write = writes.at(id);
    const Entry &entry = *write.entry;
    const SourceKeyword &keyword = entry.details->keyword;
    if (!write.isAnswered || keyword.confirmation != SourceKeyword::Confirmation::Readback) {
        ++counts.unconfirmedWrites;
        settle(id, false, QStringLiteral("not acknowledged in time; the outcome is unknown"),
               decisions);
        return;
    }
    // The device may have skipped this value, and reported that of a later write.
    const QVariant current = server->value(entry.path);
    const std::vector<quint64> &pending = entry.details->writes;
    const bool isOvertaken =
        entry.isShownOnline && std::any_of(pending.begin(), pending.end(), [&](quint64 other) {
            return other >= id && isReadbackOf(current, keyword, writes.at(other).target);
        });
    if (!isOvertaken)
        ++counts.unconfirmedWrites;
    settle(id, isOvertaken, QStringLiteral("no readback of the value in time"), decisions);
}

} // namespace pellix::gateway
