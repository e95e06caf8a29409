// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/cluster/publisher.h"

#include "tests/cluster/plant.h"
#include "tests/support/waitfor.h"

#include <mosquitto.h>

namespace {

constexpr char user[] = "hmi";
constexpr char password[] = "secret";
constexpr int keepAlive = 5;

void initOnce()
{
    static std::once_flag once;
    std::call_once(once, [] { mosquitto_lib_init(); });
}

} // namespace

Publisher::Publisher(quint16 port, int first, int keywords, QObject *parent)
    : QObject(parent), port(port), first(first), values(size_t(keywords), 0)
{
    initOnce();
    connectNow();
}

Publisher::~Publisher()
{
    disconnectNow();
}

void Publisher::connectNow()
{
    client = mosquitto_new(nullptr, true, this);
    mosquitto_username_pw_set(client, user, password);
    mosquitto_reconnect_delay_set(client, 1, 1, false);
    mosquitto_max_inflight_messages_set(client, 200);
    mosquitto_connect_callback_set(client, [](mosquitto *, void *self, int code) {
        auto *const publisher = static_cast<Publisher *>(self);
        const std::lock_guard<std::mutex> lock(publisher->mutex);
        publisher->connected = code == 0;
    });
    mosquitto_disconnect_callback_set(client, [](mosquitto *, void *self, int) {
        auto *const publisher = static_cast<Publisher *>(self);
        const std::lock_guard<std::mutex> lock(publisher->mutex);
        publisher->isLost = publisher->isLost || publisher->connected;
        publisher->connected = false;
    });
    mosquitto_publish_callback_set(client, [](mosquitto *, void *self, int mid) {
        auto *const publisher = static_cast<Publisher *>(self);
        const qint64 now = plant::now();
        const std::lock_guard<std::mutex> lock(publisher->mutex);
        const auto sent = publisher->underWay.constFind(mid);
        if (sent == publisher->underWay.constEnd())
            return;
        publisher->acknowledged.push_back({sent->keyword, sent->value, now});
        publisher->underWay.erase(sent);
    });
    mosquitto_connect_async(client, "127.0.0.1", port, keepAlive);
    mosquitto_loop_start(client);
}

void Publisher::disconnectNow()
{
    mosquitto_disconnect(client);
    mosquitto_loop_stop(client, true);
    mosquitto_destroy(client);
}

void Publisher::look()
{
    bool wasLost = false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        wasLost = std::exchange(isLost, false);
    }
    if (wasLost) {
        disconnectNow();
        for (const Sent &sent : std::as_const(underWay))
            due.insert(sent.keyword);
        underWay.clear();
        connected = false;
        connectNow();
    }
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (!connected)
            return;
    }
    const QSet<int> now = std::exchange(due, {});
    for (const int keyword : now)
        publish(keyword, sent(keyword));
}

void Publisher::setQos(int level, bool isRetained)
{
    qos = level;
    retained = isRetained;
}

// The callback also takes the lock, so that it finds the message that it acknowledges.
void Publisher::publish(int keyword, qint64 value)
{
    values[size_t(keyword - first)] = value;
    ++count;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (!connected) {
            due.insert(keyword);
            return;
        }
    }
    const QByteArray topic = plant::topic(keyword);
    const QByteArray payload = QByteArray::number(plant::value(keyword, value));
    if (qos == 0) {
        mosquitto_publish(client, nullptr, topic.constData(), int(payload.size()),
                          payload.constData(), 0, retained);
        return;
    }
    const std::lock_guard<std::mutex> lock(mutex);
    int mid = 0;
    if (mosquitto_publish(client, &mid, topic.constData(), int(payload.size()), payload.constData(),
                          qos, retained)
            == MOSQ_ERR_SUCCESS
        || mid != 0)
        underWay.insert(mid, {keyword, value});
}

void Publisher::publishNext()
{
    const int keyword = first + int(next);
    next = (next + 1) % values.size();
    publish(keyword, values[size_t(keyword - first)] + 1);
}

void Publisher::publishAll(qint64 value)
{
    for (size_t i = 0; i < values.size(); ++i)
        publish(first + int(i), value);
}

qint64 Publisher::unacknowledged() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return underWay.size() + due.size();
}

std::vector<Publisher::Acknowledged> Publisher::takeAcknowledged()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(acknowledged, {});
}

QHash<int, qint64> retainedAt(quint16 port, int keywords)
{
    initOnce();
    struct Taken
    {
        std::mutex mutex;
        QHash<int, qint64> values;
    } taken;
    mosquitto *const client = mosquitto_new(nullptr, true, &taken);
    mosquitto_username_pw_set(client, user, password);
    mosquitto_connect_callback_set(client, [](mosquitto *connected, void *, int code) {
        if (code == 0)
            mosquitto_subscribe(connected, nullptr, "plant/#", 0);
    });
    mosquitto_message_callback_set(
        client, [](mosquitto *, void *to, const mosquitto_message *message) {
            auto *const taken = static_cast<Taken *>(to);
            const int keyword = plant::number(QString::fromLatin1(message->topic));
            const std::lock_guard<std::mutex> lock(taken->mutex);
            const QByteArray payload(static_cast<const char *>(message->payload),
                                     message->payloadlen);
            if (message->retain)
                taken->values.insert(keyword, plant::count(keyword, payload.toLongLong()));
        });
    mosquitto_connect_async(client, "127.0.0.1", port, keepAlive);
    mosquitto_loop_start(client);
    // Waits until all values have arrived, or until no more arrive for a while.
    qsizetype count = -1;
    qint64 since = plant::now();
    waitFor([&] {
        const std::lock_guard<std::mutex> lock(taken.mutex);
        if (std::exchange(count, taken.values.size()) != taken.values.size())
            since = plant::now();
        return count == keywords || plant::now() - since > 3000;
    });
    mosquitto_disconnect(client);
    mosquitto_loop_stop(client, true);
    mosquitto_destroy(client);
    return taken.values;
}
