// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/memory.h"

#include <QtTest/QTest>

namespace {

struct Sample
{
    qint64 milliseconds;
    Memory memory;
};

// The spread of 120 samples, one per second, with a warm-up of 20 s.
template <typename Function> MemorySpread spreadWith(Function bytesAt)
{
    std::vector<Sample> samples;
    for (qint64 i = 0; i < 120; ++i)
        samples.push_back({i * 1000, {bytesAt(i), 0}});
    return spreadOf(samples, 20000, &Memory::resident);
}

} // namespace

class tst_MemorySpread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void constant_hasNoSpread();
    void warmUp_isIgnored();
    void singleSamples_areIgnored();
    void growth_isFound();
    void nothing_isNotConstant();
};

void tst_MemorySpread::constant_hasNoSpread()
{
    const MemorySpread spread = spreadWith([](qint64) { return 5000; });
    QCOMPARE(spread.lowest, 5000);
    QCOMPARE(spread.highest, 5000);
    QCOMPARE(spread.relative(), 0.0);
}

void tst_MemorySpread::warmUp_isIgnored()
{
    QCOMPARE(spreadWith([](qint64 i) { return i < 20 ? 1000 : 5000; }).relative(), 0.0);
}

void tst_MemorySpread::singleSamples_areIgnored()
{
    QCOMPARE(spreadWith([](qint64 i) { return i % 5 == 0 ? 6000 : 5000; }).relative(), 0.0);
}

void tst_MemorySpread::growth_isFound()
{
    const MemorySpread leak = spreadWith([](qint64 i) { return 5000 + i; });
    QCOMPARE(leak.lowest, 5025);
    QCOMPARE(leak.highest, 5115);
    // At any time: here, in the last tenth only.
    const MemorySpread step = spreadWith([](qint64 i) { return i < 110 ? 5000 : 5100; });
    QCOMPARE(step.relative(), 0.02);
}

void tst_MemorySpread::nothing_isNotConstant()
{
    QCOMPARE(spreadOf(std::vector<Sample>(), 0, &Memory::resident).relative(), 1.0);
    // All samples are from the warm-up.
    const std::vector<Sample> samples {{0, {5000, 0}}};
    QCOMPARE(spreadOf(samples, 1000, &Memory::resident).relative(), 1.0);
}

QTEST_GUILESS_MAIN(tst_MemorySpread)
#include "tst_memoryspread.moc"
