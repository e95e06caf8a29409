// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "text/suggestion.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace {

constexpr int mostMistakes = 2;

// How many characters have to be inserted, removed, replaced, or swapped with the next one.
int mistakesBetween(const QString &a, const QString &b)
{
    const size_t width = size_t(b.size()) + 1;
    std::vector<int> beforeLast(width), last(width), row(width);
    for (size_t j = 0; j < width; ++j)
        row[j] = int(j);
    for (qsizetype i = 1; i <= a.size(); ++i) {
        beforeLast.swap(last);
        last.swap(row);
        row[0] = int(i);
        for (qsizetype j = 1; j <= b.size(); ++j) {
            const auto at = size_t(j);
            const bool isSame = a.at(i - 1) == b.at(j - 1);
            row[at] = std::min({last[at] + 1, row[at - 1] + 1, last[at - 1] + (isSame ? 0 : 1)});
            const bool isSwapped =
                i > 1 && j > 1 && a.at(i - 1) == b.at(j - 2) && a.at(i - 2) == b.at(j - 1);
            if (isSwapped)
                row[at] = std::min(row[at], beforeLast[at - 2] + 1);
        }
    }
    return row.back();
}

} // namespace

QString nearest(const QString &word, const QStringList &candidates)
{
    const QString typed = word.toLower();
    QStringList longer;
    std::copy_if(
        candidates.cbegin(), candidates.cend(), std::back_inserter(longer),
        [&](const QString &candidate) { return candidate.startsWith(typed, Qt::CaseInsensitive); });
    if (longer.size() == 1 && typed.size() > 1)
        return longer.constFirst();

    QString found;
    // In short words, two mistakes make anything of anything.
    int least = qMin(mostMistakes, int(typed.size() - 1) / 2) + 1;
    for (const QString &candidate : candidates) {
        const int mistakes = mistakesBetween(typed, candidate.toLower());
        if (mistakes < least) {
            least = mistakes;
            found = candidate;
        }
    }
    return found;
}

QString suggestion(const QString &word, const QStringList &candidates, const QString &prefix)
{
    const QString found = nearest(word, candidates);
    return found.isEmpty() ? QString() : QStringLiteral("; did you mean %1%2?").arg(prefix, found);
}
