// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "models/keywordqueryfilterproxymodel.h"

#include "models/keywordquerymodel.h"
#include "pubsub/deletionwatch_p.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QStringList>

namespace pellix::client {

// Part of the library's set of categories; nothing here has anything to say yet.
Q_LOGGING_CATEGORY(lcQueryFilterProxyModel, "pellixclient.keyword.queryfilterproxymodel",
                   QtWarningMsg)

namespace {

// Most names are not numbers. Converting one only to find that out takes a quarter of the time of a
// comparison.
bool mayBeNumber(const QString &name)
{
    return !name.isEmpty() && !name.front().isLetter();
}

} // namespace

class PKeywordQueryFilterProxyModel::Private
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

    Rows are sorted by name: as numbers where both are whole numbers, and else as text, without
    regard to case. Where whole numbers and other names are mixed, this comparison can contradict
    itself: 9 comes before 10 as a number, 10 before 1a and 1a before 9 as text. The same rows are
    then listed in the same order each time they are sorted as a whole, which is when an answer has
    arrived. A label that arrives later moves its own row only, so such a list can also depend on
    the order in which labels arrive. Use a sort model of your own where names are mixed like this.

    The source model has to offer the roles of PKeywordQueryModel, and a column: in
    rows without one, Qt looks for children of the rejected row without an end. It is not owned.
    \sa {Browsing}
*/

/*!
    \property pellix::client::PKeywordQueryFilterProxyModel::filter
    \brief words, separated by blanks, that must all occur in a row's displayName, in any order and
    case. Empty by default, which accepts every row.
*/

/*!
    Constructs a model without a source. \a parent owns it, if given.
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
