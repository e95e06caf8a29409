// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/role.h"

#include "server/rights_p.h"

#include <QtCore/QVarLengthArray>

#include <algorithm>

namespace pellix::server {

namespace {

using Levels = QVarLengthArray<QStringView, 16>;

const QLatin1String oneLevel("*");
const QLatin1String anyLevels("**");

Levels levelsOf(QStringView path)
{
    Levels levels;
    for (qsizetype start = 1; start <= path.size();) {
        qsizetype end = path.indexOf(QLatin1Char('/'), start);
        if (end < 0)
            end = path.size();
        levels.append(path.mid(start, end - start));
        start = end + 1;
    }
    return levels;
}

// Marks the positions in the pattern up to which it matches all levels so far. Each level advances
// all positions at once: the time is proportional to levels times positions for any pattern.
class Matcher
{
public:
    explicit Matcher(const QStringList &pattern) : pattern(pattern)
    {
        reached.resize(pattern.size() + 1);
        std::fill(reached.begin(), reached.end(), false);
        reach(0);
    }

    void take(QStringView level)
    {
        QVarLengthArray<bool, 16> before = reached;
        std::fill(reached.begin(), reached.end(), false);
        for (qsizetype i = 0; i < pattern.size(); ++i) {
            if (!before.at(i))
                continue;
            if (pattern.at(i) == anyLevels)
                reach(i);
            else if (pattern.at(i) == oneLevel || level == pattern.at(i))
                reach(i + 1);
        }
    }

    bool isPossible() const
    {
        return std::find(reached.cbegin(), reached.cend(), true) != reached.cend();
    }
    bool isComplete() const { return reached.last(); }
    bool canGoOn() const
    {
        return std::find(reached.cbegin(), reached.cend() - 1, true) != reached.cend() - 1;
    }

private:
    void reach(qsizetype position)
    {
        reached[position] = true;
        if (position < pattern.size() && pattern.at(position) == anyLevels)
            reach(position + 1); // which may stand for none
    }

    const QStringList &pattern;
    QVarLengthArray<bool, 16> reached;
};

template <typename Patterns, typename Test>
bool anyPattern(const Patterns &patterns, QStringView path, Test test)
{
    const Levels levels = levelsOf(path);
    return std::any_of(patterns.begin(), patterns.end(), [&](const QStringList &pattern) {
        Matcher matcher(pattern);
        for (const QStringView level : levels) {
            if (!matcher.isPossible())
                return false;
            matcher.take(level);
        }
        return test(matcher);
    });
}

} // namespace

/*!
    \class pellix::server::Role
    \inmodule PellixClientServer
    \inheaderfile server/role.h
    \ingroup PellixClientServerClasses
    \brief The Role struct defines what a session may read and write.

    The rights are given as lists of path patterns. In a pattern, a level of one star matches
    exactly one level of a path, and a level of two stars any number of levels, including none.
    Every other level matches itself, case-sensitively. Patterns are compared with the normalized
    path: the rights to a keyword do not depend on its spelling, such as "#" or double separators.

    \list
        \li A keyword is writable only if it is also readable: the write patterns have an effect
            only where the read patterns match.
        \li The rights to KEYWORD/Label are those of KEYWORD.
        \li Levels above a readable keyword are listed.
        \li A keyword that is not readable is not listed, and the server replies as if it did not
            exist.
    \endlist

    \sa KeywordServer::setRole()
*/

/*!
    \variable pellix::server::Role::name
    \brief the name by which sessions refer to the role. It must not be empty or a single star,
    which is the name of the role with full rights.
*/

/*!
    \variable pellix::server::Role::read
    \brief patterns of the keywords that may be read and listed.
*/

/*!
    \variable pellix::server::Role::write
    \brief patterns of the keywords that may be written, provided that they may also be read.
*/

/*!
    Returns whether \a text is a valid pattern: it begins with "/", no level is empty, and stars
    occur only as levels of one or two stars.
*/
bool Role::isPattern(const QString &text)
{
    if (!text.startsWith(QLatin1Char('/')) || text.size() < 2 || text.contains(QLatin1Char('#')))
        return false;
    const Levels levels = levelsOf(text);
    return !text.endsWith(QLatin1Char('/'))
        && std::all_of(levels.cbegin(), levels.cend(), [](QStringView level) {
               return !level.isEmpty()
                   && (level == oneLevel || level == anyLevels
                       || !level.contains(QLatin1Char('*')));
           });
}

Rights::Rights(const Role &role) : read(compiled(role.read)), write(compiled(role.write))
{
    readsEverything = role.read.contains(QLatin1String("/**"));
}

Rights::Patterns Rights::compiled(const QStringList &texts)
{
    Patterns patterns;
    for (const QString &text : texts)
        patterns.push_back(text.mid(1).split(QLatin1Char('/')));
    return patterns;
}

bool Rights::mayRead(QStringView path) const
{
    return readsEverything
        || anyPattern(read, path, [](const Matcher &matcher) { return matcher.isComplete(); });
}

bool Rights::mayWrite(QStringView path) const
{
    return mayRead(path)
        && anyPattern(write, path, [](const Matcher &matcher) { return matcher.isComplete(); });
}

bool Rights::mayLeadToReadable(QStringView path) const
{
    return readsEverything
        || anyPattern(read, path, [](const Matcher &matcher) { return matcher.canGoOn(); });
}

} // namespace pellix::server
