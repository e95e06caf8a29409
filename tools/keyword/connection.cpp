// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tools/keyword/connection.h"

#include "programs/common/address.h"
#include "pubsub/publisher.h"
#include "tools/keyword/diagnostics.h"
#include "tools/keyword/output.h"

#include <chrono>

using namespace pellix::client;
using namespace std::chrono_literals;

namespace {

constexpr auto longestAttempt = 3s;
constexpr auto pause = 1s; // after all servers have been tried in vain

} // namespace

Connection::Connection(const QStringList &urls, bool reconnects)
    : urls(urls), reconnects(reconnects)
{
    connect(webSocket.publisher(), &PPublisher::activeChanged, this, &Connection::onActiveChanged);
    // The client has no signal for an attempt that failed; it says so in its log.
    diagnostics::setTransportHandler(
        [this](const QString &problem) { onTransportProblem(problem); });
    for (QTimer *timer : {&nextTimer, &patience}) {
        timer->setSingleShot(true);
        connect(timer, &QTimer::timeout, this, &Connection::tryNext);
    }
    patience.setInterval(longestAttempt);
}

Connection::~Connection()
{
    diagnostics::setTransportHandler(nullptr);
    webSocket.publisher()->disconnect(this);
}

QString Connection::address() const
{
    return programs::shownAddress(urls.constFirst());
}

QString Connection::problem() const
{
    const QString where = QStringLiteral("not connected to ") + address();
    return lastProblem.isEmpty() ? where : where + QLatin1String(": ") + lastProblem;
}

void Connection::open()
{
    webSocket.setAutoReconnect(reconnects);
    if (urls.size() > 1)
        patience.start();
    webSocket.setUrls(urls);
}

void Connection::onActiveChanged()
{
    if (isOpen()) {
        failures = 0;
        nextTimer.stop();
        patience.stop();
        if (wasOpen)
            complain(QStringLiteral("connected again to %1").arg(address()));
        else if (announcedFailure)
            complain(QStringLiteral("connected to %1").arg(address()));
        wasOpen = true;
        lastProblem.clear();
        Q_EMIT opened();
        return;
    }
    const QString reason = lastProblem.isEmpty() ? QString() : QLatin1String(": ") + lastProblem;
    complain(
        QStringLiteral("lost the connection to %1%2%3")
            .arg(address(), reason, reconnects ? QStringLiteral("; trying again") : QString()));
    Q_EMIT lost();
    if (!reconnects)
        Q_EMIT failed();
}

void Connection::onTransportProblem(const QString &problem)
{
    lastProblem = problem;
    if (isOpen() || failurePending)
        return;
    failurePending = true; // the client is at work: not from within
    QMetaObject::invokeMethod(this, &Connection::onAttemptFailed, Qt::QueuedConnection);
}

void Connection::onAttemptFailed()
{
    failurePending = false;
    if (isOpen())
        return;
    ++failures;
    const bool triedAll = failures % urls.size() == 0;
    if (!reconnects && !wasOpen && triedAll) {
        Q_EMIT failed();
        return;
    }
    if (announcesAttempts && !announcedFailure && !wasOpen && triedAll) {
        announcedFailure = true;
        complain(problem() + QStringLiteral("; trying again"));
    }
    if (urls.size() > 1 && !nextTimer.isActive())
        nextTimer.start(triedAll ? pause : 0ms);
}

void Connection::tryNext()
{
    if (isOpen() || urls.size() < 2)
        return;
    urls.append(urls.takeFirst());
    patience.start();
    webSocket.setUrls(urls); // connects at once
}
