// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/allspeedsrun.h"

#include "tests/soak/allspeeds.h"

#include <QtCore/QJsonArray>

using namespace std::chrono_literals;

namespace {

constexpr qint64 progressInterval = 60000; // milliseconds
constexpr double allowedGrowth = 0.02;

AllSpeedsOptions optionsFor(int minutes, const QString &serverProgram)
{
    AllSpeedsOptions options;
    options.server.program = serverProgram;
    options.server.sampleInterval = 2s;
    options.duration = std::chrono::minutes(minutes);
    const int all = options.server.keywords;
    const auto kbit = [](qint64 count) { return count * 1000 / 8; };
    options.fast = {{QStringLiteral("fast, with the library"), true, 0, 0, all},
                    {QStringLiteral("fast 1"), false, 0, 0, all},
                    {QStringLiteral("fast 2"), false, 0, 0, all}};
    options.slow = {{QStringLiteral("256 kbit/s, with the library"), true, kbit(256), 0, all},
                    {QStringLiteral("256 kbit/s"), false, kbit(256), 0, all},
                    {QStringLiteral("64 kbit/s"), false, kbit(64), 0, all},
                    {QStringLiteral("32 kbit/s"), false, kbit(32), 0, all / 5}};
    return options;
}

QString percent(double growth)
{
    return QString::number(100 * growth, 'f', 2) + QLatin1String(" %");
}

QJsonObject toJson(const ReaderFigures &reader)
{
    return {
        {QStringLiteral("name"), reader.options.name},
        {QStringLiteral("bytesPerSecond"), reader.options.bytesPerSecond},
        {QStringLiteral("keywords"), reader.options.count},
        {QStringLiteral("events"), reader.events},
        {QStringLiteral("wrongLastValues"), reader.wrong},
        {QStringLiteral("longestPongMs"), reader.longestPong},
        {QStringLiteral("failure"), reader.failure},
    };
}

void print(const AllSpeedsFigures &figures, Report *report)
{
    report->line();
    report->line("changes           ", figures.changes, " in ", figures.milliseconds / 1000, " s");
    for (const ReaderFigures &reader : figures.readers) {
        report->line(reader.options.name.leftJustified(30), reader.events, " events, ",
                     reader.options.count - reader.wrong, " of ", reader.options.count,
                     " last values right, longest wait for a pong ", reader.longestPong, " ms");
    }
    report->line("stopped reading   ", figures.drops, " disconnected, ",
                 QString::number(double(figures.earliestDrop) / 1000, 'f', 1), " to ",
                 QString::number(double(figures.latestDrop) / 1000, 'f', 1), " s afterwards");
    report->line("came and went     ", figures.visits, " with ", figures.eventsOfVisits, " events");
    report->line("all settled       ", figures.settleMilliseconds / 1000,
                 " s after the last change");
    report->line("lost              ", figures.lostByStall,
                 " connections to the keep-alive, as the machine stood still");
    report->line("server            ", figures.last.events, " events sent, ",
                 figures.last.skippedValues, " values left out for newer ones");
    report->line("resident          ", figures.settled.resident / 1024,
                 " KiB in the second tenth, ", figures.end.resident / 1024,
                 " KiB in the last, trend ", percent(figures.residentGrowth), "; at most ",
                 figures.residentHighest / 1024, " KiB");
    report->line("allocated         ", figures.settled.allocated / 1024,
                 " KiB in the second tenth, ", figures.end.allocated / 1024,
                 " KiB in the last, trend ", percent(figures.allocatedGrowth), "; at most ",
                 figures.allocatedHighest / 1024, " KiB");
}

QJsonObject toJson(const AllSpeedsFigures &figures)
{
    QJsonArray readers;
    for (const ReaderFigures &reader : figures.readers)
        readers.append(toJson(reader));
    QJsonArray course;
    for (const ServerSample &sample : figures.samples) {
        course.append(QJsonArray {
            (sample.milliseconds - figures.samples.front().milliseconds) / 1000,
            sample.memory.resident / 1024,
            sample.memory.heap / 1024,
        });
    }
    return {
        {QStringLiteral("kind"), QStringLiteral("clients of all speeds")},
        {QStringLiteral("seconds"), figures.milliseconds / 1000},
        {QStringLiteral("changes"), figures.changes},
        {QStringLiteral("readers"), readers},
        {QStringLiteral("droppedClients"), figures.drops},
        {QStringLiteral("earliestDropMs"), figures.earliestDrop},
        {QStringLiteral("latestDropMs"), figures.latestDrop},
        {QStringLiteral("lostByStall"), figures.lostByStall},
        {QStringLiteral("visits"), figures.visits},
        {QStringLiteral("eventsOfVisits"), figures.eventsOfVisits},
        {QStringLiteral("settleMs"), figures.settleMilliseconds},
        {QStringLiteral("serverEvents"), figures.last.events},
        {QStringLiteral("skippedValues"), figures.last.skippedValues},
        {QStringLiteral("residentKiBSecondTenth"), figures.settled.resident / 1024},
        {QStringLiteral("residentKiBLastTenth"), figures.end.resident / 1024},
        {QStringLiteral("residentGrowth"), figures.residentGrowth},
        {QStringLiteral("residentKiBHighest"), figures.residentHighest / 1024},
        {QStringLiteral("allocatedKiBSecondTenth"), figures.settled.allocated / 1024},
        {QStringLiteral("allocatedKiBLastTenth"), figures.end.allocated / 1024},
        {QStringLiteral("allocatedGrowth"), figures.allocatedGrowth},
        {QStringLiteral("allocatedKiBHighest"), figures.allocatedHighest / 1024},
        {QStringLiteral("secondsResidentAllocated"), course},
    };
}

} // namespace

bool soakAllSpeeds(int minutes, const QString &serverProgram, Report *report)
{
    AllSpeedsOptions options = optionsFor(minutes, serverProgram);
    report->line("clients of all speeds: ", minutes, minutes == 1 ? " minute, " : " minutes, ",
                 options.server.changesPerSecond, " changes per second of ",
                 options.server.keywords, " keywords");
    qint64 nextProgress = 0;
    options.progress = [&nextProgress, report](const ServerSample &sample) {
        if (sample.milliseconds < nextProgress)
            return;
        nextProgress = sample.milliseconds + progressInterval;
        report->line(sample.milliseconds / 1000, " s: ", sample.memory.resident / 1024,
                     " KiB resident, ", sample.memory.heap / 1024, " KiB allocated, ",
                     sample.changes, " changes, ", sample.clients, " clients, ",
                     sample.droppedClients, " disconnected");
    };

    const AllSpeedsFigures figures = runAllSpeeds(options);
    QStringList problems;
    if (!figures.failure.isEmpty())
        problems << figures.failure;
    if (figures.residentGrowth > allowedGrowth || figures.allocatedGrowth > allowedGrowth)
        problems << QStringLiteral("memory has grown by more than %1 %").arg(100 * allowedGrowth);
    const bool passed = problems.isEmpty();
    print(figures, report);
    report->line(passed ? "PASSED" : "FAILED: ", problems.join(QStringLiteral("; ")));
    report->figures = toJson(figures);
    report->figures.insert(QStringLiteral("keywords"), options.server.keywords);
    report->figures.insert(QStringLiteral("changesPerSecond"), options.server.changesPerSecond);
    report->figures.insert(QStringLiteral("passed"), passed);
    report->figures.insert(QStringLiteral("problems"), QJsonArray::fromStringList(problems));
    return passed;
}
