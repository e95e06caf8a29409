// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/shared/clientlink_p.h"

#include "pubsub/publisher.h"

#include <algorithm>
#include <utility>
#include <vector>

using namespace pellix::client;

namespace pellix::extras {

namespace {

constexpr int mostUnderWay = 64;

PKeywordValue eventOf(const QVariant &published)
{
    if (published.metaType() == QMetaType::fromType<PKeywordValue>())
        return published.value<PKeywordValue>();
    PKeywordValue event;
    event.value = published;
    return event;
}

template <typename Map> std::vector<quint64> idsOf(const Map &map)
{
    std::vector<quint64> ids;
    ids.reserve(map.size());
    for (const auto &entry : map)
        ids.push_back(entry.first);
    return ids;
}

} // namespace

ClientLink::Watch::Watch(ClientLink *link, const QString &keyword, Receiver receiver)
    : link(link), keyword(keyword), id(++link->lastId), subscriber(std::make_unique<PSubscriber>())
{
    // The receiver may delete the watch, and itself with it.
    QObject::connect(
        subscriber.get(), &PSubscriber::valueChanged, link,
        [receiver = std::make_shared<Receiver>(std::move(receiver))](const QVariant &published) {
            // The call may delete this lambda.
            // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
            const auto kept = receiver;
            (*kept)(eventOf(published));
        });
    link->watches.emplace(id, this);
}

ClientLink::Watch::~Watch()
{
    if (link)
        link->watches.erase(id);
    subscriber->disconnect();
    subscriber.reset(); // unsubscribes, if there is no other subscriber
}

ClientLink::ClientLink(QObject *parent) : QObject(parent) { }

ClientLink::~ClientLink()
{
    ++turn;
}

PKeywordClient *ClientLink::client() const
{
    return source;
}

bool ClientLink::isClient(const PKeywordClient *client) const
{
    return client ? source == client : !hasClient;
}

void ClientLink::setClient(PKeywordClient *client)
{
    if (isClient(client))
        return;
    const quint64 started = ++turn;
    if (source) {
        source->disconnect(this);
        source->publisher()->disconnect(this);
    }
    source = client;
    hasClient = client != nullptr;

    // Leaving the previous client sends commands, and their handlers may do anything.
    const QPointer<ClientLink> self(this);
    for (const quint64 id : idsOf(watches)) {
        const auto found = watches.find(id);
        if (found == watches.end())
            continue;
        found->second->subscriber->setPublisher(source ? source->publisher() : nullptr);
        if (!self || turn != started)
            return;
    }
    follow();
}

void ClientLink::follow()
{
    if (source) {
        connect(source, &PKeywordClient::keyIndexResponse, this, &ClientLink::onResponse);
        connect(source, &QObject::destroyed, this, &ClientLink::onLink);
        connect(source->publisher(), &PPublisher::activeChanged, this, &ClientLink::onLink);
    }
    // The requests of the previous client are obsolete, connected or not.
    isLinked = false;
    onLink();
}

bool ClientLink::linked() const
{
    return isLinked;
}

std::unique_ptr<ClientLink::Watch> ClientLink::watch(const QString &keyword,
                                                     const Receiver &receiver)
{
    auto watch = std::make_unique<Watch>(this, keyword, receiver);
    const quint64 id = watch->id;
    const QPointer<ClientLink> self(this);
    watch->subscriber->setTopic(keyword);
    if (self && source && watches.count(id))
        watch->subscriber->setPublisher(source->publisher());
    if (self && isLinked && source)
        source->sendKeyCreate(keyword);
    return watch;
}

quint64 ClientLink::ask(const Question &question, const Answer &answer)
{
    const quint64 id = ++lastId;
    questions.emplace(id, Asked {question, answer, {}});
    if (question.queued) {
        queue.push_back(id);
        sendQueued();
    } else {
        send(id);
    }
    return id;
}

void ClientLink::drop(quint64 question)
{
    const auto found = questions.find(question);
    if (found == questions.end())
        return;
    if (!found->second.request.isNull()) {
        sent.remove(found->second.request);
        if (found->second.question.queued)
            --underWay;
    }
    questions.erase(found); // the queue finds out
    if (isLinked && !queue.empty())
        QMetaObject::invokeMethod(this, &ClientLink::sendQueued, Qt::QueuedConnection);
}

void ClientLink::dropAll()
{
    questions.clear();
    sent.clear();
    queue.clear();
    underWay = 0;
}

void ClientLink::onLink()
{
    const bool now = source && source->publisher()->active();
    if (now && isLinked)
        return;
    const quint64 started = ++turn;
    isLinked = now;
    // All queries are sent again: their replies are lost with the connection.
    sent.clear();
    queue.clear();
    underWay = 0;
    for (auto &[id, asked] : questions) {
        asked.request = {};
        if (asked.question.queued)
            queue.push_back(id);
    }
    const QPointer<ClientLink> self(this);
    Q_EMIT linkedChanged();
    if (self && turn == started && isLinked)
        askForEverything();
}

void ClientLink::askForEverything()
{
    const quint64 started = turn;
    const QPointer<ClientLink> self(this);
    for (const quint64 id : idsOf(questions)) {
        const auto found = questions.find(id);
        if (found == questions.end() || found->second.question.queued
            || !found->second.request.isNull())
            continue;
        send(id);
        if (!self || turn != started)
            return;
    }
    for (const quint64 id : idsOf(watches)) {
        const auto found = watches.find(id);
        if (found == watches.end())
            continue;
        // cppcheck-suppress nullPointerRedundantCheck ; handlers run in between
        source->sendKeyCreate(found->second->keyword);
        if (!self || turn != started || !source)
            return;
    }
    sendQueued();
}

void ClientLink::sendQueued()
{
    const quint64 started = turn;
    const QPointer<ClientLink> self(this);
    while (isLinked && underWay < mostUnderWay && !queue.empty()) {
        const quint64 id = queue.front();
        queue.pop_front();
        const auto found = questions.find(id);
        if (found == questions.end() || !found->second.request.isNull())
            continue;
        send(id);
        if (!self || turn != started)
            return;
    }
}

void ClientLink::send(quint64 id)
{
    const auto found = questions.find(id);
    if (!isLinked || !source || found == questions.end())
        return;
    const Question question = found->second.question;
    const quint64 started = turn;
    const QPointer<ClientLink> self(this);
    ++sending;
    const QUuid request = source->sendKeyIndex(question.keyword, question.type, question.access);
    if (!self)
        return;
    --sending;
    const bool answered = early.contains(request);
    const QVariant response = early.take(request);
    if (sending == 0)
        early.clear();
    const auto still = questions.find(id);
    if (turn != started || still == questions.end() || request.isNull())
        return;
    still->second.request = request;
    sent.insert(request, id);
    if (question.queued)
        ++underWay;
    if (answered)
        settle(id, response);
}

void ClientLink::onResponse(const QUuid &request, const QVariant &response)
{
    const auto found = sent.constFind(request);
    if (found != sent.constEnd())
        settle(*found, response);
    else if (sending > 0)
        early.insert(request, response);
}

void ClientLink::settle(quint64 id, const QVariant &response)
{
    const auto found = questions.find(id);
    if (found == questions.end())
        return;
    const Asked asked = std::move(found->second);
    questions.erase(found);
    sent.remove(asked.request);
    if (asked.question.queued)
        --underWay;
    const QPointer<ClientLink> self(this);
    asked.answer(response);
    if (self && !queue.empty())
        QMetaObject::invokeMethod(this, &ClientLink::sendQueued, Qt::QueuedConnection);
}

} // namespace pellix::extras
