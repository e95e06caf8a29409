// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/conventions/describedkeywords.h"

#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

namespace pellix::gateway {

// Zigbee2MQTT: the bridge describes all devices in one message, and all groups in another. A
// property becomes "/FRIENDLY NAME/PROPERTY".
class Zigbee2MqttConvention final : public Convention
{
public:
    explicit Zigbee2MqttConvention(const ConventionOptions &options);

    QString name() const override;
    QStringList subscriptions() const override;
    ConventionChange take(const QString &topic, const QByteArray &payload) override;
    int skipped() const override;
    void clear() override;

private:
    // A keyword without the parts that depend on the device, and its path below the device.
    struct Exposed
    {
        QStringList levels; // names of the properties
        TopicKeyword keyword;
        bool isReadable = true;
        bool isSettable = false;
        bool isComposite = false;
    };
    using ExposedList = std::vector<Exposed>;
    struct Settings
    {
        bool hasAttributeTopics = false; // one topic for each property, and no JSON
        bool hasAvailability = false;
        QHash<QString, bool> availability; // of devices and groups that differ from hasAvailability
        bool operator==(const Settings &other) const;
    };
    class Reader;

    bool takeInfo(const QByteArray &payload, ConventionChange *change);
    bool takeList(const QByteArray &payload, const QString &topic, QJsonArray *list,
                  ConventionChange *change);
    void describeAll(ConventionChange *change);
    std::optional<ExposedList> exposedByGroup(const QJsonObject &group,
                                              const QHash<QString, ExposedList> &devices,
                                              std::size_t *room) const;
    Description describe(const QString &name, const QString &owner, const QString &id,
                         const ExposedList &exposed) const;
    TopicKeyword describe(const QString &name, const Exposed &exposed) const;

    const QString base;
    Settings settings;
    QJsonArray devices;
    QJsonArray groups;
    QHash<QString, QString> names; // by owner, which is "device ADDRESS" or "group NUMBER"
    DescribedKeywords keywords;
};

} // namespace pellix::gateway
