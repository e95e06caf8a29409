// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>

#include <vector>

// An event as one of the JSON encoders that servers use writes it.
struct Spelling
{
    QByteArray name;
    QByteArray values[2]; // different, so that each event is a change
    QByteArray message;

    QByteArray text(int keyword, int round) const
    {
        return QByteArray(message)
            .replace("%n", "\n")
            .replace("%k", QByteArray::number(keyword))
            .replace("%v", values[round]);
    }
};

// All of benchmarks/spellings/spellings.txt. The first is the usual form.
const std::vector<Spelling> &spellings();

// Returns texts for all keywords, twice with different values. Each keyword is sent in the spelling
// behind that of the keyword before.
std::vector<QByteArray> textsInAllSpellings(int keywords);
