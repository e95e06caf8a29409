// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QtGlobal>

#include <algorithm>
#include <array>
#include <vector>

// The memory that this process uses, in bytes.
struct Memory
{
    qint64 resident = 0; // pages in RAM, as counted by the system
    qint64 heap = 0; // allocated and not freed

    static Memory now();
};

// The lowest and the highest of several values.
struct MemorySpread
{
    qint64 lowest = 0;
    qint64 highest = 0;
    double relative() const { return lowest ? double(highest - lowest) / double(lowest) : 1; }
};

// How much one field grows after the warm-up, in relation to its median: the median slope of all
// pairs of samples, times the duration. Unlike the difference between start and end, it hardly
// depends on when the allocator returns pages to the system.
template <typename Sample>
double growthOf(const std::vector<Sample> &samples, qint64 warmUp, qint64 Memory::*field)
{
    const auto medianOf = [](auto *values) {
        const auto middle = values->begin() + ptrdiff_t(values->size() / 2);
        std::nth_element(values->begin(), middle, values->end());
        return *middle;
    };
    std::vector<qint64> values;
    std::vector<double> slopes;
    for (auto one = samples.begin(); one != samples.end(); ++one) {
        if (one->milliseconds < warmUp)
            continue;
        values.push_back(one->memory.*field);
        for (auto later = one + 1; later != samples.end(); ++later) {
            const qint64 time = later->milliseconds - one->milliseconds;
            if (time > 0)
                slopes.push_back(double(later->memory.*field - one->memory.*field) / double(time));
        }
    }
    if (slopes.empty())
        return 1;
    const qint64 usual = medianOf(&values);
    return usual ? medianOf(&slopes) * double(samples.back().milliseconds - warmUp) / double(usual)
                 : 1;
}

// Divides the time after the warm-up into ten sections, and compares the medians of one field in
// them: a single sample includes pages that the allocator or the system keeps only for a moment.
// Samples have the members memory and milliseconds.
template <typename Sample>
MemorySpread spreadOf(const std::vector<Sample> &samples, qint64 warmUp, qint64 Memory::*field)
{
    if (samples.empty())
        return {};
    std::array<std::vector<qint64>, 10> sections;
    const qint64 duration = std::max<qint64>(1, samples.back().milliseconds - warmUp + 1);
    for (const Sample &sample : samples) {
        const qint64 time = sample.milliseconds - warmUp;
        if (time >= 0)
            sections.at(size_t(time * 10 / duration)).push_back(sample.memory.*field);
    }
    MemorySpread spread;
    for (std::vector<qint64> &values : sections) {
        if (values.empty())
            continue;
        const auto middle = values.begin() + ptrdiff_t(values.size() / 2);
        std::nth_element(values.begin(), middle, values.end());
        spread.lowest = spread.lowest ? std::min(spread.lowest, *middle) : *middle;
        spread.highest = std::max(spread.highest, *middle);
    }
    return spread;
}
