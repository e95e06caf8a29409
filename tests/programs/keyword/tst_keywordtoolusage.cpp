// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/programs/keyword/toolbench.h"

#include <QtCore/QFile>
#include <QtCore/QMap>
#include <QtTest/QTest>

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QString contentOf(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The options of each command according to its help, such as "-r, --recursive" or "--depth
// <levels>".
QMap<QString, QStringList> optionsByCommand(const Bench &bench)
{
    static const QRegularExpression usage(q("^Usage: keyword ([a-z]+)( |$)"));
    static const QRegularExpression option(q("^  (--[a-z-]+(, -[a-z])?( <[a-z]+>)?)( |$)"));
    QMap<QString, QStringList> options;
    QString command;
    const QStringList lines = bench.run(words("help --all")).lines();
    for (const QString &line : lines) {
        if (const auto match = usage.match(line); match.hasMatch())
            command = match.captured(1);
        if (const auto match = option.match(line); match.hasMatch() && !command.isEmpty())
            options[command].append(match.captured(1));
    }
    return options;
}

} // namespace

// Tests which command lines are accepted and refused, and whether their descriptions are correct.
class tst_KeywordToolUsage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void badUsage_isRefused_data();
    void badUsage_isRefused();
    void help_isShown_data();
    void help_isShown();
    void help_namesEachExitCode();
    void version_isShown();
    void completionFile_isWhatTheProgramPrints_data();
    void completionFile_isWhatTheProgramPrints();
    void bashCompletion_offersWhatFits_data();
    void bashCompletion_offersWhatFits();
    void manualPage_namesExactlyWhatThereIs();
    void everyOption_isUnderstood();
    void endsWhenStandardOutputIsFull();
    void endsWhenStandardOutputIsClosed();
};

void tst_KeywordToolUsage::badUsage_isRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("problem");

    QTest::newRow("nothing") << QStringList() << q("no command given");
    QTest::newRow("unknown command") << words("bogus") << q("'bogus' is not a command");
    QTest::newRow("unknown option") << words("get --bogus /a") << q("unknown option --bogus");
    QTest::newRow("mistyped command")
        << words("wacth /a") << q("'wacth' is not a command; did you mean watch?");
    QTest::newRow("shortened command")
        << words("agg") << q("'agg' is not a command; did you mean aggregate?");
    QTest::newRow("command in capitals")
        << words("GET /a") << q("'GET' is not a command; did you mean get?");
    QTest::newRow("mistyped topic")
        << words("help replya") << q("'replya' is not a command; did you mean replay?");
    QTest::newRow("short command") << words("xy") << q("'xy' is not a command");
    QTest::newRow("mistyped option")
        << words("get /a --formt json") << q("unknown option --formt; did you mean --format?");
    QTest::newRow("mistyped option with its value")
        << words("get /a --recursiv=/b")
        << q("unknown option --recursiv; did you mean --recursive?");
    QTest::newRow("mistyped option, of another command")
        << words("get /a --wiat") << q("unknown option --wiat");
    QTest::newRow("mistyped option before the command")
        << words("--versoin") << q("unknown option --versoin; did you mean --version?");
    QTest::newRow("one dash for two")
        << words("get -recursive /a") << q("unknown option -recursive; did you mean --recursive?");
    QTest::newRow("unknown short option") << words("get -x /a") << q("unknown option -x");
    QTest::newRow("option of another command")
        << words("ls --wait") << q("ls has no option --wait");
    QTest::newRow("option without its value")
        << words("get /a --format") << q("Missing value after '--format'.");
    QTest::newRow("get nothing") << words("get") << q("no keyword given");
    QTest::newRow("watch nothing") << words("watch") << q("no keyword given");
    QTest::newRow("label nothing") << words("label") << q("no keyword given");
    QTest::newRow("empty keyword") << QStringList {q("get"), QString()} << q("a keyword is empty");
    QTest::newRow("set nothing") << words("set") << q("keywords and values must be given in pairs");
    QTest::newRow("set without value")
        << words("set /a 1 /b") << q("keywords and values must be given in pairs");
    QTest::newRow("set an empty keyword")
        << QStringList {q("set"), QString(), q("1")} << q("a keyword is empty");
    QTest::newRow("aggregate nothing")
        << words("aggregate")
        << q("the first argument must be a mode: min, max, equal, sum, and, or");
    QTest::newRow("aggregate by no mode")
        << words("aggregate avg /a /b")
        << q("the first argument must be a mode: min, max, equal, sum, and, or");
    QTest::newRow("aggregate one")
        << words("aggregate min /a") << q("at least two keywords are required");
    QTest::newRow("count of one answer")
        << words("aggregate min /a /b --count 3") << q("--count requires --watch");
    QTest::newRow("standard input twice") << words("get - -") << q("- is given twice");
    QTest::newRow("keywords of standard input twice")
        << words("record f - -") << q("- is given twice");
    QTest::newRow("standard input and more")
        << words("set - 5")
        << q("- must be the only argument: standard input contains the keywords and the values");
    QTest::newRow("ping two") << words("ping /a /b") << q("at most one keyword");
    QTest::newRow("record nowhere") << words("record") << q("no file given");
    QTest::newRow("rotate standard output")
        << words("record - --rotate 1M") << q("--rotate requires a file, but - is standard output");
    QTest::newRow("replay nothing") << words("replay") << q("no file given");
    QTest::newRow("replay without end")
        << words("replay f --loop --stay") << q("--loop and --stay cannot be used together");
    QTest::newRow("unknown shell")
        << words("completion csh") << q("the shell must be bash, zsh, or fish");
    QTest::newRow("help on nothing") << words("help bogus") << q("'bogus' is not a command");
    QTest::newRow("no address") << words("get /a --url localhost:80")
                                << q("cannot use the address localhost:80: not a WebSocket "
                                     "address such as ws://host:port");
    QTest::newRow("other address") << words("get /a --url http://localhost")
                                   << q("cannot use the address http://localhost: not a "
                                        "WebSocket address such as ws://host:port");
    QTest::newRow("authority without TLS")
        << words("get /a --ca ca.crt --url wss://h --url ws://i?token=x")
        << q("--ca requires wss:// addresses, unlike ws://i?token=***");
    QTest::newRow("token without TLS")
        << words("get /a --token-file t --url ws://h")
        << q("--token-file requires wss:// addresses, unlike ws://h");
    QTest::newRow("certificate without key")
        << words("get /a --cert c --url wss://h") << q("--cert and --key must be used together");
    QTest::newRow("key without certificate")
        << words("get /a --key c --url wss://h") << q("--cert and --key must be used together");
    QTest::newRow("no file") << words("get /a --ca= --url wss://h")
                             << q("--ca: no file name given");
    QTest::newRow("format") << words("get /a --format xml")
                            << q("--format: text, json, csv are known, not 'xml'");
    QTest::newRow("time") << words("get /a --time now")
                          << q("--time: none, local, utc, delta are known, not 'now'");
    QTest::newRow("raw json") << words("get /a --raw -f json")
                              << q("--raw requires the format text");
    QTest::newRow("type") << words("ls --type float")
                          << q("--type: bool, int, double, string are known, not 'float'");
    QTest::newRow("access") << words("ls --access rw")
                            << q("--access: none, read, meta, write, readwrite are known, not "
                                 "'rw'");
    QTest::newRow("as") << words("set /a 1 --as float")
                        << q("--as: bool, int, double, string, object are known, not 'float'");
    QTest::newRow("count") << words("watch /a --count -3")
                           << q("--count: must be a number above 0, not '-3'");
    QTest::newRow("depth") << words("tree --depth 0")
                           << q("--depth: must be a number above 0, not '0'");
    QTest::newRow("timeout") << words("get /a --timeout soon")
                             << q("--timeout: must be a number of seconds, not 'soon'");
    QTest::newRow("interval") << words("ping --interval 0")
                              << q("--interval: must be a number of seconds, not '0'");
    QTest::newRow("rotate") << words("record f --rotate 5T")
                            << q("--rotate: must be a size such as 500K or 10M, not '5T'");
    QTest::newRow("speed") << words("replay f --speed fast")
                           << q("--speed: must be a number above 0 or max, not 'fast'");
    QTest::newRow("port") << words("replay f --port 99999")
                          << q("--port: must be a port number, not '99999'");
    QTest::newRow("listen") << words("replay f --listen here")
                            << q("--listen: must be an IP address or localhost, not 'here'");
    QTest::newRow("origin")
        << words("replay f --allow-origin http://x --allow-origin x")
        << q("--allow-origin: must be an origin such as http://localhost:3000, not 'x'");
    QTest::newRow("origin of another command")
        << words("ls --allow-origin http://x") << q("ls has no option --allow-origin");
}

void tst_KeywordToolUsage::badUsage_isRefused()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, problem);
    const Bench bench;

    const Run run = bench.run(arguments);

    QCOMPARE(run.errors, q("keyword: %1\nkeyword: try \"keyword help\"\n").arg(problem));
    QCOMPARE(run.output, QString());
    QCOMPARE(run.exitCode, 2);

    Tool nowhere(words("get /a"));
    QVERIFY(nowhere.finish());
    QVERIFY(nowhere.errors().startsWith(
        q("keyword: no server given: use --url, or set KEYWORD_URL\n")));
    QCOMPARE(nowhere.exitCode(), 2);
}

void tst_KeywordToolUsage::help_isShown_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("firstLine");
    QTest::newRow("help") << words("help") << q("Usage: keyword COMMAND [OPTION]... [ARGUMENT]...");
    QTest::newRow("--help") << words("--help")
                            << q("Usage: keyword COMMAND [OPTION]... [ARGUMENT]...");
    QTest::newRow("help set") << words("help set")
                              << q("Usage: keyword set [OPTION]... KEYWORD VALUE [KEYWORD "
                                   "VALUE]...");
    QTest::newRow("ls -h") << words("ls -h") << q("Usage: keyword ls [OPTION]... [KEYWORD]...");
    QTest::newRow("all") << words("help --all")
                         << q("Usage: keyword COMMAND [OPTION]... [ARGUMENT]...");
}

void tst_KeywordToolUsage::help_isShown()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, firstLine);
    Tool tool(arguments); // no server is required

    QVERIFY(tool.finish());

    QCOMPARE(tool.lines().constFirst(), firstLine);
    const QStringList lines = tool.lines();
    for (const QString &line : lines)
        QVERIFY2(line.size() <= 80, qPrintable(line));
    QCOMPARE(tool.errors(), QString());
    QCOMPARE(tool.exitCode(), 0);
}

void tst_KeywordToolUsage::help_namesEachExitCode()
{
    const Bench bench;
    const QString help = bench.run(words("help")).output;
    for (const int code : {0, 1, 2, 3, 4, 5, 6, 130})
        QVERIFY2(help.contains(q("\n  %1 ").arg(code)), qPrintable(QString::number(code)));
}

void tst_KeywordToolUsage::version_isShown()
{
    const Bench bench;
    const Run run = bench.run(words("--version"));
    QVERIFY2(
        QRegularExpression(q("^keyword [0-9]+\\.[0-9]+\\.[0-9]+\n$")).match(run.output).hasMatch(),
        qPrintable(run.output));
    QCOMPARE(run.exitCode, 0);
}

void tst_KeywordToolUsage::completionFile_isWhatTheProgramPrints_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::newRow("bash") << q("keyword.bash");
    QTest::newRow("zsh") << q("_keyword");
    QTest::newRow("fish") << q("keyword.fish");
}

void tst_KeywordToolUsage::completionFile_isWhatTheProgramPrints()
{
    QFETCH(QString, fileName);
    const Bench bench;

    const Run run = bench.run({q("completion"), q(QTest::currentDataTag())});

    QCOMPARE(run.exitCode, 0);
    QVERIFY(run.lines().size() > 20);
    // If this fails, run cmake --build build/dev --target keyword-completions
    QCOMPARE(contentOf(q(PROJECT_FOLDER "/programs/keyword/completion/") + fileName), run.output);
}

void tst_KeywordToolUsage::bashCompletion_offersWhatFits_data()
{
    QTest::addColumn<QStringList>("line"); // the last word is completed
    QTest::addColumn<QStringList>("offered");
    QTest::newRow("command") << words("keyword re") << words("record replay");
    QTest::newRow("option") << words("keyword set --w") << words("--wait");
    QTest::newRow("value") << words("keyword get /a --format j") << words("json");
    QTest::newRow("mode") << words("keyword aggregate m") << words("min max");
    QTest::newRow("help") << words("keyword help ag") << words("aggregate");
    QTest::newRow("none of another command") << words("keyword ls --wa") << QStringList();
}

void tst_KeywordToolUsage::bashCompletion_offersWhatFits()
{
    QFETCH(QStringList, line);
    QFETCH(QStringList, offered);
    QStringList quoted;
    for (const QString &word : std::as_const(line))
        quoted.append(q("'%1'").arg(word));
    const QString script =
        q("source '" PROJECT_FOLDER "/programs/keyword/completion/keyword.bash'; COMP_WORDS=(%1); "
          "COMP_CWORD=%2; _keyword; printf '%s\\n' \"${COMPREPLY[@]}\"")
            .arg(quoted.join(QLatin1Char(' ')))
            .arg(line.size() - 1);
    QProcess bash;
    bash.start(q("bash"), {q("--norc"), q("-c"), script});
    QVERIFY(bash.waitForFinished());
    QCOMPARE(QString::fromUtf8(bash.readAllStandardError()), QString());
    QCOMPARE(QString::fromUtf8(bash.readAllStandardOutput())
                 .split(QLatin1Char('\n'), Qt::SkipEmptyParts),
             offered);
}

void tst_KeywordToolUsage::manualPage_namesExactlyWhatThereIs()
{
    const Bench bench;
    const QMap<QString, QStringList> options = optionsByCommand(bench);
    QVERIFY(options.size() >= 12);
    QString page = contentOf(q(PROJECT_FOLDER "/programs/keyword/keyword.1"));
    page.remove(QLatin1String("\\fB")).remove(QLatin1String("\\fI")).remove(QLatin1String("\\fR"));
    page.replace(QLatin1String("\\-"), QLatin1String("-"));
    const QStringList lines = page.split(QLatin1Char('\n'));

    // Each command is a ".SS name". Its text ends with the names of its options, in "Options:".
    QMap<QString, QStringList> documented;
    QString section;
    for (const QString &line : lines) {
        if (line.startsWith(QLatin1String(".SS ")))
            section = line.section(QLatin1Char(' '), 1, 1);
        else if (line.startsWith(QLatin1String(".SH")))
            section.clear();
        else if (!section.isEmpty() && line.startsWith(QLatin1String("Options: ")))
            documented[section] = line.mid(9).chopped(1).split(q(", "));
    }
    QStringList all;
    for (auto command = options.cbegin(); command != options.cend(); ++command) {
        QStringList names;
        for (const QString &option : *command) {
            const QString name =
                option.section(QLatin1Char(','), 0, 0).section(QLatin1Char(' '), 0, 0);
            if (!all.contains(option))
                all.append(option);
            if (name != q("--verbose") && name != q("--help") && name != q("--version"))
                names.append(name);
        }
        QVERIFY2(lines.filter(QRegularExpression(q("^\\.SS %1( |$)").arg(command.key()))).size()
                     == 1,
                 qPrintable(command.key()));
        QCOMPARE(documented.value(command.key()), names);
    }
    // Each option has a paragraph, ".TP" with its names, and there are no others.
    QStringList paragraphs;
    for (qsizetype i = 0; i + 1 < lines.size(); ++i) {
        if (lines.at(i) == QLatin1String(".TP") && lines.at(i + 1).startsWith(q("--")))
            paragraphs.append(lines.at(i + 1));
    }
    all.sort();
    paragraphs.sort();
    QCOMPARE(paragraphs, all);
    // Each exit code is documented, too.
    for (const int code : {0, 1, 2, 3, 4, 5, 6, 130})
        QVERIFY2(lines.contains(QString::number(code)), qPrintable(QString::number(code)));
}

// The parser accepts every option in the help: none is refused as unknown.
void tst_KeywordToolUsage::everyOption_isUnderstood()
{
    const Bench bench;
    const QMap<QString, QStringList> options = optionsByCommand(bench);
    for (auto command = options.cbegin(); command != options.cend(); ++command) {
        QStringList line {command.key(), q("--help")};
        for (const QString &option : *command) {
            line.append(option.section(QLatin1Char(','), 0, 0).section(QLatin1Char(' '), 0, 0));
            if (option.contains(QLatin1Char('<')))
                line.append(q("1"));
        }
        line.removeAll(q("--version"));
        const Run run = bench.run(line);
        QCOMPARE(run.errors, QString());
        QCOMPARE(run.exitCode, 0);
    }
}

void tst_KeywordToolUsage::endsWhenStandardOutputIsFull()
{
    if (!QFile::exists(q("/dev/full")))
        QSKIP("there is no /dev/full");
    const Bench bench;
    QProcess shell;
    shell.start(
        q("sh"),
        {q("-c"), q("exec " PROGRAM " get --url %1 /plant/shift >/dev/full").arg(bench.url())});
    QVERIFY(QTest::qWaitFor([&] { return shell.state() == QProcess::NotRunning; }, 30000));
    QCOMPARE(shell.exitCode(), 6);
    QCOMPARE(QString::fromUtf8(shell.readAllStandardError()),
             q("keyword: standard output: No space left on device\n"));
}

// Otherwise, the connection would get its number and receive the output.
void tst_KeywordToolUsage::endsWhenStandardOutputIsClosed()
{
    const Bench bench;
    QProcess shell;
    shell.start(q("sh"),
                {q("-c"), q("exec " PROGRAM " get --url %1 /plant/shift >&-").arg(bench.url())});
    QVERIFY(QTest::qWaitFor([&] { return shell.state() == QProcess::NotRunning; }, 30000));
    QCOMPARE(QString::fromUtf8(shell.readAllStandardError()),
             q("keyword: standard output: Bad file descriptor\n"));
    QCOMPARE(shell.exitCode(), 6);
}

QTEST_GUILESS_MAIN(tst_KeywordToolUsage)
#include "tst_keywordtoolusage.moc"
