// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "docs/snippets/privateca.h"
#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"
#include "tests/support/clientwarnings.h"
#include "tests/support/freeport.h"
#include "tests/support/socketclient.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>
#include <vector>

#include <unistd.h>

using namespace pellix::client;
using namespace pellix::server;
using namespace pellix::simulator;

namespace {

constexpr int keywordCount = 100;

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QString nginxProgram()
{
    const QString inPath = QStandardPaths::findExecutable(q("nginx"));
    return inPath.isEmpty()
        ? QStandardPaths::findExecutable(q("nginx"), {q("/usr/sbin"), q("/usr/local/sbin")})
        : inPath;
}

bool write(const QString &fileName, const QString &text)
{
    QFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) == text.toUtf8().size();
}

// nginx as a reverse proxy, without privileges, in a temporary directory
class Nginx
{
public:
    struct Options
    {
        bool tls = false;
        const char *location = ""; // additional directives
    };

    Nginx() = default;
    Nginx(const Nginx &) = delete;
    Nginx &operator=(const Nginx &) = delete;
    ~Nginx()
    {
        process.terminate();
        if (!process.waitForFinished(5000)) {
            process.kill();
            process.waitForFinished();
        }
    }

    void start(quint16 backend, const Options &options)
    {
        tls = options.tls;
        if (tls) {
            // A private authority
            QProcess openssl;
            openssl.start(q("openssl"),
                          {q("req"), q("-x509"), q("-newkey"), q("ec"), q("-pkeyopt"),
                           q("ec_paramgen_curve:prime256v1"), q("-nodes"), q("-days"), q("9"),
                           q("-subj"), q("/CN=proxy"), q("-addext"),
                           q("subjectAltName = IP:127.0.0.1"), q("-keyout"), path("server.key"),
                           q("-out"), path("server.crt")});
            QVERIFY(openssl.waitForFinished());
            QVERIFY2(openssl.exitCode() == 0, openssl.readAllStandardError().constData());
            QVERIFY(QFile::setPermissions(path("server.key"),
                                          QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
        }
        // If started by root, it would keep some privileges of root.
        const bool privileged = geteuid() == 0;
        if (privileged) {
            QVERIFY(QFile::setPermissions(directory.path(), QFile::Permissions(0x7777)));
            process.setChildProcessModifier([] {
                if (setgid(65534) != 0 || setuid(65534) != 0)
                    _exit(1);
            });
        }
        process.setWorkingDirectory(q("/"));
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);

        port = freePort();
        QVERIFY(write(path("nginx.conf"),
                      q(R"(daemon off;
worker_processes 1;
pid nginx.pid;
error_log error.log;
events { worker_connections 256; }
http {
    access_log off;
    client_body_temp_path body;
    proxy_temp_path proxy;
    fastcgi_temp_path fastcgi;
    uwsgi_temp_path uwsgi;
    scgi_temp_path scgi;
    limit_conn_zone $server_name zone=clients:1m;
    server {
        listen 127.0.0.1:%1 %2;
        server_name keywords;
        location / {
            proxy_pass http://127.0.0.1:%3;
            proxy_http_version 1.1;
            proxy_set_header Upgrade $http_upgrade;
            proxy_set_header Connection upgrade;
            %4
        }
    }
}
)")
                          .arg(port)
                          .arg(tls ? q("ssl; ssl_certificate server.crt; "
                                       "ssl_certificate_key server.key")
                                   : QString())
                          .arg(backend)
                          .arg(q(options.location))));
        process.start(
            nginxProgram(),
            {q("-p"), directory.path(), q("-c"), path("nginx.conf"), q("-e"), path("error.log")});
        QVERIFY2(process.waitForStarted(), qPrintable(process.errorString()));
        QTRY_VERIFY2(isListening(), qPrintable(log()));
    }

    QString path(const char *name) const { return directory.filePath(q(name)); }
    QString url() const { return q("%1://127.0.0.1:%2").arg(tls ? q("wss") : q("ws")).arg(port); }

private:
    bool isListening() const
    {
        QTcpSocket probe;
        probe.connectToHost(QHostAddress::LocalHost, port);
        return probe.waitForConnected(100);
    }
    QString log() const
    {
        QFile file(path("error.log"));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    QTemporaryDir directory;
    QProcess process;
    quint16 port = 0;
    bool tls = false;
};

// A client with its keywords
struct Screen
{
    explicit Screen(const QString &url)
    {
        for (int i = 0; i < keywordCount; ++i) {
            proxies.push_back(std::make_unique<PKeywordProxy>());
            proxies.back()->setClient(&client);
            proxies.back()->setKeyword(q("/p/%1").arg(i));
        }
        client.setAutoReconnect(true);
        client.setUrls({url});
    }

    bool shows(int base) const
    {
        for (int i = 0; i < keywordCount; ++i) {
            const QVariant value = proxies.at(std::size_t(i))->value();
            if (!value.isValid() || value.toInt() != base + i)
                return false;
        }
        return true;
    }
    bool showsNothing() const
    {
        return std::all_of(proxies.cbegin(), proxies.cend(),
                           [](const auto &proxy) { return !proxy->value().isValid(); });
    }

    SocketClient client;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies;
};

} // namespace

// Tests the client behind a reverse proxy, as commonly used in front of servers.
class tst_Nginx : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void values_passBothWays_data() { plainAndTls(); }
    void values_passBothWays();
    void backendRestarted_everyKeywordIsFresh_data() { plainAndTls(); }
    void backendRestarted_everyKeywordIsFresh();
    void backendMissing_isRefusedUntilItIsThere_data() { plainAndTls(); }
    void backendMissing_isRefusedUntilItIsThere();
    void idleTimeout_shorterThanTheKeepAlive_data() { plainAndTls(); }
    void idleTimeout_shorterThanTheKeepAlive();
    void idleTimeout_longerThanTheKeepAlive();
    void connectionLimit_isHitAndFreed_data() { plainAndTls(); }
    void connectionLimit_isHitAndFreed();

private:
    static void plainAndTls();
    void declare(int base);
    void start(const char *location = "");

    const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
    std::unique_ptr<KeywordServer> keywords;
    std::unique_ptr<FaultyWebSocketServer> backend;
    std::unique_ptr<Nginx> nginx;
};

void tst_Nginx::initTestCase()
{
    if (nginxProgram().isEmpty())
        QSKIP("nginx is not installed here and scripts/test could not get it");
}

void tst_Nginx::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    warnings.clear();
    previousHandler = qInstallMessageHandler(recordWarnings);
    keywords = std::make_unique<KeywordServer>();
    backend = std::make_unique<FaultyWebSocketServer>(keywords.get());
    QVERIFY(backend->listen());
    declare(0);
    nginx = std::make_unique<Nginx>();
}

void tst_Nginx::cleanup()
{
    nginx.reset();
    backend.reset();
    keywords.reset();
    qInstallMessageHandler(previousHandler);
    QSslConfiguration::setDefaultConfiguration(before);
}

void tst_Nginx::plainAndTls()
{
    QTest::addColumn<bool>("tls");
    QTest::newRow("plain") << false;
    QTest::newRow("TLS ends at the proxy") << true;
}

void tst_Nginx::declare(int base)
{
    for (int i = 0; i < keywordCount; ++i)
        keywords->declare({q("/p/%1").arg(i), q("int"), q("RW"), QString(), base + i});
}

void tst_Nginx::start(const char *location)
{
    Nginx::Options options;
    options.location = location;
    if (QTest::currentDataTag())
        options.tls = *static_cast<bool *>(QTest::qData("tls", QMetaType::Bool));
    nginx->start(backend->port(), options);
    if (options.tls)
        QVERIFY(trustPrivateAuthority(nginx->path("server.crt")));
}

void tst_Nginx::values_passBothWays()
{
    start();
    Screen screen(nginx->url());

    QTRY_VERIFY(screen.client.connected());
    QTRY_VERIFY(screen.shows(0));
    QVERIFY(screen.proxies.at(7)->update(1000));
    QTRY_COMPARE(keywords->value(q("/p/7")).toInt(), 1000);
    QTRY_COMPARE(screen.proxies.at(7)->value().toInt(), 1000);
    QCOMPARE(warnings, QStringList());
}

void tst_Nginx::backendRestarted_everyKeywordIsFresh()
{
    start();
    Screen screen(nginx->url());
    QTRY_VERIFY(screen.shows(0));
    QSignalSpy connected(&screen.client, &SocketClient::connectedChanged);

    for (int round = 1; round <= 5; ++round) {
        connected.clear();
        QVERIFY(backend->restart());
        declare(1000 * round);
        QTRY_VERIFY(connected.count() >= 1); // the proxy forwards the end of the connection
        if (connected.count() == 1) // it may have reconnected already
            QVERIFY(screen.showsNothing());
        QTRY_COMPARE(connected.count(), 2);
        QVERIFY(screen.client.connected());
        QTRY_VERIFY(screen.shows(1000 * round));
    }
}

void tst_Nginx::backendMissing_isRefusedUntilItIsThere()
{
    start();
    const quint16 port = backend->port();
    backend->close();
    Screen screen(nginx->url());

    QTRY_COMPARE_WITH_TIMEOUT(warnings.size(), 3, 10000); // 502 each time
    QVERIFY(!screen.client.connected());
    QVERIFY(backend->listen(QHostAddress::LocalHost, port));

    QTRY_VERIFY_WITH_TIMEOUT(screen.client.connected(), 15000);
    QTRY_VERIFY(screen.shows(0));
}

void tst_Nginx::idleTimeout_shorterThanTheKeepAlive()
{
    start("proxy_read_timeout 1s; proxy_send_timeout 1s;");
    Screen screen(nginx->url());
    QTRY_VERIFY(screen.shows(0));

    // Whenever the connection is lost, the values change in the meantime.
    int lost = 0;
    connect(&screen.client, &SocketClient::connectedChanged, this, [&] {
        if (screen.client.connected())
            return;
        ++lost;
        for (int i = 0; i < keywordCount; ++i)
            keywords->setValue(q("/p/%1").arg(i), 1000 * lost + i);
    });
    for (int round = 1; round <= 3; ++round) {
        QTRY_VERIFY_WITH_TIMEOUT(lost >= round, 4500); // before the keep-alive is due
        QTRY_VERIFY(screen.shows(1000 * lost));
    }
}

// The pings of the client keep the connection active.
void tst_Nginx::idleTimeout_longerThanTheKeepAlive()
{
    start("proxy_read_timeout 7s; proxy_send_timeout 7s;");
    Screen screen(nginx->url());
    QTRY_VERIFY(screen.shows(0));
    QSignalSpy connected(&screen.client, &SocketClient::connectedChanged);

    QVERIFY(!connected.wait(16000));
    QVERIFY(screen.client.connected());
}

void tst_Nginx::connectionLimit_isHitAndFreed()
{
    start("limit_conn clients 2;");
    auto first = std::make_unique<Screen>(nginx->url());
    Screen second(nginx->url());
    QTRY_VERIFY(first->shows(0) && second.shows(0));
    QCOMPARE(warnings, QStringList());

    Screen third(nginx->url());
    QTRY_COMPARE_WITH_TIMEOUT(warnings.size(), 3, 10000); // 503 each time
    QVERIFY(!third.client.connected());
    QVERIFY(third.showsNothing());
    QVERIFY(first->shows(0) && second.shows(0));

    first.reset();
    QTRY_VERIFY(third.client.connected());
    QTRY_VERIFY(third.shows(0));
    QVERIFY(second.shows(0));
}

QTEST_GUILESS_MAIN(tst_Nginx)
#include "tst_nginx.moc"
