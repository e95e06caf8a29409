// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/mqttlink.h"
#include "gateway/mqtt/topicmapping.h"
#include "gateway/source.h"

#include <QtCore/QList>

#include <memory>

namespace pellix::gateway {

// The topics of a broker. It is ready once everything is subscribed to and what the broker keeps
// has come.
class MqttSource : public Source
{
    Q_OBJECT

public:
    // Which messages of a QoS may be lost depends on the broker alone, as it keeps nothing for
    // clients that are gone. With 1, some of them drop what they keep beyond a limit.
    MqttSource(const MqttOptions &options, const MappingOptions &mapping, int qos = 0,
               QObject *parent = nullptr);
    ~MqttSource() override;

    void start() override;
    void stop() override;
    State state() const override;
    QString reason() const override;
    Statistics statistics() const override;
    void write(const SourceWrite &write) override;

    // From now on; the link stays.
    void setMapping(const MappingOptions &mapping, int qos);
    // What has been seen since the start and is not declared, sorted.
    QList<ServedTopic> served() const;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::gateway
