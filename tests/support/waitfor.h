// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QEvent>
#include <QtCore/QTimer>

// Like QTest::qWaitFor(), but checks the condition after each event and not every 10 ms, which
// would slow down tests with many short exchanges.
template <typename Predicate> bool waitFor(Predicate predicate, int timeout = 30000)
{
    const QDeadlineTimer deadline(timeout);
    QTimer wake; // if there are no other events
    wake.start(10);
    while (!predicate()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}
