// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

/*
    Simulates a slow connection: forwards data for the port of the server, with a limit in bytes per
    second towards the client, and without a limit towards the server. It reads no faster than it
    forwards, so the server sees a slow reader.
*/
class NarrowLink : public QObject
{
public:
    NarrowLink(quint16 target, qint64 bytesPerSecond, QObject *parent = nullptr);

    quint16 port() const { return listener.serverPort(); }
    qint64 forwardedBytes() const { return forwarded; }

private:
    void open(QTcpSocket *client);
    void forward();

    const quint16 target;
    const qint64 bytesPerSecond;
    QTcpServer listener;
    QPointer<QTcpSocket> near; // the end of the client
    QPointer<QTcpSocket> far;
    QTimer timer;
    QElapsedTimer sinceForward;
    double allowance = 0; // bytes
    qint64 forwarded = 0;
};
