// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/common/interrupt.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>

#include <csignal>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace programs {

#ifdef Q_OS_UNIX
namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int number)
{
    std::signal(number, SIG_DFL);
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

// As nohup has it, which wants the program to outlive the terminal.
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
    if (!isIgnored(SIGHUP))
        std::signal(SIGHUP, onSignal);
}
#else
void onInterrupt(std::function<void()>) { }
#endif

} // namespace programs
