// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/report.h"

// Runs a gateway with a mixed load for that long, and returns whether all went well and memory
// stayed constant.
bool soakGatewayLoad(int minutes, Report *report);
