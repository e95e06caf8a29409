// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/report.h"

// Measures the cost of a client that has stopped reading, over the given number of events.
bool soakStalledClient(int events, const QString &serverProgram, Report *report);
