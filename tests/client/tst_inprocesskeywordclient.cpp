// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"
#include "tests/support/metaobject.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace pellix::client;

class tst_InProcessKeywordClient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void metaObject_keepsItsOrder();
    void construction_isConnected();
    void afterSignalsConnected_sendsTheProtocolRequest();
    void sending_alwaysSucceeds();
    void sending_emitsTheCommand();
    void receiving_publishes();
    void receiving_dropsWhatIsNoMessage();
    void connected_followsThePublisher();
    void directServer_answersInsideTheCall();
    void logging_showsSentBytesWhenEnabled();
    void handlers_mayDeleteTheClient_data();
    void handlers_mayDeleteTheClient();
};

void tst_InProcessKeywordClient::metaObject_keepsItsOrder()
{
    const QMetaObject &meta = PInProcessKeywordClient::staticMetaObject;
    QCOMPARE(meta.className(), "pellix::client::PInProcessKeywordClient");
    QCOMPARE(meta.superClass(), &PKeywordClient::staticMetaObject);
    QCOMPARE(ownProperties(meta), names("connected connectedChanged"));
    QCOMPARE(ownMethods(meta),
             names("signal connectedChanged(), signal sendToServer(QByteArray), "
                   "slot receiveFromServer(QByteArray)"));
}

void tst_InProcessKeywordClient::construction_isConnected()
{
    QObject parent;
    const auto *client = new PInProcessKeywordClient(&parent);
    QCOMPARE(client->parent(), &parent);
    QVERIFY(client->connected());
    QVERIFY(client->publisher()->active());
    QVERIFY(client->property("connected").toBool());
}

void tst_InProcessKeywordClient::afterSignalsConnected_sendsTheProtocolRequest()
{
    PInProcessKeywordClient client;
    QSignalSpy spy(&client, &PInProcessKeywordClient::sendToServer);

    client.afterSignalsConnected();

    QCOMPARE(spy.count(), 1);
    QCOMPARE(
        spy.at(0).at(0).toByteArray(),
        QByteArray(R"({"cmd": "keyChangeProtocol", "payload": {"newprotocol": "flatbuffers"}})"));
    QVERIFY(client.connected());
}

void tst_InProcessKeywordClient::sending_alwaysSucceeds()
{
    PInProcessKeywordClient client;
    const QString keyword = QStringLiteral("/a");
    QVERIFY(client.sendKeyCreate(keyword));
    QVERIFY(client.sendKeyUpdate(keyword, 1));
    QVERIFY(client.sendKeyUpdateRelative(keyword, 1));
    QVERIFY(client.sendKeyDestroy(keyword));
    QVERIFY(
        !client.sendKeyIndex(keyword, PKeywordValueType::KVT_NOPROP, PKeywordValueAccess::KVA_NONE)
             .isNull());
    QVERIFY(!client.sendKeyCreate(QString()));
}

void tst_InProcessKeywordClient::sending_emitsTheCommand()
{
    PInProcessKeywordClient client;
    QSignalSpy spy(&client, &PInProcessKeywordClient::sendToServer);

    client.sendKeyDestroy(QStringLiteral("/a"));

    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toByteArray(),
             QByteArray(R"({"cmd":"keyDestroy","payload":{"keyword":"/a"}})"));
}

void tst_InProcessKeywordClient::receiving_publishes()
{
    PInProcessKeywordClient client;
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    subscriber.setTopic(QStringLiteral("/a"));
    QSignalSpy spy(&subscriber, &PSubscriber::valueChanged);

    QMetaObject::invokeMethod(
        &client, "receiveFromServer",
        Q_ARG(QByteArray, R"({"cmd":"keyEvent","payload":{"keyword":"/a","value":3}})"));

    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<QVariant>().value<PKeywordValue>().value.toInt(), 3);
}

void tst_InProcessKeywordClient::receiving_dropsWhatIsNoMessage()
{
    PInProcessKeywordClient client;
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    subscriber.setTopic(QStringLiteral("/a"));
    QSignalSpy values(&subscriber, &PSubscriber::valueChanged);
    QSignalSpy responses(&client, &PKeywordClient::keyIndexResponse);

    client.receiveFromServer("not JSON");
    client.receiveFromServer(QByteArray());

    QCOMPARE(values.count(), 0);
    QCOMPARE(responses.count(), 0);
}

void tst_InProcessKeywordClient::connected_followsThePublisher()
{
    PInProcessKeywordClient client;
    QSignalSpy spy(&client, &PInProcessKeywordClient::connectedChanged);
    client.publisher()->setActive(true);
    QCOMPARE(spy.count(), 0);
    client.publisher()->setActive(false);
    QCOMPARE(spy.count(), 1);
    QVERIFY(!client.connected());
}

void tst_InProcessKeywordClient::directServer_answersInsideTheCall()
{
    PInProcessKeywordClient client;
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    subscriber.setTopic(QStringLiteral("/a"));
    QSignalSpy values(&subscriber, &PSubscriber::valueChanged);
    connect(
        &client, &PInProcessKeywordClient::sendToServer, &client, [&client](const QByteArray &) {
            client.receiveFromServer(R"({"cmd":"keyEvent","payload":{"keyword":"/a","value":3}})");
        });

    QVERIFY(client.sendKeyCreate(QStringLiteral("/a")));

    QCOMPARE(values.count(), 1);
}

void tst_InProcessKeywordClient::logging_showsSentBytesWhenEnabled()
{
    PInProcessKeywordClient client;
    client.sendKeyDestroy(QStringLiteral("/a")); // silent by default
    QLoggingCategory::setFilterRules(
        QStringLiteral("pellixclient.keyword.inprocessclient.debug=true"));
    QTest::ignoreMessage(QtDebugMsg,
                         R"(send "{\"cmd\":\"keyDestroy\",\"payload\":{\"keyword\":\"/a\"}}")");
    client.sendKeyDestroy(QStringLiteral("/a"));
    QLoggingCategory::setFilterRules(QString());
}

void tst_InProcessKeywordClient::handlers_mayDeleteTheClient_data()
{
    QTest::addColumn<QString>("operation");
    for (const char *operation : {"create", "index", "request", "removal"})
        QTest::newRow(operation) << QString::fromLatin1(operation);
}

void tst_InProcessKeywordClient::handlers_mayDeleteTheClient()
{
    QFETCH(QString, operation);
    auto *client = new PInProcessKeywordClient;
    const QPointer<PInProcessKeywordClient> guard = client;
    PSubscriber subscriber;
    subscriber.setPublisher(client->publisher());
    subscriber.setTopic(QStringLiteral("/a"));
    QObject scope;
    connect(client, &PInProcessKeywordClient::sendToServer, &scope, [&] { delete client; });

    if (operation == QLatin1String("create"))
        QVERIFY(client->sendKeyCreate(QStringLiteral("/a")));
    else if (operation == QLatin1String("index"))
        QVERIFY(!client
                     ->sendKeyIndex(QString(), PKeywordValueType::KVT_NOPROP,
                                    PKeywordValueAccess::KVA_NONE)
                     .isNull());
    else if (operation == QLatin1String("request"))
        client->afterSignalsConnected();
    else
        subscriber.setTopic(QString());

    QVERIFY(!guard);
    QVERIFY(!subscriber.active());
}

QTEST_GUILESS_MAIN(tst_InProcessKeywordClient)
#include "tst_inprocesskeywordclient.moc"
