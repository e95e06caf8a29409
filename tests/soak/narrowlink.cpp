// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/narrowlink.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

constexpr auto forwardInterval = 20ms;
constexpr double longestBurst = 0.1; // in seconds of data
constexpr int receiveBufferSize = 32 * 1024; // doubled by the system

} // namespace

NarrowLink::NarrowLink(quint16 target, qint64 bytesPerSecond, QObject *parent)
    : QObject(parent), target(target), bytesPerSecond(bytesPerSecond)
{
    connect(&listener, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *const client = listener.nextPendingConnection())
            open(client);
    });
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, &NarrowLink::forward);
    if (!listener.listen(QHostAddress::LocalHost))
        qFatal("no free port: %s", qPrintable(listener.errorString()));
}

// Opens one connection, and closes the previous one.
void NarrowLink::open(QTcpSocket *client)
{
    delete near;
    delete far;
    near = client;
    near->setParent(this);
    far = new QTcpSocket(this);
    far->setReadBufferSize(std::max(qint64(double(bytesPerSecond) * longestBurst), qint64(256)));
    connect(near, &QTcpSocket::readyRead, far, [this] {
        if (far->state() == QAbstractSocket::ConnectedState)
            far->write(near->readAll());
    });
    connect(far, &QTcpSocket::connected, near, [this] { far->write(near->readAll()); });
    connect(near, &QTcpSocket::disconnected, far, &QTcpSocket::abort);
    connect(far, &QTcpSocket::disconnected, near, &QTcpSocket::disconnectFromHost);
    // The size is set before connecting, because the system then fixes the window. By default,
    // megabytes could be in transit, and a pong would wait behind them for minutes.
    far->bind(QHostAddress(QHostAddress::LocalHost));
    far->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, receiveBufferSize);
    far->connectToHost(QHostAddress(QHostAddress::LocalHost), target);
    allowance = 0;
    sinceForward.start();
    timer.start(forwardInterval);
}

void NarrowLink::forward()
{
    if (!near || !far || far->state() != QAbstractSocket::ConnectedState)
        return;
    const double speed = double(bytesPerSecond);
    allowance += double(sinceForward.nsecsElapsed()) * speed / 1e9;
    allowance = std::min(allowance, std::max(speed * longestBurst, 1.0));
    sinceForward.start();
    const QByteArray bytes = far->read(qint64(allowance));
    allowance -= double(bytes.size());
    forwarded += bytes.size();
    near->write(bytes);
}
