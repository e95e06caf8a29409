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
    The events of some keywords, each with the position of its keyword among them. The server is
    asked for them at each new connection; a keyword that is given twice is asked for once.
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

    pellix::client::PKeywordClient *const client; // not owned, lives longer
    const Handler handler;
    std::vector<std::unique_ptr<pellix::client::PSubscriber>> subscribers;
};
