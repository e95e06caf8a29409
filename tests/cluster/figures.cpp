// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/cluster/figures.h"

#include <algorithm>
#include <cmath>

qint64 percentile(QList<qint64> values, double share)
{
    if (values.isEmpty())
        return -1;
    std::sort(values.begin(), values.end());
    return values.at(qsizetype(std::ceil(share * double(values.size()))) - 1);
}

Density::Density(QList<qint64> times, qint64 from)
{
    if (times.isEmpty())
        return;
    constexpr qint64 window = 100;
    std::sort(times.begin(), times.end());
    qsizetype first = 0;
    for (qsizetype i = 0; i < times.size(); ++i) {
        while (times.at(i) - times.at(first) >= window)
            ++first;
        most = qMax(most, int(i - first + 1));
    }
    // Without the last hundredth: a single late event would make the average much smaller. At least
    // one second, because a retry takes place within one.
    const qint64 end = percentile(times, 0.99);
    const auto count = std::upper_bound(times.cbegin(), times.cend(), end) - times.cbegin();
    average = double(count) * window / double(qMax<qint64>(1000, end - from));
}

Kept::Kept(const std::vector<qint64> &acknowledged, const QList<QHash<int, qint64>> &nodes)
    : expected(acknowledged)
{
    for (const QHash<int, qint64> &values : nodes)
        silentNodes += values.isEmpty();
    for (size_t i = 0; i < acknowledged.size(); ++i) {
        QList<qint64> values;
        for (const QHash<int, qint64> &node : nodes)
            values.append(node.value(int(i)));
        std::sort(values.begin(), values.end());
        const auto old = std::lower_bound(values.cbegin(), values.cend(), acknowledged[i]);
        missing += int(old - values.cbegin());
        if (old != values.cend())
            continue;
        ++lost;
        expected[i] = values.constFirst();
    }
}

void Goals::atMost(const QString &what, double value, double limit)
{
    if (!(value <= limit * slack))
        texts << QStringLiteral("%1: %2, more than %3").arg(what).arg(value).arg(limit * slack);
}

void Goals::atLeast(const QString &what, double value, double limit)
{
    if (!(value >= limit / slack))
        texts << QStringLiteral("%1: %2, less than %3").arg(what).arg(value).arg(limit / slack);
}
