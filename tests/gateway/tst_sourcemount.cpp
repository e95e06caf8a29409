// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/sourcemount.h"
#include "tests/gateway/fakesource.h"
#include "tests/server/testclient.h"

#include <QtCore/QBuffer>
#include <QtCore/QDateTime>
#include <QtTest/QTest>

#include <functional>

using namespace pellix::gateway;
using namespace pellix::server;
using namespace std::chrono_literals;

namespace {

using State = Source::State;
using Outcome = Source::Outcome;
using Confirmation = SourceKeyword::Confirmation;

SourceKeyword level(const char *path = "/tank/level")
{
    SourceKeyword keyword;
    keyword.path = q(path);
    keyword.type = q("double");
    keyword.label = q("Level in %");
    return keyword;
}

SourceKeyword setpoint(const char *type = "double")
{
    SourceKeyword keyword;
    keyword.path = q("/set");
    keyword.type = q(type);
    keyword.access = q("RW");
    keyword.confirmWithin = 5s;
    return keyword;
}

} // namespace

class tst_SourceMount : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void keywords_areDeclaredUnderTheMount_data();
    void keywords_areDeclaredUnderTheMount();
    void flags_data();
    void flags();
    void flags_comeWithTheValueInOneEvent();
    void values_goStale();
    void values_goStaleEachInItsTurn();
    void values_ageByTheirOwnTime();
    void link_backIsConnectedAtOnceAndOnlineWithAValue();
    void link_lostTellsEachWatchedKeywordOnce();
    void declared_againChangesWhatIsThere();
    void declared_twiceTheFirstStays();
    void declared_byTwoSourcesTheFirstStaysUntilRemoved();
    void declared_beyondTheLimitIsRefused();
    void declared_beyondTheLimitIsServedWhenThereIsRoom_data();
    void declared_beyondTheLimitIsServedWhenThereIsRoom();
    void declared_beyondTheLimitWaitsForItsPath();
    void removed_isGone();
    void requests_reachTheSource();
    void requests_ofBeforeReachTheSource();
    void requests_areOnesOfAggregates();
    void release_comesAfterTheLastClient();
    void release_ofAllIfTheServerIsCleared();
    void browse_isAnsweredWithWhatItBrings();

    void writes_data();
    void writes();
    void writes_waitingLongAreNotConsistent();
    void writes_answeredQuicklyDoNotFlicker();
    void writes_withoutReadbackAreRefusedInTime_data();
    void writes_withoutReadbackAreRefusedInTime();
    void writes_relativeAddUp();
    void writes_relativeReachTheSourceAsAChange();
    void writes_ofOneKeywordAreSettledInTheirOrder();
    void writes_anOldValueDoesNotSettleALaterOne();
    void writes_overtakenEndWell();
    void writes_waitLongerInTheServer();
    void writes_endWith_data();
    void writes_endWith();
    void anything_mayGoInAHandler_data();
    void anything_mayGoInAHandler();
    void statistics_count();

private:
    void declareSetpoint(const SourceKeyword &keyword, const QVariant &value)
    {
        source->declare({keyword});
        source->go(State::Ready);
        if (value.isValid())
            source->report(q("/set"), value);
        client->create("/p/set");
        client->taken();
    }
    void leave(const char *path)
    {
        client->command("keyDestroy", qPrintable(q(R"({"keyword":"%1"})").arg(q(path))));
    }
    quint64 lastWrite() const { return source->writes.back().id; }

    std::unique_ptr<KeywordServer> server;
    std::unique_ptr<FakeSource> source;
    std::unique_ptr<SourceMount> mount;
    std::unique_ptr<FakeSource> otherSource;
    std::unique_ptr<SourceMount> otherMount;
    std::unique_ptr<Client> client;
    QBuffer audit;
};

void tst_SourceMount::init()
{
    server = std::make_unique<KeywordServer>();
    source = std::make_unique<FakeSource>();
    mount = std::make_unique<SourceMount>(source.get(), server.get(), q("line1"), q("/p"), nullptr);
    client = std::make_unique<Client>(server.get());
    audit.close();
    audit.setData(QByteArray());
    QVERIFY(audit.open(QIODevice::ReadWrite));
    server->setAuditDevice(&audit);
}

void tst_SourceMount::cleanup()
{
    client.reset();
    mount.reset();
    otherMount.reset();
    source.reset();
    otherSource.reset();
    server.reset();
}

void tst_SourceMount::keywords_areDeclaredUnderTheMount_data()
{
    QTest::addColumn<QString>("mounted");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    QTest::newRow("level") << q("/plant") << q("/a/b") << q("/plant/a/b");
    QTest::newRow("deep mount") << q("/plant/line1") << q("/a") << q("/plant/line1/a");
    QTest::newRow("the top") << q("/") << q("/a/b") << q("/a/b");
    QTest::newRow("slash at the end") << q("/plant/") << q("/a") << q("/plant/a");
    QTest::newRow("the mount itself") << q("/plant") << q("") << q("/plant");
    QTest::newRow("no slash before") << q("plant") << q("a") << q("/plant/a");
}

void tst_SourceMount::keywords_areDeclaredUnderTheMount()
{
    QFETCH(QString, mounted);
    QFETCH(QString, path);
    QFETCH(QString, expected);
    mount = std::make_unique<SourceMount>(source.get(), server.get(), q("x"), mounted, nullptr);
    SourceKeyword keyword = level();
    keyword.path = path;
    source->declare({keyword});
    source->go(State::Ready);
    source->report(path, 1.5);
    QVERIFY(server->contains(expected));
    QCOMPARE(server->keywordCount(), 1);
    client->create(qPrintable(expected));
    client->create(qPrintable(expected + q("/Label")));
    QCOMPARE(
        client->taken(),
        q("%1=1.5 coc- | %1/Label=\"Level in %\" coc-").arg(expected).replace(q("%1"), expected));
}

void tst_SourceMount::flags_data()
{
    using Step = std::function<void(FakeSource *)>;
    QTest::addColumn<Step>("step");
    QTest::addColumn<QString>("shown");
    const auto value = [](const QVariant &value) {
        SourceValue reported;
        reported.path = q("/tank/level");
        reported.value = value;
        return reported;
    };
    const auto row = [](const char *name, const char *shown, const Step &step) {
        QTest::newRow(name) << step << q(shown);
    };
    row("declared, no link yet", "null --c-", [](FakeSource *s) { s->go(State::Connecting); });
    row("linked, what there is is not known", "null --c-",
        [](FakeSource *s) { s->go(State::Subscribing); });
    row("ready, no value", "null c-c-", [](FakeSource *s) { s->go(State::Ready); });
    row("ready, a value came", "1.5 coc-", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(1.5));
    });
    row("a value came before ready", "1.5 coc-", [=](FakeSource *s) {
        s->go(State::Subscribing);
        s->report(value(1.5));
        s->go(State::Ready);
    });
    row("a value came, not ready yet", "1.5 --c-", [=](FakeSource *s) {
        s->go(State::Subscribing);
        s->report(value(1.5));
    });
    row("the value null", "null coc-", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(1.5));
        s->report(value(QVariant()));
    });
    row("not available", "1.5 c-c-", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(1.5));
        SourceValue gone = value({});
        gone.value.reset();
        gone.online = false;
        s->report(gone);
    });
    row("available again", "1.5 coc-", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(1.5));
        SourceValue told = value({});
        told.value.reset();
        told.online = false;
        s->report(told);
        told.online = true;
        s->report(told);
    });
    row("available, but no value", "null c-c-", [=](FakeSource *s) {
        s->go(State::Ready);
        SourceValue told = value({});
        told.value.reset();
        s->report(told);
    });
    row("older than it may be", "1.5 c-c-", [=](FakeSource *s) {
        s->go(State::Ready);
        SourceValue old = value(1.5);
        old.time = QDateTime::currentMSecsSinceEpoch() - 3'700'000;
        s->report(old);
    });
    row("not as old as it may be", "1.5 coc-", [=](FakeSource *s) {
        s->go(State::Ready);
        SourceValue old = value(1.5);
        old.time = QDateTime::currentMSecsSinceEpoch() - 1'000'000;
        s->report(old);
    });
    row("from the future", "1.5 coc-", [=](FakeSource *s) {
        s->go(State::Ready);
        SourceValue early = value(1.5);
        early.time = QDateTime::currentMSecsSinceEpoch() + 3'700'000;
        s->report(early);
    });
    row("above the limits", "100.5 co--", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(100.5));
    });
    row("below the limits", "-1 co--", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(-1.0));
    });
    row("within the limits again", "100 coc-", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(-1.0));
        s->report(value(100.0));
    });
    row("the source says inconsistent", "1.5 co--", [=](FakeSource *s) {
        s->go(State::Ready);
        SourceValue reported = value(1.5);
        reported.consistent = false;
        s->report(reported);
    });
    row("the source says error", "1.5 coce", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(1.5));
        SourceValue reported = value({});
        reported.value.reset();
        reported.error = true;
        s->report(reported);
    });
    row("error is over with the next value", "2 coc-", [=](FakeSource *s) {
        s->go(State::Ready);
        SourceValue reported = value({});
        reported.value.reset();
        reported.error = true;
        s->report(reported);
        s->report(value(2.0));
    });
    row("a value of another type", "1.5 coce", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(1.5));
        s->report(value(q("ON")));
    });
    row("lost keeps the value", "1.5 --c-", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(1.5));
        s->go(State::Lost);
    });
    row("lost keeps the other flags", "101 ---e", [=](FakeSource *s) {
        s->go(State::Ready);
        SourceValue reported = value(101.0);
        reported.error = true;
        s->report(reported);
        s->go(State::Lost);
    });
    row("stopped", "1.5 --c-", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(1.5));
        s->go(State::Stopped);
    });
    row("ready again, no value since", "1.5 c-c-", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(1.5));
        s->go(State::Lost);
        s->go(State::Subscribing);
        s->go(State::Ready);
    });
    row("ready again, with a value", "1.5 coc-", [=](FakeSource *s) {
        s->go(State::Ready);
        s->report(value(1.5));
        s->go(State::Lost);
        s->go(State::Subscribing);
        s->report(value(1.5));
        s->go(State::Ready);
    });
    row("a value while there is no link", "2 --c-", [=](FakeSource *s) {
        s->go(State::Ready);
        s->go(State::Lost);
        s->report(value(2.0));
    });
}

void tst_SourceMount::flags()
{
    QFETCH(std::function<void(FakeSource *)>, step);
    QFETCH(QString, shown);
    SourceKeyword keyword = level();
    keyword.minimum = 0;
    keyword.maximum = 100;
    keyword.staleAfter = 1h;
    source->declare({keyword});
    step(source.get());
    client->create("/p/tank/level");
    QCOMPARE(client->taken(), q("/p/tank/level=") + shown);
    QCOMPARE(mount->statistics().online,
             shown.contains(q("oc")) || shown.contains(q("o-")) ? 1 : 0);
}

void tst_SourceMount::flags_comeWithTheValueInOneEvent()
{
    source->declare({level()});
    client->create("/p/tank/level");
    source->go(State::Ready);
    source->report(q("/tank/level"), 1.5);
    QCOMPARE(client->taken(),
             q("/p/tank/level=null --c- | /p/tank/level=null c-c- | /p/tank/level=1.5 coc-"));
    source->report(q("/tank/level"), 1.5);
    QCOMPARE(client->taken(), QString());
}

void tst_SourceMount::values_goStale()
{
    SourceKeyword keyword = level();
    keyword.staleAfter = 50ms;
    source->declare({keyword});
    source->go(State::Ready);
    client->create("/p/tank/level");
    client->taken();
    source->report(q("/tank/level"), 1.5);
    QTRY_COMPARE(client->seen.join(q(" | ")), q("/p/tank/level=1.5 coc- | /p/tank/level=1.5 c-c-"));
    client->taken();
    // The same value, reported again, is current again.
    source->report(q("/tank/level"), 1.5);
    QCOMPARE(client->taken(), q("/p/tank/level=1.5 coc-"));
    QTRY_COMPARE(client->seen.join(q(" | ")), q("/p/tank/level=1.5 c-c-"));
}

void tst_SourceMount::values_goStaleEachInItsTurn()
{
    QList<SourceKeyword> keywords;
    for (int i = 0; i < 3; ++i) {
        keywords.append(level(qPrintable(q("/k%1").arg(i))));
        keywords.last().staleAfter = std::chrono::milliseconds(300 - 100 * i);
        client->create(qPrintable(q("/p/k%1").arg(i)));
    }
    source->declare(keywords);
    source->go(State::Ready);
    for (int i = 0; i < 3; ++i)
        source->report(q("/k%1").arg(i), 1);
    client->taken();
    QTRY_COMPARE(client->seen.size(), 3);
    QCOMPARE(client->taken(), q("/p/k2=1 c-c- | /p/k1=1 c-c- | /p/k0=1 c-c-"));
}

void tst_SourceMount::values_ageByTheirOwnTime()
{
    SourceKeyword keyword = level();
    keyword.staleAfter = 1h;
    source->declare({keyword});
    source->go(State::Ready);
    client->create("/p/tank/level");
    client->taken();
    source->report(q("/tank/level"), 1.5);
    QCOMPARE(client->taken(), q("/p/tank/level=1.5 coc-"));
    // This value becomes stale earlier, although it was reported later.
    source->report(q("/tank/level"), 1.5, QDateTime::currentMSecsSinceEpoch() - 3'600'000 + 100);
    QTRY_COMPARE(client->seen.join(q(" | ")), q("/p/tank/level=1.5 c-c-"));
}

void tst_SourceMount::link_backIsConnectedAtOnceAndOnlineWithAValue()
{
    source->declare({level("/a"), level("/b")});
    source->go(State::Ready);
    source->report(q("/a"), 1);
    source->report(q("/b"), 2);
    client->create("/p/a");
    client->create("/p/b");
    client->taken();
    source->go(State::Lost);
    QCOMPARE(QSet<QString>(client->seen.begin(), client->seen.end()),
             (QSet<QString> {q("/p/a=1 --c-"), q("/p/b=2 --c-")}));
    client->taken();
    source->go(State::Subscribing);
    source->report(q("/a"), 1);
    QCOMPARE(client->taken(), QString());
    source->go(State::Ready);
    QCOMPARE(QSet<QString>(client->seen.begin(), client->seen.end()),
             (QSet<QString> {q("/p/a=1 coc-"), q("/p/b=2 c-c-")}));
    client->taken();
    source->report(q("/b"), 2);
    QCOMPARE(client->taken(), q("/p/b=2 coc-"));
}

void tst_SourceMount::link_lostTellsEachWatchedKeywordOnce()
{
    QList<SourceKeyword> keywords;
    for (int i = 0; i < 1000; ++i)
        keywords.append(level(qPrintable(q("/k%1").arg(i))));
    source->declare(keywords);
    source->go(State::Ready);
    for (int i = 0; i < 1000; ++i)
        source->report(q("/k%1").arg(i), i);
    QCOMPARE(mount->statistics().online, 1000);
    client->create("/p/k7");
    client->create("/p/k9");
    client->taken();
    source->go(State::Lost);
    QCOMPARE(client->seen.size(), 2);
    source->go(State::Connecting);
    source->go(State::Lost);
    QCOMPARE(client->seen.size(), 2);
    QCOMPARE(mount->statistics().online, 0);
    QCOMPARE(server->value(q("/p/k7")), QVariant(7.0));
}

void tst_SourceMount::declared_againChangesWhatIsThere()
{
    SourceKeyword keyword = setpoint();
    declareSetpoint(keyword, 5);
    client->create("/p/set/Label");
    client->taken();
    keyword.label = q("Set");
    keyword.maximum = 3;
    keyword.access = q("R");
    source->declare({keyword});
    QCOMPARE(client->taken(), q("/p/set=5 co-- | /p/set/Label=\"Set\" coc-"));
    client->update("/p/set", "1");
    QCOMPARE(client->taken(), q("/p/set=5 co-e"));
    keyword.label.clear();
    keyword.maximum.clear();
    keyword.type = q("string");
    source->declare({keyword});
    QCOMPARE(client->taken(), q("/p/set=null coc- | /p/set/Label=\"\" coc-"));
    QCOMPARE(mount->statistics().conflicts, 0u);
    QCOMPARE(mount->statistics().keywords, 1);
}

void tst_SourceMount::declared_twiceTheFirstStays()
{
    SourceKeyword second = level();
    second.type = q("string");
    QTest::ignoreMessage(QtWarningMsg,
                         "line1: /p/tank/level already exists and is not served again; further "
                         "ones are only counted");
    source->declare({level(), second, second});
    source->go(State::Ready);
    source->report(q("/tank/level"), 1.5);
    client->create("/p/tank/level");
    QCOMPARE(client->taken(), q("/p/tank/level=1.5 coc-"));
    QCOMPARE(mount->statistics().conflicts, 2u);
}

void tst_SourceMount::declared_byTwoSourcesTheFirstStaysUntilRemoved()
{
    const auto queue = SourceMount::createQueue();
    FakeSource first, other, third;
    auto firstMount = std::make_unique<SourceMount>(&first, server.get(), q("a"), q("/x"), queue);
    const SourceMount otherMount(&other, server.get(), q("b"), q("/x/tank"), queue);
    auto thirdMount = std::make_unique<SourceMount>(&third, server.get(), q("c"), q("/x"), queue);
    first.declare({level()});
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^b: /x/tank/level already exists")));
    other.declare({level("/level")});
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^c: /x/tank/level already exists")));
    third.declare({level()});
    for (FakeSource *const one : {&first, &other, &third})
        one->go(State::Ready);
    first.report(q("/tank/level"), 1);
    other.report(q("/level"), 2);
    third.report(q("/tank/level"), 3);
    client->create("/x/tank/level");
    QCOMPARE(client->taken(), q("/x/tank/level=1 coc-"));
    QCOMPARE(otherMount.statistics().conflicts, 1u);
    QCOMPARE(otherMount.statistics().keywords, 0);

    first.remove(q("/tank/level"));
    QCOMPARE(client->taken(), q("/x/tank/level=2 coc-"));
    QCOMPARE(otherMount.statistics().keywords, 1);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^a: /x/tank/level already exists")));
    first.declare({level()}); // now it is the waiting one
    thirdMount.reset();
    other.remove(q("/level"));
    QCOMPARE(client->taken(), q("/x/tank/level=null c-c-"));
    firstMount.reset();
    QCOMPARE(client->taken(), q("/x/tank/level=null --c-"));
    QVERIFY(!server->contains(q("/x/tank/level")));
}

void tst_SourceMount::declared_beyondTheLimitIsRefused()
{
    Limits limits;
    limits.keywords = 2;
    server->setLimits(limits);
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(q("^line1: /p/c is not served: there are "
                                              "2 keywords of at most 2")));
    source->declare({level("/a"), level("/b"), level("/c"), level("/d")});
    source->go(State::Ready);
    source->report(q("/c"), 1);
    QCOMPARE(server->keywordCount(), 2);
    QCOMPARE(mount->statistics().refusedDeclarations, 2u);
    QCOMPARE(mount->statistics().waiting, 2);
    QCOMPARE(mount->statistics().keywords, 2);
    QCOMPARE(mount->statistics().online, 0);
    source->remove(q("/c"));
    source->remove(q("/d"));
    QCOMPARE(mount->statistics().waiting, 0);
    source->remove(q("/a"));
    source->declare({level("/c")});
    source->report(q("/c"), 1);
    QCOMPARE(server->value(q("/p/c")), QVariant(1.0));
    // An invalid declaration does not wait.
    SourceKeyword invalid = level("/e");
    invalid.type = q("none");
    source->remove(q("/c"));
    source->declare({invalid});
    QCOMPARE(mount->statistics().refusedDeclarations, 3u);
    QCOMPARE(mount->statistics().waiting, 0);
}

void tst_SourceMount::declared_beyondTheLimitIsServedWhenThereIsRoom_data()
{
    using Step = std::function<void(tst_SourceMount *)>;
    QTest::addColumn<Step>("step");
    QTest::newRow("one is removed") << Step([](tst_SourceMount *t) { t->source->remove(q("/a")); });
    QTest::newRow("another source removes one")
        << Step([](tst_SourceMount *t) { t->otherSource->remove(q("/b")); });
    QTest::newRow("another source goes") << Step([](tst_SourceMount *t) { t->otherMount.reset(); });
    QTest::newRow("the limit is raised") << Step([](tst_SourceMount *t) {
        Limits limits = t->server->limits();
        ++limits.keywords;
        t->server->setLimits(limits);
        t->mount->serveWaiting();
    });
}

void tst_SourceMount::declared_beyondTheLimitIsServedWhenThereIsRoom()
{
    QFETCH(std::function<void(tst_SourceMount *)>, step);
    const auto queue = SourceMount::createQueue();
    mount = std::make_unique<SourceMount>(source.get(), server.get(), q("line1"), q("/p"), queue);
    otherSource = std::make_unique<FakeSource>();
    otherMount =
        std::make_unique<SourceMount>(otherSource.get(), server.get(), q("line2"), q("/o"), queue);
    Limits limits;
    limits.keywords = 2;
    server->setLimits(limits);
    otherSource->declare({level("/b")});
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^line1: /p/set is not served")));
    SourceKeyword second = setpoint();
    second.path = q("/second");
    source->declare({level("/a"), setpoint(), second});
    source->go(State::Ready);
    source->report(q("/set"), 1);
    source->report(q("/second"), 2);
    client->create("/p/set");
    client->create("/p/second");
    QCOMPARE(client->taken(), q("/p/set=null --c- | /p/second=null --c-"));
    step(this);
    // The first one that was refused is served, with its value, and can be written.
    QCOMPARE(client->taken(), q("/p/set=1 coc-"));
    QCOMPARE(mount->statistics().waiting, 1);
    client->update("/p/set", "7");
    QCOMPARE(source->writes.size(), std::size_t(1));
    source->report(q("/set"), 7);
    QCOMPARE(client->taken(), q("/p/set=7 coc-"));
    source->remove(q("/set"));
    QCOMPARE(client->taken(), q("/p/set=null --c- | /p/second=2 coc-"));
    QCOMPARE(mount->statistics().waiting, 0);
}

void tst_SourceMount::declared_beyondTheLimitWaitsForItsPath()
{
    const auto queue = SourceMount::createQueue();
    mount = std::make_unique<SourceMount>(source.get(), server.get(), q("line1"), q("/p"), queue);
    otherSource = std::make_unique<FakeSource>();
    otherMount =
        std::make_unique<SourceMount>(otherSource.get(), server.get(), q("line2"), q("/p"), queue);
    Limits limits;
    limits.keywords = 1;
    server->setLimits(limits);
    source->declare({level("/a")});
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^line1: /p/b is not served")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^line2: /p/b is not served")));
    source->declare({level("/b")});
    otherSource->declare({level("/b")});
    source->report(q("/b"), 1);
    otherSource->report(q("/b"), 2);
    limits.keywords = 2;
    server->setLimits(limits);
    mount->serveWaiting();
    otherMount->serveWaiting();
    QCOMPARE(server->value(q("/p/b")), QVariant(1.0));
    limits.keywords = 3;
    server->setLimits(limits);
    otherMount->serveWaiting();
    QCOMPARE(server->value(q("/p/b")), QVariant(1.0));
    QCOMPARE(otherMount->statistics().waiting, 0);
    QCOMPARE(otherMount->statistics().conflicts, 1u);
    source->remove(q("/b"));
    QCOMPARE(server->value(q("/p/b")), QVariant(2.0));
}

void tst_SourceMount::removed_isGone()
{
    SourceKeyword keyword = level();
    keyword.staleAfter = 10ms;
    source->declare({keyword});
    source->go(State::Ready);
    source->report(q("/tank/level"), 1);
    client->create("/p/tank/level");
    client->taken();
    Q_EMIT source->reported({{q("/tank/level"), q("/never")}, {}, {}});
    QCOMPARE(client->taken(), q("/p/tank/level=null --c-"));
    source->report(q("/tank/level"), 2);
    QCOMPARE(client->taken(), QString());
    QCOMPARE(mount->statistics().keywords, 0);
    QCOMPARE(mount->statistics().online, 0);
    // Removed and declared again in one report.
    source->declare({level()});
    client->taken();
    Q_EMIT source->reported({{q("/tank/level")}, {level()}, {}});
    QCOMPARE(client->taken(), q("/p/tank/level=null c-c-"));
    mount.reset();
    QCOMPARE(client->taken(), q("/p/tank/level=null --c-"));
    QCOMPARE(server->keywordCount(), 0);
}

void tst_SourceMount::requests_reachTheSource()
{
    client->create("/p/tank/level");
    client->create("/plant/a");
    client->create("/p");
    QCOMPARE(source->requested, (QStringList {q("/tank/level"), q("")}));
}

void tst_SourceMount::requests_ofBeforeReachTheSource()
{
    mount.reset();
    client->create("/p/a");
    client->create("/p2/b");
    mount = std::make_unique<SourceMount>(source.get(), server.get(), q("line1"), q("/p"), nullptr);
    QTRY_COMPARE(source->requested, QStringList {q("/a")});
    leave("/p/a");
    QTRY_COMPARE(source->released, QStringList {q("/a")});
}

void tst_SourceMount::requests_areOnesOfAggregates()
{
    client->session->receive(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/sum",)"
                             R"("aggregation":"sum","children":["/p/a","/p/b"]}})");
    QCOMPARE(source->requested, (QStringList {q("/a"), q("/b")}));
    client->create("/p/a");
    leave("/sum");
    QTRY_COMPARE(source->released, QStringList {q("/b")});
    leave("/p/a");
    QTRY_COMPARE(source->released, (QStringList {q("/b"), q("/a")}));
}

void tst_SourceMount::release_comesAfterTheLastClient()
{
    auto other = std::make_unique<Client>(server.get());
    client->create("/p/a");
    other->create("/p/a");
    other->create("/p/b");
    QCOMPARE(source->requested, (QStringList {q("/a"), q("/b")}));
    other.reset();
    QTRY_COMPARE(source->released, QStringList {q("/b")});
    // A client that unsubscribes and subscribes at once has no effect on the source.
    leave("/p/a");
    client->create("/p/a");
    client->create("/p/b");
    leave("/p/b");
    QTRY_COMPARE(source->released, (QStringList {q("/b"), q("/b")}));
    QCOMPARE(source->requested, (QStringList {q("/a"), q("/b"), q("/b")}));
    client.reset();
    QTRY_COMPARE(source->released, (QStringList {q("/b"), q("/b"), q("/a")}));
}

void tst_SourceMount::release_ofAllIfTheServerIsCleared()
{
    client->create("/p/a");
    server->clear();
    QTRY_COMPARE(source->released, QStringList {q("/a")});
}

void tst_SourceMount::browse_isAnsweredWithWhatItBrings()
{
    source->onBrowse = [this](const QString &path) {
        if (path == q("/tank"))
            source->declare({level()});
    };
    const auto list = [&](const char *levels) {
        client->session->receive(QByteArray(R"({"cmd":"keyIndex","payload":{"keyQuery":[)") + levels
                                 + "]}}");
    };
    list(R"("other")");
    list("");
    QCOMPARE(source->browsed, QStringList());
    list(R"("p")");
    list(R"("p","tank")");
    QCOMPARE(source->browsed, (QStringList {q(""), q("/tank")}));
    QVERIFY(client->taken().contains(q("/p/tank/level")));
    // The client or everything else may have been deleted by then.
    source->onBrowse = [this](const QString &) { client.reset(); };
    KeywordSession *const session = client->session.get();
    session->receive(R"({"cmd":"keyIndex","payload":{"keyQuery":["p"]}})");
    QCOMPARE(server->sessionCount(), 0);
}

// The columns: the keyword, the write, the reaction of the source, and the events for the writer.
void tst_SourceMount::writes_data()
{
    using Step = std::function<void(tst_SourceMount *)>;
    QTest::addColumn<SourceKeyword>("keyword");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("written");
    QTest::addColumn<bool>("relative");
    QTest::addColumn<Step>("step");
    QTest::addColumn<QVariant>("sent"); // to the source; invalid: no write
    QTest::addColumn<QString>("told");
    QTest::addColumn<QString>("reason"); // the reason for a refusal, "pending", or "accepted"
    const auto row = [](const char *name, const SourceKeyword &keyword, const QVariant &value,
                        const char *written, const QVariant &sent, const char *told,
                        const char *reason, const Step &step = {}, bool relative = false) {
        QTest::newRow(name) << keyword << value << q(written) << relative << step << sent << q(told)
                            << q(reason);
    };
    const auto answer = [](Outcome outcome, const char *reason = "") {
        return [=](tst_SourceMount *t) { t->source->answer(t->lastWrite(), outcome, q(reason)); };
    };
    const auto report = [](const QVariant &value) {
        return [=](tst_SourceMount *t) { t->source->report(q("/set"), value); };
    };
    const auto both = [](const Step &first, const Step &second) {
        return [=](tst_SourceMount *t) {
            first(t);
            second(t);
        };
    };
    const Step accepted = answer(Outcome::Accepted);

    SourceKeyword limited = setpoint();
    limited.minimum = 0;
    limited.maximum = 100;
    SourceKeyword stepped = limited;
    stepped.step = 0.5;
    SourceKeyword steppedInt = setpoint("int");
    steppedInt.maximum = 100;
    steppedInt.step = 7;
    SourceKeyword wholeInt = setpoint("int");
    wholeInt.step = 1;
    SourceKeyword coarseInt = setpoint("int");
    coarseInt.minimum = 0;
    coarseInt.step = 1000000;
    SourceKeyword chosen = setpoint("string");
    chosen.choices = {q("off"), q("eco")};
    SourceKeyword close = setpoint();
    close.tolerance = 0.25;
    SourceKeyword readOnly = setpoint();
    readOnly.access = q("R");
    SourceKeyword assumed = setpoint();
    assumed.confirmation = Confirmation::Assumed;
    SourceKeyword answered = setpoint();
    answered.confirmation = Confirmation::Answer;
    SourceKeyword command = answered;
    command.type = q("string");
    command.access = q("W");

    // Whether the write is allowed
    row("not writable", readOnly, 5, "7", {}, "5 coce", "the keyword is not writable");
    row("of another type", limited, 5, "\"7\"", {}, "5 coce", "the value does not fit");
    row("above the maximum", limited, 5, "100.5", {}, "5 coce", "the value is out of range");
    row("below the minimum", limited, 5, "-1", {}, "5 coce", "the value is out of range");
    row("the maximum", limited, 5, "100", 100.0, "", "pending");
    row("none of the choices", chosen, q("off"), "\"on\"", {}, "\"off\" coce",
        "the value is not one of the choices");
    row("one of the choices", chosen, q("off"), "\"eco\"", q("eco"), "", "pending");
    row("rounded to a step", stepped, 5, "7.3", 7.5, "", "pending");
    row("rounded beyond a limit", steppedInt, 2, "104", {}, "2 coce", "the value is out of range");
    row("rounded, an int from its maximum", steppedInt, 2, "90", 93LL, "", "pending");
    row("rounded, an int with more digits than a double", wholeInt, 2, "9007199254740993",
        9007199254740993LL, "", "pending");
    row("rounded up at half a step", coarseInt, 2, "2500000", 3000000LL, "", "pending");
    row("rounded, more than 64 bits", coarseInt, 2, "9223372036854775807", {}, "2 coce",
        "the value does not fit");

    // Accepted
    row("sent, nothing yet", setpoint(), 5, "7", 7.0, "", "pending");
    row("acknowledged, no readback yet", setpoint(), 5, "7", 7.0, "", "pending", accepted);
    row("acknowledged and read back", setpoint(), 5, "7", 7.0, "7 coc-", "accepted",
        both(accepted, report(7.0)));
    row("read back before it is acknowledged", setpoint(), 5, "7", 7.0, "7 coc-", "accepted",
        both(report(7.0), accepted));
    row("read back as another number type", setpoint("int"), 5, "7", 7LL, "7 coc-", "accepted",
        both(accepted, report(7.0)));
    row("read back with 32-bit digits", setpoint(), 5, "21.1", 21.1, "21.100000381469727 coc-",
        "accepted", both(accepted, report(21.100000381469727)));
    row("read back within the tolerance", close, 5, "7", 7.0, "7.25 coc-", "accepted",
        both(accepted, report(7.25)));
    row("read back beyond the tolerance", close, 5, "7", 7.0, "7.5 coc-", "pending",
        both(accepted, report(7.5)));
    row("an object", setpoint("object"), QVariantMap {}, R"({"a":1})", QVariantMap {{q("a"), 1}},
        R"({"a":1} coc-)", "accepted", both(accepted, report(QVariantMap {{q("a"), 1.0}})));
    row("the value that it has, acknowledged", setpoint(), 5, "5", 5.0, "", "accepted", accepted);
    row("the value that it has, not acknowledged", setpoint(), 5, "5", 5.0, "", "pending");
    row("something else read back", setpoint(), 5, "7", 7.0, "6 coc-", "pending",
        both(accepted, report(6.0)));
    row("no value before", setpoint(), {}, "7", 7.0, "7 coc-", "accepted",
        both(accepted, report(7.0)));

    // Refused by the source
    row("refused", setpoint(), 5, "7", 7.0, "5 coce", "Not authorized",
        answer(Outcome::Refused, "Not authorized"));
    row("outcome not known", setpoint(), 5, "7", 7.0, "5 coce", "the outcome is unknown: link lost",
        answer(Outcome::Unknown, "link lost"));

    // Without readback
    row("assumed, not sent yet", assumed, 5, "7", 7.0, "", "pending");
    row("assumed, sent", assumed, 5, "7", 7.0, "7 coc-", "accepted", accepted);
    row("assumed, nothing before", assumed, {}, "7", 7.0, "7 coc-", "accepted", accepted);
    row("assumed, refused", assumed, 5, "7", 7.0, "5 coce", "no", answer(Outcome::Refused, "no"));
    row("assumed, not known", assumed, 5, "7", 7.0, "5 coce", "the outcome is unknown: no",
        answer(Outcome::Unknown, "no"));
    row("answer is enough, not the wish", answered, 5, "7", 7.0, "", "accepted", accepted);
    row("a command without a state", command, {}, "\"PRESS\"", q("PRESS"), "", "accepted",
        accepted);
    row("answer refused", answered, 5, "7", 7.0, "5 coce", "no", answer(Outcome::Refused, "no"));

    // Relative
    row("relative", setpoint(), 5, "2", 7.0, "7 coc-", "accepted", both(accepted, report(7.0)),
        true);
    row("relative, an int", setpoint("int"), 5, "-7", -2LL, "", "pending", {}, true);
    row("relative, a toggle", setpoint("bool"), true, "true", false, "", "pending", {}, true);
    row("relative, beyond a limit", limited, 99, "2", {}, "99 coce", "the value is out of range",
        {}, true);
    row("relative, no value", setpoint(), {}, "2", {}, "null c-ce",
        "there is no current value to which to add", {}, true);
    row("relative, to text", setpoint("string"), q("a"), "\"b\"", {}, "\"a\" coce",
        "the value does not fit", {}, true);
}

void tst_SourceMount::writes()
{
    QFETCH(SourceKeyword, keyword);
    QFETCH(QVariant, value);
    QFETCH(QString, written);
    QFETCH(bool, relative);
    QFETCH(std::function<void(tst_SourceMount *)>, step);
    QFETCH(QVariant, sent);
    QFETCH(QString, told);
    QFETCH(QString, reason);
    declareSetpoint(keyword, value);
    client->update("/p/set", qPrintable(written), relative);
    if (step)
        step(this);
    QCOMPARE(source->writes.size(), sent.isValid() ? 1u : 0u);
    if (sent.isValid()) {
        QCOMPARE(source->writes[0].path, q("/set"));
        QCOMPARE(source->writes[0].value, sent);
        QVERIFY(!source->writes[0].change.isValid());
    }
    QCOMPARE(client->taken(), told.isEmpty() ? QString() : q("/p/set=") + told);
    const QJsonObject line = QJsonDocument::fromJson(audit.data()).object();
    if (reason == q("pending")) {
        QVERIFY(line.isEmpty());
    } else if (reason == q("accepted")) {
        QCOMPARE(line.value(q("outcome")).toString(), reason);
    } else {
        QCOMPARE(line.value(q("outcome")).toString(), q("refused"));
        QCOMPARE(line.value(q("reason")).toString(), reason);
    }
}

void tst_SourceMount::writes_waitingLongAreNotConsistent()
{
    declareSetpoint(setpoint(), 5);
    client->update("/p/set", "7");
    client->update("/p/set", "8");
    source->answer(1, Outcome::Accepted);
    QTRY_COMPARE(client->seen.join(q(" | ")), q("/p/set=5 co--"));
    client->taken();
    source->report(q("/set"), 7);
    QCOMPARE(client->taken(), q("/p/set=7 co--"));
    source->report(q("/set"), 8);
    QCOMPARE(client->taken(), q("/p/set=8 coc-"));
}

void tst_SourceMount::writes_answeredQuicklyDoNotFlicker()
{
    SourceKeyword keyword = setpoint();
    keyword.confirmWithin = 10ms;
    declareSetpoint(keyword, 5);
    client->update("/p/set", "7");
    QTRY_COMPARE(client->seen.join(q(" | ")), q("/p/set=5 coce"));
}

void tst_SourceMount::writes_withoutReadbackAreRefusedInTime_data()
{
    QTest::addColumn<bool>("acknowledged");
    QTest::addColumn<QVariant>("reported");
    QTest::addColumn<QString>("told");
    QTest::addColumn<QString>("reason");
    QTest::newRow("not acknowledged")
        << false << QVariant() << q("/p/set=5 co-- | /p/set=5 coc- | /p/set=5 coce")
        << q("not acknowledged in time; the outcome is unknown");
    QTest::newRow("never answers")
        << true << QVariant() << q("/p/set=5 co-- | /p/set=5 coc- | /p/set=5 coce")
        << q("no readback of the value in time");
    QTest::newRow("answers something else")
        << true << QVariant(6) << q("/p/set=6 coc- | /p/set=6 co-- | /p/set=6 coc- | /p/set=6 coce")
        << q("no readback of the value in time");
}

void tst_SourceMount::writes_withoutReadbackAreRefusedInTime()
{
    QFETCH(bool, acknowledged);
    QFETCH(QVariant, reported);
    QFETCH(QString, told);
    QFETCH(QString, reason);
    SourceKeyword keyword = setpoint();
    keyword.confirmWithin = 500ms;
    declareSetpoint(keyword, 5);
    client->update("/p/set", "7");
    if (acknowledged)
        source->answer(lastWrite(), Outcome::Accepted);
    if (reported.isValid())
        source->report(q("/set"), reported);
    QTRY_COMPARE(client->seen.join(q(" | ")), told);
    QCOMPARE(QJsonDocument::fromJson(audit.data()).object().value(q("reason")).toString(), reason);
    QCOMPARE(mount->statistics().unconfirmedWrites, 1u);
    source->answer(lastWrite(), Outcome::Accepted); // after the timeout
    source->report(q("/set"), 7);
    QCOMPARE(client->seen.last(), q("/p/set=7 coc-"));
}

void tst_SourceMount::writes_relativeAddUp()
{
    declareSetpoint(setpoint(), 5);
    Client other(server.get());
    client->update("/p/set", "1", true);
    other.update("/p/set", "1", true);
    client->update("/p/set", "20");
    other.update("/p/set", "0.5", true);
    QCOMPARE(source->writes[0].value, QVariant(6.0));
    QCOMPARE(source->writes[1].value, QVariant(7.0));
    QCOMPARE(source->writes[2].value, QVariant(20.0));
    QCOMPARE(source->writes[3].value, QVariant(20.5));
    // The target counts while a write is pending; otherwise, the value that is online counts.
    for (const double value : {6.0, 7.0, 20.0, 20.5})
        source->report(q("/set"), value);
    client->update("/p/set", "1", true);
    QCOMPARE(source->writes[4].value, QVariant(21.5));
    source->answer(lastWrite(), Outcome::Refused);
    client->update("/p/set", "-1", true);
    QCOMPARE(source->writes[5].value, QVariant(19.5));
}

void tst_SourceMount::writes_relativeReachTheSourceAsAChange()
{
    SourceKeyword keyword = setpoint();
    keyword.writesChange = true;
    declareSetpoint(keyword, 5);
    client->update("/p/set", "2", true);
    client->update("/p/set", "3");
    QCOMPARE(source->writes[0].value, QVariant(7.0));
    QCOMPARE(source->writes[0].change, QVariant(2));
    QVERIFY(!source->writes[1].change.isValid());
}

void tst_SourceMount::writes_ofOneKeywordAreSettledInTheirOrder()
{
    declareSetpoint(setpoint(), 5);
    Client other(server.get());
    client->update("/p/set", "7");
    other.update("/p/set", "9");
    client->update("/p/set", "7");
    source->report(q("/set"), 7);
    QCOMPARE(audit.data().count('\n'), 1);
    source->report(q("/set"), 9);
    QCOMPARE(audit.data().count('\n'), 2);
    source->report(q("/set"), 7);
    QCOMPARE(audit.data().count("accepted"), 3);
    QCOMPARE(client->taken(), q("/p/set=7 coc- | /p/set=9 coc- | /p/set=7 coc-"));
    QCOMPARE(other.taken(), QString());
}

void tst_SourceMount::writes_anOldValueDoesNotSettleALaterOne()
{
    declareSetpoint(setpoint(), 5);
    client->update("/p/set", "7");
    client->update("/p/set", "5");
    source->answer(1, Outcome::Accepted);
    source->answer(2, Outcome::Accepted);
    source->report(q("/set"), 5); // a periodic report of the old value
    QCOMPARE(audit.data(), QByteArray());
    source->report(q("/set"), 7);
    QCOMPARE(audit.data().count("accepted"), 1);
    source->report(q("/set"), 5);
    QCOMPARE(audit.data().count("accepted"), 2);
}

void tst_SourceMount::writes_overtakenEndWell()
{
    SourceKeyword keyword = setpoint();
    keyword.confirmWithin = 100ms;
    declareSetpoint(keyword, 5);
    // If values change quickly, only the newest may be reported.
    client->update("/p/set", "7");
    client->update("/p/set", "9");
    source->report(q("/set"), 9);
    QCOMPARE(audit.data().count("accepted"), 2);
    client->update("/p/set", "7");
    client->update("/p/set", "9");
    client->update("/p/set", "7");
    for (const SourceWrite &write : source->writes)
        source->answer(write.id, Outcome::Accepted);
    source->report(q("/set"), 7);
    QCOMPARE(audit.data().count("accepted"), 3);
    QTRY_COMPARE(audit.data().count("accepted"), 5);
    QVERIFY(!audit.data().contains("refused"));
}

void tst_SourceMount::writes_waitLongerInTheServer()
{
    SourceKeyword keyword = setpoint();
    keyword.confirmWithin = 1min;
    declareSetpoint(keyword, 5);
    QVERIFY(server->limits().writeTime > keyword.confirmWithin);
}

void tst_SourceMount::writes_endWith_data()
{
    QTest::addColumn<std::function<void(tst_SourceMount *)>>("end");
    QTest::addColumn<QString>("told");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const char *told, const char *reason,
                        const std::function<void(tst_SourceMount *)> &end) {
        QTest::newRow(name) << end << q(told) << q(reason);
    };
    const char *const lost = "the connection was lost; the outcome is unknown";
    row("the link", "/p/set=5 --c- | /p/set=5 --ce", lost,
        [](tst_SourceMount *t) { t->source->go(State::Lost); });
    row("the subscriptions", "/p/set=5 --c- | /p/set=5 --ce", lost,
        [](tst_SourceMount *t) { t->source->go(State::Subscribing); });
    row("the source", "/p/set=5 --c- | /p/set=5 --ce", lost,
        [](tst_SourceMount *t) { t->source.reset(); });
    row("the keyword", "/p/set=null --c- | /p/set=null --ce", "the keyword has been removed",
        [](tst_SourceMount *t) { t->source->remove(q("/set")); });
    row("the mount", "/p/set=null --c- | /p/set=null --ce", "the keyword has been removed",
        [](tst_SourceMount *t) { t->mount.reset(); });
    row("the writer", "", "Not authorized", [](tst_SourceMount *t) {
        t->client->session.reset();
        t->source->answer(t->lastWrite(), Outcome::Refused, q("Not authorized"));
    });
    row("the server", "", "the server was closed", [](tst_SourceMount *t) {
        t->server.reset();
        t->source->answer(t->lastWrite(), Outcome::Accepted);
        t->source->report(q("/set"), 7);
        t->source->go(State::Lost);
    });
}

void tst_SourceMount::writes_endWith()
{
    QFETCH(std::function<void(tst_SourceMount *)>, end);
    QFETCH(QString, told);
    QFETCH(QString, reason);
    declareSetpoint(setpoint(), 5);
    client->update("/p/set", "7");
    end(this);
    QCOMPARE(client->taken(), told);
    QCOMPARE(QJsonDocument::fromJson(audit.data()).object().value(q("reason")).toString(), reason);
    if (!source || !server || !mount)
        return;
    // Without a connection, a write is refused immediately and never sent.
    const auto sent = source->writes.size();
    source->go(State::Lost);
    Client other(server.get());
    other.update("/p/set", "8");
    source->go(State::Ready);
    QCOMPARE(source->writes.size(), sent);
}

// Each handler of the mount that changes keywords, and everything that may be deleted in it.
void tst_SourceMount::anything_mayGoInAHandler_data()
{
    using Step = std::function<void(tst_SourceMount *)>;
    QTest::addColumn<Step>("step");
    QTest::addColumn<Step>("end");
    const std::vector<std::pair<const char *, Step>> steps {
        {"reported",
         [](tst_SourceMount *t) {
             Q_EMIT t->source->reported({{}, {level()}, {{q("/set"), QVariant(7.0)}}});
         }},
        {"lost", [](tst_SourceMount *t) { t->source->go(State::Lost); }},
        {"answered",
         [](tst_SourceMount *t) { t->source->answer(t->lastWrite(), Outcome::Refused); }},
        {"timed out", [](tst_SourceMount *t) { QTRY_VERIFY(!t->client->seen.isEmpty()); }},
    };
    const std::vector<std::pair<const char *, Step>> ends {
        {"mount", [](tst_SourceMount *t) { t->mount.reset(); }},
        {"source", [](tst_SourceMount *t) { t->source.release()->deleteLater(); }},
        {"server", [](tst_SourceMount *t) { t->server.reset(); }},
        {"keyword", [](tst_SourceMount *t) { t->source->remove(q("/set")); }},
    };
    for (const auto &[name, step] : steps) {
        for (const auto &[what, end] : ends)
            QTest::addRow("%s, %s", name, what) << step << end;
    }
}

void tst_SourceMount::anything_mayGoInAHandler()
{
    QFETCH(std::function<void(tst_SourceMount *)>, step);
    QFETCH(std::function<void(tst_SourceMount *)>, end);
    SourceKeyword keyword = setpoint();
    keyword.confirmWithin = 400ms;
    declareSetpoint(keyword, 5);
    client->update("/p/set", "7");
    client->update("/p/set", "8");
    bool ended = false;
    connect(client->session.get(), &KeywordSession::send, this, [&] {
        if (!std::exchange(ended, true))
            end(this);
    });
    step(this);
    QVERIFY(ended);
}

void tst_SourceMount::statistics_count()
{
    declareSetpoint(setpoint(), 5);
    source->report(q("/set"), q("text"));
    source->report(q("/elsewhere"), 1);
    client->update("/p/set", "7");
    client->update("/p/set", "8");
    source->answer(1, Outcome::Refused);
    source->answer(2, Outcome::Unknown);
    source->answer(2, Outcome::Unknown); // the second answer has no effect
    source->answer(77, Outcome::Accepted);
    const SourceMount::Statistics counts = mount->statistics();
    QCOMPARE(counts.keywords, 1);
    QCOMPARE(counts.values, 2u);
    QCOMPARE(counts.misfits, 1u);
    QCOMPARE(counts.writes, 2u);
    QCOMPARE(counts.refusedWrites, 2u);
    QCOMPARE(counts.unconfirmedWrites, 1u);
    QCOMPARE(mount->name(), q("line1"));
    QCOMPARE(mount->mount(), q("/p"));
    QVERIFY(mount->isReady());
}

QTEST_GUILESS_MAIN(tst_SourceMount)
#include "tst_sourcemount.moc"
