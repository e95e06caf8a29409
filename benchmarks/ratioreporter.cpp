// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/ratioreporter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace {

enum Kind {
    Time,
    Rate, // larger is better, and the ratio is that of the rates
    Count // the table shows the difference, because the floor may be 0
};

struct Row
{
    const char *work;
    const char *measured;
    const char *floor;
    const char *goal;
    // The number of items in one measured figure. The table shows the figure per item.
    double items = 1;
    double floorItems = 1;
    Kind kind = Time;
    const char *needs = ""; // required by the floor, if it may be missing
};

// A goal is a ratio of the measured figure to its floor.
constexpr Row rows[] = {
    {"event to valueChanged", "receiveToValueChanged/10", "decodeAndRead/10", "<= 1.25"},
    {"  among 1 000 keywords", "receiveToValueChanged/1000", "decodeAndRead/1000", ""},
    {"  among 100 000 keywords", "receiveToValueChanged/100000", "decodeAndRead/100000", ""},
    {"event: ours", "receiveSpelling/ours", "decodeSpelling/ours", "<= 0.3"},
    {"event: payload first", "receiveSpelling/payload_first", "decodeSpelling/payload_first",
     "<= 0.6"},
    {"event: unknown member", "receiveSpelling/unknown_member", "decodeSpelling/unknown_member",
     "<= 0.6"},
    {"event: umlaut", "receiveSpelling/umlaut", "decodeSpelling/umlaut", "<= 0.6"},
    {"event: escapes", "receiveSpelling/escapes", "decodeSpelling/escapes", "<= 0.6"},
    {"event: exponent", "receiveSpelling/exponent", "decodeSpelling/exponent", "<= 0.6"},
    {"event: escaped slashes", "receiveSpelling/escaped_slashes", "decodeSpelling/escaped_slashes",
     "<= 0.6"},
    {"event: great number", "receiveSpelling/great_number", "decodeSpelling/great_number",
     "<= 0.6"},
    {"event: long fraction", "receiveSpelling/long_fraction", "decodeSpelling/long_fraction",
     "<= 0.6"},
    {"event: null", "receiveSpelling/null", "decodeSpelling/null", "<= 0.6"},
    {"event: object", "receiveSpelling/object", "decodeSpelling/object", "<= 0.6"},
    {"event: array", "receiveSpelling/array", "decodeSpelling/array", "<= 0.6"},
    {"event: nested", "receiveSpelling/nested", "decodeSpelling/nested", "<= 0.6"},
    {"event: python", "receiveSpelling/python", "decodeSpelling/python", "<= 0.6"},
    {"event: javascript", "receiveSpelling/javascript", "decodeSpelling/javascript", "<= 0.6"},
    {"event: cpp", "receiveSpelling/cpp", "decodeSpelling/cpp", "<= 0.6"},
    {"  a bare hash look-up among 100 000, beside one among 10", "hashLookup/100000",
     "hashLookup/10", ""},
    {"publish to 1 subscriber, one signal", "publishToSubscribers/1", "signalToFunctors/1",
     "<= 1.5"},
    {"publish to 10, one signal", "publishToSubscribers/10", "signalToFunctors/10", "<= 1.5", 10,
     10},
    {"publish to 1 000, one signal", "publishToSubscribers/1000", "signalToFunctors/1000", "<= 1.5",
     1000, 1000},
    {"publish to 10, ten signals", "publishToSubscribers/10", "signalsToFunctors/10", "", 10, 10},
    {"publish to 1 000, a thousand signals", "publishToSubscribers/1000", "signalsToFunctors/1000",
     "", 1000, 1000},
    {"publish among 100 000 topics, beside 10", "publishAmongTopics/100000",
     "publishAmongTopics/10", ""},
    {"bind and destroy, 1 000", "bindAndDestroy/1000", "twoObjectsWithThreeConnections/1000",
     "<= 2", 1000, 1000},
    {"bind and destroy, 100 000", "bindAndDestroy/100000", "twoObjectsWithThreeConnections/100000",
     "<= 2", 100000, 100000},
    {"bind one of 100 000, beside one of 1 000", "bindAndDestroy/100000", "bindAndDestroy/1000",
     "<= 1.2", 100000, 1000},
    {"  the floor likewise", "twoObjectsWithThreeConnections/100000",
     "twoObjectsWithThreeConnections/1000", "", 100000, 1000},
    {"bytes of a bound keyword", "memoryOfBoundKeywords/100000",
     "memoryOfTwoObjectsWithThreeConnections/100000", "<= 1.5"},
    {"events over a WebSocket, of processor time", "socketEventsToKeywords/per_processor_second",
     "socketEventsDecoded/per_processor_second", ">= 1.5", 1, 1, Rate},
    {"  of elapsed time", "socketEventsToKeywords", "socketEventsDecoded", ">= 1.5", 1, 1, Rate},
    {"  beside texts that are not read", "socketEventsToKeywords/per_processor_second",
     "socketEventsDropped/per_processor_second", ">= 0.7", 1, 1, Rate},
    {"  of elapsed time", "socketEventsToKeywords", "socketEventsDropped", ">= 0.7", 1, 1, Rate},
    {"  beside Qt Remote Objects, of elapsed time", "socketEventsToKeywords", "remoteObjectChanges",
     ">= 2.5", 1, 1, Rate},
    {"changes of a keyword server, beside Qt Remote Objects", "serverChangesToKeywords",
     "remoteObjectChanges", ">= 2.5", 1, 1, Rate},
    {"  of processor time", "serverChangesToKeywords/per_processor_second",
     "remoteObjectChanges/per_processor_second", ">= 2.5", 1, 1, Rate},
    {"write to event, median", "writeRoundTrip", "echoRoundTrip", "<= 1.5"},
    {"write to event, 99th percentile", "writeRoundTrip/p99", "echoRoundTrip/p99", ""},
    {"list and label a child of 10 000, beside 1 000", "listAndLabel/10000", "listAndLabel/1000",
     "<= 1.3", 10000, 1000},
    {"list and label a child of 100 000, beside 1 000", "listAndLabel/100000", "listAndLabel/1000",
     "<= 1.3", 100000, 1000},
    {"  two objects likewise", "twoObjectsWithThreeConnections/100000",
     "twoObjectsWithThreeConnections/1000", "", 100000, 1000},
    {
        "label of a child of 100 000, beside 1 000",
        "labelArrives/100000",
        "labelArrives/1000",
        "",
    },
    {"filter and sort 100 000 rows", "filterAndSort/100000", "plainFilterAndSort/100000", "<= 1.5"},
    {"create 1 000 PKeywordPath", "createPaths/1000", "createPlainPaths/1000", "<= 2", 1000, 1000},
    {"a frame with 1 000 changing texts", "frameOfBoundTexts/1000", "frameOfPlainTexts/1000",
     "<= 1.3"},
    {"first value on the screen, server in the process", "firstValue/inprocess", "firstValue/plain",
     "<= 1.1"},
    {"  processor time", "firstValue/inprocess_processor", "firstValue/plain_processor", ""},
    {"first value on the screen, over a WebSocket", "firstValue/websocket", "firstValue/plain",
     "<= 1.2"},
    {"  processor time", "firstValue/websocket_processor", "firstValue/plain_processor", ""},
    {"  beside a bare QWebSocket", "firstValue/websocket", "firstValue/socket", ""},
    {"missed frames, 1 000 of 10 000 texts change at 30 Hz", "framesOfManyTexts/bound_missed",
     "framesOfManyTexts/plain_missed", "<= +0", 1, 1, Count},
    {"  of all frames", "framesOfManyTexts/bound_frames", "framesOfManyTexts/plain_frames", "", 1,
     1, Count},
    {"  99th percentile of the frames", "framesOfManyTexts/bound_p99",
     "framesOfManyTexts/plain_p99", ""},
    {"  processor time of a frame", "framesOfManyTexts/bound_processor",
     "framesOfManyTexts/plain_processor", ""},
    {"a frame of 10 panned series of 10 000 samples", "framesOfPannedPlot/10000",
     "framesOfBareLines/10000", "<= 2"},
    {"  of 100 000", "framesOfPannedPlot/100000", "framesOfBareLines/100000", ""},
    {"  with 10 new samples each frame", "framesOfFollowingPlot/10000", "framesOfBareLines/10000",
     "<= 3"},
    {"  each of them a pixel further", "framesOfFastPlot/10000", "framesOfBareLines/10000", ""},
    {"  of 100 000 likewise", "framesOfFollowingPlot/100000", "framesOfBareLines/100000", ""},
    {"server: a change encoded and sent to 1 session", "changeToMessages/1", "encodeByDocument",
     "<= 0.11"},
    {"server: the same to 50 sessions", "changeToMessages/50", "encodeByDocument", ""},
    {"server: 1 000 creates by one session", "createKeywords/1000", "decodeCreates/1000", "<= 2",
     1000, 1000},
    {"server: 100 000 creates by one session", "createKeywords/100000", "decodeCreates/100000",
     "<= 2", 100000, 100000},
    {"server: bytes of a keyword, beside its name", "memoryOfDeclaredKeywords/100000",
     "memoryOfValuesInAHash/100000", "<= 400 B"},
    {"server: bytes of a watched keyword, beside its name", "memoryOfWatchedKeywords/100000",
     "memoryOfValuesInAHash/100000", "<= 700 B"},
    {"server: a delivery to 50 sessions, 100 changes at once", "deliverToSessions/100",
     "deliverByMosquitto/100", "<= 0.125", 1, 1, Time, "mosquitto"},
    {"  the same, written by a client", "deliverWrites/100", "deliverByMosquitto/100", "", 1, 1,
     Time, "mosquitto"},
    {"  10 changes at once", "deliverToSessions/10", "deliverByMosquitto/10", "", 1, 1, Time,
     "mosquitto"},
    {"  one change at a time", "deliverToSessions/1", "deliverByMosquitto/1", "", 1, 1, Time,
     "mosquitto"},
    {"server: 1 000 sessions join and ask for 100 each", "joinKeywordServer/1000",
     "joinBareServer/1000", "<= 2", 1000, 1000},
    {"  beside an echo of what they ask", "joinKeywordServer/1000", "joinEchoServer/1000", "", 1000,
     1000},
    {"reconnect with 10 000 keywords", "subscribeStorm/10000", "bareStorm/10000", "<= 2"},
    {"gateway: processor time of a message to an event", "gatewayMessages/0", "mosquittoMessages/0",
     "<= 1.3"},
    {"  of a message in JSON", "gatewayMessages/1", "mosquittoMessages/1", "<= 1.3"},
    {"gateway: 100 000 retained topics until ready", "gatewayRetained/100000",
     "mosquittoRetained/100000", "<= 2"},
    {"gateway: publish to screen, one at a time, median", "publishToScreen/0",
     "publishToScreen/0/floor_p50", "<= 2"},
    {"  99th percentile", "publishToScreen/0/p99", "publishToScreen/0/floor_p99", "<= 3"},
    {"gateway: publish to screen, 1 000 per second, median", "publishToScreen/1000",
     "publishToScreen/1000/floor_p50", "<= 2"},
    {"  99th percentile", "publishToScreen/1000/p99", "publishToScreen/1000/floor_p99", "<= 3"},
};

const char *unit(const Row &row)
{
    if (row.kind == Rate)
        return "/s";
    if (row.kind == Count)
        return "";
    return std::string(row.measured).rfind("memory", 0) == 0 ? "B" : "ns";
}

void printFigure(double value, const char *unit)
{
    if (std::isnan(value))
        std::printf("%14s   ", "-");
    else
        std::printf("%14.1f %-2s", value, unit);
}

// Returns why a run has failed, or an empty string. The member was renamed in Google Benchmark 1.8.
template <typename Run>
auto failureOf(const Run &run, int) -> decltype(std::string(run.skip_message))
{
    return run.skip_message;
}

template <typename Run>
auto failureOf(const Run &run, long) -> decltype(std::string(run.error_message))
{
    return run.error_message;
}

} // namespace

bool RatioReporter::ReportContext(const Context &context)
{
    PrintBasicContext(&GetErrorStream(), context);
    return true;
}

void RatioReporter::ReportRuns(const std::vector<Run> &runs)
{
    for (const Run &run : runs) {
        if (run.run_type != Run::RT_Iteration)
            continue;
        const std::string name = run.run_name.function_name
            + (run.run_name.args.empty() ? std::string() : '/' + run.run_name.args);
        if (const std::string failure = failureOf(run, 0); !failure.empty()) {
            anyFailed = true;
            std::fprintf(stderr, "%s: %s\n", name.c_str(), failure.c_str());
            continue;
        }
        const auto counter = [&run](const char *counter) {
            const auto found = run.counters.find(counter);
            return found == run.counters.end() ? std::numeric_limits<double>::quiet_NaN()
                                               : found->second.value;
        };
        // Uses the processor time unless the benchmark measures wall clock time, because other
        // programs may keep the machine busy.
        const bool wallClock = !run.run_name.time_type.empty();
        double figure = (wallClock ? run.real_accumulated_time : run.cpu_accumulated_time)
            / double(run.iterations) * 1e9;
        if (run.counters.count("bytes"))
            figure = counter("bytes");
        else if (run.counters.count("per_second"))
            figure = counter("per_second");
        else if (run.counters.count("p50"))
            figure = counter("p50");
        figures[name].push_back(figure);
        for (const auto &[counterName, value] : run.counters)
            figures[std::string(name).append(1, '/').append(counterName)].push_back(value);
        std::fprintf(stderr, "%-52s %16.1f\n", name.c_str(), figure);
    }
}

double RatioReporter::median(const std::string &name) const
{
    const auto found = figures.find(name);
    if (found == figures.end())
        return std::numeric_limits<double>::quiet_NaN();
    std::vector<double> values = found->second;
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void RatioReporter::Finalize()
{
    std::printf("%-58s %17s %17s %9s  %s\n", "", "measured", "floor or peer", "ratio", "goal");
    for (const Row &row : rows) {
        const double measured = median(row.measured) / row.items;
        const double floor = median(row.floor) / row.floorItems;
        if (std::isnan(measured))
            continue;
        std::printf("%-58s ", row.work);
        printFigure(measured, unit(row));
        std::printf(" ");
        printFigure(floor, unit(row));
        if (std::isnan(floor))
            std::printf(" %9s", "-");
        else if (row.kind == Count)
            std::printf(" %+9.0f", measured - floor);
        else
            std::printf(" %9.2f", measured / floor);
        std::printf("  %s", row.goal);
        if (std::isnan(floor) && *row.needs)
            std::printf("  (the floor needs %s)", row.needs);
        std::printf("\n");
    }
    std::fflush(stdout);
}
