// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "simulator/simulatorglobal.h"

namespace pellix::server {
class KeywordServer;
}

namespace pellix::simulator {
class FaultyWebSocketServer;

PELLIXCLIENT_SIMULATOR_EXPORT void declareFaultKeywords(server::KeywordServer *server,
                                                        FaultyWebSocketServer *socketServer);

} // namespace pellix::simulator
