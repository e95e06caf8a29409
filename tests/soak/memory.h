// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QtGlobal>

#include <algorithm>
#include <vector>

// The memory that this process uses, in bytes.
struct Memory
{
    qint64 resident = 0; // pages in RAM, as counted by the system
    qint64 heap = 0; // allocated and not freed

    static Memory now();
};

// The lowest and the highest of several measured values.
struct MemorySpread
{
    qint64 lowest = 0;
    qint64 highest = 0;
    double relative() const { return lowest ? double(highest - lowest) / double(lowest) : 1; }
};

// The values of one field after the warm-up. Samples have the members memory and milliseconds.
template <typename Sample>
MemorySpread spreadOf(const std::vector<Sample> &samples, qint64 warmUp, qint64 Memory::*field)
{
    MemorySpread spread;
    for (const Sample &sample : samples) {
        if (sample.milliseconds < warmUp)
            continue;
        const qint64 bytes = sample.memory.*field;
        spread.lowest = spread.lowest ? std::min(spread.lowest, bytes) : bytes;
        spread.highest = std::max(spread.highest, bytes);
    }
    return spread;
}
