// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

namespace pellix::gateway {

// The levels of a topic that stood where a pattern has a wildcard, by its name and by its number,
// counted from 1.
using TopicCaptures = QHash<QString, QString>;

// A topic in which "+", or "{NAME}", stands for any level, and "#" at the end for any more levels.
class TopicPattern
{
public:
    TopicPattern() = default; // matches nothing
    // None if it is no pattern; the reason says why.
    static std::optional<TopicPattern> fromText(const QString &text, QString *reason = nullptr);
    // As one that has no wildcards but those of a filter: "{" is text.
    static std::optional<TopicPattern> fromFilter(const QString &filter);

    bool hasWildcards() const { return wildcards > 0 || hasRest; }
    QString filter() const; // to subscribe to
    QStringList names() const; // that captures have
    QStringList fixedLevels() const; // before the first wildcard
    bool matches(const QStringList &levels, TopicCaptures *captures = nullptr) const;
    // Whether the levels begin as the pattern does, up to its last wildcard.
    bool matchesBeginning(const QStringList &levels, TopicCaptures *captures) const;

private:
    struct Level
    {
        QString text; // empty with isAny
        QString name;
        bool isAny = false;
    };

    static std::optional<TopicPattern> parse(const QString &text, bool hasNames, QString *reason);
    bool match(const QStringList &topic, qsizetype count, TopicCaptures *captures) const;

    QList<Level> levels;
    int wildcards = 0;
    bool hasRest = false;
};

// The text with "{NAME}" replaced; names that nothing is known of stay.
QString filledIn(const QString &text, const TopicCaptures &captures);
// The names that a text has in braces.
QStringList namesIn(const QString &text);

} // namespace pellix::gateway
