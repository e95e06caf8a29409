// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/gateway/gatewayloadrun.h"

#include "tests/soak/gateway/gatewayload.h"

#include <QtCore/QJsonArray>

#include <algorithm>
#include <atomic>

namespace {

constexpr qint64 progressInterval = 60000; // milliseconds
constexpr double allowedGrowth = 0.01;

std::atomic<int> warnings {0};
QtMessageHandler formerHandler = nullptr;

void countWarnings(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (type == QtDebugMsg || type == QtInfoMsg)
        return;
    ++warnings;
    formerHandler(type, context, text);
}

} // namespace

bool soakGatewayLoad(int minutes, Report *report)
{
    report->line("gateway with a mixed load: ", minutes, minutes == 1 ? " minute" : " minutes");
    GatewayLoadOptions options;
    options.duration = std::chrono::minutes(minutes);
    const qint64 warmUp = std::chrono::milliseconds(options.duration).count() / 4;
    formerHandler = qInstallMessageHandler(countWarnings);
    qint64 nextProgress = 0;
    const GatewayLoadFigures figures =
        runGatewayLoad(options, [&](const GatewayLoadFigures &sofar) {
            if (sofar.milliseconds < nextProgress)
                return;
            nextProgress = sofar.milliseconds + progressInterval;
            const Memory &memory = sofar.samples.back().memory;
            report->line(sofar.milliseconds / 1000, " s: ", memory.resident / 1024,
                         " KiB resident, ", memory.heap / 1024, " KiB allocated, ", sofar.messages,
                         " messages, ", sofar.brokersLost, " brokers lost, ", int(warnings),
                         " warnings");
        });
    qInstallMessageHandler(formerHandler);

    const MemorySpread resident = spreadOf(figures.samples, warmUp, &Memory::resident);
    const MemorySpread heap = spreadOf(figures.samples, warmUp, &Memory::heap);
    QStringList problems;
    if (!figures.failure.isEmpty())
        problems << figures.failure;
    if (warnings > 0)
        problems << QStringLiteral("%1 warnings").arg(int(warnings));
    const auto check = [&](const char *what, const MemorySpread &spread) {
        report->line(what, spread.lowest / 1024, " to ", spread.highest / 1024, " KiB, ",
                     QString::number(100 * spread.relative(), 'f', 2), " %");
        if (spread.relative() > allowedGrowth)
            problems << QStringLiteral("memory is not constant within %1 %: %2%3 to %4 KiB")
                            .arg(100 * allowedGrowth)
                            .arg(QLatin1String(what))
                            .arg(spread.lowest / 1024)
                            .arg(spread.highest / 1024);
    };
    report->line();
    report->line("cycles             ", figures.samples.size(), " of ", options.ticks,
                 " ticks, each checked at its end");
    report->line("messages           ", figures.messages, ", ", figures.objects,
                 " of them in JSON");
    report->line("events             ", figures.events, " to the client that stays");
    report->line("writes             ", figures.writes);
    report->line("visits             ", figures.visits);
    report->line("configurations     ", figures.reloads);
    report->line("brokers lost       ", figures.brokersLost);
    report->line("after a warm-up of ", warmUp / 1000, " s:");
    check("resident           ", resident);
    if (heap.highest > 0) // a sanitizer's allocator does not say
        check("allocated          ", heap);
    const bool passed = problems.isEmpty();
    report->line(passed ? "PASSED" : "FAILED: ", problems.join(QStringLiteral("; ")));

    QJsonArray course;
    for (const GatewayLoadSample &sample : figures.samples) {
        course.append(QJsonArray {sample.milliseconds / 1000, sample.memory.resident / 1024,
                                  sample.memory.heap / 1024});
    }
    report->figures = {
        {QStringLiteral("kind"), QStringLiteral("gateway with a mixed load")},
        {QStringLiteral("passed"), passed},
        {QStringLiteral("problems"), QJsonArray::fromStringList(problems)},
        {QStringLiteral("seconds"), figures.milliseconds / 1000},
        {QStringLiteral("cycles"), qint64(figures.samples.size())},
        {QStringLiteral("messages"), figures.messages},
        {QStringLiteral("objects"), figures.objects},
        {QStringLiteral("events"), figures.events},
        {QStringLiteral("writes"), figures.writes},
        {QStringLiteral("visits"), figures.visits},
        {QStringLiteral("configurations"), figures.reloads},
        {QStringLiteral("brokersLost"), figures.brokersLost},
        {QStringLiteral("warmUpSeconds"), warmUp / 1000},
        {QStringLiteral("residentKiBLowest"), resident.lowest / 1024},
        {QStringLiteral("residentKiBHighest"), resident.highest / 1024},
        {QStringLiteral("allocatedKiBLowest"), heap.lowest / 1024},
        {QStringLiteral("allocatedKiBHighest"), heap.highest / 1024},
        {QStringLiteral("secondsResidentAllocated"), course},
    };
    return passed;
}
