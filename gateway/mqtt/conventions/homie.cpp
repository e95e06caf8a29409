// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/conventions/homie.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <algorithm>
#include <cmath>

namespace pellix::gateway {

namespace {

constexpr QLatin1String stateTopic("$state");
constexpr QLatin1String descriptionTopic("$description");
constexpr QLatin1String alertTopic("$alert");

bool isState(const QByteArray &payload)
{
    static const QList<QByteArray> states {"init", "ready", "disconnected", "sleeping", "lost"};
    return states.contains(payload);
}

bool isId(const QString &text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar character) {
        return (character >= QLatin1Char('a') && character <= QLatin1Char('z'))
            || (character >= QLatin1Char('0') && character <= QLatin1Char('9'))
            || character == QLatin1Char('-');
    });
}

std::optional<QVariant> integerOf(const QString &text)
{
    bool isNumber = false;
    const qint64 number = text.toLongLong(&isNumber);
    return isNumber ? std::optional<QVariant>(number) : std::nullopt;
}

std::optional<QVariant> floatOf(const QString &text)
{
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    return isNumber && std::isfinite(number) ? std::optional<QVariant>(number) : std::nullopt;
}

// "[min]:[max][:step]"; each part is optional.
bool readLimits(const QString &format, TopicKeyword *keyword)
{
    if (format.isEmpty())
        return true;
    const QStringList parts = format.split(QLatin1Char(':'));
    if (parts.size() < 2 || parts.size() > 3)
        return false;
    const auto number = keyword->type == QLatin1String("int") ? integerOf : floatOf;
    std::optional<QVariant> numbers[3];
    for (int i = 0; i < parts.size(); ++i) {
        numbers[i] = number(parts.at(i));
        if (!numbers[i] && !parts.at(i).isEmpty())
            return false;
    }
    keyword->minimum = numbers[0].value_or(QVariant());
    keyword->maximum = numbers[1].value_or(QVariant());
    keyword->step = numbers[2].value_or(0.0).toDouble();
    const bool isOrdered =
        !numbers[0] || !numbers[1] || numbers[0]->toDouble() <= numbers[1]->toDouble();
    return isOrdered && (!numbers[2] || keyword->step > 0);
}

// Returns the entries of a list, unless one is empty or occurs twice.
std::optional<QStringList> readEntries(const QString &format)
{
    QStringList entries = format.split(QLatin1Char(','));
    const QSet<QString> different(entries.begin(), entries.end());
    if (different.size() != entries.size() || different.contains(QString()))
        return std::nullopt;
    return entries;
}

bool readBoolean(const QString &format, TopicKeyword *keyword)
{
    keyword->values = {{QStringLiteral("true"), true}, {QStringLiteral("false"), false}};
    const std::optional<QStringList> names = readEntries(format);
    return format.isEmpty() || (names && names->size() == 2);
}

bool readEnum(const QString &format, TopicKeyword *keyword)
{
    const std::optional<QStringList> entries = readEntries(format);
    if (!entries)
        return false;
    for (const QString &entry : *entries) {
        keyword->values.append({entry, entry});
        keyword->choices.append(entry);
    }
    return true;
}

bool readColor(const QString &format, TopicKeyword *keyword)
{
    static const QHash<QString, QString> patterns {
        {QStringLiteral("rgb"), QStringLiteral("rgb(,(25[0-5]|2[0-4]\\d|1?\\d?\\d)){3}")},
        {QStringLiteral("hsv"),
         QStringLiteral("hsv,(360|3[0-5]\\d|[12]?\\d?\\d)(,(100|\\d?\\d)){2}")},
        {QStringLiteral("xyz"), QStringLiteral("xyz(,(0|1|0?\\.\\d+|1\\.0+)){2}")},
    };
    const std::optional<QStringList> entries = readEntries(format);
    if (!entries)
        return false;
    QStringList kinds;
    for (const QString &entry : *entries) {
        if (!patterns.contains(entry))
            return false;
        kinds.append(patterns.value(entry));
    }
    keyword->pattern = kinds.join(QLatin1Char('|'));
    return true;
}

// Applies the datatype and the format to the keyword. Returns false if they are invalid.
bool readDatatype(const QString &datatype, const QString &format, TopicKeyword *keyword)
{
    const auto is = [&](const char *name) { return datatype == QLatin1String(name); };
    keyword->type = QStringLiteral("string");
    if (is("integer")) {
        keyword->type = QStringLiteral("int");
        return readLimits(format, keyword);
    }
    if (is("float")) {
        keyword->type = QStringLiteral("double");
        return readLimits(format, keyword);
    }
    if (is("boolean")) {
        keyword->type = QStringLiteral("bool");
        return readBoolean(format, keyword);
    }
    if (is("json")) {
        keyword->type = QStringLiteral("object");
        return true;
    }
    if (is("enum"))
        return readEnum(format, keyword);
    if (is("color"))
        return readColor(format, keyword);
    if (is("datetime")) {
        keyword->pattern =
            QStringLiteral("\\d{4}-\\d\\d(-\\d\\d)?([T ]\\d\\d(:?\\d\\d(:?\\d\\d([.,]\\d+)?)?)?"
                           "(Z|[+-]\\d\\d(:?\\d\\d)?)?)?");
        return true;
    }
    if (is("duration")) {
        keyword->pattern = QStringLiteral("PT(?=\\d)(\\d+H)?(\\d+M)?(\\d+S)?");
        return true;
    }
    keyword->emptyText = QByteArray(1, '\0');
    return is("string");
}

} // namespace

// Reads a $description. Skips only what is invalid: a property, a node, or the device.
class HomieConvention::Reader
{
public:
    Reader(const QString &topic, DescribedKeywords *keywords, ConventionChange *change)
        : device(topic), keywords(keywords), change(change)
    { }

    void read(const QByteArray &payload);

    QList<Property> properties;
    QString root;
    int skipped = 0;

private:
    void readNode(const QString &id, const QJsonObject &node);
    void readProperty(const QString &nodeId, const QString &nodeName, const QString &id,
                      const QJsonObject &property);
    bool isLegal(const QJsonObject &object, const char *texts, const char *objects = "",
                 const char *lists = "", const char *booleans = "") const;
    void skip(const QString &what, const QString &why);

    const QString device; // topic
    QString deviceName;
    DescribedKeywords *const keywords;
    ConventionChange *const change;
};

void HomieConvention::Reader::skip(const QString &what, const QString &why)
{
    ++skipped;
    keywords->say(QStringLiteral("%1 is not served: %2").arg(what, why), change);
}

// Whether the known members that exist have the correct type.
bool HomieConvention::Reader::isLegal(const QJsonObject &object, const char *texts,
                                      const char *objects, const char *lists,
                                      const char *booleans) const
{
    const auto are = [&](const char *names, QJsonValue::Type type) {
        const auto list = QString::fromLatin1(names).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        return std::all_of(list.begin(), list.end(), [&](const QString &name) {
            const QJsonValue value = object.value(name);
            return value.isUndefined() || value.type() == type;
        });
    };
    return are(texts, QJsonValue::String) && are(objects, QJsonValue::Object)
        && are(lists, QJsonValue::Array) && are(booleans, QJsonValue::Bool);
}

void HomieConvention::Reader::read(const QByteArray &payload)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(payload, &error);
    if (!document.isObject()) {
        skip(device,
             error.error == QJsonParseError::NoError
                 ? QStringLiteral("its $description is not a JSON object")
                 : QStringLiteral("its $description is not JSON: %1").arg(error.errorString()));
        return;
    }
    const QJsonObject object = document.object();
    const QJsonValue version = object.value(QLatin1String("version"));
    if (!object.value(QLatin1String("homie")).toString().startsWith(QLatin1String("5."))) {
        skip(device, QStringLiteral("its $description does not say that it is of Homie 5"));
        return;
    }
    if (version.toDouble(0.5) != std::floor(version.toDouble(0.5))) {
        skip(device, QStringLiteral("its $description has no version"));
        return;
    }
    if (!isLegal(object, "name root parent", "nodes", "children extensions")) {
        skip(device, QStringLiteral("its $description has members of a wrong type"));
        return;
    }

    const QString ownId = device.section(QLatin1Char('/'), -1);
    const QString rootId = object.value(QLatin1String("root")).toString();
    if (!rootId.isEmpty() && !isId(rootId)) {
        skip(device, QStringLiteral("the id of its root is illegal"));
        return;
    }
    if (!rootId.isEmpty() && rootId != ownId)
        root = device.left(device.size() - ownId.size()) + rootId;
    deviceName = object.value(QLatin1String("name")).toString(ownId);
    const QJsonObject nodes = object.value(QLatin1String("nodes")).toObject();
    for (auto node = nodes.begin(); node != nodes.end(); ++node) {
        const QString what = QStringLiteral("node %1 of %2").arg(quoted(node.key()), device);
        if (!isId(node.key()))
            skip(what, QStringLiteral("the id is illegal"));
        else if (!node->isObject() || !isLegal(node->toObject(), "name type", "properties"))
            skip(what, QStringLiteral("the description has members of a wrong type"));
        else
            readNode(node.key(), node->toObject());
    }
}

void HomieConvention::Reader::readNode(const QString &id, const QJsonObject &node)
{
    const QString name = node.value(QLatin1String("name")).toString(id);
    const QJsonObject list = node.value(QLatin1String("properties")).toObject();
    for (auto property = list.begin(); property != list.end(); ++property) {
        if (!isId(property.key())) {
            skip(QStringLiteral("property %1 of %2/%3").arg(quoted(property.key()), device, id),
                 QStringLiteral("the id is illegal"));
            continue;
        }
        readProperty(id, name, property.key(), property->toObject());
    }
}

void HomieConvention::Reader::readProperty(const QString &nodeId, const QString &nodeName,
                                           const QString &id, const QJsonObject &property)
{
    TopicKeyword keyword;
    keyword.topic = device + QLatin1Char('/') + nodeId + QLatin1Char('/') + id;
    keyword.origin = keyword.topic;
    if (!isLegal(property, "name datatype unit format", "", "", "settable retained")) {
        skip(keyword.topic, QStringLiteral("its description has members of a wrong type"));
        return;
    }
    const QString datatype = property.value(QLatin1String("datatype")).toString();
    const QString format = property.value(QLatin1String("format")).toString();
    if (!readDatatype(datatype, format, &keyword)) {
        skip(keyword.topic,
             QStringLiteral("the datatype %1 with the format %2 is illegal")
                 .arg(quoted(datatype), quoted(format)));
        return;
    }
    keyword.unit = property.value(QLatin1String("unit")).toString();
    const bool isRetained = property.value(QLatin1String("retained")).toBool(true);
    keyword.access = QStringLiteral("R");
    if (property.value(QLatin1String("settable")).toBool()) {
        // A property that is not retained is an event that also accepts commands.
        keyword.access = isRetained ? QStringLiteral("RW") : QStringLiteral("W");
        keyword.writeTopic = keyword.topic + QLatin1String("/set");
        keyword.writeQos = isRetained ? 1 : 0;
    }
    keyword.targetTopic = keyword.topic + QLatin1String("/$target");

    const QString name = property.value(QLatin1String("name")).toString(id);
    const QString withNode = nodeName + QLatin1Char(' ') + name;
    properties.append({keyword, {name, withNode, deviceName + QLatin1Char(' ') + withNode}});
}

HomieConvention::HomieConvention(const ConventionOptions &options)
    : options(options),
      base((options.base.isEmpty() ? QStringLiteral("homie") : options.base) + QLatin1String("/5"))
{ }

QString HomieConvention::name() const
{
    return QStringLiteral("homie");
}

QStringList HomieConvention::subscriptions() const
{
    QStringList filters {base + QLatin1String("/+/") + stateTopic,
                         base + QLatin1String("/+/") + descriptionTopic};
    if (options.alertsAreErrors)
        filters.append(base + QLatin1String("/+/") + alertTopic + QLatin1String("/+"));
    return filters;
}

ConventionChange HomieConvention::take(const QString &topic, const QByteArray &payload)
{
    ConventionChange change;
    const QStringList levels = topic.split(QLatin1Char('/'));
    const auto first = base.count(QLatin1Char('/')) + 1;
    if (levels.size() < first + 2 || levels.size() > first + 3
        || !topic.startsWith(base + QLatin1Char('/')) || !isId(levels.at(first)))
        return change;

    const QString device = base + QLatin1Char('/') + levels.at(first);
    const QString &attribute = levels.at(first + 1);
    const bool isAlert = levels.size() == first + 3;
    QSet<QString> changed; // topics of properties
    const Device before = devices.value(device);
    if (isAlert && attribute == alertTopic)
        takeAlert(device, levels.at(first + 2), payload, &changed);
    else if (!isAlert && attribute == stateTopic)
        takeState(device, payload, &changed);
    else if (!isAlert && attribute == descriptionTopic)
        takeDescription(device, payload, &changed, &change);
    const Device now = devices.value(device);
    if (!now.hasState && now.properties.isEmpty() && now.skipped == 0 && now.alerts.isEmpty())
        devices.remove(device);
    if (changed.isEmpty() && now.hasState == before.hasState && now.skipped == before.skipped)
        return change; // most messages only change the state

    DescribedKeywords::Descriptions descriptions {{device, describe(device, now)}};
    QStringList order(changed.begin(), changed.end());
    order.sort();
    for (const QString &path : std::as_const(order)) {
        const auto property = properties.constFind(path);
        descriptions.emplace_back(
            path, property == properties.constEnd() ? Description() : describe(*property));
    }
    keywords.set(descriptions, &change);
    return change;
}

void HomieConvention::takeState(const QString &topic, const QByteArray &payload,
                                QSet<QString> *changed)
{
    Device &device = devices[topic];
    const bool hasState = isState(payload) || (device.hasState && !payload.isEmpty());
    if (hasState == device.hasState)
        return;
    device.hasState = hasState;
    changed->unite(QSet<QString>(device.properties.begin(), device.properties.end()));
}

void HomieConvention::takeAlert(const QString &topic, const QString &id, const QByteArray &payload,
                                QSet<QString> *changed)
{
    if (!options.alertsAreErrors)
        return;
    Device &device = devices[topic];
    const bool wasFaulty = !device.alerts.isEmpty();
    if (payload.isEmpty())
        device.alerts.remove(id);
    else
        device.alerts.insert(id);
    if (wasFaulty != !device.alerts.isEmpty())
        changed->unite(QSet<QString>(device.properties.begin(), device.properties.end()));
}

void HomieConvention::takeDescription(const QString &topic, const QByteArray &payload,
                                      QSet<QString> *changed, ConventionChange *change)
{
    Reader reader(topic, &keywords, change);
    if (!payload.isEmpty())
        reader.read(payload);
    Device &device = devices[topic];
    for (const QString &property : std::as_const(device.properties))
        removeProperty(property, changed);
    device.properties.clear();
    device.root = reader.root;
    device.skipped = reader.skipped;
    for (const Property &property : std::as_const(reader.properties)) {
        device.properties.append(property.keyword.topic);
        addProperty(property, changed);
    }
}

void HomieConvention::addProperty(const Property &property, QSet<QString> *changed)
{
    const QString topic = property.keyword.topic;
    properties.insert(topic, property);
    changed->insert(topic);
    for (const QString &label : property.labels) {
        QSet<QString> &topics = sharers[label];
        topics.insert(topic);
        if (topics.size() == 2)
            changed->unite(topics);
    }
}

void HomieConvention::removeProperty(const QString &topic, QSet<QString> *changed)
{
    const QStringList labels = properties.take(topic).labels;
    changed->insert(topic);
    for (const QString &label : labels) {
        QSet<QString> &topics = sharers[label];
        topics.remove(topic);
        if (topics.size() == 1)
            changed->unite(topics);
        if (topics.isEmpty())
            sharers.remove(label);
    }
}

// The first label that no other property has.
QString HomieConvention::label(const Property &property) const
{
    for (const QString &label : property.labels) {
        if (sharers.value(label).size() <= 1)
            return label;
    }
    return property.labels.constLast();
}

Description HomieConvention::describe(const QString &topic, const Device &device) const
{
    Description description;
    description.skipped = device.skipped;
    if (device.hasState && !device.properties.isEmpty()) {
        description.filters = {topic + QLatin1String("/+/+"),
                               topic + QLatin1String("/+/+/$target")};
    }
    return description;
}

Description HomieConvention::describe(const Property &property) const
{
    const QString topic = property.keyword.topic.section(QLatin1Char('/'), 0, -3);
    const Device device = devices.value(topic);
    if (!device.hasState)
        return {};
    TopicKeyword keyword = property.keyword;
    keyword.path = keyword.topic.mid(base.size());
    keyword.label = label(property);
    keyword.isFaulty = !device.alerts.isEmpty();

    QStringList online {QStringLiteral("ready")};
    QStringList offline {QStringLiteral("init"), QStringLiteral("disconnected"),
                         QStringLiteral("lost")};
    (options.sleepingIsOnline ? online : offline).append(QStringLiteral("sleeping"));
    keyword.availability.entries.append(
        {topic + QLatin1Char('/') + stateTopic, {}, online, offline});
    if (!device.root.isEmpty()) {
        // Only the root device has a will. If the root device is lost, so are the devices that
        // depend on it.
        keyword.availability.entries.append(
            {device.root + QLatin1Char('/') + stateTopic,
             {},
             {QStringLiteral("init"), QStringLiteral("ready"), QStringLiteral("disconnected"),
              QStringLiteral("sleeping")},
             {QStringLiteral("lost")}});
    }
    return {{keyword}, {}, 0};
}

int HomieConvention::skipped() const
{
    return keywords.skipped();
}

void HomieConvention::clear()
{
    devices.clear();
    properties.clear();
    sharers.clear();
    keywords.clear();
}

} // namespace pellix::gateway
