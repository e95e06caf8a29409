// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/attemptlimit_p.h"

#include <algorithm>
#include <cmath>

namespace pellix::server {

using namespace std::chrono_literals;

namespace {

constexpr double minute = 60000; // milliseconds

// Whoever has an IPv6 address has the whole network of it.
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
    accounts.clear();
}

std::chrono::milliseconds AttemptLimit::waitingTime(const QHostAddress &address,
                                                    std::chrono::milliseconds now) const
{
    const double missing = 1 - left(keyOf(address), now);
    return rate > 0 && missing > 0
        ? std::chrono::milliseconds(qint64(std::ceil(missing * minute / rate)))
        : 0ms;
}

void AttemptLimit::countFailure(const QHostAddress &address, std::chrono::milliseconds now)
{
    if (rate == 0)
        return;
    const QHostAddress key = keyOf(address);
    if (accounts.size() >= mostAddresses && !accounts.contains(key))
        makeRoom(now);
    accounts.insert(key, {qMax(0.0, left(key, now) - 1), now});
}

double AttemptLimit::left(const Account &account, std::chrono::milliseconds now) const
{
    return qMin<double>(rate, account.left + double((now - account.time).count()) * rate / minute);
}

double AttemptLimit::left(const QHostAddress &key, std::chrono::milliseconds now) const
{
    const auto account = accounts.constFind(key);
    return account == accounts.cend() ? rate : left(*account, now);
}

// Forgets whoever has all of his attempts back, else who has been waiting for the longest time.
void AttemptLimit::makeRoom(std::chrono::milliseconds now)
{
    if (accounts.removeIf(
            [this, now](const auto &account) { return left(account.value(), now) >= rate; })
        > 0)
        return;
    accounts.erase(std::min_element(
        accounts.cbegin(), accounts.cend(),
        [](const Account &one, const Account &other) { return one.time < other.time; }));
}

} // namespace pellix::server
