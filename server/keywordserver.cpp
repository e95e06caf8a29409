// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordserver.h"

#include "server/keywordserver_p.h"
#include "server/keywordsession.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QtNumeric>

#include <algorithm>
#include <cmath>
#include <utility>

namespace pellix::server {

namespace {

const QLatin1String labelSuffix("/Label");

QString parentPath(const QString &path)
{
    return path.left(path.lastIndexOf(QLatin1Char('/')));
}

QString lastLevel(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

constexpr double intLimit = 9223372036854775808.0; // the first above the values of an int
constexpr int greatestNesting = 100; // of aggregates over aggregates

bool isWholeNumber(const QVariant &value)
{
    const double number = value.toDouble();
    return value.metaType().id() == QMetaType::LongLong || value.metaType().id() == QMetaType::Int
        || (value.metaType().id() == QMetaType::Double && std::trunc(number) == number
            && number >= -intLimit && number < intLimit);
}

bool isNumber(const QVariant &value)
{
    const int id = value.metaType().id();
    return id == QMetaType::Double || id == QMetaType::LongLong || id == QMetaType::Int
        || id == QMetaType::Float;
}

// The value in the form in which the type is kept: whole numbers as such, others as double.
QVariant asType(const QVariant &value, const QString &type)
{
    if (type == QLatin1String("int"))
        return value.toLongLong();
    if (type == QLatin1String("double"))
        return value.toDouble();
    return value;
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

bool isWritable(const QString &access)
{
    return access == QLatin1String("W") || access == QLatin1String("RW");
}

bool passesAccess(const QString &access, const QString &filter)
{
    if (filter == QLatin1String("R"))
        return access == QLatin1String("R") || access == QLatin1String("RW");
    if (filter == QLatin1String("RM"))
        return access != QLatin1String("N");
    if (filter == QLatin1String("W"))
        return isWritable(access);
    if (filter == QLatin1String("RW"))
        return access == QLatin1String("RW");
    return true; // "N", or none: everything
}

} // namespace

KeywordServer::Private::Entry *KeywordServer::Private::find(const QString &path)
{
    const auto found = entries.find(path);
    return found == entries.end() ? nullptr : &found->second;
}

KeywordServer::Private::Entry &KeywordServer::Private::ensure(const QString &path)
{
    return entries[path];
}

// Makes every level above the path list the one below it.
void KeywordServer::Private::addToParents(const QString &path)
{
    for (QString level = path;;) {
        const QString parent = parentPath(level);
        auto &siblings = parent.isEmpty() ? topLevel : ensure(parent).children;
        if (!siblings.emplace(lastLevel(level), level).second || parent.isEmpty())
            return;
        level = parent;
    }
}

// Forgets an entry that says nothing any more, and the levels above it that only led to it.
void KeywordServer::Private::drop(const QString &path)
{
    for (QString level = path; !level.isEmpty();) {
        const Entry *entry = find(level);
        if (!entry)
            return;
        const QString parent = parentPath(level);
        Entry *const above = find(parent);
        if (!entry->keyword && entry->children.empty()) {
            if (parent.isEmpty())
                topLevel.erase(lastLevel(level));
            else if (above)
                above->children.erase(lastLevel(level));
        }
        if (entry->keyword || entry->aggregation || !entry->watchers.isEmpty()
            || !entry->aggregates.isEmpty() || !entry->children.empty() || !entry->label.isEmpty())
            return;
        entries.erase(level);
        level = parent;
    }
}

KeywordServer::Private::Record KeywordServer::Private::record(const QString &path)
{
    Entry *const entry = find(path);
    if (entry && entry->keyword) {
        const Keyword &keyword = *entry->keyword;
        return {keyword.value, keyword.type, keyword.connected, keyword.online, keyword.consistent,
                keyword.error, true};
    }
    if (entry && entry->aggregation)
        return aggregateRecord(path, *entry->aggregation);
    if (path.endsWith(labelSuffix)) {
        const Entry *const labelled = find(parentPath(path));
        const QString label = labelled ? labelled->label : QString();
        return {label.isNull() ? QString(QLatin1String("")) : label,
                QStringLiteral("string"),
                true,
                true,
                true,
                false,
                true};
    }
    return {};
}

// Forms each aggregate below once, however often others name it, and none at any depth: a client
// could have the server compute for ever, or run out of stack.
KeywordServer::Private::Record KeywordServer::Private::aggregateRecord(const QString &path,
                                                                       Aggregation &aggregation)
{
    const auto known = formed.constFind(path);
    if (known != formed.constEnd())
        return *known;
    Record result;
    if (nesting == greatestNesting) {
        result.exists = result.error = true;
        return result;
    }
    ++nesting;
    result = aggregate(aggregation);
    --nesting;
    if (nesting == 0)
        formed.clear();
    else
        formed.insert(path, result);
    return result;
}

KeywordServer::Private::Record KeywordServer::Private::aggregate(Aggregation &aggregation)
{
    Record result;
    result.exists = true;
    result.connected = result.online = true;
    if (aggregation.computing) {
        result.error = true; // an aggregate over itself
        return result;
    }

    aggregation.computing = true;
    QVariantList values;
    for (const QString &child : std::as_const(aggregation.children)) {
        const Record part = record(child);
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
    aggregation.computing = false;

    const QString &mode = aggregation.mode;
    const auto all = [&values](auto &&test) {
        return !values.isEmpty() && std::all_of(values.cbegin(), values.cend(), test);
    };
    const auto isBool = [](const QVariant &value) {
        return value.metaType().id() == QMetaType::Bool;
    };
    if (mode == QLatin1String("eql")) {
        if (all([&](const QVariant &value) { return value == values.constFirst(); }))
            result.value = values.constFirst();
    } else if (mode == QLatin1String("bool_and") || mode == QLatin1String("bool_or")) {
        const bool isAnd = mode == QLatin1String("bool_and");
        result.type = QStringLiteral("bool");
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
            if (!all([](const QVariant &value) {
                    return value.metaType().id() != QMetaType::Double;
                }))
                result.type = QStringLiteral("double");
            double number = values.constFirst().toDouble();
            for (int i = 1; i < values.size(); ++i) {
                const double next = values.at(i).toDouble();
                number = mode == QLatin1String("min") ? std::min(number, next)
                    : mode == QLatin1String("max")    ? std::max(number, next)
                                                      : number + next;
            }
            if (result.type == QLatin1String("int") && !isWholeNumber(number))
                result.type = QStringLiteral("double"); // too great a sum
            result.value = asType(number, result.type);
        }
    } else {
        result.error = true; // a mode that is not known
    }
    return result;
}

QByteArray KeywordServer::Private::event(const QString &keyword, const Record &record) const
{
    const QJsonObject payload {
        {QStringLiteral("connected"), record.connected},
        {QStringLiteral("consistent"), record.consistent},
        {QStringLiteral("error"), record.error},
        {QStringLiteral("keyword"), keyword},
        {QStringLiteral("online"), record.online},
        {QStringLiteral("type"), record.type},
        {QStringLiteral("value"), QJsonValue::fromVariant(record.value)},
    };
    const QJsonObject message {{QStringLiteral("cmd"), QStringLiteral("keyEvent")},
                               {QStringLiteral("payload"), payload}};
    return QJsonDocument(message).toJson(QJsonDocument::Compact);
}

void KeywordServer::Private::notify(const QString &path)
{
    const Entry *const entry = find(path);
    if (!entry || entry->watchers.isEmpty())
        return;
    const QList<Watcher> watchers = entry->watchers; // receivers may change the list
    const Record current = record(path);
    QString encodedFor;
    QByteArray message;
    for (const Watcher &watcher : watchers) {
        if (!sessions.contains(watcher.session))
            continue;
        if (message.isEmpty() || watcher.keyword != encodedFor) {
            encodedFor = watcher.keyword;
            message = event(encodedFor, current);
        }
        Q_EMIT watcher.session->send(message);
    }
}

// Tells the watchers of a path, and then those of the aggregates over it that are others by now.
void KeywordServer::Private::changed(const QString &path)
{
    QStringList pending {path};
    QSet<QString> seen {path};
    while (!pending.isEmpty()) {
        const QString current = pending.takeFirst();
        Entry *const entry = find(current);
        if (!entry)
            continue;
        if (entry->aggregation) {
            Record now = record(current);
            if (now == entry->aggregation->last)
                continue;
            entry->aggregation->last = std::move(now);
        }
        for (const QString &over : std::as_const(entry->aggregates)) {
            if (!seen.contains(over)) {
                seen.insert(over);
                pending.append(over);
            }
        }
        notify(current);
    }
}

void KeywordServer::Private::receive(KeywordSession *session, const QByteArray &command)
{
    const QJsonObject message = QJsonDocument::fromJson(command).object();
    const QString name = message.value(QLatin1String("cmd")).toString();
    const QJsonObject payload = message.value(QLatin1String("payload")).toObject();

    if (name == QLatin1String("keyCreateOrUpdate"))
        create(session, payload);
    else if (name == QLatin1String("keyUpdate"))
        update(session, payload);
    else if (name == QLatin1String("keyDestroy"))
        unwatch(session, payload.value(QLatin1String("keyword")).toString());
    else if (name == QLatin1String("keyIndex"))
        index(session, payload);
    // "keyChangeProtocol" is accepted by going on in JSON; anything else is not known.
}

void KeywordServer::Private::create(KeywordSession *session, const QJsonObject &payload)
{
    const QString keyword = payload.value(QLatin1String("keyword")).toString();
    const QString path = normalizedPath(keyword);
    if (path.isEmpty())
        return;

    Entry &entry = ensure(path);
    const Watcher watcher {session, keyword};
    if (!sessions[session].contains(keyword)) {
        sessions[session].insert(keyword);
        entry.watchers.append(watcher);
    }

    const QJsonArray children = payload.value(QLatin1String("children")).toArray();
    if (!children.isEmpty() && !entry.keyword) {
        QStringList paths;
        for (const auto &child : children)
            paths.append(normalizedPath(child.toString()));
        setAggregation(path, payload.value(QLatin1String("aggregation")).toString(), paths);
    }
    Q_EMIT session->send(event(keyword, record(path)));
    Q_EMIT q->keywordRequested(path);
}

void KeywordServer::Private::setAggregation(const QString &path, const QString &mode,
                                            const QStringList &children)
{
    Entry &entry = ensure(path);
    if (entry.aggregation && entry.aggregation->mode == mode
        && entry.aggregation->children == children)
        return;
    const bool replaced = entry.aggregation.has_value();
    endAggregation(path);
    for (const QString &child : children) {
        if (!child.isEmpty())
            ensure(child).aggregates.insert(path);
    }
    Entry &aggregate = ensure(path);
    aggregate.aggregation = Aggregation {mode, children, {}, false};
    if (replaced)
        changed(path);
    else
        aggregate.aggregation->last = record(path);
}

void KeywordServer::Private::endAggregation(const QString &path)
{
    Entry *const entry = find(path);
    if (!entry || !entry->aggregation)
        return;
    const QStringList children = std::exchange(entry->aggregation, std::nullopt)->children;
    for (const QString &child : children) {
        if (Entry *const part = find(child)) {
            part->aggregates.remove(path);
            drop(child);
        }
    }
}

void KeywordServer::Private::unwatch(KeywordSession *session, const QString &keyword)
{
    const auto watched = sessions.find(session);
    if (watched == sessions.end() || !watched->remove(keyword))
        return;
    const QString path = normalizedPath(keyword);
    Entry *const entry = find(path);
    entry->watchers.removeOne(Watcher {session, keyword});
    if (entry->watchers.isEmpty())
        endAggregation(path);
    drop(path);
}

void KeywordServer::Private::leave(KeywordSession *session)
{
    const QSet<QString> watched = sessions.value(session);
    for (const QString &keyword : watched)
        unwatch(session, keyword);
    sessions.remove(session);
    refused.remove(session);
}

void KeywordServer::Private::update(KeywordSession *session, const QJsonObject &payload)
{
    const QString keyword = payload.value(QLatin1String("keyword")).toString();
    const QString path = normalizedPath(keyword);
    const QVariant given = payload.value(QLatin1String("value")).toVariant();
    const bool relative =
        payload.value(QLatin1String("valueChangeMode")).toString() == QLatin1String("relative");

    Entry *const entry = find(path);
    QVariant value;
    bool accepted = entry && entry->keyword && isWritable(entry->keyword->access)
        && fits(given, entry->keyword->type);
    if (accepted) {
        const Keyword &target = *entry->keyword;
        if (!relative)
            value = asType(given, target.type);
        else if (target.type == QLatin1String("bool"))
            value = target.value.toBool() != given.toBool();
        else if (target.type == QLatin1String("int"))
            value = sum(target.value.toLongLong(), given.toLongLong());
        else if (target.type == QLatin1String("double"))
            value = sum(target.value.toDouble(), given.toDouble());
        accepted = value.isValid();
    }
    if (accepted && entry->writeHandler) {
        const WriteHandler handler = entry->writeHandler; // may replace itself
        accepted = handler(value);
    }
    if (!sessions.contains(session))
        return; // the handler has ended it

    if (!accepted) {
        // Tells the writer alone, and does not last: the next good write is always answered.
        Record current = record(path);
        current.error = true;
        refused[session].insert(path);
        Q_EMIT session->send(event(keyword, current));
        return;
    }

    const bool wasRefused = refused.contains(session) && refused[session].remove(path);
    const bool isNew = q->value(path) != value;
    q->setValue(path, value);
    if (wasRefused && !isNew && sessions.contains(session))
        Q_EMIT session->send(event(keyword, record(path)));
    Q_EMIT q->valueWritten(path, value);
}

void KeywordServer::Private::index(KeywordSession *session, const QJsonObject &payload)
{
    QString path;
    for (const char *level : {"factory", "instance"}) {
        const QString name = payload.value(QLatin1String(level)).toString();
        if (!name.isEmpty())
            path += QLatin1Char('/') + name;
    }
    const QJsonArray levels = payload.value(QLatin1String("keyQuery")).toArray();
    for (const auto &level : levels)
        path += QLatin1Char('/') + level.toString();

    const QString type = payload.value(QLatin1String("type")).toString();
    const QString access = payload.value(QLatin1String("access")).toString();
    QJsonArray items;
    const Entry *const entry = find(path);
    const auto *const children = path.isEmpty() ? &topLevel : entry ? &entry->children : nullptr;
    if (children) {
        for (const auto &[name, child] : *children) {
            const Entry *const below = find(child);
            const Keyword *const keyword = below && below->keyword ? &*below->keyword : nullptr;
            // A level that leads on is listed whatever the filter, or what is below is not found.
            const bool leadsOn = below && !below->children.empty();
            const bool passes = keyword && (type.isEmpty() || keyword->type == type)
                && passesAccess(keyword->access, access);
            if (passes || leadsOn) {
                items.append(QJsonObject {
                    {QStringLiteral("name"), child},
                    {QStringLiteral("type"), keyword ? keyword->type : QString()},
                });
            }
        }
    }
    const QJsonObject message {
        {QStringLiteral("cmd"), QStringLiteral("keyIndex")},
        {QStringLiteral("payload"),
         QJsonObject {{QStringLiteral("request"), payload}, {QStringLiteral("response"), items}}},
    };
    Q_EMIT session->send(QJsonDocument(message).toJson(QJsonDocument::Compact));
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
    \brief The KeywordServer class is a keyword server without a transport, to develop and test
    against.

    The program that holds it declares keywords and changes their values; clients reach it through
    sessions, which linkInProcess() and WebSocketKeywordServer open. All paths are taken with "/"
    and "#" alike; events name a keyword as the client spelt it.

    A client that asks for a keyword gets its value at once, and every change of it until it lets
    go. One that does not exist is answered with neither connected nor online, and comes alive when
    it is declared. KEYWORD/Label of any path is its label, empty when it has none. Asked for a
    keyword with children, the server forms it from them, for as long as somebody watches it.

    A write is refused, with an event to the writer that carries \e error and the unchanged value,
    when the keyword does not exist or grants no write access, when the value does not fit its type,
    or when its write handler says so. Relative writes add to numbers and toggle a bool.

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
    \typedef pellix::server::KeywordServer::WriteHandler

    A function that gets the whole new value and returns whether the write is accepted.
*/

/*!
    Returns the types that a keyword can have: "bool", "int", "double", "string" and "object".
*/
const QStringList &KeywordServer::types()
{
    static const QStringList types = {QStringLiteral("bool"), QStringLiteral("int"),
                                      QStringLiteral("double"), QStringLiteral("string"),
                                      QStringLiteral("object")};
    return types;
}

/*!
    Returns what a keyword can grant: "N", "R", "RM", "W" and "RW".
*/
const QStringList &KeywordServer::accesses()
{
    static const QStringList accesses = {QStringLiteral("N"), QStringLiteral("R"),
                                         QStringLiteral("RM"), QStringLiteral("W"),
                                         QStringLiteral("RW")};
    return accesses;
}

/*!
    Returns whether a keyword of \a type can hold \a value. Whole numbers fit "int" also as a
   double, and every number fits "double"; lists and maps are an "object".
*/
bool KeywordServer::fits(const QVariant &value, const QString &type)
{
    if (type == QLatin1String("bool"))
        return value.metaType().id() == QMetaType::Bool;
    if (type == QLatin1String("int"))
        return isWholeNumber(value);
    if (type == QLatin1String("double"))
        return isNumber(value);
    if (type == QLatin1String("string"))
        return value.metaType().id() == QMetaType::QString;
    if (type == QLatin1String("object"))
        return value.metaType().id() == QMetaType::QVariantMap
            || value.metaType().id() == QMetaType::QVariantList;
    return false;
}

/*!
    Returns the path of \a keyword: with "/" as its only separator, one before each level, and none
   at the end. It is empty when the text names no level.
*/
QString KeywordServer::normalizedPath(const QString &keyword)
{
    QString path;
    path.reserve(keyword.size() + 1);
    const QStringList levels = QString(keyword)
                                   .replace(QLatin1Char('#'), QLatin1Char('/'))
                                   .split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (const QString &level : levels)
        path += QLatin1Char('/') + level;
    return path;
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
    Declares \a keyword, or replaces what was declared under its path.

    Returns \c false, and changes nothing, when its path is empty, its type or access is none of
    those listed with the struct, or its value is set and does not fit the type.
*/
bool KeywordServer::declare(const Keyword &keyword)
{
    const QString path = normalizedPath(keyword.path);
    if (path.isEmpty() || !types().contains(keyword.type) || !accesses().contains(keyword.access)
        || (keyword.value.isValid() && !fits(keyword.value, keyword.type)))
        return false;

    Private::Entry &entry = d->ensure(path);
    if (!entry.keyword)
        ++d->keywords;
    const bool newLabel = entry.label != keyword.label && !keyword.label.isEmpty();
    if (newLabel)
        entry.label = keyword.label;
    entry.keyword = keyword;
    entry.keyword->path = path;
    if (keyword.value.isValid())
        entry.keyword->value = asType(keyword.value, keyword.type);
    d->addToParents(path);
    d->changed(path);
    if (newLabel)
        d->notify(path + labelSuffix);
    return true;
}

/*!
    Removes the keyword at \a path. Clients that watch it are told that it is not connected. Returns
    whether there was one.
*/
bool KeywordServer::remove(const QString &path)
{
    const QString normalized = normalizedPath(path);
    Private::Entry *const entry = d->find(normalized);
    if (!entry || !entry->keyword)
        return false;
    entry->keyword.reset();
    entry->writeHandler = nullptr;
    entry->label.clear();
    --d->keywords;
    d->changed(normalized);
    d->notify(normalized + labelSuffix);
    d->drop(normalized);
    return true;
}

/*!
    Forgets all keywords, labels and subscriptions, as a restart would. Sessions stay open and are
    not told.
*/
void KeywordServer::clear()
{
    d->entries.clear();
    d->topLevel.clear();
    d->refused.clear();
    d->keywords = 0;
    for (QSet<QString> &watched : d->sessions)
        watched.clear();
}

/*!
    Returns whether a keyword is declared at \a path.
*/
bool KeywordServer::contains(const QString &path) const
{
    const Private::Entry *const entry = d->find(normalizedPath(path));
    return entry && entry->keyword;
}

/*!
    Returns the number of declared keywords.
*/
int KeywordServer::keywordCount() const
{
    return d->keywords;
}

/*!
    Returns the value of the keyword at \a path, or an invalid variant when there is none.
*/
QVariant KeywordServer::value(const QString &path) const
{
    const Private::Entry *const entry = d->find(normalizedPath(path));
    return entry && entry->keyword ? entry->keyword->value : QVariant();
}

/*!
    Sets the keyword at \a path to \a value and tells those who watch it, if it is another one.

    Access plays no part here. Returns \c false when there is no such keyword or the value does not
    fit its type.
*/
bool KeywordServer::setValue(const QString &path, const QVariant &value)
{
    const QString normalized = normalizedPath(path);
    Private::Entry *const entry = d->find(normalized);
    if (!entry || !entry->keyword || !fits(value, entry->keyword->type))
        return false;
    const QVariant typed = asType(value, entry->keyword->type);
    if (typed != entry->keyword->value) {
        entry->keyword->value = typed;
        d->changed(normalized);
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
    const QString normalized = normalizedPath(path);
    Private::Entry *const entry = d->find(normalized);
    if (!entry || !entry->keyword)
        return false;
    Keyword &keyword = *entry->keyword;
    if (keyword.connected == connected && keyword.online == online
        && keyword.consistent == consistent && keyword.error == error)
        return true;
    keyword.connected = connected;
    keyword.online = online;
    keyword.consistent = consistent;
    keyword.error = error;
    d->changed(normalized);
    return true;
}

/*!
    Sets the label of \a path, which may be a keyword or a level above keywords, to \a label.
   Returns \c false when there is neither.
*/
bool KeywordServer::setLabel(const QString &path, const QString &label)
{
    const QString normalized = normalizedPath(path);
    Private::Entry *const entry = d->find(normalized);
    if (!entry || (!entry->keyword && entry->children.empty()))
        return false;
    if (entry->label != label) {
        entry->label = label;
        d->notify(normalized + labelSuffix);
    }
    return true;
}

/*!
    Has \a handler decide on each write to the keyword at \a path. It gets the whole new value, also
    for a relative write, and returns whether the write is accepted. An empty one accepts all.
*/
void KeywordServer::setWriteHandler(const QString &path, const WriteHandler &handler)
{
    Private::Entry *const entry = d->find(normalizedPath(path));
    if (entry && entry->keyword)
        entry->writeHandler = handler;
}

/*!
    Opens a session for one client. \a parent owns it, if given, and otherwise the caller.
*/
KeywordSession *KeywordServer::openSession(QObject *parent)
{
    auto *const session = new KeywordSession(this, parent);
    d->sessions.insert(session, {});
    return session;
}

/*!
    Returns the number of open sessions.
*/
int KeywordServer::sessionCount() const
{
    return int(d->sessions.size());
}

/*!
    \fn void KeywordServer::keywordRequested(const QString &path)

    This signal is emitted after a client asked for \a path and was sent what there is of it.
*/

/*!
    \fn void KeywordServer::valueWritten(const QString &path, const QVariant &value)

    This signal is emitted after a client's write to \a path was accepted and \a value set.
*/

} // namespace pellix::server
