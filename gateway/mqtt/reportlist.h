// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/source.h"

#include <QtCore/QList>

namespace pellix::gateway {

// Collects changes of keywords, in order, as reports. Each report lists removed keywords first.
class ReportList
{
public:
    void remove(const QString &path);
    // With again, the declaration replaces an earlier one. It then begins a new report if
    // necessary, because only the first declaration of a path in a report applies.
    void declare(const SourceKeyword &keyword, bool again);
    void report(SourceValue value);
    void append(ReportList &&other);

    bool isEmpty() const { return reports.isEmpty(); }
    qsizetype valueCount() const { return values; }
    // Keeps only the newest value of each keyword in each report.
    void compact();
    // Removes and returns the first report, or a slice of it.
    SourceReport takeSlice(qsizetype most);

private:
    SourceReport *last();

    QList<SourceReport> reports;
    qsizetype values = 0;
};

} // namespace pellix::gateway
