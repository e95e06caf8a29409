// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/clientidentification.h"

#include "server/distinguishedname_p.h"

#include <algorithm>

namespace pellix::server {

namespace {

bool isHeaderName(const QByteArray &text)
{
    return !text.isEmpty() && std::all_of(text.cbegin(), text.cend(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
            || c == '-' || c == '_';
    });
}

QString certificateProblem(const ClientIdentification::Certificate &certificate)
{
    if (!parseDistinguishedName(certificate.subject.toUtf8())) {
        return QStringLiteral("%1: not a subject of a certificate, such as CN=panel1")
            .arg(certificate.subject);
    }
    if (certificate.name.isEmpty())
        return QStringLiteral("%1: the client has no name").arg(certificate.subject);
    if (certificate.role.isEmpty())
        return QStringLiteral("%1: the client has no role").arg(certificate.subject);
    return {};
}

QString proxyProblem(const ClientIdentification::Proxy &proxy)
{
    for (const auto &[address, prefix] : proxy.addresses) {
        const int bits = address.protocol() == QAbstractSocket::IPv4Protocol ? 32 : 128;
        if (address.isNull() || prefix < 0 || prefix > bits)
            return QStringLiteral("an address of the proxy is invalid");
    }
    for (const QByteArray &header : {proxy.addressHeader, proxy.subjectHeader}) {
        if (header.isEmpty())
            continue;
        if (!isHeaderName(header))
            return QStringLiteral("%1: not the name of a header").arg(QString::fromUtf8(header));
        if (proxy.addresses.isEmpty()) {
            return QStringLiteral(
                       "the header %1 is not used without a proxy: set the addresses of the "
                       "proxy")
                .arg(QString::fromUtf8(header));
        }
    }
    if (!proxy.addresses.isEmpty() && proxy.addressHeader.isEmpty()) {
        return QStringLiteral("the header with the addresses of clients is not set: failed "
                              "attempts of one client would lock out all clients of the proxy. "
                              "Set it, such as X-Forwarded-For");
    }
    return {};
}

} // namespace

/*!
    \class pellix::server::ClientIdentification
    \inmodule PellixClientServer
    \inheaderfile server/clientidentification.h
    \ingroup PellixClientServerClasses
    \brief The ClientIdentification struct defines how a listener identifies its clients.

    A client is identified by its certificate or by a token. Both have a name and a role. A client
    without either of them gets the role of the listener, or is refused if there is none.
    Credentials must be valid: an invalid token is refused even if none is required. A client with
    both a certificate and a token gets the name and the role of the certificate.

    \code
    ClientIdentification identification;
    identification.role = "viewer"; // of clients without credentials
    identification.tokens.load("tokens", &error);
    identification.authorities = QSslCertificate::fromPath("panels.crt");
    identification.certificates = {{"CN=panel1", "panel1", "operator"}};
    listener.setIdentification(identification);
    \endcode

    The keyword server defines the rights of a role. The role fullRights has all rights.

    If all clients have full rights, and there are neither tokens nor authorities, an Authorization
    header is ignored.
    \sa WebSocketKeywordServer::setIdentification()
*/

/*!
    \variable pellix::server::ClientIdentification::fullRights
    \brief the name of the role that may read and write everything, "*".
*/

/*!
    \variable pellix::server::ClientIdentification::role
    \brief the role of clients with neither a certificate nor a token.

    The default is an empty string: such clients are refused. Behind a proxy, the role must be
    empty.
*/

/*!
    \variable pellix::server::ClientIdentification::tokens
    \brief the accepted tokens. By default, there are none.

    A client sends its token in the header \c {Authorization: Bearer TOKEN} of the request for the
    WebSocket.
    \sa tokensInPath
*/

/*!
    \variable pellix::server::ClientIdentification::tokensInPath
    \brief whether a token is also accepted in the path of the address: \c {wss://HOST/t/TOKEN}.

    The default is \c false, because clients and proxies log addresses. Use it for clients that
    cannot send headers. If it is \c false, such a path has no meaning.
*/

/*!
    \variable pellix::server::ClientIdentification::authorities
    \brief the authorities that sign the certificates of clients. By default, there are none, and
    clients are not asked for a certificate.

    Only these authorities are accepted, not those of the system. A certificate of another authority
    or an expired certificate is refused, even if no certificate is required. The listener must use
    TLS.

    PWebSocketKeywordClient sends the local certificate of the QSslConfiguration that is the default
    when the client is constructed.
*/

/*!
    \variable pellix::server::ClientIdentification::certificates
    \brief the clients that are identified by a certificate. By default, there are none.

    The first entry with a matching subject is used. A certificate without a matching entry is
    refused.
*/

/*!
    \variable pellix::server::ClientIdentification::proxy
    \brief the reverse proxy through which clients connect. By default, there is none.
*/

/*!
    \class pellix::server::ClientIdentification::Certificate
    \inmodule PellixClientServer
    \inheaderfile server/clientidentification.h
    \ingroup PellixClientServerClasses
    \brief The Certificate struct identifies the holder of a client certificate.
*/

/*!
    \variable pellix::server::ClientIdentification::Certificate::subject
    \brief the required attributes of the subject of the certificate, such as "CN=panel1" or
    "CN=panel1, O=Plant".

    The format is that of RFC 4514, in any order. The certificate may also have attributes of other
    types, but no others of these types. Types are compared case-insensitively, and values exactly.
*/

/*!
    \variable pellix::server::ClientIdentification::Certificate::name
    \brief the name of the client.
*/

/*!
    \variable pellix::server::ClientIdentification::Certificate::role
    \brief the role of the client.
*/

/*!
    \class pellix::server::ClientIdentification::Proxy
    \inmodule PellixClientServer
    \inheaderfile server/clientidentification.h
    \ingroup PellixClientServerClasses
    \brief The Proxy struct defines which headers of a reverse proxy are trusted.

    The proxy must set both headers itself and replace those that a client sends. It checks
    certificates in place of the listener: it must pass the subject of a certificate only if it has
    verified the certificate.
*/

/*!
    \variable pellix::server::ClientIdentification::Proxy::addresses
    \brief the networks of the proxy, each as QHostAddress::parseSubnet() returns it.

    Headers from other addresses are ignored.
*/

/*!
    \variable pellix::server::ClientIdentification::Proxy::addressHeader
    \brief the header with the address of the client, such as "X-Forwarded-For". It must be set if
    there is a proxy.

    The limit of failed attempts applies to this address, and audit lines contain it. Of several
   addresses, the last one that is not that of the proxy is used. A request without the header is
   from the proxy itself. A request whose header contains no address is refused.
*/

/*!
    \variable pellix::server::ClientIdentification::Proxy::subjectHeader
    \brief the header with the subject of the client's certificate. It is empty for none.

    The format is that of RFC 4514. An empty header is equivalent to a missing one. If the property
    is set, a certificate of the proxy itself does not identify a client.
*/

/*!
    \class pellix::server::Peer
    \inmodule PellixClientServer
    \inheaderfile server/peer.h
    \ingroup PellixClientServerClasses
    \brief The Peer struct describes the client of a session.
*/

/*!
    \variable pellix::server::Peer::name
    \brief the name of the client. It is empty if only the role of the listener is known.
*/

/*!
    \variable pellix::server::Peer::address
    \brief the IP address of the client, without a port.
*/

/*!
    \variable pellix::server::Peer::role
    \brief the role of the client.
    \sa ClientIdentification::fullRights
*/

/*!
    Returns the error in the settings, as text for users, or an empty string if there is none.
*/
QString ClientIdentification::problem() const
{
    for (const Certificate &certificate : certificates) {
        QString problem = certificateProblem(certificate);
        if (!problem.isEmpty())
            return problem;
    }
    if (!certificates.isEmpty() && authorities.isEmpty() && proxy.subjectHeader.isEmpty())
        return QStringLiteral("client certificates require an authority that signs them");
    for (const QSslCertificate &authority : authorities) {
        if (authority.isNull())
            return QStringLiteral("an authority is not a certificate");
    }
    if (!proxy.addresses.isEmpty() && !role.isEmpty()) {
        return QStringLiteral("a listener behind a proxy cannot have a role, because all clients "
                              "of the proxy would get it. Use tokens or certificates instead");
    }
    return proxyProblem(proxy);
}

} // namespace pellix::server
