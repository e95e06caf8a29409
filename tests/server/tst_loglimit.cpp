// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/loglimit_p.h"

#include <QtTest/QTest>

using pellix::server::LogLimit;
using namespace std::chrono_literals;

class tst_LogLimit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void line_isAllowedOncePerSecond();
    void kinds_areIndependent();
};

void tst_LogLimit::line_isAllowedOncePerSecond()
{
    LogLimit limit;
    QCOMPARE(limit.next("a", 5s), std::optional(0));
    for (int i = 0; i < 3; ++i)
        QCOMPARE(limit.next("a", 5999ms), std::nullopt);
    QCOMPARE(limit.next("a", 6s), std::optional(3));
    QCOMPARE(limit.next("a", 6999ms), std::nullopt);
    QCOMPARE(limit.next("a", 1h), std::optional(1));
    QCOMPARE(limit.next("a", 2h), std::optional(0));
}

void tst_LogLimit::kinds_areIndependent()
{
    LogLimit limit;
    QCOMPARE(limit.next("a", 0s), std::optional(0));
    QCOMPARE(limit.next("b", 0s), std::optional(0));
    QCOMPARE(limit.next("a", 1ms), std::nullopt);
    QCOMPARE(limit.next("a", 2ms), std::nullopt);
    QCOMPARE(limit.next("b", 1s), std::optional(0));
    QCOMPARE(limit.next("a", 1s), std::optional(2));
}

QTEST_GUILESS_MAIN(tst_LogLimit)
#include "tst_loglimit.moc"
