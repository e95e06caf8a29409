// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/record_p.h"

#include <QtCore/QMetaType>
#include <QtCore/QVariant>

namespace pellix::server {

// Whether the type of the keyword depends on the value.
bool isDynamic(QMetaType type);

// The type of a keyword for values of this type; None if no keyword can carry them.
Type keywordType(QMetaType type);

// The type of a keyword for a value that toKeywordValue() has returned.
Type keywordTypeOf(const QVariant &value);

// The gadget of which the type is one, or a container; null if there is none.
const QMetaObject *gadgetIn(QMetaType type);

// The value as a keyword carries it: a bool, a qlonglong, a double, a QString, or lists and maps of
// these. Invalid if there is nothing to carry.
QVariant toKeywordValue(const QVariant &value);

// The reverse conversion. A gadget in *result keeps the fields that are missing. Returns false if
// the value cannot be converted.
bool fromKeywordValue(const QVariant &value, QMetaType type, QVariant *result);

} // namespace pellix::server
