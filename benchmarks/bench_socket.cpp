// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/eventrate.h"
#include "benchmarks/eventtext.h"
#include "benchmarks/otherprocess.h"
#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"

#include <QtCore/QElapsedTimer>
#include <QtWebSockets/QWebSocket>

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

using namespace pellix::client;

namespace {

constexpr int keywordCount = 10000;

int eventCount()
{
    return smokeRun() ? 2 * keywordCount : 1000000; // a multiple of both values of all keywords
}

int roundTripCount()
{
    return smokeRun() ? 50 : 5000;
}

QString go(int events)
{
    return QStringLiteral(R"({"cmd":"keyUpdate","payload":{"keyword":"/go","value":%1}})")
        .arg(events);
}

// Keywords bound to a client that is connected to a server of this program.
class BoundKeywords
{
public:
    explicit BoundKeywords(const QString &url, int count)
    {
        client.setUrls({url});
        waitFor([this] { return client.connected(); });
        for (int i = 0; i < count; ++i) {
            proxies.push_back(std::make_unique<PKeywordProxy>());
            PKeywordProxy *const proxy = proxies.back().get();
            proxy->setClient(&client);
            proxy->setKeyword(keywordName(i));
            QObject::connect(proxy, &PKeywordProxy::valueChanged, proxy, [this] { ++changes; });
        }
    }

    PWebSocketKeywordClient client;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies;
    qint64 changes = 0;
};

class BareSocket
{
public:
    enum Messages {
        Decoded, // with their fields read
        Dropped
    };

    explicit BareSocket(const QString &url, Messages messages = Decoded)
    {
        QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket,
                         [this, messages](const QString &message) {
                             if (messages == Decoded)
                                 decodeAndReadFields(message.toUtf8());
                             ++received;
                         });
        socket.open(QUrl(url));
        waitFor([this] { return socket.state() == QAbstractSocket::ConnectedState; });
    }

    QWebSocket socket;
    qint64 received = 0;
};

// The server sends prepared bytes, so that the receiver limits the rate.
void receiveBound(benchmark::State &state, const QString &role)
{
    const OtherProcess server(role, {QString::number(keywordCount)});
    BoundKeywords bound(server.url(), keywordCount);
    // The server must have finished processing the messages sent by the bindings.
    bound.client.sendKeyUpdate(QStringLiteral("/go"), 2);
    waitFor([&bound] { return bound.changes == 2; });
    measureEventRate(state, eventCount(), [&bound] {
        bound.changes = 0;
        bound.client.sendKeyUpdate(QStringLiteral("/go"), eventCount());
        return waitFor([&bound] { return bound.changes == eventCount(); });
    });
}

void receiveBare(benchmark::State &state, const QString &role, BareSocket::Messages messages)
{
    const OtherProcess server(role, {QString::number(keywordCount)});
    BareSocket bare(server.url(), messages);
    bare.socket.sendTextMessage(go(2));
    waitFor([&bare] { return bare.received == 2; });
    measureEventRate(state, eventCount(), [&bare] {
        bare.received = 0;
        bare.socket.sendTextMessage(go(eventCount()));
        return waitFor([&bare] { return bare.received == eventCount(); });
    });
}

void socketEventsToKeywords(benchmark::State &state)
{
    receiveBound(state, QStringLiteral("events"));
}
BENCHMARK(socketEventsToKeywords)->Iterations(1)->UseRealTime();

// Floor: the same texts received by a bare socket and decoded, with their fields read.
void socketEventsDecoded(benchmark::State &state)
{
    receiveBare(state, QStringLiteral("events"), BareSocket::Decoded);
}
BENCHMARK(socketEventsDecoded)->Iterations(1)->UseRealTime();

// Floor: the same texts received by a bare socket, and not read.
void socketEventsDropped(benchmark::State &state)
{
    receiveBare(state, QStringLiteral("events"), BareSocket::Dropped);
}
BENCHMARK(socketEventsDropped)->Iterations(1)->UseRealTime();

// The same three with events in all spellings in turn, instead of the usual one only.
void socketSpellingsToKeywords(benchmark::State &state)
{
    receiveBound(state, QStringLiteral("spellings"));
}
BENCHMARK(socketSpellingsToKeywords)->Iterations(1)->UseRealTime();

void socketSpellingsDecoded(benchmark::State &state)
{
    receiveBare(state, QStringLiteral("spellings"), BareSocket::Decoded);
}
BENCHMARK(socketSpellingsDecoded)->Iterations(1)->UseRealTime();

void socketSpellingsDropped(benchmark::State &state)
{
    receiveBare(state, QStringLiteral("spellings"), BareSocket::Dropped);
}
BENCHMARK(socketSpellingsDropped)->Iterations(1)->UseRealTime();

// The same number of changes from a keyword server, each of all keywords at once.
void serverChangesToKeywords(benchmark::State &state)
{
    const OtherProcess server(QStringLiteral("panels"), {QString::number(keywordCount)});
    BoundKeywords bound(server.url(), keywordCount);
    waitFor([&bound] { return bound.changes == keywordCount; });
    measureEventRate(state, eventCount(), [&bound] {
        for (int left = eventCount(); left > 0; left -= keywordCount) {
            bound.changes = 0;
            bound.client.sendKeyUpdate(QStringLiteral("/go"), keywordCount);
            if (!waitFor([&bound] { return bound.changes == keywordCount; }))
                return false;
        }
        return true;
    });
}
BENCHMARK(serverChangesToKeywords)->Iterations(1)->UseRealTime();

// Measures each of many round trips separately, in nanoseconds.
void measureRoundTrips(benchmark::State &state, const std::function<bool(int)> &roundTrip)
{
    std::vector<double> times;
    for (auto _ : state) {
        for (int i = 0; i < roundTripCount(); ++i) {
            QElapsedTimer timer;
            timer.start();
            if (!roundTrip(i)) {
                state.SkipWithError("no answer");
                return;
            }
            times.push_back(double(timer.nsecsElapsed()));
        }
    }
    std::sort(times.begin(), times.end());
    state.counters["p50"] = times[times.size() / 2];
    state.counters["p99"] = times[times.size() * 99 / 100];
}

void writeRoundTrip(benchmark::State &state)
{
    const OtherProcess server(QStringLiteral("keywords"), {QStringLiteral("10")});
    BoundKeywords bound(server.url(), 1);
    waitFor([&bound] { return bound.changes > 0; });
    measureRoundTrips(state, [&bound](int i) {
        const qint64 before = bound.changes;
        bound.proxies.front()->update(1000.25 + i);
        return waitFor([&bound, before] { return bound.changes > before; });
    });
}
BENCHMARK(writeRoundTrip)->Iterations(1);

// Floor: an echo of texts of the same sizes.
void echoRoundTrip(benchmark::State &state)
{
    const OtherProcess server(QStringLiteral("echo"));
    BareSocket bare(server.url());
    const QString text =
        QStringLiteral(R"({"cmd":"keyUpdate","payload":{"keyword":"%1","value":1000.25}})")
            .arg(keywordName(0));
    measureRoundTrips(state, [&](int) {
        const qint64 before = bare.received;
        bare.socket.sendTextMessage(text);
        return waitFor([&bare, before] { return bare.received > before; });
    });
}
BENCHMARK(echoRoundTrip)->Iterations(1);

// The time from the restored connection until the last keyword has its current value.
void subscribeStorm(benchmark::State &state)
{
    const auto count = int(state.range(0));
    const OtherProcess server(QStringLiteral("keywords"), {QString::number(count)});
    BoundKeywords bound(server.url(), count);
    waitFor([&] { return bound.changes == count; });
    for (auto _ : state) {
        const QStringList urls = bound.client.urls();
        bound.client.setUrls({});
        bound.changes = 0;
        QElapsedTimer timer;
        QObject::connect(
            &bound.client, &PWebSocketKeywordClient::connectedChanged, &bound.client,
            [&timer] { timer.start(); }, Qt::SingleShotConnection);
        bound.client.setUrls(urls);
        if (!waitFor([&] { return bound.changes == count; }))
            state.SkipWithError("values are missing");
        state.SetIterationTime(double(timer.nsecsElapsed()) / 1e9);
    }
}
BENCHMARK(subscribeStorm)->Arg(1000)->Arg(10000)->Iterations(3)->UseManualTime();

// Floor: the same messages, encoded, sent, and decoded, without storing any of them.
void bareStorm(benchmark::State &state)
{
    const auto count = int(state.range(0));
    const OtherProcess server(QStringLiteral("keywords"), {QString::number(count)});
    for (auto _ : state) {
        BareSocket bare(server.url());
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < count; ++i) {
            const QJsonObject command {{QStringLiteral("cmd"), QStringLiteral("keyCreateOrUpdate")},
                                       {QStringLiteral("payload"),
                                        QJsonObject {{QStringLiteral("keyword"), keywordName(i)}}}};
            bare.socket.sendTextMessage(
                QString::fromUtf8(QJsonDocument(command).toJson(QJsonDocument::Compact)));
        }
        if (!waitFor([&] { return bare.received == count; }))
            state.SkipWithError("values are missing");
        state.SetIterationTime(double(timer.nsecsElapsed()) / 1e9);
    }
}
BENCHMARK(bareStorm)->Arg(1000)->Arg(10000)->Iterations(3)->UseManualTime();

} // namespace
