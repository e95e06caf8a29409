// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/history/keywordsamples.h"

#include <QtCore/QPointF>
#include <QtCore/QSizeF>
#include <QtGui/QColor>

#include <vector>

namespace pellix::extras {

// Maps times and values to positions in the plot.
struct PlotView
{
    double from = 0; // milliseconds by PKeywordHistory::now(), at the left edge
    double to = 1;
    double now = 1; // up to then the last value holds
    double lowest = 0; // at the lower edge
    double highest = 1;
    QSizeF size;
    double padding = 0; // above the highest and below the lowest, where a line has its width

    double x(double time) const { return size.width() * (time - from) / (to - from); }
    double y(double value) const
    {
        return padding + (size.height() - 2 * padding) * (highest - value) / (highest - lowest);
    }
    double timeAt(double x) const { return from + (to - from) * x / size.width(); }
    bool isEmpty() const { return size.width() < 1 || size.height() < 1; }
};

// The drawing of one history: a line for each run of samples without a gap.
struct PlotLine
{
    QColor color;
    std::vector<QPointF> points;
    std::vector<std::size_t> ends; // of each run, into the points
    std::size_t final = 0; // so many of the points stay as they are while the serial is the same
    int serial = 0;
};

/*
    Converts samples to a line. Of several samples in the same column of pixels, only the lowest and
    highest are drawn, so that there are at most two points per column, or four with steps.

    The columns are fixed in time, not in the plot: a moving plot does not flicker, and a completed
    column does not change. So new samples extend a line.
*/
class PlotTracer
{
public:
    // The scale, and where the line begins.
    PlotTracer(const PlotView &view, bool stepped);

    // Whether a line that was traced from these samples can go on.
    bool canExtend(const PKeywordSamples &samples) const;

    // Traces the samples before the end, and extends the last value up to now.
    void extend(PlotLine &line, const PKeywordSamples &samples, double end, double now);

private:
    // The line without its last column.
    struct State
    {
        std::size_t points = 0;
        std::size_t ends = 0;
        bool known = false;
        double lastY = 0;
    };

    void addColumn(PlotLine &line, const PKeywordSamples &samples, std::size_t from,
                   std::size_t to);
    void addSample(PlotLine &line, const PKeywordSample &sample);
    void addExtent(PlotLine &line, double time, const PKeywordExtent &extent);
    void addPoint(PlotLine &line, double x, double y);
    void hold(PlotLine &line, double x);
    void endRun(PlotLine &line);

    PlotView view;
    double column; // milliseconds
    bool stepped;
    bool known = false;
    double lastY = 0;

    State before;
    bool begun = false;
    qint64 resumeAt = 0; // the first sample of the last column
    quint64 revision = 0;
    quint64 generation = 0;
    double heldTo = 0;
    double tracedTo = 0;
};

// A line that is traced once.
PlotLine traceLine(const PKeywordSamples &samples, const PlotView &view, bool stepped);

} // namespace pellix::extras
