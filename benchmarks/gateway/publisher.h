// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QProcess>

// Whether this run only checks that the benchmarks work; its figures are meaningless.
bool isSmokeRun();

// This program in another process, which publishes the given number of messages to the given number
// of topics in turn, each with a different number.
class Publisher
{
public:
    Publisher(quint16 port, int first, int messages, int topics, bool isJson);
    ~Publisher();

    bool waitForEnd();

    static QByteArray topic(int number);

    // The task of the other process.
    static int run(quint16 port, int first, int messages, int topics, bool isJson);

private:
    QProcess process;
};
