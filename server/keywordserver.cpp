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
#include <utility>

namespace pellix::server {

namespace {

const QLatin1String labelSuffix("/Label");
const QLatin1String fullRights("*");
constexpr int greatestNesting = 100; // of aggregates over aggregates

// A session may have so many children of aggregates looked at; then its aggregates wait a while.
constexpr qint64 formedPerMillisecond = 200;
constexpr std::chrono::milliseconds formPause {20};
constexpr qsizetype greatestEncoded = 4096; // bytes of a message that is kept beside others

qint64 bytesOf(const QString &text)
{
    return text.size() * qint64(sizeof(QChar));
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

// Patterns are not compared for each change: a client could have that be very many comparisons.
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

// Whoever sends just now must not touch the session any more, nor the server.
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

// What there is where no keyword is.
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
    Node *const labelled = tree.find(path.chopped(labelSuffix.size()));
    Record record {QString(QLatin1String("")), Type::String, true, true, true, false, true};
    if (labelled && labelled->extras && !labelled->extras->label.isEmpty()
        && isVisible(*session, labelled))
        record.value = labelled->extras->label;
    return record;
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

// Forms each aggregate once, however many others name it, and none at any depth: a client could
// have the server compute for ever, or run out of stack.
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
    if (nesting == 0 && !inRound)
        ++round;
    return result;
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
    aggregate.session->formingLeft -= qint64(aggregate.children.size());
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

// Tells the watchers of a node, and then those of the aggregates over it that are others by now.
void KeywordServer::Private::changed(Node *node)
{
    node->version = ++lastVersion;
    for (Watch *watch = node->watches; watch; watch = watch->next) {
        if (!watch->hidden)
            enqueue(watch);
    }
    if (node->extras && !node->extras->aggregates.empty())
        changed({node->extras->aggregates.cbegin(), node->extras->aggregates.cend()});
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
            continue;
        }
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
            if (over->session == aggregate.session && !seen.contains(over)) {
                seen.insert(over);
                pending.push_back(over);
            }
        }
    }
    inRound = false;
    ++round;
}

// Otherwise one client could have the server do nothing else, as each change of one keyword may
// concern all of its aggregates.
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

void KeywordServer::Private::labelChanged(const QString &path)
{
    Node *const node = tree.find(path + labelSuffix);
    if (!node || node->declared)
        return;
    node->version = ++lastVersion;
    Node *const labelled = tree.find(path);
    for (Watch *watch = node->watches; watch; watch = watch->next) {
        if (!labelled || isVisible(*watch->session, labelled))
            enqueue(watch);
    }
    sendAll();
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
    session->waiting.push_back({watch, watch->turn, QString(), QByteArray()});
    if (!session->inTurn) {
        session->inTurn = true;
        toSend.push_back(session);
    }
}

void KeywordServer::Private::enqueueAnswer(SessionState *session, const QByteArray &answer)
{
    if (session->left)
        return;
    session->waiting.push_back({nullptr, 0, QString(), answer});
    ++session->waitingAnswers;
    session->answerBytes += answer.size();
}

void KeywordServer::Private::enqueueRefusal(SessionState *session, const QString &keyword)
{
    if (session->left)
        return;
    if (Watch *const watch = session->watches.value(keyword))
        watch->refusedBehind = watch->queued;
    session->waiting.push_back({nullptr, 0, keyword, QByteArray()});
    ++session->waitingAnswers;
    session->answerBytes += bytesOf(keyword);
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

// Sends what waits for a session, until its transport has no room. What is added meanwhile waits
// behind.
void KeywordServer::Private::send(SessionState *session)
{
    if (session->sending)
        return;
    bool sending = true;
    session->sending = &sending;
    while (!session->waiting.empty() && !session->paused) {
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
            transmit(session, messageFor(next.watch));
        } else {
            --session->waitingAnswers;
            session->answerBytes -= next.answer.size() + bytesOf(next.keyword);
            if (!next.answer.isNull()) {
                transmit(session, next.answer);
            } else if (!next.keyword.isNull()) { // which a client may have left out
                const QString path = KeywordServer::normalizedPath(next.keyword);
                Record refused = record(session, tree.find(path), path);
                refused.error = true;
                transmit(session, eventText(next.keyword, refused));
            }
        }
        if (!sending)
            return;
    }
    session->sending = nullptr;
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

QByteArray KeywordServer::Private::messageFor(Watch *watch)
{
    Node *const node = watch->node;
    const bool isKeyword = watch->showsKeyword();
    const Aggregate *const aggregate =
        isKeyword ? nullptr : watch->session->aggregates.value(node->path);
    const bool isShared = !watch->session->rights || isKeyword;
    const quint64 version = aggregate ? aggregate->version : node->version;
    const auto isIt = [&](const Encoded &slot) {
        return isShared && slot.version == version && slot.keyword == watch->keyword;
    };
    Encoded *slot = isIt(longEncoded) ? &longEncoded : &encoded[version % encoded.size()];
    if (!isIt(*slot)) {
        const Record current = aggregate ? aggregate->last
            : isKeyword                  ? recordOf(*node)
                                         : record(watch->session, node, node->path);
        const QByteArray message = eventText(watch->keyword, current);
        if (!isShared)
            return message;
        if (message.size() > greatestEncoded)
            slot = &longEncoded;
        *slot = {version, watch->keyword, message};
    }
    return slot->message;
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
        if (hidden == watch->hidden && !watch->node->path.endsWith(labelSuffix))
            continue;
        watch->hidden = hidden;
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
    \brief Contains the keyword server and the transports that lead to it.
*/

/*!
    \class pellix::server::KeywordServer
    \inmodule PellixClientServer
    \inheaderfile server/keywordserver.h
    \ingroup PellixClientServerClasses
    \brief The KeywordServer class is a keyword server without a transport.

    The program that holds it declares keywords and changes their values; clients reach it through
    sessions, which linkInProcess() and WebSocketKeywordServer open. All paths are taken with "/"
    and "#" alike; events name a keyword as the client spelt it.

    A client that asks for a keyword gets its value at once, and every change of it until it lets
    go. One that does not exist is answered with neither connected nor online, and comes alive when
    it is declared. KEYWORD/Label of any path is its label, empty when it has none. Asked for a
    keyword with children, the server forms it from them, for as long as somebody watches it.

    A write is refused, with an event to the writer that carries \e error and the unchanged value,
    when the keyword does not exist or grants no write access, when the role of the session does
    not, when the value does not fit its type, or when its write handler refuses it or does not
    decide in time. Relative writes add to numbers and toggle a bool; they count from the last write
    that is not decided yet.

    Sessions whose transport has no room are told the newest value of each keyword once it has; the
    values in between are left out.

    All of it lives in one thread. Sessions are owned by whoever opened them.
    \sa {Testing your QML without a server}, {The wire protocol}
*/

/*!
    \class pellix::server::KeywordServer::Keyword
    \inmodule PellixClientServer
    \inheaderfile server/keywordserver.h
    \ingroup PellixClientServerClasses
    \brief The Keyword struct is what a program declares of one keyword.
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::path
    \brief where the keyword stands, such as "/plant/tank1/level"; "#" counts as "/".
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::type
    \brief the type of its values: "bool", "int", "double", "string" or "object".
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::access
    \brief what clients may do with it: "N" for nothing, "R" to read, "RM" to read what describes
    it, "W" to write, "RW" for both. The default is "R". Reading is never refused; the access counts
    for writes and for the filter of index queries.
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::label
    \brief what KEYWORD/Label answers; empty, for none, by default.
*/

/*!
    \variable pellix::server::KeywordServer::Keyword::value
    \brief the first value, which has to fit the type. By default none, which clients see as null.
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
    \brief whether a write that has a handler is shown at once, before the handler has decided. If
   it is refused, the value from before is shown again. \c false by default: clients see a new value
    when the source has confirmed it.
*/

/*!
    \class pellix::server::KeywordServer::State
    \inmodule PellixClientServer
    \inheaderfile server/keywordserver.h
    \ingroup PellixClientServerClasses
    \brief The State struct holds the four state flags of a keyword.
*/

/*!
    \variable pellix::server::KeywordServer::State::connected
    \brief whether the keyword has a source; \c true by default.
*/

/*!
    \variable pellix::server::KeywordServer::State::online
    \brief whether its value is of now; \c true by default.
*/

/*!
    \variable pellix::server::KeywordServer::State::consistent
    \brief whether its value agrees with what else is known; \c true by default.
*/

/*!
    \variable pellix::server::KeywordServer::State::error
    \brief whether something is wrong with it; \c false by default.
*/

/*!
    \class pellix::server::KeywordServer::Batch
    \inmodule PellixClientServer
    \inheaderfile server/keywordserver.h
    \ingroup PellixClientServerClasses
    \brief The Batch class has changes told together.

    While one exists, keywords can be declared, removed and changed, and nothing of it is sent. With
    the end of the last one, each client is told of every keyword that it watches and that changed,
    once and as it is then. No handler of the program runs in between, unless it answers a write.

    The server may be destroyed first.
*/

/*!
    \typedef pellix::server::KeywordServer::WriteHandler

    A function that gets a client's write and accepts or refuses it, at once or later.
    \sa WriteRequest
*/

/*!
    \typedef pellix::server::KeywordServer::WriteCheck

    A function that gets the whole new value and returns whether the write is accepted.
*/

/*!
    \class pellix::server::Limits
    \inmodule PellixClientServer
    \inheaderfile server/limits.h
    \ingroup PellixClientServerClasses
    \brief The Limits struct holds what clients can have a server do and keep.

    Whatever can be answered beyond a limit is answered, as a client would wait for ever otherwise,
   and each is counted in Statistics. Sessions that the program opens for itself have no limits. \sa
   KeywordServer::setLimits()
*/

/*!
    \variable pellix::server::Limits::watchedKeywords
    \brief keywords that one session watches; 50 000 by default. Others are answered as not known.
*/

/*!
    \variable pellix::server::Limits::commandsPerSecond
    \brief commands of one session; 50 000 by default, and those of two seconds at once. Others
   wait, and their connection is not read meanwhile.
*/

/*!
    \variable pellix::server::Limits::commandBytes
    \brief the length of one command; 1 MiB by default. A longer one is not taken, and a WebSocket
   is closed.
*/

/*!
    \variable pellix::server::Limits::valueBytes
    \brief the length of a value that a session writes; 256 KiB by default. A longer one is refused.
*/

/*!
    \variable pellix::server::Limits::aggregatedKeywords
    \brief children of one aggregate; 1 000 by default. One with more is answered as not known.
*/

/*!
    \variable pellix::server::Limits::listedKeywords
    \brief entries of one index answer; 10 000 by default. A longer one is cut.
*/

/*!
    \variable pellix::server::Limits::keywords
    \brief declared keywords; 1 000 000 by default. KeywordServer::declare() refuses others.
*/

/*!
    \variable pellix::server::Limits::sessionBytes
    \brief memory that one session has the server use; 12 MiB by default. Keywords beyond it are
    answered as not known.
*/

/*!
    \variable pellix::server::Limits::sendingBytes
    \brief messages that wait for one session, here and in the system together; 64 KiB by default.
    Beyond it, changes are kept as changes, and told later with the newest values.
*/

/*!
    \variable pellix::server::Limits::totalSendingBytes
    \brief messages that wait for all sessions together; 64 MiB by default.
*/

/*!
    \variable pellix::server::Limits::stalledTime
    \brief how long a session may make no progress; 30 s by default. Then it is dropped.
*/

/*!
    \variable pellix::server::Limits::writeTime
    \brief how long a write may wait for its decision; 10 s by default. Then it is refused.
*/

/*!
    Returns the types that a keyword can have: "bool", "int", "double", "string" and "object".
*/
const QStringList &KeywordServer::types()
{
    static const QStringList types = {toWord(Type::Bool), toWord(Type::Int), toWord(Type::Double),
                                      toWord(Type::String), toWord(Type::Object)};
    return types;
}

/*!
    Returns what a keyword can grant: "N", "R", "RM", "W" and "RW".
*/
const QStringList &KeywordServer::accesses()
{
    static const QStringList accesses = {toWord(Access::None), toWord(Access::Read),
                                         toWord(Access::ReadMeta), toWord(Access::Write),
                                         toWord(Access::ReadWrite)};
    return accesses;
}

/*!
    Returns whether a keyword of \a type can hold \a value. Whole numbers fit "int" also as a
   double, and every number fits "double"; lists and maps are an "object".
*/
bool KeywordServer::fits(const QVariant &value, const QString &type)
{
    return server::fits(value, typeFromWord(type));
}

/*!
    Returns the path of \a keyword: with "/" as its only separator, one before each level, and none
   at the end. It is empty when the text names no level.
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
    Has \a server tell nothing until this object is destroyed.
*/
KeywordServer::Batch::Batch(KeywordServer *server) : server(server)
{
    if (server)
        ++server->d->batch;
}

/*!
    Has the server tell what changed, unless another batch goes on.
*/
KeywordServer::Batch::~Batch()
{
    if (!server)
        return;
    --server->d->batch;
    server->d->sendAll();
}

/*!
    Constructs a server without keywords. \a parent owns it, if given.
*/
KeywordServer::KeywordServer(QObject *parent) : QObject(parent), d(std::make_unique<Private>(this))
{ }

/*!
    Destroys the server. Its sessions live on and answer nothing.
*/
KeywordServer::~KeywordServer() = default;

/*!
    Declares \a keyword, or replaces what was declared under its path. The label and the write
   handler that it had stay, unless the label of \a keyword is not empty.

    Returns \c false, and changes nothing, when its path is empty, its type or access is none of
    those listed with the struct, its value is set and does not fit the type, or there are as many
    keywords as limits() allow.
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
    --d->batch;
    d->sendAll();
    return true;
}

/*!
    Removes the keyword at \a path. Clients that watch it are told that it is not connected. Returns
    whether there was one.
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
    d->tree.undeclare(node);
    ++d->batch;
    d->changed(node);
    d->labelChanged(normalized);
    d->tree.drop(node);
    --d->batch;
    d->sendAll();
    return true;
}

/*!
    Forgets all keywords, labels and subscriptions, as a restart would. Sessions stay open and are
    not told. Writes that are not decided yet are forgotten, too. Objects are served no more. Roles
    stay.
*/
void KeywordServer::clear()
{
    d->served.clear();
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
    d->writeBytes = 0;
    d->tree.clear();
    d->counts.watchedKeywords = 0;
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
    Returns the value of the keyword at \a path, or an invalid variant when there is none.
*/
QVariant KeywordServer::value(const QString &path) const
{
    const Node *const node = d->nodeAt(path);
    return node && node->declared ? node->value : QVariant();
}

/*!
    Sets the keyword at \a path to \a value and tells those who watch it, if it is another one.

    Access plays no part here. Returns \c false when there is no such keyword or the value does not
    fit its type.
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
    Sets the four state flags of the keyword at \a path, \a connected, \a online, \a consistent and
    \a error, and tells those who watch it, if one differs. Returns whether there is such a keyword.
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
    Sets the keyword at \a path to \a value and its state flags to \a state, and tells those who
    watch it once, if one of them differs. A \a value that is invalid, or a null pointer, is the
    value null, which every type can have.

    Returns \c false, and changes nothing, when there is no such keyword or the value does not fit
    its type.
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
    it, to \a connected, and tells those who watch them. This is how a source that serves many
    keywords goes and comes back. "/" stands for all keywords. Returns how many there are.

    The values stay, so that clients can show the last ones.
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
    Returns \c false when there is neither.
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
    Has \a handler decide on each write to the keyword at \a path. An empty one accepts all: then
   the server itself is where the value is kept. \sa WriteRequest, Keyword::assumesWrites
*/
void KeywordServer::setWriteHandler(const QString &path, const WriteHandler &handler)
{
    Node *const node = d->nodeAt(path);
    if (node && node->declared)
        node->more().writeHandler = handler;
}

/*!
    Has \a check decide at once on each write to the keyword at \a path: it gets the whole new value
    and returns whether the write is accepted. This replaces the write handler.
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
    Has one line of JSON written to \a device for each write of a client: the time in UTC, name,
    address and role of the session, the keyword, the value, the outcome ("accepted", "refused" or
    "timed out") and the reason. Control characters are escaped. Null, which is the default, ends
   it.

    The device has to be open. It is not owned, and may be destroyed.
*/
void KeywordServer::setAuditDevice(QIODevice *device)
{
    d->auditDevice = device;
}

/*!
    Adds \a role, or replaces the one of its name: what its sessions may do changes at once. Returns
    \c false, and changes nothing, when the name is empty or "*", or when one of the patterns is
   none. \sa Role::isPattern()
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
    Removes the role of this \a name. Its sessions have no rights any more, and roleRemoved() has
   their transports end them. Returns whether there was one.
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
    Returns the names of all roles, without that of full rights.
*/
QStringList KeywordServer::roles() const
{
    QStringList names = d->roles.keys();
    names.sort();
    return names;
}

/*!
    Returns the limits. Sessions that the program opens without a Peer have none.
*/
Limits KeywordServer::limits() const
{
    return d->limits;
}

/*!
    Sets the \a limits. What is beyond them already stays.
*/
void KeywordServer::setLimits(const Limits &limits)
{
    d->limits = limits;
}

/*!
    Opens a session with full rights and without limits, for the program itself. \a parent owns it,
    if given, and otherwise the caller.
*/
KeywordSession *KeywordServer::openSession(QObject *parent)
{
    return new KeywordSession(this, {QString(), QString(), fullRights}, false, parent);
}

/*!
    Opens a session for \a peer, with the rights of its role and within limits(). The role "*" has
    full rights; one that does not exist has none, until it is set. \a parent owns the session, if
    given, and otherwise the caller.
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
    Returns the paths of \a level and below that clients ask for at this moment, by themselves or as
    keywords of an aggregate, in no order.

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
    Returns what the server has counted so far, and what it holds at this moment.
*/
Statistics KeywordServer::statistics() const
{
    Statistics statistics = d->counts;
    statistics.clients = sessionCount();
    statistics.keywords = keywordCount();
    statistics.memoryBytes = d->tree.bytes() + d->writeBytes;
    statistics.sendingBytes = d->budget->waiting;
    for (const SessionState *session : std::as_const(d->sessions))
        statistics.memoryBytes += session->bytes + session->answerBytes;
    return statistics;
}

/*!
    \fn void KeywordServer::keywordRequested(const QString &path)

    This signal is emitted after a client asked for \a path, by itself or as one of the keywords of
   an aggregate, and was sent what there is of it.

    \sa keywordReleased(), requestedKeywords()
*/

/*!
    \fn void KeywordServer::keywordReleased(const QString &path)

    This signal is emitted soon after the last client that had asked for \a path left or asked for
   it no longer, unless another client has asked for it since.

    \sa keywordRequested()
*/

/*!
    \fn void KeywordServer::indexRequested(const QString &path)

    This signal is emitted when a client asks for what is directly below \a path, before it is
    answered: what is declared in a slot is part of the answer. The \a path is empty for the top.
*/

/*!
    \fn void KeywordServer::valueWritten(const QString &path, const QVariant &value)

    This signal is emitted after a client's write to \a path was accepted and \a value set.
*/

/*!
    \fn void KeywordServer::roleRemoved(const QString &name)

    This signal is emitted after the role of this \a name was removed.
*/

} // namespace pellix::server
