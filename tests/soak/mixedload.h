// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/report.h"

/*
    Runs everything at once for this number of minutes: events, writes, bindings that are created
    and destroyed, label lookups, index queries, a QML page that is shown and hidden, and lost
    connections. Returns whether every keyword was correct at each check, no warning was logged, and
    memory did not grow.
*/
bool soakMixedLoad(int minutes, Report *report);
