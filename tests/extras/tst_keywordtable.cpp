// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/tables/keywordtable.h"
#include "extras/writing/keywordwrite.h"
#include "tests/extras/answeringclient.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QLocale>
#include <QtCore/QPointer>
#include <QtCore/QScopeGuard>
#include <QtCore/QTemporaryDir>
#include <QtTest/QAbstractItemModelTester>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>

using namespace pellix::client;
using pellix::extras::PKeywordTable;
using pellix::extras::PKeywordWrite;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QStringList listOf(const char *names)
{
    return q(names).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

class Bench
{
public:
    explicit Bench(const char *keywords = "")
    {
        table.setClient(&client);
        table.setKeywords(listOf(keywords));
    }
    QString rows() const
    {
        QStringList rows;
        for (int row = 0; row < table.rowCount(); ++row)
            rows.append(table.keywordAt(row));
        return rows.join(QLatin1Char(' '));
    }
    QVariant cell(int row, const char *role) const { return table.get(row).value(q(role)); }

    AnsweringClient client;
    PKeywordTable table;
    QAbstractItemModelTester tester {&table,
                                     QAbstractItemModelTester::FailureReportingMode::QtTest};
};

} // namespace

class tst_KeywordTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void defaults();
    void keywords_areTheRows();
    void patterns_data();
    void patterns();
    void patterns_areBounded();
    void patterns_waitForTheLinkAndAreResolvedAnew();
    void value_isToldOncePerFrame();
    void value_plainNumbers_data();
    void value_plainNumbers();
    void link_staleValues();
    void rate_ofChanges();
    void columns_showTexts();
    void write_byType_data();
    void write_byType();
    void write_outcome();
    void write_withoutALink();
    void write_waitsForTheValue();
    void csv_forPrograms();
    void csv_forPeople();
    void csv_isSaved();
    void client_isReplacedAndDeleted();
    void handler_deletesTheTable_data();
    void handler_deletesTheTable();
    void handler_ofTheClientDeletesTheTable_data();
    void handler_ofTheClientDeletesTheTable();
    void handler_changesTheKeywords();
    void cost_isLinear();
};

void tst_KeywordTable::defaults()
{
    PKeywordTable table;
    QCOMPARE(table.client(), nullptr);
    QCOMPARE(table.keywords(), QStringList());
    QCOMPARE(table.labels(), true);
    QCOMPARE(table.limit(), 10000);
    QCOMPARE(table.resolving(), false);
    QCOMPARE(table.truncated(), false);
    QCOMPARE(table.count(), 0);
    QCOMPARE(table.columnCount(), 11);
    QCOMPARE(table.rowOf(q("/a")), -1);
    QCOMPARE(table.get(0), QVariantMap());
    table.write(0, 1); // has no effect
    table.setKeywords(listOf("/a /*")); // without a client, no query is sent
    QCOMPARE(table.count(), 1);
    QVERIFY(!table.resolving());
    QCOMPARE(table.get(0).value(q("stateText")).toString(), q("unknown"));
}

void tst_KeywordTable::keywords_areTheRows()
{
    Bench bench("/a #b /a / /c");
    QCOMPARE(bench.rows(), q("/a #b /c"));
    QCOMPARE(bench.client.created, listOf("/a #b /c /a/Label #b/Label /c/Label"));
    QCOMPARE(bench.table.rowOf(q("/b")), 1);
    bench.client.value(q("/c"), 5);
    bench.client.label(q("/c"), q("Label"));
    QSignalSpy resets(&bench.table, &QAbstractItemModel::modelReset);
    QSignalSpy count(&bench.table, &PKeywordTable::countChanged);
    bench.table.setKeywords(listOf("/d /c /a /e"));
    QCOMPARE(bench.rows(), q("/d /c /a /e"));
    QCOMPARE(bench.cell(1, "value").toInt(), 5); // a row that remains keeps its data
    QCOMPARE(bench.cell(1, "displayName").toString(), q("Label"));
    bench.client.destroyed.sort();
    QCOMPARE(bench.client.destroyed, listOf("#b #b/Label"));
    QCOMPARE(resets.size(), 0);
    QCOMPARE(count.size(), 1);
    bench.table.setLabels(false);
    QVERIFY(bench.client.destroyed.contains(q("/c/Label")));
    bench.table.setLimit(2);
    QCOMPARE(bench.rows(), q("/d /c"));
    QVERIFY(bench.table.truncated());
    bench.table.setLimit(3);
    bench.table.setKeywords(listOf("/d"));
    QVERIFY(!bench.table.truncated());
}

void tst_KeywordTable::patterns_data()
{
    QTest::addColumn<QString>("keywords");
    QTest::addColumn<QString>("rows");
    QTest::addColumn<QString>("queries");

    QTest::newRow("one level") << "/plant/*/level"
                               << "/plant/tank1/level /plant/tank10/level"
                               << "/plant /plant/pump /plant/tank1 /plant/tank10 /plant/speed";
    QTest::newRow("children") << "/plant/*"
                              << "/plant/speed"
                              << "/plant";
    QTest::newRow("none of that") << "/plant/*/nothing"
                                  << ""
                                  << "/plant /plant/pump /plant/tank1 /plant/tank10 /plant/speed";
    QTest::newRow("all") << "/plant/**"
                         << "/plant/pump/flow /plant/speed /plant/tank1/level "
                            "/plant/tank1/level/limit /plant/tank10/level"
                         << "";
    QTest::newRow("any depth") << "/**/limit"
                               << "/plant/tank1/level/limit"
                               << "";
    QTest::newRow("in between") << "/plant/**/level"
                                << "/plant/tank1/level /plant/tank10/level"
                                << "";
    QTest::newRow("both") << "/plant/speed /plant/*/flow /plant/* /x"
                          << "/plant/speed /plant/pump/flow /x"
                          << "";
}

void tst_KeywordTable::patterns()
{
    QFETCH(QString, keywords);
    QFETCH(QString, rows);
    QFETCH(QString, queries);

    Bench bench;
    bench.client.tree = {
        {q("/plant/tank1/level"), q("double")},  {q("/plant/tank1/level/limit"), q("double")},
        {q("/plant/tank10/level"), q("double")}, {q("/plant/pump/flow"), q("double")},
        {q("/plant/speed"), q("int")},           {q("/other/a/b"), q("int")}};
    bench.table.setKeywords(keywords.split(QLatin1Char(' ')));
    QTRY_VERIFY(!bench.table.resolving());
    QCOMPARE(bench.rows(), rows);
    QVERIFY(!bench.table.truncated());
    if (!queries.isEmpty()) {
        QStringList expected = queries.split(QLatin1Char(' '));
        expected.sort();
        bench.client.queries.sort();
        QCOMPARE(bench.client.queries, expected);
    }
}

void tst_KeywordTable::patterns_areBounded()
{
    Bench bench;
    for (int i = 0; i < 500; ++i)
        bench.client.tree.insert(q("/x/k%1/v").arg(i), q("int"));
    bench.table.setLimit(20);
    bench.table.setKeywords(listOf("/x/**"));
    QTRY_VERIFY(!bench.table.resolving());
    QCOMPARE(bench.table.count(), 20);
    QVERIFY(bench.table.truncated());
    bench.client.queries.clear();
    bench.table.setLimit(1000);
    QTRY_COMPARE(bench.table.count(), 500);
    QVERIFY(!bench.table.truncated());
}

void tst_KeywordTable::patterns_waitForTheLinkAndAreResolvedAnew()
{
    Bench bench;
    bench.client.link(false);
    bench.table.setKeywords(listOf("/x/*"));
    QVERIFY(bench.table.resolving());
    QCOMPARE(bench.client.queries, QStringList());
    bench.client.link(true);
    QCOMPARE(bench.client.queries, listOf("/x"));
    bench.client.link(false); // the pending query is lost
    bench.client.link(true);
    QCOMPARE(bench.client.queries, listOf("/x /x"));
    bench.client.list(listOf("/x/a /x/b"));
    QCOMPARE(bench.rows(), q("/x/a /x/b"));
    QVERIFY(!bench.table.resolving());
    bench.client.value(q("/x/b"), 3);
    bench.client.link(false);
    QCOMPARE(bench.rows(), q("/x/a /x/b"));
    bench.client.link(true);
    QVERIFY(bench.table.resolving());
    QCOMPARE(bench.rows(), q("/x/a /x/b"));
    bench.client.list(listOf("/x/b /x/c"));
    QCOMPARE(bench.rows(), q("/x/b /x/c"));
    QCOMPARE(bench.cell(0, "value").toInt(), 3);
    bench.table.refresh();
    bench.client.list(listOf("/x/c"));
    QCOMPARE(bench.rows(), q("/x/c"));
}

void tst_KeywordTable::value_isToldOncePerFrame()
{
    Bench bench("/a /b /c /d");
    QSignalSpy changed(&bench.table, &QAbstractItemModel::dataChanged);
    for (int i = 0; i < 100; ++i) {
        bench.client.value(q("/a"), i);
        bench.client.value(q("/b"), i);
        bench.client.value(q("/d"), i);
    }
    QCOMPARE(changed.size(), 0);
    QVERIFY(changed.wait());
    QCOMPARE(changed.size(), 2); // one signal for adjacent rows
    QCOMPARE(changed.at(0).at(0).toModelIndex().row(), 0);
    QCOMPARE(changed.at(0).at(1).toModelIndex().row(), 1);
    QCOMPARE(changed.at(1).at(0).toModelIndex().row(), 3);
    QCOMPARE(bench.cell(3, "value").toInt(), 99);
}

void tst_KeywordTable::value_plainNumbers_data()
{
    QTest::addColumn<QJsonValue>("sent");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("text");

    QTest::newRow("int") << QJsonValue(7) << QVariant(7) << "7";
    QTest::newRow("beyond 32 bits") << QJsonValue(5000000000LL) << QVariant(5e9) << "5000000000";
    QTest::newRow("beyond 53 bits")
        << QJsonValue(9007199254740993LL) << QVariant(9007199254740993LL) << "9007199254740993";
    QTest::newRow("double") << QJsonValue(0.1) << QVariant(0.1) << "0.1";
    QTest::newRow("bool") << QJsonValue(true) << QVariant(true) << "true";
    QTest::newRow("text") << QJsonValue(q("\u00e4")) << QVariant(q("\u00e4")) << "\u00e4";
    QTest::newRow("list") << QJsonValue(QJsonArray {1, 2}) << QVariant(QVariantList {1, 2})
                          << "[1,2]";
    QTest::newRow("null") << QJsonValue() << QVariant::fromValue(nullptr) << "";
}

void tst_KeywordTable::value_plainNumbers()
{
    QFETCH(QJsonValue, sent);
    QFETCH(QVariant, value);
    QFETCH(QString, text);

    Bench bench("/a");
    bench.client.value(q("/a"), sent);
    QCOMPARE(bench.cell(0, "value"), value);
    QCOMPARE(bench.cell(0, "value").typeId() == QMetaType::LongLong,
             value.typeId() == QMetaType::LongLong);
    QCOMPARE(bench.cell(0, "valueText").toString(), text);
}

void tst_KeywordTable::link_staleValues()
{
    Bench bench("/a /b");
    bench.client.value(q("/a"), 1.5, q("double"), q("oe"));
    QCOMPARE(bench.cell(0, "connected").toBool(), true);
    QCOMPARE(bench.cell(0, "online").toBool(), false);
    QCOMPARE(bench.cell(0, "consistent").toBool(), true);
    QCOMPARE(bench.cell(0, "error").toBool(), true);
    QCOMPARE(bench.cell(0, "known").toBool(), true);
    QCOMPARE(bench.cell(0, "stale").toBool(), false);
    QCOMPARE(bench.cell(0, "stateText").toString(), q("error"));
    QCOMPARE(bench.cell(1, "stateText").toString(), q("unknown"));

    QSignalSpy changed(&bench.table, &QAbstractItemModel::dataChanged);
    bench.client.link(false);
    QCOMPARE(changed.size(), 1); // one signal for all rows
    QCOMPARE(bench.cell(0, "value").toDouble(), 1.5);
    for (const char *flag : {"connected", "online", "consistent", "error"})
        QCOMPARE(bench.cell(0, flag).toBool(), false);
    QCOMPARE(bench.cell(0, "stale").toBool(), true);
    QCOMPARE(bench.cell(0, "stateText").toString(), q("last known"));
    bench.client.created.clear();
    bench.client.link(true);
    QCOMPARE(bench.client.created.size(), 4);
    QCOMPARE(bench.cell(0, "stale").toBool(), true); // until the value arrives again
    bench.client.value(q("/a"), 1.5);
    QCOMPARE(bench.cell(0, "stale").toBool(), false);
    QCOMPARE(bench.cell(0, "stateText").toString(), q("good"));
}

void tst_KeywordTable::rate_ofChanges()
{
    Bench bench("/a");
    bench.client.value(q("/a"), 0);
    const QDateTime first = bench.cell(0, "changed").toDateTime();
    QVERIFY(first.isValid());
    bench.client.value(q("/a"), 0); // not a change
    QCOMPARE(bench.cell(0, "rate").toDouble(), 0.0);
    QCOMPARE(bench.cell(0, "changed").toDateTime(), first);
    for (int i = 1; i <= 20; ++i)
        bench.client.value(q("/a"), i);
    // At most the number of changes per second, and at least their number per window.
    const double rate = bench.cell(0, "rate").toDouble();
    QVERIFY2(rate <= 20 && rate >= 20.0 / 5, qPrintable(QString::number(rate)));
    // The rate drops to 0 automatically, and this is reported.
    QSignalSpy changed(&bench.table, &QAbstractItemModel::dataChanged);
    QTRY_COMPARE_WITH_TIMEOUT(bench.cell(0, "rate").toDouble(), 0.0, 30000);
    QVERIFY(!changed.isEmpty());
    bench.client.link(false);
    QCOMPARE(bench.cell(0, "rate").toDouble(), 0.0);
}

void tst_KeywordTable::columns_showTexts()
{
    Bench bench("/x/a");
    bench.client.value(q("/x/a"), 2.5, q("double"), q("o"));
    QStringList texts;
    QStringList headers;
    for (int column = 0; column < bench.table.columnCount(); ++column) {
        texts.append(bench.table.index(0, column).data().toString());
        headers.append(bench.table.headerData(column, Qt::Horizontal).toString());
    }
    QVERIFY(!texts.takeAt(PKeywordTable::ChangedColumn).isEmpty());
    QCOMPARE(texts.join(QLatin1Char('|')), q("/x/a|a|2.5|double|yes|no|yes|no|0.0|"));
    QCOMPARE(headers.join(QLatin1Char('|')),
             q("Keyword|Label|Value|Type|Connected|Online|Consistent|Error|Changed|Changes/s|"
               "Last write"));
    QCOMPARE(bench.table.headerData(0, Qt::Vertical).toInt(), 1);
    QVERIFY(bench.table.index(0, PKeywordTable::ValueColumn).flags() & Qt::ItemIsEditable);
    QVERIFY(!(bench.table.index(0, PKeywordTable::LabelColumn).flags() & Qt::ItemIsEditable));
    bench.client.value(q("/x/a"), QJsonArray(), q("object"));
    QVERIFY(!(bench.table.index(0, PKeywordTable::ValueColumn).flags() & Qt::ItemIsEditable));
}

void tst_KeywordTable::write_byType_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("sent"); // as JSON, or the problem

    const auto row = [](const char *name, const char *type, const QVariant &value,
                        const char *sent) {
        QTest::addRow("%s: %s", type, name) << q(type) << value << q(sent);
    };
    row("text", "double", q(" 2.5 "), "2.5");
    row("exponent", "double", q("1e3"), "1000");
    row("number", "double", 2.5, "2.5");
    row("words", "double", q("two"), "\"two\" is not a number");
    row("nothing", "double", q(""), "\"\" is not a number");
    row("infinity", "double", q("inf"), "\"inf\" is not a number");
    row("zeros", "int", q("007"), "7");
    row("beyond 53 bits", "int", q("9007199254740993"), "9007199254740993");
    row("fraction", "int", q("2.5"), "\"2.5\" is not an integer");
    row("fraction as a number", "int", 2.5, "2.5 is not an integer");
    row("beyond 64 bits", "int", q("99999999999999999999"),
        "99999999999999999999 does not fit into 64 bits");
    row("true", "bool", q("true"), "true");
    row("bool", "bool", false, "false");
    row("number for a bool", "bool", 1, "true");
    row("another number", "bool", 2, "2 is neither true nor false");
    row("word for a bool", "bool", q("yes"), "\"yes\" is neither true nor false");
    row("text", "string", q(" 7 "), "\" 7 \"");
}

void tst_KeywordTable::write_byType()
{
    QFETCH(QString, type);
    QFETCH(QVariant, value);
    QFETCH(QString, sent);

    Bench bench("/a");
    bench.client.repeats = true;
    bench.client.value(q("/a"), QJsonValue(), type);
    QSignalSpy written(&bench.table, &PKeywordTable::written);
    const bool taken = bench.table.setData(bench.table.index(0, PKeywordTable::ValueColumn), value);
    const bool isProblem = sent.contains(q(" is n")) || sent.contains(q(" not "));
    QCOMPARE(taken, !isProblem);
    if (isProblem) {
        QCOMPARE(bench.client.updates, QStringList());
        QCOMPARE(bench.cell(0, "outcomeText").toString(), sent);
        QCOMPARE(bench.cell(0, "outcome").toInt(), int(PKeywordWrite::NotSent));
        QCOMPARE(written.size(), 1);
    } else {
        QCOMPARE(bench.client.updates, QStringList {sent});
        QCOMPARE(bench.cell(0, "outcome").toInt(), int(PKeywordWrite::Pending));
    }
}

void tst_KeywordTable::write_outcome()
{
    Bench bench("/a /b");
    bench.client.repeats = true;
    bench.client.value(q("/b"), 1);
    QSignalSpy written(&bench.table, &PKeywordTable::written);
    bench.table.write(1, 5);
    QCOMPARE(written.size(), 0);
    bench.client.value(q("/b"), 5);
    QCOMPARE(written.size(), 1);
    QCOMPARE(written.at(0), (QVariantList {q("/b"), int(PKeywordWrite::Taken)}));
    QCOMPARE(bench.cell(1, "outcomeText").toString(), q("taken"));
    QCOMPARE(bench.cell(0, "outcome").toInt(), int(PKeywordWrite::Idle));
    bench.table.write(1, 6);
    bench.client.value(q("/b"), 5, q("double"), q("e"));
    QCOMPARE(bench.cell(1, "outcomeText").toString(), q("refused"));
    bench.table.write(1, q("x")); // an invalid value after that
    QCOMPARE(bench.cell(1, "outcomeText").toString(), q("\"x\" is not a number"));
    bench.table.write(1, 6);
    QCOMPARE(bench.cell(1, "outcomeText").toString(), q("waiting"));
    bench.client.value(q("/b"), 7);
    bench.client.list({}); // the query after the write
    QCOMPARE(bench.cell(1, "outcomeText").toString(), q("a different value was set"));
    bench.table.write(1, 7);
    bench.client.list({});
    QCOMPARE(bench.cell(1, "outcomeText").toString(), q("unchanged"));
    QCOMPARE(written.last(), (QVariantList {q("/b"), int(PKeywordWrite::Taken)}));
    bench.table.write(7, 6);
    QVERIFY(!bench.table.setData(bench.table.index(1, PKeywordTable::LabelColumn), 6));
    QVERIFY(!bench.table.setData(bench.table.index(1, PKeywordTable::ValueColumn), 6, 300));
}

void tst_KeywordTable::write_withoutALink()
{
    Bench bench("/a");
    bench.client.value(q("/a"), 1);
    bench.client.link(false);
    QVERIFY(!bench.table.setData(bench.table.index(0, PKeywordTable::ValueColumn), 2));
    QCOMPARE(bench.cell(0, "outcome").toInt(), int(PKeywordWrite::NotSent));
    QCOMPARE(bench.cell(0, "outcomeText").toString(), q("there is no connection"));
}

// The first write to a row requests the value, because its type determines what is sent.
void tst_KeywordTable::write_waitsForTheValue()
{
    Bench bench("/a /b");
    bench.client.value(q("/a"), 1);
    QSignalSpy written(&bench.table, &PKeywordTable::written);
    QVERIFY(bench.table.setData(bench.table.index(0, PKeywordTable::ValueColumn), q("x")));
    QVERIFY(bench.table.setData(bench.table.index(1, PKeywordTable::ValueColumn), q("007")));
    QCOMPARE(bench.client.updates, QStringList());
    QCOMPARE(bench.cell(0, "outcomeText").toString(), q("waiting"));
    QCOMPARE(written.size(), 0);
    bench.client.value(q("/a"), 1);
    QCOMPARE(bench.cell(0, "outcomeText").toString(), q("\"x\" is not a number"));
    QCOMPARE(written.size(), 1);
    QCOMPARE(written.at(0), (QVariantList {q("/a"), int(PKeywordWrite::NotSent)}));
    bench.client.value(q("/b"), 1, q("int"));
    QCOMPARE(bench.client.updates, listOf("7"));
    // A waiting write is sent if the row or the client is removed.
    bench.table.write(1, 8);
    bench.table.write(1, 9);
    bench.table.setKeywords(listOf("/a"));
    QCOMPARE(bench.client.updates, listOf("7 9"));
    bench.table.write(0, 3);
    bench.table.write(0, 4);
    bench.table.setClient(nullptr);
    QCOMPARE(bench.client.updates, listOf("7 9 3 4"));
}

void tst_KeywordTable::csv_forPrograms()
{
    Bench bench("/a /b,c /d");
    bench.client.value(q("/a"), 0.1, q("double"), q("i"));
    bench.client.label(q("/a"), q("say \"5,5\"\nor not"));
    bench.client.value(q("/b,c"), QJsonObject {{q("x"), 1}}, q("object"));
    const QLocale before;
    const auto restore = qScopeGuard([&] { QLocale::setDefault(before); });
    QLocale::setDefault(QLocale(QLocale::German));
    QString csv = bench.table.toCsv();
    const QString a = bench.cell(0, "changed").toDateTime().toUTC().toString(Qt::ISODateWithMs);
    const QString b = bench.cell(1, "changed").toDateTime().toUTC().toString(Qt::ISODateWithMs);
    QVERIFY(a.endsWith(QLatin1Char('Z')));
    QCOMPARE(csv,
             q("keyword,label,value,type,connected,online,consistent,error,changed,rate,outcome\r\n"
               "/a,\"say \"\"5,5\"\"\nor not\",0.1,double,true,true,false,false,%1,0.000,Idle\r\n"
               "\"/b,c\",,\"{\"\"x\"\":1}\",object,true,true,true,false,%2,0.000,Idle\r\n"
               "/d,,,,false,false,false,false,,0.000,Idle\r\n")
                 .arg(a, b));
}

void tst_KeywordTable::csv_forPeople()
{
    Bench bench("/a");
    bench.client.value(q("/a"), 1234.5);
    const QLocale before;
    const auto restore = qScopeGuard([&] { QLocale::setDefault(before); });
    QLocale::setDefault(QLocale(QLocale::German));
    const QString csv = bench.table.toCsv(true);
    QVERIFY2(csv.startsWith(q("Keyword;Label;Value;")), qPrintable(csv));
    QVERIFY2(csv.contains(q("\r\n/a;;1234,5;double;true;")), qPrintable(csv));
    // A displayed value can be entered again.
    QCOMPARE(bench.cell(0, "valueText").toString(), q("1234,5"));
    bench.client.repeats = true;
    bench.table.write(0, q("2,5"));
    QCOMPARE(bench.client.updates, listOf("2.5"));
}

void tst_KeywordTable::csv_isSaved()
{
    Bench bench("/\u00e4");
    const QTemporaryDir directory;
    const QString path = directory.filePath(q("table.csv"));
    QCOMPARE(bench.table.saveCsv(QUrl::fromLocalFile(path)), QString());
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), bench.table.toCsv().toUtf8());
    QCOMPARE(bench.table.saveCsv(QUrl(path)), QString()); // a path instead of a URL
    QCOMPARE(bench.table.saveCsv(QUrl(q("http://a/b"))),
             q("cannot write \"http://a/b\": not a local file"));
    const QString nowhere = directory.filePath(q("none/table.csv"));
    const QString problem = bench.table.saveCsv(QUrl::fromLocalFile(nowhere));
    QVERIFY2(problem.startsWith(q("cannot write ") + nowhere + q(": ")), qPrintable(problem));
}

void tst_KeywordTable::client_isReplacedAndDeleted()
{
    Bench bench("/a");
    bench.client.value(q("/a"), 1);
    bench.table.write(0, 2);
    auto other = std::make_unique<AnsweringClient>();
    bench.table.setClient(other.get());
    bench.client.destroyed.sort();
    QCOMPARE(bench.client.destroyed, listOf("/a /a/Label"));
    QCOMPARE(other->created, listOf("/a /a/Label"));
    QCOMPARE(bench.cell(0, "known").toBool(), false);
    QCOMPARE(bench.cell(0, "value"), QVariant());
    QCOMPARE(bench.cell(0, "outcome").toInt(), int(PKeywordWrite::Idle));
    other->value(q("/a"), 3);
    bench.table.write(0, 2);
    other.reset();
    QCOMPARE(bench.table.client(), nullptr);
    QCOMPARE(bench.cell(0, "value").toInt(), 3);
    QCOMPARE(bench.cell(0, "stale").toBool(), true);
    bench.table.write(0, 2);
    QCOMPARE(bench.cell(0, "outcome").toInt(), int(PKeywordWrite::NotSent));
}

void tst_KeywordTable::handler_deletesTheTable_data()
{
    QTest::addColumn<int>("signal");
    const char *const names[] = {"rowsInserted",  "rowsRemoved",      "dataChanged",
                                 "countChanged",  "resolvingChanged", "written",
                                 "clientChanged", "keywordsChanged",  "truncatedChanged"};
    for (int i = 0; i < 9; ++i)
        QTest::newRow(names[i]) << i;
}

void tst_KeywordTable::handler_deletesTheTable()
{
    QFETCH(int, signal);
    for (int occurrence = 0; occurrence < 4; ++occurrence) {
        AnsweringClient client;
        const QPointer<PKeywordTable> table(new PKeywordTable);
        int left = occurrence;
        bool deleted = false;
        const auto act = [&] {
            if (left-- == 0) {
                deleted = true;
                delete table;
            }
        };
        PKeywordTable *const t = table;
        switch (signal) {
        case 0:
            connect(t, &PKeywordTable::rowsInserted, this, act);
            break;
        case 1:
            connect(t, &PKeywordTable::rowsRemoved, this, act);
            break;
        case 2:
            connect(t, &PKeywordTable::dataChanged, this, act);
            break;
        case 3:
            connect(t, &PKeywordTable::countChanged, this, act);
            break;
        case 4:
            connect(t, &PKeywordTable::resolvingChanged, this, act);
            break;
        case 5:
            connect(t, &PKeywordTable::written, this, act);
            break;
        case 6:
            connect(t, &PKeywordTable::clientChanged, this, act);
            break;
        case 7:
            connect(t, &PKeywordTable::keywordsChanged, this, act);
            break;
        case 8:
            connect(t, &PKeywordTable::truncatedChanged, this, act);
            break;
        }
        const QList<std::function<void()>> steps {
            [&] { table->setClient(&client); },
            [&] { table->setKeywords(listOf("/a /x/* /b")); },
            [&] { client.list(listOf("/x/1 /x/2")); },
            [&] { client.value(q("/a"), 1); },
            [&] { table->write(0, q("no number")); },
            [&] { table->write(0, 2); },
            [&] { client.value(q("/a"), 2); },
            [&] { table->write(0, 2); },
            [&] { client.value(q("/a"), 2); },
            [&] { client.link(false); },
            [&] { table->write(0, 2); },
            [&] { client.link(true); },
            [&] { client.list(listOf("/x/2")); },
            [&] { table->setLimit(1); },
            [&] { table->setLimit(10); },
            [&] { client.list(listOf("/x/2")); },
            [&] { table->setKeywords(listOf("/b")); },
            [&] { table->setKeywords({}); },
            [&] { table->setClient(nullptr); },
        };
        for (const auto &step : steps) {
            if (table)
                step();
        }
        QVERIFY(deleted || occurrence > 0);
        delete table;
    }
}

void tst_KeywordTable::handler_ofTheClientDeletesTheTable_data()
{
    QTest::addColumn<bool>("creates");
    QTest::addColumn<int>("occurrence");

    for (const bool creates : {false, true}) {
        for (int occurrence = 1; occurrence <= 6; ++occurrence)
            QTest::addRow("%s %d", creates ? "create" : "destroy", occurrence)
                << creates << occurrence;
    }
}

// Subscriptions and unsubscriptions send commands, and the table may be deleted during these as
// well.
void tst_KeywordTable::handler_ofTheClientDeletesTheTable()
{
    QFETCH(bool, creates);
    QFETCH(int, occurrence);

    AnsweringClient client;
    const QPointer<PKeywordTable> table(new PKeywordTable);
    table->setClient(&client);
    table->setKeywords(listOf("/a /b /c"));
    client.value(q("/a"), 1);
    const auto act = [&](const QString &) {
        if (--occurrence == 0)
            delete table;
    };
    (creates ? client.onCreate : client.onDestroy) = act;
    table->write(0, 2);
    if (table)
        table->write(0, 3);
    if (table)
        table->setKeywords(listOf("/c /d"));
    if (table)
        table->setClient(nullptr);
    QCOMPARE(table.isNull(), occurrence <= 0);
    delete table;
}

void tst_KeywordTable::handler_changesTheKeywords()
{
    Bench bench;
    bool done = false;
    connect(&bench.table, &QAbstractItemModel::rowsInserted, this, [&] {
        if (!std::exchange(done, true))
            bench.table.setKeywords(listOf("/c /a"));
    });
    bench.table.setKeywords(listOf("/a /b"));
    QCOMPARE(bench.rows(), q("/c /a"));
    QVERIFY(!bench.client.destroyed.contains(q("/a")));
}

// Ten times as many rows cause about ten times the work. The operations are counted, not timed.
void tst_KeywordTable::cost_isLinear()
{
    constexpr int count = 10000;
    QStringList keywords;
    for (int i = 0; i < count; ++i)
        keywords.append(q("/x/k%1").arg(i));
    AnsweringClient client;
    PKeywordTable table;
    table.setLabels(false);
    table.setClient(&client);
    QSignalSpy inserted(&table, &QAbstractItemModel::rowsInserted);
    table.setKeywords(keywords);
    QCOMPARE(table.count(), count);
    QCOMPARE(inserted.size(), 1);
    QCOMPARE(client.created.size(), count);
    QSignalSpy changed(&table, &QAbstractItemModel::dataChanged);
    QElapsedTimer timer;
    timer.start();
    for (const QString &keyword : std::as_const(keywords))
        client.value(keyword, 1);
    qInfo("10 000 events: %lld us", timer.nsecsElapsed() / 1000);
    QVERIFY(changed.wait());
    QVERIFY(changed.size() <= 2); // one, unless a timer has fired in between
    changed.clear();
    client.link(false);
    QCOMPARE(changed.size(), 1);
    client.created.clear();
    client.link(true);
    QCOMPARE(changed.size(), 2);
    QCOMPARE(client.created.size(), count);
}

QTEST_GUILESS_MAIN(tst_KeywordTable)
#include "tst_keywordtable.moc"
