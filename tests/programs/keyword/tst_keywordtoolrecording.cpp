// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "simulator/telemetryscene.h"
#include "tests/programs/keyword/toolbench.h"
#include "tests/support/rawclient.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTimer>
#include <QtNetwork/QNetworkInterface>
#include <QtTest/QTest>

#include <csignal>

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QList<QByteArray> linesOf(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QByteArray> lines = file.readAll().split('\n');
    lines.removeLast(); // the text after the last line break
    return lines;
}

QJsonObject objectOf(const QByteArray &json)
{
    return QJsonDocument::fromJson(json).object();
}

// The payloads of the recorded events.
QList<QJsonObject> eventsOf(const QString &fileName)
{
    QList<QJsonObject> events;
    const QList<QByteArray> lines = linesOf(fileName);
    for (const QByteArray &line : lines) {
        const QJsonObject message = objectOf(line).value(q("message")).toObject();
        if (message.value(q("cmd")) == q("keyEvent"))
            events.append(message.value(q("payload")).toObject());
    }
    return events;
}

void writeFile(const QString &fileName, const QByteArray &content)
{
    QFile file(fileName);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

QByteArray eventLine(const char *time, const char *keyword, const char *type,
                     const QByteArray &value)
{
    return QByteArray("{\"t\":") + time
        + ",\"message\":{\"cmd\":\"keyEvent\",\"payload\":{\"connected\":true,\"consistent\":true,"
          "\"error\":false,\"keyword\":\""
        + keyword + "\",\"online\":true,\"type\":\"" + type + "\",\"value\":" + value + "}}}\n";
}

const char heading[] = "{\"recording\":1,\"started\":\"2026-01-01T00:00:00.000Z\",\"url\":\"\"}\n";

// A replay as a server; its address is in its first line.
struct Replay
{
    explicit Replay(const QStringList &arguments) : tool(arguments) { }
    QString url()
    {
        return tool.printed(1)
            ? tool.lines().constFirst().section(QLatin1Char(' '), 2, 2).chopped(1)
            : QString();
    }
    Tool tool;
};

} // namespace

class tst_KeywordToolRecording : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void telemetry_replaysToTheSameValuesInTheSameOrder();
    void recording_holdsEachMessage();
    void recording_keepsWhatIsNoJson();
    void recording_survivesAKill();
    void recording_leavesOutWhatIsExcluded();
    void recording_goesOnInTheNextFile();
    void recording_tellsOfALostConnection();
    void recording_doesNotOverwrite();
    void recording_fails_data();
    void recording_fails();
    void recording_endsWithAWholeLineWhenThereIsNoMoreSpace();
    void recording_goesToStandardOutput();
    void recording_endsQuietlyWithItsReader();
    void recording_tellsThatStandardOutputIsFull();
    void replay_servesWhatWasRecorded();
    void replay_ignoresACutLine();
    void replay_takesItsTime();
    void replay_beginsAgain();
    void replay_staysUntilInterrupted();
    void replay_servesThePagesThatItIsToldTo();
    void replay_tellsWhereItIsReachable();
    void replay_fails_data();
    void replay_fails();
};

void tst_KeywordToolRecording::telemetry_replaysToTheSameValuesInTheSameOrder()
{
    Bench bench;
    bench.server.clear();
    pellix::simulator::TelemetryScene scene(&bench.server);
    scene.start();
    const QString file = bench.file("telemetry.jsonl");
    const Run record = bench.run({q("record"), file, q("--count"), q("300")});
    QCOMPARE(record.exitCode, 0);
    const QList<QJsonObject> recorded = eventsOf(file);
    QVERIFY2(recorded.size() > 200, qPrintable(record.errors));

    Replay replay({q("replay"), file, q("--hold"), q("--speed"), q("max")});
    const QString url = replay.url();
    QVERIFY(!url.isEmpty());
    Tool watch(words("watch -r -f json --time none --no-reconnect"), url);
    QVERIFY(watch.finish());
    QVERIFY(replay.tool.finish());

    QCOMPARE(replay.tool.exitCode(), 0);
    QSet<QString> keywords;
    for (const QJsonObject &event : recorded)
        keywords.insert(event.value(q("keyword")).toString());
    QStringList replayed = watch.lines();
    QCOMPARE(replayed.takeLast(), q("{\"connection\":\"lost\"}"));
    // First, there is an event without a value for each keyword.
    QCOMPARE(replayed.size(), recorded.size() + keywords.size());
    for (qsizetype i = 0; i < recorded.size(); ++i) {
        const QJsonObject event = objectOf(replayed.at(keywords.size() + i).toUtf8());
        QCOMPARE(event, recorded.at(i));
    }
}

void tst_KeywordToolRecording::recording_holdsEachMessage()
{
    Bench bench;
    const QString file = bench.file("r.jsonl");
    Tool record({q("record"), file, q("/plant/shift"), q("/plant/name")}, bench.url());
    QTRY_COMPARE(eventsOf(file).size(), 2);
    bench.server.setValue(q("/plant/shift"), 3);
    bench.server.setState(q("/plant/shift"), true, false, true, false);
    QTRY_COMPARE(eventsOf(file).size(), 4);
    record.sendSignal(SIGHUP); // the terminal was closed
    QVERIFY(record.finish());

    QCOMPARE(record.exitCode(), 0);
    QCOMPARE(record.output(), QString());
    QVERIFY2(QRegularExpression(q("^keyword: recording 2 keywords\n"
                                  "keyword: recorded 4 messages in [0-9.]+ s, [0-9]+ bytes\n$"))
                 .match(record.errors())
                 .hasMatch(),
             qPrintable(record.errors()));
    const QList<QByteArray> lines = linesOf(file);
    QCOMPARE(lines.size(), 6);
    const QJsonObject first = objectOf(lines.at(0));
    QCOMPARE(first.value(q("recording")).toInt(), 1);
    QCOMPARE(first.value(q("url")).toString(), bench.url());
    QVERIFY(first.value(q("started")).toString().endsWith(QLatin1Char('Z')));
    QCOMPARE(objectOf(lines.at(1)).value(q("connection")).toString(), q("open"));
    double last = 0;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const double time = objectOf(lines.at(i)).value(q("t")).toDouble(-1);
        QVERIFY(time >= last);
        last = time;
    }
    const QList<QJsonObject> events = eventsOf(file);
    QCOMPARE(events.at(1).value(q("value")).toString(), q("Riverside"));
    QCOMPARE(events.at(2).value(q("value")).toInt(), 3);
    QCOMPARE(events.at(3).value(q("online")), QJsonValue(false));
}

void tst_KeywordToolRecording::recording_keepsWhatIsNoJson()
{
    Bench bench;
    const QString file = bench.file("r.jsonl"), excluding = bench.file("x.jsonl");
    Tool record({q("record"), file, q("/plant/shift"), q("--count"), q("3")}, bench.url());
    Tool careful({q("record"), excluding, q("/plant/shift"), q("--count"), q("3"), q("--exclude"),
                  q("/nothing")},
                 bench.url());
    QTRY_COMPARE(eventsOf(file).size(), 1);
    QTRY_COMPARE(eventsOf(excluding).size(), 1);
    bench.socketServer.sendText(q("{\"cmd\": \"broken\n"));
    bench.socketServer.sendText(q("{\"cmd\": \"other\",\n \"payload\": 1}"));
    QVERIFY(record.finish());
    QVERIFY(careful.finish());

    const QList<QByteArray> lines = linesOf(file);
    QCOMPARE(lines.size(), 5);
    QCOMPARE(objectOf(lines.at(3)).value(q("text")).toString(), q("{\"cmd\": \"broken\n"));
    QCOMPARE(objectOf(lines.at(4)).value(q("message")).toObject().value(q("cmd")).toString(),
             q("other"));
    // The text could contain excluded keywords.
    QVERIFY(objectOf(linesOf(excluding).at(3)).value(q("text")).isNull());
}

void tst_KeywordToolRecording::recording_survivesAKill()
{
    Bench bench;
    const QString file = bench.file("r.jsonl");
    int value = 2;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
        for (int i = 0; i < 20; ++i)
            bench.server.setValue(q("/plant/shift"), ++value);
    });
    timer.start(1);
    Tool record({q("record"), file, q("/plant/shift")}, bench.url());
    QTRY_VERIFY(eventsOf(file).size() > 200);
    const int known = eventsOf(file).constLast().value(q("value")).toInt();

    record.sendSignal(SIGKILL);
    QVERIFY(record.finish());

    QCOMPARE(record.exitCode(), -1);
    const QList<QByteArray> lines = linesOf(file);
    for (const QByteArray &line : lines)
        QVERIFY2(!objectOf(line).isEmpty(), line.constData());
    const QList<QJsonObject> events = eventsOf(file);
    QVERIFY(events.constLast().value(q("value")).toInt() >= known);
    for (qsizetype i = 1; i < events.size(); ++i)
        QCOMPARE(events.at(i).value(q("value")).toInt(),
                 events.at(i - 1).value(q("value")).toInt() + 1);
}

void tst_KeywordToolRecording::recording_leavesOutWhatIsExcluded()
{
    Bench bench;
    bench.declare("/plant/tank2/password", "string", q("secret"), "R", "secret too");
    QStringList requests;
    QObject::connect(&bench.server, &pellix::server::KeywordServer::keywordRequested, &bench.server,
                     [&requests](const QString &path) { requests.append(path); });
    const QString file = bench.file("r.jsonl");
    Tool record({q("record"), file, q("--exclude"), q("*pass?ord"), q("--exclude"),
                 q("/plant/tank1*"), q("--exclude"), q("/plant/name")},
                bench.url());
    QVERIFY(record.complained(q("recording ")));
    QTRY_COMPARE(eventsOf(file).size(), 4);
    record.sendSignal(SIGINT);
    QVERIFY(record.finish());

    requests.sort();
    QCOMPARE(requests, words("/plant/recipe /plant/shift /plant/stop /plant/tank2/level"));
    const QByteArray all = linesOf(file).join('\n');
    QVERIFY(all.contains("keyIndex"));
    for (const char *hidden : {"password", "secret", "tank10", "plant/name"})
        QVERIFY2(!all.contains(hidden), all.constData());

    const Run nothing = bench.run(
        {q("record"), bench.file("n"), q("/plant/name"), q("--exclude"), q("plant#name")});
    QCOMPARE(nothing.exitCode, 1);
    QCOMPARE(nothing.errors, q("keyword: all keywords are excluded\n"));
}

void tst_KeywordToolRecording::recording_goesOnInTheNextFile()
{
    Bench bench;
    const QString file = bench.file("r.jsonl");
    Tool record(
        {q("record"), file, q("/plant/shift"), q("--rotate"), q("1K"), q("--count"), q("20")},
        bench.url());
    QTRY_COMPARE(eventsOf(file).size(), 1);
    for (int i = 3; i < 22; ++i)
        bench.server.setValue(q("/plant/shift"), i);
    QVERIFY(record.finish());
    QCOMPARE(record.exitCode(), 0);

    QStringList files;
    for (int i = 1; QFile::exists(file + q(".%1").arg(i)); ++i)
        files.append(file + q(".%1").arg(i));
    QVERIFY(files.size() >= 3);
    files.append(file);
    QList<int> values;
    for (const QString &name : std::as_const(files)) {
        QVERIFY(QFile(name).size() <= 1024);
        QVERIFY(linesOf(name).constFirst().startsWith("{\"recording\":1,"));
        for (const QJsonObject &event : eventsOf(name))
            values.append(event.value(q("value")).toInt());
    }
    QCOMPARE(values.size(), 20);
    QCOMPARE(values.constFirst(), 2);
    for (qsizetype i = 1; i < values.size(); ++i)
        QCOMPARE(values.at(i), values.at(i - 1) + 1);

    Replay replay(QStringList {q("replay"), q("--hold"), q("--speed"), q("max")} + files);
    Tool watch(words("watch --raw --no-reconnect /plant/shift"), replay.url());
    QVERIFY(watch.finish());
    QCOMPARE(watch.output().split(QLatin1Char('\n')).size(), 1 + 20 + 1);
    QVERIFY(watch.output().endsWith(q("\n20\n21\n")));

    // A new recording removes the old numbered files.
    Tool again({q("record"), file, q("/plant/shift"), q("--force"), q("--count"), q("1")},
               bench.url());
    QVERIFY(again.finish());
    QCOMPARE(again.exitCode(), 0);
    QVERIFY(!QFile::exists(file + q(".1")));
}

void tst_KeywordToolRecording::recording_tellsOfALostConnection()
{
    Bench bench;
    const QString file = bench.file("r.jsonl");
    Tool record({q("record"), file, q("/plant/shift"), q("-n"), q("2")}, bench.url());
    QTRY_COMPARE(eventsOf(file).size(), 1);
    bench.socketServer.abortClients();
    QVERIFY(record.finish());

    QCOMPARE(record.exitCode(), 0);
    QStringList kinds;
    const QList<QByteArray> lines = linesOf(file);
    for (const QByteArray &line : lines)
        kinds.append(objectOf(line).value(q("connection")).toString(q("-")));
    QCOMPARE(kinds, words("- open - lost open -"));
}

void tst_KeywordToolRecording::recording_doesNotOverwrite()
{
    const Bench bench;
    const QString file = bench.file("r.jsonl");
    writeFile(file, "precious");

    const Run run = bench.run({q("record"), file, q("-n"), q("1")});

    QCOMPARE(run.exitCode, 6);
    QCOMPARE(run.errors, q("keyword: %1: exists already; see --force\n").arg(file));
    QVERIFY(linesOf(file).isEmpty());
    QCOMPARE(QFile(file).size(), 8);
}

void tst_KeywordToolRecording::recording_fails_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("problem");
    QTest::newRow("no folder") << words("record /nowhere/r.jsonl") << 6
                               << q("keyword: /nowhere/r.jsonl: No such file or directory");
    QTest::newRow("no space") << words("record --force /dev/full") << 6
                              << q("keyword: /dev/full: No space left on device");
    QTest::newRow("nothing there")
        << words("record %1 /nowhere -r") << 1 << q("keyword: no keywords found");
    QTest::newRow("silence") << words("record %1 --timeout 0.2 /plant/shift") << 5
                             << q("no reply within 0.2 s");
}

void tst_KeywordToolRecording::recording_fails()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, problem);
    const Bench bench;
    arguments.replaceInStrings(q("%1"), bench.file("r.jsonl"));

    const Run run = bench.run(arguments);

    QVERIFY2(run.errors.contains(problem), qPrintable(run.errors));
    QCOMPARE(run.exitCode, exitCode);
}

// A system limit on the size of files simulates a full disk: in both cases, the last write is
// incomplete.
void tst_KeywordToolRecording::recording_endsWithAWholeLineWhenThereIsNoMoreSpace()
{
    Bench bench;
    const QString file = bench.file("r.jsonl");
    QProcess shell;
    shell.start(q("sh"),
                {q("-c"),
                 q("ulimit -f 1; trap '' XFSZ; exec " PROGRAM " record --url %1 %2 /plant/name")
                     .arg(bench.url(), file)});
    QTRY_COMPARE(eventsOf(file).size(), 1);
    bench.server.setValue(q("/plant/name"), QString(2000, QLatin1Char('x')));
    QVERIFY(QTest::qWaitFor([&] { return shell.state() == QProcess::NotRunning; }, 30000));

    QCOMPARE(QString::fromUtf8(shell.readAllStandardError()),
             q("keyword: recording 1 keywords\nkeyword: %1: File too large\n").arg(file));
    QCOMPARE(shell.exitCode(), 6);
    QFile recording(file);
    QVERIFY(recording.open(QIODevice::ReadOnly));
    const QByteArray content = recording.readAll();
    QVERIFY(content.endsWith("}\n"));
    QCOMPARE(content.count('\n'), 3);
}

void tst_KeywordToolRecording::recording_goesToStandardOutput()
{
    Bench bench;
    Tool record(words("record - /plant/shift --count 2"), bench.url());
    QVERIFY(record.printed(3));
    bench.server.setValue(q("/plant/shift"), 3);
    QVERIFY(record.finish());

    QCOMPARE(record.exitCode(), 0);
    QVERIFY2(QRegularExpression(q("^keyword: recording 1 keywords\n"
                                  "keyword: recorded 2 messages in [0-9.]+ s, [0-9]+ bytes\n$"))
                 .match(record.errors())
                 .hasMatch(),
             qPrintable(record.errors()));
    QVERIFY(!QFile::exists(q("-")));
    const QString file = bench.file("r.jsonl");
    writeFile(file, record.output().toUtf8());
    QCOMPARE(eventsOf(file).size(), 2);
    Replay replay({q("replay"), file, q("--hold")});
    Tool watch(words("watch --raw --no-reconnect /plant/shift"), replay.url());
    QVERIFY(watch.finish());
    QCOMPARE(watch.output(), q("\n2\n3\n"));
}

void tst_KeywordToolRecording::recording_endsQuietlyWithItsReader()
{
    Bench bench;
    QProcess shell;
    shell.start(q("sh"),
                {q("-c"),
                 q("{ " PROGRAM " record --url %1 - /plant/shift; echo $? >&2; } | head -n 3")
                     .arg(bench.url())});
    QTRY_VERIFY(shell.bytesAvailable() > 0);
    bench.server.setValue(q("/plant/shift"), 3);
    QVERIFY(QTest::qWaitFor([&] { return shell.state() == QProcess::NotRunning; }, 30000));
    QCOMPARE(QString::fromUtf8(shell.readAllStandardError()),
             q("keyword: recording 1 keywords\n0\n"));
}

void tst_KeywordToolRecording::recording_tellsThatStandardOutputIsFull()
{
    if (!QFile::exists(q("/dev/full")))
        QSKIP("there is no /dev/full");
    const Bench bench;
    QProcess shell;
    shell.start(q("sh"),
                {q("-c"), q("exec " PROGRAM " record --url %1 - >/dev/full").arg(bench.url())});
    QVERIFY(QTest::qWaitFor([&] { return shell.state() == QProcess::NotRunning; }, 30000));
    QCOMPARE(QString::fromUtf8(shell.readAllStandardError()),
             q("keyword: standard output: No space left on device\n"));
    QCOMPARE(shell.exitCode(), 6);
}

void tst_KeywordToolRecording::replay_servesWhatWasRecorded()
{
    const Bench bench;
    const QString file = bench.file("r.jsonl");
    writeFile(file,
              QByteArray(heading) + "{\"t\":0.0,\"connection\":\"open\"}\n"
                  + eventLine("0.1", "/a/b", "double", "1.5") + eventLine("0.1", "a#c", "", "true")
                  + eventLine("0.2", "/a/Label", "string", "\"The A\"")
                  + eventLine("0.2", "/a/d", "int", "\"not an int\"")
                  + "{\"t\":0.3,\"text\":\"garbage\"}\n");
    Replay replay({q("replay"), file, q("--stay"), q("--speed"), q("max")});
    const QString url = replay.url();
    QCOMPARE(replay.tool.lines().constFirst(), q("listening on %1, 3 keywords, 0.3 s").arg(url));
    const auto run = [&url](const char *arguments) {
        Tool tool(words(arguments), url);
        tool.finish();
        return tool.output() + tool.errors() + QString::number(tool.exitCode());
    };

    QCOMPARE(run("tree"),
             q("/\n└── a\n    ├── b  double\n    ├── c  bool\n"
               "    └── d  string\n0"));
    QCOMPARE(run("get --raw /a/b /a/c /a/d"), q("1.5\ntrue\nnot an int\n0"));
    QCOMPARE(run("label --raw /a"), q("The A\n0"));
    QCOMPARE(run("set --wait /a/b 2"), q("keyword: /a/b: refused; the value is still 1.5\n4"));
}

void tst_KeywordToolRecording::replay_ignoresACutLine()
{
    const Bench bench;
    const QString file = bench.file("r.jsonl");
    writeFile(file,
              heading + eventLine("0", "/a", "int", "1")
                  + eventLine("0", "/a", "int", "2").chopped(5));
    Replay replay({q("replay"), file, q("--hold")});
    Tool watch(words("watch --raw --no-reconnect /a"), replay.url());
    QVERIFY(watch.finish());
    QVERIFY(replay.tool.finish());
    QCOMPARE(watch.output(), q("\n1\n"));
    QCOMPARE(replay.tool.exitCode(), 0);
}

void tst_KeywordToolRecording::replay_takesItsTime()
{
    const Bench bench;
    const QString file = bench.file("r.jsonl");
    writeFile(file,
              heading + eventLine("0", "/a", "int", "1") + eventLine("2.0", "/a", "int", "2"));
    Replay replay({q("replay"), file, q("--hold"), q("--speed"), q("4")});
    Tool watch(words("watch --time delta -f json --no-reconnect /a"), replay.url());
    QVERIFY(watch.finish());

    QCOMPARE(watch.lines().size(), 4); // the last line reports the lost connection
    const double passed = objectOf(watch.lines().at(2).toUtf8()).value(q("time")).toDouble();
    QVERIFY2(passed > 0.4 && passed < 1.9, qPrintable(QString::number(passed)));
}

void tst_KeywordToolRecording::replay_beginsAgain()
{
    const Bench bench;
    const QString file = bench.file("r.jsonl");
    writeFile(file,
              heading + eventLine("0", "/a", "int", "1") + eventLine("0.02", "/a", "int", "2"));
    Replay replay({q("replay"), file, q("--hold"), q("--loop")});
    Tool watch(words("watch --raw -n 7 /a"), replay.url());
    QVERIFY(watch.finish());
    QCOMPARE(watch.output(), q("\n1\n2\n1\n2\n1\n2\n"));
    replay.tool.sendSignal(SIGINT);
    QVERIFY(replay.tool.finish());
    QCOMPARE(replay.tool.exitCode(), 0);
}

void tst_KeywordToolRecording::replay_staysUntilInterrupted()
{
    const Bench bench;
    const QString file = bench.file("r.jsonl");
    writeFile(file, heading + eventLine("0", "/a", "int", "1"));
    Replay replay({q("replay"), file, q("--stay")});
    for (int i = 0; i < 2; ++i) {
        Tool get(words("watch -n 1 --raw /a"), replay.url());
        QVERIFY(get.finish());
        QCOMPARE(get.output(), q("1\n"));
    }
    replay.tool.sendSignal(SIGTERM);
    QVERIFY(replay.tool.finish());
    QCOMPARE(replay.tool.exitCode(), 0);
}

void tst_KeywordToolRecording::replay_servesThePagesThatItIsToldTo()
{
    const Bench bench;
    const QString file = bench.file("run.jsonl");
    writeFile(file, heading + eventLine("0.1", "/a", "int", "1"));
    Replay replay({q("replay"), file, q("--hold"), q("--allow-origin"), q("http://localhost:3000"),
                   q("--allow-origin"), q("https://example.org")});
    const QUrl url(replay.url());
    for (const char *origin : {"http://localhost:3000", "https://example.org"}) {
        RawClient page(url);
        page.send(RawClient::request(QByteArray("Origin: ") + origin + "\r\n"));
        QTRY_VERIFY2(page.received.startsWith("HTTP/1.1 101 "), page.received.constData());
    }
    RawClient page(url);
    page.send(RawClient::request("Origin: http://evil.example\r\n"));
    QTRY_VERIFY2(page.received.startsWith("HTTP/1.1 403 "), page.received.constData());
    QVERIFY(replay.tool.complained(q("its origin \"http://evil.example\" is not allowed\n")));
    QVERIFY2(replay.tool.errors().startsWith(q("keyword: refused 127.0.0.1:")),
             qPrintable(replay.tool.errors()));
}

void tst_KeywordToolRecording::replay_tellsWhereItIsReachable()
{
    const Bench bench;
    const QString file = bench.file("run.jsonl");
    writeFile(file, heading + eventLine("0.1", "/a", "int", "1"));
    for (const char *listen : {"localhost", "0.0.0.0"}) {
        Replay replay({q("replay"), file, q("--hold"), q("--listen"), q(listen)});
        QVERIFY(replay.tool.printed(1));
        const QString line = replay.tool.lines().constFirst();
        QVERIFY2(line.startsWith(q("listening on ws://127.0.0.1:")), qPrintable(line));
        QVERIFY2(line.endsWith(q(", 1 keywords, 0.1 s")), qPrintable(line));
        int addresses = 1;
        for (const QHostAddress &address : QNetworkInterface::allAddresses()) {
            if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback()
                && q(listen) == q("0.0.0.0")) {
                QVERIFY2(line.contains(q(", ws://%1:").arg(address.toString())), qPrintable(line));
                ++addresses;
            }
        }
        QCOMPARE(line.count(q("ws://")), addresses);
    }
}

void tst_KeywordToolRecording::replay_fails_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("problem");
    const QByteArray good = heading + eventLine("0", "/a", "int", "1");
    QTest::newRow("no file") << QByteArray() << 6 << q("%1: No such file or directory");
    QTest::newRow("no recording") << QByteArray("{\"a\":1}\n") << 6
                                  << q("%1, line 1: not a recording");
    QTest::newRow("newer recording")
        << QByteArray("{\"recording\":2}\n") << 6 << q("%1, line 1: not a recording");
    QTest::newRow("broken line") << good + "{\"t\":1,\n" + good << 6
                                 << q("%1, line 3: not an entry of a recording");
    QTest::newRow("no time") << good + "{\"message\":{}}\n"
                             << 6 << q("%1, line 3: not an entry of a recording");
    QTest::newRow("no values") << QByteArray(heading) << 1 << q("the recording contains no values");
}

void tst_KeywordToolRecording::replay_fails()
{
    QFETCH(QByteArray, content);
    QFETCH(int, exitCode);
    QFETCH(QString, problem);
    const Bench bench;
    const QString file = bench.file("r.jsonl");
    if (!content.isEmpty())
        writeFile(file, content);

    const Run run = bench.run({q("replay"), file});

    if (problem.contains(q("%1")))
        problem = problem.arg(file);
    QCOMPARE(run.errors, q("keyword: %1\n").arg(problem));
    QCOMPARE(run.exitCode, exitCode);

    const QString good = bench.file("good.jsonl");
    writeFile(good, heading + eventLine("0", "/a", "int", "1"));
    const Run taken =
        bench.run({q("replay"), good, q("--port"), QString::number(bench.socketServer.port())});
    QCOMPARE(taken.exitCode, 6);
    QVERIFY2(taken.errors.contains(q("cannot listen on 127.0.0.1 port")), qPrintable(taken.errors));
}

QTEST_GUILESS_MAIN(tst_KeywordToolRecording)
#include "tst_keywordtoolrecording.moc"
