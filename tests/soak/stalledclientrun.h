// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/report.h"

// What a client that has stopped reading costs, over so many events.
bool soakStalledClient(int events, const QString &serverProgram, Report *report);
