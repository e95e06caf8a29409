// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"
#include "simulator/telemetryscene.h"
#include "tests/programs/programrun.h"

#include <QtCore/QFileInfo>
#include <QtCore/QMap>
#include <QtGui/QImage>
#include <QtNetwork/QTcpServer>
#include <QtTest/QTest>

using namespace pellix::server;
using namespace pellix::simulator;

class tst_Telemetry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void inProcess_printsLiveValuesAndSavesThePicture();
    void webSocket_showsTheServersValues();
    void unreachableServer_failsButStillSavesThePicture();
    void badArguments_failWithAMessage();
    void badArguments_failWithAMessage_data();
    void secrets_areNotLogged();
    void secrets_areNotInThePicture();
    void help_namesEveryOption();
    void help_needsNoDisplay();
};

void tst_Telemetry::initTestCase()
{
    QVERIFY(QFileInfo(QStringLiteral(PROGRAM)).isExecutable());
}

void tst_Telemetry::inProcess_printsLiveValuesAndSavesThePicture()
{
    const Desk desk;
    const Run run = desk.run({QStringLiteral("--screenshot"), desk.picture(),
                              QStringLiteral("--duration"), QStringLiteral("2")});

    QVERIFY(run.finished);
    QCOMPARE(run.errors, QString());
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.output.contains(desk.picture()), qPrintable(run.output));
    QVERIFY(desk.hasPicture({1000, 700}));

    const QMap<QString, QString> values = run.values();
    for (const QString &keyword :
         {QStringLiteral("/machine/cpu/load"), QStringLiteral("/machine/cpu/core0/load")}) {
        bool isNumber = false;
        const double load = values.value(keyword).toDouble(&isNumber);
        QVERIFY2(isNumber && load >= 0 && load <= 100, qPrintable(run.output));
    }
    QVERIFY(values.value(QStringLiteral("/machine/memory/used")).toDouble() > 0);
    QVERIFY(values.value(QStringLiteral("/machine/memory/used")).toDouble()
            < values.value(QStringLiteral("/machine/memory/total")).toDouble());
    QVERIFY(values.value(QStringLiteral("/machine/uptime")).toDouble() > 0);
    QCOMPARE(values.value(QStringLiteral("/machine/settings/paused")), QStringLiteral("false"));
}

void tst_Telemetry::webSocket_showsTheServersValues()
{
    KeywordServer server;
    TelemetryScene scene(&server);
    scene.start();
    WebSocketKeywordServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));

    const Desk desk;
    const Run run = desk.run({QStringLiteral("--url"), webSocketAddress(transport.port()),
                              QStringLiteral("--screenshot"), desk.picture(),
                              QStringLiteral("--duration"), QStringLiteral("2")});

    QVERIFY(run.finished);
    QCOMPARE(run.errors, QString());
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.values().contains(QStringLiteral("/machine/cpu/load")), qPrintable(run.output));
    QVERIFY(desk.hasPicture({1000, 700}));
}

void tst_Telemetry::unreachableServer_failsButStillSavesThePicture()
{
    QTcpServer reserved; // a port that is in use, but without a WebSocket server
    QVERIFY(reserved.listen(QHostAddress::LocalHost, 0));

    const Desk desk;
    const Run run = desk.run({QStringLiteral("--url"), webSocketAddress(reserved.serverPort()),
                              QStringLiteral("--screenshot"), desk.picture(),
                              QStringLiteral("--duration"), QStringLiteral("1")});

    QVERIFY(run.finished);
    QVERIFY(run.exitCode > 0);
    QVERIFY2(run.errors.contains(QLatin1String("no value is known")), qPrintable(run.errors));
    QVERIFY(run.values().isEmpty());
    QVERIFY(desk.hasPicture({1000, 700}));
}

void tst_Telemetry::badArguments_failWithAMessage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("exitCode");

    const auto row = [](const char *name, const QStringList &arguments, const char *message,
                        int exitCode = 2) {
        QTest::newRow(name) << arguments << QString::fromLatin1(message) << exitCode;
    };
    row("unknown option", {QStringLiteral("--nonsense")}, "nonsense");
    row("stray argument", {QStringLiteral("stray")}, "unexpected argument 'stray'");
    row("url of another scheme", {QStringLiteral("--url"), QStringLiteral("http://127.0.0.1:1")},
        "'http://127.0.0.1:1': not a WebSocket address");
    row("url without a scheme", {QStringLiteral("--url"), QStringLiteral("127.0.0.1:1")},
        "'127.0.0.1:1': not a WebSocket address");
    row("url without a host", {QStringLiteral("--url"), QStringLiteral("ws://")},
        "'ws://': not a WebSocket address");
    row("url with a bad port", {QStringLiteral("--url"), QStringLiteral("ws://127.0.0.1:port")},
        "not a WebSocket address");
    row("empty url", {QStringLiteral("--url"), QString()}, "'': not a WebSocket address");
    row("one good and one bad url",
        {QStringLiteral("--url"), QStringLiteral("ws://127.0.0.1:1"), QStringLiteral("--url"),
         QStringLiteral("ftp://127.0.0.1")},
        "'ftp://127.0.0.1': not a WebSocket address");
    row("url with a password",
        {QStringLiteral("--url"), QStringLiteral("ws://me:hush@127.0.0.1:1")},
        "cannot use 'ws://me:***@127.0.0.1:1': an address cannot contain a password");
    row("bad url with a token", {QStringLiteral("--url"), QStringLiteral("http://a/?token=hush")},
        "cannot use 'http://a/?token=***': not a WebSocket address");
    row("stray address", {QStringLiteral("me:hush@127.0.0.1:1")},
        "unexpected argument 'me:***@127.0.0.1:1'");
    row("address for an option", {QStringLiteral("--ws://me:hush@127.0.0.1:1")},
        "ws://me:***@127.0.0.1:1");
    row("unwritable picture",
        {QStringLiteral("--screenshot"), QStringLiteral("/nowhere/at/all/picture.png")},
        "cannot write '/nowhere/at/all/picture.png'", 1);
    row("no file name", {QStringLiteral("--screenshot"), QString()}, "requires a file name");
    row("duration alone", {QStringLiteral("--duration"), QStringLiteral("2")},
        "requires --screenshot");
    row("duration in words",
        {QStringLiteral("--screenshot"), QStringLiteral("x.png"), QStringLiteral("--duration"),
         QStringLiteral("soon")},
        "'soon' is not a duration");
    row("duration of zero",
        {QStringLiteral("--screenshot"), QStringLiteral("x.png"), QStringLiteral("--duration"),
         QStringLiteral("0")},
        "'0' is not a duration");
    row("duration that is no number",
        {QStringLiteral("--screenshot"), QStringLiteral("x.png"), QStringLiteral("--duration"),
         QStringLiteral("nan")},
        "'nan' is not a duration");
}

void tst_Telemetry::badArguments_failWithAMessage()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, message);
    QFETCH(const int, exitCode);

    verifyRefused(arguments, message, exitCode);
}

// Everything is logged, including messages of Qt with an address.
void tst_Telemetry::secrets_areNotLogged()
{
    KeywordServer server;
    server.declare(
        {QStringLiteral("/a"), QStringLiteral("int"), QStringLiteral("R"), QString(), 1});
    WebSocketKeywordServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));

    const Desk desk;
    QProcessEnvironment environment = desk.environment();
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("pellixclient.*=true"));
    const Run run = desk.run({QStringLiteral("--url"),
                              webSocketAddress(transport.port()) + QStringLiteral("/?token=hush"),
                              QStringLiteral("--screenshot"), desk.picture(),
                              QStringLiteral("--duration"), QStringLiteral("1")},
                             environment);

    QVERIFY(run.finished);
    QVERIFY2(run.errors.contains(QLatin1String("?token=***")), qPrintable(run.errors));
    QVERIFY2(!run.errors.contains(QLatin1String("hush")), qPrintable(run.errors));
    QVERIFY2(!run.output.contains(QLatin1String("hush")), qPrintable(run.output));
}

// Without a server, only the address can differ between the pictures of two runs.
void tst_Telemetry::secrets_areNotInThePicture()
{
    QTcpServer reserved; // a port that is in use, but without a WebSocket server
    QVERIFY(reserved.listen(QHostAddress::LocalHost, 0));
    const QString address = webSocketAddress(reserved.serverPort());
    const auto picture = [&address](const QString &query) {
        const Desk desk;
        desk.run({QStringLiteral("--url"), address + query, QStringLiteral("--screenshot"),
                  desk.picture(), QStringLiteral("--duration"), QStringLiteral("1")});
        return QImage(desk.picture());
    };

    const QImage first = picture(QStringLiteral("/?token=hush"));
    QVERIFY(!first.isNull());
    QCOMPARE(picture(QStringLiteral("/?token=another")), first);
    QVERIFY(picture(QStringLiteral("/?unit=another")) != first); // the picture contains the address
}

void tst_Telemetry::help_namesEveryOption()
{
    verifyHelpNames(
        {QStringLiteral("--url"), QStringLiteral("--screenshot"), QStringLiteral("--duration")});
}

void tst_Telemetry::help_needsNoDisplay()
{
    verifyAnswersWithoutDisplay(QStringLiteral("telemetry"));
}

QTEST_GUILESS_MAIN(tst_Telemetry)

#include "tst_telemetry.moc"
