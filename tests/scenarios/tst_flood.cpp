// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/flood.h"
#include "tests/support/socketclient.h"

#include <QtCore/QLoggingCategory>
#include <QtTest/QTest>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1
#endif
#endif

class tst_Flood : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void millionEvents_areAllDeliveredWhileTheEventLoopTurns();
};

void tst_Flood::initTestCase()
{
    // Each of the 10 000 create commands would be logged.
    QLoggingCategory::setFilterRules(QStringLiteral(CLIENT_CATEGORY ".debug=false"));
}

/*
    The longest pause of the event loop is the time for one batch: the events that fit into the
    receive buffer of the connection, about 2 000 here. QWebSocket delivers all of them before it
    returns. Without the client's limit, the buffer has the size set by the system, 6 to 32 MiB on
    Linux: a batch then had 294 005 events and took 5.6 seconds.

    The test checks the size of the batch and not the pause, which also depends on the load of the
    machine.
*/
void tst_Flood::millionEvents_areAllDeliveredWhileTheEventLoopTurns()
{
    FloodOptions options;
    options.patienceSeconds = 250;
    FloodFigures figures = runFlood(options);
    // On a busy machine, a process may not run for longer than the keep-alive time.
    for (int i = 0; figures.linkLost && i < 3; ++i)
        figures = runFlood(options);

    qInfo("%lld events in %lld ms; event loop: longest pause %lld ms, at most %lld events in "
          "between; memory: at most %lld KiB more",
          figures.received, figures.milliseconds, figures.longestPause, figures.largestBatch,
          (figures.residentHighest - figures.residentBefore) / 1024);
    QVERIFY2(figures.failure.isEmpty(), qPrintable(figures.failure));
    QCOMPARE(figures.received, options.events);
    QCOMPARE(figures.lastValuesRight, options.keywords);
    QVERIFY2(figures.largestBatch < 10000, qPrintable(QString::number(figures.largestBatch)));
#ifndef __SANITIZE_ADDRESS__ // it keeps freed memory for a while
    const qint64 growth = figures.residentHighest - figures.residentBefore;
    QVERIFY2(growth < 16LL * 1024 * 1024, qPrintable(QString::number(growth)));
#endif
}

QTEST_GUILESS_MAIN(tst_Flood)
#include "tst_flood.moc"
