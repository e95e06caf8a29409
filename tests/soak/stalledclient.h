// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/serverprocess.h"

#include <chrono>
#include <vector>

/*
    What a client that has stopped reading costs its server and the other clients. Two servers are
    measured in turn, in pieces short enough that whatever else the machine does meets both: one
   with such a client, which watches all keywords, and one without it. The other clients share the
    keywords among them, so that each change is sent to one of them.
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

// Of one of the servers.
struct StalledClientSide
{
    ServerSample before; // all clients are there, and the stalled one has stopped
    ServerSample last;
    std::vector<ServerSample> samples;
    std::vector<qint64> sampledAt; // milliseconds since the begin, on one clock for both
    qint64 events = 0; // received by the other clients
    qint64 medianLatency = 0; // microseconds from a change until a client has its event
    qint64 latency99 = 0; // 99th percentile

    qint64 residentGrowth() const; // bytes, at most
    qint64 allocatedGrowth() const;
};

struct StalledClientFigures
{
    QString failure; // empty when all went well
    qint64 milliseconds = 0;
    StalledClientSide with;
    StalledClientSide without;

    double latencyRatio() const; // of the 99th percentiles
};

StalledClientFigures runStalledClient(const StalledClientOptions &options);
