// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QJsonObject>

#include <array>
#include <chrono>
#include <functional>
#include <vector>

// A small plant as it could stand behind a broker: two tanks, a room, a scale that falls silent and
// a heater that goes away by turns, an interlock that answers nothing, a lamp as Zigbee2MQTT
// describes it and a boiler as Homie 5 does. It knows topics and payloads, and no broker.
class Plant
{
public:
    using Publish = std::function<void(const QByteArray &topic, const QByteArray &payload)>;

    // The scale and the heater are there for one period, and away for the next.
    Plant(const Publish &publish, std::chrono::milliseconds period);

    void start(); // says everything, as after each connecting
    void advance(std::chrono::milliseconds step);
    void take(const QByteArray &topic, const QByteArray &payload); // a command
    void end(); // says that it goes, but for its state

    static std::vector<QByteArray> commands(); // topic filters
    static QByteArray stateTopic(); // where a will says "offline"

private:
    struct Tank
    {
        QByteArray name;
        double level = 0;
        double setpoint = 0;
        bool pump = true;
        double valve = 0; // follows its target slowly
        double valveTarget = 0;
    };

    void say(const QByteArray &topic, const QByteArray &payload);
    void sayJson(const QByteArray &topic, const QJsonObject &object);
    void sayTank(const Tank &tank);
    void sayLamp();
    void sayBoiler();
    void takeTank(Tank *tank, const QByteArray &what, const QByteArray &payload);
    void takeLamp(const QByteArray &payload);
    void takeBoiler(const QByteArray &property, const QByteArray &payload);
    bool isAway() const;

    const Publish publish;
    const std::chrono::milliseconds period;
    std::chrono::milliseconds time {0};
    std::chrono::milliseconds sinceSaid {0};
    std::array<Tank, 2> tanks;
    QJsonObject lamp;
    double boilerFlow = 55;
    double boilerSetpoint = 60;
    QByteArray boilerMode = "comfort";
    bool heaterWasAway = false;
};
