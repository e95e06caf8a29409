// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/ratioreporter.h"

#include <QtCore/QRegularExpression>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <sstream>

enum Kind {
    Time,
    Rate, // larger is better, and the ratio is that of the rates
    Count // the table shows the difference, because the floor may be 0
};

struct RatioReporter::Row
{
    std::string_view work;
    std::string_view measured;
    std::string_view floor;
    std::string_view goal;
    // The number of items in one measured figure. The table shows the figure per item.
    double items = 1;
    double floorItems = 1;
    Kind kind = Time;
    // The program or library without which the floor, or both figures, are missing.
    std::string_view needs = {};
};

namespace {

using Row = RatioReporter::Row;

constexpr std::string_view receiveSpelling = "receiveSpelling/";
constexpr std::string_view usualSpelling = "receiveSpelling/ours";

// A goal is a ratio of the measured figure to its floor, unless it has a unit.
constexpr Row rows[] = {
    {"event to valueChanged", "receiveToValueChanged/10", "decodeAndRead/10", "<= 0.3"},
    {"  among 1 000 keywords", "receiveToValueChanged/1000", "decodeAndRead/1000", ""},
    {"  among 100 000 keywords", "receiveToValueChanged/100000", "decodeAndRead/100000", ""},
    {"event: ours", "receiveSpelling/ours", "decodeSpelling/ours", "<= 0.3"},
    {"  a bare hash look-up among 100 000, beside one among 10", "hashLookup/100000",
     "hashLookup/10", ""},
    {"publish to 1 subscriber, one signal", "publishToSubscribers/1", "signalToFunctors/1",
     "<= 1.5"},
    {"publish to 10, one signal", "publishToSubscribers/10", "signalToFunctors/10", "<= 1.5", 10,
     10},
    {"publish to 1 000, one signal", "publishToSubscribers/1000", "signalToFunctors/1000", "<= 1.5",
     1000, 1000},
    {"publish to 10, ten signals", "publishToSubscribers/10", "signalsToFunctors/10", "<= 1.2", 10,
     10},
    {"publish to 1 000, a thousand signals", "publishToSubscribers/1000", "signalsToFunctors/1000",
     "<= 1.2", 1000, 1000},
    {"publish among 100 000 topics, beside 10", "publishAmongTopics/100000",
     "publishAmongTopics/10", ""},
    {"bind and destroy, 1 000, without a server", "bindAndDestroy/1000",
     "twoObjectsWithThreeConnections/1000", "<= 0.6", 1000, 1000},
    {"bind and destroy, 100 000, without a server", "bindAndDestroy/100000",
     "twoObjectsWithThreeConnections/100000", "<= 0.6", 100000, 100000},
    {"bind and destroy, 1 000, with the commands", "bindAndDestroyWithCommands/1000",
     "twoObjectsWithThreeConnections/1000", "", 1000, 1000},
    {"bind and destroy, 100 000, with the commands", "bindAndDestroyWithCommands/100000",
     "twoObjectsWithThreeConnections/100000", "", 100000, 100000},
    {"bind one of 100 000, beside one of 1 000", "bindAndDestroy/100000", "bindAndDestroy/1000", "",
     100000, 1000},
    {"  the floor likewise", "twoObjectsWithThreeConnections/100000",
     "twoObjectsWithThreeConnections/1000", "", 100000, 1000},
    {"bytes of a bound keyword", "memoryOfBoundKeywords/100000",
     "memoryOfTwoObjectsWithThreeConnections/100000", "<= 560 B"},
    {"events over a WebSocket, of processor time", "socketEventsToKeywords/per_processor_second",
     "socketEventsDecoded/per_processor_second", ">= 1.5", 1, 1, Rate},
    {"  of elapsed time", "socketEventsToKeywords", "socketEventsDecoded", ">= 1.5", 1, 1, Rate},
    {"  beside texts that are not read", "socketEventsToKeywords/per_processor_second",
     "socketEventsDropped/per_processor_second", ">= 0.7", 1, 1, Rate},
    {"  of elapsed time", "socketEventsToKeywords", "socketEventsDropped", ">= 0.7", 1, 1, Rate},
    {"events in all spellings, of processor time", "socketSpellingsToKeywords/per_processor_second",
     "socketSpellingsDecoded/per_processor_second", ">= 1.5", 1, 1, Rate},
    {"  of elapsed time", "socketSpellingsToKeywords", "socketSpellingsDecoded", ">= 1.5", 1, 1,
     Rate},
    {"  beside texts that are not read", "socketSpellingsToKeywords/per_processor_second",
     "socketSpellingsDropped/per_processor_second", "", 1, 1, Rate},
    {"events over a WebSocket, beside Qt Remote Objects", "socketEventsToKeywords",
     "remoteObjectChanges", ">= 2.5", 1, 1, Rate, "Qt Remote Objects"},
    {"changes of a keyword server, beside Qt Remote Objects", "serverChangesToKeywords",
     "remoteObjectChanges", ">= 2.5", 1, 1, Rate, "Qt Remote Objects"},
    {"  of processor time", "serverChangesToKeywords/per_processor_second",
     "remoteObjectChanges/per_processor_second", ">= 2.5", 1, 1, Rate, "Qt Remote Objects"},
    {"write to event, median", "writeRoundTrip", "echoRoundTrip", "<= 1.5"},
    {"write to event, 99th percentile", "writeRoundTrip/p99", "echoRoundTrip/p99", ""},
    {"list and label a child of 10 000, beside 1 000", "listAndLabel/10000", "listAndLabel/1000",
     "<= 1.2", 10000, 1000},
    {"list and label a child of 100 000, beside 1 000", "listAndLabel/100000", "listAndLabel/1000",
     "<= 1.2", 100000, 1000},
    {"  two objects likewise", "twoObjectsWithThreeConnections/100000",
     "twoObjectsWithThreeConnections/1000", "", 100000, 1000},
    {"label of a child of 100 000, beside 1 000", "labelArrives/100000", "labelArrives/1000",
     "<= 1.5"},
    {"  children in no order", "labelOfAnyArrives/100000", "labelOfAnyArrives/1000", ""},
    {"filter and sort 100 000 rows", "filterAndSort/100000", "plainFilterAndSort/100000", "<= 1.3"},
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
    {"  of all periods", "framesOfManyTexts/bound_periods", "framesOfManyTexts/plain_periods", "",
     1, 1, Count},
    {"  99th percentile of the frames", "framesOfManyTexts/bound_p99",
     "framesOfManyTexts/plain_p99", ""},
    {"  processor time of a frame", "framesOfManyTexts/bound_processor",
     "framesOfManyTexts/plain_processor", ""},
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
    {"server: 1 000 sessions join and ask for 100 each", "joinKeywordServer/1000/elapsed",
     "joinBareServer/1000/elapsed", "<= 2", 1000, 1000},
    {"  processor time of the server", "joinKeywordServer/1000", "joinBareServer/1000", "", 1000,
     1000},
    {"  beside an echo of what they ask", "joinKeywordServer/1000", "joinEchoServer/1000", "", 1000,
     1000},
    {"reconnect with 10 000 keywords", "subscribeStorm/10000", "bareStorm/10000", "<= 2"},
};

constexpr Row plotRows[] = {
    {"a frame of 10 panned series of 10 000 samples", "framesOfPannedPlot/10000",
     "framesOfBareLines/10000", "<= 2"},
    {"  of 100 000", "framesOfPannedPlot/100000", "framesOfBareLines/100000", ""},
    {"  with 10 new samples each frame", "framesOfFollowingPlot/10000", "framesOfBareLines/10000",
     "<= 3"},
    {"  each of them a pixel further", "framesOfFastPlot/10000", "framesOfBareLines/10000", ""},
    {"  of 100 000 likewise", "framesOfFollowingPlot/100000", "framesOfBareLines/100000", ""},
};

constexpr Row gatewayRows[] = {
    {"gateway: processor time of a message to an event", "gatewayMessages/0", "mosquittoMessages/0",
     "<= 1.3"},
    {"  of a message in JSON", "gatewayMessages/1", "mosquittoMessages/1", "<= 1.3"},
    {"gateway: 100 000 retained topics until ready", "gatewayRetained/100000",
     "mosquittoRetained/100000", "<= 2"},
    {"gateway: publish to screen, one at a time, median", "publishToScreen/0",
     "publishToScreen/0/floor_p50", "<= 2", 1, 1, Time, "keyword-gateway"},
    {"  99th percentile", "publishToScreen/0/p99", "publishToScreen/0/floor_p99", "<= 3", 1, 1,
     Time, "keyword-gateway"},
    {"gateway: publish to screen, 1 000 per second, median", "publishToScreen/1000",
     "publishToScreen/1000/floor_p50", "<= 2", 1, 1, Time, "keyword-gateway"},
    {"  99th percentile", "publishToScreen/1000/p99", "publishToScreen/1000/floor_p99", "<= 3", 1,
     1, Time, "keyword-gateway"},
};

bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

std::vector<Row> rowsOf(RatioReporter::Program program)
{
    switch (program) {
    case RatioReporter::Plots:
        return {std::begin(plotRows), std::end(plotRows)};
    case RatioReporter::Gateway:
        return {std::begin(gatewayRows), std::end(gatewayRows)};
    case RatioReporter::Library:
        break;
    }
    return {std::begin(rows), std::end(rows)};
}

// Whether a figure has to be there: a filter that does not exclude, but selects, may leave out any.
bool isExpected(std::string_view name)
{
    const std::string filter = benchmark::GetBenchmarkFilter();
    if (startsWith(filter, "-"))
        return !QString::fromUtf8(name.data(), qsizetype(name.size()))
                    .contains(QRegularExpression(QString::fromStdString(filter.substr(1))));
    return filter.empty() || filter == "." || filter == "all";
}

// The name of a benchmark without what the library appends to it, such as "/iterations:1".
std::string bareName(const std::string &listed)
{
    static const QRegularExpression settings(
        QStringLiteral("/(iterations:|repeats:|min_time:|(real|manual|process)_time).*"));
    return QString::fromStdString(listed).remove(settings).toStdString();
}

const char *unit(const Row &row)
{
    if (row.kind == Rate)
        return "/s";
    if (row.kind == Count)
        return "";
    return startsWith(row.measured, "memory") ? "B" : "ns";
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

RatioReporter::RatioReporter(Program program) : program(program) { }

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

void RatioReporter::reportMissing(const Row &row, std::string_view name)
{
    anyFailed = true;
    std::fprintf(stderr, "no figure %s for the row \"%s\"\n", std::string(name).c_str(),
                 std::string(row.work).c_str());
}

bool RatioReporter::checkRows()
{
    std::stringstream listed;
    SetOutputStream(&listed);
    benchmark::RunSpecifiedBenchmarks(this, nullptr, ".");
    for (std::string name; std::getline(listed, name);)
        figures[bareName(name)];
    const auto hasBenchmark = [this](std::string_view figure) {
        // The figure may be a counter of the benchmark, behind another slash.
        return figures.count(figure) || figures.count(figure.substr(0, figure.rfind('/')));
    };
    for (const Row &row : rowsOf(program)) {
        const bool isOptional = !row.needs.empty() && !hasBenchmark(row.floor);
        if (!hasBenchmark(row.measured) && !isOptional)
            reportMissing(row, row.measured);
        if (!hasBenchmark(row.floor) && !isOptional)
            reportMissing(row, row.floor);
    }
    return !anyFailed;
}

double RatioReporter::median(std::string_view name) const
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
    for (const Row &row : rowsOf(program))
        printRow(row);
    // One row for each of the spellings, which are in a file.
    for (const auto &figure : figures) {
        const std::string_view measured = figure.first;
        if (!startsWith(measured, receiveSpelling) || measured == usualSpelling)
            continue;
        const std::string_view spelling = measured.substr(receiveSpelling.size());
        const std::string work = std::string("event: ").append(spelling);
        const std::string floor = std::string("decodeSpelling/").append(spelling);
        printRow({work, measured, floor, "<= 0.6"});
    }
    std::fflush(stdout);
}

void RatioReporter::printRow(const Row &row)
{
    const double measured = median(row.measured) / row.items;
    const double floor = median(row.floor) / row.floorItems;
    const bool isOptional = !row.needs.empty() && std::isnan(floor);
    if (std::isnan(measured) && (isOptional || !isExpected(row.measured)))
        return;
    if (std::isnan(measured))
        reportMissing(row, row.measured);
    if (std::isnan(floor) && !isOptional && isExpected(row.floor))
        reportMissing(row, row.floor);

    std::printf("%-58s ", std::string(row.work).c_str());
    printFigure(measured, unit(row));
    std::printf(" ");
    printFigure(floor, unit(row));
    if (std::isnan(measured) || std::isnan(floor))
        std::printf(" %9s", "-");
    else if (row.kind == Count)
        std::printf(" %+9.0f", measured - floor);
    else
        std::printf(" %9.2f", measured / floor);
    std::printf("  %s", std::string(row.goal).c_str());
    if (std::isnan(floor) && !row.needs.empty())
        std::printf("  (the floor needs %s)", std::string(row.needs).c_str());
    std::printf("\n");
}

int runBenchmarks(int argc, char *argv[], RatioReporter::Program program)
{
    RatioReporter reporter(program);
    if (argc == 2 && std::string_view(argv[1]) == "--check-rows") {
        std::string list = "--benchmark_list_tests=true";
        char *arguments[] = {argv[0], list.data(), nullptr};
        int count = 2;
        benchmark::Initialize(&count, arguments);
        return reporter.checkRows() ? 0 : 1;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    if (benchmark::RunSpecifiedBenchmarks(&reporter) == 0 || reporter.failed())
        return 1;
    benchmark::Shutdown();
    return 0;
}
