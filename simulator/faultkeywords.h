// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "simulator/simulatorglobal.h"

namespace pellix::simulator {

class KeywordServer;
class WebSocketKeywordServer;

// Declares the keywords below /simulator/faults, by which a client commands its server's faults.
PELLIXCLIENT_SIMULATOR_EXPORT void declareFaultKeywords(KeywordServer *server,
                                                        WebSocketKeywordServer *socketServer);

} // namespace pellix::simulator
