// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordtypes.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace pellix::client {

// The value type of a name on the wire; KVT_NOPROP for every other name.
PKeywordValueType valueTypeFromString(QLatin1String name);
PKeywordValueType valueTypeFromString(const QString &name);

/*
    Reads a "keyEvent" message that looks as such messages do: the known members, each at most once,
    plain ASCII texts without escapes, numbers without an exponent. That is a fifth of the work of
    building a document for it.

    Returns false, with nothing said about the message, when it is anything else: QJsonDocument is
    the judge of that. What is read is exactly what QJsonDocument would have given.
*/
bool readPlainEvent(const QByteArray &message, QString *keyword, PKeywordValue *event);

} // namespace pellix::client
