// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "pubsub/publisher.h"

#include "pubsub/publisher_p.h"

namespace pellix::client {

/*
    What may happen while a publisher delivers or notifies, and what follows:

    - A subscriber changes its topic or publisher, or dies: it is out of the list at once and is
      not served any more by the delivery that is under way. All others are.
    - A subscriber joins the topic (or leaves and joins again): it stands at the end of the list,
      with a higher number than the delivery started with, and gets the next value, not this one.
    - The same topic is published again: the value that is on its way goes out first, to all who
      have yet to get it, and then the new one in full. Everybody sees them in the order in which
      they were published, and ends with the newest.
    - The publisher dies: every delivery ends there.
    - The active flag changes again while its change is notified: each subscriber compares the flag
      with what it told last, so it never tells the same state twice.
*/

void PPublisher::Private::attach(Subscription *subscription)
{
    subscriptions.append(subscription);
    joinTopic(subscription);
}

void PPublisher::Private::detach(Subscription *subscription)
{
    Notification::leave(notifications, subscription);
    subscriptions.remove(subscription);
}

void PPublisher::Private::joinTopic(Subscription *subscription)
{
    if (subscription->topic.isEmpty())
        return;
    subscription->joined = ++joins;
    topics.append(subscription);
}

bool PPublisher::Private::leaveTopic(Subscription *subscription)
{
    if (subscription->topic.isEmpty())
        return false;
    TopicWalk::leave(deliveries, subscription);
    return topics.remove(subscription);
}

void PPublisher::Private::Delivery::run()
{
    while (PSubscriber::Private *subscription = peek()) {
        if (subscription->joined > lastToServe)
            break; // it and all behind it joined during this delivery
        advance();
        subscription->deliver(value);
    }
}

// Publishes from inside a delivery. Handlers may delete the publisher, and this object with it.
void PPublisher::Private::publishNested(const QString &topic, const QVariant &value)
{
    // Entered into the stack before the enclosing deliveries run: it fixes whom to serve, and
    // stop() ends it when the publisher is destroyed meanwhile.
    Delivery delivery(deliveries, topics.first(topic), topic, value, joins);
    for (TopicWalk *walk = delivery.enclosing(); walk; walk = walk->enclosing()) {
        auto *const pending = static_cast<Delivery *>(walk);
        if (pending->topic == delivery.topic)
            pending->run();
    }
    delivery.run();
}

/*!
    \class pellix::client::PPublisher
    \inmodule PellixClientPubSub
    \inheaderfile pubsub/publisher.h
    \ingroup PellixClientPubSubClasses
    \brief The PPublisher class delivers values to the subscribers of a topic.

    Any number of PSubscriber objects attach to a publisher, each with one topic. A value published
    on a topic reaches every subscriber of exactly that topic, in the order in which they joined
    it. Values are not kept: a subscriber gets what is published after it joined.

    The publisher owns none of its subscribers. All objects live in one thread.

    From inside any of the signals that a publisher or its subscribers emit, every one of these
    objects may be changed or deleted. A subscriber that leaves is not served any more by the
    delivery under way; one that joins during a delivery gets the next value.
*/

/*!
    Constructs a publisher that is not active and has no topics. \a parent owns it, if given.
*/
PPublisher::PPublisher(QObject *parent) : QObject(parent), d(std::make_unique<Private>()) { }

/*!
    Destroys the publisher and detaches its subscribers.

    Subscribers signal that they, and their publisher, are no longer active. topicRemoved() is not
    emitted. Attaching to the publisher from a handler of these signals has no effect.
*/
PPublisher::~PPublisher()
{
    d->dying = true;
    d->active = false;
    Private::TopicWalk::stop(d->deliveries);
    Private::Notification::stop(d->notifications);
    while (PSubscriber::Private *subscription = d->subscriptions.first)
        subscription->q->setPublisher(nullptr);
}

/*!
    \fn void PPublisher::publish(const QString &topic, QVariant value)

    Delivers \a value to every subscriber whose topic equals \a topic (case-sensitive), by having
    each emit PSubscriber::valueChanged().

    Nothing happens when nobody listens to \a topic, or when it is empty. Whether the publisher is
    active() plays no part. The cost depends on the subscribers of this topic alone.
*/
// NOLINTNEXTLINE(performance-unnecessary-value-param): the copy outlives whatever handlers do
void PPublisher::publish(const QString &topic, QVariant value)
{
    Private::Subscription *const first = d->topics.first(topic);
    if (!first)
        return;

    if (!d->deliveries) {
        Private::Delivery(d->deliveries, first, topic, value, d->joins).run();
        return;
    }
    d->publishNested(topic, value);
}

/*!
    Says whether the source of the values is live.

    When \a active differs from active(), emits activeChanged(), and then every subscriber emits
    PSubscriber::publisherActiveChanged().
*/
void PPublisher::setActive(bool active)
{
    if (active == d->active || d->dying)
        return;
    d->active = active;

    Private::Notification notification(d->notifications, d->subscriptions.first);
    Q_EMIT activeChanged();
    while (PSubscriber::Private *subscription = notification.peek()) {
        notification.advance();
        subscription->announcePublisherActive();
    }
}

/*!
    Returns whether the source of the values is live, as last set by setActive(); initially
    \c false.
*/
bool PPublisher::active() const
{
    return d->active;
}

/*!
    \fn void PPublisher::activeChanged()

    This signal is emitted after active() changed, before the subscribers signal it in turn.
*/

/*!
    \fn void PPublisher::topicRemoved(const QString &topic)

    This signal is emitted when the last subscriber of \a topic left it: changed its topic or
    publisher, or was destroyed. The subscriber has already joined its new topic by then.

    It is emitted whether or not the publisher is active, but not while the publisher is destroyed.
*/

} // namespace pellix::client
