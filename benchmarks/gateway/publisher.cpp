// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/gateway/publisher.h"

#include <QtCore/QCoreApplication>

#include <algorithm>
#include <chrono>
#include <thread>

#include <mosquitto.h>

#include <poll.h>

bool isSmokeRun()
{
    return qEnvironmentVariableIsSet("PELLIX_BENCHMARK_SMOKE");
}

double steadySeconds()
{
    using Seconds = std::chrono::duration<double>;
    return Seconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Publisher::Publisher(quint16 port, int first, int messages, int topics, bool isJson)
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(),
                  {QStringLiteral("--publish"), QString::number(port), QString::number(first),
                   QString::number(messages), QString::number(topics),
                   QString::number(int(isJson))});
}

Publisher::Publisher(quint16 port, int rounds, int topics, int roundsPerSecond)
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(),
                  {QStringLiteral("--publish-steadily"), QString::number(port),
                   QString::number(rounds), QString::number(topics),
                   QString::number(roundsPerSecond)});
}

Publisher::~Publisher()
{
    waitForEnd();
}

bool Publisher::waitForEnd()
{
    return process.state() == QProcess::NotRunning || process.waitForFinished(300000);
}

// A hundred topics per level.
QByteArray Publisher::topic(int number)
{
    return "line" + QByteArray::number(number / 100) + "/motor" + QByteArray::number(number % 100);
}

QByteArray Publisher::time()
{
    return QByteArray::number(steadySeconds(), 'f', 9);
}

int Publisher::run(quint16 port, int first, int messages, int topics, bool isJson)
{
    mosquitto_lib_init();
    mosquitto *const client = mosquitto_new(nullptr, true, nullptr);
    if (mosquitto_connect(client, "127.0.0.1", port, 60) != MOSQ_ERR_SUCCESS)
        return 1;
    for (int i = first; i < first + messages; ++i) {
        const QByteArray number = QByteArray::number(i) + ".5";
        const QByteArray payload =
            isJson ? "{\"value\":" + number + ",\"unit\":\"bar\",\"quality\":\"good\"}" : number;
        mosquitto_publish(client, nullptr, topic(i % topics).constData(), int(payload.size()),
                          payload.constData(), 0, false);
        while (mosquitto_want_write(client) && mosquitto_socket(client) >= 0) {
            pollfd wait {mosquitto_socket(client), POLLOUT | POLLIN, 0};
            ::poll(&wait, 1, 1000);
            if (wait.revents & POLLIN)
                mosquitto_loop_read(client, 1);
            mosquitto_loop_write(client, 1);
        }
        if (i == first) { // the reply to the connection request
            pollfd wait {mosquitto_socket(client), POLLIN, 0};
            ::poll(&wait, 1, 1000);
            mosquitto_loop_read(client, 1);
        }
    }
    mosquitto_disconnect(client);
    // libmosquitto 2.1 waits until the broker closes the connection.
    int result = MOSQ_ERR_SUCCESS;
    while (result == MOSQ_ERR_SUCCESS && mosquitto_socket(client) >= 0)
        result = mosquitto_loop(client, 100, 1);
    mosquitto_destroy(client);
    return 0;
}

int Publisher::runSteadily(quint16 port, int rounds, int topics, int roundsPerSecond)
{
    mosquitto_lib_init();
    mosquitto *const client = mosquitto_new(nullptr, true, nullptr);
    if (mosquitto_connect(client, "127.0.0.1", port, 60) != MOSQ_ERR_SUCCESS)
        return 1;
    // Left unread, it would take the last messages with it in the end.
    pollfd answer {mosquitto_socket(client), POLLIN, 0};
    ::poll(&answer, 1, 10000);
    mosquitto_loop_read(client, 1);
    const auto publish = [client](const QByteArray &topic) {
        const QByteArray payload = time();
        mosquitto_publish(client, nullptr, topic.constData(), int(payload.size()),
                          payload.constData(), 0, false);
        while (mosquitto_want_write(client) && mosquitto_socket(client) >= 0)
            mosquitto_loop_write(client, 1);
    };
    const auto pause = std::chrono::nanoseconds(500000000 / roundsPerSecond);
    auto next = std::chrono::steady_clock::now();
    for (int i = 0; i < rounds; ++i) {
        for (const char *const prefix : {"screen/", "bare/"}) {
            publish(prefix + topic(i % topics));
            // What a busy machine has kept this process from does not come in a burst.
            next = std::max(next + pause, std::chrono::steady_clock::now());
            std::this_thread::sleep_until(next);
        }
    }
    mosquitto_disconnect(client);
    mosquitto_destroy(client);
    return 0;
}
