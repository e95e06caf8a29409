// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>

// Has the handler called, from the event loop, when the user or the system wants the program to
// end: Ctrl-C, or a request to terminate. A second one ends the program at once.
void onInterrupt(std::function<void()> handler);
