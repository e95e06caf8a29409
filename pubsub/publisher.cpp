// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "pubsub/publisher.h"

#include "pubsub/publisher_p.h"

namespace pellix::client {

/*
    Changes that handlers may make while a publisher delivers or notifies, and their effects:

    - A subscriber changes its topic or publisher, or is destroyed: it is removed from the list at
      once, and the delivery in progress skips it. All others receive the value.
    - A subscriber joins the topic (or leaves and joins again): it is appended to the list, with a
      higher number than the delivery started with, and receives the next value, not this one.
    - The same topic is published again: the delivery in progress is completed first, and then the
      new value is delivered to all. All subscribers receive the values in the order in which they
      were published, and the newest value last.
    - The publisher is destroyed: every delivery ends.
    - The active flag changes again while its change is notified: each subscriber compares the flag
      with the state that it signaled last, so it never signals the same state twice.
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
    // Pushed onto the stack before the enclosing deliveries run: this determines the receivers, and
    // stop() ends the delivery if the publisher is destroyed in the meantime.
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

    Any number of PSubscriber objects can attach to a publisher, each with one topic. A value that
    is published on a topic is delivered to every subscriber of exactly that topic, in the order in
    which they joined it. Values are not stored: a subscriber receives only values that are
    published after it joined.

    The publisher does not own its subscribers. All objects must live in the same thread.

    A handler of any signal of a publisher or its subscribers may change or delete every one of
    these objects. If a subscriber leaves during a delivery, the delivery skips it; if it joins
    during a delivery, it receives the next value.
*/

/*!
    Constructs a publisher that is not active and has no topics. If \a parent is given, it owns the
    publisher.
*/
PPublisher::PPublisher(QObject *parent) : QObject(parent), d(std::make_unique<Private>()) { }

/*!
    Destroys the publisher and detaches its subscribers.

    The subscribers emit their change signals, since they and their publisher are no longer active.
    topicRemoved() is not emitted. Attaching to the publisher from a handler of these signals has no
    effect.
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

    Delivers \a value to every subscriber whose topic equals \a topic (case-sensitive): each of them
    emits PSubscriber::valueChanged().

    The function does nothing if \a topic is empty or has no subscribers. It works whether or not
    the publisher is active(). The cost depends only on the number of subscribers of this topic.
*/
// NOLINTNEXTLINE(performance-unnecessary-value-param): the copy remains valid, whatever handlers do
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
    Sets whether the source of the values is live.

    If \a active differs from active(), the publisher emits activeChanged(), and then every
    subscriber emits PSubscriber::publisherActiveChanged().
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

    This signal is emitted after active() has changed, before the subscribers emit their signals.
*/

/*!
    \fn void PPublisher::topicRemoved(const QString &topic)

    This signal is emitted when the last subscriber of \a topic has left it because its topic or
    publisher changed, or because it was destroyed. The subscriber has already joined its new topic
    at that time.

    It is emitted whether or not the publisher is active, but not while the publisher is being
    destroyed.
*/

} // namespace pellix::client
