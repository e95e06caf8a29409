// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/reportlist.h"

#include <QtCore/QHash>

#include <algorithm>
#include <iterator>
#include <utility>

namespace pellix::gateway {

namespace {

template <typename Item> void moveFirst(QList<Item> *from, QList<Item> *to, qsizetype *most)
{
    const qsizetype count = qMin(*most, from->size());
    *most -= count;
    if (count == from->size()) {
        to->swap(*from);
        return;
    }
    to->reserve(count);
    std::move(from->begin(), from->begin() + count, std::back_inserter(*to));
    from->remove(0, count);
}

} // namespace

SourceReport *ReportList::last()
{
    if (reports.isEmpty())
        reports.append(SourceReport());
    return &reports.last();
}

void ReportList::remove(const QString &path)
{
    if (!last()->declared.isEmpty() || !last()->values.isEmpty())
        reports.append(SourceReport());
    last()->removed.append(path);
}

void ReportList::declare(const SourceKeyword &keyword, bool again)
{
    if (again && !(last()->declared.isEmpty() && last()->values.isEmpty()))
        reports.append(SourceReport());
    last()->declared.append(keyword);
}

void ReportList::report(SourceValue value)
{
    last()->values.append(std::move(value));
    ++values;
}

void ReportList::append(ReportList &&other)
{
    if (reports.isEmpty()) {
        reports.swap(other.reports);
    } else if (!other.reports.isEmpty()) {
        // Usually, there are only values.
        SourceReport first = other.reports.takeFirst();
        if (first.removed.isEmpty() && first.declared.isEmpty())
            last()->values.append(std::move(first.values));
        else
            reports.append(std::move(first));
        reports.append(std::move(other.reports));
    }
    values += std::exchange(other.values, 0);
    other.reports.clear();
}

void ReportList::compact()
{
    values = 0;
    for (SourceReport &report : reports) {
        QHash<QString, qsizetype> places;
        QList<SourceValue> kept;
        for (SourceValue &value : report.values) {
            const auto place = places.constFind(value.path);
            if (place == places.constEnd()) {
                places.insert(value.path, kept.size());
                kept.append(std::move(value));
                continue;
            }
            SourceValue &old = kept[*place];
            if (!value.value) { // only the flags have changed
                value.value = std::move(old.value);
                value.time = old.time;
            }
            old = std::move(value);
        }
        report.values = std::move(kept);
        values += report.values.size();
    }
}

SourceReport ReportList::takeSlice(qsizetype most)
{
    SourceReport slice;
    if (reports.isEmpty())
        return slice;
    SourceReport &report = reports.first();
    const qsizetype before = report.values.size();
    moveFirst(&report.removed, &slice.removed, &most);
    moveFirst(&report.declared, &slice.declared, &most);
    if (most > 0)
        moveFirst(&report.values, &slice.values, &most);
    values -= before - report.values.size();
    if (report.removed.isEmpty() && report.declared.isEmpty() && report.values.isEmpty())
        reports.removeFirst();
    return slice;
}

} // namespace pellix::gateway
