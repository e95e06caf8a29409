// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "client/websocketkeywordclient.h"
#include "models/keywordquerymodel.h"
#include "programs/browser/childcount.h"
#include "programs/browser/childorder.h"
#include "programs/browser/preferences.h"
#include "programs/browser/quietsorting.h"
#include "programs/browser/session.h"
#include "programs/common/naturalorder.h"
#include "pubsub/publisher.h"
#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>
#include <random>

using namespace pellix::client;
using namespace pellix::server;
using namespace pellix::simulator;

namespace {

const QString keyword = QStringLiteral("/a");

// A client whose queries are answered by hand, and the list of children that it fills.
class Listing
{
public:
    Listing()
    {
        QObject::connect(
            &client, &PInProcessKeywordClient::sendToServer, &client,
            [this](const QByteArray &data) {
                const QJsonObject command = QJsonDocument::fromJson(data).object();
                if (command[QLatin1String("cmd")] == QLatin1String("keyIndex")) {
                    request = command[QLatin1String("payload")][QLatin1String("uuid")].toString();
                }
            });
        sorted.setSourceModel(&query);
        query.setKeywordClient(&client);
    }

    void answer(const QStringList &names)
    {
        QJsonArray children;
        for (const QString &name : names) {
            children.append(QJsonObject {{QStringLiteral("name"), name},
                                         {QStringLiteral("type"), QStringLiteral("double")}});
        }
        send(QStringLiteral("keyIndex"),
             {{QStringLiteral("request"), QJsonObject {{QStringLiteral("uuid"), request}}},
              {QStringLiteral("response"), children}});
    }
    void list(const QString &keyword, const QStringList &names)
    {
        query.setKeyword(keyword);
        answer(names);
    }
    void label(const QString &keyword, const QString &text)
    {
        send(QStringLiteral("keyEvent"),
             {{QStringLiteral("keyword"), keyword + QStringLiteral("/Label")},
              {QStringLiteral("value"), text}});
    }

    // What is listed: "label(name)", or the name alone.
    QString rows() const
    {
        QStringList rows;
        for (int row = 0; row < sorted.rowCount(); ++row) {
            const QModelIndex index = sorted.index(row, 0);
            const QString shown = index.data(PKeywordQueryModel::DisplayNameRole).toString();
            const QString name = index.data(ChildOrder::LevelNameRole).toString();
            rows.append(shown == name ? name : shown + QLatin1Char('(') + name + QLatin1Char(')'));
        }
        return rows.join(QLatin1String(", "));
    }

    PInProcessKeywordClient client;
    PKeywordQueryModel query;
    ChildOrder sorted;

private:
    void send(const QString &cmd, const QJsonObject &payload)
    {
        client.receiveFromServer(QJsonDocument(QJsonObject {{QStringLiteral("cmd"), cmd},
                                                            {QStringLiteral("payload"), payload}})
                                     .toJson());
    }

    QString request;
};

const QString hush = QStringLiteral("hush"); // what nobody may see

} // namespace

class tst_BrowserParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void naturalOrder_data();
    void naturalOrder();
    void naturalOrder_isOneOrderOfAll();
    void childOrder_isNatural();
    void childOrder_isTheSameWhateverComesFirst();
    void childOrder_filtersByLabelAndName_data();
    void childOrder_filtersByLabelAndName();
    void childOrder_knowsTheLabelsWhenItIsAskedAgain();
    void childOrder_forgetsTheLabelsOfAnotherKeyword();
    void childOrder_forgetsALabelThatDoesNotComeAgain();
    void childCount_asksForWhatIsBelow();
    void sorting_happensOnceForManyLabels();
    void session_changesItsServer();
    void session_refusesWhatIsNoAddress();
    void session_refusesSecretsThatAreNotThere();
    void session_showsNoSecrets();
    void session_tellsSinceWhenTheLinkIsLost();
    void preferences_pin();
    void preferences_nameAFileThatIsNew();
    void preferences_ofABrokenFileAreTheDefaults();
};

void tst_BrowserParts::naturalOrder_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");

    const auto row = [](const char *first, const char *second) {
        QTest::addRow("%s before %s", first, second)
            << QString::fromUtf8(first) << QString::fromUtf8(second);
    };
    row("9", "10");
    row("item 9", "item 10");
    row("item 9", "Item 10");
    row("item", "item 1");
    row("a", "B");
    row("a1b2", "a1b10");
    row("07", "7"); // the same number
    row("07", "8");
    row("0", "00");
    row("99999999999999999999", "100000000000000000000"); // beyond 64 bits
    row("2a", "10");
    row("10", "a");
    row("1.9", "1.10");
    row("", "0");
    row("level", "levels");
    row("A", "a"); // the same but for case: in one order nevertheless
    row("\u00e4", "\u00c4 1");
}

void tst_BrowserParts::naturalOrder()
{
    QFETCH(const QString, first);
    QFETCH(const QString, second);

    QVERIFY(programs::compareNaturally(first, second) < 0);
    QVERIFY(programs::compareNaturally(second, first) > 0);
    QCOMPARE(programs::compareNaturally(first, first), 0);
    QCOMPARE(programs::compareNaturally(second, second), 0);
}

void tst_BrowserParts::naturalOrder_isOneOrderOfAll()
{
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same texts each time
    const QString letters = QStringLiteral("0019aA -.z\u00e4");
    QStringList texts;
    for (int i = 0; i < 120; ++i) {
        QString text;
        for (auto length = random() % 5; length > 0; --length)
            text += letters.at(int(random() % uint(letters.size())));
        texts.append(text);
    }
    const auto sign = [](int order) { return (order > 0) - (order < 0); };
    for (const QString &a : std::as_const(texts)) {
        for (const QString &b : std::as_const(texts)) {
            const int order = programs::compareNaturally(a, b);
            QCOMPARE(order == 0, a == b);
            QCOMPARE(sign(order), -sign(programs::compareNaturally(b, a)));
            for (const QString &c : std::as_const(texts)) {
                if (order < 0 && programs::compareNaturally(b, c) < 0
                    && programs::compareNaturally(a, c) >= 0)
                    QFAIL(qPrintable(QStringLiteral("'%1' '%2' '%3'").arg(a, b, c)));
            }
        }
    }
}

void tst_BrowserParts::childOrder_isNatural()
{
    Listing listing;
    // 10 is greater than 9 as a number, and less than 9a as a text, which is greater than 9.
    listing.list(QStringLiteral("/x"),
                 {QStringLiteral("/x/10"), QStringLiteral("/x/b"), QStringLiteral("/x/9"),
                  QStringLiteral("/x/9a"), QStringLiteral("/x/A"), QStringLiteral("/x/item10"),
                  QStringLiteral("/x/item9")});
    QCOMPARE(listing.rows(), QStringLiteral("9, 9a, 10, A, b, item9, item10"));

    listing.label(QStringLiteral("/x/b"), QStringLiteral("Item 11"));
    listing.label(QStringLiteral("/x/A"), QStringLiteral("item 9"));
    listing.sorted.rearrange();
    QCOMPARE(listing.rows(), QStringLiteral("9, 9a, 10, item 9(A), Item 11(b), item9, item10"));
}

void tst_BrowserParts::childOrder_isTheSameWhateverComesFirst()
{
    // Of the same label: the names decide.
    QStringList names;
    QStringList expected;
    for (int i = 0; i < 12; ++i) {
        names.append(QStringLiteral("/x/k%1").arg(i));
        expected.append(QStringLiteral("Level(k%1)").arg(i));
    }
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same orders each time
    for (int run = 0; run < 20; ++run) {
        Listing listing;
        std::shuffle(names.begin(), names.end(), random);
        listing.list(QStringLiteral("/x"), names);
        std::shuffle(names.begin(), names.end(), random);
        for (const QString &name : std::as_const(names)) {
            listing.label(name, QStringLiteral("Level"));
            if (random() % 3 == 0)
                listing.sorted.rearrange();
        }
        listing.sorted.rearrange();
        QCOMPARE(listing.rows(), expected.join(QLatin1String(", ")));
    }
}

void tst_BrowserParts::childOrder_filtersByLabelAndName_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QString>("rows");

    const auto row = [](const char *filter, const char *rows) {
        QTest::addRow("'%s'", filter) << QString::fromLatin1(filter) << QString::fromLatin1(rows);
    };
    row("", "Bottles per hour(count), level, Sugar level(l2)");
    row("bottles", "Bottles per hour(count)");
    row("COUNT", "Bottles per hour(count)");
    row("hour count", "Bottles per hour(count)"); // one word in each
    row("level", "level, Sugar level(l2)");
    row("l2 sugar", "Sugar level(l2)");
    row("  level   ", "level, Sugar level(l2)");
    row("x", ""); // not by what is above
    row("bottles l2", "");
}

void tst_BrowserParts::childOrder_filtersByLabelAndName()
{
    QFETCH(const QString, filter);
    QFETCH(const QString, rows);

    Listing listing;
    listing.list(QStringLiteral("/x"),
                 {QStringLiteral("/x/count"), QStringLiteral("/x/level"), QStringLiteral("/x/l2")});
    listing.label(QStringLiteral("/x/count"), QStringLiteral("Bottles per hour"));
    listing.label(QStringLiteral("/x/l2"), QStringLiteral("Sugar level"));
    QSignalSpy changed(&listing.sorted, &ChildOrder::filterChanged);
    listing.sorted.setFilter(filter);
    QCOMPARE(changed.size(), filter.isEmpty() ? 0 : 1);
    QCOMPARE(listing.sorted.filter(), filter);
    listing.sorted.rearrange();
    QCOMPARE(listing.rows(), rows);
}

void tst_BrowserParts::childOrder_knowsTheLabelsWhenItIsAskedAgain()
{
    Listing listing;
    const QStringList names {QStringLiteral("/x/a"), QStringLiteral("/x/b"),
                             QStringLiteral("/x/c")};
    listing.list(QStringLiteral("/x"), names);
    listing.label(QStringLiteral("/x/a"), QStringLiteral("Tank 2"));
    listing.label(QStringLiteral("/x/b"), QStringLiteral("Tank 1"));
    listing.label(QStringLiteral("/x/c"), QStringLiteral("Pump"));
    listing.sorted.setFilter(QStringLiteral("tank"));
    listing.sorted.rearrange();
    const QString before = QStringLiteral("Tank 1(b), Tank 2(a)");
    QCOMPARE(listing.rows(), before);

    listing.query.setKeyword(QStringLiteral("/x"));
    QCOMPARE(listing.rows(), QString());
    listing.answer(names);
    QCOMPARE(listing.rows(), before); // no label has come yet
    listing.label(QStringLiteral("/x/b"), QStringLiteral("Tank 3"));
    listing.sorted.rearrange();
    QCOMPARE(listing.rows(), QStringLiteral("Tank 2(a), Tank 3(b)"));
}

void tst_BrowserParts::childOrder_forgetsTheLabelsOfAnotherKeyword()
{
    Listing listing;
    const QStringList names {QStringLiteral("/x/a")};
    listing.list(QStringLiteral("/x"), names);
    listing.label(QStringLiteral("/x/a"), QStringLiteral("Tank"));
    QCOMPARE(listing.rows(), QStringLiteral("Tank(a)"));
    listing.list(QStringLiteral("/y"), {QStringLiteral("/y/a")});
    QCOMPARE(listing.rows(), QStringLiteral("a"));
    listing.list(QStringLiteral("/x"), names);
    QCOMPARE(listing.rows(), QStringLiteral("a"));
    listing.label(QStringLiteral("/x/a"), QStringLiteral("Tank"));

    // Nor are the labels of one server those of another.
    PInProcessKeywordClient other;
    listing.query.setKeywordClient(&other);
    listing.query.setKeywordClient(&listing.client);
    listing.list(QStringLiteral("/x"), names);
    QCOMPARE(listing.rows(), QStringLiteral("a"));
}

void tst_BrowserParts::childOrder_forgetsALabelThatDoesNotComeAgain()
{
    Listing listing;
    const QStringList names {QStringLiteral("/x/a"), QStringLiteral("/x/b")};
    listing.list(QStringLiteral("/x"), names);
    listing.label(QStringLiteral("/x/a"), QStringLiteral("Tank 1"));
    listing.label(QStringLiteral("/x/b"), QStringLiteral("Tank 2"));
    listing.list(QStringLiteral("/x"), names);
    listing.label(QStringLiteral("/x/a"), QStringLiteral("Tank 1"));
    QCOMPARE(listing.rows(), QStringLiteral("Tank 1(a), Tank 2(b)"));
    QTRY_COMPARE_WITH_TIMEOUT(listing.rows(), QStringLiteral("b, Tank 1(a)"), 20000);
}

void tst_BrowserParts::childCount_asksForWhatIsBelow()
{
    KeywordServer server;
    for (const char *path : {"/a", "/a/b", "/a/c", "/d"}) {
        server.declare(
            {QString::fromLatin1(path), QStringLiteral("int"), QStringLiteral("R"), QString(), 1});
    }
    FaultyWebSocketServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));
    PWebSocketKeywordClient client;
    client.setAutoReconnect(true);
    client.setUrls({transport.url().toString()});

    ChildCount count;
    count.setKeyword(QStringLiteral("/a"));
    count.setClient(&client);
    QCOMPARE(count.count(), -1);
    QTRY_COMPARE(count.count(), 2);
    count.setKeyword(QStringLiteral("/d"));
    QCOMPARE(count.count(), -1);
    QTRY_COMPARE(count.count(), 0);

    // Asked again when the link is back.
    server.declare(
        {QStringLiteral("/d/e"), QStringLiteral("int"), QStringLiteral("R"), QString(), 1});
    transport.abortClients();
    QTRY_COMPARE_WITH_TIMEOUT(count.count(), 1, 20000);
    count.setKeyword(QString());
    QCOMPARE(count.count(), -1);
}

void tst_BrowserParts::sorting_happensOnceForManyLabels()
{
    constexpr int count = 1000;
    QStringList names;
    for (int i = 0; i < count; ++i)
        names.append(QStringLiteral("/x/k%1").arg(i));
    Listing listing;
    QuietSorting sorting;
    sorting.setModel(&listing.sorted);
    listing.list(QStringLiteral("/x"), names);
    QCOMPARE(listing.sorted.rowCount(), count);
    QSignalSpy settled(&sorting, &QuietSorting::settled);
    QSignalSpy layouts(&listing.sorted, &QAbstractItemModel::layoutChanged);
    QSignalSpy resets(&listing.sorted, &QAbstractItemModel::modelReset);

    // Labels that turn the order round.
    for (int i = 0; i < count; ++i)
        listing.label(names.at(i), QString::number(count - i));
    QCOMPARE(layouts.size(), 0);
    QVERIFY(settled.wait());
    QCOMPARE(layouts.size(), 1);
    for (int row = 0; row < count; ++row) {
        QCOMPARE(listing.sorted.index(row, 0).data(PKeywordQueryModel::NameRole).toInt(), row + 1);
    }

    // With a filter the rows that fit now come, and the others go; a view stays where it is.
    layouts.clear();
    listing.sorted.setFilter(QStringLiteral("new"));
    QCOMPARE(listing.sorted.rowCount(), 0);
    listing.label(names.at(7), QStringLiteral("new label"));
    QTRY_COMPARE(listing.sorted.rowCount(), 1);
    QCOMPARE(resets.size(), 0);
    for (const QList<QVariant> &change : std::as_const(layouts)) {
        QCOMPARE(change.at(1).value<QAbstractItemModel::LayoutChangeHint>(),
                 QAbstractItemModel::VerticalSortHint);
    }
}

void tst_BrowserParts::session_changesItsServer()
{
    KeywordServer server;
    server.declare(
        {QStringLiteral("/a"), QStringLiteral("double"), QStringLiteral("R"), QString(), 1.0});
    FaultyWebSocketServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));

    int created = 0;
    Session session([&created](Session *parent) {
        ++created;
        return new CountedClient<PInProcessKeywordClient>(parent);
    });
    QCOMPARE(session.client(), nullptr);
    QVERIFY(!session.connected());
    session.setAddresses({});
    QCOMPARE(created, 1);
    auto *const inProcess = session.client();
    QVERIFY(inProcess && session.connected() && session.inProcess());

    session.setAddresses({transport.url().toString()});
    const QPointer<PKeywordClient> webSocket = session.client();
    QVERIFY(webSocket != inProcess && !session.inProcess());
    QTRY_VERIFY(session.connected());
    QCOMPARE(session.shownAddress(), transport.url().toString());
    webSocket->sendKeyCreate(QStringLiteral("/a"));
    QTRY_VERIFY(session.eventsPerSecond() > 0);

    session.setAddresses({});
    QCOMPARE(session.client(), inProcess);
    QCOMPARE(created, 1);
    QTRY_VERIFY(!webSocket);
}

void tst_BrowserParts::session_refusesWhatIsNoAddress()
{
    Session session(
        [](Session *parent) { return new CountedClient<PInProcessKeywordClient>(parent); });
    session.setAddresses({});
    QCOMPARE(session.parseAddresses(QStringLiteral("  ws://a:1,ws://b:2 \n wss://c ")),
             QStringList({QStringLiteral("ws://a:1"), QStringLiteral("ws://b:2"),
                          QStringLiteral("wss://c")}));
    const QStringList bad {QStringLiteral("ws://a:1"), QStringLiteral("b:2")};
    QCOMPARE(session.problem(bad),
             QStringLiteral("cannot use 'b:2': not a WebSocket address such as ws://host:port"));
    QSignalSpy changed(&session, &Session::addressesChanged);
    session.setAddresses(bad);
    QCOMPARE(changed.size(), 0);
    QVERIFY(session.inProcess());
}

void tst_BrowserParts::session_refusesSecretsThatAreNotThere()
{
    Session session(
        [](Session *parent) { return new CountedClient<PInProcessKeywordClient>(parent); });
    session.setAddresses({});
    const QString hidden = QStringLiteral("ws://127.0.0.1:1/?token=***");
    QVERIFY(session.problem({hidden}).contains(QLatin1String("its secret is hidden here")));
    const QString password = QStringLiteral("ws://me:hush@127.0.0.1:1");
    QVERIFY(session.problem({password}).contains(QLatin1String("cannot carry a password")));
    QVERIFY(!session.problem({password}).contains(hush));
    session.setAddresses({password});
    QVERIFY(session.inProcess());
}

void tst_BrowserParts::session_showsNoSecrets()
{
    KeywordServer server;
    FaultyWebSocketServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));
    Session session(
        [](Session *parent) { return new CountedClient<PInProcessKeywordClient>(parent); });
    // The same server twice: they differ in what is not shown.
    const QString plain = transport.url().toString() + QStringLiteral("/?token=");
    const QStringList addresses {plain + hush, plain + hush + hush};
    session.setAddresses(addresses);
    QTRY_VERIFY(session.connected());
    QCOMPARE(session.shownAddress(), plain + QStringLiteral("***"));
    const QString shown = session.shown(session.addresses());
    QCOMPARE(shown, plain + QStringLiteral("*** ") + plain + QStringLiteral("***"));

    // What is shown stands for what is set, also with another address beside it.
    const QString other = QStringLiteral("ws://127.0.0.1:2");
    QCOMPARE(session.parseAddresses(shown), addresses);
    QCOMPARE(session.parseAddresses(other + QLatin1Char(' ') + shown),
             QStringList(other) + addresses);
    QVERIFY(session.problem(session.parseAddresses(shown)).isEmpty());
    session.setAddresses({other});
    QVERIFY(!session.problem(session.parseAddresses(shown)).isEmpty()); // no longer
}

void tst_BrowserParts::session_tellsSinceWhenTheLinkIsLost()
{
    KeywordServer server;
    FaultyWebSocketServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));
    Session session(
        [](Session *parent) { return new CountedClient<PInProcessKeywordClient>(parent); });
    session.setAddresses({transport.url().toString()});
    QVERIFY(!session.lostAt().isValid()); // never had, so never lost
    QTRY_VERIFY(session.connected());
    QVERIFY(!session.lostAt().isValid());
    transport.abortClients();
    QTRY_VERIFY(!session.connected());
    QVERIFY(session.lostAt().isValid());
    QTRY_VERIFY(session.connected()); // automatic reconnection
    QVERIFY(!session.lostAt().isValid());

    session.disconnectFromServer();
    QTRY_VERIFY(!session.connected());
    QVERIFY(!session.autoReconnect());
}

void tst_BrowserParts::preferences_pin()
{
    const QTemporaryDir directory;
    const QString file = directory.filePath(QStringLiteral("settings.ini"));
    Preferences preferences(file);
    QSignalSpy changed(&preferences, &Preferences::pinnedChanged);
    preferences.pin(QStringLiteral("/a"));
    preferences.pin(QStringLiteral("/b, with a comma"));
    QCOMPARE(changed.size(), 2);
    preferences.pin(QStringLiteral("/a"));
    preferences.pin(QString());
    preferences.unpin(QStringLiteral("/unknown"));
    QCOMPARE(changed.size(), 2);
    QCOMPARE(preferences.pinned(),
             QStringList({QStringLiteral("/a"), QStringLiteral("/b, with a comma")}));
    QCOMPARE(Preferences(file).pinned(), preferences.pinned());
    preferences.unpin(QStringLiteral("/a"));
    QCOMPARE(preferences.pinned(), QStringList(QStringLiteral("/b, with a comma")));
}

void tst_BrowserParts::preferences_nameAFileThatIsNew()
{
    QTemporaryDir directory;
    const Preferences preferences(directory.filePath(QStringLiteral("settings.ini")));
    const QString file = preferences.exportFile(QStringLiteral("level"));
    QVERIFY2(QFileInfo(file).isAbsolute() && QFileInfo(file).dir().exists(), qPrintable(file));
    QVERIFY2(QFileInfo(file).fileName().startsWith(QStringLiteral("level-20")), qPrintable(file));
    QVERIFY(file.endsWith(QStringLiteral(".csv")));
    QVERIFY(!preferences.fileExists(file));
    QVERIFY(preferences.fileExists(directory.path()));
}

void tst_BrowserParts::preferences_ofABrokenFileAreTheDefaults()
{
    const QTemporaryDir directory;
    const QString name = directory.filePath(QStringLiteral("settings.ini"));
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[General]\naggregation=99\nwindowSize=large\ndark=perhaps\n\x01\x02[[[\n");
    file.close();
    const Preferences preferences(name);
    const Preferences defaults(directory.filePath(QStringLiteral("none.ini")));
    QCOMPARE(preferences.aggregation(), defaults.aggregation());
    QCOMPARE(preferences.windowSize(), defaults.windowSize());
    QCOMPARE(preferences.pinned(), QStringList());
}

QTEST_MAIN(tst_BrowserParts)

#include "tst_browserparts.moc"
