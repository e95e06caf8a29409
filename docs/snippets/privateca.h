// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

// Quoted in docs/guides/private-ca.qdoc.

//! [private-ca]
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>

// Trusts the authorities in fileName (PEM) in addition to those of the system. Call it in main(),
// before you create the first client.
inline bool trustPrivateAuthority(const QString &fileName)
{
    const QList<QSslCertificate> authorities = QSslCertificate::fromPath(fileName);
    if (authorities.isEmpty())
        return false;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates(QSslConfiguration::systemCaCertificates() + authorities);
    QSslConfiguration::setDefaultConfiguration(configuration);
    return true;
}
//! [private-ca]
