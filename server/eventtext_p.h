// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/record_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>
#include <QtCore/QStringView>
#include <QtCore/QVarLengthArray>

#include <cstring>

namespace pellix::server {

// The event with the state of a keyword: compact JSON, byte for byte that of QJsonDocument, but
// without a document, which would cost ten times as much.
QByteArray eventText(QStringView keyword, const Record &record);

// JSON that is being written. The usual event allocates no memory except for its final text.
using JsonText = QVarLengthArray<char, 512>;

// Adds room for so many characters, and returns where it begins.
inline char *grow(JsonText &json, qsizetype size)
{
    const qsizetype start = json.size();
    if (start + size > json.capacity())
        json.reserve(qMax(start + size, 2 * json.capacity())); // resize() takes no more than asked
    json.resize(start + size);
    return json.data() + start;
}

inline void append(JsonText &json, QByteArrayView text)
{
    std::memcpy(grow(json, text.size()), text.data(), std::size_t(text.size()));
}

// A text in quotes, as JSON has it.
void appendQuoted(JsonText &json, QStringView text);

} // namespace pellix::server
