// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/openinghandshake_p.h"

#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtNetwork/QTcpSocket>

namespace pellix::server {

namespace {

constexpr qsizetype greatestRequest = qsizetype(64) * 1024; // bytes; browsers add all their cookies

int defaultPort(const QString &scheme)
{
    if (scheme == QLatin1String("http"))
        return 80;
    return scheme == QLatin1String("https") ? 443 : -1;
}

// With a second Host or a folded header, an intermediary may have interpreted the request
// differently.
HandshakeRequest parsed(const QByteArray &text)
{
    HandshakeRequest request;
    const QList<QByteArray> lines = text.split('\n');
    request.target = lines.constFirst().split(' ').value(1).trimmed();
    for (const QByteArray &line : lines.mid(1)) {
        if (line.startsWith(' ') || line.startsWith('\t')) {
            request.malformed = QStringLiteral("its request has a folded header");
            return request;
        }
        const qsizetype colon = line.indexOf(':');
        request.headers.append(
            {line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed()});
    }
    if (request.values("Host").size() > 1)
        request.malformed = QStringLiteral("its request names more than one host");
    return request;
}

} // namespace

QString normalizedOrigin(const QString &text)
{
    QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
        return {};
    if (url.port() == defaultPort(url.scheme()))
        url.setPort(-1);
    if (url.path() == QLatin1String("/"))
        url.setPath({});
    const QString origin = url.toString(QUrl::FullyEncoded);
    // An origin ends with its port.
    return origin
            == url.adjusted(QUrl::RemoveUserInfo | QUrl::RemovePath | QUrl::RemoveQuery
                            | QUrl::RemoveFragment)
                   .toString(QUrl::FullyEncoded)
        ? origin
        : QString();
}

QList<QByteArray> HandshakeRequest::values(const QByteArray &name) const
{
    QList<QByteArray> values;
    for (const auto &[other, value] : headers) {
        if (!name.isEmpty() && other == name.toLower())
            values.append(value);
    }
    return values;
}

OpeningHandshake::OpeningHandshake(QTcpSocket *connection, std::chrono::milliseconds timeLimit)
    : QObject(connection), connection(connection), timeLimit(timeLimit)
{ }

void OpeningHandshake::begin()
{
    connection->setReadBufferSize(greatestRequest + 1);
    connect(connection, &QTcpSocket::readyRead, this, &OpeningHandshake::read);
    QTimer::singleShot(timeLimit, this, &OpeningHandshake::timedOut);
    read(); // it may have come with the connection
}

void OpeningHandshake::read()
{
    const QByteArray received = connection->peek(greatestRequest + 1);
    const qsizetype end = received.indexOf("\r\n\r\n");
    if (end < 0 && received.size() <= greatestRequest)
        return;
    disconnect(connection, &QTcpSocket::readyRead, this, &OpeningHandshake::read);
    HandshakeRequest request;
    if (end < 0) {
        request.tooLong = true;
        request.malformed =
            QStringLiteral("its request is longer than %1 bytes").arg(greatestRequest);
    } else {
        request = parsed(received.left(end));
    }
    Q_EMIT requested(request);
}

void OpeningHandshake::grant(const ClientCredentials &credentials)
{
    granted = credentials;
    connection->setReadBufferSize(0);
}

void OpeningHandshake::refuse(const QByteArray &status, const QByteArray &moreHeaders,
                              const QString &reason)
{
    const QByteArray text = "This connection is refused: " + reason.toUtf8() + ".\n";
    connection->write("HTTP/1.1 " + status + "\r\n" + moreHeaders
                      + "Connection: close\r\nContent-Type: text/plain; charset=utf-8"
                        "\r\nContent-Length: "
                      + QByteArray::number(text.size()) + "\r\n\r\n" + text);
    connection->disconnectFromHost();
}

} // namespace pellix::server
