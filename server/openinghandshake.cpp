// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/openinghandshake_p.h"

#include <QtCore/QDebug>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtNetwork/QTcpSocket>

namespace pellix::server {

namespace {

constexpr qsizetype greatestRequest = qsizetype(64) * 1024; // bytes; browsers add all their cookies

QString quoted(const QByteArray &text)
{
    QString result;
    QDebug(&result).nospace() << QString::fromUtf8(text); // escapes control characters
    return result;
}

int defaultPort(const QString &scheme)
{
    if (scheme == QLatin1String("http"))
        return 80;
    return scheme == QLatin1String("https") ? 443 : -1;
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

OpeningHandshake::OpeningHandshake(QTcpSocket *connection, const QStringList &allowedOrigins,
                                   std::chrono::milliseconds timeLimit)
    : QObject(connection), connection(connection), allowedOrigins(allowedOrigins),
      timeLimit(timeLimit)
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
    const Refusal refusal = end < 0
        ? Refusal {"431 Request Header Fields Too Large",
                   QStringLiteral("its request is longer than %1 bytes").arg(greatestRequest)}
        : judge(received.left(end));
    if (refusal.status) {
        refuse(refusal);
        return;
    }
    connection->setReadBufferSize(0);
    Q_EMIT granted();
}

// Web pages reach servers that listen on this machine alone, too. Their browsers tell which page it
// is, and other programs have no reason to. A second Host shows that somebody on the way may have
// understood the request in another sense.
OpeningHandshake::Refusal OpeningHandshake::judge(const QByteArray &request) const
{
    const QList<QByteArray> lines = request.split('\n');
    int hosts = 0;
    for (const QByteArray &line : lines.mid(1)) { // behind the request line
        if (line.startsWith(' ') || line.startsWith('\t'))
            return {"400 Bad Request", QStringLiteral("its request has a folded header")};
        const qsizetype colon = line.indexOf(':');
        const QByteArray name = line.left(colon).trimmed().toLower();
        const QByteArray value = line.mid(colon + 1).trimmed();
        if (name == "host" && ++hosts > 1)
            return {"400 Bad Request", QStringLiteral("its request names more than one host")};
        if (name == "origin" && !allowedOrigins.contains(QString::fromUtf8(value))) {
            return {"403 Forbidden",
                    QStringLiteral("its origin %1 is not allowed").arg(quoted(value))};
        }
    }
    return {};
}

void OpeningHandshake::refuse(const Refusal &refusal)
{
    const QByteArray text = "This connection is refused: " + refusal.reason.toUtf8() + ".\n";
    connection->write(QByteArray("HTTP/1.1 ") + refusal.status
                      + "\r\nConnection: close\r\nContent-Type: text/plain; charset=utf-8"
                        "\r\nContent-Length: "
                      + QByteArray::number(text.size()) + "\r\n\r\n" + text);
    connection->disconnectFromHost();
    Q_EMIT refused(refusal.reason);
}

} // namespace pellix::server
