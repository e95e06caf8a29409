// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/clientcredentials_p.h"

#include "server/clientidentification.h"
#include "server/openinghandshake_p.h"

#include <QtCore/QCryptographicHash>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslError>
#include <QtNetwork/QSslSocket>

#include <algorithm>

namespace pellix::server {

namespace {

using Judgement = ClientCredentials::Judgement;

constexpr char pathOfTokens[] = "/t/";

// On a dual-stack listener, an IPv4 address appears as an IPv6 address.
QHostAddress plain(const QHostAddress &address)
{
    bool is4 = false;
    const quint32 short4 = address.toIPv4Address(&is4);
    return is4 ? QHostAddress(short4) : address;
}

bool isIn(const QList<QPair<QHostAddress, int>> &networks, const QHostAddress &address)
{
    return std::any_of(networks.cbegin(), networks.cend(), [&address](const auto &network) {
        return address.isInSubnet(network.first, network.second);
    });
}

// An address in X-Forwarded-For, optionally with a port. Null if it is invalid.
QHostAddress parsedAddress(const QByteArray &text)
{
    QByteArray address = text;
    if (text.startsWith('['))
        address = text.mid(1, text.indexOf(']') - 1);
    else if (text.count(':') == 1)
        address = text.left(text.indexOf(':'));
    return plain(QHostAddress(QString::fromLatin1(address)));
}

QByteArray digestOf(const QSslCertificate &certificate)
{
    return certificate.digest(QCryptographicHash::Sha256);
}

bool hasAuthority(const ClientIdentification &identification, const QByteArray &digest)
{
    return std::any_of(identification.authorities.cbegin(), identification.authorities.cend(),
                       [&digest](const auto &authority) { return digestOf(authority) == digest; });
}

// Without the query. A target may be a complete URL.
QByteArray pathOf(const QByteArray &target)
{
    const bool isAddress = !target.startsWith('/');
    const qsizetype begin = isAddress ? target.indexOf('/', target.indexOf("://") + 3) : 0;
    return begin < 0 ? QByteArray() : target.mid(begin).split('?').constFirst();
}

Judgement wrong(const QString &reason)
{
    return {ClientCredentials::Wrong, reason, {}};
}

} // namespace

ClientCredentials::ClientCredentials(const HandshakeRequest &request, const QTcpSocket *connection,
                                     const ClientIdentification &identification)
    : connectionAddress(plain(connection->peerAddress())), address(connectionAddress)
{
    if (isIn(identification.proxy.addresses, connectionAddress))
        readProxyHeaders(request, identification);
    if (const auto *const encrypted = qobject_cast<const QSslSocket *>(connection))
        readCertificate(encrypted, identification);
    readTokens(request);
}

void ClientCredentials::readProxyHeaders(const HandshakeRequest &request,
                                         const ClientIdentification &identification)
{
    throughProxy = true;
    const ClientIdentification::Proxy &proxy = identification.proxy;
    const QList<QByteArray> lists = request.values(proxy.addressHeader);
    QList<QByteArray> hops;
    for (const QByteArray &list : lists)
        hops += list.split(',');
    // Each proxy has appended the sender of the request; the entries before that cannot be trusted.
    while (!hops.isEmpty() && isIn(proxy.addresses, address)) {
        const QByteArray hop = hops.takeLast().trimmed();
        address = parsedAddress(hop);
        if (address.isNull()) {
            address = connectionAddress;
            malformed = QStringLiteral("the header %1 names no address")
                            .arg(QString::fromUtf8(proxy.addressHeader));
            return;
        }
    }
    const QList<QByteArray> subjects = request.values(proxy.subjectHeader);
    if (subjects.size() > 1)
        malformed = QStringLiteral("its request has more than one header %1")
                        .arg(QString::fromUtf8(proxy.subjectHeader));
    hasHeaderSubject = subjects.size() == 1 && !subjects.constFirst().isEmpty();
    if (hasHeaderSubject)
        headerSubject = parseDistinguishedName(subjects.constFirst());
    subjectHeader = proxy.subjectHeader.toLower();
}

void ClientCredentials::readCertificate(const QSslSocket *connection,
                                        const ClientIdentification &identification)
{
    const QSslCertificate certificate = connection->peerCertificate();
    if (certificate.isNull())
        return;
    certificateSubject = subjectOf(certificate);
    const QList<QSslError> errors = connection->sslHandshakeErrors();
    if (!errors.isEmpty())
        certificateProblem = errors.constFirst().errorString();
    const QList<QSslCertificate> chain =
        QList<QSslCertificate> {certificate} + connection->peerCertificateChain();
    for (const QSslCertificate &authority : identification.authorities) {
        const DistinguishedName name = subjectOf(authority);
        const bool maySign = std::any_of(chain.cbegin(), chain.cend(),
                                         [&](const auto &link) { return issuerOf(link) == name; });
        if (maySign)
            signers.append(digestOf(authority));
    }
    // The authorities may have been replaced since the TLS handshake.
    if (signers.isEmpty() && certificateProblem.isEmpty())
        certificateProblem = QStringLiteral("its authority is not accepted");
}

void ClientCredentials::readTokens(const HandshakeRequest &request)
{
    const QList<QByteArray> authorizations = request.values("Authorization");
    if (authorizations.size() > 1)
        malformed = QStringLiteral("its request has more than one header Authorization");
    if (authorizations.size() == 1) {
        const QByteArray value = authorizations.constFirst().simplified();
        otherAuthorization = value.left(7).toLower() != "bearer ";
        if (!otherAuthorization)
            headerToken = AccessTokens::digestOf(value.mid(7));
    }
    const QByteArray path = pathOf(request.target);
    if (path.startsWith(pathOfTokens))
        pathToken = AccessTokens::digestOf(path.mid(qsizetype(sizeof(pathOfTokens)) - 1));
}

// In this case, a certificate is that of the proxy, whose headers are trusted while it is listed.
bool ClientCredentials::identifiesByHeader(const ClientIdentification &identification) const
{
    return throughProxy && !identification.proxy.subjectHeader.isEmpty()
        && isIn(identification.proxy.addresses, connectionAddress);
}

Judgement ClientCredentials::judge(const ClientIdentification &identification) const
{
    if (!malformed.isEmpty())
        return {Malformed, malformed, {}};
    if (identification.role == ClientIdentification::fullRights && identification.tokens.isEmpty()
        && identification.authorities.isEmpty())
        return known({}, identification.role); // no credentials could change that
    const auto certificate = judgeCertificate(identification);
    const auto token = judgeTokens(identification);
    for (const auto &judgement : {certificate, token}) {
        if (judgement && judgement->verdict != Known)
            return *judgement;
    }
    if (certificate)
        return *certificate;
    if (token)
        return *token;
    if (identification.role.isEmpty())
        return {None, QStringLiteral("it sent no credentials"), {}};
    return known({}, identification.role);
}

// Nothing without a certificate.
std::optional<Judgement>
ClientCredentials::judgeCertificate(const ClientIdentification &identification) const
{
    if (certificateSubject && !certificateProblem.isEmpty())
        return wrong(QStringLiteral("its certificate is not accepted: %1").arg(certificateProblem));
    if (!std::all_of(signers.cbegin(), signers.cend(), [&](const QByteArray &signer) {
            return hasAuthority(identification, signer);
        }))
        return wrong(QStringLiteral("its authority is no longer accepted"));
    const bool byHeader = identifiesByHeader(identification);
    const bool isHeaderTrusted = identification.proxy.subjectHeader.toLower() == subjectHeader;
    if (byHeader ? !hasHeaderSubject || !isHeaderTrusted : !certificateSubject)
        return std::nullopt;
    const auto &subject = byHeader ? headerSubject : certificateSubject;
    if (!subject)
        return wrong(QStringLiteral("the subject of its certificate cannot be read"));
    for (const ClientIdentification::Certificate &entry : identification.certificates) {
        const auto pattern = parseDistinguishedName(entry.subject.toUtf8());
        if (pattern && fits(*subject, *pattern))
            return known(entry.name, entry.role);
    }
    return wrong(QStringLiteral("its certificate is not listed: %1").arg(toText(*subject)));
}

// Nothing without a token.
std::optional<Judgement>
ClientCredentials::judgeTokens(const ClientIdentification &identification) const
{
    if (otherAuthorization)
        return wrong(QStringLiteral("its header Authorization contains no token"));
    std::optional<Judgement> found;
    for (const QByteArray &token :
         {headerToken, identification.tokensInPath ? pathToken : QByteArray()}) {
        if (token.isEmpty())
            continue;
        const auto holder = identification.tokens.findDigest(token);
        if (!holder)
            return wrong(QStringLiteral("its token is not known"));
        if (!found)
            found = known(holder->name, holder->role);
    }
    return found;
}

Judgement ClientCredentials::known(const QString &name, const QString &role) const
{
    return {Known, {}, {name, address.toString(), role}};
}

} // namespace pellix::server
