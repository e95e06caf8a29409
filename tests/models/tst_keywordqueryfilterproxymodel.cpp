// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "models/keywordqueryfilterproxymodel.h"
#include "tests/support/metaobject.h"
#include "tests/support/signallog.h"

#include <QtCore/QPointer>
#include <QtGui/QStandardItemModel>
#include <QtTest/QAbstractItemModelTester>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// Provides the two roles that the model reads: 257 for the order and 263 for the filter.
void fill(QStandardItemModel &source, const QStringList &names)
{
    for (const QString &name : names) {
        auto *const item = new QStandardItem;
        item->setData(name, 257);
        item->setData(name, 263);
        source.appendRow(item);
    }
}

QString shown(const QAbstractItemModel &model)
{
    QStringList names;
    for (int row = 0; row < model.rowCount(); ++row)
        names << model.index(row, 0).data(257).toString();
    return names.join(q("|"));
}

} // namespace

class tst_KeywordQueryFilterProxyModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void metaObject_keepsItsOrder();
    void construction_hasItsSettings();
    void rows_areSorted_data();
    void rows_areSorted();
    void rows_areFiltered_data();
    void rows_areFiltered();
    void filter_readsDisplayNameAndOrderReadsName();
    void setFilter_sameAgainDoesNothing();
    void changes_areFollowed();
    void row_thatIsNotInTheSourceIsRejected();
    void handlers_mayDeleteTheModel();
};

void tst_KeywordQueryFilterProxyModel::metaObject_keepsItsOrder()
{
    const QMetaObject &meta = PKeywordQueryFilterProxyModel::staticMetaObject;
    QCOMPARE(meta.className(), "pellix::client::PKeywordQueryFilterProxyModel");
    QCOMPARE(meta.superClass(), &QSortFilterProxyModel::staticMetaObject);
    QCOMPARE(ownProperties(meta), names("filter w filterChanged"));
    QCOMPARE(ownMethods(meta), names("signal filterChanged()"));
}

void tst_KeywordQueryFilterProxyModel::construction_hasItsSettings()
{
    PKeywordQueryFilterProxyModel model;
    QCOMPARE(model.filter(), QString());
    QVERIFY(model.dynamicSortFilter());
    QVERIFY(model.isRecursiveFilteringEnabled());
    QCOMPARE(model.sortColumn(), 0);
    QCOMPARE(model.sortOrder(), Qt::AscendingOrder);
    QCOMPARE(model.sortRole(), int(Qt::DisplayRole));
    QCOMPARE(model.filterRole(), int(Qt::DisplayRole));
}

void tst_KeywordQueryFilterProxyModel::rows_areSorted_data()
{
    QTest::addColumn<QStringList>("unsorted");
    QTest::addColumn<QString>("sorted");
    QTest::newRow("numbers") << QStringList({q("10"), q("9"), q("100")}) << q("9|10|100");
    QTest::newRow("numbers and words")
        << QStringList({q("Beta"), q("alpha"), q("10")}) << q("10|alpha|Beta");
    QTest::newRow("case only, as they came") << QStringList({q("b"), q("B"), q("a")}) << q("a|b|B");
    QTest::newRow("the same number, as they came")
        << QStringList({q("8"), q("07"), q("7"), q("007")}) << q("07|7|007|8");
    QTest::newRow("negative") << QStringList({q("1"), q("-5"), q("-10")}) << q("-10|-5|1");
    QTest::newRow("64 bits") << QStringList(
        {q("9007199254740993"), q("9007199254740992"), q("4294967296")})
                             << q("4294967296|9007199254740992|9007199254740993");
    QTest::newRow("too large is text")
        << QStringList({q("99999999999999999999"), q("100000000000000000000")})
        << q("100000000000000000000|99999999999999999999");
    QTest::newRow("no whole numbers") << QStringList({q("1.5"), q("1.25")}) << q("1.25|1.5");
    QTest::newRow("hexadecimal is text") << QStringList({q("0x2"), q("0x10")}) << q("0x10|0x2");
    // Not transitive: each pair has a defined order, but the three names together do not.
    QTest::newRow("two numbers") << QStringList({q("10"), q("2")}) << q("2|10");
    QTest::newRow("a number and a word") << QStringList({q("1a"), q("10")}) << q("10|1a");
    QTest::newRow("a word and a number") << QStringList({q("2"), q("1a")}) << q("1a|2");
    QTest::newRow("empty") << QStringList({q("a"), QString()}) << q("|a");
}

void tst_KeywordQueryFilterProxyModel::rows_areSorted()
{
    QFETCH(QStringList, unsorted);
    QFETCH(QString, sorted);
    QStandardItemModel source;
    PKeywordQueryFilterProxyModel model;
    const QAbstractItemModelTester tester(&model);
    model.setSourceModel(&source);
    fill(source, unsorted);
    QCOMPARE(shown(model), sorted);
}

void tst_KeywordQueryFilterProxyModel::rows_areFiltered_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QString>("accepted");
    const QString all = q("Lamplight|RedLamp|reed");
    QTest::newRow("empty") << QString() << all;
    QTest::newRow("blanks") << q("   ") << all;
    QTest::newRow("one word") << q("lamp") << q("Lamplight|RedLamp");
    QTest::newRow("blanks around") << q("  lamp ") << q("Lamplight|RedLamp");
    QTest::newRow("two words") << q("lamp red") << q("RedLamp");
    QTest::newRow("other order and case") << q("RED LAMP") << q("RedLamp");
    QTest::newRow("no match") << q("lamp x") << QString();
    QTest::newRow("tab alone is blank") << q("\t") << all;
    QTest::newRow("tab is part of a word") << q("\tlamp") << QString();
    QTest::newRow("no pattern") << q("l.mp") << QString();
}

void tst_KeywordQueryFilterProxyModel::rows_areFiltered()
{
    QFETCH(QString, filter);
    QFETCH(QString, accepted);
    QStandardItemModel source;
    fill(source, {q("reed"), q("RedLamp"), q("Lamplight")});
    PKeywordQueryFilterProxyModel model;
    const QAbstractItemModelTester tester(&model);
    model.setSourceModel(&source);
    model.setFilter(filter);
    QCOMPARE(model.filter(), filter);
    QCOMPARE(shown(model), accepted);
    model.setFilter(q("nothing matches this"));
    model.setFilter(filter);
    QCOMPARE(shown(model), accepted);
}

void tst_KeywordQueryFilterProxyModel::filter_readsDisplayNameAndOrderReadsName()
{
    QStandardItemModel source;
    fill(source, {q("b"), q("a")});
    source.item(0)->setData(q("first"), 263);
    source.item(1)->setData(q("second"), 263);
    PKeywordQueryFilterProxyModel model;
    model.setSourceModel(&source);
    QCOMPARE(shown(model), q("a|b"));
    model.setFilter(q("first"));
    QCOMPARE(shown(model), q("b"));
    model.setFilter(q("b"));
    QCOMPARE(shown(model), QString());
}

void tst_KeywordQueryFilterProxyModel::setFilter_sameAgainDoesNothing()
{
    QStandardItemModel source;
    fill(source, {q("a"), q("b")});
    PKeywordQueryFilterProxyModel model;
    model.setSourceModel(&source);
    SignalLog log(&model);
    model.setFilter(q("a"));
    QVERIFY(log.taken().startsWith(q("filterChanged")));
    model.setFilter(q("a"));
    QCOMPARE(log.taken(), QString());
    model.setFilter(q("a ")); // another string with the same words
    QVERIFY(log.taken().startsWith(q("filterChanged")));
}

void tst_KeywordQueryFilterProxyModel::changes_areFollowed()
{
    QStandardItemModel source;
    fill(source, {q("b"), q("a")});
    PKeywordQueryFilterProxyModel model;
    const QAbstractItemModelTester tester(&model);
    model.setSourceModel(&source);
    source.item(1)->setData(q("c"), 257);
    QCOMPARE(shown(model), q("b|c"));
    model.setFilter(q("new"));
    QCOMPARE(shown(model), QString());
    source.item(0)->setData(q("new"), 263);
    QCOMPARE(shown(model), q("b"));
}

void tst_KeywordQueryFilterProxyModel::row_thatIsNotInTheSourceIsRejected()
{
    class Model : public PKeywordQueryFilterProxyModel
    {
    public:
        using PKeywordQueryFilterProxyModel::filterAcceptsRow;
    };
    QStandardItemModel source;
    fill(source, {q("a")});
    Model model;
    model.setSourceModel(&source);
    QVERIFY(model.filterAcceptsRow(0, QModelIndex()));
    QVERIFY(!model.filterAcceptsRow(1, QModelIndex()));
    QVERIFY(!model.filterAcceptsRow(-1, QModelIndex()));
    QVERIFY(!model.filterAcceptsRow(0, source.index(0, 0)));
}

void tst_KeywordQueryFilterProxyModel::handlers_mayDeleteTheModel()
{
    QStandardItemModel source;
    fill(source, {q("a")});
    auto *model = new PKeywordQueryFilterProxyModel;
    const QPointer<QObject> guard = model;
    model->setSourceModel(&source);
    QObject scope;
    connect(model, &PKeywordQueryFilterProxyModel::filterChanged, &scope, [&] { delete model; });
    model->setFilter(q("x"));
    QVERIFY(!guard);
}

QTEST_MAIN(tst_KeywordQueryFilterProxyModel)
#include "tst_keywordqueryfilterproxymodel.moc"
