// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/report.h"

// A server with clients of all speeds for so many minutes.
bool soakAllSpeeds(int minutes, const QString &serverProgram, Report *report);
