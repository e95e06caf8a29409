// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/mqttlink.h"
#include "gateway/mqtt/topicmapping.h"
#include "gateway/source.h"

#include <QtCore/QList>

#include <memory>

namespace pellix::gateway {

// A source for the topics of a broker. It is ready when it has subscribed to everything and
// received the retained messages. Subscriptions that the broker refuses do not count unless it
// refuses all of them; they are requested again periodically.
class MqttSource : public Source
{
    Q_OBJECT

public:
    // With each QoS, only the broker decides which messages may be lost, because it stores nothing
    // for disconnected clients. With QoS 1, some brokers discard queued messages beyond a limit.
    MqttSource(const MqttOptions &options, const MappingOptions &mapping, int qos = 0,
               QObject *parent = nullptr);
    ~MqttSource() override;

    void start() override;
    void stop() override;
    State state() const override;
    QString reason() const override;
    Statistics statistics() const override;
    void write(const SourceWrite &write) override;

    // Replaces the mapping and keeps the connection.
    void setMapping(const MappingOptions &mapping, int qos);
    // The topics that have been seen since the start and are not declared, sorted.
    QList<ServedTopic> served() const;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::gateway
