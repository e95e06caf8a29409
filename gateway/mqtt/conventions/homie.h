// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/conventions/describedkeywords.h"

#include <QtCore/QHash>
#include <QtCore/QSet>

namespace pellix::gateway {

// Homie 5: one JSON document describes all nodes and properties of a device. A property becomes
// "/DEVICE/NODE/PROPERTY".
class HomieConvention final : public Convention
{
public:
    explicit HomieConvention(const ConventionOptions &options);

    QString name() const override;
    QStringList subscriptions() const override;
    ConventionChange take(const QString &topic, const QByteArray &payload) override;
    int skipped() const override;
    void clear() override;

private:
    struct Property
    {
        TopicKeyword keyword;
        QStringList labels; // from the shortest to the last one, which is unique
    };
    struct Device
    {
        bool hasState = false;
        QString root; // topic of the device on which this one depends, if any
        QStringList properties; // topics
        int skipped = 0;
        QSet<QString> alerts;
    };
    class Reader;

    void takeState(const QString &topic, const QByteArray &payload, QSet<QString> *changed);
    void takeAlert(const QString &topic, const QString &id, const QByteArray &payload,
                   QSet<QString> *changed);
    void takeDescription(const QString &topic, const QByteArray &payload, QSet<QString> *changed,
                         ConventionChange *change);
    void addProperty(const Property &property, QSet<QString> *changed);
    void removeProperty(const QString &topic, QSet<QString> *changed);

    Description describe(const QString &topic, const Device &device) const;
    Description describe(const Property &property) const;
    QString label(const Property &property) const;

    const ConventionOptions options;
    const QString base; // such as "homie/5"
    QHash<QString, Device> devices; // by topic, such as "homie/5/boiler"
    QHash<QString, Property> properties; // by topic
    QHash<QString, QSet<QString>> sharers; // topics of the properties, by label
    DescribedKeywords keywords; // owners: topics of devices (with the filters) and of properties
};

} // namespace pellix::gateway
