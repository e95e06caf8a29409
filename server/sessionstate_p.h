// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/keywordtree_p.h"
#include "server/peer.h"
#include "server/rights_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QString>

#include <deque>
#include <functional>
#include <memory>

namespace pellix::server {

class KeywordSession;

// A keyword that the server computes from others, for the session that requested it.
struct Aggregate
{
    SessionState *session = nullptr;
    QString path;
    QString mode;
    struct Child
    {
        Node *node; // null for a path that is none
        bool mayBeRead;
    };
    std::vector<Child> children;
    Record last; // as told
    quint64 version = 0;
    qint64 bytes = 0; // that it has its session use
    int uses = 0; // spellings that the session watches it under
    bool computing = false; // breaks cycles of aggregates over each other
    bool isBehind = false; // among those of its session that are to be formed anew
    quint64 number = 0; // the later one has the greater
    Record formed; // in the round of this number
    quint64 formedIn = 0;
};

// A reply that waits, and is not the value of a watch.
struct Reply
{
    enum Kind : quint8 {
        Refusal, // of a write to a keyword
        State, // of a keyword, in reply to a write
        Index, // the reply to a query
        Answer // an unchanged reply
    };
    Kind kind;
    QString keyword; // of a refusal, or a state
    QByteArray text; // an answer, or the query
};

// Data that waits for a session until its transport has room: a reply, or the newest value of a
// watch. There may be one for each watch, so it is small. What it says of keywords is formed when
// it is sent: the rights of the session may have changed by then. An entry whose watch has a
// different turn is obsolete; one whose watch has no node was unsubscribed in the meantime.
struct Waiting
{
    Watch *watch = nullptr;
    std::unique_ptr<Reply> reply;
    quint32 turn = 0;
};

// The server's data of a session.
class SessionState
{
public:
    using Receiver = std::function<void(const QByteArray &)>;

    KeywordSession *q = nullptr;
    Peer peer;
    std::shared_ptr<const Rights> rights; // null: full rights
    bool limited = false; // by the server's limits; the embedding program's own sessions are not

    QHash<QString, Watch *> watches; // by their spelling
    QHash<QString, Aggregate *> aggregates; // by their path
    QSet<QString> refused; // paths whose last write was refused, as far as there is memory for them
    std::deque<Waiting> waiting;
    std::size_t waitingAnswers =
        0; // and refusals, which are not merged, and places that do not count any more
    qint64 answerBytes = 0;
    qint64 formingLeft = 0; // children of aggregates that may be looked at before others wait
    qint64 formingSince = 0; // ms, when there were as many
    QSet<Aggregate *> behind; // that are to be formed anew, when there is time for them
    qint64 bytes = 0; // that it has the server use
    qint64 writeBytes = 0; // of its writes that are not decided
    Receiver receiver; // instead of the signal
    std::function<bool()> hasRoom; // with a receiver: whether it takes more, or the session pauses
    bool *sending = nullptr; // set to false when the session, or the server, goes while it sends
    bool paused = false;
    bool starved = false; // paused until less waits for all clients
    bool inTurn = false; // among those that are to send
    bool left = false; // there are no receivers any more

    void clearWaiting();
    void stopSending();
    void hangUp();
    bool mayRead(const QString &path) const;
    void updateRights(Aggregate *aggregate) const;
    bool mayWrite(const QString &path) const { return !rights || rights->mayWrite(path); }
};

} // namespace pellix::server
