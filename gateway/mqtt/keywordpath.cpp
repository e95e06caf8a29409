// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/keywordpath.h"

#include <QtCore/QStringList>

namespace pellix::gateway {

QString keywordLevel(const QString &name)
{
    if (name.isEmpty())
        return QStringLiteral("_");
    if (name == QLatin1String("Label"))
        return QStringLiteral("Label_");
    QString level = name;
    level.replace(QLatin1Char('/'), QLatin1Char('_'));
    level.replace(QLatin1Char('#'), QLatin1Char('_'));
    return level;
}

QString keywordPath(const QString &topic)
{
    QString path;
    const QStringList levels = topic.split(QLatin1Char('/'));
    for (const QString &level : levels)
        path += QLatin1Char('/') + keywordLevel(level);
    return path;
}

bool isTopicName(const QString &topic)
{
    constexpr qsizetype longest = 65535; // limit of the protocol, in bytes
    return !topic.isEmpty() && !topic.contains(QLatin1Char('+'))
        && !topic.contains(QLatin1Char('#')) && !topic.contains(QChar(u'\0'))
        && topic.size() <= longest && topic.toUtf8().size() <= longest;
}

} // namespace pellix::gateway
