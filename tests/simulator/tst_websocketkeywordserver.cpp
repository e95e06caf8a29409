// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"
#include "simulator/keywordserver.h"
#include "simulator/websocketkeywordserver.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QTcpServer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>

#include <memory>

using namespace pellix::simulator;
using pellix::client::PKeywordProxy;
using pellix::client::PWebSocketKeywordClient;
using namespace std::chrono_literals;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// A bare WebSocket client.
struct Peer
{
    explicit Peer(const WebSocketKeywordServer &server)
    {
        QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket,
                         [this](const QString &text) { texts << text; });
        QObject::connect(&socket, &QWebSocket::binaryMessageReceived, &socket,
                         [this](const QByteArray &data) { binaries << data; });
        socket.open(server.url());
    }

    bool connected() const { return socket.state() == QAbstractSocket::ConnectedState; }
    void create(const char *keyword)
    {
        socket.sendTextMessage(
            q(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"%1"}})").arg(q(keyword)));
    }
    void index()
    {
        socket.sendTextMessage(
            q(R"({"cmd":"keyIndex","payload":{"factory":"p","uuid":"%1"}})").arg(id));
    }
    QJsonObject last() const
    {
        return QJsonDocument::fromJson(texts.constLast().toUtf8())
            .object()
            .value(q("payload"))
            .toObject();
    }

    QWebSocket socket;
    QStringList texts;
    QList<QByteArray> binaries;
    const QString id = q("{6b1c8f7e-0d0a-4d59-9a55-0c6a1c7f2f10}");
};

} // namespace

class tst_WebSocketKeywordServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(q("pellixclient.keyword.websocketclient=false"));
    }
    void init();
    void cleanup();

    void listen_reportsAPortThatIsTaken();
    void clients_areServedSideBySide();
    void leavingClient_endsItsSession();
    void close_dropsTheClients();
    void silent_neitherAnswersNorPongs();
    void silent_endDropsThatWhichWentThroughIt();
    void closeClients_closesWithTheHandshake();
    void abortClients_dropsWithoutAWord();
    void sendText_andBinaryReachTheClients();
    void answerDelay_delays();
    void duplicateIndexItems_listsTwice();
    void wrongRequestIds_answersWithOthers();
    void restart_startsEmptyOnTheSamePort();
    void libraryClient_comesBackFromEachFault_data();
    void libraryClient_comesBackFromEachFault();
    void keywordServerFirst_clientsAreRefused();
    void tls_servesThoseWhoTrustIt();
    void tls_isRefusedByThoseWhoDoNot();

private:
    std::unique_ptr<KeywordServer> keywords;
    std::unique_ptr<WebSocketKeywordServer> server;
};

void tst_WebSocketKeywordServer::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    keywords = std::make_unique<KeywordServer>();
    keywords->declare({q("/p/a"), q("int"), q("RW"), QString(), 1});
    keywords->declare({q("/p/b"), q("int"), q("RW"), QString(), 2});
    server = std::make_unique<WebSocketKeywordServer>(keywords.get());
    QVERIFY(server->listen());
    QVERIFY(server->port() != 0);
}

void tst_WebSocketKeywordServer::cleanup()
{
    server.reset();
    keywords.reset();
}

void tst_WebSocketKeywordServer::listen_reportsAPortThatIsTaken()
{
    QTcpServer other;
    QVERIFY(other.listen(QHostAddress::LocalHost));
    WebSocketKeywordServer second(keywords.get());
    QVERIFY(!second.listen(QHostAddress::LocalHost, other.serverPort()));
    QVERIFY(!second.errorString().isEmpty());
    QVERIFY(second.listen());
    QVERIFY(second.errorString().isEmpty());
}

void tst_WebSocketKeywordServer::clients_areServedSideBySide()
{
    Peer first(*server), second(*server);
    QTRY_VERIFY(first.connected() && second.connected());
    QTRY_COMPARE(server->clientCount(), 2);
    QCOMPARE(keywords->sessionCount(), 2);
    first.create("/p/a");
    second.create("/p/b");
    QTRY_COMPARE(first.texts.size(), 1);
    QTRY_COMPARE(second.texts.size(), 1);
    QCOMPARE(first.last().value(q("value")).toInt(), 1);
    QCOMPARE(second.last().value(q("value")).toInt(), 2);
    keywords->setValue(q("/p/b"), 3);
    QTRY_COMPARE(second.texts.size(), 2);
    QCOMPARE(first.texts.size(), 1);
}

void tst_WebSocketKeywordServer::leavingClient_endsItsSession()
{
    QSignalSpy counts(server.get(), &WebSocketKeywordServer::clientCountChanged);
    auto peer = std::make_unique<Peer>(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    peer.reset();
    QTRY_COMPARE(server->clientCount(), 0);
    QTRY_COMPARE(keywords->sessionCount(), 0);
    QCOMPARE(counts.count(), 2);
}

void tst_WebSocketKeywordServer::close_dropsTheClients()
{
    Peer peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    server->close();
    QCOMPARE(server->port(), quint16(0));
    QCOMPARE(keywords->sessionCount(), 0);
    QTRY_VERIFY(!peer.connected());
}

void tst_WebSocketKeywordServer::silent_neitherAnswersNorPongs()
{
    Peer silent(*server);
    QTRY_VERIFY(silent.connected());
    QTRY_COMPARE(server->clientCount(), 1);
    QSignalSpy pongs(&silent.socket, &QWebSocket::pong);
    silent.socket.ping();
    QTRY_COMPARE(pongs.count(), 1);

    server->setSilent(true);
    silent.create("/p/a");
    silent.socket.ping();
    keywords->setValue(q("/p/a"), 5);
    Peer late(*server);
    // Another server on the same event loop answers meanwhile.
    WebSocketKeywordServer other(keywords.get());
    QVERIFY(other.listen());
    Peer witness(other);
    QTRY_VERIFY(witness.connected());
    for (int i = 1; i <= 20; ++i) {
        witness.create("/p/b");
        QTRY_COMPARE(witness.texts.size(), i);
    }
    QCOMPARE(pongs.count(), 1);
    QVERIFY(silent.texts.isEmpty());
    QVERIFY(silent.connected());
    QVERIFY(!late.connected());
}

void tst_WebSocketKeywordServer::silent_endDropsThatWhichWentThroughIt()
{
    Peer peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    server->setSilent(true);
    server->setSilent(false);
    QTRY_VERIFY(!peer.connected());
    QTRY_COMPARE(keywords->sessionCount(), 0);
    Peer next(*server);
    QTRY_VERIFY(next.connected());
    next.create("/p/a");
    QTRY_COMPARE(next.texts.size(), 1);
}

void tst_WebSocketKeywordServer::closeClients_closesWithTheHandshake()
{
    Peer peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    QTRY_VERIFY(peer.connected());
    server->closeClients();
    QTRY_VERIFY(!peer.connected());
    QCOMPARE(peer.socket.closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
    QTRY_COMPARE(server->clientCount(), 0);
}

void tst_WebSocketKeywordServer::abortClients_dropsWithoutAWord()
{
    Peer peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    QTRY_VERIFY(peer.connected());
    server->abortClients();
    QTRY_VERIFY(!peer.connected());
    QVERIFY(peer.socket.closeCode() != QWebSocketProtocol::CloseCodeGoingAway);
    QCOMPARE(server->clientCount(), 0);
}

void tst_WebSocketKeywordServer::sendText_andBinaryReachTheClients()
{
    Peer peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    server->sendText(q("gar{bage"));
    server->sendBinary(QByteArray("\0\1", 2));
    QTRY_COMPARE(peer.binaries.size(), 1);
    QCOMPARE(peer.texts, QStringList({q("gar{bage")}));
    QCOMPARE(peer.binaries.constFirst(), QByteArray("\0\1", 2));
}

void tst_WebSocketKeywordServer::answerDelay_delays()
{
    Peer peer(*server);
    QTRY_VERIFY(peer.connected());
    server->setAnswerDelay(200ms);
    QElapsedTimer elapsed;
    elapsed.start();
    peer.create("/p/a");
    QTRY_COMPARE(peer.texts.size(), 1);
    QVERIFY(elapsed.elapsed() >= 180);
}

void tst_WebSocketKeywordServer::duplicateIndexItems_listsTwice()
{
    Peer peer(*server);
    QTRY_VERIFY(peer.connected());
    peer.index();
    QTRY_COMPARE(peer.texts.size(), 1);
    QCOMPARE(peer.last().value(q("response")).toArray().size(), 2);
    server->setDuplicateIndexItems(true);
    peer.index();
    QTRY_COMPARE(peer.texts.size(), 2);
    QCOMPARE(peer.last().value(q("response")).toArray().size(), 4);
}

void tst_WebSocketKeywordServer::wrongRequestIds_answersWithOthers()
{
    Peer peer(*server);
    QTRY_VERIFY(peer.connected());
    const auto answered = [&] {
        return peer.last().value(q("request")).toObject().value(q("uuid"));
    };
    peer.index();
    QTRY_COMPARE(peer.texts.size(), 1);
    QCOMPARE(answered(), QJsonValue(peer.id));
    server->setWrongRequestIds(true);
    peer.index();
    QTRY_COMPARE(peer.texts.size(), 2);
    QVERIFY(answered() != QJsonValue(peer.id));
}

void tst_WebSocketKeywordServer::restart_startsEmptyOnTheSamePort()
{
    const quint16 port = server->port();
    Peer peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    QSignalSpy restarted(server.get(), &WebSocketKeywordServer::restarted);
    QVERIFY(server->restart());
    QCOMPARE(restarted.count(), 1);
    QCOMPARE(server->port(), port);
    QCOMPARE(keywords->keywordCount(), 0);
    QTRY_VERIFY(!peer.connected());
    Peer next(*server);
    QTRY_VERIFY(next.connected());
}

void tst_WebSocketKeywordServer::libraryClient_comesBackFromEachFault_data()
{
    QTest::addColumn<QString>("fault");
    for (const char *fault :
         {"close", "abort", "garbage", "binary", "restart", "silent and back", "silent for good"})
        QTest::newRow(fault) << q(fault);
}

void tst_WebSocketKeywordServer::libraryClient_comesBackFromEachFault()
{
    QFETCH(QString, fault);
    PWebSocketKeywordClient client;
    client.setAutoReconnect(true);
    client.setUrls({server->url().toString()});
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/p/a"));
    QTRY_COMPARE(proxy.value().toInt(), 1);
    QSignalSpy connected(&client, &PWebSocketKeywordClient::connectedChanged);
    const bool survives = fault == q("garbage") || fault == q("binary");

    if (fault == q("close")) {
        server->closeClients();
    } else if (fault == q("abort")) {
        server->abortClients();
    } else if (fault == q("garbage")) {
        server->sendText(q("{\"cmd\":\"keyEvent\",\"payload\":[1,"));
    } else if (fault == q("binary")) {
        server->sendBinary(QByteArray("\0\1", 2));
    } else if (fault == q("restart")) {
        connect(server.get(), &WebSocketKeywordServer::restarted, this, [this] {
            keywords->declare({q("/p/a"), q("int"), q("RW"), QString(), 0});
        });
        server->restart();
    } else {
        server->setSilent(true);
        if (fault == q("silent for good"))
            QTRY_VERIFY_WITH_TIMEOUT(!client.connected(), 16000); // found out by the keep-alive
        server->setSilent(false);
    }
    if (!survives)
        QTRY_VERIFY(connected.count() > 0);
    keywords->setValue(q("/p/a"), 42);

    QTRY_COMPARE(proxy.value().toInt(), 42);
    QVERIFY(client.connected());
    QCOMPARE(connected.count() > 0, !survives);
}

void tst_WebSocketKeywordServer::keywordServerFirst_clientsAreRefused()
{
    Peer peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    keywords.reset();
    peer.create("/p/a");
    Peer late(*server);
    QTRY_COMPARE(late.socket.state(), QAbstractSocket::UnconnectedState);
    QVERIFY(peer.texts.isEmpty());
}

namespace {

QSslCertificate testCertificate()
{
    return QSslCertificate::fromPath(q(TLS_FILES "/server.crt")).value(0);
}

QSslKey testKey()
{
    QFile file(q(TLS_FILES "/server.key"));
    return file.open(QIODevice::ReadOnly) ? QSslKey(&file, QSsl::Ec) : QSslKey();
}

} // namespace

void tst_WebSocketKeywordServer::tls_servesThoseWhoTrustIt()
{
    server->setTls(testCertificate(), testKey());
    QVERIFY(server->listen());
    QCOMPARE(server->url().scheme(), q("wss"));
    // A client takes the default configuration of the time when it is made.
    const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
    QSslConfiguration trusting = before;
    trusting.setCaCertificates({testCertificate()});
    QSslConfiguration::setDefaultConfiguration(trusting);
    PWebSocketKeywordClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/p/a"));

    client.setUrls({server->url().toString()});

    QTRY_COMPARE(proxy.value().toInt(), 1);
    proxy.update(7);
    QTRY_COMPARE(proxy.value().toInt(), 7);
    QSslConfiguration::setDefaultConfiguration(before);
}

void tst_WebSocketKeywordServer::tls_isRefusedByThoseWhoDoNot()
{
    server->setTls(testCertificate(), testKey());
    QVERIFY(server->listen());
    static QStringList errors;
    errors.clear();
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.websocketclient.debug=false"));
    static QtMessageHandler previous = nullptr;
    previous = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext &context, const QString &text) {
            if (QLatin1String(context.category)
                == QLatin1String("pellixclient.keyword.websocketclient"))
                errors << text;
            else
                previous(type, context, text);
        });
    PWebSocketKeywordClient client;
    QSignalSpy connected(&client, &PWebSocketKeywordClient::connectedChanged);

    client.setUrls({server->url().toString()});

    QTRY_VERIFY(!errors.isEmpty());
    QVERIFY(!client.connected());
    QCOMPARE(connected.count(), 0);
    client.setUrls({});
    qInstallMessageHandler(previous);
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.websocketclient=false"));
}

QTEST_GUILESS_MAIN(tst_WebSocketKeywordServer)
#include "tst_websocketkeywordserver.moc"
