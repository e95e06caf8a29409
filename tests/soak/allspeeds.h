// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/reader.h"
#include "tests/soak/serverprocess.h"

#include <chrono>
#include <functional>
#include <vector>

/*
    A server whose keywords change without a pause, and clients of all speeds at the same time: fast
    ones, slow ones, ones that stop reading and are disconnected, and ones that come and go. After
    the changes have stopped, every client that reads must have the last value of each keyword.
*/
struct AllSpeedsOptions
{
    ServerProcess::Options server;
    std::chrono::milliseconds duration {60000};
    std::vector<ReaderOptions> fast;
    std::vector<ReaderOptions> slow;
    int stalling = 4;
    std::chrono::milliseconds readingTime {2000}; // before they stop
    int passing = 5; // at the same time
    std::chrono::milliseconds longestVisit {5000};
    std::chrono::milliseconds patience {600000}; // until all is settled in the end
    // Called with each sample of the server.
    std::function<void(const ServerSample &sample)> progress;
};

// Of a tenth of the time, in bytes.
struct MemoryOfTenth
{
    qint64 resident = 0; // the median
    qint64 allocated = 0;
};

struct AllSpeedsFigures
{
    QString failure; // empty when all went well
    bool linkLost = false; // of a client that reads, and nothing explains it
    int lostByStall = 0; // connections that the keep-alive ended, as the machine stood still
    qint64 changes = 0;
    qint64 milliseconds = 0; // of changes
    qint64 settleMilliseconds = 0; // from their end until the slowest had all last values
    std::vector<ReaderFigures> readers;
    int drops = 0; // of those that stopped reading
    qint64 earliestDrop = 0; // milliseconds after they had stopped
    qint64 latestDrop = 0;
    int visits = 0; // of those that come and go
    qint64 eventsOfVisits = 0;
    std::vector<ServerSample> samples; // while keywords changed
    ServerSample last; // when all was settled
    MemoryOfTenth settled; // in the second tenth; the first is the warm-up
    MemoryOfTenth end; // in the last tenth
    qint64 residentHighest = 0;
    qint64 allocatedHighest = 0;

    double residentGrowth() const;
    double allocatedGrowth() const;
};

AllSpeedsFigures runAllSpeeds(const AllSpeedsOptions &options);
