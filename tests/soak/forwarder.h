// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

/*
    Forwards connections from one port to another until it is stopped. Existing connections then
    stay open, but transfer no data. New connections are forwarded again, or wait until restore() is
    called, as on a line that is interrupted for some time.
*/
class Forwarder : public QObject
{
    Q_OBJECT

public:
    explicit Forwarder(quint16 target, QObject *parent = nullptr);

    bool listen(quint16 port) { return server.listen(QHostAddress::LocalHost, port); }
    quint16 port() const { return server.serverPort(); }
    void stopForwarding();
    void cut(); // the same, and connections that come later wait
    void restore();

private:
    void openPending();
    void open(QTcpSocket *near);

    const quint16 target;
    QTcpServer server;
    QList<QPointer<QTcpSocket>> links; // both ends of each
    QList<QPointer<QTcpSocket>> deadLinks;
    bool isCut = false;
};
