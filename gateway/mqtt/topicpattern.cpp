// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/topicpattern.h"

#include <functional>

namespace pellix::gateway {

namespace {

std::optional<TopicPattern> refuse(QString *reason, const QString &why)
{
    if (reason)
        *reason = why;
    return std::nullopt;
}

const QLatin1Char brace('{');
const QLatin1String doubledBrace("{{");

// Replaces each name in braces with the result of the function, and each "{{" with "{".
QString replaced(const QString &text, const std::function<QString(const QString &)> &value)
{
    QString result;
    qsizetype at = 0;
    for (;;) {
        const qsizetype open = text.indexOf(brace, at);
        if (open < 0)
            return result + text.mid(at);
        result += QStringView(text).mid(at, open - at);
        const bool isDoubled = text.mid(open + 1, 1) == brace;
        const qsizetype close = isDoubled ? -1 : text.indexOf(QLatin1Char('}'), open);
        if (close < 0) {
            result += brace;
            at = open + (isDoubled ? 2 : 1);
            continue;
        }
        result += value(text.mid(open + 1, close - open - 1));
        at = close + 1;
    }
}

// The text of a level without a name. Returns nothing if it contains a single brace.
std::optional<QString> plainLevel(QString part)
{
    if (QString(part).remove(doubledBrace).contains(brace))
        return std::nullopt;
    return part.replace(doubledBrace, QString(brace));
}

} // namespace

std::optional<TopicPattern> TopicPattern::parse(const QString &text, bool hasNames, QString *reason)
{
    constexpr qsizetype longest = 65535; // of the protocol, in bytes
    if (text.isEmpty())
        return refuse(reason, QStringLiteral("a topic must not be empty"));
    if (text.toUtf8().size() > longest || text.contains(QChar(u'\0')))
        return refuse(reason, QStringLiteral("no topic"));
    TopicPattern pattern;
    const QStringList parts = text.split(QLatin1Char('/'));
    for (qsizetype i = 0; i < parts.size(); ++i) {
        const QString &part = parts.at(i);
        const bool isNamed = hasNames && part.size() > 2 && part.startsWith(brace)
            && !part.startsWith(doubledBrace) && part.endsWith(QLatin1Char('}'));
        if (part == QLatin1String("#")) {
            if (i + 1 < parts.size())
                return refuse(reason, QStringLiteral("\"#\" is the last level"));
            pattern.hasRest = true;
            break;
        }
        const QString name = isNamed ? part.mid(1, part.size() - 2) : QString();
        if (part == QLatin1String("+") || isNamed) {
            if (!name.isEmpty() && pattern.names().contains(name))
                return refuse(reason, QStringLiteral("{%1} occurs twice").arg(name));
            pattern.levels.append({{}, name, true});
            ++pattern.wildcards;
            continue;
        }
        const std::optional<QString> plain = hasNames ? plainLevel(part) : part;
        if (part.contains(QLatin1Char('+')) || part.contains(QLatin1Char('#')) || !plain)
            return refuse(reason, QStringLiteral("a wildcard stands for a whole level"));
        pattern.levels.append({*plain, {}, false});
    }
    return pattern;
}

std::optional<TopicPattern> TopicPattern::fromText(const QString &text, QString *reason)
{
    return parse(text, true, reason);
}

std::optional<TopicPattern> TopicPattern::fromFilter(const QString &filter)
{
    return parse(filter, false, nullptr);
}

QString TopicPattern::filter() const
{
    QStringList parts;
    for (const Level &level : levels)
        parts.append(level.isAny ? QStringLiteral("+") : level.text);
    if (hasRest)
        parts.append(QStringLiteral("#"));
    return parts.join(QLatin1Char('/'));
}

QStringList TopicPattern::names() const
{
    QStringList result;
    int number = 0;
    for (const Level &level : levels) {
        if (!level.isAny)
            continue;
        result.append(QString::number(++number));
        if (!level.name.isEmpty() && level.name != result.constLast())
            result.append(level.name);
    }
    return result;
}

QStringList TopicPattern::fixedLevels() const
{
    QStringList result;
    for (const Level &level : levels) {
        if (level.isAny)
            return result;
        result.append(level.text);
    }
    // The last level is the name of the topic.
    if (!hasRest && !result.isEmpty())
        result.removeLast();
    return result;
}

bool TopicPattern::match(const QStringList &topic, qsizetype count, TopicCaptures *captures) const
{
    // A wildcard at the first level does not match topics that begin with "$".
    if (topic.at(0).startsWith(QLatin1Char('$')) && (levels.isEmpty() || levels.at(0).isAny))
        return false;
    int number = 0;
    for (qsizetype i = 0; i < count; ++i) {
        const Level &level = levels.at(i);
        if (!level.isAny && level.text != topic.at(i))
            return false;
        if (!level.isAny || !captures)
            continue;
        captures->insert(QString::number(++number), topic.at(i));
        if (!level.name.isEmpty())
            captures->insert(level.name, topic.at(i));
    }
    return true;
}

bool TopicPattern::matches(const QStringList &topic, TopicCaptures *captures) const
{
    if (levels.isEmpty() && !hasRest)
        return false;
    // "a/#" also matches "a".
    if (topic.size() < levels.size() || (!hasRest && topic.size() != levels.size()))
        return false;
    return match(topic, levels.size(), captures);
}

bool TopicPattern::matchesBeginning(const QStringList &topic, TopicCaptures *captures) const
{
    qsizetype count = levels.size();
    while (count > 0 && !levels.at(count - 1).isAny)
        --count;
    return count <= topic.size() && (count == 0 || match(topic, count, captures));
}

QString filledIn(const QString &text, const TopicCaptures &captures)
{
    return replaced(text, [&captures](const QString &name) {
        const auto found = captures.constFind(name);
        return found == captures.constEnd() ? QLatin1Char('{') + name + QLatin1Char('}') : *found;
    });
}

QString withoutNames(QString text)
{
    return text.replace(brace, QString(doubledBrace));
}

QStringList namesIn(const QString &text)
{
    QStringList names;
    replaced(text, [&names](const QString &name) {
        names.append(name);
        return QString();
    });
    return names;
}

} // namespace pellix::gateway
