// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QHash>
#include <QtNetwork/QHostAddress>

#include <chrono>

namespace pellix::server {

// How often each address may try to get in and fail. An address starts with as many attempts as it
// gets in a minute, and gets them back evenly. Times are those of any clock that does not go back.
class AttemptLimit
{
public:
    static constexpr qsizetype mostAddresses = 4096; // that are remembered, and half of it at least

    int perMinute() const { return rate; }
    void setPerMinute(int attempts); // 0: no limit

    // How long the address has to wait until its next attempt; 0 when it need not.
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
