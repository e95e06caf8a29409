// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>

namespace programs {

// Calls the handler from the event loop on the first SIGINT, SIGTERM, or SIGHUP. SIGHUP, which is
// sent when the terminal closes, is ignored if the caller of the program ignores it. The same
// signal again ends the program immediately.
void onInterrupt(std::function<void()> handler);

// Calls the handler from the event loop on each SIGHUP, the request to reload the configuration.
// Call this function before onInterrupt(), which then does not handle SIGHUP.
void onHangUp(std::function<void()> handler);

} // namespace programs
