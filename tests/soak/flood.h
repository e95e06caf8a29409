// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QtGlobal>

/*
    A server in a separate thread sends events as fast as the connection accepts them, to a client
    that has bound all their keywords. Each keyword gets the values 1, 2, 3, and so on, so that a
    lost, repeated, or misplaced event is detected.
*/
struct FloodOptions
{
    int keywords = 10000;
    int events = 1000000; // a multiple of keywords
    int patienceSeconds = 600;
};

struct FloodFigures
{
    QString failure; // empty if no event was lost
    bool linkLost =
        false; // the keep-alive closed the connection, because one side stalled for seconds
    qint64 received = 0;
    int lastValuesRight = 0;
    qint64 milliseconds = 0; // from the first event to the last
    qint64 longestPause = 0; // of the client's event loop, in milliseconds
    qint64 turns = 0; // of the event loop, counted at most once per millisecond
    qint64 largestBatch = 0; // events processed between two turns
    qint64 residentBefore = 0; // bytes, of both sides together
    qint64 residentHighest = 0;
};

FloodFigures runFlood(const FloodOptions &options);
