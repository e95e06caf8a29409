// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/programs/keyword/toolbench.h"

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QTest>

#include <algorithm>

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QByteArray contentOf(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &fileName, const QByteArray &content)
{
    QFile file(fileName);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

// The heading of older recordings, without "id" and "part".
const char oldHeading[] =
    "{\"recording\":1,\"started\":\"2026-01-01T00:00:00.000Z\",\"url\":\"ws://h\"}\n";

QByteArray heading(const char *id, int part)
{
    return QByteArray("{\"recording\":1,\"id\":\"") + id + "\",\"part\":" + QByteArray::number(part)
        + ",\"started\":\"2026-01-01T00:00:00.000Z\",\"url\":\"ws://h\"}\n";
}

// An entry in which the keyword /a has an integer value at the given time.
QByteArray entry(const char *time, int value)
{
    return QByteArray("{\"t\":") + time
        + ",\"message\":{\"cmd\":\"keyEvent\",\"payload\":{\"connected\":true,\"consistent\":true,"
          "\"error\":false,\"keyword\":\"/a\",\"online\":true,\"type\":\"int\",\"value\":"
        + QByteArray::number(value) + "}}}\n";
}

} // namespace

// Tests recordings in several parts, and with modified files.
class tst_KeywordToolParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void rotatedRecording_replaysInOrder_data();
    void rotatedRecording_replaysInOrder();
    void replay_putsPartsInOrder_data();
    void replay_putsPartsInOrder();
    void replay_refuses_data();
    void replay_refuses();
    void replay_doesNotWaitForPartsThatAreNotThere();
    void rotation_leavesOtherFilesAlone();

private:
    // The values of /a when the recording is replayed, separated by spaces.
    QString replayed(const QStringList &files, QString *errors = nullptr);
};

QString tst_KeywordToolParts::replayed(const QStringList &files, QString *errors)
{
    Tool replay(QStringList {q("replay"), q("--hold"), q("--speed"), q("max")} + files);
    if (!replay.printed(1))
        return q("no replay: ") + replay.errors();
    const QString url = replay.lines().constFirst().section(QLatin1Char(' '), 2, 2).chopped(1);
    Tool watch(words("watch --raw --no-reconnect -r"), url);
    watch.finish();
    if (errors)
        *errors = replay.errors();
    return watch.lines().join(QLatin1Char(' '));
}

void tst_KeywordToolParts::rotatedRecording_replaysInOrder_data()
{
    QTest::addColumn<bool>("concatenated");
    QTest::newRow("files") << false;
    QTest::newRow("one file") << true;
}

void tst_KeywordToolParts::rotatedRecording_replaysInOrder()
{
    QFETCH(bool, concatenated);
    Bench bench;
    const QString file = bench.file("r.jsonl");
    Tool record({q("record"), file, q("/plant/shift"), q("--rotate"), q("400"), q("-n"), q("21")},
                bench.url());
    QTRY_VERIFY(contentOf(file).contains("keyEvent"));
    for (int i = 3; i < 23; ++i)
        bench.server.setValue(q("/plant/shift"), i);
    QVERIFY(record.finish());
    QCOMPARE(record.exitCode(), 0);

    QVERIFY(QFile::exists(file + q(".11")));
    QStringList files {file}; // in the order of the shell
    for (int i = 1; QFile::exists(file + q(".%1").arg(i)); ++i)
        files.append(file + q(".%1").arg(i));
    std::sort(files.begin(), files.end());
    QVERIFY(files.indexOf(file + q(".10")) < files.indexOf(file + q(".2")));
    if (concatenated) {
        QByteArray all;
        for (const QString &name : std::as_const(files))
            all += contentOf(name);
        files = QStringList(bench.file("all.jsonl"));
        writeFile(files.constFirst(), all);
    }

    QString errors;
    QCOMPARE(replayed(files, &errors), q("2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22"));
    QCOMPARE(errors, QString());
}

void tst_KeywordToolParts::replay_putsPartsInOrder_data()
{
    QTest::addColumn<QList<QByteArray>>("contents");
    QTest::addColumn<QString>("values");
    QTest::addColumn<QString>("errors");

    const auto row = [](const char *name, const QList<QByteArray> &contents, const char *values,
                        const QString &errors = QString()) {
        QTest::newRow(name) << contents << q(values) << errors;
    };
    const QByteArray part1 = heading("x", 1) + entry("1", 1) + entry("2", 2);
    const QByteArray part2 = heading("x", 2) + entry("2", 3);
    const QByteArray part3 = heading("x", 3) + entry("2", 4) + entry("3", 5);
    const QByteArray old1 = oldHeading + entry("1", 1) + entry("2", 2);
    const QByteArray old2 = oldHeading + entry("2.5", 3);
    row("by number", {part3, part1, part2}, "1 2 3 4 5");
    row("old, one file", {old1}, "1 2");
    row("old, in order", {old1, old2}, "1 2 3");
    row("old, by time", {old2, old1}, "1 2 3");
    row("concatenated", {part3 + part1, part2}, "1 2 3 4 5");
    row("old, concatenated", {old2 + old1}, "1 2 3");
    row("without entries", {heading("x", 3), heading("x", 2) + entry("2", 1) + heading("x", 1)},
        "1");
    row("blank last line", {part1 + "\n"}, "1 2");
    row("blank lines between", {part1 + "\n\n" + part2 + " \n"}, "1 2 3");
    row("ends of Windows", {QByteArray(part1).replace("\n", "\r\n") + "\r\n"}, "1 2");
    row("last line without its end", {part1.chopped(1)}, "1 2");
    row("cut last line", {part1.chopped(5)}, "1");
    row("cut last line before the next part", {part1.chopped(5) + part2}, "1 3");
    row("cut within the heading of the next part", {part1 + part2.left(20)}, "1 2");
    row("one is missing", {part1, part3}, "1 2 4 5",
        q("keyword: part 2 of the recording is missing\n"));
    row("some are missing", {heading("x", 8) + entry("9", 9), part3}, "4 5 9",
        q("keyword: part 4 to 7 of the recording is missing\n"));
}

void tst_KeywordToolParts::replay_putsPartsInOrder()
{
    QFETCH(QList<QByteArray>, contents);
    QFETCH(QString, values);
    QFETCH(QString, errors);
    const Bench bench;
    QStringList files;
    for (const QByteArray &content : std::as_const(contents)) {
        files.append(bench.file("r") + QString::number(files.size()));
        writeFile(files.constLast(), content);
    }

    QString said;
    QCOMPARE(replayed(files, &said), values);
    QCOMPARE(said, errors);
}

void tst_KeywordToolParts::replay_refuses_data()
{
    QTest::addColumn<QList<QByteArray>>("contents");
    QTest::addColumn<QString>("problem");

    const QByteArray part1 = heading("x", 1) + entry("1", 1);
    const auto row = [](const char *name, const QList<QByteArray> &contents, const char *problem) {
        QTest::newRow(name) << contents << q(problem);
    };
    const char *const other = "%2, line 1: part of a different recording than %1";
    row("another recording", {part1, heading("y", 2) + entry("2", 2)}, other);
    row("another old recording",
        {oldHeading + entry("1", 1), QByteArray(oldHeading).replace("T00", "T01")}, other);
    row("another server", {oldHeading, QByteArray(oldHeading).replace("ws:", "wss:")}, other);
    row("old and new", {oldHeading + entry("1", 1), part1}, other);
    row("another one within", {part1 + heading("y", 2)},
        "%1, line 3: part of a different recording than %1");
    row("twice", {part1, heading("x", 2), part1},
        "%3, line 1: part 1 is given twice; it is in %1 as well");
    row("old, twice",
        {oldHeading + entry("1", 1) + entry("2", 2), oldHeading + entry("1", 1) + entry("2", 2)},
        "%2, line 2: the time 1 s is before that of the previous entry, 2 s");
    row("time goes back", {part1 + entry("3", 1) + "\n" + entry("2.5", 1)},
        "%1, line 5: the time 2.5 s is before that of the previous entry, 3 s");
    row("negative time", {heading("x", 1) + entry("-1", 1)},
        "%1, line 2: the time -1 s is negative");
    row("absurd time", {part1 + entry("1e10", 1)},
        "%1, line 3: the time 1e+10 s is out of range: more than ten years");
    row("more absurd", {part1 + entry("1e300", 1)},
        "%1, line 3: the time 1e+300 s is out of range: more than ten years");
    row("no time", {part1 + "{\"t\":\"1\"}\n"}, "%1, line 3: not an entry of a recording");
    row("cut within", {part1.chopped(5) + "\n" + entry("1", 1)},
        "%1, line 2: not an entry of a recording");
}

void tst_KeywordToolParts::replay_refuses()
{
    QFETCH(QList<QByteArray>, contents);
    QFETCH(QString, problem);
    const Bench bench;
    QStringList files;
    for (const QByteArray &content : std::as_const(contents)) {
        files.append(bench.file("r") + QString::number(files.size()));
        writeFile(files.constLast(), content);
        problem.replace(q("%%1").arg(files.size()), files.constLast());
    }

    Tool replay(QStringList(q("replay")) + files);
    QVERIFY(replay.finish());

    QCOMPARE(replay.errors(), q("keyword: %1\n").arg(problem));
    QCOMPARE(replay.output(), QString());
    QCOMPARE(replay.exitCode(), 6);
}

void tst_KeywordToolParts::replay_doesNotWaitForPartsThatAreNotThere()
{
    const Bench bench;
    const QString file = bench.file("r");
    writeFile(file, heading("x", 7) + entry("5000", 1) + entry("5000.5", 2));

    Tool replay({q("replay"), file});
    QVERIFY(replay.finish());

    QVERIFY2(replay.output().endsWith(q(", 1 keywords, 0.5 s\n")), qPrintable(replay.output()));
    QCOMPARE(replay.exitCode(), 0);
}

void tst_KeywordToolParts::rotation_leavesOtherFilesAlone()
{
    const Bench bench;
    const QString file = bench.file("r[1].jsonl"); // as a pattern, it would match r1.jsonl
    const QByteArray old = heading("old", 5);
    const QString page = file + q(".2"), forgotten = file + q(".5");
    writeFile(page, "a page of a manual");
    writeFile(forgotten, old);
    const QStringList line {q("record"), file, q("--rotate"), q("1"), q("-n"), q("3")};

    const Run refused = bench.run(line);
    QCOMPARE(refused.errors, q("keyword: %1: exists already; see --force\n").arg(forgotten));
    QCOMPARE(refused.exitCode, 6);
    QVERIFY(!QFile::exists(file));

    const Run forced = bench.run(line + QStringList(q("--force")));
    QCOMPARE(forced.exitCode, 0);
    QCOMPARE(contentOf(page), QByteArray("a page of a manual"));
    QVERIFY(contentOf(file + q(".1")).contains("\"part\":1,"));
    QVERIFY(contentOf(file + q(".3")).contains("\"part\":2,"));
    QVERIFY(!contentOf(forgotten).contains("old"));
}

QTEST_GUILESS_MAIN(tst_KeywordToolParts)
#include "tst_keywordtoolparts.moc"
