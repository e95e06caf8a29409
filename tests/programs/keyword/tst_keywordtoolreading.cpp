// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/programs/keyword/toolbench.h"

#include <QtCore/QDateTime>
#include <QtTest/QTest>

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

// Tests get, watch, ls, tree, aggregate, label, and ping in every format.
class tst_KeywordToolReading : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void prints_data();
    void prints();
    void whatIsNotFound_hasItsExitCode_data();
    void whatIsNotFound_hasItsExitCode();
    void get_showsTheStateInWords();
    void get_doesNotLetValuesControlTheTerminal();
    void get_stampsEachLine_data();
    void get_stampsEachLine();
    void localTime_hasItsOffset_data();
    void localTime_hasItsOffset();
    void csv_tellsNoValueFromTheEmptyText();
    void watch_printsEachEventAtOnce_data();
    void watch_printsEachEventAtOnce();
    void watch_asksOnceForAKeywordGivenTwice();
    void watch_stampsWithTheDifference();
    void aggregate_followsItsChildren();
    void aggregate_takesTheNameItIsGiven();
    void ping_tellsEachAnswerAndTheFigures();
    void tree_withstandsARing();
};

void tst_KeywordToolReading::prints_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("output");

    QTest::newRow("get text") << words("get /plant/name /plant/shift")
                              << q("/plant/name   Riverside  string  ok\n"
                                   "/plant/shift  2          int     ok\n");
    QTest::newRow("get with the other separator")
        << words("get --raw plant#shift /plant/tank2#level") << q("2\n45.25\n");
    QTest::newRow("get raw") << words("get --raw /plant/name /plant/stop /plant/recipe")
                             << q("Riverside\nfalse\n{\"name\":\"Lemon, \\\"sour\\\"\"}\n");
    QTest::newRow("get json")
        << words("get -f json /plant/recipe /plant/tank2/level")
        << q("{\"keyword\":\"/plant/recipe\",\"value\":{\"name\":\"Lemon, \\\"sour\\\"\"},"
             "\"type\":\"object\",\"connected\":true,\"online\":true,\"consistent\":true,"
             "\"error\":false}\n"
             "{\"keyword\":\"/plant/tank2/level\",\"value\":45.25,\"type\":\"double\","
             "\"connected\":true,\"online\":true,\"consistent\":true,\"error\":false}\n");
    QTest::newRow("get csv")
        << words("get --format csv /plant/recipe /plant/stop")
        << q("keyword,value,type,connected,online,consistent,error\n"
             "/plant/recipe,\"{\"\"name\"\":\"\"Lemon, \\\"\"sour\\\"\"\"\"}\",object,true,true,"
             "true,false\n"
             "/plant/stop,false,bool,true,true,true,false\n");
    QTest::newRow("get what is below")
        << words("get --raw -r /plant/tank2 /plant/tank10") << q("45.25\n50.5\n");
    QTest::newRow("get all of a type") << words("get -r --type int --raw") << q("2\n");
    QTest::newRow("get all of an access, not too deep")
        << words("get -r --access write --depth 2 --raw /") << q("Riverside\n2\nfalse\n");
    QTest::newRow("watch raw") << words("watch --raw --count 1 /plant/name") << q("Riverside\n");
    QTest::newRow("watch without time")
        << words("watch -n 1 --time none /plant/shift") << q("/plant/shift  2  int     ok\n");
    QTest::newRow("watch csv") << words("watch -n 1 --time none -f csv /plant/shift")
                               << q("keyword,value,type,connected,online,consistent,error,"
                                    "connection\n"
                                    "/plant/shift,2,int,true,true,true,false,\n");
    QTest::newRow("aggregate --watch csv")
        << words("aggregate --watch -k /s -n 1 --time none -f csv sum /plant/shift /plant/shift")
        << q("keyword,value,type,connected,online,consistent,error,connection\n"
             "/s,4,int,true,true,true,false,\n");
    QTest::newRow("watch json")
        << words("watch -n 1 --time none -f json /plant/shift")
        << q("{\"keyword\":\"/plant/shift\",\"value\":2,\"type\":\"int\",\"connected\":true,"
             "\"online\":true,\"consistent\":true,\"error\":false}\n");
    QTest::newRow("ls top") << words("ls") << q("/plant\n");
    QTest::newRow("ls text") << words("ls /plant")
                             << q("/plant/name    string\n/plant/recipe  object\n"
                                  "/plant/shift   int\n/plant/stop    bool\n"
                                  "/plant/tank2\n/plant/tank10\n");
    QTest::newRow("ls two") << words("ls plant#tank2 /plant/tank10/")
                            << q("/plant/tank2/level   double\n/plant/tank10/level  double\n");
    QTest::newRow("ls json") << words("ls -f json /plant/tank2")
                             << q("{\"keyword\":\"/plant/tank2/level\",\"type\":\"double\"}\n");
    QTest::newRow("ls csv") << words("ls -f csv /plant --type bool")
                            << q("keyword,type\n/plant/stop,bool\n/plant/tank2,\n/plant/tank10,\n");
    QTest::newRow("tree text") << words("tree /plant")
                               << q("/plant\n"
                                    "├── name  string\n"
                                    "├── recipe  object\n"
                                    "├── shift  int\n"
                                    "├── stop  bool\n"
                                    "├── tank2\n"
                                    "│   └── level  double\n"
                                    "└── tank10\n"
                                    "    └── level  double\n");
    QTest::newRow("tree of everything, not deep") << words("tree --depth 1") << q("/\n└── plant\n");
    QTest::newRow("tree json")
        << words("tree -f json /plant/tank2 --depth 3")
        << q("{\"keyword\":\"/plant/tank2/level\",\"type\":\"double\",\"depth\":1,"
             "\"children\":0}\n");
    QTest::newRow("tree csv") << words("tree -f csv --access write --depth 2 /")
                              << q("keyword,type,depth,children\n"
                                   "/plant,,1,5\n/plant/name,string,2,0\n/plant/shift,int,2,0\n"
                                   "/plant/stop,bool,2,0\n/plant/tank2,,2,0\n/plant/tank10,,2,0\n");
    QTest::newRow("aggregate raw")
        << words("aggregate --raw max /plant/tank2/level /plant/tank10/level") << q("50.5\n");
    QTest::newRow("aggregate sum")
        << words("aggregate --raw sum /plant/tank2/level /plant/tank10/level") << q("95.75\n");
    QTest::newRow("aggregate min, with a name")
        << words("aggregate -k /min min /plant/tank2/level /plant/tank10/level")
        << q("/min  45.25  double  ok\n");
    QTest::newRow("aggregate or, as json")
        << words("aggregate -k /any -f json or /plant/stop /plant/stop")
        << q("{\"keyword\":\"/any\",\"value\":false,\"type\":\"bool\",\"connected\":true,"
             "\"online\":true,\"consistent\":true,\"error\":false}\n");
    QTest::newRow("aggregate equal, as csv")
        << words("aggregate -k /e -f csv equal /plant/tank2/level /plant/tank10/level")
        << q("keyword,value,type,connected,online,consistent,error\n"
             "/e,,double,true,true,true,false\n");
    QTest::newRow("label text") << words("label /plant /plant/shift")
                                << q("/plant        Bottling works\n/plant/shift  Shift\n");
    QTest::newRow("label raw") << words("label --raw /plant") << q("Bottling works\n");
    QTest::newRow("label json") << words("label -f json /plant/name")
                                << q("{\"keyword\":\"/plant/name\",\"label\":\"Name\"}\n");
    QTest::newRow("label csv") << words("label -f csv -r /plant/tank2")
                               << q("keyword,label\n/plant/tank2/level,Level\n");
}

void tst_KeywordToolReading::prints()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, output);
    const Bench bench;

    const Run run = bench.run(arguments);

    QCOMPARE(run.errors, QString());
    QCOMPARE(run.output, output);
    QCOMPARE(run.exitCode, 0);
}

void tst_KeywordToolReading::whatIsNotFound_hasItsExitCode_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("errors");

    QTest::newRow("get, the others are printed")
        << words("get --raw /nowhere /plant/shift") << q("2\n")
        << q("keyword: /nowhere: no such keyword\n");
    QTest::newRow("get a level") << words("get /plant") << QString()
                                 << q("keyword: /plant: no such keyword\n");
    QTest::newRow("get below nothing")
        << words("get -r /nowhere") << QString() << q("keyword: no keywords found\n");
    QTest::newRow("watch below nothing")
        << words("watch -r /nowhere") << QString() << q("keyword: no keywords found\n");
    QTest::newRow("ls, the others are listed")
        << words("ls /nowhere /plant/tank2") << q("/plant/tank2/level  double\n")
        << q("keyword: /nowhere: nothing below it\n");
    QTest::newRow("tree") << words("tree /nowhere") << QString()
                          << q("keyword: /nowhere: nothing below it\n");
    QTest::newRow("aggregate") << words("aggregate sum /a /b") << QString()
                               << q("keyword: none of the keywords exists\n");
    QTest::newRow("label") << words("label /plant/stop /plant/name --raw") << q("Name\n")
                           << q("keyword: /plant/stop: no label\n");
}

void tst_KeywordToolReading::whatIsNotFound_hasItsExitCode()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, output);
    QFETCH(QString, errors);
    const Bench bench;

    const Run run = bench.run(arguments);

    QCOMPARE(run.errors, errors);
    QCOMPARE(run.output, output);
    QCOMPARE(run.exitCode, 1);
}

void tst_KeywordToolReading::get_showsTheStateInWords()
{
    Bench bench;
    bench.server.setState(q("/plant/shift"), true, false, false, true);

    const Run run = bench.run(words("get /plant/shift"));

    QCOMPARE(run.output, q("/plant/shift  2  int     offline, inconsistent, error\n"));
    QCOMPARE(run.exitCode, 0);
}

void tst_KeywordToolReading::get_doesNotLetValuesControlTheTerminal()
{
    Bench bench;
    bench.server.setValue(q("/plant/name"), q("a\x1b[2Jb\nc"));

    QCOMPARE(bench.run(words("get /plant/name")).output,
             q("/plant/name  \"a\\u001b[2Jb\\nc\"  string  ok\n"));
    QCOMPARE(bench.run(words("get -f json /plant/name")).lines().size(), 1);
    QCOMPARE(bench.run(words("get -f csv /plant/name")).output.section(QLatin1Char('\n'), 1),
             q("/plant/name,\"a\x1b[2Jb\nc\",string,true,true,true,false\n"));
}

void tst_KeywordToolReading::get_stampsEachLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("pattern");

    QTest::newRow("utc") << words("get --time utc /plant/shift")
                         << q("^[0-9]{4}-[01][0-9]-[0-3][0-9]T[0-9:]{8}\\.[0-9]{3}Z  /plant/shift");
    QTest::newRow("local") << words("get --time local /plant/shift")
                           << q("^[0-9]{4}-[01][0-9]-[0-3][0-9]T[0-9:]{8}\\.[0-9]{3}\\+00:00  "
                                "/plant/");
    QTest::newRow("delta") << words("get --time delta /plant/shift") << q("^0\\.000000  /plant/");
    QTest::newRow("json") << words("get -f json --time utc /plant/shift")
                          << q("^\\{\"time\":\"[-0-9T:.]+Z\",\"keyword\"");
    QTest::newRow("csv") << words("get -f csv --time delta /plant/shift")
                         << q("^time,keyword,value.*\n0,/plant/shift,2,int,");
    QTest::newRow("watch text")
        << words("watch -n 1 /plant/shift")
        << q("^[-0-9T:]{19}\\.[0-9]{3}\\+00:00  /plant/shift  2  int     ok\n$");
    QTest::newRow("watch json") << words("watch -n 1 -f json /plant/shift")
                                << q("^\\{\"time\":\"[-0-9T:.]+Z\",\"keyword\"");
}

void tst_KeywordToolReading::get_stampsEachLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, pattern);
    const Bench bench;

    const Run run = bench.run(arguments);

    const QRegularExpression expected(pattern);
    // Each row has its own expression, so it cannot be static.
    const bool matches =
        expected.match(run.output).hasMatch(); // clazy:exclude=use-static-qregularexpression
    QVERIFY2(matches, qPrintable(run.output));
    QCOMPARE(run.exitCode, 0);
}

void tst_KeywordToolReading::localTime_hasItsOffset_data()
{
    QTest::addColumn<QString>("zone"); // counted westward
    QTest::addColumn<QString>("offset");
    QTest::newRow("India") << q("IST-5:30") << q("+05:30");
    QTest::newRow("Newfoundland") << q("NST3:30") << q("-03:30");
    QTest::newRow("Kiribati") << q("LINT-14") << q("+14:00");
    QTest::newRow("UTC") << q("UTC0") << q("+00:00");
}

void tst_KeywordToolReading::localTime_hasItsOffset()
{
    QFETCH(QString, zone);
    QFETCH(QString, offset);
    const Bench bench;
    const QDateTime before = QDateTime::currentDateTimeUtc();

    Tool text(words("watch -n 1 /plant/shift"), bench.url(), {q("TZ=") + zone});
    Tool json(words("get -f json --time local /plant/shift"), bench.url(), {q("TZ=") + zone});
    QVERIFY(text.finish());
    QVERIFY(json.finish());

    const QString stamp = text.output().section(QLatin1Char(' '), 0, 0);
    QVERIFY2(stamp.endsWith(offset), qPrintable(stamp));
    const QDateTime time = QDateTime::fromString(stamp, Qt::ISODateWithMs);
    QVERIFY(time >= before && time <= QDateTime::currentDateTimeUtc());
    QVERIFY2(json.output().contains(offset + q("\",\"keyword\"")), qPrintable(json.output()));
}

void tst_KeywordToolReading::csv_tellsNoValueFromTheEmptyText()
{
    Bench bench;
    bench.declare("/plant/a", "string", q(""));
    bench.declare("/plant/b", "string", QVariant());

    QCOMPARE(bench.run(words("get -f csv /plant/a /plant/b")).output,
             q("keyword,value,type,connected,online,consistent,error\n"
               "/plant/a,\"\",string,true,true,true,false\n"
               "/plant/b,,string,true,true,true,false\n"));
    QCOMPARE(bench.run({q("set"), q("-w"), q("-f"), q("csv"), q("/plant/name"), QString()}).output,
             q("keyword,value,outcome\n/plant/name,\"\",taken\n"));
}

void tst_KeywordToolReading::watch_printsEachEventAtOnce_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("lines");

    QTest::newRow("text") << words("watch --time none /plant/shift /plant/nowhere")
                          << QStringList {q("/plant/shift    2  int     ok"),
                                          q("/plant/nowhere  -  -       not connected, offline"),
                                          q("/plant/shift    3  int     ok"),
                                          q("/plant/shift    3  int     offline")};
    const QString state = q("\"connected\":true,\"online\":true,\"consistent\":true,");
    QTest::newRow("json")
        << words("watch --time none -f json /plant/shift /plant/nowhere")
        << QStringList {
               q("{\"keyword\":\"/plant/shift\",\"value\":2,\"type\":\"int\",") + state
                   + q("\"error\":false}"),
               q("{\"keyword\":\"/plant/nowhere\",\"value\":null,\"type\":\"\",\"connected\":"
                 "false,\"online\":false,\"consistent\":true,\"error\":false}"),
               q("{\"keyword\":\"/plant/shift\",\"value\":3,\"type\":\"int\",") + state
                   + q("\"error\":false}"),
               q("{\"keyword\":\"/plant/shift\",\"value\":3,\"type\":\"int\",\"connected\":true,"
                 "\"online\":false,\"consistent\":true,\"error\":false}")};
    QTest::newRow("raw") << words("watch --raw /plant/shift /plant/name")
                         << QStringList {q("2"), q("Riverside"), q("3"), q("3")};
}

void tst_KeywordToolReading::watch_printsEachEventAtOnce()
{
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, lines);
    Bench bench;
    Tool tool(arguments, bench.url());

    QVERIFY(tool.printed(2));
    bench.server.setValue(q("/plant/shift"), 3);
    QVERIFY(tool.printed(3));
    bench.server.setState(q("/plant/shift"), true, false, true, false);
    QVERIFY(tool.printed(4));

    QCOMPARE(tool.lines(), lines);
    QCOMPARE(tool.errors(), QString());
}

void tst_KeywordToolReading::watch_asksOnceForAKeywordGivenTwice()
{
    Bench bench;
    int requests = 0;
    QObject::connect(&bench.server, &pellix::server::KeywordServer::keywordRequested, &bench.server,
                     [&requests] { ++requests; });

    const Run run = bench.run(words("watch --raw -n 2 /plant/shift /plant/shift"));

    QCOMPARE(run.output, q("2\n2\n"));
    QCOMPARE(requests, 1);
}

void tst_KeywordToolReading::watch_stampsWithTheDifference()
{
    Bench bench;
    Tool tool(words("watch --time delta -f json -n 2 /plant/shift"), bench.url());
    QVERIFY(tool.printed(1));
    bench.server.setValue(q("/plant/shift"), 3);
    QVERIFY(tool.finish());

    const QStringList lines = tool.lines();
    QVERIFY2(lines.at(0).startsWith(q("{\"time\":0,")), qPrintable(lines.at(0)));
    const QString first = lines.at(1).section(QLatin1Char(','), 0, 0);
    const double difference = QStringView(first).mid(8).toDouble();
    QVERIFY2(difference > 0 && difference < 30, qPrintable(lines.at(1)));
}

void tst_KeywordToolReading::aggregate_followsItsChildren()
{
    Bench bench;
    Tool tool(words("aggregate --watch --raw -n 3 sum /plant/tank2/level /plant/shift"),
              bench.url());
    QVERIFY(tool.printed(1));
    bench.server.setValue(q("/plant/shift"), 3);
    QVERIFY(tool.printed(2));
    bench.server.setValue(q("/plant/tank2/level"), 0.5);
    QVERIFY(tool.finish());

    QCOMPARE(tool.output(), q("47.25\n48.25\n3.5\n"));
    QCOMPARE(tool.exitCode(), 0);
}

void tst_KeywordToolReading::aggregate_takesTheNameItIsGiven()
{
    Bench bench;
    QStringList requests;
    QObject::connect(&bench.server, &pellix::server::KeywordServer::keywordRequested, &bench.server,
                     [&requests](const QString &path) {
                         if (path != q("/plant/shift")) // requests for a child
                             requests.append(path);
                     });

    const Run own = bench.run(words("aggregate -k /my/sum sum /plant/shift /plant/shift --raw"));
    const Run shared = bench.run(words("aggregate sum /plant/shift /plant/shift"));

    QCOMPARE(own.output, q("4\n"));
    QCOMPARE(requests.size(), 2);
    QCOMPARE(requests.at(0), q("/my/sum"));
    QVERIFY2(requests.at(1).startsWith(q("/store/aggregated/")), qPrintable(requests.at(1)));
    QVERIFY(shared.output.startsWith(requests.at(1) + q("  4")));
}

void tst_KeywordToolReading::ping_tellsEachAnswerAndTheFigures()
{
    const Bench bench;

    const Run text = bench.run(words("ping --count 3 --interval 0.01"));
    QCOMPARE(text.exitCode, 0);
    QCOMPARE(text.lines().size(), 4);
    QVERIFY2(QRegularExpression(q("^reply 1: [0-9.]+ ms$")).match(text.lines().at(0)).hasMatch(),
             qPrintable(text.output));
    QVERIFY2(QRegularExpression(q("^3 sent, 3 answered, min/avg/max [0-9.]+/[0-9.]+/[0-9.]+ ms$"))
                 .match(text.lines().at(3))
                 .hasMatch(),
             qPrintable(text.output));

    const Run json = bench.run(words("ping -n 1 -f json /plant/tank2"));
    QCOMPARE(json.lines().size(), 2);
    QVERIFY2(json.lines().at(0).startsWith(q("{\"sequence\":1,\"milliseconds\":")),
             qPrintable(json.output));
    QVERIFY2(json.lines().at(1).startsWith(q("{\"sent\":1,\"answered\":1,\"min\":")),
             qPrintable(json.output));

    const Run csv = bench.run(words("ping -n 2 --interval 0.01 -f csv"));
    QCOMPARE(csv.lines().size(), 3);
    QCOMPARE(csv.lines().at(0), q("sequence,milliseconds"));
    QVERIFY(csv.lines().at(2).startsWith(q("2,")));
}

void tst_KeywordToolReading::tree_withstandsARing()
{
    Bench bench; // its index lists each child twice, but the output must not
    bench.socketServer.setDuplicateIndexItems(true);

    QCOMPARE(bench.run(words("tree /plant/tank2")).output, q("/plant/tank2\n└── level  double\n"));
}

QTEST_GUILESS_MAIN(tst_KeywordToolReading)
#include "tst_keywordtoolreading.moc"
