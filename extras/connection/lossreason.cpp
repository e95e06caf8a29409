// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/connection/lossreason_p.h"

#include "extras/connection/keywordconnection.h"

#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>
#include <QtNetwork/QSslSocket>
#include <QtWebSockets/QWebSocket>

namespace pellix::extras {

namespace {

// The meaning of a WebSocket close code, or an empty string.
QString meaningOf(int closeCode)
{
    switch (closeCode) {
    case 1000:
        return PKeywordConnection::tr("normal");
    case 1001:
        return PKeywordConnection::tr("going away");
    case 1002:
        return PKeywordConnection::tr("protocol error");
    case 1003:
        return PKeywordConnection::tr("unsupported data");
    case 1007:
        return PKeywordConnection::tr("inconsistent data");
    case 1008:
        return PKeywordConnection::tr("policy violation");
    case 1009:
        return PKeywordConnection::tr("message too big");
    case 1010:
        return PKeywordConnection::tr("extension missing");
    case 1011:
        return PKeywordConnection::tr("internal error");
    case 1012:
        return PKeywordConnection::tr("service restart");
    case 1013:
        return PKeywordConnection::tr("try again later");
    case 1014:
        return PKeywordConnection::tr("bad gateway");
    default:
        return QString();
    }
}

} // namespace

QString closeReason(const QWebSocket *socket)
{
    const int code = socket->closeCode();
    const QString meaning = meaningOf(code);
    const QString closed = meaning.isEmpty()
        ? PKeywordConnection::tr("closed with code %1").arg(code)
        : PKeywordConnection::tr("closed with code %1 (%2)").arg(code).arg(meaning);
    return socket->closeReason().isEmpty() ? closed
                                           : closed + QLatin1String(": ") + socket->closeReason();
}

QString errorReason(const QWebSocket *socket)
{
    // QWebSocket's own messages begin with the names of its functions, and the rest may be
    // translated.
    static const QRegularExpression status(
        QStringLiteral("^QWebSocket\\w*::\\w+: .*?\\b([1-5]\\d\\d) \\((.*)\\)\\.?$"),
        QRegularExpression::DotMatchesEverythingOption);
    // Since Qt 6.7, QWebSocket does not quote a server that rejects the credentials.
    static const QRegularExpression unauthorized(
        QStringLiteral("WWW-Authenticate|requires authentication"));
    static const QRegularExpression functionName(QStringLiteral("\\bQWebSocket\\w*::\\w+: "));
    QString text = socket->errorString();
    const QRegularExpressionMatch match = status.match(text);
    if (match.hasMatch())
        return PKeywordConnection::tr("HTTP status %1 (%2)")
            .arg(match.captured(1), match.captured(2));
    if (text.contains(unauthorized))
        return PKeywordConnection::tr("HTTP status %1 (%2)")
            .arg(QStringLiteral("401"), QStringLiteral("Unauthorized"));
    text.remove(functionName);
    return text.endsWith(QLatin1Char('.')) ? text.chopped(1) : text;
}

QString timeoutReason(const QWebSocket *socket, int milliseconds)
{
    const QString seconds = QLocale().toString(milliseconds / 1000.0, 'g', 6);
    const auto *const below =
        socket->findChild<QTcpSocket *>(QString(), Qt::FindDirectChildrenOnly);
    if (!below || below->state() != QAbstractSocket::ConnectedState)
        return PKeywordConnection::tr("cannot be reached within %1 s").arg(seconds);
    const auto *const encrypted = qobject_cast<const QSslSocket *>(below);
    if (encrypted && encrypted->mode() != QSslSocket::UnencryptedMode && !encrypted->isEncrypted())
        return PKeywordConnection::tr("no answer to the TLS handshake within %1 s").arg(seconds);
    return PKeywordConnection::tr("no answer to the opening handshake within %1 s").arg(seconds);
}

} // namespace pellix::extras
