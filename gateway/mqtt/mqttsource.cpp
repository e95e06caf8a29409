// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/mqttsource.h"

#include "gateway/mqtt/mqttworker.h"

#include <QtCore/QPointer>
#include <QtCore/QThread>

#include <utility>

namespace pellix::gateway {

namespace {

constexpr qsizetype sliceSize = 1000; // keywords per slice; other work is done between slices

} // namespace

class MqttSource::Private
{
public:
    explicit Private(MqttSource *q) : q(q) { }

    void drain();
    bool takeOne(qsizetype most);
    void take(const MqttNews::Item &item);

    MqttSource *const q;
    MqttOptions options;
    MappingOptions mapping;
    int qos = 0;
    State state = State::Stopped;
    QString reason;
    std::shared_ptr<MqttNews> news;
    std::unique_ptr<MqttWorker> worker;
    QThread thread;
};

MqttSource::MqttSource(const MqttOptions &options, const MappingOptions &mapping, int qos,
                       QObject *parent)
    : Source(parent), d(std::make_unique<Private>(this))
{
    d->options = options;
    d->mapping = mapping;
    d->qos = qos;
    d->news = std::make_shared<MqttNews>();
    d->thread.setObjectName(QStringLiteral("mqtt"));
}

MqttSource::~MqttSource()
{
    disconnect();
    MqttSource::stop();
}

void MqttSource::start()
{
    if (d->worker)
        return;
    d->worker = std::make_unique<MqttWorker>(d->options, d->qos, d->mapping, d->news);
    d->worker->moveToThread(&d->thread);
    connect(d->worker.get(), &MqttWorker::newsAdded, this, [this] { d->drain(); });
    d->thread.start();
    QMetaObject::invokeMethod(
        d->worker.get(), [worker = d->worker.get()] { worker->start(); }, Qt::QueuedConnection);
}

// The worker never blocks for long, regardless of its broker.
void MqttSource::stop()
{
    if (!d->worker)
        return;
    QMetaObject::invokeMethod(
        d->worker.get(), [this] { d->worker->stop(); }, Qt::BlockingQueuedConnection);
    d->thread.quit();
    d->thread.wait();
    d->worker.reset();
    const QPointer<MqttSource> self(this);
    while (self && !d->worker && d->takeOne(sliceSize)) { }
}

Source::State MqttSource::state() const
{
    return d->state;
}

QString MqttSource::reason() const
{
    return d->reason;
}

Source::Statistics MqttSource::statistics() const
{
    const MqttNews::Counters &counters = d->news->counters;
    Statistics result;
    result.messages = counters.messages;
    result.bytes = counters.bytes;
    result.writes = counters.writes;
    result.unheardWrites = counters.unheardWrites;
    result.unreadable = counters.unreadable;
    result.misfits = counters.misfits;
    result.conflicts = counters.conflicts;
    result.skipped = counters.skipped;
    result.connections = counters.connections;
    result.refusedFilters = counters.refusedFilters;
    return result;
}

void MqttSource::write(const SourceWrite &write)
{
    if (d->worker) {
        QMetaObject::invokeMethod(
            d->worker.get(), [worker = d->worker.get(), write] { worker->write(write); },
            Qt::QueuedConnection);
        return;
    }
    QMetaObject::invokeMethod(
        this,
        [this, id = write.id] {
            Q_EMIT writeAnswered(id, Outcome::Refused, QStringLiteral("the source is stopped"));
        },
        Qt::QueuedConnection);
}

void MqttSource::setMapping(const MappingOptions &mapping, int qos)
{
    d->mapping = mapping;
    d->qos = qos;
    if (d->worker) {
        QMetaObject::invokeMethod(
            d->worker.get(),
            [worker = d->worker.get(), mapping, qos] { worker->setMapping(mapping, qos); },
            Qt::QueuedConnection);
    }
}

QList<ServedTopic> MqttSource::served() const
{
    if (!d->worker)
        return {};
    QList<ServedTopic> result;
    QMetaObject::invokeMethod(
        d->worker.get(), [this, &result] { result = d->worker->served(); },
        Qt::BlockingQueuedConnection);
    return result;
}

// Called once per turn of the event loop, so that many keywords do not block everything else.
void MqttSource::Private::drain()
{
    const QPointer<MqttSource> self(q);
    for (qsizetype left = sliceSize; left > 0;) {
        const std::optional<MqttNews::Item> item = news->take(left);
        if (!item)
            return;
        left -= 1 + item->report.removed.size() + item->report.declared.size()
            + item->report.values.size();
        take(*item);
        if (!self)
            return;
    }
    QMetaObject::invokeMethod(
        q, [this] { drain(); }, Qt::QueuedConnection);
}

bool MqttSource::Private::takeOne(qsizetype most)
{
    const std::optional<MqttNews::Item> item = news->take(most);
    if (item)
        take(*item);
    return item.has_value();
}

void MqttSource::Private::take(const MqttNews::Item &item)
{
    switch (item.kind) {
    case MqttNews::Item::Kind::Reports:
        Q_EMIT q->reported(item.report);
        break;
    case MqttNews::Item::Kind::Answer:
        Q_EMIT q->writeAnswered(item.write, item.outcome, item.reason);
        break;
    case MqttNews::Item::Kind::State:
        reason = item.reason;
        if (std::exchange(state, item.state) != item.state)
            Q_EMIT q->stateChanged(state);
        break;
    }
}

} // namespace pellix::gateway
