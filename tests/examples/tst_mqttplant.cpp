// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/gateway/mqtt/broker.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QTest>

// The plant of the examples, with a real broker.
class tst_MqttPlant : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void values_areRetained();
    void commands_areReadBack();
    void limit_isAnsweredByAnotherValue();
    void interlock_answersNothing();
    void scaleAndHeater_areAwayByTurns();
    void descriptions_areThere();
    void lampAndBoiler_takeCommands();
    void end_isTold();
    void death_isToldByTheBroker();
    void broker_canBeRestarted();
    void badCommandLine_isRefused_data();
    void badCommandLine_isRefused();

private:
    void startPlant(const QString &period = QStringLiteral("20"));
    QByteArray last(const char *topic) const
    {
        const QList<QByteArray> all = client->payloads(topic);
        return all.isEmpty() ? QByteArray() : all.constLast();
    }

    std::unique_ptr<Broker> broker;
    std::unique_ptr<BrokerClient> client;
    std::unique_ptr<QProcess> plant;
};

void tst_MqttPlant::init()
{
    broker = std::make_unique<Broker>();
    QVERIFY(broker->start());
    client = std::make_unique<BrokerClient>(*broker);
    QTRY_VERIFY(client->isConnected());
    QVERIFY(client->subscribe("#"));
}

void tst_MqttPlant::cleanup()
{
    if (plant) {
        plant->terminate();
        plant->waitForFinished();
    }
    plant.reset();
    client.reset();
    broker.reset();
}

void tst_MqttPlant::startPlant(const QString &period)
{
    plant = std::make_unique<QProcess>();
    plant->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    plant->start(QStringLiteral(MQTT_PLANT),
                 {QStringLiteral("--url"), broker->url(), QStringLiteral("--period"), period});
    QVERIFY(plant->waitForStarted());
    QTRY_COMPARE(last("factory/state"), QByteArray("online"));
}

void tst_MqttPlant::values_areRetained()
{
    startPlant();
    QTRY_VERIFY(!last("factory/room").isEmpty());
    BrokerClient late(*broker);
    QTRY_VERIFY(late.isConnected());
    QVERIFY(late.subscribe("factory/#"));
    for (const char *const topic :
         {"factory/state", "factory/tank1/status", "factory/tank1/level", "factory/tank2/setpoint",
          "factory/tank2/pump", "factory/tank1/valve", "factory/room", "factory/scale",
          "factory/heater/power", "factory/heater/status", "factory/interlock/limit"})
        QTRY_VERIFY2(!late.payloads(topic).isEmpty(), topic);
    const QJsonObject level =
        QJsonDocument::fromJson(late.payloads("factory/tank1/level").constFirst()).object();
    QVERIFY(level.value(QLatin1String("value")).isDouble());
    QCOMPARE(level.value(QLatin1String("unit")).toString(), QStringLiteral("%"));
    QVERIFY(late.messages().constFirst().retained);
}

void tst_MqttPlant::commands_areReadBack()
{
    startPlant();
    client->publish("factory/tank1/setpoint/set", R"({"value": 33})");
    client->publish("factory/tank2/setpoint/set", "44");
    client->publish("factory/tank1/pump/set", "OFF");
    client->publish("factory/tank1/valve/set", "80");
    QTRY_COMPARE(last("factory/tank1/setpoint"), QByteArray("33"));
    QTRY_COMPARE(last("factory/tank2/setpoint"), QByteArray("44"));
    QTRY_COMPARE(last("factory/tank1/pump"), QByteArray("OFF"));
    QTRY_COMPARE_WITH_TIMEOUT(last("factory/tank1/valve"), QByteArray("80"), 30000);
    QVERIFY(client->payloads("factory/tank1/valve").contains("50")); // the valve moves gradually
}

void tst_MqttPlant::limit_isAnsweredByAnotherValue()
{
    startPlant();
    client->publish("factory/tank1/setpoint/set", "99");
    QTRY_COMPARE(last("factory/tank1/setpoint"), QByteArray("95"));
}

void tst_MqttPlant::interlock_answersNothing()
{
    startPlant();
    QTRY_COMPARE(last("factory/interlock/limit"), QByteArray("80"));
    const auto before = client->payloads("factory/interlock/limit").size();
    client->publish("factory/interlock/limit/set", "70");
    client->publish("factory/tank1/setpoint/set", "12"); // processed after the previous write
    QTRY_COMPARE(last("factory/tank1/setpoint"), QByteArray("12"));
    QCOMPARE(client->payloads("factory/interlock/limit").size(), before);
    QCOMPARE(last("factory/interlock/limit"), QByteArray("80"));
}

void tst_MqttPlant::scaleAndHeater_areAwayByTurns()
{
    startPlant(QStringLiteral("1"));
    QTRY_COMPARE_WITH_TIMEOUT(last("factory/heater/status"), QByteArray("offline"), 30000);
    client->clear();
    QTRY_COMPARE_WITH_TIMEOUT(last("factory/heater/status"), QByteArray("online"), 30000);
    bool wasSilent = true;
    for (const auto &message : client->messages()) {
        if (message.topic == "factory/heater/status")
            break;
        wasSilent &= message.topic != "factory/scale" && message.topic != "factory/heater/power";
    }
    QVERIFY(wasSilent);
    QTRY_VERIFY_WITH_TIMEOUT(!last("factory/scale").isEmpty(), 30000);
}

void tst_MqttPlant::descriptions_areThere()
{
    startPlant();
    QTRY_COMPARE(last("homie/5/boiler-room/$state"), QByteArray("ready"));
    QTRY_VERIFY(QJsonDocument::fromJson(last("homie/5/boiler-room/$description")).isObject());
    QTRY_VERIFY(QJsonDocument::fromJson(last("zigbee2mqtt/bridge/devices")).isArray());
    QTRY_COMPARE(last("zigbee2mqtt/bridge/state"), QByteArray(R"({"state":"online"})"));
}

void tst_MqttPlant::lampAndBoiler_takeCommands()
{
    startPlant();
    client->publish("zigbee2mqtt/hall/lamp/set", R"({"brightness": 7, "unknown": 1})");
    QTRY_COMPARE(last("zigbee2mqtt/hall/lamp"),
                 QByteArray(R"({"brightness":7,"linkquality":92,"state":"ON"})"));
    client->publish("homie/5/boiler-room/boiler/setpoint/set", "44.5");
    QTRY_COMPARE(last("homie/5/boiler-room/boiler/setpoint"), QByteArray("44.5"));
    client->publish("homie/5/boiler-room/boiler/setpoint/set", "10"); // out of range
    client->publish("homie/5/boiler-room/boiler/mode/set", "eco");
    QTRY_COMPARE(last("homie/5/boiler-room/boiler/mode"), QByteArray("eco"));
    QCOMPARE(last("homie/5/boiler-room/boiler/setpoint"), QByteArray("44.5"));
}

void tst_MqttPlant::end_isTold()
{
    startPlant();
    plant->terminate();
    QVERIFY(plant->waitForFinished());
    QCOMPARE(plant->exitStatus(), QProcess::NormalExit);
    QCOMPARE(plant->exitCode(), 0);
    QTRY_COMPARE(last("factory/state"), QByteArray("offline"));
    QCOMPARE(last("factory/tank1/status"), QByteArray("offline"));
    QCOMPARE(last("homie/5/boiler-room/$state"), QByteArray("disconnected"));
}

void tst_MqttPlant::death_isToldByTheBroker()
{
    startPlant();
    plant->kill();
    QVERIFY(plant->waitForFinished());
    QTRY_COMPARE(last("factory/state"), QByteArray("offline"));
    QCOMPARE(last("factory/tank1/status"), QByteArray("online")); // it has not been replaced
}

void tst_MqttPlant::broker_canBeRestarted()
{
    startPlant();
    broker->kill();
    QTRY_VERIFY(!client->isConnected());
    client->clear();
    QVERIFY(broker->start());
    QTRY_COMPARE_WITH_TIMEOUT(last("factory/state"), QByteArray("online"), 30000);
    QTRY_VERIFY(!last("factory/tank1/level").isEmpty());
}

void tst_MqttPlant::badCommandLine_isRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("address") << QStringList {QStringLiteral("--url"), QStringLiteral("x")};
    QTest::newRow("scheme") << QStringList {QStringLiteral("--url"), QStringLiteral("http://x")};
    QTest::newRow("period") << QStringList {QStringLiteral("--period"), QStringLiteral("0")};
    QTest::newRow("no period") << QStringList {QStringLiteral("--period"), QStringLiteral("nan")};
    QTest::newRow("more") << QStringList {QStringLiteral("x")};
}

void tst_MqttPlant::badCommandLine_isRefused()
{
    QFETCH(QStringList, arguments);
    QProcess process;
    process.start(QStringLiteral(MQTT_PLANT), arguments);
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 2);
    QVERIFY(process.readAllStandardError().startsWith("mqtt-plant: "));
}

QTEST_GUILESS_MAIN(tst_MqttPlant)
#include "tst_mqttplant.moc"
