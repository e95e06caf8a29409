// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"

#include <QtCore/QProcess>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

// The arguments of the program, split at spaces.
QStringList words(const char *line);

// One run of the program. The event loop continues during waits, because the server may be in this
// process.
class Tool
{
public:
    // Additional environment variables, such as "TZ=UTC", may be given.
    explicit Tool(const QStringList &arguments, const QString &url = {},
                  const QStringList &variables = {});
    ~Tool();

    bool finish(int milliseconds = 30000); // false if it does not exit
    bool printed(int lines); // waits for this number of lines
    bool complained(const QString &text); // waits for the text on standard error
    void sendSignal(int number);
    void write(const QByteArray &input) { process.write(input); }
    void endInput() { process.closeWriteChannel(); }
    bool isRunning() const { return process.state() == QProcess::Running; }

    int exitCode() const;
    QString output();
    QStringList lines();
    QString errors();
    qint64 processId() const { return process.processId(); }

private:
    void read();

    QProcess process;
    QByteArray out;
    QByteArray err;
};

// The result of a completed run.
struct Run
{
    int exitCode = -1;
    QString output;
    QString errors;

    QStringList lines() const;
};

// A server in this process with some keywords, and functions to run the program with it.
class Bench
{
public:
    Bench();

    void declare(const char *path, const char *type, const QVariant &value,
                 const char *access = "RW", const char *label = "");
    QString url() const;
    Run run(const QStringList &arguments) const;
    QString file(const char *name) const;

    pellix::server::KeywordServer server;
    pellix::simulator::FaultyWebSocketServer socketServer {&server};

private:
    QTemporaryDir directory;
};
