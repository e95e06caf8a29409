// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/gateway.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonObject>
#include <QtCore/QObject>
#include <QtCore/QTimer>

// Waits until the sources of a gateway are subscribed and report nothing new, and then prints the
// configuration that it amounts to.
class Dump : public QObject
{
    Q_OBJECT

public:
    // The configuration is also given as it was written.
    Dump(pellix::gateway::Gateway *gateway, const pellix::gateway::Configuration &configuration,
         const QJsonObject &written);

Q_SIGNALS:
    void finished(int exitCode);

private:
    void look();
    void print() const;

    pellix::gateway::Gateway *const gateway;
    const pellix::gateway::Configuration configuration;
    const QJsonObject written;
    QTimer timer;
    QElapsedTimer sinceStart;
    QElapsedTimer sinceNews;
    int keywords = -1;
};
