// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/propertyvalue_p.h"

#include <QtCore/QAssociativeIterable>
#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QMetaEnum>
#include <QtCore/QMetaProperty>
#include <QtCore/QSequentialIterable>
#include <QtCore/QUrl>
#include <QtCore/QUuid>

#include <cmath>
#include <limits>

// Qt 6.11 calls QSequentialIterable and QAssociativeIterable deprecated; their successors are new
// there.
QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

namespace pellix::server {

namespace {

bool isInteger(QMetaType type)
{
    switch (type.id()) {
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

bool isFloatingPoint(QMetaType type)
{
    return type.id() == QMetaType::Double || type.id() == QMetaType::Float;
}

// Types that QVariant would convert to a number or a list in JSON, or to another spelling.
bool isText(QMetaType type)
{
    switch (type.id()) {
    case QMetaType::QString:
    case QMetaType::QChar:
    case QMetaType::QByteArray:
    case QMetaType::QUrl:
    case QMetaType::QUuid:
    case QMetaType::QDate:
    case QMetaType::QTime:
    case QMetaType::QDateTime:
        return true;
    default:
        return false;
    }
}

bool isJson(QMetaType type)
{
    switch (type.id()) {
    case QMetaType::QJsonValue:
    case QMetaType::QJsonObject:
    case QMetaType::QJsonArray:
    case QMetaType::QJsonDocument:
        return true;
    default:
        return false;
    }
}

bool isEnumeration(QMetaType type)
{
    return type.flags().testFlag(QMetaType::IsEnumeration);
}

// The names of an enumeration; not valid if Qt does not know them.
QMetaEnum namesOf(QMetaType type)
{
    const QMetaObject *const scope = type.metaObject();
    if (!scope)
        return {};
    QByteArray name(type.name());
    const QByteArray flagsOf("QFlags<");
    const bool isFlags = name.startsWith(flagsOf);
    if (isFlags)
        name = name.mid(flagsOf.size()).chopped(1);
    name = name.mid(name.lastIndexOf(':') + 1);
    for (int i = scope->enumeratorCount() - 1; i >= 0; --i) {
        const QMetaEnum names = scope->enumerator(i);
        if (names.isFlag() == isFlags && name == (isFlags ? names.enumName() : names.name()))
            return names;
    }
    return {};
}

QString keysOf(const QMetaEnum &names, int value)
{
    if (names.isFlag())
        return QString::fromUtf8(names.valueToKeys(value));
    const char *const key = names.valueToKey(value);
    return key ? QString::fromUtf8(key) : QString::number(value);
}

// Flags are separated by "|". No text is no flag.
bool valueOf(const QMetaEnum &names, const QString &text, int *value)
{
    *value = 0;
    if (names.isFlag() && text.trimmed().isEmpty())
        return true;
    const QStringList keys = names.isFlag() ? text.split(QLatin1Char('|')) : QStringList(text);
    for (const QString &key : keys) {
        bool isKnown = false;
        *value |= names.keyToValue(key.trimmed().toUtf8().constData(), &isKnown);
        if (!isKnown)
            return false;
    }
    return true;
}

// Gadgets without usable properties, such as QFont, may still convert to a string.
bool isGadget(QMetaType type)
{
    return type.flags().testFlag(QMetaType::IsGadget) && type.metaObject()
        && type.metaObject()->propertyCount() > 0;
}

bool isSequence(QMetaType type)
{
    return QMetaType::canConvert(type, QMetaType::fromType<QSequentialIterable>());
}

bool isAssociation(QMetaType type)
{
    return QMetaType::canConvert(type, QMetaType::fromType<QAssociativeIterable>());
}

QMetaType elementType(QMetaType type)
{
    const QVariant container(type);
    return container.value<QSequentialIterable>().metaContainer().valueMetaType();
}

QMetaType mappedType(QMetaType type)
{
    const QVariant container(type);
    return container.value<QAssociativeIterable>().metaContainer().mappedMetaType();
}

bool convertsToTextAndBack(QMetaType type)
{
    const QMetaType text = QMetaType::fromType<QString>();
    return QMetaType::canConvert(type, text) && QMetaType::canConvert(text, type);
}

// With its offset from UTC: clients may be in another time zone.
QVariant toText(const QDateTime &time)
{
    if (!time.isValid())
        return {};
    return time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODateWithMs);
}

QVariant toText(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QChar:
        return QString(value.toChar());
    case QMetaType::QByteArray:
        return QString::fromUtf8(value.toByteArray());
    case QMetaType::QUrl:
        return value.toUrl().toString(QUrl::FullyEncoded);
    case QMetaType::QUuid:
        return value.toUuid().toString(QUuid::WithoutBraces);
    case QMetaType::QDate:
        return value.toDate().isValid() ? value.toDate().toString(Qt::ISODate) : QVariant();
    case QMetaType::QTime:
        return value.toTime().isValid() ? value.toTime().toString(Qt::ISODateWithMs) : QVariant();
    case QMetaType::QDateTime:
        return toText(value.toDateTime());
    default:
        return value.toString();
    }
}

// Invalid if the text is none of this type.
QVariant fromText(const QString &text, QMetaType type)
{
    switch (type.id()) {
    case QMetaType::QChar:
        return text.size() == 1 ? text.front() : QVariant();
    case QMetaType::QByteArray:
        return text.toUtf8();
    case QMetaType::QUrl: {
        const QUrl url(text, QUrl::StrictMode);
        return url.isValid() || text.isEmpty() ? url : QVariant();
    }
    case QMetaType::QUuid: {
        const QUuid id = QUuid::fromString(text);
        const bool isNull = text == QUuid().toString(QUuid::WithoutBraces);
        return !id.isNull() || isNull ? QVariant::fromValue(id) : QVariant();
    }
    case QMetaType::QDate: {
        const QDate date = QDate::fromString(text, Qt::ISODate);
        return date.isValid() ? date : QVariant();
    }
    case QMetaType::QTime: {
        const QTime time = QTime::fromString(text, Qt::ISODateWithMs);
        return time.isValid() ? time : QVariant();
    }
    case QMetaType::QDateTime: {
        const QDateTime time = QDateTime::fromString(text, Qt::ISODateWithMs);
        return time.isValid() ? time : QVariant();
    }
    default:
        QVariant value(text);
        return value.convert(type) ? value : QVariant();
    }
}

QVariant toInteger(const QVariant &value)
{
    const int id = value.typeId();
    if ((id == QMetaType::ULongLong || id == QMetaType::ULong)
        && value.toULongLong() > qulonglong(std::numeric_limits<qlonglong>::max()))
        return {}; // an int of the protocol ends there
    return value.toLongLong();
}

QVariant toDouble(const QVariant &value)
{
    const double number = value.toDouble();
    return std::isfinite(number) ? QVariant(number) : QVariant();
}

template <typename Map> QVariant toMap(const Map &map)
{
    QVariantMap result;
    for (auto it = map.begin(); it != map.end(); ++it)
        result.insert(it.key(), toKeywordValue(it.value()));
    return result;
}

QVariant associationToMap(const QVariant &value)
{
    QVariantMap result;
    const auto association = value.value<QAssociativeIterable>();
    if (!association.metaContainer().hasConstIterator())
        return {};
    for (auto it = association.begin(); it != association.end(); ++it)
        result.insert(it.key().toString(), toKeywordValue(it.value()));
    return result;
}

QVariant sequenceToList(const QVariant &value)
{
    QVariantList result;
    const auto sequence = value.value<QSequentialIterable>();
    if (!sequence.metaContainer().hasConstIterator())
        return {};
    for (const QVariant &element : sequence)
        result.append(toKeywordValue(element));
    return result;
}

// A JavaScript object or array of QML. Recognized by its name, because the server does not link Qt
// QML.
bool isScriptValue(QMetaType type)
{
    return qstrcmp(type.name(), "QJSValue") == 0;
}

// Each converts to a list and to a map, but one of the two is always empty. If both are, it
// may be an array, an object, or a function, and is converted to a list.
QVariant scriptValueToKeyword(const QVariant &value)
{
    const QVariantMap map = value.toMap();
    return map.isEmpty() ? toKeywordValue(value.toList()) : toMap(map);
}

QVariant gadgetToMap(const QVariant &value)
{
    QVariantMap result;
    const QMetaObject *const meta = value.metaType().metaObject();
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty field = meta->property(i);
        if (field.isReadable() && keywordType(field.metaType()) != Type::None)
            result.insert(QString::fromUtf8(field.name()),
                          toKeywordValue(field.readOnGadget(value.constData())));
    }
    return result;
}

bool integerFrom(const QVariant &value, QMetaType type, QVariant *result)
{
    if (!isWholeNumber(value))
        return false;
    const qlonglong number = value.toLongLong();
    const bool isUnsigned = type.id() == QMetaType::ULongLong || type.id() == QMetaType::ULong;
    if (isUnsigned && number < 0)
        return false;
    *result = number;
    return result->convert(type) && result->toLongLong() == number; // QVariant truncates silently
}

bool floatingPointFrom(const QVariant &value, QMetaType type, QVariant *result)
{
    if (!isNumber(value))
        return false;
    *result = value.toDouble();
    return result->convert(type) && std::isfinite(result->toDouble());
}

bool enumerationFrom(const QVariant &value, QMetaType type, QVariant *result)
{
    const QMetaEnum names = namesOf(type);
    int number = 0;
    if (!names.isValid()) {
        if (!integerFrom(value, QMetaType::fromType<int>(), result))
            return false;
    } else if (value.typeId() == QMetaType::QString && valueOf(names, value.toString(), &number)) {
        *result = number;
    } else {
        return false;
    }
    return result->convert(type);
}

bool stringsFrom(const QVariant &value, QVariant *result)
{
    QStringList strings;
    const QVariantList list = value.toList();
    for (const QVariant &element : list) {
        if (element.typeId() != QMetaType::QString)
            return false;
        strings.append(element.toString());
    }
    *result = strings;
    return value.typeId() == QMetaType::QVariantList;
}

bool sequenceFrom(const QVariant &value, QMetaType type, QVariant *result)
{
    if (value.typeId() != QMetaType::QVariantList
        || !QMetaType::canView(type, QMetaType::fromType<QSequentialIterable>()))
        return false;
    *result = QVariant(type);
    auto sequence = result->view<QSequentialIterable>();
    const QMetaSequence container = sequence.metaContainer();
    if (!container.canAddValue())
        return false;
    const QVariantList list = value.toList();
    for (const QVariant &given : list) {
        QVariant element;
        if (!fromKeywordValue(given, container.valueMetaType(), &element))
            return false;
        sequence.addValue(element);
    }
    return true;
}

bool associationFrom(const QVariant &value, QMetaType type, QVariant *result)
{
    if (value.typeId() != QMetaType::QVariantMap
        || !QMetaType::canView(type, QMetaType::fromType<QAssociativeIterable>()))
        return false;
    *result = QVariant(type);
    auto association = result->view<QAssociativeIterable>();
    const QMetaAssociation container = association.metaContainer();
    if (!container.canSetMappedAtKey())
        return false;
    const QVariantMap map = value.toMap();
    for (auto it = map.begin(); it != map.end(); ++it) {
        QVariant key(it.key());
        QVariant mapped;
        if (!key.convert(container.keyMetaType())
            || !fromKeywordValue(it.value(), container.mappedMetaType(), &mapped))
            return false;
        association.setValue(key, mapped);
    }
    return true;
}

bool gadgetFrom(const QVariant &value, QMetaType type, QVariant *result)
{
    if (value.typeId() != QMetaType::QVariantMap)
        return false;
    if (result->metaType() != type)
        *result = QVariant(type);
    const QMetaObject *const meta = type.metaObject();
    const QVariantMap fields = value.toMap();
    for (auto it = fields.begin(); it != fields.end(); ++it) {
        const QMetaProperty field =
            meta->property(meta->indexOfProperty(it.key().toUtf8().constData()));
        if (!field.isValid())
            return false;
        // Clients may send the value that they received.
        if (!field.isWritable())
            continue;
        QVariant fieldValue = field.readOnGadget(result->constData());
        if (!fromKeywordValue(it.value(), field.metaType(), &fieldValue)
            || !field.writeOnGadget(result->data(), fieldValue))
            return false;
    }
    return true;
}

bool jsonFrom(const QVariant &value, QMetaType type, QVariant *result)
{
    const bool isMap = value.typeId() == QMetaType::QVariantMap;
    const bool isList = value.typeId() == QMetaType::QVariantList;
    switch (type.id()) {
    case QMetaType::QJsonObject:
        *result = QJsonObject::fromVariantMap(value.toMap());
        return isMap;
    case QMetaType::QJsonArray:
        *result = QJsonArray::fromVariantList(value.toList());
        return isList;
    case QMetaType::QJsonDocument:
        *result = QJsonDocument::fromVariant(value);
        return isMap || isList;
    default:
        *result = QJsonValue::fromVariant(value);
        return true;
    }
}

bool hashFrom(const QVariant &value, QVariant *result)
{
    QVariantHash hash;
    const QVariantMap map = value.toMap();
    for (auto it = map.begin(); it != map.end(); ++it)
        hash.insert(it.key(), it.value());
    *result = hash;
    return value.typeId() == QMetaType::QVariantMap;
}

} // namespace

bool isDynamic(QMetaType type)
{
    return type.id() == QMetaType::QVariant || type.id() == QMetaType::QJsonValue;
}

Type keywordType(QMetaType type)
{
    const int id = type.id(); // which also has containers registered
    if (id == QMetaType::Bool)
        return Type::Bool;
    if (isInteger(type))
        return Type::Int;
    if (isFloatingPoint(type))
        return Type::Double;
    if (isText(type))
        return Type::String;
    if (isJson(type) || id == QMetaType::QVariant || id == QMetaType::QVariantMap
        || id == QMetaType::QVariantHash || id == QMetaType::QVariantList
        || id == QMetaType::QStringList)
        return Type::Object;
    if (isEnumeration(type))
        return namesOf(type).isValid() ? Type::String : Type::Int;
    if (isGadget(type))
        return Type::Object;
    if (isAssociation(type))
        return keywordType(mappedType(type)) == Type::None ? Type::None : Type::Object;
    if (isSequence(type))
        return keywordType(elementType(type)) == Type::None ? Type::None : Type::Object;
    return convertsToTextAndBack(type) ? Type::String : Type::None;
}

Type keywordTypeOf(const QVariant &value)
{
    for (const Type type : {Type::Bool, Type::String, Type::Object}) {
        if (fits(value, type))
            return type;
    }
    if (!value.isValid())
        return Type::Object;
    return value.typeId() == QMetaType::Double ? Type::Double : Type::Int;
}

const QMetaObject *gadgetIn(QMetaType type)
{
    if (isGadget(type))
        return type.metaObject();
    if (isText(type) || isEnumeration(type))
        return nullptr;
    if (isAssociation(type))
        return gadgetIn(mappedType(type));
    return isSequence(type) ? gadgetIn(elementType(type)) : nullptr;
}

QVariant toKeywordValue(const QVariant &value)
{
    const QMetaType type = value.metaType();
    switch (type.id()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        return {};
    case QMetaType::Bool:
        return value;
    case QMetaType::QVariantMap:
        return toMap(value.toMap());
    case QMetaType::QVariantHash:
        return toMap(value.toHash());
    case QMetaType::QJsonValue:
        return toKeywordValue(value.toJsonValue().toVariant());
    case QMetaType::QJsonObject:
        return toMap(value.toJsonObject().toVariantMap());
    case QMetaType::QJsonArray:
        return toKeywordValue(value.toJsonArray().toVariantList());
    case QMetaType::QJsonDocument:
        return toKeywordValue(value.toJsonDocument().toVariant());
    default:
        break;
    }
    if (isInteger(type))
        return toInteger(value);
    if (isFloatingPoint(type))
        return toDouble(value);
    if (isText(type))
        return toText(value);
    if (isEnumeration(type)) {
        const QMetaEnum names = namesOf(type);
        return names.isValid() ? keysOf(names, value.toInt()) : QVariant(value.toLongLong());
    }
    if (isScriptValue(type))
        return scriptValueToKeyword(value);
    if (isGadget(type))
        return gadgetToMap(value);
    if (isAssociation(type))
        return associationToMap(value);
    if (isSequence(type))
        return sequenceToList(value);
    return convertsToTextAndBack(type) ? QVariant(value.toString()) : QVariant();
}

bool fromKeywordValue(const QVariant &value, QMetaType type, QVariant *result)
{
    switch (type.id()) {
    case QMetaType::QVariant:
        *result = value;
        return true;
    case QMetaType::Bool:
    case QMetaType::QString:
    case QMetaType::QVariantMap:
    case QMetaType::QVariantList:
        *result = value;
        return value.metaType() == type;
    case QMetaType::QVariantHash:
        return hashFrom(value, result);
    case QMetaType::QStringList:
        return stringsFrom(value, result);
    default:
        break;
    }
    if (isInteger(type))
        return integerFrom(value, type, result);
    if (isFloatingPoint(type))
        return floatingPointFrom(value, type, result);
    if (isJson(type))
        return jsonFrom(value, type, result);
    if (isEnumeration(type))
        return enumerationFrom(value, type, result);
    if (isGadget(type))
        return gadgetFrom(value, type, result);
    if (!isText(type) && isAssociation(type))
        return associationFrom(value, type, result);
    if (!isText(type) && isSequence(type))
        return sequenceFrom(value, type, result);
    if (value.typeId() != QMetaType::QString)
        return false;
    *result = fromText(value.toString(), type);
    return result->isValid();
}

} // namespace pellix::server

QT_WARNING_POP
