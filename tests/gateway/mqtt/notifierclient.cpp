// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/gateway/mqtt/notifierclient.h"

#include <QtCore/QSocketNotifier>

#include <chrono>
#include <csignal>
#include <mutex>

#include <mosquitto.h>

using namespace std::chrono_literals;

namespace {

constexpr int keepAlive = 60; // seconds
constexpr auto tick = 5s;

} // namespace

void NotifierClient::Deleter::operator()(mosquitto *client) const
{
    mosquitto_destroy(client);
}

NotifierClient::NotifierClient(QObject *parent) : QObject(parent)
{
    static std::once_flag once;
    std::call_once(once, [] {
        mosquitto_lib_init();
        std::signal(SIGPIPE, SIG_IGN); // it writes to connections that the broker has closed
    });
    connect(&ticker, &QTimer::timeout, this, [this] {
        mosquitto_loop_misc(client.get());
        settle();
    });
}

NotifierClient::~NotifierClient()
{
    close();
}

bool NotifierClient::open(quint16 port)
{
    close();
    client.reset(mosquitto_new(nullptr, true, this));
    mosquitto_message_callback_set(client.get(),
                                   [](mosquitto *, void *self, const mosquitto_message *message) {
                                       const auto *const q = static_cast<NotifierClient *>(self);
                                       if (q->handler)
                                           q->handler(*message);
                                   });
    mosquitto_subscribe_callback_set(client.get(),
                                     [](mosquitto *, void *self, int, int, const int *) {
                                         Q_EMIT static_cast<NotifierClient *>(self)->subscribed();
                                     });
    if (mosquitto_connect(client.get(), "127.0.0.1", port, keepAlive) != MOSQ_ERR_SUCCESS) {
        client.reset();
        return false;
    }
    const int socket = mosquitto_socket(client.get());
    readNotifier = std::make_unique<QSocketNotifier>(socket, QSocketNotifier::Read);
    writeNotifier = std::make_unique<QSocketNotifier>(socket, QSocketNotifier::Write);
    connect(readNotifier.get(), &QSocketNotifier::activated, this, [this] {
        isReading = true;
        mosquitto_loop_read(client.get(), 1);
        isReading = false;
        settle();
    });
    connect(writeNotifier.get(), &QSocketNotifier::activated, this, [this] {
        mosquitto_loop_write(client.get(), 1);
        settle();
    });
    ticker.start(tick);
    settle();
    return true;
}

void NotifierClient::close()
{
    if (!client)
        return;
    ticker.stop();
    // They may be what calls.
    for (auto *const notifier : {&readNotifier, &writeNotifier}) {
        (*notifier)->setEnabled(false);
        notifier->release()->deleteLater();
    }
    if (mosquitto_socket(client.get()) >= 0)
        mosquitto_disconnect(client.get());
    client.reset();
}

void NotifierClient::subscribe(const QByteArray &filter)
{
    if (!client)
        return;
    mosquitto_subscribe(client.get(), nullptr, filter.constData(), 0);
    settle();
}

void NotifierClient::publish(const QByteArray &topic, const QByteArray &payload, bool retained)
{
    if (!client)
        return;
    mosquitto_publish(client.get(), nullptr, topic.constData(), int(payload.size()),
                      payload.constData(), 0, retained);
    settle();
}

// What any call of the library may have changed.
void NotifierClient::settle()
{
    if (isReading || !client)
        return;
    if (mosquitto_socket(client.get()) < 0) {
        close();
        Q_EMIT lost();
        return;
    }
    const bool wantsWrite = mosquitto_want_write(client.get());
    if (writeNotifier->isEnabled() != wantsWrite)
        writeNotifier->setEnabled(wantsWrite);
}
