// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/configurationobject.h"

#include <QtCore/QByteArray>

namespace pellix::gateway {

// The position of a byte in a JSON document, such as "line 3, column 5". Columns count bytes, which
// for ASCII is what most editors show.
QString placeInJson(const QByteArray &json, qsizetype offset);

// The members that occur more than once in an object of the JSON document, which must be valid.
// QJsonDocument keeps one of them without reporting the others.
ConfigurationProblems duplicateMembers(const QByteArray &json);

} // namespace pellix::gateway
