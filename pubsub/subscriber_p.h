// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "pubsub/deletionwatch_p.h"
#include "pubsub/intrusivelist_p.h"
#include "pubsub/subscriber.h"
#include "pubsub/subscriberlistener_p.h"

namespace pellix::client {

class Q_DECL_HIDDEN PSubscriber::Private
{
public:
    explicit Private(PSubscriber *q)
        : q(q), joined(0), announcedActive(false), announcedPublisherActive(false), dying(false)
    { }

    bool active() const { return publisher && !topic.isEmpty(); }
    bool publisherActive() const;

    void announceActive();
    void announcePublisherActive();
    void deliver(const QVariant &value);

    PSubscriber *const q;
    SubscriberListener *listener = nullptr; // called in place of the signals
    PPublisher *publisher = nullptr;
    QString topic;

    ListLinks<Private> attached; // among all subscribers of the publisher
    ListLinks<Private> inTopic; // among those of the topic
    Private *nextTopic =
        nullptr; // in the same bucket, if this is the first subscriber of its topic

    quint64 joined : 61; // when it joined its topic, in the publisher's count
    // The last signaled values, so that each change is signaled once.
    bool announcedActive : 1;
    bool announcedPublisherActive : 1;
    bool dying : 1;
    DeletionWatch watch;
};

// Inline, because it is the whole loop of a delivery.
inline void PSubscriber::Private::deliver(const QVariant &value)
{
    if (listener)
        listener->onValue(value);
    else
        Q_EMIT q->valueChanged(value);
}

} // namespace pellix::client
