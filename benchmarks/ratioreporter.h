// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

// Collects the figures of all runs. At the end, prints a table that shows each figure next to its
// floor or peer from the same run.
class RatioReporter : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

    bool failed() const { return anyFailed; }

private:
    // The median of all repetitions, or NaN if the benchmark did not run.
    double median(const std::string &name) const;

    std::map<std::string, std::vector<double>> figures;
    bool anyFailed = false;
};
