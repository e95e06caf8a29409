// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/serverprocess.h"

#include <chrono>
#include <vector>

/*
    Measures the cost of a client that has stopped reading, for its server and the other clients.
    Two servers are measured in turn, in short pieces, so that other load on the machine affects
    both: one with such a client, which watches all keywords, and one without it. The other clients
    share the keywords, so that each change is sent to one of them.
*/
struct StalledClientOptions
{
    QString serverProgram;
    int keywords = 10000;
    int otherClients = 49;
    int events = 1000000; // a multiple of the piece
    int piece = 10000;
    int changesPerSecond = 25000;
    std::chrono::milliseconds patience {600000};
};

// The figures of one of the servers.
struct StalledClientSide
{
    ServerSample before; // all clients are connected, and the stalled one has stopped reading
    ServerSample last;
    std::vector<ServerSample> samples;
    std::vector<qint64> sampledAt; // milliseconds since the beginning, on one clock for both
    qint64 events = 0; // received by the other clients
    qint64 medianLatency = 0; // microseconds from a change until a client receives its event
    qint64 latency99 = 0; // 99th percentile

    qint64 residentGrowth() const; // bytes, maximum
    qint64 allocatedGrowth() const;
};

struct StalledClientFigures
{
    QString failure; // empty if the run succeeded
    qint64 milliseconds = 0;
    StalledClientSide with;
    StalledClientSide without;

    double latencyRatio() const; // of the 99th percentiles
};

StalledClientFigures runStalledClient(const StalledClientOptions &options);
