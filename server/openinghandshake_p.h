// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/clientcredentials_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QPair>
#include <QtCore/QString>

#include <chrono>
#include <optional>

class QTcpSocket;

namespace pellix::server {

// The origin in the form that browsers send, such as https://example.org:8443; empty if the text is
// not an origin.
QString normalizedOrigin(const QString &text);

// The request of a client, up to the empty line.
struct HandshakeRequest
{
    QByteArray target; // as it stands in the first line
    QList<QPair<QByteArray, QByteArray>> headers; // names in lower case
    QString malformed; // why it is invalid; empty if it is valid
    bool tooLong = false;

    // Of all headers with that name, in their order; none for an empty name.
    QList<QByteArray> values(const QByteArray &name) const;
};

// Reads the WebSocket request of a client before there is a reply, so that it can be refused with
// an HTTP status. It leaves the request in the connection for the WebSocket server. The connection
// owns it.
class OpeningHandshake : public QObject
{
    Q_OBJECT

public:
    OpeningHandshake(QTcpSocket *connection, std::chrono::milliseconds timeLimit);

    void begin();
    void grant(const ClientCredentials &credentials);
    // Sends the status to the client and closes the connection. Each additional header ends with a
    // line break.
    void refuse(const QByteArray &status, const QByteArray &moreHeaders, const QString &reason);

    QTcpSocket *socket() const { return connection; }
    // The time counts until this object is deleted, which is after the upgrade.
    void startTime() { deadline.setRemainingTime(timeLimit); }
    bool isLate() const { return deadline.hasExpired(); }
    std::chrono::milliseconds timeLeft() const
    {
        return std::chrono::milliseconds(deadline.remainingTime());
    }

    bool isGranted() const { return granted.has_value(); }
    const ClientCredentials &credentials() const { return *granted; } // once granted

Q_SIGNALS:
    // Once, and granted or refused by the receiver
    void requested(const pellix::server::HandshakeRequest &request);

private:
    void read();

    QTcpSocket *const connection;
    const std::chrono::milliseconds timeLimit;
    QDeadlineTimer deadline;
    std::optional<ClientCredentials> granted;
};

} // namespace pellix::server
