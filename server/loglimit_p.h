// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QHash>

#include <chrono>
#include <optional>

namespace pellix::server {

// Limits the lines that anybody on the network can cause in a log: to one of each kind per second.
// Times are those of any monotonic clock. The kinds are not from the network: there are few.
class LogLimit
{
public:
    // The number of lines of the kind that were left out since the last one; none if this line is
    // to be left out as well.
    std::optional<int> next(const QByteArray &kind, std::chrono::milliseconds now)
    {
        const auto found = lines.find(kind);
        if (found == lines.end()) {
            lines.insert(kind, {now, 0});
            return 0;
        }
        if (now - found->time < std::chrono::seconds(1)) {
            ++found->leftOut;
            return std::nullopt;
        }
        const int leftOut = found->leftOut;
        *found = {now, 0};
        return leftOut;
    }

private:
    struct Line
    {
        std::chrono::milliseconds time {0}; // of the last one
        int leftOut = 0;
    };
    QHash<QByteArray, Line> lines;
};

} // namespace pellix::server
