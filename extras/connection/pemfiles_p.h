// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/extrasglobal.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslKey>

#include <optional>

// What is read from files in PEM format. The functions answer with a null object, or nothing, when
// there is none in the file, and say why in the error, which names the file.
namespace pellix::extras {

// All of a file, in its order: a certificate may be followed by those of its authorities.
PELLIXCLIENT_EXTRAS_EXPORT QList<QSslCertificate> readCertificates(const QString &fileName,
                                                                   QString *error);
PELLIXCLIENT_EXTRAS_EXPORT QSslCertificate readCertificate(const QString &fileName, QString *error);
PELLIXCLIENT_EXTRAS_EXPORT QSslKey readPrivateKey(const QString &fileName, QString *error);

// Whether the private key is the one of the certificate. True also where that cannot be found out.
PELLIXCLIENT_EXTRAS_EXPORT bool belongTogether(const QSslCertificate &certificate,
                                               const QSslKey &key);

// The files by which a client trusts a server, and says who it is. Each may be missing.
struct TlsFiles
{
    QString authorities;
    QString certificate;
    QString key;
};

// With the authorities of the file and no others; with those of the system if there is no file.
PELLIXCLIENT_EXTRAS_EXPORT std::optional<QSslConfiguration> tlsConfiguration(const TlsFiles &files,
                                                                             QString *error);

} // namespace pellix::extras
