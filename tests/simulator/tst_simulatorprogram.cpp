// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// The program itself, from its start to the line that says where it listens.
struct Program
{
    explicit Program(const QStringList &arguments)
    {
        process.start(q(SIMULATOR_PROGRAM), arguments);
        while (!process.canReadLine() && process.waitForReadyRead())
            continue;
        const QString line = QString::fromUtf8(process.readLine());
        url = line.section(QLatin1Char(' '), 2, 2).chopped(1);
    }
    ~Program()
    {
        process.kill();
        process.waitForFinished();
    }

    QProcess process;
    QString url;
};

} // namespace

class tst_SimulatorProgram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(q("pellixclient.keyword.websocketclient=false"));
    }
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void serves();
    void loadsAnInstalledSceneByItsName();
    void endsOnATerminationRequest();
    void commandsFaultsByKeyword();
    void refusesBadUsage_data();
    void refusesBadUsage();
};

void tst_SimulatorProgram::serves()
{
    Program program(
        {q("--scene"), q(SCENES "/plant.json"), q("--telemetry"), q("--generate"), q("50")});
    QVERIFY2(program.url.startsWith(q("ws://127.0.0.1:")), qPrintable(program.url));
    PWebSocketKeywordClient client;
    PKeywordProxy name, uptime, generated;
    name.setKeyword(q("/plant/name"));
    uptime.setKeyword(q("/machine/uptime"));
    generated.setKeyword(q("/load/group0/value49"));
    for (PKeywordProxy *proxy : {&name, &uptime, &generated})
        proxy->setClient(&client);

    client.setUrls({program.url});

    QTRY_COMPARE(name.value().toString(), q("Riverside works"));
    QTRY_VERIFY(uptime.value().toDouble() > 0);
    QTRY_VERIFY(generated.value().isValid());
    name.update(q("Hillside"));
    QTRY_COMPARE(name.value().toString(), q("Hillside"));
}

void tst_SimulatorProgram::loadsAnInstalledSceneByItsName()
{
    // As if installed, with a scene of the same name here and there.
    QTemporaryDir folder;
    const QDir installed(folder.filePath(q("bin")));
    const QString scenes = installed.filePath(q(INSTALLED_SCENES));
    const QString program = installed.filePath(q("keyword-simulator"));
    QVERIFY(installed.mkpath(q(".")) && installed.mkpath(scenes));
    QVERIFY(QFile::copy(q(SIMULATOR_PROGRAM), program));
    const auto save = [](const QString &fileName, const QByteArray &json) {
        QFile file(fileName);
        return file.open(QIODevice::WriteOnly) && file.write(json) == json.size();
    };
    QVERIFY(save(scenes + q("/one.json"), R"({"generate": {"count": 1}})"));
    QVERIFY(save(scenes + q("/two.json"), R"({"generate": {"count": 1}})"));
    QVERIFY(save(folder.filePath(q("two.json")), R"({"generate": {"count": 2}})"));
    const auto keywords = [&](const QString &scene) {
        QProcess process;
        process.setWorkingDirectory(folder.path());
        process.start(program, {q("--scene"), scene});
        while (!process.canReadLine() && process.waitForReadyRead())
            continue;
        const QString said = QString::fromUtf8(process.readLine() + process.readAllStandardError());
        process.kill();
        process.waitForFinished();
        return said.section(q(", "), 1).trimmed() + said.section(q("keyword-simulator: "), 1);
    };
    QCOMPARE(keywords(q("one.json")), q("1 keywords"));
    QCOMPARE(keywords(q("two.json")), q("2 keywords"));
    QVERIFY2(keywords(q("./one.json")).startsWith(q("./one.json: ")),
             qPrintable(keywords(q("./one.json"))));
    QVERIFY2(keywords(q("three.json")).startsWith(q("three.json: ")),
             qPrintable(keywords(q("three.json"))));
}

void tst_SimulatorProgram::endsOnATerminationRequest()
{
    Program program({});
    QVERIFY(!program.url.isEmpty());
    program.process.terminate();
    QVERIFY(program.process.waitForFinished());
    QCOMPARE(program.process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.process.exitCode(), 0);
}

void tst_SimulatorProgram::commandsFaultsByKeyword()
{
    Program program({q("--scene"), q(SCENES "/plant.json"), q("--faults")});
    PWebSocketKeywordClient client;
    client.setAutoReconnect(true);
    PKeywordProxy name, fault;
    name.setKeyword(q("/plant/name"));
    name.setClient(&client);
    fault.setClient(&client);
    client.setUrls({program.url});
    QTRY_VERIFY(name.value().isValid());
    QSignalSpy connected(&client, &PWebSocketKeywordClient::connectedChanged);
    int changes = 0;
    for (const char *command : {"close", "abort", "restart"}) {
        name.update(q("before ") + q(command));
        QTRY_COMPARE(name.value().toString(), q("before ") + q(command));
        fault.setKeyword(q("/simulator/faults/") + q(command));
        fault.update(true);
        changes += 2;
        QTRY_COMPARE(connected.count(), changes); // lost, and back
        QTRY_VERIFY(name.value().isValid());
    }
    QCOMPARE(name.value().toString(), q("Riverside works")); // restarted with what the scene says
}

void tst_SimulatorProgram::refusesBadUsage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("unknown option") << QStringList({q("--bogus")}) << q("Unknown option 'bogus'");
    QTest::newRow("argument") << QStringList({q("x")}) << q("unexpected argument: x");
    QTest::newRow("port") << QStringList({q("--port"), q("99999")})
                          << q("--port: not a port number");
    QTest::newRow("address") << QStringList({q("--listen"), q("host")}) << q("--listen: not an IP");
    QTest::newRow("foreign address")
        << QStringList({q("--listen"), q("192.0.2.1")}) << q("cannot listen on 192.0.2.1");
    QTest::newRow("no scene") << QStringList({q("--scene"), q("/nowhere.json")})
                              << q("/nowhere.json: ");
    QTest::newRow("count") << QStringList({q("--generate"), q("x")}) << q("--generate: ");
    QTest::newRow("certificate alone")
        << QStringList({q("--tls-cert"), q("x")}) << q("go together");
    QTest::newRow("no certificate")
        << QStringList({q("--tls-cert"), q("/nowhere"), q("--tls-key"), q("x")}) << q("/nowhere: ");
    QTest::newRow("no PEM") << QStringList(
        {q("--tls-cert"), q(SCENES "/plant.json"), q("--tls-key"), q("x")})
                            << q("holds no PEM certificate");
}

void tst_SimulatorProgram::refusesBadUsage()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    QProcess process;
    process.start(q(SIMULATOR_PROGRAM), arguments);
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QVERIFY(process.exitCode() != 0);
    const QString said = QString::fromUtf8(process.readAllStandardError());
    QVERIFY2(said.contains(message), qPrintable(said));
    QVERIFY(process.readAllStandardOutput().isEmpty());
}

QTEST_GUILESS_MAIN(tst_SimulatorProgram)
#include "tst_simulatorprogram.moc"
