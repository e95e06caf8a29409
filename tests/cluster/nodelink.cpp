// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/cluster/nodelink.h"

#include <QtNetwork/QTcpSocket>

NodeLink::NodeLink(quint16 target, QObject *parent) : QObject(parent), target(target)
{
    connect(&server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *const near = server.nextPendingConnection())
            open(near);
    });
}

void NodeLink::open(QTcpSocket *near)
{
    near->setParent(this);
    auto *const far = new QTcpSocket(this);
    links.insert(near, far);
    links.insert(far, near);
    for (QTcpSocket *const end : {near, far}) {
        end->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(end, &QTcpSocket::readyRead, this, [this, end] { forward(end, links.value(end)); });
        const auto close = [this, end] {
            QTcpSocket *const other = links.take(end);
            if (!other)
                return;
            forward(end, other);
            links.remove(other);
            other->disconnectFromHost();
            other->deleteLater();
            end->deleteLater();
        };
        connect(end, &QTcpSocket::disconnected, this, close);
        connect(end, &QTcpSocket::errorOccurred, this, close);
    }
    connect(far, &QTcpSocket::connected, this, [this, near, far] { forward(near, far); });
    if (!isCut)
        far->connectToHost(QHostAddress(QHostAddress::LocalHost), target);
}

void NodeLink::forward(QTcpSocket *from, QTcpSocket *to)
{
    if (!isCut && to && to->state() == QAbstractSocket::ConnectedState)
        to->write(from->readAll());
}

void NodeLink::cut()
{
    isCut = true;
}

void NodeLink::heal()
{
    isCut = false;
    const QList<QTcpSocket *> ends = links.keys();
    links.clear();
    for (QTcpSocket *const end : ends) {
        end->disconnect(this);
        end->abort();
        end->deleteLater();
    }
}
