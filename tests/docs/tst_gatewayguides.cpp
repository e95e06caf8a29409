// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/keywordclient.h"
#include "extras/keywordextrasmodule.h"
#include "module/pellixclientkeywordmodule.h"
#include "tests/gateway/mqtt/broker.h"
#include "tests/support/freeport.h"
#include "tests/support/programscreen.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtTest/QTest>

#include <algorithm>
#include <memory>

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

QJsonObject objectIn(const QString &json)
{
    return QJsonDocument::fromJson(json.toUtf8()).object();
}

// The texts that the first group of the pattern matches in a page about the gateway.
QStringList quotedBy(const QString &page, const char *pattern)
{
    QStringList texts;
    const QRegularExpression expression(q(pattern),
                                        QRegularExpression::DotMatchesEverythingOption
                                            | QRegularExpression::MultilineOption);
    auto matches = expression.globalMatch(contentOf(q(GUIDES "/") + page));
    while (matches.hasNext())
        texts.append(matches.next().captured(1));
    return texts;
}

QStringList pages()
{
    return QDir(q(GUIDES)).entryList({q("gateway*.qdoc")});
}

// The configurations that the pages quote, entirely or in part.
QStringList configurations()
{
    QStringList names;
    for (const QString &page : pages())
        names += quotedBy(page, "\\\\quote(?:from)?file gateway/(\\S+\\.json)$");
    names.removeDuplicates();
    return names;
}

// A bash as used by a reader, with the programs in its path.
class Shell
{
public:
    Shell(const QString &folder, const QStringList &path)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(q("PATH"),
                           path.join(QLatin1Char(':')) + QLatin1Char(':')
                               + environment.value(q("PATH")));
        environment.insert(q("QT_QPA_PLATFORM"), q("offscreen"));
        environment.insert(q("HOME"), folder);
        environment.remove(q("KEYWORD_URL"));
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(folder);
        process.setProcessChannelMode(QProcess::MergedChannels);
        // In a separate process group, so that all processes started from it can be stopped
        // together.
        process.start(q("setsid"), {q("bash"), q("--norc"), q("--noprofile")});
        process.waitForStarted();
        process.write("exec 2>&1\n");
    }
    ~Shell()
    {
        process.write("trap '' TERM\nkill 0\nwait\nexit\n");
        process.closeWriteChannel();
        if (!process.waitForFinished(20000))
            process.kill();
        process.waitForFinished();
    }

    // Returns the output of the command.
    QString run(const QString &command)
    {
        const QByteArray end = "done-" + QByteArray::number(++count) + "-";
        process.write(command.toUtf8() + "\necho " + end + "$?\n");
        const QDeadlineTimer deadline(60000);
        while (!output.contains(end) && !deadline.hasExpired()) {
            process.waitForReadyRead(100);
            output += process.readAll();
        }
        const auto at = output.indexOf(end);
        const QByteArray printed = output.left(at);
        output.remove(0, output.indexOf('\n', at) + 1);
        return QString::fromUtf8(printed);
    }

private:
    QProcess process;
    QByteArray output;
    int count = 0;
};

} // namespace

// Tests that the commands in the guides of the gateway work as described.
class tst_GatewayGuides : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void tenMinutes();
    void configurations_areValid_data();
    void configurations_areValid();
    void pages_quoteOnlyThese_data();
    void pages_quoteOnlyThese();
    void access();
    void certificates();
    void refusedCertificates_data();
    void refusedCertificates();

private:
    void startWithRoles(const QString &members = {});
    void makeCertificates();
    void makeCertificate(const QString &arguments, const QString &extensions);
    void follow(const char *page);
    void browse(const QString &command);
    void save(const QString &name, const QString &members = {});
    void play(const QString &name);
    void type(const QString &command, const QStringList &expected);
    void start(const QString &command, const QStringList &expected);
    QString background() const;
    QStringList linesOf(const QString &printed) const;
    QString forHere(QString text) const; // the guides use the default ports
    QString forGuide(QString text) const;

    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<Broker> broker;
    std::unique_ptr<Shell> shell;
    int port = 0; // of the gateway
    int started = 0;
};

void tst_GatewayGuides::init()
{
    for (const char *const program : {"mosquitto_pub", "mosquitto_sub"}) {
        if (QStandardPaths::findExecutable(q(program)).isEmpty())
            QSKIP("there is no mosquitto_pub or mosquitto_sub");
    }
    folder = std::make_unique<QTemporaryDir>();
    BrokerOptions options;
    options.persistence = true; // as in the configuration of Debian
    broker = std::make_unique<Broker>(options);
    QVERIFY(broker->start());
    port = freePort();
    qputenv("XDG_CONFIG_HOME", folder->path().toUtf8()); // with the settings of the browser

    // By default, these programs use the port of Debian's broker.
    const QString programs = folder->filePath(q("bin"));
    QVERIFY(QDir().mkdir(programs));
    for (const char *const program : {"mosquitto_pub", "mosquitto_sub"}) {
        QFile file(programs + QLatin1Char('/') + q(program));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\nexec " + QStandardPaths::findExecutable(q(program)).toUtf8() + " -p "
                   + QByteArray::number(broker->port()) + " \"$@\"\n");
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    shell = std::make_unique<Shell>(folder->path(),
                                    QStringList {programs, QFileInfo(q(KEYWORD)).path(),
                                                 QFileInfo(q(GATEWAY)).path(),
                                                 QFileInfo(q(BROWSER)).path()});
}

void tst_GatewayGuides::cleanup()
{
    shell.reset();
    broker.reset();
    folder.reset();
}

QString tst_GatewayGuides::forHere(QString text) const
{
    text.replace(q("mqtt://127.0.0.1:1883"), q("mqtt://127.0.0.1"));
    text.replace(q("mqtt://127.0.0.1"), broker->url());
    text.replace(q("/var/log/keyword-gateway"), folder->path());
    return text.replace(q("8765"), QString::number(port));
}

QString tst_GatewayGuides::forGuide(QString text) const
{
    text.replace(broker->url(), q("mqtt://127.0.0.1"));
    return text.replace(QString::number(port), q("8765"));
}

// Corresponds to "Save this as". The members are added to the configuration.
void tst_GatewayGuides::save(const QString &name, const QString &members)
{
    QString content = contentOf(q(SNIPPETS "/") + name);
    QVERIFY2(!content.isEmpty(), qPrintable(name));
    if (!members.isEmpty())
        content.insert(content.indexOf(QLatin1Char('{')) + 1, members);
    QFile file(folder->filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(forHere(content).toUtf8());
}

// Does what the page says, in the same order.
void tst_GatewayGuides::follow(const char *page)
{
    for (const QString &block : quotedBy(q(page), "\\\\badcode\\n(.*?)\\\\endcode"))
        QVERIFY2(block.trimmed().startsWith(q("# apt-get install ")), qPrintable(block));
    const QStringList names = quotedBy(q(page), "\\\\quotefile gateway/(\\S+)$");
    QVERIFY(!names.isEmpty());
    for (const QString &name : names) {
        if (name.endsWith(q(".txt")))
            play(name);
        else
            save(name);
        if (QTest::currentTestFailed())
            return;
    }
}

void tst_GatewayGuides::play(const QString &name)
{
    QStringList lines = contentOf(q(SNIPPETS "/") + name).split(QLatin1Char('\n'));
    QVERIFY2(lines.size() > 1, qPrintable(name));
    while (!lines.isEmpty() && !QTest::currentTestFailed()) {
        const QString line = lines.takeFirst();
        QStringList expected;
        while (!lines.isEmpty() && !lines.first().startsWith(q("$ "))
               && !lines.first().startsWith(q("# ")))
            expected.append(lines.takeFirst());
        expected = linesOf(forHere(expected.join(QLatin1Char('\n'))));
        if (line == q("# systemctl stop mosquitto"))
            broker->terminate();
        else if (line == q("# systemctl start mosquitto"))
            QVERIFY(broker->start());
        else if (line.startsWith(q("$ keyword-browser ")))
            browse(line.mid(2));
        else if (line.startsWith(q("$ ")))
            type(line.mid(2), expected);
    }
}

void tst_GatewayGuides::type(const QString &command, const QStringList &expected)
{
    if (command.endsWith(QLatin1Char('&'))) {
        start(command, expected);
        return;
    }
    // Commands that only read may be repeated until a background program is ready.
    static const QRegularExpression looks(
        q("^(keyword (get|ls|tree|label|aggregate)|openssl s_client) "));
    const bool canRepeat = looks.match(command).hasMatch();
    const QDeadlineTimer deadline(30000);
    QStringList printed;
    do {
        printed = linesOf(shell->run(forHere(command)));
    } while (canRepeat && printed != expected && !deadline.hasExpired());
    QVERIFY2(printed == expected,
             qPrintable(q("%1\nprints:\n%2\nand not:\n%3\nThe gateway says:\n%4")
                            .arg(command, printed.join(QLatin1Char('\n')),
                                 expected.join(QLatin1Char('\n')), contentOf(background()))));
}

// Runs in the background, so its output is not synchronized.
void tst_GatewayGuides::start(const QString &command, const QStringList &expected)
{
    ++started;
    const QString quiet = command.chopped(1) + q("> '%1' 2>&1 &").arg(background());
    shell->run(forHere(quiet));
    const QDeadlineTimer deadline(30000);
    const auto hasSaidIt = [&] {
        const QStringList printed = linesOf(contentOf(background()));
        return std::all_of(expected.begin(), expected.end(),
                           [&](const QString &line) { return printed.contains(line); });
    };
    while (!hasSaidIt() && !deadline.hasExpired())
        QTest::qWait(10);
    QVERIFY2(hasSaidIt(), qPrintable(command + q("\nprints:\n") + contentOf(background())));
}

void tst_GatewayGuides::browse(const QString &command)
{
    const QStringList words = QProcess::splitCommand(forHere(command));
    ProgramScreen screen;
    QVERIFY2(screen.start(q(BROWSER), words.mid(1), q(PLUGINS)), qPrintable(screen.errors()));
    const bool isListed =
        QTest::qWaitFor([&screen] { return !screen.find(q("ListItem"), q("factory")).isEmpty(); },
                        ProgramScreen::patience);
    QVERIFY2(isListed, qPrintable(screen.errors()));
}

QString tst_GatewayGuides::background() const
{
    return folder->filePath(q("background%1.log").arg(started));
}

QStringList tst_GatewayGuides::linesOf(const QString &printed) const
{
    QStringList lines;
    const QStringList all = forGuide(printed).split(QLatin1Char('\n'));
    for (const QString &line : all) {
        if (!line.simplified().isEmpty())
            lines.append(line.simplified());
    }
    return lines;
}

void tst_GatewayGuides::tenMinutes()
{
    follow("gateway.qdoc");

    QStringList dumped;
    const QJsonValue source =
        objectIn(contentOf(folder->filePath(q("topics.json"))))[q("sources")][0];
    const QJsonArray keywords = source[q("keywords")].toArray();
    for (const auto &keyword : keywords)
        dumped.append(keyword[q("topic")].toString());
    dumped.removeDuplicates();
    QStringList published;
    static const QRegularExpression topic(q("-t (\\S+)"));
    auto topics = topic.globalMatch(contentOf(q(SNIPPETS "/publish.txt")));
    while (topics.hasNext())
        published.append(topics.next().captured(1));
    published.sort();
    QCOMPARE(dumped, published);
}

void tst_GatewayGuides::configurations_areValid_data()
{
    QTest::addColumn<QString>("name");
    for (const QString &name : configurations())
        QTest::newRow(qPrintable(name)) << name;
}

void tst_GatewayGuides::configurations_areValid()
{
    QFETCH(QString, name);
    makeCertificates();
    type(q("sh make-client-certificate.sh gateway 2>openssl.log"), {});
    type(q("touch tokens broker-password"), {});
    save(name);
    const auto tests = objectIn(contentOf(folder->filePath(name)))[q("sources")][0][q("tests")];
    type(q("keyword-gateway --check ") + name,
         {q("%1: good; 1 sources, %2 mapping tests passed").arg(name).arg(tests.toArray().size())});
}

void tst_GatewayGuides::pages_quoteOnlyThese_data()
{
    QTest::addColumn<QString>("page");
    for (const QString &page : pages())
        QTest::newRow(qPrintable(page)) << page;
}

// Members of a configuration are quoted from the checked files, or contained in one of them.
void tst_GatewayGuides::pages_quoteOnlyThese()
{
    QFETCH(QString, page);
    for (const QString &block : quotedBy(page, "\\\\badcode\\n(.*?)\\\\endcode"))
        QVERIFY2(!block.contains(q("\":")), qPrintable(block));
    QString checked;
    for (const QString &name : configurations())
        checked += contentOf(q(SNIPPETS "/") + name).simplified();
    for (const QString &members : quotedBy(page, "\\\\c\\s+\\{+ ?(\"\\w+\": [^}]+?) ?\\}"))
        QVERIFY2(checked.contains(members.simplified()), qPrintable(members));
}

void tst_GatewayGuides::makeCertificates()
{
    for (const QString &name : {q("make-certificates.sh"), q("make-client-certificate.sh")})
        QVERIFY(QFile::copy(q(CERTIFICATES "/") + name, folder->filePath(name)));
    type(q("sh make-certificates.sh >certificates.log 2>&1"), {});
}

// Of the key of the server, or of panel2.
void tst_GatewayGuides::makeCertificate(const QString &arguments, const QString &extensions)
{
    QFile file(folder->filePath(q("other.ext")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(q("basicConstraints = CA:FALSE\n%1\n").arg(extensions).toUtf8());
    file.close();
    type(q("openssl x509 -req -extfile other.ext -CAcreateserial %1 2>openssl.log").arg(arguments),
         {});
}

void tst_GatewayGuides::startWithRoles(const QString &members)
{
    play(q("publish.txt"));
    makeCertificates();
    save(q("access.json"), members);
    play(q("tokens.txt"));
}

// The clients write, so there are audit lines, too.
void tst_GatewayGuides::access()
{
    startWithRoles(q("\"audit\": \"audit.jsonl\","));

    QStringList lines;
    QTRY_VERIFY(!(lines = linesOf(contentOf(folder->filePath(q("audit.jsonl"))))).isEmpty());
    QJsonObject line = objectIn(lines.constLast());
    QVERIFY(!line.take(q("reason")).isUndefined());
    const QJsonObject shown = objectIn(contentOf(q(SNIPPETS "/audit.txt")));
    QCOMPARE(line.keys(), shown.keys());
    for (const QString &name : {q("address"), q("name"), q("role")})
        QCOMPARE(line[name], shown[name]);
}

void tst_GatewayGuides::certificates()
{
    startWithRoles();
    play(q("certificates.txt"));

    const QString refusal = q("its certificate is not listed: \"CN=panel3\"");
    QTRY_VERIFY(contentOf(background()).contains(refusal));
    QVERIFY(contentOf(q(GUIDES "/private-ca.qdoc")).contains(refusal));

    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    pellix::extras::KeywordExtrasModule::registerTypes();
    QQmlEngine engine;
    QQmlComponent component(&engine);
    QString connection = contentOf(q(SNIPPETS "/../connecting/Certificate.qml"));
    connection.replace(q("/etc/plant"), folder->path());
    component.setData(forHere(connection).toUtf8(), {});
    const std::unique_ptr<QObject> client(component.create());
    QVERIFY2(client, qPrintable(component.errorString()));
    QTRY_VERIFY2_WITH_TIMEOUT(client->property("connected").toBool(),
                              qPrintable(client->property("reason").toString()), 30000);

    play(q("renewal.txt"));
    QTRY_VERIFY(contentOf(background()).contains(q("reloaded")));
    QVERIFY(client->property("connected").toBool());
}

namespace {

// The option for dates exists since OpenSSL 3.4, and a number of days must be positive since 3.6.
QString expired()
{
    QProcess openssl;
    openssl.setProcessChannelMode(QProcess::MergedChannels);
    openssl.start(q("openssl"), {q("x509"), q("-help")});
    openssl.waitForFinished();
    return openssl.readAll().contains("-not_after")
        ? q("-not_before 20200101000000Z -not_after 20200102000000Z")
        : q("-days -1");
}

} // namespace

void tst_GatewayGuides::refusedCertificates_data()
{
    // The certificate of a server or of panel2, what the client prints, and what the gateway logs.
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("extensions");
    QTest::addColumn<QString>("reason");

    const QString ofServer = q("-in server.csr -CA ca.crt -CAkey ca.key -out server.crt ");
    const QString ofClient = q("-in panel2.csr -CA ca.crt -CAkey ca.key -out panel2.crt ");
    const QString here = q("subjectAltName = IP:127.0.0.1");
    QTest::newRow("server, of another name")
        << ofServer << q("subjectAltName = DNS:plant.example")
        << q("The host name did not match any of the valid hosts for this certificate");
    QTest::newRow("server, expired")
        << ofServer + expired() << here << q("The certificate has expired");
    QTest::newRow("server, for clients")
        << ofServer << here + q("\nextendedKeyUsage = clientAuth")
        << q("The supplied certificate is unsuitable for this purpose");
    QTest::newRow("client, without") << QString() << QString() << q("it sent no credentials");
    QTest::newRow("client, of another authority")
        << q("-in panel2.csr -CA other.crt -CAkey other.key -out panel2.crt") << QString()
        << q("its certificate is not accepted: The issuer certificate of a locally looked up "
             "certificate could not be found");
    QTest::newRow("client, expired") << ofClient + expired() << QString()
                                     << q("its certificate is not accepted: The certificate has "
                                          "expired");
    QTest::newRow("client, for servers")
        << ofClient << q("extendedKeyUsage = serverAuth")
        << q("its certificate is not accepted: The supplied certificate is unsuitable for this "
             "purpose");
}

void tst_GatewayGuides::refusedCertificates()
{
    QFETCH(QString, arguments);
    QFETCH(QString, extensions);
    QFETCH(QString, reason);
    QVERIFY(contentOf(q(GUIDES "/private-ca.qdoc")).simplified().contains(reason));
    const bool ofServer = arguments.contains(q("server.crt"));

    makeCertificates();
    type(q("sh make-client-certificate.sh panel2 2>openssl.log"), {});
    type(q("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes "
           "-subj /CN=Other -keyout other.key -out other.crt 2>openssl.log"),
         {});
    if (!arguments.isEmpty())
        makeCertificate(arguments, extensions);
    save(q("access.json"));
    type(q("touch tokens"), {});
    start(q("keyword-gateway --config access.json &"), {q("listening on wss://127.0.0.1:8765")});

    const QString credentials =
        arguments.isEmpty() ? QString() : q("--cert panel2.crt --key panel2.key");
    const QString printed = ofServer ? reason : q("HTTP status 401 (Unauthorized)");
    type(q("keyword get --no-reconnect --url wss://127.0.0.1:8765 --ca ca.crt %1 /plant")
             .arg(credentials),
         {q("keyword: not connected to wss://127.0.0.1:8765: %1").arg(printed)});
    if (!ofServer)
        QTRY_VERIFY(contentOf(background()).contains(reason));
}

QTEST_GUILESS_MAIN(tst_GatewayGuides)
#include "tst_gatewayguides.moc"
