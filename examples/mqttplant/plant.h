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

// A small simulated plant with the topics and payloads of real devices: two tanks, a room, a scale
// that periodically stops publishing, a heater that periodically goes offline, an interlock that
// never responds, a lamp with a Zigbee2MQTT description, and a boiler with a Homie 5 description.
// It does not depend on a broker.
class Plant
{
public:
    using Publish = std::function<void(const QByteArray &topic, const QByteArray &payload)>;

    // The scale and the heater are available for one period, and unavailable for the next.
    Plant(const Publish &publish, std::chrono::milliseconds period);

    void start(); // publishes everything; call it after each connection
    void advance(std::chrono::milliseconds step);
    void take(const QByteArray &topic, const QByteArray &payload); // processes a command
    void end(); // publishes that the devices are offline, except for stateTopic()

    static std::vector<QByteArray> commands(); // topic filters
    static QByteArray stateTopic(); // the topic of the will, whose payload is "offline"

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
