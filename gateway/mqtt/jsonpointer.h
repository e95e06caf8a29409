// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

namespace pellix::gateway {

// A JSON pointer (RFC 6901), such as "/tank/level" or "/3/value".
class JsonPointer
{
public:
    JsonPointer() = default; // points to the whole document
    // Returns nothing if the text is not a pointer.
    static std::optional<JsonPointer> fromText(const QString &text);

    bool isWhole() const { return levels.isEmpty(); }
    const QStringList &names() const { return levels; }
    QJsonValue of(const QJsonValue &json) const; // undefined if there is none

private:
    QStringList levels;
};

} // namespace pellix::gateway
