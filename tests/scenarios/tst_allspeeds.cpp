// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/allspeeds.h"
#include "tests/soak/stalledclient.h"

#include <QtCore/QLoggingCategory>
#include <QtTest/QTest>

#include <algorithm>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1
#endif
#endif

using namespace std::chrono_literals;

class tst_AllSpeeds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void whoReadsEndsWithTheRightValues();
    void stalledClient_costsNoMemory();
};

void tst_AllSpeeds::initTestCase()
{
    // Each create command would be logged, and connections may be lost on a busy machine.
    QLoggingCategory::setFilterRules(QStringLiteral("pellixclient.keyword.websocketclient=false"));
}

// A short version of what the program soak does for an hour. The connections are as slow as
// possible, but fast enough that a pong arrives well within the keep-alive time.
void tst_AllSpeeds::whoReadsEndsWithTheRightValues()
{
    constexpr int keywords = 500;
    AllSpeedsOptions options;
    options.server.program = QStringLiteral(SERVER_PROGRAM);
    options.server.keywords = keywords;
    options.server.changesPerSecond = 5000;
    options.server.stalledTime = 3s;
    options.server.sampleInterval = 100ms;
    options.duration = 6s;
    options.fast = {{QStringLiteral("fast, with the library"), true, 0, 0, keywords},
                    {QStringLiteral("fast"), false, 0, 0, keywords}};
    options.slow = {{QStringLiteral("slow, with the library"), true, 200000, 0, keywords},
                    {QStringLiteral("slow"), false, 100000, 0, keywords}};
    options.stalling = 2;
    options.readingTime = 200ms;
    options.passing = 3;
    options.longestVisit = 500ms;
    options.patience = 250s;
    AllSpeedsFigures figures = runAllSpeeds(options);
    // On a busy machine, a process may not run for longer than the keep-alive time.
    for (int i = 0; figures.linkLost && i < 3; ++i)
        figures = runAllSpeeds(options);

    QVERIFY2(figures.failure.isEmpty(), qPrintable(figures.failure));
    QVERIFY(figures.changes > keywords);
    QCOMPARE(figures.readers.size(), size_t(4));
    for (const ReaderFigures &reader : figures.readers) {
        QVERIFY2(reader.events > keywords, qPrintable(reader.options.name));
        QVERIFY2(reader.wrong == 0, qPrintable(reader.options.name));
    }
    QVERIFY(figures.drops >= options.stalling);
    QVERIFY(figures.visits >= options.passing);
    QVERIFY(figures.last.skippedValues > 0);
    QCOMPARE(figures.last.clients, qint64(4));
#ifndef __SANITIZE_ADDRESS__ // it keeps freed memory for a while
    const qint64 highest = std::max_element(figures.samples.begin(), figures.samples.end(),
                                            [](const auto &one, const auto &other) {
                                                return one.memory.resident < other.memory.resident;
                                            })
                               ->memory.resident;
    const qint64 first = figures.samples.front().memory.resident;
    QVERIFY2(highest - first < 16LL * 1024 * 1024, qPrintable(QString::number(highest - first)));
#endif
}

// A queue for the client would require 15 MB.
void tst_AllSpeeds::stalledClient_costsNoMemory()
{
    StalledClientOptions options;
    options.serverProgram = QStringLiteral(SERVER_PROGRAM);
    options.keywords = 1000;
    options.otherClients = 9;
    options.events = 100000;
    options.patience = 250s;
    const StalledClientFigures figures = runStalledClient(options);

    QVERIFY2(figures.failure.isEmpty(), qPrintable(figures.failure));
    QVERIFY(figures.with.events > 0);
    QVERIFY(figures.without.events > 0);
    QVERIFY(figures.with.last.skippedValues > options.events / 2);
    QVERIFY(figures.with.medianLatency > 0);
#ifndef __SANITIZE_ADDRESS__
    const qint64 growth = figures.with.residentGrowth();
    QVERIFY2(growth < 4LL * 1024 * 1024, qPrintable(QString::number(growth)));
#endif
}

QTEST_GUILESS_MAIN(tst_AllSpeeds)
#include "tst_allspeeds.moc"
