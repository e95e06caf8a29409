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

// A running command. It is started once, in the event loop, which it ends with its exit code.
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

// A command that communicates with a server, with a timeout for replies.
class ClientCommand : public Command
{
    Q_OBJECT

public:
    ClientCommand(const Settings &settings, Output *output);
    void start() override;
    void interrupt() override;

protected:
    // Whether the command runs until interrupted: it then has no timeout, unless one is set.
    virtual bool isEndless() const { return false; }
    virtual void begin() = 0; // at the first connection
    virtual void onTimeout(); // connected, but nothing has arrived in time

    pellix::client::PKeywordClient *client() { return connection.client(); }
    bool isOpen() const { return connection.isOpen(); }
    // Calls the handler with "lost" when the connection is lost, and with "open" when it is
    // restored.
    void followConnection(const std::function<void(const QString &state)> &handler);
    void answered() { lastAnswer.start(); } // restarts the timeout

    Connection connection;

private:
    void checkPatience();

    std::optional<std::chrono::milliseconds> limit;
    QElapsedTimer lastAnswer;
    QTimer patience;
    bool begun = false;
    bool wasLost = false;
};

// Creates the command that the settings specify.
std::unique_ptr<Command> createCommand(const Settings &settings, Output *output);
