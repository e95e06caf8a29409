// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "pubsub/pubsubglobal.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>

namespace pellix::client {

class PPublisher;

class PELLIXCLIENT_PUBSUB_EXPORT PSubscriber : public QObject
{
    Q_OBJECT

public:
    explicit PSubscriber(QObject *parent = nullptr);
    ~PSubscriber() override;

    void setPublisher(PPublisher *publisher);

    void setTopic(const QString &topic);
    QString topic(); // not const: part of the interface

    bool active() const;
    bool publisherActive() const;

Q_SIGNALS:
    void activeChanged();
    void publisherActiveChanged();
    void valueChanged(QVariant value);

private:
    friend class PPublisher;
    friend class SubscriberListener;

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::client
