// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/tables/keywordresolver_p.h"

#include "extras/browsing/listedkeyword_p.h"
#include "extras/browsing/naturalorder.h"

#include <QtCore/QPointer>
#include <QtCore/QSet>

#include <algorithm>
#include <vector>

namespace pellix::extras {

namespace {

constexpr int deepest = 64; // levels
const QLatin1String oneLevel("*");
const QLatin1String anyLevels("**");

// The positions in a pattern up to which it matches a path: the last one is its end.
using Positions = std::vector<bool>;

void reach(Positions &positions, const QStringList &pattern, int position)
{
    positions[size_t(position)] = true;
    if (position < pattern.size() && pattern.at(position) == anyLevels)
        reach(positions, pattern, position + 1); // which may stand for none
}

Positions after(const Positions &before, const QStringList &pattern, const QString &level)
{
    Positions positions(before.size(), false);
    for (int i = 0; i < pattern.size(); ++i) {
        if (!before[size_t(i)])
            continue;
        if (pattern.at(i) == anyLevels)
            reach(positions, pattern, i);
        else if (pattern.at(i) == oneLevel || pattern.at(i) == level)
            reach(positions, pattern, i + 1);
    }
    return positions;
}

bool canGoOn(const Positions &positions)
{
    return std::find(positions.cbegin(), positions.cend() - 1, true) != positions.cend() - 1;
}

} // namespace

struct KeywordResolver::Walk : std::enable_shared_from_this<KeywordResolver::Walk>
{
    void ask(const QString &pattern, const QStringList &levels, const QString &path, int depth,
             const Positions &positions);
    void onListed(const QString &pattern, const QStringList &levels, int depth,
                  const Positions &positions, const QVariant &response);
    void end();

    QPointer<ClientLink> link;
    QStringList patterns;
    int limit = 0;
    Done done;
    Found found;
    int count = 0; // of keywords
    int asked = 0;
    int awaited = 0;
    QSet<quint64> questions;
    bool dropped = false;
};

void KeywordResolver::Walk::ask(const QString &pattern, const QStringList &levels,
                                const QString &path, int depth, const Positions &positions)
{
    if (dropped || !link)
        return;
    if (depth > deepest || count >= limit || asked >= 4 * limit + 1000) {
        found.complete = false;
        return;
    }
    ++asked;
    ++awaited;
    const std::weak_ptr<Walk> self = shared_from_this();
    const auto answered = std::make_shared<quint64>(0);
    ClientLink::Question question;
    question.keyword = path;
    question.queued = true;
    const quint64 id = link->ask(question, [=](const QVariant &response) {
        const std::shared_ptr<Walk> walk = self.lock();
        if (!walk)
            return;
        walk->questions.remove(*answered);
        *answered = 1;
        walk->onListed(pattern, levels, depth, positions, response);
        --walk->awaited;
        walk->end();
    });
    if (*answered == 0) {
        *answered = id;
        questions.insert(id);
    }
}

void KeywordResolver::Walk::onListed(const QString &pattern, const QStringList &levels, int depth,
                                     const Positions &positions, const QVariant &response)
{
    for (const ListedKeyword &child : listedIn(response)) {
        const Positions next = after(positions, levels, child.name);
        if (next.back() && !child.type.isEmpty()) {
            if (count >= limit) {
                found.complete = false;
                return;
            }
            ++count;
            found.keywords[pattern].append(child.keyword);
        }
        if (canGoOn(next))
            ask(pattern, levels, child.normalized, depth + 1, next);
    }
}

void KeywordResolver::Walk::end()
{
    if (awaited > 0 || dropped)
        return;
    for (QStringList &keywords : found.keywords) {
        std::sort(keywords.begin(), keywords.end(),
                  [](const QString &a, const QString &b) { return compareNaturally(a, b) < 0; });
    }
    dropped = true;
    done(found);
}

bool KeywordResolver::isPattern(const QString &keyword)
{
    const QStringList levels = levelsOf(keyword);
    return levels.contains(oneLevel) || levels.contains(anyLevels);
}

KeywordResolver::KeywordResolver(ClientLink *link, const QStringList &patterns, int limit,
                                 const Done &done)
    : walk(std::make_shared<Walk>())
{
    walk->link = link;
    walk->patterns = patterns;
    walk->limit = limit;
    walk->done = done;
}

KeywordResolver::~KeywordResolver()
{
    walk->dropped = true;
    for (const quint64 question : std::as_const(walk->questions)) {
        if (walk->link)
            walk->link->drop(question);
    }
}

void KeywordResolver::start()
{
    const std::shared_ptr<Walk> kept = walk; // a reply inside the call may destroy this object
    ++kept->awaited;
    for (const QString &pattern : std::as_const(kept->patterns)) {
        const QStringList levels = levelsOf(pattern);
        // No queries are sent for the levels before the first star.
        int start = 0;
        while (start < levels.size() && levels.at(start) != oneLevel
               && levels.at(start) != anyLevels)
            ++start;
        Positions positions(size_t(levels.size()) + 1, false);
        reach(positions, levels, start);
        kept->ask(pattern, levels, QLatin1Char('/') + levels.mid(0, start).join(QLatin1Char('/')),
                  start, positions);
    }
    --kept->awaited;
    kept->end();
}

} // namespace pellix::extras
