// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/gateway/mqtt/fulllistener.h"

#include <QtCore/QFile>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

quint16 portOf(int socket)
{
    sockaddr_in address {};
    socklen_t length = sizeof address;
    ::getsockname(socket, reinterpret_cast<sockaddr *>(&address), &length);
    return ntohs(address.sin_port);
}

// As in /proc/net/tcp.
QByteArray written(quint16 port)
{
    return QByteArray::number(port, 16).rightJustified(4, '0').toUpper();
}

} // namespace

FullListener::FullListener()
{
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockets.push_back(::socket(AF_INET, SOCK_STREAM, 0));
    (void)::bind(sockets.front(), reinterpret_cast<sockaddr *>(&address), sizeof address);
    listenerPort = portOf(sockets.front());
    ::listen(sockets.front(), 0);
    address.sin_port = htons(listenerPort);
    for (int i = 0; i < 8; ++i) {
        sockets.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
        (void)::connect(sockets.back(), reinterpret_cast<sockaddr *>(&address), sizeof address);
        fillers.append(written(portOf(sockets.back())));
    }
}

FullListener::~FullListener()
{
    for (const int socket : sockets)
        ::close(socket);
}

int FullListener::attempts() const
{
    QFile table(QStringLiteral("/proc/net/tcp"));
    if (!table.open(QIODevice::ReadOnly))
        return 0;
    int count = 0;
    const QByteArrayList lines = table.readAll().split('\n');
    for (const QByteArray &line : lines) {
        // Number, local address and port, remote address and port, state, and more
        const QByteArrayList fields = line.simplified().split(' ');
        const bool isAttempt = fields.size() > 3 && fields.at(2).endsWith(':' + written(port()))
            && fields.at(3) == "02" // SYN_SENT
            && !fillers.contains(fields.at(1).split(':').constLast());
        count += isAttempt;
    }
    return count;
}
