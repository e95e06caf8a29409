// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QtGlobal>

/*
    A server in a thread of its own sends events as fast as the connection takes them, to a client
    with as many bound keywords. Each keyword gets its values in order, 1, 2, 3, and so on, so that
    one that is lost, doubled or out of order shows at once.
*/
struct FloodOptions
{
    int keywords = 10000;
    int events = 1000000; // a multiple of keywords
    int patienceSeconds = 600;
};

struct FloodFigures
{
    QString failure; // empty when nothing was lost
    bool linkLost =
        false; // the client's keep-alive gave up, as one of them stood still for seconds
    qint64 received = 0;
    int lastValuesRight = 0;
    qint64 milliseconds = 0; // from the first event to the last
    qint64 longestPause = 0; // of the client's event loop, in milliseconds
    qint64 turns = 0; // of the event loop, at most one counted per millisecond
    qint64 largestBatch = 0; // events handled between two of them
    qint64 residentBefore = 0; // bytes, of both ends together
    qint64 residentHighest = 0;
};

FloodFigures runFlood(const FloodOptions &options);
