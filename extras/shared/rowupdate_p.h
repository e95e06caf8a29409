// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QAbstractItemModel>
#include <QtCore/QPersistentModelIndex>
#include <QtCore/QPointer>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace pellix::extras {

// The part of a row that its update needs.
struct UpdatedRow
{
    int row = -1; // where it is, or -1
    quint64 mark = 0;
};

// The rows below one parent. Each update is a step; a handler that begins another update ends the
// current one.
template <typename Row> struct UpdatedRows
{
    std::vector<std::shared_ptr<Row>> rows;
    quint64 step = 0;

    void number(size_t first = 0)
    {
        for (size_t row = first; row < rows.size(); ++row)
            rows[row]->row = int(row);
    }
};

/*
    Changes the rows of a model to the required rows by removing, moving, and inserting, so that a
    view keeps its scroll position and selection.

    A model makes it its friend, for the protected functions of its base.
*/
class RowUpdate
{
public:
    // More pieces than this cost a view more than a reset, and more individually moved rows cost
    // more than a new layout. However, a view can then lose its scroll position.
    static constexpr int mostPieces = 200;
    static constexpr int mostMoves = 50;

    // Returns false if a handler has deleted the model, or changed the same rows itself. The rows
    // must exist until this function returns, even if the model is deleted: the caller shares
    // ownership.
    template <typename Model, typename Row>
    static bool run(Model *changed, const QModelIndex &below, UpdatedRows<Row> &rows,
                    std::vector<std::shared_ptr<Row>> wanted)
    {
        const QPointer<Model> model(changed);
        const QPersistentModelIndex parent(below);
        const quint64 step = ++rows.step;
        const bool hadParent = below.isValid();
        const auto over = [&] {
            return !model || rows.step != step || hadParent != parent.isValid();
        };

        const quint64 mark = nextMark();
        for (const auto &row : wanted)
            row->mark = mark;
        if (!hadParent && pieces(rows.rows, wanted, mark) > mostPieces) {
            model->beginResetModel();
            const auto gone = std::exchange(rows.rows, std::move(wanted));
            for (const auto &row : gone)
                row->row = -1;
            rows.number();
            model->endResetModel();
            return !over();
        }

        for (int last = int(rows.rows.size()) - 1; last >= 0; --last) {
            if (rows.rows[size_t(last)]->mark == mark)
                continue;
            int first = last;
            while (first > 0 && rows.rows[size_t(first) - 1]->mark != mark)
                --first;
            model->beginRemoveRows(parent, first, last);
            if (over())
                return false;
            for (int row = first; row <= last; ++row)
                rows.rows[size_t(row)]->row = -1;
            rows.rows.erase(rows.rows.begin() + first, rows.rows.begin() + last + 1);
            rows.number(size_t(first));
            model->endRemoveRows();
            if (over())
                return false;
            last = first;
        }
        if (!reorder(model.data(), parent, rows, wanted, over))
            return false;
        for (size_t first = 0; first < wanted.size(); ++first) {
            if (wanted[first]->row >= 0)
                continue;
            size_t last = first;
            while (last + 1 < wanted.size() && wanted[last + 1]->row < 0)
                ++last;
            model->beginInsertRows(parent, int(first), int(last));
            if (over())
                return false;
            rows.rows.insert(rows.rows.begin() + qptrdiff(first), wanted.begin() + qptrdiff(first),
                             wanted.begin() + qptrdiff(last) + 1);
            rows.number(first);
            model->endInsertRows();
            if (over())
                return false;
            first = last;
        }
        return true;
    }

private:
    static quint64 nextMark()
    {
        static quint64 mark = 0;
        return ++mark;
    }

    template <typename Rows>
    static int pieces(const Rows &present, const Rows &wanted, quint64 mark)
    {
        int count = 0;
        bool inPiece = false;
        for (const auto &row : present) {
            const bool goes = row->mark != mark;
            count += goes && !inPiece ? 1 : 0;
            inPiece = goes;
        }
        inPiece = false;
        for (const auto &row : wanted) {
            const bool comes = row->row < 0;
            count += comes && !inPiece ? 1 : 0;
            inPiece = comes;
        }
        return count;
    }

    // The smallest set of rows such that all others are in the right order: all but a longest
    // ascending sequence of positions.
    template <typename Row>
    static std::vector<Row *> moversIn(const std::vector<std::shared_ptr<Row>> &ordered)
    {
        std::vector<size_t> tails; // of the sequence of each length, the one with the lowest end
        std::vector<ptrdiff_t> before(ordered.size(), -1);
        for (size_t i = 0; i < ordered.size(); ++i) {
            const auto place =
                std::lower_bound(tails.begin(), tails.end(), ordered[i]->row,
                                 [&](size_t tail, int row) { return ordered[tail]->row < row; });
            if (place != tails.begin())
                before[i] = ptrdiff_t(*(place - 1));
            if (place == tails.end())
                tails.push_back(i);
            else
                *place = i;
        }
        std::vector<bool> stays(ordered.size(), false);
        for (ptrdiff_t i = tails.empty() ? -1 : ptrdiff_t(tails.back()); i >= 0;
             i = before[size_t(i)])
            stays[size_t(i)] = true;
        std::vector<Row *> movers;
        for (size_t i = 0; i < ordered.size(); ++i) {
            if (!stays[i])
                movers.push_back(ordered[i].get());
        }
        return movers;
    }

    // Moves each row behind its predecessor, which is already in place.
    template <typename Model, typename Row, typename Over>
    static bool move(Model *model, const QPersistentModelIndex &parent, UpdatedRows<Row> &rows,
                     const std::vector<std::shared_ptr<Row>> &ordered,
                     const std::vector<Row *> &movers, const Over &over)
    {
        size_t next = 0;
        for (size_t i = 0; i < ordered.size() && next < movers.size(); ++i) {
            if (ordered[i].get() != movers[next])
                continue;
            ++next;
            const int from = ordered[i]->row;
            const int to = i == 0 ? 0 : ordered[i - 1]->row + 1;
            if (to == from || to == from + 1)
                continue;
            model->beginMoveRows(parent, from, from, parent, to);
            if (over())
                return false;
            const auto first = rows.rows.begin();
            if (to < from)
                std::rotate(first + to, first + from, first + from + 1);
            else
                std::rotate(first + from, first + from + 1, first + to);
            rows.number(size_t(std::min(from, to)));
            model->endMoveRows();
            if (over())
                return false;
        }
        return true;
    }

    template <typename Model, typename Row, typename Over>
    static bool reorder(Model *model, const QPersistentModelIndex &parent, UpdatedRows<Row> &rows,
                        const std::vector<std::shared_ptr<Row>> &wanted, const Over &over)
    {
        std::vector<std::shared_ptr<Row>> ordered;
        ordered.reserve(rows.rows.size());
        for (const auto &row : wanted) {
            if (row->row >= 0)
                ordered.push_back(row);
        }
        const std::vector<Row *> movers = moversIn(ordered);
        if (int(movers.size()) <= mostMoves)
            return move(model, parent, rows, ordered, movers, over);
        const QList<QPersistentModelIndex> parents {parent};
        Q_EMIT model->layoutAboutToBeChanged(parents, QAbstractItemModel::VerticalSortHint);
        if (over())
            return false;
        // All of them were followed, whatever handlers have kept.
        QModelIndexList from;
        std::vector<Row *> moved;
        const QModelIndexList persistent = model->persistentIndexList();
        for (const QModelIndex &index : persistent) {
            if (index.parent() == parent) {
                from.append(index);
                moved.push_back(rows.rows[size_t(index.row())].get());
            }
        }
        rows.rows = std::move(ordered);
        rows.number();
        QModelIndexList to;
        to.reserve(from.size());
        for (int i = 0; i < from.size(); ++i)
            to.append(model->index(moved[size_t(i)]->row, from.at(i).column(), parent));
        model->changePersistentIndexList(from, to);
        Q_EMIT model->layoutChanged(parents, QAbstractItemModel::VerticalSortHint);
        return !over();
    }
};

} // namespace pellix::extras
