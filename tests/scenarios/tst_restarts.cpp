// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/restartrounds.h"
#include "tests/support/socketclient.h"

#include <QtCore/QLoggingCategory>
#include <QtTest/QTest>

#include <memory>
#include <vector>

using namespace std::chrono_literals;

class tst_Restarts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void everyKeywordIsFreshAfterEveryOutage();
};

void tst_Restarts::initTestCase()
{
    // Lost connections are logged as warnings, but are intended here.
    QLoggingCategory::setFilterRules(QStringLiteral(CLIENT_CATEGORY "=false"));
}

// One client for each outage to start with, all at the same time: 28 recoveries of 1 000 keywords.
// The program soak runs thousands of the same rounds.
void tst_Restarts::everyKeywordIsFreshAfterEveryOutage()
{
    constexpr int roundsEach = 4;
    int recoveries[outageCount] = {};
    int finished = 0;
    QString failure;
    std::vector<std::unique_ptr<RestartRounds>> clients;
    for (int c = 0; c < outageCount; ++c) {
        RestartRounds::Options options;
        options.client = c;
        options.simulator = QStringLiteral(SIMULATOR_PROGRAM);
        clients.push_back(std::make_unique<RestartRounds>(options));
        RestartRounds *const rounds = clients.back().get();
        connect(rounds, &RestartRounds::recovered, this,
                [&](Outage outage) { ++recoveries[int(outage)]; });
        connect(rounds, &RestartRounds::finished, this, [&] { ++finished; });
        connect(rounds, &RestartRounds::failed, this, [&](const QString &what) { failure = what; });
        rounds->start(roundsEach);
    }

    const auto over = [&] { return finished == outageCount || !failure.isEmpty(); };
    QTRY_VERIFY_WITH_TIMEOUT(over(), 250000);
    QVERIFY2(failure.isEmpty(), qPrintable(failure));
    for (int outage = 0; outage < outageCount; ++outage)
        QVERIFY2(recoveries[outage] == roundsEach, outageName(Outage(outage)));
}

QTEST_GUILESS_MAIN(tst_Restarts)
#include "tst_restarts.moc"
