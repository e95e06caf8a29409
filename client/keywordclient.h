// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordglobal.h"
#include "client/keywordtypes.h"
#include "pubsub/publisher.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QUuid>
#include <QtCore/QVariant>

#include <memory>

namespace pellix::client {

class PELLIXCLIENT_KEYWORD_EXPORT PKeywordClient : public QObject
{
    Q_OBJECT

public:
    explicit PKeywordClient(QObject *parent = nullptr);
    ~PKeywordClient() override;

    PPublisher *publisher() const;

    // The types stand unqualified in the signatures on the meta-object: part of the interface.
    // clazy:excludeall=fully-qualified-moc-types
    Q_INVOKABLE bool sendKeyCreate(const QString &keyword,
                                   const QStringList &children = QStringList(),
                                   PKeywordAggregation aggregation = PKeywordAggregation::No);
    Q_INVOKABLE bool sendKeyUpdate(const QString &keyword, const QVariant &value);
    Q_INVOKABLE bool sendKeyUpdateRelative(const QString &keyword, const QVariant &value);
    Q_INVOKABLE bool sendKeyDestroy(const QString &keyword);
    Q_INVOKABLE QUuid sendKeyIndex(const QString &query, PKeywordValueType filterType,
                                   PKeywordValueAccess filterAccess);

Q_SIGNALS:
    void keyIndexResponse(QUuid id, const QVariant &data);

protected:
    virtual bool receiveCommand(const QByteArray &data);
    virtual bool sendCommand(const QByteArray &data);

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::client
