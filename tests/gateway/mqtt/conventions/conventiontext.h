// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/conventions/convention.h"

#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QSet>

/*
    The results of a convention as short text, so that an expectation fits on one line. Members with
    default values are omitted.
*/
namespace conventiontext {

inline QString json(const QJsonValue &value)
{
    const auto list = QJsonDocument(QJsonArray {value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(list.mid(1, list.size() - 2));
}

inline QString values(const QList<pellix::gateway::TopicValue> &list)
{
    QStringList texts;
    for (const auto &value : list)
        texts.append(json(value.payload) + QLatin1Char('=') + value.value.toString());
    return texts.join(QLatin1Char(' '));
}

inline QString topic(const QString &topic, const QString &member)
{
    return member.isEmpty() ? topic : topic + QLatin1Char('#') + member;
}

inline QString availability(const pellix::gateway::TopicAvailability &availability)
{
    using Mode = pellix::gateway::TopicAvailability::Mode;
    QStringList entries {availability.mode == Mode::All       ? QStringLiteral("all")
                             : availability.mode == Mode::Any ? QStringLiteral("any")
                                                              : QStringLiteral("latest")};
    for (const auto &entry : availability.entries) {
        entries.append(topic(entry.topic, entry.member) + QLatin1Char('=')
                       + entry.online.join(QLatin1Char(',')) + QLatin1Char('|')
                       + entry.offline.join(QLatin1Char(',')));
    }
    return entries.join(QLatin1Char(' '));
}

// The origin and the type of a keyword.
inline QString reading(const pellix::gateway::TopicKeyword &keyword)
{
    QStringList parts {keyword.path, keyword.type, keyword.access};
    const auto add = [&](const char *name, const QString &text) {
        if (!text.isEmpty())
            parts.append(QLatin1String(name) + text);
    };
    add("unit:", keyword.unit);
    add("from:", topic(keyword.topic, keyword.member));
    if (keyword.minimum.isValid() || keyword.maximum.isValid())
        parts.append(keyword.minimum.toString() + QLatin1String("..") + keyword.maximum.toString());
    if (keyword.step > 0)
        parts.append(QLatin1String("step:") + QString::number(keyword.step));
    QStringList choices;
    for (const QVariant &choice : keyword.choices)
        choices.append(choice.toString());
    add("choices:", choices.join(QLatin1Char(',')));
    add("values:", values(keyword.values));
    if (keyword.ignoresOthers)
        parts.append(QStringLiteral("ignoresOthers"));
    for (const QByteArray &payload : keyword.unknownPayloads)
        parts.append(QLatin1String("unknown:") + QString::fromUtf8(payload));
    if (!keyword.emptyText.isEmpty())
        parts.append(QLatin1String("empty:") + QString::fromLatin1(keyword.emptyText.toHex()));
    if (keyword.maximumLength >= 0) {
        parts.append(
            QStringLiteral("length:%1..%2").arg(keyword.minimumLength).arg(keyword.maximumLength));
    }
    add("pattern:", keyword.pattern);
    if (keyword.staleAfter.count() > 0)
        parts.append(QLatin1String("stale:") + QString::number(keyword.staleAfter.count()));
    if (keyword.isFaulty)
        parts.append(QStringLiteral("faulty"));
    add("target:", keyword.targetTopic);
    return parts.join(QLatin1Char(' '));
}

inline QString writing(const pellix::gateway::TopicKeyword &keyword)
{
    using Confirmation = pellix::gateway::SourceKeyword::Confirmation;
    if (keyword.writeTopic.isEmpty())
        return QStringLiteral("nothing");
    QStringList parts {keyword.writeTopic};
    if (!keyword.writePayload.isEmpty())
        parts.append(QString::fromUtf8(keyword.writePayload));
    if (!keyword.writeValues.isEmpty())
        parts.append(QLatin1String("values:") + values(keyword.writeValues));
    if (keyword.writeQos != 1)
        parts.append(QLatin1String("qos:") + QString::number(keyword.writeQos));
    if (keyword.confirmation != Confirmation::Readback)
        parts.append(QStringLiteral("unconfirmed"));
    return parts.join(QLatin1Char(' '));
}

// Applies the changes like a source: collects the existing keywords and the topic filters.
class Taken
{
public:
    void take(const pellix::gateway::ConventionChange &change)
    {
        last = change;
        for (const QString &path : change.removed)
            isGood &= keywords.remove(path) == 1;
        for (const auto &keyword : change.declared)
            keywords.insert(keyword.path, keyword);
        for (const QString &filter : change.subscribe) {
            isGood &= !filters.contains(filter);
            filters.insert(filter);
        }
        for (const QString &filter : change.unsubscribe)
            isGood &= filters.remove(filter);
        messages += change.messages;
    }
    QStringList paths() const
    {
        QStringList list = keywords.keys();
        list.sort();
        return list;
    }
    QStringList sortedFilters() const
    {
        QStringList list = filters.values();
        list.sort();
        return list;
    }

    pellix::gateway::ConventionChange last;
    QHash<QString, pellix::gateway::TopicKeyword> keywords; // by path
    QSet<QString> filters;
    QStringList messages;
    bool isGood = true; // nothing unknown was removed or unsubscribed
};

} // namespace conventiontext
