// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/mqttsource.h"
#include "gateway/sourcemount.h"
#include "server/keywordserver.h"
#include "tests/gateway/mqtt/broker.h"
#include "tests/server/testclient.h"

#include <QtTest/QTest>

using namespace pellix::gateway;
using namespace std::chrono_literals;

namespace {

constexpr int longTime = 60000; // in milliseconds; the time that a loaded machine may take

// A gateway to a broker, and a screen that is connected to it.
struct GatewayAndScreen
{
    GatewayAndScreen(const Broker &broker, const MappingOptions &mapping)
        : source(options(broker), mapping),
          mount(&source, &server, q("test"), q("/"), SourceMount::createQueue()), screen(&server)
    {
        source.start();
    }
    static MqttOptions options(const Broker &broker)
    {
        MqttOptions options;
        options.host = broker.host();
        options.port = broker.port();
        return options;
    }
    bool isReady() const { return source.state() == Source::State::Ready; }
    QString shown() const { return screen.seen.isEmpty() ? QString() : screen.seen.constLast(); }

    pellix::server::KeywordServer server;
    MqttSource source;
    SourceMount mount;
    Client screen;
};

MappingOptions everything(const QList<TopicKeyword> &keywords = {})
{
    MappingOptions options;
    options.topics = QStringList {q("#")};
    options.keywords = keywords;
    return options;
}

TopicKeyword setpoint()
{
    TopicKeyword keyword;
    keyword.topic = q("v");
    keyword.type = q("double");
    keyword.writeTopic = q("+/set");
    keyword.confirmWithin = 30s;
    return keyword;
}

#define QTRY_READY(gateway) QTRY_VERIFY_WITH_TIMEOUT((gateway).isReady(), longTime)

} // namespace

// Tests what screens on different gateways can expect from the same values.
class tst_SeveralGateways : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachScreen_seesTheOrderAndTheLastValue();
    void duplicate_changesNothing();
    void relativeWrites_doNotAddUp();
    void relativeWrites_ofADeviceThatAddsDo();
    void aggregates_areTheSame();
    void inferredType_isOfTheFirstMessage();
    void declaredType_isTheSame();
    void bridge_carriesValuesAndWrites();
    void bridge_thatBreaksIsSeen();
};

// One gateway may lag behind for a moment, but no screen gets an older value, and all end with the
// same value.
void tst_SeveralGateways::eachScreen_seesTheOrderAndTheLastValue()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    GatewayAndScreen one(broker, everything());
    GatewayAndScreen other(broker, everything());
    QTRY_READY(one);
    QTRY_READY(other);
    constexpr int count = 1000;
    device.publish("v", "0", true);
    for (GatewayAndScreen *const gateway : {&one, &other}) {
        QTRY_VERIFY_WITH_TIMEOUT(gateway->server.contains(q("/v")), longTime);
        gateway->screen.create("/v");
    }
    for (int i = 1; i <= count; ++i)
        device.publish("v", QByteArray::number(i), true);
    for (GatewayAndScreen *const gateway : {&one, &other}) {
        QTRY_COMPARE_WITH_TIMEOUT(gateway->shown(), q("/v=1000 coc-"), longTime);
        int last = -1;
        for (const QString &event : std::as_const(gateway->screen.seen)) {
            const int value =
                event.section(QLatin1Char('='), 1).section(QLatin1Char(' '), 0, 0).toInt();
            QVERIFY2(value >= last, qPrintable(event));
            last = value;
        }
    }
}

// A message with QoS 1 may arrive twice.
void tst_SeveralGateways::duplicate_changesNothing()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    device.publish("v", "5", true);
    QVERIFY(device.flush());
    GatewayAndScreen gateway(broker, everything());
    QTRY_READY(gateway);
    gateway.screen.create("/v");
    device.publish("v", "5", true);
    device.publish("v", "5", true);
    device.publish("v", "6", true);
    QTRY_COMPARE_WITH_TIMEOUT(gateway.shown(), q("/v=6 coc-"), longTime);
    for (const QString &event : std::as_const(gateway.screen.seen))
        QVERIFY2(event == q("/v=5 coc-") || event == q("/v=6 coc-"), qPrintable(event));
}

// Within one gateway, relative writes add up. With two gateways, each adds to the value that it has
// received, and the last write wins.
void tst_SeveralGateways::relativeWrites_doNotAddUp()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    device.publish("v", "10", true);
    QVERIFY(device.flush());
    QVERIFY(device.subscribe("v/set"));
    GatewayAndScreen one(broker, everything({setpoint()}));
    GatewayAndScreen other(broker, everything({setpoint()}));
    QTRY_READY(one);
    QTRY_READY(other);
    one.screen.create("/v");
    other.screen.create("/v");
    // The device replies only after it has received both writes.
    one.screen.update("/v", "1", true);
    other.screen.update("/v", "2", true);
    QTRY_COMPARE_WITH_TIMEOUT(device.payloads("v/set").size(), 2, longTime);
    const QList<QByteArray> asked = device.payloads("v/set");
    QCOMPARE(QSet<QByteArray>(asked.begin(), asked.end()), (QSet<QByteArray> {"11", "12"}));
    for (const QByteArray &value : asked)
        device.publish("v", value, true);
    const QString last = q("/v=%1 coc-").arg(QString::fromUtf8(asked.constLast())); // not 13
    QTRY_COMPARE_WITH_TIMEOUT(one.shown(), last, longTime);
    QTRY_COMPARE_WITH_TIMEOUT(other.shown(), last, longTime);
}

void tst_SeveralGateways::relativeWrites_ofADeviceThatAddsDo()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    double value = 10;
    device.publish("v", "10", true);
    QVERIFY(device.flush());
    QVERIFY(device.subscribe("v/set"));
    connect(&device, &BrokerClient::receivedMessage, this,
            [&](const QByteArray &, const QByteArray &payload) {
                value += payload.toDouble();
                device.publish("v", QByteArray::number(value), true);
            });
    TopicKeyword keyword = setpoint();
    keyword.writesChange = true;
    GatewayAndScreen one(broker, everything({keyword}));
    GatewayAndScreen other(broker, everything({keyword}));
    QTRY_READY(one);
    QTRY_READY(other);
    one.screen.create("/v");
    other.screen.create("/v");
    one.screen.update("/v", "1", true);
    other.screen.update("/v", "2", true);
    QTRY_VERIFY_WITH_TIMEOUT(one.shown().startsWith(q("/v=13 ")), longTime);
    QTRY_VERIFY_WITH_TIMEOUT(other.shown().startsWith(q("/v=13 ")), longTime);
}

// Aggregates belong to a gateway, and have the same name and value on each.
void tst_SeveralGateways::aggregates_areTheSame()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    device.publish("a/x", "1", true);
    device.publish("a/y", "2", true);
    QVERIFY(device.flush());
    GatewayAndScreen one(broker, everything());
    GatewayAndScreen other(broker, everything());
    QStringList shown;
    for (GatewayAndScreen *const gateway : {&one, &other}) {
        QTRY_READY(*gateway);
        gateway->screen.command(
            "keyCreateOrUpdate",
            R"({"keyword":"sum","children":["/a/x","/a/y"],"aggregation":"sum"})");
        QTRY_VERIFY_WITH_TIMEOUT(!gateway->screen.seen.isEmpty(), longTime);
        shown << gateway->shown();
    }
    QCOMPARE(shown.constFirst(), shown.constLast());
}

// A gateway that starts later may therefore infer another type. A declared type is the same on all
// gateways.
void tst_SeveralGateways::inferredType_isOfTheFirstMessage()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    device.publish("v", "1", true);
    QVERIFY(device.flush());
    GatewayAndScreen early(broker, everything());
    QTRY_READY(early);
    early.screen.create("/v");
    device.publish("v", "open", true);
    QTRY_COMPARE_WITH_TIMEOUT(early.shown(), q("/v=1 coce"), longTime);
    GatewayAndScreen late(broker, everything());
    QTRY_READY(late);
    late.screen.create("/v");
    QTRY_COMPARE_WITH_TIMEOUT(late.shown(), q("/v=\"open\" coc-"), longTime);
}

void tst_SeveralGateways::declaredType_isTheSame()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    device.publish("v", "1", true);
    QVERIFY(device.flush());
    TopicKeyword text;
    text.topic = q("v");
    text.type = q("string");
    GatewayAndScreen early(broker, everything({text}));
    QTRY_READY(early);
    early.screen.create("/v");
    device.publish("v", "open", true);
    QTRY_COMPARE_WITH_TIMEOUT(early.shown(), q("/v=\"open\" coc-"), longTime);
    GatewayAndScreen late(broker, everything({text}));
    QTRY_READY(late);
    late.screen.create("/v");
    QTRY_COMPARE_WITH_TIMEOUT(late.shown(), q("/v=\"open\" coc-"), longTime);
}

// Two brokers with a bridge from the second to the first: another way to use two gateways.
namespace {

BrokerOptions bridgedTo(const Broker &first)
{
    BrokerOptions options;
    options.lines = {"connection plant",   "address 127.0.0.1:" + QByteArray::number(first.port()),
                     "topic # both 1",     "bridge_protocol_version mqttv311",
                     "notifications true", "notification_topic bridge/state",
                     "restart_timeout 1",  "keepalive_interval 5"};
    return options;
}

MappingOptions behindBridge()
{
    MappingOptions options = everything({setpoint()});
    TopicAvailability::Entry entry;
    entry.topic = q("bridge/state");
    entry.online = QStringList {q("1")};
    entry.offline = QStringList {q("0")};
    options.availability.entries = {entry};
    return options;
}

} // namespace

void tst_SeveralGateways::bridge_carriesValuesAndWrites()
{
    Broker first;
    QVERIFY(first.start());
    Broker second(bridgedTo(first));
    QVERIFY(second.start());
    BrokerClient device(first);
    QVERIFY(device.subscribe("v/set"));
    connect(
        &device, &BrokerClient::receivedMessage, this,
        [&](const QByteArray &, const QByteArray &payload) { device.publish("v", payload, true); });
    device.publish("v", "1", true);
    GatewayAndScreen near(first, everything({setpoint()}));
    GatewayAndScreen far(second, behindBridge());
    QTRY_READY(near);
    QTRY_READY(far);
    near.screen.create("/v");
    far.screen.create("/v");
    QTRY_COMPARE_WITH_TIMEOUT(near.shown(), q("/v=1 coc-"), longTime);
    QTRY_COMPARE_WITH_TIMEOUT(far.shown(), q("/v=1 coc-"), longTime);
    far.screen.update("/v", "2");
    QTRY_COMPARE_WITH_TIMEOUT(near.shown(), q("/v=2 coc-"), longTime);
    QTRY_COMPARE_WITH_TIMEOUT(far.shown(), q("/v=2 coc-"), longTime);
}

// The broker behind the bridge is running, and does not report that the bridge is broken. The topic
// of the bridge does, and is used as the availability of everything that passes through it.
void tst_SeveralGateways::bridge_thatBreaksIsSeen()
{
    BrokerOptions options;
    options.persistence = true;
    Broker first(options);
    QVERIFY(first.start());
    Broker second(bridgedTo(first));
    QVERIFY(second.start());
    {
        BrokerClient device(first);
        device.publish("v", "1", true);
        QVERIFY(device.flush());
    }
    GatewayAndScreen far(second, behindBridge());
    QTRY_READY(far);
    far.screen.create("/v");
    QTRY_COMPARE_WITH_TIMEOUT(far.shown(), q("/v=1 coc-"), longTime);
    first.kill();
    QTRY_COMPARE_WITH_TIMEOUT(far.shown(), q("/v=1 c-c-"), longTime);
    QVERIFY(first.start());
    BrokerClient device(first);
    device.publish("v", "2", true);
    QTRY_COMPARE_WITH_TIMEOUT(far.shown(), q("/v=2 coc-"), longTime);
}

QTEST_GUILESS_MAIN(tst_SeveralGateways)
#include "tst_severalgateways.moc"
