// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/browsing/listedkeyword_p.h"

#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <algorithm>

namespace pellix::extras {

namespace {

// Numbers and Boolean values are converted, too.
QString textOf(const QJsonValue &value)
{
    return value.isString() ? value.toString() : value.toVariant().toString();
}

} // namespace

std::vector<ListedKeyword> listedIn(const QVariant &response)
{
    const QJsonArray children = response.toJsonObject()
                                    .value(QLatin1String("payload"))
                                    .toObject()
                                    .value(QLatin1String("response"))
                                    .toArray();
    std::vector<ListedKeyword> listed;
    listed.reserve(size_t(children.size()));
    QHash<QString, size_t> places;
    for (const auto &child : children) {
        const QJsonObject fields = child.toObject();
        const QString name = textOf(fields.value(QLatin1String("name")));
        const QStringList levels = levelsOf(name);
        if (levels.isEmpty())
            continue;
        ListedKeyword keyword {name.startsWith(QLatin1Char('/')) ? name : QLatin1Char('/') + name,
                               QLatin1Char('/') + levels.join(QLatin1Char('/')), levels.last(),
                               textOf(fields.value(QLatin1String("type")))};
        const auto place = places.constFind(keyword.normalized);
        if (place != places.constEnd()) {
            listed[*place] = std::move(keyword);
            continue;
        }
        places.insert(keyword.normalized, listed.size());
        listed.push_back(std::move(keyword));
    }
    return listed;
}

QStringList levelsOf(const QString &keyword)
{
    QString path = keyword;
    return path.replace(QLatin1Char('#'), QLatin1Char('/'))
        .split(QLatin1Char('/'), Qt::SkipEmptyParts);
}

QString normalizedKeyword(const QString &keyword)
{
    return QLatin1Char('/') + levelsOf(keyword).join(QLatin1Char('/'));
}

bool hasWords(const QStringList &words, const QString &label, const QString &name)
{
    return std::all_of(words.cbegin(), words.cend(), [&](const QString &word) {
        return label.contains(word, Qt::CaseInsensitive)
            || name.contains(word, Qt::CaseInsensitive);
    });
}

} // namespace pellix::extras
