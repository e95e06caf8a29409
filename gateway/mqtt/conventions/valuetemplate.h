// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <optional>

namespace pellix::gateway {

// The part of a payload that a template such as "{{ value_json.tank['level'] }}" selects.
struct ValueTemplate
{
    QString member; // JSON pointer; the whole payload if empty
    QString filter; // "float", "is_defined", or "string", which have no effect here; or empty
};

// Returns nothing if the template does more than select a member: there is no template engine.
std::optional<ValueTemplate> readValueTemplate(const QString &text);

// Converts the template of a command to a payload with $value; an empty payload stands for the
// value alone. If the value is in quotation marks, it is written as a string, otherwise as JSON.
// Returns nothing if the template contains anything else than the value and JSON.
struct CommandTemplate
{
    QByteArray payload;
    bool isQuoted = false;
};
std::optional<CommandTemplate> readCommandTemplate(const QString &text);

} // namespace pellix::gateway
