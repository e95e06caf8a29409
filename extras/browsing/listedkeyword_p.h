// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <vector>

namespace pellix::extras {

// A keyword as listed in the reply to an index query.
struct ListedKeyword
{
    QString keyword; // with the separators of the server
    QString normalized; // with "/" as the only separator
    QString name; // the last level
    QString type; // as sent by the server; empty if it is only a level
};

// Contains each keyword once; of two with the same name, the later one.
std::vector<ListedKeyword> listedIn(const QVariant &response);

QStringList levelsOf(const QString &keyword);
QString normalizedKeyword(const QString &keyword);

// Whether all words occur in the label or the name.
bool hasWords(const QStringList &words, const QString &label, const QString &name);

} // namespace pellix::extras
