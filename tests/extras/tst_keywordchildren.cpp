// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "client/websocketkeywordclient.h"
#include "extras/browsing/keywordchildren.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"
#include "tests/extras/answeringclient.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QPersistentModelIndex>
#include <QtCore/QPointer>
#include <QtTest/QAbstractItemModelTester>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>
#include <memory>
#include <random>

using namespace pellix::client;
using namespace pellix::server;
using namespace pellix::simulator;
using pellix::extras::PKeywordChildren;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QStringList listOf(const char *names)
{
    return q(names).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

// The listed rows: "label(name)", or only the name.
QString rows(const PKeywordChildren &children)
{
    QStringList rows;
    for (int row = 0; row < children.rowCount(); ++row) {
        const QString shown = children.get(row).value(q("displayName")).toString();
        const QString name = children.get(row).value(q("name")).toString();
        rows.append(shown == name ? name : shown + QLatin1Char('(') + name + QLatin1Char(')'));
    }
    return rows.join(QLatin1String(", "));
}

class Listing
{
public:
    Listing()
    {
        children.setClient(&client);
        children.setKeyword(q("/x"));
    }
    explicit Listing(const char *names) : Listing() { client.list(listOf(names)); }

    AnsweringClient client;
    PKeywordChildren children;
    QAbstractItemModelTester tester {&children,
                                     QAbstractItemModelTester::FailureReportingMode::QtTest};
};

} // namespace

class tst_KeywordChildren : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void defaults();
    void properties();
    void roles();
    void paths();
    void keyword_isAskedForOnce();
    void keyword_emptyListsNothing();
    void order_isNatural();
    void order_isTheSameWhateverComesFirst();
    void order_isMadeOnceForManyLabels();
    void order_movesSingleRows_data();
    void order_movesSingleRows();
    void order_isDeletedWithTheModel();
    void filter_byLabelAndName_data();
    void filter_byLabelAndName();
    void filter_ofTheServerAsksAgain();
    void access_isAskedForWhenWanted();
    void labels_areNotWatchedWithoutThem();
    void labels_ofAnotherKeywordAreForgotten();
    void link_asksAgainWhenItIsBack();
    void link_isNotThereYet();
    void link_repeatsAQuestionThatIsLost();
    void answer_keepsTheRowsThatStay();
    void answer_ofAnEarlierQuestionIsIgnored();
    void answer_inTheSendingCall();
    void answer_ofAnotherSpellingIsAnotherRow();
    void current_staysWithItsKeyword();
    void current_isSetByTheRow();
    void client_isReplaced();
    void client_isDeleted();
    void handler_deletesTheModel_data();
    void handler_deletesTheModel();
    void handler_asksForAnotherKeyword();
    void server_isAskedThroughAReconnect();
};

void tst_KeywordChildren::initTestCase()
{
    // The client warns about each lost connection.
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.websocketclient=false"));
}

void tst_KeywordChildren::defaults()
{
    const PKeywordChildren children;
    QCOMPARE(children.client(), nullptr);
    QCOMPARE(children.keyword(), QString());
    QCOMPARE(children.filterType(), PKeywordValueType::KVT_NOPROP);
    QCOMPARE(children.filterAccess(), PKeywordValueAccess::KVA_NONE);
    QCOMPARE(children.filter(), QString());
    QCOMPARE(children.labels(), true);
    QCOMPARE(children.accesses(), false);
    QCOMPARE(children.loading(), false);
    QCOMPARE(children.listed(), false);
    QCOMPARE(children.count(), 0);
    QCOMPARE(children.total(), 0);
    QCOMPARE(children.currentKeyword(), QString());
    QCOMPARE(children.currentIndex(), -1);
    QCOMPARE(children.keywordAt(0), QString());
    QCOMPARE(children.rowOf(QString()), -1);
    QCOMPARE(children.get(0), QVariantMap());
}

void tst_KeywordChildren::properties()
{
    AnsweringClient client;
    PKeywordChildren children;
    const QList<std::pair<const char *, QVariant>> values {
        {"client", QVariant::fromValue<PKeywordClient *>(&client)},
        {"keyword", q("/x")},
        {"filterType", QVariant::fromValue(PKeywordValueType::KVT_INT)},
        {"filterAccess", QVariant::fromValue(PKeywordValueAccess::KVA_READ)},
        {"filter", q("a b")},
        {"labels", false},
        {"accesses", true},
        {"currentKeyword", q("/x/a")},
    };
    for (const auto &[name, value] : values) {
        const QMetaProperty property =
            children.metaObject()->property(children.metaObject()->indexOfProperty(name));
        QSignalSpy spy(&children, property.notifySignal());
        QVERIFY(property.write(&children, value));
        QCOMPARE(property.read(&children), value);
        QCOMPARE(spy.size(), 1);
        QVERIFY(property.write(&children, value));
        QCOMPARE(spy.size(), 1);
    }
}

void tst_KeywordChildren::roles()
{
    Listing listing;
    listing.client.list({q("/x#tank")}, QString());
    listing.client.label(q("/x#tank"), q("Tank"));
    const QVariantMap group = listing.children.get(0);
    QCOMPARE(group.value(q("keyword")).toString(), q("/x#tank"));
    QCOMPARE(group.value(q("normalizedKeyword")).toString(), q("/x/tank"));
    QCOMPARE(group.value(q("name")).toString(), q("tank"));
    QCOMPARE(group.value(q("label")).toString(), q("Tank"));
    QCOMPARE(group.value(q("displayName")).toString(), q("Tank"));
    QCOMPARE(group.value(q("type")).toString(), QString());
    QCOMPARE(group.value(q("typeLetter")).toString(), q(">"));
    QCOMPARE(group.value(q("hasChildren")).toBool(), true);
    QCOMPARE(group.value(q("access")).toString(), QString());
    QCOMPARE(listing.children.index(0).data().toString(), q("Tank"));

    listing.children.refresh();
    listing.client.list({q("/x#tank")}, q("bool"));
    const QVariantMap value = listing.children.get(0);
    QCOMPARE(value.value(q("typeLetter")).toString(), q("B"));
    QCOMPARE(value.value(q("typeColor")).value<QColor>(), QColor(0xf0, 0xa3, 0x0a));
    QCOMPARE(value.value(q("hasChildren")).toBool(), false);
    QCOMPARE(value.value(q("label")).toString(), q("Tank")); // known before the query
}

void tst_KeywordChildren::paths()
{
    const PKeywordChildren children;
    QCOMPARE(children.normalized(q("a#b//c/")), q("/a/b/c"));
    QCOMPARE(children.normalized(QString()), q("/"));
    QCOMPARE(children.parentOf(q("/a#b/c")), q("/a/b"));
    QCOMPARE(children.parentOf(q("/a")), q("/"));
    QCOMPARE(children.parentOf(q("/")), q("/"));
}

void tst_KeywordChildren::keyword_isAskedForOnce()
{
    Listing listing;
    QCOMPARE(listing.client.queries, listOf("/x"));
    QVERIFY(listing.children.loading() && !listing.children.listed());
    QSignalSpy listed(&listing.children, &PKeywordChildren::listedChanged);
    QSignalSpy loading(&listing.children, &PKeywordChildren::loadingChanged);
    QSignalSpy count(&listing.children, &PKeywordChildren::countChanged);
    listing.client.list(listOf("/x/b /x/a /x/b"));
    QVERIFY(!listing.children.loading() && listing.children.listed());
    QCOMPARE(listed.size(), 1);
    QCOMPARE(loading.size(), 1);
    QCOMPARE(count.size(), 1);
    QCOMPARE(rows(listing.children), q("a, b"));
    listing.children.setKeyword(q("/x")); // the same keyword
    QCOMPARE(listing.client.queries.size(), 1);
    listing.children.setKeyword(q("/y"));
    QCOMPARE(rows(listing.children), QString());
    QVERIFY(listing.children.loading() && !listing.children.listed());
    QCOMPARE(listing.client.queries, listOf("/x /y"));
    listing.children.setKeyword(q("/"));
    QCOMPARE(listing.client.queries, listOf("/x /y /"));
}

void tst_KeywordChildren::keyword_emptyListsNothing()
{
    Listing listing("/x/a");
    listing.children.setKeyword(QString());
    QCOMPARE(listing.client.queries, listOf("/x"));
    QCOMPARE(listing.children.count(), 0);
    QVERIFY(!listing.children.loading() && !listing.children.listed());
}

void tst_KeywordChildren::order_isNatural()
{
    // 10 is greater than 9 as a number. As text, it is less than 9a, which is greater than 9.
    Listing listing("/x/10 /x/b /x/9 /x/9a /x/A /x/item10 /x/item9");
    QCOMPARE(rows(listing.children), q("9, 9a, 10, A, b, item9, item10"));

    listing.client.label(q("/x/b"), q("Item 11"));
    listing.client.label(q("/x/A"), q("item 9"));
    QTRY_COMPARE(rows(listing.children), q("9, 9a, 10, item 9(A), Item 11(b), item9, item10"));
}

void tst_KeywordChildren::order_isTheSameWhateverComesFirst()
{
    // With equal labels, the names determine the order.
    QStringList names;
    QStringList expected;
    for (int i = 0; i < 12; ++i) {
        names.append(q("/x/k%1").arg(i));
        expected.append(q("Level(k%1)").arg(i));
    }
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same orders each time
    for (int run = 0; run < 20; ++run) {
        Listing listing;
        std::shuffle(names.begin(), names.end(), random);
        listing.client.list(names);
        std::shuffle(names.begin(), names.end(), random);
        for (const QString &name : std::as_const(names))
            listing.client.label(name, q("Level"));
        listing.children.setFilter(q("l")); // sorts at once
        QCOMPARE(rows(listing.children), expected.join(QLatin1String(", ")));
    }
}

void tst_KeywordChildren::order_isMadeOnceForManyLabels()
{
    constexpr int count = 1000;
    QStringList names;
    for (int i = 0; i < count; ++i)
        names.append(q("/x/k%1").arg(i));
    Listing listing;
    listing.client.list(names);
    QCOMPARE(listing.children.rowCount(), count);
    QSignalSpy layouts(&listing.children, &QAbstractItemModel::layoutChanged);
    QSignalSpy resets(&listing.children, &QAbstractItemModel::modelReset);
    QSignalSpy changes(&listing.children, &QAbstractItemModel::dataChanged);

    // Labels that reverse the order.
    for (int i = 0; i < count; ++i)
        listing.client.label(names.at(i), QString::number(count - i));
    QCOMPARE(changes.size(), count);
    QCOMPARE(layouts.size(), 0);
    QVERIFY(layouts.wait());
    QCOMPARE(layouts.size(), 1);
    for (int row = 0; row < count; ++row)
        QCOMPARE(listing.children.get(row).value(q("label")).toInt(), row + 1);

    // With a filter, rows that now match are inserted and the others are removed. The position of a
    // view is kept.
    layouts.clear();
    listing.children.setFilter(q("new"));
    QCOMPARE(listing.children.rowCount(), 0);
    QCOMPARE(listing.children.total(), count);
    listing.client.label(names.at(7), q("new label"));
    QTRY_COMPARE(listing.children.rowCount(), 1);
    QCOMPARE(resets.size(), 0);
}

void tst_KeywordChildren::order_movesSingleRows_data()
{
    QTest::addColumn<QStringList>("labelled"); // "name label"
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("moves");

    QTest::newRow("to the end") << QStringList {q("a z")} << q("b c d e z(a)") << 1;
    QTest::newRow("to the beginning") << QStringList {q("e 1")} << q("1(e) a b c d") << 1;
    QTest::newRow("within") << QStringList {q("b d1")} << q("a c d d1(b) e") << 1;
    QTest::newRow("by one") << QStringList {q("b c1")} << q("a c c1(b) d e") << 1;
    QTest::newRow("two") << QStringList {q("a z"), q("e 1")} << q("1(e) b c d z(a)") << 2;
    QTest::newRow("turned round") << QStringList {q("a 5"), q("b 4"), q("c 3"), q("d 2"), q("e 1")}
                                  << q("1(e) 2(d) 3(c) 4(b) 5(a)") << 4;
    QTest::newRow("none") << QStringList {q("c c1")} << q("a b c1(c) d e") << 0;
}

void tst_KeywordChildren::order_movesSingleRows()
{
    QFETCH(QStringList, labelled);
    QFETCH(QString, expected);
    QFETCH(int, moves);

    Listing listing("/x/a /x/b /x/c /x/d /x/e");
    QList<QPersistentModelIndex> kept;
    for (int row = 0; row < 5; ++row)
        kept.append(listing.children.index(row));
    QSignalSpy moved(&listing.children, &QAbstractItemModel::rowsMoved);
    QSignalSpy layouts(&listing.children, &QAbstractItemModel::layoutChanged);
    for (const QString &label : labelled) {
        listing.client.label(q("/x/") + label.section(QLatin1Char(' '), 0, 0),
                             label.section(QLatin1Char(' '), 1));
    }
    listing.children.setFilter(q(" ")); // sorts at once
    QCOMPARE(rows(listing.children).remove(QLatin1Char(',')), expected);
    QCOMPARE(moved.size(), moves);
    QCOMPARE(layouts.size(), 0);
    for (int i = 0; i < 5; ++i)
        QCOMPARE(kept.at(i).data(PKeywordChildren::NameRole).toString(), q("abcde").mid(i, 1));
}

void tst_KeywordChildren::order_isDeletedWithTheModel()
{
    for (const bool before : {true, false}) {
        AnsweringClient client;
        const QPointer<PKeywordChildren> children(new PKeywordChildren);
        children->setClient(&client);
        children->setKeyword(q("/x"));
        QStringList names;
        for (int i = 0; i < 200; ++i)
            names.append(q("/x/%1").arg(i));
        client.list(names);
        for (int i = 0; i < 200; ++i)
            client.label(names.at(i), QString::number(1000 - i));
        const auto act = [&] { delete children; };
        if (before)
            connect(children, &QAbstractItemModel::layoutAboutToBeChanged, this, act);
        else
            connect(children, &QAbstractItemModel::layoutChanged, this, act);
        children->setFilter(q(" "));
        QVERIFY(!children);
    }
}

void tst_KeywordChildren::filter_byLabelAndName_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QString>("rows");

    const auto row = [](const char *filter, const char *rows) {
        QTest::addRow("'%s'", filter) << q(filter) << q(rows);
    };
    row("", "Bottles per hour(count), level, Sugar level(l2)");
    row("bottles", "Bottles per hour(count)");
    row("COUNT", "Bottles per hour(count)");
    row("hour count", "Bottles per hour(count)"); // one word in the label, one in the name
    row("level", "level, Sugar level(l2)");
    row("l2 sugar", "Sugar level(l2)");
    row("  level   ", "level, Sugar level(l2)");
    row("x", ""); // the parent path does not count
    row("bottles l2", "");
}

void tst_KeywordChildren::filter_byLabelAndName()
{
    QFETCH(const QString, filter);
    QFETCH(const QString, rows);

    Listing listing("/x/count /x/level /x/l2");
    listing.client.label(q("/x/count"), q("Bottles per hour"));
    listing.client.label(q("/x/l2"), q("Sugar level"));
    QTRY_COMPARE(::rows(listing.children), q("Bottles per hour(count), level, Sugar level(l2)"));
    listing.children.setFilter(filter);
    QCOMPARE(::rows(listing.children), rows);
    QCOMPARE(listing.children.total(), 3);
    listing.children.setFilter(QString());
    QCOMPARE(listing.children.count(), 3);
}

void tst_KeywordChildren::filter_ofTheServerAsksAgain()
{
    Listing listing("/x/a /x/b");
    listing.client.taken();
    listing.children.setFilterType(PKeywordValueType::KVT_INT);
    QVERIFY(listing.client.taken().contains(q("\"type\":\"int\"")));
    QCOMPARE(listing.children.count(), 2); // until the reply arrives
    listing.client.list(listOf("/x/b"));
    QCOMPARE(rows(listing.children), q("b"));
    listing.children.setFilterAccess(PKeywordValueAccess::KVA_WRITE);
    QVERIFY(listing.client.taken().contains(q("\"access\":\"W\"")));
}

void tst_KeywordChildren::access_isAskedForWhenWanted()
{
    KeywordServer server;
    for (const char *access : {"R", "W", "RW", "N"})
        server.declare({q("/x/") + q(access), q("int"), q(access), QString(), 1});
    server.declare({q("/x/level/below"), q("int"), q("R"), QString(), 1});
    PInProcessKeywordClient client;
    linkInProcess(&server, &client);
    PKeywordChildren children;
    children.setAccesses(true);
    children.setClient(&client);
    children.setKeyword(q("/x"));
    const auto told = [&] {
        QStringList told;
        for (int row = 0; row < children.count(); ++row) {
            const QVariantMap fields = children.get(row);
            told.append(fields.value(q("name")).toString() + q("=")
                        + fields.value(q("access")).toString());
        }
        return told.join(QLatin1Char(' '));
    };
    QTRY_COMPARE(told(), q("level= N=N R=R RW=RW W=W"));
}

void tst_KeywordChildren::labels_areNotWatchedWithoutThem()
{
    Listing listing;
    listing.children.setLabels(false);
    listing.client.list(listOf("/x/a /x/b"));
    QCOMPARE(listing.client.created, QStringList());
    listing.children.setLabels(true);
    QCOMPARE(listing.client.created, listOf("/x/a/Label /x/b/Label"));
    listing.children.setLabels(false);
    QCOMPARE(listing.client.destroyed, listOf("/x/a/Label /x/b/Label"));
}

void tst_KeywordChildren::labels_ofAnotherKeywordAreForgotten()
{
    Listing listing("/x/a");
    listing.client.label(q("/x/a"), q("Tank"));
    QCOMPARE(rows(listing.children), q("Tank(a)"));
    listing.children.setKeyword(q("/y"));
    QCOMPARE(listing.client.destroyed, listOf("/x/a/Label"));
    listing.client.list(listOf("/y/a"));
    QCOMPARE(rows(listing.children), q("a"));
    listing.children.setKeyword(q("/x"));
    listing.client.list(listOf("/x/a"));
    QCOMPARE(rows(listing.children), q("a"));
    // A label that is removed.
    listing.client.label(q("/x/a"), q("Tank"));
    listing.client.label(q("/x/a"), QString());
    QCOMPARE(rows(listing.children), q("a"));
}

void tst_KeywordChildren::link_asksAgainWhenItIsBack()
{
    Listing listing("/x/a /x/b");
    listing.client.label(q("/x/b"), q("Label"));
    listing.client.created.clear();
    listing.client.link(false);
    QCOMPARE(rows(listing.children), q("a, Label(b)"));
    QVERIFY(listing.children.listed());
    listing.client.link(true);
    QCOMPARE(listing.client.queries, listOf("/x /x"));
    QCOMPARE(listing.client.created, listOf("/x/a/Label /x/b/Label"));
    listing.client.list(listOf("/x/b /x/c"));
    QCOMPARE(rows(listing.children), q("c, Label(b)"));
    QCOMPARE(listing.client.destroyed, listOf("/x/a/Label"));
}

void tst_KeywordChildren::link_isNotThereYet()
{
    AnsweringClient client;
    client.link(false);
    PKeywordChildren children;
    children.setKeyword(q("/x"));
    QVERIFY(!children.loading());
    children.setClient(&client);
    QVERIFY(children.loading());
    QCOMPARE(client.queries, QStringList());
    client.link(true);
    QCOMPARE(client.queries, listOf("/x"));
    client.list(listOf("/x/a"));
    QCOMPARE(rows(children), q("a"));
}

void tst_KeywordChildren::link_repeatsAQuestionThatIsLost()
{
    Listing listing;
    listing.client.link(false);
    QVERIFY(listing.children.loading());
    listing.client.link(true);
    QCOMPARE(listing.client.queries, listOf("/x /x"));
    listing.client.list(listOf("/x/a"));
    QVERIFY(!listing.children.loading());
    QCOMPARE(rows(listing.children), q("a"));
}

void tst_KeywordChildren::answer_keepsTheRowsThatStay()
{
    Listing listing("/x/1 /x/2 /x/3 /x/4 /x/5");
    const QPersistentModelIndex third(listing.children.index(2));
    QSignalSpy resets(&listing.children, &QAbstractItemModel::modelReset);
    QSignalSpy removed(&listing.children, &QAbstractItemModel::rowsRemoved);
    QSignalSpy inserted(&listing.children, &QAbstractItemModel::rowsInserted);
    listing.children.refresh();
    QCOMPARE(listing.children.count(), 5);
    listing.client.list(listOf("/x/5 /x/3 /x/1 /x/0 /x/00"));
    QCOMPARE(rows(listing.children), q("0, 00, 1, 3, 5"));
    QVERIFY(third.isValid());
    QCOMPARE(third.row(), 3);
    QCOMPARE(third.data().toString(), q("3"));
    QCOMPARE(resets.size(), 0);
    QCOMPARE(removed.size(), 2);
    QCOMPARE(inserted.size(), 1);

    listing.client.label(q("/x/3"), q("zero"));
    QTRY_COMPARE(rows(listing.children), q("0, 00, 1, 5, zero(3)"));
    QCOMPARE(third.row(), 4);
}

void tst_KeywordChildren::answer_ofAnEarlierQuestionIsIgnored()
{
    Listing listing;
    const QString earlier = listing.client.sent.last();
    listing.children.setKeyword(q("/y"));
    listing.client.list(listOf("/y/a"));
    const QString uuid = QJsonDocument::fromJson(earlier.toUtf8())[QLatin1String("payload")]
                             .toObject()[QLatin1String("uuid")]
                             .toString();
    QVERIFY(!uuid.isEmpty());
    listing.client.receive(q(R"({"cmd":"keyIndex","payload":{"request":{"uuid":"%1"},)"
                             R"("response":[{"name":"/x/b","type":"int"}]}})")
                               .arg(uuid));
    QCOMPARE(rows(listing.children), q("a"));
}

void tst_KeywordChildren::answer_inTheSendingCall()
{
    Listing listing;
    listing.client.tree = {{q("/z/a"), q("int")}, {q("/z/b/c"), q("int")}};
    listing.client.onCreate = [&](const QString &keyword) {
        if (keyword == q("/z/a/Label"))
            listing.client.label(q("/z/a"), q("Label at once"));
    };
    listing.children.setKeyword(q("/z"));
    QVERIFY(!listing.children.loading());
    QTRY_COMPARE(rows(listing.children), q("b, Label at once(a)"));
}

void tst_KeywordChildren::answer_ofAnotherSpellingIsAnotherRow()
{
    Listing listing("/x/a");
    listing.children.refresh();
    listing.client.list(listOf("/x#a"));
    QCOMPARE(listing.children.keywordAt(0), q("/x#a"));
    QCOMPARE(listing.client.created.last(), q("/x#a/Label"));
}

void tst_KeywordChildren::current_staysWithItsKeyword()
{
    Listing listing("/x/a /x/b /x/c");
    QSignalSpy moved(&listing.children, &PKeywordChildren::currentIndexChanged);
    listing.children.setCurrentKeyword(q("/x#b")); // in any notation
    QCOMPARE(listing.children.currentIndex(), 1);
    QCOMPARE(moved.size(), 1);
    listing.client.label(q("/x/b"), q("z"));
    QTRY_COMPARE(listing.children.currentIndex(), 2);
    QCOMPARE(moved.size(), 2);
    listing.children.setFilter(q("a"));
    QCOMPARE(listing.children.currentIndex(), -1);
    QCOMPARE(listing.children.currentKeyword(), q("/x#b"));
    listing.children.setFilter(QString());
    QCOMPARE(listing.children.currentIndex(), 2);
    listing.children.refresh();
    listing.client.list(listOf("/x/b /x/c"));
    QCOMPARE(listing.children.currentIndex(), 1);
    listing.children.setKeyword(q("/y"));
    QCOMPARE(listing.children.currentIndex(), -1);
    listing.children.setKeyword(q("/x"));
    listing.client.list(listOf("/x/a /x/b"));
    QCOMPARE(listing.children.currentIndex(), 1);
}

void tst_KeywordChildren::current_isSetByTheRow()
{
    Listing listing("/x/a /x#b");
    listing.children.setCurrentIndex(1);
    QCOMPARE(listing.children.currentKeyword(), q("/x#b"));
    listing.children.setCurrentIndex(7);
    QCOMPARE(listing.children.currentKeyword(), q("/x#b"));
    listing.children.setCurrentIndex(-1);
    QCOMPARE(listing.children.currentKeyword(), QString());
}

void tst_KeywordChildren::client_isReplaced()
{
    Listing listing("/x/a");
    listing.client.label(q("/x/a"), q("Label"));
    AnsweringClient other;
    listing.children.setClient(&other);
    QCOMPARE(listing.children.count(), 0);
    QCOMPARE(listing.client.destroyed, listOf("/x/a/Label"));
    QCOMPARE(other.queries, listOf("/x"));
    other.list(listOf("/x/a"));
    QCOMPARE(rows(listing.children), q("a"));
    listing.children.setClient(nullptr);
    QCOMPARE(listing.children.count(), 0);
    QVERIFY(!listing.children.loading());
}

void tst_KeywordChildren::client_isDeleted()
{
    auto client = std::make_unique<AnsweringClient>();
    PKeywordChildren children;
    children.setClient(client.get());
    children.setKeyword(q("/x"));
    client->list(listOf("/x/a"));
    client.reset();
    QCOMPARE(children.client(), nullptr);
    QCOMPARE(children.count(), 1);
    QSignalSpy changed(&children, &PKeywordChildren::clientChanged);
    children.setClient(nullptr);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(children.count(), 0);
}

void tst_KeywordChildren::handler_deletesTheModel_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<bool>("withClient");
    for (const char *signal :
         {"keywordChanged()", "countChanged()", "totalChanged()", "currentIndexChanged()",
          "listedChanged()", "loadingChanged()", "clientChanged()", "filterChanged()",
          // Not before rows are inserted or removed: no model of Qt supports that.
          "rowsInserted(QModelIndex,int,int)", "rowsRemoved(QModelIndex,int,int)",
          "rowsMoved(QModelIndex,int,int,QModelIndex,int)",
          "dataChanged(QModelIndex,QModelIndex,QList<int>)"}) {
        for (const bool withClient : {false, true})
            QTest::addRow("%s%s", signal, withClient ? ", client" : "")
                << QByteArray(signal) << withClient;
    }
}

void tst_KeywordChildren::handler_deletesTheModel()
{
    QFETCH(QByteArray, signal);
    QFETCH(bool, withClient);

    auto *const client = new AnsweringClient;
    const QPointer<AnsweringClient> clientLife(client);
    QPointer<PKeywordChildren> children(new PKeywordChildren);
    const QMetaObject *const meta = children->metaObject();
    const int index = meta->indexOfSignal(signal);
    QVERIFY(index >= 0);
    // Uses the first emission of the signal, in any of the steps.
    class Deleter : public QObject
    {
    public:
        std::function<void()> act;
        int qt_metacall(QMetaObject::Call call, int id, void **arguments) override
        {
            id = QObject::qt_metacall(call, id, arguments);
            if (id == 0 && call == QMetaObject::InvokeMetaMethod)
                act();
            return id - 1;
        }
    } deleter;
    QVERIFY(
        QMetaObject::connect(children, index, &deleter, QObject::staticMetaObject.methodCount()));
    deleter.act = [&] {
        delete children;
        if (withClient && clientLife)
            clientLife->deleteLater();
    };
    const QList<std::function<void()>> steps {
        [&] { children->setClient(client); },
        [&] { children->setKeyword(q("/x")); },
        [&] { client->list(listOf("/x/a /x/b /x/c /x/d")); },
        [&] { children->setCurrentKeyword(q("/x/b")); },
        [&] { client->label(q("/x/b"), q("z")); },
        [&] { children->setFilter(q(" ")); },
        [&] { children->setFilter(q("z")); },
        [&] { children->setFilter(QString()); },
        [&] { children->refresh(); },
        [&] { client->list(listOf("/x/d")); },
    };
    for (const auto &step : steps) {
        if (children)
            step();
    }
    QVERIFY(!children);
    delete clientLife;
}

void tst_KeywordChildren::handler_asksForAnotherKeyword()
{
    for (const bool before : {false, true}) {
        Listing listing;
        PKeywordChildren *const children = &listing.children;
        bool done = false;
        const auto act = [&] {
            if (!std::exchange(done, true))
                children->setKeyword(q("/y"));
        };
        if (before)
            connect(children, &QAbstractItemModel::rowsAboutToBeInserted, this, act);
        else
            connect(children, &QAbstractItemModel::rowsInserted, this, act);
        listing.client.list(listOf("/x/a /x/b"));
        QCOMPARE(rows(*children), QString());
        listing.client.list(listOf("/y/a /y/b"));
        QCOMPARE(rows(*children), q("a, b"));
        QCOMPARE(children->keywordAt(0), q("/y/a"));
        QVERIFY(!children->loading());
    }
}

void tst_KeywordChildren::server_isAskedThroughAReconnect()
{
    KeywordServer server;
    for (const char *path : {"/a", "/a/b", "/a/c", "/d"})
        server.declare({q(path), q("int"), q("R"), QString(), 1});
    FaultyWebSocketServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));
    PWebSocketKeywordClient client;
    client.setAutoReconnect(true);
    client.setUrls({transport.url().toString()});

    PKeywordChildren children;
    children.setKeyword(q("/a"));
    children.setClient(&client);
    QVERIFY(!children.listed());
    QTRY_COMPARE(children.total(), 2);
    children.setKeyword(q("/d"));
    QVERIFY(!children.listed());
    QTRY_VERIFY(children.listed());
    QCOMPARE(children.total(), 0);

    // The query is repeated when the connection is restored.
    server.declare({q("/d/e"), q("int"), q("R"), QString(), 1});
    transport.abortClients();
    QTRY_COMPARE_WITH_TIMEOUT(children.total(), 1, 20000);
}

QTEST_GUILESS_MAIN(tst_KeywordChildren)
#include "tst_keywordchildren.moc"
