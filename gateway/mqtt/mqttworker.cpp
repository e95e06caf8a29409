// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/mqttworker.h"

#include "gateway/mqtt/topicsync.h"

#include <QtCore/QDateTime>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTimer>

#include <algorithm>
#include <iterator>
#include <utility>

namespace pellix::gateway {

namespace {

Q_LOGGING_CATEGORY(lcMqttSource, "pellixclient.gateway.mqtt", QtInfoMsg)

using namespace std::chrono_literals;

constexpr qsizetype mostValues = 20000; // waiting values, beyond which older ones are dropped
constexpr int enoughQuietAnswers = 2;
constexpr auto longestSubscribing = 30s; // for a broker whose retained messages do not end
constexpr std::chrono::milliseconds settlingTime(TopicSync::settlingTime);

MappingOptions withResync(MappingOptions mapping, bool isResynced)
{
    mapping.isResynced = isResynced;
    return mapping;
}

QString refusalText(const QByteArrayList &filters)
{
    const QString text = QStringLiteral("the broker refuses the subscription to ")
        + QString::fromUtf8(filters.constFirst());
    return filters.size() == 1 ? text
                               : text + QStringLiteral(", and %1 others").arg(filters.size() - 1);
}

} // namespace

bool MqttNews::add(Item item)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (item.kind == Item::Kind::Reports && !items.empty()
        && items.back().kind == Item::Kind::Reports) {
        ReportList &waiting = items.back().reports;
        waiting.append(std::move(item.reports));
        if (waiting.valueCount() > qMax(mostValues, compactAt)) {
            waiting.compact();
            compactAt = 2 * waiting.valueCount();
        }
    } else {
        items.push_back(std::move(item));
    }
    return !std::exchange(isTold, true);
}

std::optional<MqttNews::Item> MqttNews::take(qsizetype most)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (items.empty()) {
        isTold = false;
        compactAt = 0;
        return std::nullopt;
    }
    Item &next = items.front();
    if (next.kind != Item::Kind::Reports) {
        Item item = std::move(next);
        items.pop_front();
        return item;
    }
    Item item;
    item.report = next.reports.takeSlice(most);
    if (next.reports.isEmpty())
        items.pop_front();
    return item;
}

MqttWorker::MqttWorker(const MqttOptions &options, int qos, const MappingOptions &mapping,
                       const std::shared_ptr<MqttNews> &news)
    : link(new MqttLink(options, this)), expiry(new QTimer(this)), resyncTimer(new QTimer(this)),
      retryTimer(new QTimer(this)),
      mapping(std::make_unique<TopicMapping>(withResync(mapping, options.resync.count() > 0))),
      news(news), name(options.name), resyncPeriod(options.resync), qos(qos)
{
    expiry->setSingleShot(true);
    resyncTimer->setSingleShot(true);
    retryTimer->setInterval(options.retryRefused);
    clock.start();
    link->setMessageHandler([this](const MqttMessage &message) { takeMessage(message); });
    connect(link, &MqttLink::stateChanged, this, &MqttWorker::onStateChanged);
    connect(link, &MqttLink::failed, this, [this] { setState(state); }); // with the new reason
    connect(link, &MqttLink::subscribed, this, &MqttWorker::onSubscribed);
    connect(link, &MqttLink::answered, this, &MqttWorker::onAnswered);
    connect(link, &MqttLink::readingPaused, this, &MqttWorker::flush);
    connect(link, &MqttLink::filterRefused, this, &MqttWorker::onFilterRefused);
    connect(link, &MqttLink::unheard, this, &MqttWorker::onUnheard);
    connect(link, &MqttLink::published, this,
            [this](quint64 id, MqttLink::Outcome outcome, const QString &reason) {
                answer(id,
                       outcome == MqttLink::Outcome::Acknowledged  ? Source::Outcome::Accepted
                           : outcome == MqttLink::Outcome::Refused ? Source::Outcome::Refused
                                                                   : Source::Outcome::Unknown,
                       reason);
            });
    connect(expiry, &QTimer::timeout, this, &MqttWorker::flush);
    connect(resyncTimer, &QTimer::timeout, this, &MqttWorker::resync);
    connect(retryTimer, &QTimer::timeout, this, &MqttWorker::retryRefused);
}

MqttWorker::~MqttWorker() = default;

void MqttWorker::add(MqttNews::Item item)
{
    if (news->add(std::move(item)))
        Q_EMIT newsAdded();
}

// Everything that was known before is reported first.
void MqttWorker::setState(Source::State next)
{
    flush();
    state = next;
    MqttNews::Item item;
    item.kind = MqttNews::Item::Kind::State;
    item.state = next;
    if (next == Source::State::Connecting || next == Source::State::Lost)
        item.reason = link->reason();
    else if (next != Source::State::Stopped && !refusedFilters.isEmpty())
        item.reason = refusalText(refusedFilters);
    else if (next == Source::State::Subscribing)
        item.reason = QStringLiteral("waiting for the retained messages of the broker");
    add(std::move(item));
}

void MqttWorker::answer(quint64 id, Source::Outcome outcome, const QString &reason)
{
    flush(); // everything reported earlier is delivered before the answer
    MqttNews::Item item;
    item.kind = MqttNews::Item::Kind::Answer;
    item.write = id;
    item.outcome = outcome;
    item.reason = reason;
    add(std::move(item));
}

void MqttWorker::start()
{
    setState(Source::State::Connecting);
    link->open();
    flush();
}

void MqttWorker::stop()
{
    link->close();
    setState(Source::State::Stopped);
    expiry->stop(); // must be stopped in its own thread
    resyncTimer->stop();
    retryTimer->stop();
}

void MqttWorker::onStateChanged(MqttLink::State linkState)
{
    switch (linkState) {
    case MqttLink::State::Closed:
        break;
    case MqttLink::State::Connecting:
        resyncTimer->stop();
        isResyncing = false;
        retryTimer->stop();
        if (state == Source::State::Subscribing || state == Source::State::Ready)
            setState(Source::State::Lost);
        break;
    case MqttLink::State::Connected:
        ++news->counters.connections;
        refusedFilters.clear();
        retriedFilters.clear();
        mapping->beginConnection();
        fresh = 0;
        quietAnswers = 0;
        asked = 0;
        subscribing.start();
        mapping->takeNewFilters(); // the subscription below includes all of them
        mapping->takeOldFilters();
        setState(Source::State::Subscribing);
        subscribe(mapping->filters());
        break;
    }
}

void MqttWorker::subscribe(const QByteArrayList &filters, MqttLink::Retained retained)
{
    for (const QByteArray &filter : filters) {
        if (refusedFilters.removeOne(filter))
            retriedFilters.append(filter);
    }
    link->subscribe(filters, qos, retained);
}

// A refusal is logged once, regardless of how often the subscription is requested.
void MqttWorker::onFilterRefused(const QByteArray &filter, const QString &reason)
{
    const bool isKnown = retriedFilters.removeOne(filter) || refusedFilters.contains(filter);
    if (!refusedFilters.contains(filter))
        refusedFilters.append(filter);
    if (isKnown)
        return;
    qCWarning(lcMqttSource).noquote() << name
            + QStringLiteral(": the broker refuses the subscription to ")
            + QString::fromUtf8(filter) + QStringLiteral(": ") + reason;
}

// Usually, the topic is misspelled, or the device is not connected.
void MqttWorker::onUnheard(const QByteArray &topic)
{
    ++news->counters.unheardWrites;
    if (unheardTopics.contains(topic))
        return;
    unheardTopics.insert(topic);
    qCWarning(lcMqttSource).noquote() << name + QStringLiteral(": nobody has subscribed to ")
            + QString::fromUtf8(topic)
            + QStringLiteral(", so the write reaches no device; later ones are only counted");
}

// Called when the reply to each subscription is known.
void MqttWorker::tellRefusals()
{
    const QByteArrayList granted = std::exchange(retriedFilters, {});
    for (const QByteArray &filter : granted) {
        qCInfo(lcMqttSource).noquote() << name
                + QStringLiteral(": the broker now accepts the subscription to ")
                + QString::fromUtf8(filter);
    }
    if (refusedFilters.isEmpty())
        retryTimer->stop();
    else if (!retryTimer->isActive())
        retryTimer->start();
    if (refusedFilters == toldRefusals)
        return;
    toldRefusals = refusedFilters;
    news->counters.refusedFilters = quint64(refusedFilters.size());
    if (state == Source::State::Ready)
        setState(state); // with the new reason
}

// They are no longer needed.
void MqttWorker::forgetRefusals(const QByteArrayList &filters)
{
    for (const QByteArray &filter : filters) {
        refusedFilters.removeOne(filter);
        retriedFilters.removeOne(filter);
    }
}

void MqttWorker::retryRefused()
{
    if (!isResyncing) // which requests them, too
        subscribe(QByteArrayList(refusedFilters));
}

// The protocol does not indicate the last retained message. However, a broker replies in order: if
// it has replied twice with no new message in between, there are no more.
void MqttWorker::onSubscribed()
{
    tellRefusals();
    if (!isResyncing && state != Source::State::Subscribing)
        return;
    if (!isResyncing && !refusedFilters.isEmpty()
        && refusedFilters.size() >= mapping->filters().size()) {
        setState(state); // there is nothing to wait for
        return;
    }
    quietAnswers = 0;
    asked = link->askForAnswer();
}

void MqttWorker::onAnswered(int number)
{
    const bool isWaiting = isResyncing || state == Source::State::Subscribing;
    if (!isWaiting || number != asked)
        return;
    const quint64 came = std::exchange(isResyncing ? copies : fresh, 0);
    quietAnswers = came == 0 ? quietAnswers + 1 : 0;
    const bool isLate =
        subscribing.hasExpired(std::chrono::milliseconds(longestSubscribing).count());
    if (quietAnswers < enoughQuietAnswers && !isLate) {
        asked = link->askForAnswer();
        return;
    }
    asked = 0;
    if (isResyncing) {
        endResync();
        return;
    }
    setState(Source::State::Ready);
    if (resyncPeriod.count() > 0) {
        syncedAt = QDateTime::currentMSecsSinceEpoch();
        isFirstResync = true;
        resyncTimer->start(qMin(settlingTime, resyncPeriod));
    }
}

// A cluster may not have had all messages when they were subscribed to, and may lose messages in
// transit when a node fails. What it retains is correct in the end, and a repeated subscription
// requests it again.
void MqttWorker::resync()
{
    if (state != Source::State::Ready || isResyncing)
        return;
    const bool isDue = isFirstResync || untilResync().count() <= 0;
    if (!isDue && !mapping->hasDoubts()) { // newer messages have removed the doubts
        resyncTimer->start(qMax(untilResync(), 1ms));
        return;
    }
    if (isDue)
        sinceResync.start();
    isFirstResync = false;
    isResyncing = true;
    copies = 0;
    recovered = mapping->statistics().recovered;
    resyncStart = QDateTime::currentMSecsSinceEpoch();
    subscribing.start();
    subscribe(mapping->filters(), MqttLink::Retained::SentAgain);
}

std::chrono::milliseconds MqttWorker::untilResync() const
{
    return resyncPeriod - std::chrono::milliseconds(sinceResync.elapsed());
}

void MqttWorker::endResync()
{
    isResyncing = false;
    syncedAt = resyncStart;
    if (link->version() == 5)
        subscribe(mapping->filters(), MqttLink::Retained::NotSent);
    const auto next = mapping->hasDoubts() ? qMin(settlingTime, untilResync()) : untilResync();
    resyncTimer->start(qMax(next, 1ms));
    const quint64 missed = mapping->statistics().recovered - recovered;
    if (missed > 0) {
        qCInfo(lcMqttSource).noquote()
            << name + QStringLiteral(": a resync brought %1 that had been missed").arg(missed);
    }
}

void MqttWorker::takeMessage(const MqttMessage &message)
{
    ++messages;
    bytes += quint64(message.topic.size() + message.payload.size());
    TopicMessage topicMessage {message.topic, message.payload, message.isRetained,
                               link->version() == 5 && !isResyncing, message.expiry};
    if (resyncPeriod.count() > 0) {
        if (turn < 0)
            turn = clock.elapsed();
        topicMessage.arrival = turn;
        topicMessage.isCopy = message.isRetained
            && (state == Source::State::Subscribing || !topicMessage.isFlagExact);
        if (topicMessage.isCopy && state == Source::State::Ready)
            topicMessage.notBefore = syncedAt;
        copies += topicMessage.isCopy ? 1 : 0;
    }
    const qint64 now = message.expiry < 0 ? 0 : QDateTime::currentMSecsSinceEpoch();
    if (mapping->take(topicMessage, now))
        ++fresh;
}

void MqttWorker::subscribeNew()
{
    const QByteArrayList added = mapping->takeNewFilters();
    const QByteArrayList removed = mapping->takeOldFilters();
    if (link->state() != MqttLink::State::Connected)
        return; // all filters are subscribed to once there is a connection
    if (!removed.isEmpty()) {
        link->unsubscribe(removed);
        forgetRefusals(removed);
    }
    if (!added.isEmpty()) {
        asked = 0; // wait until the broker has granted them
        subscribe(added);
    }
}

// Called when everything that was available has been read.
void MqttWorker::flush()
{
    turn = -1;
    const qint64 next = mapping->expire(QDateTime::currentMSecsSinceEpoch());
    if (next > 0)
        expiry->start(std::chrono::milliseconds(
            qBound(qint64(1), next - QDateTime::currentMSecsSinceEpoch(), qint64(3600000))));
    if (mapping->hasReports()) {
        MqttNews::Item item;
        item.reports = mapping->takeReports();
        add(std::move(item));
    }
    const QStringList lines = mapping->takeMessages();
    for (const QString &line : lines)
        qCInfo(lcMqttSource).noquote() << name + QStringLiteral(": ") + line;
    news->counters.messages += std::exchange(messages, 0);
    news->counters.bytes += std::exchange(bytes, 0);
    const TopicMapping::Statistics counts = mapping->statistics();
    news->counters.unreadable = counts.unreadable;
    news->counters.misfits = counts.misfits;
    news->counters.conflicts = counts.collisions;
    news->counters.skipped = counts.skipped;
    subscribeNew();
}

// Keeps the connection. The retained messages are requested again, as they may now have another
// meaning.
void MqttWorker::setMapping(const MappingOptions &options, int newQos)
{
    flush();
    auto next = std::make_unique<TopicMapping>(withResync(options, resyncPeriod.count() > 0));
    next->takeOver(*mapping);
    const QByteArrayList before = mapping->filters();
    const QByteArrayList after = next->filters();
    mapping = std::move(next);
    mapping->takeNewFilters();
    qos = newQos;
    if (link->state() == MqttLink::State::Connected) {
        QByteArrayList removed;
        std::copy_if(before.begin(), before.end(), std::back_inserter(removed),
                     [&after](const QByteArray &filter) { return !after.contains(filter); });
        link->unsubscribe(removed);
        forgetRefusals(removed);
        isResyncing = false;
        subscribe(after);
    }
    flush();
}

void MqttWorker::write(const SourceWrite &write)
{
    QString reason;
    if (link->state() != MqttLink::State::Connected) {
        answer(write.id, Source::Outcome::Refused,
               QStringLiteral("there is no connection to the broker"));
        return;
    }
    const std::optional<TopicCommand> command = mapping->command(write, &reason);
    if (!command) {
        answer(write.id, Source::Outcome::Refused, reason);
        return;
    }
    ++news->counters.writes;
    link->publish(write.id, command->topic, command->payload, command->qos, command->validFor);
}

QList<ServedTopic> MqttWorker::served() const
{
    return mapping->served();
}

} // namespace pellix::gateway
