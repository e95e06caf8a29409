// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordserver.h"

#include "server/eventtext_p.h"
#include "server/keywordserver_p.h"
#include "server/keywordsession.h"
#include "server/objectkeywords_p.h"

#include <QtCore/QIODevice>
#include <QtCore/QSet>

#include <algorithm>
#include <iterator>
#include <utility>

namespace pellix::server {

namespace {

const QLatin1String labelSuffix("/Label");
const QLatin1String fullRights("*");
constexpr int greatestNesting = 100; // of aggregates over aggregates

// The number of children of aggregates that are evaluated for a session; then its aggregates wait.
constexpr qint64 formedPerMillisecond = 200;
constexpr qint64 costOfAggregate = 20; // children, in time: mostly for its event
constexpr std::chrono::milliseconds formPause {20};
constexpr qsizetype greatestEncoded = 4096; // bytes of a message that is cached
constexpr qint64 longMessage = 4096; // bytes; one that may have to wait for memory
constexpr std::chrono::milliseconds starvedPause {20};

qint64 bytesOf(const QString &text)
{
    return text.size() * qint64(sizeof(QChar));
}

qint64 bytesOf(const Reply &reply)
{
    return qint64(sizeof(Reply)) + bytesOf(reply.keyword) + reply.text.size();
}

Record recordOf(const Node &keyword)
{
    return {keyword.value, keyword.type, keyword.connected, keyword.online, keyword.consistent,
            keyword.error, true};
}

} // namespace

bool SessionState::mayRead(const QString &path) const
{
    return !rights || rights->mayRead(path);
}

// Patterns are not compared for each change: a client could cause very many comparisons.
void SessionState::updateRights(Aggregate *aggregate) const
{
    for (Aggregate::Child &child : aggregate->children)
        child.mayBeRead = child.node && mayRead(child.node->path);
}

void SessionState::clearWaiting()
{
    for (const Waiting &place : waiting) {
        if (place.watch && !place.watch->node && place.turn == place.watch->turn)
            delete place.watch;
        else if (place.watch && place.watch->node)
            place.watch->queued = false;
    }
    waiting.clear();
    waitingAnswers = 0;
    answerBytes = 0;
}

// A sender in progress must not access the session or the server any more.
void SessionState::stopSending()
{
    if (sending)
        *std::exchange(sending, nullptr) = false;
}

// Only what its client has written before counts from now on.
void SessionState::hangUp()
{
    left = true;
    clearWaiting();
}

KeywordServer::Private::Private(KeywordServer *q) : q(q)
{
    clock.start();
    writeTimer.setSingleShot(true);
    QObject::connect(&writeTimer, &QTimer::timeout, q, [this] { expireWrites(); });
    starvedTimer.setSingleShot(true);
    starvedTimer.setInterval(starvedPause);
    QObject::connect(&starvedTimer, &QTimer::timeout, q, [this] { resumeStarved(); });
    formTimer.setSingleShot(true);
    formTimer.setInterval(formPause);
    QObject::connect(&formTimer, &QTimer::timeout, q, [this] { formThoseBehind(); });
}

KeywordServer::Private::~Private()
{
    for (SessionState *const session : std::as_const(sessions)) {
        session->stopSending();
        session->clearWaiting();
        qDeleteAll(session->watches);
        qDeleteAll(session->aggregates);
        session->watches.clear();
        session->aggregates.clear();
    }
}

Record KeywordServer::Private::record(const SessionState *session, Node *node, const QString &path)
{
    return node && node->declared && session->mayRead(path) ? recordOf(*node)
                                                            : formed(session, path);
}

Record KeywordServer::Private::record(const SessionState *session, const Aggregate::Child &child)
{
    if (!child.node)
        return {};
    return child.node->declared && child.mayBeRead ? recordOf(*child.node)
                                                   : formed(session, child.node->path);
}

// The state of a path without a keyword.
Record KeywordServer::Private::formed(const SessionState *session, const QString &path)
{
    if (Aggregate *const aggregate = session->aggregates.value(path))
        return aggregateRecord(*aggregate);
    if (path.endsWith(labelSuffix))
        return labelRecord(session, path);
    return {};
}

Record KeywordServer::Private::labelRecord(const SessionState *session, const QString &path)
{
    Record record {QStringLiteral(""), Type::String, true, true, true, false, true};
    if (Node *const labelled = labelledFor(*session, path))
        record.value = labelled->extras->label;
    return record;
}

// What the path of a label is the label of, if it has one that the session may read; or null.
Node *KeywordServer::Private::labelledFor(const SessionState &session, const QString &path)
{
    if (!path.endsWith(labelSuffix))
        return nullptr;
    Node *const labelled = tree.find(path.chopped(labelSuffix.size()));
    const bool isLabelled = labelled && labelled->extras && !labelled->extras->label.isEmpty();
    return isLabelled && isVisible(session, labelled) ? labelled : nullptr;
}

// Whether the session finds the node when it lists what there is.
bool KeywordServer::Private::isVisible(const SessionState &session, Node *node)
{
    if (!session.rights || session.rights->isReadingEverything())
        return node->listed;
    if (node->declared && session.rights->mayRead(node->path))
        return true;
    return !node->children.empty() && session.rights->mayLeadToReadable(node->path)
        && std::any_of(node->children.cbegin(), node->children.cend(),
                       [&](Node *child) { return isVisible(session, child); });
}

// Computes each aggregate once, regardless of how many others refer to it, and with a limited
// depth: otherwise, a client could cause an endless computation or a stack overflow.
Record KeywordServer::Private::aggregateRecord(Aggregate &aggregate)
{
    if (aggregate.formedIn == round)
        return aggregate.formed;
    if (nesting == greatestNesting) {
        Record result;
        result.exists = result.error = true;
        return result;
    }
    ++nesting;
    Record result = aggregated(aggregate);
    --nesting;
    aggregate.formed = result;
    aggregate.formedIn = round;
    formedInRound.push_back(&aggregate);
    if (nesting == 0 && !inRound)
        endRound();
    return result;
}

// Previous values are not kept: each aggregate could have another one, of any length.
void KeywordServer::Private::endRound()
{
    for (Aggregate *const aggregate : formedInRound)
        aggregate->formed = {};
    formedInRound.clear();
    ++round;
}

Record KeywordServer::Private::aggregated(Aggregate &aggregate)
{
    Record result;
    result.exists = true;
    result.connected = result.online = true;
    if (aggregate.computing) {
        result.error = true; // an aggregate over itself
        return result;
    }

    aggregate.computing = true;
    aggregate.session->formingLeft -= costOfAggregate + qint64(aggregate.children.size());
    QVariantList values;
    for (const Aggregate::Child &child : aggregate.children) {
        const Record part = record(aggregate.session, child);
        result.connected &= part.exists && part.connected;
        result.online &= part.exists && part.online;
        result.consistent &= part.exists && part.consistent;
        result.error |= part.error;
        if (!part.exists)
            continue;
        if (values.isEmpty())
            result.type = part.type;
        else if (part.type != result.type)
            result.consistent = false;
        values.append(part.value);
    }
    aggregate.computing = false;

    const QString &mode = aggregate.mode;
    const auto all = [&values](auto &&test) {
        return !values.isEmpty() && std::all_of(values.cbegin(), values.cend(), test);
    };
    const auto isBool = [](const QVariant &value) { return value.typeId() == QMetaType::Bool; };
    if (mode == QLatin1String("eql")) {
        if (all([&](const QVariant &value) { return value == values.constFirst(); }))
            result.value = values.constFirst();
    } else if (mode == QLatin1String("bool_and") || mode == QLatin1String("bool_or")) {
        const bool isAnd = mode == QLatin1String("bool_and");
        result.type = Type::Bool;
        if (!all(isBool)) {
            result.consistent = false;
        } else {
            const auto isTrue = [](const QVariant &value) { return value.toBool(); };
            result.value = isAnd ? std::all_of(values.cbegin(), values.cend(), isTrue)
                                 : std::any_of(values.cbegin(), values.cend(), isTrue);
        }
    } else if (mode == QLatin1String("min") || mode == QLatin1String("max")
               || mode == QLatin1String("sum")) {
        if (!all(isNumber)) {
            result.consistent = false;
        } else {
            if (!all([](const QVariant &value) { return value.typeId() != QMetaType::Double; }))
                result.type = Type::Double;
            double number = values.constFirst().toDouble();
            for (int i = 1; i < values.size(); ++i) {
                const double next = values.at(i).toDouble();
                number = mode == QLatin1String("min") ? std::min(number, next)
                    : mode == QLatin1String("max")    ? std::max(number, next)
                                                      : number + next;
            }
            if (result.type == Type::Int && !isWholeNumber(number))
                result.type = Type::Double; // too great a sum
            result.value = asType(number, result.type);
        }
    } else {
        result.error = true; // a mode that is not known
    }
    return result;
}

namespace {

// Whether changes of the node may affect the aggregate. Those that its session may not read must
// not have it formed anew: an aggregate that is behind sends an event even if nothing has changed.
bool dependsOn(const Aggregate &aggregate, const Node *node)
{
    return !aggregate.session->rights
        || std::any_of(aggregate.children.cbegin(), aggregate.children.cend(),
                       [node](const Aggregate::Child &child) {
                           return child.node == node && child.mayBeRead;
                       });
}

} // namespace

// Notifies the sessions that watch a node, and then those of the aggregates over it whose values
// have changed.
void KeywordServer::Private::changed(Node *node)
{
    node->version = ++lastVersion;
    for (Watch *watch = node->watches; watch; watch = watch->next) {
        if (!watch->hidden)
            enqueue(watch);
    }
    if (node->extras && !node->extras->aggregates.empty()) {
        // Those that are behind will be formed from the newest values. There may be very many.
        const auto &all = node->extras->aggregates;
        std::vector<Aggregate *> pending;
        std::copy_if(all.cbegin(), all.cend(), std::back_inserter(pending),
                     [node](const Aggregate *aggregate) {
                         return !aggregate->isBehind && dependsOn(*aggregate, node);
                     });
        if (!pending.empty())
            changed(std::move(pending));
    }
    sendAll();
}

void KeywordServer::Private::changed(std::vector<Aggregate *> pending, Forming forming)
{
    const std::size_t given = pending.size();
    QSet<Aggregate *> seen(pending.cbegin(), pending.cend());
    inRound = true;
    for (std::size_t i = 0; i < pending.size(); ++i) {
        Aggregate &aggregate = *pending[i];
        const bool mayWait = forming == Forming::WhenThereIsTime || i >= given;
        if (mayWait && !hasTimeFor(aggregate.session)) {
            aggregate.session->behind.insert(&aggregate);
            aggregate.isBehind = true;
            aggregate.last = {};
            ++counts.delayedAggregates;
            continue;
        }
        if (std::exchange(aggregate.isBehind, false))
            aggregate.session->behind.remove(&aggregate);
        Record now = aggregateRecord(aggregate);
        if (now == aggregate.last)
            continue;
        aggregate.last = std::move(now);
        aggregate.version = ++lastVersion;
        Node *const node = tree.find(aggregate.path);
        if (!node)
            continue;
        for (Watch *watch = node->watches; watch; watch = watch->next) {
            if (watch->session == aggregate.session && !watch->showsKeyword())
                enqueue(watch);
        }
        if (!node->extras)
            continue;
        for (Aggregate *const over : node->extras->aggregates) {
            if (over->session == aggregate.session && !over->isBehind && !seen.contains(over)) {
                seen.insert(over);
                pending.push_back(over);
            }
        }
    }
    inRound = false;
    endRound();
}

// Otherwise, one client could keep the server busy, since each change of one keyword may affect all
// of its aggregates.
bool KeywordServer::Private::hasTimeFor(SessionState *session)
{
    if (!session->limited || session->formingLeft > 0)
        return true;
    const qint64 now = clock.elapsed();
    const qint64 gained = (now - session->formingSince) * formedPerMillisecond;
    session->formingLeft = qMin(mostFormedAtOnce, session->formingLeft + gained);
    session->formingSince = now;
    if (session->formingLeft > 0)
        return true;
    if (!formTimer.isActive())
        formTimer.start();
    return false;
}

void KeywordServer::Private::formThoseBehind()
{
    for (SessionState *const session : std::as_const(sessions)) {
        if (session->behind.isEmpty())
            continue;
        std::vector<Aggregate *> behind(session->behind.cbegin(), session->behind.cend());
        std::sort(behind.begin(), behind.end(), ByAge());
        changed(std::move(behind));
    }
    sendAll();
}

// The text of the label is another one.
void KeywordServer::Private::labelChanged(const QString &path)
{
    Node *const node = tree.find(path + labelSuffix);
    if (!node)
        return;
    node->version = ++lastVersion;
    for (Watch *watch = node->watches; watch; watch = watch->next) {
        const bool showedLabel = watch->showsLabel;
        watch->showsLabel = labelledFor(*watch->session, node->path);
        if ((showedLabel || watch->showsLabel) && !watch->showsKeyword())
            enqueue(watch);
    }
    if (node->extras) {
        Node *const labelled = tree.find(path);
        std::vector<Aggregate *> over;
        std::copy_if(node->extras->aggregates.cbegin(), node->extras->aggregates.cend(),
                     std::back_inserter(over), [&](const Aggregate *aggregate) {
                         const SessionState &session = *aggregate->session;
                         return !session.rights || (labelled && isVisible(session, labelled));
                     });
        changed(std::move(over));
    }
    sendAll();
}

// Labels on the way from a keyword that is listed to the top: whether they can be read depends on
// the keyword. Such nodes are never dropped.
std::vector<Node *> KeywordServer::Private::labelledAbove(Node *node)
{
    std::vector<Node *> labelled;
    for (Node *level = node; level && level != tree.root(); level = level->parent) {
        if (level->extras && !level->extras->label.isEmpty())
            labelled.push_back(level);
    }
    return labelled;
}

// A keyword below these levels has been declared or removed. Sessions that may not read it must not
// notice that.
void KeywordServer::Private::visibilityChanged(const std::vector<Node *> &labelled,
                                               const QString &keyword, bool isDeclared)
{
    for (const Node *const level : labelled) {
        Node *const node = tree.find(level->path + labelSuffix);
        if (!node)
            continue;
        node->version = ++lastVersion;
        for (Watch *watch = node->watches; watch; watch = watch->next) {
            if (watch->showsLabel == isDeclared || !watch->session->mayRead(keyword))
                continue;
            watch->showsLabel = labelledFor(*watch->session, node->path);
            if (watch->showsLabel == isDeclared && !watch->showsKeyword())
                enqueue(watch);
        }
        if (!node->extras)
            continue;
        std::vector<Aggregate *> over;
        std::copy_if(node->extras->aggregates.cbegin(), node->extras->aggregates.cend(),
                     std::back_inserter(over), [&](const Aggregate *aggregate) {
                         return aggregate->session->mayRead(keyword);
                     });
        changed(std::move(over));
    }
}

// Marks a keyword of a session as changed. Its value is looked up when there is room for it.
void KeywordServer::Private::enqueue(Watch *watch, Place place)
{
    SessionState *const session = watch->session;
    if (session->left)
        return;
    if (watch->queued) {
        ++counts.skippedValues;
        if (place == Place::Any && !watch->refusedBehind)
            return;
        ++session->waitingAnswers; // its earlier place is left until its turn comes
    }
    ++watch->turn; // an earlier place does not count any more
    watch->queued = true;
    watch->refusedBehind = false;
    watch->showsRefusal = false;
    session->waiting.push_back({watch, nullptr, watch->turn});
    if (!session->inTurn) {
        session->inTurn = true;
        toSend.push_back(session);
    }
}

void KeywordServer::Private::enqueueAnswer(SessionState *session, const QByteArray &answer)
{
    enqueueReply(session, {Reply::Answer, {}, answer});
}

void KeywordServer::Private::enqueueRefusal(SessionState *session, const QString &keyword)
{
    Watch *const watch = session->watches.value(keyword);
    if (watch && !session->left) {
        watch->refusedBehind = watch->queued;
        watch->showsRefusal = true;
    }
    enqueueReply(session, {Reply::Refusal, keyword, {}});
}

void KeywordServer::Private::enqueueReply(SessionState *session, Reply reply)
{
    if (session->left)
        return;
    session->answerBytes += bytesOf(reply);
    ++session->waitingAnswers;
    session->waiting.push_back({nullptr, std::make_unique<Reply>(std::move(reply)), 0});
}

void KeywordServer::Private::sendAll()
{
    if (batch > 0 || sendingAll)
        return;
    sendingAll = true;
    const QPointer<KeywordServer> server(q);
    // Receivers may change anything, which adds to the list.
    while (!toSend.empty()) {
        SessionState *const session = toSend.front();
        toSend.pop_front();
        session->inTurn = false;
        send(session);
        if (!server)
            return;
    }
    sendingAll = false;
}

// Sends the waiting data of a session until its transport has no room. Data added in the meantime
// is appended.
void KeywordServer::Private::send(SessionState *session)
{
    if (session->sending != nullptr)
        return;
    bool sending = true;
    // cppcheck-suppress autoVariables ; reset below, unless the session is gone
    session->sending = &sending;
    while (!session->waiting.empty() && !session->paused) {
        if (mustWait(session, session->waiting.front()))
            break;
        const Waiting next = std::move(session->waiting.front());
        session->waiting.pop_front();
        if (next.watch) {
            if (next.turn != next.watch->turn) {
                --session->waitingAnswers;
                continue;
            }
            if (!next.watch->node) {
                --session->waitingAnswers;
                delete next.watch;
                continue;
            }
            next.watch->queued = false;
        } else {
            --session->waitingAnswers;
            session->answerBytes -= bytesOf(*next.reply);
        }
        const QByteArray message =
            next.watch ? messageFor(next.watch) : messageFor(session, *next.reply);
        if (!message.isEmpty())
            transmit(session, message);
        if (!sending)
            return;
    }
    session->sending = nullptr;
}

// A client that reads nothing may still receive a message, as there would be no signal later that
// it has room. A long message waits until there is memory for it: many such clients would use too
// much.
bool KeywordServer::Private::mustWait(SessionState *session, const Waiting &next)
{
    if (!session->limited || budget->waiting < limits.totalSendingBytes)
        return false;
    qint64 bytes = 0;
    if (next.reply) {
        bytes = bytesOf(*next.reply);
        if (next.reply->kind == Reply::Index)
            bytes += limits.answerBytes;
    } else if (const Node *const node = next.watch->node) {
        const Aggregate *const aggregate = session->aggregates.value(node->path);
        bytes = bytesOf(next.watch->keyword)
            + memoryOf(aggregate ? aggregate->last.value : node->value);
    }
    if (bytes <= longMessage)
        return false;
    session->paused = session->starved = true;
    ++budget->pauses;
    if (!starvedTimer.isActive())
        starvedTimer.start();
    return true;
}

void KeywordServer::Private::resumeStarved()
{
    const QPointer<KeywordServer> server(q);
    const QList<KeywordSession *> all = sessions.keys();
    for (KeywordSession *const session : all) {
        if (!server)
            return;
        if (SessionState *const state = sessions.value(session); state && state->starved)
            session->resume();
    }
}

void KeywordServer::Private::transmit(SessionState *session, const QByteArray &message)
{
    ++counts.events;
    counts.bytesOut += quint64(message.size());
    if (!session->receiver) {
        Q_EMIT session->q->send(message);
        return;
    }
    const bool *const sending = session->sending;
    session->receiver(message);
    if (*sending && !session->hasRoom())
        session->paused = true;
}

// Empty for an aggregate that is behind: its event follows.
QByteArray KeywordServer::Private::messageFor(Watch *watch)
{
    Node *const node = watch->node;
    const bool isKeyword = watch->showsKeyword();
    const Aggregate *const aggregate =
        isKeyword ? nullptr : watch->session->aggregates.value(node->path);
    if (aggregate && aggregate->isBehind)
        return {};
    const bool isShared =
        (!watch->session->rights || isKeyword) && watch->keyword.size() <= greatestEncoded;
    const quint64 version = aggregate ? aggregate->version : node->version;
    const auto isIt = [&](const Encoded &slot) {
        return isShared && slot.version == version && slot.keyword == watch->keyword;
    };
    Encoded *slot = isIt(longEncoded) ? &longEncoded : &encoded[version % encoded.size()];
    if (!isIt(*slot)) {
        const Record current = aggregate ? aggregate->last
            : isKeyword                  ? recordOf(*node)
                                         : record(watch->session, node, node->path);
        QByteArray message = eventText(watch->keyword, current);
        if (!isShared)
            return message;
        if (message.size() > greatestEncoded)
            slot = &longEncoded;
        *slot = {version, watch->keyword, message};
    }
    return slot->message;
}

// Empty for a refusal without a keyword, which a client may have left out.
QByteArray KeywordServer::Private::messageFor(SessionState *session, const Reply &reply)
{
    if (reply.kind == Reply::Answer)
        return reply.text;
    if (reply.kind == Reply::Index)
        return indexAnswer(session, reply.text);
    if (reply.keyword.isNull())
        return {};
    const QString path = KeywordServer::normalizedPath(reply.keyword);
    Record current = record(session, tree.find(path), path);
    current.error |= reply.kind == Reply::Refusal;
    return eventText(reply.keyword, current);
}

// The role of a session is another one.
void KeywordServer::Private::updateRights(SessionState *session)
{
    static const auto none = std::make_shared<const Rights>();
    session->rights =
        session->peer.role == fullRights ? nullptr : roles.value(session->peer.role, none);
    std::vector<Aggregate *> aggregates(session->aggregates.cbegin(), session->aggregates.cend());
    for (Aggregate *const aggregate : aggregates)
        session->updateRights(aggregate);
    for (Watch *const watch : std::as_const(session->watches)) {
        const bool hidden = !session->mayRead(watch->node->path);
        const bool showsLabel = labelledFor(*session, watch->node->path);
        if (hidden == watch->hidden && showsLabel == watch->showsLabel)
            continue;
        watch->hidden = hidden;
        watch->showsLabel = showsLabel;
        enqueue(watch);
    }
    changed(std::move(aggregates), Forming::Now);
    sendAll();
}

void KeywordServer::Private::updateRightsOf(const QString &role)
{
    const QList<SessionState *> all = sessions.values();
    ++batch;
    for (SessionState *const session : all) {
        if (session->peer.role == role)
            updateRights(session);
    }
    --batch;
    sendAll();
}

/*!
    \namespace pellix::server
    \inmodule PellixClientServer
    \inheaderfile server/inprocesslink.h
    \brief Contains the keyword server and its transports.
*/

/*!
    \class pellix::server::KeywordServer
    \inmodule PellixClientServer
    \inheaderfile server/keywordserver.h
    \ingroup PellixClientServerClasses
    \brief The KeywordServer class is a keyword server without a transport.

    The application declares keywords and changes their values. Clients access the server through
    sessions, which linkInProcess() and WebSocketKeywordServer open. All functions accept both "/"
    and "#" as separators; events contain a keyword in the spelling of the client.

    When a client subscribes to a keyword, it receives the value immediately, and then every change
    until it unsubscribes. If the keyword does not exist, the event has neither \e connected nor \e
    online set; the keyword becomes available when it is declared. KEYWORD/Label of any path is its
    label, or an empty string if it has none. When a client subscribes to a keyword with children,
    the server computes the value from them while at least one client is subscribed.

    The server refuses a write by sending the writer an event with \e error set and the unchanged
    value. It does so if the keyword does not exist or does not grant write access, if the role of
    the session does not grant it, if the value does not fit the type, or if the write handler
    refuses the write or does not decide in time. Relative writes add to numbers and toggle Boolean
    values; they are based on the last pending write, if there is one.

    If the transport of a session has no room, the session receives the newest value of each keyword
    later; the values in between are skipped.

    The server and its sessions live in one thread. The code that opens a session owns it.
    \sa {Testing your QML without a server}, {The wire protocol}
*/

/*!
    \class pellix::server::KeywordServer::Keyword
    \inmodule PellixClientServer
    \inheaderfile server/keywordserver.h
    \ingroup PellixClientServerClasses
    \brief The Keyword struct contains the declaration of one keyword.
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::path
    \brief the path of the keyword, such as "/plant/tank1/level". "#" is equivalent to "/".
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::type
    \brief the type of its values: "bool", "int", "double", "string", or "object".
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::access
    \brief the access that the keyword grants: "N" for none, "R" to read, "RM" to read metadata, "W"
    to write, or "RW" to read and write. The default is "R". Reading is never refused; the access
    applies to writes and to the filter of index queries.
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::label
    \brief the value of KEYWORD/Label. The default is an empty string, for no label.
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::value
    \brief the initial value, which must fit the type. By default, there is none, which clients
    receive as null.
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::connected
    \brief the flag of this name in events; \c true by default.
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::online
    \brief the flag of this name in events; \c true by default.
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::consistent
    \brief the flag of this name in events; \c true by default.
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::error
    \brief the flag of this name in events; \c false by default.
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::assumesWrites
    \brief whether a written value is published before the write handler has decided. If the handler
    refuses the write, the previous value is published again. The default is \c false: clients
    receive a new value when the source has confirmed it.
*/

/*!
    \class pellix::server::KeywordServer::State
    \inmodule PellixClientServer
    \inheaderfile server/keywordserver.h
    \ingroup PellixClientServerClasses
    \brief The State struct contains the four state flags of a keyword.
*/

/*!
    \variable pellix::server::KeywordServer::State::connected
    \brief whether the keyword has a source; \c true by default.
*/

/*!
    \variable pellix::server::KeywordServer::State::online
    \brief whether its value is current; \c true by default.
*/

/*!
    \variable pellix::server::KeywordServer::State::consistent
    \brief whether its value is consistent with all its sources; \c true by default.
*/

/*!
    \variable pellix::server::KeywordServer::State::error
    \brief whether the keyword is in error; \c false by default.
*/

/*!
    \class pellix::server::KeywordServer::Batch
    \inmodule PellixClientServer
    \inheaderfile server/keywordserver.h
    \ingroup PellixClientServerClasses
    \brief The Batch class combines several changes.

    While a batch exists, you can declare, remove, and change keywords, and nothing is sent. When
    the last batch is destroyed, each client receives one event with the current state for each
    changed keyword to which it is subscribed. No handlers of the application run in between, except
    those that decide on a write.

    The server may be destroyed before the batch.
*/

/*!
    \typedef pellix::server::KeywordServer::WriteHandler

    A function that accepts or refuses the write of a client, immediately or later.
    \sa WriteRequest
*/

/*!
    \typedef pellix::server::KeywordServer::WriteCheck

    A function that receives the complete new value and returns whether the write is accepted.
*/

/*!
    \class pellix::server::Limits
    \inmodule PellixClientServer
    \inheaderfile server/limits.h
    \ingroup PellixClientServerClasses
    \brief The Limits struct contains the limits on the work and memory that clients can cause on a
    server.

    Requests beyond a limit are answered if possible, because a client would otherwise wait forever.
    All of them are counted in Statistics. Sessions that the application opens for itself have no
    limits.

    \sa KeywordServer::setLimits()
*/

/*!
    \variable pellix::server::Limits::watchedKeywords
    \brief the number of keywords to which one session can subscribe; 50 000 by default. Further
    keywords are reported as unknown.
*/

/*!
    \variable pellix::server::Limits::commandsPerSecond
    \brief the number of commands of one session per second; 50 000 by default, with bursts of up to
    two seconds. Further commands wait, and the connection is not read in the meantime.
*/

/*!
    \variable pellix::server::Limits::commandBytes
    \brief the length of one command; 1 MiB by default. A longer command is not processed, and a
    WebSocket is closed with the close code 1009, message too big. A command whose JSON document
    and values take more than 4 MiB of memory, such as one with 40 000 short lists, is not processed
    either.
*/

/*!
    \variable pellix::server::Limits::valueBytes
    \brief the length of a value that a session writes; 256 KiB by default. A longer value is
    refused.
*/

/*!
    \variable pellix::server::Limits::aggregatedKeywords
    \brief the number of children of one aggregate; 1 000 by default. An aggregate with more
    children is reported as unknown, or keeps its previous children and value if it has any.
*/

/*!
    \variable pellix::server::Limits::listedKeywords
    \brief the number of entries in one index reply; 10 000 by default. A longer reply is truncated.
*/

/*!
    \variable pellix::server::Limits::answerBytes
    \brief the length of one index reply, which contains the request; 2 MiB by default. A longer
    reply is truncated after the last complete entry.
*/

/*!
    \variable pellix::server::Limits::keywords
    \brief the number of declared keywords; 1 000 000 by default. KeywordServer::declare() refuses
    further keywords.
*/

/*!
    \variable pellix::server::Limits::sessionBytes
    \brief the memory that the server uses for the subscriptions, aggregates, and pending writes of
    one session; 8 MiB by default. Keywords beyond it are reported as unknown, and writes are
    refused.
*/

/*!
    \variable pellix::server::Limits::sendingBytes
    \brief the size of the messages that wait for one session; 64 KiB by default. At most
    half of it waits in the application, and the system is asked to buffer at most a quarter. Beyond
   it, only the changed keywords are recorded, and their newest values are sent later.
*/

/*!
    \variable pellix::server::Limits::totalSendingBytes
    \brief the size of the messages that wait for all sessions together; 64 MiB by default. Beyond
   it, a session without waiting messages still receives short ones. Messages of more than 4 KiB are
    delayed until less data waits.
*/

/*!
    \variable pellix::server::Limits::stalledTime
    \brief how long a session may make no progress; 30 seconds by default. Then it is closed.
*/

/*!
    \variable pellix::server::Limits::writeTime
    \brief how long a write may wait for its decision; 10 seconds by default. Then it is refused.
*/

/*!
    Returns the types that a keyword can have: "bool", "int", "double", "string", and "object".
*/
const QStringList &KeywordServer::types()
{
    static const QStringList types = {toWord(Type::Bool), toWord(Type::Int), toWord(Type::Double),
                                      toWord(Type::String), toWord(Type::Object)};
    return types;
}

/*!
    Returns the accesses that a keyword can grant: "N", "R", "RM", "W", and "RW".
*/
const QStringList &KeywordServer::accesses()
{
    static const QStringList accesses = {toWord(Access::None), toWord(Access::Read),
                                         toWord(Access::ReadMeta), toWord(Access::Write),
                                         toWord(Access::ReadWrite)};
    return accesses;
}

/*!
    Returns whether a keyword of \a type can hold \a value. An integer fits "int" even if it is
    stored as a double, and every number fits "double". Lists and maps fit "object".
*/
bool KeywordServer::fits(const QVariant &value, const QString &type)
{
    return server::fits(value, typeFromWord(type));
}

/*!
    Returns the path of \a keyword with "/" as the only separator, one before each level, and none
    at the end. The path is empty if \a keyword contains no level.
*/
QString KeywordServer::normalizedPath(const QString &keyword)
{
    const auto isSeparator = [](QChar character) {
        return character == QLatin1Char('/') || character == QLatin1Char('#');
    };
    // Most keywords are spelt like this.
    bool isNormal = keyword.startsWith(QLatin1Char('/')) && !isSeparator(keyword.back());
    for (qsizetype i = 1; isNormal && i < keyword.size(); ++i) {
        isNormal = keyword.at(i) != QLatin1Char('#')
            && (keyword.at(i) != QLatin1Char('/') || keyword.at(i - 1) != QLatin1Char('/'));
    }
    if (isNormal)
        return keyword;

    QString path;
    path.reserve(keyword.size() + 1);
    bool isStart = true; // of a level
    for (const QChar character : keyword) {
        if (isSeparator(character)) {
            isStart = true;
            continue;
        }
        if (isStart)
            path += QLatin1Char('/');
        isStart = false;
        path += character;
    }
    return path;
}

/*!
    Starts a batch: \a server sends nothing until this object is destroyed.
*/
KeywordServer::Batch::Batch(KeywordServer *server) : server(server)
{
    if (server)
        ++server->d->batch;
}

/*!
    Ends the batch. The server sends the changes, unless there is another batch.
*/
KeywordServer::Batch::~Batch()
{
    if (!server)
        return;
    --server->d->batch;
    server->d->sendAll();
}

/*!
    Constructs a server without keywords. If \a parent is given, it owns the server.
*/
KeywordServer::KeywordServer(QObject *parent) : QObject(parent), d(std::make_unique<Private>(this))
{ }

/*!
    Destroys the server. Its sessions continue to exist, but do not reply any more. Pending writes
    are discarded, and the audit device receives a line for each.
*/
KeywordServer::~KeywordServer()
{
    d->discard(std::exchange(d->writes, {}), QStringLiteral("the server was closed"));
}

/*!
    Declares \a keyword, or replaces the declaration with the same path. The existing write handler
    is kept, and so is the label if the label of \a keyword is empty.

    Returns \c false, and changes nothing, if the path is empty, the type or access is invalid, the
    value is set and does not fit the type, or limits() allow no further keywords.
*/
bool KeywordServer::declare(const Keyword &keyword)
{
    const QString path = normalizedPath(keyword.path);
    const Type type = typeFromWord(keyword.type);
    Access access = Access::Read;
    if (path.isEmpty() || type == Type::None || !accessFromWord(keyword.access, &access)
        || (keyword.value.isValid() && !server::fits(keyword.value, type)))
        return false;
    Node *node = d->tree.find(path);
    if ((!node || !node->declared) && keywordCount() >= d->limits.keywords) {
        ++d->counts.refusedDeclarations;
        return false;
    }

    node = d->tree.ensure(path);
    const bool isNew = !node->declared;
    const bool newLabel = !keyword.label.isEmpty() && node->more().label != keyword.label;
    if (newLabel)
        node->extras->label = keyword.label;
    node->type = type;
    node->access = access;
    node->value = keyword.value.isValid() ? asType(keyword.value, type) : QVariant();
    node->connected = keyword.connected;
    node->online = keyword.online;
    node->consistent = keyword.consistent;
    node->error = keyword.error;
    node->assumesWrites = keyword.assumesWrites;
    d->tree.declare(node);
    ++d->batch;
    d->changed(node);
    if (newLabel)
        d->labelChanged(path);
    if (isNew)
        d->visibilityChanged(d->labelledAbove(node), path, true);
    --d->batch;
    d->sendAll();
    return true;
}

/*!
    Removes the keyword at \a path. Subscribed clients receive an event with \e connected cleared.
    Returns whether there was such a keyword.
*/
bool KeywordServer::remove(const QString &path)
{
    Node *const node = d->nodeAt(path);
    if (!node || !node->declared)
        return false;
    const QString normalized = node->path;
    if (node->extras) {
        node->extras->writeHandler = nullptr;
        node->extras->label.clear();
    }
    node->value.clear();
    const std::vector<Node *> labelled = d->labelledAbove(node);
    d->tree.undeclare(node);
    ++d->batch;
    d->changed(node);
    d->labelChanged(normalized);
    d->visibilityChanged(labelled, normalized, false);
    d->tree.drop(node);
    --d->batch;
    d->sendAll();
    return true;
}

/*!
    Removes all keywords, labels, and subscriptions, like a restart. Sessions stay open and are not
    notified. Pending writes are discarded, and the audit device receives a line for each. Objects
    are no longer served. Roles are kept.
*/
void KeywordServer::clear()
{
    d->served.clear();
    const std::map<quint64, PendingWrite> discarded = d->writes;
    const QStringList requested = requestedKeywords({});
    for (const QString &path : requested)
        d->noteReleased(path);
    for (SessionState *const session : std::as_const(d->sessions)) {
        session->clearWaiting();
        qDeleteAll(session->watches);
        qDeleteAll(session->aggregates);
        session->watches.clear();
        session->aggregates.clear();
        session->behind.clear();
        session->refused.clear();
        session->bytes = session->writeBytes = 0;
    }
    d->writes.clear();
    d->deadlines.clear();
    d->writeBytes = 0;
    d->tree.clear();
    d->counts.watchedKeywords = 0;
    d->discard(discarded, QStringLiteral("the server was cleared"));
}

/*!
    Returns whether a keyword is declared at \a path.
*/
bool KeywordServer::contains(const QString &path) const
{
    const Node *const node = d->nodeAt(path);
    return node && node->declared;
}

/*!
    Returns the number of declared keywords.
*/
int KeywordServer::keywordCount() const
{
    return d->tree.keywordCount();
}

/*!
    Returns the value of the keyword at \a path, or an invalid variant if there is none.
*/
QVariant KeywordServer::value(const QString &path) const
{
    const Node *const node = d->nodeAt(path);
    return node && node->declared ? node->value : QVariant();
}

/*!
    Sets the keyword at \a path to \a value. If the value differs, subscribed clients are notified.

    The access of the keyword has no effect here. Returns \c false if there is no such keyword or
    the value does not fit its type.
*/
bool KeywordServer::setValue(const QString &path, const QVariant &value)
{
    Node *const node = d->nodeAt(path);
    if (!node || !node->declared || !server::fits(value, node->type))
        return false;
    QVariant typed = asType(value, node->type);
    if (typed != node->value) {
        node->value = std::move(typed);
        d->changed(node);
    }
    return true;
}

/*!
    Sets the four state flags of the keyword at \a path: \a connected, \a online, \a consistent, and
    \a error. If any of them differs, subscribed clients are notified. Returns whether there is such
    a keyword.
*/
bool KeywordServer::setState(const QString &path, bool connected, bool online, bool consistent,
                             bool error)
{
    Node *const node = d->nodeAt(path);
    if (!node || !node->declared)
        return false;
    if (node->connected == connected && node->online == online && node->consistent == consistent
        && node->error == error)
        return true;
    node->connected = connected;
    node->online = online;
    node->consistent = consistent;
    node->error = error;
    d->changed(node);
    return true;
}

/*!
    Sets the keyword at \a path to \a value and its state flags to \a state. If any of them differs,
    subscribed clients are notified once. An invalid \a value or a null pointer means the value
    null, which fits every type.

    Returns \c false, and changes nothing, if there is no such keyword or the value does not fit its
    type.
*/
bool KeywordServer::update(const QString &path, const QVariant &value, const State &state)
{
    Node *const node = d->nodeAt(path);
    const bool isNull = !value.isValid() || value.typeId() == QMetaType::Nullptr;
    if (!node || !node->declared || (!isNull && !server::fits(value, node->type)))
        return false;
    QVariant typed = isNull ? QVariant() : asType(value, node->type);
    if (node->connected == state.connected && node->online == state.online
        && node->consistent == state.consistent && node->error == state.error
        && typed == node->value)
        return true;
    node->value = std::move(typed);
    node->connected = state.connected;
    node->online = state.online;
    node->consistent = state.consistent;
    node->error = state.error;
    d->changed(node);
    return true;
}

/*!
    Sets the flags \e connected and \e online of the keyword at \a level, and of all keywords below
    it, to \a connected, and notifies subscribed clients. Use this function when a source that
    serves many keywords is lost or restored. "/" stands for all keywords. Returns the number of
    keywords.

    The values do not change, so clients can show the last ones.
*/
int KeywordServer::setConnected(const QString &level, bool connected)
{
    const QString path = normalizedPath(level);
    Node *const top = path.isEmpty() ? d->tree.root() : d->tree.find(path);
    if (!top)
        return 0;
    int count = 0;
    ++d->batch;
    std::vector<Node *> pending {top};
    while (!pending.empty()) {
        Node *const node = pending.back();
        pending.pop_back();
        pending.insert(pending.end(), node->children.cbegin(), node->children.cend());
        if (!node->declared)
            continue;
        ++count;
        if (node->connected == connected && node->online == connected)
            continue;
        node->connected = node->online = connected;
        d->changed(node);
    }
    --d->batch;
    d->sendAll();
    return count;
}

/*!
    Sets the label of \a path, which may be a keyword or a level above keywords, to \a label.
    Returns \c false if there is neither.
*/
bool KeywordServer::setLabel(const QString &path, const QString &label)
{
    Node *const node = d->nodeAt(path);
    if (!node || !node->listed)
        return false;
    if (node->more().label != label) {
        node->extras->label = label;
        d->labelChanged(node->path);
    }
    return true;
}

/*!
    Sets \a handler as the function that decides on each write to the keyword at \a path. An empty
    handler accepts all writes: the value is then stored in the server only.

    \sa WriteRequest, Keyword::assumesWrites
*/
void KeywordServer::setWriteHandler(const QString &path, const WriteHandler &handler)
{
    Node *const node = d->nodeAt(path);
    if (node && node->declared)
        node->more().writeHandler = handler;
}

/*!
    Sets \a check as the function that decides immediately on each write to the keyword at \a path:
    it receives the complete new value and returns whether the write is accepted. This replaces the
    write handler.
*/
void KeywordServer::setWriteCheck(const QString &path, const WriteCheck &check)
{
    if (!check) {
        setWriteHandler(path, {});
        return;
    }
    setWriteHandler(path, [check](const WriteRequest &request) {
        if (check(request.value()))
            request.accept();
        else
            request.refuse(QStringLiteral("its check refuses the value"));
    });
}

/*!
    Sets \a device as the audit device. For each write of a client, the server writes one line of
    JSON to it: the time in UTC, the name, address, and role of the session, the keyword, the value,
    the outcome ("accepted", "refused", or "timed out"), and the reason. Control characters, line
    separators, and characters that change the direction of text are escaped. The default is null,
    for no audit.

    The device must be open. The server does not own it, and it may be destroyed at any time.
*/
void KeywordServer::setAuditDevice(QIODevice *device)
{
    d->auditDevice = device;
}

/*!
    Adds \a role, or replaces the role with the same name; the rights of its sessions change
    immediately. Returns \c false, and changes nothing, if the name is empty or "*", or if one of
    the patterns is invalid.

    \sa Role::isPattern()
*/
bool KeywordServer::setRole(const Role &role)
{
    const auto arePatterns = [](const QStringList &texts) {
        return std::all_of(texts.cbegin(), texts.cend(), &Role::isPattern);
    };
    if (role.name.isEmpty() || role.name == fullRights || !arePatterns(role.read)
        || !arePatterns(role.write))
        return false;
    d->roles.insert(role.name, std::make_shared<const Rights>(role));
    d->updateRightsOf(role.name);
    return true;
}

/*!
    Removes the role \a name. Its sessions lose all rights, and their transports end them on the
    signal roleRemoved(). Returns whether there was such a role.
*/
bool KeywordServer::removeRole(const QString &name)
{
    if (d->roles.remove(name) == 0)
        return false;
    const QPointer<KeywordServer> alive(this);
    d->updateRightsOf(name);
    if (alive)
        Q_EMIT roleRemoved(name);
    return true;
}

/*!
    Returns the names of all roles, except the one with full rights.
*/
QStringList KeywordServer::roles() const
{
    QStringList names = d->roles.keys();
    names.sort();
    return names;
}

/*!
    Returns the limits. They do not apply to sessions that the application opens without a Peer.
*/
Limits KeywordServer::limits() const
{
    return d->limits;
}

/*!
    Sets the limits to \a limits. Existing data beyond them is kept. A client of a
    WebSocketKeywordServer keeps the limits that applied when it connected for the size of commands,
    their number per second, and the data that waits for it.
*/
void KeywordServer::setLimits(const Limits &limits)
{
    d->limits = limits;
}

/*!
    Opens a session with full rights and without limits, for the application itself. The session is
    owned by \a parent or, if that is null, by the caller.
*/
KeywordSession *KeywordServer::openSession(QObject *parent)
{
    return new KeywordSession(this, {QString(), QString(), fullRights}, false, parent);
}

/*!
    Opens a session for \a peer, with the rights of its role and subject to limits(). The role "*"
    has full rights; a role that does not exist has none until it is set. The session is owned by
    \a parent or, if that is null, by the caller.
*/
KeywordSession *KeywordServer::openSession(const Peer &peer, QObject *parent)
{
    return new KeywordSession(this, peer, true, parent);
}

/*!
    Returns the number of open sessions.
*/
int KeywordServer::sessionCount() const
{
    return int(d->sessions.size());
}

/*!
    Returns the paths of \a level and below to which clients are subscribed, directly or through an
    aggregate, in no particular order.

    \sa keywordRequested(), keywordReleased()
*/
QStringList KeywordServer::requestedKeywords(const QString &level) const
{
    const QString top = normalizedPath(level);
    QSet<QString> paths;
    const auto add = [&](const Node *node) {
        const bool isBelow = node && node->path.startsWith(top)
            && (node->path.size() == top.size() || node->path.at(top.size()) == QLatin1Char('/'));
        if (isBelow)
            paths.insert(node->path);
    };
    for (const SessionState *session : std::as_const(d->sessions)) {
        for (const Watch *watch : session->watches)
            add(watch->node);
        for (const Aggregate *aggregate : session->aggregates) {
            for (const Aggregate::Child &child : aggregate->children)
                add(child.node);
        }
    }
    return QStringList(paths.cbegin(), paths.cend());
}

/*!
    Returns the counters and the current state of the server.
*/
Statistics KeywordServer::statistics() const
{
    Statistics statistics = d->counts;
    statistics.clients = sessionCount();
    statistics.keywords = keywordCount();
    statistics.memoryBytes = d->tree.bytes() + d->writeBytes;
    statistics.sendingBytes = d->budget->waiting;
    statistics.sendingPauses = d->budget->pauses;
    for (const SessionState *session : std::as_const(d->sessions))
        statistics.memoryBytes += session->bytes + session->answerBytes;
    return statistics;
}

/*!
    \fn void KeywordServer::keywordRequested(const QString &path)

    This signal is emitted after a client has subscribed to \a path, directly or through an
    aggregate, and received its state. It is also emitted for clients that may not read \a path,
    because their role can change.

    \sa keywordReleased(), requestedKeywords()
*/

/*!
    \fn void KeywordServer::keywordReleased(const QString &path)

    This signal is emitted soon after the last client has unsubscribed from \a path or
    disconnected, unless another client has subscribed to it in the meantime.

    \sa keywordRequested()
*/

/*!
    \fn void KeywordServer::indexRequested(const QString &path)

    This signal is emitted when a client requests the keywords directly below \a path, before the
    reply: it contains what a slot declares and the client may read. The \a path is empty for the
   top level.
*/

/*!
    \fn void KeywordServer::valueWritten(const QString &path, const QVariant &value)

    This signal is emitted after the write of a client to \a path has been accepted and \a value has
    been set.
*/

/*!
    \fn void KeywordServer::roleRemoved(const QString &name)

    This signal is emitted after the role \a name has been removed.
*/

} // namespace pellix::server
