// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/keywordextrasmodule.h"
#include "module/pellixclientkeywordmodule.h"

#include <QtCore/QLoggingCategory>
#include <QtNetwork/QTcpServer>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocketServer>

#include <memory>

// The same QML file, compiled ahead of time and interpreted.
class tst_CompiledConnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void properties_areRead_data();
    void properties_areRead();
};

void tst_CompiledConnection::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("pellixclient.keyword.connection=false"));
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    pellix::extras::KeywordExtrasModule::registerTypes();
}

void tst_CompiledConnection::properties_areRead_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::newRow("compiled") << QUrl(
        QStringLiteral("qrc:/qt-project.org/imports/CompiledConnection/Status.qml"));
    QTest::newRow("interpreted") << QUrl::fromLocalFile(QStringLiteral(FOLDER "/Status.qml"));
}

void tst_CompiledConnection::properties_areRead()
{
    QFETCH(QUrl, url);
    QWebSocketServer server(QString(), QWebSocketServer::NonSecureMode);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    const quint16 port = server.serverPort();
    const QString address = server.serverUrl().toString();
    server.close();
    QQmlEngine engine;
    QQmlComponent component(&engine, url);
    const std::unique_ptr<QObject> root(component.createWithInitialProperties(
        {{QStringLiteral("addresses"), QStringList(address)}}));
    QVERIFY2(root, qPrintable(component.errorString()));
    const auto value = [&](const char *name) { return root->property(name); };

    // Headers are not allowed with ws://.
    QCOMPARE(value("named").toString(), QStringLiteral("unusable"));
    QVERIFY(!value("isSoon").toBool());
    QVERIFY(value("connection").value<QObject *>()->setProperty("headers", QVariantMap()));
    QCOMPARE(value("named").toString(), QStringLiteral("connecting"));
    QCOMPARE(value("told").toString(), QStringLiteral("fine"));
    QTRY_VERIFY(value("isWaiting").toBool());
    QVERIFY(value("isSoon").toBool());
    QVERIFY(value("secondsLeft").toInt() >= 1 && value("secondsLeft").toInt() <= 5);
    QCOMPARE(value("told").toString(), address + QStringLiteral(" Connection refused"));
    QVERIFY(!value("isLinked").toBool());

    QVERIFY(server.listen(QHostAddress::LocalHost, port));
    QVERIFY(QMetaObject::invokeMethod(root.get(), "tryNow"));
    QTRY_COMPARE(value("named").toString(), QStringLiteral("connected"));
    QVERIFY(value("isLinked").toBool());
    QCOMPARE(value("secondsLeft").toInt(), 0);
}

QTEST_GUILESS_MAIN(tst_CompiledConnection)
#include "tst_compiledconnection.moc"
