// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"
#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"
#include "tests/support/rawclient.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QScopeGuard>
#include <QtNetwork/QNetworkInterface>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QTcpServer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>

#include <functional>
#include <memory>
#include <vector>

using namespace pellix::server;
using namespace pellix::simulator;
using pellix::client::PKeywordProxy;
using pellix::client::PWebSocketKeywordClient;
using namespace std::chrono_literals;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// A WebSocket client that does not use the library.
struct BareClient
{
    explicit BareClient(const FaultyWebSocketServer &server)
    {
        QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket,
                         [this](const QString &text) { texts << text; });
        QObject::connect(&socket, &QWebSocket::binaryMessageReceived, &socket,
                         [this](const QByteArray &data) { binaries << data; });
        QObject::connect(&socket, &QWebSocket::sslErrors, &socket,
                         [this] { socket.ignoreSslErrors(); });
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
    void listen_letsManyConnectAtOnce();
    void clients_areServedSideBySide();
    void leavingClient_endsItsSession();
    void close_dropsTheClients();
    void silent_neitherAnswersNorPongs();
    void silent_endDropsThatWhichWentThroughIt();
    void closeClients_closesWithTheHandshake();
    void closeClients_closesAFewAtATime();
    void abortClients_dropsWithoutAWord();
    void sendText_andBinaryReachTheClients();
    void event_comesBeforeWhatFollows_data();
    void event_comesBeforeWhatFollows();
    void messages_ofAnyLengthArriveWhole();
    void answerDelay_delays();
    void duplicateIndexItems_listsTwice();
    void wrongRequestIds_answersWithOthers();
    void restart_startsEmptyOnTheSamePort();
    void libraryClient_comesBackFromEachFault_data();
    void libraryClient_comesBackFromEachFault();
    void keywordServerFirst_clientsAreRefused();
    void tls_servesThoseWhoTrustIt();
    void tls_isRefusedByThoseWhoDoNot();
    void tls_takesNoKeyOfAnother();
    void stalledReader_isDropped_data();
    void stalledReader_isDropped();
    void stalledReader_ofPongsIsDropped_data();
    void stalledReader_ofPongsIsDropped();
    void stalledReader_mayBeDroppedInsideOfAnything();
    void slowReader_isServed_data();
    void slowReader_isServed();
    void slowReader_getsAllThatItAskedFor_data();
    void slowReader_getsAllThatItAskedFor();
    void slowReader_hasItsCommandsWait_data();
    void slowReader_hasItsCommandsWait();
    void slowReader_hasItsCommandsTakenWhenItGoes_data();
    void slowReader_hasItsCommandsTakenWhenItGoes();
    void partingClient_getsItsAnswersFirst_data();
    void partingClient_getsItsAnswersFirst();
    void partingClient_isAnsweredAsItCloses_data();
    void partingClient_isAnsweredAsItCloses();
    void partingClient_isNotWaitedFor();
    void longMessage_needsMoreThanTheLimit();
    void request_isGrantedOrRefused_data();
    void request_isGrantedOrRefused();
    void request_ofAWebPageNeverConnects();
    void request_inPiecesIsGranted();
    void origin_isKnownByItsForm_data();
    void origin_isKnownByItsForm();
    void unfinishedHandshake_isDropped_data();
    void unfinishedHandshake_isDropped();
    void unfinishedHandshake_isNotDroppedInSilence();
    void finishedHandshake_isNotDropped();
    void refusedConnections_leaveNothing();
    void urls_areThoseThatReachIt_data();
    void urls_areThoseThatReachIt();

private:
    void listenWithTls();

    std::unique_ptr<KeywordServer> keywords;
    std::unique_ptr<FaultyWebSocketServer> server;
};

void tst_WebSocketKeywordServer::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    keywords = std::make_unique<KeywordServer>();
    keywords->declare({q("/p/a"), q("int"), q("RW"), QString(), 1});
    keywords->declare({q("/p/b"), q("int"), q("RW"), QString(), 2});
    server = std::make_unique<FaultyWebSocketServer>(keywords.get());
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
    FaultyWebSocketServer second(keywords.get());
    QVERIFY(!second.listen(QHostAddress::LocalHost, other.serverPort()));
    QVERIFY(!second.errorString().isEmpty());
    QVERIFY(second.listen());
    QVERIFY(second.errorString().isEmpty());
}

// Clients for which the system has no space retry after one second, and then after two.
void tst_WebSocketKeywordServer::listen_letsManyConnectAtOnce()
{
    std::vector<std::unique_ptr<QTcpSocket>> connections;
    for (int i = 0; i < 300; ++i) { // while the server accepts no connection
        connections.push_back(std::make_unique<QTcpSocket>());
        connections.back()->connectToHost(QHostAddress::LocalHost, server->port());
        QVERIFY2(connections.back()->waitForConnected(), qPrintable(QString::number(i)));
    }
}

void tst_WebSocketKeywordServer::clients_areServedSideBySide()
{
    BareClient first(*server), second(*server);
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
    QSignalSpy counts(server.get(), &FaultyWebSocketServer::clientCountChanged);
    auto peer = std::make_unique<BareClient>(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    peer.reset();
    QTRY_COMPARE(server->clientCount(), 0);
    QTRY_COMPARE(keywords->sessionCount(), 0);
    QTRY_COMPARE(counts.count(), 2);
}

void tst_WebSocketKeywordServer::close_dropsTheClients()
{
    BareClient peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    server->close();
    QCOMPARE(server->port(), quint16(0));
    QCOMPARE(keywords->sessionCount(), 0);
    QTRY_VERIFY(!peer.connected());
}

void tst_WebSocketKeywordServer::silent_neitherAnswersNorPongs()
{
    BareClient silent(*server);
    QTRY_VERIFY(silent.connected());
    QTRY_COMPARE(server->clientCount(), 1);
    QSignalSpy pongs(&silent.socket, &QWebSocket::pong);
    silent.socket.ping();
    QTRY_COMPARE(pongs.count(), 1);

    server->setSilent(true);
    silent.create("/p/a");
    silent.socket.ping();
    keywords->setValue(q("/p/a"), 5);
    BareClient late(*server);
    // Another server on the same event loop replies in the meantime.
    FaultyWebSocketServer other(keywords.get());
    QVERIFY(other.listen());
    BareClient witness(other);
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
    BareClient peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    server->setSilent(true);
    server->setSilent(false);
    QTRY_VERIFY(!peer.connected());
    QTRY_COMPARE(keywords->sessionCount(), 0);
    BareClient next(*server);
    QTRY_VERIFY(next.connected());
    next.create("/p/a");
    QTRY_COMPARE(next.texts.size(), 1);
}

void tst_WebSocketKeywordServer::closeClients_closesWithTheHandshake()
{
    BareClient peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    QTRY_VERIFY(peer.connected());
    server->closeClients();
    QTRY_VERIFY(!peer.connected());
    QCOMPARE(peer.socket.closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
    QTRY_COMPARE(server->clientCount(), 0);
}

void tst_WebSocketKeywordServer::closeClients_closesAFewAtATime()
{
    WriteRequest request;
    keywords->setWriteHandler(q("/p/a"), [&](const WriteRequest &asked) { request = asked; });
    BareClient writer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    BareClient second(*server);
    QTRY_COMPARE(server->clientCount(), 2);
    BareClient third(*server);
    QTRY_COMPARE(server->clientCount(), 3);
    QTRY_VERIFY(writer.connected() && second.connected() && third.connected());
    writer.socket.sendTextMessage(
        q(R"({"cmd":"keyUpdate","payload":{"keyword":"/p/a","value":5}})"));
    QTRY_VERIFY(request.isPending());

    QCOMPARE(server->closeClients(0), 3);
    QCOMPARE(server->closeClients(1), 2);
    QTRY_VERIFY(!second.connected());
    QCOMPARE(second.socket.closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
    QCOMPARE(server->closeClients(5), 1);
    QTRY_VERIFY(!third.connected());
    QVERIFY(writer.connected());
    request.accept();
    QCOMPARE(server->closeClients(5), 0);
    QTRY_VERIFY(!writer.connected());
    QTRY_COMPARE(server->clientCount(), 0);
}

void tst_WebSocketKeywordServer::abortClients_dropsWithoutAWord()
{
    BareClient peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    QTRY_VERIFY(peer.connected());
    server->abortClients();
    QTRY_VERIFY(!peer.connected());
    QVERIFY(peer.socket.closeCode() != QWebSocketProtocol::CloseCodeGoingAway);
    QCOMPARE(server->clientCount(), 0);
}

void tst_WebSocketKeywordServer::sendText_andBinaryReachTheClients()
{
    BareClient peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    server->sendText(q("gar{bage"));
    server->sendBinary(QByteArray("\0\1", 2));
    QTRY_COMPARE(peer.binaries.size(), 1);
    QCOMPARE(peer.texts, QStringList({q("gar{bage")}));
    QCOMPARE(peer.binaries.constFirst(), QByteArray("\0\1", 2));
}

void tst_WebSocketKeywordServer::event_comesBeforeWhatFollows_data()
{
    QTest::addColumn<std::function<void(FaultyWebSocketServer *)>>("what");
    QTest::addColumn<bool>("closes");
    const auto row = [](const char *name, bool closes,
                        const std::function<void(FaultyWebSocketServer *)> &what) {
        QTest::newRow(name) << what << closes;
    };
    row("closing", true, [](FaultyWebSocketServer *server) { server->closeClients(); });
    row("access taken away", true, [](FaultyWebSocketServer *server) {
        server->endSessions(ClientIdentification::fullRights);
    });
    row("a text beside it", false, [](FaultyWebSocketServer *server) { server->sendText(q("x")); });
    row("data beside it", false,
        [](FaultyWebSocketServer *server) { server->sendBinary(QByteArray("x")); });
}

void tst_WebSocketKeywordServer::event_comesBeforeWhatFollows()
{
    QFETCH(std::function<void(FaultyWebSocketServer *)>, what);
    QFETCH(bool, closes);
    BareClient peer(*server);
    QStringList order;
    connect(&peer.socket, &QWebSocket::textMessageReceived, &peer.socket,
            [&order](const QString &text) { order << text.left(8); });
    connect(&peer.socket, &QWebSocket::binaryMessageReceived, &peer.socket,
            [&order] { order << q("x"); });
    QTRY_VERIFY(peer.connected());
    peer.create("/p/a");
    QTRY_COMPARE(peer.texts.size(), 1);
    order.clear();

    keywords->setValue(q("/p/a"), 5);
    what(server.get());

    QTRY_COMPARE(!peer.connected(), closes);
    QTRY_COMPARE(
        order, closes ? QStringList {q("{\"cmd\":\"")} : (QStringList {q("{\"cmd\":\""), q("x")}));
    peer.texts = peer.texts.mid(0, 2);
    QCOMPARE(peer.last().value(q("value")).toInt(), 5);
}

// Tests each form of the length in a frame, and longer messages.
void tst_WebSocketKeywordServer::messages_ofAnyLengthArriveWhole()
{
    keywords->declare({q("/p/text"), q("string"), q("R"), QString(), q("")});
    BareClient peer(*server);
    QTRY_VERIFY(peer.connected());
    peer.socket.sendTextMessage(q(R"({"cmd":"keyIndex","payload":{"factory":"none"}})"));
    QTRY_COMPARE(peer.texts.size(), 1);
    QVERIFY(peer.texts.takeFirst().size() < 126);
    peer.create("/p/text");
    QTRY_COMPARE(peer.texts.size(), 1);
    const qsizetype empty = peer.texts.takeFirst().size();
    QVERIFY(empty > 126);

    for (const qsizetype length : {200, 0xfffe, 0xffff, 0x10000, 0x10001, 1000000}) {
        const QString text(length - empty, QLatin1Char('x'));
        const QString umlaut = text.chopped(2) + QChar(0xe4);
        for (const QString &value : {text, umlaut}) { // text with the same number of bytes
            peer.texts.clear();
            keywords->setValue(q("/p/text"), value);
            keywords->setValue(q("/p/text"), q("end"));
            QTRY_COMPARE(peer.texts.size(), 2);
            QCOMPARE(peer.last().value(q("value")).toString(), q("end"));
            peer.texts.removeLast();
            QCOMPARE(peer.last().value(q("value")).toString(), value);
        }
    }
}

void tst_WebSocketKeywordServer::answerDelay_delays()
{
    BareClient peer(*server);
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
    BareClient peer(*server);
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
    BareClient peer(*server);
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
    BareClient peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    QSignalSpy restarted(server.get(), &FaultyWebSocketServer::restarted);
    QVERIFY(server->restart());
    QCOMPARE(restarted.count(), 1);
    QCOMPARE(server->port(), port);
    QCOMPARE(keywords->keywordCount(), 0);
    QTRY_VERIFY(!peer.connected());
    BareClient next(*server);
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
        connect(server.get(), &FaultyWebSocketServer::restarted, this, [this] {
            keywords->declare({q("/p/a"), q("int"), q("RW"), QString(), 0});
        });
        server->restart();
    } else {
        server->setSilent(true);
        if (fault == q("silent for good"))
            QTRY_VERIFY_WITH_TIMEOUT(!client.connected(), 16000); // detected by the keep-alive
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
    BareClient peer(*server);
    QTRY_COMPARE(server->clientCount(), 1);
    keywords.reset();
    peer.create("/p/a");
    BareClient late(*server);
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
    // A client uses the default configuration at the time of its creation.
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

void tst_WebSocketKeywordServer::tls_takesNoKeyOfAnother()
{
    QVERIFY(server->setTls(testCertificate(), testKey()));
    QVERIFY(server->errorString().isEmpty());
    QVERIFY(!server->setTls(testCertificate(), QSslKey()));
    QVERIFY2(server->errorString().startsWith(q("the certificate cannot be used: ")),
             qPrintable(server->errorString()));
    QVERIFY(server->listen());
    QCOMPARE(server->url().scheme(), q("wss")); // with the previous certificate
    QVERIFY(server->setTls(QSslCertificate(), QSslKey()));
    QVERIFY(server->listen());
    QCOMPARE(server->url().scheme(), q("ws"));
}

namespace {

constexpr qint64 kibibyte = 1024;
constexpr qint64 mebibyte = 1024 * kibibyte;

void expectStalledClient()
{
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression(q("^disconnected 127\\.0\\.0\\.1:\\d+: it does not read, and \\d+ "
                             "bytes wait for it$")));
}

QByteArray updateOf(int value, const QByteArray &padding = {})
{
    return RawClient::frame(1,
                            R"({"cmd":"keyUpdate","payload":{"keyword":"/p/a","value":)"
                                + QByteArray::number(value) + padding + "}}");
}

void addTransports()
{
    QTest::addColumn<bool>("tls");
    QTest::newRow("ws") << false;
    QTest::newRow("wss") << true;
}

} // namespace

void tst_WebSocketKeywordServer::listenWithTls()
{
    QVERIFY(server->setTls(testCertificate(), testKey()));
    QVERIFY(server->listen());
}

void tst_WebSocketKeywordServer::stalledReader_isDropped_data()
{
    addTransports();
}

void tst_WebSocketKeywordServer::stalledReader_isDropped()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    RawClient stalled(server->url(), tls), reading(server->url(), tls);
    QVERIFY(stalled.open() && reading.open());
    QTRY_COMPARE(server->clientCount(), 2);
    stalled.setReading(0);
    reading.keeps = false;
    expectStalledClient();

    int sent = 0;
    while (server->clientCount() == 2 && sent < 100) {
        server->sendText(QString(mebibyte, QLatin1Char('x')));
        ++sent;
        QTRY_VERIFY(reading.count >= sent * (mebibyte + 256)); // with 64 headers
    }

    QCOMPARE(server->clientCount(), 1);
    QTRY_COMPARE(keywords->sessionCount(), 1);
    QVERIFY(sent > 16);
    QVERIFY2(sent < 64, qPrintable(QString::number(sent))); // some data is in the system buffers
    stalled.setReading(mebibyte);
    QTRY_VERIFY(!stalled.isConnected());
    QVERIFY(stalled.count <= sent * (mebibyte + 256 + 16));

    const qint64 before = reading.count;
    server->sendText(q("more"));
    QTRY_COMPARE(reading.count, before + 6);
}

void tst_WebSocketKeywordServer::stalledReader_ofPongsIsDropped_data()
{
    addTransports();
}

void tst_WebSocketKeywordServer::stalledReader_ofPongsIsDropped()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    RawClient client(server->url(), tls);
    QVERIFY(client.open());
    client.setReading(0);
    QByteArray pings;
    for (int i = 0; i < 1000; ++i)
        pings += RawClient::frame(9, QByteArray(125, 'x'));
    expectStalledClient();

    for (int i = 0; i < 1000 && client.isConnected(); ++i) {
        client.send(pings);
        QTRY_VERIFY(client.unsentBytes() == 0);
    }

    QTRY_COMPARE(server->clientCount(), 0);
}

// The limit may be reached while the server sends an event or a reply. Its owner may even delete it
// at this time.
void tst_WebSocketKeywordServer::stalledReader_mayBeDroppedInsideOfAnything()
{
    keywords->declare({q("/p/text"), q("string"), q("RW"), QString(), QString()});
    RawClient stalled(server->url());
    QVERIFY(stalled.open());
    stalled.send(
        RawClient::frame(1, R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/p/text"}})"));
    QTRY_VERIFY(!stalled.received.isEmpty());
    stalled.setReading(0);
    expectStalledClient();
    connect(server.get(), &FaultyWebSocketServer::clientCountChanged, this,
            [this] { server.reset(); });

    for (int i = 0; i < 100 && server; ++i) {
        keywords->setValue(q("/p/text"), QString(mebibyte, QLatin1Char(i % 2 ? 'x' : 'y')));
        if (server)
            server->sendText(QString(mebibyte, QLatin1Char('z')));
        QCoreApplication::processEvents();
    }

    QTRY_VERIFY(!server);
    QCOMPARE(keywords->sessionCount(), 0);
}

void tst_WebSocketKeywordServer::slowReader_isServed_data()
{
    addTransports();
}

void tst_WebSocketKeywordServer::slowReader_isServed()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    RawClient slow(server->url(), tls);
    QVERIFY(slow.open());
    slow.keeps = false;
    slow.setReading(64 * kibibyte);
    const qint64 before = slow.count;

    // More than the limit in total, but never at once.
    constexpr qint64 burst = 12 * mebibyte;
    for (int sent = 1; sent <= 4; ++sent) {
        server->sendBinary(QByteArray(burst, 'x'));
        QTRY_VERIFY_WITH_TIMEOUT(slow.count >= before + sent * burst, 60000);
    }

    QVERIFY(slow.isConnected());
    QCOMPARE(server->clientCount(), 1);
}

void tst_WebSocketKeywordServer::slowReader_getsAllThatItAskedFor_data()
{
    addTransports();
}

void tst_WebSocketKeywordServer::slowReader_getsAllThatItAskedFor()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    keywords->declare(
        {q("/p/text"), q("string"), q("RW"), QString(), QString(mebibyte, QLatin1Char('x'))});
    RawClient slow(server->url(), tls);
    QVERIFY(slow.open());
    slow.keeps = false;
    slow.setReading(64 * kibibyte);
    const qint64 before = slow.count;
    QByteArray commands;
    for (int i = 0; i < 50; ++i)
        commands += updateOf(i) + RawClient::frame(1, R"({"cmd":"keyCreateOrUpdate",
                                   "payload":{"keyword":"/p/text"}})");

    slow.send(commands);

    QTRY_VERIFY_WITH_TIMEOUT(slow.count >= before + 50 * mebibyte, 60000);
    QCOMPARE(keywords->value(q("/p/a")).toInt(), 49);
    QCOMPARE(server->clientCount(), 1);
}

void tst_WebSocketKeywordServer::slowReader_hasItsCommandsWait_data()
{
    addTransports();
}

// The commands wait in the connection, which accepts no more data, and not in memory of the server.
void tst_WebSocketKeywordServer::slowReader_hasItsCommandsWait()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    RawClient slow(server->url(), tls);
    QVERIFY(slow.open());
    slow.keeps = false;
    slow.setReading(0);
    server->sendBinary(QByteArray(24 * mebibyte, 'x'));
    constexpr int count = 40000;
    const QByteArray padding(1000, ' ');
    QByteArray commands;
    for (int i = 0; i < count; ++i)
        commands += updateOf(i, padding);

    slow.send(commands);
    BareClient witness(*server);
    for (int i = 1; i <= 20; ++i) { // in the meantime
        QTRY_VERIFY(witness.connected());
        witness.create("/p/b");
        QTRY_COMPARE(witness.texts.size(), i);
    }
    QVERIFY(slow.unsentBytes() > 0);
    QCOMPARE(keywords->value(q("/p/a")).toInt(), 1);

    slow.setReading(mebibyte);
    QTRY_COMPARE_WITH_TIMEOUT(keywords->value(q("/p/a")).toInt(), count - 1, 60000);
    QCOMPARE(server->clientCount(), 2);
}

void tst_WebSocketKeywordServer::slowReader_hasItsCommandsTakenWhenItGoes_data()
{
    addTransports();
}

void tst_WebSocketKeywordServer::slowReader_hasItsCommandsTakenWhenItGoes()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    RawClient slow(server->url(), tls);
    QVERIFY(slow.open());
    slow.setReading(0);
    server->sendBinary(QByteArray(24 * mebibyte, 'x'));
    slow.send(updateOf(77));
    QTRY_COMPARE(slow.unsentBytes(), qint64(0));
    BareClient witness(*server);
    QTRY_COMPARE(server->clientCount(), 2);
    QCOMPARE(keywords->value(q("/p/a")).toInt(), 1);
    witness.socket.abort();
    slow.socket.disconnectFromHost();
    QTRY_COMPARE(server->clientCount(), 0);
    QCOMPARE(keywords->value(q("/p/a")).toInt(), 77);
}

namespace {

// The opcode and the payload of each frame from a server. No frame may be long.
QList<std::pair<int, QByteArray>> framesIn(const QByteArray &sent)
{
    QList<std::pair<int, QByteArray>> frames;
    for (qsizetype at = 0; at + 2 <= sent.size();) {
        const int opcode = sent.at(at) & 0x0f;
        qsizetype size = uchar(sent.at(at + 1));
        at += 2;
        if (size == 126) {
            size = uchar(sent.at(at)) * 256 + uchar(sent.at(at + 1));
            at += 2;
        }
        frames.append({opcode, sent.mid(at, size)});
        at += size;
    }
    return frames;
}

QByteArray closeFrame(int code, const QByteArray &reason = {})
{
    return RawClient::frame(8, QByteArray(1, char(code >> 8)) + char(code & 0xff) + reason);
}

const QByteArray questions =
    RawClient::frame(1, R"({"cmd":"keyIndex","payload":{"factory":"p","uuid":"x"}})")
    + RawClient::frame(1, R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/p/b"}})");

} // namespace

void tst_WebSocketKeywordServer::partingClient_getsItsAnswersFirst_data()
{
    addTransports();
}

// For requests in the same packet that closes the connection.
void tst_WebSocketKeywordServer::partingClient_getsItsAnswersFirst()
{
    QFETCH(bool, tls);
    if (tls)
        listenWithTls();
    RawClient client(server->url(), tls);
    QVERIFY(client.open());

    client.send(
        questions + closeFrame(1001, "bye")
        + RawClient::frame(1, R"({"cmd":"keyUpdate","payload":{"keyword":"/p/a","value":9}})"));

    QTRY_VERIFY(!client.isConnected());
    const auto frames = framesIn(client.received);
    QCOMPARE(frames.size(), qsizetype(3));
    QVERIFY(frames.at(0).second.contains(R"("uuid":"x")"));
    QVERIFY2(frames.at(1).second.contains("/p/b"), frames.at(1).second.constData());
    QCOMPARE(frames.at(2).first, 8);
    QCOMPARE(frames.at(2).second, QByteArray::fromHex("03e9"));
    QTRY_COMPARE(server->clientCount(), 0);
    QTRY_COMPARE(keywords->sessionCount(), 0);
    QCOMPARE(keywords->value(q("/p/a")).toInt(), 1); // the write after the close frame is ignored
}

void tst_WebSocketKeywordServer::partingClient_isAnsweredAsItCloses_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("code");
    QTest::newRow("no code") << RawClient::frame(8, {}) << 1000;
    QTest::newRow("normal") << closeFrame(1000) << 1000;
    QTest::newRow("of an application") << closeFrame(4000, "enough") << 4000;
    QTest::newRow("one byte") << RawClient::frame(8, "x") << 1002;
    QTest::newRow("reserved code") << closeFrame(1005) << 1002;
    QTest::newRow("no such code") << closeFrame(2000) << 1002;
}

// The same reply with and without a request in the packet.
void tst_WebSocketKeywordServer::partingClient_isAnsweredAsItCloses()
{
    QFETCH(QByteArray, frame);
    QFETCH(int, code);
    const auto answer = [this](const QByteArray &sent) {
        RawClient client(server->url());
        if (!client.open())
            return -1;
        client.send(sent);
        if (!waitFor([&client] { return !client.isConnected(); }))
            return -2;
        const auto frames = framesIn(client.received);
        if (frames.isEmpty() || frames.last().first != 8)
            return -3;
        const QByteArray payload = frames.last().second;
        return uchar(payload.at(0)) * 256 + uchar(payload.at(1));
    };

    QCOMPARE(answer(frame), code);
    QCOMPARE(answer(questions + frame), code);
    QTRY_COMPARE(server->clientCount(), 0);
}

// A client that does not read gets no replies, and the connection of a client that sends too many
// requests is not kept open for them.
void tst_WebSocketKeywordServer::partingClient_isNotWaitedFor()
{
    RawClient deaf(server->url());
    QVERIFY(deaf.open());
    deaf.setReading(0);
    server->sendBinary(QByteArray(8 * mebibyte, 'x'));
    deaf.send(questions + updateOf(7) + closeFrame(1000));
    QTRY_COMPARE(deaf.socket.bytesToWrite(), qint64(0));
    deaf.socket.abort();
    QTRY_COMPARE(server->clientCount(), 0);
    QCOMPARE(keywords->value(q("/p/a")).toInt(), 7); // its write is executed

    Limits limits = keywords->limits();
    limits.commandsPerSecond = 1;
    keywords->setLimits(limits);
    RawClient hasty(server->url());
    QVERIFY(hasty.open());
    QByteArray updates;
    for (int i = 0; i < 100; ++i)
        updates += updateOf(i);
    hasty.send(updates + closeFrame(1000));
    QTRY_VERIFY(!hasty.isConnected());
    QTRY_COMPARE(keywords->value(q("/p/a")).toInt(), 99);
    QTRY_COMPARE(keywords->sessionCount(), 0);
}

void tst_WebSocketKeywordServer::longMessage_needsMoreThanTheLimit()
{
    RawClient client(server->url());
    QVERIFY(client.open());
    client.keeps = false;
    const qint64 before = client.count;
    server->sendBinary(QByteArray(40 * mebibyte, 'x'));
    for (int i = 0; i < 100; ++i)
        server->sendText(q("event"));
    QTRY_VERIFY(client.count >= before + 40 * mebibyte + 100 * 5);
    QCOMPARE(server->clientCount(), 1);

    client.setReading(0);
    expectStalledClient();
    for (int i = 0; i < 3; ++i)
        server->sendBinary(QByteArray(40 * mebibyte, 'x'));
    QTRY_COMPARE(server->clientCount(), 0);
}

void tst_WebSocketKeywordServer::request_isGrantedOrRefused_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const QByteArray &headers, const char *status,
                        const char *reason = "") {
        QTest::newRow(name) << RawClient::request(headers) << QByteArray(status) << q(reason);
    };
    row("no origin", "", "101");
    row("allowed", "Origin: http://localhost:3000\r\n", "101");
    row("another allowed one", "oRIGIN:https://example.org  \r\n", "101");
    row("others", "User-Agent: x\r\nX-Origin: http://evil.example\r\n", "101");
    row("another host", "Origin: http://evil.example\r\n", "403",
        "its origin \"http://evil.example\" is not allowed");
    row("another port", "Origin: http://localhost:3001\r\n", "403",
        "its origin \"http://localhost:3001\" is not allowed");
    row("another scheme", "Origin: https://localhost:3000\r\n", "403",
        "its origin \"https://localhost:3000\" is not allowed");
    row("part of an allowed one", "Origin: http://localhost\r\n", "403",
        "its origin \"http://localhost\" is not allowed");
    row("more than an allowed one", "Origin: http://localhost:3000.evil.example\r\n", "403",
        "its origin \"http://localhost:3000.evil.example\" is not allowed");
    row("null", "Origin: null\r\n", "403", "its origin \"null\" is not allowed");
    row("empty", "Origin:\r\n", "403", "its origin \"\" is not allowed");
    row("two", "Origin: http://localhost:3000\r\nOrigin: http://evil.example\r\n", "403",
        "its origin \"http://evil.example\" is not allowed");
    row("blank before the colon", "Origin : http://evil.example\r\n", "403",
        "its origin \"http://evil.example\" is not allowed");
    row("control characters", "Origin: http://\x1b[31mx\r\n", "403",
        "its origin \"http://\\u001B[31mx\" is not allowed");
    row("bare line feeds", "X: x\nOrigin: http://evil.example\nY: y\r\n", "403",
        "its origin \"http://evil.example\" is not allowed");
    row("same host again", "Host: 127.0.0.1\r\n", "400", "its request names more than one host");
    row("another host again", "hOsT:x\r\n", "400", "its request names more than one host");
    row("folded", "X: y\r\n Origin: http://evil.example\r\n", "400",
        "its request has a folded header");
    row("long", "X: " + QByteArray(70000, 'x') + "\r\n", "431",
        "its request is longer than 65536 bytes");
    row("nearly too long", "X: " + QByteArray(7000, 'x') + "\r\n", "101");
}

void tst_WebSocketKeywordServer::request_isGrantedOrRefused()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, status);
    QFETCH(QString, reason);
    server->setAllowedOrigins({q("http://localhost:3000"), q("https://example.org")});
    QSignalSpy counts(server.get(), &FaultyWebSocketServer::clientCountChanged);
    const bool granted = reason.isEmpty();
    if (!granted) {
        QTest::ignoreMessage(
            QtWarningMsg,
            QRegularExpression(
                q("^refused 127\\.0\\.0\\.1:\\d+: %1$").arg(QRegularExpression::escape(reason))));
    }
    RawClient client(server->url());

    client.send(request);

    if (granted) {
        QTRY_COMPARE(server->clientCount(), 1);
    } else {
        QTRY_VERIFY(!client.isConnected());
        QVERIFY2(client.received.endsWith("This connection is refused: " + reason.toUtf8() + ".\n"),
                 client.received.constData());
        QCOMPARE(counts.count(), 0);
    }
    QTRY_VERIFY2(client.received.startsWith("HTTP/1.1 " + status + ' '),
                 client.received.constData());
}

void tst_WebSocketKeywordServer::request_ofAWebPageNeverConnects()
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^refused .*evil")));
    QWebSocket page(q("https://evil.example"));
    QSignalSpy connected(&page, &QWebSocket::connected), ended(&page, &QWebSocket::disconnected);
    page.open(server->url());
    QTRY_COMPARE(page.state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(connected.count(), 0);
    QVERIFY2(page.errorString().contains(q("403")), qPrintable(page.errorString()));
    QCOMPARE(server->clientCount(), 0);

    server->setAllowedOrigins({q("https://evil.example")});
    page.open(server->url());
    QTRY_COMPARE(connected.count(), 1);
    QTRY_COMPARE(server->clientCount(), 1);
}

void tst_WebSocketKeywordServer::request_inPiecesIsGranted()
{
    RawClient client(server->url()), witness(server->url());
    const QByteArray request = RawClient::request("X: y\r\n");
    for (qsizetype at = 0; at < request.size(); at += 7) {
        client.send(request.mid(at, 7));
        QTRY_COMPARE(client.socket.bytesToWrite(), qint64(0));
    }
    QTRY_VERIFY(client.received.startsWith("HTTP/1.1 101 "));
    QTRY_COMPARE(server->clientCount(), 1);
}

void tst_WebSocketKeywordServer::origin_isKnownByItsForm_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("sent"); // as sent by browsers; empty: not an origin
    const auto row = [](const char *text, const char *sent) {
        QTest::newRow(text) << q(text) << q(sent);
    };
    row("http://localhost:3000", "http://localhost:3000");
    row("HTTP://LocalHost:3000", "http://localhost:3000");
    row("https://example.org/", "https://example.org");
    row("https://example.org:443", "https://example.org");
    row("http://example.org:80", "http://example.org");
    row("http://example.org:443", "http://example.org:443");
    row("https://b\xc3\xbc"
        "cher.example",
        "https://xn--bcher-kva.example");
    row("http://[::1]:8080", "http://[::1]:8080");
    row("chrome-extension://abcdefghijklmnop", "chrome-extension://abcdefghijklmnop");
    row("", "");
    row("null", "");
    row("*", "");
    row("https://", "");
    row("https://*.example.org", "");
    row("example.org", "");
    row("localhost:3000", "");
    row("https://example.org/page", "");
    row("https://example.org?x", "");
    row("https://example.org#x", "");
    row("https://me@example.org", "");
    row("https://example.org:x", "");
    row("https://example.org https://x", "");
}

void tst_WebSocketKeywordServer::origin_isKnownByItsForm()
{
    QFETCH(QString, text);
    QFETCH(QString, sent);
    QCOMPARE(FaultyWebSocketServer::isOrigin(text), !sent.isEmpty());
    server->setAllowedOrigins({text});
    if (sent.isEmpty()) {
        sent = text;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("^refused ")));
    }
    RawClient client(server->url());
    client.send(RawClient::request("Origin: " + sent.toUtf8() + "\r\n"));
    QTRY_VERIFY(client.received.startsWith("HTTP/1.1 "));
    QCOMPARE(client.received.mid(9, 3),
             QByteArray(FaultyWebSocketServer::isOrigin(text) ? "101" : "403"));
}

void tst_WebSocketKeywordServer::unfinishedHandshake_isDropped_data()
{
    QTest::addColumn<bool>("tls"); // of the server
    QTest::addColumn<bool>("encrypted"); // the client
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("nothing") << false << false << QByteArray();
    QTest::newRow("half a request") << false << false << RawClient::request().chopped(2);
    QTest::newRow("no encryption") << true << false << QByteArray();
    QTest::newRow("half an encryption") << true << false << QByteArray("\x16\x03\x01\x02", 4);
    QTest::newRow("encryption alone") << true << true << QByteArray();
    QTest::newRow("encrypted, half a request") << true << true << RawClient::request().chopped(2);
}

void tst_WebSocketKeywordServer::unfinishedHandshake_isDropped()
{
    QFETCH(bool, tls);
    QFETCH(bool, encrypted);
    QFETCH(QByteArray, data);
    QCOMPARE(server->handshakeTimeout(), std::chrono::milliseconds(10s));
    server->setHandshakeTimeout(100ms);
    QCOMPARE(server->handshakeTimeout(), 100ms);
    if (tls)
        listenWithTls();
    QTest::ignoreMessage(QtInfoMsg,
                         QRegularExpression(q("^disconnected 127\\.0\\.0\\.1:\\d+: its handshake "
                                              "takes too long$")));
    RawClient client(server->url(), encrypted);
    QSignalSpy connected(&client.socket, &QAbstractSocket::connected);
    client.send(data);
    QTRY_VERIFY(!client.isConnected());
    QCOMPARE(connected.count(), 1);
    QVERIFY(client.received.isEmpty());
}

void tst_WebSocketKeywordServer::unfinishedHandshake_isNotDroppedInSilence()
{
    server->setHandshakeTimeout(2s);
    RawClient early(server->url());
    QTRY_COMPARE(early.socket.state(), QAbstractSocket::ConnectedState);
    RawClient next(server->url());
    QVERIFY(next.open()); // so the previous one has been accepted
    server->setSilent(true);
    RawClient late(server->url());
    FaultyWebSocketServer other(keywords.get());
    other.setHandshakeTimeout(3s);
    QVERIFY(other.listen());
    RawClient witness(other.url());
    QTRY_VERIFY_WITH_TIMEOUT(!witness.isConnected(), 15000);
    QVERIFY(early.isConnected() && late.isConnected());
    server->setSilent(false);
    QTRY_VERIFY(!early.isConnected() && !late.isConnected());
}

void tst_WebSocketKeywordServer::finishedHandshake_isNotDropped()
{
    server->setHandshakeTimeout(2s);
    RawClient client(server->url());
    QVERIFY(client.open());
    RawClient witness(server->url());
    QTRY_VERIFY_WITH_TIMEOUT(!witness.isConnected(), 15000);
    QVERIFY(client.isConnected());
    QCOMPARE(server->clientCount(), 1);
}

// Neither refused and dropped connections nor closed ones leave anything behind.
void tst_WebSocketKeywordServer::refusedConnections_leaveNothing()
{
    const auto descriptors = [] {
        return QDir(q("/proc/self/fd")).entryList(QDir::Files | QDir::System).size();
    };
    const qsizetype before = descriptors();
    // Not all of the same kind are logged.
    const QString rules = q("pellixclient.keyword.websocketclient=false");
    QLoggingCategory::setFilterRules(rules + q("\npellixclient.server.websocketserver=false"));
    const auto restore = qScopeGuard([&] { QLoggingCategory::setFilterRules(rules); });
    for (int i = 0; i < 10; ++i) {
        server->setHandshakeTimeout(20ms);
        RawClient idle(server->url());
        QTRY_VERIFY(!idle.isConnected());
        server->setHandshakeTimeout(10s);
        RawClient refused(server->url()), served(server->url());
        refused.send(RawClient::request("Origin: null\r\n"));
        QVERIFY(served.open());
        QTRY_COMPARE(server->clientCount(), 1);
        served.socket.abort();
        QTRY_VERIFY(!refused.isConnected());
        QTRY_COMPARE(server->clientCount(), 0);
    }
    QTRY_COMPARE(descriptors(), before);
}

void tst_WebSocketKeywordServer::urls_areThoseThatReachIt_data()
{
    QTest::addColumn<QHostAddress>("address");
    QTest::addColumn<QString>("first"); // of its hosts
    QTest::newRow("loopback") << QHostAddress(QHostAddress::LocalHost) << q("127.0.0.1");
    QTest::newRow("another loopback") << QHostAddress(q("127.0.0.2")) << q("127.0.0.2");
    QTest::newRow("IPv4") << QHostAddress(QHostAddress::AnyIPv4) << q("127.0.0.1");
    QTest::newRow("IPv6") << QHostAddress(QHostAddress::AnyIPv6) << q("::1");
    QTest::newRow("all") << QHostAddress(QHostAddress::Any) << q("127.0.0.1");
}

void tst_WebSocketKeywordServer::urls_areThoseThatReachIt()
{
    QFETCH(QHostAddress, address);
    QFETCH(QString, first);
    QStringList hosts {first};
    for (const QHostAddress &own : QNetworkInterface::allAddresses()) {
        const bool isLong = own.protocol() == QAbstractSocket::IPv6Protocol;
        const bool is4 = address == QHostAddress::AnyIPv4 || address == QHostAddress::Any;
        const bool is6 = address == QHostAddress::AnyIPv6 || address == QHostAddress::Any;
        if ((isLong ? is6 && !own.isLinkLocal() : is4) && !hosts.contains(own.toString()))
            hosts << own.toString();
    }
    ClientIdentification everybody;
    everybody.role = ClientIdentification::fullRights;
    QVERIFY(server->setIdentification(everybody));
    server->setUnencryptedAllowed(true);
    if (!server->listen(address) && first == q("::1"))
        QSKIP("there is no IPv6 here");
    QVERIFY(server->port() != 0);
    QStringList found;
    for (const QUrl &url : server->urls()) {
        found << url.host();
        QCOMPARE(url.port(), int(server->port()));
        QVERIFY(url.isValid());
    }
    QCOMPARE(server->url(), server->urls().constFirst());
    QCOMPARE(found.constFirst(), first);
    found.sort();
    hosts.sort();
    QCOMPARE(found, hosts);
    BareClient peer(*server);
    QTRY_VERIFY(peer.connected());
}

QTEST_GUILESS_MAIN(tst_WebSocketKeywordServer)
#include "tst_websocketkeywordserver.moc"
