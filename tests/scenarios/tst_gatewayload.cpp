// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/gateway/gatewayload.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QRegularExpression>
#include <QtTest/QTest>

using namespace std::chrono_literals;

class tst_GatewayLoad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyCycleEndsWithTheRightValues();
};

void tst_GatewayLoad::initTestCase()
{
    // Each create would be logged, and the gateway loses its broker on purpose.
    QLoggingCategory::setFilterRules(QStringLiteral("pellixclient.keyword.websocketclient=false\n"
                                                    "pellixclient.gateway.warning=false\n"
                                                    "*.info=false"));
}

// In small what the program soak-gateway does for an hour, with each way to lose a broker. So
// short, the course of the memory says nothing.
void tst_GatewayLoad::everyCycleEndsWithTheRightValues()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    constexpr int cycles = 3;
    GatewayLoadOptions options;
    options.duration = 250s;
    options.cycles = cycles;
    options.ticks = 100;
    const GatewayLoadFigures figures = runGatewayLoad(options);

    QVERIFY2(figures.failure.isEmpty(), qPrintable(figures.failure));
    QCOMPARE(figures.samples.size(), size_t(cycles));
    QCOMPARE(figures.brokersLost, qint64(cycles));
    QCOMPARE(figures.reloads, 1 + 2 * qint64(cycles));
    QVERIFY(figures.objects > 0);
    QVERIFY(figures.messages > figures.objects);
    QVERIFY(figures.events > 0);
    QVERIFY(figures.visits > 0);
    QVERIFY(figures.writes > 0);
}

QTEST_GUILESS_MAIN(tst_GatewayLoad)
#include "tst_gatewayload.moc"
