// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

namespace pellix::gateway {

// The levels of a topic that match the wildcards of a pattern, by the name of the wildcard, and by
// its number, starting with 1.
using TopicCaptures = QHash<QString, QString>;

// A topic in which "+" or "{NAME}" stands for any level, and "#" at the end for any number of
// levels. "{{" stands for "{".
class TopicPattern
{
public:
    TopicPattern() = default; // matches nothing
    // Returns nothing, and sets reason, if the text is not a valid pattern.
    static std::optional<TopicPattern> fromText(const QString &text, QString *reason = nullptr);
    // The same for a topic filter, in which "{" has no special meaning.
    static std::optional<TopicPattern> fromFilter(const QString &filter);

    bool hasWildcards() const { return wildcards > 0 || hasRest; }
    QString filter() const; // for a subscription
    QStringList names() const; // of the captures
    QStringList fixedLevels() const; // before the first wildcard
    bool matches(const QStringList &levels, TopicCaptures *captures = nullptr) const;
    // Whether the levels match the beginning of the pattern, up to its last wildcard.
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

// In a text with names, "{{" stands for "{".

// Replaces each "{NAME}" in the text; unknown names are kept.
QString filledIn(const QString &text, const TopicCaptures &captures);
// The names in braces in a text.
QStringList namesIn(const QString &text);
// Returns the text in which this text has no names.
QString withoutNames(QString text);

} // namespace pellix::gateway
