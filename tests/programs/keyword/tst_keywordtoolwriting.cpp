// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/writerequest.h"
#include "tests/programs/keyword/toolbench.h"

#include <QtCore/QJsonValue>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

#include <csignal>
#include <limits>

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

// Tests set and add, with and without --wait.
class tst_KeywordToolWriting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void write_arrivesTyped_data();
    void write_arrivesTyped();
    void wait_tellsWhatBecameOfIt_data();
    void wait_tellsWhatBecameOfIt();
    void wait_convertsByTheTypeOfTheKeyword_data();
    void wait_convertsByTheTypeOfTheKeyword();
    void wholeNumbers_areSentExactly_data();
    void wholeNumbers_areSentExactly();
    void inexactNumbers_areNotSent_data();
    void inexactNumbers_areNotSent();
    void wait_timesOutWhenTheValueDoesNotCome();
    void wait_doesNotTakeALostSourceForARefusal();
    void wait_doesNotTakeAnErrorThatWasThereForARefusal();
    void wait_tellsOfAnotherValueAtOnce();
    void wait_addsToWhatOthersWrite();
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
    QTest::newRow("no access")
        << words("set -w /plant/tank2/level 3") << 4 << QString()
        << q("keyword: /plant/tank2/level: refused; the value is still 45.25\n");
    QTest::newRow("no access, and the same value")
        << words("set -w /plant/tank2/level 45.25") << 4 << QString()
        << q("keyword: /plant/tank2/level: refused; the value is still 45.25\n");
    QTest::newRow("other type")
        << words("set -w /plant/shift x") << 4 << QString()
        << q("keyword: /plant/shift: refused; the value is still 2, which is of "
             "type int\n");
    QTest::newRow("refused, json")
        << words("set -w -f json /plant/shift x") << 4
        << q("{\"keyword\":\"/plant/shift\",\"value\":2,"
             "\"outcome\":\"refused\"}\n")
        << q("keyword: /plant/shift: refused; the value is still 2, which is of "
             "type int\n");
    QTest::newRow("type insisted on") << words("set -w --as int /plant/name 5") << 4 << QString()
                                      << q("keyword: /plant/name: refused; the value is still "
                                           "Riverside, which is of type string\n");
    QTest::newRow("unknown") << words("set -w /nowhere 5") << 1 << QString()
                             << q("keyword: /nowhere: no such keyword\n");
    QTest::newRow("sent, json") << words("set -f json /plant/shift 3") << 0
                                << q("{\"keyword\":\"/plant/shift\",\"value\":3,"
                                     "\"outcome\":\"sent\"}\n")
                                << QString();
    QTest::newRow("not that type") << words("set --as int /plant/shift x") << 2 << QString()
                                   << q("keyword: 'x' is not of type int\n");
    QTest::newRow("no amount") << words("add /plant/shift x") << 2 << QString()
                               << q("keyword: 'x' is not an amount\n");
    QTest::newRow("no number of JSON") << words("set --as double /plant/shift nan") << 2
                                       << QString() << q("keyword: 'nan' is not of type double\n");
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

void tst_KeywordToolWriting::wait_convertsByTheTypeOfTheKeyword_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("row"); // keyword, value and outcome
    const auto row = [](const char *name, const char *arguments, const char *line) {
        QTest::newRow(name) << words("set --wait -f csv") + words(arguments) << q(line);
    };
    row("number for a text", "/plant/name 007", "/plant/name,007,taken");
    row("long number for a text", "/plant/name 123456789012345678901",
        "/plant/name,123456789012345678901,taken");
    row("truth for a text", "/plant/name true", "/plant/name,true,taken");
    row("JSON for a text", "/plant/name [1,2]", "/plant/name,\"[1,2]\",taken");
    row("text insisted on", "--as string /plant/name 007", "/plant/name,007,taken");
    row("zeros for an int", "/plant/shift 007", "/plant/shift,7,taken");
    row("whole decimal for an int", "/plant/shift 7.0", "/plant/shift,7,taken");
    row("truth", "/plant/stop true", "/plant/stop,true,taken");
    row("double", "/plant/setpoint 1e1", "/plant/setpoint,10,taken");
    row("int for a double", "/plant/setpoint 3", "/plant/setpoint,3,taken");
    row("object", "/plant/plan {\"a\":1}", "/plant/plan,\"{\"\"a\"\":1}\",taken");
}

void tst_KeywordToolWriting::wait_convertsByTheTypeOfTheKeyword()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, row);
    Bench bench;
    bench.declare("/plant/setpoint", "double", 1.0);
    bench.declare("/plant/plan", "object", QVariantMap());

    const Run run = bench.run(arguments);

    QCOMPARE(run.errors, QString());
    QCOMPARE(run.lines().value(1), row);
    QCOMPARE(run.exitCode, 0);
}

void tst_KeywordToolWriting::wholeNumbers_areSentExactly_data()
{
    QTest::addColumn<QString>("number");
    for (const char *number : {"9007199254740993", "-9007199254740993", "1152921504606846977",
                               "9223372036854775807", "-9223372036854775808"})
        QTest::newRow(number) << q(number);
}

void tst_KeywordToolWriting::wholeNumbers_areSentExactly()
{
    QFETCH(QString, number);
    // Checks the sent messages, because a server may change the value.
    QWebSocketServer wire(QString(), QWebSocketServer::NonSecureMode);
    QVERIFY(wire.listen(QHostAddress::LocalHost));
    QStringList messages;
    QObject::connect(&wire, &QWebSocketServer::newConnection, &wire, [&] {
        QWebSocket *const client = wire.nextPendingConnection();
        client->setParent(&wire); // QWebSocketServer does not own it
        QObject::connect(client, &QWebSocket::textMessageReceived, client,
                         [&messages](const QString &message) { messages.append(message); });
    });
    Tool set({q("set"), q("/a"), number}, wire.serverUrl().toString());
    Tool add({q("add"), q("/a"), number}, wire.serverUrl().toString());
    QTRY_COMPARE(messages.size(), 4);
    const QString value = q("\"value\":%1").arg(number);
    QCOMPARE(messages.filter(value + q("}")).size(), 1);
    QCOMPARE(messages.filter(value + q(",\"valueChangeMode\":\"relative\"}")).size(), 1);

    // The value also survives the round trip with all digits.
    Bench bench;
    QVERIFY(bench.server.setValue(q("/plant/shift"), qlonglong(0)));
    const Run run = bench.run({q("set"), q("--wait"), q("/plant/shift"), number});
    QCOMPARE(run.output, q("/plant/shift  %1  taken\n").arg(number));
    QCOMPARE(run.errors, QString());
}

void tst_KeywordToolWriting::inexactNumbers_areNotSent_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char *name, const char *arguments, const char *problem,
                        const char *output = "") {
        QTest::newRow(name) << words(arguments) << q(output) << q(problem);
    };
    row("beyond 64 bits", "set /plant/shift 9223372036854775808",
        "'9223372036854775808' does not fit into 64 bits");
    row("below", "set /plant/shift -9223372036854775809",
        "'-9223372036854775809' does not fit into 64 bits");
    row("amount", "add /plant/shift 9223372036854775808",
        "'9223372036854775808' does not fit into 64 bits");
    row("as int", "set --as int /plant/shift 9223372036854775808",
        "'9223372036854775808' does not fit into 64 bits");
    row("as double", "set --as double /plant/setpoint 9007199254740993",
        "'9007199254740993' cannot be represented exactly as a double; the nearest value is "
        "9007199254740992");
    row("as double, longer", "set --as double /plant/setpoint 123456789012345678901234567890",
        "'123456789012345678901234567890' cannot be represented exactly as a double; the nearest "
        "value is "
        "123456789012345677877719597056");
    row("waiting, int", "set --wait /plant/shift 9223372036854775808",
        "/plant/shift: '9223372036854775808' does not fit into 64 bits");
    row("waiting, double", "set --wait /plant/setpoint -9007199254740993",
        "/plant/setpoint: '-9007199254740993' cannot be represented exactly as a double; the "
        "nearest value is "
        "-9007199254740992");
    row("waiting, json", "set --wait -f json /plant/setpoint 9007199254740993",
        "/plant/setpoint: '9007199254740993' cannot be represented exactly as a double; the "
        "nearest value is 9007199254740992",
        "{\"keyword\":\"/plant/setpoint\",\"value\":1.5,\"outcome\":\"invalid\"}\n");
    row("waiting, amount for a double", "add --wait /plant/setpoint 9007199254740993",
        "/plant/setpoint: '9007199254740993' cannot be represented exactly as a double; the "
        "nearest value is 9007199254740992");
    row("waiting, too great a sum", "add --wait /plant/shift 9223372036854775806",
        "/plant/shift: the sum does not fit into 64 bits");
    row("beyond a double", "set /plant/setpoint 1e400", "'1e400' is too large for a double");
    row("waiting, beyond a double", "set --wait /plant/setpoint -1e400",
        "/plant/setpoint: '-1e400' is too large for a double");
    row("in an object", "set /plant/plan {\"a\":123456789012345678901}",
        "'123456789012345678901' cannot be represented exactly as a double; the nearest value is "
        "123456789012345683968");
    row("in a list in an object", "set --as object /plant/plan {\"a\":[1,-9223372036854775809]}",
        "'-9223372036854775809' cannot be represented exactly as a double; the nearest value is "
        "-9223372036854775808");
    row("after a string", "set /plant/plan [\"\\\\\\\"7,\",18446744073709551615]",
        "'18446744073709551615' cannot be represented exactly as a double; the nearest value is "
        "18446744073709551616");
    row("waiting, in an object", "set --wait /plant/plan {\"a\":123456789012345678901}",
        "/plant/plan: '123456789012345678901' cannot be represented exactly as a double; the "
        "nearest value is 123456789012345683968");
}

void tst_KeywordToolWriting::inexactNumbers_areNotSent()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, output);
    QFETCH(QString, problem);
    Bench bench;
    bench.declare("/plant/setpoint", "double", 1.5);
    bench.declare("/plant/plan", "object", QVariantMap());
    int writes = 0;
    QObject::connect(&bench.server, &pellix::server::KeywordServer::valueWritten, &bench.server,
                     [&writes] { ++writes; });

    const Run run = bench.run(arguments);

    QCOMPARE(run.errors, q("keyword: %1\n").arg(problem));
    QCOMPARE(run.output, output);
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(writes, 0);
    QCOMPARE(bench.server.value(q("/plant/shift")).toInt(), 2);
    QCOMPARE(bench.server.value(q("/plant/setpoint")).toDouble(), 1.5);

    // Exactly representable numbers, and strings of any form, are accepted.
    QCOMPARE(bench.run(words("set --wait /plant/setpoint 9007199254740992")).output,
             q("/plant/setpoint  9007199254740992  taken\n"));
    QCOMPARE(bench.run(words("set --as double -w /plant/setpoint 100000000000000000000")).output,
             q("/plant/setpoint  1e+20  taken\n"));
    QCOMPARE(bench.run(words("set --as string -w /plant/name 1e400")).output,
             q("/plant/name  1e400  taken\n"));
    const QString exact =
        q("{\"a\":[9223372036854775807,-9007199254740993,1.5,18446744073709551616]}");
    const QVariantList numbers {std::numeric_limits<qlonglong>::max(), -9007199254740993LL, 1.5,
                                18446744073709551616.0};
    QCOMPARE(bench.run({q("set"), q("/plant/plan"), exact}).errors, QString());
    QCOMPARE(bench.server.value(q("/plant/plan")), QVariant(QVariantMap {{q("a"), numbers}}));
    const QString digits = q("{\"123456789012345678901\":\"a\\\"123456789012345678901\"}");
    QCOMPARE(bench.run({q("set"), q("/plant/plan"), digits}).errors, QString());
}

void tst_KeywordToolWriting::wait_timesOutWhenTheValueDoesNotCome()
{
    Bench bench;
    bench.server.setWriteCheck(QStringLiteral("/plant/shift"), [&bench](const QVariant &) {
        bench.socketServer.setSilent(true); // the expected event is not sent
        return true;
    });
    const Run silent = bench.run(words("set --wait --timeout 0.3 /plant/shift 4"));
    QCOMPARE(silent.errors,
             q("keyword: /plant/shift: no event with the value in time; the last value was 2\n"));
    QCOMPARE(silent.exitCode, 5);
    bench.socketServer.setSilent(false);

    bench.socketServer.setAnswerDelay(std::chrono::milliseconds(60000));
    const Run run = bench.run(words("set --wait --timeout 0.3 /plant/shift 4"));
    QCOMPARE(run.errors, q("keyword: /plant/shift: no reply\n"));
    QCOMPARE(run.exitCode, 5);
    const Run plain = bench.run(words("set --timeout 0.3 /plant/shift 4"));
    QCOMPARE(plain.errors, q("keyword: no reply within 0.3 s\n"));
    QCOMPARE(plain.exitCode, 5);
}

void tst_KeywordToolWriting::wait_doesNotTakeALostSourceForARefusal()
{
    Bench bench;
    const QString path = q("/plant/shift");
    bench.server.setWriteHandler(path, [&](const pellix::server::WriteRequest &request) {
        bench.server.setState(path, false, false, true, false);
        request.refuse(q("the source was lost"));
    });
    const Run lost = bench.run(words("set --wait -f json /plant/shift 4"));
    QCOMPARE(lost.errors, q("keyword: /plant/shift: outcome not known: the source was lost\n"));
    QCOMPARE(lost.output,
             q("{\"keyword\":\"/plant/shift\",\"value\":2,\"outcome\":\"timeout\"}\n"));
    QCOMPARE(lost.exitCode, 5);
    // Now it is not connected from the start, so the write has not been executed.
    const Run refused = bench.run(words("set --wait /plant/shift 4"));
    QCOMPARE(refused.errors, q("keyword: /plant/shift: refused; the value is still 2\n"));
    QCOMPARE(refused.exitCode, 4);
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

void tst_KeywordToolWriting::wait_tellsOfAnotherValueAtOnce()
{
    Bench bench;
    bench.server.setWriteHandler(q("/plant/shift"),
                                 [](const pellix::server::WriteRequest &request) {
                                     request.accept(qMin(request.value().toInt(), 100));
                                 });
    const Run run = bench.run(words("set --wait --timeout 60 -f json /plant/shift 200"));
    QCOMPARE(run.errors, q("keyword: /plant/shift: not set to this value; it became 100\n"));
    QCOMPARE(run.output,
             q("{\"keyword\":\"/plant/shift\",\"value\":100,\"outcome\":\"changed\"}\n"));
    QCOMPARE(run.exitCode, 4);
}

void tst_KeywordToolWriting::wait_addsToWhatOthersWrite()
{
    Bench bench;
    bench.server.setWriteHandler(
        q("/plant/shift"), [&bench](const pellix::server::WriteRequest &request) {
            bench.server.setValue(request.path(), 40); // between the event and the write
            request.accept(40 + request.change().toInt());
        });
    const Run run = bench.run(words("add --wait /plant/shift 1"));
    QCOMPARE(run.errors, QString());
    QCOMPARE(run.output, q("/plant/shift  41  taken\n"));
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
    QObject::connect(&bench.server, &pellix::server::KeywordServer::valueWritten, &bench.server,
                     [&written](const QString &path, const QVariant &value) {
                         written.append(path + q("=") + value.toString());
                     });

    const Run waited = bench.run(
        words("set --wait /plant/shift 7 /plant/tank2/level 1 /plant/name x /plant/shift 8"));
    const Run sent = bench.run(words("add /plant/shift 1 /plant/shift 2 /plant/stop true"));

    QCOMPARE(waited.exitCode, 4); // the exit code of the second write
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
