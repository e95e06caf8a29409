// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/common/pemfiles.h"

#include <QtCore/QFile>

#include <optional>

namespace programs {

namespace {

std::optional<QByteArray> contentOf(const QString &fileName, QString *error)
{
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly))
        return file.readAll();
    *error = fileName + QLatin1String(": ") + file.errorString();
    return std::nullopt;
}

} // namespace

QList<QSslCertificate> readCertificates(const QString &fileName, QString *error)
{
    const std::optional<QByteArray> pem = contentOf(fileName, error);
    if (!pem)
        return {};
    const QList<QSslCertificate> certificates = QSslCertificate::fromData(*pem);
    if (certificates.isEmpty())
        *error = fileName + QLatin1String(": holds no PEM certificate");
    return certificates;
}

QSslKey readPrivateKey(const QString &fileName, QString *error)
{
    const std::optional<QByteArray> pem = contentOf(fileName, error);
    if (!pem)
        return QSslKey();
    if (pem->contains("BEGIN ENCRYPTED PRIVATE KEY") || pem->contains("Proc-Type: 4,ENCRYPTED")) {
        *error = QStringLiteral("the private key in %1 is encrypted; give a decrypted copy: "
                                "openssl pkey -in %1 -out plain.key")
                     .arg(fileName);
        return QSslKey();
    }
    for (const QSsl::KeyAlgorithm algorithm : {QSsl::Rsa, QSsl::Ec}) {
        QSslKey key(*pem, algorithm);
        if (!key.isNull())
            return key;
    }
    *error = fileName + QLatin1String(": holds no PEM private key (RSA or EC)");
    return QSslKey();
}

} // namespace programs
