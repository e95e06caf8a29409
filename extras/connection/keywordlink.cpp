// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/connection/keywordlink.h"

#include "pubsub/subscriber.h"

#include <QtCore/QPointer>

using namespace pellix::client;

namespace pellix::extras {

class Q_DECL_HIDDEN PKeywordLink::Private
{
public:
    PKeywordClient *client = nullptr;
    QMetaObject::Connection clientDestroyed;
    PSubscriber subscriber; // without a topic: it follows the state of the client's publisher
    bool connected = false; // the last signaled value
};

/*!
    \class pellix::extras::PKeywordLink
    \inmodule PellixClientKeywordExtras
    \inheaderfile extras/connection/keywordlink.h
    \ingroup PellixClientKeywordExtrasClasses
    \brief The PKeywordLink class provides the connection state of a client of any class.

    A screen that accepts any client cannot read the connection state from its \c connected
    property, because the base class PKeywordClient has no such property.

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
    \brief the client whose state is provided, of any class. The default is \c nullptr. The link
    does not own the client; if it is destroyed, the property becomes \c nullptr.
*/

/*!
    \property pellix::extras::PKeywordLink::connected
    \brief whether the client can reach its server, that is, whether its publisher is active. It is
    \c false if there is no client.
*/

/*!
    Constructs a link without a client. If \a parent is given, it owns the link.
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
    Destroys the link. The client is not affected.
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
            d->client = nullptr; // the destroyed publisher was signaled before
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
