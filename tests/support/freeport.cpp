// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/support/freeport.h"

#include <QtCore/QRandomGenerator>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Returns a socket that is bound to the port, or -1.
int boundSocket(int type, quint16 port)
{
    const int socket = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
    if (socket < 0)
        return -1;
    if (type == SOCK_STREAM) {
        // Closed connections of an earlier server do not occupy the port.
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    }
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return socket;
    ::close(socket);
    return -1;
}

} // namespace

quint16 freePort()
{
    for (;;) {
        const auto port = quint16(QRandomGenerator::global()->bounded(15000, 32000));
        // The UDP port of the same number stays bound as long as this process runs: this reserves
        // the number among all tests, and leaves the TCP port to the program that listens on it.
        const int reservation = boundSocket(SOCK_DGRAM, port);
        if (reservation < 0)
            continue;
        const int probe = boundSocket(SOCK_STREAM, port);
        if (probe < 0) {
            ::close(reservation);
            continue;
        }
        ::close(probe);
        return port;
    }
}
