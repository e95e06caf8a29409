// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/floodrun.h"

#include "tests/soak/flood.h"

#include <algorithm>

bool soakFlood(int events, Report *report)
{
    FloodOptions options;
    options.events = (events + options.keywords - 1) / options.keywords * options.keywords;
    report->line("flood: ", options.events, " events to ", options.keywords, " bound keywords");

    const FloodFigures figures = runFlood(options);
    const bool passed = figures.failure.isEmpty();
    const qint64 rate = figures.received * 1000 / std::max<qint64>(figures.milliseconds, 1);
    const qint64 growth = figures.residentHighest - figures.residentBefore;
    report->line("received          ", figures.received, " in ", figures.milliseconds, " ms, ",
                 rate, " events/s");
    report->line("last values       ", figures.lastValuesRight, " of ", options.keywords, " right");
    report->line("event loop        ", figures.turns, " turns, longest pause ",
                 figures.longestPause, " ms, at most ", figures.largestBatch, " events in between");
    report->line("memory, both ends ", figures.residentBefore / 1024, " KiB before, at most ",
                 growth / 1024, " KiB more");
    report->line(passed ? "PASSED" : "FAILED: ", figures.failure);
    report->figures = {
        {QStringLiteral("kind"), QStringLiteral("flood")},
        {QStringLiteral("passed"), passed},
        {QStringLiteral("failure"), figures.failure},
        {QStringLiteral("keywords"), options.keywords},
        {QStringLiteral("events"), options.events},
        {QStringLiteral("received"), figures.received},
        {QStringLiteral("lastValuesRight"), figures.lastValuesRight},
        {QStringLiteral("milliseconds"), figures.milliseconds},
        {QStringLiteral("eventsPerSecond"), rate},
        {QStringLiteral("eventLoopTurns"), figures.turns},
        {QStringLiteral("longestPauseMs"), figures.longestPause},
        {QStringLiteral("largestBatchEvents"), figures.largestBatch},
        {QStringLiteral("residentKiBBefore"), figures.residentBefore / 1024},
        {QStringLiteral("residentKiBGrowth"), growth / 1024},
    };
    return passed;
}
