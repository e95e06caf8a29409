// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/cluster/site.h"

#include "tests/cluster/plant.h"
#include "tests/soak/report.h"

using namespace std::chrono_literals;

Site::Site(const Options &options, Report *report)
    : options(options), report(report), cluster(options.cluster),
      acknowledged(size_t(options.keywords), 0)
{
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &cluster, [this] { tick(); });
}

Site::~Site()
{
    timer.stop();
}

bool Site::fail(const QString &what)
{
    if (isInterrupted)
        return false;
    report->line("failed: ", what);
    report->line(QString::fromUtf8(cluster.logs()));
    report->figures.insert(QStringLiteral("failed"), what);
    return false;
}

bool Site::meets(const Goals &goals)
{
    return goals.missed().isEmpty()
        || fail(QStringLiteral("goals missed: ") + goals.missed().join(QStringLiteral("; ")));
}

// There is one device for each node, regardless of the number of gateways.
bool Site::start()
{
    if (!cluster.start())
        return fail(cluster.error());
    for (int node = 0; node < Cluster::nodeCount; ++node) {
        const int first = options.keywords * node / Cluster::nodeCount;
        const int end = options.keywords * (node + 1) / Cluster::nodeCount;
        publishers.push_back(
            std::make_unique<Publisher>(cluster.brokerPort(node), first, end - first));
    }
    timer.start(10ms);
    // A new cluster may acknowledge a value that it does not keep.
    for (int i = 0;; ++i) {
        if (!publishLast(1))
            return fail(QStringLiteral("the first values are not acknowledged"));
        int lost = 0;
        if (waitUntil([&] { return (lost = kept().missing) == 0; }, 15000))
            break;
        if (isInterrupted || i == 5)
            return fail(QStringLiteral("the brokers do not keep the first values"));
        firstValuesLost += lost;
    }
    if (firstValuesLost > 0)
        report->line("nats-server had acknowledged ", firstValuesLost,
                     " first values that it did not keep");
    if (!cluster.startGateways())
        return fail(cluster.error());
    for (int i = 0; i < cluster.gatewayCount() && options.isInspected; ++i) {
        inspectors.push_back(std::make_unique<Inspector>(QStringLiteral("gateway %1").arg(i + 1),
                                                         cluster.gatewayPort(i), options.keywords,
                                                         [this](int k) { return lastSent(k); }));
        for (int keyword = 0; keyword < options.keywords; ++keyword)
            inspectors.back()->noteAcknowledged(keyword, acknowledged[size_t(keyword)], 0);
    }
    if (options.isInspected && !waitUntil([this] { return missing() == 0; }))
        return fail(QStringLiteral("%1 first values are missing").arg(missing()));
    for (const auto &inspector : inspectors) // the measurement begins here
        inspector->restart();
    if (options.qos == 0) {
        for (const auto &publisher : publishers)
            publisher->setQos(0, false);
    }
    return true;
}

void Site::publish(double rate)
{
    perSecond = rate;
    due = 0;
    last = plant::now();
}

void Site::tick()
{
    for (const auto &publisher : publishers) {
        publisher->look();
        const auto news = publisher->takeAcknowledged();
        for (const Publisher::Acknowledged &one : news) {
            ++acknowledgedCount;
            qint64 &known = acknowledged[size_t(one.keyword)];
            known = qMax(known, one.value);
            for (const auto &inspector : inspectors)
                inspector->noteAcknowledged(one.keyword, one.value, one.time);
        }
    }
    if (perSecond <= 0)
        return;
    const qint64 now = plant::now();
    due += perSecond * double(now - std::exchange(last, now)) / 1000;
    constexpr int mostUnacknowledged = 2000; // avoids overloading a broker that hangs
    for (; due >= 1; due -= 1) {
        Publisher &publisher = *publishers[nextPublisher];
        nextPublisher = (nextPublisher + 1) % publishers.size();
        if (publisher.unacknowledged() < mostUnacknowledged)
            publisher.publishNext();
    }
}

bool Site::settle(int timeout)
{
    return waitUntil(
        [this] {
            for (const auto &publisher : publishers) {
                if (publisher->unacknowledged() > 0)
                    return false;
            }
            tick();
            return true;
        },
        timeout);
}

bool Site::publishLast(qint64 value)
{
    publish(0);
    for (const auto &publisher : publishers)
        publisher->setQos(1, true);
    for (const auto &publisher : publishers)
        publisher->publishAll(value);
    return settle(120000 + 5 * options.keywords); // the brokers store each value
}

int Site::missing(const std::vector<qint64> &kept) const
{
    int count = 0;
    for (const auto &inspector : inspectors)
        count += inspector->missing(kept);
    return count;
}

Kept Site::kept() const
{
    QList<QHash<int, qint64>> nodes;
    for (int node = 0; node < Cluster::nodeCount; ++node)
        nodes.append(retainedAt(cluster.nodePort(node), options.keywords));
    return {acknowledged, nodes};
}

qint64 Site::lastSent(int keyword) const
{
    for (const auto &publisher : publishers) {
        if (publisher->publishes(keyword))
            return publisher->sent(keyword);
    }
    return -1;
}
