// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/gateway/sourcetypes.h"

#include "gateway/mqtt/mqttsourcetype.h"

const pellix::gateway::SourceTypes &sourceTypes()
{
    static const pellix::gateway::MqttSourceType mqtt;
    static const pellix::gateway::SourceTypes types {&mqtt};
    return types;
}
