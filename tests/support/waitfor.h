// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QEvent>
#include <QtCore/QTimer>

// As QTest::qWaitFor(), but it looks again after each event, rather than every 10 ms: a test of
// many short exchanges would do nothing but wait.
template <typename Predicate> bool waitFor(Predicate predicate, int timeout = 30000)
{
    const QDeadlineTimer deadline(timeout);
    QTimer wake; // where nothing else happens
    wake.start(10);
    while (!predicate()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}
