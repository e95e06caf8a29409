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
constexpr int shownKeywords = 100; // by each of them
constexpr int allKeywords = 10000;

using Clients = std::vector<std::unique_ptr<WireClient>>;

// The same changes, each time so many at once, to 50 subscribers that read and count. All have come
// before the next ones are made, so that nothing can be left out. What counts is the processor's
// time of the server's process for each message delivered.
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
    double value = 1000.25; // and as long each time
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

// Changes that the program with the server makes, as they are usually. With a role for each
// session, and sending bounded as it is by default.
void deliverToSessions(benchmark::State &state)
{
    const OtherProcess server(QStringLiteral("panels"), {QString::number(shownKeywords)});
    deliver(state, goWire(), server.port, server.processId());
}
BENCHMARK(deliverToSessions)->Arg(1)->Arg(10)->Arg(100)->Iterations(1)->UseManualTime();

// Changes that a client writes.
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

// Peer: an MQTT broker, as it is without a configuration. A client publishes the changes.
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
        return false; // the table says so
    benchmark::RegisterBenchmark("deliverByMosquitto", deliverByMosquitto)
        ->Arg(1)
        ->Arg(10)
        ->Arg(100)
        ->Iterations(1)
        ->UseManualTime();
    return true;
}();

// Both sides need a descriptor for each connection, and a process inherits the limit.
void raiseDescriptorLimit()
{
    rlimit limit {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

// So many clients connect at once, until the last message for the last of them. What counts is the
// processor's time of the server's process, as the clients that ask have more to do than others.
void join(benchmark::State &state, const OtherProcess &server, bool asks)
{
    const int clientCount = smokeRun() ? 20 : int(state.range(0));
    // Everybody asks for 100 keywords of 10 000, in a hundred different choices.
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
        state.counters["elapsed_s"] = double(timer.nsecsElapsed()) / 1e9;
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

// The same, with each text as the answer to a question.
void joinEchoServer(benchmark::State &state)
{
    raiseDescriptorLimit();
    const OtherProcess server(QStringLiteral("echo"));
    join(state, server, true);
}
BENCHMARK(joinEchoServer)->Arg(1000)->Iterations(1)->UseManualTime();

} // namespace
