// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/eventtext.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"

#include <QtCore/QHash>

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

using namespace pellix::client;

namespace {

// Floor: decode the text and read the seven fields.
void decodeAndRead(benchmark::State &state)
{
    const std::vector<QByteArray> texts = eventTexts(int(state.range(0)));
    size_t next = 0;
    for (auto _ : state) {
        decodeAndReadFields(texts[next]);
        next = next + 1 == texts.size() ? 0 : next + 1;
    }
}
BENCHMARK(decodeAndRead)->Arg(1)->Arg(10)->Arg(1000)->Arg(100000);

void receiveToValueChanged(benchmark::State &state)
{
    const int keywords = int(state.range(0));
    const std::vector<QByteArray> texts = eventTexts(keywords);
    PInProcessKeywordClient client;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies;
    qint64 changes = 0;
    for (int i = 0; i < keywords; ++i) {
        proxies.push_back(std::make_unique<PKeywordProxy>());
        proxies.back()->setClient(&client);
        proxies.back()->setKeyword(keywordName(i));
        QObject::connect(proxies.back().get(), &PKeywordProxy::valueChanged, proxies.back().get(),
                         [&] { ++changes; });
    }
    size_t next = 0;
    for (auto _ : state) {
        client.receiveFromServer(texts[next]);
        next = next + 1 == texts.size() ? 0 : next + 1;
    }
    if (changes != state.iterations())
        state.SkipWithError("not every event was a change");
}
BENCHMARK(receiveToValueChanged)->Arg(1)->Arg(10)->Arg(1000)->Arg(100000);

// What the number of keywords costs by itself: a bare look-up of the same names.
void hashLookup(benchmark::State &state)
{
    const int keywords = int(state.range(0));
    QHash<QString, int> hash;
    std::vector<QString> names;
    for (int i = 0; i < keywords; ++i) {
        hash.insert(keywordName(i), i);
        names.push_back(keywordName(i));
    }
    size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(hash.value(names[next]));
        next = next + 1 == names.size() ? 0 : next + 1;
    }
}
BENCHMARK(hashLookup)->Arg(10)->Arg(1000)->Arg(100000);

} // namespace
