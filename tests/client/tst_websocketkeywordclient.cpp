// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"
#include "tests/support/socketclient.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCryptographicHash>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QLoggingCategory>
#include <QtCore/QMetaMethod>
#include <QtCore/QPointer>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

#include <functional>
#include <memory>

using namespace pellix::client;

namespace {

// A server that records its messages and its clients.
class Server : public QObject
{
public:
    explicit Server(quint16 port = 0)
    {
        connect(&server, &QWebSocketServer::newConnection, this, [this] {
            while (QWebSocket *socket = server.nextPendingConnection()) {
                socket->setParent(this);
                sockets.append(socket);
                connect(socket, &QWebSocket::textMessageReceived, this,
                        [this](const QString &text) { received << text; });
            }
        });
        listening = server.listen(QHostAddress::LocalHost, port);
    }

    QString url() const { return QStringLiteral("ws://127.0.0.1:%1").arg(server.serverPort()); }
    QWebSocket *last() const { return sockets.last().data(); }

    QWebSocketServer server {QStringLiteral("test"), QWebSocketServer::NonSecureMode};
    bool listening = false;
    QList<QPointer<QWebSocket>> sockets;
    QStringList received;
};

// A server that completes the handshake, and then neither reads nor sends.
class SilentServer : public QObject
{
public:
    SilentServer()
    {
        connect(&server, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *const socket = server.nextPendingConnection();
            socket->setParent(this);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
                request += socket->readAll();
                if (!request.endsWith("\r\n\r\n") || answered)
                    return;
                answered = true;
                const auto start = request.indexOf("Sec-WebSocket-Key: ") + 19;
                const QByteArray key = request.mid(start, request.indexOf('\r', start) - start);
                const QByteArray accept = QCryptographicHash::hash(
                    key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11", QCryptographicHash::Sha1);
                socket->write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                              "Connection: Upgrade\r\nSec-WebSocket-Accept: "
                              + accept.toBase64() + "\r\n\r\n");
            });
        });
        server.listen(QHostAddress::LocalHost);
    }

    QString url() const { return QStringLiteral("ws://127.0.0.1:%1").arg(server.serverPort()); }

    QTcpServer server;
    QByteArray request;
    bool answered = false;
};

// An address with a port on which no server listens.
QString deadUrl()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return QStringLiteral("ws://127.0.0.1:%1").arg(server.serverPort());
}

struct LogLine
{
    QtMsgType type;
    QString category;
    QString text;
};
QList<LogLine> logLines;
QtMessageHandler previousHandler = nullptr;

void recordLog(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const QString category = QString::fromLatin1(context.category);
    if (category == QLatin1String(CLIENT_CATEGORY)
        || text == QLatin1String("disconnect Websocket")) {
        logLines.append({type, category, text});
        return;
    }
    previousHandler(type, context, text);
}

QStringList logTexts(QtMsgType type)
{
    QStringList texts;
    for (const LogLine &line : std::as_const(logLines)) {
        if (line.type == type)
            texts << line.text;
    }
    return texts;
}

// Counts the timer events of an object.
class TimerCount : public QObject
{
public:
    explicit TimerCount(QObject *watched) { watched->installEventFilter(this); }

    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::Timer;
        return false;
    }

    int count = 0;
};

class VirtualReader : public SocketClient
{
public:
    QList<QByteArray> messages;

protected:
    bool receiveCommand(const QByteArray &data) override
    {
        messages << data;
        return false;
    }
};

const QString eventOfA = QStringLiteral(
    R"({"cmd":"keyEvent","payload":{"keyword":"/a","value":1,"type":"int","connected":true}})");

// disconnect() aborts the connection and then closes it, when Qt can no longer write the close
// frame.
[[maybe_unused]] void expectDeviceNotOpen()
{
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QTcpSocket): device not open");
}

} // namespace

class tst_WebSocketKeywordClient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void metaObject_keepsItsOrder();
    void construction_hasDefaults();
    void url_isTheFirstValidEntry_data();
    void url_isTheFirstValidEntry();
    void setUrls_connectsAtOnce();
    void setUrls_queryWithoutPath_data();
    void setUrls_queryWithoutPath();
    void setUrls_toAnEqualListDoesNothing();
    void setUrls_toAnotherListDropsTheConnection();
    void setUrls_emptyAfterAConnection();
    void setUrls_neverEmitsUrlChanged();
    void failedAddress_doesNotMoveOnToTheNext();
    void errors_areLoggedTwice();
    void states_areLogged();
    void sendCommand_sendsOneTextMessagePerCommand();
    void sendCommand_withoutConnectionReturnsTrueAndLogs();
    void textMessages_reachTheVirtualReaderUnchanged();
    void textMessages_mayBeMuchLargerThanTheReceiveBuffer();
    void binaryMessages_areIgnored();
    void autoReconnect_startsOneTimer();
    void autoReconnect_connectsAfterOneSecond();
    void autoReconnect_takesANewAddressEachTime();
    void autoReconnect_comesBackAfterTheServerDid();
    void autoReconnect_keepsAConnectionWithAQuery();
    void autoReconnect_goesOnAfterARefusedHandshake();
    void withoutAutoReconnect_aLostConnectionStaysLost();
    void disconnect_withAutoReconnectComesBack();
    void disconnect_withoutAutoReconnectStays();
    void disconnect_logsToTheDefaultCategory();
    void connected_followsThePublisher();
    void keepAlive_dropsASilentServer();
    void keepAlive_keepsAnAnsweringServer();
    void keepAlive_expectsNoPongForAnEarlierConnectionsPing();
    void handlers_mayDeleteTheClient_data();
    void handlers_mayDeleteTheClient();
    void handlers_mayDeleteTheClientInANestedLoop();
    void handlers_mayChangeTheUrls_data();
    void handlers_mayChangeTheUrls();
    void handlers_maySetAutoReconnectBack();
    void destruction_inEveryState_data();
    void destruction_inEveryState();
    void destruction_tellsTheServer();
};

void tst_WebSocketKeywordClient::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    QLoggingCategory::setFilterRules(QStringLiteral(CLIENT_CATEGORY ".debug=true"));
    logLines.clear();
    previousHandler = qInstallMessageHandler(recordLog);
}

void tst_WebSocketKeywordClient::cleanup()
{
    qInstallMessageHandler(previousHandler);
}

void tst_WebSocketKeywordClient::metaObject_keepsItsOrder()
{
    DIFFERS("it has properties of its own");
#ifndef PELLIX_TEST_CONNECTION
    const QMetaObject &meta = SocketClient::staticMetaObject;
    QCOMPARE(meta.className(), "pellix::client::PWebSocketKeywordClient");
    QCOMPARE(meta.superClass(), &PKeywordClient::staticMetaObject);

    QStringList properties;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        properties << QStringLiteral("%1 %2%3 %4")
                          .arg(QString::fromLatin1(property.typeName()),
                               QString::fromLatin1(property.name()),
                               property.isWritable() ? QStringLiteral(" w") : QString(),
                               QString::fromLatin1(property.notifySignal().name()));
        QVERIFY(property.isStored() && property.isScriptable() && property.isDesignable());
    }
    QCOMPARE(properties,
             QStringList({QStringLiteral("QString url urlChanged"),
                          QStringLiteral("QStringList urls w urlsChanged"),
                          QStringLiteral("bool autoReconnect w autoReconnectChanged"),
                          QStringLiteral("bool connected connectedChanged")}));

    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods << QString::fromLatin1(meta.method(i).methodSignature());
    QCOMPARE(methods,
             QStringList({QStringLiteral("urlChanged()"), QStringLiteral("urlsChanged()"),
                          QStringLiteral("autoReconnectChanged()"),
                          QStringLiteral("connectedChanged()"), QStringLiteral("disconnect()")}));
    QCOMPARE(meta.method(meta.methodCount() - 1).methodType(), QMetaMethod::Method);
#endif
}

void tst_WebSocketKeywordClient::construction_hasDefaults()
{
    DIFFERS("it reconnects by default, and has no property url");
#ifndef PELLIX_TEST_CONNECTION
    QObject parent;
    const auto *client = new SocketClient(&parent);
    QCOMPARE(client->parent(), &parent);
    QCOMPARE(client->url(), QString());
    QCOMPARE(client->urls(), QStringList());
    QVERIFY(!client->autoReconnect());
    QVERIFY(!client->connected());
    QVERIFY(!client->publisher()->active());
    QVERIFY(logLines.isEmpty());
#endif
}

void tst_WebSocketKeywordClient::url_isTheFirstValidEntry_data()
{
    QTest::addColumn<QStringList>("urls");
    QTest::addColumn<QString>("url");
    const QString valid = QStringLiteral("wss://host/path");
    QTest::newRow("no entry") << QStringList() << QString();
    QTest::newRow("empty entry") << QStringList({QString()}) << QString();
    QTest::newRow("valid") << QStringList({valid}) << valid;
    QTest::newRow("valid after invalid")
        << QStringList({QStringLiteral("http://[bad"), valid}) << valid;
    QTest::newRow("valid after empty") << QStringList({QString(), valid}) << valid;
    QTest::newRow("two valid") << QStringList({valid, QStringLiteral("ws://other")}) << valid;
    QTest::newRow("a port out of range")
        << QStringList({QStringLiteral("ws://h:99999")}) << QString();
    QTest::newRow("a bare word is a valid relative address")
        << QStringList({QStringLiteral("word"), valid}) << QStringLiteral("word");
    QTest::newRow("a host is a valid scheme")
        << QStringList({QStringLiteral("localhost:8765"), valid})
        << QStringLiteral("localhost:8765");
    QTest::newRow("blanks are tolerated")
        << QStringList({QStringLiteral("ws://h/a b")}) << QStringLiteral("ws://h/a b");
}

void tst_WebSocketKeywordClient::url_isTheFirstValidEntry()
{
    DIFFERS("every address counts, and only ws and wss are some");
    QFETCH(QStringList, urls);
    QFETCH(QString, url);
    SocketClient client;

    client.setUrls(urls);

    QCOMPARE(client.urls(), urls);
    QCOMPARE(client.url(), url);
}

void tst_WebSocketKeywordClient::setUrls_connectsAtOnce()
{
    Server server;
    SocketClient client;
    QSignalSpy urls(&client, &SocketClient::urlsChanged);
    QSignalSpy connected(&client, &SocketClient::connectedChanged);

    client.setUrls({server.url()});

    QCOMPARE(urls.count(), 1);
    QVERIFY(!client.connected());
    QTRY_VERIFY(client.connected());
    QCOMPARE(connected.count(), 1);
    QVERIFY(client.publisher()->active());
}

void tst_WebSocketKeywordClient::setUrls_queryWithoutPath_data()
{
    QTest::addColumn<QString>("rest");
    QTest::addColumn<QString>("target");
    QTest::newRow("query") << QStringLiteral("?x=1") << QStringLiteral("/?x=1");
    QTest::newRow("empty query") << QStringLiteral("?") << QStringLiteral("/");
    QTest::newRow("path and query") << QStringLiteral("/a?x=1") << QStringLiteral("/a?x=1");
    QTest::newRow("neither") << QString() << QStringLiteral("/");
}

void tst_WebSocketKeywordClient::setUrls_queryWithoutPath()
{
    QFETCH(QString, rest);
    QFETCH(QString, target);
    SilentServer server; // records the request
    const QString url = server.url() + rest;
    SocketClient client;
    client.setAutoReconnect(true);
    client.setUrls({url});
    QTRY_VERIFY(client.connected());

    const QByteArray requestLine = server.request.left(server.request.indexOf('\r'));
    QVERIFY2(requestLine.startsWith("GET " + target.toLatin1()), requestLine);
    QVERIFY2(requestLine.endsWith(" HTTP/1.1"), requestLine);
    QCOMPARE(client.url(), url);
    QCOMPARE(client.urls(), QStringList(url));
}

// The reconnect timer compares the address with the one that was opened.
void tst_WebSocketKeywordClient::autoReconnect_keepsAConnectionWithAQuery()
{
    DIFFERS("no timer compares addresses while it is connected");
    Server server;
    SocketClient client;
    TimerCount ticks(&client);
    QSignalSpy connectedChanged(&client, &SocketClient::connectedChanged);
    client.setAutoReconnect(true);
    client.setUrls({server.url() + QStringLiteral("?x=1")});
    QTRY_VERIFY(client.connected());

    ticks.count = 0;
    QTRY_VERIFY_WITH_TIMEOUT(ticks.count >= 5, 30000);

    QVERIFY(client.connected());
    QCOMPARE(connectedChanged.count(), 1);
    QCOMPARE(server.sockets.size(), 1);
}

void tst_WebSocketKeywordClient::setUrls_toAnEqualListDoesNothing()
{
    Server server;
    SocketClient client;
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    QSignalSpy urls(&client, &SocketClient::urlsChanged);
    QSignalSpy connected(&client, &SocketClient::connectedChanged);
    logLines.clear();

    client.setUrls({server.url()});

    QCOMPARE(urls.count(), 0);
    QCOMPARE(connected.count(), 0);
    QVERIFY(client.connected());
    QVERIFY(logLines.isEmpty());
}

void tst_WebSocketKeywordClient::setUrls_toAnotherListDropsTheConnection()
{
    Server server;
    SocketClient client;
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    QTRY_COMPARE(server.sockets.size(), 1);
    QSignalSpy gone(server.last(), &QWebSocket::disconnected);
    QSignalSpy connected(&client, &SocketClient::connectedChanged);

    client.setUrls({server.url(), QStringLiteral("ws://127.0.0.1:1")}); // with the same first entry

    QCOMPARE(connected.count(), 1);
    QTRY_COMPARE(connected.count(), 2);
    QVERIFY(client.connected());
    QTRY_COMPARE(gone.count(), 1);
    QTRY_COMPARE(server.sockets.size(), 2);
}

void tst_WebSocketKeywordClient::setUrls_emptyAfterAConnection()
{
    Server server;
    SocketClient client;
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    QSignalSpy urls(&client, &SocketClient::urlsChanged);
    logLines.clear();

    client.setUrls({});

    QCOMPARE(urls.count(), 1);
    QVERIFY(!client.connected());
    QCOMPARE(client.url(), QString());
    QVERIFY(logTexts(QtDebugMsg).filter(QStringLiteral("connect ")).isEmpty());
}

void tst_WebSocketKeywordClient::setUrls_neverEmitsUrlChanged()
{
    DIFFERS("it has no property url");
#ifndef PELLIX_TEST_CONNECTION
    Server server;
    SocketClient client;
    QSignalSpy url(&client, &SocketClient::urlChanged);

    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    client.setUrls({});

    QCOMPARE(url.count(), 0);
#endif
}

void tst_WebSocketKeywordClient::failedAddress_doesNotMoveOnToTheNext()
{
    DIFFERS("it moves on: that is what it is for");
    Server server;
    SocketClient client;
    const QString dead = deadUrl();
    QSignalSpy connected(&client, &SocketClient::connectedChanged);
    client.setAutoReconnect(true);

    client.setUrls({dead, server.url()});

    QTRY_VERIFY(logTexts(QtWarningMsg).size() >= 2); // two attempts
    QCOMPARE(client.url(), dead);
    QCOMPARE(connected.count(), 0);
    QVERIFY(server.sockets.isEmpty());
}

void tst_WebSocketKeywordClient::errors_areLoggedTwice()
{
    DIFFERS("one warning tells the address and the reason");
    SocketClient client;

    client.setUrls({deadUrl()});

    QTRY_COMPARE(logTexts(QtWarningMsg).size(), 1);
    const QString warning = logTexts(QtWarningMsg).constFirst();
    QVERIFY(!warning.isEmpty());
    QCOMPARE(logTexts(QtDebugMsg).filter(QStringLiteral("error:")),
             QStringList({QStringLiteral("error: ") + warning}));
    for (const LogLine &line : std::as_const(logLines))
        QCOMPARE(line.category, QStringLiteral(CLIENT_CATEGORY));
    QVERIFY(!client.connected());
}

void tst_WebSocketKeywordClient::states_areLogged()
{
    DIFFERS("each attempt has a socket of its own, and a dropped one is not followed");
    Server server;
    SocketClient client;
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    client.setUrls({deadUrl()});

    const QStringList lines = logTexts(QtDebugMsg);
    QCOMPARE(lines.constFirst(), QStringLiteral("connect QUrl(\"%1\")").arg(server.url()));
    QVERIFY(lines.contains(QStringLiteral("state: QAbstractSocket::ConnectingState")));
    QVERIFY(lines.contains(QStringLiteral("state: QAbstractSocket::ConnectedState")));
    QVERIFY(lines.contains(QStringLiteral("state: QAbstractSocket::UnconnectedState")));
}

void tst_WebSocketKeywordClient::sendCommand_sendsOneTextMessagePerCommand()
{
    Server server;
    SocketClient client;
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    logLines.clear();
    const QString keyword = QStringLiteral("/gr\u00f6\u00dfe/\u6e29\U0001f321");

    QVERIFY(client.sendKeyDestroy(keyword));
    QVERIFY(client.sendKeyDestroy(QStringLiteral("/b")));

    QTRY_COMPARE(server.received.size(), 2);
    const QString expected =
        QStringLiteral(R"({"cmd":"keyDestroy","payload":{"keyword":"%1"}})").arg(keyword);
    QCOMPARE(server.received.constFirst(), expected);
    QVERIFY(logTexts(QtDebugMsg).filter(QStringLiteral("send issue")).isEmpty());
    QString logged;
    QDebug(&logged) << "send" << expected.toUtf8();
    QCOMPARE(logTexts(QtDebugMsg).constFirst(), logged.trimmed());
}

void tst_WebSocketKeywordClient::sendCommand_withoutConnectionReturnsTrueAndLogs()
{
    SocketClient client;

    QVERIFY(client.sendKeyDestroy(QStringLiteral("/a")));

    const int length = int(qstrlen(R"({"cmd":"keyDestroy","payload":{"keyword":"/a"}})"));
    QCOMPARE(logTexts(QtDebugMsg).constLast(), QStringLiteral("send issue 0 %1").arg(length));
}

void tst_WebSocketKeywordClient::textMessages_reachTheVirtualReaderUnchanged()
{
    Server server;
    VirtualReader client;
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    QTRY_COMPARE(server.sockets.size(), 1);
    const QString text = QStringLiteral("  {\"a\" : \"\u00e4\u6e29\U0001f321\"}\n");

    server.last()->sendTextMessage(text);
    server.last()->sendTextMessage(QString());
    server.last()->sendTextMessage(QStringLiteral("end"));

    QTRY_COMPARE(client.messages.size(), 3);
    QCOMPARE(client.messages.at(0), text.toUtf8());
    QCOMPARE(client.messages.at(1), QByteArray());
    QCOMPARE(client.messages.at(2), QByteArray("end"));
}

void tst_WebSocketKeywordClient::textMessages_mayBeMuchLargerThanTheReceiveBuffer()
{
    constexpr int length = 64 * 1024 * 1024;
    Server server;
    VirtualReader client;
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    QTRY_COMPARE(server.sockets.size(), 1);
    server.last()->setOutgoingFrameSize(length); // in one frame

    server.last()->sendTextMessage(QString(length, QLatin1Char('x')));
    server.last()->sendTextMessage(QStringLiteral("end"));

    QTRY_COMPARE_WITH_TIMEOUT(client.messages.size(), 2, 30000);
    QVERIFY(client.messages.at(0) == QByteArray(length, 'x'));
    QCOMPARE(client.messages.at(1), QByteArray("end"));
}

void tst_WebSocketKeywordClient::binaryMessages_areIgnored()
{
    Server server;
    VirtualReader client;
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    QTRY_COMPARE(server.sockets.size(), 1);

    server.last()->sendBinaryMessage(eventOfA.toUtf8());
    server.last()->sendTextMessage(QStringLiteral("end"));

    QTRY_COMPARE(client.messages, QList<QByteArray>({QByteArray("end")}));
}

void tst_WebSocketKeywordClient::autoReconnect_startsOneTimer()
{
    DIFFERS("it has timers of its own, with pauses by chance");
    SocketClient client;
    QSignalSpy spy(&client, &SocketClient::autoReconnectChanged);

    const auto timers = [&client] {
        return QAbstractEventDispatcher::instance()->registeredTimers(&client);
    };
    QCOMPARE(timers().size(), 0);
    client.setAutoReconnect(true);
    QVERIFY(client.autoReconnect());
    client.setAutoReconnect(true);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(timers().size(), 1);
    QCOMPARE(timers().constFirst().interval, 1000);
    QCOMPARE(timers().constFirst().timerType, Qt::CoarseTimer);
    client.setUrls({deadUrl()});
    QTRY_COMPARE(logTexts(QtWarningMsg).size(), 3); // immediately, and on two ticks
    client.setAutoReconnect(false);
    QCOMPARE(spy.count(), 2);
    QCOMPARE(timers().size(), 0);
    client.setAutoReconnect(false);
    QCOMPARE(spy.count(), 2);

    // Change it back and forth in handlers, including when a timer was active before
    int changes = 0;
    QObject scope;
    connect(&client, &SocketClient::autoReconnectChanged, &scope, [&] {
        if (++changes < 3)
            client.setAutoReconnect(!client.autoReconnect());
    });
    client.setAutoReconnect(true); // then false, then true
    QVERIFY(client.autoReconnect());
    QCOMPARE(timers().size(), 1);
    changes = 1;
    client.setAutoReconnect(false); // then true
    QVERIFY(client.autoReconnect());
    QCOMPARE(timers().size(), 1);
    client.setAutoReconnect(false);
    QCOMPARE(timers().size(), 0);
}

void tst_WebSocketKeywordClient::autoReconnect_connectsAfterOneSecond()
{
    DIFFERS("the first pause is half as long at least");
    // A client whose attempt has failed, and then a server at its address
    auto server = std::make_unique<Server>();
    const quint16 port = server->server.serverPort();
    const QString url = server->url();
    server.reset();
    SocketClient client;
    client.setUrls({url});
    QTRY_COMPARE(logTexts(QtWarningMsg).size(), 1);
    server = std::make_unique<Server>(port);
    QVERIFY(server->listening);
    logLines.clear();
    QElapsedTimer elapsed;
    elapsed.start();

    client.setAutoReconnect(true);

    QVERIFY(logTexts(QtDebugMsg).isEmpty()); // no immediate attempt
    QTRY_VERIFY(client.connected());
    QVERIFY2(elapsed.elapsed() >= 900, "a coarse timer of 1000 ms may be 5 % early");
}

void tst_WebSocketKeywordClient::autoReconnect_takesANewAddressEachTime()
{
    Server server;
    SocketClient client;
    client.setAutoReconnect(true);
    client.setUrls({QStringLiteral("http://[bad")});
    QVERIFY(!client.connected());

    client.setUrls({QStringLiteral("http://[bad"), server.url()});

    QTRY_VERIFY(client.connected());
}

void tst_WebSocketKeywordClient::autoReconnect_comesBackAfterTheServerDid()
{
    auto server = std::make_unique<Server>();
    const quint16 port = server->server.serverPort();
    SocketClient client;
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    QSignalSpy active(&subscriber, &PSubscriber::publisherActiveChanged);
    client.setAutoReconnect(true);
    client.setUrls({server->url()});
    QTRY_VERIFY(client.connected());

    server.reset();
    QTRY_VERIFY(!client.connected());
    QCOMPARE(active.count(), 2);
    server = std::make_unique<Server>(port);
    QVERIFY(server->listening);

    QTRY_VERIFY(client.connected());
    QCOMPARE(active.count(), 3);
    QVERIFY(subscriber.publisherActive());
}

void tst_WebSocketKeywordClient::autoReconnect_goesOnAfterARefusedHandshake()
{
    // Behaves like a proxy whose server is not available: it replies with an error and keeps the
    // connection open.
    QTcpServer refusing;
    QList<QTcpSocket *> refused;
    connect(&refusing, &QTcpServer::newConnection, this, [&] {
        QTcpSocket *const socket = refusing.nextPendingConnection();
        refused << socket;
        connect(socket, &QTcpSocket::readyRead, socket, [socket] {
            if (socket->readAll().endsWith("\r\n\r\n"))
                socket->write("HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n"
                              "Connection: keep-alive\r\n\r\n");
        });
    });
    QVERIFY(refusing.listen(QHostAddress::LocalHost));
    SocketClient client;
    QSignalSpy connected(&client, &SocketClient::connectedChanged);
    client.setAutoReconnect(true);

    client.setUrls({QStringLiteral("ws://127.0.0.1:%1").arg(refusing.serverPort())});

    QTRY_COMPARE(refused.size(), 3);
    QTRY_COMPARE(logTexts(QtWarningMsg).size(), 3); // one per attempt
    QVERIFY(logTexts(QtWarningMsg).constLast().contains(QStringLiteral("502")));
    QTRY_COMPARE(refused.at(0)->state(), QAbstractSocket::UnconnectedState);
    QTRY_COMPARE(refused.at(1)->state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(connected.count(), 0);

    // The server is available again
    const quint16 port = refusing.serverPort();
    refusing.close();
    const Server server(port);
    QVERIFY(server.listening);
    QTRY_VERIFY(client.connected());
    QTRY_COMPARE(server.sockets.size(), 1);
}

void tst_WebSocketKeywordClient::withoutAutoReconnect_aLostConnectionStaysLost()
{
    Server server;
    SocketClient client, witness;
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    QTRY_COMPARE(server.sockets.size(), 1);
    server.last()->close();
    QTRY_VERIFY(!client.connected());

    // A second client that does reconnect shows that the time for an attempt has passed.
    witness.setAutoReconnect(true);
    witness.setUrls({server.url()});
    QTRY_VERIFY(witness.connected());
    QTRY_COMPARE(server.sockets.size(), 2);
    QSignalSpy returned(&witness, &SocketClient::connectedChanged);
    server.last()->abort();
    QTRY_COMPARE(returned.count(), 2);

    QVERIFY(!client.connected());
}

void tst_WebSocketKeywordClient::disconnect_withAutoReconnectComesBack()
{
    DIFFERS("what is closed stays closed");
    Server server;
    SocketClient client;
    client.setAutoReconnect(true);
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    QSignalSpy urls(&client, &SocketClient::urlsChanged);
    QSignalSpy reconnect(&client, &SocketClient::autoReconnectChanged);
    QSignalSpy connected(&client, &SocketClient::connectedChanged);

    expectDeviceNotOpen();
    client.disconnect();

    QVERIFY(!client.connected());
    QCOMPARE(connected.count(), 1);
    QTRY_VERIFY(client.connected());
    QCOMPARE(urls.count(), 0);
    QCOMPARE(reconnect.count(), 0);
    QVERIFY(client.autoReconnect());
}

void tst_WebSocketKeywordClient::disconnect_withoutAutoReconnectStays()
{
    DIFFERS("it has close() in place of disconnect()");
    Server server;
    SocketClient client;
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    QTRY_COMPARE(server.sockets.size(), 1);
    QSignalSpy gone(server.last(), &QWebSocket::disconnected);

    expectDeviceNotOpen();
    QMetaObject::invokeMethod(&client, "disconnect");

    QVERIFY(!client.connected());
    QTRY_COMPARE(gone.count(), 1);
    QVERIFY(!client.connected());
    QCOMPARE(client.urls(), QStringList({server.url()}));
}

void tst_WebSocketKeywordClient::disconnect_logsToTheDefaultCategory()
{
    DIFFERS("it has close() in place of disconnect()");
    SocketClient client;

    client.disconnect();

    QCOMPARE(logLines.size(), 1);
    QCOMPARE(logLines.constFirst().type, QtDebugMsg);
    QCOMPARE(logLines.constFirst().category, QStringLiteral("default"));
    QCOMPARE(logLines.constFirst().text, QStringLiteral("disconnect Websocket"));
}

void tst_WebSocketKeywordClient::connected_followsThePublisher()
{
    SocketClient client;
    QSignalSpy spy(&client, &SocketClient::connectedChanged);

    client.publisher()->setActive(true);
    QVERIFY(client.connected());
    QCOMPARE(spy.count(), 1);
    client.publisher()->setActive(true);
    QCOMPARE(spy.count(), 1);
    client.publisher()->setActive(false);
    QVERIFY(!client.connected());
    QCOMPARE(spy.count(), 2);
}

// The following two tests take up to three of the client's fixed keep-alive intervals of 5 s. Each
// of them therefore uses two clients at the same time.
void tst_WebSocketKeywordClient::keepAlive_dropsASilentServer()
{
    SilentServer silent;
    Server answering;
    SocketClient client, witness;
    client.setUrls({silent.url()});
    witness.setUrls({answering.url()});
    QTRY_VERIFY(client.connected() && witness.connected());
    QTRY_COMPARE(answering.sockets.size(), 1);
    QElapsedTimer elapsed;
    elapsed.start();

    QTRY_VERIFY_WITH_TIMEOUT(!client.connected(), 16000);

    // The ping is sent on one tick, and the connection is closed on the next.
    QVERIFY2(elapsed.elapsed() > 4500, qPrintable(QString::number(elapsed.elapsed())));
    QVERIFY(witness.connected());
}

void tst_WebSocketKeywordClient::keepAlive_keepsAnAnsweringServer()
{
    Server server;
    SocketClient client;
    QSignalSpy connected(&client, &SocketClient::connectedChanged);
    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());

    // A second client closes its connection to an unresponsive server on the tick after its ping.
    // By then, this client, which is older, has sent two pings.
    SilentServer silent;
    SocketClient witness;
    witness.setUrls({silent.url()});
    QTRY_VERIFY(witness.connected());
    QTRY_VERIFY_WITH_TIMEOUT(!witness.connected(), 16000);

    QVERIFY(client.connected());
    QCOMPARE(connected.count(), 1);
}

void tst_WebSocketKeywordClient::keepAlive_expectsNoPongForAnEarlierConnectionsPing()
{
    SilentServer silent, otherSilent;
    Server server;
    SocketClient client, witness; // their ticks occur in this order
    client.setUrls({silent.url()});
    witness.setUrls({otherSilent.url()});
    QTRY_VERIFY(client.connected() && witness.connected());
    silent.request.clear();
    QTRY_VERIFY_WITH_TIMEOUT(!silent.request.isEmpty(), 10000); // the ping

    client.setUrls({server.url()});
    QTRY_VERIFY(client.connected());
    QSignalSpy connected(&client, &SocketClient::connectedChanged);
    QTRY_VERIFY_WITH_TIMEOUT(!witness.connected(), 10000); // the next tick

    QVERIFY(client.connected());
    QCOMPARE(connected.count(), 0);
}

void tst_WebSocketKeywordClient::handlers_mayDeleteTheClient_data()
{
    QTest::addColumn<QString>("moment");
    for (const char *moment :
         {"urlsChanged", "connecting", "connected", "value", "lost by server", "lost by disconnect",
          "lost by setUrls", "moved by setUrls", "autoReconnectChanged", "lost by keep-alive"})
        QTest::newRow(moment) << QString::fromLatin1(moment);
}

void tst_WebSocketKeywordClient::handlers_mayDeleteTheClient()
{
    QFETCH(QString, moment);
    Server server;
    SilentServer silent;
    auto *client = new SocketClient;
    const QPointer<SocketClient> guard(client);
    QObject scope;
    const auto deleteClient = [&] { delete client; };
    const auto connectTo = [&](const QString &url) {
        client->setUrls({url});
        QTRY_VERIFY(client->connected());
    };

    if (moment == QLatin1String("urlsChanged")) {
        connect(client, &SocketClient::urlsChanged, &scope, deleteClient);
        client->setUrls({server.url()});
    } else if (moment == QLatin1String("connecting")) {
        // The only callback at this point is the log.
        client->publisher()->setActive(true); // so that connecting makes it inactive
        connect(client, &SocketClient::connectedChanged, &scope, deleteClient);
        client->setUrls({server.url()});
    } else if (moment == QLatin1String("connected")) {
        connect(client, &SocketClient::connectedChanged, &scope, deleteClient);
        client->setUrls({server.url()});
    } else if (moment == QLatin1String("value")) {
        PSubscriber subscriber;
        subscriber.setPublisher(client->publisher());
        subscriber.setTopic(QStringLiteral("/a"));
        connect(&subscriber, &PSubscriber::valueChanged, &scope, deleteClient);
        connectTo(server.url());
        QTRY_COMPARE(server.sockets.size(), 1);
        for (int i = 0; i < 100; ++i)
            server.last()->sendTextMessage(eventOfA); // more messages are queued after the first
        QTRY_VERIFY(guard.isNull());
    } else if (moment == QLatin1String("lost by server")) {
        connectTo(server.url());
        QTRY_COMPARE(server.sockets.size(), 1);
        connect(client, &SocketClient::connectedChanged, &scope, deleteClient);
        server.last()->abort();
    } else if (moment == QLatin1String("lost by disconnect")) {
        connectTo(server.url());
        connect(client, &SocketClient::connectedChanged, &scope, deleteClient);
        client->disconnect();
    } else if (moment == QLatin1String("lost by setUrls")) {
        connectTo(server.url());
        connect(client, &SocketClient::connectedChanged, &scope, deleteClient);
        client->setUrls({});
    } else if (moment == QLatin1String("moved by setUrls")) {
        connectTo(server.url());
        connect(client, &SocketClient::connectedChanged, &scope, deleteClient);
        client->setUrls({silent.url()});
    } else if (moment == QLatin1String("autoReconnectChanged")) {
        connect(client, &SocketClient::autoReconnectChanged, &scope, deleteClient);
        client->setAutoReconnect(true);
    } else {
        connectTo(silent.url());
        connect(client, &SocketClient::connectedChanged, &scope, deleteClient);
    }

    QTRY_VERIFY_WITH_TIMEOUT(guard.isNull(), 16000);
    // Pending operations are completed.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (!server.sockets.isEmpty() && server.last())
        QTRY_VERIFY(!server.last() || server.last()->state() == QAbstractSocket::UnconnectedState);
}

void tst_WebSocketKeywordClient::handlers_mayDeleteTheClientInANestedLoop()
{
    Server server;
    auto *client = new SocketClient;
    const QPointer<SocketClient> guard(client);
    PSubscriber subscriber;
    subscriber.setPublisher(client->publisher());
    subscriber.setTopic(QStringLiteral("/a"));
    bool left = false;
    QObject scope;
    connect(&subscriber, &PSubscriber::valueChanged, &scope, [&] { // like a modal dialog
        QEventLoop loop;
        QMetaObject::invokeMethod(
            &scope,
            [&] {
                delete client;
                QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
            },
            Qt::QueuedConnection);
        loop.exec();
        left = true;
    });
    client->setUrls({server.url()});
    QTRY_VERIFY(client->connected());
    QTRY_COMPARE(server.sockets.size(), 1);

    server.last()->sendTextMessage(eventOfA);
    server.last()->sendTextMessage(eventOfA);

    QTRY_VERIFY(left);
    QVERIFY(guard.isNull());
    QTRY_COMPARE(server.last()->state(), QAbstractSocket::UnconnectedState);
}

void tst_WebSocketKeywordClient::handlers_mayChangeTheUrls_data()
{
    QTest::addColumn<QString>("moment");
    for (const char *moment :
         {"connected", "value", "lost by server", "lost by disconnect", "lost by setUrls"})
        QTest::newRow(moment) << QString::fromLatin1(moment);
}

void tst_WebSocketKeywordClient::handlers_mayChangeTheUrls()
{
    QFETCH(QString, moment);
    Server first, second;
    SocketClient client;
    QObject scope;
    const auto change = [&] { client.setUrls({second.url()}); };
    const auto changeOnce = [&] {
        connect(&client, &SocketClient::connectedChanged, &scope, change);
    };
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    subscriber.setTopic(QStringLiteral("/a"));
    connect(&subscriber, &PSubscriber::valueChanged, &scope, change);
    if (moment == QLatin1String("connected"))
        changeOnce();
    client.setUrls({first.url()});
    if (moment != QLatin1String("connected")) {
        QTRY_VERIFY(client.connected());
        QTRY_COMPARE(first.sockets.size(), 1);
    }

    if (moment == QLatin1String("value")) {
        for (int i = 0; i < 100; ++i)
            first.last()->sendTextMessage(eventOfA);
    } else if (moment == QLatin1String("lost by server")) {
        changeOnce();
        first.last()->abort();
    } else if (moment == QLatin1String("lost by disconnect")) {
        changeOnce();
        client.disconnect();
    } else if (moment == QLatin1String("lost by setUrls")) {
        changeOnce();
        client.setUrls({});
    }

    // disconnect() and setUrls() continue after their handlers, and keep the new connection.
    QTRY_COMPARE(client.urls(), QStringList({second.url()}));
    QTRY_COMPARE(second.sockets.size(), 1);
    QTRY_VERIFY(client.connected());
    second.last()->sendTextMessage(eventOfA);
    QSignalSpy values(&subscriber, &PSubscriber::valueChanged);
    QTRY_COMPARE(values.count(), 1);
}

void tst_WebSocketKeywordClient::handlers_maySetAutoReconnectBack()
{
    SocketClient client;
    QObject scope;
    connect(&client, &SocketClient::autoReconnectChanged, &scope, [&] {
        if (client.autoReconnect())
            client.setAutoReconnect(false);
    });
    client.setAutoReconnect(true);
    QVERIFY(!client.autoReconnect());
    client.setUrls({deadUrl()});
    QTRY_COMPARE(logTexts(QtWarningMsg).size(), 1);

    // No timer is left: a client with a timer has made its second attempt before this client could.
    SocketClient witness;
    witness.setAutoReconnect(true);
    witness.setUrls({deadUrl()});
    QTRY_VERIFY(logTexts(QtWarningMsg).size() >= 3);
    QCOMPARE(logTexts(QtDebugMsg).filter(client.url()).size(), 1);
}

void tst_WebSocketKeywordClient::destruction_inEveryState_data()
{
    QTest::addColumn<QString>("state");
    for (const char *state : {"fresh", "connecting", "connected", "closing", "failed"})
        QTest::newRow(state) << QString::fromLatin1(state);
}

void tst_WebSocketKeywordClient::destruction_inEveryState()
{
    QFETCH(QString, state);
    Server server;
    auto client = std::make_unique<SocketClient>();
    PSubscriber subscriber;
    subscriber.setPublisher(client->publisher());
    subscriber.setTopic(QStringLiteral("/a"));
    QSignalSpy active(&subscriber, &PSubscriber::activeChanged);
    if (state == QLatin1String("connecting")) {
        client->setUrls({server.url()});
    } else if (state == QLatin1String("connected")) {
        client->setUrls({server.url()});
        QTRY_VERIFY(client->connected());
    } else if (state == QLatin1String("closing")) {
        client->setUrls({server.url()});
        QTRY_VERIFY(client->connected());
        QTRY_COMPARE(server.sockets.size(), 1);
        server.last()->close();
    } else if (state == QLatin1String("failed")) {
        client->setUrls({deadUrl()});
        QTRY_COMPARE(logTexts(QtWarningMsg).size(), 1);
    }
    logLines.clear();

    client.reset();

    QCOMPARE(active.count(), 1);
    QVERIFY(!subscriber.publisherActive());
    QVERIFY(logLines.isEmpty());
}

void tst_WebSocketKeywordClient::destruction_tellsTheServer()
{
    const Server server;
    auto client = std::make_unique<SocketClient>();
    client->setUrls({server.url()});
    QTRY_VERIFY(client->connected() && !server.sockets.isEmpty());
    const QSignalSpy closed(server.last(), &QWebSocket::disconnected);

    client.reset();

    QTRY_COMPARE(closed.count(), 1);
    QCOMPARE(server.last()->closeCode(), QWebSocketProtocol::CloseCodeGoingAway);
}

QTEST_GUILESS_MAIN(tst_WebSocketKeywordClient)
#include "tst_websocketkeywordclient.moc"
