// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/gateway/mqtt/broker.h"

#include <QtTest/QTest>

// Tests the broker fixture that the other tests use.
class tst_Broker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void messages_arrive();
    void retained_isLostOrKept_data();
    void retained_isLostOrKept();
    void passwords_areNeeded();
    void tls_connects();
    void port_staysTheSame();
};

void tst_Broker::messages_arrive()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient reader(broker), writer(broker);
    QVERIFY(reader.subscribe("a/#"));
    writer.publish("a/b", "1");
    writer.publish("c/b", "2");
    writer.publish("a/c", "3", true);
    QVERIFY(writer.flush());
    QTRY_COMPARE(reader.messages().size(), 2);
    QCOMPARE(reader.payloads("a/b"), QList<QByteArray> {"1"});
    BrokerClient late(broker);
    QVERIFY(late.subscribe("#"));
    QTRY_COMPARE(late.messages().size(), 1);
    QCOMPARE(late.messages().constFirst().retained, true);
}

void tst_Broker::retained_isLostOrKept_data()
{
    QTest::addColumn<bool>("persistence");
    QTest::newRow("lost") << false;
    QTest::newRow("kept") << true;
}

void tst_Broker::retained_isLostOrKept()
{
    QFETCH(const bool, persistence);
    BrokerOptions options;
    options.persistence = persistence;
    Broker broker(options);
    QVERIFY(broker.start());
    {
        BrokerClient writer(broker);
        writer.publish("a", "1", true);
        QVERIFY(writer.flush());
    }
    QVERIFY(broker.restart());
    BrokerClient reader(broker);
    QVERIFY(reader.subscribe("#"));
    reader.publish("end", "");
    QTRY_VERIFY(!reader.payloads("end").isEmpty());
    QCOMPARE(reader.payloads("a").size(), persistence ? 1 : 0);
}

void tst_Broker::passwords_areNeeded()
{
    BrokerOptions options;
    options.passwords.insert(QStringLiteral("hmi"), QStringLiteral("secret"));
    Broker broker(options);
    QVERIFY(broker.start());
    const BrokerClient good(broker, QStringLiteral("hmi"), QStringLiteral("secret"));
    QVERIFY(good.isConnected());
    broker.setPasswords({{QStringLiteral("hmi"), QStringLiteral("other")}});
    const BrokerClient other(broker, QStringLiteral("hmi"), QStringLiteral("other"));
    QVERIFY(other.isConnected());
}

void tst_Broker::tls_connects()
{
    BrokerOptions options;
    options.tls = true;
    options.clientCertificates = true;
    Broker broker(options);
    QVERIFY(broker.start());
    const BrokerClient client(broker);
    QVERIFY(client.isConnected());
}

void tst_Broker::port_staysTheSame()
{
    Broker broker;
    QVERIFY(broker.start());
    const quint16 port = broker.port();
    BrokerClient client(broker);
    QVERIFY(broker.restart());
    QCOMPARE(broker.port(), port);
    QTRY_VERIFY_WITH_TIMEOUT(client.isConnected() && broker.connectionsSeen() == 1, 30000);
    broker.terminate();
    QVERIFY(!broker.isRunning());
    QVERIFY(broker.start());
}

QTEST_GUILESS_MAIN(tst_Broker)
#include "tst_broker.moc"
