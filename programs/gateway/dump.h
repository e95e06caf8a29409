// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/gateway.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonObject>
#include <QtCore/QObject>
#include <QtCore/QTimer>

// Waits until the sources of a gateway are ready and report nothing new, and then prints the
// resulting configuration.
class Dump : public QObject
{
    Q_OBJECT

public:
    // written is the JSON text of the configuration, as read from the file.
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
