// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "pubsub/subscriber.h"

#include "pubsub/publisher_p.h"
#include "pubsub/subscriber_p.h"

#include <utility>

namespace pellix::client {

bool PSubscriber::Private::publisherActive() const
{
    return publisher && publisher->active();
}

void PSubscriber::Private::announceActive()
{
    if (announcedActive == active())
        return;
    announcedActive = !announcedActive;
    if (listener)
        listener->onActiveChanged();
    else
        Q_EMIT q->activeChanged();
}

void PSubscriber::Private::announcePublisherActive()
{
    if (announcedPublisherActive == publisherActive())
        return;
    announcedPublisherActive = !announcedPublisherActive;
    if (listener)
        listener->onPublisherActiveChanged();
    else
        Q_EMIT q->publisherActiveChanged();
}

void SubscriberListener::listen(PSubscriber &subscriber, SubscriberListener *listener)
{
    subscriber.d->listener = listener;
}

/*!
    \class pellix::client::PSubscriber
    \inmodule PellixClientPubSub
    \inheaderfile pubsub/subscriber.h
    \ingroup PellixClientPubSubClasses
    \brief The PSubscriber class receives the values published on one topic.

    A subscriber subscribes to one topic() of one PPublisher. While it has both, it is active() and
    emits valueChanged() for each value that is published on that topic.

    You can change both at any time, even in a handler of a signal of the subscriber or its
    publisher. If the publisher is destroyed first, the subscriber detaches and emits its change
    signals.
*/

/*!
    Constructs a subscriber without a publisher and a topic. If \a parent is given, it owns the
    subscriber.
*/
PSubscriber::PSubscriber(QObject *parent) : QObject(parent), d(std::make_unique<Private>(this)) { }

/*!
    Destroys the subscriber, which leaves its topic without emitting a signal.
*/
PSubscriber::~PSubscriber()
{
    d->dying = true;
    PPublisher *const publisher = std::exchange(d->publisher, nullptr);
    if (!publisher)
        return;
    publisher->d->detach(d.get());
    if (publisher->d->leaveTopic(d.get()) && !publisher->d->dying)
        Q_EMIT publisher->topicRemoved(d->topic);
}

/*!
    Attaches the subscriber to \a publisher, or detaches it if \a publisher is \c nullptr. The
    subscriber does not own the publisher.

    The subscriber has already left the old publisher when that emits PPublisher::topicRemoved().
    Then the subscriber emits publisherActiveChanged() and activeChanged(), each only if its value
    has changed. Setting the same publisher again does nothing.
*/
void PSubscriber::setPublisher(PPublisher *publisher)
{
    if (publisher && publisher->d->dying)
        publisher = nullptr;
    if (publisher == d->publisher || d->dying)
        return;

    PPublisher *const left = std::exchange(d->publisher, publisher);
    bool topicGone = false;
    if (left) {
        left->d->detach(d.get());
        topicGone = left->d->leaveTopic(d.get()) && !left->d->dying;
    }
    if (publisher)
        publisher->d->attach(d.get());

    const DeletionWatch::Scope self(d->watch);
    if (topicGone)
        Q_EMIT left->topicRemoved(QString(d->topic));
    if (self.deleted())
        return;
    d->announcePublisherActive();
    // cppcheck-suppress identicalConditionAfterEarlyExit ; handlers run in between
    if (self.deleted())
        return;
    d->announceActive();
}

/*!
    Sets the topic to \a topic. An empty string means no topic.

    The subscriber has already joined the new topic when its publisher emits
    PPublisher::topicRemoved() for the old one; activeChanged() follows if active() has changed.
    Setting the same topic again does nothing.
*/
void PSubscriber::setTopic(const QString &topic)
{
    if (topic == d->topic || d->dying)
        return;

    if (!d->publisher) {
        d->topic = topic;
        return;
    }
    PPublisher *const publisher = d->publisher;
    const bool topicGone = publisher->d->leaveTopic(d.get());
    const QString left = std::exchange(d->topic, topic);
    publisher->d->joinTopic(d.get());

    const DeletionWatch::Scope self(d->watch);
    if (topicGone && !publisher->d->dying)
        Q_EMIT publisher->topicRemoved(left);
    if (self.deleted())
        return;
    d->announceActive();
}

/*!
    Returns the topic, or an empty string if there is none.
*/
QString PSubscriber::topic()
{
    return d->topic;
}

/*!
    Returns whether the subscriber has a publisher and a topic, so that it receives values.
*/
bool PSubscriber::active() const
{
    return d->active();
}

/*!
    Returns whether the publisher is active, or \c false if there is no publisher.
*/
bool PSubscriber::publisherActive() const
{
    return d->publisherActive();
}

/*!
    \fn void PSubscriber::activeChanged()

    This signal is emitted after active() has changed.
*/

/*!
    \fn void PSubscriber::publisherActiveChanged()

    This signal is emitted after publisherActive() has changed, because the flag of the publisher
    changed or because another publisher was set.
*/

/*!
    \fn void PSubscriber::valueChanged(QVariant value)

    This signal is emitted once for each \a value published on the topic.
*/

} // namespace pellix::client
