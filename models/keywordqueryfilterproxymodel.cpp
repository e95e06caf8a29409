// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "models/keywordqueryfilterproxymodel.h"

#include "models/keywordquerymodel.h"
#include "pubsub/deletionwatch_p.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QStringList>

namespace pellix::client {

// Part of the library's set of categories; nothing is logged here yet.
Q_LOGGING_CATEGORY(lcQueryFilterProxyModel, "pellixclient.keyword.queryfilterproxymodel",
                   QtWarningMsg)

namespace {

// Most names are not numbers. Converting a name just to find that out takes a quarter of the time
// of a comparison.
bool mayBeNumber(const QString &name)
{
    return !name.isEmpty() && !name.front().isLetter();
}

} // namespace

class Q_DECL_HIDDEN PKeywordQueryFilterProxyModel::Private
{
public:
    QString filter;
    QStringList filterWords;
    DeletionWatch watch;
};

/*!
    \class pellix::client::PKeywordQueryFilterProxyModel
    \inmodule PellixClientKeyword
    \inheaderfile models/keywordqueryfilterproxymodel.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordQueryFilterProxyModel class sorts and filters the rows of a
    PKeywordQueryModel.

    Rows are sorted by name: as numbers if both names are integers, and otherwise as strings,
    case-insensitively. If a list mixes integers and other names, the order is not consistent: 9
    comes before 10 as a number, but 10 before 1a and 1a before 9 as strings. The same rows are then
    listed in the same order each time all of them are sorted, that is, after each reply. A label
    that arrives later moves only its own row, so the order of such a list can also depend on the
    order in which labels arrive. For mixed names, use a sort model of your own.

    The source model must have the roles of PKeywordQueryModel and at least one column: without a
    column, Qt searches for children of a rejected row in an infinite loop. The model does not own
    its source model.
    \sa {Browsing}
*/

/*!
    \property pellix::client::PKeywordQueryFilterProxyModel::filter
    \brief words, separated by spaces, that must all occur in the displayName of a row, in any order
    and case-insensitively. The default is an empty string, which accepts every row.
*/

/*!
    Constructs a model without a source. If \a parent is given, it owns the model.
*/
PKeywordQueryFilterProxyModel::PKeywordQueryFilterProxyModel(QObject *parent)
    : QSortFilterProxyModel(parent), d(std::make_unique<Private>())
{
    setDynamicSortFilter(true);
    setRecursiveFilteringEnabled(true);
    sort(0, Qt::AscendingOrder);
}

/*!
    Destroys the model.
*/
PKeywordQueryFilterProxyModel::~PKeywordQueryFilterProxyModel() = default;

QString PKeywordQueryFilterProxyModel::filter() const
{
    return d->filter;
}

void PKeywordQueryFilterProxyModel::setFilter(const QString &filter)
{
    if (filter == d->filter)
        return;

    const DeletionWatch::Scope self(d->watch);
#if QT_VERSION >= QT_VERSION_CHECK(6, 10, 0)
    beginFilterChange();
#endif
    d->filter = filter;
    d->filterWords = filter.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    Q_EMIT filterChanged();
    if (self.deleted())
        return;
#if QT_VERSION >= QT_VERSION_CHECK(6, 10, 0)
    endFilterChange(Direction::Rows | Direction::Columns);
#else
    invalidateFilter();
#endif
}

/*!
    \reimp
*/
bool PKeywordQueryFilterProxyModel::lessThan(const QModelIndex &left,
                                             const QModelIndex &right) const
{
    const QString leftName = left.data(PKeywordQueryModel::NameRole).toString();
    const QString rightName = right.data(PKeywordQueryModel::NameRole).toString();
    if (mayBeNumber(leftName) && mayBeNumber(rightName)) {
        bool leftIsNumber = false;
        bool rightIsNumber = false;
        const qlonglong leftNumber = leftName.toLongLong(&leftIsNumber);
        const qlonglong rightNumber = rightName.toLongLong(&rightIsNumber);
        if (leftIsNumber && rightIsNumber)
            return leftNumber < rightNumber;
    }
    return QString::compare(leftName, rightName, Qt::CaseInsensitive) < 0;
}

/*!
    \reimp
*/
bool PKeywordQueryFilterProxyModel::filterAcceptsRow(int sourceRow,
                                                     const QModelIndex &sourceParent) const
{
    const QModelIndex index = sourceModel()->index(sourceRow, 0, sourceParent);
    if (!index.isValid())
        return false;
    const QString text = index.data(PKeywordQueryModel::DisplayNameRole).toString();
    for (const QString &word : std::as_const(d->filterWords)) {
        if (!word.trimmed().isEmpty() && !text.contains(word, Qt::CaseInsensitive))
            return false;
    }
    return true;
}

} // namespace pellix::client
