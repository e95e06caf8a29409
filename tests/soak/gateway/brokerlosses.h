// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/gateway/mqtt/broker.h"
#include "tests/gateway/mqtt/notifierclient.h"
#include "tests/soak/forwarder.h"
#include "tests/soak/gateway/gatewayprocess.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QRandomGenerator>
#include <QtCore/QTimer>

#include <chrono>
#include <memory>
#include <vector>

namespace pellix::client {
class PKeywordProxy;
class PWebSocketKeywordClient;
} // namespace pellix::client

// The ways in which a gateway loses its broker.
enum class BrokerLoss {
    KilledKept, // SIGKILL; what was retained is there again
    KilledForgotten, // the same, and nothing is
    Stopped, // SIGTERM; what was retained is there again
    HalfOpen // nothing passes any more, but no connection ends
};
constexpr int brokerLossCount = 4;

const char *brokerLossName(BrokerLoss loss);

/*
    One gateway, as a process, which loses its broker in one way after the other, and screens that
    show keywords of it. Each time every keyword on every screen has to

    - keep its value, but be neither connected nor online,
    - be right again with the value that it has by then, without going back to an older one, and
    - be alive: it gets another value.
*/
class BrokerLosses : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        QString gatewayProgram;
        QList<BrokerLoss> losses; // one after the other; either all or none are HalfOpen
        int number = 0; // of the gateway
        int keywords = 1000;
        int screens = 1;
        int keywordsEach = 1000; // on a screen
        std::chrono::seconds keepAlive {5}; // of the link to the broker
        std::chrono::milliseconds patience {60000}; // for each step
    };

    explicit BrokerLosses(const Options &options, QObject *parent = nullptr);
    ~BrokerLosses() override;

    void start();
    qint64 gatewayKib() const { return gateway.residentKib(); }
    int connections() const { return gateway.connections(); }

Q_SIGNALS:
    void filled(); // all screens are right for the first time
    // From the loss until the last keyword on the last screen was not connected.
    void noticed(BrokerLoss loss, qint64 milliseconds);
    // From when the broker listened, or the link passed something again, until all were right.
    void recovered(BrokerLoss loss, qint64 milliseconds);
    void screenLost(); // its connection to the gateway
    void finished();
    void failed(const QString &what);

private:
    enum class Phase {
        Filling,
        Losing,
        Down,
        Recovering,
        Living, // all get another value
        Over,
    };
    struct Place
    {
        std::unique_ptr<pellix::client::PKeywordProxy> proxy;
        int keyword = 0;
        qint64 newest = 0; // that was seen
        bool isRight = false;
        bool isLost = false;
    };

    QJsonObject configuration() const;
    void addScreen(int screen);
    BrokerLoss loss() const { return options.losses.at(round); }
    void renew(int first, int step);
    void enter(Phase next);
    void look(Place *place);
    void count(Place *place);
    void checkPhase();
    void strike();
    void onLost();
    void restore();
    void onRight();
    void fail(const QString &what);
    QString whatIsWrong() const;

    const Options options;
    Broker broker;
    std::unique_ptr<Forwarder> line; // of a link that can be half open
    GatewayProcess gateway;
    NotifierClient device;
    std::vector<std::unique_ptr<pellix::client::PWebSocketKeywordClient>> clients;
    std::vector<Place> places;
    std::vector<qint64> values; // that the keywords have by now
    size_t rightCount = 0;
    size_t lostCount = 0;

    Phase phase = Phase::Filling;
    int round = 0;
    bool isDone = false; // with the phase
    QElapsedTimer sinceEntry; // of the phase
    QTimer patience;
    QRandomGenerator random;
};
