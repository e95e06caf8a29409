// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "client/keywordclient.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

using namespace pellix::client;

namespace {

struct Pair
{
    Pair()
    {
        for (int i = 0; i < 3; ++i)
            QObject::connect(&sender, &QObject::objectNameChanged, &receiver, [] {});
    }
    QObject sender, receiver;
};

// Floor: two objects with three connections between them.
void twoObjectsWithThreeConnections(benchmark::State &state)
{
    const auto count = size_t(state.range(0));
    for (auto _ : state) {
        std::vector<std::unique_ptr<Pair>> pairs(count);
        for (auto &pair : pairs)
            pair = std::make_unique<Pair>();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(twoObjectsWithThreeConnections)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

// A client whose server is not connected: binding alone, without the commands to the server.
void bindAndDestroy(benchmark::State &state)
{
    const auto count = size_t(state.range(0));
    std::vector<QString> names;
    for (size_t i = 0; i < count; ++i)
        names.push_back(QStringLiteral("/plant/line3/motor%1/speed").arg(i));
    PKeywordClient client;
    for (auto _ : state) {
        std::vector<std::unique_ptr<PKeywordProxy>> proxies(count);
        for (size_t i = 0; i < count; ++i) {
            proxies[i] = std::make_unique<PKeywordProxy>();
            proxies[i]->setClient(&client);
            proxies[i]->setKeyword(names[i]);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(bindAndDestroy)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

// The same with the commands, which nobody listens to.
void bindAndDestroyWithCommands(benchmark::State &state)
{
    const auto count = size_t(state.range(0));
    std::vector<QString> names;
    for (size_t i = 0; i < count; ++i)
        names.push_back(QStringLiteral("/plant/line3/motor%1/speed").arg(i));
    PInProcessKeywordClient client;
    for (auto _ : state) {
        std::vector<std::unique_ptr<PKeywordProxy>> proxies(count);
        for (size_t i = 0; i < count; ++i) {
            proxies[i] = std::make_unique<PKeywordProxy>();
            proxies[i]->setClient(&client);
            proxies[i]->setKeyword(names[i]);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(bindAndDestroyWithCommands)->Arg(1000)->Unit(benchmark::kMicrosecond);

} // namespace
