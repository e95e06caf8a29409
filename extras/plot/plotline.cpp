// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/plot/plotline_p.h"

#include <algorithm>
#include <cmath>

namespace pellix::extras {

namespace {

class Tracer
{
public:
    Tracer(const PlotView &view, bool stepped) : view(view), stepped(stepped) { }

    void add(double time, double value)
    {
        const double x = view.x(time);
        if (std::isnan(value)) {
            hold(x);
            endRun();
            return;
        }
        if (stepped)
            hold(x);
        addPoint(x, view.y(value));
    }

    // A column with more samples than can be seen. The nearer of its ends comes first.
    void addColumn(double time, const PKeywordExtent &extent)
    {
        const double x = view.x(time);
        if (stepped)
            hold(x);
        double first = view.y(extent.lowest);
        double second = view.y(extent.highest);
        if (known && std::abs(second - lastY) < std::abs(first - lastY))
            std::swap(first, second);
        addPoint(x, first);
        addPoint(x, second);
    }

    void hold(double x)
    {
        if (known)
            addPoint(x, lastY);
    }

    void endRun()
    {
        const std::size_t begin = line.ends.empty() ? 0 : line.ends.back();
        if (line.points.size() > begin)
            line.ends.push_back(line.points.size());
        known = false;
    }

    PlotLine line;

private:
    void addPoint(double x, double y)
    {
        line.points.emplace_back(x, y);
        lastY = y;
        known = true;
    }

    const PlotView &view;
    const bool stepped;
    bool known = false;
    double lastY = 0;
};

} // namespace

PlotLine traceLine(const PKeywordSamples &samples, const PlotView &view, bool stepped)
{
    Tracer tracer(view, stepped);
    if (samples.empty() || view.isEmpty())
        return tracer.line;
    const double column = (view.to - view.from) / view.size.width();
    std::size_t index = samples.lowerBound(static_cast<qint64>(std::ceil(view.from)));
    if (index > 0)
        --index; // reaches into the picture
    bool beyond = false;
    while (index < samples.size() && !beyond) {
        const auto time = static_cast<double>(samples.at(index).time);
        const double number = std::floor(time / column);
        const std::size_t next =
            samples.lowerBound(static_cast<qint64>(std::ceil((number + 1) * column)), index + 1);
        beyond = time > view.to; // the line leads there
        if (next - index <= 2) {
            for (std::size_t i = index; i < next; ++i)
                tracer.add(static_cast<double>(samples.at(i).time), samples.at(i).value);
        } else {
            const PKeywordExtent extent = samples.extent(index, next);
            const PKeywordSample &last = samples.at(next - 1);
            if (!extent.empty())
                tracer.addColumn((number + 0.5) * column, extent);
            if (extent.gap) {
                tracer.endRun();
                tracer.add(static_cast<double>(last.time), last.value);
            }
        }
        index = next;
    }
    if (!beyond)
        tracer.hold(view.x(std::min(view.now, view.to)));
    tracer.endRun();
    return tracer.line;
}

} // namespace pellix::extras
