// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/conventions/zigbee2mqtt.h"

#include "gateway/mqtt/keywordpath.h"

#include <QtCore/QJsonDocument>

#include <algorithm>

namespace pellix::gateway {

namespace {

constexpr int deepest = 8; // levels of features within features
constexpr std::size_t mostOfGroups = 50000; // properties of members; each group multiplies them
constexpr int stateBit = 1;
constexpr int setBit = 2;
constexpr int getBit = 4;

QString textOf(const QJsonObject &object, const char *name)
{
    return object.value(QLatin1String(name)).toString();
}

QJsonArray listOf(const QJsonObject &object, const char *name)
{
    return object.value(QLatin1String(name)).toArray();
}

QVariant numberOf(const QJsonObject &object, const char *name)
{
    const QJsonValue value = object.value(QLatin1String(name));
    return value.isDouble() ? QVariant(value.toDouble()) : QVariant();
}

// The text as a JSON string, including the quotation marks.
QByteArray jsonText(const QString &text)
{
    const QByteArray list = QJsonDocument(QJsonArray {text}).toJson(QJsonDocument::Compact);
    return list.mid(1, list.size() - 2);
}

QString pointerTo(const QStringList &levels)
{
    QString pointer;
    for (QString level : levels) {
        level.replace(QLatin1Char('~'), QLatin1String("~0"));
        level.replace(QLatin1Char('/'), QLatin1String("~1"));
        pointer += QLatin1Char('/') + level;
    }
    return pointer;
}

QString labelOf(const QJsonObject &expose)
{
    const QString label = textOf(expose, "label");
    return label.isEmpty() ? textOf(expose, "name").replace(QLatin1Char('_'), QLatin1Char(' '))
                           : label;
}

bool readBinary(const QJsonObject &expose, TopicKeyword *keyword)
{
    const QJsonValue on = expose.value(QLatin1String("value_on"));
    const QJsonValue off = expose.value(QLatin1String("value_off"));
    keyword->type = QStringLiteral("bool");
    keyword->values = {{on, true}, {off, false}};
    return !on.isUndefined() && !off.isUndefined() && on != off;
}

bool readNumeric(const QJsonObject &expose, TopicKeyword *keyword)
{
    keyword->type = QStringLiteral("double");
    keyword->minimum = numberOf(expose, "value_min");
    keyword->maximum = numberOf(expose, "value_max");
    keyword->step = qMax(0.0, numberOf(expose, "value_step").toDouble());
    return true;
}

bool readEnum(const QJsonObject &expose, TopicKeyword *keyword)
{
    keyword->type = QStringLiteral("string");
    bool hasNumbers = false;
    const QJsonArray values = listOf(expose, "values");
    for (const auto &value : values) {
        if (!value.isString() && !value.isDouble())
            return false;
        hasNumbers |= value.isDouble();
        const QString text = value.toVariant().toString();
        keyword->values.append({value, text});
        keyword->choices.append(text);
    }
    if (!hasNumbers) // devices send more values than they declare
        keyword->values.clear();
    if (textOf(expose, "name") == QLatin1String("action"))
        keyword->unknownPayloads.append(QByteArray()); // ends each event, in older versions
    return !values.isEmpty();
}

bool readType(const QString &type, const QJsonObject &expose, TopicKeyword *keyword)
{
    const auto is = [&](const char *name) { return type == QLatin1String(name); };
    if (is("binary"))
        return readBinary(expose, keyword);
    if (is("numeric"))
        return readNumeric(expose, keyword);
    if (is("enum"))
        return readEnum(expose, keyword);
    keyword->type = is("text") ? QStringLiteral("string") : QStringLiteral("object");
    return is("text") || is("list") || is("composite");
}

bool isGroupOfFeatures(const QString &type)
{
    static const QStringList kinds {QStringLiteral("light"), QStringLiteral("switch"),
                                    QStringLiteral("fan"),   QStringLiteral("cover"),
                                    QStringLiteral("lock"),  QStringLiteral("climate")};
    return kinds.contains(type);
}

} // namespace

// Reads what a device exposes.
class Zigbee2MqttConvention::Reader
{
public:
    Reader(const QString &device, DescribedKeywords *keywords, ConventionChange *change)
        : device(device), keywords(keywords), change(change)
    { }

    void read(const QJsonArray &exposes) { read(exposes, {}, false); }

    ExposedList exposed;
    int skipped = 0;

private:
    int read(const QJsonArray &exposes, const QStringList &levels, bool isInside);
    int readOne(const QJsonObject &expose, const QStringList &levels, bool isInside);
    void add(const Exposed &one);
    void skip(const QJsonObject &expose, const QString &why);

    const QString device;
    DescribedKeywords *const keywords;
    ConventionChange *const change;
    QHash<QStringList, std::size_t> places;
};

void Zigbee2MqttConvention::Reader::skip(const QJsonObject &expose, const QString &why)
{
    ++skipped;
    const QString property = textOf(expose, "property");
    const QString what = property.isEmpty() ? textOf(expose, "name") : property;
    keywords->say(
        QStringLiteral("%1 of %2 is not served: %3").arg(quoted(what), quoted(device), why),
        change);
}

// Returns the combined access flags of everything that has been read.
int Zigbee2MqttConvention::Reader::read(const QJsonArray &exposes, const QStringList &levels,
                                        bool isInside)
{
    int access = 0;
    for (const auto &expose : exposes)
        access |= readOne(expose.toObject(), levels, isInside);
    return access;
}

int Zigbee2MqttConvention::Reader::readOne(const QJsonObject &expose, const QStringList &levels,
                                           bool isInside)
{
    const QString type = textOf(expose, "type");
    const QString property = textOf(expose, "property");
    const QJsonArray features = listOf(expose, "features");
    const bool isComposite = type == QLatin1String("composite");
    if (isGroupOfFeatures(type) || (isComposite && property.isEmpty()))
        return read(features, levels, isInside); // the features are at the same level

    Exposed one;
    one.levels = levels + QStringList {property};
    one.isComposite = isComposite;
    one.keyword.label = labelOf(expose);
    one.keyword.unit = textOf(expose, "unit");
    if (property.isEmpty() || property.contains(QLatin1String("$value"))) {
        skip(expose, QStringLiteral("it has no usable property"));
        return 0;
    }
    if (one.levels.size() > deepest) {
        skip(expose, QStringLiteral("it lies too deep"));
        return 0;
    }
    if (!readType(type, expose, &one.keyword)) {
        skip(expose, QStringLiteral("its type %1 is not known or incomplete").arg(quoted(type)));
        return 0;
    }
    const int inherited = isComposite ? read(features, one.levels, true) : stateBit;
    const int access = expose.value(QLatin1String("access")).toInt(inherited);
    one.isReadable = access & (stateBit | getBit);
    one.isSettable = (access & setBit) && !isInside; // a composite is set as one object
    if (one.isReadable || one.isSettable)
        add(one);
    else if (!isInside)
        skip(expose, QStringLiteral("it has no access"));
    return access;
}

// The same property can be exposed in several ways, such as a color.
void Zigbee2MqttConvention::Reader::add(const Exposed &one)
{
    const auto place = places.constFind(one.levels);
    if (place == places.constEnd()) {
        places.insert(one.levels, exposed.size());
        exposed.push_back(one);
        return;
    }
    Exposed &other = exposed[*place];
    other.isReadable |= one.isReadable;
    other.isSettable |= one.isSettable;
}

bool Zigbee2MqttConvention::Settings::operator==(const Settings &other) const
{
    return hasAttributeTopics == other.hasAttributeTopics
        && hasAvailability == other.hasAvailability && availability == other.availability;
}

Zigbee2MqttConvention::Zigbee2MqttConvention(const ConventionOptions &options)
    : base(options.base.isEmpty() ? QStringLiteral("zigbee2mqtt") : options.base)
{ }

QString Zigbee2MqttConvention::name() const
{
    return QStringLiteral("zigbee2mqtt");
}

QStringList Zigbee2MqttConvention::subscriptions() const
{
    return {base + QLatin1String("/bridge/info"), base + QLatin1String("/bridge/devices"),
            base + QLatin1String("/bridge/groups")};
}

ConventionChange Zigbee2MqttConvention::take(const QString &topic, const QByteArray &payload)
{
    ConventionChange change;
    const auto is = [&](const char *name) {
        return topic == base + QLatin1String("/bridge/") + QLatin1String(name);
    };
    const bool isChanged = (is("info") && takeInfo(payload, &change))
        || (is("devices") && takeList(payload, topic, &devices, &change))
        || (is("groups") && takeList(payload, topic, &groups, &change));
    if (isChanged)
        describeAll(&change);
    return change;
}

bool Zigbee2MqttConvention::takeInfo(const QByteArray &payload, ConventionChange *change)
{
    const QJsonDocument document = QJsonDocument::fromJson(payload);
    if (!document.isObject() && !payload.isEmpty()) {
        keywords.say(QStringLiteral("%1/bridge/info is no JSON object").arg(base), change);
        return false;
    }
    const QJsonObject config = document.object().value(QLatin1String("config")).toObject();
    // An object may contain "enabled". In older versions it does not, and availability is enabled.
    const auto isOn = [](const QJsonValue &value) {
        return value.isObject() ? value.toObject().value(QLatin1String("enabled")).toBool(true)
                                : value.toBool();
    };
    Settings now;
    now.hasAttributeTopics = textOf(config.value(QLatin1String("advanced")).toObject(), "output")
        == QLatin1String("attribute");
    now.hasAvailability = isOn(config.value(QLatin1String("availability")));
    for (const char *const kind : {"devices", "groups"}) {
        const QJsonObject members = config.value(QLatin1String(kind)).toObject();
        for (auto member = members.begin(); member != members.end(); ++member) {
            const QJsonValue own = member->toObject().value(QLatin1String("availability"));
            if (own.isBool() || own.isObject())
                now.availability.insert(member.key(), isOn(own));
        }
    }
    if (now == settings)
        return false;
    settings = now;
    return true;
}

bool Zigbee2MqttConvention::takeList(const QByteArray &payload, const QString &topic,
                                     QJsonArray *list, ConventionChange *change)
{
    const QJsonDocument document = QJsonDocument::fromJson(payload);
    if (!document.isArray() && !payload.isEmpty()) {
        keywords.say(QStringLiteral("%1 is no JSON array; what it said before stays").arg(topic),
                     change);
        return false;
    }
    if (document.array() == *list)
        return false;
    *list = document.array();
    return true;
}

void Zigbee2MqttConvention::describeAll(ConventionChange *change)
{
    QHash<QString, QString> before;
    before.swap(names);
    QHash<QString, ExposedList> exposed; // by address
    DescribedKeywords::Descriptions descriptions;
    Description unnamed;
    const auto skip = [&](const QString &what, const char *why, Description *description) {
        ++description->skipped;
        keywords.say(QStringLiteral("%1 is not served: %2").arg(what, QLatin1String(why)), change);
    };
    // Returns null if there is nothing to describe for this name.
    const auto start = [&](const QString &kind, const QString &id,
                           const QString &name) -> Description * {
        const QString owner = kind + QLatin1Char(' ') + id;
        const QString what = kind + QLatin1Char(' ') + quoted(name);
        if (id.isEmpty() || names.contains(owner)) {
            skip(what, "it has no address or number of its own", &unnamed);
            return nullptr;
        }
        descriptions.emplace_back(owner, Description());
        names.insert(owner, name);
        if (!isTopicName(name)) {
            skip(what, "no topic can have its name", &descriptions.back().second);
            return nullptr;
        }
        if (before.contains(owner) && before.value(owner) != name) {
            change->messages.append(QStringLiteral("%1 is called %2 now")
                                        .arg(quoted(before.value(owner)), quoted(name)));
        }
        return &descriptions.back().second;
    };

    for (const auto &item : std::as_const(devices)) {
        const QJsonObject device = item.toObject();
        if (textOf(device, "type") == QLatin1String("Coordinator"))
            continue;
        const QString address = textOf(device, "ieee_address");
        const QString name = textOf(device, "friendly_name");
        Description *const description = start(QStringLiteral("device"), address, name);
        if (!description)
            continue;
        const QJsonValue definition = device.value(QLatin1String("definition"));
        const QString what = QStringLiteral("device ") + quoted(name);
        if (device.value(QLatin1String("disabled")).toBool()) {
            skip(what, "it is disabled", description);
        } else if (!definition.isObject()) {
            skip(what, "it is not supported", description);
        } else {
            Reader reader(name, &keywords, change);
            reader.read(listOf(definition.toObject(), "exposes"));
            *description =
                describe(name, QStringLiteral("device ") + address, address, reader.exposed);
            description->skipped += reader.skipped;
            exposed.insert(address, reader.exposed);
        }
    }

    std::size_t room = mostOfGroups;
    for (const auto &item : std::as_const(groups)) {
        const QJsonObject group = item.toObject();
        const QString id = group.value(QLatin1String("id")).toVariant().toString();
        const QString name = textOf(group, "friendly_name");
        Description *const description = start(QStringLiteral("group"), id, name);
        if (!description)
            continue;
        const std::optional<ExposedList> common = exposedByGroup(group, exposed, &room);
        if (common)
            *description = describe(name, QStringLiteral("group ") + id, id, *common);
        else
            skip(QStringLiteral("group ") + quoted(name), "its members are not known", description);
    }
    for (auto name = before.begin(); name != before.end(); ++name) {
        if (!names.contains(name.key()))
            descriptions.emplace_back(name.key(), Description());
    }
    descriptions.emplace_back(QString(), unnamed);
    keywords.set(descriptions, change);
}

// The properties that all members have. Returns nothing if a member is unknown, or if there is no
// room for that many properties.
std::optional<Zigbee2MqttConvention::ExposedList> Zigbee2MqttConvention::exposedByGroup(
    const QJsonObject &group, const QHash<QString, ExposedList> &devices, std::size_t *room) const
{
    QSet<QString> members;
    const QJsonArray list = listOf(group, "members");
    for (const auto &member : list)
        members.insert(textOf(member.toObject(), "ieee_address"));

    ExposedList common;
    QHash<QStringList, std::size_t> places;
    std::vector<int> counts;
    for (const QString &member : std::as_const(members)) {
        const auto device = devices.constFind(member);
        if (device == devices.constEnd() || device->size() > *room)
            return std::nullopt;
        *room -= device->size();
        const bool isFirst = places.isEmpty() && counts.empty();
        for (const Exposed &one : *device) {
            if (isFirst) {
                places.insert(one.levels, common.size());
                common.push_back(one);
                counts.push_back(0);
            }
            const auto place = places.constFind(one.levels);
            if (place == places.constEnd())
                continue;
            Exposed &shared = common[*place];
            if (shared.keyword.type != one.keyword.type)
                continue;
            ++counts[*place];
            shared.isReadable &= one.isReadable;
            shared.isSettable &= one.isSettable;
        }
        if (common.empty())
            break;
    }
    ExposedList result;
    for (std::size_t i = 0; i < common.size(); ++i) {
        const bool isUsable = common[i].isReadable || common[i].isSettable;
        if (counts[i] == members.size() && isUsable)
            result.push_back(common[i]);
    }
    return result;
}

Description Zigbee2MqttConvention::describe(const QString &name, const QString &owner,
                                            const QString &id, const ExposedList &exposed) const
{
    const QString topic = base + QLatin1Char('/') + name;
    const QStringList online {QStringLiteral("online")};
    const QStringList offline {QStringLiteral("offline")};
    // A plain string in older versions, {"state":"online"} in newer ones.
    const QString member = QStringLiteral("/state");
    TopicAvailability availability;
    availability.entries.append({base + QLatin1String("/bridge/state"), member, online, offline});
    const bool hasOwn = settings.availability.value(
        id, settings.availability.value(name, settings.hasAvailability));
    if (hasOwn)
        availability.entries.append(
            {topic + QLatin1String("/availability"), member, online, offline});

    Description description;
    QSet<QString> filters;
    for (const Exposed &one : exposed) {
        TopicKeyword keyword = describe(name, one);
        if (keyword.topic.isEmpty() && keyword.writeTopic.isEmpty())
            continue;
        keyword.availability = availability;
        keyword.origin = owner + QLatin1Char(' ') + quoted(name);
        if (!keyword.topic.isEmpty())
            filters.insert(keyword.topic);
        description.keywords.append(keyword);
    }
    if (!description.keywords.isEmpty()) {
        for (const auto &entry : std::as_const(availability.entries))
            filters.insert(entry.topic);
    }
    description.filters = QStringList(filters.begin(), filters.end());
    description.filters.sort();
    return description;
}

TopicKeyword Zigbee2MqttConvention::describe(const QString &name, const Exposed &exposed) const
{
    TopicKeyword keyword = exposed.keyword;
    keyword.path = keywordPath(name);
    for (const QString &level : exposed.levels)
        keyword.path += QLatin1Char('/') + keywordLevel(level);

    const QString topic = base + QLatin1Char('/') + name;
    if (exposed.isReadable && !settings.hasAttributeTopics) {
        keyword.topic = topic;
        keyword.member = pointerTo(exposed.levels);
    } else if (exposed.isReadable && !exposed.isComposite) {
        keyword.topic = topic + QLatin1Char('/') + exposed.levels.join(QLatin1Char('-'));
        keyword.unknownPayloads = {QByteArray()};
        if (keyword.type == QLatin1String("object"))
            keyword.type = QStringLiteral("string"); // lists are joined by commas
    }
    if (!isTopicName(keyword.topic))
        keyword.topic.clear();
    if (exposed.isSettable) {
        keyword.writeTopic = topic + QLatin1String("/set");
        keyword.writePayload = '{' + jsonText(exposed.levels.constFirst()) + ": $value}";
        if (keyword.topic.isEmpty())
            keyword.confirmation = SourceKeyword::Confirmation::Answer;
    }
    keyword.access = keyword.writeTopic.isEmpty() ? QStringLiteral("R")
        : keyword.topic.isEmpty()                 ? QStringLiteral("W")
                                                  : QStringLiteral("RW");
    return keyword;
}

int Zigbee2MqttConvention::skipped() const
{
    return keywords.skipped();
}

void Zigbee2MqttConvention::clear()
{
    settings = {};
    devices = {};
    groups = {};
    names.clear();
    keywords.clear();
}

} // namespace pellix::gateway
