// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/plot/plotline_p.h"

#include <QtGui/QColor>
#include <QtGui/QImage>

#include <vector>

QT_BEGIN_NAMESPACE
class QQuickWindow;
class QSGNode;
QT_END_NAMESPACE

namespace pellix::extras {

// Everything that is drawn, in the coordinates of the item.
struct PlotPicture
{
    QSizeF size;
    QColor gridColor;
    std::vector<double> horizontals; // where the grid is
    std::vector<double> verticals;
    std::vector<PlotLine> lines;
    double offset = 0; // of the lines, to the right
    double lineWidth = 1;
    double fillOpacity = 0;
};

/*
    Draws a picture with the scene graph of a window: as triangles where there is a graphics API,
    and as an image with software rendering, which does not support geometry.

    Takes the node that it returned last for the same item, and returns its replacement.
*/
QSGNode *drawPlot(const PlotPicture &picture, QQuickWindow &window, QSGNode *last);

// Its two ways of drawing.
QSGNode *drawTriangles(const PlotPicture &picture, QSGNode *last);
QImage paintPlot(const PlotPicture &picture, double pixelRatio);

} // namespace pellix::extras
