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
    stay open, but transfer no data. New connections are forwarded again.
*/
class Forwarder : public QObject
{
    Q_OBJECT

public:
    explicit Forwarder(quint16 target, QObject *parent = nullptr);

    bool listen(quint16 port) { return server.listen(QHostAddress::LocalHost, port); }
    void stopForwarding();

private:
    void open(QTcpSocket *near);

    const quint16 target;
    QTcpServer server;
    QList<QPointer<QTcpSocket>> links; // both ends of each
    QList<QPointer<QTcpSocket>> deadLinks;
};
