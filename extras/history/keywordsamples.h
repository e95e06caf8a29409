// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/extrasglobal.h"

#include <QtCore/QObject>
#include <QtQml/qqmlregistration.h>

#include <array>
#include <limits>
#include <vector>

namespace pellix::extras {

struct PKeywordSample
{
    qint64 time; // milliseconds by PKeywordHistory::now()
    double value; // not a number: nothing is known from here on
};

struct PKeywordExtent
{
    double lowest = std::numeric_limits<double>::infinity();
    double highest = -std::numeric_limits<double>::infinity();
    bool gap = false; // nothing is known somewhere in between

    bool empty() const { return lowest > highest; }
    inline void add(double value);
    inline void add(const PKeywordExtent &other);
};

struct PELLIXCLIENT_EXTRAS_EXPORT PKeywordStatistics
{
    Q_GADGET
    Q_PROPERTY(int count MEMBER count)
    Q_PROPERTY(double minimum MEMBER minimum)
    Q_PROPERTY(double maximum MEMBER maximum)
    Q_PROPERTY(double mean MEMBER mean)
    Q_PROPERTY(double last MEMBER last)
    QML_VALUE_TYPE(keywordStatistics)

public:
    int count = 0;
    double minimum = std::numeric_limits<double>::quiet_NaN();
    double maximum = std::numeric_limits<double>::quiet_NaN();
    double mean = std::numeric_limits<double>::quiet_NaN();
    double last = std::numeric_limits<double>::quiet_NaN();
};

class PELLIXCLIENT_EXTRAS_EXPORT PKeywordSamples
{
public:
    static constexpr std::size_t defaultCapacity = 16384;

    explicit PKeywordSamples(std::size_t capacity = defaultCapacity);

    std::size_t capacity() const { return limit; }
    void setCapacity(std::size_t capacity);

    std::size_t size() const { return ring.size(); }
    bool empty() const { return ring.empty(); }
    const PKeywordSample &at(std::size_t index) const { return ring[slot(index)]; }
    const PKeywordSample &front() const { return at(0); }
    const PKeywordSample &back() const { return at(size() - 1); }

    void append(PKeywordSample sample);
    void clear();

    std::size_t lowerBound(qint64 time, std::size_t from = 0) const;
    double valueAt(qint64 time) const;
    PKeywordExtent extent(std::size_t from, std::size_t to) const;
    PKeywordStatistics statistics(qint64 from, qint64 to) const;

    quint64 revision() const { return changes; }
    quint64 generation() const { return changes - appended; }
    std::size_t memory() const;

private:
    // The extents of runs of samples, so that those of many samples need not look at each.
    struct Level
    {
        std::size_t run; // samples of one extent
        std::vector<PKeywordExtent> extents;
    };

    std::size_t slot(std::size_t index) const
    {
        const std::size_t place = oldest + index;
        return place < ring.size() ? place : place - ring.size();
    }
    std::size_t mostExtents(const Level &level) const { return limit / level.run + 2; }
    void summarize(quint64 number, double value);

    std::size_t limit;
    std::size_t oldest = 0; // where it is in the ring
    quint64 appended = 0; // also what has made room since
    quint64 changes = 0;
    std::vector<PKeywordSample> ring;
    std::array<Level, 2> levels {Level {32, {}}, Level {1024, {}}};
};

void PKeywordExtent::add(double value)
{
    if (value < lowest)
        lowest = value;
    if (value > highest)
        highest = value;
    gap |= value != value; // as only what is no number does
}

void PKeywordExtent::add(const PKeywordExtent &other)
{
    if (other.lowest < lowest)
        lowest = other.lowest;
    if (other.highest > highest)
        highest = other.highest;
    gap |= other.gap;
}

} // namespace pellix::extras
