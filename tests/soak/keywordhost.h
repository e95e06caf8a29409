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
    Aborted, // the sockets of the server are aborted, and there is no server for a while
    Silent, // all connections stay open, without replies or new handshakes
    Killed, // the server process gets SIGKILL
    Closed, // the closing handshake is sent
    HalfOpen, // the link to the server stops forwarding
    Refused, // the server stops, and handshakes are refused for a while
    PortTaken, // the server stops, and another program uses its port for a while
};
constexpr int outageCount = 7;

const char *outageName(Outage outage);

/*
    The server at one port of 127.0.0.1, from one outage to the next: a keyword server, none, or
    another program.

    The value of each keyword follows from the stage, which is an increasing number; see value().
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

    // Serves the values of the stage, as required for the next outage.
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
    const QString simulator; // path of the program
    quint16 ownPort = 0;
    Outage outage = Outage::Aborted; // the next one
    qint64 stage = 0;
    std::unique_ptr<Backend> backend;
    std::unique_ptr<Forwarder> forwarder;
    std::unique_ptr<QTemporaryFile> scene;
    std::unique_ptr<QProcess> process;
    std::unique_ptr<QTcpServer> intruder;
    int visits = 0; // of the current intruder
    int manners = 0; // changes for each intruder
};
