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
    One client with its bound keywords, which loses its server in one way after the other. Each
    time it has to

    - lose the value of every keyword,
    - come back by itself with the value that each keyword has by then, and
    - be alive: a write to every keyword has to come back as its new value.

    A connection that is lost without an outage is a failure, too, unless this process itself stood
    still, on a busy machine: then the keep-alive may take a server for dead that had no chance to
    answer, as it lives in the same process. The client has to recover from that all the same.
*/
class RestartRounds : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        int client = 0; // also where in the sequence of outages it begins
        int keywords = 1000;
        std::chrono::milliseconds patience {60000}; // from the outage to the end of its round
        QString simulator; // the program
    };

    explicit RestartRounds(const Options &options, QObject *parent = nullptr);
    ~RestartRounds() override;

    void start(int rounds);
    int roundsDone() const { return round; }

Q_SIGNALS:
    // A recovery takes from the moment when there is a server again to the last fresh value.
    void recovered(Outage outage, qint64 milliseconds);
    void lostByStall();
    void finished();
    void failed(const QString &what);

private:
    enum class Phase {
        Binding,
        Losing, // the outage has begun; the client has yet to notice
        Down,
        Recovering, // there is a server again; from here on no connection may be lost
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
    std::vector<bool> arrived; // with the value of the stage
    int missing = 0;

    Phase phase = Phase::Binding;
    qint64 stage = 0;
    int round = 0;
    int rounds = 0;
    QTimer patience;
    QTimer pulse; // shows when the event loop stands still
    QElapsedTimer sincePulse;
    QElapsedTimer sinceStall;
    QElapsedTimer sinceRestored;
    QRandomGenerator random;
};
