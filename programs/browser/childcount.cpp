// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/browser/childcount.h"

#include "pubsub/publisher.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

using namespace pellix::client;

ChildCount::ChildCount(QObject *parent) : QObject(parent) { }

PKeywordClient *ChildCount::client() const
{
    return source;
}

void ChildCount::setClient(PKeywordClient *client)
{
    if (client == source)
        return;
    if (source) {
        source->disconnect(this);
        source->publisher()->disconnect(this);
    }
    source = client;
    if (source) {
        connect(source, &PKeywordClient::keyIndexResponse, this, &ChildCount::onResponse);
        // What is below may have changed meanwhile, and an answer may be lost with the link.
        connect(source->publisher(), &PPublisher::activeChanged, this, &ChildCount::ask);
    }
    setCount(-1);
    ask();
    Q_EMIT clientChanged();
}

QString ChildCount::keyword() const
{
    return path;
}

void ChildCount::setKeyword(const QString &keyword)
{
    if (keyword == path)
        return;
    path = keyword;
    setCount(-1);
    ask();
    Q_EMIT keywordChanged();
}

int ChildCount::count() const
{
    return children;
}

void ChildCount::ask()
{
    request = QUuid();
    if (source && !path.isEmpty() && source->publisher()->active()) {
        request = source->sendKeyIndex(path, PKeywordValueType::KVT_NOPROP,
                                       PKeywordValueAccess::KVA_NONE);
    }
}

void ChildCount::onResponse(const QUuid &id, const QVariant &response)
{
    if (request.isNull() || id != request)
        return;
    request = QUuid();
    setCount(int(response.toJsonObject()
                     .value(QLatin1String("payload"))
                     .toObject()
                     .value(QLatin1String("response"))
                     .toArray()
                     .size()));
}

void ChildCount::setCount(int count)
{
    if (count == children)
        return;
    children = count;
    Q_EMIT countChanged();
}
