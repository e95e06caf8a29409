// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/report.h"

/*
    Runs everything at once for that many minutes: events, writes, bindings that come and go, label
    lookups, index queries, a QML page that is shown and hidden, connections that are lost. Returns
    whether every keyword was right at each check, nothing was warned about, and memory stayed flat.
*/
bool soakMixedLoad(int minutes, Report *report);
