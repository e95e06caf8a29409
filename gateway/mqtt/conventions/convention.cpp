// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/conventions/convention.h"

#include "gateway/mqtt/conventions/homeassistant.h"
#include "gateway/mqtt/conventions/homie.h"
#include "gateway/mqtt/conventions/zigbee2mqtt.h"

namespace pellix::gateway {

Convention::~Convention() = default;

std::unique_ptr<Convention> Convention::create(const QString &name,
                                               const ConventionOptions &options)
{
    if (name == QLatin1String("homeassistant"))
        return std::make_unique<HomeAssistantConvention>(options);
    if (name == QLatin1String("homie"))
        return std::make_unique<HomieConvention>(options);
    if (name == QLatin1String("zigbee2mqtt"))
        return std::make_unique<Zigbee2MqttConvention>(options);
    return nullptr;
}

QStringList Convention::names()
{
    return {QStringLiteral("homeassistant"), QStringLiteral("homie"),
            QStringLiteral("zigbee2mqtt")};
}

} // namespace pellix::gateway
