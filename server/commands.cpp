// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/eventtext_p.h"
#include "server/keywordserver_p.h"
#include "server/keywordsession.h"
#include "server/plaincommand_p.h"

#include <QtCore/QDateTime>
#include <QtCore/QIODevice>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QMetaMethod>
#include <QtCore/QSet>
#include <QtCore/QtNumeric>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace pellix::server {

namespace {

// What a session has the server use, as measured with glibc, besides the texts.
constexpr qint64 bytesOfWatch = 160; // with its place among what waits
constexpr qint64 bytesOfNode = 220;
constexpr qint64 bytesOfAggregate = 250;
constexpr qint64 bytesOfChild = 440; // which may be a node of its own
constexpr qint64 bytesOfWrite = 750; // with its copy in the request
constexpr qint64 bytesOfText = 32; // besides its characters
// What the document of a command takes, and what is made of it.
constexpr qint64 documentBytesOfList = 96;
constexpr qint64 documentBytesOfItem = 32;
constexpr qint64 documentBytesOfMember = 64;
constexpr qint64 documentBytesOfText = 8; // besides the characters
constexpr qint64 greatestDocumentBytes = qint64(4) * 1024 * 1024;
constexpr qint64 greatestWriteBytes = qint64(64) * 1024 * 1024; // not decided, of all clients

constexpr QLatin1String createCommand("keyCreateOrUpdate");
constexpr QLatin1String destroyCommand("keyDestroy");

bool passesAccess(Access access, const QString &filter)
{
    if (filter == QLatin1String("R"))
        return access == Access::Read || access == Access::ReadWrite;
    if (filter == QLatin1String("RM"))
        return access != Access::None;
    if (filter == QLatin1String("W"))
        return isWritable(access);
    if (filter == QLatin1String("RW"))
        return access == Access::ReadWrite;
    return true; // "N", or none: everything
}

qint64 bytesOf(const QString &text)
{
    return text.isEmpty() ? 0 : bytesOfText + text.size() * qint64(sizeof(QChar));
}

// That of a text, or of an object as JSON.
qint64 lengthOf(const QJsonValue &value)
{
    if (value.isString())
        return value.toString().size() * qint64(sizeof(QChar));
    if (value.isArray())
        return QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact).size();
    if (value.isObject())
        return QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact).size();
    return 0;
}

qint64 documentBytes(QByteArrayView command)
{
    qint64 bytes = 0;
    bool isText = false;
    for (qsizetype i = 0; i < command.size(); ++i) {
        const char character = command.at(i);
        if (character == '\\') {
            ++i; // within a text
        } else if (character == '"') {
            isText = !isText;
            bytes += isText ? documentBytesOfText : 0;
        } else if (!isText) {
            bytes += character == ','                    ? documentBytesOfItem
                : character == ':'                       ? documentBytesOfMember
                : (character == '[' || character == '{') ? documentBytesOfList
                                                         : 0;
        }
    }
    return bytes;
}

// Invalid when the type cannot hold it.
QVariant sum(qlonglong a, qlonglong b)
{
    qlonglong result;
    return qAddOverflow(a, b, &result) ? QVariant() : QVariant(result);
}

QVariant sum(double a, double b)
{
    return std::isfinite(a + b) ? QVariant(a + b) : QVariant();
}

// C0 is escaped already.
bool mayDeceive(QChar character)
{
    const char16_t code = character.unicode();
    return (code >= 0x7F && code <= 0x9F) // DEL and C1
        || code == 0x061C || code == 0x200E || code == 0x200F // directions of text
        || (code >= 0x2028 && code <= 0x202E) // ends of lines, and directions
        || (code >= 0x2066 && code <= 0x2069);
}

// Clients choose paths and values, and people read them in terminals and editors.
QByteArray auditLine(const QJsonObject &object)
{
    const QString text = QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
    QString line;
    line.reserve(text.size() + 1);
    for (const QChar character : text) {
        if (mayDeceive(character)) // which is within a string
            line += QStringLiteral("\\u%1").arg(int(character.unicode()), 4, 16, QLatin1Char('0'));
        else
            line += character;
    }
    return line.toUtf8() + '\n';
}

// In the order in which they came.
void link(Node *node, Watch *watch)
{
    Watch *const last = std::exchange(node->lastWatch, watch);
    watch->previous = last;
    (last ? last->next : node->watches) = watch;
}

void unlink(Watch *watch)
{
    Node *const node = watch->node;
    (watch->next ? watch->next->previous : node->lastWatch) = watch->previous;
    (watch->previous ? watch->previous->next : node->watches) = watch->next;
}

} // namespace

void KeywordServer::Private::receive(SessionState *session, const QByteArray &command)
{
    ++counts.commands;
    counts.bytesIn += quint64(command.size());
    if (session->limited && command.size() > limits.commandBytes) {
        ++counts.longCommands;
        return;
    }
    if (!session->left) {
        if (const QString keyword = plainKeyword(command, createCommand); !keyword.isEmpty()) {
            create(session, keyword, {});
            return;
        }
        if (const QString keyword = plainKeyword(command, destroyCommand); !keyword.isEmpty()) {
            unwatch(session, keyword);
            return;
        }
    }
    const bool mayBeGreat = command.size() > greatestDocumentBytes / documentBytesOfList;
    if (session->limited && mayBeGreat && documentBytes(command) > greatestDocumentBytes) {
        ++counts.longCommands;
        return;
    }
    const QJsonObject message = QJsonDocument::fromJson(command).object();
    const QString name = message.value(QLatin1String("cmd")).toString();
    if (session->left && name != QLatin1String("keyUpdate"))
        return;
    const QJsonObject payload = message.value(QLatin1String("payload")).toObject();

    if (name == createCommand)
        create(session, payload.value(QLatin1String("keyword")).toString(), payload);
    else if (name == QLatin1String("keyUpdate"))
        update(session, payload);
    else if (name == destroyCommand)
        unwatch(session, payload.value(QLatin1String("keyword")).toString());
    else if (name == QLatin1String("keyIndex"))
        index(session, payload);
    // "keyChangeProtocol" is accepted by going on in JSON; anything else is not known.
}

void KeywordServer::Private::create(SessionState *session, const QString &keyword,
                                    const QJsonObject &payload)
{
    Watch *watch = session->watches.value(keyword);
    const QString path = watch ? watch->node->path : KeywordServer::normalizedPath(keyword);
    if (path.isEmpty()) {
        if (!keyword.isEmpty()) { // separators alone: there never is such a keyword
            enqueueAnswer(session, eventText(keyword, Record()));
            send(session);
        }
        return;
    }
    const QJsonArray children = payload.value(QLatin1String("children")).toArray();
    const QString mode = payload.value(QLatin1String("aggregation")).toString();
    QStringList paths;
    qint64 aggregateBytes = children.isEmpty() ? 0 : bytesOfAggregate + bytesOf(mode);
    for (const auto &child : children) {
        paths.append(KeywordServer::normalizedPath(child.toString()));
        aggregateBytes += bytesOfChild + bytesOf(paths.constLast());
    }

    Node *const known = tree.find(path);
    // Counted only by what the session may know; otherwise, it could find out by the limit whether
    // there is a node.
    const bool isShown = known && known->declared && session->mayRead(path);
    qint64 watchBytes = 0;
    if (!watch) {
        watchBytes = bytesOfWatch + (keyword == path ? 0 : bytesOf(keyword))
            + (isShown ? 0 : bytesOfNode + bytesOf(path));
    }
    if (session->limited
        && ((!watch && session->watches.size() >= limits.watchedKeywords)
            || children.size() > limits.aggregatedKeywords
            || !hasRoomFor(session, watchBytes + aggregateBytes))) {
        countRefusedCreate(session, !watch, children.size());
        if (watch)
            enqueue(watch, Place::Last);
        else
            enqueueAnswer(session, eventText(keyword, Record()));
        send(session);
        return;
    }

    if (!watch) {
        Node *const node = known ? known : tree.ensure(path);
        if (node->version == 0)
            node->version = ++lastVersion; // one that is an aggregate's child may have none, too
        watch = new Watch {node, session, keyword == path ? node->path : keyword};
        watch->hidden = !session->mayRead(path);
        watch->showsLabel = labelledFor(*session, path);
        watch->bytes = quint32(watchBytes);
        link(node, watch);
        session->watches.insert(watch->keyword, watch);
        session->bytes += watchBytes;
        ++counts.watchedKeywords;
        if (Aggregate *const aggregate = session->aggregates.value(path))
            ++aggregate->uses;
    }
    if (!paths.isEmpty() && !watch->showsKeyword()) {
        setAggregate(watch, path, mode, paths, aggregateBytes);
    }
    const QPointer<KeywordServer> server(q);
    enqueue(watch, Place::Last); // an answer to this command
    send(session);
    if (server)
        Q_EMIT q->keywordRequested(path);
    for (const QString &child : std::as_const(paths)) {
        if (server && !child.isEmpty())
            Q_EMIT q->keywordRequested(child);
    }
}

void KeywordServer::Private::countRefusedCreate(const SessionState *session, bool isNew,
                                                qsizetype children)
{
    ++counts.refusedCreates;
    if (isNew && session->watches.size() >= limits.watchedKeywords)
        ++counts.createsBeyondKeywords;
    else if (children > limits.aggregatedKeywords)
        ++counts.createsBeyondChildren;
    else
        ++counts.createsBeyondMemory;
}

void KeywordServer::Private::setAggregate(Watch *asking, const QString &path, const QString &mode,
                                          const QStringList &children, qint64 bytes)
{
    SessionState *const session = asking->session;
    Aggregate *aggregate = session->aggregates.value(path);
    const bool isNew = !aggregate;
    const auto isChild = [](const Aggregate::Child &child, const QString &path) {
        return child.node ? child.node->path == path : path.isEmpty();
    };
    if (aggregate && aggregate->mode == mode
        && std::equal(aggregate->children.cbegin(), aggregate->children.cend(), children.cbegin(),
                      children.cend(), isChild))
        return;
    int uses = 0;
    if (aggregate) {
        uses = aggregate->uses;
        endAggregate(aggregate);
    } else {
        for (Watch *watch = tree.ensure(path)->watches; watch; watch = watch->next)
            uses += watch->session == session;
    }

    aggregate = new Aggregate;
    aggregate->number = ++lastAggregate;
    aggregate->session = session;
    aggregate->path = path;
    aggregate->mode = mode;
    aggregate->bytes = bytes;
    session->bytes += bytes;
    aggregate->uses = uses;
    session->aggregates.insert(path, aggregate);
    for (const QString &child : children) {
        Node *const node = child.isEmpty() ? nullptr : tree.ensure(child);
        aggregate->children.push_back({node, false});
        if (node)
            node->more().aggregates.insert(aggregate);
    }
    session->updateRights(aggregate);
    if (isNew) {
        aggregate->last = aggregateRecord(*aggregate);
        aggregate->version = ++lastVersion;
        for (Watch *watch = asking->node->watches; watch; watch = watch->next) {
            if (watch->session == session && watch != asking) // in another spelling
                enqueue(watch);
        }
    } else {
        changed({aggregate}, Forming::Now);
    }
    // Those of this session that are computed from it must be updated.
    std::vector<Aggregate *> others;
    const Node *const node = tree.find(path);
    if (node->extras) {
        std::copy_if(node->extras->aggregates.cbegin(), node->extras->aggregates.cend(),
                     std::back_inserter(others), [session, aggregate](Aggregate *over) {
                         return over->session == session && over != aggregate;
                     });
    }
    changed(std::move(others));
}

void KeywordServer::Private::endAggregate(Aggregate *aggregate)
{
    aggregate->session->aggregates.remove(aggregate->path);
    aggregate->session->behind.remove(aggregate);
    aggregate->session->bytes -= aggregate->bytes;
    QSet<Node *> children; // one that is named twice is in the list twice
    for (const Aggregate::Child &child : aggregate->children) {
        if (child.node)
            children.insert(child.node);
    }
    for (Node *const child : std::as_const(children)) {
        child->more().aggregates.erase(aggregate);
        noteReleased(child);
        tree.drop(child);
    }
    delete aggregate;
}

void KeywordServer::Private::unwatch(SessionState *session, const QString &keyword)
{
    Watch *const watch = session->watches.value(keyword);
    if (watch)
        removeWatch(watch);
}

void KeywordServer::Private::removeWatch(Watch *watch)
{
    SessionState *const session = watch->session;
    session->watches.remove(watch->keyword);
    session->bytes -= watch->bytes;
    endWatch(watch);
    if (watch->queued) {
        watch->node = nullptr; // removed from the queue when it is its turn
        watch->keyword.clear(); // which may be long
        ++session->waitingAnswers;
    } else {
        delete watch;
    }
}

// Its session has no reference to it any more, and soon its node does not either.
void KeywordServer::Private::endWatch(Watch *watch)
{
    Node *const node = watch->node;
    --counts.watchedKeywords;
    unlink(watch);
    noteReleased(node);
    if (!watch->session->aggregates.isEmpty()) {
        Aggregate *const aggregate = watch->session->aggregates.value(node->path);
        if (aggregate && --aggregate->uses == 0) {
            const QString path = node->path;
            endAggregate(aggregate); // which may drop the node
            if (Node *const left = tree.find(path))
                tree.drop(left);
            return;
        }
    }
    tree.drop(node);
}

bool KeywordServer::Private::isRequested(const Node *node)
{
    return node && (node->watches || (node->extras && !node->extras->aggregates.empty()));
}

// Told later: sessions end anywhere, and many that ask for something else ask for it again.
void KeywordServer::Private::noteReleased(const Node *node)
{
    static const QMetaMethod signal = QMetaMethod::fromSignal(&KeywordServer::keywordReleased);
    if (!isRequested(node) && q->isSignalConnected(signal))
        noteReleased(node->path);
}

void KeywordServer::Private::noteReleased(const QString &path)
{
    if (released.isEmpty()) {
        QMetaObject::invokeMethod(
            q, [this] { tellReleased(); }, Qt::QueuedConnection);
    }
    released.insert(path);
}

void KeywordServer::Private::tellReleased()
{
    const QPointer<KeywordServer> server(q);
    const QSet<QString> paths = std::exchange(released, {});
    for (const QString &path : paths) {
        if (server && !isRequested(tree.find(path)))
            Q_EMIT q->keywordReleased(path);
    }
}

void KeywordServer::Private::join(SessionState *session)
{
    sessions.insert(session->q, session);
    session->formingLeft = mostFormedAtOnce;
    session->formingSince = clock.elapsed();
    updateRights(session);
}

void KeywordServer::Private::leave(SessionState *session)
{
    session->stopSending();
    session->clearWaiting();
    const QHash<QString, Watch *> watches = std::exchange(session->watches, {});
    for (Watch *const watch : watches) {
        endWatch(watch);
        delete watch;
    }
    toSend.erase(std::remove(toSend.begin(), toSend.end(), session), toSend.end());
    sessions.remove(session->q);
}

// The whole new value; invalid if the keyword cannot take it.
QVariant KeywordServer::Private::wholeValue(const Node &node, const QVariant &given,
                                            bool isRelative) const
{
    if (!server::fits(given, node.type))
        return {};
    if (!isRelative)
        return asType(given, node.type);
    // Two quick steps are two steps, even while the first is pending.
    const QVariant &base = node.extras && !node.extras->writes.empty()
        ? writes.at(*node.extras->writes.crbegin()).value
        : node.value;
    switch (node.type) {
    case Type::Bool:
        return base.toBool() != given.toBool();
    case Type::Int:
        return sum(base.toLongLong(), given.toLongLong());
    case Type::Double:
        return sum(base.toDouble(), given.toDouble());
    default:
        return {};
    }
}

void KeywordServer::Private::update(SessionState *session, const QJsonObject &payload)
{
    ++counts.writes;
    const QJsonValue json = payload.value(QLatin1String("value"));
    const QVariant given = json.toVariant();
    PendingWrite write;
    write.keyword = payload.value(QLatin1String("keyword")).toString();
    write.path = KeywordServer::normalizedPath(write.keyword);
    write.isRelative =
        payload.value(QLatin1String("valueChangeMode")).toString() == QLatin1String("relative");
    write.peer = session->peer;
    write.writer = session->q;
    write.value = given;

    Node *const node = tree.find(write.path);
    if (!node || !node->declared || !session->mayRead(write.path)) {
        refuse(write, QStringLiteral("refused"), QStringLiteral("there is no such keyword"));
        return;
    }
    if (!isWritable(node->access)) {
        refuse(write, QStringLiteral("refused"), QStringLiteral("the keyword is not writable"));
        return;
    }
    if (!session->mayWrite(write.path)) {
        refuse(write, QStringLiteral("refused"), QStringLiteral("the role may not write it"));
        return;
    }
    const QVariant value = wholeValue(*node, given, write.isRelative);
    if (!value.isValid()) {
        refuse(write, QStringLiteral("refused"), QStringLiteral("the value does not fit"));
        return;
    }
    if (session->limited && lengthOf(json) > limits.valueBytes) {
        ++counts.writesBeyondLength;
        refuse(write, QStringLiteral("refused"), QStringLiteral("the value is too long"));
        return;
    }
    if (write.isRelative)
        write.change = given;
    write.value = value;
    if (!node->extras || !node->extras->writeHandler) {
        store(write);
        return;
    }

    write.isAssumed = node->assumesWrites;
    if (write.isAssumed)
        write.before = node->value;
    write.bytes = bytesOfWrite + bytesOf(write.path) + bytesOf(write.keyword) + memoryOf(value)
        + memoryOf(write.before);
    // The writes of a session remain when it ends: their total is limited as well.
    if (session->limited
        && (!hasRoomFor(session, write.bytes) || writeBytes + write.bytes > greatestWriteBytes)) {
        ++counts.writesBeyondMemory;
        refuse(write, QStringLiteral("refused"),
               QStringLiteral("too many writes are waiting for their decision"));
        return;
    }
    const quint64 id = ++lastWrite;
    write.deadline = clock.elapsed() + limits.writeTime.count();
    writeBytes += write.bytes;
    session->writeBytes += write.bytes;
    node->extras->writes.insert(id);
    writes.emplace(id, write);
    deadlines.emplace(write.deadline, id);
    if (deadlines.cbegin()->second == id)
        writeTimer.start(limits.writeTime);
    const QPointer<KeywordServer> server(q);
    const WriteHandler handler = node->extras->writeHandler; // may replace itself
    if (write.isAssumed)
        q->setValue(write.path, value);
    if (server)
        handler(WriteRequest(server, id, write));
}

// Notifies only the writer, and is not stored: the next valid write is always answered.
void KeywordServer::Private::refuse(const PendingWrite &write, const QString &outcome,
                                    const QString &reason)
{
    const QPointer<KeywordServer> server(q);
    ++counts.refusedWrites;
    audit(write, outcome, reason); // into a device of the program, which may do anything then
    SessionState *const session = server ? writerOf(write) : nullptr;
    if (!session)
        return;
    noteRefusal(session, write.path);
    enqueueRefusal(session, write.keyword);
    send(session);
}

void KeywordServer::Private::noteRefusal(SessionState *session, const QString &path)
{
    const qint64 bytes = bytesOfWatch + bytesOf(path);
    if (session->refused.contains(path) || (session->limited && !hasRoomFor(session, bytes)))
        return;
    session->refused.insert(path);
    session->bytes += bytes;
}

// Whether the last write was refused.
bool KeywordServer::Private::takeRefusal(SessionState *session, const QString &path)
{
    if (!session->refused.remove(path))
        return false;
    session->bytes -= bytesOfWatch + bytesOf(path);
    return true;
}

// Null once it has left.
SessionState *KeywordServer::Private::writerOf(const PendingWrite &write) const
{
    return sessions.value(write.writer);
}

// All that the server stores for a session has one limit.
bool KeywordServer::Private::hasRoomFor(const SessionState *session, qint64 bytes) const
{
    return session->bytes + session->writeBytes + bytes <= limits.sessionBytes;
}

void KeywordServer::Private::store(const PendingWrite &write)
{
    accepted(write, write.value);
}

// The value may be another one than the client asked for, or the one that there is.
void KeywordServer::Private::accepted(const PendingWrite &write, const QVariant &value)
{
    const QPointer<KeywordServer> server(q);
    audit(write, QStringLiteral("accepted"), QString());
    if (!server)
        return;
    SessionState *const writer = writerOf(write);
    const bool wasRefused = writer && takeRefusal(writer, write.path);
    const Node *const node = tree.find(write.path);
    const bool isNew = node && node->value != value && node->value != asType(value, node->type);
    if (isNew)
        q->setValue(write.path, value);
    SessionState *const left = server && wasRefused && !isNew ? writerOf(write) : nullptr;
    if (left) {
        // An event since the refusal has ended it already, such as that of an assumed value.
        if (!left->watches.contains(write.keyword))
            enqueueReply(left, {Reply::State, write.keyword, {}});
        for (Watch *watch = node ? node->watches : nullptr; watch; watch = watch->next) {
            if (watch->session == left && std::exchange(watch->showsRefusal, false))
                enqueueReply(left, {Reply::State, watch->keyword, {}});
        }
        send(left);
    }
    if (server)
        Q_EMIT q->valueWritten(write.path, value);
}

void KeywordServer::Private::forget(quint64 id)
{
    const auto found = writes.find(id);
    if (found == writes.end())
        return;
    if (Node *const node = tree.find(found->second.path)) {
        node->more().writes.erase(id);
        tree.drop(node);
    }
    writeBytes -= found->second.bytes;
    if (SessionState *const session = writerOf(found->second))
        session->writeBytes -= found->second.bytes;
    deadlines.erase({found->second.deadline, id});
    writes.erase(found);
}

// The next assumed write was shown over this one: if it is refused as well, this value is shown.
// Returns whether there is such a write.
bool KeywordServer::Private::handOver(quint64 id, const PendingWrite &write, const QVariant &value)
{
    Node *const node = tree.find(write.path);
    if (!write.isAssumed || !node || !node->extras)
        return false;
    const auto &pending = node->extras->writes;
    const auto next = std::find_if(pending.upper_bound(id), pending.cend(),
                                   [this](quint64 later) { return writes.at(later).isAssumed; });
    if (next == pending.cend())
        return false;
    PendingWrite &later = writes.at(*next);
    if (later.before != write.value)
        return true; // another value was reported before it
    const qint64 more = memoryOf(value) - memoryOf(later.before);
    later.before = value;
    later.bytes += more;
    writeBytes += more;
    if (SessionState *const writer = writerOf(later))
        writer->writeBytes += more;
    return true;
}

// Shows the value again that was there before an assumed write.
void KeywordServer::Private::takeBack(quint64 id, const PendingWrite &write)
{
    const Node *const node = tree.find(write.path);
    if (!write.isAssumed || !node || !node->declared || handOver(id, write, write.before))
        return;
    const bool isReplaced = node->extras && node->extras->lastAccepted > id;
    if (!isReplaced && node->value == write.value)
        q->setValue(write.path, write.before);
}

void KeywordServer::Private::decide(quint64 id, Decision decision, const QVariant &value,
                                    const QString &reason)
{
    const auto found = writes.find(id);
    if (found == writes.end())
        return;
    PendingWrite write = found->second;
    forget(id);
    Node *const node = tree.find(write.path);
    if (!node || !node->declared) {
        refuse(write, QStringLiteral("refused"), QStringLiteral("the keyword has been removed"));
        return;
    }
    if (decision == Decision::AcceptedAsReported) {
        node->more().lastAccepted = qMax(node->more().lastAccepted, id);
        const QVariant reported = node->value; // the keyword may be removed meanwhile
        accepted(write, reported);
        return;
    }
    if (decision == Decision::Accepted && server::fits(value, node->type)) {
        node->more().lastAccepted = qMax(node->more().lastAccepted, id);
        handOver(id, write, asType(value, node->type));
        write.value = value;
        store(write);
        return;
    }
    const QPointer<KeywordServer> server(q);
    takeBack(id, write);
    if (server)
        refuse(write, QStringLiteral("refused"), reason);
}

void KeywordServer::Private::expireWrites()
{
    const QPointer<KeywordServer> server(q);
    const qint64 now = clock.elapsed();
    while (server && !deadlines.empty() && deadlines.cbegin()->first <= now) {
        const quint64 id = deadlines.cbegin()->second;
        const PendingWrite write = writes.at(id);
        forget(id);
        ++counts.timedOutWrites;
        takeBack(id, write);
        if (server) {
            refuse(write, QStringLiteral("timed out"),
                   QStringLiteral("it was not decided in time"));
        }
    }
    if (server && !deadlines.empty())
        writeTimer.start(
            std::chrono::milliseconds(qMax<qint64>(1, deadlines.cbegin()->first - now)));
}

void KeywordServer::Private::audit(const PendingWrite &write, const QString &outcome,
                                   const QString &reason)
{
    if (!auditDevice)
        return;
    QJsonObject line {
        {QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {QStringLiteral("name"), write.peer.name},
        {QStringLiteral("address"), write.peer.address},
        {QStringLiteral("role"), write.peer.role},
        {QStringLiteral("keyword"), write.path},
        {QStringLiteral("value"), QJsonValue::fromVariant(write.value)},
        {QStringLiteral("outcome"), outcome},
    };
    if (write.isRelative && write.change.isValid())
        line.insert(QStringLiteral("change"), QJsonValue::fromVariant(write.change));
    if (!reason.isEmpty())
        line.insert(QStringLiteral("reason"), reason);
    auditDevice->write(auditLine(line));
}

// Writes that nobody can decide any more. Their clients are not told.
void KeywordServer::Private::discard(const std::map<quint64, PendingWrite> &discarded,
                                     const QString &reason)
{
    counts.refusedWrites += discarded.size();
    const QPointer<KeywordServer> server(q);
    for (const auto &[id, write] : discarded) {
        if (!server)
            return;
        audit(write, QStringLiteral("refused"), reason);
    }
}

namespace {

// The level that a query is about.
QString pathOf(const QJsonObject &query)
{
    QString path;
    for (const char *level : {"factory", "instance"}) {
        const QString name = query.value(QLatin1String(level)).toString();
        if (!name.isEmpty())
            path += QLatin1Char('/') + name;
    }
    const QJsonArray levels = query.value(QLatin1String("keyQuery")).toArray();
    for (const auto &level : levels)
        path += QLatin1Char('/') + level.toString();
    return path;
}

} // namespace

void KeywordServer::Private::index(SessionState *session, const QJsonObject &payload)
{
    const QPointer<KeywordServer> server(q);
    const QPointer<KeywordSession> asking(session->q);
    Q_EMIT q->indexRequested(KeywordServer::normalizedPath(pathOf(payload)));
    if (!server || !asking || !sessions.contains(asking))
        return;
    enqueueReply(session,
                 {Reply::Index, {}, QJsonDocument(payload).toJson(QJsonDocument::Compact)});
    send(session);
}

QByteArray KeywordServer::Private::indexAnswer(SessionState *session, const QByteArray &query)
{
    const QJsonObject payload = QJsonDocument::fromJson(query).object();
    const QString path = pathOf(payload);
    const QString type = payload.value(QLatin1String("type")).toString();
    const QString access = payload.value(QLatin1String("access")).toString();
    JsonText items;
    int count = 0;
    Node *const node = path.isEmpty() ? tree.root() : tree.find(path);
    if (node) {
        for (Node *const child : tree.sortedChildren(node)) {
            const bool readable = child->declared && session->mayRead(child->path);
            // A level above keywords is listed regardless of the filter; otherwise, the keywords
            // below it would not be found.
            const bool passes = readable && (type.isEmpty() || toWord(child->type) == type)
                && passesAccess(child->access, access);
            if (!passes && (child->children.empty() || !isVisible(*session, child)))
                continue;
            if (session->limited && count == limits.listedKeywords) {
                ++counts.cutAnswers;
                break;
            }
            const qsizetype end = items.size();
            append(items, count++ == 0 ? "{\"name\":" : ",{\"name\":");
            appendQuoted(items, child->path);
            append(items, ",\"type\":");
            appendQuoted(items, readable ? toWord(child->type) : QString());
            append(items, "}");
            if (session->limited && query.size() + items.size() > limits.answerBytes) {
                items.resize(end);
                ++counts.cutAnswers;
                break;
            }
        }
    }
    // With some versions of Qt, the operator + would reserve twice the memory.
    const QByteArrayView parts[] = {"{\"cmd\":\"keyIndex\",\"payload\":{\"request\":",
                                    query,
                                    ",\"response\":[",
                                    {items.constData(), items.size()},
                                    "]}}"};
    qsizetype size = 0;
    for (const QByteArrayView part : parts)
        size += part.size();
    QByteArray answer;
    answer.reserve(size);
    for (const QByteArrayView part : parts)
        answer.append(part);
    return answer;
}

} // namespace pellix::server
