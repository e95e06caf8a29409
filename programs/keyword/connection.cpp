// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/connection.h"

#include "programs/common/address.h"
#include "programs/keyword/diagnostics.h"
#include "programs/keyword/output.h"
#include "pubsub/publisher.h"

#include <QtCore/QHash>
#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>

#include <chrono>

using namespace pellix::client;
using namespace std::chrono_literals;

namespace {

constexpr auto longestAttempt = 3s;
constexpr auto pause = 1s; // after all servers have been tried in vain

// What the numbers mean by which a WebSocket is closed, or an empty text.
QString meaningOf(int closeCode)
{
    static const QHash<int, QString> meanings = {
        {1000, QStringLiteral("normal")},
        {1001, QStringLiteral("going away")},
        {1002, QStringLiteral("protocol error")},
        {1003, QStringLiteral("unsupported data")},
        {1007, QStringLiteral("inconsistent data")},
        {1008, QStringLiteral("policy violation")},
        {1009, QStringLiteral("message too big")},
        {1010, QStringLiteral("extension missing")},
        {1011, QStringLiteral("internal error")},
        {1012, QStringLiteral("service restart")},
        {1013, QStringLiteral("try again later")},
        {1014, QStringLiteral("bad gateway")},
    };
    return meanings.value(closeCode);
}

QString closeText(const QWebSocket *socket)
{
    const int code = socket->closeCode();
    QString text = QStringLiteral("closed with code %1").arg(code);
    if (!meaningOf(code).isEmpty())
        text += QStringLiteral(" (%1)").arg(meaningOf(code));
    if (!socket->closeReason().isEmpty())
        text += QLatin1String(": ") + socket->closeReason();
    return text;
}

// What the transport says of a refused handshake, in words that are not the class's own.
QString inWords(QString problem)
{
    problem.replace(QLatin1String("Unhandled http status code:"), QLatin1String("HTTP status"));
    return problem.endsWith(QLatin1Char('.')) ? problem.chopped(1) : problem;
}

} // namespace

// The client does not offer its socket, and tells no reason of a loss. But it is from the socket's
// signal that it says so, and QObject knows the sender of a signal that is being handled. Were that
// to change, the reasons would be missing and nothing else.
QWebSocket *ListeningClient::callingSocket() const
{
    return qobject_cast<QWebSocket *>(sender());
}

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
    onLost();
}

// A socket that closes in order is closing when it says so. One that had an error tells it through
// its log; but QWebSocket repeats a handshake's error for ever, other than the connection below.
QString Connection::lossReason() const
{
    const QWebSocket *const socket = webSocket.callingSocket();
    if (!socket)
        return lastProblem;
    if (lastProblem.isEmpty())
        return socket->state() == QAbstractSocket::ClosingState ? closeText(socket) : QString();
    const auto *const below =
        socket->findChild<QTcpSocket *>(QString(), Qt::FindDirectChildrenOnly);
    return below ? below->errorString() : lastProblem;
}

void Connection::onLost()
{
    lastProblem = lossReason();
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
    lastProblem = inWords(problem);
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
