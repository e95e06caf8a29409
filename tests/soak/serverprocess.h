// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/soak/memory.h"

#include <QtCore/QJsonObject>
#include <QtCore/QObject>
#include <QtCore/QProcess>

#include <chrono>

// A sample that a server has reported.
struct ServerSample
{
    qint64 milliseconds = 0; // since its start
    Memory memory;
    qint64 changes = 0;
    qint64 clients = 0;
    qint64 sendingBytes = 0;
    qint64 events = 0; // sent
    qint64 sentBytes = 0;
    qint64 skippedValues = 0;
    qint64 droppedClients = 0;
};

// The program soak-server: a keyword server with changing keywords, in a separate process.
class ServerProcess : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        QString program;
        int keywords = 10000;
        int changesPerSecond = 10000;
        std::chrono::milliseconds stalledTime {30000};
        std::chrono::milliseconds sampleInterval {5000};
        bool valuesAreTimes = false; // in microseconds of the steady clock
    };

    explicit ServerProcess(const Options &options, QObject *parent = nullptr);
    ~ServerProcess() override;

    void start();
    quint16 port() const { return ownPort; }
    void change(qint64 count = 0); // 0: until stop()
    void stop();
    void sample();

Q_SIGNALS:
    void listening();
    void sampled(const ServerSample &sample);
    void stopped(qint64 changes);
    void dropped(quint16 clientPort, const QString &why);
    void failed(const QString &what);

private:
    void write(const QByteArray &line);
    void read();
    void take(const QJsonObject &told);
    void takeWarning(const QString &text);

    QProcess process;
    quint16 ownPort = 0;
};
