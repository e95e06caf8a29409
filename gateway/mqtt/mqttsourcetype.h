// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/mqttlink.h"
#include "gateway/mqtt/topicmapping.h"
#include "gateway/sourcetype.h"

#include <QtCore/QJsonObject>
#include <QtCore/QList>

namespace pellix::gateway {

// The settings of a broker, and the mapping of its topics to keywords.
class MqttSourceSettings : public SourceSettings
{
public:
    // Messages, and the expected values of keywords after them.
    struct Test
    {
        QString pointer;
        QList<std::pair<QByteArray, QByteArray>> messages; // topics and payloads
        QJsonObject expected; // by path
    };

    std::unique_ptr<Source> create() const override;
    bool apply(const SourceSettings &other, Source *source) const override;
    bool operator==(const SourceSettings &other) const override;
    MappingTests runTests(const QString &mount) const override;
    QJsonObject toJson(const Source *source) const override;

    MqttOptions link;
    MappingOptions mapping;
    int qos = 0;
    QList<Test> tests;
    QJsonObject json; // the members from which these settings were read
};

// The type of sources with a member "mqtt".
class MqttSourceType : public SourceType
{
public:
    QString name() const override;
    std::shared_ptr<const SourceSettings> read(ConfigurationObject &source) const override;
};

} // namespace pellix::gateway
