// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslKey>

// What a program reads from files in PEM format. Both answer with nothing when there is none in the
// file, and say why in the error, which names the file.
namespace programs {

QList<QSslCertificate> readCertificates(const QString &fileName, QString *error);
QSslKey readPrivateKey(const QString &fileName, QString *error);

} // namespace programs
