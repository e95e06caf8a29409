// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

// Gathers the figures of all runs, and prints at the end one table in which each stands beside its
// floor, or its peer, of the same run.
class RatioReporter : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

    bool failed() const { return anyFailed; }

private:
    // Of all repetitions, or NaN where it did not run.
    double median(const std::string &name) const;

    std::map<std::string, std::vector<double>> figures;
    bool anyFailed = false;
};
