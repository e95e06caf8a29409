// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/memory.h"

#include <QtTest/QTest>

#include <cmath>
#include <functional>

namespace {

struct Sample
{
    qint64 milliseconds;
    Memory memory;
};

constexpr qint64 warmUp = 20000;

// 120 samples, one per second.
template <typename Function> std::vector<Sample> samplesWith(Function bytesAt)
{
    std::vector<Sample> samples;
    for (qint64 i = 0; i < 120; ++i)
        samples.push_back({i * 1000, {bytesAt(i), 0}});
    return samples;
}

template <typename Function> MemorySpread spreadWith(Function bytesAt)
{
    return spreadOf(samplesWith(bytesAt), warmUp, &Memory::resident);
}

template <typename Function> double growthWith(Function bytesAt)
{
    return growthOf(samplesWith(bytesAt), warmUp, &Memory::resident);
}

} // namespace

Q_DECLARE_METATYPE(std::function<qint64(qint64)>)

class tst_MemorySpread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void constant_hasNoSpread();
    void warmUp_isIgnored();
    void singleSamples_areIgnored();
    void growth_isFound();
    void nothing_isNotConstant();

    void growthOf_data();
    void growthOf();
    void growthOfNothing_isNotConstant();
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

void tst_MemorySpread::growthOf_data()
{
    using Bytes = std::function<qint64(qint64)>;
    QTest::addColumn<Bytes>("bytesAt");
    QTest::addColumn<double>("growth");
    QTest::newRow("constant") << Bytes([](qint64) { return 5000; }) << 0.0;
    // 10 bytes in each of 99 s, at a median of 5700.
    QTest::newRow("leak") << Bytes([](qint64 i) { return 5000 + 10 * i; }) << 990 / 5700.0;
    QTest::newRow("shrinking") << Bytes([](qint64 i) { return 7000 - 10 * i; }) << -990 / 6300.0;
    QTest::newRow("warm-up") << Bytes([](qint64 i) { return i < 20 ? 1000 : 5000; }) << 0.0;
    QTest::newRow("single samples")
        << Bytes([](qint64 i) { return i % 5 == 0 ? 6000 : 5000; }) << 0.0;
    // The start is low, and the end is high.
    QTest::newRow("both ends") << Bytes([](qint64 i) {
        return i < 25 ? 4000 : (i > 115 ? 6000 : 5000);
    }) << 0.0;
    QTest::newRow("leak under noise")
        << Bytes([](qint64 i) { return 5000 + 10 * i + (i % 4 == 0 ? 700 : 0); }) << 990 / 5870.0;
}

void tst_MemorySpread::growthOf()
{
    QFETCH(std::function<qint64(qint64)>, bytesAt);
    QFETCH(double, growth);
    const double found = growthWith(bytesAt);
    QVERIFY2(std::abs(found - growth) < 0.002, qPrintable(QString::number(found)));
}

void tst_MemorySpread::growthOfNothing_isNotConstant()
{
    QCOMPARE(::growthOf(std::vector<Sample>(), 0, &Memory::resident), 1.0);
    const std::vector<Sample> samples {{0, {5000, 0}}, {1000, {5000, 0}}};
    QCOMPARE(::growthOf(samples, 2000, &Memory::resident), 1.0);
    QCOMPARE(::growthOf(samples, 1000, &Memory::resident), 1.0);
}

QTEST_GUILESS_MAIN(tst_MemorySpread)
#include "tst_memoryspread.moc"
