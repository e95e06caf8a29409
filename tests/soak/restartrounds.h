// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/keywordhost.h"
#include "tests/support/socketclient.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QRandomGenerator>
#include <QtCore/QTimer>

#include <chrono>
#include <memory>
#include <vector>

namespace pellix::client {
class PKeywordProxy;
}

/*
    One client with its bound keywords, which loses its server in different ways. Each time, it must
    - lose the value of every keyword,
    - reconnect automatically and get the current value of each keyword, and
    - process writes: a write to every keyword must return as its new value.

    A connection that is lost without an outage is a failure as well, unless this process was
    stalled on a busy machine. In this case, the keep-alive may consider the server unresponsive,
    because it is in the same process. The client must recover from this, too.
*/
class RestartRounds : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        int client = 0; // also selects its first outage
        int keywords = 1000;
        std::chrono::milliseconds patience {60000}; // from the outage to the end of the round
        QString simulator; // path of the program
    };

    explicit RestartRounds(const Options &options, QObject *parent = nullptr);
    ~RestartRounds() override;

    void start(int rounds);
    int roundsDone() const { return round; }

Q_SIGNALS:
    // The time of a recovery is measured from the return of the server to the last fresh value.
    void recovered(Outage outage, qint64 milliseconds);
    void lostByStall();
    void finished();
    void failed(const QString &what);

private:
    enum class Phase {
        Binding,
        Losing, // the outage has begun, but the client has not detected it
        Down,
        Recovering, // the server has returned; from here on, no connection may be lost
        Writing,
        Over,
    };

    Outage outageOf(int round) const;
    void onConnectedChanged();
    void onLost();
    void restore();
    void onValueChanged(int i);
    void expect(Phase phase, qint64 stage);
    void onAllArrived();
    void strike();
    void onUnexpectedLoss();
    void writeAll();
    void fail(const QString &what);
    QString whatIsWrong() const;

    const Options options;
    KeywordHost host;
    SocketClient client;
    std::vector<std::unique_ptr<pellix::client::PKeywordProxy>> proxies;
    std::vector<bool> arrived; // has the value of the stage
    int missing = 0;

    Phase phase = Phase::Binding;
    qint64 stage = 0;
    int round = 0;
    int rounds = 0;
    QTimer patience;
    QTimer pulse; // detects a stalled event loop
    QElapsedTimer sincePulse;
    QElapsedTimer sinceStall;
    QElapsedTimer sinceRestored;
    QRandomGenerator random;
};
