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

// The distinguished name in a certificate: attribute types in upper case, and their values.
using DistinguishedName = QList<QPair<QByteArray, QString>>;

// Parses a name in the format of RFC 4514, such as CN=panel1,O=Plant; returns nothing if the text
// is invalid. The older format with slashes is not supported: it is ambiguous if a value contains a
// slash.
std::optional<DistinguishedName> parseDistinguishedName(const QByteArray &text);

DistinguishedName subjectOf(const QSslCertificate &certificate);
DistinguishedName issuerOf(const QSslCertificate &certificate);

// Whether the subject has, of each type that the pattern has, the same values and no others.
bool fits(const DistinguishedName &subject, const DistinguishedName &pattern);

// For a message: in quotes.
QString toText(const DistinguishedName &name);

} // namespace pellix::server
