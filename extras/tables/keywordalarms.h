// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "extras/extrasglobal.h"
#include "extras/tables/keywordalarm.h"

#include <QtCore/QAbstractListModel>
#include <QtCore/QList>
#include <QtCore/QVariantMap>
#include <QtQml/QQmlListProperty>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_EXPORT PKeywordAlarms : public QAbstractListModel
{
    Q_OBJECT
    // The list of declared objects is only set up, and not bound to.
    // clazy:excludeall=qproperty-without-notify
    Q_PROPERTY(
        pellix::client::PKeywordClient *client READ client WRITE setClient NOTIFY clientChanged)
    Q_PROPERTY(QQmlListProperty<pellix::extras::PKeywordAlarm> alarms READ alarmList)
    Q_PROPERTY(int limit READ limit WRITE setLimit NOTIFY limitChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    Q_PROPERTY(int activeCount READ activeCount NOTIFY activeCountChanged)
    Q_PROPERTY(int unacknowledgedCount READ unacknowledgedCount NOTIFY unacknowledgedCountChanged)
    Q_CLASSINFO("DefaultProperty", "alarms")
    QML_ELEMENT

public:
    enum Role {
        KeywordRole = Qt::UserRole + 1,
        TextRole,
        PriorityRole,
        ActiveRole,
        KnownRole,
        CameRole,
        WentRole,
        AcknowledgedRole,
        AcknowledgedAtRole,
        AcknowledgedByRole,
    };
    Q_ENUM(Role)

    explicit PKeywordAlarms(QObject *parent = nullptr);
    ~PKeywordAlarms() override;

    pellix::client::PKeywordClient *client() const;
    void setClient(pellix::client::PKeywordClient *client);

    QList<PKeywordAlarm *> alarms() const;
    void addAlarm(PKeywordAlarm *alarm);
    void removeAlarm(PKeywordAlarm *alarm);
    QQmlListProperty<PKeywordAlarm> alarmList();

    int limit() const;
    void setLimit(int limit);

    int count() const;
    int activeCount() const;
    int unacknowledgedCount() const;

    Q_INVOKABLE void acknowledge(int row, const QString &by = QString());
    Q_INVOKABLE void acknowledgeAll(const QString &by = QString());
    Q_INVOKABLE void removeAcknowledged();
    Q_INVOKABLE QVariantMap get(int row) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void clientChanged();
    void limitChanged();
    void countChanged();
    void activeCountChanged();
    void unacknowledgedCountChanged();
    void came(pellix::extras::PKeywordAlarm *alarm);
    void went(pellix::extras::PKeywordAlarm *alarm);

private:
    friend class RowUpdate;
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::extras
