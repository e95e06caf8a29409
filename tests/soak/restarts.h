// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/report.h"

// Runs clients through this number of restarts of their servers, and returns whether they recovered
// from all of them.
bool soakRestarts(int restarts, int clients, const QString &simulator, Report *report);
