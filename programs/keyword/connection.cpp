// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/connection.h"

#include "extras/connection/pemfiles.h"
#include "programs/common/accessfiles.h"
#include "programs/keyword/output.h"

#include <algorithm>

using pellix::extras::PKeywordConnection;

namespace {

constexpr int longestAttempt = 10000; // milliseconds, unless the timeout is longer
constexpr int longestAttemptOfSeveral = 3000;
constexpr int longestPause = 5000;

} // namespace

Connection::Connection(const Settings &settings) : settings(settings)
{
    const int patience = int(std::min(settings.timeout.value_or(std::chrono::milliseconds(0)),
                                      std::chrono::milliseconds(std::chrono::hours(1)))
                                 .count());
    webSocket.setHandshakeTimeout(settings.urls.size() > 1 ? longestAttemptOfSeveral
                                                           : std::max(longestAttempt, patience));
    webSocket.setMaxRetryDelay(longestPause);
    webSocket.setAutoReconnect(settings.reconnect);
    webSocket.setCaFile(settings.caFile);
    webSocket.setCertificateFile(settings.certificateFile);
    webSocket.setKeyFile(settings.keyFile);
    connect(&webSocket, &PKeywordConnection::connectedChanged, this,
            &Connection::onConnectedChanged);
    connect(&webSocket, &PKeywordConnection::stateChanged, this, &Connection::onStateChanged);
    connect(&webSocket, &PKeywordConnection::reasonChanged, this, &Connection::onReasonChanged);
}

Connection::~Connection()
{
    webSocket.disconnect(this);
}

QString Connection::problem() const
{
    const QString reason = webSocket.reason();
    if (!reason.isEmpty())
        return QStringLiteral("not connected to %1: %2").arg(webSocket.address(), reason);
    return QStringLiteral("not connected to ")
        + (lastProblem.isEmpty() ? webSocket.address() : lastProblem);
}

// Files may change while the connection is open, but must be valid at the beginning.
QString Connection::readFiles()
{
    QString problem;
    if (!pellix::extras::tlsConfiguration(
            {settings.caFile, settings.certificateFile, settings.keyFile}, &problem))
        return problem;
    if (!settings.tokenFile.isEmpty())
        webSocket.setToken(programs::readToken(settings.tokenFile, &problem));
    return problem;
}

void Connection::open()
{
    webSocket.setUrls(settings.urls);
}

// When this is called, the other properties of the client are already up to date.
void Connection::onConnectedChanged()
{
    if (!isOpen()) {
        complain(QStringLiteral("lost the connection to %1: %2%3")
                     .arg(webSocket.address(), webSocket.reason(),
                          settings.reconnect ? QStringLiteral("; trying again") : QString()));
        Q_EMIT lost();
        if (!settings.reconnect)
            Q_EMIT failed();
        return;
    }
    if (wasOpen)
        complain(QStringLiteral("connected again to ") + webSocket.address());
    else if (announcedFailure)
        complain(QStringLiteral("connected to ") + webSocket.address());
    wasOpen = true;
    lastProblem.clear();
    Q_EMIT opened();
}

void Connection::onStateChanged()
{
    const PKeywordConnection::State state = webSocket.state();
    const bool hasEnded =
        state == PKeywordConnection::Disconnected || state == PKeywordConnection::Unusable;
    if (wasOpen)
        return;
    if (hasEnded) {
        Q_EMIT failed();
    } else if (state == PKeywordConnection::Waiting && announcesAttempts && !announcedFailure) {
        announcedFailure = true;
        complain(problem() + QStringLiteral("; trying again"));
    }
}

void Connection::onReasonChanged()
{
    if (!webSocket.reason().isEmpty())
        lastProblem = webSocket.address() + QLatin1String(": ") + webSocket.reason();
}
