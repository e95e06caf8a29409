// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/plot/plotmodels_p.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace pellix::extras {

namespace {

bool operator==(const PlotTick &a, const PlotTick &b)
{
    return a.position == b.position && a.text == b.text;
}

} // namespace

int PlotTicks::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows.size());
}

void PlotTicks::setTicks(const std::vector<PlotTick> &ticks)
{
    const int before = rowCount();
    const auto after = static_cast<int>(ticks.size());
    if (after > before)
        beginInsertRows({}, before, after - 1);
    else if (after < before)
        beginRemoveRows({}, after, before - 1);
    const std::vector<PlotTick> old = std::exchange(rows, ticks);
    if (after > before)
        endInsertRows();
    else if (after < before)
        endRemoveRows();
    for (int i = 0; i < std::min(before, after); ++i) {
        if (!(old[std::size_t(i)] == ticks[std::size_t(i)]))
            Q_EMIT dataChanged(index(i), index(i), {PositionRole, TextRole, Qt::DisplayRole});
    }
}

QVariant PlotTicks::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const PlotTick &tick = rows[std::size_t(index.row())];
    switch (role) {
    case PositionRole:
        return tick.position;
    case Qt::DisplayRole:
    case TextRole:
        return tick.text;
    default:
        return {};
    }
}

QHash<int, QByteArray> PlotTicks::roleNames() const
{
    return {{PositionRole, "position"}, {TextRole, "text"}};
}

bool PlotSeries::Row::operator==(const Row &other) const
{
    return std::tie(name, keyword, color, shown, value, cursorValue)
        == std::tie(other.name, other.keyword, other.color, other.shown, other.value,
                    other.cursorValue);
}

int PlotSeries::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows.size());
}

void PlotSeries::setRows(const std::vector<Row> &wanted)
{
    if (wanted.size() != rows.size()) {
        beginResetModel();
        rows = wanted;
        endResetModel();
        return;
    }
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (rows[i] == wanted[i])
            continue;
        rows[i] = wanted[i];
        const QModelIndex changed = index(static_cast<int>(i));
        Q_EMIT dataChanged(changed, changed);
    }
}

QVariant PlotSeries::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const Row &row = rows[std::size_t(index.row())];
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return row.name;
    case KeywordRole:
        return row.keyword;
    case ColorRole:
        return row.color;
    case ShownRole:
        return row.shown;
    case ValueRole:
        return row.value;
    case CursorValueRole:
        return row.cursorValue;
    default:
        return {};
    }
}

QHash<int, QByteArray> PlotSeries::roleNames() const
{
    return {{NameRole, "name"},   {KeywordRole, "keyword"}, {ColorRole, "color"},
            {ShownRole, "shown"}, {ValueRole, "value"},     {CursorValueRole, "cursorValue"}};
}

} // namespace pellix::extras
