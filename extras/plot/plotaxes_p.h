// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/plot/plotline_p.h"

#include <QtCore/QString>

#include <vector>

QT_BEGIN_NAMESPACE
class QDateTime;
class QFontMetricsF;
QT_END_NAMESPACE

namespace pellix::extras {

struct PlotTick
{
    double position; // pixels from the left or from the top
    QString text;
};

// Texts in the user's locale.
QString plotNumberText(double value);
QString plotBoolText(bool value);
QString plotTimeText(const QDateTime &time, double span);

// Sets the lowest and the highest value of a view to round ones that have room for an extent, and
// returns where they are labelled.
std::vector<PlotTick> valueTicks(PlotView &view, const PKeywordExtent &extent, double minimum,
                                 double maximum, bool onlyBools, const QFontMetricsF &metrics);
std::vector<PlotTick> timeTicks(const PlotView &view, const QFontMetricsF &metrics);

} // namespace pellix::extras
