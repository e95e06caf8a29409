// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/connection.h"
#include "programs/keyword/exitcode.h"
#include "programs/keyword/output.h"
#include "programs/keyword/settings.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>

#include <functional>
#include <memory>
#include <optional>

// One command at work. It is started once, in the event loop, and ends it with its exit code.
class Command : public QObject
{
    Q_OBJECT

public:
    Command(const Settings &settings, Output *output) : settings(settings), output(output) { }

    virtual void start() = 0;
    virtual void interrupt() { finish(ExitCode::Interrupted); }
    void finish(ExitCode code);
    bool isFinished() const { return finished; }

protected:
    const Settings settings;
    Output *const output;

private:
    bool finished = false;
};

// A command that talks to a server, with patience for it to answer.
class ClientCommand : public Command
{
    Q_OBJECT

public:
    ClientCommand(const Settings &settings, Output *output);
    void start() override;
    void interrupt() override;

protected:
    // Whether it goes on until interrupted: then it waits for ever unless told otherwise.
    virtual bool isEndless() const { return false; }
    virtual void begin() = 0; // at the first connection
    virtual void onTimeout(); // nothing came, though there is a connection

    pellix::client::PKeywordClient *client() { return connection.client(); }
    bool isOpen() const { return connection.isOpen(); }
    // Calls it with "lost" when the connection is, and with "open" when it came back.
    void followConnection(const std::function<void(const QString &state)> &handler);
    void answered() { lastAnswer.start(); } // patience begins anew

    Connection connection;

private:
    void checkPatience();

    std::optional<std::chrono::milliseconds> limit;
    QElapsedTimer lastAnswer;
    QTimer patience;
    bool begun = false;
    bool wasLost = false;
};

// The command that the settings name.
std::unique_ptr<Command> createCommand(const Settings &settings, Output *output);
