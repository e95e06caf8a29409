// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/report.h"

struct BrokerLossesRun
{
    int losses = 1000; // one in 20 is half open
    int gateways = 8; // that lose brokers which end, at the same time
    int screens = 1; // of each gateway
};

// Has gateways lose their brokers, and returns whether all screens were right after each loss, and
// soon enough.
bool soakBrokerLosses(const BrokerLossesRun &run, const QString &gatewayProgram, Report *report);
