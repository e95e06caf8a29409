// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/attemptlimit_p.h"

#include <QtTest/QTest>

using pellix::server::AttemptLimit;
using namespace std::chrono_literals;

namespace {

QHostAddress address(const char *text)
{
    return QHostAddress(QString::fromLatin1(text));
}

const auto one = address("192.0.2.1");
const auto other = address("192.0.2.2");

} // namespace

class tst_AttemptLimit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failures_areCountedForEachAddress();
    void attempts_comeBackEvenly();
    void setPerMinute_startsAnew();
    void addresses_ofOneNetworkShareAttempts();
    void addresses_areRememberedInBounds();
};

void tst_AttemptLimit::failures_areCountedForEachAddress()
{
    AttemptLimit limit;
    QCOMPARE(limit.perMinute(), 20);
    for (int i = 0; i < 20; ++i) {
        QCOMPARE(limit.waitingTime(one, 5s), 0ms);
        limit.countFailure(one, 5s);
    }
    QCOMPARE(limit.waitingTime(one, 5s), 3000ms);
    QCOMPARE(limit.waitingTime(other, 5s), 0ms);
    QCOMPARE(limit.addressCount(), 1);
}

void tst_AttemptLimit::attempts_comeBackEvenly()
{
    AttemptLimit limit;
    for (int i = 0; i < 30; ++i) // the waiting time does not accumulate
        limit.countFailure(one, 0s);
    QCOMPARE(limit.waitingTime(one, 1s), 2000ms);
    QCOMPARE(limit.waitingTime(one, 2999ms), 1ms);
    QCOMPARE(limit.waitingTime(one, 3s), 0ms);
    limit.countFailure(one, 3s);
    QCOMPARE(limit.waitingTime(one, 3s), 3000ms);
    // At most the original number
    for (int i = 0; i < 20; ++i) {
        QCOMPARE(limit.waitingTime(one, 1h), 0ms);
        limit.countFailure(one, 1h);
    }
    QVERIFY(limit.waitingTime(one, 1h) > 0ms);
}

void tst_AttemptLimit::setPerMinute_startsAnew()
{
    AttemptLimit limit;
    limit.setPerMinute(1);
    limit.countFailure(one, 0s);
    QCOMPARE(limit.waitingTime(one, 0s), 60000ms);
    limit.setPerMinute(2);
    QCOMPARE(limit.waitingTime(one, 0s), 0ms);
    limit.setPerMinute(0); // disables the limit
    for (int i = 0; i < 100; ++i)
        limit.countFailure(one, 0s);
    QCOMPARE(limit.waitingTime(one, 0s), 0ms);
    QCOMPARE(limit.addressCount(), 0);
    limit.setPerMinute(-1);
    QCOMPARE(limit.perMinute(), 0);
}

void tst_AttemptLimit::addresses_ofOneNetworkShareAttempts()
{
    AttemptLimit limit;
    limit.setPerMinute(1);
    limit.countFailure(address("2001:db8:1:2::1"), 0s);
    QVERIFY(limit.waitingTime(address("2001:db8:1:2:ffff::9"), 0s) > 0ms);
    QCOMPARE(limit.waitingTime(address("2001:db8:1:3::1"), 0s), 0ms);
}

void tst_AttemptLimit::addresses_areRememberedInBounds()
{
    AttemptLimit limit;
    limit.setPerMinute(1);
    constexpr int count = int(AttemptLimit::mostAddresses);
    const auto nth = [](int n) { return QHostAddress(0x0a000000u + quint32(n)); };
    for (int i = 0; i < 2 * count; ++i)
        limit.countFailure(nth(i), std::chrono::milliseconds(i));
    QCOMPARE(limit.addressCount(), qsizetype(count));
    // Only the last addresses are kept
    const auto now = std::chrono::milliseconds(2 * count);
    QCOMPARE(limit.waitingTime(nth(count - 1), now), 0ms);
    QVERIFY(limit.waitingTime(nth(count), now) > 0ms);
    QVERIFY(limit.waitingTime(nth(2 * count - 1), now) > 0ms);
    // Addresses with new failures are kept
    limit.countFailure(nth(count), now);
    for (int i = 0; i < count / 2; ++i)
        limit.countFailure(nth(4 * count + i), now);
    QVERIFY(limit.waitingTime(nth(count), now) > 0ms);
    QCOMPARE(limit.waitingTime(nth(count + 1), now), 0ms);
    QVERIFY(limit.addressCount() <= qsizetype(count));
}

QTEST_APPLESS_MAIN(tst_AttemptLimit)
#include "tst_attemptlimit.moc"
