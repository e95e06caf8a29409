// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/websocketkeywordclient.h"
#include "server/clientidentification.h"
#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"
#include "tests/support/rawclient.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QProcess>
#include <QtCore/QScopeGuard>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslKey>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>

#include <functional>
#include <memory>

using namespace pellix::server;
using pellix::client::PWebSocketKeywordClient;

namespace {

using Refusal = WebSocketKeywordServer::Refusal;

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

class Listener : public WebSocketKeywordServer
{
public:
    using WebSocketKeywordServer::clients;
    using WebSocketKeywordServer::sendTo;
    using WebSocketKeywordServer::WebSocketKeywordServer;

    // Each client as "name address role".
    QStringList peers() const
    {
        QStringList peers;
        for (QWebSocket *client : clients()) {
            const Peer peer = peerOf(client);
            peers << peer.name + q(" ") + peer.address + q(" ") + peer.role;
        }
        peers.sort();
        return peers;
    }

    std::function<void()> whenGranted; // called before the upgrade to a WebSocket
    int deliveries = 0;

protected:
    void deliver(QWebSocket *client, const QByteArray &message) override
    {
        ++deliveries;
        WebSocketKeywordServer::deliver(client, message);
    }

    void accept(QTcpSocket *connection) override
    {
        if (whenGranted)
            QVERIFY(connection->waitForReadyRead()); // so that the request is processed at once
        WebSocketKeywordServer::accept(connection);
        if (whenGranted)
            whenGranted();
    }
};

QByteArray bearer(const QByteArray &token)
{
    return "Authorization: Bearer " + token + "\r\n";
}

QByteArray requestOf(const QByteArray &target, const QByteArray &headers = {})
{
    return RawClient::request(headers).replace("GET / ", "GET " + target + ' ');
}

// Members after the keyword begin with a comma.
QByteArray command(const char *name, const char *keyword, const char *more = "")
{
    return RawClient::frame(1,
                            QStringLiteral("{\"cmd\":\"%1\",\"payload\":{\"keyword\":\"%2\"%3}}")
                                .arg(q(name), q(keyword), q(more))
                                .toUtf8());
}

void expectRefusal(const char *reason)
{
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression(
            q("^refused 127\\.0\\.0\\.1:\\d+: %1$").arg(QRegularExpression::escape(q(reason)))));
}

// For tests that cause several lines of a kind: how many of them are logged depends on the time.
class SilentLog
{
public:
    SilentLog()
    {
        QLoggingCategory::setFilterRules(q("pellixclient.server.websocketserver=false"));
    }
    ~SilentLog() { QLoggingCategory::setFilterRules(QString()); }
    Q_DISABLE_COPY_MOVE(SilentLog)
};

// The message to a client whose session is closed.
const QByteArray farewell("\x03\xf0"
                          "its access was removed");

} // namespace

// The test creates its certificates with openssl, so that no certificate in the repository can
// expire.
class tst_Access : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void loopback_givesFullRightsByDefault();
    void network_needsEncryptionOrPermission();
    void network_takesNobodyByDefault();
    void identification_hasToMakeSense_data();
    void identification_hasToMakeSense();
    void identification_ofCertificatesNeedsEncryption();
    void request_isJudgedByItsTokens_data();
    void request_isJudgedByItsTokens();
    void fullRightsForAll_ignoreAuthorization();
    void certificate_isJudgedByItsAuthority_data();
    void certificate_isJudgedByItsAuthority();
    void certificate_isNotAskedForWithoutAnAuthority();
    void proxy_tellsAddressAndSubject_data();
    void proxy_tellsAddressAndSubject();
    void proxy_withACertificateOfItsOwn();
    void libraryClient_bringsACertificateOrAToken();
    void refusedAttempts_areLimited();
    void refusedAttempts_areLimitedForEachAddressBehindAProxy();
    void refusedAttempts_countNeitherGoodOnesNorPages();
    void fullServer_refusesByAStatus();
    void unfinishedHandshakes_areLimited();
    void log_isNotFlooded_data();
    void log_isNotFlooded();
    void serverCertificate_isReplacedWithoutDroppingSessions();
    void serverCertificate_isShownWithItsChain();
    void serverCertificate_tellsItsDays();
    void serverCertificate_isInTheStatistics();
    void clientAuthority_isReplacedWhileListening();
    void clientAuthority_isReplacedBehindTheEncryption();
    void takenAwayAccess_endsItsSessionsAlone_data();
    void takenAwayAccess_endsItsSessionsAlone();
    void takenAwayProxy_endsItsSessionsAlone_data();
    void takenAwayProxy_endsItsSessionsAlone();
    void takenAwayAccess_insideOfAWrite();
    void takenAwayAccess_insideOfOneOfManyWrites();
    void takenAwayAccess_beforeTheUpgrade();
    void takenAwayAccess_endsWhoeverDoesNotRead();
    void endSessions_endsThoseOfARole();
    void session_hasTheRightsOfItsRole();
    void removedRole_endsItsSessions();
    void statistics_countRefusals();
    void log_holdsNoToken();

private:
    QString path(const char *name) const { return directory.filePath(q(name)); }
    QSslCertificate certificate(const char *name) const
    {
        return QSslCertificate::fromPath(path(name)).value(0);
    }
    QSslKey key() const
    {
        QFile file(path("key"));
        return file.open(QIODevice::ReadOnly) ? QSslKey(&file, QSsl::Ec) : QSslKey();
    }
    QSslConfiguration identity(const char *name) const;
    bool listenWithTls()
    {
        return listener->setTls(certificate("server"), key()) && listener->listen();
    }
    ClientIdentification panels() const; // identified by certificates
    using Clients = std::map<QString, std::unique_ptr<RawClient>>; // by the names of the peers
    void endsOnly(const QString &ended, const Clients &clients);

    QTemporaryDir directory;
    std::unique_ptr<KeywordServer> keywords;
    std::unique_ptr<Listener> listener;
};

void tst_Access::initTestCase()
{
    QVERIFY2(!QStandardPaths::findExecutable(q("openssl")).isEmpty(),
             "the openssl program is required; scripts/test installs it");
    QVERIFY(directory.isValid());
    QProcess process;
    process.setWorkingDirectory(directory.path());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(
        q("sh"),
        {q("-e"), q("-c"),
         q("new='openssl ecparam -name prime256v1 -genkey -noout'\n"
           "$new -out key; $new -out ca.key; $new -out other.key; $new -out next.key\n"
           "authority() { openssl req -x509 -days 9 -key $1.key -subj \"$2\" -out $1; }\n"
           "authority ca '/CN=Plant'; authority other '/CN=Other'; authority next '/CN=Next'\n"
           "sign() { openssl req -new -key key -subj \"$3\" -out csr\n"
           "    openssl x509 -req -in csr -CA $2 -CAkey $2.key -CAcreateserial -days ${4:-9}"
           " -extfile extensions -out $1; }\n"
           "printf 'subjectAltName = IP:127.0.0.1' >extensions\n"
           "printf 'basicConstraints = critical,CA:TRUE' >authority\n"
           "$new -out between.key; openssl req -new -key between.key -subj /CN=Between -out csr\n"
           "openssl x509 -req -in csr -CA ca -CAkey ca.key -CAcreateserial -days 5"
           " -extfile authority -out between\n"
           "sign leaf between '/CN=Leaf'; sign server ca '/CN=Server'; sign server2 ca '/CN=Server "
           "2' 100\n"
           "sign panel1 ca '/O=Plant/CN=panel1'; sign panel2 ca '/O=Plant/CN=panel2'\n"
           "sign unlisted ca '/O=Plant/CN=panel3'; sign twice ca '/CN=panel1/CN=panel2'\n"
           "sign foreign other '/O=Plant/CN=panel1'; sign renewed next '/O=Plant/CN=panel1'\n"
           "openssl req -x509 -key key -days 9 -subj '/O=Plant/CN=panel1' -out selfsigned\n"
           "printf '%s\\n' '[ca]' default_ca=own '[own]' database=issued new_certs_dir=."
           " rand_serial=yes default_md=sha256 policy=any '[any]' organizationName=optional"
           " commonName=supplied >ca.conf\n"
           ": >issued\n"
           "openssl req -new -key key -subj '/O=Plant/CN=panel1' -out csr\n"
           "openssl ca -config ca.conf -batch -notext -cert ca -keyfile ca.key -in csr"
           " -startdate 20200101000000Z -enddate 20210101000000Z -out expired\n")});
    QVERIFY(process.waitForFinished());
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
             process.readAll().constData());
    for (const char *name : {"server", "server2", "panel1", "panel2", "unlisted", "twice",
                             "foreign", "renewed", "selfsigned", "expired", "between", "leaf"})
        QVERIFY2(!certificate(name).isNull(), name);
    QVERIFY(!key().isNull());
}

void tst_Access::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    keywords = std::make_unique<KeywordServer>();
    keywords->declare({q("/p/a"), q("int"), q("RW"), QString(), 1});
    keywords->declare({q("/p/b"), q("int"), q("RW"), QString(), 2});
    for (const char *role : {"viewer", "operator"})
        QVERIFY(keywords->setRole({q(role), {q("/**")}, {q("/**")}}));
    listener = std::make_unique<Listener>(keywords.get());
}

void tst_Access::cleanup()
{
    listener.reset();
    keywords.reset();
}

QSslConfiguration tst_Access::identity(const char *name) const
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    if (*name) {
        configuration.setLocalCertificate(certificate(name));
        configuration.setPrivateKey(key());
    }
    return configuration;
}

ClientIdentification tst_Access::panels() const
{
    ClientIdentification identification;
    identification.authorities = {certificate("ca")};
    identification.certificates = {{q("CN=panel1,O=Plant"), q("Panel 1"), q("operator")},
                                   {q("CN=panel2"), q("Panel 2"), q("viewer")}};
    return identification;
}

void tst_Access::loopback_givesFullRightsByDefault()
{
    QVERIFY(listener->identification().role.isEmpty()); // until it listens
    QCOMPARE(listener->maximumClients(), 500);
    QCOMPARE(listener->maximumHandshakes(), 64);
    QCOMPARE(listener->maximumAttempts(), 20);
    QVERIFY(listener->listen());
    QCOMPARE(listener->identification().role, QString(ClientIdentification::fullRights));
    RawClient client(listener->url());
    QVERIFY(client.open());
    QTRY_COMPARE(listener->peers(), QStringList({q(" 127.0.0.1 *")}));
    QCOMPARE(listener->handshakeCount(), 0);
}

void tst_Access::network_needsEncryptionOrPermission()
{
    for (const QHostAddress &address :
         {QHostAddress(QHostAddress::AnyIPv4), QHostAddress(QHostAddress::Any),
          QHostAddress(q("192.0.2.1"))}) {
        QVERIFY(!listener->listen(address));
        QVERIFY2(listener->errorString().startsWith(q("without a certificate, ")),
                 qPrintable(listener->errorString()));
        QCOMPARE(listener->port(), quint16(0));
    }
    QVERIFY(listener->setTls(certificate("server"), key()));
    QVERIFY(listener->listen(QHostAddress::AnyIPv4));
    QVERIFY(listener->errorString().isEmpty());
    QVERIFY(listener->setTls(QSslCertificate(), QSslKey()));
    QVERIFY(!listener->listen(QHostAddress::AnyIPv4));
    listener->setUnencryptedAllowed(true);
    QVERIFY(listener->listen(QHostAddress::AnyIPv4));
    listener->setUnencryptedAllowed(false);
    QVERIFY(!listener->listen(QHostAddress::AnyIPv4));
    QVERIFY(listener->listen(QHostAddress(q("127.0.0.2"))));
}

void tst_Access::network_takesNobodyByDefault()
{
    listener->setUnencryptedAllowed(true);
    QVERIFY(listener->listen(QHostAddress::AnyIPv4));
    expectRefusal("it sent no credentials");
    RawClient client(listener->url());
    QCOMPARE(client.statusOf(RawClient::request()), QByteArray("401"));
    QCOMPARE(listener->refusedClients(Refusal::NoCredentials), quint64(1));
}

void tst_Access::identification_hasToMakeSense_data()
{
    QTest::addColumn<ClientIdentification>("identification");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char *name, const ClientIdentification &identification,
                        const char *problem) {
        QTest::newRow(name) << identification << q(problem);
    };
    ClientIdentification good = panels();
    row("good", good, "");
    good.role = q("viewer");
    row("good, with a role", good, "");
    ClientIdentification bad = good;
    bad.authorities.clear();
    row("no authority", bad, "client certificates require an authority that signs them");
    bad.authorities = {QSslCertificate()};
    row("null authority", bad, "an authority is not a certificate");
    bad = good;
    bad.certificates[1].subject = q("panel2");
    row("no subject", bad, "panel2: not a subject of a certificate, such as CN=panel1");
    bad = good;
    bad.certificates[0].name.clear();
    row("no name", bad, "CN=panel1,O=Plant: the client has no name");
    bad = good;
    bad.certificates[1].role.clear();
    row("no role", bad, "CN=panel2: the client has no role");
    ClientIdentification proxy;
    proxy.proxy = {{{QHostAddress::LocalHost, 32}}, "X-Forwarded-For", "X-Subject"};
    row("proxy", proxy, "");
    proxy.certificates = good.certificates;
    row("proxy that tells the subject", proxy, "");
    bad = proxy;
    bad.role = q("viewer");
    row("proxy and role", bad,
        "a listener behind a proxy cannot have a role, because all clients of the proxy would get "
        "it. Use tokens or certificates instead");
    bad = proxy;
    bad.proxy.subjectHeader.clear();
    row("proxy that does not", bad, "client certificates require an authority that signs them");
    bad = proxy;
    bad.proxy.addressHeader.clear();
    row("proxy that tells no address", bad,
        "the header with the addresses of clients is not set: failed attempts of one client would "
        "lock out all clients of the proxy. Set it, such as X-Forwarded-For");
    bad = proxy;
    bad.proxy.addressHeader = "X: y";
    row("no header", bad, "X: y: not the name of a header");
    bad = proxy;
    bad.proxy.addresses.clear();
    row("header of nobody", bad,
        "the header X-Forwarded-For is not used without a proxy: set the addresses of the proxy");
    bad = proxy;
    bad.proxy.addresses = {QHostAddress::parseSubnet(q("localhost"))};
    row("no network", bad, "an address of the proxy is invalid");
    bad.proxy.addresses = {{QHostAddress::LocalHost, 33}};
    row("long prefix", bad, "an address of the proxy is invalid");
}

void tst_Access::identification_hasToMakeSense()
{
    QFETCH(ClientIdentification, identification);
    QFETCH(QString, problem);
    QCOMPARE(identification.problem(), problem);
    QCOMPARE(listener->setIdentification(identification), problem.isEmpty());
    QCOMPARE(listener->errorString(), problem);
    QCOMPARE(listener->identification().role, problem.isEmpty() ? identification.role : QString());
}

void tst_Access::identification_ofCertificatesNeedsEncryption()
{
    const QString problem = q("client certificates require a listener with a certificate");
    QVERIFY(listener->listen());
    QVERIFY(!listener->setIdentification(panels()));
    QCOMPARE(listener->errorString(), problem);
    RawClient client(listener->url());
    QVERIFY(client.open()); // as before
    listener->close();
    QVERIFY(listener->setIdentification(panels()));
    QVERIFY(!listener->listen());
    QCOMPARE(listener->errorString(), problem);
    QVERIFY(listenWithTls());
}

void tst_Access::request_isJudgedByItsTokens_data()
{
    QTest::addColumn<QString>("role"); // of the listener
    QTest::addColumn<bool>("inPath");
    QTest::addColumn<QByteArray>("request"); // GOOD, NEXT, and BAD stand for tokens
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QString>("outcome"); // the peer, or the reason for the refusal
    const auto row = [](const char *name, const char *role, bool inPath, const QByteArray &request,
                        const char *status, const char *outcome) {
        QTest::newRow(name) << q(role) << inPath << request << QByteArray(status) << q(outcome);
    };
    const char *panel = "panel1 127.0.0.1 operator";
    const char *anybody = " 127.0.0.1 viewer";
    const char *none = "it sent no credentials";
    const char *unknown = "its token is not known";
    const char *other = "its header Authorization contains no token";
    const char *twice = "its request has more than one header Authorization";
    const auto with = [](const char *value) {
        return requestOf("/", QByteArray("Authorization: ") + value + "\r\n");
    };
    row("nothing", "", false, requestOf("/"), "401", none);
    row("nothing, where none is needed", "viewer", false, requestOf("/"), "101", anybody);
    row("token", "", false, with("Bearer GOOD"), "101", panel);
    row("token, where none is needed", "viewer", false, with("Bearer GOOD"), "101", panel);
    row("token of another", "", false, with("Bearer NEXT"), "101", "panel2 127.0.0.1 *");
    row("any case, more blanks", "", false, with("bEARER   GOOD  "), "101", panel);
    row("wrong token", "", false, with("Bearer BAD"), "401", unknown);
    row("wrong token, where none is needed", "viewer", false, with("Bearer BAD"), "401", unknown);
    row("wrong token, for full rights", "*", false, with("Bearer BAD"), "401", unknown);
    row("longer token", "", false, with("Bearer GOODx"), "401", unknown);
    row("two tokens", "", false, with("Bearer GOOD GOOD"), "401", unknown);
    row("empty token", "viewer", false, with("Bearer "), "401", other);
    row("empty header", "viewer", false, with(""), "401", other);
    row("no scheme", "viewer", false, with("GOOD"), "401", other);
    row("another scheme", "viewer", false, with("Basic cGFuZWwxOkdPT0Q="), "401", other);
    row("header twice", "viewer", false, with("Bearer GOOD\r\nAuthorization: Bearer GOOD"), "400",
        twice);
    row("header twice, one wrong", "", false, with("Bearer GOOD\r\nauthorization: Bearer BAD"),
        "400", twice);
    row("token in a query", "", false, requestOf("/?token=GOOD"), "401", none);
    row("in the path, while off", "", false, requestOf("/t/GOOD"), "401", none);
    row("wrong one in the path, while off", "viewer", false, requestOf("/t/BAD"), "101", anybody);
    row("in the path", "", true, requestOf("/t/GOOD"), "101", panel);
    row("in the path, with a query", "", true, requestOf("/t/GOOD?x=/y"), "101", panel);
    row("in the path, with an address in the query", "", true, requestOf("/t/GOOD?x=ws://h/t/BAD"),
        "101", panel);
    row("in the path of a whole address", "", true, requestOf("ws://127.0.0.1/t/GOOD"), "101",
        panel);
    row("wrong one in the path", "viewer", true, requestOf("/t/BAD"), "401", unknown);
    row("none in the path", "viewer", true, requestOf("/t/"), "401", unknown);
    row("more in the path", "viewer", true, requestOf("/t/GOOD/"), "401", unknown);
    row("in another path", "", true, requestOf("/x/t/GOOD"), "401", none);
    row("header where the path may", "", true, with("Bearer GOOD"), "101", panel);
    row("good header, wrong path", "", true, requestOf("/t/BAD", "Authorization: Bearer GOOD\r\n"),
        "401", unknown);
    row("wrong header, good path", "", true, requestOf("/t/GOOD", "Authorization: Bearer BAD\r\n"),
        "401", unknown);
    row("header before path", "", true, requestOf("/t/NEXT", "Authorization: Bearer GOOD\r\n"),
        "101", panel);
}

void tst_Access::request_isJudgedByItsTokens()
{
    QFETCH(QString, role);
    QFETCH(bool, inPath);
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, status);
    QFETCH(QString, outcome);
    ClientIdentification identification;
    identification.role = role;
    identification.tokensInPath = inPath;
    request.replace("GOOD", identification.tokens.create(q("panel1"), q("operator")))
        .replace("NEXT", identification.tokens.create(q("panel2"), q("*")))
        .replace("BAD", AccessTokens().create(q("x"), q("operator")));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listener->listen());
    const bool granted = status == "101";
    if (!granted)
        expectRefusal(outcome.toUtf8());

    RawClient client(listener->url());
    QCOMPARE(client.statusOf(request), status);

    const auto refused = [this](Refusal reason) { return listener->refusedClients(reason); };
    if (granted) {
        QTRY_COMPARE(listener->peers(), QStringList({outcome}));
    } else {
        QTRY_VERIFY(!client.isConnected());
        QVERIFY2(
            client.received.endsWith("This connection is refused: " + outcome.toUtf8() + ".\n"),
            client.received);
        QCOMPARE(listener->clientCount(), 0);
    }
    QCOMPARE(client.received.contains("\r\nWWW-Authenticate: Bearer\r\n"), status == "401");
    QCOMPARE(refused(Refusal::BadRequest), quint64(status == "400"));
    QCOMPARE(refused(Refusal::NoCredentials) + refused(Refusal::WrongCredentials),
             quint64(status == "401"));
    QCOMPARE(refused(Refusal::NoCredentials), quint64(outcome == q("it sent no credentials")));
}

void tst_Access::fullRightsForAll_ignoreAuthorization()
{
    QVERIFY(listener->listen());
    RawClient client(listener->url());
    QVERIFY(client.open("Authorization: Basic eDp5\r\n"));
    QTRY_COMPARE(listener->peers(), QStringList({q(" 127.0.0.1 *")}));
}

void tst_Access::certificate_isJudgedByItsAuthority_data()
{
    QTest::addColumn<QByteArray>("certificate");
    QTest::addColumn<QString>("role"); // of the listener
    QTest::addColumn<QByteArray>("token"); // GOOD or BAD
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QString>("outcome"); // the peer, or the beginning of the reason
    const auto row = [](const char *certificate, const char *role, const char *token,
                        const char *status, const char *outcome) {
        QTest::addRow("%s, %s token, role '%s'", *certificate ? certificate : "none",
                      *token ? token : "no", role)
            << QByteArray(certificate) << q(role) << QByteArray(token) << QByteArray(status)
            << q(outcome);
    };
    const char *bad = "its certificate is not accepted: ";
    const char *panel = "Panel 1 127.0.0.1 operator";
    row("panel1", "", "", "101", panel);
    row("panel2", "", "", "101", "Panel 2 127.0.0.1 viewer");
    row("panel1", "viewer", "", "101", panel);
    row("panel1", "", "GOOD", "101", panel);
    row("panel1", "", "BAD", "401", "its token is not known");
    row("", "", "", "401", "it sent no credentials");
    row("", "viewer", "", "101", " 127.0.0.1 viewer");
    row("", "", "GOOD", "101", "token 127.0.0.1 operator");
    for (const char *wrong : {"foreign", "expired", "selfsigned"}) {
        row(wrong, "", "", "401", bad);
        row(wrong, "*", "", "401", bad);
        row(wrong, "viewer", "GOOD", "401", bad);
    }
    row("unlisted", "viewer", "", "401", "its certificate is not listed: ");
    row("twice", "viewer", "", "401", "its certificate is not listed: ");
}

void tst_Access::certificate_isJudgedByItsAuthority()
{
    QFETCH(QByteArray, certificate);
    QFETCH(QString, role);
    QFETCH(QByteArray, token);
    QFETCH(QByteArray, status);
    QFETCH(QString, outcome);
    // The authorities of the system are not used.
    const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
    QSslConfiguration trusting = before;
    trusting.setCaCertificates({this->certificate("other"), this->certificate("selfsigned")});
    QSslConfiguration::setDefaultConfiguration(trusting);
    const auto restore = qScopeGuard([&] { QSslConfiguration::setDefaultConfiguration(before); });
    ClientIdentification identification = panels();
    identification.role = role;
    token.replace("GOOD", identification.tokens.create(q("token"), q("operator")));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listenWithTls());
    const bool granted = status == "101";
    if (!granted) {
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(q("^refused 127\\.0\\.0\\.1:\\d+: ") + outcome));
    }

    RawClient client(listener->url(), true, identity(certificate));
    QCOMPARE(client.statusOf(RawClient::request(token.isEmpty() ? "" : bearer(token))), status);

    if (granted) {
        QTRY_COMPARE(listener->peers(), QStringList({outcome}));
    } else {
        QTRY_VERIFY(!client.isConnected());
        QVERIFY2(client.received.contains("This connection is refused: " + outcome.toUtf8()),
                 client.received);
        QCOMPARE(listener->clientCount(), 0);
    }
}

void tst_Access::certificate_isNotAskedForWithoutAnAuthority()
{
    QVERIFY(listenWithTls());
    RawClient client(listener->url(), true, identity("expired"));
    QVERIFY(client.open());
    QTRY_COMPARE(listener->peers(), QStringList({q(" 127.0.0.1 *")}));
}

void tst_Access::proxy_tellsAddressAndSubject_data()
{
    QTest::addColumn<QString>("network"); // of the proxies
    QTest::addColumn<QByteArray>("headers");
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QString>("outcome"); // the peer, or the text logged after "refused "
    const auto row = [](const char *name, const char *network, const QByteArray &headers,
                        const char *status, const char *outcome) {
        QTest::newRow(name) << q(network) << headers << QByteArray(status) << q(outcome);
    };
    const char *listed = "127.0.0.0/8";
    const char *token = "Authorization: Bearer GOOD\r\n";
    const QByteArray subject = "X-Subject: CN=panel1,O=Plant\r\n";
    row("address and token", listed, "X-Forwarded-For: 192.0.2.7\r\n" + QByteArray(token), "101",
        "token 192.0.2.7 viewer");
    row("address and subject", listed, "x-forwarded-for:192.0.2.7\r\n" + subject, "101",
        "Panel 1 192.0.2.7 operator");
    row("with a port", listed, "X-Forwarded-For: 192.0.2.7:80\r\n" + subject, "101",
        "Panel 1 192.0.2.7 operator");
    row("IPv6", listed, "X-Forwarded-For: 2001:db8::7\r\n" + subject, "101",
        "Panel 1 2001:db8::7 operator");
    row("IPv6 with a port", listed, "X-Forwarded-For: [2001:db8::7]:80\r\n" + subject, "101",
        "Panel 1 2001:db8::7 operator");
    row("IPv4 in IPv6", listed, "X-Forwarded-For: ::ffff:192.0.2.7\r\n" + subject, "101",
        "Panel 1 192.0.2.7 operator");
    row("last address", listed, "X-Forwarded-For: x, 10.0.0.1, 192.0.2.7\r\n" + subject, "101",
        "Panel 1 192.0.2.7 operator");
    row("last one that is no proxy", listed,
        "X-Forwarded-For: 10.0.0.1, 192.0.2.7, 127.0.0.3\r\nX-Forwarded-For: 127.0.0.2\r\n"
            + subject,
        "101", "Panel 1 192.0.2.7 operator");
    row("proxies alone", listed, "X-Forwarded-For: 127.0.0.3, 127.0.0.2\r\n" + subject, "101",
        "Panel 1 127.0.0.3 operator");
    row("no address", listed, subject, "101", "Panel 1 127.0.0.1 operator");
    row("no address in it", listed, "X-Forwarded-For: unknown\r\n" + subject, "400",
        "127.0.0.1, through 127.0.0.1:PORT: the header X-Forwarded-For names no address");
    row("empty address", listed, "X-Forwarded-For:\r\n" + subject, "400",
        "127.0.0.1, through 127.0.0.1:PORT: the header X-Forwarded-For names no address");
    row("nothing", listed, "X-Forwarded-For: 192.0.2.7\r\n", "401",
        "192.0.2.7, through 127.0.0.1:PORT: it sent no credentials");
    row("empty subject", listed, "X-Forwarded-For: 192.0.2.7\r\nX-Subject:\r\n", "401",
        "192.0.2.7, through 127.0.0.1:PORT: it sent no credentials");
    row("unlisted subject", listed, "X-Subject: CN=panel9\r\n" + QByteArray(token), "401",
        "127.0.0.1, through 127.0.0.1:PORT: its certificate is not listed: \"CN=panel9\"");
    row("older form of a subject", listed, "X-Subject: /O=Plant/CN=panel1\r\n", "401",
        "127.0.0.1, through 127.0.0.1:PORT: the subject of its certificate cannot be read");
    row("two subjects", listed, subject + "X-Subject: CN=panel2\r\n", "400",
        "127.0.0.1, through 127.0.0.1:PORT: its request has more than one header X-Subject");
    row("of somebody else", "192.0.2.0/24", "X-Forwarded-For: 192.0.2.7\r\n" + subject, "401",
        "127.0.0.1:PORT: it sent no credentials");
    row("of somebody else, with a token", "192.0.2.0/24",
        "X-Forwarded-For: 192.0.2.7\r\n" + subject + token, "101", "token 127.0.0.1 viewer");
    row("bad ones of somebody else", "192.0.2.0/24",
        "X-Forwarded-For: x\r\n" + subject + subject + token, "101", "token 127.0.0.1 viewer");
}

void tst_Access::proxy_tellsAddressAndSubject()
{
    QFETCH(QString, network);
    QFETCH(QByteArray, headers);
    QFETCH(QByteArray, status);
    QFETCH(QString, outcome);
    ClientIdentification identification;
    identification.proxy = {{QHostAddress::parseSubnet(network)}, "X-Forwarded-For", "X-Subject"};
    identification.certificates = panels().certificates;
    headers.replace("GOOD", identification.tokens.create(q("token"), q("viewer")));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listener->listen());
    if (status != "101") {
        const QString line = QRegularExpression::escape(q("refused ") + outcome);
        QTest::ignoreMessage(
            QtWarningMsg,
            QRegularExpression(q("^") + QString(line).replace(q("PORT"), q("\\d+")) + q("$")));
    }

    RawClient client(listener->url());
    QCOMPARE(client.statusOf(RawClient::request(headers)), status);

    if (status == "101")
        QTRY_COMPARE(listener->peers(), QStringList({outcome}));
}

void tst_Access::proxy_withACertificateOfItsOwn()
{
    ClientIdentification identification = panels();
    identification.proxy = {{{QHostAddress::LocalHost, 32}}, "X-Forwarded-For", "X-Subject"};
    const QByteArray token = identification.tokens.create(q("token"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listenWithTls());
    RawClient byToken(listener->url(), true, identity("panel1"));
    QVERIFY(byToken.open(bearer(token)));
    RawClient bySubject(listener->url(), true, identity("panel1"));
    QVERIFY(bySubject.open("X-Subject: CN=panel2\r\n"));
    QTRY_COMPARE(listener->peers(),
                 QStringList({q("Panel 2 127.0.0.1 viewer"), q("token 127.0.0.1 viewer")}));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("its certificate is not accepted")));
    RawClient impostor(listener->url(), true, identity("foreign"));
    QCOMPARE(impostor.statusOf(RawClient::request("X-Subject: CN=panel2\r\n")), QByteArray("401"));
}

// The client uses Qt's default configuration, and tokens in its address.
void tst_Access::libraryClient_bringsACertificateOrAToken()
{
    const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
    QSslConfiguration own = identity("panel1");
    own.setCaCertificates({certificate("ca")});
    QSslConfiguration::setDefaultConfiguration(own);
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.websocketclient.debug=false"));
    const auto restore = qScopeGuard([&] {
        QSslConfiguration::setDefaultConfiguration(before);
        QLoggingCategory::setFilterRules(QString());
    });
    PWebSocketKeywordClient byCertificate;
    own.setLocalCertificate(QSslCertificate());
    own.setPrivateKey(QSslKey());
    QSslConfiguration::setDefaultConfiguration(own);
    PWebSocketKeywordClient byToken;
    ClientIdentification identification = panels();
    identification.tokensInPath = true;
    const QByteArray token = identification.tokens.create(q("token"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listenWithTls());

    byCertificate.setUrls({listener->url().toString()});
    byToken.setUrls({listener->url().toString() + q("/t/") + q(token)});

    QTRY_VERIFY(byCertificate.connected() && byToken.connected());
    QTRY_COMPARE(listener->peers(),
                 QStringList({q("Panel 1 127.0.0.1 operator"), q("token 127.0.0.1 viewer")}));
}

void tst_Access::refusedAttempts_areLimited()
{
    ClientIdentification identification;
    const QByteArray token = identification.tokens.create(q("panel"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    listener->setMaximumAttempts(3);
    QCOMPARE(listener->maximumAttempts(), 3);
    QVERIFY(listener->listen());
    RawClient early(listener->url());
    QVERIFY(early.open(bearer(token)));
    for (int i = 0; i < 3; ++i) {
        expectRefusal(i ? "its token is not known" : "it sent no credentials");
        RawClient client(listener->url());
        QCOMPARE(client.statusOf(RawClient::request(i ? bearer("x") : "")), QByteArray("401"));
    }

    // Valid credentials are refused as well; otherwise, an attempt would reveal whether they are
    // valid.
    for (const QByteArray &headers : {bearer(token), bearer("x"), QByteArray()}) {
        RawClient client(listener->url());
        QCOMPARE(client.statusOf(RawClient::request(headers)), QByteArray("429"));
        QRegularExpression retry(q("\r\nRetry-After: (\\d+)\r\n"));
        const int seconds = retry.match(q(client.received)).captured(1).toInt();
        QVERIFY2(seconds > 0 && seconds <= 20, client.received);
        QTRY_VERIFY(!client.isConnected());
    }
    QCOMPARE(listener->refusedClients(Refusal::TooManyAttempts), quint64(3));
    QCOMPARE(listener->refusedClients(Refusal::WrongCredentials), quint64(2));
    QCOMPARE(listener->statistics().excessAttempts, quint64(3));
    QCOMPARE(listener->statistics().wrongCredentials, quint64(2));
    QVERIFY(early.isConnected()); // an existing connection is kept
    QCOMPARE(listener->clientCount(), 1);

    listener->setMaximumAttempts(3);
    RawClient client(listener->url());
    QVERIFY(client.open(bearer(token)));
}

void tst_Access::refusedAttempts_areLimitedForEachAddressBehindAProxy()
{
    ClientIdentification identification;
    const QByteArray token = identification.tokens.create(q("panel"), q("viewer"));
    identification.proxy = {{{QHostAddress::LocalHost, 32}}, "X-Real-IP", {}};
    QVERIFY(listener->setIdentification(identification));
    listener->setMaximumAttempts(1);
    QVERIFY(listener->listen());
    const auto statusFor = [&](const QByteArray &headers) {
        RawClient client(listener->url());
        return client.statusOf(RawClient::request(headers));
    };
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^refused 192\\.0\\.2\\.1, through")));
    QCOMPARE(statusFor("X-Real-IP: 192.0.2.1\r\n"), QByteArray("401"));
    QCOMPARE(statusFor("X-Real-IP: 192.0.2.1\r\n" + bearer(token)), QByteArray("429"));
    QCOMPARE(statusFor("X-Real-IP: 192.0.2.2\r\n" + bearer(token)), QByteArray("101"));
}

void tst_Access::refusedAttempts_countNeitherGoodOnesNorPages()
{
    const SilentLog silent;
    listener->setMaximumAttempts(1);
    QVERIFY(listener->listen());
    for (int i = 0; i < 3; ++i) {
        RawClient client(listener->url());
        QVERIFY(client.open());
        RawClient page(listener->url());
        QCOMPARE(page.statusOf(RawClient::request("Origin: http://evil.example\r\n")),
                 QByteArray("403"));
        RawClient doubled(listener->url());
        QCOMPARE(doubled.statusOf(RawClient::request("Host: x\r\n")), QByteArray("400"));
    }
    QCOMPARE(listener->refusedClients(Refusal::ForeignOrigin), quint64(3));
    QCOMPARE(listener->refusedClients(Refusal::BadRequest), quint64(3));
    QCOMPARE(listener->statistics().foreignOrigins, quint64(3));
    QCOMPARE(listener->statistics().badRequests, quint64(3));
}

void tst_Access::fullServer_refusesByAStatus()
{
    const SilentLog silent;
    listener->setMaximumClients(2);
    QCOMPARE(listener->maximumClients(), 2);
    QVERIFY(listener->listen());
    // All at once, because pending connections count as well.
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 4; ++i) {
        clients.push_back(std::make_unique<RawClient>(listener->url()));
        clients.back()->send(RawClient::request());
    }
    const auto count = [&clients](const char *status) {
        return std::count_if(clients.cbegin(), clients.cend(), [status](const auto &client) {
            return client->received.startsWith(QByteArray("HTTP/1.1 ") + status);
        });
    };
    QTRY_COMPARE(count("101"), 2);
    QTRY_COMPARE(count("503"), 2);
    for (const auto &client : clients) {
        if (!client->received.startsWith("HTTP/1.1 503"))
            continue;
        QVERIFY(client->received.contains("\r\nRetry-After: 10\r\n"));
        QVERIFY(client->received.endsWith("2 clients are connected already.\n"));
    }
    QCOMPARE(listener->clientCount(), 2);
    QCOMPARE(listener->refusedClients(Refusal::TooManyClients), quint64(2));
    QCOMPARE(listener->statistics().excessClients, quint64(2));

    // Closed connections make room for new ones
    clients.clear();
    QTRY_COMPARE(listener->clientCount(), 0);
    RawClient next(listener->url());
    QVERIFY(next.open());
    listener->setMaximumClients(0);
    RawClient late(listener->url());
    QCOMPARE(late.statusOf(RawClient::request()), QByteArray("503"));
    QTRY_VERIFY(late.received.endsWith("1 clients are connected already.\n"));
    QVERIFY(next.isConnected());
}

void tst_Access::unfinishedHandshakes_areLimited()
{
    listener->setMaximumHandshakes(2);
    QCOMPARE(listener->maximumHandshakes(), 2);
    QVERIFY(listener->listen());
    RawClient connected(listener->url());
    QVERIFY(connected.open()); // an open connection does not count
    std::vector<std::unique_ptr<RawClient>> idle;
    for (int i = 0; i < 5; ++i) {
        if (i == 2) { // and at most one line per second then
            QTest::ignoreMessage(
                QtInfoMsg,
                QRegularExpression(q("^disconnected 127\\.0\\.0\\.1:\\d+: too many "
                                     "handshakes are unfinished$")));
        }
        idle.push_back(std::make_unique<RawClient>(listener->url()));
        QTRY_COMPARE(listener->handshakeCount() + int(listener->droppedHandshakes()), i + 1);
    }
    QCOMPARE(listener->handshakeCount(), 2);
    QCOMPARE(listener->droppedHandshakes(), quint64(3));
    QCOMPARE(listener->statistics().droppedHandshakes, quint64(3));
    // The oldest ones have been closed, and the others can continue
    for (int i = 0; i < 3; ++i)
        QTRY_VERIFY(!idle.at(i)->isConnected());
    QVERIFY(idle.at(3)->open());
    QVERIFY(idle.at(4)->open());
    QTRY_COMPARE(listener->handshakeCount(), 0);
    QCOMPARE(listener->clientCount(), 3);
    listener->setMaximumHandshakes(0);
    QCOMPARE(listener->maximumHandshakes(), 1);
    RawClient last(listener->url());
    QVERIFY(last.open());
}

void tst_Access::log_isNotFlooded_data()
{
    QTest::addColumn<QByteArray>("request"); // none: the handshake is not finished
    QTest::addColumn<QString>("reason");
    QTest::newRow("malformed") << RawClient::request("Host: other\r\n")
                               << q("its request names more than one host");
    QTest::newRow("web page") << RawClient::request("Origin: https://evil.example\r\n")
                              << q("its origin \"https://evil.example\" is not allowed");
    QTest::newRow("too many clients")
        << RawClient::request() << q("0 clients are connected already");
    QTest::newRow("too many handshakes") << QByteArray() << q("too many handshakes are unfinished");
}

// Clients without credentials must not fill a disk.
void tst_Access::log_isNotFlooded()
{
    QFETCH(QByteArray, request);
    QFETCH(QString, reason);
    listener->setMaximumClients(0);
    if (request.isEmpty())
        listener->setMaximumHandshakes(1);
    QVERIFY(listener->listen());
    static QStringList lines;
    lines.clear();
    const QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
            if (text.startsWith(QLatin1String("refused "))
                || text.startsWith(QLatin1String("disconnected ")))
                lines << text;
        });
    const auto restore = qScopeGuard([&] { qInstallMessageHandler(previous); });
    std::unique_ptr<RawClient> last; // which the next one displaces
    if (request.isEmpty()) {
        last = std::make_unique<RawClient>(listener->url());
        QTRY_COMPARE(listener->handshakeCount(), 1);
    }

    QElapsedTimer time;
    time.start();
    int attempts = 0;
    const auto attempt = [&] {
        auto next = std::make_unique<RawClient>(listener->url());
        ++attempts;
        if (!request.isEmpty())
            return next->statusOf(request).size() == 3;
        last = std::move(next);
        return waitFor([&] { return listener->droppedHandshakes() == quint64(attempts); }, 30000);
    };
    for (int i = 0; i < 30; ++i) {
        QVERIFY(attempt());
        // Times of both clocks are rounded.
        QVERIFY2(lines.size() <= time.elapsed() / 999 + 1, qPrintable(lines.join(q("\n"))));
    }
    const QRegularExpression leftOut(q(" \\((\\d+) more not logged\\)$"));
    const auto isTold = [&] { return lines.constLast().contains(leftOut); };
    QTRY_VERIFY_WITH_TIMEOUT(isTold() || (attempt() && isTold()), 30000);
    qsizetype told = lines.size();
    for (QString &line : lines) {
        told += leftOut.match(line).captured(1).toInt();
        QVERIFY2(line.remove(leftOut).endsWith(reason), qPrintable(line));
    }
    QCOMPARE(told, attempts);
}

void tst_Access::serverCertificate_isReplacedWithoutDroppingSessions()
{
    QVERIFY(listenWithTls());
    RawClient early(listener->url(), true);
    QVERIFY(early.open());
    QCOMPARE(early.socket.peerCertificate(), certificate("server"));
    QVERIFY(!listener->setTls(certificate("server2"), QSslKey())); // has no effect

    QVERIFY(listener->setTls(certificate("server2"), key()));

    RawClient late(listener->url(), true);
    QVERIFY(late.open());
    QCOMPARE(late.socket.peerCertificate(), certificate("server2"));
    early.send(command("keyCreateOrUpdate", "/p/a"));
    QTRY_VERIFY(early.received.contains("/p/a"));
    QCOMPARE(listener->clientCount(), 2);

    // It continues to use wss until it listens again
    QVERIFY(listener->setTls(QSslCertificate(), QSslKey()));
    QCOMPARE(listener->url().scheme(), q("wss"));
    RawClient last(listener->url(), true);
    QVERIFY(last.open());
}

// The client knows only the authority at the end of the chain.
void tst_Access::serverCertificate_isShownWithItsChain()
{
    const auto isTrusted = [this] {
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        configuration.setCaCertificates({certificate("ca")});
        QSslSocket socket;
        socket.setSslConfiguration(configuration);
        socket.connectToHostEncrypted(q("127.0.0.1"), listener->port());
        const bool ended = QTest::qWaitFor([&socket] {
            return socket.isEncrypted() || socket.state() == QAbstractSocket::UnconnectedState;
        });
        return ended && socket.isEncrypted();
    };
    QVERIFY(listener->setTls(certificate("leaf"), key()));
    QVERIFY(listener->listen());
    QVERIFY(!isTrusted());
    QVERIFY(listener->setTls({certificate("leaf"), certificate("between")}, key()));
    QVERIFY(isTrusted());
    QVERIFY(listener->certificateDays() == 4 || listener->certificateDays() == 5); // of "between"
    QVERIFY(!listener->setTls({certificate("between"), certificate("leaf")}, key()));
    QVERIFY(!listener->setTls({certificate("leaf"), QSslCertificate()}, key()));
    QVERIFY(isTrusted());
    QVERIFY(listener->setTls(QList<QSslCertificate>(), QSslKey()));
    QVERIFY(listener->listen());
    QCOMPARE(listener->url().scheme(), q("ws"));
}

void tst_Access::serverCertificate_tellsItsDays()
{
    QCOMPARE(listener->certificateDays(), -1);
    QVERIFY(listener->setTls(certificate("server"), key()));
    QVERIFY(listener->certificateDays() == 8 || listener->certificateDays() == 9); // rounded down
    QVERIFY(listener->setTls(certificate("server2"), key()));
    QVERIFY(listener->certificateDays() == 99 || listener->certificateDays() == 100);
    QVERIFY(listener->setTls(certificate("expired"), key()));
    QCOMPARE(listener->certificateDays(), 0);
    QVERIFY(listener->setTls(QSslCertificate(), QSslKey()));
    QCOMPARE(listener->certificateDays(), -1);
}

void tst_Access::serverCertificate_isInTheStatistics()
{
    for (const char *name : {"server2", "expired"}) {
        QVERIFY(listener->setTls(certificate(name), key()));
        const int before = listener->certificateDays();
        const Statistics statistics = listener->statistics();
        const int after = listener->certificateDays(); // another one if a day has just passed
        QVERIFY(before == 0 || after > 90);
        QVERIFY(statistics.certificateDays == before || statistics.certificateDays == after);
        const QByteArray days = QByteArray::number(statistics.certificateDays);
        QVERIFY(statistics.toPrometheus().contains("\n# TYPE pellix_certificate_days gauge\n"
                                                   "pellix_certificate_days "
                                                   + days + '\n'));
    }
    QVERIFY(listener->setTls(QSslCertificate(), QSslKey()));
    QVERIFY(listener->statistics().toPrometheus().contains("\npellix_certificate_days -1\n"));
}

void tst_Access::clientAuthority_isReplacedWhileListening()
{
    ClientIdentification identification = panels();
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listenWithTls());
    RawClient old(listener->url(), true, identity("panel2"));
    QVERIFY(old.open());
    QTRY_COMPARE(listener->clientCount(), 1);

    // A second authority is added
    identification.authorities.append(certificate("next"));
    QVERIFY(listener->setIdentification(identification));
    RawClient renewed(listener->url(), true, identity("renewed"));
    QVERIFY(renewed.open());
    QTRY_COMPARE(listener->peers(),
                 QStringList({q("Panel 1 127.0.0.1 operator"), q("Panel 2 127.0.0.1 viewer")}));

    // The previous authority is removed
    identification.authorities.removeFirst();
    QVERIFY(listener->setIdentification(identification));
    QTRY_COMPARE(listener->peers(), QStringList({q("Panel 1 127.0.0.1 operator")}));
    QTRY_VERIFY(!old.isConnected());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("its certificate is not accepted: ")));
    RawClient late(listener->url(), true, identity("panel2"));
    QCOMPARE(late.statusOf(RawClient::request()), QByteArray("401"));
}

void tst_Access::clientAuthority_isReplacedBehindTheEncryption()
{
    ClientIdentification identification = panels();
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listenWithTls());
    RawClient client(listener->url(), true, identity("panel1"));
    QTRY_VERIFY(client.socket.isEncrypted());
    QTRY_COMPARE(listener->handshakeCount(), 1);

    identification.authorities = {certificate("next")};
    QVERIFY(listener->setIdentification(identification));

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("its certificate is not accepted: ")));
    QCOMPARE(client.statusOf(RawClient::request()), QByteArray("401"));
}

void tst_Access::takenAwayAccess_endsItsSessionsAlone_data()
{
    using Change = std::function<void(ClientIdentification &)>;
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("ended"); // the names of the peers; "-" without a name
    const auto row = [](const char *name, const char *ended, const Change &change) {
        QTest::newRow(name) << change << q(ended);
    };
    row("nothing", "", [](ClientIdentification &) {});
    row("token", "a", [](ClientIdentification &i) { i.tokens.revoke(q("a")); });
    row("token, made anew", "a", [](ClientIdentification &i) {
        i.tokens.revoke(q("a"));
        i.tokens.create(q("a"), q("viewer"));
    });
    row("one more token", "",
        [](ClientIdentification &i) { i.tokens.create(q("c"), q("viewer")); });
    row("all tokens", "a b", [](ClientIdentification &i) { i.tokens = AccessTokens(); });
    row("path", "b", [](ClientIdentification &i) { i.tokensInPath = false; });
    row("subject", "Panel-1", [](ClientIdentification &i) { i.certificates.removeFirst(); });
    row("role of a subject", "Panel-1",
        [](ClientIdentification &i) { i.certificates[0].role = q("viewer"); });
    row("name of a subject", "Panel-1",
        [](ClientIdentification &i) { i.certificates[0].name = q("x"); });
    row("authority", "Panel-1 Panel-2", [](ClientIdentification &i) {
        i.authorities.clear();
        i.certificates.clear();
    });
    row("role", "-", [](ClientIdentification &i) { i.role.clear(); });
    row("another role", "-", [](ClientIdentification &i) { i.role = q("operator"); });
    row("everything", "- Panel-1 Panel-2 a b",
        [](ClientIdentification &i) { i = ClientIdentification(); });
}

void tst_Access::takenAwayAccess_endsItsSessionsAlone()
{
    QFETCH(std::function<void(ClientIdentification &)>, change);
    QFETCH(QString, ended);
    ClientIdentification identification = panels();
    identification.certificates[0].name = q("Panel-1");
    identification.certificates[1].name = q("Panel-2");
    identification.role = q("viewer");
    identification.tokensInPath = true;
    const QByteArray a = identification.tokens.create(q("a"), q("viewer"));
    const QByteArray b = identification.tokens.create(q("b"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listenWithTls());
    const auto clientWith = [this](const char *certificate) {
        return std::make_unique<RawClient>(listener->url(), true, identity(certificate));
    };
    Clients clients;
    for (const char *name : {"-", "a", "b"})
        clients[q(name)] = clientWith("");
    clients[q("Panel-1")] = clientWith("panel1");
    clients[q("Panel-2")] = clientWith("panel2");
    for (const auto &[name, client] : clients) {
        const QByteArray request = name == q("b") ? requestOf("/t/" + b)
            : name == q("a")                      ? RawClient::request(bearer(a))
                                                  : RawClient::request();
        QCOMPARE(client->statusOf(request), QByteArray("101"));
        client->received.clear();
        client->send(command("keyCreateOrUpdate", "/p/a"));
        QTRY_VERIFY2(client->received.contains("/p/a"), qPrintable(name));
        client->received.clear();
    }
    QCOMPARE(listener->clientCount(), 5);

    change(identification);
    QVERIFY2(listener->setIdentification(identification), qPrintable(listener->errorString()));
    endsOnly(ended, clients);
}

// Removed clients do not receive any more values.
void tst_Access::endsOnly(const QString &ended, const Clients &clients)
{
    listener->deliveries = 0;
    keywords->setValue(q("/p/a"), 77);
    const QStringList out = ended.split(q(" "), Qt::SkipEmptyParts);
    const int left = int(clients.size()) - int(out.size());
    for (const auto &[name, client] : clients) {
        if (out.contains(name)) {
            QTRY_VERIFY2(!client->isConnected(), qPrintable(name));
            QVERIFY2(client->received.endsWith(farewell), client->received);
            QVERIFY2(!client->received.contains("77"), client->received);
        } else {
            QTRY_VERIFY2(client->received.contains("77"), qPrintable(name));
            QVERIFY(client->isConnected());
        }
    }
    QCOMPARE(listener->deliveries, left);
    QTRY_COMPARE(listener->clientCount(), left);
    QTRY_COMPARE(keywords->sessionCount(), left);
}

void tst_Access::takenAwayProxy_endsItsSessionsAlone_data()
{
    using Change = std::function<void(ClientIdentification::Proxy &)>;
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("ended");
    const auto row = [](const char *name, const char *ended, const Change &change) {
        QTest::newRow(name) << change << q(ended);
    };
    using Proxy = ClientIdentification::Proxy;
    row("nothing", "", [](Proxy &) {});
    row("all proxies", "Panel-2", [](Proxy &proxy) { proxy = {}; });
    row("this proxy", "Panel-2", [](Proxy &proxy) { proxy.addresses.removeFirst(); });
    row("another proxy", "", [](Proxy &proxy) { proxy.addresses.removeLast(); });
    row("header of the subject", "Panel-2", [](Proxy &proxy) { proxy.subjectHeader.clear(); });
    row("another header of the subject", "Panel-2",
        [](Proxy &proxy) { proxy.subjectHeader = "X-Other"; });
    row("the same header of the subject", "",
        [](Proxy &proxy) { proxy.subjectHeader = "x-subject"; });
    row("another header of the address", "",
        [](Proxy &proxy) { proxy.addressHeader = "X-Real-IP"; });
}

// A client whose subject came through the proxy depends on it; one with a token does not.
void tst_Access::takenAwayProxy_endsItsSessionsAlone()
{
    QFETCH(std::function<void(ClientIdentification::Proxy &)>, change);
    QFETCH(QString, ended);
    ClientIdentification identification = panels();
    identification.certificates[1].name = q("Panel-2");
    identification.proxy = {
        {{QHostAddress::LocalHost, 32}, QHostAddress::parseSubnet(q("10.0.0.0/8"))},
        "X-Forwarded-For",
        "X-Subject"};
    const QByteArray a = identification.tokens.create(q("a"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listenWithTls());
    Clients clients;
    for (const auto &[name, headers] :
         {std::pair("a", bearer(a)),
          std::pair("Panel-2", QByteArray("X-Subject: CN=panel2\r\n"))}) {
        const auto &client = clients[q(name)] =
            std::make_unique<RawClient>(listener->url(), true, identity(""));
        QVERIFY(client->open("X-Forwarded-For: 192.0.2.1\r\n" + headers));
        client->send(command("keyCreateOrUpdate", "/p/a"));
        QTRY_VERIFY2(client->received.contains("/p/a"), name);
        client->received.clear();
    }

    change(identification.proxy);
    QVERIFY2(listener->setIdentification(identification), qPrintable(listener->errorString()));
    endsOnly(ended, clients);
}

// The handler of a command revokes the access of its client: subsequent commands are ignored.
void tst_Access::takenAwayAccess_insideOfAWrite()
{
    ClientIdentification identification;
    const QByteArray token = identification.tokens.create(q("a"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listener->listen());
    keywords->setWriteCheck(q("/p/a"), [&](const QVariant &) {
        identification.tokens.revoke(q("a"));
        return listener->setIdentification(identification);
    });
    RawClient client(listener->url());
    QVERIFY(client.open(bearer(token)));
    client.send(command("keyUpdate", "/p/a", ",\"value\":5")
                + command("keyUpdate", "/p/b", ",\"value\":9"));
    QTRY_VERIFY(!client.isConnected());
    QTRY_COMPARE(keywords->sessionCount(), 0);
    QVERIFY2(client.received.endsWith(farewell), client.received);
    QCOMPARE(keywords->value(q("/p/a")).toInt(), 5);
    QCOMPARE(keywords->value(q("/p/b")).toInt(), 2);
}

// For commands that waited until the client read, and are then processed together.
void tst_Access::takenAwayAccess_insideOfOneOfManyWrites()
{
    ClientIdentification identification;
    const QByteArray token = identification.tokens.create(q("a"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listener->listen());
    bool called = false;
    keywords->setWriteCheck(q("/p/a"), [&](const QVariant &) {
        called = true;
        identification.tokens.revoke(q("a"));
        return listener->setIdentification(identification);
    });
    RawClient client(listener->url());
    QVERIFY(client.open(bearer(token)));
    QTRY_COMPARE(listener->clientCount(), 1);
    client.keeps = false;
    client.setReading(0);
    listener->sendTo(listener->clients().constFirst(), QByteArray(24 << 20, 'x'));
    client.send(command("keyUpdate", "/p/a", ",\"value\":5")
                + command("keyUpdate", "/p/b", ",\"value\":9"));
    QTRY_COMPARE(client.socket.bytesToWrite(), qint64(0));
    RawClient witness(listener->url()); // when it gets a reply, the commands have arrived
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("it sent no credentials$")));
    QCOMPARE(witness.statusOf(RawClient::request()), QByteArray("401"));
    QVERIFY(!called);

    client.setReading(1 << 20);

    QTRY_VERIFY(called);
    QTRY_COMPARE(keywords->sessionCount(), 0);
    QTRY_VERIFY(!client.isConnected());
    QCOMPARE(keywords->value(q("/p/b")).toInt(), 2);
}

void tst_Access::takenAwayAccess_beforeTheUpgrade()
{
    ClientIdentification identification;
    const QByteArray token = identification.tokens.create(q("a"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listener->listen());
    QSignalSpy counts(listener.get(), &Listener::clientCountChanged);
    listener->whenGranted = [this] { QVERIFY(listener->setIdentification({})); };
    RawClient client(listener->url());
    // The request arrives before the listener handles the connection.
    QVERIFY(client.socket.waitForConnected());
    client.send(RawClient::request(bearer(token)));
    QVERIFY(client.socket.waitForBytesWritten());
    QTRY_VERIFY(!client.isConnected());
    QCOMPARE(counts.count(), 0);
    QCOMPARE(keywords->sessionCount(), 0);
    QCOMPARE(listener->refusedClients(Refusal::WrongCredentials), quint64(0)); // they were valid
    QVERIFY2(!client.received.contains("401"), client.received);
}

void tst_Access::takenAwayAccess_endsWhoeverDoesNotRead()
{
    ClientIdentification identification;
    const QByteArray token = identification.tokens.create(q("a"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listener->listen());
    keywords->declare(
        {q("/p/text"), q("string"), q("RW"), QString(), QString(10 << 20, QLatin1Char('x'))});
    RawClient client(listener->url());
    QVERIFY(client.open(bearer(token)));
    QTRY_COMPARE(listener->clientCount(), 1);
    client.setReading(0);
    client.send(command("keyCreateOrUpdate", "/p/text"));
    QSignalSpy requested(keywords.get(), &KeywordServer::keywordRequested);
    QVERIFY(requested.wait());

    QVERIFY(listener->setIdentification({}));

    QTRY_COMPARE(keywords->sessionCount(), 0);
    QTRY_COMPARE(listener->clientCount(), 0);
    client.setReading(1 << 20);
    QTRY_VERIFY(!client.isConnected());
}

void tst_Access::endSessions_endsThoseOfARole()
{
    ClientIdentification identification;
    identification.role = q("viewer");
    const QByteArray token = identification.tokens.create(q("a"), q("operator"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listener->listen());
    RawClient viewer(listener->url()), operating(listener->url());
    QVERIFY(viewer.open());
    QVERIFY(operating.open(bearer(token)));
    QTRY_COMPARE(listener->clientCount(), 2);
    listener->endSessions(q("nobody's"));
    listener->endSessions(q("operator"));
    QTRY_COMPARE(listener->peers(), QStringList({q(" 127.0.0.1 viewer")}));
    QTRY_VERIFY(!operating.isConnected());
    QVERIFY2(operating.received.endsWith(farewell), operating.received);
    QVERIFY(viewer.isConnected());
    RawClient again(listener->url());
    QVERIFY(again.open(bearer(token)));
}

void tst_Access::session_hasTheRightsOfItsRole()
{
    QVERIFY(keywords->setRole({q("viewer"), {q("/p/a")}, {}}));
    ClientIdentification identification;
    const QByteArray token = identification.tokens.create(q("a"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listener->listen());
    RawClient client(listener->url());
    QVERIFY(client.open(bearer(token)));
    client.send(command("keyCreateOrUpdate", "/p/a") + command("keyCreateOrUpdate", "/p/b")
                + command("keyUpdate", "/p/a", ",\"value\":5"));
    QTRY_VERIFY(client.received.contains("\"error\":true"));
    QVERIFY(client.received.contains(
        "\"keyword\":\"/p/a\",\"online\":true,\"type\":\"int\",\"value\":1"));
    QVERIFY(client.received.contains(
        "\"keyword\":\"/p/b\",\"online\":false,\"type\":\"\",\"value\":null"));
    QCOMPARE(keywords->value(q("/p/a")).toInt(), 1);
}

void tst_Access::removedRole_endsItsSessions()
{
    ClientIdentification identification;
    const QByteArray a = identification.tokens.create(q("a"), q("viewer"));
    const QByteArray b = identification.tokens.create(q("b"), q("operator"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listener->listen());
    RawClient viewer(listener->url()), other(listener->url());
    QVERIFY(viewer.open(bearer(a)) && other.open(bearer(b)));
    QTRY_COMPARE(listener->clientCount(), 2);
    QVERIFY(keywords->removeRole(q("viewer")));
    QTRY_VERIFY(!viewer.isConnected());
    QVERIFY2(viewer.received.endsWith(farewell), viewer.received);
    QTRY_COMPARE(listener->clientCount(), 1);
    QVERIFY(other.isConnected());
}

void tst_Access::statistics_countRefusals()
{
    ClientIdentification identification;
    identification.tokens.create(q("a"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    QVERIFY(listener->listen());
    RawClient client(listener->url());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("it sent no credentials$")));
    QCOMPARE(client.statusOf(RawClient::request()), QByteArray("401"));
    QCOMPARE(listener->statistics().refusedClients, quint64(1));
    QCOMPARE(listener->statistics().missingCredentials, quint64(1));
    QCOMPARE(listener->statistics().droppedHandshakes, quint64(0));
    QCOMPARE(listener->statistics().certificateDays, -1);
    QCOMPARE(listener->statistics().keywords, qint64(2));
}

void tst_Access::log_holdsNoToken()
{
    static QString log;
    static QtMessageHandler previous = nullptr;
    log.clear();
    QLoggingCategory::setFilterRules(q("pellixclient.*=true"));
    previous = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &text) { log += text + q("\n"); });
    const auto restore = qScopeGuard([] {
        qInstallMessageHandler(previous);
        QLoggingCategory::setFilterRules(QString());
    });
    ClientIdentification identification;
    identification.tokensInPath = true;
    const QByteArray token = identification.tokens.create(q("a"), q("viewer"));
    const QByteArray wrong = AccessTokens().create(q("b"), q("viewer"));
    QVERIFY(listener->setIdentification(identification));
    listener->setMaximumAttempts(4);
    QVERIFY(listener->listen());
    QByteArray answers;
    for (const QByteArray &request :
         {RawClient::request(bearer(token)), requestOf("/t/" + token),
          RawClient::request(bearer(wrong)), requestOf("/t/" + wrong),
          RawClient::request("Authorization: " + wrong + "\r\n"),
          RawClient::request(bearer(wrong) + bearer(token)),
          requestOf("/t/" + token, bearer(wrong)), RawClient::request(bearer(token))}) {
        RawClient client(listener->url());
        client.statusOf(request);
        answers += client.received;
    }
    QVERIFY(!identification.tokens.save(directory.path()));
    listener->setIdentification({});
    qInstallMessageHandler(previous);

    QVERIFY(log.contains(q("its token is not known")));
    QVERIFY(log.contains(q("too many attempts")));
    for (const QByteArray &secret : {token, wrong, QByteArray("Bearer ")}) {
        QVERIFY2(!log.contains(q(secret)), qPrintable(log));
        QVERIFY2(!answers.contains(secret), answers);
    }
}

QTEST_GUILESS_MAIN(tst_Access)
#include "tst_access.moc"
