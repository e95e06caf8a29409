// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/reader.h"
#include "tests/soak/serverprocess.h"

#include <chrono>
#include <functional>
#include <vector>

/*
    A server whose keywords change continuously, and clients of all speeds at the same time: fast
    ones, slow ones, ones that stop reading and are disconnected, and ones that connect and
    disconnect. Then the changes stop, and all reading clients must have the last value of each
    keyword.
*/
struct AllSpeedsOptions
{
    ServerProcess::Options server;
    std::chrono::milliseconds duration {60000};
    std::vector<ReaderOptions> fast;
    std::vector<ReaderOptions> slow;
    int stalling = 4;
    std::chrono::milliseconds readingTime {2000}; // before the clients stop reading
    int passing = 5; // at the same time
    std::chrono::milliseconds longestVisit {5000};
    std::chrono::milliseconds patience {600000}; // until all readers have all last values
    // Called with each sample of the server.
    std::function<void(const ServerSample &sample)> progress;
};

// The memory in a tenth of the time, in bytes.
struct MemoryOfTenth
{
    qint64 resident = 0; // the median
    qint64 allocated = 0;
};

struct AllSpeedsFigures
{
    QString failure; // empty if the run succeeded
    bool linkLost = false; // a reading client lost its connection without an explanation
    int lostByStall = 0; // connections that the keep-alive closed because the machine stalled
    qint64 changes = 0;
    qint64 milliseconds = 0; // duration of the changes
    qint64 settleMilliseconds = 0; // from the last change until the slowest reader had all values
    std::vector<ReaderFigures> readers;
    int drops = 0; // clients dropped because they stopped reading
    qint64 earliestDrop = 0; // milliseconds after they had stopped reading
    qint64 latestDrop = 0;
    int visits = 0; // connections of visiting clients
    qint64 eventsOfVisits = 0;
    std::vector<ServerSample> samples; // during the changes
    ServerSample last; // after all readers had the last values
    MemoryOfTenth settled; // in the second tenth; the first is the warm-up
    MemoryOfTenth end; // in the last tenth
    qint64 residentHighest = 0;
    qint64 allocatedHighest = 0;
    double residentGrowth = 0; // after the first tenth, relative
    double allocatedGrowth = 0;
};

AllSpeedsFigures runAllSpeeds(const AllSpeedsOptions &options);
