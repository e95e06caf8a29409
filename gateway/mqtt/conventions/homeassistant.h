// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/conventions/describedkeywords.h"

#include <QtCore/QJsonObject>

namespace pellix::gateway {

// Home Assistant discovery: sensor, binary_sensor, switch, number, select, text, and button, as
// single entities or as components of a device. An entity becomes "/DEVICE/OBJECT".
class HomeAssistantConvention final : public Convention
{
public:
    explicit HomeAssistantConvention(const ConventionOptions &options);

    QString name() const override;
    QStringList subscriptions() const override;
    ConventionChange take(const QString &topic, const QByteArray &payload) override;
    int skipped() const override;
    void clear() override;

private:
    const QString base;
    DescribedKeywords keywords;
};

} // namespace pellix::gateway
