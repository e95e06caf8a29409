// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordglobal.h"

#include <QtCore/QAbstractItemModel>

#include <memory>

namespace pellix::client {

class PELLIXCLIENT_KEYWORD_EXPORT PKeywordPathModel : public QAbstractItemModel
{
    Q_OBJECT
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(QString normalizedKeyword READ normalizedKeyword NOTIFY keywordChanged)
    Q_PROPERTY(QString providerDisplayName READ providerDisplayName WRITE setProviderDisplayName
                   NOTIFY providerDisplayNameChanged)

public:
    enum Role {
        PartRole = Qt::UserRole + 1,
        PartDisplayRole,
        IndexRole,
        KeywordRole,
    };

    explicit PKeywordPathModel(QObject *parent = nullptr);
    ~PKeywordPathModel() override;

    QString keyword() const;
    void setKeyword(const QString &keyword);
    QString normalizedKeyword() const;
    QString providerDisplayName() const;
    void setProviderDisplayName(const QString &name);

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &index) const override;
    using QObject::parent; // hidden by the one above
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void keywordChanged();
    void providerDisplayNameChanged();

private:
    static QString getCleanKeyword(const QString &keyword);
    static QStringList splitKeyword(const QString &keyword);
    static QString joinKeyword(const QStringList &parts);

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::client
