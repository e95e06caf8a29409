// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/connection/keywordlink.h"

#include "pubsub/subscriber.h"

#include <QtCore/QPointer>

using namespace pellix::client;

namespace pellix::extras {

class PKeywordLink::Private
{
public:
    PKeywordClient *client = nullptr;
    QMetaObject::Connection clientDestroyed;
    PSubscriber subscriber; // of no topic: it follows what the client's publisher says
    bool connected = false; // as it was told last
};

/*!
    \class pellix::extras::PKeywordLink
    \inmodule PellixClientKeyword
    \inheaderfile extras/connection/keywordlink.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordLink class tells whether a client of any class is connected.

    A screen that takes whatever client it is given cannot read \c connected from it: the base class
    has none, and a PInProcessKeywordClient neither.

    \code
    PKeywordLink {
        id: link

        client: root.client
    }
    Text {
        visible: !link.connected
        text: qsTr("not connected")
    }
    \endcode
*/

/*!
    \property pellix::extras::PKeywordLink::client
    \brief the client to follow, of any class; not owned. Null by default, and again when it is
    destroyed.
*/

/*!
    \property pellix::extras::PKeywordLink::connected
    \brief whether the client can reach its server: whether its publisher is active. \c false
    without a client.
*/

/*!
    Constructs a link without a client. \a parent owns it, if given.
*/
PKeywordLink::PKeywordLink(QObject *parent) : QObject(parent), d(std::make_unique<Private>())
{
    connect(&d->subscriber, &PSubscriber::publisherActiveChanged, this, [this] {
        if (d->connected == d->subscriber.publisherActive())
            return;
        d->connected = !d->connected;
        Q_EMIT connectedChanged();
    });
}

/*!
    Destroys the link. Its client stays as it is.
*/
PKeywordLink::~PKeywordLink()
{
    QObject::disconnect(d->clientDestroyed);
    d->subscriber.disconnect(this);
}

PKeywordClient *PKeywordLink::client() const
{
    return d->client;
}

void PKeywordLink::setClient(PKeywordClient *client)
{
    if (client == d->client)
        return;
    QObject::disconnect(d->clientDestroyed);
    d->client = client;
    if (client) {
        d->clientDestroyed = connect(client, &QObject::destroyed, this, [this] {
            d->client = nullptr; // its publisher has gone before, and the subscriber has told
            Q_EMIT clientChanged();
        });
    }
    const QPointer<PKeywordLink> self(this);
    d->subscriber.setPublisher(client ? client->publisher() : nullptr);
    if (!self || d->client != client)
        return;
    Q_EMIT clientChanged();
}

bool PKeywordLink::connected() const
{
    return d->connected;
}

} // namespace pellix::extras
