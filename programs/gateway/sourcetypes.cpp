// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/gateway/sourcetypes.h"

#if __has_include("gateway/mqtt/mqttsourcetype.h")
#include "gateway/mqtt/mqttsourcetype.h"
#endif

const pellix::gateway::SourceTypes &sourceTypes()
{
#if __has_include("gateway/mqtt/mqttsourcetype.h")
    static const pellix::gateway::MqttSourceType mqtt;
    static const pellix::gateway::SourceTypes types {&mqtt};
#else
    static const pellix::gateway::SourceTypes types;
#endif
    return types;
}
