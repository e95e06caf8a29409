// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/common/address.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>

namespace programs {

QString addressProblem(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    const bool isWebSocket =
        url.scheme() == QLatin1String("ws") || url.scheme() == QLatin1String("wss");
    if (!url.isValid() || !isWebSocket || url.host().isEmpty())
        return QStringLiteral("not a WebSocket address such as ws://host:port");
    if (!url.password().isEmpty())
        return QStringLiteral("an address cannot carry a password: it would not be sent to the "
                              "server. Use a token that the server takes in the address");
    return QString();
}

QString shownAddress(const QString &text)
{
    // By patterns rather than by QUrl: what is not valid is shown as well, in a message that says
    // so.
    static const QRegularExpression password(QStringLiteral("(^|//)([^/?#@:\\s]*):[^/?#\\s]*@"));
    // A password with a "/" that is not encoded makes the address invalid.
    static const QRegularExpression anyPassword(QStringLiteral("(^|//)([^/?#@:\\s]*):(?!//)\\S*@"));
    static const QRegularExpression secret(
        QStringLiteral("([?&;#][^=&;#\\s]*(?:token|password|passwd|secret|key|auth)[^=&;#\\s]*=)"
                       "[^&;#\\s]*"),
        QRegularExpression::CaseInsensitiveOption);
    QString shown = text;
    const bool isValid = QUrl(text, QUrl::StrictMode).isValid();
    shown.replace(isValid ? password : anyPassword, QStringLiteral("\\1\\2:***@"));
    shown.replace(secret, QStringLiteral("\\1***"));
    return shown;
}

QString withoutSecrets(const QString &message)
{
    static const QRegularExpression address(QStringLiteral("[A-Za-z][A-Za-z0-9+.-]*://[^\\s\"']*"));
    QString result;
    qsizetype end = 0;
    for (auto matches = address.globalMatch(message); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        result += QStringView(message).mid(end, match.capturedStart() - end);
        result += shownAddress(match.captured());
        end = match.capturedEnd();
    }
    return result += QStringView(message).mid(end);
}

} // namespace programs
