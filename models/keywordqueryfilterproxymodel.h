// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordglobal.h"

#include <QtCore/QSortFilterProxyModel>

#include <memory>

namespace pellix::client {

class PELLIXCLIENT_KEYWORD_EXPORT PKeywordQueryFilterProxyModel : public QSortFilterProxyModel
{
    Q_OBJECT
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)

public:
    explicit PKeywordQueryFilterProxyModel(QObject *parent = nullptr);
    ~PKeywordQueryFilterProxyModel() override;

    QString filter() const;
    void setFilter(const QString &filter);

Q_SIGNALS:
    void filterChanged();

protected:
    bool lessThan(const QModelIndex &left, const QModelIndex &right) const override;
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::client
