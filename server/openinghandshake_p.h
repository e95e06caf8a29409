// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QObject>
#include <QtCore/QStringList>

#include <chrono>

class QTcpSocket;

namespace pellix::server {

// The origin in the form in which browsers send it, such as https://example.org:8443; empty if the
// text is none.
QString normalizedOrigin(const QString &text);

// Reads a client's request for a WebSocket before anybody answers it, and refuses it by an HTTP
// status if it must not be granted. It leaves the request in the connection, for the WebSocket
// server, and belongs to the connection.
class OpeningHandshake : public QObject
{
    Q_OBJECT

public:
    OpeningHandshake(QTcpSocket *connection, const QStringList &allowedOrigins,
                     std::chrono::milliseconds timeLimit);

    void begin();

Q_SIGNALS:
    void granted(); // the request is complete, and nothing is wrong with it
    void refused(const QString &reason); // the client is told, and the connection closes
    void timedOut(); // counts until this object is deleted, which is after the upgrade

private:
    struct Refusal
    {
        const char *status = nullptr; // none: the request may pass
        QString reason;
    };

    void read();
    Refusal judge(const QByteArray &request) const;
    void refuse(const Refusal &refusal);

    QTcpSocket *const connection;
    const QStringList allowedOrigins;
    const std::chrono::milliseconds timeLimit;
};

} // namespace pellix::server
