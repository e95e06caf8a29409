// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/browser/historyplot.h"

#include <QtCore/QDateTime>
#include <QtCore/QLocale>
#include <QtGui/QFontMetricsF>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtGui/QPolygonF>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace pellix::extras;

namespace {

constexpr int redrawInterval = 34; // milliseconds, a little less than 30 times a second
constexpr int fewestSeconds = 1;
constexpr int mostSeconds = 24 * 60 * 60;
constexpr int mostValueLabels = 5;

// The next of 1, 2 or 5 times a power of ten.
double roundStep(double atLeast)
{
    const double magnitude = std::pow(10.0, std::floor(std::log10(atLeast)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (magnitude * factor >= atLeast)
            return magnitude * factor;
    }
    return magnitude * 10;
}

// The next step in seconds that people count time in.
int roundSeconds(double atLeast)
{
    for (const int step : {1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200}) {
        if (step >= atLeast)
            return step;
    }
    return 6 * 60 * 60;
}

QString valueText(double value, double step)
{
    if (std::abs(value) >= 1e7 || (step < 1e-6 && value != 0))
        return QLocale().toString(value, 'g', 6);
    const int decimals = step < 1 ? static_cast<int>(std::ceil(-std::log10(step) - 1e-9)) : 0;
    return QLocale().toString(value, 'f', decimals);
}

} // namespace

// Where the values and the times are in the item.
struct HistoryPlot::Axes
{
    QRectF area;
    qint64 from = 0;
    qint64 to = 0;
    double lowest = 0;
    double highest = 1;
    double step = 1;

    double x(qint64 time) const
    {
        return area.left()
            + area.width() * static_cast<double>(time - from) / static_cast<double>(to - from);
    }
    double y(double value) const
    {
        return area.bottom() - area.height() * (value - lowest) / (highest - lowest);
    }
    // Counted, and not added up: a step may be too small to move a large value.
    int steps() const
    {
        return static_cast<int>(std::min(20.0, std::round((highest - lowest) / step)));
    }
    double label(int i) const { return lowest + i * step; }
};

HistoryPlot::HistoryPlot(QQuickItem *parent) : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
    clock.setTimerType(Qt::PreciseTimer);
    clock.setInterval(redrawInterval);
    connect(&clock, &QTimer::timeout, this, &HistoryPlot::redraw);
    connect(this, &HistoryPlot::styleChanged, this, [this] { update(); });
}

PKeywordHistory *HistoryPlot::history() const
{
    return source;
}

void HistoryPlot::setHistory(PKeywordHistory *history)
{
    if (history == source)
        return;
    source = history;
    updateClock();
    Q_EMIT historyChanged();
}

int HistoryPlot::span() const
{
    return seconds;
}

void HistoryPlot::setSpan(int span)
{
    span = std::clamp(span, fewestSeconds, mostSeconds);
    if (span == seconds)
        return;
    seconds = span;
    update();
    Q_EMIT spanChanged();
}

bool HistoryPlot::steps() const
{
    return stepped;
}

void HistoryPlot::setSteps(bool steps)
{
    if (steps == stepped)
        return;
    stepped = steps;
    update();
    Q_EMIT stepsChanged();
}

void HistoryPlot::itemChange(ItemChange change, const ItemChangeData &data)
{
    QQuickPaintedItem::itemChange(change, data);
    if (change == ItemVisibleHasChanged || change == ItemSceneChange)
        updateClock();
}

// The time goes on also while the value stands still, so the clock draws and not the sample.
void HistoryPlot::updateClock()
{
    if (source && isVisible() && window())
        clock.start();
    else
        clock.stop();
    update();
}

void HistoryPlot::redraw()
{
    update();
    Q_EMIT redrawn();
}

void HistoryPlot::paint(QPainter *painter)
{
    if (!source || width() < 1 || height() < 1)
        return;
    QFont font = painter->font();
    font.setPixelSize(std::max(1, fontSize));
    painter->setFont(font);
    const QFontMetricsF metrics(font);
    const Axes axes = this->axes(metrics);
    if (axes.area.width() < 1 || axes.area.height() < 1)
        return;
    paintAxes(painter, axes, metrics);
    paintSamples(painter, axes);
}

HistoryPlot::Axes HistoryPlot::axes(const QFontMetricsF &metrics) const
{
    Axes axes;
    axes.to = PKeywordHistory::now();
    axes.from = axes.to - seconds * 1000LL;

    double lowest = std::numeric_limits<double>::infinity();
    double highest = -lowest;
    const PKeywordSamples &samples = source->samples();
    // The sample before the left edge reaches into the picture.
    const std::size_t first = samples.lowerBound(axes.from);
    for (std::size_t i = first > 0 ? first - 1 : 0; i < samples.size(); ++i) {
        const double value = samples.at(i).value;
        if (std::isfinite(value)) {
            lowest = std::min(lowest, value);
            highest = std::max(highest, value);
        }
    }
    const double lineHeight = metrics.height();
    const double height = std::max(1.0, this->height() - 2 * lineHeight);
    if (stepped) {
        axes.lowest = 0;
        axes.highest = 1;
        axes.step = 1;
    } else if (lowest > highest) {
        axes.lowest = 0;
        axes.highest = 1;
        axes.step = 0.5;
    } else {
        // A steady value gets some room above and below it.
        if (highest - lowest < std::abs(highest) * 1e-9 || highest == lowest) {
            const double margin = std::max(std::abs(highest) * 0.05, 0.5);
            lowest -= margin;
            highest += margin;
        }
        const double labels =
            std::clamp(std::floor(height / (2 * lineHeight)), 1.0, double(mostValueLabels));
        axes.step = roundStep((highest - lowest) / labels);
        axes.lowest = std::floor(lowest / axes.step) * axes.step;
        axes.highest = std::ceil(highest / axes.step) * axes.step;
    }

    double labelWidth = 0;
    if (stepped) {
        labelWidth =
            std::max(metrics.horizontalAdvance(tr("true")), metrics.horizontalAdvance(tr("false")));
    } else {
        for (int i = 0; i <= axes.steps(); ++i) {
            labelWidth = std::max(labelWidth,
                                  metrics.horizontalAdvance(valueText(axes.label(i), axes.step)));
        }
    }
    const double left = std::ceil(labelWidth) + 8;
    axes.area = QRectF(left, lineHeight / 2 + 1, std::max(0.0, width() - left - 2),
                       std::max(0.0, this->height() - 2 * lineHeight));
    return axes;
}

void HistoryPlot::paintAxes(QPainter *painter, const Axes &axes, const QFontMetricsF &metrics) const
{
    const double lineHeight = metrics.height();
    const auto horizontal = [&](double value, const QString &text) {
        const double y = std::round(axes.y(value)) + 0.5;
        painter->setPen(QPen(gridColor, 1));
        painter->drawLine(QPointF(axes.area.left(), y), QPointF(axes.area.right(), y));
        painter->setPen(textColor);
        painter->drawText(QRectF(0, y - lineHeight / 2, axes.area.left() - 8, lineHeight),
                          Qt::AlignRight | Qt::AlignVCenter, text);
    };
    painter->setRenderHint(QPainter::Antialiasing, false);
    if (stepped) {
        horizontal(0, tr("false"));
        horizontal(1, tr("true"));
    } else {
        for (int i = 0; i <= axes.steps(); ++i)
            horizontal(axes.label(i), valueText(axes.label(i), axes.step));
    }

    const QString format =
        seconds <= 15 * 60 ? QStringLiteral("HH:mm:ss") : QStringLiteral("HH:mm");
    const double labelWidth = metrics.horizontalAdvance(QStringLiteral("00:00:00")) + 16;
    const int step = roundSeconds(seconds * labelWidth / axes.area.width());
    const int offset =
        QDateTime::currentDateTime().offsetFromUtc(); // round times of the local clock
    const qint64 ahead = QDateTime::currentMSecsSinceEpoch() - axes.to; // of the wall clock
    qint64 tick = (((axes.from + ahead) / 1000 + offset) / step + 1) * step - offset;
    for (; tick * 1000 <= axes.to + ahead; tick += step) {
        const double x = std::round(axes.x(tick * 1000 - ahead)) + 0.5;
        painter->setPen(QPen(gridColor, 1));
        painter->drawLine(QPointF(x, axes.area.top()), QPointF(x, axes.area.bottom() + 3));
        const QString text = QDateTime::fromSecsSinceEpoch(tick).toString(format);
        const double half = metrics.horizontalAdvance(text) / 2;
        if (x - half < 0 || x + half > width())
            continue;
        painter->setPen(textColor);
        painter->drawText(QRectF(x - half, height() - lineHeight - 1, 2 * half + 1, lineHeight),
                          Qt::AlignLeft | Qt::AlignVCenter, text);
    }
}

// Draws a line for each run of known samples. Where several samples share a column of pixels, only
// the column's first, lowest, highest and last are drawn, so that the work is bounded by the width.
void HistoryPlot::paintSamples(QPainter *painter, const Axes &axes) const
{
    const PKeywordSamples &samples = source->samples();
    std::size_t index = samples.lowerBound(axes.from);
    if (index > 0)
        --index;

    painter->setRenderHint(QPainter::Antialiasing, true);
    painter->setClipRect(axes.area.adjusted(0, -2, 0, 2));
    QPolygonF line;
    QPolygonF column;
    double columnX = 0;
    const auto flushColumn = [&] {
        if (column.size() <= 4) {
            line += column;
        } else {
            const auto [low, high] = std::minmax_element(
                column.cbegin(), column.cend(),
                [](const QPointF &a, const QPointF &b) { return a.y() < b.y(); });
            line << column.constFirst();
            if (low < high)
                line << *low << *high;
            else
                line << *high << *low;
            line << column.constLast();
        }
        column.clear();
    };
    const auto flushLine = [&] {
        flushColumn();
        if (line.isEmpty())
            return;
        QPainterPath area;
        area.addPolygon(line);
        area.lineTo(line.constLast().x(), axes.area.bottom());
        area.lineTo(line.constFirst().x(), axes.area.bottom());
        area.closeSubpath();
        QColor shade = lineColor;
        shade.setAlphaF(0.15F);
        painter->fillPath(area, shade);
        painter->setPen(QPen(lineColor, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter->drawPolyline(line);
        line.clear();
    };
    const auto add = [&](double x, double y) {
        if (std::floor(x) != columnX) {
            flushColumn();
            columnX = std::floor(x);
        }
        column << QPointF(x, y);
    };

    bool known = false;
    double lastY = 0;
    for (; index < samples.size(); ++index) {
        const auto [time, value] = samples.at(index);
        const double x = axes.x(time);
        if (known && (stepped || !std::isfinite(value)))
            add(x, lastY);
        known = std::isfinite(value);
        if (!known) {
            flushLine();
            continue;
        }
        lastY = axes.y(value);
        add(x, lastY);
    }
    if (known)
        add(axes.area.right(), lastY); // it holds until now
    flushLine();
}
