// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/gateway/brokerlosses.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QRegularExpression>
#include <QtTest/QTest>

#include <memory>
#include <vector>

class tst_BrokerLosses : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void everyKeywordIsRightAfterEveryLoss();
    void manyScreens_areRightAfterARestart();

private:
    BrokerLosses *add(const QList<BrokerLoss> &losses, int screens = 1);
    void run();

    std::vector<std::unique_ptr<BrokerLosses>> gateways;
    int recoveries[brokerLossCount] = {};
    size_t finished = 0;
    QString failure;
};

void tst_BrokerLosses::initTestCase()
{
    // Each create would be logged, and the gateway loses its broker on purpose.
    QLoggingCategory::setFilterRules(QStringLiteral("pellixclient.keyword.websocketclient=false\n"
                                                    "pellixclient.gateway.warning=false\n"
                                                    "*.info=false"));
}

void tst_BrokerLosses::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    gateways.clear();
    std::fill(std::begin(recoveries), std::end(recoveries), 0);
    finished = 0;
    failure.clear();
}

BrokerLosses *tst_BrokerLosses::add(const QList<BrokerLoss> &losses, int screens)
{
    BrokerLosses::Options options;
    options.gatewayProgram = QStringLiteral(GATEWAY_PROGRAM);
    options.losses = losses;
    options.number = int(gateways.size());
    options.screens = screens;
    options.keywordsEach = options.keywords / screens;
    gateways.push_back(std::make_unique<BrokerLosses>(options));
    BrokerLosses *const gateway = gateways.back().get();
    connect(gateway, &BrokerLosses::recovered, this,
            [this](BrokerLoss loss) { ++recoveries[int(loss)]; });
    connect(gateway, &BrokerLosses::finished, this, [this] { ++finished; });
    connect(gateway, &BrokerLosses::failed, this, [this](const QString &what) { failure = what; });
    return gateway;
}

void tst_BrokerLosses::run()
{
    for (const auto &gateway : gateways)
        gateway->start();
    QTRY_VERIFY_WITH_TIMEOUT(finished == gateways.size() || !failure.isEmpty(), 250000);
    QVERIFY2(failure.isEmpty(), qPrintable(failure));
}

// The program soak-gateway runs the same by the thousand.
void tst_BrokerLosses::everyKeywordIsRightAfterEveryLoss()
{
    add({BrokerLoss::HalfOpen});
    add({BrokerLoss::KilledKept, BrokerLoss::KilledForgotten, BrokerLoss::Stopped});
    run();
    for (int loss = 0; loss < brokerLossCount; ++loss)
        QVERIFY2(recoveries[loss] == 1, brokerLossName(BrokerLoss(loss)));
}

void tst_BrokerLosses::manyScreens_areRightAfterARestart()
{
    add({BrokerLoss::KilledForgotten}, 50);
    run();
    QCOMPARE(recoveries[int(BrokerLoss::KilledForgotten)], 1);
}

QTEST_GUILESS_MAIN(tst_BrokerLosses)
#include "tst_brokerlosses.moc"
