// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordglobal.h"
#include "client/keywordtypes.h"

#include <QtCore/QAbstractItemModel>
#include <QtCore/QStringList>
#include <QtCore/QUuid>
#include <QtGui/QColor>

#include <memory>

Q_MOC_INCLUDE("client/keywordclient.h")

namespace pellix::client {

class PKeywordClient;

class PELLIXCLIENT_KEYWORD_EXPORT PKeywordQueryModel : public QAbstractItemModel
{
    Q_OBJECT
    Q_PROPERTY(pellix::client::PKeywordClient *keywordClient READ keywordClient WRITE
                   setKeywordClient NOTIFY keywordClientChanged)
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    Q_PROPERTY(QString normalizedKeyword READ normalizedKeyword NOTIFY keywordChanged)
    Q_PROPERTY(QStringList normalizedKeywordParts READ normalizedKeywordParts NOTIFY keywordChanged)
    Q_PROPERTY(
        QString storedFilter READ storedFilter WRITE setStoredFilter NOTIFY storedFilterChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)
    Q_PROPERTY(pellix::client::PKeywordValueAccess filterAccess READ filterAccess WRITE
                   setFilterAccess NOTIFY filterAccessChanged)
    Q_PROPERTY(pellix::client::PKeywordValueType filterType READ filterType WRITE setFilterType
                   NOTIFY filterTypeChanged)

public:
    enum Role {
        NameRole = Qt::UserRole + 1,
        TypeRole,
        TypeLetterRole,
        TypeColorRole,
        KeywordRole,
        NormalizedKeywordRole,
        DisplayNameRole,
    };

    explicit PKeywordQueryModel(QObject *parent = nullptr);
    ~PKeywordQueryModel() override;

    PKeywordClient *keywordClient() const;
    void setKeywordClient(PKeywordClient *client);

    QString keyword() const;
    void setKeyword(const QString &keyword);
    QString normalizedKeyword() const;
    QStringList normalizedKeywordParts() const;

    QString storedFilter() const;
    void setStoredFilter(const QString &filter);

    bool loading() const;

    PKeywordValueAccess filterAccess() const;
    void setFilterAccess(const PKeywordValueAccess &access);

    PKeywordValueType filterType() const;
    void setFilterType(const PKeywordValueType &type);

    Q_INVOKABLE QString getTypeLetter(const QString &type) const;
    Q_INVOKABLE QColor getTypeColor(const QString &type) const;
    Q_INVOKABLE QString getCleanKeyword(const QString &keyword) const;
    Q_INVOKABLE QString getParentKeyword(const QString &keyword, int distance = 1) const;
    Q_INVOKABLE QStringList splitKeyword(const QString &keyword) const;
    Q_INVOKABLE QString joinKeyword(const QStringList &parts) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &index) const override;
    using QObject::parent; // hidden by the one above
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void keywordClientChanged();
    void keywordChanged();
    void loadingChanged();
    void storedFilterChanged();
    void filterAccessChanged();
    void filterTypeChanged();

private:
    void refresh();
    void onResponse(const QUuid &id, const QVariant &response);
    bool updateFromResponse(const QVariant &response);
    bool dropLabelProxies();
    bool watchLabel(const QString &keyword);
    void onLabel(const QString &key, int row, const QString &label);

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::client
