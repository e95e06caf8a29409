// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/allspeedsrun.h"
#include "tests/soak/floodrun.h"
#include "tests/soak/mixedload.h"
#include "tests/soak/restarts.h"
#include "tests/soak/stalledclientrun.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QLoggingCategory>
#include <QtGui/QGuiApplication>

#include <cstdio>

namespace {

int fail(const QString &text)
{
    std::fprintf(stderr, "soak: %s\n", qPrintable(text));
    return 2;
}

// In the same folder as this program.
QString serverProgram()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/soak-server");
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("soak"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Runs the library for a long time, with servers that come and go.\n"
        "The exit code is 0 on success, 1 on failure, or 2 if an option is invalid."));
    parser.addHelpOption();
    const QCommandLineOption restartsOption(QStringLiteral("restarts"),
                                            QStringLiteral("Lose the server <count> times."),
                                            QStringLiteral("count"));
    const QCommandLineOption clientsOption(QStringLiteral("clients"),
                                           QStringLiteral("With --restarts: <count> clients at the "
                                                          "same time; 28 by default."),
                                           QStringLiteral("count"), QStringLiteral("28"));
    const QCommandLineOption minutesOption(QStringLiteral("minutes"),
                                           QStringLiteral("Run a mixed load for <count> minutes."),
                                           QStringLiteral("count"));
    const QCommandLineOption floodOption(QStringLiteral("flood"),
                                         QStringLiteral("Receive events as fast as a server can "
                                                        "send them."));
    const QCommandLineOption eventsOption(QStringLiteral("events"),
                                          QStringLiteral("With --flood and --stalled: <count> "
                                                         "events, rounded up to a multiple of "
                                                         "10000; 1000000 by default."),
                                          QStringLiteral("count"), QStringLiteral("1000000"));
    const QCommandLineOption serveOption(QStringLiteral("serve"),
                                         QStringLiteral("Run a server with clients of all speeds "
                                                        "for <count> minutes."),
                                         QStringLiteral("count"));
    const QCommandLineOption stalledOption(QStringLiteral("stalled"),
                                           QStringLiteral("Measure what a client that has stopped "
                                                          "reading costs."));
    const QCommandLineOption reportOption(QStringLiteral("report"),
                                          QStringLiteral("Write the figures to <file> as JSON."),
                                          QStringLiteral("file"));
    parser.addOptions({restartsOption, clientsOption, minutesOption, floodOption, eventsOption,
                       serveOption, stalledOption, reportOption});
    if (!parser.parse(QCoreApplication::arguments()))
        return fail(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp();
    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("unexpected argument: ")
                    + parser.positionalArguments().constFirst());

    const int modes = parser.isSet(restartsOption) + parser.isSet(minutesOption)
        + parser.isSet(floodOption) + parser.isSet(serveOption) + parser.isSet(stalledOption);
    if (modes != 1)
        return fail(QStringLiteral(
            "one of --restarts, --minutes, --flood, --serve, and --stalled is required"));
    if (parser.isSet(clientsOption) && !parser.isSet(restartsOption))
        return fail(QStringLiteral("--clients requires --restarts"));
    if (parser.isSet(eventsOption) && !parser.isSet(floodOption) && !parser.isSet(stalledOption))
        return fail(QStringLiteral("--events requires --flood or --stalled"));

    QString error;
    const auto count = [&](const QCommandLineOption &option, int most) {
        bool isNumber = false;
        const int number = parser.value(option).toInt(&isNumber);
        if (!isNumber || number < 1 || number > most)
            error = QStringLiteral("--%1: not a number from 1 to %2: %3")
                        .arg(option.names().constFirst())
                        .arg(most)
                        .arg(parser.value(option));
        return number;
    };

    // Lost connections are logged as warnings, but are intended here.
    QLoggingCategory::setFilterRules(QStringLiteral("pellixclient.keyword.websocketclient=false"));

    const int restarts = parser.isSet(restartsOption) ? count(restartsOption, 10000000) : 0;
    const int minutes = parser.isSet(minutesOption) ? count(minutesOption, 100000) : 0;
    const int servingMinutes = parser.isSet(serveOption) ? count(serveOption, 100000) : 0;
    const int clients = count(clientsOption, 200);
    const int events = count(eventsOption, 1000000000);
    Report report;
    if (!error.isEmpty()
        || (parser.isSet(reportOption) && !report.open(parser.value(reportOption), &error)))
        return fail(error);

    bool passed = false;
    if (restarts)
        passed = soakRestarts(restarts, clients, QStringLiteral(SIMULATOR_PROGRAM), &report);
    else if (minutes)
        passed = soakMixedLoad(minutes, &report);
    else if (servingMinutes)
        passed = soakAllSpeeds(servingMinutes, serverProgram(), &report);
    else if (parser.isSet(stalledOption))
        passed = soakStalledClient(events, serverProgram(), &report);
    else
        passed = soakFlood(events, &report);
    if (!report.save(&error))
        return fail(error);
    return passed ? 0 : 1;
}
