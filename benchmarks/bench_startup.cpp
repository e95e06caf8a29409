// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/otherprocess.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
#include <vector>

namespace {

// A program with a window that shows one value, started several times.
class FirstValue
{
public:
    FirstValue(const char *name, const QStringList &arguments = {})
        : name(name), arguments(arguments)
    { }

    // Until the first frame with the value. Returns false if there is no such frame.
    bool start()
    {
        QProcess process;
        const auto started = std::chrono::steady_clock::now();
        process.start(QStringLiteral(FIRST_VALUE_PROGRAMS) + QLatin1String(name), arguments);
        if (!process.waitForFinished() || process.exitCode() != 0)
            return false;
        const QByteArrayList times = process.readAllStandardOutput().simplified().split(' ');
        if (times.size() != 2)
            return false;
        const std::chrono::nanoseconds before = started.time_since_epoch();
        elapsed.push_back(times[0].toDouble() - double(before.count()));
        processor.push_back(times[1].toDouble());
        return true;
    }

    void report(benchmark::State &state)
    {
        state.counters[name] = median(elapsed);
        state.counters[std::string(name) + "_processor"] = median(processor);
    }

private:
    static double median(std::vector<double> &times)
    {
        std::sort(times.begin(), times.end());
        return times[times.size() / 2];
    }

    const char *const name;
    const QStringList arguments;
    std::vector<double> elapsed;
    std::vector<double> processor;
};

// From the start of a process to the first frame with a value in it: with the server in the
// process, from a server that is running already, and with a text instead of the library. All three
// are started in turn, each of them first as often as the others.
void firstValue(benchmark::State &state)
{
    const OtherProcess server(QStringLiteral("keywords"), {QStringLiteral("1")});
    FirstValue programs[] = {
        {"plain"}, {"socket", {server.url()}}, {"inprocess"}, {"websocket", {server.url()}}};
    const int starts = smokeRun() ? 1 : 21;
    for (auto _ : state) {
        for (int i = 0; i < starts; ++i) {
            for (size_t program = 0; program < std::size(programs); ++program) {
                if (!programs[(size_t(i) + program) % std::size(programs)].start()) {
                    state.SkipWithError("a program has not shown the value");
                    return;
                }
            }
        }
    }
    for (FirstValue &program : programs)
        program.report(state);
}
BENCHMARK(firstValue)->Iterations(1)->UseRealTime();

} // namespace
