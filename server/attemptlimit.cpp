// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/attemptlimit_p.h"

#include <algorithm>
#include <utility>

namespace pellix::server {

using namespace std::chrono_literals;

namespace {

constexpr qint64 attempt = 60000; // parts, as a minute has milliseconds

// The owner of an IPv6 address has its whole network.
QHostAddress keyOf(const QHostAddress &address)
{
    if (address.protocol() != QAbstractSocket::IPv6Protocol)
        return address;
    Q_IPV6ADDR network = address.toIPv6Address();
    std::fill(std::begin(network.c) + 8, std::end(network.c), quint8(0));
    return QHostAddress(network);
}

} // namespace

void AttemptLimit::setPerMinute(int attempts)
{
    rate = qMax(0, attempts);
    recent.clear();
    older.clear();
}

std::chrono::milliseconds AttemptLimit::waitingTime(const QHostAddress &address,
                                                    std::chrono::milliseconds now) const
{
    const qint64 missing = attempt - left(keyOf(address), now);
    return rate > 0 && missing > 0 ? std::chrono::milliseconds((missing + rate - 1) / rate) : 0ms;
}

void AttemptLimit::countFailure(const QHostAddress &address, std::chrono::milliseconds now)
{
    if (rate == 0)
        return;
    const QHostAddress key = keyOf(address);
    const Account account {qMax(qint64(0), left(key, now) - attempt), now};
    older.remove(key);
    if (recent.size() >= mostAddresses / 2 && !recent.contains(key))
        older = std::exchange(recent, {});
    recent.insert(key, account);
}

qint64 AttemptLimit::left(const QHostAddress &key, std::chrono::milliseconds now) const
{
    const qint64 most = rate * attempt;
    for (const auto *accounts : {&recent, &older}) {
        const auto account = accounts->constFind(key);
        if (account != accounts->cend())
            return qMin(most, account->left + (now - account->time).count() * rate);
    }
    return most;
}

} // namespace pellix::server
