// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/objectkeywords_p.h"

#include "server/keywordserver_p.h"
#include "server/propertyvalue_p.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QThread>

#include <algorithm>

namespace pellix::server {

namespace {

Q_LOGGING_CATEGORY(lcObjects, "pellixclient.server.objects", QtInfoMsg)

QString nameOf(const QMetaProperty &property)
{
    return QString::fromUtf8(property.name());
}

// For messages, and to log each once per class.
QByteArray qualifiedName(const QMetaObject *type, const QMetaProperty &property)
{
    return QByteArray(type->className()) + "::" + property.name();
}

QString classLabel(const QMetaObject *type, const QMetaProperty &property)
{
    const int index =
        type->indexOfClassInfo((QByteArrayLiteral("Label.") + property.name()).constData());
    return index < 0 ? QString() : QString::fromUtf8(type->classInfo(index).value());
}

// A class may have another property of the same name as its base: then this one counts.
bool isServed(const QMetaObject *type, const QMetaProperty &property, const ServeOptions &options)
{
    if (!property.isReadable()
        || type->indexOfProperty(property.name()) != property.propertyIndex())
        return false;
    return property.propertyIndex() >= QObject::staticMetaObject.propertyCount()
        || options.servesObjectName;
}

void reportMissing(const QMetaObject *type, const QMetaProperty &property)
{
    qCWarning(lcObjects).noquote().nospace()
        << "cannot serve " << qualifiedName(type, property) << ": a keyword cannot carry the type "
        << property.typeName();
}

} // namespace

ObjectKeywords::ObjectKeywords(KeywordServer *server, QObject *object, const QString &path,
                               const ServeOptions &options)
    : server(server), object(object), path(path)
{
    const QMetaObject *const type = object->metaObject();
    for (int i = 0; i < type->propertyCount(); ++i) {
        const QMetaProperty property = type->property(i);
        if (isServed(type, property, options))
            add(property, options);
    }
    for (auto label = options.labels.cbegin(); label != options.labels.cend(); ++label) {
        if (type->indexOfProperty(label.key().toUtf8().constData()) < 0)
            qCWarning(lcObjects).noquote().nospace()
                << "cannot label " << type->className() << "::" << label.key()
                << ": there is no such property";
    }
    if (options.pollInterval.count() > 0
        && std::any_of(properties.cbegin(), properties.cend(),
                       [](const Property &property) { return property.isPolled; }))
        pollTimer = startTimer(options.pollInterval);
    connect(object, &QObject::destroyed, this, &ObjectKeywords::onDestroyed);
}

ObjectKeywords::~ObjectKeywords() = default;

QStringList ObjectKeywords::paths() const
{
    QStringList paths;
    for (const Property &property : properties)
        paths.append(property.path);
    return paths;
}

bool ObjectKeywords::readAll()
{
    for (int i = 0; i < int(properties.size()); ++i) {
        update(i);
        if (!server || !object)
            return false;
    }
    return true;
}

void ObjectKeywords::declare()
{
    isDeclared = true;
    for (int i = 0; i < int(properties.size()); ++i) {
        const Property &property = properties[std::size_t(i)];
        const Type type = property.isDynamic ? keywordTypeOf(property.value) : property.type;
        server->declare({property.path, toWord(type),
                         toWord(property.isWritable ? Access::ReadWrite : Access::Read),
                         property.label, property.value});
        if (!property.isWritable) {
            server->setWriteHandler(property.path, {});
            continue;
        }
        server->setWriteHandler(
            property.path, [self = QPointer<ObjectKeywords>(this), i](const WriteRequest &request) {
                if (self)
                    self->write(i, request);
            });
    }
}

void ObjectKeywords::timerEvent(QTimerEvent *)
{
    const QPointer<ObjectKeywords> self(this);
    for (int i = 0; self && i < int(properties.size()); ++i) {
        if (properties[std::size_t(i)].isPolled)
            update(i);
    }
}

void ObjectKeywords::onNotify()
{
    const QPointer<ObjectKeywords> self(this);
    const QList<int> changed = bySignal.value(senderSignalIndex());
    for (const int number : changed) {
        if (self)
            update(number);
    }
}

void ObjectKeywords::add(const QMetaProperty &property, const ServeOptions &options)
{
    const QMetaObject *const type = object->metaObject();
    Property added;
    added.type = keywordType(property.metaType());
    if (added.type == Type::None) {
        if (server->d->isNew(qualifiedName(type, property)))
            reportMissing(type, property);
        return;
    }
    added.index = property.propertyIndex();
    added.path = path + QLatin1Char('/') + nameOf(property);
    added.label = options.labels.value(nameOf(property), classLabel(type, property));
    added.isWritable = property.isWritable() && !property.isConstant();
    added.isDynamic = isDynamic(property.metaType());
    properties.push_back(added);
    reportFields(property.metaType());
    follow(property, options);
}

// Logs unsupported fields in the gadgets of a type.
void ObjectKeywords::reportFields(QMetaType type)
{
    const QMetaObject *const gadget = gadgetIn(type);
    if (!gadget || !server->d->isNew(gadget->className()))
        return;
    for (int i = 0; i < gadget->propertyCount(); ++i) {
        const QMetaProperty field = gadget->property(i);
        if (keywordType(field.metaType()) == Type::None)
            reportMissing(gadget, field);
        else
            reportFields(field.metaType());
    }
}

void ObjectKeywords::follow(const QMetaProperty &property, const ServeOptions &options)
{
    const int number = int(properties.size()) - 1;
    if (property.hasNotifySignal()) {
        static const QMetaMethod slot =
            staticMetaObject.method(staticMetaObject.indexOfSlot("onNotify()"));
        QList<int> &numbers = bySignal[property.notifySignalIndex()];
        if (numbers.isEmpty())
            connect(object, property.notifySignal(), this, slot);
        numbers.append(number);
    } else if (property.isBindable()) {
        notifiers.push_back(
            property.bindable(object).addNotifier([this, number] { update(number); }));
    } else if (!property.isConstant()) {
        properties.back().isPolled = true;
        if (options.pollInterval.count() <= 0
            && server->d->isNew(qualifiedName(object->metaObject(), property)))
            qCInfo(lcObjects).noquote() << qualifiedName(object->metaObject(), property)
                                        << "has no NOTIFY signal and is read once. Set "
                                           "ServeOptions::pollInterval to read it periodically";
    }
}

// The last values are kept, so that clients can show them.
void ObjectKeywords::onDestroyed()
{
    notifiers.clear();
    if (pollTimer != 0)
        killTimer(std::exchange(pollTimer, 0));
    if (!server || !isDeclared)
        return;
    KeywordServer::Private *const d = server->d.get();
    ++d->batch;
    for (const Property &property : properties) {
        const Node *const node = d->tree.find(property.path);
        if (node && node->declared)
            server->setState(property.path, false, false, node->consistent, node->error);
    }
    --d->batch;
    d->sendAll();
}

// Invalid once the object is gone, or has moved to another thread, where its functions must not be
// called from this one.
QMetaProperty ObjectKeywords::metaProperty(int number) const
{
    return object && object->thread() == thread()
        ? object->metaObject()->property(properties[std::size_t(number)].index)
        : QMetaProperty();
}

// False if there is nothing to read, or nobody left who would want it.
bool ObjectKeywords::read(int number, QVariant *value)
{
    const QMetaProperty property = metaProperty(number);
    if (!property.isValid() || properties[std::size_t(number)].isReading)
        return false;
    const QPointer<ObjectKeywords> self(this);
    properties[std::size_t(number)].isReading = true;
    *value = toKeywordValue(property.read(object));
    if (!self)
        return false;
    Property &read = properties[std::size_t(number)];
    read.isReading = false;
    if (!read.isDynamic && !fits(*value, read.type))
        value->clear();
    return server && object;
}

void ObjectKeywords::update(int number)
{
    QVariant value;
    if (read(number, &value))
        show(number, value);
}

// Null is a value here, unlike in setValue().
void ObjectKeywords::show(int number, const QVariant &value)
{
    Property &property = properties[std::size_t(number)];
    if (!isDeclared) {
        property.value = value;
        return;
    }
    KeywordServer::Private *const d = server->d.get();
    Node *const node = d->tree.find(property.path);
    if (!node || !node->declared)
        return;
    const Type type = property.isDynamic && value.isValid() ? keywordTypeOf(value) : node->type;
    if ((value == node->value && type == node->type) || (value.isValid() && !fits(value, type)))
        return;
    node->type = type;
    node->value = value;
    d->changed(node);
}

void ObjectKeywords::write(int number, const WriteRequest &request)
{
    const QMetaProperty property = metaProperty(number);
    if (!property.isValid()) {
        request.refuse(object ? QStringLiteral("the object has moved to another thread")
                              : QStringLiteral("the object has been destroyed"));
        return;
    }
    const QPointer<ObjectKeywords> self(this);
    const QPointer<QObject> target(object);
    QVariant value;
    if (property.metaType().flags().testFlag(QMetaType::IsGadget))
        value = property.read(target); // for the fields that are not given
    if (!target || !fromKeywordValue(request.value(), property.metaType(), &value)) {
        request.refuse(QStringLiteral("the property has no such value"));
        return;
    }
    const bool isWritten = target && property.write(target, value);
    QVariant now;
    if (!isWritten || !self || !self->read(number, &now)) {
        request.refuse(QStringLiteral("the property did not take the value"));
        return;
    }
    if (properties[std::size_t(number)].isDynamic || !now.isValid())
        show(number, now);
    request.accept(now);
}

// Whether a message about a property has not been logged yet.
bool KeywordServer::Private::isNew(const QByteArray &reported)
{
    const auto before = reportedProperties.size();
    reportedProperties.insert(reported);
    return reportedProperties.size() != before;
}

/*!
    \class pellix::server::ServeOptions
    \inmodule PellixClientServer
    \inheaderfile server/serveoptions.h
    \ingroup PellixClientServerClasses
    \brief The ServeOptions struct contains the options of KeywordServer::serve().
*/

/*!
    \variable pellix::server::ServeOptions::labels
    \brief the labels of keywords by the names of their properties. They take precedence over those
    in the Q_CLASSINFO of the class.
*/

/*!
    \variable pellix::server::ServeOptions::pollInterval
    \brief the interval at which properties without change notification are read: those that are not
    constant, and have neither a NOTIFY signal nor BINDABLE. With 0, which is the default, and
    below, they are read once.
*/

/*!
    \variable pellix::server::ServeOptions::servesObjectName
    \brief whether QObject::objectName is served as well; \c false by default.
*/

/*!
    Serves the properties of \a object: each property becomes a keyword below \a path with the name
    of the property, and its changes are published. This includes the properties of base classes,
    but not those added with QObject::setProperty(). \a options contains labels and other options.

    \code
    server.serve(&tank, QStringLiteral("/plant/tank1")); // "/plant/tank1/level" and so on
    \endcode

    \section2 Types

    \table
    \header \li Property \li Keyword
    \row \li \c bool \li "bool"
    \row \li integers, and enumerations whose names Qt does not have
         \li "int"; null for a \c quint64 above the largest \c qint64
    \row \li \c double, \c float \li "double"; null for NaN and infinity
    \row \li QString, QUrl, QUuid; QByteArray, as UTF-8; QDate, QTime, and QDateTime, as ISO 8601,
             with milliseconds and the offset from UTC
         \li "string"; null for an invalid date or time
    \row \li enumerations and flags with Q_ENUM or Q_FLAG
         \li "string": the key, such as "Manual" or "Valve|Pump". A value without a key is
             represented as a number; flags without a key are not represented.
    \row \li lists, maps, and hashes of any of these, JSON, QVariantList, QVariantMap \li "object"
    \row \li a class with Q_GADGET and properties \li "object": a map of these
    \row \li other types that QVariant converts to a string and back \li "string"
    \row \li QVariant, QJsonValue
         \li the type of the value; when it changes, the type of the keyword changes as well
    \endtable

    Properties of any other type, such as a pointer, are skipped with a warning in the category
    "pellixclient.server.objects". This also applies to fields of a gadget.

    \section2 Values

    The keyword changes when the NOTIFY signal of the property is emitted, or when a BINDABLE
    property without one changes. Other properties are read once, which is logged, or at the
    interval in \a options. The state flags are good as long as the object exists.

    To label a property in its class, use Q_CLASSINFO:

    \code
    Q_CLASSINFO("Label.level", "Level in %")
    \endcode

    \section2 Writes

    A property with a setter grants "RW", and other properties grant "R". A write of a client calls
    the setter, and the keyword then contains the value of the property. So clients receive the
    value that the setter has limited. The write is refused if the value cannot be converted, if it
    is out of the range of an integer type or not a key of an enumeration, or if the property does
    not accept it. When a client writes a gadget, fields that it does not contain keep their values,
    and read-only fields are skipped. These keywords have their own write handler: if you replace
    it, writes do not reach the object.

    \section2 Lifetime

    The server does not own \a object, which must live in the thread of the server, and may be
    destroyed at any time. Its keywords then keep their last values, neither connected nor online,
    and writes are refused, until stopServing() is called or another object is served at the same
    path. That object replaces the previous one, whether or not it still exists: keywords without a
    matching property are removed. A label is kept if there is no new one. An object can be served
    at several paths.

    Returns \c false, changes nothing, and logs the reason if \a object is null, lives in another
    thread, or has no properties to serve, if \a path contains no level, or if limits() do not allow
    as many keywords.

    \sa stopServing(), {Serve your own values}
*/
bool KeywordServer::serve(QObject *object, const QString &path, const ServeOptions &options)
{
    const QString level = normalizedPath(path);
    const auto refuse = [&](const char *reason) {
        qCWarning(lcObjects).noquote().nospace()
            << "cannot serve " << (object ? object->metaObject()->className() : "an object")
            << " at \"" << path << "\": " << reason;
        return false;
    };
    if (!object)
        return refuse("it is null");
    if (level.isEmpty())
        return refuse("the path names no level, such as \"/plant\"");
    if (object->thread() != thread())
        return refuse("it lives in a different thread than the server");

    auto keywords = std::make_unique<ObjectKeywords>(this, object, level, options);
    if (keywords->paths().isEmpty())
        return refuse("it has no property that can be served. Does its class contain Q_OBJECT?");
    if (!keywords->readAll()) {
        qCWarning(lcObjects) << "cannot serve an object: a getter has destroyed it, or the server";
        return false;
    }
    if (!d->hasRoomFor(level, keywords->paths())) {
        ++d->counts.refusedDeclarations;
        return refuse("there would be too many keywords. Limits::keywords can be raised");
    }
    d->start(level, std::move(keywords));
    return true;
}

/*!
    Stops serving the object at \a path, and removes its keywords. The object is not affected.
    Returns whether an object was served, whether or not it still exists.

    \sa serve(), clear()
*/
bool KeywordServer::stopServing(const QString &path)
{
    const auto found = d->served.find(normalizedPath(path));
    if (found == d->served.end())
        return false;
    const QStringList paths = found->second->paths();
    d->served.erase(found);
    ++d->batch;
    for (const QString &keyword : paths)
        remove(keyword);
    --d->batch;
    d->sendAll();
    return true;
}

// The remaining keywords of the previous object do not count.
bool KeywordServer::Private::hasRoomFor(const QString &level, const QStringList &paths) const
{
    const auto isDeclared = [this](const QString &path) { return q->contains(path); };
    const auto found = served.find(level);
    const QStringList before = found == served.end() ? QStringList() : found->second->paths();
    const auto gone = std::count_if(before.cbegin(), before.cend(), [&](const QString &path) {
        return !paths.contains(path) && isDeclared(path);
    });
    const auto known = std::count_if(paths.cbegin(), paths.cend(), isDeclared);
    return q->keywordCount() - gone + paths.size() - known <= limits.keywords;
}

void KeywordServer::Private::start(const QString &level, std::unique_ptr<ObjectKeywords> keywords)
{
    const QStringList paths = keywords->paths();
    std::unique_ptr<ObjectKeywords> &place = served[level];
    const QStringList before = place ? place->paths() : QStringList();
    ++batch;
    for (const QString &keyword : before) {
        if (!paths.contains(keyword))
            q->remove(keyword);
    }
    place = std::move(keywords);
    place->declare();
    --batch;
    sendAll();
}

} // namespace pellix::server
