// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/command.h"

#include <QtCore/QTimer>
#include <QtCore/QUuid>

// Measures the time from an index request to its reply.
class PingCommand : public ClientCommand
{
    Q_OBJECT

public:
    PingCommand(const Settings &settings, Output *output);
    void interrupt() override;

protected:
    void begin() override;
    void onTimeout() override;

private:
    void send();
    void onResponse(const QUuid &id);
    void wait();
    void conclude(ExitCode code);

    const int wanted;
    QTimer pause;
    QElapsedTimer sinceRequest;
    QUuid underWay;
    int sent = 0;
    int answers = 0;
    double least = 0; // in milliseconds, like the following
    double most = 0;
    double sum = 0;
};
