// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/plot/plotaxes_p.h"

#include "extras/history/keywordhistory.h"
#include "extras/shared/numberlocale_p.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>
#include <QtGui/QFontMetricsF>

#include <algorithm>
#include <cmath>

namespace pellix::extras {

namespace {

constexpr int mostValueTicks = 20;
constexpr qint64 second = 1000;
constexpr qint64 minute = 60 * second;
constexpr qint64 hour = 60 * minute;
constexpr qint64 day = 24 * hour;

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(PKeywordPlot)
};

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

// The next larger common unit of time, in milliseconds.
qint64 roundTimeStep(double atLeast)
{
    for (const qint64 step :
         {second / 10, second / 5,  second / 2, second,     2 * second, 5 * second,  10 * second,
          15 * second, 30 * second, minute,     2 * minute, 5 * minute, 10 * minute, 15 * minute,
          30 * minute, hour,        2 * hour,   3 * hour,   6 * hour,   12 * hour}) {
        if (double(step) >= atLeast)
            return step;
    }
    return day * std::max<qint64>(1, qint64(std::ceil(atLeast / day)));
}

QString tickText(double value, double step)
{
    if (std::abs(value) >= 1e7 || (step < 1e-6 && value != 0))
        return numberLocale().toString(value, 'g', 6);
    const int decimals = step < 1 ? static_cast<int>(std::ceil(-std::log10(step) - 1e-9)) : 0;
    return numberLocale().toString(value, 'f', decimals);
}

// The locale's own format is either without seconds or with the name of the time zone.
QString timeFormat(bool seconds)
{
    QString format = QLocale().timeFormat(QLocale::ShortFormat);
    if (seconds && !format.contains(u's')) {
        static const QRegularExpression minutes(QStringLiteral("(\\W)mm"));
        format.replace(minutes, QStringLiteral("\\1mm\\1ss"));
    }
    return format;
}

// A tick shows the date where a day begins.
QString tickTime(const QDateTime &time, qint64 step)
{
    const QLocale locale;
    if (step >= day || (step >= minute && time.time() == QTime(0, 0)))
        return locale.toString(time.date(), QLocale::ShortFormat);
    QString text = locale.toString(time.time(), timeFormat(step < minute));
    if (step < second)
        text += locale.decimalPoint() + QString::number(time.time().msec() / 100);
    return text;
}

} // namespace

QString plotNumberText(double value)
{
    const QLocale locale = numberLocale();
    if (std::isnan(value))
        return QStringLiteral("\u2014");
    if (value == std::floor(value) && std::abs(value) < 1e15)
        return locale.toString(value, 'f', 0);
    return locale.toString(value, 'g', 6);
}

QString plotBoolText(bool value)
{
    return value ? Text::tr("true") : Text::tr("false");
}

QString plotTimeText(const QDateTime &time, double span)
{
    const QLocale locale;
    QString text = locale.toString(time.time(), timeFormat(true));
    if (span < 30 * second)
        text += locale.decimalPoint()
            + QStringLiteral("%1").arg(time.time().msec(), 3, 10, QLatin1Char('0'));
    if (time.date() != QDate::currentDate())
        text.prepend(locale.toString(time.date(), QLocale::ShortFormat) + u' ');
    return text;
}

std::vector<PlotTick> valueTicks(PlotView &view, const PKeywordExtent &extent, double minimum,
                                 double maximum, bool onlyBools, const QFontMetricsF &metrics)
{
    if (onlyBools) {
        view.lowest = -0.1; // so that a line at the edge is visible
        view.highest = 1.1;
        return {{view.y(0), plotBoolText(false)}, {view.y(1), plotBoolText(true)}};
    }
    double lowest = extent.empty() ? 0 : extent.lowest;
    double highest = extent.empty() ? 1 : extent.highest;
    // A steady value gets some room above and below it.
    if (highest - lowest <= std::abs(highest) * 1e-9) {
        const double margin = std::max(std::abs(highest) * 0.05, 0.5);
        lowest -= margin;
        highest += margin;
    }
    const bool fixedLowest = std::isfinite(minimum);
    const bool fixedHighest = std::isfinite(maximum);
    if (fixedLowest)
        lowest = minimum;
    if (fixedHighest)
        highest = maximum;
    if (highest <= lowest)
        (fixedHighest && !fixedLowest ? lowest : highest) =
            fixedHighest && !fixedLowest ? highest - 1 : lowest + 1;

    const double room = std::floor(view.size.height() / (2.5 * metrics.height()));
    const double step = roundStep((highest - lowest) / std::clamp(room, 1.0, 6.0));
    view.lowest = fixedLowest ? lowest : std::floor(lowest / step) * step;
    view.highest = fixedHighest ? highest : std::ceil(highest / step) * step;
    // Counted, and not added up: a step may be too small to move a large value.
    std::vector<PlotTick> ticks;
    const double first = std::ceil(view.lowest / step - 1e-9) * step;
    for (int i = 0; i < mostValueTicks; ++i) {
        double value = first + i * step;
        if (value > view.highest + step * 1e-6)
            break;
        if (std::abs(value) < step * 1e-6)
            value = 0; // and not -0
        ticks.push_back({view.y(value), tickText(value, step)});
    }
    return ticks;
}

std::vector<PlotTick> timeTicks(const PlotView &view, const QFontMetricsF &metrics)
{
    const double span = view.to - view.from;
    const QDateTime last = PKeywordHistory::wallTime(static_cast<qint64>(view.to));
    const QString widest = span < 10 * second
        ? tickTime(QDateTime(last.date(), QTime(22, 58, 58, 800)), second / 10)
        : tickTime(QDateTime(last.date(), QTime(22, 58, 58)), second);
    const double width = std::max(metrics.horizontalAdvance(widest),
                                  span >= day ? metrics.horizontalAdvance(tickTime(last, day)) : 0)
        + metrics.height() * 1.5;
    const qint64 step = roundTimeStep(span * width / view.size.width());

    // Round times of the local clock.
    const qint64 ahead = last.toMSecsSinceEpoch() - static_cast<qint64>(view.to);
    const qint64 local = qint64(last.offsetFromUtc()) * second + ahead;
    std::vector<PlotTick> ticks;
    qint64 tick = static_cast<qint64>(std::ceil((view.from + double(local)) / double(step))) * step;
    for (; double(tick - local) <= view.to; tick += step) {
        const QDateTime time = QDateTime::fromMSecsSinceEpoch(tick - local + ahead);
        ticks.push_back({view.x(double(tick - local)), tickTime(time, step)});
    }
    return ticks;
}

} // namespace pellix::extras
