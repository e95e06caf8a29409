// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/memory.h"

#include <QtCore/QString>

#include <chrono>
#include <functional>
#include <vector>

/*
    A gateway in this process with a mixed load: topics that change at several rates, as numbers and
    as JSON, writes that a device answers, clients that come and go, configurations that replace one
    another, and a broker that is lost now and then. It comes in cycles. At the end of each, all is
    brought to rest, and every keyword must have the last value that was published.
*/
struct GatewayLoadOptions
{
    std::chrono::milliseconds duration {60000};
    int cycles = 0; // that end it before; 0: as many as there is time for
    int ticks = 1000; // of a cycle, each at least 10 ms
    std::chrono::milliseconds patience {60000}; // until all is at rest
};

struct GatewayLoadSample
{
    qint64 milliseconds = 0; // since the start
    Memory memory; // of this process, at rest
};

struct GatewayLoadFigures
{
    QString failure; // empty when all went well
    std::vector<GatewayLoadSample> samples; // of each cycle
    qint64 milliseconds = 0;
    qint64 messages = 0; // published
    qint64 objects = 0; // of them, in JSON
    qint64 events = 0; // received by the client that stays
    qint64 writes = 0;
    qint64 visits = 0; // of clients that come and go
    qint64 reloads = 0;
    qint64 brokersLost = 0;
};

// The progress is told after each cycle.
GatewayLoadFigures
runGatewayLoad(const GatewayLoadOptions &options,
               const std::function<void(const GatewayLoadFigures &figures)> &progress = {});
