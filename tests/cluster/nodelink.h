// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtNetwork/QTcpServer>

QT_BEGIN_NAMESPACE
class QTcpSocket;
QT_END_NAMESPACE

// Forwards the connections to a node of the cluster until it is cut. From then on, connections stay
// open but transfer no data, as with an unplugged cable, and new connections get no reply.
class NodeLink : public QObject
{
    Q_OBJECT

public:
    explicit NodeLink(quint16 target, QObject *parent = nullptr);

    bool listen(quint16 port) { return server.listen(QHostAddress::LocalHost, port); }
    void cut();
    void heal(); // closes all connections; the nodes connect again

private:
    void open(QTcpSocket *near);
    void forward(QTcpSocket *from, QTcpSocket *to);

    const quint16 target;
    QTcpServer server;
    QHash<QTcpSocket *, QTcpSocket *> links; // in both directions
    bool isCut = false;
};
