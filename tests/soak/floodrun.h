// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/report.h"

// Floods a client with at least this number of events, and returns whether none was lost.
bool soakFlood(int events, Report *report);
