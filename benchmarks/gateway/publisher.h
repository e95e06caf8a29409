// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QProcess>

// Whether this run only checks that the benchmarks work; its figures are meaningless.
bool isSmokeRun();

// Seconds of the clock that all processes share.
double steadySeconds();

// This program in another process, which publishes the given number of messages to the given number
// of topics in turn, each with a different number.
class Publisher
{
public:
    Publisher(quint16 port, int first, int messages, int topics, bool isJson);
    // Publishes the time, at a steady rate, in turn below screen/ and bare/.
    Publisher(quint16 port, int rounds, int topics, int roundsPerSecond);
    ~Publisher();

    bool waitForEnd();

    static QByteArray topic(int number);
    static QByteArray time();

    // The task of the other process.
    static int run(quint16 port, int first, int messages, int topics, bool isJson);
    static int runSteadily(quint16 port, int rounds, int topics, int roundsPerSecond);

private:
    QProcess process;
};
