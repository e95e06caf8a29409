// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/source.h"

#include <QtCore/QList>

namespace pellix::gateway {

// What happens to keywords, in its order, as reports: in each of them what is gone comes first.
class ReportList
{
public:
    void remove(const QString &path);
    // Again, if the keyword is there already: the first declaration in a report counts.
    void declare(const SourceKeyword &keyword, bool again);
    void report(SourceValue value);
    void append(ReportList &&other);

    bool isEmpty() const { return reports.isEmpty(); }
    qsizetype valueCount() const { return values; }
    // Leaves the newest value of each keyword alone.
    void compact();
    // The first report, or a slice of it.
    SourceReport takeSlice(qsizetype most);

private:
    SourceReport *last();

    QList<SourceReport> reports;
    qsizetype values = 0;
};

} // namespace pellix::gateway
