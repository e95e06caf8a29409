// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/browser/quietsorting.h"

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr auto quietTime = 60ms;
constexpr auto longestWait = 1s;

} // namespace

QuietSorting::QuietSorting(QObject *parent) : QObject(parent)
{
    rest.setSingleShot(true);
    rest.setInterval(quietTime);
    connect(&rest, &QTimer::timeout, this, &QuietSorting::settle);
    patience.setSingleShot(true);
    patience.setInterval(longestWait);
    connect(&patience, &QTimer::timeout, this, &QuietSorting::settle);
}

ChildOrder *QuietSorting::model() const
{
    return sorted;
}

void QuietSorting::setModel(ChildOrder *model)
{
    if (model == sorted)
        return;
    if (sorted)
        sorted->disconnect(this);
    sorted = model;
    if (sorted) {
        connect(sorted, &QSortFilterProxyModel::sourceModelChanged, this,
                [this] { follow(sorted->sourceModel()); });
    }
    follow(sorted ? sorted->sourceModel() : nullptr);
    Q_EMIT modelChanged();
}

void QuietSorting::follow(QAbstractItemModel *source)
{
    if (followed)
        followed->disconnect(this);
    followed = source;
    rest.stop();
    patience.stop();
    unsettled = false;
    if (!followed)
        return;
    connect(followed, &QAbstractItemModel::modelReset, this, &QuietSorting::onSourceReset);
    connect(followed, &QAbstractItemModel::dataChanged, this, &QuietSorting::onDataChanged);
}

// The sorted model has followed the reset already: all rows are new, and it has put them in order.
void QuietSorting::onSourceReset()
{
    rest.stop();
    patience.stop();
    unsettled = false;
    Q_EMIT settled();
}

void QuietSorting::onDataChanged()
{
    if (!unsettled) {
        unsettled = true;
        patience.start();
    }
    rest.start();
}

void QuietSorting::settle()
{
    rest.stop();
    patience.stop();
    unsettled = false;
    if (!sorted)
        return;
    sorted->rearrange();
    Q_EMIT settled();
}
