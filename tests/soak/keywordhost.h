// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/forwarder.h"

#include <QtCore/QObject>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryFile>
#include <QtNetwork/QTcpServer>

#include <memory>

// The ways in which a client loses its server.
enum class Outage {
    Aborted, // the server's sockets go without a word, and nobody listens for a while
    Silent, // everything stays open, nothing is answered, new connections get no handshake
    Killed, // the server is a process, and it gets SIGKILL
    Closed, // the closing handshake
    HalfOpen, // the link on the way stops forwarding
    Refused, // the server goes, and the handshake is refused for a while
    PortTaken, // the server goes, and something that is no WebSocket server has its port for a
               // while
};
constexpr int outageCount = 7;

const char *outageName(Outage outage);

/*
    What a client finds at one port of 127.0.0.1, from one outage to the next: a server of
    keywords, nothing, or something else.

    The value of each keyword follows from the stage, a number that goes up: see value().
*/
class KeywordHost : public QObject
{
    Q_OBJECT

public:
    KeywordHost(int keywordCount, const QString &simulator, QObject *parent = nullptr);
    ~KeywordHost() override;

    static QString keyword(int i);
    qint64 value(int i, qint64 stage) const { return stage * keywordCount + i; }
    quint16 port() const { return ownPort; }

    // Serves the values of the stage, in the manner that the next outage needs.
    void serve(Outage next, qint64 stage);
    void strike();
    void setStage(qint64 stage);
    int intruderVisits() const { return visits; }

private:
    struct Backend;

    bool suits(Outage next) const;
    void clear();
    void start();
    bool listenInProcess();
    void startProcess();
    void intrude();
    void visit(QTcpSocket *visitor);

    const int keywordCount;
    const QString simulator; // the program
    quint16 ownPort = 0;
    Outage outage = Outage::Aborted; // the next one
    qint64 stage = 0;
    std::unique_ptr<Backend> backend;
    std::unique_ptr<Forwarder> forwarder;
    std::unique_ptr<QTemporaryFile> scene;
    std::unique_ptr<QProcess> process;
    std::unique_ptr<QTcpServer> intruder;
    int visits = 0; // of the present intruder
    int manners = 0; // changes with each intruder
};
