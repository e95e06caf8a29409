// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>

namespace programs {

// Has the handler called, from the event loop, when the user or the system wants the program to
// end: Ctrl-C, a request to terminate, or the end of the terminal, unless the caller has the last
// one ignored. The same one again ends the program at once.
void onInterrupt(std::function<void()> handler);

// Has the handler called, from the event loop, each time when the program is told to read its
// configuration again (SIGHUP). Then onInterrupt(), which has to be called later, leaves that
// alone.
void onHangUp(std::function<void()> handler);

} // namespace programs
