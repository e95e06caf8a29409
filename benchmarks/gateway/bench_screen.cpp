// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// From a publish to a value on a screen, and to a subscriber of the same broker. Both are in one
// event loop, and get every other message of one stream.

#include "benchmarks/gateway/publisher.h"
#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"
#include "tests/gateway/mqtt/broker.h"
#include "tests/gateway/mqtt/notifierclient.h"
#include "tests/soak/gateway/gatewayprocess.h"
#include "tests/support/waitfor.h"

#include <QtCore/QJsonArray>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <vector>

#include <mosquitto.h>

using namespace pellix::client;

namespace {

constexpr int keywordCount = 1000;
constexpr int warmUpRounds = 100;

int roundCount() // each with a message to either
{
    return isSmokeRun() ? 100 : 20000;
}

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

// A payload is the time at which it was published.
class Latencies
{
public:
    void add(double published) { times.push_back((steadySeconds() - published) * 1e9); }
    size_t count() const { return times.size(); }
    void clear() { times.clear(); }
    double quantile(double part)
    {
        std::sort(times.begin(), times.end());
        return times.at(size_t(double(times.size() - 1) * part));
    }

private:
    std::vector<double> times; // in nanoseconds
};

// All keywords, through the gateway.
class Screen
{
public:
    bool open(const Broker &broker)
    {
        const QJsonObject configuration {
            {q("listen"),
             QJsonArray {QJsonObject {{q("address"), q("127.0.0.1")}, {q("port"), 0}}}},
            {q("sources"),
             QJsonArray {QJsonObject {{q("name"), q("plant")},
                                      {q("mount"), q("/screen")},
                                      {q("mqtt"), QJsonObject {{q("url"), broker.url()}}},
                                      {q("topics"), QJsonArray {q("screen/#")}}}}}};
        if (!gateway.start(configuration))
            return false;
        for (int i = 0; i < keywordCount; ++i) {
            proxies.push_back(std::make_unique<PKeywordProxy>());
            PKeywordProxy *const proxy = proxies.back().get();
            QObject::connect(proxy, &PKeywordProxy::valueChanged, proxy, [this, proxy] {
                bool isNumber = false;
                const double time = proxy->value().toDouble(&isNumber);
                if (isNumber) // before the first one, it is null
                    latencies.add(time);
            });
            proxy->setClient(&client);
            proxy->setKeyword(q("/screen/") + QString::fromLatin1(Publisher::topic(i)));
        }
        client.setUrls({gateway.url()});
        return waitFor([this] { return latencies.count() >= keywordCount; });
    }

    Latencies latencies;

private:
    GatewayProcess gateway {q(GATEWAY_PROGRAM)};
    PWebSocketKeywordClient client;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies;
};

// Decodes each payload.
class Subscriber
{
public:
    bool open(const Broker &broker)
    {
        client.setMessageHandler([this](const mosquitto_message &message) {
            latencies.add(QByteArray(static_cast<const char *>(message.payload), message.payloadlen)
                              .toDouble());
        });
        if (!client.open(broker.port()))
            return false;
        client.subscribe("bare/#");
        return waitFor([this] { return latencies.count() >= keywordCount; });
    }

    Latencies latencies;

private:
    NotifierClient client;
};

// One message after the other has come.
bool probeInTurn(const Broker &broker, int rounds, Screen *screen, Subscriber *subscriber)
{
    NotifierClient publisher;
    if (!publisher.open(broker.port()))
        return false;
    const auto probe = [&publisher](const char *prefix, int i, const Latencies &latencies) {
        const size_t before = latencies.count();
        publisher.publish(prefix + Publisher::topic(i % keywordCount), Publisher::time(), false);
        return waitFor([&] { return latencies.count() > before; });
    };
    for (int i = 0; i < rounds; ++i) {
        if (!probe("screen/", i, screen->latencies) || !probe("bare/", i, subscriber->latencies))
            return false;
    }
    return true;
}

bool probeAtRate(const Broker &broker, int perSecond, Screen *screen, Subscriber *subscriber)
{
    const auto rounds = size_t(roundCount());
    Publisher publisher(broker.port(), roundCount(), keywordCount, perSecond);
    return waitFor(
        [&] {
            return screen->latencies.count() == rounds && subscriber->latencies.count() == rounds;
        },
        120000);
}

// Argument: messages per second to either; 0: each waits for the one before.
void publishToScreen(benchmark::State &state)
{
    BrokerOptions options;
    options.queuedMessages = 0;
    options.isQuiet = true;
    Broker broker(options);
    NotifierClient device;
    if (!broker.start() || !device.open(broker.port()))
        return state.SkipWithError("no broker");
    for (int i = 0; i < keywordCount; ++i) {
        for (const char *const prefix : {"screen/", "bare/"})
            device.publish(prefix + Publisher::topic(i), "0", true);
    }
    Screen screen;
    Subscriber subscriber;
    if (!screen.open(broker) || !subscriber.open(broker)
        || !probeInTurn(broker, warmUpRounds, &screen, &subscriber))
        return state.SkipWithError("values are missing");
    const auto rate = int(state.range(0));
    for (auto _ : state) {
        screen.latencies.clear();
        subscriber.latencies.clear();
        if (!(rate > 0 ? probeAtRate(broker, rate, &screen, &subscriber)
                       : probeInTurn(broker, roundCount(), &screen, &subscriber)))
            return state.SkipWithError("messages are missing");
    }
    state.counters["p50"] = screen.latencies.quantile(0.5);
    state.counters["p99"] = screen.latencies.quantile(0.99);
    state.counters["floor_p50"] = subscriber.latencies.quantile(0.5);
    state.counters["floor_p99"] = subscriber.latencies.quantile(0.99);
}
BENCHMARK(publishToScreen)->Arg(0)->Arg(1000)->Iterations(1)->Repetitions(5);

} // namespace
