// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "pubsub/pubsubglobal.h"

QT_BEGIN_NAMESPACE
class QVariant;
QT_END_NAMESPACE

namespace pellix::client {

class PSubscriber;

/*
    The owner of a private subscriber is notified by plain calls instead of signals: three
    connections for each bound keyword cost more than everything else about it, in time and in
    memory.

    As in a handler of a signal, a call may change or delete anything, including the subscriber.
*/
class PELLIXCLIENT_PUBSUB_EXPORT SubscriberListener
{
public:
    // From now on the subscriber calls the listener, and emits no signals; with null, it emits.
    static void listen(PSubscriber &subscriber, SubscriberListener *listener);

    virtual void onActiveChanged() = 0;
    virtual void onPublisherActiveChanged() = 0;
    virtual void onValue(const QVariant &value) = 0;

protected:
    SubscriberListener() = default;
    ~SubscriberListener() = default;
    Q_DISABLE_COPY_MOVE(SubscriberListener)
};

} // namespace pellix::client
