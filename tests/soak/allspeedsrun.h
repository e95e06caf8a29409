// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/report.h"

// Runs a server with clients of all speeds for the given number of minutes.
bool soakAllSpeeds(int minutes, const QString &serverProgram, Report *report);
