// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/eventtext.h"
#include "benchmarks/spellings.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"

#include <QtCore/QHash>

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

using namespace pellix::client;

namespace {

void decodeInTurn(benchmark::State &state, const std::vector<QByteArray> &texts)
{
    size_t next = 0;
    for (auto _ : state) {
        decodeAndReadFields(texts[next]);
        next = next + 1 == texts.size() ? 0 : next + 1;
    }
}

// The texts are those of all keywords, twice with different values.
void receiveInTurn(benchmark::State &state, const std::vector<QByteArray> &texts)
{
    PInProcessKeywordClient client;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies;
    qint64 changes = 0;
    for (size_t i = 0; i < texts.size() / 2; ++i) {
        proxies.push_back(std::make_unique<PKeywordProxy>());
        proxies.back()->setClient(&client);
        proxies.back()->setKeyword(keywordName(int(i)));
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

// Floor: decode the text and read the seven fields.
void decodeAndRead(benchmark::State &state)
{
    decodeInTurn(state, eventTexts(int(state.range(0))));
}
BENCHMARK(decodeAndRead)->Arg(1)->Arg(10)->Arg(1000)->Arg(100000);

void receiveToValueChanged(benchmark::State &state)
{
    receiveInTurn(state, eventTexts(int(state.range(0))));
}
BENCHMARK(receiveToValueChanged)->Arg(1)->Arg(10)->Arg(1000)->Arg(100000);

// The same for 1 000 keywords, in one of the spellings that servers send.
constexpr int spelledKeywords = 1000;

std::vector<QByteArray> textsIn(const Spelling &spelling)
{
    std::vector<QByteArray> texts;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < spelledKeywords; ++i)
            texts.push_back(spelling.text(i, round));
    }
    return texts;
}

void decodeSpelling(benchmark::State &state, const Spelling &spelling)
{
    decodeInTurn(state, textsIn(spelling));
}

void receiveSpelling(benchmark::State &state, const Spelling &spelling)
{
    receiveInTurn(state, textsIn(spelling));
}

const bool hasSpellings = [] {
    for (const Spelling &spelling : spellings()) {
        const std::string name = '/' + spelling.name.toStdString();
        benchmark::RegisterBenchmark(("decodeSpelling" + name).c_str(), decodeSpelling, spelling);
        benchmark::RegisterBenchmark(("receiveSpelling" + name).c_str(), receiveSpelling, spelling);
    }
    return true;
}();

// The cost of the number of keywords alone: a bare lookup of the same names.
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
