// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/configuration.h"
#include "tests/gateway/faketype.h"

#include <QtCore/QFile>
#include <QtCore/QRandomGenerator>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

using namespace pellix::gateway;
using namespace std::chrono_literals;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

void write(const QString &name, const QByteArray &content)
{
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

QStringList lines(const ConfigurationProblems &problems)
{
    QStringList lines;
    for (const ConfigurationProblem &problem : problems)
        lines.append(problem.pointer + q(": ") + problem.text);
    return lines;
}

// Adds the members to the shortest valid configuration.
QByteArray with(const char *members)
{
    return QByteArray("{\"listen\": [{\"port\": 0}]") + (*members ? ", " : "") + members + "}";
}

} // namespace

class tst_Configuration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void shortest_readsOnlyOnLoopback();
    void everything_isRead();
    void problems_sayWhereAndWhat_data();
    void problems_sayWhereAndWhat();
    void files_thatCannotBeRead_data();
    void files_thatCannotBeRead();
    void listeners_thatAreRefused_data();
    void listeners_thatAreRefused();
    void listeners_thatAreTaken_data();
    void listeners_thatAreTaken();
    void anything_isReadWithoutHarm();

private:
    std::optional<Configuration> parse(const QByteArray &json)
    {
        problems.clear();
        return Configuration::parse(json, folder.path(), {&fake}, &problems);
    }

    QTemporaryDir folder;
    FakeType fake;
    ConfigurationProblems problems;
};

void tst_Configuration::initTestCase()
{
    QVERIFY(QFile::copy(q(TLS_FILES "/server.crt"), folder.filePath(q("c.pem"))));
    QVERIFY(QFile::copy(q(TLS_FILES "/server.key"), folder.filePath(q("k.pem"))));
    write(folder.filePath(q("empty.pem")), "");
    write(folder.filePath(q("tokens")), QByteArray(64, 'a') + " operator panel 1\n");
    write(folder.filePath(q("bad-tokens")), "secret operator\n");
}

void tst_Configuration::shortest_readsOnlyOnLoopback()
{
    const std::optional<Configuration> configuration = parse(with(""));
    QCOMPARE(lines(problems), QStringList());
    QCOMPARE(configuration->listeners.size(), 1);
    const Configuration::Listener &listener = configuration->listeners.constFirst();
    QCOMPARE(listener.address, QHostAddress(QHostAddress::LocalHost));
    QCOMPARE(listener.port, quint16(0));
    QVERIFY(listener.chain.isEmpty() && listener.origins.isEmpty());
    QVERIFY(!listener.isUnencryptedAllowed);
    QCOMPARE(listener.identification.role, q("viewer"));
    QCOMPARE(configuration->roles.size(), 1);
    QCOMPARE(configuration->roles.constFirst().read, QStringList {q("/**")});
    QCOMPARE(configuration->roles.constFirst().write, QStringList());
    QCOMPARE(configuration->clients, 500);
    QVERIFY(configuration->sources.isEmpty());
    QVERIFY(!configuration->health);
    QVERIFY(configuration->self.isEmpty());
}

void tst_Configuration::everything_isRead()
{
    const std::optional<Configuration> configuration = parse(R"({
        "$schema": "gateway.schema.json",
        "listen": [
            {"address": "localhost", "port": 8765, "role": "operator"},
            {"address": "0.0.0.0", "port": 8766, "origins": ["https://example.org"],
             "tls": {"certificate": "c.pem", "key": "k.pem", "clientAuthority": "c.pem"}},
            {"address": "::1", "port": 8767, "tokensInPath": true,
             "proxies": {"addresses": ["10.0.0.0/8", "::1"], "addressHeader": "X-Address",
                         "subjectHeader": "X-Subject"}},
            {"address": "0.0.0.0", "port": 8768, "unencrypted": true, "role": "viewer"}],
        "roles": {"viewer": {"read": "/plant/**"},
                  "operator": {"read": ["/**"], "write": ["/plant/*/setpoint"]}},
        "clients": [{"certificate": "CN=panel1", "name": "panel 1", "role": "operator"},
                    {"tokenFile": "tokens", "role": "operator"}],
        "limits": {"clients": 9, "watchedPerClient": 10, "commandsPerSecond": 11,
                   "memoryPerClient": 100000, "messageBytes": 65536, "valueBytes": 12,
                   "aggregatedKeywords": 13, "listedKeywords": 14, "keywords": 15,
                   "sendingBytes": 1600, "totalSendingBytes": 1700, "stalledSeconds": 18},
        "sources": [{"name": "line1", "fake": "a", "mount": "/plant/", "hint": "x"},
                    {"name": "line-2", "fake": "b", "mount": "/"}],
        "health": {"address": "127.0.0.2", "port": 9090},
        "self": "/gateway"})");
    QCOMPARE(lines(problems), QStringList());
    QCOMPARE(configuration->listeners.size(), 4);
    const Configuration::Listener &plain = configuration->listeners.at(0);
    QCOMPARE(plain.address, QHostAddress(QHostAddress::LocalHost));
    QCOMPARE(plain.port, quint16(8765));
    QCOMPARE(plain.identification.role, q("operator"));
    QVERIFY(plain.identification.certificates.isEmpty());
    const Configuration::Listener &tls = configuration->listeners.at(1);
    QCOMPARE(tls.chain.size(), 1);
    QVERIFY(!tls.key.isNull());
    QCOMPARE(tls.identification.authorities.size(), 1);
    QCOMPARE(tls.identification.certificates.size(), 1);
    QCOMPARE(tls.identification.certificates.at(0).name, q("panel 1"));
    QCOMPARE(tls.identification.tokens.holders().size(), 1);
    QCOMPARE(tls.identification.role, QString());
    QCOMPARE(tls.origins, QStringList {q("https://example.org")});
    const Configuration::Listener &proxied = configuration->listeners.at(2);
    QVERIFY(proxied.identification.tokensInPath);
    QCOMPARE(proxied.identification.proxy.addresses.size(), 2);
    QCOMPARE(proxied.identification.proxy.addresses.at(0).second, 8);
    QCOMPARE(proxied.identification.proxy.addresses.at(1).second, 128);
    QCOMPARE(proxied.identification.proxy.subjectHeader, QByteArray("X-Subject"));
    QCOMPARE(proxied.identification.certificates.size(), 1);
    QVERIFY(configuration->listeners.at(3).isUnencryptedAllowed);
    QCOMPARE(configuration->roles.size(), 2);
    QCOMPARE(configuration->roles.at(0).read, QStringList {q("/plant/**")});
    QCOMPARE(configuration->roles.at(1).write, QStringList {q("/plant/*/setpoint")});
    const pellix::server::Limits &limits = configuration->limits;
    QCOMPARE(configuration->clients, 9);
    QCOMPARE(limits.watchedKeywords, 10);
    QCOMPARE(limits.commandsPerSecond, 11);
    QCOMPARE(limits.sessionBytes, 100000);
    QCOMPARE(limits.commandBytes, 65536);
    QCOMPARE(limits.valueBytes, 12);
    QCOMPARE(limits.aggregatedKeywords, 13);
    QCOMPARE(limits.listedKeywords, 14);
    QCOMPARE(limits.keywords, 15);
    QCOMPARE(limits.sendingBytes, 1600);
    QCOMPARE(limits.totalSendingBytes, 1700);
    QCOMPARE(limits.stalledTime, std::chrono::milliseconds(18s));
    QCOMPARE(configuration->sources.size(), 2);
    QCOMPARE(configuration->sources.at(0).name, q("line1"));
    QCOMPARE(configuration->sources.at(0).mount, q("/plant"));
    QVERIFY(configuration->sources.at(0).settings);
    QCOMPARE(configuration->sources.at(1).mount, QString());
    QCOMPARE(configuration->health->address, QHostAddress(q("127.0.0.2")));
    QCOMPARE(configuration->health->port, quint16(9090));
    QCOMPARE(configuration->self, q("/gateway"));
}

void tst_Configuration::problems_sayWhereAndWhat_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QStringList>("expected");
    const auto row = [](const char *name, const QByteArray &json, const char *expected) {
        QTest::newRow(name) << json << q(expected).split(q(" | "));
    };
    row("nothing", "", ": line 1, column 1: illegal value");
    row("syntax", "{\n  \"listen\": [\n    {\"port\" 0}\n  ]\n}",
        ": line 3, column 13: missing name separator");
    row("cut off", "{\"listen\": [", ": line 1, column 12: unterminated array");
    row("a list", "[]", ": must be an object, not a list");
    row("no listener", "{}", ": must have \"listen\" with at least one listener");
    row("an empty list", R"({"listen": []})", ": must have \"listen\" with at least one listener");
    row("unknown", with(R"("soruces": [])"),
        "/soruces: unknown member \"soruces\"; did you mean sources?");
    row("several at once", R"({"listen": [{"port": "x"}], "self": 5, "health": []})",
        "/listen/0/port: must be a number, not a text | /health: must be an object, not a list | "
        "/self: must be a text, not a number");
    row("port", R"({"listen": [{"port": 65536}]})",
        "/listen/0/port: must be an integer from 0 to 65535");
    row("no port", R"({"listen": [{}]})", "/listen/0: must have a \"port\"");
    row("address", R"({"listen": [{"port": 0, "address": "example.org"}]})",
        "/listen/0/address: must be an IP address or localhost, not \"example.org\"");
    row("listener member", R"({"listen": [{"prot": 0}]})",
        "/listen/0: must have a \"port\" | /listen/0/prot: unknown member \"prot\"; did you mean "
        "port?");
    row("twice", R"({"listen": [{"port": 9}, {"port": 9}]})",
        "/listen/1: another listener has this address and port");
    row("origin", R"({"listen": [{"port": 0, "origins": "example.org"}]})",
        "/listen/0/origins: \"example.org\" is not an origin such as https://example.org");
    row("one of several origins",
        R"({"listen": [{"port": 0, "origins": ["https://example.org", "example.org"]}]})",
        "/listen/0/origins/1: \"example.org\" is not an origin such as https://example.org");
    row("one of several proxies",
        R"({"listen": [{"port": 0, "proxies": {"addresses": ["::1", "x"]}}]})",
        "/listen/0/proxies/addresses/1: \"x\" is not an address such as 10.0.0.0/8");
    row("role of a listener",
        R"({"listen": [{"port": 0, "role": "oprator"}], "roles": {"operator": {}}})",
        "/listen/0/role: there is no role \"oprator\"; did you mean operator?");
    row("empty role", R"({"listen": [{"port": 0, "role": ""}]})",
        "/listen/0/role: must not be empty");
    row("proxy", R"({"listen": [{"port": 0, "proxies": {"addresses": "x", "hdr": 1}}]})",
        "/listen/0/proxies/addresses: \"x\" is not an address such as 10.0.0.0/8 | "
        "/listen/0/proxies/hdr: unknown member \"hdr\"; known here: addresses, addressHeader, "
        "subjectHeader");
    row("proxy without a header", R"({"listen": [{"port": 0, "proxies": {"addresses": "::1"}}]})",
        "/listen/0: the header with the addresses of clients is not set: failed attempts of one "
        "client would lock out all clients of the proxy. Set it, such as X-Forwarded-For");
    row("proxy and role",
        R"({"listen": [{"port": 0, "role": "viewer", "proxies": {"addresses": "::1"}}]})",
        "/listen/0: a listener behind a proxy cannot have a role, because all clients of the proxy "
        "would get it. Use tokens or certificates instead");
    row("pattern", with(R"("roles": {"a": {"read": ["/plant/**", "plant"]}})"),
        "/roles/a/read/1: \"plant\" is not a pattern such as /plant/**, where * matches one level "
        "and ** any number of levels");
    row("role name", with(R"("roles": {"*": {}})"), "/roles/*: \"*\" is not a valid role name");
    row("role member", with(R"("roles": {"a/b": {"wirte": []}})"),
        "/roles/a~1b/wirte: unknown member \"wirte\"; did you mean write?");
    row("neither", with(R"("clients": [{"role": "viewer"}])"),
        "/clients/0: must have either \"certificate\" or \"tokenFile\"");
    row("both", with(R"("clients": [{"certificate": "CN=a", "tokenFile": "tokens"}])"),
        "/clients/0: must have either \"certificate\" or \"tokenFile\"");
    row("subject", with(R"("clients": [{"certificate": "panel1", "role": "viewer"}])"),
        "/clients/0/certificate: panel1: not a subject of a certificate, such as CN=panel1");
    row("client without a role", with(R"("clients": [{"certificate": "CN=a"}])"),
        "/clients/0: must have a \"role\"");
    row("missing tokens", with(R"("clients": [{"tokenFile": "tkens"}])"),
        "/clients/0/tokenFile: cannot open FOLDER/tkens: No such file or directory");
    row("bad tokens", with(R"("clients": [{"tokenFile": "bad-tokens"}])"),
        "/clients/0/tokenFile: FOLDER/bad-tokens:1: a digest, a role and a name are expected");
    row("role of a token", with(R"("clients": [{"tokenFile": "tokens"}])"),
        "/clients/0/tokenFile: FOLDER/tokens: there is no role \"operator\", which panel 1 has");
    row("role of the tokens",
        with(
            R"("clients": [{"tokenFile": "tokens", "role": "viewer"}], "roles": {"operator": {}})"),
        "/clients/0/role: panel 1 has the role operator in FOLDER/tokens, not viewer");
    row("two token files", with(R"("clients": [{"tokenFile": "tokens"}, {"tokenFile": "tokens"}],
                "roles": {"operator": {}})"),
        "/clients/1: only one \"tokenFile\" is allowed | /clients/1/tokenFile: unknown member "
        "\"tokenFile\"");
    row("limit", with(R"("limits": {"clients": -1, "keyword": 5})"),
        "/limits/clients: must be an integer from 0 to 1000000000 | /limits/keyword: unknown "
        "member \"keyword\"; did you mean keywords?");
    row("source", with(R"("sources": [{}, 5])"),
        "/sources/1: must be an object, not a number | /sources/0: must have a \"name\" | "
        "/sources/0: must have a \"mount\" | /sources/0: must have one of fake");
    row("mistyped kind", with(R"("sources": [{"name": "a", "mount": "/a", "fkae": "x"}])"),
        "/sources/0: must have one of fake | /sources/0/fkae: unknown member \"fkae\"; did you "
        "mean "
        "fake?");
    row("source name", with(R"("sources": [{"name": "a b", "mount": "/a", "fake": "x"}])"),
        "/sources/0/name: must contain only letters, digits, -, _, and .");
    row("same name", with(R"("sources": [{"name": "a", "mount": "/a", "fake": "x"},
                                         {"name": "a", "mount": "/b", "fake": "x"}])"),
        "/sources/1/name: another source has the name a");
    row("mount", with(R"("sources": [{"name": "a", "mount": "plant", "fake": "x"}])"),
        "/sources/0/mount: must be a path such as /plant, not \"plant\"");
    row("mount with a hash", with(R"("sources": [{"name": "a", "mount": "/p#", "fake": "x"}])"),
        "/sources/0/mount: \"/p#\" is not a valid path: # and * are reserved");
    row("mount at a label", with(R"("sources": [{"name": "a", "mount": "/p/Label", "fake": "x"}])"),
        "/sources/0/mount: the level Label is reserved for labels");
    row("of the kind", with(R"("sources": [{"name": "a", "mount": "/a", "fake": 5}])"),
        "/sources/0/fake: must be a text, not a number");
    row("member of the source",
        with(R"("sources": [{"name": "a", "mount": "/a", "fake": "x", "hnit": "y"}])"),
        "/sources/0/hnit: unknown member \"hnit\"; did you mean hint?");
    row("health", with(R"("health": {"adress": "::1"})"),
        "/health: must have a \"port\" | /health/adress: unknown member \"adress\"; did you mean "
        "address?");
    row("self", with(R"("self": "/")"), "/self: must contain a level, such as /gateway");
    row("a member twice", "{\"listen\": [{\"port\": 1,\n \"address\": \"::1\", \"port\": 2}]}",
        "/listen/0/port: is specified twice: in line 1, column 14 and in line 2, column 20");
    row("a member twice, deep in the second of two",
        with("\"roles\": {\"a\": {\"read\": []}, \"b~/\": {\"read\": [\"\\\"\", \"{\"],\n"
             "\"re\\u0061d\": []}}"),
        "/roles/b~0~1/read: is specified twice: in line 1, column 64 and in line 2, column 1");
    row("audit", with(R"("audit": 5)"), "/audit: must be a text, not a number");
    row("audit, empty", with(R"("audit": "")"), "/audit: must be the name of a file");
    row("audit, a folder", with(R"("audit": "/")"),
        "/audit: cannot write to /: it is not a regular file");
    row("audit, a device", with(R"("audit": "/dev/null")"),
        "/audit: cannot write to /dev/null: it is not a regular file");
    row("audit, no such folder", with(R"("audit": "/no/such/file")"),
        "/audit: cannot write to /no/such/file: the folder /no/such does not exist");
    row("self, no path", with(R"("self": "gateway")"),
        "/self: must be a path such as /plant, not \"gateway\"");
}

void tst_Configuration::problems_sayWhereAndWhat()
{
    QFETCH(QByteArray, json);
    QFETCH(QStringList, expected);
    QVERIFY(!parse(json));
    QCOMPARE(lines(problems), expected.replaceInStrings(q("FOLDER"), folder.path()));
    QVERIFY(fake.made.empty());
}

void tst_Configuration::files_thatCannotBeRead_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    QTest::newRow("missing") << q("none.json") << q(": cannot open %1: No such file or directory");
    QTest::newRow("a folder") << q(".") << q(": cannot open %1: it is a folder");
    QTest::newRow("too long") << q("long.json") << q(": the file is longer than 16 MiB");
    QTest::newRow("not JSON") << q("notes.json") << q(": line 1, column 9: missing name separator");
}

void tst_Configuration::files_thatCannotBeRead()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    write(folder.filePath(q("long.json")), QByteArray(16 * 1024 * 1024 + 1, ' '));
    write(folder.filePath(q("notes.json")), R"({"port" 0})");
    problems.clear();
    const QString file = folder.filePath(name);
    QVERIFY(!Configuration::read(file, {&fake}, &problems));
    QCOMPARE(lines(problems), QStringList {expected.replace(q("%1"), file)});
    // A valid file, with its other files in the same folder.
    write(folder.filePath(q("good.json")),
          R"({"listen": [{"port": 0}], "clients": [{"tokenFile": "tokens"}],
              "roles": {"operator": {}}})");
    problems.clear();
    QVERIFY(Configuration::read(folder.filePath(q("good.json")), {&fake}, &problems));
}

void tst_Configuration::listeners_thatAreRefused_data()
{
    QTest::addColumn<QByteArray>("listener");
    QTest::addColumn<QString>("clients");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const char *listener, const char *expected,
                        const char *clients = "[]") {
        QTest::newRow(name) << QByteArray(listener) << q(clients) << q(expected);
    };
    row("beyond loopback, plain", R"({"address": "0.0.0.0", "port": 0, "role": "viewer"})",
        "/listen/0: 0.0.0.0 can be reached by other machines: set \"tls\", or \"unencrypted\": "
        "true");
    row("beyond loopback, IPv6", R"({"address": "::", "port": 0, "role": "viewer"})",
        "/listen/0: :: can be reached by other machines: set \"tls\", or \"unencrypted\": true");
    row("beyond loopback, nobody known",
        R"({"address": "0.0.0.0", "port": 0, "unencrypted": true})",
        "/listen/0: no client could use this listener: set \"clients\" with tokens, or with "
        "certificates and \"clientAuthority\", or set a \"role\" for all clients");
    row("certificates, but no authority",
        R"({"address": "0.0.0.0", "port": 0, "tls": {"certificate": "c.pem", "key": "k.pem"}})",
        "/listen/0: no client could use this listener: set \"clients\" with tokens, or with "
        "certificates and \"clientAuthority\", or set a \"role\" for all clients",
        R"([{"certificate": "CN=a", "role": "viewer"}])");
    row("no key", R"({"port": 0, "tls": {"certificate": "c.pem"}})",
        "/listen/0/tls: must have \"key\"");
    row("missing certificate", R"({"port": 0, "tls": {"certificate": "x.pem", "key": "k.pem"}})",
        "/listen/0/tls/certificate: cannot open FOLDER/x.pem: No such file or directory");
    row("no certificate in the file",
        R"({"port": 0, "tls": {"certificate": "empty.pem", "key": "k.pem"}})",
        "/listen/0/tls/certificate: FOLDER/empty.pem contains no certificate");
    row("no key in the file", R"({"port": 0, "tls": {"certificate": "c.pem", "key": "c.pem"}})",
        "/listen/0/tls/key: FOLDER/c.pem contains no private key, or an encrypted one");
    row("no authority in the file",
        R"({"port": 0, "tls": {"certificate": "c.pem", "key": "k.pem", "clientAuthority":
            "empty.pem"}})",
        "/listen/0/tls/clientAuthority: FOLDER/empty.pem contains no certificate");
    row("unknown",
        R"({"port": 0, "tls": {"certificate": "c.pem", "kye": "k.pem", "key": "k.pem"}})",
        "/listen/0/tls/kye: unknown member \"kye\"; did you mean key?");
}

void tst_Configuration::listeners_thatAreRefused()
{
    QFETCH(QByteArray, listener);
    QFETCH(QString, clients);
    QFETCH(QString, expected);
    QVERIFY(!parse("{\"listen\": [" + listener + "], \"clients\": " + clients.toUtf8() + "}"));
    QCOMPARE(lines(problems), QStringList {expected.replace(q("FOLDER"), folder.path())});
}

void tst_Configuration::listeners_thatAreTaken_data()
{
    QTest::addColumn<QByteArray>("listener");
    QTest::addColumn<bool>("hasTokens");
    QTest::addColumn<QString>("role"); // of all other clients
    QTest::newRow("loopback") << QByteArray(R"({"port": 0})") << false << q("viewer");
    QTest::newRow("loopback, tokens") << QByteArray(R"({"port": 0})") << true << QString();
    QTest::newRow("loopback, tokens and a role")
        << QByteArray(R"({"port": 0, "role": "viewer"})") << true << q("viewer");
    QTest::newRow("full rights") << QByteArray(R"({"address": "::1", "port": 0, "role": "*"})")
                                 << false << q("*");
    QTest::newRow("unencrypted, said so, with a role")
        << QByteArray(R"({"address": "0.0.0.0", "port": 0, "unencrypted": true,
                          "role": "viewer"})")
        << false << q("viewer");
    QTest::newRow("encrypted, tokens") << QByteArray(R"({"address": "0.0.0.0", "port": 0,
                          "tls": {"certificate": "c.pem", "key": "k.pem"}})")
                                       << true << QString();
    QTest::newRow("loopback, encrypted, clients with certificates")
        << QByteArray(R"({"port": 0, "tls": {"certificate": "c.pem", "key": "k.pem",
                                             "clientAuthority": "c.pem"}})")
        << false << QString();
}

void tst_Configuration::listeners_thatAreTaken()
{
    QFETCH(QByteArray, listener);
    QFETCH(bool, hasTokens);
    QFETCH(QString, role);
    const std::optional<Configuration> configuration =
        parse("{\"listen\": [" + listener + "], \"roles\": {\"operator\": {}}, \"clients\": ["
              + (hasTokens ? "{\"tokenFile\": \"tokens\"}" : "") + "]}");
    QCOMPARE(lines(problems), QStringList());
    QCOMPARE(configuration->listeners.constFirst().identification.role, role);
    QCOMPARE(configuration->listeners.constFirst().identification.problem(), QString());
}

// Replaces random parts of a valid configuration, at any depth.
void tst_Configuration::anything_isReadWithoutHarm()
{
    const QByteArray good = R"({"listen": [{"address": "::1", "port": 1, "role": "a", "origins":
        ["http://x"], "tls": {"certificate": "c.pem", "key": "k.pem"}, "proxies": {}}],
        "roles": {"a": {"read": ["/**"], "write": "/x"}}, "clients": [{"certificate": "CN=a",
        "role": "a"}], "limits": {"clients": 5}, "sources": [{"name": "a", "mount": "/a", "fake":
        "b"}], "health": {"port": 5}, "self": "/g"})";
    const QByteArrayList parts {"null",      "[]",          "{}",        "-1",   "1e300",
                                "\"\"",      "true",        "\"/x/**\"", "[[]]", "[{}]",
                                "{\"\": 1}", "\"\\u0000\"", "}",         ":",    "\xff"};
    QRandomGenerator random(20);
    for (int run = 0; run < 3000; ++run) {
        QByteArray json = good;
        for (int i = random.bounded(3); i >= 0; --i) {
            const qsizetype from = random.bounded(int(json.size()));
            json.replace(from, random.bounded(12), parts.at(random.bounded(int(parts.size()))));
        }
        const std::optional<Configuration> configuration = parse(json);
        QCOMPARE(configuration.has_value(), problems.isEmpty());
    }
    QVERIFY(parse(good));
}

QTEST_GUILESS_MAIN(tst_Configuration)
#include "tst_configuration.moc"
