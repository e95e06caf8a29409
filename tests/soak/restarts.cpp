// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/restarts.h"

#include "tests/soak/memory.h"
#include "tests/soak/restartrounds.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>

#include <algorithm>

using namespace std::chrono_literals;

namespace {

constexpr auto progressInterval = 10s;

struct Figures
{
    int recoveries = 0;
    qint64 total = 0;
    qint64 longest = 0;
};

QString seconds(qint64 milliseconds)
{
    return QString::number(double(milliseconds) / 1000, 'f', 1);
}

} // namespace

bool soakRestarts(int restarts, int clientCount, const QString &simulator, Report *report)
{
    clientCount = std::min(clientCount, restarts);
    const int keywordCount = RestartRounds::Options().keywords;
    report->line("restarts: ", restarts, " over ", clientCount, " clients with ", keywordCount,
                 " keywords each");

    Figures figures[outageCount];
    int recovered = 0;
    int stalls = 0;
    int running = clientCount;
    QStringList failures;
    QElapsedTimer elapsed;
    elapsed.start();
    Memory before;

    std::vector<std::unique_ptr<RestartRounds>> clients;
    for (int c = 0; c < clientCount; ++c) {
        RestartRounds::Options options;
        options.client = c;
        options.simulator = simulator;
        clients.push_back(std::make_unique<RestartRounds>(options));
        RestartRounds *const rounds = clients.back().get();
        QObject::connect(rounds, &RestartRounds::recovered, rounds,
                         [&](Outage outage, qint64 took) {
                             ++recovered;
                             Figures &figure = figures[int(outage)];
                             ++figure.recoveries;
                             figure.total += took;
                             figure.longest = std::max(figure.longest, took);
                         });
        QObject::connect(rounds, &RestartRounds::lostByStall, rounds, [&stalls] { ++stalls; });
        const auto stop = [&running] {
            if (--running == 0)
                QCoreApplication::quit();
        };
        QObject::connect(rounds, &RestartRounds::finished, rounds, stop);
        QObject::connect(rounds, &RestartRounds::failed, rounds,
                         [&failures, report, stop](const QString &what) {
                             report->line("FAILED: ", what);
                             failures << what;
                             stop();
                         });
        rounds->start(restarts / clientCount + (c < restarts % clientCount ? 1 : 0));
    }

    QTimer progress;
    QObject::connect(&progress, &QTimer::timeout, &progress, [&] {
        const Memory memory = Memory::now();
        if (before.resident == 0)
            before = memory;
        report->line(elapsed.elapsed() / 1000, " s: ", recovered, " recoveries, ", failures.size(),
                     " failures, ", memory.resident / 1024, " KiB resident, ", memory.heap / 1024,
                     " KiB allocated");
    });
    progress.start(progressInterval);
    QCoreApplication::exec();

    report->line();
    report->line("outage       recoveries   checks of a keyword   mean s   longest s");
    QJsonArray table;
    for (int i = 0; i < outageCount; ++i) {
        const Figures &figure = figures[i];
        const qint64 mean = figure.recoveries ? figure.total / figure.recoveries : 0;
        const QString name = QLatin1String(outageName(Outage(i)));
        report->line(name.leftJustified(13), QString::number(figure.recoveries).rightJustified(10),
                     QString::number(qint64(figure.recoveries) * keywordCount).rightJustified(22),
                     seconds(mean).rightJustified(9), seconds(figure.longest).rightJustified(12));
        table.append(QJsonObject {{QStringLiteral("outage"), name},
                                  {QStringLiteral("recoveries"), figure.recoveries},
                                  {QStringLiteral("meanMs"), mean},
                                  {QStringLiteral("longestMs"), figure.longest}});
    }
    report->line();
    if (stalls > 0)
        report->line(stalls, " connections lost besides, because this process stood still");
    const Memory after = Memory::now();
    const bool passed = failures.isEmpty() && recovered == restarts;
    report->line(passed ? "PASSED: " : "FAILED: ", recovered, " of ", restarts,
                 " recoveries with every keyword fresh and alive, in ", elapsed.elapsed() / 1000,
                 " s");
    report->figures = {
        {QStringLiteral("kind"), QStringLiteral("restarts")},
        {QStringLiteral("passed"), passed},
        {QStringLiteral("restarts"), restarts},
        {QStringLiteral("recovered"), recovered},
        {QStringLiteral("clients"), clientCount},
        {QStringLiteral("keywordsPerClient"), keywordCount},
        {QStringLiteral("seconds"), elapsed.elapsed() / 1000},
        {QStringLiteral("outages"), table},
        {QStringLiteral("lostByStall"), stalls},
        {QStringLiteral("failures"), QJsonArray::fromStringList(failures)},
        {QStringLiteral("residentKiBEarly"), before.resident / 1024},
        {QStringLiteral("residentKiBLate"), after.resident / 1024},
        {QStringLiteral("allocatedKiBEarly"), before.heap / 1024},
        {QStringLiteral("allocatedKiBLate"), after.heap / 1024},
    };
    return passed;
}
