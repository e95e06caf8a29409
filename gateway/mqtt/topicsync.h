// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QtGlobal>

#include <array>
#include <optional>

namespace pellix::gateway {

// What is remembered of a topic's messages in one connection, to tell what a copy of its retained
// message says that the broker sends once more. Payloads are compared by their hashes.
//
// A broker that keeps order sends a copy after all that was published before, so that the copy is
// the newer one, unless what came live was not retained. A cluster may send a copy that is older
// than what came live a moment ago, and after a partition for seconds: what has been seen before
// waits longer to be believed than what has not.
class TopicSync
{
public:
    enum class Verdict {
        New, // a value that was missed
        Known, // the value that is known
        Old, // of a message before the last one, as far as is known
        Doubtful // a cluster may not have settled yet; to be asked for once more
    };
    static constexpr qint64 settlingTime = 1000; // in milliseconds
    static constexpr qint64 laggingTime = 10000;

    // Whether it was published to be retained is not known before MQTT 5. The time is that of a
    // steady clock, in milliseconds.
    void takeLive(size_t payload, std::optional<bool> isRetained, qint64 now);
    Verdict takeCopy(size_t payload, qint64 now);

private:
    std::optional<size_t> last; // of what counts
    std::optional<size_t> retained;
    std::array<std::optional<size_t>, 4> before; // live ones
    size_t next = 0;
    std::optional<qint64> liveAt;
    std::optional<bool> isLiveRetained;
    int contradictions = 0; // what came live was not what is retained
};

} // namespace pellix::gateway
