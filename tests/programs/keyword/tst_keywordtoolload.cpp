// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/programs/keyword/toolbench.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QTimer>
#include <QtTest/QTest>

#include <csignal>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

int fromEnvironment(const char *name, int otherwise)
{
    bool isNumber = false;
    const int number = qEnvironmentVariableIntValue(name, &isNumber);
    return isNumber ? number : otherwise;
}

// The processor time of the process in seconds.
double processorTime(qint64 processId)
{
    QFile file(q("/proc/%1/stat").arg(processId));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray stat = file.readAll();
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    return (fields.value(11).toDouble() + fields.value(12).toDouble())
        / double(sysconf(_SC_CLK_TCK));
}

// Counts the lines of a growing file.
class LineCounter
{
public:
    explicit LineCounter(const QString &fileName) : file(fileName) { }
    qint64 count()
    {
        if (file.isOpen() || file.open(QIODevice::ReadOnly))
            lines += file.readAll().count('\n');
        return lines;
    }

private:
    QFile file;
    qint64 lines = 0;
};

} // namespace

// Many keywords that change ten times per second. Each change adds 1, so that missing values are
// noticed. PELLIX_LOAD_KEYWORDS, PELLIX_LOAD_ROUNDS, and PELLIX_LOAD_INTERVAL, in milliseconds, set
// the scale.
class tst_KeywordToolLoad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void watch_dropsNothing_data();
    void watch_dropsNothing();
};

void tst_KeywordToolLoad::watch_dropsNothing_data()
{
    QTest::addColumn<QString>("format");
    for (const char *format : {"text", "json", "csv"})
        QTest::newRow(format) << q(format);
}

void tst_KeywordToolLoad::watch_dropsNothing()
{
    QFETCH(QString, format);
    const int keywords = fromEnvironment("PELLIX_LOAD_KEYWORDS", 500);
    const int rounds = fromEnvironment("PELLIX_LOAD_ROUNDS", 20);
    Bench bench;
    bench.server.clear();
    QStringList paths;
    for (int i = 0; i < keywords; ++i) {
        paths.append(q("/load/group%1/value%2").arg(i / 100).arg(i % 100));
        bench.declare(paths.constLast().toUtf8().constData(), "int", 0);
    }
    int requests = 0;
    QObject::connect(&bench.server, &pellix::server::KeywordServer::keywordRequested, &bench.server,
                     [&requests] { ++requests; });
    const QString file = bench.file("out");
    QProcess tool; // writes to a file, because reading is not measured
    tool.setStandardOutputFile(file);
    tool.start(
        q(PROGRAM),
        {q("watch"), q("-r"), q("--url"), bench.url(), q("-f"), format, q("--time"), q("none")});
    QTRY_COMPARE_WITH_TIMEOUT(requests, keywords, 60000);

    const double before = processorTime(tool.processId());
    QElapsedTimer elapsed;
    elapsed.start();
    const int headings = format == q("csv") ? 1 : 0;
    LineCounter counter(file);
    int round = 0;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
        if (round == rounds)
            return timer.stop();
        // A server omits values of keywords that change faster than they are read.
        if (counter.count() < qint64(keywords) * (round + 1) + headings)
            return;
        ++round;
        for (const QString &path : std::as_const(paths))
            bench.server.setValue(path, round);
    });
    timer.start(fromEnvironment("PELLIX_LOAD_INTERVAL", 100));
    QTRY_VERIFY_WITH_TIMEOUT(!timer.isActive(), 2 * timer.interval() * rounds + 60000);
    const double seconds = double(elapsed.elapsed()) / 1000;
    const double used = processorTime(tool.processId()) - before;
    const qint64 expected = qint64(keywords) * (rounds + 1);
    const bool complete = QTest::qWaitFor(
        [&] {
            return counter.count() >= expected + headings || tool.state() == QProcess::NotRunning;
        },
        60000);
    QVERIFY2(complete, tool.readAllStandardError().constData());
    ::kill(pid_t(tool.processId()), SIGINT);
    QVERIFY(QTest::qWaitFor([&] { return tool.state() == QProcess::NotRunning; }, 60000));
    QCOMPARE(tool.exitCode(), 0);
    QCOMPARE(QString::fromUtf8(tool.readAllStandardError()), QString());

    QFile output(file);
    QVERIFY(output.open(QIODevice::ReadOnly));
    static const QRegularExpression fields(
        q("(/load/group[0-9]+/value[0-9]+)(?:\",\"value\":| +|,)([0-9]+)"));
    QHash<QString, int> next;
    qint64 values = 0;
    while (!output.atEnd()) {
        const auto match = fields.match(QString::fromUtf8(output.readLine()));
        if (!match.hasMatch())
            continue;
        int &value = next[match.captured(1)];
        QCOMPARE(match.captured(2).toInt(), value);
        ++value;
        ++values;
    }
    QCOMPARE(values, expected);
    QCOMPARE(next.size(), keywords);
    qInfo("%s: %d keywords, %.1f rounds/s for %.1f s: %lld values, none missing; %.0f %% of a core",
          qPrintable(format), keywords, rounds / seconds, seconds, static_cast<long long>(values),
          100 * used / seconds);
    QVERIFY(used < seconds);
}

QTEST_GUILESS_MAIN(tst_KeywordToolLoad)
#include "tst_keywordtoolload.moc"
