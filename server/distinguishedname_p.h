// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>

#include <optional>

class QSslCertificate;

namespace pellix::server {

// The name of somebody in a certificate: types of attributes in upper case, and their values.
using DistinguishedName = QList<QPair<QByteArray, QString>>;

// Reads a name as RFC 4514 writes it, such as CN=panel1,O=Plant; nothing if the text is none. The
// older form with slashes is none: it cannot tell a slash of a value from one between two.
std::optional<DistinguishedName> parseDistinguishedName(const QByteArray &text);

DistinguishedName subjectOf(const QSslCertificate &certificate);
DistinguishedName issuerOf(const QSslCertificate &certificate);

// Whether the subject has, of each type that the pattern has, the same values and no others.
bool fits(const DistinguishedName &subject, const DistinguishedName &pattern);

// For a message: in quotes.
QString toText(const DistinguishedName &name);

} // namespace pellix::server
