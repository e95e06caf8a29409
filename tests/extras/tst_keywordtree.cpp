// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/browsing/keywordtree.h"
#include "extras/keywordextrasmodule.h"
#include "module/pellixclientkeywordmodule.h"
#include "tests/extras/answeringclient.h"

#include <QtCore/QPersistentModelIndex>
#include <QtCore/QPointer>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtTest/QAbstractItemModelTester>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>

using namespace pellix::client;
using pellix::extras::PKeywordTree;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QStringList listOf(const char *names)
{
    return q(names).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

// The fetched rows, such as "a(b c(d)) e".
QString text(const PKeywordTree &tree, const QModelIndex &parent = {})
{
    QStringList rows;
    for (int row = 0; row < tree.rowCount(parent); ++row) {
        const QModelIndex index = tree.index(row, 0, parent);
        const QString below = text(tree, index);
        rows.append(index.data().toString()
                    + (below.isEmpty() ? QString() : QLatin1Char('(') + below + QLatin1Char(')')));
    }
    return rows.join(QLatin1Char(' '));
}

class Growing
{
public:
    Growing()
    {
        client.tree = {
            {q("/plant/tank1/level"), q("double")}, {q("/plant/tank1/level/limit"), q("double")},
            {q("/plant/tank1/flow"), q("double")},  {q("/plant/tank10/level"), q("double")},
            {q("/plant/tank9/level"), q("double")}, {q("/other"), q("int")}};
        tree.setClient(&client);
    }
    void fetch(const char *keyword) { tree.fetchMore(tree.indexOf(q(keyword))); }

    AnsweringClient client;
    PKeywordTree tree;
};

} // namespace

class tst_KeywordTree : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void defaults();
    void model_isConsistent();
    void levels_areFetchedWhenAskedFor();
    void levels_areInNaturalOrder();
    void below_isLookedForWhenItMatters();
    void below_isNotLookedForWithoutIt();
    void indexOf_findsAnySpelling();
    void link_keepsWhatIsThere();
    void link_repeatsAQuestionThatIsLost();
    void client_isReplacedAndDeleted();
    void keyword_isTheTop();
    void handler_deletesTheModel_data();
    void handler_deletesTheModel();
    void handler_fetchesInBetween();
    void view_expandsAndStaysExpanded();
};

void tst_KeywordTree::initTestCase()
{
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    pellix::extras::KeywordExtrasModule::registerTypes();
}

void tst_KeywordTree::defaults()
{
    const PKeywordTree tree;
    QCOMPARE(tree.client(), nullptr);
    QCOMPARE(tree.keyword(), q("/"));
    QCOMPARE(tree.filterType(), PKeywordValueType::KVT_NOPROP);
    QCOMPARE(tree.filterAccess(), PKeywordValueAccess::KVA_NONE);
    QCOMPARE(tree.labels(), true);
    QCOMPARE(tree.lookBelow(), true);
    QCOMPARE(tree.loading(), false);
    QCOMPARE(tree.rowCount(), 0);
    QCOMPARE(tree.columnCount(), 1);
    QVERIFY(!tree.hasChildren());
    QVERIFY(!tree.indexOf(q("/a")).isValid());
}

// The model tester fetches everything that can be fetched.
void tst_KeywordTree::model_isConsistent()
{
    Growing growing;
    const QAbstractItemModelTester tester(&growing.tree,
                                          QAbstractItemModelTester::FailureReportingMode::QtTest);
    const QString whole = q("other plant(tank1(flow level(limit)) tank9(level) tank10(level))");
    QTRY_COMPARE(text(growing.tree), whole);
    growing.client.label(q("/plant/tank9"), q("z"));
    QTRY_COMPARE(text(growing.tree),
                 q("other plant(tank1(flow level(limit)) tank10(level) z(level))"));
    growing.client.link(false);
    growing.client.tree.remove(q("/plant/tank1/level/limit"));
    growing.client.tree.remove(q("/plant/tank10/level"));
    growing.client.link(true);
    QTRY_COMPARE(text(growing.tree), q("other plant(tank1(flow level) z(level))"));
    growing.tree.setClient(nullptr);
    QCOMPARE(growing.tree.rowCount(), 0);
}

void tst_KeywordTree::levels_areFetchedWhenAskedFor()
{
    Growing growing;
    QCOMPARE(text(growing.tree), q("other plant"));
    QCOMPARE(growing.client.queries.count(q("/plant")), 0);
    const QModelIndex plant = growing.tree.indexOf(q("/plant"));
    QVERIFY(growing.tree.hasChildren(plant) && growing.tree.canFetchMore(plant));
    growing.tree.fetchMore(plant);
    QCOMPARE(text(growing.tree), q("other plant(tank1 tank9 tank10)"));
    QVERIFY(!growing.tree.canFetchMore(plant));
    growing.tree.fetchMore(plant);
    QCOMPARE(growing.client.queries.count(q("/plant")), 1);
    growing.fetch("/plant/tank1");
    QCOMPARE(text(growing.tree), q("other plant(tank1(flow level) tank9 tank10)"));
    const QModelIndex flow = growing.tree.indexOf(q("/plant/tank1/flow"));
    QCOMPARE(flow.data(PKeywordTree::TypeRole).toString(), q("double"));
    QCOMPARE(flow.data(PKeywordTree::TypeLetterRole).toString(), q("N"));
    QCOMPARE(growing.tree.keywordAt(flow), q("/plant/tank1/flow"));
    QCOMPARE(flow.parent().data().toString(), q("tank1"));
}

void tst_KeywordTree::levels_areInNaturalOrder()
{
    Growing growing;
    growing.fetch("/plant");
    const QPersistentModelIndex first(growing.tree.indexOf(q("/plant/tank1")));
    growing.fetch("/plant/tank1");
    growing.client.label(q("/plant/tank1"), q("Tank 11"));
    QTRY_COMPARE(text(growing.tree), q("other plant(Tank 11(flow level) tank9 tank10)"));
    growing.client.label(q("/plant/tank1"), q("tank 11"));
    growing.client.label(q("/plant/tank9"), q("Tank 12"));
    growing.client.label(q("/plant/tank10"), q("a tank"));
    QTRY_COMPARE(text(growing.tree), q("other plant(a tank tank 11(flow level) Tank 12)"));
    QCOMPARE(first.row(), 1);
    QCOMPARE(first.data(PKeywordTree::NameRole).toString(), q("tank1"));
    QCOMPARE(growing.tree.indexOf(q("/plant/tank1/level")).parent(), QModelIndex(first));
}

void tst_KeywordTree::below_isLookedForWhenItMatters()
{
    Growing growing;
    growing.fetch("/plant");
    growing.fetch("/plant/tank1");
    const QModelIndex level = growing.tree.indexOf(q("/plant/tank1/level"));
    const QModelIndex flow = growing.tree.indexOf(q("/plant/tank1/flow"));
    QVERIFY(!growing.tree.hasChildren(level) && !growing.tree.hasChildren(flow));
    QTRY_VERIFY(growing.tree.hasChildren(level));
    QVERIFY(!growing.tree.hasChildren(flow));
    QCOMPARE(growing.client.queries.count(q("/plant/tank1/flow")), 1);
    QVERIFY(growing.tree.canFetchMore(level));
    growing.tree.fetchMore(level);
    QCOMPARE(text(growing.tree), q("other plant(tank1(flow level(limit)) tank9 tank10)"));
}

void tst_KeywordTree::below_isNotLookedForWithoutIt()
{
    Growing growing;
    growing.tree.setLookBelow(false);
    growing.fetch("/plant");
    growing.fetch("/plant/tank1");
    growing.tree.setKeyword(q("/plant/tank9"));
    growing.client.queries.clear();
    const QModelIndex level = growing.tree.indexOf(q("/plant/tank9/level"));
    QVERIFY(!growing.tree.hasChildren(level));
    QCoreApplication::processEvents();
    QCOMPARE(growing.client.queries, QStringList());
}

void tst_KeywordTree::indexOf_findsAnySpelling()
{
    Growing growing;
    growing.fetch("/plant");
    QCOMPARE(growing.tree.indexOf(q("plant#tank9")).data().toString(), q("tank9"));
    QVERIFY(!growing.tree.indexOf(q("/plant/tank9/level")).isValid()); // not fetched yet
    QVERIFY(!growing.tree.indexOf(QString()).isValid());
    QVERIFY(!growing.tree.indexOf(q("/")).isValid());
}

void tst_KeywordTree::link_keepsWhatIsThere()
{
    Growing growing;
    growing.fetch("/plant");
    growing.fetch("/plant/tank9");
    growing.fetch("/plant/tank1");
    const QPersistentModelIndex level(growing.tree.indexOf(q("/plant/tank9/level")));
    QSignalSpy resets(&growing.tree, &QAbstractItemModel::modelReset);
    growing.client.link(false);
    growing.client.tree.remove(q("/plant/tank1/level"));
    growing.client.tree.remove(q("/plant/tank1/level/limit"));
    growing.client.tree.remove(q("/plant/tank1/flow"));
    growing.client.tree.insert(q("/plant/tank9/flow"), q("double"));
    growing.client.link(true);
    QCOMPARE(text(growing.tree), q("other plant(tank9(flow level) tank10)"));
    QVERIFY(level.isValid());
    QCOMPARE(level.row(), 1);
    QCOMPARE(resets.size(), 0);
    QVERIFY(!growing.tree.loading());
}

void tst_KeywordTree::link_repeatsAQuestionThatIsLost()
{
    Growing growing;
    const auto tree = std::exchange(growing.client.tree, {});
    QSignalSpy loading(&growing.tree, &PKeywordTree::loadingChanged);
    growing.fetch("/plant");
    const QModelIndex plant = growing.tree.indexOf(q("/plant"));
    QVERIFY(growing.tree.loading() && plant.data(PKeywordTree::LoadingRole).toBool());
    QCOMPARE(loading.size(), 1);
    growing.client.link(false);
    growing.client.tree = tree;
    growing.client.link(true);
    QCOMPARE(text(growing.tree), q("other plant(tank1 tank9 tank10)"));
    QVERIFY(!growing.tree.loading() && !plant.data(PKeywordTree::LoadingRole).toBool());
    QVERIFY(loading.size() % 2 == 0);
}

void tst_KeywordTree::client_isReplacedAndDeleted()
{
    Growing growing;
    growing.fetch("/plant");
    auto other = std::make_unique<AnsweringClient>();
    growing.tree.setClient(other.get());
    QCOMPARE(text(growing.tree), QString());
    QVERIFY(growing.client.destroyed.contains(q("/plant/tank1/Label")));
    QCOMPARE(other->queries, listOf("/"));
    other->list(listOf("/a /b"), QString());
    QCOMPARE(text(growing.tree), q("a b"));
    growing.fetch("/a");
    QVERIFY(growing.tree.loading());
    other.reset();
    QCOMPARE(growing.tree.client(), nullptr);
    QCOMPARE(text(growing.tree), q("a b"));
    growing.tree.setClient(nullptr);
    QCOMPARE(text(growing.tree), QString());
    QVERIFY(!growing.tree.loading());
}

void tst_KeywordTree::keyword_isTheTop()
{
    Growing growing;
    growing.fetch("/plant");
    QSignalSpy changed(&growing.tree, &PKeywordTree::keywordChanged);
    growing.tree.setKeyword(q("/plant"));
    QCOMPARE(changed.size(), 1);
    QCOMPARE(text(growing.tree), q("tank1 tank9 tank10"));
    growing.tree.setFilterType(PKeywordValueType::KVT_INT);
    QVERIFY(growing.client.sent.last().contains(q("\"type\":\"int\"")));
}

void tst_KeywordTree::handler_deletesTheModel_data()
{
    QTest::addColumn<int>("signal");
    // Not before rows are inserted or removed: no model of Qt supports that.
    QTest::newRow("rowsInserted") << 1;
    QTest::newRow("rowsRemoved") << 3;
    QTest::newRow("rowsMoved") << 4;
    QTest::newRow("dataChanged") << 6;
    QTest::newRow("loadingChanged") << 7;
    QTest::newRow("clientChanged") << 8;
}

void tst_KeywordTree::handler_deletesTheModel()
{
    QFETCH(int, signal);
    for (int occurrence = 0; occurrence < 4; ++occurrence) {
        AnsweringClient client;
        const QPointer<PKeywordTree> tree(new PKeywordTree);
        int left = occurrence;
        const auto act = [&] {
            if (left-- == 0)
                delete tree;
        };
        PKeywordTree *const t = tree;
        switch (signal) {
        case 1:
            connect(t, &PKeywordTree::rowsInserted, this, act);
            break;
        case 3:
            connect(t, &PKeywordTree::rowsRemoved, this, act);
            break;
        case 4:
            connect(t, &PKeywordTree::rowsMoved, this, act);
            break;
        case 6:
            connect(t, &PKeywordTree::dataChanged, this, act);
            break;
        case 7:
            connect(t, &PKeywordTree::loadingChanged, this, act);
            break;
        case 8:
            connect(t, &PKeywordTree::clientChanged, this, act);
            break;
        }
        const QList<std::function<void()>> steps {
            [&] { tree->setClient(&client); },
            [&] { client.list(listOf("/a /b"), QString()); },
            [&] { tree->fetchMore(tree->indexOf(q("/a"))); },
            [&] { client.list(listOf("/a/c /a/d")); },
            [&] { client.label(q("/a"), q("z")); },
            [&] { tree->setLabels(false); },
            [&] { tree->setLabels(true); },
            [&] { client.link(false); },
            [&] { client.link(true); },
            [&] { client.list(listOf("/b"), QString()); },
            [&] { client.label(q("/b"), q("z")); },
            [&] { tree->setKeyword(q("/b")); },
            [&] { tree->setClient(nullptr); },
        };
        for (const auto &step : steps) {
            if (tree)
                step();
        }
        delete tree;
    }
}

void tst_KeywordTree::handler_fetchesInBetween()
{
    Growing growing;
    bool done = false;
    connect(&growing.tree, &QAbstractItemModel::rowsInserted, this, [&](const QModelIndex &parent) {
        if (parent.isValid() && !std::exchange(done, true)) {
            growing.fetch("/plant/tank1");
            growing.fetch("/plant/tank9");
        }
    });
    growing.fetch("/plant");
    QCOMPARE(text(growing.tree), q("other plant(tank1(flow level) tank9(level) tank10)"));
}

void tst_KeywordTree::view_expandsAndStaysExpanded()
{
    Growing growing;
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData(R"(
        import QtQuick
        import PellixClient.Keyword.Extras

        TreeView {
            width: 300
            height: 600
            required model
            delegate: Item {
                required property bool expanded
                required property bool hasChildren
                required property int depth
                required property string displayName
                required property string keyword
                implicitWidth: 300
                implicitHeight: 20
                objectName: "  ".repeat(depth) + (expanded ? "-" : hasChildren ? "+" : "") + displayName
            }
        }
    )",
                      {});
    const std::unique_ptr<QObject> object(
        component.createWithInitialProperties({{q("model"), QVariant::fromValue(&growing.tree)}}));
    auto *const view = qobject_cast<QQuickItem *>(object.get());
    QVERIFY2(view, qPrintable(component.errorString()));
    QQuickWindow window;
    window.resize(300, 600);
    view->setParentItem(window.contentItem());
    window.show();
    const auto shown = [&] {
        QMap<qreal, QString> rows;
        const auto items = view->property("contentItem").value<QQuickItem *>()->childItems();
        for (const QQuickItem *item : items) {
            if (item->isVisible() && !item->objectName().isEmpty())
                rows.insert(item->y(), item->objectName());
        }
        return QStringList(rows.values()).join(QLatin1Char('|'));
    };
    const auto expand = [&](int row) {
        QMetaObject::invokeMethod(view, "expand", Q_ARG(int, row));
    };
    QTRY_COMPARE(shown(), q("other|+plant"));
    expand(1);
    QTRY_COMPARE(shown(), q("other|-plant|  +tank1|  +tank9|  +tank10"));
    expand(2);
    // Children of a keyword with a value are found automatically.
    QTRY_COMPARE(shown(), q("other|-plant|  -tank1|    flow|    +level|  +tank9|  +tank10"));
    expand(4);
    QTRY_COMPARE(shown(),
                 q("other|-plant|  -tank1|    flow|    -level|      limit|  +tank9|  +tank10"));
    growing.client.link(false);
    growing.client.tree.insert(q("/plant/tank0/level"), q("double"));
    growing.client.link(true);
    QTRY_COMPARE(
        shown(),
        q("other|-plant|  +tank0|  -tank1|    flow|    -level|      limit|  +tank9|  +tank10"));
}

QTEST_MAIN(tst_KeywordTree)
#include "tst_keywordtree.moc"
