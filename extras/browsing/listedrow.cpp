// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/browsing/listedrow_p.h"

#include "extras/browsing/naturalorder.h"

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace pellix::extras {

namespace {

constexpr auto quietTime = 60ms;
constexpr auto longestWait = 1s;

} // namespace

void ListedRow::watchLabel(bool wanted, ClientLink &link,
                           const std::function<void(const QString &label)> &onLabel)
{
    if (!wanted) {
        labelWatch.reset();
        return;
    }
    auto watch = link.watch(
        listed.keyword + QLatin1String("/Label"),
        [onLabel](const pellix::client::PKeywordValue &event) { onLabel(event.value.toString()); });
    labelWatch = std::move(watch);
}

bool isListedBefore(const ListedRow &left, const ListedRow &right)
{
    if (const int order = compareNaturally(left.shownName(), right.shownName()))
        return order < 0;
    // Of the same label. No two rows have the same keyword.
    return compareNaturally(left.listed.normalized, right.listed.normalized) < 0;
}

LabelRest::LabelRest(QObject *context, const std::function<void()> &settle)
{
    for (QTimer *timer : {&rest, &patience}) {
        timer->setSingleShot(true);
        QObject::connect(timer, &QTimer::timeout, context, settle);
    }
    rest.setInterval(quietTime);
    patience.setInterval(longestWait);
}

void LabelRest::begin()
{
    if (!patience.isActive())
        patience.start();
    rest.start();
}

void LabelRest::stop()
{
    rest.stop();
    patience.stop();
}

} // namespace pellix::extras
