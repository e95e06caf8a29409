// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordtypes.h"
#include "pubsub/subscriber.h"

#include <QtCore/QStringList>

#include <functional>
#include <memory>
#include <vector>

namespace pellix::client {
class PKeywordClient;
}

/*
    The events of a list of keywords, each with the position of its keyword in the list. The client
    subscribes again whenever the connection is restored; to a keyword that is listed twice, only
    once.
*/
class KeywordEvents
{
public:
    using Handler = std::function<void(int position, const pellix::client::PKeywordValue &event)>;

    KeywordEvents(pellix::client::PKeywordClient *client, Handler handler);

    void add(const QStringList &keywords);
    void addAggregate(const QString &keyword, const QStringList &children,
                      pellix::client::PKeywordAggregation aggregation);

private:
    void subscribe(const QString &keyword, const std::function<void()> &ask);

    pellix::client::PKeywordClient *const client; // not owned, outlives this object
    const Handler handler;
    std::vector<std::unique_ptr<pellix::client::PSubscriber>> subscribers;
};
