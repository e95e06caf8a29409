// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/connection/pemfiles.h"
#include "server/clientidentification.h"
#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"
#include "tests/programs/programrun.h"
#include "tests/support/translationtools.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMap>
#include <QtCore/QProcess>
#include <QtNetwork/QTcpServer>
#include <QtTest/QTest>

using namespace pellix::server;

class tst_BrowserProgram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void inProcess_printsWhatItShowsAndSavesThePicture();
    void webSocket_opensSelectsFiltersPinsAndAggregates();
    void tls_filesAndTokenOpenTheServer();
    void pinned_isThereAgainAtTheNextStart();
    void unreachableServer_failsButStillSavesThePicture();
    void badArguments_failWithAMessage();
    void badArguments_failWithAMessage_data();
    void secrets_areNotLogged();
    void secrets_areNotInThePicture();
    void help_namesEveryOption();
    void help_needsNoDisplay();
    void texts_areThoseOfTheUsersLanguage();
};

void tst_BrowserProgram::initTestCase()
{
    QVERIFY(QFileInfo(QStringLiteral(PROGRAM)).isExecutable());
}

void tst_BrowserProgram::inProcess_printsWhatItShowsAndSavesThePicture()
{
    const Desk desk;
    const Run run =
        desk.run({QStringLiteral("--screenshot"), desk.picture(), QStringLiteral("--duration"),
                  QStringLiteral("2"), QStringLiteral("--keyword"), QStringLiteral("/machine/cpu"),
                  QStringLiteral("--select"), QStringLiteral("/machine/cpu/load")});

    QVERIFY(run.finished);
    QCOMPARE(run.errors, QString());
    QCOMPARE(run.exitCode, 0);
    QVERIFY(desk.hasPicture({1200, 800}));
    const QMap<QString, QString> values = run.values();
    bool isNumber = false;
    const double load = values.value(QStringLiteral("/machine/cpu/load")).toDouble(&isNumber);
    QVERIFY2(isNumber && load >= 0 && load <= 100, qPrintable(run.output));
    QCOMPARE(values.value(QStringLiteral("/machine/cpu/load/Label")),
             QStringLiteral("Processor load"));
    QCOMPARE(values.value(QStringLiteral("/machine/cpu/high/Label")),
             QStringLiteral("Load is high"));
}

void tst_BrowserProgram::webSocket_opensSelectsFiltersPinsAndAggregates()
{
    KeywordServer server;
    for (int i = 1; i <= 3; ++i) {
        server.declare({QStringLiteral("/tank%1/level").arg(i), QStringLiteral("double"),
                        QStringLiteral("R"), QStringLiteral("Level"), i * 10.0});
        server.setLabel(QStringLiteral("/tank%1").arg(i), QStringLiteral("Tank %1").arg(i));
    }
    WebSocketKeywordServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));

    const Desk desk;
    const Run run = desk.run(
        {QStringLiteral("--url"), webSocketAddress(transport.port()), QStringLiteral("--light"),
         QStringLiteral("--select"), QStringLiteral("/tank2/level"), QStringLiteral("--filter"),
         QStringLiteral("tank 2"), QStringLiteral("--pin"), QStringLiteral("/tank1/level"),
         QStringLiteral("--pin"), QStringLiteral("/tank3/level"), QStringLiteral("--aggregate"),
         QStringLiteral("sum"), QStringLiteral("--settings"),
         desk.file(QStringLiteral("settings.ini")), QStringLiteral("--screenshot"), desk.picture(),
         QStringLiteral("--duration"), QStringLiteral("2")});

    QVERIFY(run.finished);
    QCOMPARE(run.errors, QString());
    QCOMPARE(run.exitCode, 0);
    const QMap<QString, QString> values = run.values();
    QCOMPARE(values.value(QStringLiteral("/tank2/level")), QStringLiteral("20"));
    QCOMPARE(values.value(QStringLiteral("/tank1/level")), QStringLiteral("10"));
    QCOMPARE(values.value(QStringLiteral("/tank3/level")), QStringLiteral("30"));
    QString aggregate;
    for (auto value = values.cbegin(); value != values.cend(); ++value) {
        if (value.key().startsWith(QLatin1String("/store/aggregated/")))
            aggregate = value.value();
    }
    QCOMPARE(aggregate, QStringLiteral("40"));
    QVERIFY(desk.hasPicture({1200, 800}));
}

void tst_BrowserProgram::tls_filesAndTokenOpenTheServer()
{
    const QString certificate = QStringLiteral(TLS_FILES "/server.crt");
    KeywordServer server;
    server.declare(
        {QStringLiteral("/a"), QStringLiteral("int"), QStringLiteral("R"), QString(), 7});
    WebSocketKeywordServer transport(&server);
    QString problem;
    QVERIFY(transport.setTls(
        pellix::extras::readCertificate(certificate, &problem),
        pellix::extras::readPrivateKey(QStringLiteral(TLS_FILES "/server.key"), &problem)));
    ClientIdentification identification;
    const QByteArray token =
        identification.tokens.create(QStringLiteral("screen"), QStringLiteral("*"));
    QVERIFY(transport.setIdentification(identification));
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));

    const Desk desk;
    QFile file(desk.file(QStringLiteral("token")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(token + '\n') > 0);
    file.close();
    const Run run = desk.run(
        {QStringLiteral("--url"), QStringLiteral("wss://127.0.0.1:%1").arg(transport.port()),
         QStringLiteral("--ca"), certificate, QStringLiteral("--token-file"), file.fileName(),
         QStringLiteral("--pin"), QStringLiteral("/a"), QStringLiteral("--settings"),
         desk.file(QStringLiteral("settings.ini")), QStringLiteral("--screenshot"), desk.picture(),
         QStringLiteral("--duration"), QStringLiteral("2")});

    QVERIFY(run.finished);
    QCOMPARE(run.errors, QString());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.values().value(QStringLiteral("/a")), QStringLiteral("7"));
}

void tst_BrowserProgram::pinned_isThereAgainAtTheNextStart()
{
    const Desk desk;
    const QString settings = desk.file(QStringLiteral("settings.ini"));
    const auto start = [&](const QStringList &more) {
        return desk.run(QStringList {QStringLiteral("--settings"), settings,
                                     QStringLiteral("--screenshot"), desk.picture(),
                                     QStringLiteral("--duration"), QStringLiteral("1")}
                        + more);
    };
    const Run first = start({QStringLiteral("--pin"), QStringLiteral("/machine/uptime")});
    QCOMPARE(first.exitCode, 0);
    QVERIFY(first.values().contains(QStringLiteral("/machine/uptime")));

    const Run second = start({});
    QCOMPARE(second.exitCode, 0);
    QVERIFY2(second.values().contains(QStringLiteral("/machine/uptime")),
             qPrintable(second.output));
}

void tst_BrowserProgram::unreachableServer_failsButStillSavesThePicture()
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
    QVERIFY(desk.hasPicture({1200, 800}));
}

void tst_BrowserProgram::badArguments_failWithAMessage_data()
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
    row("unknown mode", {QStringLiteral("--aggregate"), QStringLiteral("mean")},
        "'mean' is not an aggregate mode");
    row("dark and light", {QStringLiteral("--dark"), QStringLiteral("--light")},
        "--dark and --light cannot be used together");
    row("settings without a name", {QStringLiteral("--settings"), QString()},
        "requires a file name");
    row("url with a password",
        {QStringLiteral("--url"), QStringLiteral("ws://me:hush@127.0.0.1:1")},
        "cannot use 'ws://me:***@127.0.0.1:1': user and password are not sent over ws://");
    const auto options = [](const char *text) {
        return QString::fromLatin1(text).split(QLatin1Char(' '));
    };
    row("authority without TLS", options("--url ws://127.0.0.1:1 --ca a"),
        "--ca requires wss:// addresses, unlike ws://127.0.0.1:1");
    row("certificate without its key", options("--url wss://127.0.0.1:1 --cert a"),
        "--cert and --key must be used together");
    row("no file name", options("--url wss://127.0.0.1:1 --ca="), "--ca: no file name given");
    row("token without a server", options("--token-file a"), "--token-file requires --url");
    row("no such authority", options("--url wss://127.0.0.1:1 --ca /none"),
        "/none: No such file or directory", 1);
    row("no such token", options("--url wss://127.0.0.1:1 --token-file /none"),
        "/none: No such file or directory", 1);
    row("empty token", options("--url wss://127.0.0.1:1 --token-file /dev/null"),
        "/dev/null: contains no token", 1);
    row("bad url with a token", {QStringLiteral("--url"), QStringLiteral("http://a/?token=hush")},
        "cannot use 'http://a/?token=***': not a WebSocket address");
    row("stray address", {QStringLiteral("me:hush@127.0.0.1:1")},
        "unexpected argument 'me:***@127.0.0.1:1'");
    row("address for an option", {QStringLiteral("--ws://me:hush@127.0.0.1:1")},
        "ws://me:***@127.0.0.1:1");
    row("unwritable picture",
        {QStringLiteral("--screenshot"), QStringLiteral("/nowhere/at/all/picture.png")},
        "cannot write '/nowhere/at/all/picture.png'", 1);
    row("duration alone", {QStringLiteral("--duration"), QStringLiteral("2")},
        "requires --screenshot");
}

void tst_BrowserProgram::badArguments_failWithAMessage()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, message);
    QFETCH(const int, exitCode);

    verifyRefused(arguments, message, exitCode);
}

// Everything is logged, including messages of Qt with an address.
void tst_BrowserProgram::secrets_areNotLogged()
{
    KeywordServer server;
    server.declare(
        {QStringLiteral("/a"), QStringLiteral("int"), QStringLiteral("R"), QString(), 1});
    WebSocketKeywordServer transport(&server);
    QVERIFY(transport.listen(QHostAddress::LocalHost, 0));

    const Desk desk;
    QProcessEnvironment environment = desk.environment();
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("pellixclient.*=true"));
    QFile settings(desk.file(QStringLiteral("settings.ini")));
    const Run run =
        desk.run({QStringLiteral("--url"),
                  webSocketAddress(transport.port()) + QStringLiteral("/?token=hush"),
                  QStringLiteral("--settings"), settings.fileName(), QStringLiteral("--pin"),
                  QStringLiteral("/a"), QStringLiteral("--screenshot"), desk.picture(),
                  QStringLiteral("--duration"), QStringLiteral("1")},
                 environment);

    QVERIFY(run.finished);
    QVERIFY2(run.errors.contains(QLatin1String("?token=***")), qPrintable(run.errors));
    QVERIFY2(!run.errors.contains(QLatin1String("hush")), qPrintable(run.errors));
    QVERIFY2(!run.output.contains(QLatin1String("hush")), qPrintable(run.output));
    QVERIFY(settings.open(QIODevice::ReadOnly)); // addresses are not stored in it
    QVERIFY(!settings.readAll().contains("hush"));
}

void tst_BrowserProgram::secrets_areNotInThePicture()
{
    QTcpServer reserved; // a port that is in use, but without a WebSocket server
    QVERIFY(reserved.listen(QHostAddress::LocalHost, 0));
    const QString address = webSocketAddress(reserved.serverPort());
    const auto picture = [&address](const QString &query) {
        const Desk desk;
        desk.run({QStringLiteral("--url"), address + query, QStringLiteral("--settings"),
                  desk.file(QStringLiteral("settings.ini")), QStringLiteral("--screenshot"),
                  desk.picture(), QStringLiteral("--duration"), QStringLiteral("1")});
        return QImage(desk.picture());
    };

    const QImage first = picture(QStringLiteral("/?token=hush"));
    QVERIFY(!first.isNull());
    QCOMPARE(picture(QStringLiteral("/?token=another")), first);
    QVERIFY(picture(QStringLiteral("/?unit=another")) != first); // the picture contains the address
}

void tst_BrowserProgram::help_namesEveryOption()
{
    verifyHelpNames(
        {QStringLiteral("--url"), QStringLiteral("--keyword"), QStringLiteral("--select"),
         QStringLiteral("--pin"), QStringLiteral("--filter"), QStringLiteral("--aggregate"),
         QStringLiteral("--dark"), QStringLiteral("--light"), QStringLiteral("--settings"),
         QStringLiteral("--screenshot"), QStringLiteral("--duration")});
}

void tst_BrowserProgram::help_needsNoDisplay()
{
    verifyAnswersWithoutDisplay(QStringLiteral("keyword-browser"));
}

// Uses a translation in a folder of the user.
void tst_BrowserProgram::texts_areThoseOfTheUsersLanguage()
{
    const QString lrelease = translationTool(QStringLiteral("lrelease"));
    if (lrelease.isEmpty())
        QSKIP("lrelease is not installed (Debian: qt6-l10n-tools)");
    const Desk desk;
    const QString folder = desk.file(QStringLiteral("pellixclient-keyword/translations"));
    QVERIFY(QDir().mkpath(folder));
    QFile source(desk.file(QStringLiteral("de.ts")));
    QVERIFY(source.open(QIODevice::WriteOnly));
    source.write(R"(<?xml version="1.0" encoding="utf-8"?><!DOCTYPE TS>
        <TS version="2.1" language="de_DE"><context><name>Screenshot</name><message>
        <source>'%1' is not a duration in seconds</source>
        <translation>„%1“ ist keine Dauer in Sekunden</translation></message></context></TS>)");
    source.close();
    QCOMPARE(QProcess::execute(lrelease,
                               {QStringLiteral("-silent"), source.fileName(), QStringLiteral("-qm"),
                                folder + QStringLiteral("/pellixclient-keyword_de.qm")}),
             0);
    const QStringList arguments {QStringLiteral("--screenshot"), desk.picture(),
                                 QStringLiteral("--duration"), QStringLiteral("long")};
    QProcessEnvironment environment = desk.environment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), desk.file(QString()));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("de_DE.UTF-8"));

    const Run german = desk.run(arguments, environment);
    QVERIFY2(german.errors.contains(QString::fromUtf8("„long“ ist keine Dauer in Sekunden")),
             qPrintable(german.errors));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    const Run english = desk.run(arguments, environment);
    QVERIFY2(english.errors.contains(QStringLiteral("'long' is not a duration in seconds")),
             qPrintable(english.errors));
}

QTEST_GUILESS_MAIN(tst_BrowserProgram)

#include "tst_browserprogram.moc"
