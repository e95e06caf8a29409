// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "examples/mqttplant/plant.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QtMath>

#include <algorithm>
#include <optional>

using namespace std::chrono_literals;

namespace {

constexpr auto interval = 500ms; // between two messages

// The description of a lamp, as published by Zigbee2MQTT.
constexpr char lampDescription[] = R"([{"ieee_address":"0x00158d0000000001","type":"Router",
"friendly_name":"hall/lamp","supported":true,"disabled":false,"interview_completed":true,
"definition":{"model":"LAMP-1","vendor":"Demo","description":"Dimmable lamp","options":[],"exposes":[
{"type":"light","features":[
{"type":"binary","name":"state","label":"State","property":"state","access":7,
"value_on":"ON","value_off":"OFF","value_toggle":"TOGGLE"},
{"type":"numeric","name":"brightness","label":"Brightness","property":"brightness","access":7,
"value_min":0,"value_max":254}]},
{"type":"numeric","name":"linkquality","label":"Link quality","property":"linkquality","unit":"lqi",
"access":1,"value_min":0,"value_max":255}]}}])";

constexpr char boilerDescription[] = R"({"homie":"5.0","version":1,"name":"Boiler room","nodes":{
"boiler":{"name":"Boiler","properties":{
"flow":{"name":"Flow temperature","datatype":"float","unit":"°C","format":"0:110"},
"setpoint":{"name":"Boiler setpoint","datatype":"float","unit":"°C","format":"30:80:0.5","settable":true},
"mode":{"name":"Mode","datatype":"enum","format":"off,eco,comfort","settable":true}}}}})";

double rounded(double value)
{
    return qRound(value * 10) / 10.0;
}

// A plain number, or the member "value" of an object.
std::optional<double> numberOf(const QByteArray &payload)
{
    bool isNumber = false;
    const double number = payload.toDouble(&isNumber);
    if (isNumber)
        return number;
    const QJsonValue value =
        QJsonDocument::fromJson(payload).object().value(QLatin1String("value"));
    return value.isDouble() ? std::optional<double>(value.toDouble()) : std::nullopt;
}

double approached(double value, double target, double step)
{
    return value < target ? std::min(value + step, target) : std::max(value - step, target);
}

} // namespace

Plant::Plant(const Publish &publish, std::chrono::milliseconds period)
    : publish(publish), period(period), tanks {Tank {"tank1", 42, 60, true, 30, 30},
                                               Tank {"tank2", 71, 50, true, 55, 55}},
      lamp {{QStringLiteral("state"), QStringLiteral("ON")},
            {QStringLiteral("brightness"), 180},
            {QStringLiteral("linkquality"), 92}}
{ }

std::vector<QByteArray> Plant::commands()
{
    return {"factory/+/+/set", "zigbee2mqtt/hall/lamp/set", "homie/5/boiler-room/boiler/+/set"};
}

QByteArray Plant::stateTopic()
{
    return "factory/state";
}

void Plant::say(const QByteArray &topic, const QByteArray &payload)
{
    publish(topic, payload);
}

void Plant::sayJson(const QByteArray &topic, const QJsonObject &object)
{
    say(topic, QJsonDocument(object).toJson(QJsonDocument::Compact));
}

void Plant::start()
{
    say(stateTopic(), "online");
    for (const Tank &tank : tanks) {
        say("factory/" + tank.name + "/status", "online");
        sayTank(tank);
    }
    say("factory/heater/status", isAway() ? "offline" : "online");
    say("factory/interlock/limit", "80");
    say("zigbee2mqtt/bridge/state", R"({"state":"online"})");
    say("zigbee2mqtt/bridge/devices", lampDescription);
    sayLamp();
    say("homie/5/boiler-room/$state", "ready");
    say("homie/5/boiler-room/$description", boilerDescription);
    sayBoiler();
}

void Plant::end()
{
    say("zigbee2mqtt/bridge/state", R"({"state":"offline"})");
    say("homie/5/boiler-room/$state", "disconnected");
    for (const Tank &tank : tanks)
        say("factory/" + tank.name + "/status", "offline");
    say("factory/heater/status", "offline");
}

bool Plant::isAway() const
{
    return (time / period) % 2 == 1;
}

void Plant::advance(std::chrono::milliseconds step)
{
    time += step;
    sinceSaid += step;
    if (sinceSaid < interval)
        return;
    sinceSaid = std::chrono::milliseconds::zero();

    const double seconds = std::chrono::duration<double>(time).count();
    for (Tank &tank : tanks) {
        const double wave = 0.4 * qSin(seconds / 5 + tank.setpoint);
        tank.level = tank.pump ? approached(tank.level, tank.setpoint, 0.6) + wave
                               : approached(tank.level, 0, 0.3);
        tank.valve = approached(tank.valve, tank.valveTarget, 5);
        sayTank(tank);
    }
    sayJson(QByteArrayLiteral("factory/room"),
            {{QStringLiteral("temp"), rounded(21 + qSin(seconds / 20))},
             {QStringLiteral("rh"), rounded(45 + 3 * qCos(seconds / 30))}});
    boilerFlow = approached(boilerFlow, boilerMode == "off" ? 20 : boilerSetpoint, 0.4);
    say("homie/5/boiler-room/boiler/flow", QByteArray::number(rounded(boilerFlow)));

    if (isAway() != heaterWasAway)
        say("factory/heater/status", isAway() ? "offline" : "online");
    heaterWasAway = isAway();
    if (isAway())
        return;
    sayJson(QByteArrayLiteral("factory/scale"),
            {{QStringLiteral("weight"), rounded(812 + 5 * qSin(seconds / 3))}});
    say("factory/heater/power", QByteArray::number(rounded(1500 + 200 * qSin(seconds / 7))));
}

void Plant::sayTank(const Tank &tank)
{
    const QByteArray topic = "factory/" + tank.name;
    sayJson(topic + "/level",
            {{QStringLiteral("value"), rounded(tank.level)},
             {QStringLiteral("unit"), QStringLiteral("%")}});
    say(topic + "/setpoint", QByteArray::number(tank.setpoint));
    say(topic + "/pump", tank.pump ? "ON" : "OFF");
    say(topic + "/valve", QByteArray::number(tank.valve));
}

void Plant::sayLamp()
{
    sayJson(QByteArrayLiteral("zigbee2mqtt/hall/lamp"), lamp);
}

void Plant::sayBoiler()
{
    say("homie/5/boiler-room/boiler/flow", QByteArray::number(rounded(boilerFlow)));
    say("homie/5/boiler-room/boiler/setpoint", QByteArray::number(boilerSetpoint));
    say("homie/5/boiler-room/boiler/mode", boilerMode);
}

void Plant::take(const QByteArray &topic, const QByteArray &payload)
{
    if (topic == "zigbee2mqtt/hall/lamp/set") {
        takeLamp(payload);
        return;
    }
    const QList<QByteArray> levels = topic.split('/');
    if (levels.constFirst() == "homie" && levels.size() == 6)
        takeBoiler(levels.at(4), payload);
    if (levels.constFirst() != "factory" || levels.size() != 4)
        return;
    for (Tank &tank : tanks) { // the interlock is not a tank, and never responds
        if (tank.name == levels.at(1))
            takeTank(&tank, levels.at(2), payload);
    }
}

void Plant::takeTank(Tank *tank, const QByteArray &what, const QByteArray &payload)
{
    const std::optional<double> number = numberOf(payload);
    if (what == "setpoint" && number)
        tank->setpoint =
            std::clamp(*number, 0.0, 95.0); // a little less than the maximum in gateway.json
    else if (what == "valve" && number)
        tank->valveTarget = std::clamp(*number, 0.0, 100.0);
    else if (what == "pump" && (payload == "ON" || payload == "OFF"))
        tank->pump = payload == "ON";
    else
        return;
    sayTank(*tank);
}

void Plant::takeLamp(const QByteArray &payload)
{
    const QJsonObject command = QJsonDocument::fromJson(payload).object();
    for (auto member = command.begin(); member != command.end(); ++member) {
        if (lamp.contains(member.key()))
            lamp.insert(member.key(), member.value());
    }
    sayLamp();
}

void Plant::takeBoiler(const QByteArray &property, const QByteArray &payload)
{
    const std::optional<double> number = numberOf(payload);
    if (property == "setpoint" && number && *number >= 30 && *number <= 80)
        boilerSetpoint = *number;
    else if (property == "mode" && (payload == "off" || payload == "eco" || payload == "comfort"))
        boilerMode = payload;
    sayBoiler();
}
