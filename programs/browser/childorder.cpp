// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/browser/childorder.h"

#include "programs/common/naturalorder.h"

#include <algorithm>
#include <chrono>

using namespace pellix::client;
using namespace std::chrono_literals;

namespace {

// How long after the last label an earlier one may still stand for one that is to come.
constexpr auto memoryTime = 5s;

QString keywordOf(const QModelIndex &source)
{
    return source.data(PKeywordQueryModel::NormalizedKeywordRole).toString();
}

QString levelName(const QModelIndex &source)
{
    const QString keyword = keywordOf(source);
    return keyword.mid(keyword.lastIndexOf(QLatin1Char('/')) + 1);
}

} // namespace

ChildOrder::ChildOrder(QObject *parent) : QSortFilterProxyModel(parent)
{
    setDynamicSortFilter(false);
    sort(0);
    memory.setSingleShot(true);
    memory.setInterval(memoryTime);
    connect(&memory, &QTimer::timeout, this, &ChildOrder::forgetUnconfirmed);
}

QString ChildOrder::filter() const
{
    return filterText;
}

void ChildOrder::setFilter(const QString &filter)
{
    if (filter == filterText)
        return;
#if QT_VERSION >= QT_VERSION_CHECK(6, 10, 0)
    beginFilterChange();
#endif
    filterText = filter;
    words = filter.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    filterRows();
    Q_EMIT filterChanged();
}

// Rows that come and go, and a sort, leave a view where it is scrolled to; invalidate() does not.
void ChildOrder::rearrange()
{
    Q_EMIT rearranging();
#if QT_VERSION >= QT_VERSION_CHECK(6, 10, 0)
    beginFilterChange();
#endif
    filterRows();
    sort(0);
    Q_EMIT rearranged();
}

void ChildOrder::filterRows()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 10, 0)
    endFilterChange(Direction::Rows);
#else
    invalidateFilter();
#endif
}

void ChildOrder::setSourceModel(QAbstractItemModel *model)
{
    if (sourceModel())
        sourceModel()->disconnect(this);
    query = qobject_cast<PKeywordQueryModel *>(model);
    forgetLabels();
    // Before the base class connects itself, which sorts and filters by the labels.
    if (query) {
        connect(query, &PKeywordQueryModel::modelAboutToBeReset, this, &ChildOrder::doubtLabels);
        connect(query, &PKeywordQueryModel::keywordChanged, this, &ChildOrder::onKeywordChanged);
        connect(query, &PKeywordQueryModel::keywordClientChanged, this, &ChildOrder::forgetLabels);
        connect(query, &PKeywordQueryModel::dataChanged, this, &ChildOrder::onDataChanged);
    }
    QSortFilterProxyModel::setSourceModel(model);
    if (query)
        connect(query, &PKeywordQueryModel::modelReset, this, &ChildOrder::onListed);
}

QVariant ChildOrder::data(const QModelIndex &index, int role) const
{
    switch (role) {
    case PKeywordQueryModel::NameRole:
    case PKeywordQueryModel::DisplayNameRole:
        return shownName(mapToSource(index));
    case LevelNameRole:
        return levelName(mapToSource(index));
    default:
        return QSortFilterProxyModel::data(index, role);
    }
}

QHash<int, QByteArray> ChildOrder::roleNames() const
{
    QHash<int, QByteArray> names = QSortFilterProxyModel::roleNames();
    names.insert(LevelNameRole, "levelName");
    return names;
}

bool ChildOrder::lessThan(const QModelIndex &left, const QModelIndex &right) const
{
    if (const int order = programs::compareNaturally(shownName(left), shownName(right)))
        return order < 0;
    // Of the same label. No two rows have the same keyword.
    return programs::compareNaturally(keywordOf(left), keywordOf(right)) < 0;
}

bool ChildOrder::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (words.isEmpty())
        return true;
    const QModelIndex source = sourceModel()->index(sourceRow, 0, sourceParent);
    const QString label = shownName(source);
    const QString name = levelName(source);
    return std::all_of(words.cbegin(), words.cend(), [&](const QString &word) {
        return label.contains(word, Qt::CaseInsensitive)
            || name.contains(word, Qt::CaseInsensitive);
    });
}

// The label, or the name while there is none.
QString ChildOrder::shownName(const QModelIndex &source) const
{
    QString name = source.data(PKeywordQueryModel::NameRole).toString();
    if (unconfirmed.isEmpty())
        return name;
    const QString keyword = keywordOf(source);
    return unconfirmed.contains(keyword) ? labels.value(keyword, name) : name;
}

void ChildOrder::onKeywordChanged()
{
    if (query->normalizedKeyword() != listed)
        forgetLabels(); // and not when it was set once more
    listed = query->normalizedKeyword();
}

void ChildOrder::doubtLabels()
{
    for (auto label = labels.cbegin(); label != labels.cend(); ++label)
        unconfirmed.insert(label.key());
}

void ChildOrder::onListed()
{
    if (query->rowCount() > 0 && !unconfirmed.isEmpty())
        memory.start();
}

void ChildOrder::onDataChanged(const QModelIndex &first, const QModelIndex &last)
{
    for (int row = first.row(); row >= 0 && row <= last.row(); ++row) {
        const QModelIndex source = query->index(row, 0);
        const QString keyword = keywordOf(source);
        labels.insert(keyword, source.data(PKeywordQueryModel::NameRole).toString());
        unconfirmed.remove(keyword);
    }
    if (memory.isActive())
        memory.start();
}

void ChildOrder::forgetLabels()
{
    memory.stop();
    labels.clear();
    unconfirmed.clear();
}

void ChildOrder::forgetUnconfirmed()
{
    if (unconfirmed.isEmpty())
        return;
    for (const QString &keyword : std::as_const(unconfirmed))
        labels.remove(keyword);
    unconfirmed.clear();
    rearrange();
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, 0));
}
