// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"
#include "docs/snippets/connecting/proxy.h"
#include "extras/connection/keywordconnection.h"
#include "module/pellixclientkeywordmodule.h"
#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QScopeGuard>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtTest/QTest>

#include <memory>

using namespace pellix::client;
using namespace pellix::extras;
using namespace pellix::server;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// An HTTP proxy that forwards every connection to one port of this machine.
class ForwardingProxy : public QTcpServer
{
    Q_OBJECT

public:
    explicit ForwardingProxy(quint16 targetPort)
    {
        connect(this, &QTcpServer::newConnection, this, [this, targetPort] {
            QTcpSocket *const socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket,
                    [this, socket, targetPort] { readRequest(socket, targetPort); });
        });
    }

    QByteArrayList requests;

private:
    void readRequest(QTcpSocket *socket, quint16 targetPort)
    {
        const qsizetype end = socket->peek(4096).indexOf("\r\n\r\n");
        if (end < 0)
            return;
        requests.append(socket->read(end + 4).split('\r').constFirst());
        socket->disconnect();
        auto *const target = new QTcpSocket(socket);
        connect(target, &QTcpSocket::readyRead, socket,
                [target, socket] { socket->write(target->readAll()); });
        connect(socket, &QTcpSocket::readyRead, target,
                [target, socket] { target->write(socket->readAll()); });
        target->connectToHost(QHostAddress::LocalHost, targetPort);
        socket->write("HTTP/1.1 200 Connection established\r\n\r\n");
    }
};

} // namespace

// Tests what the guide "Connecting" states about proxies and several servers.
class tst_GuideConnecting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void proxy_isUsedForOtherMachines_data();
    void proxy_isUsedForOtherMachines();
    void proxy_isNotUsedForThisMachine();
    void severalServers_haveTheirOwnValues();

private:
    static std::unique_ptr<KeywordServer> plant(double level)
    {
        auto server = std::make_unique<KeywordServer>();
        server->declare({q("/plant/tank1/level"), q("double"), q("R"), QString(), level});
        return server;
    }
};

void tst_GuideConnecting::initTestCase()
{
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.*.debug=false\n"
                                       "pellixclient.keyword.connection=false"));
    QTest::failOnWarning(QRegularExpression(q(".*")));
}

void tst_GuideConnecting::proxy_isUsedForOtherMachines_data()
{
    QTest::addColumn<bool>("connection");
    QTest::newRow("PWebSocketKeywordClient") << false;
    QTest::newRow("PKeywordConnection") << true;
}

void tst_GuideConnecting::proxy_isUsedForOtherMachines()
{
    QFETCH(bool, connection);
    const auto server = plant(42);
    WebSocketKeywordServer listener(server.get());
    QVERIFY(listener.listen());
    ForwardingProxy proxy(listener.port());
    QVERIFY(proxy.listen(QHostAddress::LocalHost));
    useProxy(q("127.0.0.1"), proxy.serverPort());
    const auto restore = qScopeGuard([] { QNetworkProxy::setApplicationProxy(QNetworkProxy()); });

    PWebSocketKeywordClient plainClient;
    PKeywordConnection reliableClient;
    const QStringList urls(q("ws://keywords.example:8765"));
    if (connection)
        reliableClient.setUrls(urls);
    else
        plainClient.setUrls(urls);
    PKeywordProxy level;
    level.setClient(connection ? static_cast<PKeywordClient *>(&reliableClient) : &plainClient);
    level.setKeyword(q("/plant/tank1/level"));
    QTRY_COMPARE(level.value(), QVariant(42));
    QCOMPARE(proxy.requests.constFirst(), QByteArray("CONNECT keywords.example:8765 HTTP/1.1"));
}

void tst_GuideConnecting::proxy_isNotUsedForThisMachine()
{
    const auto server = plant(42);
    WebSocketKeywordServer listener(server.get());
    QVERIFY(listener.listen());
    ForwardingProxy proxy(listener.port());
    QVERIFY(proxy.listen(QHostAddress::LocalHost));
    useProxy(q("127.0.0.1"), proxy.serverPort());
    const auto restore = qScopeGuard([] { QNetworkProxy::setApplicationProxy(QNetworkProxy()); });

    PWebSocketKeywordClient client;
    client.setUrls({listener.url().toString()});
    QTRY_VERIFY(client.connected());
    QVERIFY(proxy.requests.isEmpty());
}

void tst_GuideConnecting::severalServers_haveTheirOwnValues()
{
    const auto first = plant(10);
    const auto second = plant(20);
    WebSocketKeywordServer firstListener(first.get());
    WebSocketKeywordServer secondListener(second.get());
    QVERIFY(firstListener.listen() && secondListener.listen());

    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    QQmlEngine engine;
    QQmlComponent component(&engine, QUrl::fromLocalFile(q(SNIPPETS "/connecting/TwoServers.qml")));
    const QStringList addresses {firstListener.url().toString(), secondListener.url().toString()};
    const std::unique_ptr<QObject> object(
        component.createWithInitialProperties({{q("addresses"), addresses}}));
    QVERIFY2(object, qPrintable(component.errorString()));
    const auto textOf = [item = qobject_cast<QQuickItem *>(object.get())](int index) {
        return item->childItems().at(index)->property("text").toString();
    };
    QTRY_COMPARE(textOf(0), q("10.0"));
    QTRY_COMPARE(textOf(1), q("20.0"));
    first->setValue(q("/plant/tank1/level"), 11.0);
    QTRY_COMPARE(textOf(0), q("11.0"));
    QCOMPARE(textOf(1), q("20.0"));
}

QTEST_MAIN(tst_GuideConnecting)
#include "tst_guideconnecting.moc"
