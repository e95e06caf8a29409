// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/accesstokens.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QFile>
#include <QtCore/QRandomGenerator>
#include <QtCore/QSaveFile>
#include <QtCore/QStringDecoder>

#include <algorithm>
#include <array>

namespace pellix::server {

namespace {

constexpr qsizetype digestLength = 64; // hexadecimal digits

bool isDigest(const QByteArray &text)
{
    return text.size() == digestLength && QByteArray::fromHex(text).toHex() == text;
}

bool isName(const QString &text)
{
    return !text.isEmpty() && text == text.simplified()
        && std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.isPrint(); });
}

bool isRole(const QString &text)
{
    return isName(text) && !text.contains(QLatin1Char(' '));
}

// The time does not depend on the position of the first difference.
bool equal(const QByteArray &digest, const QByteArray &other)
{
    uchar difference = digest.size() != other.size();
    for (qsizetype i = 0; i < qMin(digest.size(), other.size()); ++i)
        difference |= uchar(digest.at(i)) ^ uchar(other.at(i));
    return difference == 0;
}

void set(QString *error, const QString &message)
{
    if (error)
        *error = message;
}

} // namespace

/*!
    \class pellix::server::AccessTokens
    \inmodule PellixClientServer
    \inheaderfile server/accesstokens.h
    \ingroup PellixClientServerClasses
    \brief The AccessTokens class contains the tokens with which clients identify themselves.

    A token is a random string that create() generates and returns once. Only its SHA-256 digest is
    stored, with the name of its holder and the role that it grants: the tokens cannot be recovered
    from the file.

    \snippet serving/device.h tokens

    The file is UTF-8 text with one token per line: its digest, its role, and the name of its
    holder, separated by spaces. Empty lines and lines that begin with \c # are ignored.

    This class is a value class: a copy is independent of the original.
    \sa ClientIdentification::tokens
*/

/*!
    \class pellix::server::AccessTokens::Holder
    \inmodule PellixClientServer
    \inheaderfile server/accesstokens.h
    \ingroup PellixClientServerClasses
    \brief The Holder struct identifies the holder of a token.
*/

/*!
    \variable pellix::server::AccessTokens::Holder::name
    \brief the name of the client, unique among the tokens.
*/

/*!
    \variable pellix::server::AccessTokens::Holder::role
    \brief the role that the token grants.
*/

/*!
    Reads the tokens in \a fileName, which replace the current ones.

    Returns \c false, and changes nothing, if the file cannot be read or contains an error; \a error
    then contains the file, the line, and the reason. It never quotes the content of the file.
*/
bool AccessTokens::load(const QString &fileName, QString *error)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        set(error, QStringLiteral("cannot open %1: %2").arg(fileName, file.errorString()));
        return false;
    }
    AccessTokens loaded;
    for (int number = 1; !file.atEnd(); ++number) {
        const QByteArray line = file.readLine().simplified();
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        const qsizetype roleAt = line.indexOf(' ') + 1;
        const qsizetype nameAt = roleAt > 0 ? line.indexOf(' ', roleAt) + 1 : 0;
        QStringDecoder decode(QStringDecoder::Utf8);
        const QString text = decode(line); // clazy:exclude=unused-non-trivial-variable
        QString problem;
        if (decode.hasError())
            problem = QStringLiteral("not UTF-8");
        else if (nameAt == 0)
            problem = QStringLiteral("a digest, a role and a name are expected");
        else
            problem = loaded.add({line.left(roleAt - 1).toLower(),
                                  {QString::fromUtf8(line.mid(nameAt)),
                                   QString::fromUtf8(line.mid(roleAt, nameAt - roleAt - 1))}});
        if (!problem.isEmpty()) {
            set(error, QStringLiteral("%1:%2: %3").arg(fileName).arg(number).arg(problem));
            return false;
        }
    }
    if (file.error() != QFileDevice::NoError) {
        set(error, QStringLiteral("cannot read %1: %2").arg(fileName, file.errorString()));
        return false;
    }
    *this = loaded;
    return true;
}

/*!
    Writes the digests, roles, and names to \a fileName, which only its owner can read. An existing
    file is replaced atomically; its comments are lost.

    Returns \c false if the file cannot be written; \a error then contains the reason, and an
    existing file is not changed.
*/
bool AccessTokens::save(const QString &fileName, QString *error) const
{
    QSaveFile file(fileName);
    bool done = file.open(QIODevice::WriteOnly)
        && file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    if (done) {
        file.write("# SHA-256 digest of the token, role, name\n");
        for (const Token &token : tokens)
            file.write(token.digest + ' ' + token.holder.role.toUtf8() + ' '
                       + token.holder.name.toUtf8() + '\n');
        done = file.commit();
    }
    if (!done)
        set(error, QStringLiteral("cannot write %1: %2").arg(fileName, file.errorString()));
    return done;
}

/*!
    Creates a token that grants the client \a name the \a role, and returns it: 43 letters, digits,
    hyphens, and underscores with 256 random bits. The token cannot be retrieved again.

    Returns an empty array, and changes nothing, if there is already a token with this name, or if
    the name or the role is invalid: both must consist of printable characters, the name without
    leading, trailing, or consecutive spaces, and the role without spaces.
*/
QByteArray AccessTokens::create(const QString &name, const QString &role)
{
    std::array<quint32, 8> random;
    QRandomGenerator::system()->fillRange(random.data(), random.size());
    const QByteArray token =
        QByteArray(reinterpret_cast<const char *>(random.data()), qsizetype(sizeof(random)))
            .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    return add({digestOf(token), {name, role}}).isEmpty() ? token : QByteArray();
}

/*!
    Removes the token of the client \a name. Returns \c false if there is none.

    A listener ends the sessions of that token when you set the remaining tokens with
    WebSocketKeywordServer::setIdentification().
*/
bool AccessTokens::revoke(const QString &name)
{
    return tokens.removeIf([&name](const Token &token) { return token.holder.name == name; }) > 0;
}

/*!
    Returns the holder of \a token, or nothing if the token is not valid. The time of the comparison
    does not reveal how much of the token is correct.
*/
std::optional<AccessTokens::Holder> AccessTokens::find(const QByteArray &token) const
{
    return findDigest(digestOf(token));
}

/*!
    Returns all holders of tokens, in the order of the file, followed by those created later.
*/
QList<AccessTokens::Holder> AccessTokens::holders() const
{
    QList<Holder> holders;
    for (const Token &token : tokens)
        holders.append(token.holder);
    return holders;
}

/*!
    Returns whether there are no tokens.
*/
bool AccessTokens::isEmpty() const
{
    return tokens.isEmpty();
}

QByteArray AccessTokens::digestOf(const QByteArray &token)
{
    return QCryptographicHash::hash(token, QCryptographicHash::Sha256).toHex();
}

std::optional<AccessTokens::Holder> AccessTokens::findDigest(const QByteArray &digest) const
{
    std::optional<Holder> found;
    for (const Token &token : tokens) { // all of them, so that the time is constant
        if (equal(token.digest, digest))
            found = token.holder;
    }
    return found;
}

// Returns the reason why the token cannot be added, or an empty string if it was added.
QString AccessTokens::add(const Token &token)
{
    if (!isDigest(token.digest))
        return QStringLiteral("not a SHA-256 digest of 64 hexadecimal digits");
    if (!isRole(token.holder.role))
        return QStringLiteral("not a role");
    if (!isName(token.holder.name))
        return QStringLiteral("not a name");
    for (const Token &other : std::as_const(tokens)) {
        if (other.holder.name == token.holder.name)
            return QStringLiteral("the name already has a token");
        if (other.digest == token.digest)
            return QStringLiteral("the digest occurs twice");
    }
    tokens.append(token);
    return {};
}

} // namespace pellix::server
