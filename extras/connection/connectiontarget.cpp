// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/connection/connectiontarget_p.h"

#include "extras/connection/keywordconnection.h"
#include "extras/connection/shownaddress.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>

namespace pellix::extras {

namespace {

// Headers of the opening handshake itself, which must not be changed.
bool isReserved(const QString &header)
{
    static const QRegularExpression reserved(
        QStringLiteral("^(host|upgrade|connection|content-length|transfer-encoding|"
                       "sec-websocket-.*)$"),
        QRegularExpression::CaseInsensitiveOption);
    return reserved.match(header).hasMatch();
}

bool isHeaderName(const QString &text)
{
    static const QRegularExpression name(QStringLiteral("^[A-Za-z0-9!#$%&'*+.^_`|~-]+\\z"));
    return name.match(text).hasMatch();
}

// A line break would start another header.
bool isHeaderValue(const QString &text)
{
    static const QRegularExpression value(QStringLiteral("^[\\x20-\\x7e]*\\z"));
    return value.match(text).hasMatch();
}

bool isToken(const QString &text)
{
    static const QRegularExpression token(QStringLiteral("^[\\x21-\\x7e]+\\z"));
    return token.match(text).hasMatch();
}

// The problem with the credentials, independent of the address. Secrets are never quoted.
QString credentialsProblem(const Credentials &credentials)
{
    if (!credentials.token.isEmpty() && !isToken(credentials.token))
        return PKeywordConnection::tr(
            "the token cannot be sent: it contains a space or a character that is not ASCII");
    for (auto header = credentials.headers.cbegin(); header != credentials.headers.cend();
         ++header) {
        if (!isHeaderName(header.key()) || isReserved(header.key()))
            return PKeywordConnection::tr("the header \"%1\" cannot be sent").arg(header.key());
        if (!isHeaderValue(header.value().toString()))
            return PKeywordConnection::tr("the value of the header \"%1\" cannot be sent: it "
                                          "contains a character that is not printable ASCII")
                .arg(header.key());
        if (header.key().compare(QLatin1String("Authorization"), Qt::CaseInsensitive) == 0
            && !credentials.token.isEmpty())
            return PKeywordConnection::tr(
                "there are both a token and a header \"Authorization\": only one can be sent");
    }
    return QString();
}

} // namespace

std::optional<ConnectionTarget> connectionTarget(const QString &address,
                                                 const Credentials &credentials, QString *problem)
{
    QUrl url(address, QUrl::TolerantMode);
    ConnectionTarget target;
    target.shown = shownAddress(address);
    target.encrypted = url.scheme() == QLatin1String("wss");
    if (!url.isValid() || url.host().isEmpty()
        || (!target.encrypted && url.scheme() != QLatin1String("ws"))) {
        *problem = PKeywordConnection::tr("not a WebSocket address such as ws://host:port");
        return std::nullopt;
    }
    *problem = credentialsProblem(credentials);
    if (!problem->isEmpty())
        return std::nullopt;

    const bool basic = !url.userName().isEmpty() || !url.password().isEmpty();
    const bool tells = basic || !credentials.token.isEmpty() || !credentials.headers.isEmpty();
    if (tells && !target.encrypted && !credentials.allowedPlain) {
        *problem = PKeywordConnection::tr(
            "credentials are not sent over ws://, which is not encrypted; use wss://");
        return std::nullopt;
    }

    for (auto header = credentials.headers.cbegin(); header != credentials.headers.cend();
         ++header) {
        target.request.setRawHeader(header.key().toLatin1(), header.value().toString().toLatin1());
        target.secrets.append(header.value().toString());
    }
    if (basic) { // the address's own come before those for all
        const QByteArray pair = (url.userName() + QLatin1Char(':') + url.password()).toUtf8();
        target.request.setRawHeader("Authorization", "Basic " + pair.toBase64());
        target.secrets += {url.password(), QString::fromLatin1(pair.toBase64())};
    } else if (!credentials.token.isEmpty()) {
        target.request.setRawHeader("Authorization", "Bearer " + credentials.token.toLatin1());
        target.secrets.append(credentials.token);
    }
    url.setUserInfo(QString());
    // Without a path, QWebSocket would put the query right behind the method.
    if (url.path().isEmpty() && url.hasQuery())
        url.setPath(QStringLiteral("/"));
    target.request.setUrl(url);
    return target;
}

} // namespace pellix::extras
