// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/plot/plotaxes_p.h"

#include <QtCore/QAbstractListModel>
#include <QtGui/QColor>

#include <vector>

namespace pellix::extras {

// The labels of an axis. Rows are kept while the plot moves, and only their data changes.
class PlotTicks : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        PositionRole = Qt::UserRole + 1,
        TextRole
    };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    const std::vector<PlotTick> &ticks() const { return rows; }
    void setTicks(const std::vector<PlotTick> &ticks);

private:
    std::vector<PlotTick> rows;
};

// The data of each history for the legend and the cursor.
class PlotSeries : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        NameRole = Qt::UserRole + 1,
        KeywordRole,
        ColorRole,
        ShownRole,
        ValueRole,
        CursorValueRole,
    };
    struct Row
    {
        QString name;
        QString keyword;
        QColor color;
        bool shown = true;
        QString value;
        QString cursorValue;

        bool operator==(const Row &other) const;
    };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    const std::vector<Row> &entries() const { return rows; }
    void setRows(const std::vector<Row> &wanted);

private:
    std::vector<Row> rows;
};

} // namespace pellix::extras
