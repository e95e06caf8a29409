// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/history/keywordsamples.h"

#include <QtCore/QPointF>
#include <QtCore/QSizeF>
#include <QtGui/QColor>

#include <vector>

namespace pellix::extras {

// Which times and values are where in the picture.
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

// What is drawn of one history: a line for each run of samples without a gap.
struct PlotLine
{
    QColor color;
    std::vector<QPointF> points;
    std::vector<std::size_t> ends; // of each run, into the points
};

/*
    Draws samples into a line. Where several share a column of pixels, only the column's lowest and
    highest are drawn, so that there are two points a column at the most, or four in steps.

    The columns are those of the time, not of the picture: a picture that moves along does not
    flicker.
*/
PlotLine traceLine(const PKeywordSamples &samples, const PlotView &view, bool stepped);

} // namespace pellix::extras
