// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/tools/toolbench.h"

#include <QtCore/QJsonValue>
#include <QtTest/QTest>

#include <csignal>

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

// set and add, with and without waiting.
class tst_KeywordToolWriting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void write_arrivesTyped_data();
    void write_arrivesTyped();
    void wait_tellsWhatBecameOfIt_data();
    void wait_tellsWhatBecameOfIt();
    void wait_timesOutWhenTheValueDoesNotCome();
    void wait_doesNotTakeAnErrorThatWasThereForARefusal();
    void wait_endsAtOnceWhenInterrupted();
    void severalWrites_areDoneInOrder();
    void withoutWaiting_refusalsAreNotNoticed();
};

void tst_KeywordToolWriting::write_arrivesTyped_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("keyword");
    QTest::addColumn<QVariant>("value");

    QTest::newRow("int") << words("set /plant/shift 3") << q("/plant/shift") << QVariant(3);
    QTest::newRow("negative") << words("set /plant/shift -7") << q("/plant/shift") << QVariant(-7);
    QTest::newRow("negative behind dashes")
        << words("set -- /plant/shift -7") << q("/plant/shift") << QVariant(-7);
    QTest::newRow("bool") << words("set plant#stop true") << q("/plant/stop") << QVariant(true);
    QTest::newRow("double") << words("set /plant/setpoint 1.5e1") << q("/plant/setpoint")
                            << QVariant(15.0);
    QTest::newRow("text") << words("set /plant/name Hill") << q("/plant/name")
                          << QVariant(q("Hill"));
    QTest::newRow("empty text") << QStringList {q("set"), q("/plant/name"), QString()}
                                << q("/plant/name") << QVariant(q(""));
    QTest::newRow("number as text")
        << words("set --as string /plant/name -5") << q("/plant/name") << QVariant(q("-5"));
    QTest::newRow("int as double")
        << words("set --as double /plant/setpoint 4") << q("/plant/setpoint") << QVariant(4.0);
    QTest::newRow("object") << words("set /plant/plan {\"a\":[1,true]}") << q("/plant/plan")
                            << QVariant(QVariantMap {{q("a"), QVariantList {1, true}}});
    QTest::newRow("add") << words("add /plant/shift -1") << q("/plant/shift") << QVariant(1);
    QTest::newRow("toggle") << words("add /plant/stop true") << q("/plant/stop") << QVariant(true);
}

void tst_KeywordToolWriting::write_arrivesTyped()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, keyword);
    QFETCH(QVariant, value);
    Bench bench;
    bench.declare("/plant/setpoint", "double", 1.0);
    bench.declare("/plant/plan", "object", QVariantMap());

    const Run run = bench.run(arguments);

    QCOMPARE(run.errors, QString());
    QCOMPARE(run.output, QString());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(QJsonValue::fromVariant(bench.server.value(keyword)), QJsonValue::fromVariant(value));
}

void tst_KeywordToolWriting::wait_tellsWhatBecameOfIt_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("errors");

    QTest::newRow("taken") << words("set --wait /plant/shift 3") << 0
                           << q("/plant/shift  3  taken\n") << QString();
    QTest::newRow("taken, json") << words("set -w -f json /plant/shift 3") << 0
                                 << q("{\"keyword\":\"/plant/shift\",\"value\":3,"
                                      "\"outcome\":\"taken\"}\n")
                                 << QString();
    QTest::newRow("taken, csv") << words("add -w -f csv /plant/shift 3") << 0
                                << q("keyword,value,outcome\n/plant/shift,5,taken\n") << QString();
    QTest::newRow("as it was") << words("set -w /plant/shift 2") << 0
                               << q("/plant/shift  2  unchanged\n") << QString();
    QTest::newRow("toggled") << words("add -w /plant/stop true") << 0
                             << q("/plant/stop  true  taken\n") << QString();
    QTest::newRow("no access") << words("set -w /plant/tank2/level 3") << 4 << QString()
                               << q("keyword: /plant/tank2/level: refused; it stays 45.25\n");
    QTest::newRow("no access, and the same value")
        << words("set -w /plant/tank2/level 45.25") << 4 << QString()
        << q("keyword: /plant/tank2/level: refused; it stays 45.25\n");
    QTest::newRow("other type") << words("set -w /plant/name 5") << 4 << QString()
                                << q("keyword: /plant/name: refused; it stays Riverside, which is "
                                     "of type string\n");
    QTest::newRow("refused, json") << words("set -w -f json /plant/name 5") << 4
                                   << q("{\"keyword\":\"/plant/name\",\"value\":\"Riverside\","
                                        "\"outcome\":\"refused\"}\n")
                                   << q("keyword: /plant/name: refused; it stays Riverside, which "
                                        "is of type string\n");
    QTest::newRow("unknown") << words("set -w /nowhere 5") << 1 << QString()
                             << q("keyword: /nowhere: no such keyword\n");
    QTest::newRow("sent, json") << words("set -f json /plant/shift 3") << 0
                                << q("{\"keyword\":\"/plant/shift\",\"value\":3,"
                                     "\"outcome\":\"sent\"}\n")
                                << QString();
    QTest::newRow("not that type")
        << words("set --as int /plant/shift x") << 2 << QString() << q("keyword: 'x' is no int\n");
    QTest::newRow("no amount") << words("add /plant/shift x") << 2 << QString()
                               << q("keyword: 'x' is no amount\n");
    QTest::newRow("no number of JSON") << words("set --as double /plant/shift nan") << 2
                                       << QString() << q("keyword: 'nan' is no double\n");
}

void tst_KeywordToolWriting::wait_tellsWhatBecameOfIt()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, output);
    QFETCH(QString, errors);
    const Bench bench;

    const Run run = bench.run(arguments);

    QCOMPARE(run.errors, errors);
    QCOMPARE(run.output, output);
    QCOMPARE(run.exitCode, exitCode);
}

void tst_KeywordToolWriting::wait_timesOutWhenTheValueDoesNotCome()
{
    Bench bench;
    bench.server.setWriteHandler(QStringLiteral("/plant/shift"), [&bench](const QVariant &) {
        bench.socketServer.setSilent(true); // the event that is due does not get out
        return true;
    });
    const Run silent = bench.run(words("set --wait --timeout 0.3 /plant/shift 4"));
    QCOMPARE(silent.errors,
             q("keyword: /plant/shift: no event with the value in time; the last one had 2\n"));
    QCOMPARE(silent.exitCode, 5);
    bench.socketServer.setSilent(false);

    bench.socketServer.setAnswerDelay(std::chrono::milliseconds(60000));
    const Run run = bench.run(words("set --wait --timeout 0.3 /plant/shift 4"));
    QCOMPARE(run.errors, q("keyword: /plant/shift: no answer\n"));
    QCOMPARE(run.exitCode, 5);
    const Run plain = bench.run(words("set --timeout 0.3 /plant/shift 4"));
    QCOMPARE(plain.errors, q("keyword: no answer within 0.3 s\n"));
    QCOMPARE(plain.exitCode, 5);
}

void tst_KeywordToolWriting::wait_doesNotTakeAnErrorThatWasThereForARefusal()
{
    Bench bench;
    bench.server.setState(q("/plant/shift"), true, true, true, true);

    const Run taken = bench.run(words("set --wait /plant/shift 5"));
    QCOMPARE(taken.output, q("/plant/shift  5  taken\n"));
    QCOMPARE(taken.exitCode, 0);

    const Run refused = bench.run(words("set --wait /plant/shift x"));
    QCOMPARE(refused.exitCode, 4);
}

void tst_KeywordToolWriting::wait_endsAtOnceWhenInterrupted()
{
    Bench bench;
    bench.socketServer.setAnswerDelay(std::chrono::milliseconds(60000));
    Tool tool(words("set --wait --timeout 60 /plant/shift 4"), bench.url());
    QTRY_COMPARE(bench.socketServer.clientCount(), 1);

    tool.sendSignal(SIGINT);

    QVERIFY(tool.finish());
    QCOMPARE(tool.exitCode(), 130);
    QCOMPARE(tool.errors(), QString());
}

void tst_KeywordToolWriting::severalWrites_areDoneInOrder()
{
    Bench bench;
    QStringList written;
    QObject::connect(&bench.server, &pellix::simulator::KeywordServer::valueWritten, &bench.server,
                     [&written](const QString &path, const QVariant &value) {
                         written.append(path + q("=") + value.toString());
                     });

    const Run waited = bench.run(
        words("set --wait /plant/shift 7 /plant/tank2/level 1 /plant/name x /plant/shift 8"));
    const Run sent = bench.run(words("add /plant/shift 1 /plant/shift 2 /plant/stop true"));

    QCOMPARE(waited.exitCode, 4); // the second one
    QCOMPARE(waited.output,
             q("/plant/shift  7  taken\n/plant/name  x  taken\n/plant/shift  8  taken\n"));
    QCOMPARE(sent.exitCode, 0);
    QCOMPARE(written,
             QStringList({q("/plant/shift=7"), q("/plant/name=x"), q("/plant/shift=8"),
                          q("/plant/shift=9"), q("/plant/shift=11"), q("/plant/stop=true")}));
}

void tst_KeywordToolWriting::withoutWaiting_refusalsAreNotNoticed()
{
    const Bench bench;
    const Run run = bench.run(words("set /plant/tank2/level 3"));
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.errors, QString());
    QCOMPARE(bench.server.value(q("/plant/tank2/level")).toDouble(), 45.25);
}

QTEST_GUILESS_MAIN(tst_KeywordToolWriting)
#include "tst_keywordtoolwriting.moc"
