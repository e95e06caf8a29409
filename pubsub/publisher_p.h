// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "pubsub/publisher.h"
#include "pubsub/subscriber_p.h"
#include "pubsub/topictable_p.h"

namespace pellix::client {

class Q_DECL_HIDDEN PPublisher::Private
{
public:
    using Subscription = PSubscriber::Private;
    using Attached = IntrusiveList<Subscription, &Subscription::attached>;
    using Notification = ListWalk<Subscription, &Subscription::attached>;
    using TopicWalk = ListWalk<Subscription, &Subscription::inTopic>;

    // The delivery of one value to the subscribers that the topic had when it was published.
    struct Delivery : TopicWalk
    {
        Delivery(TopicWalk *&stack, Subscription *first, const QString &topic,
                 const QVariant &value, quint64 lastToServe)
            : TopicWalk(stack, first), topic(topic), value(value), lastToServe(lastToServe)
        { }
        void run();

        const QString topic;
        const QVariant value;
        const quint64 lastToServe;
    };

    void attach(Subscription *subscription);
    void detach(Subscription *subscription);
    void joinTopic(Subscription *subscription);
    bool leaveTopic(Subscription *subscription); // true if its topic was removed with it
    void publishNested(const QString &topic, const QVariant &value);

    bool active = false;
    bool dying = false;
    quint64 joins = 0;
    TopicTable<Subscription> topics;
    Attached subscriptions;
    Notification *notifications = nullptr;
    TopicWalk *deliveries = nullptr; // all of them Delivery
};

} // namespace pellix::client
