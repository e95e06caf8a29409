// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/history/keywordsamples.h"

#include <algorithm>
#include <cmath>

namespace pellix::extras {

namespace {

// For one more, but never for more than the capacity.
template <typename T> void makeRoom(std::vector<T> &vector, std::size_t most)
{
    if (vector.size() == vector.capacity())
        vector.reserve(std::min(most, std::max<std::size_t>(16, vector.size() * 2)));
}

} // namespace

static_assert(sizeof(PKeywordSample) == 16, "what is said of the memory holds");

/*!
    \class pellix::extras::PKeywordSample
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/history/keywordsamples.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordSample class contains a number and the time from which it is valid.
*/

/*!
    \variable pellix::extras::PKeywordSample::time
    \brief the time in milliseconds of PKeywordHistory::now().
*/

/*!
    \variable pellix::extras::PKeywordSample::value
    \brief the number, or NaN if no value is known from here up to the next sample.
*/

/*!
    \class pellix::extras::PKeywordExtent
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/history/keywordsamples.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordExtent class contains the lowest and the highest value of a range of samples.
*/

/*!
    \variable pellix::extras::PKeywordExtent::lowest
    \brief the lowest number, or infinity if there is none.
*/

/*!
    \variable pellix::extras::PKeywordExtent::highest
    \brief the highest number, or minus infinity if there is none.
*/

/*!
    \variable pellix::extras::PKeywordExtent::gap
    \brief whether the range contains a gap.
*/

/*!
    \fn bool PKeywordExtent::empty() const

    Returns whether the range contains no number.
*/

/*!
    \fn void PKeywordExtent::add(double value)

    Includes \a value.
*/

/*!
    \fn void PKeywordExtent::add(const PKeywordExtent &other)

    Includes all of \a other.
*/

/*!
    \class pellix::extras::PKeywordStatistics
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/history/keywordsamples.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordStatistics class contains statistics of a keyword over a period of time.

    Values that are not known are NaN.
*/

/*!
    \variable pellix::extras::PKeywordStatistics::count
    \brief the number of samples with a value within the time.
*/

/*!
    \property pellix::extras::PKeywordStatistics::count
    \brief the number of samples with a value within the time.
*/

/*!
    \variable pellix::extras::PKeywordStatistics::minimum
    \brief the lowest value within the time, the one that it began with included.
*/

/*!
    \property pellix::extras::PKeywordStatistics::minimum
    \brief the lowest value within the time, the one that it began with included.
*/

/*!
    \variable pellix::extras::PKeywordStatistics::maximum
    \brief the highest value within the time, the one that it began with included.
*/

/*!
    \property pellix::extras::PKeywordStatistics::maximum
    \brief the highest value within the time, the one that it began with included.
*/

/*!
    \variable pellix::extras::PKeywordStatistics::mean
    \brief the mean over the time in which the value was known.

    Each value is weighted by its duration, up to the next one.
*/

/*!
    \property pellix::extras::PKeywordStatistics::mean
    \brief the mean over the time in which the value was known.
*/

/*!
    \variable pellix::extras::PKeywordStatistics::last
    \brief the last value that was known within the time.
*/

/*!
    \property pellix::extras::PKeywordStatistics::last
    \brief the last value that was known within the time.
*/

/*!
    \class pellix::extras::PKeywordSamples
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/history/keywordsamples.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordSamples class stores the latest samples of a number, in the order of their
    times.

    When it is full, each new sample replaces the oldest one. The cost of appending does not depend
    on the number of samples. A sample takes 16 bytes, and one more byte for finding the lowest and
    highest of many samples quickly. Memory is allocated as samples arrive, up to the capacity.
*/

/*!
    \variable pellix::extras::PKeywordSamples::defaultCapacity
    \brief 16384 samples, which take 272 KiB.
*/

/*!
    Constructs an empty container for up to \a capacity samples, at least 1.
*/
PKeywordSamples::PKeywordSamples(std::size_t capacity) : limit(std::max<std::size_t>(capacity, 1))
{ }

/*!
    \fn std::size_t PKeywordSamples::capacity() const

    Returns the maximum number of samples.
*/

/*!
    Sets the maximum number of samples to \a capacity, at least 1. The newest samples are kept.
*/
void PKeywordSamples::setCapacity(std::size_t capacity)
{
    PKeywordSamples changed(capacity);
    const std::size_t skipped = size() > changed.limit ? size() - changed.limit : 0;
    for (std::size_t i = skipped; i < size(); ++i)
        changed.append(at(i));
    changed.changes = changes + 1;
    *this = std::move(changed);
}

/*!
    \fn std::size_t PKeywordSamples::size() const

    Returns the number of samples.
*/

/*!
    \fn bool PKeywordSamples::empty() const

    Returns whether there are no samples.
*/

/*!
    \fn const PKeywordSample &PKeywordSamples::at(std::size_t index) const

    Returns the sample at \a index, which must be less than size(). The oldest sample is at 0.
*/

/*!
    \fn const PKeywordSample &PKeywordSamples::front() const

    Returns the oldest sample. There must be at least one.
*/

/*!
    \fn const PKeywordSample &PKeywordSamples::back() const

    Returns the newest sample. There must be at least one.
*/

/*!
    Appends \a sample. A time before that of the newest sample counts as the same time.
*/
void PKeywordSamples::append(PKeywordSample sample)
{
    if (!empty())
        sample.time = std::max(sample.time, back().time);
    if (ring.size() < limit) {
        makeRoom(ring, limit);
        ring.push_back(sample);
    } else {
        ring[oldest] = sample;
        oldest = oldest + 1 == limit ? 0 : oldest + 1;
    }
    summarize(appended++, sample.value);
    ++changes;
}

// Runs are counted from the first sample ever, so those that are whole stay as they are when the
// oldest sample goes.
void PKeywordSamples::summarize(quint64 number, double value)
{
    for (Level &level : levels) {
        const auto place = static_cast<std::size_t>(number / level.run % mostExtents(level));
        if (place == level.extents.size()) {
            makeRoom(level.extents, mostExtents(level));
            level.extents.emplace_back();
        } else if (number % level.run == 0) {
            level.extents[place] = {};
        }
        level.extents[place].add(value);
    }
}

/*!
    Removes all samples.
*/
void PKeywordSamples::clear()
{
    const quint64 before = changes;
    *this = PKeywordSamples(limit);
    changes = before + 1;
}

/*!
    Returns the index of the first sample at or after \a time, or size() if all are older. The
    search starts at \a from, and finds samples near to it quickly.
*/
std::size_t PKeywordSamples::lowerBound(qint64 time, std::size_t from) const
{
    std::size_t low = from;
    std::size_t high = size();
    for (std::size_t step = 1; low + step < high; step *= 2) {
        if (at(low + step).time >= time) {
            high = low + step;
            break;
        }
        low += step;
    }
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (at(middle).time < time)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

/*!
    Returns the value that holds at \a time, or NaN if nothing is known then.
*/
double PKeywordSamples::valueAt(qint64 time) const
{
    const std::size_t next = lowerBound(time + 1);
    return next > 0 ? at(next - 1).value : std::numeric_limits<double>::quiet_NaN();
}

/*!
    Returns the extent of the samples from the index \a from up to, and not including, \a to.
*/
PKeywordExtent PKeywordSamples::extent(std::size_t from, std::size_t to) const
{
    PKeywordExtent extent;
    const quint64 first = appended - size(); // the number of the sample at 0
    while (from < to) {
        const Level *whole = nullptr;
        for (const Level &level : levels) {
            if ((first + from) % level.run == 0 && from + level.run <= to)
                whole = &level;
        }
        if (whole) {
            const quint64 run = (first + from) / whole->run;
            extent.add(whole->extents[static_cast<std::size_t>(run % mostExtents(*whole))]);
            from += whole->run;
        } else {
            extent.add(at(from).value);
            ++from;
        }
    }
    return extent;
}

/*!
    Returns the statistics of the known values from \a from to \a to.
*/
PKeywordStatistics PKeywordSamples::statistics(qint64 from, qint64 to) const
{
    PKeywordStatistics result;
    PKeywordExtent extent;
    double sum = 0;
    double known = 0; // milliseconds
    const auto hold = [&](double value, qint64 begin, qint64 end) {
        if (std::isnan(value))
            return;
        extent.add(value);
        result.last = value;
        const auto length = static_cast<double>(end - begin);
        sum += value * length;
        known += length;
    };

    std::size_t index = lowerBound(from);
    const auto end = [&](std::size_t index) {
        return index + 1 < size() ? std::min(at(index + 1).time, to) : to;
    };
    if (from <= to && index > 0 && (index == size() || at(index).time > from))
        hold(at(index - 1).value, from, end(index - 1));
    for (; index < size() && at(index).time <= to; ++index) {
        hold(at(index).value, at(index).time, end(index));
        result.count += std::isnan(at(index).value) ? 0 : 1;
    }
    if (extent.empty())
        return result;
    result.minimum = extent.lowest;
    result.maximum = extent.highest;
    result.mean = known > 0 ? sum / known : result.last;
    return result;
}

/*!
    \fn quint64 PKeywordSamples::revision() const

    Returns a number that differs whenever the samples have changed.
*/

/*!
    \fn quint64 PKeywordSamples::generation() const

    Returns a number that append() does not change, and that differs after clear() or setCapacity().
    As long as it is the same, samples have only been appended, and the oldest have been replaced.
*/

/*!
    Returns the number of bytes in use.
*/
std::size_t PKeywordSamples::memory() const
{
    std::size_t bytes = sizeof *this + ring.capacity() * sizeof(PKeywordSample);
    for (const Level &level : levels)
        bytes += level.extents.capacity() * sizeof(PKeywordExtent);
    return bytes;
}

} // namespace pellix::extras
