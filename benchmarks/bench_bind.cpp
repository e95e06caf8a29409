// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/eventtext.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "client/keywordclient.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

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

void bindAndDestroyWith(PKeywordClient &client, benchmark::State &state)
{
    const auto count = size_t(state.range(0));
    std::vector<QString> names;
    for (size_t i = 0; i < count; ++i)
        names.push_back(keywordName(int(i)));
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

// A client without a transport, which sends no commands: measures only binding.
void bindAndDestroy(benchmark::State &state)
{
    PKeywordClient client;
    bindAndDestroyWith(client, state);
}
BENCHMARK(bindAndDestroy)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

// A client that sends the commands for each keyword, two creates and a destroy, which nobody
// receives.
void bindAndDestroyWithCommands(benchmark::State &state)
{
    PInProcessKeywordClient client;
    bindAndDestroyWith(client, state);
}
BENCHMARK(bindAndDestroyWithCommands)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

// The memory that a bound keyword occupies, compared with the floor.
size_t bytesInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

void memoryOfTwoObjectsWithThreeConnections(benchmark::State &state)
{
    const auto count = size_t(state.range(0));
    for (auto _ : state) {
        std::vector<std::unique_ptr<Pair>> pairs(count);
        const size_t before = bytesInUse();
        for (auto &pair : pairs)
            pair = std::make_unique<Pair>();
        state.counters["bytes"] = double(bytesInUse() - before) / double(count);
    }
}
BENCHMARK(memoryOfTwoObjectsWithThreeConnections)->Arg(100000)->Iterations(1);

void memoryOfBoundKeywords(benchmark::State &state)
{
    const auto count = size_t(state.range(0));
    std::vector<QString> names;
    for (size_t i = 0; i < count; ++i)
        names.push_back(keywordName(int(i)));
    for (auto _ : state) {
        PKeywordClient client;
        std::vector<std::unique_ptr<PKeywordProxy>> proxies(count);
        const size_t before = bytesInUse();
        for (size_t i = 0; i < count; ++i) {
            proxies[i] = std::make_unique<PKeywordProxy>();
            proxies[i]->setClient(&client);
            proxies[i]->setKeyword(names[i]);
        }
        state.counters["bytes"] = double(bytesInUse() - before) / double(count);
    }
}
BENCHMARK(memoryOfBoundKeywords)->Arg(100000)->Iterations(1);

} // namespace
