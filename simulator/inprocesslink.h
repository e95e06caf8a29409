// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "simulator/simulatorglobal.h"

namespace pellix::client {
class PInProcessKeywordClient;
}

namespace pellix::simulator {

class KeywordServer;
class KeywordSession;

PELLIXCLIENT_SIMULATOR_EXPORT KeywordSession *
linkInProcess(KeywordServer *server, pellix::client::PInProcessKeywordClient *client);

} // namespace pellix::simulator
