// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "benchmarks/otherprocess.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>

#include <benchmark/benchmark.h>

#include <functional>

// Measures how many events this process receives per second of elapsed time, and per second of its
// own processor time. The two differ if it waits for the sender, or for a busy processor.
inline void measureEventRate(benchmark::State &state, int count,
                             const std::function<bool()> &receiveAll)
{
    for (auto _ : state) {
        const double processorBefore = processorTime(QCoreApplication::applicationPid());
        QElapsedTimer timer;
        timer.start();
        if (!receiveAll()) {
            state.SkipWithError("events were lost");
            return;
        }
        const double processor =
            processorTime(QCoreApplication::applicationPid()) - processorBefore;
        state.counters["per_second"] = count / (double(timer.nsecsElapsed()) / 1e9);
        state.counters["per_processor_second"] = count / processor;
    }
}
