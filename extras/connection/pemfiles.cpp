// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/connection/pemfiles.h"
#include "extras/connection/tlsfilesreader_p.h"

#include "extras/connection/keywordconnection.h"

#include <QtCore/QFile>

#include <tuple>

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

// One value of the binary format (DER) of keys: its content, and the data after it.
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

// The part that a private key shares with its public key: the modulus of RSA, the point of a curve.
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

QList<QSslCertificate> certificatesIn(const QByteArray &pem, const QString &fileName,
                                      QString *error)
{
    QList<QSslCertificate> certificates = QSslCertificate::fromData(pem);
    if (certificates.isEmpty())
        *error = PKeywordConnection::tr("%1: contains no PEM certificate").arg(fileName);
    return certificates;
}

QSslKey privateKeyIn(const QByteArray &pem, const QString &fileName, QString *error)
{
    if (pem.contains("BEGIN ENCRYPTED PRIVATE KEY") || pem.contains("Proc-Type: 4,ENCRYPTED")) {
        *error = PKeywordConnection::tr("the private key in %1 is encrypted; use a decrypted copy: "
                                        "openssl pkey -in %1 -out plain.key")
                     .arg(fileName);
        return QSslKey();
    }
    for (const QSsl::KeyAlgorithm algorithm : {QSsl::Rsa, QSsl::Ec}) {
        QSslKey key(pem, algorithm);
        if (!key.isNull())
            return key;
    }
    *error = PKeywordConnection::tr("%1: contains no PEM private key (RSA or EC)").arg(fileName);
    return QSslKey();
}

} // namespace

/*!
    \class pellix::extras::PTlsFiles
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/connection/pemfiles.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PTlsFiles class contains the names of the files with which a client verifies a server
    and identifies itself.

    All files are in PEM format. The name of a file that is not used is empty.
*/

/*!
    \variable pellix::extras::PTlsFiles::authorities
    \brief the file with the certificate authorities to trust.
*/

/*!
    \variable pellix::extras::PTlsFiles::certificate
    \brief the file with the certificate, which may be followed by those of its authorities.
*/

/*!
    \variable pellix::extras::PTlsFiles::key
    \brief the file with the unencrypted private key of the certificate.
*/

/*!
    \fn QList<QSslCertificate> pellix::extras::readCertificates(const QString &fileName, QString
   *error)

    Returns all certificates of the PEM file \a fileName, in their order in the file: a certificate
    may be followed by those of its authorities. If there is none, the function returns an empty
    list and sets \a error to the reason, which contains the name of the file.
*/
QList<QSslCertificate> readCertificates(const QString &fileName, QString *error)
{
    const std::optional<QByteArray> pem = contentOf(fileName, error);
    return pem ? certificatesIn(*pem, fileName, error) : QList<QSslCertificate>();
}

/*!
    \fn QSslCertificate pellix::extras::readCertificate(const QString &fileName, QString *error)

    Returns the first certificate of the file \a fileName. If there is none, the function returns a
    null certificate and sets \a error to the reason.
*/
QSslCertificate readCertificate(const QString &fileName, QString *error)
{
    return readCertificates(fileName, error).value(0);
}

/*!
    \fn QSslKey pellix::extras::readPrivateKey(const QString &fileName, QString *error)

    Returns the private key (RSA or EC) of the PEM file \a fileName. If there is none, or if it is
    encrypted, the function returns a null key and sets \a error to the reason.
*/
QSslKey readPrivateKey(const QString &fileName, QString *error)
{
    const std::optional<QByteArray> pem = contentOf(fileName, error);
    return pem ? privateKeyIn(*pem, fileName, error) : QSslKey();
}

/*!
    \fn bool pellix::extras::belongTogether(const QSslCertificate &certificate, const QSslKey &key)

    Returns whether the private \a key belongs to the \a certificate. If this cannot be determined,
    the function returns \c true.
*/
// In Qt, the only way to determine this is an encryption that fails.
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
    Returns the TLS configuration for \a files: with only the authorities in the file, or with those
    of the system if there is no file. If a file cannot be used, the function returns nothing and
    sets \a error to the reason, which contains the name of the file.
*/
std::optional<QSslConfiguration> tlsConfiguration(const PTlsFiles &files, QString *error)
{
    return TlsFilesReader().read(files, error);
}

std::optional<QSslConfiguration> TlsFilesReader::read(const PTlsFiles &files, QString *error)
{
    Source next {files, {}, {}, {}, QSslConfiguration::defaultConfiguration()};
    const auto take = [error](QByteArray *content, const QString &fileName) {
        if (fileName.isEmpty())
            return true;
        const std::optional<QByteArray> pem = contentOf(fileName, error);
        *content = pem.value_or(QByteArray());
        return pem.has_value();
    };
    if (!take(&next.authorities, files.authorities))
        return std::nullopt;
    if (files.certificate.isEmpty() != files.key.isEmpty()) {
        *error = files.key.isEmpty()
            ? PKeywordConnection::tr("the certificate %1 cannot be used without its private key")
                  .arg(files.certificate)
            : PKeywordConnection::tr("the private key %1 cannot be used without its certificate")
                  .arg(files.key);
        return std::nullopt;
    }
    if (!take(&next.certificate, files.certificate) || !take(&next.key, files.key))
        return std::nullopt;
    if (configuration && next.isSameAs(source))
        return configuration;
    configuration = parse(next, error);
    source = next;
    return configuration;
}

bool TlsFilesReader::Source::isSameAs(const Source &other) const
{
    const auto members = [](const Source &source) {
        return std::tie(source.names.authorities, source.names.certificate, source.names.key,
                        source.authorities, source.certificate, source.key, source.standard);
    };
    return members(*this) == members(other);
}

std::optional<QSslConfiguration> TlsFilesReader::parse(const Source &source, QString *error)
{
    const PTlsFiles &files = source.names;
    QSslConfiguration result = source.standard;
    if (!files.authorities.isEmpty()) {
        const auto authorities = certificatesIn(source.authorities, files.authorities, error);
        if (authorities.isEmpty())
            return std::nullopt;
        result.setCaCertificates(authorities);
    }
    if (files.certificate.isEmpty())
        return result;
    const auto chain = certificatesIn(source.certificate, files.certificate, error);
    if (chain.isEmpty())
        return std::nullopt;
    const QSslKey key = privateKeyIn(source.key, files.key, error);
    if (key.isNull())
        return std::nullopt;
    if (!belongTogether(chain.constFirst(), key)) {
        *error =
            PKeywordConnection::tr("the private key in %1 does not belong to the certificate in %2")
                .arg(files.key, files.certificate);
        return std::nullopt;
    }
    result.setLocalCertificateChain(chain);
    result.setPrivateKey(key);
    return result;
}

} // namespace pellix::extras
