// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

// This program in another process, with another role, as a server on a port of 127.0.0.1.
class OtherProcess
{
public:
    explicit OtherProcess(const QString &role, const QStringList &arguments = {});
    ~OtherProcess();

    bool isRunning() const { return port != 0; }
    QString url() const;
    qint64 processId() const { return process.processId(); }
    quint16 port = 0;

private:
    QProcess process;
};

// The server roles. Each prints its port and runs until its standard input is closed.
int serveRole(const QString &role, const QStringList &arguments);

// The processor time that a process has used so far, in seconds.
double processorTime(qint64 process);

// Runs the event loop until the condition holds. Returns false if it does not within two minutes.
bool waitFor(const std::function<bool()> &condition);

// Whether this run only checks that the benchmarks work, with few events; its figures are
// meaningless.
bool smokeRun();
