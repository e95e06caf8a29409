// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QHash>
#include <QtNetwork/QHostAddress>

#include <chrono>

namespace pellix::server {

// Limits the number of failed attempts of each address. An address starts with the attempts of one
// minute, and regains them evenly. Times are those of any monotonic clock.
class AttemptLimit
{
public:
    static constexpr qsizetype mostAddresses = 4096; // that are remembered, and half of it at least

    int perMinute() const { return rate; }
    void setPerMinute(int attempts); // 0: no limit

    // The time until the next attempt of the address; 0 if it need not wait.
    std::chrono::milliseconds waitingTime(const QHostAddress &address,
                                          std::chrono::milliseconds now) const;
    void countFailure(const QHostAddress &address, std::chrono::milliseconds now);
    qsizetype addressCount() const { return recent.size() + older.size(); }

private:
    struct Account
    {
        qint64 left = 0; // attempts, in parts of which one comes back in a millisecond for each
                         // attempt a minute
        std::chrono::milliseconds time {0}; // when there were as many
    };

    qint64 left(const QHostAddress &key, std::chrono::milliseconds now) const;

    int rate = 20;
    // When the recent ones have become too many, they take the place of the older ones.
    QHash<QHostAddress, Account> recent;
    QHash<QHostAddress, Account> older;
};

} // namespace pellix::server
