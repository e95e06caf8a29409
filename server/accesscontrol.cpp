// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/accesscontrol_p.h"

#include "server/openinghandshake_p.h"

#include <QtCore/QDebug>

namespace pellix::server {

using namespace std::chrono_literals;

namespace {

using Refusal = WebSocketKeywordServer::Refusal;

constexpr auto retryWhenFull = 10s;

QByteArray statusOf(Refusal refusal)
{
    switch (refusal) {
    case Refusal::BadRequest:
        return "400 Bad Request";
    case Refusal::ForeignOrigin:
        return "403 Forbidden";
    case Refusal::NoCredentials:
    case Refusal::WrongCredentials:
        return "401 Unauthorized";
    case Refusal::TooManyAttempts:
        return "429 Too Many Requests";
    case Refusal::TooManyClients:
        return "503 Service Unavailable";
    }
    return {};
}

QByteArray retryAfter(std::chrono::milliseconds time)
{
    return "Retry-After: " + QByteArray::number(qint64((time.count() + 999) / 1000)) + "\r\n";
}

} // namespace

// Requests of a web page, and those that fail through no fault of the client, do not count as
// attempts: otherwise, a page could lock out the machine on which it is displayed.
AccessControl::Decision AccessControl::decide(const HandshakeRequest &request,
                                              const QTcpSocket *connection, int clients)
{
    const ClientCredentials credentials(request, connection, identification);
    if (!request.malformed.isEmpty()) {
        Decision decision = refuse(Refusal::BadRequest, request.malformed, credentials);
        if (request.tooLong)
            decision.status = "431 Request Header Fields Too Large";
        return decision;
    }
    if (const auto origin = foreignOrigin(request)) {
        return refuse(Refusal::ForeignOrigin,
                      QStringLiteral("its origin %1 is not allowed").arg(*origin), credentials);
    }
    const auto wait = attempts.waitingTime(credentials.clientAddress(), now());
    if (wait.count() > 0) {
        Decision decision =
            refuse(Refusal::TooManyAttempts,
                   QStringLiteral("too many attempts from its address were refused"), credentials);
        decision.headers = retryAfter(wait);
        return decision;
    }
    const auto judgement = credentials.judge(identification);
    switch (judgement.verdict) {
    case ClientCredentials::Malformed:
        return refuse(Refusal::BadRequest, judgement.reason, credentials);
    case ClientCredentials::None:
        return refuseAttempt(Refusal::NoCredentials, judgement.reason, credentials);
    case ClientCredentials::Wrong:
        return refuseAttempt(Refusal::WrongCredentials, judgement.reason, credentials);
    case ClientCredentials::Known:
        break;
    }
    if (clients >= maximumClients) {
        Decision decision =
            refuse(Refusal::TooManyClients,
                   QStringLiteral("%1 clients are connected already").arg(clients), credentials);
        decision.headers = retryAfter(retryWhenFull);
        return decision;
    }
    return {std::nullopt, {}, {}, {}, credentials};
}

AccessControl::Decision AccessControl::refuse(Refusal refusal, const QString &reason,
                                              const ClientCredentials &credentials)
{
    ++refused[refusal];
    return {refusal, statusOf(refusal), {}, reason, credentials};
}

AccessControl::Decision AccessControl::refuseAttempt(Refusal refusal, const QString &reason,
                                                     const ClientCredentials &credentials)
{
    attempts.countFailure(credentials.clientAddress(), now());
    Decision decision = refuse(refusal, reason, credentials);
    decision.headers = "WWW-Authenticate: Bearer\r\n";
    return decision;
}

// Web pages can also reach servers that listen on this machine only. Browsers send the origin of
// the page; other programs have no reason to do so.
std::optional<QString> AccessControl::foreignOrigin(const HandshakeRequest &request) const
{
    const QList<QByteArray> origins = request.values("Origin");
    for (const QByteArray &origin : origins) {
        if (allowedOrigins.contains(QString::fromUtf8(origin)))
            continue;
        QString quoted;
        QDebug(&quoted).nospace() << QString::fromUtf8(origin); // escapes control characters
        return quoted;
    }
    return std::nullopt;
}

} // namespace pellix::server
