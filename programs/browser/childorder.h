// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "models/keywordquerymodel.h"

#include <QtCore/QHash>
#include <QtCore/QPointer>
#include <QtCore/QSet>
#include <QtCore/QSortFilterProxyModel>
#include <QtCore/QStringList>
#include <QtCore/QTimer>
#include <QtQml/qqmlregistration.h>

// The children that a PKeywordQueryModel lists, in natural order, as far as each word of a filter
// is in the label or the name.
//
// When the server is asked again for the same keyword, the labels that were known stay known until
// the new ones have had the time to arrive. So the rows are in their order, and those that fit the
// filter are there, as soon as the answer is.
//
// The order is that of the latest rearrange(): each label that arrives would move a row.
class ChildOrder : public QSortFilterProxyModel
{
    Q_OBJECT
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
    QML_ELEMENT

public:
    // The last level of the keyword, whatever its label is: levelName.
    enum Role {
        LevelNameRole = pellix::client::PKeywordQueryModel::DisplayNameRole + 1
    };

    explicit ChildOrder(QObject *parent = nullptr);

    QString filter() const;
    void setFilter(const QString &filter); // words, separated by blanks

    // Puts the rows in order and filters them, by what is known now.
    void rearrange();

    void setSourceModel(QAbstractItemModel *model) override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void filterChanged();
    void rearranging();
    void rearranged();

protected:
    bool lessThan(const QModelIndex &left, const QModelIndex &right) const override;
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    QString shownName(const QModelIndex &source) const;
    void onListed();
    void onKeywordChanged();
    void onDataChanged(const QModelIndex &first, const QModelIndex &last);
    void filterRows();
    void doubtLabels();
    void forgetLabels();
    void forgetUnconfirmed();

    QStringList words;
    QString filterText;
    QPointer<pellix::client::PKeywordQueryModel> query;
    QString listed; // the keyword whose children they are
    QHash<QString, QString> labels; // by normalized keyword
    QSet<QString> unconfirmed; // those whose label is from an earlier answer
    QTimer memory;
};
