// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/common/interrupt.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>

#include <cerrno>
#include <csignal>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <unistd.h>
#endif

namespace programs {

#ifdef Q_OS_UNIX
namespace {

int signalPipe[2] = {-1, -1};
int hangUpPipe[2] = {-1, -1};

void onSignal(int number)
{
    std::signal(number, SIG_DFL);
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

void onHangUpSignal(int)
{
    const int error = errno;
    const char byte = 0;
    // If the pipe is full, the handler is called anyway.
    [[maybe_unused]] const auto written = ::write(hangUpPipe[1], &byte, 1);
    errno = error;
}

// Whether the signal is ignored, as under nohup, so that the program outlives the terminal.
bool isIgnored(int number)
{
    struct sigaction action = {};
    return ::sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

void onInterrupt(std::function<void()> handler)
{
    if (::pipe(signalPipe) != 0)
        return;
    auto *const notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, qApp,
                     [notifier, handler = std::move(handler)] {
                         notifier->setEnabled(false);
                         handler();
                     });
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    if (!isIgnored(SIGHUP) && hangUpPipe[0] < 0)
        std::signal(SIGHUP, onSignal);
}

void onHangUp(std::function<void()> handler)
{
    if (::pipe(hangUpPipe) != 0)
        return;
    ::fcntl(hangUpPipe[1], F_SETFL, O_NONBLOCK);
    auto *const notifier = new QSocketNotifier(hangUpPipe[0], QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, qApp, [handler = std::move(handler)] {
        char bytes[64];
        // Several pending signals count as one.
        [[maybe_unused]] const auto read = ::read(hangUpPipe[0], bytes, sizeof(bytes));
        handler();
    });
    struct sigaction action = {};
    action.sa_handler = onHangUpSignal;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGHUP, &action, nullptr);
}
#else
void onInterrupt(std::function<void()>) { }
void onHangUp(std::function<void()>) { }
#endif

} // namespace programs
