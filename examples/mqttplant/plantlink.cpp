// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "examples/mqttplant/plantlink.h"

#include <mosquitto.h>

#include <cstdio>
#include <thread>

using namespace std::chrono_literals;

void PlantLink::Delete::operator()(mosquitto *client) const
{
    mosquitto_destroy(client);
    mosquitto_lib_cleanup();
}

PlantLink::PlantLink(const QByteArray &host, int port, std::chrono::milliseconds period)
    : host(host), port(port),
      plant([this](const QByteArray &topic, const QByteArray &payload) { publish(topic, payload); },
            period)
{
    mosquitto_lib_init();
    client.reset(mosquitto_new(nullptr, true, this));
    const QByteArray state = Plant::stateTopic();
    mosquitto_will_set(client.get(), state.constData(), 7, "offline", 1, true);
    mosquitto_connect_callback_set(client.get(), [](mosquitto *, void *self, int reason) {
        static_cast<PlantLink *>(self)->connected(reason);
    });
    mosquitto_publish_callback_set(client.get(), [](mosquitto *, void *self, int message) {
        auto *const link = static_cast<PlantLink *>(self);
        link->isAcknowledged = message == link->lastMessage;
    });
    mosquitto_message_callback_set(
        client.get(), [](mosquitto *, void *self, const mosquitto_message *message) {
            static_cast<PlantLink *>(self)->plant.take(
                message->topic,
                QByteArray(static_cast<const char *>(message->payload), message->payloadlen));
        });
}

PlantLink::~PlantLink() = default;

void PlantLink::connected(int reason)
{
    if (reason != 0) {
        std::fprintf(stderr, "mqtt-plant: %s:%d refuses: %s\n", host.constData(), port,
                     mosquitto_connack_string(reason));
        return;
    }
    for (const QByteArray &filter : Plant::commands())
        mosquitto_subscribe(client.get(), nullptr, filter.constData(), 1);
    plant.start();
    std::fprintf(stderr, "mqtt-plant: on %s:%d\n", host.constData(), port);
}

void PlantLink::publish(const QByteArray &topic, const QByteArray &payload)
{
    mosquitto_publish(client.get(), nullptr, topic.constData(), int(payload.size()),
                      payload.constData(), 0, true);
}

void PlantLink::run(const std::atomic<bool> &isEnding)
{
    using Clock = std::chrono::steady_clock;
    constexpr int keepAlive = 10;
    constexpr std::chrono::milliseconds retryInterval(200);
    int result = mosquitto_connect(client.get(), host.constData(), port, keepAlive);
    auto last = Clock::now();
    while (!isEnding) {
        if (result != MOSQ_ERR_SUCCESS) {
            std::this_thread::sleep_for(retryInterval);
            result = mosquitto_reconnect(client.get());
        } else {
            result = mosquitto_loop(client.get(), 50, 1);
        }
        const auto now = Clock::now();
        plant.advance(std::chrono::duration_cast<std::chrono::milliseconds>(now - last));
        last = now;
    }
    if (result != MOSQ_ERR_SUCCESS)
        return;
    plant.end();
    // The same message as the will. When it is acknowledged, the broker has received all messages
    // before it; closing the connection earlier could lose them.
    const QByteArray state = Plant::stateTopic();
    mosquitto_publish(client.get(), &lastMessage, state.constData(), 7, "offline", 1, true);
    const auto deadline = Clock::now() + 1s;
    while (!isAcknowledged && Clock::now() < deadline
           && mosquitto_loop(client.get(), 50, 1) == MOSQ_ERR_SUCCESS) { }
    mosquitto_disconnect(client.get());
}
