// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/otherprocess.h"
#include "benchmarks/wireclient.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QStandardPaths>
#include <QtNetwork/QTcpServer>

#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <memory>
#include <vector>

namespace {

constexpr int screens = 50;
constexpr int shownKeywords = 100; // per screen
constexpr int allKeywords = 10000;

using Clients = std::vector<std::unique_ptr<WireClient>>;

// Sends the same changes, a fixed number at a time, to 50 subscribers that read and count them. The
// next changes are only made when all have arrived, so that none can be skipped. The result is the
// processor time of the server process per delivered message.
void deliver(benchmark::State &state, const Wire &wire, quint16 port, qint64 process)
{
    const int atOnce = int(state.range(0));
    const int deliveries = smokeRun() ? 2 * screens * atOnce : atOnce == 1 ? 200000 : 1000000;
    qint64 received = 0;
    Clients subscribers;
    for (int i = 0; i < screens; ++i) {
        subscribers.push_back(std::make_unique<WireClient>(wire, port, &received));
        subscribers.back()->send(wire.subscription(0, shownKeywords));
    }
    WireClient source(wire, port, &received);
    const bool isReady = waitFor([&] {
        return source.isOpen()
            && std::all_of(subscribers.cbegin(), subscribers.cend(), [&](const auto &subscriber) {
                   return subscriber->otherFrames() > 0
                       || (subscriber->isOpen() && received == qint64(screens) * shownKeywords);
               });
    });
    double value = 1000.25; // always written with the same length
    const auto change = [&] {
        value = value < 9000 ? value + 1 : 1000.25;
        received = 0;
        source.send(wire.changes(atOnce, value));
        return waitFor([&] { return received == qint64(screens) * atOnce; });
    };
    if (!isReady || !change()) {
        state.SkipWithError("the subscribers are not served");
        return;
    }
    for (auto _ : state) {
        const double before = processorTime(process);
        for (int left = deliveries; left > 0; left -= screens * atOnce) {
            if (!change()) {
                state.SkipWithError("messages were lost");
                return;
            }
        }
        state.SetIterationTime((processorTime(process) - before) / deliveries);
    }
}

// The usual case: the program with the server makes the changes. Each session has a role, and
// sending is limited as by default.
void deliverToSessions(benchmark::State &state)
{
    const OtherProcess server(QStringLiteral("panels"), {QString::number(shownKeywords)});
    deliver(state, goWire(), server.port, server.processId());
}
BENCHMARK(deliverToSessions)->Arg(1)->Arg(10)->Arg(100)->Iterations(1)->UseManualTime();

// Changes written by a client.
void deliverWrites(benchmark::State &state)
{
    const OtherProcess server(QStringLiteral("panels"), {QString::number(shownKeywords)});
    deliver(state, keywordWire(), server.port, server.processId());
}
BENCHMARK(deliverWrites)->Arg(100)->Iterations(1)->UseManualTime();

QString mosquitto()
{
    const QString name = QStringLiteral("mosquitto");
    const QString found = QStandardPaths::findExecutable(name);
    return found.isEmpty() ? QStandardPaths::findExecutable(name, {QStringLiteral("/usr/sbin")})
                           : found;
}

// Peer: an MQTT broker with its default configuration. A client publishes the changes.
void deliverByMosquitto(benchmark::State &state)
{
    QTcpServer free;
    free.listen(QHostAddress::LocalHost);
    const quint16 port = free.serverPort();
    free.close();
    QProcess broker;
    broker.start(mosquitto(), {QStringLiteral("-p"), QString::number(port)});
    const bool isListening = broker.waitForStarted() && waitFor([port] {
                                 QTcpSocket probe;
                                 probe.connectToHost(QHostAddress::LocalHost, port);
                                 return probe.waitForConnected(1000);
                             });
    if (isListening)
        deliver(state, mqttWire(), port, broker.processId());
    else
        state.SkipWithError("mosquitto does not listen");
    broker.terminate();
    broker.waitForFinished();
}

const bool isMosquittoThere = [] {
    if (mosquitto().isEmpty())
        return false; // the table reports it
    benchmark::RegisterBenchmark("deliverByMosquitto", deliverByMosquitto)
        ->Arg(1)
        ->Arg(10)
        ->Arg(100)
        ->Iterations(1)
        ->UseManualTime();
    return true;
}();

// Both sides need a descriptor for each connection, and the process inherits the limit.
void raiseDescriptorLimit()
{
    rlimit limit {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

// The given number of clients connect at once; the benchmark ends with the last message for the
// last of them. The result is the processor time of the server process, because clients that send
// requests have more work than others.
void join(benchmark::State &state, const OtherProcess &server, bool asks)
{
    const int clientCount = smokeRun() ? 20 : int(state.range(0));
    // Each client subscribes to 100 of 10 000 keywords, in a hundred different selections.
    std::vector<QByteArray> questions(allKeywords / shownKeywords);
    for (size_t i = 0; asks && i < questions.size(); ++i)
        questions[i] = keywordWire().subscription(int(i) * shownKeywords, shownKeywords);
    for (auto _ : state) {
        qint64 received = 0;
        Clients clients;
        const double before = processorTime(server.processId());
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < clientCount; ++i) {
            clients.push_back(std::make_unique<WireClient>(keywordWire(), server.port, &received));
            clients.back()->send(questions[size_t(i) % questions.size()]);
        }
        if (!waitFor([&] { return received == qint64(clientCount) * shownKeywords; }))
            state.SkipWithError("not everybody was served");
        state.SetIterationTime(processorTime(server.processId()) - before);
        state.counters["elapsed"] = double(timer.nsecsElapsed());
    }
}

void joinKeywordServer(benchmark::State &state)
{
    raiseDescriptorLimit();
    const OtherProcess server(QStringLiteral("panels"), {QString::number(allKeywords)});
    join(state, server, true);
}
BENCHMARK(joinKeywordServer)->Arg(1000)->Iterations(1)->UseManualTime();

// Floor: the handshake of QWebSocketServer, and as many texts of the same length to each client.
void joinBareServer(benchmark::State &state)
{
    raiseDescriptorLimit();
    const OtherProcess server(QStringLiteral("greeter"), {QString::number(shownKeywords)});
    join(state, server, false);
}
BENCHMARK(joinBareServer)->Arg(1000)->Iterations(1)->UseManualTime();

// The same, with each text sent in reply to a request.
void joinEchoServer(benchmark::State &state)
{
    raiseDescriptorLimit();
    const OtherProcess server(QStringLiteral("echo"));
    join(state, server, true);
}
BENCHMARK(joinEchoServer)->Arg(1000)->Iterations(1)->UseManualTime();

} // namespace
