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

namespace pellix::extras {

struct PTlsFiles
{
    QString authorities;
    QString certificate;
    QString key;
};

PELLIXCLIENT_EXTRAS_EXPORT QList<QSslCertificate> readCertificates(const QString &fileName,
                                                                   QString *error);
PELLIXCLIENT_EXTRAS_EXPORT QSslCertificate readCertificate(const QString &fileName, QString *error);
PELLIXCLIENT_EXTRAS_EXPORT QSslKey readPrivateKey(const QString &fileName, QString *error);

PELLIXCLIENT_EXTRAS_EXPORT bool belongTogether(const QSslCertificate &certificate,
                                               const QSslKey &key);

PELLIXCLIENT_EXTRAS_EXPORT std::optional<QSslConfiguration> tlsConfiguration(const PTlsFiles &files,
                                                                             QString *error);

} // namespace pellix::extras
