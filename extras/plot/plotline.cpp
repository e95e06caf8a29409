// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/plot/plotline_p.h"

#include <algorithm>
#include <cmath>

namespace pellix::extras {

PlotTracer::PlotTracer(const PlotView &view, bool stepped)
    : view(view), column((view.to - view.from) / view.size.width()), stepped(stepped)
{ }

// Not if samples of the column where it goes on are gone.
bool PlotTracer::canExtend(const PKeywordSamples &samples) const
{
    return !begun
        || (samples.generation() == generation && !samples.empty()
            && samples.front().time <= resumeAt);
}

void PlotTracer::extend(PlotLine &line, const PKeywordSamples &samples, double end, double now)
{
    const double holdTo = std::min(now, end);
    if (samples.empty() || view.isEmpty()
        || (begun && samples.revision() == revision && end == tracedTo && holdTo == heldTo))
        return;
    revision = samples.revision();
    generation = samples.generation();
    tracedTo = end;
    heldTo = holdTo;

    line.points.resize(before.points);
    line.ends.resize(before.ends);
    known = before.known;
    lastY = before.lastY;
    std::size_t index =
        samples.lowerBound(begun ? resumeAt : static_cast<qint64>(std::ceil(view.from)));
    if (!begun && index > 0)
        --index; // reaches into the picture
    begun = true;
    bool beyond = false;
    while (index < samples.size() && !beyond) {
        before = {line.points.size(), line.ends.size(), known, lastY};
        resumeAt = samples.at(index).time;
        const double number = std::floor(static_cast<double>(resumeAt) / column);
        const std::size_t next =
            samples.lowerBound(static_cast<qint64>(std::ceil((number + 1) * column)), index + 1);
        beyond = static_cast<double>(resumeAt) > end; // the line leads there
        addColumn(line, samples, index, next);
        index = next;
    }
    if (!beyond)
        hold(line, view.x(holdTo));
    endRun(line);
    line.final = before.points;
}

void PlotTracer::addColumn(PlotLine &line, const PKeywordSamples &samples, std::size_t from,
                           std::size_t to)
{
    if (to - from <= 2) {
        for (std::size_t i = from; i < to; ++i)
            addSample(line, samples.at(i));
        return;
    }
    const PKeywordExtent extent = samples.extent(from, to);
    const double number = std::floor(static_cast<double>(samples.at(from).time) / column);
    if (!extent.empty())
        addExtent(line, (number + 0.5) * column, extent);
    if (extent.gap) {
        endRun(line);
        addSample(line, samples.at(to - 1));
    }
}

void PlotTracer::addSample(PlotLine &line, const PKeywordSample &sample)
{
    const double x = view.x(static_cast<double>(sample.time));
    if (std::isnan(sample.value)) {
        hold(line, x);
        endRun(line);
        return;
    }
    if (stepped)
        hold(line, x);
    addPoint(line, x, view.y(sample.value));
}

// More samples than can be seen. The nearer of the ends comes first.
void PlotTracer::addExtent(PlotLine &line, double time, const PKeywordExtent &extent)
{
    const double x = view.x(time);
    if (stepped)
        hold(line, x);
    double first = view.y(extent.lowest);
    double second = view.y(extent.highest);
    if (known && std::abs(second - lastY) < std::abs(first - lastY))
        std::swap(first, second);
    addPoint(line, x, first);
    addPoint(line, x, second);
}

void PlotTracer::addPoint(PlotLine &line, double x, double y)
{
    line.points.emplace_back(x, y);
    lastY = y;
    known = true;
}

void PlotTracer::hold(PlotLine &line, double x)
{
    if (known)
        addPoint(line, x, lastY);
}

void PlotTracer::endRun(PlotLine &line)
{
    const std::size_t begin = line.ends.empty() ? 0 : line.ends.back();
    if (line.points.size() > begin)
        line.ends.push_back(line.points.size());
    known = false;
}

PlotLine traceLine(const PKeywordSamples &samples, const PlotView &view, bool stepped)
{
    PlotLine line;
    PlotTracer(view, stepped).extend(line, samples, view.to, view.now);
    return line;
}

} // namespace pellix::extras
