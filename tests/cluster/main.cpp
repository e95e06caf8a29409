// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/common/interrupt.h"
#include "tests/cluster/cluster.h"
#include "tests/cluster/scenarios.h"
#include "tests/soak/report.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>

#include <cstdio>

#include <sys/resource.h>

namespace {

constexpr int skipped = 77; // SKIP_RETURN_CODE of the tests

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

int fail(const QString &text)
{
    std::fprintf(stderr, "cluster: %s\n", qPrintable(text));
    return 2;
}

// Each screen requires two file descriptors of haproxy and one of its gateway.
void allowManyFiles()
{
    rlimit limit {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

struct Scenario
{
    const char *name;
    const char *description;
    bool (*run)(const ScenarioOptions &options, Report *report);
};

constexpr Scenario scenarios[] = {
    {"scale", "Measure the deliveries per second of processor time, with 1, 2, and 4 gateways.",
     runScale},
    {"gateway-dies", "Kill the gateway to which all screens are connected.", runGatewayDies},
    {"node-dies", "Kill a node of the cluster of brokers while devices publish.", runNodeDies},
    {"node-partitioned", "Isolate a node from the others while devices publish.",
     runNodePartitioned},
    {"upgrade", "Restart all gateways, one after the other, while screens are connected.",
     runUpgrade},
    {"growth", "Measure the cost of more screens, keywords, and changes.", runGrowth},
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(q("cluster"));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        q("Runs screens, gateways behind haproxy, and three nodes of nats-server on this machine.\n"
          "The exit code is 0 on success, 1 on failure or if a goal is missed, 2 if an option is\n"
          "invalid, or 77 if nats-server, haproxy, or openssl is not installed."));
    parser.addHelpOption();
    for (const Scenario &scenario : scenarios)
        parser.addOption(QCommandLineOption(q(scenario.name), q(scenario.description)));
    const auto option = [&parser](const char *name, const char *description) {
        parser.addOption(QCommandLineOption(q(name), q(description), q("value")));
    };
    option("screens",
           "The number of screens, for --scale for each gateway; for --growth a list, "
           "such as 100,10,1000.");
    option("keywords-each", "The number of keywords on a screen.");
    option("keywords", "The total number of keywords; for --growth a list.");
    option("rates", "The changes of each keyword per second; for --growth a list.");
    option("gateways",
           "The number of gateways; for --scale a list, before which 1 gateway is measured.");
    option("resync",
           "The period in seconds after which gateways request the retained messages again.");
    option("seconds", "The duration of a measurement or a fault, in seconds.");
    option("slack", "The factor by which goals may be missed, on a busy machine; 1 by default.");
    parser.addOption(QCommandLineOption(q("brokers-alone"),
                                        q("With the faults of a node: run no gateways, and count "
                                          "the values that nats-server loses.")));
    parser.addOption(QCommandLineOption(
        q("engine-may-lose"),
        q("With the faults of a node: report values that nats-server loses, but do not fail.")));
    option("report", "Write the figures to this JSON file.");
    if (!parser.parse(QCoreApplication::arguments()))
        return fail(parser.errorText());
    if (parser.isSet(q("help")))
        parser.showHelp();
    if (!parser.positionalArguments().isEmpty())
        return fail(q("unexpected argument: ") + parser.positionalArguments().constFirst());
    const Scenario *chosen = nullptr;
    int count = 0;
    for (const Scenario &scenario : scenarios) {
        if (!parser.isSet(q(scenario.name)))
            continue;
        chosen = &scenario;
        ++count;
    }
    if (count != 1)
        return fail(q("exactly one scenario is required; --help lists them"));

    QString error;
    const auto numbers = [&](const char *name, double least, double most) {
        QList<double> result;
        const QStringList texts = parser.value(q(name)).split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (const QString &text : texts) {
            bool isNumber = false;
            result.append(text.toDouble(&isNumber));
            if (!isNumber || result.constLast() < least || result.constLast() > most)
                error = q("--%1: not a number from %2 to %3: %4")
                            .arg(q(name))
                            .arg(least)
                            .arg(most)
                            .arg(text);
        }
        if (parser.isSet(q(name)) && result.isEmpty())
            error = q("--%1 requires a number").arg(q(name));
        return result;
    };
    const auto counts = [&](const char *name, int most) {
        QList<int> result;
        for (const double number : numbers(name, 1, most))
            result.append(int(number));
        return result;
    };
    ScenarioOptions options;
    options.screens = counts("screens", 20000);
    options.keywordsEach = counts("keywords-each", 100000).value(0);
    options.keywords = counts("keywords", 400000);
    options.rates = numbers("rates", 0.001, 1000);
    options.gateways = counts("gateways", 16);
    options.resync = numbers("resync", 1, 3600).value(0);
    options.seconds = counts("seconds", 86400).value(0);
    options.slack = numbers("slack", 0.001, 1000).value(0, 1);
    options.hasBrokersAlone = parser.isSet(q("brokers-alone"));
    options.mayEngineLose = parser.isSet(q("engine-may-lose"));
    Report report;
    if (!error.isEmpty()
        || (parser.isSet(q("report")) && !report.open(parser.value(q("report")), &error)))
        return fail(error);

    for (const char *const program : {"nats-server", "haproxy", "openssl"}) {
        if (findProgram(q(program)).isEmpty()) {
            std::fprintf(stderr, "cluster: %s is not installed: the scenario was skipped\n",
                         program);
            return skipped;
        }
    }
    allowManyFiles();
    programs::onInterrupt([] { isInterrupted = true; });
    const bool passed = chosen->run(options, &report);
    if (isInterrupted)
        std::fprintf(stderr, "cluster: interrupted\n");
    if (!report.save(&error))
        return fail(error);
    return passed && !isInterrupted ? 0 : 1;
}
