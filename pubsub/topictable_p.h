// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QHash>
#include <QtCore/QString>

#include <algorithm>
#include <utility>
#include <vector>

namespace pellix::client {

/*
    The topics of a publisher, each with its subscribers in the order in which they joined.

    This is a hash table whose nodes are the subscribers themselves: the first subscriber of a
    topic represents the topic, which therefore needs no memory of its own.
*/
template <typename Subscription> class TopicTable
{
public:
    // The first subscriber of the topic, or null.
    Subscription *first(const QString &topic) const
    {
        return buckets.empty() ? nullptr : *slotOf(topic);
    }

    void append(Subscription *subscription)
    {
        if (topics == buckets.size())
            resize(std::max<size_t>(16, 2 * buckets.size()));
        Subscription **const slot = slotOf(subscription->topic);
        if (Subscription *const head = *slot) {
            Subscription *const last = head->inTopic.previous;
            subscription->inTopic = {last, nullptr};
            last->inTopic.next = subscription;
            head->inTopic.previous = subscription;
        } else {
            subscription->inTopic = {subscription, nullptr};
            subscription->nextTopic = nullptr;
            *slot = subscription;
            ++topics;
        }
    }

    // Returns true if this was the last subscriber of its topic.
    bool remove(Subscription *subscription)
    {
        const auto [previous, next] = std::exchange(subscription->inTopic, {});
        if (previous->inTopic.next) { // not the first, whose predecessor is the last one
            previous->inTopic.next = next;
            (next ? next : *slotOf(subscription->topic))->inTopic.previous = previous;
            return false;
        }
        Subscription **const slot = slotOf(subscription->topic);
        if (next) {
            next->inTopic.previous = previous == subscription ? next : previous;
            next->nextTopic = subscription->nextTopic;
            *slot = next;
            return false;
        }
        *slot = subscription->nextTopic;
        --topics;
        if (buckets.size() > 16 && topics < buckets.size() / 8)
            resize(buckets.size() / 4);
        return true;
    }

private:
    size_t bucketOf(const QString &topic) const
    {
        return qHash(topic, seed) & (buckets.size() - 1);
    }

    // Points to the first subscriber of the topic, or to where it is to be inserted.
    Subscription **slotOf(const QString &topic) const
    {
        Subscription **slot = &buckets[bucketOf(topic)];
        while (*slot && (*slot)->topic != topic)
            slot = &(*slot)->nextTopic;
        return slot;
    }

    void resize(size_t size)
    {
        const std::vector<Subscription *> old =
            std::exchange(buckets, std::vector<Subscription *>(size));
        for (Subscription *head : old) {
            while (head) {
                Subscription *&bucket = buckets[bucketOf(head->topic)];
                Subscription *const next = std::exchange(head->nextTopic, bucket);
                bucket = std::exchange(head, next);
            }
        }
    }

    mutable std::vector<Subscription *> buckets; // their number is a power of two
    size_t topics = 0;
    const size_t seed = QHashSeed::globalSeed(); // which a program may change later
};

} // namespace pellix::client
