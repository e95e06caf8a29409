// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/server/testclient.h"

#include <QtCore/QSet>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <limits>
#include <memory>
#include <utility>

using namespace pellix::server;

class tst_KeywordServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { server.reset(); }

    void declare_refusesWhatDoesNotFit_data();
    void declare_refusesWhatDoesNotFit();
    void create_answersAndFollows();
    void create_unknownComesAliveWhenDeclared();
    void create_echoesTheSpelling();
    void changes_areSentOnlyWhenTheyAreChanges();
    void update_setsValueAndStateAtOnce_data();
    void update_setsValueAndStateAtOnce();
    void batch_tellsWhatChangedOnce();
    void destroy_endsTheSubscription();
    void leaving_endsSubscriptionsAndAggregates();
    void severalClients_areServedSideBySide();
    void update_acceptsWhatFits_data();
    void update_acceptsWhatFits();
    void update_togglesABool();
    void update_refusesWhatDoesNotFit_data();
    void update_refusesWhatDoesNotFit();
    void update_refusesASumBeyondNumbers();
    void update_refusalDoesNotLast();
    void update_asksTheWriteHandler();
    void label_isReadAndFollowed();
    void label_isNewWhenItIsAskedForAgain();
    void label_followsItsKeyword();
    void label_ofALevelFollowsWhatIsBelow();
    void label_isFollowedByAggregates();
    void aggregate_isToldInEachSpelling();
    void aggregate_isFormed_data();
    void aggregate_isFormed();
    void aggregate_followsItsChildren();
    void aggregate_overAggregatesAndItself();
    void aggregate_overManyPathsIsQuick();
    void aggregate_nestedTooDeepIsAnError();
    void aggregate_canBeChanged();
    void aggregate_belongsToItsSession();
    void index_listsOneLevel_data();
    void index_listsOneLevel();
    void index_filters_data();
    void index_filters();
    void index_echoesTheRequest();
    void remove_tellsTheWatchers();
    void clear_forgetsEverything();
    void separatorsAlone_areAnsweredAsNotKnown_data();
    void separatorsAlone_areAnsweredAsNotKnown();
    void malformedCommands_areIgnored_data();
    void malformedCommands_areIgnored();
    void handlers_mayEndSessions();
    void serverFirst_sessionsAnswerNothing();
    void manyKeywords_costNothingPerChange();

private:
    std::unique_ptr<KeywordServer> server;
};

void tst_KeywordServer::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    server = std::make_unique<KeywordServer>();
    QVERIFY(server->declare(keyword("/p/level", "double", 41.5, "RW", "Level")));
    QVERIFY(server->declare(keyword("/p/count", "int", 3)));
    QVERIFY(server->declare(keyword("/p/on", "bool", false)));
    QVERIFY(server->declare(keyword("/p/name", "string", q("Works"))));
    QVERIFY(server->declare(keyword("/p/read", "int", 9, "R")));
    QVERIFY(server->declare(keyword("/p/data", "object", QVariantMap {{q("a"), 1}})));
    QVERIFY(server->declare(keyword("/p/m/t1", "double", 10.0)));
    QVERIFY(server->declare(keyword("/p/m/t2", "double", 30.0)));
    QVERIFY(server->declare(keyword("/p/m/t3", "double", 20.0)));
}

void tst_KeywordServer::declare_refusesWhatDoesNotFit_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("access");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("good") << q("/x") << q("int") << q("R") << QVariant(1) << true;
    QTest::newRow("no value") << q("/x") << q("int") << q("R") << QVariant() << true;
    QTest::newRow("whole double") << q("/x") << q("int") << q("R") << QVariant(2.0) << true;
    QTest::newRow("no path") << QString() << q("int") << q("R") << QVariant(1) << false;
    QTest::newRow("separators") << q("/#/") << q("int") << q("R") << QVariant(1) << false;
    QTest::newRow("type") << q("/x") << q("float") << q("R") << QVariant(1) << false;
    QTest::newRow("access") << q("/x") << q("int") << q("X") << QVariant(1) << false;
    QTest::newRow("value") << q("/x") << q("int") << q("R") << QVariant(q("1")) << false;
    QTest::newRow("fraction") << q("/x") << q("int") << q("R") << QVariant(1.5) << false;
}

void tst_KeywordServer::declare_refusesWhatDoesNotFit()
{
    QFETCH(QString, path);
    QFETCH(QString, type);
    QFETCH(QString, access);
    QFETCH(QVariant, value);
    QFETCH(bool, accepted);
    KeywordServer fresh;
    KeywordServer::Keyword declared;
    declared.path = path;
    declared.type = type;
    declared.access = access;
    declared.value = value;
    QCOMPARE(fresh.declare(declared), accepted);
    QCOMPARE(fresh.keywordCount(), accepted ? 1 : 0);
}

void tst_KeywordServer::create_answersAndFollows()
{
    Client peer(server.get());
    peer.create("/p/level");
    QCOMPARE(peer.taken(), q("/p/level=41.5 coc-"));
    QCOMPARE(peer.messages.constLast(),
             QByteArray(R"({"cmd":"keyEvent","payload":{"connected":true,"consistent":true,)"
                        R"("error":false,"keyword":"/p/level","online":true,"type":"double",)"
                        R"("value":41.5}})"));
    server->setValue(q("/p/level"), 50.0);
    QCOMPARE(peer.taken(), q("/p/level=50 coc-"));
    peer.create("/p/level"); // another reply, but only one subscription
    QCOMPARE(peer.taken(), q("/p/level=50 coc-"));
    server->setState(q("/p/level"), true, false, true, true);
    QCOMPARE(peer.taken(), q("/p/level=50 c-ce"));
}

void tst_KeywordServer::create_unknownComesAliveWhenDeclared()
{
    Client peer(server.get());
    peer.create("/p/later");
    QCOMPARE(peer.taken(), q("/p/later=null --c-"));
    server->declare(keyword("/p/later", "int", 5));
    QCOMPARE(peer.taken(), q("/p/later=5 coc-"));
}

void tst_KeywordServer::create_echoesTheSpelling()
{
    Client peer(server.get());
    peer.create("p#level");
    peer.create("//p/level/");
    QCOMPARE(peer.taken(), q("p#level=41.5 coc- | //p/level/=41.5 coc-"));
    server->setValue(q("p#level"), 1.0);
    QCOMPARE(peer.taken(), q("p#level=1 coc- | //p/level/=1 coc-"));
}

void tst_KeywordServer::changes_areSentOnlyWhenTheyAreChanges()
{
    Client peer(server.get());
    peer.create("/p/count");
    peer.taken();
    QVERIFY(server->setValue(q("/p/count"), 3));
    QVERIFY(server->setState(q("/p/count"), true, true, true, false));
    QCOMPARE(peer.taken(), QString());
    QVERIFY(!server->setValue(q("/p/count"), q("x")));
    QVERIFY(!server->setValue(q("/p/none"), 1));
    QVERIFY(!server->setState(q("/p/none"), true, true, true, true));
    QCOMPARE(peer.taken(), QString());
}

void tst_KeywordServer::update_setsValueAndStateAtOnce_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("state");
    QTest::addColumn<bool>("taken");
    QTest::addColumn<QString>("told");
    QTest::newRow("both") << q("/p/count") << QVariant(4) << q("c--e") << true
                          << q("/p/count=4 c--e");
    QTest::newRow("value alone") << q("/p/count") << QVariant(4) << q("coc-") << true
                                 << q("/p/count=4 coc-");
    QTest::newRow("state alone") << q("/p/count") << QVariant(3) << q("c-c-") << true
                                 << q("/p/count=3 c-c-");
    QTest::newRow("nothing new") << q("/p/count") << QVariant(3) << q("coc-") << true << QString();
    QTest::newRow("no value") << q("/p/count") << QVariant() << q("coc-") << true
                              << q("/p/count=null coc-");
    QTest::newRow("null pointer") << q("/p/count") << QVariant::fromValue(nullptr) << q("coc-")
                                  << true << q("/p/count=null coc-");
    QTest::newRow("does not fit") << q("/p/count") << QVariant(q("4")) << q("c--e") << false
                                  << QString();
    QTest::newRow("no keyword") << q("/p") << QVariant(4) << q("c--e") << false << QString();
}

void tst_KeywordServer::update_setsValueAndStateAtOnce()
{
    QFETCH(QString, path);
    QFETCH(QVariant, value);
    QFETCH(QString, state);
    QFETCH(bool, taken);
    QFETCH(QString, told);
    Client client(server.get());
    client.create("/p/count");
    client.taken();
    const auto has = [&](char flag) { return state.contains(QLatin1Char(flag)); };
    // Two flags have the same letter.
    const KeywordServer::State flags {state.startsWith(QLatin1Char('c')), has('o'),
                                      state.at(2) == QLatin1Char('c'), has('e')};
    QCOMPARE(server->update(path, value, flags), taken);
    QCOMPARE(client.taken(), told);
}

void tst_KeywordServer::batch_tellsWhatChangedOnce()
{
    Client client(server.get());
    client.create("/p/count");
    client.create("/p/new");
    client.create("/p/level");
    client.create("/p/on");
    client.taken();
    {
        const KeywordServer::Batch all(server.get());
        {
            const KeywordServer::Batch inner(server.get());
            QVERIFY(server->setValue(q("/p/count"), 4));
            QVERIFY(server->remove(q("/p/level")));
        }
        QVERIFY(server->declare(keyword("/p/new", "int", 1)));
        QVERIFY(server->setValue(q("/p/count"), 5));
        QVERIFY(server->setValue(q("/p/on"), true));
        QVERIFY(server->declare(keyword("/p/level", "double", 1.5)));
        QCOMPARE(client.taken(), QString());
    }
    QCOMPARE(client.taken(),
             q("/p/count=5 coc- | /p/level=1.5 coc- | /p/new=1 coc- | /p/on=true coc-"));

    const KeywordServer::Batch last(server.get());
    server.reset();
}

void tst_KeywordServer::destroy_endsTheSubscription()
{
    Client peer(server.get());
    peer.create("/p/count");
    peer.taken();
    peer.command("keyDestroy", R"({"keyword":"/p/count"})");
    peer.command("keyDestroy", R"({"keyword":"/p/count"})");
    peer.command("keyDestroy", R"({"keyword":"/never"})");
    server->setValue(q("/p/count"), 4);
    QCOMPARE(peer.taken(), QString());
    QCOMPARE(server->value(q("/p/count")).toInt(), 4); // only the subscription has ended
}

void tst_KeywordServer::leaving_endsSubscriptionsAndAggregates()
{
    {
        Client peer(server.get());
        peer.create("/p/count");
        peer.command("keyCreateOrUpdate",
                     R"({"keyword":"/agg","children":["/p/m/t1","/p/m/t2"],"aggregation":"max"})");
        QCOMPARE(server->sessionCount(), 1);
    }
    QCOMPARE(server->sessionCount(), 0);
    server->setValue(q("/p/count"), 4);
    server->setValue(q("/p/m/t1"), 99.0);
    Client peer(server.get());
    peer.create("/agg");
    QCOMPARE(peer.taken(), q("/agg=null --c-"));
}

void tst_KeywordServer::severalClients_areServedSideBySide()
{
    Client first(server.get()), second(server.get());
    first.create("/p/count");
    second.create("/p/count");
    first.taken();
    second.taken();
    first.update("/p/count", "8");
    QCOMPARE(first.taken(), q("/p/count=8 coc-"));
    QCOMPARE(second.taken(), q("/p/count=8 coc-"));
    first.session.reset();
    server->setValue(q("/p/count"), 9);
    QCOMPARE(second.taken(), q("/p/count=9 coc-"));
}

void tst_KeywordServer::update_acceptsWhatFits_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("relative");
    QTest::addColumn<QString>("event");
    QTest::newRow("double") << q("/p/level") << q("1.5") << false << q("1.5");
    QTest::newRow("whole number for a double") << q("/p/level") << q("2") << false << q("2");
    QTest::newRow("double, relative") << q("/p/level") << q("-1.5") << true << q("40");
    QTest::newRow("int") << q("/p/count") << q("5") << false << q("5");
    QTest::newRow("int, relative") << q("/p/count") << q("5") << true << q("8");
    QTest::newRow("bool") << q("/p/on") << q("true") << false << q("true");
    QTest::newRow("bool, toggled") << q("/p/on") << q("true") << true << q("true");
    QTest::newRow("text") << q("/p/name") << q("\"x\"") << false << q("\"x\"");
    QTest::newRow("object") << q("/p/data") << q("{\"b\":2}") << false << q("{\"b\":2}");
    QTest::newRow("array") << q("/p/data") << q("[1]") << false << q("[1]");
}

void tst_KeywordServer::update_acceptsWhatFits()
{
    QFETCH(QString, path);
    QFETCH(QString, value);
    QFETCH(bool, relative);
    QFETCH(QString, event);
    Client peer(server.get());
    peer.create(qPrintable(path));
    peer.taken();
    QSignalSpy written(server.get(), &KeywordServer::valueWritten);
    peer.update(qPrintable(path), qPrintable(value), relative);
    QCOMPARE(peer.taken(), q("%1=%2 coc-").arg(path, event));
    QCOMPARE(written.count(), 1);
    QCOMPARE(written.at(0).at(0).toString(), path);
}

void tst_KeywordServer::update_togglesABool()
{
    Client peer(server.get());
    peer.create("/p/on");
    QCOMPARE(peer.taken(), q("/p/on=false coc-"));
    peer.update("/p/on", "true", true);
    QCOMPARE(peer.taken(), q("/p/on=true coc-"));
    peer.update("/p/on", "true", true);
    QCOMPARE(peer.taken(), q("/p/on=false coc-"));
    peer.update("/p/on", "true", true);
    peer.taken();
    QSignalSpy written(server.get(), &KeywordServer::valueWritten);
    peer.update("/p/on", "false", true); // no toggle
    QCOMPARE(peer.taken(), QString());
    QCOMPARE(written.count(), 1);
    QCOMPARE(server->value(q("/p/on")), QVariant(true));
}

void tst_KeywordServer::update_refusesWhatDoesNotFit_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("relative");
    QTest::addColumn<QString>("event");
    QTest::newRow("read-only") << q("/p/read") << q("1") << false << q("9 coce");
    QTest::newRow("text for a double") << q("/p/level") << q("\"1\"") << false << q("41.5 coce");
    QTest::newRow("bool for a double") << q("/p/level") << q("true") << false << q("41.5 coce");
    QTest::newRow("null") << q("/p/level") << q("null") << false << q("41.5 coce");
    QTest::newRow("fraction for an int") << q("/p/count") << q("1.5") << false << q("3 coce");
    QTest::newRow("beyond an int")
        << q("/p/count") << q("9223372036854775808") << false << q("3 coce");
    QTest::newRow("far beyond an int") << q("/p/count") << q("-1e300") << false << q("3 coce");
    QTest::newRow("beyond an int, relative")
        << q("/p/count") << q("9223372036854775807") << true << q("3 coce");
    QTest::newRow("fraction, relative") << q("/p/count") << q("0.5") << true << q("3 coce");
    QTest::newRow("list for an int") << q("/p/count") << q("[1]") << false << q("3 coce");
    QTest::newRow("object, relative") << q("/p/data") << q("{}") << true << q("{\"a\":1} coce");
    QTest::newRow("number for a bool") << q("/p/on") << q("1") << false << q("false coce");
    QTest::newRow("number for a text") << q("/p/name") << q("1") << false << q("\"Works\" coce");
    QTest::newRow("text, relative") << q("/p/name") << q("\"x\"") << true << q("\"Works\" coce");
    QTest::newRow("text for an object")
        << q("/p/data") << q("\"x\"") << false << q("{\"a\":1} coce");
    QTest::newRow("unknown") << q("/p/none") << q("1") << false << q("null --ce");
    QTest::newRow("a level") << q("/p/m") << q("1") << false << q("null --ce");
    QTest::newRow("a label") << q("/p/level/Label") << q("\"x\"") << false << q("\"Level\" coce");
}

void tst_KeywordServer::update_refusesWhatDoesNotFit()
{
    QFETCH(QString, path);
    QFETCH(QString, value);
    QFETCH(bool, relative);
    QFETCH(QString, event);
    Client writer(server.get()), other(server.get());
    other.create(qPrintable(path));
    other.taken();
    writer.update(qPrintable(path), qPrintable(value), relative);
    QCOMPARE(writer.taken(), q("%1=%2").arg(path, event));
    QCOMPARE(other.taken(), QString()); // only the writer gets a reply
}

void tst_KeywordServer::update_refusesASumBeyondNumbers()
{
    Client peer(server.get());
    peer.update("/p/level", "1.5e308");
    peer.update("/p/level", "1.5e308", true);
    QCOMPARE(peer.taken(), q("/p/level=1.5e+308 coce"));
    peer.update("/p/count", "9223372036854775806");
    peer.update("/p/count", "1", true);
    QCOMPARE(server->value(q("/p/count")), QVariant(std::numeric_limits<qlonglong>::max()));
    peer.update("/p/count", "1", true);
    QCOMPARE(peer.taken(), q("/p/count=9223372036854775807 coce"));
    peer.command("keyCreateOrUpdate",
                 R"({"keyword":"/agg","children":["/p/count","/p/count"],"aggregation":"sum"})");
    QCOMPARE(peer.taken(), q("/agg=18446744073709552000 coc-"));
}

void tst_KeywordServer::update_refusalDoesNotLast()
{
    Client peer(server.get());
    peer.create("/p/count");
    peer.taken();
    peer.update("/p/count", "\"x\"");
    QCOMPARE(peer.taken(), q("/p/count=3 coce"));
    peer.update("/p/count", "3"); // accepted, although unchanged
    QCOMPARE(peer.taken(), q("/p/count=3 coc-"));
    peer.update("/p/count", "3");
    QCOMPARE(peer.taken(), QString());
}

void tst_KeywordServer::update_asksTheWriteHandler()
{
    Client peer(server.get());
    peer.create("/p/count");
    peer.taken();
    QVariantList asked;
    server->setWriteCheck(q("/p/count"), [&](const QVariant &value) {
        asked << value;
        return value.toInt() <= 10;
    });
    peer.update("/p/count", "4", true);
    QCOMPARE(peer.taken(), q("/p/count=7 coc-"));
    peer.update("/p/count", "4", true);
    QCOMPARE(peer.taken(), q("/p/count=7 coce"));
    QCOMPARE(asked, QVariantList({Q_INT64_C(7), Q_INT64_C(11)}));
}

void tst_KeywordServer::label_isReadAndFollowed()
{
    Client peer(server.get());
    peer.create("/p/level/Label");
    peer.create("/p/count/Label");
    peer.create("/p/m/Label");
    peer.create("/none/Label");
    QCOMPARE(peer.taken(),
             q("/p/level/Label=\"Level\" coc- | /p/count/Label=\"\" coc- | "
               "/p/m/Label=\"\" coc- | /none/Label=\"\" coc-"));
    QVERIFY(server->setLabel(q("/p/m"), q("Motors")));
    QCOMPARE(peer.taken(), q("/p/m/Label=\"Motors\" coc-"));
    QVERIFY(server->setLabel(q("/p/m"), q("Motors")));
    QCOMPARE(peer.taken(), QString());
    QVERIFY(!server->setLabel(q("/none"), q("x")));
}

void tst_KeywordServer::aggregate_isToldInEachSpelling()
{
    Client peer(server.get()), other(server.get());
    for (Client *client : {&peer, &other})
        client->create("/x");
    peer.create("x/");
    QCOMPARE(other.taken(), q("/x=null --c-"));
    QCOMPARE(peer.taken(), q("/x=null --c- | x/=null --c-"));
    peer.command("keyCreateOrUpdate",
                 R"({"keyword":"#x","children":["/p/count"],"aggregation":"sum"})");
    QStringList told = peer.taken().split(q(" | "));
    told.sort();
    QCOMPARE(told, QStringList({q("#x=3 coc-"), q("/x=3 coc-"), q("x/=3 coc-")}));
    QCOMPARE(other.taken(), QString()); // it has no aggregate
}

void tst_KeywordServer::label_isNewWhenItIsAskedForAgain()
{
    Client peer(server.get());
    const char *const over =
        R"({"keyword":"/agg","children":["/p/count/Label"],"aggregation":"eql"})";
    for (const char *label : {"one", "two"}) {
        server->setLabel(q("/p/count"), q(label));
        peer.command("keyCreateOrUpdate", over); // before a subscription to the label itself
        peer.taken();
        peer.create("/p/count/Label");
        QCOMPARE(peer.taken(), q("/p/count/Label=\"%1\" coc-").arg(q(label)));
        peer.command("keyDestroy", R"({"keyword":"/p/count/Label"})");
        peer.command("keyDestroy", R"({"keyword":"/agg"})");
    }
}

void tst_KeywordServer::label_followsItsKeyword()
{
    Client peer(server.get());
    peer.create("/p/level/Label");
    QCOMPARE(peer.taken(), q("/p/level/Label=\"Level\" coc-"));
    QVERIFY(server->remove(q("/p/level")));
    QCOMPARE(peer.taken(), q("/p/level/Label=\"\" coc-"));
    QVERIFY(server->declare(keyword("/p/level", "int", 1)));
    QCOMPARE(peer.taken(), QString());
    QVERIFY(server->declare(keyword("/p/level", "int", 1, "RW", "New")));
    QCOMPARE(peer.taken(), q("/p/level/Label=\"New\" coc-"));
    QVERIFY(server->declare(keyword("/p/level", "int", 1))); // keeps its label
    QCOMPARE(peer.taken(), QString());
}

void tst_KeywordServer::label_ofALevelFollowsWhatIsBelow()
{
    QVERIFY(server->declare(keyword("/plant/tank/level", "int", 1)));
    QVERIFY(server->declare(keyword("/plant/tank/valve", "bool", true)));
    QVERIFY(server->setLabel(q("/plant/tank"), q("Tank")));
    Client peer(server.get());
    peer.create("/plant/tank/Label");
    peer.create("/plant/Label");
    QCOMPARE(peer.taken(), q("/plant/tank/Label=\"Tank\" coc- | /plant/Label=\"\" coc-"));
    QVERIFY(server->remove(q("/plant/tank/level")));
    QCOMPARE(peer.taken(), QString());
    QVERIFY(server->remove(q("/plant/tank/valve")));
    QCOMPARE(peer.taken(), q("/plant/tank/Label=\"\" coc-"));
    QVERIFY(server->declare(keyword("/plant/tank/valve", "bool", true)));
    QCOMPARE(peer.taken(), q("/plant/tank/Label=\"Tank\" coc-"));
    QVERIFY(server->declare(keyword("/plant/tank/level", "int", 1)));
    QVERIFY(server->declare(keyword("/plant/tank", "int", 1)));
    QVERIFY(server->declare(keyword("/plant/pump/speed", "int", 1)));
    QCOMPARE(peer.taken(), QString());
}

void tst_KeywordServer::label_isFollowedByAggregates()
{
    Client peer(server.get());
    peer.command("keyCreateOrUpdate",
                 R"({"keyword":"/x","children":["/p/level/Label"],"aggregation":"eql"})");
    QCOMPARE(peer.taken(), q("/x=\"Level\" coc-"));
    QVERIFY(server->setLabel(q("/p/level"), q("Height")));
    QCOMPARE(peer.taken(), q("/x=\"Height\" coc-"));
    QVERIFY(server->remove(q("/p/level")));
    QCOMPARE(peer.taken(), q("/x=\"\" coc-"));
    QVERIFY(server->declare(keyword("/p/level", "int", 1, "RW", "Depth")));
    QCOMPARE(peer.taken(), q("/x=\"Depth\" coc-"));
}

void tst_KeywordServer::aggregate_isFormed_data()
{
    QTest::addColumn<QString>("children");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("event");
    const QString numbers = q(R"("/p/m/t1","/p/m/t2","/p/m/t3")");
    QTest::newRow("min") << numbers << q("min") << q("10 coc-");
    QTest::newRow("max") << numbers << q("max") << q("30 coc-");
    QTest::newRow("sum") << numbers << q("sum") << q("60 coc-");
    QTest::newRow("equal, different") << numbers << q("eql") << q("null coc-");
    QTest::newRow("equal, one") << q(R"("/p/m/t1")") << q("eql") << q("10 coc-");
    QTest::newRow("missing child") << q(R"("/p/m/t1","/p/none")") << q("max") << q("10 ----");
    QTest::newRow("all missing") << q(R"("/none")") << q("max") << q("null ----");
    QTest::newRow("types differ") << q(R"("/p/m/t1","/p/count")") << q("sum") << q("13 co--");
    QTest::newRow("no numbers") << q(R"("/p/name","/p/m/t1")") << q("sum") << q("null co--");
    QTest::newRow("bool and") << q(R"("/p/on")") << q("bool_and") << q("false coc-");
    QTest::newRow("bool or") << q(R"("/p/on","/p/on")") << q("bool_or") << q("false coc-");
    QTest::newRow("bool of numbers") << q(R"("/p/count")") << q("bool_or") << q("null co--");
    QTest::newRow("int stays int") << q(R"("/p/count","/p/read")") << q("sum") << q("12 coc-");
    QTest::newRow("unknown mode") << numbers << q("median") << q("null coce");
}

void tst_KeywordServer::aggregate_isFormed()
{
    QFETCH(QString, children);
    QFETCH(QString, mode);
    QFETCH(QString, event);
    Client peer(server.get());
    peer.command(
        "keyCreateOrUpdate",
        qPrintable(
            q(R"({"keyword":"/agg","children":[%1],"aggregation":"%2"})").arg(children, mode)));
    QCOMPARE(peer.taken(), q("/agg=") + event);
}

void tst_KeywordServer::aggregate_followsItsChildren()
{
    Client peer(server.get());
    peer.command(
        "keyCreateOrUpdate",
        R"({"keyword":"/agg","children":["/p/m/t1","/p/m/t2","/p/new"],"aggregation":"max"})");
    QCOMPARE(peer.taken(), q("/agg=30 ----"));
    server->setValue(q("/p/m/t1"), 50.0);
    QCOMPARE(peer.taken(), q("/agg=50 ----"));
    server->setValue(q("/p/m/t2"), 31.0); // does not affect the maximum
    QCOMPARE(peer.taken(), QString());
    server->declare(keyword("/p/new", "double", 5.0));
    QCOMPARE(peer.taken(), q("/agg=50 coc-"));
    server->setState(q("/p/m/t2"), true, false, true, false);
    QCOMPARE(peer.taken(), q("/agg=50 c-c-"));
    server->remove(q("/p/new"));
    QCOMPARE(peer.taken(), q("/agg=50 ----"));
    peer.update("/agg", "1");
    QCOMPARE(peer.taken(), q("/agg=50 ---e")); // aggregates cannot be written
}

void tst_KeywordServer::aggregate_overAggregatesAndItself()
{
    Client peer(server.get());
    peer.command("keyCreateOrUpdate",
                 R"({"keyword":"/low","children":["/p/m/t1","/p/m/t2"],"aggregation":"max"})");
    peer.command("keyCreateOrUpdate",
                 R"({"keyword":"/high","children":["/low","/p/m/t3"],"aggregation":"sum"})");
    QCOMPARE(peer.taken(), q("/low=30 coc- | /high=50 coc-"));
    server->setValue(q("/p/m/t2"), 40.0);
    QCOMPARE(peer.taken(), q("/low=40 coc- | /high=60 coc-"));
    peer.command("keyCreateOrUpdate",
                 R"({"keyword":"/me","children":["/me","/p/m/t1"],"aggregation":"sum"})");
    QVERIFY(peer.taken().startsWith(q("/me=")));
    server->setValue(q("/p/m/t1"), 11.0); // must not recurse forever
}

void tst_KeywordServer::aggregate_overManyPathsIsQuick()
{
    Client peer(server.get());
    const auto level = [](int i) { return i ? q("/agg/%1").arg(i) : q("/p/count"); };
    // Each aggregate has the previous one twice as a child, so there are 2 to the power of 60 paths
    // to the value.
    for (int i = 1; i <= 60; ++i) {
        peer.command("keyCreateOrUpdate",
                     qPrintable(q(R"({"keyword":"%1","children":["%2","%2"],"aggregation":"max"})")
                                    .arg(level(i), level(i - 1))));
    }
    QVERIFY(peer.taken().endsWith(q("/agg/60=3 coc-")));
    server->setValue(q("/p/count"), 4);
    QVERIFY(peer.taken().endsWith(q("/agg/60=4 coc-")));
}

void tst_KeywordServer::aggregate_nestedTooDeepIsAnError()
{
    Client peer(server.get());
    const auto level = [](int i) { return i ? q("/agg/%1").arg(i) : q("/p/count"); };
    for (int i = 1; i <= 5000; ++i) {
        peer.command("keyCreateOrUpdate",
                     qPrintable(q(R"({"keyword":"%1","children":["%2"],"aggregation":"max"})")
                                    .arg(level(i), level(i - 1))));
    }
    QCOMPARE(peer.seen.at(99), q("/agg/100=3 coc-"));
    QVERIFY(peer.seen.at(100).endsWith(QLatin1Char('e')));
    QVERIFY(peer.seen.last().endsWith(QLatin1Char('e')));
    peer.taken();
    server->setValue(q("/p/count"), 4);
    QVERIFY(peer.taken().contains(q("/agg/100=4 coc-")));
}

void tst_KeywordServer::aggregate_canBeChanged()
{
    Client client(server.get());
    client.command("keyCreateOrUpdate",
                   R"({"keyword":"/agg","children":["/p/m/t1","/p/m/t2"],"aggregation":"max"})");
    client.command("keyCreateOrUpdate", R"({"keyword":"agg"})");
    client.command("keyCreateOrUpdate",
                   R"({"keyword":"/over","children":["/agg"],"aggregation":"sum"})");
    QCOMPARE(client.taken(), q("/agg=30 coc- | agg=30 coc- | /over=30 coc-"));
    client.command("keyCreateOrUpdate",
                   R"({"keyword":"/agg","children":["/p/m/t1","/p/m/t3"],"aggregation":"min"})");
    QCOMPARE(client.taken(), q("agg=10 coc- | /over=10 coc- | /agg=10 coc-"));
    server->setValue(q("/p/m/t3"), 1.0);
    QCOMPARE(client.taken(), q("/agg=1 coc- | agg=1 coc- | /over=1 coc-"));
    server->setValue(q("/p/m/t2"), 1.0); // no longer a child
    QCOMPARE(client.taken(), QString());
}

void tst_KeywordServer::aggregate_belongsToItsSession()
{
    Client first(server.get()), second(server.get()), third(server.get());
    third.create("/agg");
    QCOMPARE(third.taken(), q("/agg=null --c-"));
    first.command("keyCreateOrUpdate",
                  R"({"keyword":"/agg","children":["/p/m/t1","/p/m/t2"],"aggregation":"max"})");
    second.command("keyCreateOrUpdate",
                   R"({"keyword":"/agg","children":["/p/m/t1","/p/m/t3"],"aggregation":"sum"})");
    QCOMPARE(first.taken(), q("/agg=30 coc-"));
    QCOMPARE(second.taken(), q("/agg=30 coc-"));
    server->setValue(q("/p/m/t3"), 1.0);
    QCOMPARE(first.taken(), QString());
    QCOMPARE(second.taken(), q("/agg=11 coc-"));
    second.session.reset();
    server->setValue(q("/p/m/t1"), 100.0);
    QCOMPARE(first.taken(), q("/agg=100 coc-"));
    QCOMPARE(third.taken(), QString()); // is not affected
}

void tst_KeywordServer::index_listsOneLevel_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<QString>("names");
    QTest::newRow("top") << QString() << q("/p");
    QTest::newRow("one level") << q(R"("factory":"p",)")
                               << q("/p/count /p/data /p/level /p/m /p/name /p/on /p/read");
    QTest::newRow("two levels") << q(R"("factory":"p","instance":"m",)")
                                << q("/p/m/t1 /p/m/t2 /p/m/t3");
    QTest::newRow("leaf") << q(R"("factory":"p","instance":"m","keyQuery":["t1"],)") << QString();
    QTest::newRow("unknown") << q(R"("factory":"none",)") << QString();
}

void tst_KeywordServer::index_listsOneLevel()
{
    QFETCH(QString, query);
    QFETCH(QString, names);
    Client watcher(server.get());
    watcher.create("/watched/only"); // a subscription alone does not list the keyword
    Client peer(server.get());
    peer.command("keyIndex", qPrintable(q(R"({%1"access":"N","uuid":"{x}"})").arg(query)));
    QCOMPARE(peer.taken(), names);
}

void tst_KeywordServer::index_filters_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QString>("names");
    QTest::newRow("double") << q(R"("type":"double")") << q("/p/level /p/m");
    QTest::newRow("int") << q(R"("type":"int")") << q("/p/count /p/m /p/read");
    QTest::newRow("R") << q(R"("access":"R")")
                       << q("/p/count /p/data /p/level /p/m /p/name /p/on /p/read");
    QTest::newRow("W") << q(R"("access":"W")") << q("/p/count /p/data /p/level /p/m /p/name /p/on");
    QTest::newRow("RW, int") << q(R"("access":"RW","type":"int")") << q("/p/count /p/m");
}

void tst_KeywordServer::index_filters()
{
    QFETCH(QString, filter);
    QFETCH(QString, names);
    Client peer(server.get());
    peer.command("keyIndex", qPrintable(q(R"({"factory":"p",%1})").arg(filter)));
    QCOMPARE(peer.taken(), names);
}

void tst_KeywordServer::index_echoesTheRequest()
{
    Client peer(server.get());
    const QByteArray request =
        R"({"access":"N","factory":"p","instance":"m","more":[1],"uuid":"u"})";
    peer.session->receive(R"({"cmd":"keyIndex","payload":)" + request + "}");
    QCOMPARE(peer.messages.constLast(),
             QByteArray(R"({"cmd":"keyIndex","payload":{"request":)" + request
                        + R"(,"response":[{"name":"/p/m/t1","type":"double"},)"
                          R"({"name":"/p/m/t2","type":"double"},)"
                          R"({"name":"/p/m/t3","type":"double"}]}})"));
}

void tst_KeywordServer::remove_tellsTheWatchers()
{
    Client peer(server.get());
    peer.create("/p/m/t1");
    peer.taken();
    QVERIFY(server->remove(q("/p/m/t1")));
    QVERIFY(!server->remove(q("/p/m/t1")));
    QCOMPARE(peer.taken(), q("/p/m/t1=null --c-"));
    for (const char *rest : {"/p/m/t2", "/p/m/t3"})
        server->remove(q(rest));
    peer.command("keyIndex", R"({"factory":"p","type":"bool"})");
    QCOMPARE(peer.taken(), q("/p/on")); // the empty level has been removed, too
}

void tst_KeywordServer::clear_forgetsEverything()
{
    Client peer(server.get());
    peer.create("/p/count");
    peer.taken();
    server->clear();
    QCOMPARE(server->keywordCount(), 0);
    QCOMPARE(server->sessionCount(), 1);
    server->declare(keyword("/p/count", "int", 1));
    server->setValue(q("/p/count"), 2);
    QCOMPARE(peer.taken(), QString()); // the subscription has been removed
    peer.create("/p/count");
    QCOMPARE(peer.taken(), q("/p/count=2 coc-"));
}

void tst_KeywordServer::separatorsAlone_areAnsweredAsNotKnown_data()
{
    QTest::addColumn<QByteArray>("spelling");
    for (const char *spelling : {"/", "//", "#", "#/#"})
        QTest::newRow(spelling) << QByteArray(spelling);
}

// Every spelling that is not empty has an answer; otherwise, its client would wait forever.
void tst_KeywordServer::separatorsAlone_areAnsweredAsNotKnown()
{
    QFETCH(QByteArray, spelling);
    Client peer(server.get());
    QSignalSpy requested(server.get(), &KeywordServer::keywordRequested);
    const QString event = QString::fromUtf8(spelling) + q("=null --c-");
    peer.create(spelling);
    QCOMPARE(peer.taken(), event);
    peer.command("keyCreateOrUpdate",
                 ("{\"keyword\":\"" + spelling + R"(","children":["/p/m/t1"],"aggregation":"sum"})")
                     .constData());
    QCOMPARE(peer.taken(), event);
    peer.command("keyDestroy", ("{\"keyword\":\"" + spelling + "\"}").constData());
    server->setValue(q("/p/m/t1"), 11.0);
    QCOMPARE(peer.taken(), QString());
    QCOMPARE(requested.count(), 0); // there is no subscription
    QCOMPARE(server->statistics().watchedKeywords, 0);
}

void tst_KeywordServer::malformedCommands_areIgnored_data()
{
    QTest::addColumn<QByteArray>("command");
    for (const char *command :
         {"",
          "nonsense",
          "[]",
          "1",
          "{}",
          "null",
          "{",
          "\xff",
          R"({"cmd":"keyCreateOrUpdate"})",
          R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/a"}}x)",
          R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/a")",
          R"([{"cmd":"keyCreateOrUpdate","payload":{"keyword":"/a"}}])",
          R"({"cmd":["keyCreateOrUpdate"],"payload":{"keyword":"/a"}})",
          R"({"cmd":"keycreateorupdate","payload":{"keyword":"/a"}})",
          R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":null}})",
          R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":["/a"]}})",
          R"({"cmd":"keyCreateOrUpdate","payload":"/a"})",
          R"({"cmd":"keyDestroy","payload":{"keyword":"/never/asked/for"}})",
          R"({"cmd":"keyDestroy","payload":null})",
          R"({"cmd":"keyEvent","payload":{"keyword":"/a"}})",
          "{\"cmd\":\"keyCreateOrUpdate\",\"payload\":{\"keyword\":\"/\xff\"}}",
          R"({"cmd":"keyCreateOrUpdate","payload":[]})",
          R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":""}})",
          R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":5}})",
          R"({"cmd":"keyDestroy","payload":{"keyword":5}})",
          R"({"cmd":"keyDestroy"})",
          R"({"cmd":"unknown","payload":{}})",
          R"({"cmd":5,"payload":{}})",
          R"({"cmd":"keyChangeProtocol","payload":{"newprotocol":"flatbuffers"}})"})
        QTest::newRow(command) << QByteArray(command);
}

void tst_KeywordServer::malformedCommands_areIgnored()
{
    QFETCH(QByteArray, command);
    Client peer(server.get());
    peer.session->receive(command);
    QCOMPARE(peer.taken(), QString());
    peer.create("/p/count");
    QCOMPARE(peer.taken(), q("/p/count=3 coc-"));
}

void tst_KeywordServer::handlers_mayEndSessions()
{
    Client first(server.get()), second(server.get()), third(server.get());
    for (Client *peer : {&first, &second, &third}) {
        peer->create("/p/count");
        peer->taken();
    }
    connect(first.session.get(), &KeywordSession::send, this, [&] { second.session.reset(); });
    server->setValue(q("/p/count"), 5);
    QCOMPARE(second.taken(), QString());
    QCOMPARE(third.taken(), q("/p/count=5 coc-"));
    connect(third.session.get(), &KeywordSession::send, this,
            [&] { server->remove(q("/p/count")); });
    server->setValue(q("/p/count"), 6);
    QVERIFY(!server->contains(q("/p/count")));
    disconnect(first.session.get(), nullptr, this, nullptr);
    disconnect(third.session.get(), nullptr, this, nullptr);
}

void tst_KeywordServer::serverFirst_sessionsAnswerNothing()
{
    Client peer(server.get());
    peer.create("/p/count");
    peer.taken();
    server.reset();
    peer.create("/p/count");
    QCOMPARE(peer.taken(), QString());
}

// 100 000 keywords: a change of one of them, with or without subscribers, only affects its own
// data.
void tst_KeywordServer::manyKeywords_costNothingPerChange()
{
    KeywordServer many;
    constexpr int count = 100000;
    for (int i = 0; i < count; ++i)
        QVERIFY(many.declare(keyword(qPrintable(q("/n/g%1/k%2").arg(i / 100).arg(i)), "int", 0)));
    QCOMPARE(many.keywordCount(), count);
    Client peer(&many);
    peer.create("/n/g0/k7");
    peer.taken();
    for (int i = 1; i <= 100000; ++i)
        many.setValue(q("/n/g500/k50000"), i);
    many.setValue(q("/n/g0/k7"), 1);
    QCOMPARE(peer.taken(), q("/n/g0/k7=1 coc-"));
    peer.command("keyIndex", R"({"factory":"n","instance":"g999"})");
    QCOMPARE(peer.taken().count(QLatin1Char(' ')), 99);
}

QTEST_GUILESS_MAIN(tst_KeywordServer)
#include "tst_keywordserver.moc"
