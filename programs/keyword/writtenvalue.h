// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordtypes.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

// The value to write for a text, or the reason why it cannot be written.
struct WrittenValue
{
    QVariant value;
    QString problem;
};

// Converts the text to the type, which is one of --as. Without a type, the form of the text
// determines it: true or false, a number, a JSON object or array, and otherwise a string. An
// integer that would have to be rounded is a problem.
WrittenValue writtenValue(const QString &text, const QString &type);

// The same for a keyword of this type. If the text cannot be converted to the type, its form
// determines the type of the value, and the server decides.
WrittenValue writtenValue(const QString &text, pellix::client::PKeywordValueType type);
