// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/topicsync.h"

#include <algorithm>

namespace pellix::gateway {

namespace {

constexpr int mostContradictions = 2; // until live messages of a topic count as not retained

} // namespace

void TopicSync::takeLive(size_t payload, std::optional<bool> isRetained, qint64 now)
{
    if (liveAt && last != payload) {
        before.at(next) = last;
        next = (next + 1) % before.size();
    }
    last = payload;
    liveAt = now;
    isLiveRetained = isRetained;
    if (isRetained.value_or(false))
        retained = payload;
}

TopicSync::Verdict TopicSync::takeCopy(size_t payload, qint64 now)
{
    if (last == payload) {
        if (retained != payload) // the live message was retained
            contradictions = 0;
        retained = payload;
        return Verdict::Known;
    }
    if (liveAt && now - *liveAt < settlingTime)
        return Verdict::Doubtful;
    const bool isSeen =
        retained == payload || std::find(before.begin(), before.end(), payload) != before.end();
    if (isSeen && liveAt && now - *liveAt < laggingTime)
        return Verdict::Old;
    // The copy is the same as before, but another message arrived live since. Either that message
    // was not retained, or a later message with the payload of the copy was missed. If the protocol
    // does not tell, assume the latter a few times: in a cluster, a value must not stay wrong.
    if (last && retained == payload) {
        const bool isGuessed = !isLiveRetained && contradictions >= mostContradictions;
        if (isGuessed || !isLiveRetained.value_or(true))
            return Verdict::Old;
        if (!isLiveRetained)
            ++contradictions;
    }
    last = payload;
    retained = payload;
    return Verdict::New;
}

} // namespace pellix::gateway
