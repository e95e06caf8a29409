// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/gateway/brokerlossesrun.h"
#include "tests/soak/gateway/gatewayloadrun.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

#include <cstdio>

#include <sys/resource.h>

namespace {

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

int fail(const QString &text)
{
    std::fprintf(stderr, "soak-gateway: %s\n", qPrintable(text));
    return 2;
}

// A screen has a file here and one in its gateway, which gets the same limit.
void allowManyFiles()
{
    rlimit limit {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(q("soak-gateway"));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        q("Runs keyword-gateway for a long time, with brokers that come and go.\n"
          "The exit code is 0 on success, 1 on failure, or 2 if an option is invalid."));
    parser.addHelpOption();
    const auto option = [&parser](const char *name, const char *description, const char *value) {
        parser.addOption({q(name), q(description), q(value)});
    };
    option("brokers", "Have gateways lose their brokers <count> times.", "count");
    option("parallel", "With --brokers: <count> gateways at the same time; 8 by default.", "count");
    option("screens", "With --brokers: connect <count> screens to each gateway; 1 by default.",
           "count");
    option("gateway", "Run a gateway with a mixed load for <count> minutes.", "count");
    option("report", "Write the figures to <file> as JSON.", "file");
    if (!parser.parse(QCoreApplication::arguments()))
        return fail(parser.errorText());
    if (parser.isSet(q("help")))
        parser.showHelp();
    if (!parser.positionalArguments().isEmpty())
        return fail(q("unexpected argument: ") + parser.positionalArguments().constFirst());

    const bool hasBrokers = parser.isSet(q("brokers"));
    if (hasBrokers == parser.isSet(q("gateway")))
        return fail(q("one of --brokers and --gateway is required"));
    if (!hasBrokers && (parser.isSet(q("parallel")) || parser.isSet(q("screens"))))
        return fail(q("--parallel and --screens go with --brokers"));

    QString error;
    const auto count = [&](const char *name, int standard, int most) {
        if (!parser.isSet(q(name)))
            return standard;
        bool isNumber = false;
        const int number = parser.value(q(name)).toInt(&isNumber);
        if (!isNumber || number < 1 || number > most)
            error = q("--%1: not a number from 1 to %2: %3")
                        .arg(q(name))
                        .arg(most)
                        .arg(parser.value(q(name)));
        return number;
    };
    BrokerLossesRun losses;
    losses.losses = count("brokers", losses.losses, 10000000);
    losses.gateways = count("parallel", losses.gateways, 100);
    losses.screens = count("screens", losses.screens, 8000);
    const int minutes = count("gateway", 0, 100000);
    Report report;
    if (!error.isEmpty()
        || (parser.isSet(q("report")) && !report.open(parser.value(q("report")), &error)))
        return fail(error);

    allowManyFiles();
    // Lost connections are logged as warnings, and here they are lost on purpose.
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.websocketclient=false\n"
                                       "pellixclient.gateway.warning=false"));
    const bool passed = hasBrokers ? soakBrokerLosses(losses, q(GATEWAY_PROGRAM), &report)
                                   : soakGatewayLoad(minutes, &report);
    if (!report.save(&error))
        return fail(error);
    return passed ? 0 : 1;
}
