// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Collects the figures of all runs. At the end, prints a table that shows each figure next to its
// floor or peer from the same run. A row without its figures is a failure, unless a filter leaves
// them out.
class RatioReporter : public benchmark::BenchmarkReporter
{
public:
    // The program whose rows the table has.
    enum Program {
        Library,
        Plots,
        Gateway
    };
    struct Row;

    explicit RatioReporter(Program program);

    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

    // Compares the rows with the list of benchmarks. Returns false if a row has none.
    bool checkRows();
    bool failed() const { return anyFailed; }

private:
    void printRow(const Row &row);
    void reportMissing(const Row &row, std::string_view name);
    // The median of all repetitions, or NaN if the benchmark did not run.
    double median(std::string_view name) const;

    const Program program;
    std::map<std::string, std::vector<double>, std::less<>> figures;
    bool anyFailed = false;
};

// Runs the benchmarks that the arguments select, or with --check-rows none. Returns the exit code.
int runBenchmarks(int argc, char *argv[], RatioReporter::Program program);
