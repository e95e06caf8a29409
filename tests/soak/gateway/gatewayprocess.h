// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/cluster/childprocess.h"

#include <QtCore/QJsonObject>
#include <QtCore/QTemporaryDir>

// The program keyword-gateway with a configuration.
class GatewayProcess
{
public:
    explicit GatewayProcess(const QString &program);

    // Returns when it listens.
    bool start(const QJsonObject &configuration);
    bool isRunning() const { return process.isRunning(); }
    QString url() const { return listensOn; }
    qint64 residentKib() const { return process.usage().residentKib; }
    int connections() const; // to its broker so far
    QString lastLogLine() const;

private:
    QByteArray log() const;

    const QString program;
    QTemporaryDir folder;
    ChildProcess process {QStringLiteral("gateway")};
    QString listensOn;
};
