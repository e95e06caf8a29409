// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/topickeyword.h"

#include <algorithm>
#include <tuple>

namespace pellix::gateway {

namespace {

auto membersOf(const TopicAvailability::Entry &entry)
{
    return std::tie(entry.topic, entry.member, entry.online, entry.offline);
}

auto whatIsRead(const TopicKeyword &keyword)
{
    return std::tie(keyword.topic, keyword.member, keyword.path, keyword.isMemberInPath,
                    keyword.arrayKey, keyword.arrayValue, keyword.timeMember, keyword.type,
                    keyword.label, keyword.unit, keyword.access, keyword.values,
                    keyword.ignoresOthers, keyword.unknownPayloads, keyword.emptyText,
                    keyword.scale, keyword.staleAfter, keyword.availability, keyword.errorTopic,
                    keyword.isFaulty, keyword.targetTopic, keyword.isConsistentWithTarget,
                    keyword.origin);
}

auto whatIsWritten(const TopicKeyword &keyword)
{
    return std::tie(keyword.writeValues, keyword.minimum, keyword.maximum, keyword.step,
                    keyword.choices, keyword.minimumLength, keyword.maximumLength, keyword.pattern,
                    keyword.writeTopic, keyword.writePayload, keyword.writeQos,
                    keyword.confirmWithin, keyword.confirmation, keyword.writesChange);
}

} // namespace

bool operator==(const TopicAvailability &left, const TopicAvailability &right)
{
    const auto same = [](const auto &one, const auto &other) {
        return membersOf(one) == membersOf(other);
    };
    return left.mode == right.mode
        && std::equal(left.entries.begin(), left.entries.end(), right.entries.begin(),
                      right.entries.end(), same);
}

bool operator==(const TopicValue &left, const TopicValue &right)
{
    return left.payload == right.payload && left.value == right.value;
}

bool operator==(const TopicKeyword &left, const TopicKeyword &right)
{
    return whatIsRead(left) == whatIsRead(right) && whatIsWritten(left) == whatIsWritten(right);
}

} // namespace pellix::gateway
