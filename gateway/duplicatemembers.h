// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/configurationobject.h"

#include <QtCore/QByteArray>

namespace pellix::gateway {

// Where in a JSON document a byte is, such as "line 3, column 5". Columns count bytes, as most
// editors do for ASCII.
QString placeInJson(const QByteArray &json, qsizetype offset);

// The members that an object of the JSON document, which has to be valid, has more than once.
// QJsonDocument keeps one of them, and says nothing.
ConfigurationProblems duplicateMembers(const QByteArray &json);

} // namespace pellix::gateway
