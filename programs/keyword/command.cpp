// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/command.h"

#include <QtCore/QCoreApplication>

using namespace std::chrono_literals;

namespace {

// Longer than the 5 s after which a gateway reports that a device has not confirmed a write, so
// that the reply of the gateway is reported first.
constexpr auto defaultTimeout = 6000ms;

} // namespace

void Command::finish(ExitCode code)
{
    if (finished)
        return;
    finished = true;
    QCoreApplication::exit(int(code));
}

ClientCommand::ClientCommand(const Settings &settings, Output *output)
    : Command(settings, output), connection(settings)
{
    patience.setSingleShot(true);
    connect(&patience, &QTimer::timeout, this, &ClientCommand::checkPatience);
    connect(&connection, &Connection::opened, this, [this] {
        answered();
        if (!begun) {
            begun = true;
            begin();
        }
    });
    connect(&connection, &Connection::failed, this, [this] {
        complain(connection.problem());
        finish(ExitCode::NotConnected);
    });
}

void ClientCommand::start()
{
    if (const QString problem = connection.readFiles(); !problem.isEmpty()) {
        complain(problem);
        finish(ExitCode::FileError);
        return;
    }
    limit = settings.timeout;
    if (!limit && !isEndless())
        limit = defaultTimeout;
    connection.setAnnounced(isEndless());
    answered();
    if (limit)
        patience.start(*limit);
    connection.open();
}

void ClientCommand::followConnection(const std::function<void(const QString &)> &handler)
{
    connect(&connection, &Connection::lost, this, [this, handler] {
        wasLost = true;
        if (!isFinished())
            handler(QStringLiteral("lost"));
    });
    connect(&connection, &Connection::opened, this, [this, handler] {
        if (wasLost && !isFinished())
            handler(QStringLiteral("open"));
    });
}

void ClientCommand::interrupt()
{
    finish(isEndless() ? ExitCode::Success : ExitCode::Interrupted);
}

// A reply only records its time. This is cheaper than restarting a timer for each reply.
void ClientCommand::checkPatience()
{
    if (isFinished())
        return;
    const std::chrono::milliseconds left = *limit - std::chrono::milliseconds(lastAnswer.elapsed());
    if (left.count() > 0) {
        patience.start(left);
        return;
    }
    if (isOpen()) {
        onTimeout();
        if (!isFinished())
            patience.start(*limit);
    } else {
        complain(connection.problem());
        finish(ExitCode::NotConnected);
    }
}

void ClientCommand::onTimeout()
{
    complain(QStringLiteral("no reply within %1 s").arg(double(limit->count()) / 1000));
    finish(ExitCode::TimedOut);
}
