// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/eventtext.h"
#include "server/keywordserver.h"
#include "server/keywordsession.h"

#include <QtCore/QHash>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <memory>
#include <vector>

using namespace pellix::server;

namespace {

size_t bytesInUse()
{
    return mallinfo2().uordblks;
}

// A hundred keywords per level.
QString leveledName(int i)
{
    return QStringLiteral("/plant/line%1/motor%2").arg(i / 100).arg(i % 100);
}

KeywordServer::Keyword numbered(int i)
{
    KeywordServer::Keyword keyword;
    keyword.path = leveledName(i);
    keyword.type = QStringLiteral("double");
    keyword.value = 0.5;
    return keyword;
}

QByteArray createCommand(const QString &keyword)
{
    return "{\"cmd\":\"keyCreateOrUpdate\",\"payload\":{\"keyword\":\"" + keyword.toUtf8() + "\"}}";
}

// A server with the given number of keywords, and sessions that watch all of them and count the
// bytes.
struct WatchedServer
{
    WatchedServer(int keywords, int sessionCount)
    {
        for (int i = 0; i < keywords; ++i)
            server.declare(numbered(i));
        for (int i = 0; i < sessionCount; ++i) {
            sessions.emplace_back(server.openSession());
            QObject::connect(sessions.back().get(), &KeywordSession::send, sessions.back().get(),
                             [this](const QByteArray &message) { bytes += message.size(); });
            for (int k = 0; k < keywords; ++k)
                sessions.back()->receive(createCommand(leveledName(k)));
        }
    }

    KeywordServer server;
    std::vector<std::unique_ptr<KeywordSession>> sessions;
    qint64 bytes = 0;
};

// Floor: the event of a change, encoded by QJsonDocument.
void encodeByDocument(benchmark::State &state)
{
    const QString keyword = leveledName(17);
    double value = 1234.5678;
    qint64 bytes = 0;
    for (auto _ : state) {
        value += 1;
        const QJsonObject payload {
            {QStringLiteral("connected"), true}, {QStringLiteral("consistent"), true},
            {QStringLiteral("error"), false},    {QStringLiteral("keyword"), keyword},
            {QStringLiteral("online"), true},    {QStringLiteral("type"), QStringLiteral("double")},
            {QStringLiteral("value"), value},
        };
        const QJsonObject message {{QStringLiteral("cmd"), QStringLiteral("keyEvent")},
                                   {QStringLiteral("payload"), payload}};
        bytes += QJsonDocument(message).toJson(QJsonDocument::Compact).size();
    }
    benchmark::DoNotOptimize(bytes);
}
BENCHMARK(encodeByDocument);

// A change of a keyword, from setValue() until the transport of each session has the message.
void changeToMessages(benchmark::State &state)
{
    WatchedServer watched(100, int(state.range(0)));
    const QString keyword = leveledName(17);
    double value = 1234.5678;
    for (auto _ : state)
        watched.server.setValue(keyword, value += 1);
    benchmark::DoNotOptimize(watched.bytes);
}
BENCHMARK(changeToMessages)->Arg(1)->Arg(10)->Arg(50);

// Floor: the commands, decoded by QJsonDocument.
void decodeCreates(benchmark::State &state)
{
    const int count = int(state.range(0));
    std::vector<QByteArray> commands;
    commands.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i)
        commands.push_back(createCommand(leveledName(i)));
    for (auto _ : state) {
        qsizetype levels = 0;
        for (const QByteArray &command : commands) {
            levels += QJsonDocument::fromJson(command)
                          .object()
                          .value(QLatin1String("payload"))
                          .toObject()
                          .value(QLatin1String("keyword"))
                          .toString()
                          .size();
        }
        benchmark::DoNotOptimize(levels);
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(decodeCreates)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

// One session subscribes to all keywords and receives each value.
void createKeywords(benchmark::State &state)
{
    const int count = int(state.range(0));
    KeywordServer server;
    std::vector<QByteArray> commands;
    for (int i = 0; i < count; ++i) {
        server.declare(numbered(i));
        commands.push_back(createCommand(leveledName(i)));
    }
    qint64 bytes = 0;
    for (auto _ : state) {
        const std::unique_ptr<KeywordSession> session(server.openSession());
        QObject::connect(session.get(), &KeywordSession::send, session.get(),
                         [&bytes](const QByteArray &message) { bytes += message.size(); });
        for (const QByteArray &command : commands)
            session->receive(command);
    }
    benchmark::DoNotOptimize(bytes);
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(createKeywords)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

// Floor: values in a hash, next to their names.
void memoryOfValuesInAHash(benchmark::State &state)
{
    const int count = int(state.range(0));
    std::vector<QString> names;
    names.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i)
        names.push_back(leveledName(i));
    for (auto _ : state) {
        QHash<QString, QVariant> values;
        const size_t before = bytesInUse();
        for (const QString &name : names)
            values.insert(name, 0.5);
        state.counters["bytes"] = double(bytesInUse() - before) / count;
    }
}
BENCHMARK(memoryOfValuesInAHash)->Arg(100000)->Iterations(1);

void memoryOfDeclaredKeywords(benchmark::State &state)
{
    const int count = int(state.range(0));
    std::vector<KeywordServer::Keyword> keywords;
    keywords.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i)
        keywords.push_back(numbered(i));
    for (auto _ : state) {
        KeywordServer server;
        const size_t before = bytesInUse();
        for (const KeywordServer::Keyword &keyword : keywords)
            server.declare(keyword);
        state.counters["bytes"] = double(bytesInUse() - before) / count;
    }
}
BENCHMARK(memoryOfDeclaredKeywords)->Arg(100000)->Iterations(1);

// Keywords that are declared and watched by one session.
void memoryOfWatchedKeywords(benchmark::State &state)
{
    const int count = int(state.range(0));
    std::vector<KeywordServer::Keyword> keywords;
    keywords.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i)
        keywords.push_back(numbered(i));
    for (auto _ : state) {
        KeywordServer server;
        const size_t before = bytesInUse();
        for (const KeywordServer::Keyword &keyword : keywords)
            server.declare(keyword);
        const std::unique_ptr<KeywordSession> session(server.openSession());
        for (const KeywordServer::Keyword &keyword : keywords)
            session->receive(createCommand(keyword.path));
        state.counters["bytes"] = double(bytesInUse() - before) / count;
    }
}
BENCHMARK(memoryOfWatchedKeywords)->Arg(100000)->Iterations(1);

} // namespace
