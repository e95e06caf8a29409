// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"
#include "tests/support/rawclient.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QNetworkInterface>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <csignal>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// The program, from its start to the line with its address.
struct Program
{
    explicit Program(const QStringList &arguments, const QString &folder = {})
    {
        process.setWorkingDirectory(folder);
        process.start(q(SIMULATOR_PROGRAM), arguments);
        while (!process.canReadLine() && process.waitForReadyRead())
            continue;
        firstLine = QString::fromUtf8(process.readLine());
        url = firstLine.section(QLatin1Char(' '), 2, 2).section(QLatin1Char(','), 0, 0);
    }
    ~Program()
    {
        process.kill();
        process.waitForFinished();
    }

    QString complaints()
    {
        errors += QString::fromUtf8(process.readAllStandardError());
        return errors;
    }

    QProcess process;
    QString firstLine;
    QString url;
    QString errors;
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
    void endsOnARequest_data();
    void endsOnARequest();
    void outlivesItsTerminalIfToldTo();
    void tellsWhereItIsReachable_data();
    void tellsWhereItIsReachable();
    void servesThePagesThatItIsToldTo();
    void takesACertificateWithItsKeyAlone_data();
    void takesACertificateWithItsKeyAlone();
    void manualPageAndHelp_nameTheSameOptions();
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
    // Simulates an installation, with scenes of the same name in both folders.
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

void tst_SimulatorProgram::endsOnARequest_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("termination") << SIGTERM;
    QTest::newRow("interrupt") << SIGINT;
    QTest::newRow("the terminal goes") << SIGHUP;
}

void tst_SimulatorProgram::endsOnARequest()
{
    QFETCH(int, signal);
    Program program({});
    QVERIFY(!program.url.isEmpty());
    ::kill(pid_t(program.process.processId()), signal);
    QVERIFY(program.process.waitForFinished());
    QCOMPARE(program.process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.process.exitCode(), 0);
}

void tst_SimulatorProgram::outlivesItsTerminalIfToldTo()
{
    std::signal(SIGHUP, SIG_IGN); // like nohup; child processes inherit it
    Program program({});
    std::signal(SIGHUP, SIG_DFL);
    QVERIFY(!program.url.isEmpty());
    ::kill(pid_t(program.process.processId()), SIGHUP);
    RawClient client((QUrl(program.url)));
    QVERIFY(client.open());
    ::kill(pid_t(program.process.processId()), SIGTERM);
    QVERIFY(program.process.waitForFinished());
    QCOMPARE(program.process.exitCode(), 0);
}

void tst_SimulatorProgram::tellsWhereItIsReachable_data()
{
    QTest::addColumn<QString>("listen");
    QTest::addColumn<QStringList>("hosts");
    QStringList all {q("127.0.0.1")};
    for (const QHostAddress &address : QNetworkInterface::allAddresses()) {
        if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback())
            all << address.toString();
    }
    QTest::newRow("address") << q("127.0.0.2") << QStringList {q("127.0.0.2")};
    QTest::newRow("localhost") << q("localhost") << QStringList {q("127.0.0.1")};
    QTest::newRow("all") << q("0.0.0.0") << all;
}

void tst_SimulatorProgram::tellsWhereItIsReachable()
{
    QFETCH(QString, listen);
    QFETCH(QStringList, hosts);
    Program program({q("--listen"), listen});
    const QUrl url(program.url);
    QVERIFY2(url.port() > 0, qPrintable(program.firstLine));
    QStringList addresses;
    for (const QString &host : std::as_const(hosts))
        addresses << q("ws://%1:%2").arg(host).arg(url.port());
    QCOMPARE(program.firstLine, q("listening on %1, 0 keywords\n").arg(addresses.join(q(", "))));
    RawClient client(url);
    QVERIFY(client.open());
}

void tst_SimulatorProgram::servesThePagesThatItIsToldTo()
{
    Program program({q("--allow-origin"), q("http://localhost:3000"), q("--allow-origin"),
                     q("https://EXAMPLE.org/")});
    const auto answer = [&](const QByteArray &header) {
        RawClient client((QUrl(program.url)));
        client.send(RawClient::request(header));
        [[maybe_unused]] const bool answered =
            QTest::qWaitFor([&] { return client.received.contains("\r\n\r\n"); });
        return client.received.mid(9, 3);
    };
    QCOMPARE(answer(""), QByteArray("101"));
    QCOMPARE(answer("Origin: http://localhost:3000\r\n"), QByteArray("101"));
    QCOMPARE(answer("Origin: https://example.org\r\n"), QByteArray("101"));
    QCOMPARE(answer("Origin: https://evil.example\r\n"), QByteArray("403"));
    QCOMPARE(answer("Host: again\r\n"), QByteArray("400"));
    QTRY_VERIFY(program.complaints().contains(q("its request names more than one host")));
    const QString said = program.complaints();
    QVERIFY2(QRegularExpression(q("^keyword-simulator: refused 127\\.0\\.0\\.1:\\d+: its origin "
                                  "\"https://evil\\.example\" is not allowed\n"))
                 .match(said)
                 .hasMatch(),
             qPrintable(said));
}

void tst_SimulatorProgram::takesACertificateWithItsKeyAlone_data()
{
    QTest::addColumn<QString>("make"); // the command that creates the key
    QTest::addColumn<QString>("message"); // empty: the key is valid
    const QString others =
        q("keyword-simulator: server.crt, x.key: the certificate and the private "
          "key do not belong together: ");
    const QString encrypted =
        q("keyword-simulator: the private key in x.key is encrypted; use a decrypted copy: openssl "
          "pkey -in x.key -out plain.key\n");
    QTest::newRow("its own") << q("cp server.key x.key") << QString();
    QTest::newRow("another one of its kind")
        << q("openssl ecparam -name prime256v1 -genkey -noout -out x.key") << others;
    QTest::newRow("of another kind")
        << q("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out x.key") << others;
    QTest::newRow("its own, encrypted")
        << q("openssl pkcs8 -topk8 -in server.key -passout pass:x -out x.key") << encrypted;
    QTest::newRow("its own, encrypted in the old way")
        << q("openssl ec -aes128 -in server.key -passout pass:x -out x.key") << encrypted;
    QTest::newRow("none")
        << q("cp server.crt x.key")
        << q("keyword-simulator: x.key: contains no PEM private key (RSA or EC)\n");
}

void tst_SimulatorProgram::takesACertificateWithItsKeyAlone()
{
    QFETCH(QString, make);
    QFETCH(QString, message);
    QTemporaryDir folder;
    for (const char *name : {"/server.crt", "/server.key"})
        QVERIFY(QFile::copy(q(TLS_FILES) + q(name), folder.path() + q(name)));
    QProcess shell;
    shell.setWorkingDirectory(folder.path());
    shell.start(q("sh"), {q("-c"), make});
    QVERIFY(shell.waitForFinished());
    QVERIFY2(shell.exitCode() == 0, shell.readAllStandardError().constData());

    Program program({q("--tls-cert"), q("server.crt"), q("--tls-key"), q("x.key")}, folder.path());

    if (message.isEmpty()) {
        QVERIFY2(program.url.startsWith(q("wss://127.0.0.1:")), qPrintable(program.complaints()));
        return;
    }
    QTRY_COMPARE(program.process.state(), QProcess::NotRunning);
    QVERIFY(program.process.exitCode() != 0);
    QVERIFY2(program.complaints().startsWith(message), qPrintable(program.complaints()));
    QCOMPARE(program.firstLine, QString());
}

void tst_SimulatorProgram::manualPageAndHelp_nameTheSameOptions()
{
    QProcess help;
    help.start(q(SIMULATOR_PROGRAM), {q("--help")});
    QVERIFY(help.waitForFinished());
    QFile file(q(MANUAL_PAGE));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QString page = QString::fromUtf8(file.readAll());
    page.remove(QLatin1Char('\\'));

    const auto optionsIn = [](const QString &text, const char *pattern) {
        QStringList options;
        const QRegularExpression option(q(pattern), QRegularExpression::MultilineOption);
        for (auto found = option.globalMatch(text); found.hasNext();)
            options << found.next().captured(1);
        options.sort();
        return options;
    };
    const QStringList offered =
        optionsIn(QString::fromUtf8(help.readAllStandardOutput()), "^  (?:-., )*(--[a-z-]+)");
    QVERIFY(offered.contains(q("--allow-origin")) && offered.size() >= 11);
    QCOMPARE(optionsIn(page, "^\\.TP\n\\.BI? (?:-., )?(--[a-z-]+)"),
             optionsIn(offered.filter(QRegularExpression(q("^--(?!help|version)"))).join(q("\n")),
                       "^(.*)$"));
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
        QTRY_COMPARE(connected.count(), changes); // disconnected and reconnected
        QTRY_VERIFY(name.value().isValid());
    }
    QCOMPARE(name.value().toString(), q("Riverside works")); // the initial value of the scene
}

void tst_SimulatorProgram::refusesBadUsage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("unknown option") << QStringList({q("--bogus")}) << q("Unknown option 'bogus'");
    QTest::newRow("argument") << QStringList({q("x")}) << q("unexpected argument: x");
    QTest::newRow("port") << QStringList({q("--port"), q("99999")})
                          << q("--port: not a port number");
    QTest::newRow("address") << QStringList({q("--listen"), q("host")})
                             << q("--listen: neither an IP address nor localhost: host");
    QTest::newRow("origin") << QStringList({q("--allow-origin"), q("example.org")})
                            << q("--allow-origin: not an origin such as http://localhost:3000: "
                                 "example.org");
    QTest::newRow("any origin") << QStringList({q("--allow-origin"), q("*")})
                                << q("--allow-origin: not an origin");
    QTest::newRow("foreign address")
        << QStringList({q("--listen"), q("192.0.2.1")}) << q("cannot listen on 192.0.2.1");
    QTest::newRow("no scene") << QStringList({q("--scene"), q("/nowhere.json")})
                              << q("/nowhere.json: ");
    QTest::newRow("count") << QStringList({q("--generate"), q("x")}) << q("--generate: ");
    QTest::newRow("certificate alone")
        << QStringList({q("--tls-cert"), q("x")}) << q("must be used together");
    QTest::newRow("no certificate")
        << QStringList({q("--tls-cert"), q("/nowhere"), q("--tls-key"), q("x")}) << q("/nowhere: ");
    QTest::newRow("no PEM") << QStringList(
        {q("--tls-cert"), q(SCENES "/plant.json"), q("--tls-key"), q("x")})
                            << q("contains no PEM certificate");
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
