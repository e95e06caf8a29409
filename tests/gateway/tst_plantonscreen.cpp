// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"
#include "tests/gateway/mqtt/broker.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <map>

using namespace pellix::client;

namespace {

constexpr int patience = 30000; // in milliseconds, for all expected events

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

struct Ran
{
    int code = -1;
    QString text; // of both outputs, with single spaces
};

} // namespace

// Tests the whole chain with real parts: the plant of the examples, the broker, the program
// keyword-gateway with the configuration of the demo, and clients.
class tst_PlantOnScreen : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void values_areThere_data();
    void values_areThere();
    void members_followThePayload();
    void labels_areThere();
    void topics_areListed();
    void write_isReadBack_data();
    void write_isReadBack();
    void write_isRefused_data();
    void write_isRefused();
    void limit_isShownToAll();
    void slowDevice_isInconsistentMeanwhile();
    void twoClients_addUp();
    void aggregate_isFormed();
    void scale_goesStaleAndComesBack();
    void heater_isUnavailableByTurns();
    void plant_thatDiesIsOffline();
    void broker_thatDiesKeepsValues();
    void write_withoutBrokerIsNotSentLater();
    void viewer_mayNotWrite();
    void tool_getsAndSets();
    void tool_isToldBeforeItGivesUp();
    void tool_seesTheBrokerDie();
    void gateway_endsWhenTold();

private:
    void startPlant(const char *period = "600");
    void startGateway(const QByteArray &from = {}, const QByteArray &to = {});
    PKeywordProxy *proxy(const char *path);
    PKeywordProxy *proxy(const char *path, PWebSocketKeywordClient *client);
    QString flags(const PKeywordProxy *keyword) const;
    Ran run(const QStringList &arguments);

    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<Broker> broker;
    std::unique_ptr<QProcess> plant;
    std::unique_ptr<QProcess> gateway;
    QString url;
    std::unique_ptr<PWebSocketKeywordClient> client;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies;
};

void tst_PlantOnScreen::init()
{
    folder = std::make_unique<QTemporaryDir>();
    broker = std::make_unique<Broker>();
    QVERIFY(broker->start());
}

void tst_PlantOnScreen::cleanup()
{
    proxies.clear();
    client.reset();
    for (const auto &program : {&gateway, &plant}) {
        if (*program && (*program)->state() != QProcess::NotRunning) {
            (*program)->terminate();
            QVERIFY((*program)->waitForFinished());
        }
        program->reset();
    }
    broker.reset();
}

void tst_PlantOnScreen::startPlant(const char *period)
{
    plant = std::make_unique<QProcess>();
    plant->start(q(MQTT_PLANT), {q("--url"), broker->url(), q("--period"), q(period)});
    QVERIFY(plant->waitForStarted());
}

void tst_PlantOnScreen::startGateway(const QByteArray &from, const QByteArray &to)
{
    QFile configuration(q(CONFIGURATION));
    QVERIFY(configuration.open(QIODevice::ReadOnly));
    QByteArray json = configuration.readAll();
    json.replace("mqtt://127.0.0.1:1883", broker->url().toUtf8());
    json.replace("\"port\": 8765", "\"port\": 0");
    if (!from.isEmpty())
        QVERIFY(json.contains(from));
    json.replace(from.isEmpty() ? QByteArray("{}{}") : from, to);
    QFile file(folder->filePath(q("gateway.json")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(json);
    file.close();

    gateway = std::make_unique<QProcess>();
    gateway->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    gateway->start(q(GATEWAY), {q("--config"), file.fileName()});
    QTRY_VERIFY_WITH_TIMEOUT(gateway->canReadLine(), patience);
    const QString line = QString::fromUtf8(gateway->readLine()).trimmed();
    QVERIFY2(line.startsWith(q("listening on ws://127.0.0.1:")), qPrintable(line));
    url = line.section(QLatin1Char(' '), -1);
    client = std::make_unique<PWebSocketKeywordClient>();
    client->setAutoReconnect(true);
    client->setUrls({url});
    QTRY_VERIFY_WITH_TIMEOUT(client->connected(), patience);
}

PKeywordProxy *tst_PlantOnScreen::proxy(const char *path, PWebSocketKeywordClient *of)
{
    proxies.push_back(std::make_unique<PKeywordProxy>());
    proxies.back()->setKeyword(q(path));
    proxies.back()->setClient(of);
    return proxies.back().get();
}

PKeywordProxy *tst_PlantOnScreen::proxy(const char *path)
{
    return proxy(path, client.get());
}

// The state that a screen shows for a value.
QString tst_PlantOnScreen::flags(const PKeywordProxy *keyword) const
{
    QStringList words;
    if (!keyword->connected())
        words.append(q("not connected"));
    if (!keyword->online())
        words.append(q("offline"));
    if (!keyword->consistent())
        words.append(q("inconsistent"));
    if (keyword->error())
        words.append(q("error"));
    return words.isEmpty() ? q("ok") : words.join(q(", "));
}

Ran tst_PlantOnScreen::run(const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(q(KEYWORD), QStringList {arguments.first(), q("--url"), url} + arguments.mid(1));
    if (!process.waitForFinished(patience))
        return {};
    return {process.exitCode(), QString::fromUtf8(process.readAll()).simplified()};
}

void tst_PlantOnScreen::values_areThere_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QVariant>("value"); // invalid: any number
    const auto row = [](const char *path, const QVariant &value = {}) {
        QTest::newRow(path) << QByteArray(path) << value;
    };
    row("/plant/tank1/level");
    row("/plant/tank2/level");
    row("/plant/tank1/setpoint", 60.0);
    row("/plant/tank2/setpoint", 50.0);
    row("/plant/tank1/pump", true);
    row("/plant/tank1/valve", 30.0);
    row("/plant/tank1/status", q("online"));
    row("/plant/room/temp");
    row("/plant/room/rh");
    row("/plant/scale");
    row("/plant/heater/power");
    row("/plant/interlock/limit", 80.0);
    row("/house/hall/lamp/state", true);
    row("/house/hall/lamp/brightness", 180.0);
    row("/house/hall/lamp/linkquality", 92.0);
    row("/house/boiler-room/boiler/flow");
    row("/house/boiler-room/boiler/setpoint", 60.0);
    row("/house/boiler-room/boiler/mode", q("comfort"));
}

void tst_PlantOnScreen::values_areThere()
{
    QFETCH(QByteArray, path);
    QFETCH(QVariant, value);
    startPlant();
    startGateway();
    const PKeywordProxy *const keyword = proxy(path);
    QTRY_COMPARE_WITH_TIMEOUT(flags(keyword), q("ok"), patience);
    if (value.isValid())
        QCOMPARE(keyword->value(), value);
    else
        QVERIFY(keyword->value().typeId() == QMetaType::Double
                || keyword->value().canConvert<double>());
}

void tst_PlantOnScreen::members_followThePayload()
{
    startPlant();
    startGateway();
    const PKeywordProxy *const temperature = proxy("/plant/room/temp");
    const PKeywordProxy *const humidity = proxy("/plant/room/rh");
    QTRY_VERIFY_WITH_TIMEOUT(temperature->online() && humidity->online(), patience);
    plant->terminate(); // so that no other values arrive
    QVERIFY(plant->waitForFinished());
    BrokerClient other(*broker);
    QTRY_VERIFY(other.isConnected());
    other.publish("factory/room", R"({"temp": 3.5})", true);
    QTRY_COMPARE(temperature->value().toDouble(), 3.5);
    QVERIFY(humidity->value().toDouble() > 40); // not in the payload, so it is kept
}

void tst_PlantOnScreen::labels_areThere()
{
    startPlant();
    startGateway();
    const PKeywordProxy *const tank = proxy("/plant/tank1/level/Label");
    const PKeywordProxy *const boiler = proxy("/house/boiler-room/boiler/flow/Label");
    QTRY_COMPARE_WITH_TIMEOUT(tank->value().toString(), q("Level of tank1"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(boiler->value().toString(), q("Flow temperature"), patience);
}

void tst_PlantOnScreen::topics_areListed()
{
    startPlant();
    startGateway();
    const PKeywordProxy *const last = proxy("/house/hall/lamp/state");
    QTRY_VERIFY_WITH_TIMEOUT(last->online(), patience);
    QTRY_COMPARE_WITH_TIMEOUT(run({q("ls"), q("/plant/tank1")}).text,
                              q("/plant/tank1/level double /plant/tank1/pump bool "
                                "/plant/tank1/setpoint double /plant/tank1/status string "
                                "/plant/tank1/valve double"),
                              patience);
}

void tst_PlantOnScreen::write_isReadBack_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("number in JSON") << QByteArray("/plant/tank1/setpoint") << QVariant(33.5);
    QTest::newRow("mapped") << QByteArray("/plant/tank2/pump") << QVariant(false);
    QTest::newRow("Zigbee2MQTT, mapped") << QByteArray("/house/hall/lamp/state") << QVariant(false);
    QTest::newRow("Zigbee2MQTT, number")
        << QByteArray("/house/hall/lamp/brightness") << QVariant(7.0);
    QTest::newRow("Homie, number")
        << QByteArray("/house/boiler-room/boiler/setpoint") << QVariant(44.5);
    QTest::newRow("Homie, enum") << QByteArray("/house/boiler-room/boiler/mode")
                                 << QVariant(q("eco"));
}

void tst_PlantOnScreen::write_isReadBack()
{
    QFETCH(QByteArray, path);
    QFETCH(QVariant, value);
    startPlant();
    startGateway();
    PKeywordProxy *const keyword = proxy(path);
    PWebSocketKeywordClient other;
    other.setUrls({url});
    const PKeywordProxy *const elsewhere = proxy(path, &other);
    QTRY_COMPARE_WITH_TIMEOUT(flags(keyword), q("ok"), patience);
    QVERIFY(keyword->value() != value);
    QVERIFY(keyword->update(value));
    QTRY_COMPARE_WITH_TIMEOUT(keyword->value(), value, patience);
    QTRY_COMPARE_WITH_TIMEOUT(elsewhere->value(), value, patience);
    QTRY_COMPARE_WITH_TIMEOUT(flags(keyword), q("ok"), patience);
    proxies.clear();
}

void tst_PlantOnScreen::write_isRefused_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("out of range") << QByteArray("/plant/tank1/setpoint") << QVariant(120);
    QTest::newRow("of another type") << QByteArray("/plant/tank1/setpoint") << QVariant(q("x"));
    QTest::newRow("no topic to write to") << QByteArray("/plant/tank1/level") << QVariant(5);
    QTest::newRow("never answered") << QByteArray("/plant/interlock/limit") << QVariant(70);
    QTest::newRow("no such choice")
        << QByteArray("/house/boiler-room/boiler/mode") << QVariant(q("hot"));
    QTest::newRow("Homie, out of range")
        << QByteArray("/house/boiler-room/boiler/setpoint") << QVariant(10);
    QTest::newRow("Zigbee2MQTT, read-only")
        << QByteArray("/house/hall/lamp/linkquality") << QVariant(10);
}

void tst_PlantOnScreen::write_isRefused()
{
    QFETCH(QByteArray, path);
    QFETCH(QVariant, value);
    startPlant();
    startGateway();
    PKeywordProxy *const keyword = proxy(path);
    PWebSocketKeywordClient other;
    other.setUrls({url});
    const PKeywordProxy *const elsewhere = proxy(path, &other);
    QTRY_COMPARE_WITH_TIMEOUT(flags(keyword), q("ok"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(flags(elsewhere), q("ok"), patience);
    QVERIFY(keyword->update(value));
    QTRY_VERIFY_WITH_TIMEOUT(keyword->error(), patience);
    QVERIFY(keyword->value() != value);
    QVERIFY(!elsewhere->error()); // the refused write was not its own
    proxies.clear();
}

// The device accepts at most 95.
void tst_PlantOnScreen::limit_isShownToAll()
{
    startPlant();
    startGateway();
    PKeywordProxy *const keyword = proxy("/plant/tank1/setpoint");
    QTRY_COMPARE_WITH_TIMEOUT(flags(keyword), q("ok"), patience);
    QVERIFY(keyword->update(99));
    QTRY_COMPARE_WITH_TIMEOUT(keyword->value().toDouble(), 95.0, patience);
    QTRY_VERIFY_WITH_TIMEOUT(keyword->error(), patience); // the value differs from the written one
    QCOMPARE(keyword->value().toDouble(), 95.0);
}

void tst_PlantOnScreen::slowDevice_isInconsistentMeanwhile()
{
    startPlant();
    startGateway();
    PKeywordProxy *const valve = proxy("/plant/tank1/valve");
    QTRY_COMPARE_WITH_TIMEOUT(flags(valve), q("ok"), patience);
    QVERIFY(valve->update(60)); // six steps of half a second
    QTRY_VERIFY_WITH_TIMEOUT(!valve->consistent(), patience);
    QVERIFY(valve->value().toDouble() < 60);
    QTRY_COMPARE_WITH_TIMEOUT(valve->value().toDouble(), 60.0, patience);
    QTRY_COMPARE_WITH_TIMEOUT(flags(valve), q("ok"), patience);
}

void tst_PlantOnScreen::twoClients_addUp()
{
    startPlant();
    startGateway();
    PWebSocketKeywordClient other;
    other.setUrls({url});
    PKeywordProxy *const one = proxy("/plant/tank1/setpoint");
    PKeywordProxy *const two = proxy("/plant/tank1/setpoint", &other);
    QTRY_COMPARE_WITH_TIMEOUT(one->value().toDouble(), 60.0, patience);
    QTRY_COMPARE_WITH_TIMEOUT(two->value().toDouble(), 60.0, patience);
    QVERIFY(one->updateRelative(5));
    QVERIFY(two->updateRelative(5));
    QTRY_COMPARE_WITH_TIMEOUT(one->value().toDouble(), 70.0, patience);
    QTRY_COMPARE_WITH_TIMEOUT(two->value().toDouble(), 70.0, patience);
    proxies.clear();
}

void tst_PlantOnScreen::aggregate_isFormed()
{
    startPlant();
    startGateway();
    const PKeywordProxy *const last = proxy("/plant/tank2/setpoint");
    QTRY_VERIFY_WITH_TIMEOUT(last->online(), patience);
    const Ran ran = run({q("aggregate"), q("--keyword"), q("/highest"), q("max"),
                         q("/plant/tank1/setpoint"), q("/plant/tank2/setpoint")});
    QCOMPARE(ran.text, q("/highest 60 double ok"));
}

void tst_PlantOnScreen::scale_goesStaleAndComesBack()
{
    startPlant("4");
    startGateway("\"staleAfter\": 3", "\"staleAfter\": 1.5");
    const PKeywordProxy *const weight = proxy("/plant/scale");
    const PKeywordProxy *const level = proxy("/plant/tank1/level");
    QTRY_COMPARE_WITH_TIMEOUT(flags(weight), q("ok"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(flags(weight), q("offline"), patience);
    QVERIFY(weight->value().toDouble() > 800); // the last value is kept and marked as old
    QCOMPARE(flags(level), q("ok"));
    QTRY_COMPARE_WITH_TIMEOUT(flags(weight), q("ok"), patience);
}

void tst_PlantOnScreen::heater_isUnavailableByTurns()
{
    startPlant("2");
    startGateway();
    const PKeywordProxy *const power = proxy("/plant/heater/power");
    for (int i = 0; i < 2; ++i) {
        QTRY_COMPARE_WITH_TIMEOUT(flags(power), q("ok"), patience);
        QTRY_COMPARE_WITH_TIMEOUT(flags(power), q("offline"), patience);
    }
    QVERIFY(power->value().toDouble() > 1000);
}

// Its will, which the broker publishes, sets the keywords offline.
void tst_PlantOnScreen::plant_thatDiesIsOffline()
{
    startPlant();
    startGateway();
    const PKeywordProxy *const setpoint = proxy("/plant/tank1/setpoint");
    const PKeywordProxy *const temperature = proxy("/plant/room/temp");
    QTRY_COMPARE_WITH_TIMEOUT(flags(setpoint), q("ok"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(flags(temperature), q("ok"), patience);
    plant->kill();
    QVERIFY(plant->waitForFinished());
    QTRY_COMPARE_WITH_TIMEOUT(flags(setpoint), q("offline"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(flags(temperature), q("offline"), patience);
    QCOMPARE(setpoint->value().toDouble(), 60.0);
    startPlant();
    QTRY_COMPARE_WITH_TIMEOUT(flags(setpoint), q("ok"), patience);
}

void tst_PlantOnScreen::broker_thatDiesKeepsValues()
{
    startPlant();
    startGateway();
    const PKeywordProxy *const setpoint = proxy("/plant/tank1/setpoint");
    const PKeywordProxy *const level = proxy("/plant/tank1/level");
    const PKeywordProxy *const lamp = proxy("/house/hall/lamp/state");
    const PKeywordProxy *const mode = proxy("/house/boiler-room/boiler/mode");
    const PKeywordProxy *const source = proxy("/gateway/sources/factory/online");
    for (const PKeywordProxy *const keyword : {setpoint, level, lamp, mode, source})
        QTRY_COMPARE_WITH_TIMEOUT(flags(keyword), q("ok"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(source->value(), QVariant(true), patience);
    for (int round = 0; round < 2; ++round) {
        broker->kill();
        for (const PKeywordProxy *const keyword : {setpoint, level, lamp, mode})
            QTRY_COMPARE_WITH_TIMEOUT(flags(keyword), q("not connected, offline"), patience);
        QCOMPARE(setpoint->value().toDouble(), 60.0);
        QCOMPARE(lamp->value(), QVariant(true));
        QTRY_COMPARE_WITH_TIMEOUT(source->value(), QVariant(false), patience);
        QVERIFY(client->connected()); // the client is still connected to its gateway

        // The broker has lost its retained messages, and the plant publishes them again.
        QVERIFY(broker->start());
        for (const PKeywordProxy *const keyword : {setpoint, level, lamp, mode})
            QTRY_COMPARE_WITH_TIMEOUT(flags(keyword), q("ok"), patience);
        QTRY_COMPARE_WITH_TIMEOUT(source->value(), QVariant(true), patience);
    }
}

void tst_PlantOnScreen::write_withoutBrokerIsNotSentLater()
{
    startPlant();
    startGateway();
    PKeywordProxy *const setpoint = proxy("/plant/tank1/setpoint");
    QTRY_COMPARE_WITH_TIMEOUT(flags(setpoint), q("ok"), patience);
    broker->kill();
    QTRY_VERIFY_WITH_TIMEOUT(!setpoint->connected(), patience);
    QVERIFY(setpoint->update(11));
    QTRY_VERIFY_WITH_TIMEOUT(setpoint->error(), patience);
    QVERIFY(broker->start());
    QTRY_COMPARE_WITH_TIMEOUT(flags(setpoint), q("ok"), patience);
    QVERIFY(setpoint->update(12)); // the other write would have arrived before this one
    QTRY_COMPARE_WITH_TIMEOUT(setpoint->value().toDouble(), 12.0, patience);
    BrokerClient other(*broker);
    QTRY_VERIFY(other.isConnected());
    QVERIFY(other.subscribe("factory/+/+/set")); // its retained messages arrive now
    other.publish("factory/end/end/set", "end");
    QTRY_COMPARE(other.messages().size(), 1);
    QCOMPARE(setpoint->value().toDouble(), 12.0);
}

void tst_PlantOnScreen::viewer_mayNotWrite()
{
    startPlant();
    startGateway("\"role\": \"operator\"", "\"role\": \"viewer\"");
    PKeywordProxy *const setpoint = proxy("/plant/tank1/setpoint");
    QTRY_COMPARE_WITH_TIMEOUT(flags(setpoint), q("ok"), patience);
    QVERIFY(setpoint->update(20));
    QTRY_VERIFY_WITH_TIMEOUT(setpoint->error(), patience);
    QCOMPARE(setpoint->value().toDouble(), 60.0);
}

void tst_PlantOnScreen::tool_getsAndSets()
{
    startPlant();
    startGateway();
    const PKeywordProxy *const limit = proxy("/plant/interlock/limit");
    const PKeywordProxy *const level = proxy("/plant/tank1/level");
    QTRY_COMPARE_WITH_TIMEOUT(flags(limit), q("ok"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(flags(level), q("ok"), patience);
    const auto expect = [this](const QStringList &arguments, int code, const char *text) {
        const Ran ran = run(arguments);
        QCOMPARE(ran.text, q(text));
        QCOMPARE(ran.code, code);
    };
    expect({q("get"), q("/plant/tank1/setpoint")}, 0, "/plant/tank1/setpoint 60 double ok");
    expect({q("set"), q("--wait"), q("/plant/tank1/setpoint"), q("70")}, 0,
           "/plant/tank1/setpoint 70 taken");
    expect({q("add"), q("--wait"), q("/plant/tank1/setpoint"), q("-2.5")}, 0,
           "/plant/tank1/setpoint 67.5 taken");
    expect({q("set"), q("--wait"), q("/plant/tank1/setpoint"), q("120")}, 4,
           "keyword: /plant/tank1/setpoint: refused; the value is still 67.5");
    expect({q("set"), q("--wait"), q("/plant/interlock/limit"), q("70")}, 4,
           "keyword: /plant/interlock/limit: refused; the value is still 80");
    expect({q("set"), q("--wait"), q("/plant/tank1/pump"), q("false")}, 0,
           "/plant/tank1/pump false taken");
    expect({q("set"), q("--wait"), q("/house/boiler-room/boiler/mode"), q("off")}, 0,
           "/house/boiler-room/boiler/mode off taken");
}

// By default, the gateway waits 5 seconds for a device, and the tool waits longer.
void tst_PlantOnScreen::tool_isToldBeforeItGivesUp()
{
    startPlant();
    startGateway(R"("factory/interlock/limit/set", "confirmWithin": 2)",
                 R"("factory/interlock/limit/set")");
    const PKeywordProxy *const limit = proxy("/plant/interlock/limit");
    QTRY_COMPARE_WITH_TIMEOUT(flags(limit), q("ok"), patience);
    const Ran ran = run({q("set"), q("--wait"), q("/plant/interlock/limit"), q("70")});
    QCOMPARE(ran.text, q("keyword: /plant/interlock/limit: refused; the value is still 80"));
    QCOMPARE(ran.code, 4);
}

void tst_PlantOnScreen::tool_seesTheBrokerDie()
{
    startPlant();
    startGateway();
    const PKeywordProxy *const setpoint = proxy("/plant/tank1/setpoint");
    QTRY_COMPARE_WITH_TIMEOUT(flags(setpoint), q("ok"), patience);
    broker->kill();
    QTRY_VERIFY_WITH_TIMEOUT(!setpoint->connected(), patience);
    QCOMPARE(run({q("get"), q("/plant/tank1/setpoint")}).text,
             q("/plant/tank1/setpoint 60 double not connected, offline"));
    const Ran ran = run({q("set"), q("--wait"), q("/plant/tank1/setpoint"), q("70")});
    QCOMPARE(ran.text, q("keyword: /plant/tank1/setpoint: refused; the value is still 60"));
    QCOMPARE(ran.code, 4);
}

void tst_PlantOnScreen::gateway_endsWhenTold()
{
    startPlant();
    startGateway();
    const PKeywordProxy *const setpoint = proxy("/plant/tank1/setpoint");
    QTRY_COMPARE_WITH_TIMEOUT(flags(setpoint), q("ok"), patience);
    gateway->terminate();
    QVERIFY(gateway->waitForFinished());
    QCOMPARE(gateway->exitStatus(), QProcess::NormalExit);
    QCOMPARE(gateway->exitCode(), 0);
    QTRY_VERIFY_WITH_TIMEOUT(!client->connected(), patience);
}

QTEST_GUILESS_MAIN(tst_PlantOnScreen)
#include "tst_plantonscreen.moc"
