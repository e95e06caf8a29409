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
            return QStringLiteral("an address of the proxy is none");
    }
    for (const QByteArray &header : {proxy.addressHeader, proxy.subjectHeader}) {
        if (header.isEmpty())
            continue;
        if (!isHeaderName(header))
            return QStringLiteral("%1: not the name of a header").arg(QString::fromUtf8(header));
        if (proxy.addresses.isEmpty()) {
            return QStringLiteral("the header %1 counts for no proxy: give the addresses of the "
                                  "proxy")
                .arg(QString::fromUtf8(header));
        }
    }
    return {};
}

} // namespace

/*!
    \class pellix::server::ClientIdentification
    \inmodule PellixClientServer
    \inheaderfile server/clientidentification.h
    \ingroup PellixClientServerClasses
    \brief The ClientIdentification struct says how a listener knows who its clients are.

    A client is known by its certificate, or by a token, and each of them gives it a name and a
    role. One that brings neither gets the role of the listener, or is refused if there is none.
    What a client brings has to be right: a wrong token is refused even where none is needed. A
    client with a certificate and a token gets the name and the role of the certificate.

    \code
    ClientIdentification identification;
    identification.role = "viewer"; // of everybody who does not say who he is
    identification.tokens.load("tokens", &error);
    identification.authorities = QSslCertificate::fromPath("panels.crt");
    identification.certificates = {{"CN=panel1", "panel1", "operator"}};
    listener.setIdentification(identification);
    \endcode

    What a role may do is the keyword server's to say. The one called fullRights may do all.

    Tokens and certificates are looked for only where there is something to protect: when everybody
    has full rights, and there are neither tokens nor authorities, an Authorization header is
    ignored.
    \sa WebSocketKeywordServer::setIdentification()
*/

/*!
    \variable pellix::server::ClientIdentification::fullRights
    \brief the role that may read and write everything, "*".
*/

/*!
    \variable pellix::server::ClientIdentification::role
    \brief the role of clients that bring neither a certificate nor a token.

    By default it is empty, and such clients are refused. Behind a proxy it has to be.
*/

/*!
    \variable pellix::server::ClientIdentification::tokens
    \brief the tokens that are accepted; none by default.

    A client sends its token in the header \c {Authorization: Bearer TOKEN} of the request for the
    WebSocket.
    \sa tokensInPath
*/

/*!
    \variable pellix::server::ClientIdentification::tokensInPath
    \brief whether a token is accepted in the path of the address as well:
    \c {wss://HOST/t/TOKEN}.

    The default is \c false, as clients and proxies write addresses into their logs. Use it for
    clients that cannot send headers. While it is \c false, such a path says nothing.
*/

/*!
    \variable pellix::server::ClientIdentification::authorities
    \brief the authorities that sign the certificates of clients; none by default, and then no
    client is asked for a certificate.

    Only these count, and never those of the system. A certificate of another authority, or one
    that has expired, is refused, although a client need not have one. The listener has to speak
    wss.

    PWebSocketKeywordClient brings the local certificate of the QSslConfiguration that is the
    default when it is constructed.
*/

/*!
    \variable pellix::server::ClientIdentification::certificates
    \brief the clients that are known by a certificate; none by default.

    The first entry whose subject fits counts. A certificate that none fits is refused.
*/

/*!
    \variable pellix::server::ClientIdentification::proxy
    \brief the reverse proxy through which clients come; none by default.
*/

/*!
    \class pellix::server::ClientIdentification::Certificate
    \inmodule PellixClientServer
    \inheaderfile server/clientidentification.h
    \ingroup PellixClientServerClasses
    \brief The Certificate struct tells whose a client certificate is.
*/

/*!
    \variable pellix::server::ClientIdentification::Certificate::subject
    \brief what the subject of the certificate has to have, such as "CN=panel1" or
    "CN=panel1, O=Plant".

    It is written as RFC 4514 has it, in any order. The certificate may have attributes of other
    types besides, but no others of those types. Types are compared regardless of case, values
    exactly.
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
    \brief The Proxy struct says what a reverse proxy is trusted with.

    The proxy has to set both headers itself, in place of what a client sends. It checks
    certificates in place of the listener: it must pass the subject of a certificate that it has
    verified only.
*/

/*!
    \variable pellix::server::ClientIdentification::Proxy::addresses
    \brief the networks of the proxy, each as QHostAddress::parseSubnet() returns it.

    Headers of others are ignored.
*/

/*!
    \variable pellix::server::ClientIdentification::Proxy::addressHeader
    \brief the header that names the address of the client, such as "X-Forwarded-For"; empty for
    none.

    Of several addresses the last counts that is not the proxy's. A request without the header
    comes from the proxy itself, one whose header names no address is refused.
*/

/*!
    \variable pellix::server::ClientIdentification::Proxy::subjectHeader
    \brief the header that names the subject of the client's certificate; empty for none.

    The subject is written as RFC 4514 has it. An empty header is the same as none. A certificate
    of the proxy itself identifies nobody then.
*/

/*!
    \class pellix::server::Peer
    \inmodule PellixClientServer
    \inheaderfile server/peer.h
    \ingroup PellixClientServerClasses
    \brief The Peer struct says who is at the other end of a session.
*/

/*!
    \variable pellix::server::Peer::name
    \brief the name of the client; empty if nothing but the listener's role is known of it.
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
    Returns what is wrong with the settings, as a text for people, and an empty one when nothing is.
*/
QString ClientIdentification::problem() const
{
    for (const Certificate &certificate : certificates) {
        const QString problem = certificateProblem(certificate);
        if (!problem.isEmpty())
            return problem;
    }
    if (!certificates.isEmpty() && authorities.isEmpty() && proxy.subjectHeader.isEmpty())
        return QStringLiteral("certificates of clients need an authority that signs them");
    for (const QSslCertificate &authority : authorities) {
        if (authority.isNull())
            return QStringLiteral("an authority is no certificate");
    }
    if (!proxy.addresses.isEmpty() && !role.isEmpty()) {
        return QStringLiteral("a listener behind a proxy cannot have a role: everybody who reaches "
                              "the proxy would have it. Have clients bring tokens or certificates");
    }
    return proxyProblem(proxy);
}

} // namespace pellix::server
