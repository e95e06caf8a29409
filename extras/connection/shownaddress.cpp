// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/connection/shownaddress.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>

namespace pellix::extras {

namespace {

const QLatin1String mask("***");

// Not with QUrl: invalid addresses are shown as well, in error messages.
QString withoutPassword(const QString &text)
{
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*://"));
    static const QRegularExpression authorityEnd(QStringLiteral("[/?#]"));
    const qsizetype begin = scheme.match(text).capturedEnd();
    // A "/" in a password that is not encoded makes the address invalid: the password may be
    // anywhere.
    const bool isValid = begin > 0 && QUrl(text, QUrl::StrictMode).isValid();
    const qsizetype end = isValid ? text.indexOf(authorityEnd, begin) : -1;

    const qsizetype from = qMax(begin, qsizetype(0));
    const QStringView authority = QStringView(text).mid(from, end < 0 ? -1 : end - from);
    const qsizetype at = authority.lastIndexOf(QLatin1Char('@'));
    const qsizetype colon = authority.indexOf(QLatin1Char(':'));
    if (colon < 0 || at < colon)
        return text;
    return text.left(from + colon + 1) + mask + text.mid(from + at);
}

bool isSecret(const QString &fieldName)
{
    static const QRegularExpression secret(
        QStringLiteral("pass|pwd|token|secret|key(?!word)|auth|credential|session|signature|jwt|"
                       "bearer|ticket"),
        QRegularExpression::CaseInsensitiveOption);
    return secret.match(QUrl::fromPercentEncoding(fieldName.toUtf8())).hasMatch();
}

// Servers differ in the start of a field. A secret extends up to "&", which ends it on all servers.
QString withoutSecretFields(const QString &text)
{
    static const QRegularExpression field(QStringLiteral("[?&;#]([^?&;#=]*)="));
    QString shown;
    qsizetype from = 0;
    for (auto match = field.match(text); match.hasMatch(); match = field.match(text, from)) {
        shown += QStringView(text).mid(from, match.capturedEnd() - from);
        from = match.capturedEnd();
        // In a message, something may follow one that is hidden already.
        if (!isSecret(match.captured(1)) || QStringView(text).mid(from).startsWith(mask))
            continue;
        shown += mask;
        const qsizetype end = text.indexOf(QLatin1Char('&'), from);
        from = end < 0 ? text.size() : end;
    }
    return shown += QStringView(text).mid(from);
}

// Servers accept a token as /t/TOKEN from clients that cannot send headers.
QString withoutPathToken(const QString &text)
{
    static const QRegularExpression token(
        QStringLiteral("^(?:[A-Za-z][A-Za-z0-9+.-]*://)?[^/?#]+/t/([^?#]+)"));
    const QRegularExpressionMatch match = token.match(text);
    // In a message, something may follow one that is hidden already.
    if (!match.hasMatch() || match.capturedView(1).startsWith(mask))
        return text;
    return text.left(match.capturedStart(1)) + mask + text.mid(match.capturedEnd(1));
}

} // namespace

/*!
    \fn QString pellix::extras::shownAddress(const QString &text)

    Returns the address in \a text in a form that can be shown, logged, or recorded: a password, a
    token in the path (/t/TOKEN), and secret values in the query, such as a token, are replaced by
    "***". Text that is not a valid address is treated in the same way, as far as it resembles one.
*/
QString shownAddress(const QString &text)
{
    return withoutSecretFields(withoutPathToken(withoutPassword(text)));
}

/*!
    \fn QString pellix::extras::withoutSecrets(const QString &message)

    Returns \a message with each address that it quotes replaced by the result of shownAddress().
*/
QString withoutSecrets(const QString &message)
{
    // QDebug prints a QUrl with decoded spaces and quotes: only the bracket ends it.
    static const QRegularExpression address(
        QStringLiteral("(?<=QUrl\\(\")(?:[^\"\\\\]|\\\\.)*(?=\"\\))"
                       "|[A-Za-z][A-Za-z0-9+.-]*://[^\\s\"']*"));
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

} // namespace pellix::extras
