// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/servicenotifier.h"

#include <QtCore/QCoreApplication>

#include <chrono>

#ifdef Q_OS_UNIX
#include <cstddef>
#include <cstring>
#include <ctime>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#endif

namespace pellix::gateway {

ServiceNotifier::ServiceNotifier(QObject *parent) : QObject(parent), place(qgetenv("NOTIFY_SOCKET"))
{
    // Child processes must not inherit the variables.
    qunsetenv("NOTIFY_SOCKET");
    const QByteArray process = qgetenv("WATCHDOG_PID");
    const bool isForUs =
        process.isEmpty() || process.toLongLong() == QCoreApplication::applicationPid();
    const std::chrono::microseconds interval(qgetenv("WATCHDOG_USEC").toLongLong());
    qunsetenv("WATCHDOG_USEC");
    qunsetenv("WATCHDOG_PID");
    if (place.isEmpty() || !isForUs || interval.count() <= 0)
        return;
    connect(&watchdog, &QTimer::timeout, this, [this] { send("WATCHDOG=1"); });
    watchdog.start(std::chrono::duration_cast<std::chrono::milliseconds>(interval / 2));
}

bool ServiceNotifier::isWanted() const
{
    return !place.isEmpty();
}

void ServiceNotifier::ready()
{
    send("READY=1");
}

void ServiceNotifier::reloading()
{
    QByteArray lines = "RELOADING=1";
#ifdef Q_OS_UNIX
    timespec now {};
    if (clock_gettime(CLOCK_MONOTONIC, &now) == 0) {
        const qint64 microseconds = qint64(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
        lines += "\nMONOTONIC_USEC=" + QByteArray::number(microseconds);
    }
#endif
    send(lines);
}

void ServiceNotifier::stopping()
{
    send("STOPPING=1");
}

void ServiceNotifier::setStatus(const QString &text)
{
    if (text == status)
        return;
    status = text;
    QByteArray line = text.toUtf8();
    line.replace('\n', ' ');
    send("STATUS=" + line);
}

void ServiceNotifier::send(const QByteArray &lines) const
{
#ifdef Q_OS_UNIX
    sockaddr_un address {};
    if (place.isEmpty() || std::size_t(place.size()) > sizeof(address.sun_path) - 1)
        return;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, place.constData(), std::size_t(place.size()));
    if (address.sun_path[0] == '@') // stands for an abstract socket name
        address.sun_path[0] = '\0';
    const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return;
    const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + std::size_t(place.size()));
    // A failure is ignored, because nothing can be done about it.
    (void)::sendto(descriptor, lines.constData(), std::size_t(lines.size()),
                   MSG_NOSIGNAL | MSG_DONTWAIT, reinterpret_cast<const sockaddr *>(&address),
                   length);
    ::close(descriptor);
#else
    Q_UNUSED(lines)
#endif
}

} // namespace pellix::gateway
