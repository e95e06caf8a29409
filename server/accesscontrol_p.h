// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/attemptlimit_p.h"
#include "server/clientcredentials_p.h"
#include "server/clientidentification.h"
#include "server/websocketkeywordserver.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QStringList>

#include <optional>

class QTcpSocket;

namespace pellix::server {

struct HandshakeRequest;

// Accepts or refuses clients, and counts the refused ones.
class AccessControl
{
public:
    using Refusal = WebSocketKeywordServer::Refusal;

    struct Decision
    {
        std::optional<Refusal> refusal; // none: the client is accepted
        QByteArray status; // of HTTP, for a refusal
        QByteArray headers;
        QString reason;
        ClientCredentials credentials;
    };

    AccessControl() { clock.start(); }

    // The number of clients includes those whose handshake is not complete.
    Decision decide(const HandshakeRequest &request, const QTcpSocket *connection, int clients);

    ClientIdentification identification;
    QStringList allowedOrigins; // as normalizedOrigin() returns them
    AttemptLimit attempts;
    int maximumClients = 500;
    QHash<Refusal, quint64> refused;

private:
    Decision refuse(Refusal refusal, const QString &reason, const ClientCredentials &credentials);
    Decision refuseAttempt(Refusal refusal, const QString &reason,
                           const ClientCredentials &credentials);
    std::optional<QString> foreignOrigin(const HandshakeRequest &request) const;
    std::chrono::milliseconds now() const { return std::chrono::milliseconds(clock.elapsed()); }

    QElapsedTimer clock;
};

} // namespace pellix::server
