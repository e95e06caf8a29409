// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <vector>

namespace pellix::extras {

// A keyword as the answer to an index query lists it.
struct ListedKeyword
{
    QString keyword; // with the separators of the server
    QString normalized; // with "/" as the only separator
    QString name; // the last level
    QString type; // as the server names it; empty where it only leads to others
};

// Each keyword once; of two with the same name, the later one.
std::vector<ListedKeyword> listedIn(const QVariant &response);

QStringList levelsOf(const QString &keyword);
QString normalizedKeyword(const QString &keyword);

// All words are in the label or the name.
bool hasWords(const QStringList &words, const QString &label, const QString &name);

} // namespace pellix::extras
