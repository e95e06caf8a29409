// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "docs/snippets/privateca.h"
#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"
#include "tests/support/clientwarnings.h"
#include "tests/support/socketclient.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QSslKey>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>

using namespace pellix::client;
using namespace pellix::server;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QString contents(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

qsizetype openFiles()
{
    return QDir(q("/proc/self/fd"))
        .entryList(QDir::NoDotAndDotDot | QDir::System | QDir::Files)
        .size();
}

} // namespace

// wss:// with certificates that the test creates with the commands of the guide, so that no
// certificate in the repository can expire.
class tst_Tls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void trustedAuthority_connects();
    void trustPrivateAuthority_refusesWhatIsNoCertificate();
    void clientMadeBefore_keepsItsConfiguration();
    void badCertificate_isRefusedAndTriedAgain_data();
    void badCertificate_isRefusedAndTriedAgain();

private:
    void shell(const QString &commands);
    void show(const char *certificate); // makes the server use it, on the same port if it has one
    QString path(const char *name) const { return directory.filePath(q(name)); }
    QStringList urls() const { return {server->url().toString()}; }

    QTemporaryDir directory;
    const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
    KeywordServer keywords;
    std::unique_ptr<WebSocketKeywordServer> server;
};

void tst_Tls::shell(const QString &commands)
{
    QProcess process;
    process.setWorkingDirectory(directory.path());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(q("sh"), {q("-e"), q("-c"), commands});
    QVERIFY(process.waitForFinished());
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
             process.readAll().constData());
}

void tst_Tls::initTestCase()
{
    QVERIFY2(!QStandardPaths::findExecutable(q("openssl")).isEmpty(),
             "the openssl program is required; scripts/test installs it");
    QVERIFY(directory.isValid());

    const QString recipe = contents(q(CERTIFICATES));
    QVERIFY(recipe.contains(q("-out ca.crt")) && recipe.contains(q("-out server.crt")));
    shell(recipe);
    // Variants: expired, for another host, and of another authority.
    shell(q("printf '%s\\n' '[ca]' default_ca=own '[own]' database=issued new_certs_dir=."
            " rand_serial=yes default_md=sha256 policy=any '[any]' commonName=supplied >ca.conf\n"
            ": >issued\n"
            "openssl ca -config ca.conf -batch -notext -cert ca.crt -keyfile ca.key -in server.csr"
            " -startdate 20200101000000Z -enddate 20210101000000Z -extfile server.ext"
            " -out expired.crt\n"
            "printf 'subjectAltName = DNS:elsewhere.example, IP:127.0.0.2\\n' >other.ext\n"
            "openssl x509 -req -in server.csr -CA ca.crt -CAkey ca.key -CAcreateserial -days 9"
            " -extfile other.ext -out otherhost.crt\n"
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 9"
            " -subj '/CN=Somebody' -keyout otherca.key -out otherca.crt\n"
            "openssl x509 -req -in server.csr -CA otherca.crt -CAkey otherca.key -CAcreateserial"
            " -days 9 -extfile server.ext -out otherauthority.crt\n"
            "openssl req -x509 -key server.key -days 9 -subj '/CN=Keyword server'"
            " -addext 'subjectAltName = IP:127.0.0.1' -out selfsigned.crt\n"));
    keywords.declare({q("/p/a"), q("int"), q("RW"), QString(), 1});
}

void tst_Tls::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    warnings.clear();
    previousHandler = qInstallMessageHandler(recordWarnings);
    server = std::make_unique<WebSocketKeywordServer>(&keywords);
}

void tst_Tls::cleanup()
{
    server.reset();
    qInstallMessageHandler(previousHandler);
    QSslConfiguration::setDefaultConfiguration(before);
}

void tst_Tls::show(const char *certificate)
{
    const quint16 port = server->port();
    QFile key(path("server.key"));
    QVERIFY(key.open(QIODevice::ReadOnly));
    const QSslCertificate shown = QSslCertificate::fromPath(path(certificate)).value(0);
    QVERIFY(!shown.isNull());
    server->setTls(shown, QSslKey(&key, QSsl::Ec));
    QVERIFY2(server->listen(QHostAddress::LocalHost, port), qPrintable(server->errorString()));
}

void tst_Tls::trustedAuthority_connects()
{
    show("server.crt");
    QVERIFY(trustPrivateAuthority(path("ca.crt")));
    SocketClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/p/a"));

    client.setUrls(urls());

    QTRY_VERIFY(client.connected());
    QTRY_COMPARE(proxy.value().toInt(), 1);
    proxy.update(7);
    QTRY_COMPARE(proxy.value().toInt(), 7);
    proxy.update(1);
    QTRY_COMPARE(proxy.value().toInt(), 1);
    QCOMPARE(warnings, QStringList());
}

void tst_Tls::trustPrivateAuthority_refusesWhatIsNoCertificate()
{
    QVERIFY(!trustPrivateAuthority(path("no such file")));
    QVERIFY(!trustPrivateAuthority(path("server.key")));
    QCOMPARE(QSslConfiguration::defaultConfiguration(), before);
}

void tst_Tls::clientMadeBefore_keepsItsConfiguration()
{
    DIFFERS("it takes the default configuration of the time of each attempt");
    show("server.crt");
    SocketClient early;
    QVERIFY(trustPrivateAuthority(path("ca.crt")));
    SocketClient late;

    early.setUrls(urls());
    late.setUrls(urls());

    QTRY_VERIFY(late.connected());
    QTRY_COMPARE(warnings.size(), 1);
    QVERIFY(!early.connected());
}

void tst_Tls::badCertificate_isRefusedAndTriedAgain_data()
{
    QTest::addColumn<QByteArray>("certificate");
    QTest::addColumn<QString>("reason");
    QTest::newRow("unknown authority")
        << QByteArray("otherauthority.crt") << q("issuer certificate");
    QTest::newRow("self-signed") << QByteArray("selfsigned.crt") << q("self-signed");
    QTest::newRow("expired") << QByteArray("expired.crt") << q("expired");
    QTest::newRow("another host") << QByteArray("otherhost.crt") << q("host name");
}

void tst_Tls::badCertificate_isRefusedAndTriedAgain()
{
    QFETCH(QByteArray, certificate);
    QFETCH(QString, reason);
    show(certificate.constData());
    QVERIFY(trustPrivateAuthority(path("ca.crt")));
    SocketClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/p/a"));
    QSignalSpy connected(&client, &SocketClient::connectedChanged);
    client.setAutoReconnect(true);

    client.setUrls(urls());

    // Refused repeatedly, each time with one warning that contains the reason
    QTRY_COMPARE(warnings.size(), 2);
    const qsizetype filesEarly = openFiles();
    const qsizetype childrenEarly = client.findChildren<QObject *>().size();
    QTRY_COMPARE_WITH_TIMEOUT(warnings.size(), 6, 10000);
    for (const QString &warning : std::as_const(warnings))
        QVERIFY2(warning.contains(reason), qPrintable(warning));
    QVERIFY(!client.connected());
    QCOMPARE(connected.count(), 0);
    QVERIFY(!proxy.value().isValid());
    QCOMPARE(server->clientCount(), 0);

    // Nothing accumulates during four more attempts. One end of an attempt may have been open at
    // first.
    QTRY_VERIFY(openFiles() <= filesEarly);
    QTRY_VERIFY(client.findChildren<QObject *>().size() <= childrenEarly);

    // A valid certificate is sufficient
    show("server.crt");
    QTRY_VERIFY(client.connected());
    QTRY_COMPARE(proxy.value().toInt(), 1);
}

QTEST_GUILESS_MAIN(tst_Tls)
#include "tst_tls.moc"
