// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/eventtext.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"

#include <QtCore/QHash>

#include <QtCore/QFile>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <string>
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

// The same for 1 000 keywords, in one of the spellings that servers send.
struct Spelling
{
    QByteArray name;
    QByteArray values[2];
    QByteArray message;

    QByteArray text(int keyword, int round) const
    {
        return QByteArray(message)
            .replace("%k", QByteArray::number(keyword))
            .replace("%v", values[round]);
    }
};

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
    const std::vector<QByteArray> texts = textsIn(spelling);
    size_t next = 0;
    for (auto _ : state) {
        decodeAndReadFields(texts[next]);
        next = next + 1 == texts.size() ? 0 : next + 1;
    }
}

void receiveSpelling(benchmark::State &state, const Spelling &spelling)
{
    const std::vector<QByteArray> texts = textsIn(spelling);
    PInProcessKeywordClient client;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies;
    for (int i = 0; i < spelledKeywords; ++i) {
        proxies.push_back(std::make_unique<PKeywordProxy>());
        proxies.back()->setClient(&client);
        proxies.back()->setKeyword(keywordName(i));
    }
    size_t next = 0;
    for (auto _ : state) {
        client.receiveFromServer(texts[next]);
        next = next + 1 == texts.size() ? 0 : next + 1;
    }
    const auto hasEvent = [](const auto &proxy) {
        return proxy->valueType() != PKeywordValueType::KVT_NOPROP;
    };
    if (std::count_if(proxies.cbegin(), proxies.cend(), hasEvent)
        != std::min<qint64>(state.iterations(), spelledKeywords))
        state.SkipWithError("not every event reached its keyword");
}

const bool hasSpellings = [] {
    QFile file(QStringLiteral(SPELLINGS));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s: %s", SPELLINGS, qPrintable(file.errorString()));
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().chopped(1);
        const QByteArrayList columns = line.split('\t');
        if (line.startsWith('#') || columns.size() != 4)
            continue;
        const Spelling spelling {columns[0], {columns[1], columns[2]}, columns[3]};
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
