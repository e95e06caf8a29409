// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "examples/mqttplant/plant.h"

#include <QtCore/QString>

#include <atomic>
#include <memory>

struct mosquitto;

// Connects a plant to a broker until isEnding becomes true. It retries if the connection fails or
// is lost.
class PlantLink
{
public:
    PlantLink(const QByteArray &host, int port, std::chrono::milliseconds period);
    ~PlantLink();

    void run(const std::atomic<bool> &isEnding);

private:
    void connected(int reason);
    void publish(const QByteArray &topic, const QByteArray &payload);

    struct Delete
    {
        void operator()(mosquitto *client) const;
    };
    const QByteArray host;
    const int port;
    Plant plant;
    int lastMessage = 0;
    bool isAcknowledged = false;
    std::unique_ptr<mosquitto, Delete> client;
};
