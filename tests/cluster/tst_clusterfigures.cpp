// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/cluster/figures.h"
#include "tests/cluster/plant.h"

#include <QtTest/QTest>

#include <cmath>

class tst_ClusterFigures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void percentile_isOneOfTheValues();
    void density_countsAcrossTheEdgesOfTenths();
    void density_countsEachWindowOnce();
    void density_ofFewEvents_isTheirAverageOverASecond();
    void density_ofLateEvents_doesNotCount();
    void kept_expectsTheValueThatAnyNodeHas();
    void kept_silentNode_isCounted();
    void goals_limitsIncludeTheSlack_data();
    void goals_limitsIncludeTheSlack();
    void goals_noNumber_isMissed();
    void value_ofAnotherKeyword_hasNoCount_data();
    void value_ofAnotherKeyword_hasNoCount();
};

void tst_ClusterFigures::percentile_isOneOfTheValues()
{
    QCOMPARE(percentile({}, 0.5), -1);
    QCOMPARE(percentile({3, 1, 2}, 0.5), 2);
    QCOMPARE(percentile({3, 1, 2}, 0.99), 3);
    QCOMPARE(percentile({3, 1, 2}, 1), 3);
}

void tst_ClusterFigures::density_countsAcrossTheEdgesOfTenths()
{
    const Density density({1195, 1105, 1190, 1205, 1210}, 1000);

    QCOMPARE(density.most, 4); // from 1190 or from 1195
}

void tst_ClusterFigures::density_countsEachWindowOnce()
{
    QCOMPARE(Density({1000, 1100, 1200}, 1000).most, 1);
    QCOMPARE(Density({1000, 1099, 1199}, 1000).most, 2);
    QCOMPARE(Density({}, 1000).most, 0);
}

void tst_ClusterFigures::density_ofFewEvents_isTheirAverageOverASecond()
{
    QCOMPARE(Density({1000, 1010, 1020}, 1000).average, 0.3);
    QCOMPARE(Density({1000, 1010, 2000, 3000}, 1000).average, 0.2);
}

void tst_ClusterFigures::density_ofLateEvents_doesNotCount()
{
    QList<qint64> times;
    for (int i = 0; i < 198; ++i)
        times.append(1000 + 10 * i);
    times << 9000 << 10000;
    QCOMPARE(Density(times, 1000).average, 198 * 100 / 1970.0);
}

void tst_ClusterFigures::kept_expectsTheValueThatAnyNodeHas()
{
    const Kept kept({5, 6, 7}, {{{0, 5}, {1, 5}, {2, 7}}, {{0, 4}, {1, 4}}, {{0, 5}, {2, 8}}});

    QCOMPARE(kept.expected, std::vector<qint64>({5, 0, 7}));
    QCOMPARE(kept.missing, 5);
    QCOMPARE(kept.lost, 1);
    QCOMPARE(kept.silentNodes, 0);
}

void tst_ClusterFigures::kept_silentNode_isCounted()
{
    const Kept kept({5, 6}, {{{0, 5}, {1, 6}}, {}, {{0, 5}, {1, 6}}});

    QCOMPARE(kept.silentNodes, 1);
    QCOMPARE(kept.expected, std::vector<qint64>({5, 6}));
    QCOMPARE(kept.lost, 0);
    QCOMPARE(kept.missing, 2);
}

void tst_ClusterFigures::goals_limitsIncludeTheSlack_data()
{
    QTest::addColumn<double>("slack");
    QTest::addColumn<bool>("isAtMost");
    QTest::addColumn<double>("value");
    QTest::addColumn<bool>("isMet");
    QTest::newRow("at most, met") << 1.0 << true << 9.0 << true;
    QTest::newRow("at most, missed") << 1.0 << true << 9.1 << false;
    QTest::newRow("at most, with slack") << 2.0 << true << 18.0 << true;
    QTest::newRow("at most, beyond the slack") << 2.0 << true << 18.1 << false;
    QTest::newRow("at least, met") << 1.0 << false << 9.0 << true;
    QTest::newRow("at least, missed") << 1.0 << false << 8.9 << false;
    QTest::newRow("at least, with slack") << 2.0 << false << 4.5 << true;
    QTest::newRow("at least, beyond the slack") << 2.0 << false << 4.4 << false;
}

void tst_ClusterFigures::goals_limitsIncludeTheSlack()
{
    QFETCH(const double, slack);
    QFETCH(const bool, isAtMost);
    QFETCH(const double, value);
    QFETCH(const bool, isMet);
    Goals goals(slack);

    if (isAtMost)
        goals.atMost(QStringLiteral("figure"), value, 9);
    else
        goals.atLeast(QStringLiteral("figure"), value, 9);

    QCOMPARE(goals.missed().isEmpty(), isMet);
}

void tst_ClusterFigures::goals_noNumber_isMissed()
{
    Goals goals(1);

    goals.atMost(QStringLiteral("most"), std::nan(""), 1);
    goals.atLeast(QStringLiteral("least"), std::nan(""), 1);

    QCOMPARE(goals.missed().size(), 2);
}

void tst_ClusterFigures::value_ofAnotherKeyword_hasNoCount_data()
{
    QTest::addColumn<qint64>("value");
    QTest::addColumn<qint64>("count");
    QTest::newRow("own") << plant::value(7, 3) << qint64(3);
    QTest::newRow("of the next keyword") << plant::value(8, 3) << qint64(-1);
    QTest::newRow("of the previous keyword") << plant::value(6, 3) << qint64(-1);
    QTest::newRow("none") << qint64(-1) << qint64(-1);
    QTest::newRow("without a count") << plant::value(7, 0) << qint64(-1);
}

void tst_ClusterFigures::value_ofAnotherKeyword_hasNoCount()
{
    QFETCH(const qint64, value);
    QFETCH(const qint64, count);

    QCOMPARE(plant::count(7, value), count);
}

QTEST_GUILESS_MAIN(tst_ClusterFigures)
#include "tst_clusterfigures.moc"
