// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/keywordevents.h"

#include "client/keywordclient.h"
#include "pubsub/publisher.h"

#include <QtCore/QSet>

using namespace pellix::client;

KeywordEvents::KeywordEvents(PKeywordClient *client, Handler handler)
    : client(client), handler(std::move(handler))
{ }

void KeywordEvents::add(const QStringList &keywords)
{
    QSet<QString> asked;
    for (const QString &keyword : keywords) {
        if (asked.contains(keyword)) {
            subscribe(keyword, {});
            continue;
        }
        asked.insert(keyword);
        subscribe(keyword, [this, keyword] { client->sendKeyCreate(keyword); });
    }
}

void KeywordEvents::addAggregate(const QString &keyword, const QStringList &children,
                                 PKeywordAggregation aggregation)
{
    subscribe(keyword, [=] { client->sendKeyCreate(keyword, children, aggregation); });
}

void KeywordEvents::subscribe(const QString &keyword, const std::function<void()> &ask)
{
    const int position = int(subscribers.size());
    subscribers.push_back(std::make_unique<PSubscriber>());
    PSubscriber *const subscriber = subscribers.back().get();
    QObject::connect(subscriber, &PSubscriber::valueChanged, subscriber,
                     [this, position](const QVariant &published) {
                         handler(position, published.value<PKeywordValue>());
                     });
    if (ask) {
        QObject::connect(subscriber, &PSubscriber::publisherActiveChanged, subscriber,
                         [subscriber, ask] {
                             if (subscriber->publisherActive())
                                 ask();
                         });
    }
    subscriber->setTopic(keyword);
    subscriber->setPublisher(client->publisher()); // subscribes, if there is a connection
}
