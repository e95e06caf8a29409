// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtNetwork/QTcpServer>

QT_BEGIN_NAMESPACE
class QTcpSocket;
QT_END_NAMESPACE

// The way to a node of the cluster: forwards connections until it is cut. Then links stay open and
// nothing passes, as when a cable is pulled, and new ones get no answer.
class NodeLink : public QObject
{
    Q_OBJECT

public:
    explicit NodeLink(quint16 target, QObject *parent = nullptr);

    bool listen(quint16 port) { return server.listen(QHostAddress::LocalHost, port); }
    void cut();
    void heal(); // what was open is closed, and made anew by its ends

private:
    void open(QTcpSocket *near);
    void forward(QTcpSocket *from, QTcpSocket *to);

    const quint16 target;
    QTcpServer server;
    QHash<QTcpSocket *, QTcpSocket *> links; // from either end
    bool isCut = false;
};
