// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "models/keywordpathmodel.h"

#include "models/keywordsyntax_p.h"
#include "pubsub/deletionwatch_p.h"

#include <QtCore/QLoggingCategory>

namespace pellix::client {

namespace {
Q_LOGGING_CATEGORY(lcPathModel, "pellixclient.keyword.pathmodel", QtWarningMsg)
} // namespace

class Q_DECL_HIDDEN PKeywordPathModel::Private
{
public:
    QString keyword;
    QStringList parts;
    QString providerDisplayName;
    DeletionWatch watch;
};

/*!
    \class pellix::client::PKeywordPathModel
    \inmodule PellixClientKeyword
    \inheaderfile models/keywordpathmodel.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordPathModel class provides the levels of a keyword path as rows.

    Each level of keyword is a row with one column. Both "/" and "#" separate levels. In QML, the
    roles have these names:

    \table
    \header \li Role \li Value
    \row \li part \li the text of the level
    \row \li partDisplay \li the same, or providerDisplayName in the first row if it is set
    \row \li index \li the row
    \row \li keyword \li the keyword up to and including this level
    \endtable

    Every change of keyword resets the model.
    \sa {Browsing}
*/

/*!
    \enum pellix::client::PKeywordPathModel::Role

    This enum describes the roles of a row.

    \value PartRole         \c part, the text of the level
    \value PartDisplayRole  \c partDisplay, the same, or providerDisplayName in the first row
    \value IndexRole        \c index, the row, an \c int
    \value KeywordRole      \c keyword, the keyword up to and including this level
*/

/*!
    \property pellix::client::PKeywordPathModel::keyword
    \brief the path to show, in clean form: with a leading "/" and without double separators. The
    default is an empty string.

    Cleaning is a single pass: it is applied once to compare a path with the current keyword, and
    twice to store it. As a consequence, setting a path with three consecutive separators, such as
    a///b, always resets the model.
*/

/*!
    \property pellix::client::PKeywordPathModel::normalizedKeyword
    \brief the levels, joined with "/".
*/

/*!
    \property pellix::client::PKeywordPathModel::providerDisplayName
    \brief the string that the role partDisplay returns for the first level. The default is an empty
    string, which returns the text of the level.
*/

/*!
    Constructs a model without rows. If \a parent is given, it owns the model.
*/
PKeywordPathModel::PKeywordPathModel(QObject *parent)
    : QAbstractItemModel(parent), d(std::make_unique<Private>())
{ }

/*!
    Destroys the model.
*/
PKeywordPathModel::~PKeywordPathModel() = default;

QString PKeywordPathModel::keyword() const
{
    return d->keyword;
}

void PKeywordPathModel::setKeyword(const QString &keyword)
{
    const QString clean = getCleanKeyword(keyword);
    if (clean == d->keyword)
        return;
    qCDebug(lcPathModel) << "SetKeyword" << clean;

    const DeletionWatch::Scope self(d->watch);
    beginResetModel();
    if (self.deleted())
        return;
    // Required: compared after one cleaning, stored after two, so a///b resets every time.
    d->keyword = getCleanKeyword(clean);
    d->parts = splitKeyword(d->keyword);
    endResetModel();
    if (self.deleted())
        return;
    Q_EMIT keywordChanged();
}

QString PKeywordPathModel::normalizedKeyword() const
{
    return joinKeyword(d->parts);
}

QString PKeywordPathModel::providerDisplayName() const
{
    return d->providerDisplayName;
}

void PKeywordPathModel::setProviderDisplayName(const QString &name)
{
    if (name == d->providerDisplayName)
        return;
    d->providerDisplayName = name;

    const DeletionWatch::Scope self(d->watch);
    Q_EMIT providerDisplayNameChanged();
    if (self.deleted())
        return;
    // Required: also without rows, with invalid indexes.
    Q_EMIT dataChanged(index(0, 0), index(0, 0), {});
}

QModelIndex PKeywordPathModel::index(int row, int column, const QModelIndex &parent) const
{
    return hasIndex(row, column, parent) ? createIndex(row, column) : QModelIndex();
}

QModelIndex PKeywordPathModel::parent(const QModelIndex &index) const
{
    Q_UNUSED(index)
    return {};
}

int PKeywordPathModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(d->parts.size());
}

int PKeywordPathModel::columnCount(const QModelIndex &parent) const
{
    Q_UNUSED(parent)
    return 1;
}

QVariant PKeywordPathModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const int row = index.row();
    switch (role) {
    case PartRole:
        return d->parts.at(row);
    case PartDisplayRole:
        return row == 0 && !d->providerDisplayName.isEmpty() ? d->providerDisplayName
                                                             : d->parts.at(row);
    case IndexRole:
        return row;
    case KeywordRole:
        return joinKeyword(d->parts.mid(0, row + 1));
    }
    return {};
}

Qt::ItemFlags PKeywordPathModel::flags(const QModelIndex &index) const
{
    return QAbstractItemModel::flags(index);
}

QHash<int, QByteArray> PKeywordPathModel::roleNames() const
{
    return {
        {PartRole, "part"},
        {PartDisplayRole, "partDisplay"},
        {IndexRole, "index"},
        {KeywordRole, "keyword"},
    };
}

QString PKeywordPathModel::getCleanKeyword(const QString &keyword)
{
    return keywordsyntax::cleaned(keyword);
}

QStringList PKeywordPathModel::splitKeyword(const QString &keyword)
{
    return keywordsyntax::splitUnlessBlank(keyword);
}

QString PKeywordPathModel::joinKeyword(const QStringList &parts)
{
    return keywordsyntax::joined(parts);
}

} // namespace pellix::client
