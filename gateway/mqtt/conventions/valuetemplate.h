// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <optional>

namespace pellix::gateway {

// What a template such as "{{ value_json.tank['level'] }}" takes out of a payload.
struct ValueTemplate
{
    QString member; // JSON pointer; the whole payload if empty
    QString filter; // "float", "is_defined" or "string", which change nothing here; or none
};

// None if it says more than a path does: there is no engine for it.
std::optional<ValueTemplate> readValueTemplate(const QString &text);

// Turns a template of a command into a payload with $value, for values that are written as text
// or, without quotation marks around them, as what they are in JSON. Empty: the value alone. None
// if it says anything else.
struct CommandTemplate
{
    QByteArray payload;
    bool isQuoted = false;
};
std::optional<CommandTemplate> readCommandTemplate(const QString &text);

} // namespace pellix::gateway
