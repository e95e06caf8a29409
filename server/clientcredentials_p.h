// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/distinguishedname_p.h"
#include "server/peer.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtNetwork/QHostAddress>

#include <optional>

class QSslSocket;
class QTcpSocket;

namespace pellix::server {

struct ClientIdentification;
struct HandshakeRequest;

// The credentials in the request of a client, which are checked again when the identification
// changes. Of a token, only the digest is stored.
class ClientCredentials
{
public:
    enum Verdict {
        Known,
        None,
        Wrong,
        Malformed
    };
    struct Judgement
    {
        Verdict verdict = Known;
        QString reason; // unless known
        Peer peer; // if known
    };

    ClientCredentials() = default; // of nobody
    ClientCredentials(const HandshakeRequest &request, const QTcpSocket *connection,
                      const ClientIdentification &identification);

    Judgement judge(const ClientIdentification &identification) const;
    const QHostAddress &clientAddress() const { return address; }
    bool cameThroughProxy() const { return throughProxy; }

private:
    void readProxyHeaders(const HandshakeRequest &request,
                          const ClientIdentification &identification);
    void readCertificate(const QSslSocket *connection, const ClientIdentification &identification);
    void readTokens(const HandshakeRequest &request);
    bool identifiesByHeader(const ClientIdentification &identification) const;
    std::optional<Judgement> judgeCertificate(const ClientIdentification &identification) const;
    std::optional<Judgement> judgeTokens(const ClientIdentification &identification) const;
    Judgement known(const QString &name, const QString &role) const;

    QHostAddress connectionAddress; // the proxy's, if there is one
    QHostAddress address;
    bool throughProxy = false;
    QString malformed; // why the request is invalid
    QByteArray subjectHeader; // from which it was read, in lower case
    bool hasHeaderSubject = false;
    std::optional<DistinguishedName> headerSubject;
    std::optional<DistinguishedName> certificateSubject;
    QString certificateProblem;
    QList<QByteArray> signers; // digests of the authorities that may have signed it
    bool otherAuthorization = false; // than a token
    QByteArray headerToken; // digests
    QByteArray pathToken;
};

} // namespace pellix::server
