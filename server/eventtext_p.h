// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/record_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>
#include <QtCore/QStringView>
#include <QtCore/QVarLengthArray>

namespace pellix::server {

// The event with the state of a keyword: compact JSON, byte for byte that of QJsonDocument, but
// without a document, which would cost ten times as much.
QByteArray eventText(QStringView keyword, const Record &record);

// JSON that is being written. The usual event allocates no memory except for its final text.
using JsonText = QVarLengthArray<char, 512>;

inline void append(JsonText &json, QByteArrayView text)
{
    json.append(text.data(), text.size());
}

// A text in quotes, as JSON has it.
void appendQuoted(JsonText &json, QStringView text);

} // namespace pellix::server
