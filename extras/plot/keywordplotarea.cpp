// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/plot/keywordplotarea.h"

#include "client/keywordtypes.h"
#include "extras/plot/plotaxes_p.h"
#include "extras/plot/plotline_p.h"
#include "extras/plot/plotmodels_p.h"
#include "extras/plot/plotnode_p.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtGui/QFontMetricsF>
#include <QtQml/QQmlInfo>
#include <QtQuick/QQuickWindow>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

using pellix::client::PKeywordValueType;

namespace pellix::extras {

namespace {

constexpr int shortestRedraw = 34; // milliseconds, a little less than 30 times a second
constexpr int longestRedraw = 250;
constexpr double shortestSpan = 1; // seconds
constexpr double longestSpan = 30 * 24 * 3600;
constexpr qint64 summaryInterval = 1000; // milliseconds
constexpr double goneWidth = 8; // pixels of samples that have made room, before they are taken away
constexpr double nothing = std::numeric_limits<double>::quiet_NaN();

bool isSame(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

bool isBool(const PKeywordHistory *history)
{
    return history->valueType() == static_cast<int>(PKeywordValueType::KVT_BOOL);
}

QString valueText(const PKeywordHistory *history, double value)
{
    return isBool(history) && !std::isnan(value) ? plotBoolText(value != 0) : plotNumberText(value);
}

// The samples in a view, including the one before its start.
PKeywordExtent visibleExtent(const PKeywordSamples &samples, const PlotView &view)
{
    const std::size_t first = samples.lowerBound(static_cast<qint64>(std::ceil(view.from)));
    const std::size_t end = samples.lowerBound(static_cast<qint64>(std::floor(view.to)) + 1, first);
    return samples.extent(first > 0 ? first - 1 : 0, end);
}

} // namespace

class Q_DECL_HIDDEN PKeywordPlotArea::Private
{
public:
    QList<PKeywordHistory *> all() const
    {
        return source ? source->histories() : QList<PKeywordHistory *>();
    }
    QList<PKeywordHistory *> shown() const
    {
        QList<PKeywordHistory *> result = all();
        result.removeIf([this](PKeywordHistory *one) { return hidden.contains(one); });
        return result;
    }
    QColor color(qsizetype row) const { return colors.at(row % colors.size()); }
    double length() const { return seconds * 1000; }
    double perPixel(double width) const { return length() / std::max(1.0, width); }

    // The time of the first sample of any, or now.
    double oldest() const
    {
        double time = static_cast<double>(PKeywordHistory::now());
        for (const PKeywordHistory *history : all()) {
            if (!history->samples().empty())
                time = std::min(time, static_cast<double>(history->samples().front().time));
        }
        return time;
    }

    void lookAt(const QSizeF &size);
    void layOut(const QFontMetricsF &metrics);
    void trace();
    void beginLines();
    void beginLine(std::size_t i);
    bool showsWhatIsGone(const PKeywordSamples &samples, const PlotLine &line) const;
    void tell(double cursor);
    bool sumUp();

    QPointer<PKeywordHistories> source;
    QList<QPointer<PKeywordHistory>> hidden;
    double seconds = 60;
    bool isFollowing = true;
    double end = 0; // the time at the right edge, unless following
    bool stepped = false;
    double lowest = nothing;
    double highest = nothing;

    QList<QColor> colors {QColor(0x0b7a6a)};
    QColor grid = Qt::gray;
    QFont font;
    double lineWidth = 1.6;
    double fillOpacity = 0.15;
    double cursor = nothing;

    // The input of the lines: while it is the same, they are only moved and extended.
    struct Traced
    {
        double lowest = 0;
        double highest = 0;
        double length = 0;
        QSizeF size;
        double lineWidth = 0;
        double fillOpacity = 0;
        std::vector<const PKeywordHistory *> histories;
        std::vector<QColor> colors;
        std::vector<bool> stepped;

        bool operator==(const Traced &other) const
        {
            return std::tie(lowest, highest, length, size, lineWidth, fillOpacity, histories,
                            colors, stepped)
                == std::tie(other.lowest, other.highest, other.length, other.size, other.lineWidth,
                            other.fillOpacity, other.histories, other.colors, other.stepped);
        }
    };

    PlotView view;
    PlotView scale; // of the lines
    PlotView tracedView; // what they show, which may be more than is seen
    Traced traced;
    std::vector<PlotTracer> tracers; // of the lines of the picture
    int serial = 0; // of the last line that was begun
    PlotPicture picture;
    PlotSeries series;
    PlotTicks valueTicks;
    PlotTicks timeTicks;
    QString cursorText;
    QString summary;
    QElapsedTimer sinceSummary;
    double labelWidth = 0;

    QTimer clock;
    bool stale = false; // samples have come that were not drawn
};

void PKeywordPlotArea::Private::lookAt(const QSizeF &size)
{
    view.now = static_cast<double>(PKeywordHistory::now());
    view.to = isFollowing ? view.now : end;
    view.from = view.to - length();
    view.size = size;
    view.padding = std::ceil(lineWidth);
}

void PKeywordPlotArea::Private::layOut(const QFontMetricsF &metrics)
{
    PKeywordExtent extent;
    bool onlyBools = false;
    const QList<PKeywordHistory *> histories = shown();
    for (const PKeywordHistory *history : histories)
        extent.add(visibleExtent(history->samples(), view));
    if (!histories.isEmpty())
        onlyBools = std::all_of(histories.cbegin(), histories.cend(), isBool);

    const std::vector<PlotTick> values =
        pellix::extras::valueTicks(view, extent, lowest, highest, onlyBools, metrics);
    const std::vector<PlotTick> times = pellix::extras::timeTicks(view, metrics);
    picture.size = view.size;
    picture.gridColor = grid;
    picture.lineWidth = lineWidth;
    picture.fillOpacity = histories.size() == 1 ? fillOpacity : 0;
    picture.horizontals.clear();
    labelWidth = 0;
    for (const PlotTick &tick : values) {
        picture.horizontals.push_back(tick.position);
        labelWidth = std::max(labelWidth, std::ceil(metrics.horizontalAdvance(tick.text)));
    }
    picture.verticals.clear();
    for (const PlotTick &tick : times)
        picture.verticals.push_back(tick.position);
    valueTicks.setTicks(values);
    timeTicks.setTicks(times);
}

void PKeywordPlotArea::Private::trace()
{
    Traced wanted {view.lowest,         view.highest, length(), view.size, lineWidth,
                   picture.fillOpacity, {},           {},       {}};
    const QList<PKeywordHistory *> histories = all();
    for (qsizetype row = 0; row < histories.size(); ++row) {
        PKeywordHistory *history = histories.at(row);
        if (hidden.contains(history))
            continue;
        wanted.histories.push_back(history);
        wanted.colors.push_back(color(row));
        wanted.stepped.push_back(stepped || isBool(history));
    }
    const bool within = tracedView.from <= view.from && view.from <= tracedView.from + 3 * length()
        && (isFollowing || view.to <= tracedView.to);
    if (!within || !(wanted == traced)) {
        traced = wanted;
        beginLines();
    }
    tracedView.to = std::max(tracedView.to, view.to);
    for (std::size_t i = 0; i < traced.histories.size(); ++i) {
        const PKeywordSamples &samples = traced.histories[i]->samples();
        if (!tracers[i].canExtend(samples) || showsWhatIsGone(samples, picture.lines[i]))
            beginLine(i);
        tracers[i].extend(picture.lines[i], samples, tracedView.to, view.now);
    }
    picture.offset = view.x(tracedView.from);
}

void PKeywordPlotArea::Private::beginLines()
{
    tracedView = view;
    if (!isFollowing) { // and is panned, perhaps
        const double margin = std::max(0.0, std::min(length(), view.now - view.to));
        tracedView.from -= length();
        tracedView.to += margin;
        tracedView.size.rwidth() *= (tracedView.to - tracedView.from) / length();
    }
    scale = tracedView;
    tracers.assign(traced.histories.size(), PlotTracer(scale, false));
    picture.lines.assign(traced.histories.size(), {});
    for (std::size_t i = 0; i < tracers.size(); ++i)
        beginLine(i);
}

void PKeywordPlotArea::Private::beginLine(std::size_t i)
{
    tracers[i] = PlotTracer(scale, traced.stepped[i]);
    picture.lines[i] = {};
    picture.lines[i].color = traced.colors[i];
    picture.lines[i].serial = ++serial;
}

// The oldest samples have made room. Their part of a line is not taken away at each of them, since
// all of the line is made anew then.
bool PKeywordPlotArea::Private::showsWhatIsGone(const PKeywordSamples &samples,
                                                const PlotLine &line) const
{
    if (line.points.empty() || samples.empty())
        return !line.points.empty();
    const double shownFrom = std::max(line.points.front().x(), scale.x(view.from));
    return scale.x(static_cast<double>(samples.front().time)) > shownFrom + goneWidth;
}

// Updates the models and the texts. A cursor position that is not a number is not shown.
void PKeywordPlotArea::Private::tell(double cursor)
{
    const bool pointed = !std::isnan(cursor);
    const auto time = pointed ? static_cast<qint64>(view.timeAt(cursor)) : 0;
    cursorText = pointed ? plotTimeText(PKeywordHistory::wallTime(time), length()) : QString();
    std::vector<PlotSeries::Row> rows;
    const QList<PKeywordHistory *> histories = all();
    for (qsizetype i = 0; i < histories.size(); ++i) {
        PKeywordHistory *history = histories.at(i);
        const PKeywordSamples &samples = history->samples();
        // Beyond now, nothing is known.
        const double there = pointed && double(time) <= view.now ? samples.valueAt(time) : nothing;
        rows.push_back({history->name(), history->keyword(), color(i), !hidden.contains(history),
                        valueText(history, samples.empty() ? nothing : samples.back().value),
                        pointed ? valueText(history, there) : QString()});
    }
    series.setRows(rows);
}

// Limits the rate of updates for screen readers. Returns whether it has changed.
bool PKeywordPlotArea::Private::sumUp()
{
    if (sinceSummary.isValid() && sinceSummary.elapsed() < summaryInterval)
        return false;
    sinceSummary.start();
    QStringList parts;
    for (const PlotSeries::Row &row : series.entries()) {
        if (row.shown)
            parts.append(tr("%1: %2", "keyword: value").arg(row.name, row.value));
    }
    const QString text = parts.join(QLatin1String("; "));
    if (text == summary)
        return false;
    summary = text;
    return true;
}

/*!
    \class pellix::extras::PKeywordPlotArea
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/plot/keywordplotarea.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordPlotArea class draws the lines and the grid of a plot of histories.

    PKeywordPlot adds axes, a legend, and a cursor. Use this item to build a plot of your own; its
    models provide the labels.

    The cost of a frame depends on the number of pixels, not of samples: of all samples in the same
    column of pixels, only the lowest and the highest are drawn. At most 30 frames per second are
    drawn, and only while their content changes. A gap in the samples is a gap in the line. Boolean
    values are drawn in steps.

    The item is drawn with triangles or, with the software adaptation of the scene graph, as an
    image.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::histories
    \brief the histories to draw. The default is \c nullptr. The item does not own them.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::span
    \brief the time from the left edge to the right edge, in seconds, from 1 to 2 592 000. The
    default is 60.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::following
    \brief whether the right edge is the current time. The default is \c true.

    If it is \c false, the plot does not move. Panning into the past sets the property to \c false,
    and panning back to the current time sets it to \c true.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::steps
    \brief whether numbers are also drawn in steps. The default is \c false.

    A server sends a value when it changes, so steps represent the known values exactly. A line
    resembles the behavior of many measured quantities.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::minimum
    \brief the value at the lower edge; NaN, the default, is what the values need.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::maximum
    \brief the value at the upper edge; NaN, the default, is what the values need.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::colors
    \brief the colors of the lines. If there are more lines than colors, the colors repeat.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::gridColor
    \brief the color of the grid.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::labelFont
    \brief the font of the labels, from which their number is computed.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::lineWidth
    \brief the width of the lines in pixels, from 1 to 20. The default is 1.6.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::fillOpacity
    \brief the opacity of the area below the line if there is only one line. The default is 0.15.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::cursorX
    \brief the position of the cursor in pixels from the left edge, or NaN if there is none.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::cursorShown
    \brief whether the cursor is within the item.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::cursorText
    \brief the time at the cursor as text.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::cursorSummary
    \brief the time and the values at the cursor as text for screen readers.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::from
    \brief the time at the left edge.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::to
    \brief the time at the right edge.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::summary
    \brief the current values as text for screen readers. It changes at most once per second.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::valueLabelWidth
    \brief the width of the widest value label in pixels.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::series
    \brief a model of the lines: \c name, \c keyword, \c color, \c shown, \c value, \c cursorValue.

    The values are strings: the last value, and the value at the cursor.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::valueTicks
    \brief a model of the value labels: \c position in pixels from the top, \c text.
*/

/*!
    \property pellix::extras::PKeywordPlotArea::timeTicks
    \brief a model of the time labels: \c position in pixels from the left, \c text.
*/

/*!
    \fn void PKeywordPlotArea::frameChanged()

    This signal is emitted when the item has been redrawn.
*/

/*!
    Constructs an item that draws nothing. \a parent is its visual parent, if given.
*/
PKeywordPlotArea::PKeywordPlotArea(QQuickItem *parent)
    : QQuickItem(parent), d(std::make_unique<Private>())
{
    setFlag(ItemHasContents);
    setClip(true);
    d->clock.setTimerType(Qt::PreciseTimer);
    connect(&d->clock, &QTimer::timeout, this, &PKeywordPlotArea::onTick);
    connect(this, &PKeywordPlotArea::styleChanged, this, &QQuickItem::polish);
    connect(this, &PKeywordPlotArea::cursorChanged, this, &QQuickItem::polish);
}

/*!
    Destroys the item.
*/
PKeywordPlotArea::~PKeywordPlotArea() = default;

PKeywordHistories *PKeywordPlotArea::histories() const
{
    return d->source;
}

void PKeywordPlotArea::setHistories(PKeywordHistories *histories)
{
    if (histories == d->source)
        return;
    if (d->source)
        d->source->disconnect(this);
    d->source = histories;
    d->hidden.clear();
    if (histories) {
        connect(histories, &PKeywordHistories::historiesChanged, this, [this] {
            d->traced = {}; // a new one may have the address of an old one
            polish();
        });
        connect(histories, &PKeywordHistories::sampled, this, &PKeywordPlotArea::onSampled);
        connect(histories, &QObject::destroyed, this, [this] {
            runClock();
            polish();
            Q_EMIT historiesChanged();
        });
    }
    runClock();
    polish();
    Q_EMIT historiesChanged();
}

double PKeywordPlotArea::span() const
{
    return d->seconds;
}

void PKeywordPlotArea::setSpan(double span)
{
    if (std::isnan(span)) {
        qmlWarning(this) << "span is not a number";
        return;
    }
    span = std::clamp(span, shortestSpan, longestSpan);
    if (span == d->seconds)
        return;
    d->seconds = span;
    runClock();
    polish();
    Q_EMIT spanChanged();
}

bool PKeywordPlotArea::following() const
{
    return d->isFollowing;
}

void PKeywordPlotArea::setFollowing(bool following)
{
    if (following == d->isFollowing)
        return;
    d->isFollowing = following;
    if (!following)
        d->end = static_cast<double>(PKeywordHistory::now());
    runClock();
    polish();
    Q_EMIT followingChanged();
}

bool PKeywordPlotArea::steps() const
{
    return d->stepped;
}

void PKeywordPlotArea::setSteps(bool steps)
{
    if (steps == d->stepped)
        return;
    d->stepped = steps;
    polish();
    Q_EMIT stepsChanged();
}

double PKeywordPlotArea::minimum() const
{
    return d->lowest;
}

void PKeywordPlotArea::setMinimum(double minimum)
{
    if (isSame(minimum, d->lowest))
        return;
    d->lowest = minimum;
    polish();
    Q_EMIT minimumChanged();
}

double PKeywordPlotArea::maximum() const
{
    return d->highest;
}

void PKeywordPlotArea::setMaximum(double maximum)
{
    if (isSame(maximum, d->highest))
        return;
    d->highest = maximum;
    polish();
    Q_EMIT maximumChanged();
}

QVariantList PKeywordPlotArea::colors() const
{
    return QVariantList(d->colors.cbegin(), d->colors.cend());
}

void PKeywordPlotArea::setColors(const QVariantList &colors)
{
    QList<QColor> taken;
    for (const QVariant &variant : colors) {
        const auto color = variant.value<QColor>();
        if (color.isValid())
            taken.append(color);
        else
            qmlWarning(this) << "colors contains an invalid color: " << variant.toString();
    }
    if (taken.isEmpty() || taken == d->colors)
        return; // a line has to have one
    d->colors = taken;
    Q_EMIT styleChanged();
}

QColor PKeywordPlotArea::gridColor() const
{
    return d->grid;
}

void PKeywordPlotArea::setGridColor(const QColor &color)
{
    if (color == d->grid)
        return;
    d->grid = color;
    Q_EMIT styleChanged();
}

QFont PKeywordPlotArea::labelFont() const
{
    return d->font;
}

void PKeywordPlotArea::setLabelFont(const QFont &font)
{
    if (font == d->font)
        return;
    d->font = font;
    Q_EMIT styleChanged();
}

double PKeywordPlotArea::lineWidth() const
{
    return d->lineWidth;
}

void PKeywordPlotArea::setLineWidth(double width)
{
    width = std::isnan(width) ? 1 : std::clamp(width, 1.0, 20.0);
    if (width == d->lineWidth)
        return;
    d->lineWidth = width;
    Q_EMIT styleChanged();
}

double PKeywordPlotArea::fillOpacity() const
{
    return d->fillOpacity;
}

void PKeywordPlotArea::setFillOpacity(double opacity)
{
    opacity = std::isnan(opacity) ? 0 : std::clamp(opacity, 0.0, 1.0);
    if (opacity == d->fillOpacity)
        return;
    d->fillOpacity = opacity;
    Q_EMIT styleChanged();
}

double PKeywordPlotArea::cursorX() const
{
    return d->cursor;
}

void PKeywordPlotArea::setCursorX(double x)
{
    if (isSame(x, d->cursor))
        return;
    d->cursor = x;
    Q_EMIT cursorChanged();
}

/*!
    Removes the cursor.
*/
void PKeywordPlotArea::resetCursor()
{
    setCursorX(nothing);
}

bool PKeywordPlotArea::cursorShown() const
{
    return d->cursor >= 0 && d->cursor <= width();
}

QString PKeywordPlotArea::cursorText() const
{
    return d->cursorText;
}

QString PKeywordPlotArea::cursorSummary() const
{
    QStringList parts {d->cursorText};
    for (const PlotSeries::Row &row : d->series.entries()) {
        if (row.shown)
            parts.append(tr("%1: %2", "keyword: value").arg(row.name, row.cursorValue));
    }
    return parts.join(QLatin1String("; "));
}

QDateTime PKeywordPlotArea::from() const
{
    return PKeywordHistory::wallTime(static_cast<qint64>(d->view.from));
}

QDateTime PKeywordPlotArea::to() const
{
    return PKeywordHistory::wallTime(static_cast<qint64>(d->view.to));
}

QString PKeywordPlotArea::summary() const
{
    return d->summary;
}

double PKeywordPlotArea::valueLabelWidth() const
{
    return d->labelWidth;
}

QAbstractItemModel *PKeywordPlotArea::series() const
{
    return &d->series;
}

QAbstractItemModel *PKeywordPlotArea::valueTicks() const
{
    return &d->valueTicks;
}

QAbstractItemModel *PKeywordPlotArea::timeTicks() const
{
    return &d->timeTicks;
}

/*!
    Moves the plot to the right by \a pixels, to show earlier times. If \a pixels is negative, moves
    it to the left, at most up to the current time.
*/
void PKeywordPlotArea::pan(double pixels)
{
    const auto now = static_cast<double>(PKeywordHistory::now());
    moveTo((d->isFollowing ? now : d->end) - pixels * d->perPixel(width()));
}

/*!
    Zooms in by \a factor, or out if it is less than 1. The time at \a x keeps its position; while
    the right edge is the current time, the right edge keeps its position instead.
*/
void PKeywordPlotArea::zoom(double factor, double x)
{
    if (!(factor > 0))
        return;
    const double right =
        (width() - x) * d->perPixel(width()); // milliseconds from there to the edge
    const double before = d->seconds;
    setSpan(d->seconds / factor);
    if (!d->isFollowing)
        moveTo(d->end - right + right * d->seconds / before);
}

/*!
    Moves the plot to the oldest samples.
*/
void PKeywordPlotArea::showOldest()
{
    moveTo(d->oldest() + d->length());
}

/*!
    Shows the line of \a row if \a shown is \c true, and hides it otherwise.
*/
void PKeywordPlotArea::setShown(int row, bool shown)
{
    PKeywordHistory *history = d->all().value(row);
    if (!history)
        return;
    d->hidden.removeAll(history);
    if (!shown)
        d->hidden.append(history);
    polish();
}

// There is nothing to see after the current time, and little before the first sample.
void PKeywordPlotArea::moveTo(double to)
{
    to = std::max(to, d->oldest() + d->length() / 10);
    const bool following = to >= static_cast<double>(PKeywordHistory::now());
    d->end = to;
    polish();
    if (following == d->isFollowing)
        return;
    d->isFollowing = following;
    runClock();
    Q_EMIT followingChanged();
}

void PKeywordPlotArea::itemChange(ItemChange change, const ItemChangeData &data)
{
    QQuickItem::itemChange(change, data);
    switch (change) {
    case ItemVisibleHasChanged:
    case ItemSceneChange:
    case ItemDevicePixelRatioHasChanged:
        runClock();
        polish();
        break;
    default:
        break;
    }
}

void PKeywordPlotArea::geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() == oldGeometry.size())
        return;
    runClock();
    polish();
}

void PKeywordPlotArea::onSampled()
{
    d->stale = true;
    if (!d->clock.isActive())
        runClock();
}

// Drawing is triggered by a timer, not by samples: time passes while a value does not change, and
// samples may arrive faster than they can be seen. The timer is stopped while nothing moves.
void PKeywordPlotArea::runClock()
{
    if (!d->source || !isVisible() || !window() || !(d->isFollowing || d->stale)) {
        d->clock.stop();
        return;
    }
    const int interval =
        std::clamp(static_cast<int>(d->perPixel(width()) / 2), shortestRedraw, longestRedraw);
    if (!d->clock.isActive() || d->clock.interval() != interval)
        d->clock.start(interval);
}

void PKeywordPlotArea::onTick()
{
    d->stale = false;
    runClock();
    polish();
}

void PKeywordPlotArea::updatePolish()
{
    d->lookAt(size());
    const double labelWidth = d->labelWidth;
    if (d->view.isEmpty() || !d->source) {
        d->picture = {};
        d->traced = {};
        d->valueTicks.setTicks({});
        d->timeTicks.setTicks({});
    } else {
        d->layOut(QFontMetricsF(d->font));
        d->trace();
    }
    d->tell(cursorShown() ? d->cursor : nothing);
    update();
    const bool summed = d->sumUp();
    const QPointer<PKeywordPlotArea> self(this);
    if (d->labelWidth != labelWidth)
        Q_EMIT valueLabelWidthChanged();
    if (self && summed)
        Q_EMIT summaryChanged();
    if (self)
        Q_EMIT frameChanged();
}

QSGNode *PKeywordPlotArea::updatePaintNode(QSGNode *last, UpdatePaintNodeData *)
{
    return drawPlot(d->picture, *window(), last);
}

} // namespace pellix::extras
