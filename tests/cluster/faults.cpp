// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Faults: gateways and nodes that fail and return.

#include "tests/cluster/plant.h"
#include "tests/cluster/scenarios.h"
#include "tests/cluster/site.h"
#include "tests/soak/report.h"

#include <QtCore/QJsonArray>

namespace {

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

template <typename Value> Value orElse(Value value, Value standard)
{
    return value > 0 ? value : standard;
}

// Tests one kind of screens, all of which are connected to the gateway that is killed.
bool killUnder(Site *site, const ScreensOptions &options, double rate, qint64 finalValue,
               Goals *goals, QJsonObject *figures)
{
    Report *const report = site->report;
    constexpr int victim = 0;
    const auto drainOthers = [site](bool isDrained) {
        for (int i = 1; i < site->cluster.gatewayCount(); ++i)
            site->cluster.setDrained(i, isDrained);
    };
    Screens screens(site->cluster, options);
    drainOthers(true);
    if (!screens.start() || !waitUntil([&] { return screens.live() == options.screens; }, 120000))
        return site->fail(q("%1 of %2 screens are live").arg(screens.live()).arg(options.screens));
    site->publish(rate);
    pause(2000);
    if (!screens.setFloor(site->acknowledged))
        return site->fail(q("not all processes with screens reply"));
    drainOthers(false);

    const qint64 killed = plant::now();
    QJsonArray timeline;
    const auto sample = [&] {
        timeline.append(QJsonArray {double(plant::now() - killed) / 1000, screens.live()});
    };
    sample();
    site->cluster.killGateway(victim);
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
        if (course.lost.isEmpty() || course.lost.constLast() < killed)
            continue;
        if (course.isRight())
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

    // All of them end with the correct values.
    if (!site->publishLast(finalValue))
        return site->fail(q("the last values are not acknowledged"));
    const Screens::Report told = screens.awaitRight(finalValue);
    const qint64 p50 = percentile(downTimes, 0.5);
    const qint64 p99 = percentile(downTimes, 0.99);
    const double ratio = density.most / density.average;
    report->line("  ", options.kind, ": ", downTimes.size(), " of ", options.screens,
                 " screens lost their gateway; right on another after p50 ", p50, " ms, p99 ", p99,
                 " ms, at most ", percentile(downTimes, 1), " ms (goal: p99 <= 2500 ms)");
    report->line("    ", options.kind == q("connection") ? "attempts" : "connections made", ": ",
                 density.most, " in the fullest 100 ms, ", QString::number(density.average, 'f', 1),
                 " on average, ratio ", QString::number(ratio, 'f', 2),
                 options.kind == q("connection") ? " (goal: <= 2)" : "");
    report->line("    values that went back: ", told.stepsBack, "; wrong at the end: ", told.wrong,
                 "; values of other keywords: ", told.foreign);
    *figures = {{q("lost"), downTimes.size()},
                {q("p50Ms"), p50},
                {q("p99Ms"), p99},
                {q("mostMs"), percentile(downTimes, 1)},
                {q("mostConnectsIn100Ms"), density.most},
                {q("averageConnectsIn100Ms"), density.average},
                {q("stepsBack"), told.stepsBack},
                {q("wrongAtTheEnd"), told.wrong},
                {q("foreign"), told.foreign},
                {q("secondsLiveScreens"), timeline}};
    if (!told.isRight())
        return site->fail(told.problem());
    goals->atLeast(options.kind + q(", screens that lost their gateway"), double(downTimes.size()),
                   options.screens);
    goals->atMost(options.kind + q(", p99 in ms"), double(p99), 2500);
    if (options.kind == q("connection"))
        goals->atMost(q("ratio of the attempts"), ratio, 2);
    goals->atMost(options.kind + q(", values that went back"), double(told.stepsBack), 0);
    return true;
}

struct Fault
{
    const char *name;
    void (*begin)(Cluster *cluster);
    bool (*end)(Cluster *cluster);
    int node;
    bool hasLinks; // after a partition, values may go back
};

// Waits until the node is unavailable, and all others are available.
bool awaitLoss(const Cluster &cluster, int lost)
{
    const auto isLost = [&] {
        for (int i = 0; i < Cluster::nodeCount; ++i) {
            if (cluster.isNodeHealthy(i) == (i == lost))
                return false;
        }
        return true;
    };
    qint64 looked = 0;
    return waitUntil([&] {
        constexpr qint64 interval = 200; // because each request blocks
        if (plant::now() - looked < interval)
            return false;
        const bool result = isLost();
        looked = plant::now();
        return result;
    });
}

void setGoals(const Inspector &inspector, const Inspector::Wrongness &wrongness, double limit,
              bool mayGoBack, Goals *goals)
{
    const QString name = inspector.objectName();
    goals->atMost(name + q(", wrong after the recovery of the nodes, in ms"),
                  double(wrongness.longestRecovered), limit);
    goals->atMost(name + q(", still wrong"), wrongness.still, 0);
    goals->atMost(name + q(", never published"), double(inspector.foreign), 0);
    if (!mayGoBack)
        goals->atMost(name + q(", values that went back"), double(inspector.stepsBack), 0);
}

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
    if (!awaitLoss(site.cluster, fault.node))
        return site.fail(
            q("node %1 is not lost, or the others do not recover").arg(fault.node + 1));
    const qint64 lost = plant::now();
    pause(qMax<qint64>(0, qint64(seconds) * 1000 - (lost - begun)));
    const qint64 during = site.acknowledgedCount - before;
    if (!fault.end(&site.cluster))
        return site.fail(site.cluster.error());
    const qint64 ended = plant::now();
    for (const auto &inspector : site.inspectors)
        inspector->endFault(ended);
    // The nodes have recovered when all of them report that they are healthy, and none of them
    // reports otherwise later.
    qint64 recovered = ended;
    QTimer checking;
    QObject::connect(&checking, &QTimer::timeout, &site.cluster, [&] {
        if (site.cluster.areNodesHealthy())
            return;
        recovered = plant::now();
        for (const auto &inspector : site.inspectors)
            inspector->setRecovery(recovered);
    });
    checking.start(200);
    pause(3000);
    site.publish(0);
    if (!site.settle())
        return site.fail(q("values are not acknowledged for a minute after the fault"));
    const qint64 settled = plant::now();
    const bool isRightSoon = waitUntil([&] { return site.missing() == 0; }, 20000);
    const qint64 right = plant::now();
    if (isInterrupted)
        return false;
    waitUntil([&] { return site.cluster.areNodesHealthy(); });

    // Without our own programs: the values that each node delivers to a new subscriber. The node
    // may still be catching up.
    Kept kept;
    waitUntil([&] { return (kept = site.kept()).missing == 0; }, 30000);
    sampling.stop();
    // By now, outdated values that gateways received from lagging nodes have been corrected.
    const bool isAsKept = waitUntil([&] { return site.missing(kept.expected) == 0; });
    checking.stop();

    // Until the nodes have recovered, they may deliver outdated values, whatever gateways do.
    const double goal = siteOptions.cluster.resync * 1000 + 1000;
    QJsonArray gateways;
    report->line("  acknowledged: ", site.acknowledgedCount - before, ", of these ", during,
                 " during the fault; in the end missing at gateways: ", site.missing(),
                 "; at nodes, for a bare subscriber: ", kept.missing);
    report->line("  the node was lost, and the others available, after ", lost - begun,
                 " ms; the fault ended after ", ended - begun, " ms; the nodes recovered ",
                 recovered - ended, " ms after that; everything acknowledged ", settled - ended,
                 " ms after that, and ",
                 isRightSoon ? q("right everywhere %1 ms later").arg(right - settled)
                             : q("not right everywhere within another 20 s"));
    Goals goals(options.slack);
    for (const auto &inspector : site.inspectors) {
        const Inspector::Wrongness wrongness = inspector->wrongness(kept.expected);
        setGoals(*inspector, wrongness, goal, options.mayEngineLose || fault.hasLinks, &goals);
        report->line(
            "  ", inspector->objectName(), ": longest wrong value shown as of now ",
            wrongness.longest, " ms, counted from the end of the fault ", wrongness.longestAfter,
            " ms, from the recovery of the nodes ", wrongness.longestRecovered,
            " ms (goal: <= ", goal, " ms); longer than 1 s: ", wrongness.late,
            "; still wrong: ", wrongness.still, "; values that went back: ", inspector->stepsBack,
            "; never published: ", inspector->foreign, "; missing: ", inspector->missing());
        gateways.append(QJsonObject {{q("longestWrongMs"), wrongness.longest},
                                     {q("longestWrongAfterMs"), wrongness.longestAfter},
                                     {q("longestWrongRecoveredMs"), wrongness.longestRecovered},
                                     {q("longerThanASecond"), wrongness.late},
                                     {q("stillWrong"), wrongness.still},
                                     {q("stepsBack"), inspector->stepsBack},
                                     {q("foreign"), inspector->foreign},
                                     {q("missing"), inspector->missing()}});
    }
    report->figures = {{q("scenario"), q(fault.name)},
                       {q("keywords"), siteOptions.keywords},
                       {q("valuesPerSecond"), rate},
                       {q("resyncSeconds"), siteOptions.cluster.resync},
                       {q("lostMs"), lost - begun},
                       {q("faultMs"), ended - begun},
                       {q("acknowledged"), site.acknowledgedCount - before},
                       {q("acknowledgedDuringFault"), during},
                       {q("recoveredMs"), recovered - ended},
                       {q("settledMs"), settled - ended},
                       {q("rightMs"), isRightSoon ? right - ended : -1},
                       {q("missingAtNodes"), kept.missing},
                       {q("lostByEngine"), kept.lost},
                       {q("missingAtGateways"), site.missing()},
                       {q("firstValuesLostByEngine"), site.firstValuesLost},
                       {q("gateways"), gateways},
                       {q("secondsWrongOfflineAcknowledged"), timeline}};
    if (kept.silentNodes > 0)
        return site.fail(q("%1 nodes deliver no values").arg(kept.silentNodes));
    if (!isAsKept)
        return site.fail(q("gateways do not show what the brokers have: %1 values")
                             .arg(site.missing(kept.expected)));
    if (!site.meets(goals))
        return false;
    if (kept.missing == 0)
        return true;
    // A gateway cannot show values that the nodes have lost.
    report->line("  nats-server itself has lost acknowledged values: ", kept.lost,
                 " at all nodes; missing at nodes: ", kept.missing);
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
    // Few values: the screens share the processor with everything whose recovery is measured.
    const double rate = options.rates.value(0, 0.05) * siteOptions.keywords;
    Site site(siteOptions, report);
    if (!site.start())
        return false;
    report->line("gateway-dies: ", screens.screens, " screens of ", screens.keywordsEach,
                 " keywords, ", siteOptions.cluster.gateways, " gateways; ", siteOptions.keywords,
                 " keywords, ", rate, " values/s");
    report->figures = {{q("scenario"), q("gateway-dies")},
                       {q("screens"), screens.screens},
                       {q("keywordsEach"), screens.keywordsEach},
                       {q("valuesPerSecond"), rate},
                       {q("gateways"), siteOptions.cluster.gateways}};
    Goals goals(options.slack);
    qint64 finalValue = 0;
    for (const char *const kind : {"client", "connection"}) {
        screens.kind = q(kind);
        finalValue += 1000000;
        QJsonObject figures;
        const bool isWell = killUnder(&site, screens, rate, finalValue, &goals, &figures);
        report->figures.insert(q(kind), figures);
        if (!isWell)
            return false;
        if (!site.cluster.startGateway(0) || !waitUntil([&] {
                return site.cluster.readyServers() == siteOptions.cluster.gateways;
            }))
            return site.fail(q("the gateway does not come back"));
    }
    return site.meets(goals);
}

bool runNodeDies(const ScenarioOptions &options, Report *report)
{
    constexpr int victim = 1; // has a gateway and a device
    return runFault({"node-dies", [](Cluster *cluster) { cluster->killNode(victim); },
                     [](Cluster *cluster) { return cluster->startNode(victim); }, victim, false},
                    options, report);
}

bool runNodePartitioned(const ScenarioOptions &options, Report *report)
{
    return runFault({"node-partitioned", [](Cluster *cluster) { cluster->cutLastNode(); },
                     [](Cluster *cluster) {
                         cluster->healLastNode();
                         return true;
                     },
                     Cluster::nodeCount - 1, true},
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
        site.cluster.setDrained(i, true);
        pause(300);
        if (!site.cluster.terminateGateway(i))
            return site.fail(q("gateway %1 does not end").arg(i + 1));
        if (!site.cluster.startGateway(i)
            || !waitUntil([&] { return site.cluster.isGatewayReady(i); }))
            return site.fail(q("gateway %1 does not come back").arg(i + 1));
        site.cluster.setDrained(i, false);
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
    const Screens::Report told = screens.awaitRight(finalValue);
    const bool hasAll = waitUntil([&] { return site.missing() == 0; });
    QList<qint64> downTimes;
    for (const Screens::Course &course : screens.courses())
        downTimes += course.down;
    const auto losses = int(downTimes.size());
    qint64 longestWrong = 0;
    qint64 foreign = told.foreign;
    for (const auto &inspector : site.inspectors) {
        longestWrong = qMax(longestWrong, inspector->wrongness().longest);
        foreign += inspector->foreign;
    }
    const double goal = siteOptions.cluster.resync * 1000 + 1000;
    report->line("upgrade: ", site.cluster.gatewayCount(),
                 " gateways restarted one after the other in ", ended - begun, " ms under ", rate,
                 " values/s; ", screenOptions.screens, " screens lost a gateway ", losses,
                 " times and were live again after p50 ", percentile(downTimes, 0.5), " ms, p99 ",
                 percentile(downTimes, 0.99), " ms");
    report->line("  values that went back: ", told.stepsBack, "; wrong at the end: ", told.wrong,
                 "; missing at gateways: ", site.missing(),
                 "; values of other keywords, or never published: ", foreign,
                 "; longest wrong value shown as of now: ", longestWrong, " ms (goal: <= ", goal,
                 " ms)");
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
                       {q("foreign"), foreign},
                       {q("longestWrongMs"), longestWrong}};
    if (!told.isRight())
        return site.fail(told.problem());
    if (!hasAll)
        return site.fail(q("%1 values are missing at gateways").arg(site.missing()));
    Goals goals(options.slack);
    goals.atMost(q("values that went back on screens"), double(told.stepsBack), 0);
    goals.atMost(q("values never published"), double(foreign), 0);
    goals.atMost(q("wrong at a gateway, in ms"), double(longestWrong), goal);
    return site.meets(goals);
}
