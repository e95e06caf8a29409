// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"
#include "tests/cluster/cluster.h"
#include "tests/cluster/inspector.h"
#include "tests/cluster/plant.h"
#include "tests/cluster/screens.h"

#include <QtTest/QTest>

using pellix::server::KeywordServer;
using pellix::server::WebSocketKeywordServer;

namespace {

constexpr int longTime = 60000; // in milliseconds; the time that a loaded machine may take
constexpr int keywords = 3;

} // namespace

// The inspectors and the screens that judge a cluster must notice each kind of wrong value. A
// server in this program takes the place of the gateway.
class tst_ClusterJudges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void inspector_valueThatStaysWrong_countsUntilNow();
    void inspector_valueThatTheBrokersLost_isExcused();
    void inspector_valueOfAnotherKeyword_isWrong();
    void inspector_valueThatWasNeverPublished_isWrong();
    void screens_processThatEnds_isNotRight();
    void screens_valueOfAnotherKeyword_isNotRight();
    void screens_afterALoss_areNotRightWithValuesBelowTheFloor();
    void course_secondLossBeforeBeingRight_isOneDownTime();

private:
    void set(int keyword, qint64 value) { server->setValue(plant::path(keyword), value); }
    std::unique_ptr<Inspector> inspect(qint64 lastSent);
    std::unique_ptr<Screens> show(int count);

    std::unique_ptr<KeywordServer> server;
    std::unique_ptr<WebSocketKeywordServer> listener;
    std::unique_ptr<Cluster> folder; // is not started
};

void tst_ClusterJudges::init()
{
    server = std::make_unique<KeywordServer>();
    for (int i = 0; i < keywords; ++i) {
        KeywordServer::Keyword keyword;
        keyword.path = plant::path(i);
        keyword.type = QStringLiteral("double");
        keyword.value = plant::value(i, 1);
        QVERIFY(server->declare(keyword));
    }
    listener = std::make_unique<WebSocketKeywordServer>(server.get());
    QVERIFY(listener->listen());
    folder = std::make_unique<Cluster>(ClusterOptions());
}

void tst_ClusterJudges::cleanup()
{
    listener.reset();
    server.reset();
    folder.reset();
}

std::unique_ptr<Inspector> tst_ClusterJudges::inspect(qint64 lastSent)
{
    auto inspector = std::make_unique<Inspector>(QStringLiteral("gateway 1"), listener->port(),
                                                 keywords, [lastSent](int) { return lastSent; });
    for (int i = 0; i < keywords; ++i)
        inspector->noteAcknowledged(i, 1, plant::now());
    return waitUntil([&] { return inspector->missing() == 0; }, longTime) ? std::move(inspector)
                                                                          : nullptr;
}

std::unique_ptr<Screens> tst_ClusterJudges::show(int count)
{
    ScreensOptions options;
    options.kind = QStringLiteral("connection");
    options.screens = count;
    options.keywordsEach = keywords;
    options.keywords = keywords;
    options.url = listener->url().toString();
    auto screens = std::make_unique<Screens>(*folder, options);
    return screens->start() && waitUntil([&] { return screens->live() == count; }, longTime)
        ? std::move(screens)
        : nullptr;
}

void tst_ClusterJudges::inspector_valueThatStaysWrong_countsUntilNow()
{
    const auto inspector = inspect(2);
    QVERIFY(inspector);
    constexpr qint64 ago = 5000;
    inspector->endFault(plant::now() - ago + 1000);
    inspector->setRecovery(plant::now() - ago + 3000);

    inspector->noteAcknowledged(0, 2, plant::now() - ago);

    Inspector::Wrongness wrongness = inspector->wrongness();
    QCOMPARE(wrongness.still, 1);
    QCOMPARE(wrongness.late, 1);
    QVERIFY(wrongness.longest >= ago);
    QVERIFY(wrongness.longestAfter >= ago - 1000);
    QVERIFY(wrongness.longestAfter <= wrongness.longest);
    QVERIFY(wrongness.longestRecovered >= ago - 3000);
    QVERIFY(wrongness.longestRecovered <= wrongness.longestAfter);

    set(0, plant::value(0, 2));
    QVERIFY(waitUntil([&] { return inspector->missing() == 0; }, longTime));
    wrongness = inspector->wrongness();
    QCOMPARE(wrongness.still, 0);
    QCOMPARE(wrongness.late, 1);
    QVERIFY(wrongness.longest >= ago);
    QVERIFY(wrongness.longestRecovered >= ago - 3000);

    // What happened before a later recovery does not count for it.
    inspector->setRecovery(plant::now());
    wrongness = inspector->wrongness();
    QCOMPARE(wrongness.longestRecovered, 0);
    QVERIFY(wrongness.longestAfter >= ago - 1000);
}

void tst_ClusterJudges::inspector_valueThatTheBrokersLost_isExcused()
{
    const auto inspector = inspect(2);
    QVERIFY(inspector);

    inspector->noteAcknowledged(0, 2, plant::now() - 5000);
    inspector->noteAcknowledged(1, 2, plant::now() - 3000);

    const Inspector::Wrongness wrongness = inspector->wrongness({1, 2, 1});
    QCOMPARE(wrongness.still, 1);
    QVERIFY(wrongness.longest >= 3000);
    QCOMPARE(inspector->wrongness({1, 1, 1}).still, 0);
    QCOMPARE(inspector->wrongness({1, 1, 1}).longest, 0);
}

void tst_ClusterJudges::inspector_valueOfAnotherKeyword_isWrong()
{
    const auto inspector = inspect(100);
    QVERIFY(inspector);

    set(0, plant::value(1, 50));

    QVERIFY(waitUntil([&] { return inspector->foreign == 1; }, longTime));
    QCOMPARE(inspector->missing(), 1);
    QCOMPARE(inspector->wrongness().still, 1);
}

void tst_ClusterJudges::inspector_valueThatWasNeverPublished_isWrong()
{
    const auto inspector = inspect(2);
    QVERIFY(inspector);

    set(0, plant::value(0, 3));

    QVERIFY(waitUntil([&] { return inspector->foreign == 1; }, longTime));
    QCOMPARE(inspector->missing(), 1);
}

// The processes end, because there are no certificates.
void tst_ClusterJudges::screens_processThatEnds_isNotRight()
{
    ScreensOptions options;
    options.kind = QStringLiteral("client");
    options.screens = 1;
    Screens screens(*folder, options);
    QVERIFY(screens.start());

    const Screens::Report told = screens.awaitRight(1);

    QVERIFY(!told.isRight());
    QCOMPARE(told.problem(), QStringLiteral("only 0 of 1 screens have reported"));
    QVERIFY(!screens.setFloor({}));
    QVERIFY(waitUntil([&] { return screens.hasEnded(); }, longTime));
}

void tst_ClusterJudges::screens_valueOfAnotherKeyword_isNotRight()
{
    const auto screens = show(2);
    QVERIFY(screens);
    QVERIFY(screens->awaitRight(1).isRight());

    set(0, plant::value(1, 1));

    QVERIFY(waitUntil([&] { return screens->report(1).foreign == 2; }, longTime));
    QCOMPARE(screens->report(1).wrong, 2);
    set(0, plant::value(0, 1));
    QVERIFY(waitUntil([&] { return screens->report(1).wrong == 0; }, longTime));
    QVERIFY(!screens->report(1).isRight());
}

void tst_ClusterJudges::screens_afterALoss_areNotRightWithValuesBelowTheFloor()
{
    const auto screens = show(2);
    QVERIFY(screens);
    QVERIFY(screens->setFloor({1, 2, 1}));

    listener->closeClients();

    const auto connections = [&] {
        qsizetype count = 0;
        for (const Screens::Course &course : screens->courses())
            count += course.connected.size();
        return count;
    };
    // The screens have received all values once the server has replied to both connections.
    QVERIFY(waitUntil([&] { return connections() >= 4; }, longTime));
    QVERIFY(screens->awaitRight(1).isRight());
    QCOMPARE(screens->live(), 0);

    set(1, plant::value(1, 2));
    QVERIFY(waitUntil([&] { return screens->live() == 2; }, longTime));
}

void tst_ClusterJudges::course_secondLossBeforeBeingRight_isOneDownTime()
{
    Screens::Course course;
    const QString lost = QStringLiteral("lost");
    const QString right = QStringLiteral("right");

    course.note(right, 100);
    QVERIFY(course.isRight());
    course.note(lost, 200);
    course.note(lost, 300);
    QVERIFY(!course.isRight());
    course.note(right, 450);

    QVERIFY(course.isRight());
    QCOMPARE(course.down, QList<qint64> {250});
}

QTEST_GUILESS_MAIN(tst_ClusterJudges)
#include "tst_clusterjudges.moc"
