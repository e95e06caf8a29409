// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/startup/firstvalue.h"

#include <QtGui/QGuiApplication>
#include <QtQuick/QQuickWindow>

#include <chrono>
#include <cstdio>
#include <ctime>

namespace {

void report()
{
    const auto clock = std::chrono::steady_clock::now().time_since_epoch();
    timespec processor {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &processor);
    std::printf("%lld %lld\n", static_cast<long long>(std::chrono::nanoseconds(clock).count()),
                static_cast<long long>(processor.tv_sec) * 1000000000 + processor.tv_nsec);
    std::fflush(stdout);
}

} // namespace

int showFirstValue(const QQmlApplicationEngine &engine)
{
    auto *const window = qobject_cast<QQuickWindow *>(engine.rootObjects().value(0));
    if (!window)
        return 1;
    // Called in the thread that renders, while the thread of the window waits for it.
    bool isInFrame = false;
    QObject::connect(
        window, &QQuickWindow::afterSynchronizing, window,
        [&isInFrame, window] { isInFrame = !window->property("shown").toString().isEmpty(); },
        Qt::DirectConnection);
    bool isReported = false;
    QObject::connect(
        window, &QQuickWindow::frameSwapped, window,
        [&isInFrame, &isReported] {
            if (!isInFrame || isReported)
                return;
            isReported = true;
            report();
            QMetaObject::invokeMethod(qGuiApp, &QCoreApplication::quit, Qt::QueuedConnection);
        },
        Qt::DirectConnection);
    window->show();
    return QGuiApplication::exec();
}
