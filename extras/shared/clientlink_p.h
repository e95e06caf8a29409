// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "client/keywordtypes.h"
#include "pubsub/subscriber.h"

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>
#include <QtCore/QUuid>
#include <QtCore/QVariant>

#include <deque>
#include <functional>
#include <map>
#include <memory>

namespace pellix::extras {

/*
    Gives a model of keywords access to a client: the values of many keywords, and the replies to
    index queries. Both are requested again when the connection is restored or another client is
    set.

    All callbacks may delete this object.
*/
class ClientLink : public QObject
{
    Q_OBJECT

public:
    using Receiver = std::function<void(const client::PKeywordValue &)>;
    using Answer = std::function<void(const QVariant &response)>;

    struct Question
    {
        QString keyword;
        client::PKeywordValueType type = client::PKeywordValueType::KVT_NOPROP;
        client::PKeywordValueAccess access = client::PKeywordValueAccess::KVA_NONE;
        // One of many: only so many of them are under way at a time.
        bool queued = false;
    };

    // A keyword is watched as long as this object exists. The link may be destroyed before it.
    class Watch
    {
    public:
        Watch(ClientLink *link, const QString &keyword, Receiver receiver);
        ~Watch();
        Watch(const Watch &) = delete;
        Watch &operator=(const Watch &) = delete;

    private:
        friend class ClientLink;
        const QPointer<ClientLink> link;
        const QString keyword;
        quint64 id = 0;
        std::unique_ptr<client::PSubscriber> subscriber;
    };

    explicit ClientLink(QObject *parent = nullptr);
    ~ClientLink() override;

    client::PKeywordClient *client() const;
    bool isClient(const client::PKeywordClient *client) const; // false once it has been destroyed
    void setClient(client::PKeywordClient *client);
    bool linked() const;

    std::unique_ptr<Watch> watch(const QString &keyword, const Receiver &receiver);

    // The callback is called once, later or at once, unless the query is canceled before. A query
    // without a connection is sent when the connection is established.
    quint64 ask(const Question &question, const Answer &answer);
    void drop(quint64 question);
    void dropAll();

Q_SIGNALS:
    void linkedChanged(); // before anything is asked for

private:
    struct Asked
    {
        Question question;
        Answer answer;
        QUuid request; // null until it is sent
    };

    void follow();
    void onLink();
    void askForEverything();
    void send(quint64 question);
    void sendQueued();
    void onResponse(const QUuid &request, const QVariant &response);
    void settle(quint64 question, const QVariant &response);

    QPointer<client::PKeywordClient> source;
    bool hasClient = false;
    bool isLinked = false;
    quint64 lastId = 0;
    quint64 turn = 0; // of the latest change of client or link
    std::map<quint64, Watch *> watches;
    std::map<quint64, Asked> questions;
    QHash<QUuid, quint64> sent;
    std::deque<quint64> queue;
    int underWay = 0; // of those that are queued
    int sending = 0;
    QHash<QUuid, QVariant> early; // answers that came inside the call that sent their question
};

} // namespace pellix::extras
