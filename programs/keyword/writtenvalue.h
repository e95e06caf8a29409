// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordtypes.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

// What a text stands for, as a value to be written; or why it cannot be.
struct WrittenValue
{
    QVariant value;
    QString problem;
};

// As the type, which is one of --as. Without one, as what it looks like: true or false, a number,
// a JSON object or array, or else a text. A whole number that would have to be rounded is a
// problem.
WrittenValue writtenValue(const QString &text, const QString &type);

// For a keyword of that type; as what it looks like, if it cannot be of it: the server decides.
WrittenValue writtenValue(const QString &text, pellix::client::PKeywordValueType type);
