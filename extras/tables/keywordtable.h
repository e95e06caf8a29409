// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "extras/extrasglobal.h"

#include <QtCore/QAbstractTableModel>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtCore/QVariantMap>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_EXPORT PKeywordTable : public QAbstractTableModel
{
    Q_OBJECT
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(QStringList keywords READ keywords WRITE setKeywords NOTIFY keywordsChanged)
    Q_PROPERTY(bool labels READ labels WRITE setLabels NOTIFY labelsChanged)
    Q_PROPERTY(int limit READ limit WRITE setLimit NOTIFY limitChanged)
    Q_PROPERTY(bool resolving READ resolving NOTIFY resolvingChanged)
    Q_PROPERTY(bool truncated READ truncated NOTIFY truncatedChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    QML_ELEMENT

public:
    enum Column {
        KeywordColumn,
        LabelColumn,
        ValueColumn,
        TypeColumn,
        ConnectedColumn,
        OnlineColumn,
        ConsistentColumn,
        ErrorColumn,
        ChangedColumn,
        RateColumn,
        OutcomeColumn,
        ColumnCount,
    };
    Q_ENUM(Column)

    enum Role {
        KeywordRole = Qt::UserRole + 1,
        NameRole,
        LabelRole,
        DisplayNameRole,
        ValueRole,
        ValueTextRole,
        ValueTypeRole,
        TypeRole,
        KnownRole,
        StaleRole,
        ConnectedRole,
        OnlineRole,
        ConsistentRole,
        ErrorRole,
        StateTextRole,
        ChangedRole,
        RateRole,
        WritableTypeRole,
        OutcomeRole,
        OutcomeTextRole,
    };
    Q_ENUM(Role)

    explicit PKeywordTable(QObject *parent = nullptr);
    ~PKeywordTable() override;

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);

    QStringList keywords() const;
    void setKeywords(const QStringList &keywords);

    bool labels() const;
    void setLabels(bool labels);

    int limit() const;
    void setLimit(int limit);

    bool resolving() const;
    bool truncated() const;
    int count() const;

    Q_INVOKABLE void refresh();
    Q_INVOKABLE int rowOf(const QString &keyword) const;
    Q_INVOKABLE QString keywordAt(int row) const;
    Q_INVOKABLE QVariantMap get(int row) const;
    Q_INVOKABLE void write(int row, const QVariant &value);
    Q_INVOKABLE QString toCsv(bool localized = false) const;
    Q_INVOKABLE QString saveCsv(const QUrl &file, bool localized = false) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void clientChanged();
    void keywordsChanged();
    void labelsChanged();
    void limitChanged();
    void resolvingChanged();
    void truncatedChanged();
    void countChanged();
    void written(const QString &keyword, int outcome);

private:
    friend class RowUpdate;
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::extras
