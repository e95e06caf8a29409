// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "module/pellixclientkeywordmodule.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"
#include "tests/support/socketclient.h"

#include <QtCore/QLoggingCategory>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickView>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>
#include <vector>

using namespace pellix::client;
using namespace pellix::server;

namespace {

// A screen as in an application: live values, writes, an aggregate, and a label.
const QByteArray screen = R"(
import QtQuick
import PellixClient.Keyword 1.0

Item {
    id: root
    width: 200; height: 100
    property PKeywordClient keywordClient
    readonly property string shownLevel: levelText.text
    readonly property string shownName: name.value === undefined ? "-" : name.value
    readonly property bool shownPump: pump.value === true
    readonly property bool levelIsDouble: level.valueType === PKeyword.KVT_DOUBLE
    readonly property bool levelGood: level.connected && level.online && level.consistent && !level.error
    readonly property var hottest: hottest.value
    readonly property string label: labelled.valueLabelValid ? labelled.value : "..."

    function write(value) { return level.update(value) }
    function raise(value) { return level.updateRelative(value) }
    function toggle() { return pump.updateRelative(true) }
    function lookUp(key) { labelled.getKeywordLabel(key) }
    function setMode(mode) { expression.aggregation = mode }

    PKeywordProxy { id: level; client: root.keywordClient; keyword: "/plant/tank1/level" }
    PKeywordProxy { id: name; client: root.keywordClient; keyword: "/plant/name" }
    PKeywordProxy { id: pump; client: root.keywordClient; keyword: "/plant/pump1/running" }
    PKeywordProxy {
        id: hottest
        client: root.keywordClient
        keywordExpression: PListPostfixKeywordExpression {
            id: expression
            values: ["/plant/motor1", "/plant/motor2", "/plant/motor3"]
            postfix: "temperature"
            aggregation: PKeyword.Max
        }
    }
    PKeywordProxy { id: labelled; client: root.keywordClient }
    Text { id: levelText; text: level.value === undefined ? "no value" : level.value.toFixed(1) }
}
)";

void declarePlant(KeywordServer *server)
{
    const auto declare = [server](const char *path, const char *type, const QVariant &value,
                                  const char *label = "") {
        KeywordServer::Keyword keyword;
        keyword.path = QString::fromLatin1(path);
        keyword.type = QString::fromLatin1(type);
        keyword.access = QStringLiteral("RW");
        keyword.label = QString::fromLatin1(label);
        keyword.value = value;
        QVERIFY2(server->declare(keyword), path);
    };
    declare("/plant/name", "string", QStringLiteral("Works"));
    declare("/plant/tank1/level", "double", 41.5, "Level");
    declare("/plant/pump1/running", "bool", false);
    declare("/plant/motor1/temperature", "double", 61.0);
    declare("/plant/motor2/temperature", "double", 75.5);
    declare("/plant/motor3/temperature", "double", 20.0);
}

} // namespace

class tst_DataFlow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void screen_showsAndWrites_data() { transports(); }
    void screen_showsAndWrites();
    void screen_followsTheServersChanges_data() { transports(); }
    void screen_followsTheServersChanges();
    void screen_isTornDownInAnyOrder_data();
    void screen_isTornDownInAnyOrder();
    void lastWatcherGone_endsTheSubscription();
    void serverLost_clearsAndComesBackFresh();
    void serverRestarted_everyKeywordIsFreshEachTime();

private:
    struct Setup
    {
        KeywordServer server;
        std::unique_ptr<WebSocketKeywordServer> socketServer;
        std::unique_ptr<PKeywordClient> client;
    };

    static void transports();
    static std::unique_ptr<Setup> setUp(const QString &transport);
    static void show(QQuickView &view, PKeywordClient *client);
};

void tst_DataFlow::initTestCase()
{
    // Lost connections are logged as warnings, but are intended here.
    QLoggingCategory::setFilterRules(QStringLiteral(CLIENT_CATEGORY "=false"));
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
}

void tst_DataFlow::transports()
{
    QTest::addColumn<QString>("transport");
    QTest::newRow("in process") << QStringLiteral("in process");
    QTest::newRow("web socket") << QStringLiteral("web socket");
}

std::unique_ptr<tst_DataFlow::Setup> tst_DataFlow::setUp(const QString &transport)
{
    auto setup = std::make_unique<Setup>();
    declarePlant(&setup->server);
    if (transport == QLatin1String("in process")) {
        auto client = std::make_unique<PInProcessKeywordClient>();
        linkInProcess(&setup->server, client.get());
        setup->client = std::move(client);
    } else {
        setup->socketServer = std::make_unique<WebSocketKeywordServer>(&setup->server);
        if (!setup->socketServer->listen())
            qFatal("cannot listen");
        auto client = std::make_unique<SocketClient>();
        client->setUrls({setup->socketServer->url().toString()});
        setup->client = std::move(client);
    }
    return setup;
}

void tst_DataFlow::show(QQuickView &view, PKeywordClient *client)
{
    QQmlComponent component(view.engine());
    component.setData(screen, QUrl(QStringLiteral("qrc:/screen.qml")));
    QVERIFY2(component.isReady(), qPrintable(component.errorString()));
    QObject *const root = component.createWithInitialProperties(
        {{QStringLiteral("keywordClient"), QVariant::fromValue(client)}});
    QVERIFY(root);
    view.setContent(component.url(), nullptr, root);
    view.show();
}

void tst_DataFlow::screen_showsAndWrites()
{
    QFETCH(QString, transport);
    const auto setup = setUp(transport);
    QQuickView view;
    show(view, setup->client.get());
    QObject *const root = view.rootObject();

    // Values, type, state and aggregate
    QTRY_COMPARE(root->property("shownLevel").toString(), QStringLiteral("41.5"));
    QTRY_COMPARE(root->property("shownName").toString(), QStringLiteral("Works"));
    QVERIFY(root->property("levelIsDouble").toBool());
    QVERIFY(root->property("levelGood").toBool());
    QTRY_COMPARE(root->property("hottest").toDouble(), 75.5);

    // Absolute and relative writes, and toggling
    QVariant sent;
    QVERIFY(QMetaObject::invokeMethod(root, "write", Q_RETURN_ARG(QVariant, sent),
                                      Q_ARG(QVariant, 50.25)));
    QVERIFY(sent.toBool());
    QTRY_COMPARE(root->property("shownLevel").toString(), QStringLiteral("50.3"));
    QCOMPARE(setup->server.value(QStringLiteral("/plant/tank1/level")).toDouble(), 50.25);
    QMetaObject::invokeMethod(root, "raise", Q_ARG(QVariant, -10));
    QTRY_COMPARE(root->property("shownLevel").toString(), QStringLiteral("40.3"));
    QMetaObject::invokeMethod(root, "toggle");
    QTRY_VERIFY(root->property("shownPump").toBool());

    // Another aggregation is another keyword on the server
    QMetaObject::invokeMethod(root, "setMode", Q_ARG(QVariant, int(PKeywordAggregation::Min)));
    QTRY_COMPARE(root->property("hottest").toDouble(), 20.0);

    // A label
    QMetaObject::invokeMethod(root, "lookUp",
                              Q_ARG(QVariant, QStringLiteral("/plant/tank1/level")));
    QTRY_COMPARE(root->property("label").toString(), QStringLiteral("/plant/tank1/Level"));
}

void tst_DataFlow::screen_followsTheServersChanges()
{
    QFETCH(QString, transport);
    const auto setup = setUp(transport);
    QQuickView view;
    show(view, setup->client.get());
    QObject *const root = view.rootObject();
    QTRY_COMPARE(root->property("shownLevel").toString(), QStringLiteral("41.5"));

    for (int i = 0; i < 100; ++i)
        setup->server.setValue(QStringLiteral("/plant/tank1/level"), 0.5 * i);
    QTRY_COMPARE(root->property("shownLevel").toString(), QStringLiteral("49.5"));

    setup->server.setState(QStringLiteral("/plant/tank1/level"), true, false, true, false);
    QTRY_VERIFY(!root->property("levelGood").toBool());
    setup->server.setState(QStringLiteral("/plant/tank1/level"), true, true, true, false);
    QTRY_VERIFY(root->property("levelGood").toBool());

    setup->server.setValue(QStringLiteral("/plant/motor3/temperature"), 99.0);
    QTRY_COMPARE(root->property("hottest").toDouble(), 99.0);
}

void tst_DataFlow::screen_isTornDownInAnyOrder_data()
{
    QTest::addColumn<QString>("transport");
    QTest::addColumn<QString>("order");
    for (const QString &transport : {QStringLiteral("in process"), QStringLiteral("web socket")}) {
        QString order = QStringLiteral("csv"); // client, server, view
        do {
            QTest::addRow("%s, %s", qPrintable(transport), qPrintable(order)) << transport << order;
        } while (std::next_permutation(order.begin(), order.end()));
    }
}

void tst_DataFlow::screen_isTornDownInAnyOrder()
{
    QFETCH(QString, transport);
    QFETCH(QString, order);
    auto server = std::make_unique<KeywordServer>();
    declarePlant(server.get());
    std::unique_ptr<WebSocketKeywordServer> socketServer;
    std::unique_ptr<PKeywordClient> client;
    if (transport == QLatin1String("in process")) {
        auto inProcess = std::make_unique<PInProcessKeywordClient>();
        linkInProcess(server.get(), inProcess.get());
        client = std::move(inProcess);
    } else {
        socketServer = std::make_unique<WebSocketKeywordServer>(server.get());
        QVERIFY(socketServer->listen());
        auto webSocket = std::make_unique<SocketClient>();
        webSocket->setUrls({socketServer->url().toString()});
        client = std::move(webSocket);
    }
    auto view = std::make_unique<QQuickView>();
    show(*view, client.get());
    QTRY_COMPARE(view->rootObject()->property("shownLevel").toString(), QStringLiteral("41.5"));

    for (const QChar part : order) {
        server->setValue(QStringLiteral("/plant/tank1/level"), part.unicode());
        if (part == QLatin1Char('c')) {
            client.reset();
            if (view) {
                QCOMPARE(view->rootObject()->property("shownLevel").toString(),
                         QStringLiteral("no value"));
                QVariant sent;
                QMetaObject::invokeMethod(view->rootObject(), "write", Q_RETURN_ARG(QVariant, sent),
                                          Q_ARG(QVariant, 1));
                QVERIFY(!sent.toBool());
            }
        } else if (part == QLatin1Char('v')) {
            view.reset();
        } else {
            socketServer.reset();
            server = std::make_unique<KeywordServer>(); // for the next round
        }
        QCoreApplication::processEvents();
    }
}

void tst_DataFlow::lastWatcherGone_endsTheSubscription()
{
    const auto setup = setUp(QStringLiteral("in process"));
    auto *const client = static_cast<PInProcessKeywordClient *>(setup->client.get());
    QStringList sent;
    connect(client, &PInProcessKeywordClient::sendToServer, client,
            [&](const QByteArray &command) { sent << QString::fromUtf8(command); });
    auto first = std::make_unique<PKeywordProxy>();
    auto second = std::make_unique<PKeywordProxy>();
    for (PKeywordProxy *proxy : {first.get(), second.get()}) {
        proxy->setKeyword(QStringLiteral("/plant/name"));
        proxy->setClient(client);
    }
    QTRY_COMPARE(second->value().toString(), QStringLiteral("Works"));
    sent.clear();

    first.reset();
    QVERIFY(sent.isEmpty());
    second.reset();
    QCOMPARE(sent.join(QLatin1Char(' ')),
             QStringLiteral(R"({"cmd":"keyDestroy","payload":{"keyword":"/plant/name"}})"));
}

void tst_DataFlow::serverLost_clearsAndComesBackFresh()
{
    KeywordServer server;
    declarePlant(&server);
    auto socketServer = std::make_unique<WebSocketKeywordServer>(&server);
    QVERIFY(socketServer->listen());
    const quint16 port = socketServer->port();
    SocketClient client;
    client.setAutoReconnect(true);
    client.setUrls({socketServer->url().toString()});
    QQuickView view;
    show(view, &client);
    QObject *const root = view.rootObject();
    QTRY_COMPARE(root->property("shownLevel").toString(), QStringLiteral("41.5"));

    socketServer.reset();
    QTRY_COMPARE(root->property("shownLevel").toString(), QStringLiteral("no value"));
    QVERIFY(!client.connected());

    server.setValue(QStringLiteral("/plant/tank1/level"), 12.0);
    socketServer = std::make_unique<WebSocketKeywordServer>(&server);
    QVERIFY(socketServer->listen(QHostAddress::LocalHost, port));
    QTRY_COMPARE(root->property("shownLevel").toString(), QStringLiteral("12.0"));
    QTRY_COMPARE(root->property("hottest").toDouble(), 75.5);
}

// 200 keywords on eight clients, so that each fixed retry interval is tested eight times.
void tst_DataFlow::serverRestarted_everyKeywordIsFreshEachTime()
{
    constexpr int clientCount = 8;
    constexpr int keywordCount = 200;
    KeywordServer server;
    for (int i = 0; i < keywordCount; ++i) {
        KeywordServer::Keyword keyword;
        keyword.path = QStringLiteral("/load/k%1").arg(i);
        keyword.type = QStringLiteral("int");
        keyword.access = QStringLiteral("RW");
        keyword.value = i;
        QVERIFY(server.declare(keyword));
    }
    auto socketServer = std::make_unique<WebSocketKeywordServer>(&server);
    QVERIFY(socketServer->listen());
    const quint16 port = socketServer->port();

    std::vector<std::unique_ptr<SocketClient>> clients;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies;
    for (int c = 0; c < clientCount; ++c) {
        clients.push_back(std::make_unique<SocketClient>());
        clients.back()->setAutoReconnect(true);
        clients.back()->setUrls({socketServer->url().toString()});
        for (int i = 0; i < keywordCount; ++i) {
            proxies.push_back(std::make_unique<PKeywordProxy>());
            proxies.back()->setClient(clients.back().get());
            proxies.back()->setKeyword(QStringLiteral("/load/k%1").arg(i));
        }
    }
    const auto allFresh = [&](int round) {
        for (size_t p = 0; p < proxies.size(); ++p) {
            const int i = int(p) % keywordCount;
            if (proxies[p]->value() != QVariant(round * 1000 + i))
                return false;
        }
        return true;
    };
    QTRY_VERIFY(allFresh(0));

    for (int round = 1; round <= 5; ++round) {
        socketServer.reset();
        for (const auto &client : clients)
            QTRY_VERIFY(!client->connected());
        for (const auto &proxy : proxies)
            QVERIFY(!proxy->value().isValid());
        for (int i = 0; i < keywordCount; ++i)
            server.setValue(QStringLiteral("/load/k%1").arg(i), round * 1000 + i);
        socketServer = std::make_unique<WebSocketKeywordServer>(&server);
        QVERIFY(socketServer->listen(QHostAddress::LocalHost, port));
        QTRY_VERIFY_WITH_TIMEOUT(allFresh(round), 20000);
    }
}

QTEST_MAIN(tst_DataFlow)
#include "tst_dataflow.moc"
