// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "pubsub/publisher.h"
#include "pubsub/subscriber_p.h"

#include <QtCore/QHash>

namespace pellix::client {

class PPublisher::Private
{
public:
    using Subscription = PSubscriber::Private;
    using Attached = IntrusiveList<Subscription, &Subscription::attached>;
    using Topic = IntrusiveList<Subscription, &Subscription::inTopic>;
    using Notification = ListWalk<Subscription, &Subscription::attached>;
    using Delivery = ListWalk<Subscription, &Subscription::inTopic>;

    void attach(Subscription *subscription);
    void detach(Subscription *subscription);
    void joinTopic(Subscription *subscription);
    bool leaveTopic(Subscription *subscription); // true when its topic is gone with it

    bool active = false;
    bool dying = false;
    quint64 joins = 0;
    QHash<QString, Topic> topics;
    Attached subscriptions;
    Notification *notifications = nullptr;
    Delivery *deliveries = nullptr;
};

} // namespace pellix::client
