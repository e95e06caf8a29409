// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/programs/keyword/toolbench.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QTest>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>
#endif

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// The output of the program when its standard output and error are a terminal.
QString printedOnTerminal(const QStringList &arguments)
{
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (terminal < 0 || ::grantpt(terminal) != 0 || ::unlockpt(terminal) != 0)
        return q("no terminal");
    const QByteArray name = ::ptsname(terminal);
    const int end = ::open(name.constData(), O_RDWR | O_NOCTTY);
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(q("LC_ALL"), q("C.UTF-8"));
    environment.insert(q("NO_COLOR"), q("1"));
    process.setProcessEnvironment(environment);
    process.setChildProcessModifier([end] {
        ::dup2(end, STDOUT_FILENO);
        ::dup2(end, STDERR_FILENO);
    });
    process.start(q(PROGRAM), arguments);
    QByteArray printed;
    const auto read = [&] {
        char buffer[4096];
        for (auto size = ::read(terminal, buffer, sizeof buffer); size > 0;
             size = ::read(terminal, buffer, sizeof buffer))
            printed.append(buffer, int(size));
        return process.state() == QProcess::NotRunning;
    };
    if (!QTest::qWaitFor(read, 30000))
        printed += "... and does not end";
    read();
    ::close(end);
    ::close(terminal);
    return QString::fromUtf8(printed.replace("\r\n", "\n"));
}

} // namespace

// Tests texts of a server that are wide, harm a terminal, or look like something else.
class tst_KeywordToolText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void harmfulText_isMadeVisible_data();
    void harmfulText_isMadeVisible();
    void harmfulText_isMadeVisibleEverywhere();
    void terminal_getsNothingHarmful_data();
    void terminal_getsNothingHarmful();
    void terminal_getsNoHarmfulRecording();
    void pipe_getsTextsAsTheyAre();
    void columns_areAligned_data();
    void columns_areAligned();
};

void tst_KeywordToolText::harmfulText_isMadeVisible_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *name, char16_t character, const char *text) {
        QTest::newRow(name) << q("a") + QChar(character) + q("b") << q(text);
    };
    row("escape", 0x1b, "\"a\\u001bb\"");
    row("bell", 0x07, "\"a\\u0007b\"");
    row("line", '\n', "\"a\\nb\"");
    row("carriage return", '\r', "\"a\\u000db\"");
    row("delete", 0x7f, "\"a\\u007fb\"");
    row("escape of eight bits", 0x9b, "\"a\\u009bb\"");
    row("right-to-left override", 0x202e, "\"a\\u202eb\"");
    row("left-to-right embedding", 0x202a, "\"a\\u202ab\"");
    row("isolate", 0x2067, "\"a\\u2067b\"");
    row("end of an isolate", 0x2069, "\"a\\u2069b\"");
    row("right-to-left mark", 0x200f, "\"a\\u200fb\"");
    row("Arabic letter mark", 0x061c, "\"a\\u061cb\"");
    row("line separator", 0x2028, "\"a\\u2028b\"");
    row("half a character", 0xd83d, "\"a\\ud83db\"");
    row("the other half", 0xde00, "\"a\\ude00b\"");
    row("no-break space", 0xa0, "a\u00a0b");
    row("soft hyphen", 0xad, "a\u00adb");
    row("joiner", 0x200d, "a\u200db");
    row("Arabic letter", 0x0627, "a\u0627b");
    QTest::newRow("both halves") << q("\U0001F600") << q("\U0001F600");
    QTest::newRow("quotes") << q("\"a\\b\"") << q("\"a\\b\"");
    QTest::newRow("quotes and escape") << q("\"a\\\x1b\"") << q("\"\\\"a\\\\\\u001b\\\"\"");
}

void tst_KeywordToolText::harmfulText_isMadeVisible()
{
    QFETCH(QString, value);
    QFETCH(QString, text);
    Bench bench;
    bench.server.setValue(q("/plant/name"), value);

    const Run run = bench.run(words("get /plant/name"));
    const Run json = bench.run(words("get -f json /plant/name"));

    QCOMPARE(run.output, q("/plant/name  %1  string  ok\n").arg(text));
    // In JSON, the text is the same, on one line without harmful characters.
    const QJsonObject row = QJsonDocument::fromJson(json.output.toUtf8()).object();
    QCOMPARE(row.value(q("value")).toString(), value);
    QCOMPARE(json.lines().size(), 1);
    QVERIFY2(text == value || json.output.contains(text), qPrintable(json.output));
}

void tst_KeywordToolText::harmfulText_isMadeVisibleEverywhere()
{
    Bench bench;
    bench.declare("/plant/\u009bx", "object", QVariantMap {{q("a\u202eb"), q("\u009b2J")}}, "R",
                  "\u009b31mred");
    const auto output = [&bench](const char *arguments) {
        return bench.run(words(arguments)).output;
    };

    const QString object = q("{\"a\\u202eb\":\"\\u009b2J\"}");
    const QString keyword = q("\"/plant/\\u009bx\"");
    QCOMPARE(output("get /plant/\u009bx"), keyword + q("  ") + object + q("  object  ok\n"));
    QVERIFY(output("get -f json /plant/\u009bx").contains(q("\"value\":") + object));
    QCOMPARE(output("label /plant/\u009bx"), keyword + q("  \"\\u009b31mred\"\n"));
    QVERIFY(output("ls /plant").contains(keyword + q("  ")));
    QVERIFY(output("tree /plant").contains(q("\"\\u009bx\"  object\n")));
    // A message quotes the value on the server.
    const Run refused = bench.run(words("set --wait /plant/\u009bx 5"));
    QCOMPARE(refused.errors,
             q("keyword: /plant/\\u009bx: refused; the value is still ") + object + q("\n"));
}

void tst_KeywordToolText::terminal_getsNothingHarmful_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("printed");
    QTest::newRow("text")
        << words("get /plant/name")
        << q("/plant/name  \"a\\u001b]52;c;eA==\\u0007\\n\\u202eb\"  string  ok\n");
    QTest::newRow("raw") << words("get --raw /plant/name")
                         << q("a\\u001b]52;c;eA==\\u0007\n\\u202eb\n");
    QTest::newRow("csv")
        << words("get -f csv /plant/name")
        << q("keyword,value,type,connected,online,consistent,error\n"
             "/plant/name,\"a\\u001b]52;c;eA==\\u0007\n\\u202eb\",string,true,true,"
             "true,false\n");
    QTest::newRow("json")
        << words("get -f json /plant/name")
        << q("{\"keyword\":\"/plant/name\",\"value\":\"a\\u001b]52;c;eA==\\u0007"
             "\\n\\u202eb\",\"type\":\"string\",\"connected\":true,\"online\":true,"
             "\"consistent\":true,\"error\":false}\n");
    QTest::newRow("label") << words("label --raw /plant/name") << q("\\u001b[31mName\n");
}

void tst_KeywordToolText::terminal_getsNothingHarmful()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, printed);
    Bench bench;
    bench.server.setValue(q("/plant/name"), q("a\x1b]52;c;eA==\x07\n\u202e") + q("b"));
    bench.server.setLabel(q("/plant/name"), q("\x1b[31mName"));

    QCOMPARE(printedOnTerminal(arguments + QStringList {q("--url"), bench.url()}), printed);
}

// JSON allows some of these characters unescaped in strings.
void tst_KeywordToolText::terminal_getsNoHarmfulRecording()
{
    Bench bench;
    bench.server.setValue(q("/plant/name"), q("\u009b2J\u202e"));
    const QStringList line {q("record"), q("-"),     q("/plant/name"), q("-n"),
                            q("1"),      q("--url"), bench.url()};

    const QString printed = printedOnTerminal(line);
    QVERIFY2(printed.contains(q("\"value\":\"\\u009b2J\\u202e\"}}}\n")), qPrintable(printed));
    QVERIFY(bench.run(line).output.contains(q("\"value\":\"\u009b2J\u202e\"}}}\n")));
}

void tst_KeywordToolText::pipe_getsTextsAsTheyAre()
{
    Bench bench;
    bench.server.setValue(q("/plant/name"), q("a\x1b[2J\u202e") + q("b"));
    bench.server.setLabel(q("/plant/name"), q("\x1b[31mName"));

    QCOMPARE(bench.run(words("get --raw /plant/name")).output, q("a\x1b[2J\u202e") + q("b\n"));
    QCOMPARE(bench.run(words("label --raw /plant/name")).output, q("\x1b[31mName\n"));
    QVERIFY(
        bench.run(words("get -f csv /plant/name")).output.contains(q("\x1b[2J\u202e") + q("b,")));
}

void tst_KeywordToolText::columns_areAligned_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("columns");
    QTest::newRow("ASCII") << q("abc") << 3;
    QTest::newRow("umlaut") << q("\u00fcber") << 4;
    QTest::newRow("Chinese") << q("\u6c34\u7bb1") << 4;
    QTest::newRow("Japanese, half-width") << q("\uff76\uff80") << 2;
    QTest::newRow("Latin, full-width") << q("\uff21\uff22") << 4;
    QTest::newRow("Korean") << q("\ud0f1\ud06c") << 4;
    QTest::newRow("Korean, in pieces") << q("\u1110\u1162\u11bc") << 2;
    QTest::newRow("beyond the first plane") << q("\U00020000x") << 3;
    QTest::newRow("emoji") << q("\U0001F680!") << 3;
    QTest::newRow("combining accent") << q("e\u0301a\u0308") << 2;
    QTest::newRow("joiner") << q("a\u200d") + q("b") << 2;
}

void tst_KeywordToolText::columns_areAligned()
{
    QFETCH(QString, value);
    QFETCH(int, columns);
    Bench bench;
    bench.server.setValue(q("/plant/name"), value);
    bench.declare(q("/plant/%1").arg(value).toUtf8().constData(), "int", 1);
    bench.server.setLabel(q("/plant/%1").arg(value), q("L"));
    const QString keyword = q("/plant/%1").arg(value);
    const QString blanks(12 - columns, QLatin1Char(' '));
    bench.server.setValue(q("/plant/shift"), qlonglong(100000000000));

    // The other keyword and the other value have a width of twelve columns.
    QCOMPARE(bench.run(words("get /plant/name /plant/shift")).lines().at(0),
             q("/plant/name   %1%2  string  ok").arg(value, blanks));
    QCOMPARE(bench.run({q("get"), keyword, q("/plant/shift")}).lines().at(0),
             q("%1%2  1             int     ok").arg(keyword, blanks.chopped(7)));
    QCOMPARE(bench.run({q("label"), keyword, q("/plant/shift")}).lines().at(0),
             q("%1%2  L").arg(keyword, blanks.chopped(7)));
    QVERIFY(bench.run(words("ls /plant"))
                .lines()
                .contains(q("%1%2  int").arg(keyword, blanks.chopped(6))));
}

QTEST_GUILESS_MAIN(tst_KeywordToolText)
#include "tst_keywordtooltext.moc"
