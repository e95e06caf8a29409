// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Measurements: the cost of many screens, keywords, and changes.

#include "tests/cluster/plant.h"
#include "tests/cluster/scenarios.h"
#include "tests/cluster/site.h"
#include "tests/soak/report.h"

#include <QtCore/QJsonArray>
#include <QtCore/QThread>

namespace {

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

struct Load
{
    int gateways = 1;
    int screens = 100;
    int keywordsEach = 100;
    int keywords = 10000;
    double rate = 1; // changes per second of each keyword
    int seconds = 10;
    int qos = 0; // of the values; with 1, they are also retained
    bool isPinned = false;
    bool isDivided = false; // also measures the gateways with values but without screens
};

struct Part
{
    double cores = 0;
    double mib = 0;
};

constexpr double allowedShare = 0.95; // of the published values, at each gateway

struct Measured
{
    bool isWell = false;
    double published = 0; // per second
    double received = 0; // by each gateway, on average
    double delivered = 0; // to screens, per second
    double perProcessorSecond = 0; // deliveries per processor second of the gateways
    double coresWithoutScreens = 0; // of the gateways
    Part nodes;
    Part gateways;
    Part balancer;
    Part screens;
};

double gatewayCores(const Site &site, int seconds)
{
    const double before = site.cluster.gatewayUsage().processorSeconds;
    const qint64 begun = plant::now();
    pause(qint64(seconds) * 1000);
    const double used = site.cluster.gatewayUsage().processorSeconds - before;
    return used * 1000 / double(plant::now() - begun);
}

Measured measure(const Load &load, Report *report)
{
    Measured result;
    Site::Options siteOptions;
    siteOptions.keywords = load.keywords;
    siteOptions.cluster.gateways = load.gateways;
    siteOptions.cluster.isPinned = load.isPinned;
    siteOptions.isInspected = false;
    // A cluster writes stored messages three times, which is too slow for most rates.
    siteOptions.qos = load.qos;
    Site site(siteOptions, report);
    if (!site.start())
        return result;
    if (load.isDivided) {
        site.publish(load.rate * load.keywords);
        pause(2000);
        result.coresWithoutScreens = gatewayCores(site, load.seconds);
        site.publish(0);
    }
    ScreensOptions screensOptions;
    screensOptions.kind = q("client");
    screensOptions.screens = load.screens;
    screensOptions.keywordsEach = qMin(load.keywordsEach, load.keywords);
    screensOptions.keywords = load.keywords;
    Screens screens(site.cluster, screensOptions);
    if (!screens.start() || !waitUntil([&] { return screens.live() == load.screens; }, 300000)) {
        site.fail(q("%1 of %2 screens are live").arg(screens.live()).arg(load.screens));
        return result;
    }
    site.publish(load.rate * load.keywords);
    pause(2000);

    struct Moment
    {
        explicit Moment(const Site &site, Screens *screens)
            : nodes(site.cluster.nodeUsage()), gateways(site.cluster.gatewayUsage()),
              balancer(site.cluster.balancerUsage()), screens(screens->usage()), time(plant::now())
        {
            for (int i = 0; i < site.cluster.gatewayCount(); ++i) {
                events += site.cluster.metric(i, "pellix_events_total");
                received += site.cluster.metric(i, "keyword_gateway_messages_total");
            }
            for (const auto &publisher : site.publishers)
                published += publisher->published();
        }
        Usage nodes;
        Usage gateways;
        Usage balancer;
        Usage screens;
        qint64 time;
        double events = 0;
        double received = 0;
        qint64 published = 0;
    };
    const Moment begin(site, &screens);
    pause(qint64(load.seconds) * 1000);
    const Moment end(site, &screens);
    if (isInterrupted)
        return result;

    const double seconds = double(end.time - begin.time) / 1000;
    const auto part = [seconds](const Usage &before, const Usage &after) {
        return Part {(after.processorSeconds - before.processorSeconds) / seconds,
                     double(after.residentKib) / 1024};
    };
    result.published = double(end.published - begin.published) / seconds;
    result.received = (end.received - begin.received) / seconds / load.gateways;
    result.delivered = (end.events - begin.events) / seconds;
    result.nodes = part(begin.nodes, end.nodes);
    result.gateways = part(begin.gateways, end.gateways);
    result.balancer = part(begin.balancer, end.balancer);
    result.screens = part(begin.screens, end.screens);
    if (result.gateways.cores > 0)
        result.perProcessorSecond = result.delivered / result.gateways.cores;
    // A run without deliveries, or with screens that lag behind, is invalid.
    if (result.delivered <= 0) {
        site.fail(q("nothing was delivered"));
        return result;
    }
    constexpr qint64 finalValue = 100000000;
    if (!site.publishLast(finalValue)) {
        site.fail(q("the last values are not acknowledged"));
        return result;
    }
    const Screens::Report told = screens.awaitRight(finalValue);
    result.isWell = told.isRight();
    if (!result.isWell)
        site.fail(told.problem());
    return result;
}

QJsonObject toJson(const Part &part)
{
    return {{q("cores"), part.cores}, {q("mib"), part.mib}};
}

QString column(double value, int width, int digits = 0)
{
    return QString::number(value, 'f', digits).rightJustified(width);
}

QString column(const Part &part)
{
    return column(part.cores * 100, 7, 1) + column(part.mib, 7);
}

} // namespace

bool runScale(const ScenarioOptions &options, Report *report)
{
    const bool isPinned = QThread::idealThreadCount() > 1;
    QList<int> counts = options.gateways.isEmpty() ? QList<int> {1, 2, 4} : options.gateways;
    counts.removeAll(1); // is always measured, and first, because the others are compared with it
    counts.prepend(1);
    report->line("scale: ",
                 isPinned ? "all gateways on core 0; nodes, haproxy and screens on the "
                            "others; the publisher on any"
                          : "one core for everything: the figures mean little");
    report->line("gateways  screens  values/s  deliveries/s  % of a core  without screens  "
                 "per processor second  of one gateway's");
    QJsonArray rows;
    Goals goals(options.slack);
    double first = 0;
    bool isWell = true;
    for (const int count : counts) {
        Load load;
        load.gateways = count;
        // Each gateway has the same load: all values, and its share of the screens.
        load.screens = options.screens.value(0, 100) * count;
        load.keywordsEach = options.keywordsEach > 0 ? options.keywordsEach : 100;
        load.keywords = options.keywords.value(0, 1000);
        load.rate = options.rates.value(0, 1);
        load.seconds = options.seconds > 0 ? options.seconds : 20;
        load.isPinned = isPinned;
        load.isDivided = true;
        const Measured measured = measure(load, report);
        isWell = isWell && measured.isWell;
        if (!isWell)
            break;
        first = first > 0 ? first : measured.perProcessorSecond;
        const double ratio = measured.perProcessorSecond / first;
        if (count > 1)
            goals.atLeast(q("deliveries per processor second with %1 gateways").arg(count), ratio,
                          0.9);
        goals.atLeast(q("values received by %1 gateways, per second").arg(count), measured.received,
                      allowedShare * measured.published);
        report->line(column(count, 8), column(load.screens, 9), column(measured.published, 10),
                     column(measured.delivered, 14), column(measured.gateways.cores * 100, 13, 1),
                     column(100 * measured.coresWithoutScreens / measured.gateways.cores, 15), " %",
                     column(measured.perProcessorSecond, 22), column(ratio, 18, 2));
        rows.append(QJsonObject {{q("gateways"), count},
                                 {q("screens"), load.screens},
                                 {q("cores"), measured.gateways.cores},
                                 {q("coresWithoutScreens"), measured.coresWithoutScreens},
                                 {q("valuesPerSecond"), measured.published},
                                 {q("deliveriesPerSecond"), measured.delivered},
                                 {q("perProcessorSecond"), measured.perProcessorSecond},
                                 {q("ofTheFirst"), ratio}});
    }
    report->line("without screens: the share of the base load and of processing all values, which "
                 "each gateway has");
    report->line("goal: at least 0.9 of one gateway's");
    report->figures = {{q("scenario"), q("scale")}, {q("pinned"), isPinned}, {q("rows"), rows}};
    if (!goals.missed().isEmpty())
        report->line("failed: goals missed: ", goals.missed().join(q("; ")));
    return isWell && goals.missed().isEmpty();
}

bool runGrowth(const ScenarioOptions &options, Report *report)
{
    const QList<int> screens =
        options.screens.isEmpty() ? QList<int> {100, 10, 1000} : options.screens;
    const QList<int> keywords =
        options.keywords.isEmpty() ? QList<int> {10000, 1000, 100000} : options.keywords;
    const QList<double> rates = options.rates.isEmpty() ? QList<double> {1, 10} : options.rates;
    // The first value of each list is the base of the variations.
    Load base;
    base.gateways = options.gateways.value(0, 2);
    base.screens = screens.constFirst();
    base.keywords = keywords.constFirst();
    base.rate = rates.constFirst();
    base.keywordsEach = options.keywordsEach > 0 ? options.keywordsEach : 100;
    base.seconds = options.seconds > 0 ? options.seconds : 20;
    QList<Load> loads {base};
    for (const int count : screens.mid(1)) {
        loads.append(base);
        loads.last().screens = count;
    }
    for (const int count : keywords.mid(1)) {
        loads.append(base);
        loads.last().keywords = count;
    }
    for (const double rate : rates.mid(1)) {
        loads.append(base);
        loads.last().rate = rate;
    }
    // The brokers store the values of the last row, for which they need much more time.
    constexpr double storedPerSecond = 100;
    loads.append(base);
    loads.last().qos = 1;
    loads.last().rate = qMin(base.rate, storedPerSecond / base.keywords);
    report->line("growth: ", base.gateways, " gateways, three nodes, haproxy with TLS, ",
                 base.keywordsEach,
                 " keywords a screen; % of a core, MiB; QoS 0: not retained, QoS 1: retained");
    report->line("screens keywords    Hz QoS  values/s received/s delivered/s |  nodes    MiB "
                 "|gateways  MiB |haproxy   MiB |screens   MiB");
    QJsonArray rows;
    bool isWell = true;
    for (const Load &load : std::as_const(loads)) {
        const Measured measured = measure(load, report);
        isWell = isWell && measured.isWell;
        if (!isWell)
            break;
        report->line(column(load.screens, 7), column(load.keywords, 9), column(load.rate, 6, 2),
                     column(load.qos, 4), column(measured.published, 10),
                     column(measured.received, 11), column(measured.delivered, 12), " |",
                     column(measured.nodes), " |", column(measured.gateways), " |",
                     column(measured.balancer), " |", column(measured.screens));
        if (measured.received < allowedShare * measured.published)
            report->line("  this machine is too slow for this row: the gateways do not receive all "
                         "values, and the costs are those of the received ones");
        rows.append(QJsonObject {{q("screens"), load.screens},
                                 {q("keywords"), load.keywords},
                                 {q("rate"), load.rate},
                                 {q("qos"), load.qos},
                                 {q("valuesPerSecond"), measured.published},
                                 {q("receivedPerSecond"), measured.received},
                                 {q("deliveriesPerSecond"), measured.delivered},
                                 {q("nodes"), toJson(measured.nodes)},
                                 {q("gateways"), toJson(measured.gateways)},
                                 {q("haproxy"), toJson(measured.balancer)},
                                 {q("screenProcesses"), toJson(measured.screens)}});
    }
    report->figures = {{q("scenario"), q("growth")},
                       {q("gateways"), base.gateways},
                       {q("keywordsEach"), base.keywordsEach},
                       {q("rows"), rows}};
    return isWell;
}
