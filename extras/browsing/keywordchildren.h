// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "client/keywordtypes.h"
#include "extras/extrasglobal.h"

#include <QtCore/QAbstractListModel>
#include <QtCore/QVariantMap>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_EXPORT PKeywordChildren : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(pellix::client::PKeywordValueType filterType READ filterType WRITE setFilterType
                   NOTIFY filterTypeChanged)
    Q_PROPERTY(pellix::client::PKeywordValueAccess filterAccess READ filterAccess WRITE
                   setFilterAccess NOTIFY filterAccessChanged)
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
    Q_PROPERTY(bool labels READ labels WRITE setLabels NOTIFY labelsChanged)
    Q_PROPERTY(bool accesses READ accesses WRITE setAccesses NOTIFY accessesChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)
    Q_PROPERTY(bool listed READ listed NOTIFY listedChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    Q_PROPERTY(int total READ total NOTIFY totalChanged)
    Q_PROPERTY(QString currentKeyword READ currentKeyword WRITE setCurrentKeyword NOTIFY
                   currentKeywordChanged)
    Q_PROPERTY(int currentIndex READ currentIndex WRITE setCurrentIndex NOTIFY currentIndexChanged)
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
        AccessRole,
        HasChildrenRole,
    };
    Q_ENUM(Role)

    explicit PKeywordChildren(QObject *parent = nullptr);
    ~PKeywordChildren() override;

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);

    QString keyword() const;
    void setKeyword(const QString &keyword);

    pellix::client::PKeywordValueType filterType() const;
    void setFilterType(pellix::client::PKeywordValueType type);

    pellix::client::PKeywordValueAccess filterAccess() const;
    void setFilterAccess(pellix::client::PKeywordValueAccess access);

    QString filter() const;
    void setFilter(const QString &filter);

    bool labels() const;
    void setLabels(bool labels);

    bool accesses() const;
    void setAccesses(bool accesses);

    bool loading() const;
    bool listed() const;
    int count() const;
    int total() const;

    QString currentKeyword() const;
    void setCurrentKeyword(const QString &keyword);
    int currentIndex() const;
    void setCurrentIndex(int row);

    Q_INVOKABLE void refresh();
    Q_INVOKABLE int rowOf(const QString &keyword) const;
    Q_INVOKABLE QString keywordAt(int row) const;
    Q_INVOKABLE QVariantMap get(int row) const;
    Q_INVOKABLE QString normalized(const QString &keyword) const;
    Q_INVOKABLE QString parentOf(const QString &keyword) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void clientChanged();
    void keywordChanged();
    void filterTypeChanged();
    void filterAccessChanged();
    void filterChanged();
    void labelsChanged();
    void accessesChanged();
    void loadingChanged();
    void listedChanged();
    void countChanged();
    void totalChanged();
    void currentKeywordChanged();
    void currentIndexChanged();

private:
    friend class RowUpdate;
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::extras
