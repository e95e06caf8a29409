// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/programs/keyword/toolbench.h"

#include <QtTest/QTest>

#include <csignal>

namespace {

constexpr int longestLine = 16 * 1024 * 1024; // bytes

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

// Tests keywords and writes from standard input.
class tst_KeywordToolInput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void keywords_areReadFromStandardInput_data();
    void keywords_areReadFromStandardInput();
    void writes_areReadFromStandardInput_data();
    void writes_areReadFromStandardInput();
    void writes_areDoneAsTheyCome_data();
    void writes_areDoneAsTheyCome();
    void writes_waitForTheConnection();
    void writes_areManyAndNoneIsMissing_data();
    void writes_areManyAndNoneIsMissing();
    void writes_giveUpWhenNobodyAnswers();
    void watch_goesOnWhenTheInputHasEnded();
    void input_canBeInterrupted();
    void input_cannotBeRead_data();
    void input_cannotBeRead();
    void lines_ofLimitedLengthAreAccepted();
    void lines_withoutAnEndAreRefused();
};

void tst_KeywordToolInput::keywords_areReadFromStandardInput_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("errors");
    QTest::addColumn<int>("exitCode");
    const auto row = [](const char *name, const char *arguments, const char *input,
                        const char *output, const char *errors = "", int exitCode = 0) {
        QTest::newRow(name) << words(arguments) << QByteArray(input) << q(output) << q(errors)
                            << exitCode;
    };

    row("get", "get --raw -", "/plant/shift\n/plant/name\n", "2\nRiverside\n");
    row("without the last end", "get --raw -", "/plant/shift\n/plant/name", "2\nRiverside\n");
    row("blank lines and blanks", "get --raw -", "\n  /plant/shift \t\r\n \n\r\n", "2\n");
    row("among others", "get --raw /plant/name - /plant/stop", "/plant/shift\n",
        "Riverside\n2\nfalse\n");
    row("below", "get --raw -r -", "/plant/tank2\n/plant/tank10\n", "45.25\n50.5\n");
    row("watch", "watch --raw -n 2 -", "/plant/shift\n/plant/name\n", "2\nRiverside\n");
    row("label", "label --raw -", "/plant\n", "Bottling works\n");
    row("one unknown", "get --raw -", "/nowhere\n/plant/shift\n", "2\n",
        "keyword: /nowhere: no such keyword\n", 1);
    row("nothing", "get -", "", "", "keyword: standard input contains no keywords\n", 1);
    row("only blank lines", "watch -", "\n \n", "",
        "keyword: standard input contains no keywords\n", 1);
    row("no UTF-8", "get -", "/plant/shift\n/\xff\n", "",
        "keyword: standard input, line 2: not UTF-8\n", 2);
}

void tst_KeywordToolInput::keywords_areReadFromStandardInput()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QString, output);
    QFETCH(QString, errors);
    QFETCH(int, exitCode);
    const Bench bench;
    Tool tool(arguments, bench.url());

    tool.write(input);
    tool.endInput();

    QVERIFY(tool.finish());
    QCOMPARE(tool.errors(), errors);
    QCOMPARE(tool.output(), output);
    QCOMPARE(tool.exitCode(), exitCode);
}

void tst_KeywordToolInput::writes_areReadFromStandardInput_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("errors");
    QTest::addColumn<QString>("written");
    QTest::addColumn<int>("exitCode");
    const auto row = [](const char *name, const char *arguments, const char *input,
                        const char *output, const char *written, const char *errors = "",
                        int exitCode = 0) {
        QTest::newRow(name) << words(arguments) << QByteArray(input) << q(output) << q(errors)
                            << q(written) << exitCode;
    };

    row("set", "set -", "/plant/shift 3\n/plant/name Hill\n", "",
        "/plant/shift=3 /plant/name=Hill");
    row("rows", "set -f json -", "/plant/shift 3\n/plant/stop true\n",
        "{\"keyword\":\"/plant/shift\",\"value\":3,\"outcome\":\"sent\"}\n"
        "{\"keyword\":\"/plant/stop\",\"value\":true,\"outcome\":\"sent\"}\n",
        "/plant/shift=3 /plant/stop=true");
    row("wait", "set --wait -", "/plant/shift 3\n\n/plant/shift 4",
        "/plant/shift  3  taken\n/plant/shift  4  taken\n", "/plant/shift=3 /plant/shift=4");
    row("as", "set --as string -", "/plant/name 5\r\n", "", "/plant/name=5");
    row("value with blanks", "set -w -", "  /plant/name \t a  b \n", "/plant/name  a  b   taken\n",
        "/plant/name=a  b ");
    row("empty text", "set -w -f csv -", "/plant/name \n",
        "keyword,value,outcome\n/plant/name,\"\",taken\n", "/plant/name=");
    row("add", "add -", "/plant/shift 3\n/plant/shift -1\n", "", "/plant/shift=5 /plant/shift=4");
    row("line without a value", "set -", "/plant/name\n/plant/shift 3\n", "", "/plant/shift=3",
        "keyword: standard input, line 1: no value after '/plant/name'\n", 2);
    row("line of another type", "set --as int -", "/plant/shift x\n/plant/shift 3\n", "",
        "/plant/shift=3", "keyword: standard input, line 1: 'x' is not of type int\n", 2);
    row("line with a number to be rounded", "set -",
        "/plant/plan [123456789012345678901]\n/plant/shift 3\n", "", "/plant/shift=3",
        "keyword: standard input, line 1: '123456789012345678901' cannot be represented exactly as "
        "a double; the nearest value is 123456789012345683968\n",
        2);
    row("no UTF-8", "set -", "/plant/name \xff\n/plant/shift 3\n", "", "/plant/shift=3",
        "keyword: standard input, line 1: not UTF-8\n", 2);
    row("refusal", "set --wait -", "/plant/tank2/level 5\n/plant/shift 3\n",
        "/plant/shift  3  taken\n", "/plant/shift=3",
        "keyword: /plant/tank2/level: refused; the value is still 45.25\n", 4);
    row("nothing", "set -", "\n", "", "", "keyword: standard input contains no writes\n", 1);
}

void tst_KeywordToolInput::writes_areReadFromStandardInput()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QString, output);
    QFETCH(QString, errors);
    QFETCH(QString, written);
    QFETCH(int, exitCode);
    const Bench bench;
    QStringList writes;
    QObject::connect(&bench.server, &pellix::server::KeywordServer::valueWritten, &bench.server,
                     [&writes](const QString &path, const QVariant &value) {
                         writes.append(path + q("=") + value.toString());
                     });
    Tool tool(arguments, bench.url());

    tool.write(input);
    tool.endInput();

    QVERIFY(tool.finish());
    QCOMPARE(tool.errors(), errors);
    QCOMPARE(tool.output(), output);
    QCOMPARE(writes.join(QLatin1Char(' ')), written);
    QCOMPARE(tool.exitCode(), exitCode);
}

void tst_KeywordToolInput::writes_areDoneAsTheyCome_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("sent") << words("set --timeout 0.2 -");
    QTest::newRow("waited for") << words("set --wait --timeout 0.2 -");
}

void tst_KeywordToolInput::writes_areDoneAsTheyCome()
{
    QFETCH(QStringList, arguments);
    Bench bench;
    Tool tool(arguments, bench.url());

    tool.write("/plant/shift 3\n/plant/sh");
    QTRY_COMPARE(bench.server.value(q("/plant/shift")).toInt(), 3);
    // Waiting for a line does not count as waiting for a reply: another command times out
    // meanwhile.
    QCOMPARE(bench.run(words("watch --timeout 0.5 /plant/shift")).exitCode, 5);
    QVERIFY(tool.isRunning());
    tool.write("ift 4\n");
    QTRY_COMPARE(bench.server.value(q("/plant/shift")).toInt(), 4);
    QVERIFY(tool.isRunning());
    tool.endInput();

    QVERIFY(tool.finish());
    QCOMPARE(tool.errors(), QString());
    QCOMPARE(tool.exitCode(), 0);
}

void tst_KeywordToolInput::writes_waitForTheConnection()
{
    Bench bench;
    const quint16 port = bench.socketServer.port();
    Tool tool(words("set --timeout 60 -"), bench.url());
    tool.write("/plant/shift 3\n");
    QTRY_COMPARE(bench.server.value(q("/plant/shift")).toInt(), 3);

    bench.socketServer.close();
    QVERIFY(tool.complained(q("lost the connection")));
    tool.write("/plant/shift 4\n/plant/shift 5\n");
    tool.endInput();
    QVERIFY(bench.socketServer.listen(QHostAddress::LocalHost, port));

    QVERIFY(tool.finish());
    QCOMPARE(bench.server.value(q("/plant/shift")).toInt(), 5);
    QCOMPARE(tool.exitCode(), 0);
}

void tst_KeywordToolInput::writes_areManyAndNoneIsMissing_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("count");
    QTest::newRow("sent") << words("set -") << 20000;
    QTest::newRow("waited for") << words("set --wait -") << 200;
}

void tst_KeywordToolInput::writes_areManyAndNoneIsMissing()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, count);
    const Bench bench;
    int next = 0;
    bool inOrder = true;
    QObject::connect(&bench.server, &pellix::server::KeywordServer::valueWritten, &bench.server,
                     [&](const QString &, const QVariant &value) {
                         inOrder = inOrder && value.toInt() == next;
                         ++next;
                     });
    QByteArray lines;
    for (int i = 0; i < count; ++i)
        lines += "/plant/shift " + QByteArray::number(i) + '\n';
    Tool tool(arguments, bench.url());

    tool.write(lines);
    tool.endInput();

    QVERIFY(tool.finish(120000));
    QCOMPARE(tool.errors(), QString());
    QCOMPARE(next, count);
    QVERIFY(inOrder);
    QCOMPARE(tool.exitCode(), 0);
}

void tst_KeywordToolInput::writes_giveUpWhenNobodyAnswers()
{
    Bench bench;
    bench.socketServer.setAnswerDelay(std::chrono::minutes(1));
    Tool tool(words("set --timeout 0.3 -"), bench.url());
    tool.write("/plant/shift 3\n");
    QVERIFY(tool.finish());
    QCOMPARE(tool.errors(), q("keyword: no reply within 0.3 s\n"));
    QCOMPARE(tool.exitCode(), 5);
}

void tst_KeywordToolInput::watch_goesOnWhenTheInputHasEnded()
{
    Bench bench;
    Tool tool(words("watch --raw -"), bench.url());
    tool.write("/plant/shift\n");
    tool.endInput();
    QVERIFY(tool.printed(1));
    bench.server.setValue(q("/plant/shift"), 3);
    QVERIFY(tool.printed(2));
    QCOMPARE(tool.output(), q("2\n3\n"));
}

void tst_KeywordToolInput::input_canBeInterrupted()
{
    const Bench bench;
    Tool get(words("get -"), bench.url());
    Tool set(words("set -"), bench.url());
    get.write("/plant/shift\n");
    set.write("/plant/shift 3\n");
    QTRY_COMPARE(bench.server.value(q("/plant/shift")).toInt(), 3);

    get.sendSignal(SIGINT);
    set.sendSignal(SIGINT);

    QVERIFY(get.finish());
    QVERIFY(set.finish());
    QCOMPARE(get.exitCode(), 130);
    QCOMPARE(set.exitCode(), 130);
}

void tst_KeywordToolInput::input_cannotBeRead_data()
{
    QTest::addColumn<QString>("redirection");
    QTest::addColumn<QString>("reason");
    QTest::newRow("closed") << q("<&-") << q("Bad file descriptor");
    QTest::newRow("a folder") << q("</") << q("Is a directory");
}

void tst_KeywordToolInput::input_cannotBeRead()
{
    QFETCH(QString, redirection);
    QFETCH(QString, reason);
    const Bench bench;
    for (const char *command : {"get", "set"}) {
        QProcess shell;
        shell.start(q("sh"),
                    {q("-c"),
                     q("exec " PROGRAM " %1 --url %2 - %3")
                         .arg(QLatin1String(command), bench.url(), redirection)});
        QVERIFY(QTest::qWaitFor([&] { return shell.state() == QProcess::NotRunning; }, 30000));
        QCOMPARE(QString::fromUtf8(shell.readAllStandardError()),
                 q("keyword: standard input: %1\n").arg(reason));
        QCOMPARE(shell.exitCode(), 6);
    }
}

void tst_KeywordToolInput::lines_ofLimitedLengthAreAccepted()
{
    const Bench bench;
    Tool tool(words("get --raw -"), bench.url());
    tool.write(QByteArray(longestLine, ' ') + "\n/plant/shift\n");
    tool.endInput();
    QVERIFY(tool.finish());
    QCOMPARE(tool.errors(), QString());
    QCOMPARE(tool.output(), q("2\n"));

    Tool longer(words("get --raw -"), bench.url());
    longer.write("/plant/shift\n" + QByteArray(longestLine + 1, ' ') + "\n");
    longer.endInput();
    QVERIFY(longer.finish());
    QCOMPARE(longer.errors(), q("keyword: standard input, line 2: longer than 16 MiB\n"));
    QCOMPARE(longer.output(), QString());
    QCOMPARE(longer.exitCode(), 6);
}

// The program does not wait for the end of such a line.
void tst_KeywordToolInput::lines_withoutAnEndAreRefused()
{
    Bench bench;
    Tool tool(words("set -"), bench.url());
    tool.write("/plant/shift 3\n");
    QTRY_COMPARE(bench.server.value(q("/plant/shift")).toInt(), 3);
    tool.write(QByteArray(longestLine + 1, 'x'));
    QVERIFY(tool.finish());
    QCOMPARE(tool.errors(), q("keyword: standard input, line 2: longer than 16 MiB\n"));
    QCOMPARE(tool.exitCode(), 6);
}

QTEST_GUILESS_MAIN(tst_KeywordToolInput)
#include "tst_keywordtoolinput.moc"
