// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "client/keywordtypes.h"
#include "extras/extrasglobal.h"

#include <QtCore/QAbstractItemModel>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_EXPORT PKeywordTree : public QAbstractItemModel
{
    Q_OBJECT
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(pellix::client::PKeywordValueType filterType READ filterType WRITE setFilterType
                   NOTIFY filterTypeChanged)
    Q_PROPERTY(pellix::client::PKeywordValueAccess filterAccess READ filterAccess WRITE
                   setFilterAccess NOTIFY filterAccessChanged)
    Q_PROPERTY(bool labels READ labels WRITE setLabels NOTIFY labelsChanged)
    Q_PROPERTY(bool lookBelow READ lookBelow WRITE setLookBelow NOTIFY lookBelowChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)
    QML_ELEMENT

public:
    enum Role {
        KeywordRole = Qt::UserRole + 1,
        NormalizedKeywordRole,
        NameRole,
        LabelRole,
        DisplayNameRole,
        TypeRole,
        TypeLetterRole,
        TypeColorRole,
        LoadingRole,
    };
    Q_ENUM(Role)

    explicit PKeywordTree(QObject *parent = nullptr);
    ~PKeywordTree() override;

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);

    QString keyword() const;
    void setKeyword(const QString &keyword);

    pellix::client::PKeywordValueType filterType() const;
    void setFilterType(pellix::client::PKeywordValueType type);

    pellix::client::PKeywordValueAccess filterAccess() const;
    void setFilterAccess(pellix::client::PKeywordValueAccess access);

    bool labels() const;
    void setLabels(bool labels);

    bool lookBelow() const;
    void setLookBelow(bool lookBelow);

    bool loading() const;

    Q_INVOKABLE void refresh();
    Q_INVOKABLE QModelIndex indexOf(const QString &keyword) const;
    Q_INVOKABLE QString keywordAt(const QModelIndex &index) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &index) const override;
    using QObject::parent; // hidden by the one above
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    bool hasChildren(const QModelIndex &parent = {}) const override;
    bool canFetchMore(const QModelIndex &parent) const override;
    void fetchMore(const QModelIndex &parent) override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void clientChanged();
    void keywordChanged();
    void filterTypeChanged();
    void filterAccessChanged();
    void labelsChanged();
    void lookBelowChanged();
    void loadingChanged();

private:
    friend class RowUpdate;
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::extras
