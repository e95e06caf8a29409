// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/stalledclientrun.h"

#include "tests/soak/stalledclient.h"

#include <QtCore/QJsonArray>

namespace {

constexpr qint64 allowedGrowth = qint64(4) * 1024 * 1024;
constexpr double allowedLatencyRatio = 1.2;

void print(const char *name, const StalledClientSide &side, Report *report)
{
    report->line(name, side.events, " events received, ", side.last.skippedValues,
                 " values left out; latency ", side.medianLatency, " us, 99th percentile ",
                 side.latency99, " us; server ", side.before.memory.resident / 1024,
                 " KiB resident before, at most ", side.residentGrowth() / 1024,
                 " KiB more; allocated ", side.before.memory.heap / 1024, " KiB, at most ",
                 side.allocatedGrowth() / 1024, " KiB more");
}

QJsonObject toJson(const StalledClientSide &side)
{
    QJsonArray course;
    for (size_t i = 0; i < side.samples.size(); ++i) {
        const ServerSample &sample = side.samples[i];
        course.append(QJsonArray {double(side.sampledAt[i]) / 1000, sample.memory.resident / 1024,
                                  sample.memory.heap / 1024, sample.skippedValues});
    }
    return {
        {QStringLiteral("events"), side.events},
        {QStringLiteral("skippedValues"), side.last.skippedValues},
        {QStringLiteral("bytesPerEvent"),
         side.last.events ? side.last.sentBytes / side.last.events : 0},
        {QStringLiteral("medianLatencyMicroseconds"), side.medianLatency},
        {QStringLiteral("latency99Microseconds"), side.latency99},
        {QStringLiteral("residentKiBBefore"), side.before.memory.resident / 1024},
        {QStringLiteral("residentKiBGrowth"), side.residentGrowth() / 1024},
        {QStringLiteral("allocatedKiBBefore"), side.before.memory.heap / 1024},
        {QStringLiteral("allocatedKiBGrowth"), side.allocatedGrowth() / 1024},
        {QStringLiteral("secondsResidentAllocatedSkipped"), course},
    };
}

} // namespace

bool soakStalledClient(int events, const QString &serverProgram, Report *report)
{
    StalledClientOptions options;
    options.serverProgram = serverProgram;
    options.events = (events + options.piece - 1) / options.piece * options.piece;
    report->line("stalled client: ", options.events, " events of ", options.keywords,
                 " keywords, one client of ", options.otherClients + 1, " has stopped reading");

    const StalledClientFigures figures = runStalledClient(options);
    QStringList problems;
    if (!figures.failure.isEmpty())
        problems << figures.failure;
    if (figures.with.residentGrowth() > allowedGrowth)
        problems
            << QStringLiteral("memory has grown by more than %1 KiB").arg(allowedGrowth / 1024);
    if (figures.latencyRatio() > allowedLatencyRatio)
        problems << QStringLiteral("the others wait more than %1 times as long")
                        .arg(allowedLatencyRatio);
    const bool passed = problems.isEmpty();
    print("with it     ", figures.with, report);
    print("without it  ", figures.without, report);
    report->line("99th percentile   ", QString::number(figures.latencyRatio(), 'f', 2),
                 " times as long");
    report->line(passed ? "PASSED" : "FAILED: ", problems.join(QStringLiteral("; ")));
    report->figures = {
        {QStringLiteral("kind"), QStringLiteral("stalled client")},
        {QStringLiteral("passed"), passed},
        {QStringLiteral("problems"), QJsonArray::fromStringList(problems)},
        {QStringLiteral("seconds"), figures.milliseconds / 1000},
        {QStringLiteral("keywords"), options.keywords},
        {QStringLiteral("otherClients"), options.otherClients},
        {QStringLiteral("changes"), options.events},
        {QStringLiteral("changesPerSecond"), options.changesPerSecond},
        {QStringLiteral("latency99Ratio"), figures.latencyRatio()},
        {QStringLiteral("with"), toJson(figures.with)},
        {QStringLiteral("without"), toJson(figures.without)},
    };
    return passed;
}
