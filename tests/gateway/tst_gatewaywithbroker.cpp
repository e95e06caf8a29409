// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/gateway.h"
#include "gateway/mqtt/mqttsourcetype.h"
#include "server/keywordserver.h"
#include "tests/gateway/mqtt/broker.h"

#include <QtTest/QTest>

using namespace pellix::gateway;

namespace {

constexpr int patience = 30000; // in milliseconds, for all expected events

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

// Tests a gateway whose sources are real brokers.
class tst_GatewayWithBroker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void metrics_countWhatDoesNotFit();

private:
    bool apply(QByteArray sources);
    QByteArray metric(const char *name) const;

    const MqttSourceType mqtt;
    std::unique_ptr<Broker> broker;
    std::unique_ptr<Gateway> gateway;
    QString error;
};

void tst_GatewayWithBroker::init()
{
    broker = std::make_unique<Broker>();
    QVERIFY(broker->start());
    gateway = std::make_unique<Gateway>();
}

void tst_GatewayWithBroker::cleanup()
{
    gateway.reset();
    broker.reset();
}

// URL stands for the address of the broker.
bool tst_GatewayWithBroker::apply(QByteArray sources)
{
    ConfigurationProblems problems;
    const auto configuration =
        Configuration::parse(R"({"listen": [{"port": 0}], "sources": )"
                                 + sources.replace("URL", broker->url().toUtf8()) + '}',
                             QString(), {&mqtt}, &problems);
    for (const ConfigurationProblem &problem : std::as_const(problems))
        qWarning("%s: %s", qPrintable(problem.pointer), qPrintable(problem.text));
    return configuration && gateway->apply(*configuration, &error);
}

// The value of a metric of the source "a".
QByteArray tst_GatewayWithBroker::metric(const char *name) const
{
    const QByteArray line = QByteArray("\nkeyword_gateway_") + name + "{source=\"a\"} ";
    const QByteArray all = gateway->metrics();
    const qsizetype begin = all.indexOf(line);
    return begin < 0 ? QByteArray() : all.mid(begin + line.size()).split('\n').constFirst();
}

void tst_GatewayWithBroker::metrics_countWhatDoesNotFit()
{
    BrokerClient other(*broker);
    QTRY_VERIFY_WITH_TIMEOUT(other.isConnected(), patience);
    QVERIFY2(apply(R"([{"name": "a", "mount": "/a", "mqtt": {"url": "URL"}}])"), qPrintable(error));
    QTRY_COMPARE_WITH_TIMEOUT(metric("source_up"), QByteArray("1"), patience);
    QCOMPARE(metric("source_misfits_total"), QByteArray("0"));
    QCOMPARE(metric("source_conflicts_total"), QByteArray("0"));
    other.publish("number", "1");
    other.publish("number", "hot");
    other.publish("number", "cold");
    other.publish("a//b", "1");
    other.publish("a/_/b", "1");
    QTRY_COMPARE_WITH_TIMEOUT(metric("messages_total"), QByteArray("5"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(metric("source_misfits_total"), QByteArray("2"), patience);
    QCOMPARE(metric("source_conflicts_total"), QByteArray("1"));
    QCOMPARE(gateway->keywordServer()->value(q("/a/number")), QVariant(1.0));
}

QTEST_GUILESS_MAIN(tst_GatewayWithBroker)
#include "tst_gatewaywithbroker.moc"
