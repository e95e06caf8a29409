// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/conventions/describedkeywords.h"

namespace pellix::gateway {

namespace {

constexpr qsizetype mostMessages = 1000; // limits the log, regardless of how much a broker stores
constexpr qsizetype longestQuote = 80;
constexpr qsizetype longestPath = 1000;

} // namespace

QString quoted(const QString &text)
{
    const bool isLong = text.size() > longestQuote;
    return QLatin1Char('"') + text.left(longestQuote) + QLatin1Char('"')
        + (isLong ? QStringLiteral("...") : QString());
}

DescribedKeywords::Shown DescribedKeywords::shown(const QString &path) const
{
    const auto claim = claims.constFind(path);
    if (claim == claims.constEnd())
        return {};
    return {claim->begin()->first, claim->begin()->second};
}

void DescribedKeywords::drop(const QByteArray &owner, const QString &path)
{
    const auto claim = claims.find(path);
    claimCount -= int(claim->erase(owner));
    if (claim->empty())
        claims.remove(path);
}

void DescribedKeywords::set(const QString &owner, const Description &description,
                            ConventionChange *change)
{
    set({{owner, description}}, change);
}

void DescribedKeywords::set(const Descriptions &descriptions, ConventionChange *change)
{
    QStringList touched; // in order
    QHash<QString, Shown> before;
    const auto touch = [&](const QString &path) {
        if (before.contains(path))
            return;
        before.insert(path, shown(path));
        touched.append(path);
    };

    std::vector<Owned> previous;
    for (const auto &[owner, description] : descriptions) {
        previous.push_back(owners.take(owner));
        unmapped -= previous.back().skipped;
        for (const QString &path : std::as_const(previous.back().paths)) {
            touch(path);
            drop(owner.toUtf8(), path);
        }
    }
    for (const auto &[owner, description] : descriptions) {
        Owned owned {{}, description.filters, description.skipped};
        for (const TopicKeyword &keyword : description.keywords) {
            if (keyword.path.size() > longestPath) {
                ++owned.skipped;
                say(QStringLiteral("%1 is not served: it is too long").arg(quoted(keyword.path)),
                    change);
                continue;
            }
            touch(keyword.path);
            auto &claim = claims[keyword.path];
            if (!claim.emplace(owner.toUtf8(), std::make_shared<TopicKeyword>(keyword)).second) {
                ++owned.skipped;
                continue;
            }
            ++claimCount;
            owned.paths.append(keyword.path);
            if (claim.size() > 1) {
                const QString text = QStringLiteral("%1 is described by %2 and by %3; the first is "
                                                    "served");
                say(text.arg(keyword.path, claim.begin()->second->origin,
                             std::next(claim.begin())->second->origin),
                    change);
            }
        }
        unmapped += owned.skipped;
        for (const QString &filter : std::as_const(owned.filters)) {
            if (filters[filter]++ == 0)
                change->subscribe.append(filter);
        }
        if (!owned.paths.isEmpty() || !owned.filters.isEmpty() || owned.skipped > 0)
            owners.insert(owner, owned);
    }
    QSet<QString> released;
    for (const Owned &owned : previous) {
        for (const QString &filter : owned.filters) {
            if (--filters[filter] > 0)
                continue;
            filters.remove(filter);
            released.insert(filter);
        }
    }
    change->unsubscribe.append(QStringList(released.begin(), released.end()));

    for (const QString &path : std::as_const(touched)) {
        const Shown &was = *before.constFind(path);
        const Shown now = shown(path);
        const bool isOther = was.keyword && was.owner != now.owner;
        if (isOther || (was.keyword && !now.keyword))
            change->removed.append(path);
        if (now.keyword && (isOther || !was.keyword || *was.keyword != *now.keyword))
            change->declared.append(*now.keyword);
    }
}

void DescribedKeywords::say(const QString &message, ConventionChange *change)
{
    if (said.size() >= mostMessages || said.contains(message))
        return;
    said.insert(message);
    change->messages.append(message);
}

int DescribedKeywords::skipped() const
{
    return unmapped + claimCount - int(claims.size());
}

void DescribedKeywords::clear()
{
    *this = {};
}

} // namespace pellix::gateway
