// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/report.h"

// Runs clients through that many restarts of their servers, and returns whether every one of them
// was recovered from.
bool soakRestarts(int restarts, int clients, const QString &simulator, Report *report);
