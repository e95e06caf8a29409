// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/gateway.h"
#include "gateway/sourcemount.h"
#include "server/keywordserver.h"
#include "tests/gateway/faketype.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>

using namespace pellix::gateway;
using namespace std::chrono_literals;
using State = Source::State;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

SourceKeyword keyword(const char *path, const char *type, const char *access = "R")
{
    SourceKeyword keyword;
    keyword.path = q(path);
    keyword.type = q(type);
    keyword.access = q(access);
    return keyword;
}

// A client that records its messages.
struct WebClient
{
    explicit WebClient(const QUrl &url)
    {
        QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket,
                         [this](const QString &text) { texts.append(text); });
        socket.open(url);
    }
    bool isConnected() const { return socket.state() == QAbstractSocket::ConnectedState; }
    void send(const char *text) { socket.sendTextMessage(q(text)); }
    bool has(const char *part) const
    {
        return std::any_of(texts.cbegin(), texts.cend(),
                           [&](const QString &text) { return text.contains(q(part)); });
    }

    QWebSocket socket;
    QStringList texts;
};

// The reply of a health listener.
QByteArray fetch(quint16 port, const char *path)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    socket.write(QByteArray("GET ") + path + " HTTP/1.1\r\nHost: a\r\n\r\n");
    if (!QTest::qWaitFor([&] {
            return socket.state() == QAbstractSocket::UnconnectedState
                && socket.bytesAvailable() > 0;
        }))
        return {};
    return socket.readAll();
}

} // namespace

class tst_Gateway : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void sources_areServed();
    void ready_onceAllSourcesWere();
    void reload_leavesAloneWhatIsTheSame();
    void reload_changesSources_data();
    void reload_changesSources();
    void reload_freesPathsForOthers();
    void reload_servesMoreKeywordsIfTheLimitIsRaised();
    void reload_keepsClientsOfListenersThatStay();
    void reload_opensAndClosesListeners();
    void reload_movesHealth_data();
    void reload_movesHealth();
    void reload_changesNothingIfItCannotListen_data();
    void reload_changesNothingIfItCannotListen();
    void reload_changesRolesAtOnce();
    void reload_doesNotWaitForASourceThatHangs();
    void drain_refusesAndClosesWithinTheTime();
    void drain_answersWritesUnderWay();
    void drain_answersWritesWhenTheTimeIsOver();
    void drain_doesNotWaitForASourceThatHangs();
    void drain_ofNobodyIsQuick();
    void self_tellsOfTheGateway();
    void health_tells();
    void log_hasALineForEachChange();
    void audit_hasALineForEachWrite();
    void audit_thatCannotBeOpened_changesNothing();

private:
    Configuration parse(const QByteArray &members)
    {
        ConfigurationProblems problems;
        const QByteArray listen = members.contains("\"listen\"")
            ? QByteArray()
            : QByteArray(R"("listen": [{"port": 0, "role": "*"}])")
                + (members.isEmpty() ? "" : ", ");
        const auto configuration =
            Configuration::parse("{" + listen + members + "}", QString(), {&fake}, &problems);
        if (!configuration)
            qFatal("%s", qPrintable(problems.constFirst().pointer + problems.constFirst().text));
        return *configuration;
    }
    bool apply(const QByteArray &members) { return gateway->apply(parse(members), &error); }

    FakeType fake;
    QString error;
    std::unique_ptr<Gateway> gateway;
};

void tst_Gateway::init()
{
    QLoggingCategory::setFilterRules(q("pellixclient.gateway=false"));
    fake.made.clear();
    fake.areReadyAtOnce = true;
    fake.hang = false;
    error.clear();
    gateway = std::make_unique<Gateway>();
}

void tst_Gateway::cleanup()
{
    gateway.reset();
}

void tst_Gateway::sources_areServed()
{
    QVERIFY(!gateway->isReady());
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"},
                                 {"name": "b", "fake": "b", "mount": "/"}])"));
    QCOMPARE(fake.source("a")->starts, 1);
    fake.source("a")->declare({keyword("/v", "int")});
    fake.source("a")->report(q("/v"), 7);
    fake.source("b")->declare({keyword("/y/v", "int")});
    WebClient client(gateway->urls().constFirst());
    QTRY_VERIFY(client.isConnected());
    client.send(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/x/v"}})");
    QTRY_VERIFY(client.has("\"value\":7"));
    QVERIFY(gateway->keywordServer()->contains(q("/y/v")));
    QVERIFY(gateway->isReady());
    QCOMPARE(gateway->status(), q("2 of 2 sources ready, 1 clients, 2 keywords"));
    QCOMPARE(gateway->sources().size(), 2);
    QCOMPARE(gateway->sources().at(0).name, q("a"));
}

void tst_Gateway::ready_onceAllSourcesWere()
{
    fake.areReadyAtOnce = false;
    QSignalSpy changed(gateway.get(), &Gateway::statusChanged);
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"},
                                 {"name": "b", "fake": "b", "mount": "/y"}])"));
    QVERIFY(!gateway->isReady());
    fake.source("a")->go(State::Ready);
    QVERIFY(!gateway->isReady());
    fake.source("b")->go(State::Ready);
    QVERIFY(gateway->isReady());
    // Keywords report it, and a load balancer could not improve it.
    fake.source("a")->go(State::Lost);
    QVERIFY(gateway->isReady());
    QVERIFY(!gateway->sources().at(0).isReady);
    QVERIFY(gateway->sources().at(0).wasReady);
    QCOMPARE(changed.count(), 4);
}

void tst_Gateway::reload_leavesAloneWhatIsTheSame()
{
    const QByteArray members = R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}],
        "health": {"port": 0}, "self": "/g")";
    QVERIFY(apply(members));
    FakeSource *const source = fake.source("a");
    source->declare({keyword("/v", "int")});
    source->report(q("/v"), 7);
    const QList<QUrl> urls = gateway->urls();
    const quint16 health = gateway->healthPort();
    QVERIFY(apply(members));
    QCOMPARE(fake.made.size(), std::size_t(1));
    QCOMPARE(fake.source("a"), source);
    QCOMPARE(source->stops, 0);
    QCOMPARE(gateway->keywordServer()->value(q("/x/v")), QVariant(7));
    QCOMPARE(gateway->urls(), urls);
    QCOMPARE(gateway->healthPort(), health);
}

void tst_Gateway::reload_changesSources_data()
{
    QTest::addColumn<QByteArray>("entry");
    QTest::addColumn<bool>("isKept"); // the running source is kept
    QTest::addColumn<QString>("hint");
    QTest::newRow("the same") << QByteArray(R"({"name": "a", "fake": "a", "mount": "/x"})") << true
                              << QString();
    QTest::newRow("taken over") << QByteArray(
        R"({"name": "a", "fake": "a", "mount": "/x", "hint": "h"})")
                                << true << q("h");
    QTest::newRow("not taken over")
        << QByteArray(R"({"name": "a", "fake": "other", "mount": "/x"})") << false << QString();
    QTest::newRow("another mount")
        << QByteArray(R"({"name": "a", "fake": "a", "mount": "/y"})") << false << QString();
    QTest::newRow("another name") << QByteArray(R"({"name": "b", "fake": "a", "mount": "/x"})")
                                  << false << QString();
    QTest::newRow("gone") << QByteArray() << false << QString();
}

void tst_Gateway::reload_changesSources()
{
    QFETCH(QByteArray, entry);
    QFETCH(bool, isKept);
    QFETCH(QString, hint);
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}])"));
    const QPointer<FakeSource> source = fake.source("a");
    source->declare({keyword("/v", "int")});
    QVERIFY(apply("\"sources\": [" + entry + "]"));
    QCOMPARE(gateway->keywordServer()->contains(q("/x/v")), isKept);
    QCOMPARE(gateway->sources().size(), entry.isEmpty() ? 0 : 1);
    if (isKept) {
        QCOMPARE(gateway->sources().at(0).source, static_cast<Source *>(source));
        QCOMPARE(source->property("hint").toString(), hint);
        return;
    }
    QTRY_VERIFY(!source);
    if (!entry.isEmpty())
        QCOMPARE(fake.made.back()->starts, 1);
}

void tst_Gateway::reload_freesPathsForOthers()
{
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}])"));
    fake.source("a")->declare({keyword("/v", "int")});
    QVERIFY(apply(R"("sources": [{"name": "b", "fake": "b", "mount": "/x"}])"));
    fake.source("b")->declare({keyword("/v", "string")});
    fake.source("b")->report(q("/v"), q("text"));
    QCOMPARE(gateway->keywordServer()->value(q("/x/v")), QVariant(q("text")));
}

void tst_Gateway::reload_servesMoreKeywordsIfTheLimitIsRaised()
{
    const QByteArray sources = R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}])";
    QVERIFY(apply(sources + R"(, "limits": {"keywords": 10})"));
    FakeSource *const source = fake.source("a");
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^a: /x/10 is not served: ")));
    for (int i = 0; i <= 10; ++i) {
        source->declare({keyword(qPrintable(q("/%1").arg(i)), "int")});
        source->report(q("/%1").arg(i), i);
    }
    QCOMPARE(gateway->keywordServer()->keywordCount(), 10);
    QVERIFY(
        gateway->metrics().contains("\nkeyword_gateway_source_waiting_keywords{source=\"a\"} 1"));
    QVERIFY(apply(sources + R"(, "limits": {"keywords": 11})"));
    QCOMPARE(fake.source("a"), source);
    QCOMPARE(gateway->keywordServer()->value(q("/x/10")), QVariant(10));
    QVERIFY(
        gateway->metrics().contains("\nkeyword_gateway_source_waiting_keywords{source=\"a\"} 0"));
    // The keywords of the gateway itself make room as well.
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^a: /x/11 is not served: ")));
    source->declare({keyword("/11", "int")});
    QVERIFY(apply(sources + R"(, "limits": {"keywords": 22}, "self": "/g")"));
    QVERIFY(gateway->keywordServer()->contains(q("/g/clients")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^a: /x/12 is not served: ")));
    for (int i = 12; i < 22; ++i)
        source->declare({keyword(qPrintable(q("/%1").arg(i)), "int")});
    QVERIFY(apply(sources + R"(, "limits": {"keywords": 22})"));
    QVERIFY(gateway->keywordServer()->contains(q("/x/11")));
    QVERIFY(gateway->keywordServer()->contains(q("/x/21")));
}

void tst_Gateway::reload_keepsClientsOfListenersThatStay()
{
    QVERIFY(apply(R"("listen": [{"port": 0, "role": "*"}, {"address": "::1", "port": 0}])"));
    const QList<QUrl> urls = gateway->urls();
    WebClient stays(urls.at(0));
    QTRY_VERIFY(stays.isConnected());
    QVERIFY(apply(R"("listen": [{"address": "127.0.0.2", "port": 0}, {"port": 0, "role": "*"}])"));
    QCOMPARE(gateway->urls().size(), 2);
    QCOMPARE(gateway->urls().at(1), urls.at(0));
    stays.send(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/x/v"}})");
    QTRY_VERIFY(stays.has("/x/v"));
}

void tst_Gateway::reload_opensAndClosesListeners()
{
    QVERIFY(apply(R"("listen": [{"port": 0}])"));
    const quint16 port = quint16(gateway->urls().constFirst().port());
    WebClient client(gateway->urls().constFirst());
    QTRY_VERIFY(client.isConnected());
    // A listener for the same port on another address must wait until the previous one is closed.
    QVERIFY(apply(QByteArray(R"("listen": [{"port": PORT, "role": "viewer"},
                                           {"address": "127.0.0.2", "port": 0}])")
                      .replace("PORT", QByteArray::number(port))));
    QCOMPARE(gateway->urls().at(0).port(), int(port));
    QCOMPARE(gateway->urls().at(1).host(), q("127.0.0.2"));
    QTRY_VERIFY(!client.isConnected());
    WebClient next(gateway->urls().at(1));
    QTRY_VERIFY(next.isConnected());
    QVERIFY(apply(QByteArray(R"("listen": [{"address": "0.0.0.0", "port": PORT, "role": "viewer",
                                            "unencrypted": true}])")
                      .replace("PORT", QByteArray::number(port))));
    QTRY_VERIFY(!next.isConnected());
    WebClient last(gateway->urls().at(0));
    QTRY_VERIFY(last.isConnected());
}

void tst_Gateway::reload_movesHealth_data()
{
    QTest::addColumn<QByteArray>("members"); // with the ports LISTEN and HEALTH in use
    QTest::addColumn<bool>("isListenerKept");
    QTest::addColumn<bool>("hasHealth");
    QTest::newRow("another address") << QByteArray(R"("listen": [{"port": 0, "role": "*"}],
                         "health": {"address": "0.0.0.0", "port": HEALTH})")
                                     << true << true;
    QTest::newRow("exchanged ports")
        << QByteArray(R"("listen": [{"port": HEALTH}], "health": {"port": LISTEN})") << false
        << true;
    QTest::newRow("exchanged ports, another address")
        << QByteArray(R"("listen": [{"address": "0.0.0.0", "port": HEALTH, "unencrypted": true,
                                     "role": "viewer"}],
                         "health": {"address": "0.0.0.0", "port": LISTEN})")
        << false << true;
    QTest::newRow("its port for a listener")
        << QByteArray(R"("listen": [{"port": 0, "role": "*"}, {"port": HEALTH}])") << true << false;
    QTest::newRow("the port of a listener") << QByteArray(
        R"("listen": [{"address": "127.0.0.2", "port": 0}], "health": {"port": LISTEN})")
                                            << false << true;
}

void tst_Gateway::reload_movesHealth()
{
    QFETCH(QByteArray, members);
    QFETCH(bool, isListenerKept);
    QFETCH(bool, hasHealth);
    QVERIFY(apply(R"("listen": [{"port": 0, "role": "*"}], "health": {"port": 0})"));
    const QByteArray listen = QByteArray::number(gateway->urls().constFirst().port());
    const QByteArray health = QByteArray::number(gateway->healthPort());
    WebClient client(gateway->urls().constFirst());
    QTRY_VERIFY(client.isConnected());
    QVERIFY2(apply(members.replace("LISTEN", listen).replace("HEALTH", health)), qPrintable(error));
    QCOMPARE(gateway->healthPort() != 0, hasHealth);
    if (hasHealth)
        QVERIFY(fetch(gateway->healthPort(), "/healthz").endsWith("ok\n"));
    for (const QUrl &url : gateway->urls()) {
        WebClient next(url);
        QTRY_VERIFY(next.isConnected());
    }
    if (isListenerKept)
        QVERIFY(client.isConnected());
    else
        QTRY_VERIFY(!client.isConnected());
}

void tst_Gateway::reload_changesNothingIfItCannotListen_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QString>("expected");
    QTest::newRow("a listener") << QByteArray(R"("listen": [{"port": 0}, {"port": PORT}])")
                                << q("cannot listen on 127.0.0.1 port PORT: ");
    QTest::newRow("health") << QByteArray(R"("listen": [{"port": 0}], "health": {"port": PORT})")
                            << q("cannot listen on 127.0.0.1 port PORT for health: ");
    QTest::newRow("one that takes the port of another")
        << QByteArray(R"("listen": [{"address": "0.0.0.0", "port": OURS, "unencrypted": true,
                                     "role": "viewer"}, {"port": PORT}])")
        << q("cannot listen on 127.0.0.1 port PORT: ");
    QTest::newRow("one that takes the port of health")
        << QByteArray(R"("listen": [{"address": "0.0.0.0", "port": HEALTH, "unencrypted": true,
                                     "role": "viewer"}, {"port": PORT}])")
        << q("cannot listen on 127.0.0.1 port PORT: ");
    QTest::newRow("health that takes the port of a listener, after another address")
        << QByteArray(R"("listen": [{"address": "0.0.0.0", "port": HEALTH, "unencrypted": true,
                                     "role": "viewer"}, {"port": PORT}],
                         "health": {"port": OURS})")
        << q("cannot listen on 127.0.0.1 port PORT: ");
    QTest::newRow("health that takes the port of a listener, which moves")
        << QByteArray(R"("listen": [{"address": "0.0.0.0", "port": OURS, "unencrypted": true,
                                     "role": "viewer"}], "health": {"port": OURS})")
        << q("cannot listen on 127.0.0.1 port OURS for health: ");
}

void tst_Gateway::reload_changesNothingIfItCannotListen()
{
    QFETCH(QByteArray, members);
    QFETCH(QString, expected);
    QTcpServer busy;
    QVERIFY(busy.listen(QHostAddress::LocalHost));
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}],
                     "health": {"port": 0})"));
    const QList<QUrl> urls = gateway->urls();
    const quint16 health = gateway->healthPort();
    // The port belongs to another socket, so the gateway cannot listen on it.
    const QByteArray port = QByteArray::number(busy.serverPort());
    const QByteArray ours = QByteArray::number(urls.constFirst().port());
    QVERIFY(!apply(members.replace("PORT", port)
                       .replace("OURS", ours)
                       .replace("HEALTH", QByteArray::number(health))));
    expected.replace(q("PORT"), QString::fromLatin1(port));
    expected.replace(q("OURS"), QString::fromLatin1(ours));
    QVERIFY2(error.startsWith(expected), qPrintable(error));
    QVERIFY2(!error.contains(q("again")), qPrintable(error));
    QCOMPARE(gateway->sources().size(), 1);
    QCOMPARE(fake.source("a")->stops, 0);
    QCOMPARE(gateway->healthPort(), health);
    QVERIFY(fetch(health, "/healthz").endsWith("ok\n"));
    QCOMPARE(gateway->urls(), urls);
    WebClient client(gateway->urls().constFirst());
    QTRY_VERIFY(client.isConnected());
}

void tst_Gateway::reload_changesRolesAtOnce()
{
    const QByteArray members = R"("listen": [{"port": 0, "role": "panel"}],
        "roles": {"panel": {"read": ["PATTERN"]}},
        "sources": [{"name": "a", "fake": "a", "mount": "/x"}])";
    QVERIFY(apply(QByteArray(members).replace("PATTERN", "/x/**")));
    fake.source("a")->declare({keyword("/v", "int")});
    fake.source("a")->report(q("/v"), 7);
    WebClient client(gateway->urls().constFirst());
    QTRY_VERIFY(client.isConnected());
    client.send(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/x/v"}})");
    QTRY_VERIFY(client.has("\"value\":7"));
    client.texts.clear();
    QVERIFY(apply(QByteArray(members).replace("PATTERN", "/y/**")));
    QTRY_VERIFY(client.has("\"connected\":false"));
    QVERIFY(apply(R"("listen": [{"port": 0, "role": "viewer"}])"));
    QCOMPARE(gateway->keywordServer()->roles(), QStringList {q("viewer")});
}

void tst_Gateway::reload_doesNotWaitForASourceThatHangs()
{
    fake.hang = true;
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}])"));
    const QPointer<FakeSource> source = fake.source("a");
    source->declare({keyword("/v", "int")});
    QVERIFY(apply(""));
    QCOMPARE(source->stops, 1);
    QVERIFY(!gateway->keywordServer()->contains(q("/x/v")));
    source->report(q("/v"), 5); // has no receiver
    source->go(State::Stopped);
    QTRY_VERIFY(!source);
    // A source that never stops is destroyed with the gateway.
    QVERIFY(apply(R"("sources": [{"name": "b", "fake": "b", "mount": "/x"}])"));
    const QPointer<FakeSource> other = fake.source("b");
    QVERIFY(apply(""));
    QVERIFY(other);
    gateway.reset();
    QVERIFY(!other);
}

void tst_Gateway::drain_refusesAndClosesWithinTheTime()
{
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}],
                     "health": {"port": 0})"));
    std::vector<std::unique_ptr<WebClient>> clients;
    std::vector<qint64> times;
    QElapsedTimer clock;
    for (int i = 0; i < 10; ++i) {
        clients.push_back(std::make_unique<WebClient>(gateway->urls().constFirst()));
        connect(&clients.back()->socket, &QWebSocket::disconnected, this,
                [&] { times.push_back(clock.elapsed()); });
    }
    for (const auto &client : clients)
        QTRY_VERIFY(client->isConnected());
    QVERIFY(fetch(gateway->healthPort(), "/readyz").startsWith("HTTP/1.1 200 "));

    QSignalSpy drained(gateway.get(), &Gateway::drained);
    clock.start();
    gateway->drain(1000ms);
    QVERIFY(gateway->isDraining());
    QVERIFY(!gateway->isReady());
    QCOMPARE(std::count_if(clients.cbegin(), clients.cend(),
                           [](const auto &client) { return client->isConnected(); }),
             10);
    const QByteArray answer = fetch(gateway->healthPort(), "/readyz");
    QVERIFY2(answer.startsWith("HTTP/1.1 503 ") && answer.endsWith("stopping\n"), answer);
    WebClient late(gateway->urls().constFirst());
    QTRY_COMPARE(late.socket.state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(fake.source("a")->stops, 0);
    QTRY_COMPARE(drained.count(), 1);
    QTRY_COMPARE(times.size(), std::size_t(10));
    for (const auto &client : clients)
        QCOMPARE(client->socket.closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
    // The clients are not disconnected all at once.
    QVERIFY(times.back() - times.front() >= 100);
    QCOMPARE(fake.source("a")->stops, 1);
    gateway->drain(1000ms);
    QCOMPARE(drained.count(), 1);
}

void tst_Gateway::drain_answersWritesUnderWay()
{
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}])"));
    FakeSource *const source = fake.source("a");
    source->declare({keyword("/v", "int", "RW")});
    WebClient writer(gateway->urls().constFirst());
    WebClient other(gateway->urls().constFirst());
    QTRY_VERIFY(writer.isConnected() && other.isConnected());
    writer.send(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/x/v"}})");
    writer.send(R"({"cmd":"keyUpdate","payload":{"keyword":"/x/v","value":5}})");
    QTRY_COMPARE(source->writes.size(), std::size_t(1));
    QSignalSpy drained(gateway.get(), &Gateway::drained);
    gateway->drain(10s);
    QTRY_VERIFY(!other.isConnected());
    QVERIFY(writer.isConnected());
    source->report(q("/v"), 5);
    QTRY_VERIFY(!writer.isConnected());
    QVERIFY(writer.has("\"value\":5"));
    QTRY_COMPARE(drained.count(), 1);
}

void tst_Gateway::drain_answersWritesWhenTheTimeIsOver()
{
    const QTemporaryDir folder;
    const QString audit = folder.filePath(q("audit"));
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}], "audit": ")"
                  + audit.toUtf8() + '"'));
    FakeSource *const source = fake.source("a");
    source->declare({keyword("/v", "int", "RW"), keyword("/w", "int", "RW")});
    source->report(q("/v"), 1);
    WebClient writer(gateway->urls().constFirst());
    QTRY_VERIFY(writer.isConnected());
    writer.send(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/x/v"}})");
    writer.send(R"({"cmd":"keyUpdate","payload":{"keyword":"/x/v","value":5}})");
    writer.send(R"({"cmd":"keyUpdate","payload":{"keyword":"/x/w","value":6}})");
    QTRY_COMPARE(source->writes.size(), std::size_t(2));
    source->answer(source->writes.front().id, Source::Outcome::Accepted); // without a readback
    writer.texts.clear();
    gateway->drain(100ms);
    QTRY_VERIFY(!writer.isConnected());
    QCOMPARE(writer.socket.closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
    QVERIFY(!writer.texts.isEmpty());
    const QString last = writer.texts.filter(q("\"/x/v\"")).constLast();
    QVERIFY2(last.contains(q("\"error\":true")) && last.contains(q("\"value\":1")),
             qPrintable(last));
    QCOMPARE(gateway->sources().constFirst().mount->statistics().unconfirmedWrites, 2u);
    QFile file(audit);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll().count("the gateway is stopping; the outcome is unknown"), 2);
    // Later answers have no effect.
    source->answer(source->writes.back().id, Source::Outcome::Accepted);
    QCOMPARE(gateway->sources().constFirst().mount->statistics().unconfirmedWrites, 2u);
}

void tst_Gateway::drain_doesNotWaitForASourceThatHangs()
{
    fake.hang = true;
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}])"));
    fake.source("a")->declare({keyword("/v", "int", "RW")});
    WebClient writer(gateway->urls().constFirst());
    QTRY_VERIFY(writer.isConnected());
    writer.send(R"({"cmd":"keyUpdate","payload":{"keyword":"/x/v","value":5}})");
    QTRY_COMPARE(fake.source("a")->writes.size(), std::size_t(1));
    QSignalSpy drained(gateway.get(), &Gateway::drained);
    gateway->drain(100ms);
    QTRY_COMPARE(drained.count(), 1);
    QTRY_VERIFY(!writer.isConnected());
    QCOMPARE(writer.socket.closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
    QCOMPARE(fake.source("a")->stops, 1);
}

void tst_Gateway::drain_ofNobodyIsQuick()
{
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}])"));
    QSignalSpy drained(gateway.get(), &Gateway::drained);
    gateway->drain(1h);
    QTRY_COMPARE(drained.count(), 1);
}

void tst_Gateway::self_tellsOfTheGateway()
{
    fake.areReadyAtOnce = false;
    const QByteArray members = R"("self": "/g", "sources": [{"name": "a", "fake": "a",
                                                             "mount": "/x"}])";
    QVERIFY(apply(members));
    const pellix::server::KeywordServer *const server = gateway->keywordServer();
    QCOMPARE(server->value(q("/g/clients")), QVariant(0));
    QCOMPARE(server->value(q("/g/dropped")), QVariant(0));
    QCOMPARE(server->value(q("/g/sources/a/online")), QVariant(false));
    fake.source("a")->go(State::Lost, q("no route"));
    fake.source("a")->declare({keyword("/v", "int")});
    QTRY_COMPARE(server->value(q("/g/sources/a/state")), QVariant(q("Lost")));
    QCOMPARE(server->value(q("/g/sources/a/reason")), QVariant(q("no route")));
    QCOMPARE(server->value(q("/g/sources/a/keywords")), QVariant(1));
    fake.source("a")->go(State::Ready);
    for (int i = 0; i < 50; ++i)
        fake.source("a")->report(q("/v"), i);
    QTRY_VERIFY(server->value(q("/g/sources/a/messagesPerSecond")).toDouble() > 0);
    QCOMPARE(server->value(q("/g/sources/a/online")), QVariant(true));
    QVERIFY(apply(R"("self": "/g")"));
    QTRY_VERIFY(!server->contains(q("/g/sources/a/online")));
    QVERIFY(apply(R"("self": "/other")"));
    QVERIFY(!server->contains(q("/g/clients")) && server->contains(q("/other/clients")));
    QVERIFY(apply(""));
    QCOMPARE(server->keywordCount(), 0);
}

void tst_Gateway::health_tells()
{
    fake.areReadyAtOnce = false;
    QVERIFY(apply(R"("health": {"port": 0}, "sources": [{"name": "a", "fake": "a",
                                                         "mount": "/x"}])"));
    const quint16 port = gateway->healthPort();
    QVERIFY(fetch(port, "/healthz").endsWith("ok\n"));
    fake.source("a")->go(State::Connecting, q("refused"));
    const QByteArray answer = fetch(port, "/readyz");
    QVERIFY2(answer.startsWith("HTTP/1.1 503 ") && answer.endsWith("\r\n\r\na: refused\n"), answer);
    fake.source("a")->go(State::Ready);
    fake.source("a")->declare({keyword("/v", "int")});
    fake.source("a")->report(q("/v"), 5);
    QVERIFY(fetch(port, "/readyz").startsWith("HTTP/1.1 200 "));
    const QByteArray metrics = fetch(port, "/metrics");
    for (const char *line :
         {"Content-Type: text/plain; version=0.0.4; charset=utf-8\r\n", "\npellix_keywords 1\n",
          "\nkeyword_gateway_source_up{source=\"a\"} 1\n",
          "\nkeyword_gateway_messages_total{source=\"a\"} 1\n",
          "\nkeyword_gateway_source_online_keywords{source=\"a\"} 1\n",
          "\nprocess_resident_memory_bytes ", "\nprocess_open_fds ", "\nprocess_cpu_seconds_total ",
          "\nprocess_start_time_seconds "})
        QVERIFY2(metrics.contains(line), line);
    // Each name occurs once, followed by its samples.
    const QList<QByteArray> lines = metrics.mid(metrics.indexOf("\r\n\r\n") + 4).split('\n');
    QVERIFY(lines.constLast().isEmpty());
    QSet<QByteArray> seen;
    QByteArray name;
    for (const QByteArray &line : lines) {
        if (line.startsWith("# TYPE ")) {
            name = line.split(' ').at(2);
            QVERIFY2(!seen.contains(name), name);
            seen.insert(name);
        } else if (!line.isEmpty() && !line.startsWith('#')) {
            QVERIFY2(line.startsWith(name + ' ') || line.startsWith(name + '{'), line);
        }
    }
    QVERIFY(apply(""));
    QCOMPARE(gateway->healthPort(), quint16(0));
}

void tst_Gateway::log_hasALineForEachChange()
{
    QLoggingCategory::setFilterRules(q("pellixclient.gateway=true"));
    QTest::failOnWarning(QRegularExpression(q(".*")));
    fake.areReadyAtOnce = false;
    QVERIFY(apply(R"("sources": [{"name": "a", "fake": "a", "mount": "/x"}])"));
    QTest::ignoreMessage(QtWarningMsg, "a: not connected: refused");
    for (int i = 0; i < 3; ++i) {
        fake.source("a")->go(State::Connecting);
        fake.source("a")->go(State::Lost, q("refused"));
    }
    QTest::ignoreMessage(QtWarningMsg, "a: not connected: no such host");
    fake.source("a")->go(State::Lost, q("no such host"));
    QTest::ignoreMessage(QtInfoMsg, "a: ready");
    fake.source("a")->go(State::Ready);
    QTest::ignoreMessage(QtWarningMsg, "a: not connected: no such host");
    fake.source("a")->go(State::Lost, q("no such host"));
}

void tst_Gateway::audit_hasALineForEachWrite()
{
    const QTemporaryDir folder;
    const auto linesIn = [&](const char *name) {
        QFile file(folder.filePath(q(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().split('\n')
                                              : QByteArrayList();
    };
    const auto configuration = [&](const char *name) {
        return R"("sources": [{"name": "a", "mount": "/a", "fake": "a"}], "audit": ")"
            + folder.filePath(q(name)).toUtf8() + '"';
    };
    QVERIFY2(apply(configuration("1")), qPrintable(error));
    FakeSource *const source = fake.source("a");
    source->declare({keyword("/x", "int", "RW")});
    source->report(q("/x"), qint64(1));
    WebClient client(gateway->urls().constFirst());
    QTRY_VERIFY(client.isConnected());
    client.send(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/a/x"}})");
    const auto write = [&] {
        source->writes.clear();
        client.send(R"({"cmd":"keyUpdate","payload":{"keyword":"/a/x","value":5}})");
        QTRY_COMPARE(source->writes.size(), std::size_t(1));
        // cppcheck-suppress containerOutOfBounds ; the write has arrived
        source->answer(source->writes.front().id, Source::Outcome::Refused, q("too hot"));
    };
    write();
    QTRY_COMPARE(linesIn("1").size(), 1); // immediately, while the gateway is running
    const QJsonObject line = QJsonDocument::fromJson(linesIn("1").constFirst()).object();
    QCOMPARE(line.value(q("keyword")).toString(), q("/a/x"));
    QCOMPARE(line.value(q("outcome")).toString(), q("refused"));
    QCOMPARE(line.value(q("reason")).toString(), q("too hot"));

    // A file that has been moved is still written to until it is reopened.
    QVERIFY(QFile::rename(folder.filePath(q("1")), folder.filePath(q("1.old"))));
    write();
    QTRY_COMPARE(linesIn("1.old").size(), 2);
    gateway->reopenAudit();
    write();
    QTRY_COMPARE(linesIn("1").size(), 1);
    QCOMPARE(linesIn("1.old").size(), 2);
    // Lines are appended.
    gateway->reopenAudit();
    write();
    QTRY_COMPARE(linesIn("1").size(), 2);
    // Another file, and no file
    QVERIFY(apply(configuration("2")));
    write();
    QTRY_COMPARE(linesIn("2").size(), 1);
    QVERIFY(apply(R"("sources": [{"name": "a", "mount": "/a", "fake": "a"}])"));
    client.texts.clear();
    write();
    QTRY_VERIFY(client.has("\"error\":true"));
    QCOMPARE(linesIn("1").size() + linesIn("2").size(), 3);
    QVERIFY(client.isConnected());
    // A write that is pending at the end
    QVERIFY(apply(configuration("3")));
    source->writes.clear();
    client.send(R"({"cmd":"keyUpdate","payload":{"keyword":"/a/x","value":5}})");
    QTRY_COMPARE(source->writes.size(), std::size_t(1));
    QCOMPARE(linesIn("3").constFirst(), QByteArray());
    gateway.reset();
    QVERIFY(linesIn("3").constFirst().contains("/a/x"));
}

void tst_Gateway::audit_thatCannotBeOpened_changesNothing()
{
    const QTemporaryDir folder;
    QVERIFY(apply(R"("sources": [{"name": "a", "mount": "/a", "fake": "a"}])"));
    Configuration configuration = parse({});
    configuration.audit = folder.filePath(q("none/file"));
    QVERIFY(!gateway->apply(configuration, &error));
    QCOMPARE(error, q("cannot write to %1: No such file or directory").arg(configuration.audit));
    QCOMPARE(gateway->sources().size(), 1);
}

QTEST_GUILESS_MAIN(tst_Gateway)
#include "tst_gateway.moc"
