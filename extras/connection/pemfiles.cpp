// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/connection/pemfiles.h"

#include "extras/connection/keywordconnection.h"

#include <QtCore/QFile>

namespace pellix::extras {

namespace {

std::optional<QByteArray> contentOf(const QString &fileName, QString *error)
{
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly))
        return file.readAll();
    *error = fileName + QLatin1String(": ") + file.errorString();
    return std::nullopt;
}

// One value of the binary format (DER) of keys: what it holds, and what follows it.
struct DerValue
{
    explicit DerValue(QByteArrayView bytes)
    {
        if (bytes.size() < 2)
            return;
        tag = quint8(bytes.at(0));
        qsizetype length = quint8(bytes.at(1));
        qsizetype begin = 2;
        if (length >= 0x80) {
            const qsizetype digits = length - 0x80;
            if (digits == 0 || digits > 3 || bytes.size() < begin + digits)
                return;
            for (length = 0; begin < 2 + digits; ++begin)
                length = length * 256 + quint8(bytes.at(begin));
        }
        if (bytes.size() - begin < length)
            return;
        content = bytes.sliced(begin, length);
        rest = bytes.sliced(begin + length);
    }

    int tag = -1;
    QByteArrayView content;
    QByteArrayView rest;
};

// What of a private key its public key shows, too: the modulus of RSA, the point of a curve.
QByteArrayView publicPart(QSsl::KeyAlgorithm algorithm, const QByteArray &privateKey)
{
    constexpr int point = 0xa1; // as DER numbers it
    const DerValue version(DerValue(privateKey).content);
    if (algorithm == QSsl::Rsa)
        return DerValue(version.rest).content;
    DerValue value(version.rest);
    while (value.tag != point && !value.rest.isEmpty())
        value = DerValue(value.rest);
    return value.tag == point ? DerValue(value.content).content : QByteArrayView();
}

} // namespace

/*!
    \class pellix::extras::PTlsFiles
    \inmodule PellixClientKeyword
    \inheaderfile extras/connection/pemfiles.h
    \ingroup PellixClientKeywordClasses
    \brief The PTlsFiles class names the files by which a client trusts a server, and says who it
    is.

    All are in PEM format. Each may be missing; then its name is empty.
*/

/*!
    \variable pellix::extras::PTlsFiles::authorities
    \brief the file of the authorities to trust.
*/

/*!
    \variable pellix::extras::PTlsFiles::certificate
    \brief the file of the certificate, which those of its authorities may follow.
*/

/*!
    \variable pellix::extras::PTlsFiles::key
    \brief the file of the certificate's private key, which is not encrypted.
*/

/*!
    \fn QList<QSslCertificate> pellix::extras::readCertificates(const QString &fileName, QString
   *error)

    Returns all certificates of the file \a fileName in PEM format, in its order: a certificate may
    be followed by those of its authorities. If there is none, the list is empty, and \a error says
    why and names the file.
*/
QList<QSslCertificate> readCertificates(const QString &fileName, QString *error)
{
    const std::optional<QByteArray> pem = contentOf(fileName, error);
    if (!pem)
        return {};
    const QList<QSslCertificate> certificates = QSslCertificate::fromData(*pem);
    if (certificates.isEmpty())
        *error = PKeywordConnection::tr("%1: holds no PEM certificate").arg(fileName);
    return certificates;
}

/*!
    \fn QSslCertificate pellix::extras::readCertificate(const QString &fileName, QString *error)

    Returns the first certificate of the file \a fileName, or a null one and the reason in \a error.
*/
QSslCertificate readCertificate(const QString &fileName, QString *error)
{
    return readCertificates(fileName, error).value(0);
}

/*!
    \fn QSslKey pellix::extras::readPrivateKey(const QString &fileName, QString *error)

    Returns the private key (RSA or EC) of the file \a fileName in PEM format, or a null one and the
    reason in \a error. An encrypted key is not read.
*/
QSslKey readPrivateKey(const QString &fileName, QString *error)
{
    const std::optional<QByteArray> pem = contentOf(fileName, error);
    if (!pem)
        return QSslKey();
    if (pem->contains("BEGIN ENCRYPTED PRIVATE KEY") || pem->contains("Proc-Type: 4,ENCRYPTED")) {
        *error =
            PKeywordConnection::tr("the private key in %1 is encrypted; give a decrypted copy: "
                                   "openssl pkey -in %1 -out plain.key")
                .arg(fileName);
        return QSslKey();
    }
    for (const QSsl::KeyAlgorithm algorithm : {QSsl::Rsa, QSsl::Ec}) {
        QSslKey key(*pem, algorithm);
        if (!key.isNull())
            return key;
    }
    *error = PKeywordConnection::tr("%1: holds no PEM private key (RSA or EC)").arg(fileName);
    return QSslKey();
}

/*!
    \fn bool pellix::extras::belongTogether(const QSslCertificate &certificate, const QSslKey &key)

    Returns whether the private \a key is the one of the \a certificate, and \c true where that
    cannot be found out.
*/
// Qt offers no way to learn it but an encryption that fails.
bool belongTogether(const QSslCertificate &certificate, const QSslKey &key)
{
    const QSslKey publicKey = certificate.publicKey();
    if (publicKey.algorithm() != key.algorithm())
        return false;
    const QByteArray privateKey = key.toDer();
    const QByteArrayView part = publicPart(key.algorithm(), privateKey);
    return part.isEmpty() || publicKey.toDer().contains(part);
}

/*!
    Returns the configuration of TLS that \a files make: with the authorities of the file and no
    others, or with those of the system if there is no file. If a file cannot be used, nothing is
    returned, and \a error says why and names the file.
*/
std::optional<QSslConfiguration> tlsConfiguration(const PTlsFiles &files, QString *error)
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    if (!files.authorities.isEmpty()) {
        const QList<QSslCertificate> authorities = readCertificates(files.authorities, error);
        if (authorities.isEmpty())
            return std::nullopt;
        configuration.setCaCertificates(authorities);
    }
    if (files.certificate.isEmpty() != files.key.isEmpty()) {
        *error = files.key.isEmpty()
            ? PKeywordConnection::tr("the certificate %1 is of no use without its private key")
                  .arg(files.certificate)
            : PKeywordConnection::tr("the private key %1 is of no use without its certificate")
                  .arg(files.key);
        return std::nullopt;
    }
    if (files.certificate.isEmpty())
        return configuration;

    const QList<QSslCertificate> chain = readCertificates(files.certificate, error);
    if (chain.isEmpty())
        return std::nullopt;
    const QSslKey key = readPrivateKey(files.key, error);
    if (key.isNull())
        return std::nullopt;
    if (!belongTogether(chain.constFirst(), key)) {
        *error =
            PKeywordConnection::tr("the private key in %1 does not belong to the certificate in %2")
                .arg(files.key, files.certificate);
        return std::nullopt;
    }
    configuration.setLocalCertificateChain(chain);
    configuration.setPrivateKey(key);
    return configuration;
}

} // namespace pellix::extras
