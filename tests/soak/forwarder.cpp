// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/forwarder.h"

Forwarder::Forwarder(quint16 target, QObject *parent) : QObject(parent), target(target)
{
    connect(&server, &QTcpServer::newConnection, this, [this] {
        if (!isCut)
            openPending();
    });
}

void Forwarder::openPending()
{
    while (QTcpSocket *const near = server.nextPendingConnection()) {
        if (near->state() == QAbstractSocket::ConnectedState) // and not given up meanwhile
            open(near);
        else
            delete near;
    }
}

void Forwarder::open(QTcpSocket *near)
{
    auto *const far = new QTcpSocket(this);
    near->setParent(this);
    links.removeIf([](const QPointer<QTcpSocket> &end) { return end.isNull(); });
    links << near << far;

    // Data that arrives before the far end is connected waits in the near end.
    const auto forward = [](QTcpSocket *from, QTcpSocket *to) {
        if (to->state() == QAbstractSocket::ConnectedState)
            to->write(from->readAll());
    };
    connect(near, &QTcpSocket::readyRead, far, [=] { forward(near, far); });
    connect(far, &QTcpSocket::readyRead, near, [=] { forward(far, near); });
    connect(far, &QTcpSocket::connected, near, [=] { forward(near, far); });
    for (QTcpSocket *const end : {near, far}) {
        QTcpSocket *const other = end == near ? far : near;
        connect(end, &QTcpSocket::disconnected, other, &QTcpSocket::disconnectFromHost);
        connect(end, &QTcpSocket::disconnected, end, &QObject::deleteLater);
    }
    connect(far, &QTcpSocket::errorOccurred, near, [=] {
        if (far->state() != QAbstractSocket::ConnectedState) {
            near->abort();
            far->deleteLater();
        }
    });
    far->connectToHost(QHostAddress(QHostAddress::LocalHost), target);
}

void Forwarder::stopForwarding()
{
    for (const QPointer<QTcpSocket> &end : std::as_const(deadLinks))
        delete end;
    deadLinks = std::exchange(links, {});
    for (const QPointer<QTcpSocket> &end : std::as_const(deadLinks)) {
        if (end)
            end->disconnect();
    }
}

void Forwarder::cut()
{
    isCut = true;
    stopForwarding();
}

void Forwarder::restore()
{
    isCut = false;
    openPending();
}
