// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QtGlobal>

#include <array>
#include <optional>

namespace pellix::gateway {

// Keeps track of the messages of a topic in one connection, to determine whether a repeated copy of
// its retained message contains news. Payloads are compared by their hashes.
//
// A broker that keeps the order sends a copy after everything published before. The copy is then
// the newer one, unless the live message was not retained. A cluster may send a copy that is older
// than the last live message, and after a partition this can last for seconds. Therefore, a payload
// that has been seen before is accepted later than a new one.
class TopicSync
{
public:
    enum class Verdict {
        New, // a value that was missed
        Known, // the value that is known
        Old, // probably older than the last message
        Doubtful // a cluster may not have settled yet; request the copy again
    };
    static constexpr qint64 settlingTime = 1000; // in milliseconds
    static constexpr qint64 laggingTime = 10000;

    // Before MQTT 5, isRetained is unknown. The time is that of a steady clock, in milliseconds.
    void takeLive(size_t payload, std::optional<bool> isRetained, qint64 now);
    Verdict takeCopy(size_t payload, qint64 now);

private:
    std::optional<size_t> last; // the payload that applies
    std::optional<size_t> retained;
    std::array<std::optional<size_t>, 4> before; // earlier live payloads
    size_t next = 0;
    std::optional<qint64> liveAt;
    std::optional<bool> isLiveRetained;
    int contradictions = 0; // times that the copy differed from the live message
};

} // namespace pellix::gateway
