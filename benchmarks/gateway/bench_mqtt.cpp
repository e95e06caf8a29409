// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Messages of a real broker, received by the gateway and by libmosquitto alone, in one run. A
// separate process publishes them, so only the time of the receiving process counts.

#include "benchmarks/gateway/publisher.h"
#include "gateway/mqtt/libmosquitto.h"
#include "gateway/mqtt/mqttsource.h"
#include "gateway/sourcemount.h"
#include "server/keywordserver.h"
#include "server/keywordsession.h"
#include "tests/gateway/mqtt/broker.h"
#include "tests/support/waitfor.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <benchmark/benchmark.h>

#include <ctime>
#include <memory>

#include <poll.h>

using namespace pellix::gateway;

namespace {

constexpr int longTime = 240000; // in milliseconds

int messageCount()
{
    return isSmokeRun() ? 2000 : 300000;
}

constexpr int topicCount = 10000;

double processTime()
{
    timespec time {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

BrokerOptions brokerOptions()
{
    BrokerOptions options;
    options.queuedMessages = 0; // unlimited
    options.isQuiet = true;
    return options;
}

// Uses the functions of libmosquitto and poll() in this thread.
class BareClient
{
public:
    explicit BareClient(const Broker &broker, bool isJson) : isJson(isJson)
    {
        mosquitto_lib_init();
        client = mosquitto_new(nullptr, true, this);
        mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
        mosquitto_message_callback_set(
            client, [](mosquitto *, void *self, const mosquitto_message *message) {
                static_cast<BareClient *>(self)->take(*message);
            });
        mosquitto_subscribe_callback_set(client,
                                         [](mosquitto *, void *self, int, int, const int *) {
                                             static_cast<BareClient *>(self)->isSubscribed = true;
                                         });
        mosquitto_connect(client, "127.0.0.1", broker.port(), 60);
    }
    ~BareClient() { mosquitto_destroy(client); }

    void subscribe(const char *filter) { mosquitto_subscribe(client, nullptr, filter, 0); }
    template <typename Condition> void runUntil(const Condition &condition)
    {
        while (!condition() && mosquitto_socket(client) >= 0) {
            pollfd wait {mosquitto_socket(client), POLLIN, 0};
            if (mosquitto_want_write(client))
                wait.events |= POLLOUT;
            ::poll(&wait, 1, 1000);
            if (wait.revents & POLLIN)
                mosquitto_loop_read(client, 1);
            if (wait.revents & POLLOUT)
                mosquitto_loop_write(client, 1);
        }
    }

    int received = 0;
    bool isSubscribed = false;
    QHash<QByteArray, double> values;

private:
    void take(const mosquitto_message &message)
    {
        ++received;
        const auto payload =
            QByteArray::fromRawData(static_cast<const char *>(message.payload), message.payloadlen);
        values[QByteArray(message.topic)] = isJson
            ? QJsonDocument::fromJson(payload).object().value(QLatin1String("value")).toDouble()
            : payload.toDouble();
    }

    const bool isJson;
    mosquitto *client;
};

struct Gateway
{
    // With JSON, one member of each topic, which the floor also decodes.
    explicit Gateway(const Broker &broker, bool isJson = false)
    {
        MqttOptions link;
        link.host = broker.host();
        link.port = broker.port();
        MappingOptions mapping;
        if (isJson) {
            TopicKeyword keyword;
            keyword.topic = QStringLiteral("{line}/{motor}");
            keyword.member = QStringLiteral("/value");
            keyword.isMemberInPath = false;
            keyword.type = QStringLiteral("double");
            mapping.keywords.append(keyword);
        } else {
            mapping.topics = QStringList {QStringLiteral("#")};
        }
        source = std::make_unique<MqttSource>(link, mapping);
        mount = std::make_unique<SourceMount>(source.get(), &server, QString(),
                                              QStringLiteral("/plant"), SourceMount::createQueue());
        source->start();
    }
    bool waitUntilReady()
    {
        return waitFor([this] { return source->state() == Source::State::Ready; }, longTime);
    }

    pellix::server::KeywordServer server;
    std::unique_ptr<MqttSource> source;
    std::unique_ptr<SourceMount> mount;
};

// Floor: libmosquitto, decoding of the payload, and a hash of values. Argument 1: JSON.
void mosquittoMessages(benchmark::State &state)
{
    Broker broker(brokerOptions());
    if (!broker.start())
        return state.SkipWithError("no broker");
    for (auto _ : state) {
        BareClient client(broker, state.range(0) == 1);
        client.subscribe("#");
        client.runUntil([&] { return client.isSubscribed; });
        Publisher publisher(broker.port(), 0, topicCount, topicCount, state.range(0) == 1);
        client.runUntil([&] { return client.received >= topicCount; });
        publisher.waitForEnd();
        const double before = processTime();
        Publisher more(broker.port(), topicCount, messageCount(), topicCount, state.range(0) == 1);
        client.runUntil([&] { return client.received >= topicCount + messageCount(); });
        state.SetIterationTime((processTime() - before) / messageCount());
    }
}
BENCHMARK(mosquittoMessages)->Arg(0)->Arg(1)->UseManualTime()->Iterations(1)->Repetitions(5);

// The full path, until a session that watches all keywords has the message.
void gatewayMessages(benchmark::State &state)
{
    Broker broker(brokerOptions());
    if (!broker.start())
        return state.SkipWithError("no broker");
    const bool isJson = state.range(0) == 1;
    for (auto _ : state) {
        Gateway gateway(broker, isJson);
        gateway.waitUntilReady();
        Publisher publisher(broker.port(), 0, topicCount, topicCount, isJson);
        publisher.waitForEnd();
        waitFor([&] { return gateway.server.keywordCount() >= topicCount; }, longTime);
        const std::unique_ptr<pellix::server::KeywordSession> session(gateway.server.openSession());
        qint64 events = 0;
        QObject::connect(session.get(), &pellix::server::KeywordSession::send, session.get(),
                         [&events](const QByteArray &) { ++events; });
        for (int i = 0; i < topicCount; ++i) {
            session->receive("{\"cmd\":\"keyCreateOrUpdate\",\"payload\":{\"keyword\":\"/plant/"
                             + Publisher::topic(i) + "\"}}");
        }
        events = 0;
        const quint64 first = gateway.source->statistics().messages;
        const double before = processTime();
        Publisher more(broker.port(), topicCount, messageCount(), topicCount, isJson);
        const auto isDone = [&] {
            return gateway.source->statistics().messages - first >= quint64(messageCount())
                && events >= messageCount();
        };
        const bool isComplete = waitFor(isDone, isSmokeRun() ? longTime : 60000);
        if (!isComplete && gateway.source->statistics().messages - first < quint64(messageCount()))
            return state.SkipWithError("messages are missing");
        state.SetIterationTime((processTime() - before) / messageCount());
        state.counters["events"] = double(events) / messageCount();
    }
}
BENCHMARK(gatewayMessages)->Arg(0)->Arg(1)->UseManualTime()->Iterations(1)->Repetitions(5);

std::unique_ptr<Broker> brokerWithRetained(int count)
{
    auto broker = std::make_unique<Broker>(brokerOptions());
    if (!broker->start())
        return nullptr;
    BrokerClient writer(*broker);
    for (int i = 0; i < count; ++i)
        writer.publish(Publisher::topic(i), QByteArray::number(i), true);
    return writer.flush() ? std::move(broker) : nullptr;
}

int retainedCount(const benchmark::State &state)
{
    return isSmokeRun() ? 1000 : int(state.range(0));
}

// Floor: the time until a bare wildcard subscription has received everything.
void mosquittoRetained(benchmark::State &state)
{
    const int count = retainedCount(state);
    const std::unique_ptr<Broker> broker = brokerWithRetained(count);
    if (!broker)
        return state.SkipWithError("no broker");
    for (auto _ : state) {
        QElapsedTimer time;
        time.start();
        BareClient client(*broker, false);
        client.subscribe("#");
        client.runUntil([&] { return client.received >= count; });
        state.SetIterationTime(double(time.nsecsElapsed()) / 1e9);
    }
}
BENCHMARK(mosquittoRetained)->Arg(100000)->UseManualTime()->Iterations(1)->Repetitions(5);

void gatewayRetained(benchmark::State &state)
{
    const int count = retainedCount(state);
    const std::unique_ptr<Broker> broker = brokerWithRetained(count);
    if (!broker)
        return state.SkipWithError("no broker");
    for (auto _ : state) {
        QElapsedTimer time;
        time.start();
        Gateway gateway(*broker);
        gateway.waitUntilReady();
        state.SetIterationTime(double(time.nsecsElapsed()) / 1e9);
        if (gateway.server.keywordCount() != count)
            return state.SkipWithError("keywords are missing");
    }
}
BENCHMARK(gatewayRetained)->Arg(100000)->UseManualTime()->Iterations(1)->Repetitions(5);

} // namespace
