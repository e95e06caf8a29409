// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QProcess>

// Whether this run is to show that the benchmarks work; its figures mean nothing.
bool isSmokeRun();

// This program in another process, which publishes so many messages to so many topics in
// turn, each with a number of its own.
class Publisher
{
public:
    Publisher(quint16 port, int first, int messages, int topics, bool isJson);
    ~Publisher();

    bool waitForEnd();

    static QByteArray topic(int number);

    // What that process does.
    static int run(quint16 port, int first, int messages, int topics, bool isJson);

private:
    QProcess process;
};
