// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordtypes.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace pellix::extras {

// A value as it can be sent, or why it cannot.
struct WrittenValue
{
    QVariant value;
    QString problem;

    bool isGood() const { return problem.isEmpty(); }
};

// Converts a value of a user interface or a program to a JSON value: null, bool, integer, number,
// string, list, or map.
WrittenValue plainValue(const QVariant &given);

// A plain value, for a keyword of that type.
WrittenValue valueForType(const QVariant &plain, client::PKeywordValueType type);

// A plain value to add to a keyword of that type, or to toggle it.
WrittenValue amountForType(const QVariant &plain, client::PKeywordValueType type);

// The sum of numbers, or a toggled Boolean value. Without a value and without a problem if nothing
// can be added.
WrittenValue sumOf(const QVariant &value, const QVariant &amount);

// Whether what came is what was sent, whichever type carries a number.
bool isSameValue(const QVariant &sent, const QVariant &came);

} // namespace pellix::extras
