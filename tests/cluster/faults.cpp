// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Faults: gateways and nodes that fail and return.

#include "tests/cluster/plant.h"
#include "tests/cluster/scenarios.h"
#include "tests/cluster/site.h"
#include "tests/soak/report.h"

#include <QtCore/QJsonArray>

#include <algorithm>
#include <cmath>

namespace {

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

template <typename Value> Value orElse(Value value, Value standard)
{
    return value > 0 ? value : standard;
}

qint64 percentile(QList<qint64> values, double share)
{
    if (values.isEmpty())
        return -1;
    std::sort(values.begin(), values.end());
    return values.at(qsizetype(std::ceil(share * double(values.size()))) - 1);
}

// The highest number of events in a tenth of a second after a moment, and the average number per
// tenth of a second while they last.
struct Density
{
    explicit Density(const QList<qint64> &times, qint64 from)
    {
        QHash<qint64, int> bins;
        qint64 latest = 0;
        for (const qint64 time : times) {
            most = qMax(most, ++bins[(time - from) / 100]);
            latest = qMax(latest, (time - from) / 100);
        }
        // At least one second, because a retry takes place within one.
        average = double(times.size()) / double(qMax<qint64>(10, latest + 1));
    }
    int most = 0;
    double average = 0;
};

// Tests one kind of screens, while the gateway of half of them is killed.
bool killUnder(Site *site, const ScreensOptions &options, qint64 finalValue, QJsonObject *figures)
{
    Report *const report = site->report;
    Screens screens(site->cluster, options);
    if (!screens.start() || !waitUntil([&] { return screens.live() == options.screens; }, 120000))
        return site->fail(q("%1 of %2 screens are live").arg(screens.live()).arg(options.screens));
    site->publish(options.keywords); // 1 Hz per keyword
    pause(2000);

    const qint64 killed = plant::now();
    QJsonArray timeline;
    const auto sample = [&] {
        timeline.append(QJsonArray {double(plant::now() - killed) / 1000, screens.live()});
    };
    sample();
    site->cluster.killGateway(0);
    qint64 lastSample = killed;
    const bool isBack = waitUntil([&] {
        const qint64 now = plant::now();
        if (now - lastSample >= 20) {
            lastSample = now;
            sample();
        }
        return now - killed > 3000 && screens.live() == options.screens;
    });
    sample();

    QList<qint64> downTimes;
    QList<qint64> connects;
    for (const Screens::Course &course : screens.courses()) {
        if (course.lost.isEmpty())
            continue;
        if (course.right.size() > course.lost.size())
            downTimes.append(course.right.constLast() - killed);
        for (const qint64 time :
             options.kind == q("connection") ? course.tried : course.connected) {
            if (time > killed)
                connects.append(time);
        }
    }
    const Density density(connects, killed);
    if (!isBack)
        return site->fail(q("%1 of %2 screens are live after the gateway's death")
                              .arg(screens.live())
                              .arg(options.screens));
    if (downTimes.isEmpty())
        return site->fail(q("no screen was connected to the gateway that died"));

    // The other screens were not affected, and all of them end with the correct values.
    if (!site->publishLast(finalValue))
        return site->fail(q("the last values are not acknowledged"));
    Screens::Report told;
    const bool isRight = waitUntil([&] {
        told = screens.report(finalValue);
        return told.wrong == 0;
    });
    const qint64 p50 = percentile(downTimes, 0.5);
    const qint64 p99 = percentile(downTimes, 0.99);
    report->line("  ", options.kind, ": ", downTimes.size(), " of ", options.screens,
                 " screens lost their gateway; right on another after p50 ", p50, " ms, p99 ", p99,
                 " ms, at most ", percentile(downTimes, 1), " ms (goal: p99 <= 2500 ms)");
    report->line("    ", options.kind == q("connection") ? "attempts" : "connections made", ": ",
                 density.most, " in the fullest 100 ms, ", QString::number(density.average, 'f', 1),
                 " on average, ratio ", QString::number(density.most / density.average, 'f', 2),
                 options.kind == q("connection") ? " (goal: <= 2)" : "");
    report->line("    values that went back: ", told.stepsBack, "; wrong at the end: ", told.wrong);
    *figures = {{q("lost"), downTimes.size()},
                {q("p50Ms"), p50},
                {q("p99Ms"), p99},
                {q("mostMs"), percentile(downTimes, 1)},
                {q("mostConnectsIn100Ms"), density.most},
                {q("averageConnectsIn100Ms"), density.average},
                {q("stepsBack"), told.stepsBack},
                {q("wrongAtTheEnd"), told.wrong},
                {q("secondsLiveScreens"), timeline}};
    if (!isRight)
        return site->fail(q("%1 values on screens stay wrong").arg(told.wrong));
    return told.stepsBack == 0 || site->fail(q("screens showed older values after newer ones"));
}

struct Fault
{
    const char *name;
    void (*begin)(Cluster *cluster);
    bool (*end)(Cluster *cluster);
    bool hasLinks;
};

// Publishes at all nodes during a fault of one node, and for a moment after it. Then compares the
// values at each gateway with the acknowledged ones.
bool runFault(const Fault &fault, const ScenarioOptions &options, Report *report)
{
    Site::Options siteOptions;
    siteOptions.keywords = options.keywords.value(0, 1200);
    siteOptions.cluster.gateways = options.hasBrokersAlone ? 0 : options.gateways.value(0, 3);
    siteOptions.cluster.resync = orElse(options.resync, 2.0);
    siteOptions.cluster.hasLinks = fault.hasLinks;
    const double rate = siteOptions.keywords * options.rates.value(0, 0.2);
    const int seconds = orElse(options.seconds, 12);
    Site site(siteOptions, report);
    if (!site.start())
        return false;
    report->line(fault.name, ": ", siteOptions.keywords, " keywords, ", rate,
                 " values/s, QoS 1, at all three nodes; ", siteOptions.cluster.gateways,
                 " gateways, resync ", siteOptions.cluster.resync, " s");
    site.publish(rate);
    pause(2000);
    const qint64 before = site.acknowledgedCount;

    QJsonArray timeline;
    const qint64 begun = plant::now();
    QTimer sampling;
    QObject::connect(&sampling, &QTimer::timeout, &site.cluster, [&] {
        int wrong = 0;
        int offline = 0;
        for (const auto &inspector : site.inspectors) {
            wrong += inspector->wrong(250);
            offline += inspector->offline();
        }
        timeline.append(QJsonArray {double(plant::now() - begun) / 1000, wrong, offline,
                                    double(site.acknowledgedCount - before)});
    });
    sampling.start(50);

    fault.begin(&site.cluster);
    pause(qint64(seconds) * 1000);
    const qint64 during = site.acknowledgedCount - before;
    if (!fault.end(&site.cluster))
        return site.fail(site.cluster.error());
    const qint64 ended = plant::now();
    for (const auto &inspector : site.inspectors)
        inspector->faultEnd = ended;
    pause(3000);
    site.publish(0);
    if (!site.settle())
        return site.fail(q("values are not acknowledged for a minute after the fault"));
    const qint64 settled = plant::now();
    waitUntil([&] { return site.missing() == 0; }, 20000);
    const qint64 right = plant::now();
    if (isInterrupted)
        return false;
    waitUntil([&] {
        for (int i = 0; i < Cluster::nodeCount; ++i) {
            if (!site.cluster.isNodeHealthy(i))
                return false;
        }
        return true;
    });

    // Without our own programs: the values that each node delivers to a new subscriber. The node
    // may still be catching up.
    int lostByEngine = 0;
    std::vector<qint64> kept;
    waitUntil([&] { return site.isKept(&lostByEngine, &kept); }, 30000);
    sampling.stop();
    // By now, outdated values that gateways received from lagging nodes have been corrected.
    const bool isAsKept = waitUntil([&] { return site.missing(kept) == 0; });

    const double goal = siteOptions.cluster.resync * 1000 + 1000;
    QJsonArray gateways;
    report->line("  acknowledged: ", site.acknowledgedCount - before, ", of these ", during,
                 " during the fault; in the end missing at gateways: ", site.missing(),
                 "; at nodes, for a bare subscriber: ", lostByEngine);
    report->line("  the fault ended after ", ended - begun, " ms; everything acknowledged ",
                 settled - ended, " ms, and right everywhere ", right - ended, " ms later");
    for (const auto &inspector : site.inspectors) {
        report->line("  ", inspector->objectName(), ": longest wrong value shown as of now ",
                     inspector->longestWrong, " ms, counted from the end of the fault ",
                     inspector->longestWrongAfter, " ms (goal: <= ", goal,
                     " ms); longer than 1 s: ", inspector->lateValues,
                     "; values that went back: ", inspector->stepsBack,
                     "; missing: ", inspector->missing());
        gateways.append(QJsonObject {{q("longestWrongMs"), inspector->longestWrong},
                                     {q("longestWrongAfterMs"), inspector->longestWrongAfter},
                                     {q("longerThanASecond"), inspector->lateValues},
                                     {q("stepsBack"), inspector->stepsBack},
                                     {q("missing"), inspector->missing()}});
    }
    report->figures = {{q("scenario"), q(fault.name)},
                       {q("keywords"), siteOptions.keywords},
                       {q("valuesPerSecond"), rate},
                       {q("resyncSeconds"), siteOptions.cluster.resync},
                       {q("faultMs"), ended - begun},
                       {q("acknowledged"), site.acknowledgedCount - before},
                       {q("acknowledgedDuringFault"), during},
                       {q("settledMs"), settled - ended},
                       {q("rightMs"), right - ended},
                       {q("lostByEngine"), lostByEngine},
                       {q("missingAtGateways"), site.missing()},
                       {q("firstValuesLostByEngine"), site.firstValuesLost},
                       {q("gateways"), gateways},
                       {q("secondsWrongOfflineAcknowledged"), timeline}};
    if (!isAsKept)
        return site.fail(
            q("gateways do not show what the brokers have: %1 values").arg(site.missing(kept)));
    if (lostByEngine == 0)
        return true;
    // A gateway cannot show values that the nodes have lost.
    report->line("  nats-server itself has lost acknowledged values: ", lostByEngine,
                 " at all nodes together");
    report->figures.insert(q("failed"), q("nats-server has lost acknowledged values"));
    return options.mayEngineLose;
}

} // namespace

bool runGatewayDies(const ScenarioOptions &options, Report *report)
{
    Site::Options siteOptions;
    siteOptions.keywords = options.keywords.value(0, 1000);
    siteOptions.cluster.gateways = qMax(2, options.gateways.value(0, 2));
    siteOptions.cluster.resync = options.resync;
    ScreensOptions screens;
    screens.screens = options.screens.value(0, 500);
    screens.keywordsEach = orElse(options.keywordsEach, 100);
    screens.keywords = siteOptions.keywords;
    Site site(siteOptions, report);
    if (!site.start())
        return false;
    report->line("gateway-dies: ", screens.screens, " screens of ", screens.keywordsEach,
                 " keywords, ", siteOptions.cluster.gateways, " gateways; ", siteOptions.keywords,
                 " keywords change each second");
    report->figures = {{q("scenario"), q("gateway-dies")},
                       {q("screens"), screens.screens},
                       {q("keywordsEach"), screens.keywordsEach},
                       {q("gateways"), siteOptions.cluster.gateways}};
    qint64 finalValue = 0;
    for (const char *const kind : {"client", "connection"}) {
        screens.kind = q(kind);
        finalValue += 1000000;
        QJsonObject figures;
        const bool isWell = killUnder(&site, screens, finalValue, &figures);
        report->figures.insert(q(kind), figures);
        if (!isWell)
            return false;
        if (!site.cluster.startGateway(0) || !waitUntil([&] {
                return site.cluster.readyServers() == siteOptions.cluster.gateways;
            }))
            return site.fail(q("the gateway does not come back"));
    }
    return true;
}

bool runNodeDies(const ScenarioOptions &options, Report *report)
{
    constexpr int victim = 1; // has a gateway and a device
    return runFault({"node-dies", [](Cluster *cluster) { cluster->killNode(victim); },
                     [](Cluster *cluster) { return cluster->startNode(victim); }, false},
                    options, report);
}

bool runNodePartitioned(const ScenarioOptions &options, Report *report)
{
    return runFault({"node-partitioned", [](Cluster *cluster) { cluster->cutLastNode(); },
                     [](Cluster *cluster) {
                         cluster->healLastNode();
                         return true;
                     },
                     true},
                    options, report);
}

bool runUpgrade(const ScenarioOptions &options, Report *report)
{
    Site::Options siteOptions;
    siteOptions.keywords = options.keywords.value(0, 1000);
    siteOptions.cluster.gateways = qMax(2, options.gateways.value(0, 2));
    siteOptions.cluster.resync = orElse(options.resync, 2.0);
    ScreensOptions screenOptions;
    screenOptions.kind = q("client");
    screenOptions.screens = options.screens.value(0, 100);
    screenOptions.keywordsEach = orElse(options.keywordsEach, 100);
    screenOptions.keywords = siteOptions.keywords;
    const double rate = options.rates.value(0, 0.5) * siteOptions.keywords;
    Site site(siteOptions, report);
    if (!site.start())
        return false;
    Screens screens(site.cluster, screenOptions);
    if (!screens.start()
        || !waitUntil([&] { return screens.live() == screenOptions.screens; }, 120000))
        return site.fail(q("%1 screens are live").arg(screens.live()));
    site.publish(rate);
    const qint64 begun = plant::now();
    for (int i = 0; i < site.cluster.gatewayCount(); ++i) {
        const QByteArray server = "gateways/g" + QByteArray::number(i + 1);
        site.cluster.tellBalancer("set server " + server + " state drain");
        pause(300);
        if (!site.cluster.terminateGateway(i))
            return site.fail(q("gateway %1 does not end").arg(i + 1));
        if (!site.cluster.startGateway(i)
            || !waitUntil([&] { return site.cluster.isGatewayReady(i); }))
            return site.fail(q("gateway %1 does not come back").arg(i + 1));
        site.cluster.tellBalancer("set server " + server + " state ready");
        if (!waitUntil([&] {
                return site.cluster.readyServers() == site.cluster.gatewayCount()
                    && screens.live() == screenOptions.screens;
            }))
            return site.fail(
                q("%1 screens are live after gateway %2").arg(screens.live()).arg(i + 1));
    }
    const qint64 ended = plant::now();
    constexpr qint64 finalValue = 1000000;
    if (!site.publishLast(finalValue))
        return site.fail(q("the last values are not acknowledged"));
    Screens::Report told;
    const bool isRight = waitUntil([&] {
        told = screens.report(finalValue);
        return told.wrong == 0 && site.missing() == 0;
    });
    QList<qint64> downTimes;
    int losses = 0;
    for (const Screens::Course &course : screens.courses()) {
        for (qsizetype i = 0; i < course.lost.size() && i + 1 < course.right.size(); ++i)
            downTimes.append(course.right.at(i + 1) - course.lost.at(i));
        losses += int(course.lost.size());
    }
    qint64 longestWrong = 0;
    for (const auto &inspector : site.inspectors)
        longestWrong = qMax(longestWrong, inspector->longestWrong);
    report->line("upgrade: ", site.cluster.gatewayCount(),
                 " gateways restarted one after the other in ", ended - begun, " ms under ", rate,
                 " values/s; ", screenOptions.screens, " screens lost a gateway ", losses,
                 " times and were live again after p50 ", percentile(downTimes, 0.5), " ms, p99 ",
                 percentile(downTimes, 0.99), " ms");
    report->line("  values that went back: ", told.stepsBack, "; wrong at the end: ", told.wrong,
                 "; missing at gateways: ", site.missing(),
                 "; longest wrong value shown as of now: ", longestWrong, " ms");
    report->figures = {{q("scenario"), q("upgrade")},
                       {q("screens"), screenOptions.screens},
                       {q("gateways"), site.cluster.gatewayCount()},
                       {q("valuesPerSecond"), rate},
                       {q("totalMs"), ended - begun},
                       {q("losses"), losses},
                       {q("p50Ms"), percentile(downTimes, 0.5)},
                       {q("p99Ms"), percentile(downTimes, 0.99)},
                       {q("stepsBack"), told.stepsBack},
                       {q("wrongAtTheEnd"), told.wrong},
                       {q("longestWrongMs"), longestWrong}};
    if (!isRight)
        return site.fail(q("%1 values on screens stay wrong").arg(told.wrong));
    return told.stepsBack == 0 || site.fail(q("screens showed older values after newer ones"));
}
