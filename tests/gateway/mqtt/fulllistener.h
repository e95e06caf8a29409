// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArrayList>

#include <vector>

// A port of 127.0.0.1 that drops packets, because the queue of its listener is full. Connections to
// it neither succeed nor fail for minutes.
class FullListener
{
public:
    FullListener();
    ~FullListener();
    Q_DISABLE_COPY_MOVE(FullListener)

    quint16 port() const { return listenerPort; }
    // The connections that other sockets of this machine are trying to establish to the port.
    int attempts() const;

private:
    std::vector<int> sockets; // the listener, and those that fill its queue
    QByteArrayList fillers; // the local ports of the latter
    quint16 listenerPort = 0;
};
