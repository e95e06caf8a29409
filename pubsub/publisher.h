// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "pubsub/pubsubglobal.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>

namespace pellix::client {

class PELLIXCLIENT_PUBSUB_EXPORT PPublisher : public QObject
{
    Q_OBJECT

public:
    explicit PPublisher(QObject *parent = nullptr);
    ~PPublisher() override;

    void publish(const QString &topic, QVariant value);

    void setActive(bool active);
    bool active() const;

Q_SIGNALS:
    void activeChanged();
    void topicRemoved(const QString &topic);

private:
    friend class PSubscriber;

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::client
