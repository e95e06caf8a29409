// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/conventions/homeassistant.h"

#include "gateway/mqtt/conventions/valuetemplate.h"
#include "gateway/mqtt/keywordpath.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>
#include <cmath>

namespace pellix::gateway {

namespace {

using Names = QHash<QString, QString>;

Names namesOf(std::initializer_list<std::pair<const char *, const char *>> list)
{
    Names names;
    for (const auto &[brief, full] : list)
        names.insert(QString::fromLatin1(brief), QString::fromLatin1(full));
    return names;
}

// Only the members that are read here.
const Names &entityNames()
{
    static const Names names = namesOf({
        {"uniq_id", "unique_id"},
        {"obj_id", "object_id"},
        {"def_ent_id", "default_entity_id"},
        {"dev", "device"},
        {"o", "origin"},
        {"cmps", "components"},
        {"p", "platform"},
        {"dev_cla", "device_class"},
        {"e", "encoding"},
        {"ret", "retain"},
        {"migr_discvry", "migrate_discovery"},
        {"avty", "availability"},
        {"avty_t", "availability_topic"},
        {"avty_mode", "availability_mode"},
        {"avty_tpl", "availability_template"},
        {"pl_avail", "payload_available"},
        {"pl_not_avail", "payload_not_available"},
        {"stat_t", "state_topic"},
        {"val_tpl", "value_template"},
        {"cmd_t", "command_topic"},
        {"cmd_tpl", "command_template"},
        {"opt", "optimistic"},
        {"unit_of_meas", "unit_of_measurement"},
        {"stat_cla", "state_class"},
        {"exp_aft", "expire_after"},
        {"ops", "options"},
        {"pl_on", "payload_on"},
        {"pl_off", "payload_off"},
        {"off_dly", "off_delay"},
        {"stat_on", "state_on"},
        {"stat_off", "state_off"},
        {"pl_rst", "payload_reset"},
        {"ptrn", "pattern"},
        {"pl_prs", "payload_press"},
    });
    return names;
}

const Names &availabilityNames()
{
    static const Names names = namesOf({
        {"t", "topic"},
        {"val_tpl", "value_template"},
        {"pl_avail", "payload_available"},
        {"pl_not_avail", "payload_not_available"},
    });
    return names;
}

const Names &deviceNames()
{
    static const Names names = namesOf({{"ids", "identifiers"}});
    return names;
}

QJsonObject expanded(const QJsonObject &object, const Names &names)
{
    QJsonObject result = object;
    for (auto member = object.begin(); member != object.end(); ++member) {
        const auto full = names.constFind(member.key());
        if (full == names.constEnd())
            continue;
        if (!object.contains(*full))
            result.insert(*full, member.value());
        result.remove(member.key());
    }
    return result;
}

// The base replaces "~" at the beginning or the end of topics, and nowhere else.
void replaceBase(QJsonObject *object, const QString &base)
{
    for (auto member = object->begin(); member != object->end(); ++member) {
        QString text = member->toString();
        if (base.isEmpty() || !member.key().endsWith(QLatin1String("topic")) || text.isEmpty())
            continue;
        if (text.startsWith(QLatin1Char('~')))
            text = base + text.mid(1);
        else if (text.endsWith(QLatin1Char('~')))
            text = text.chopped(1) + base;
        *member = text;
    }
}

QJsonObject expandedEntity(const QJsonObject &object, const QString &rootBase = {})
{
    QJsonObject entity = expanded(object, entityNames());
    const QString base = entity.value(QLatin1String("~")).toString(rootBase);
    replaceBase(&entity, base);
    const QJsonValue list = entity.value(QLatin1String("availability"));
    if (list.isUndefined())
        return entity;
    QJsonArray entries;
    const QJsonArray given = list.isArray() ? list.toArray() : QJsonArray {list};
    for (const auto &item : given) {
        QJsonObject entry = expanded(item.toObject(), availabilityNames());
        replaceBase(&entry, base);
        entries.append(entry);
    }
    entity.insert(QLatin1String("availability"), entries);
    return entity;
}

// Returns a payload of a description as a string for comparison, even if it was written as another
// type.
QString payloadText(const QJsonValue &value, const char *otherwise)
{
    if (value.isBool())
        return value.toBool() ? QStringLiteral("True") : QStringLiteral("False");
    if (value.isDouble())
        return value.toVariant().toString();
    return value.toString(QLatin1String(otherwise));
}

// The JSON values as which the payload may arrive, because templates convert strings to JSON.
QList<QJsonValue> payloadsOf(const QString &text)
{
    QList<QJsonValue> payloads {text};
    const QString lower = text.toLower();
    if (lower == QLatin1String("true") || lower == QLatin1String("false"))
        payloads.append(lower == QLatin1String("true"));
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    if (isNumber && std::isfinite(number) && QString::number(number) == text)
        payloads.append(number);
    return payloads;
}

// The strings as which the payload may arrive in a member.
QStringList textsOf(const QString &text)
{
    const QString lower = text.toLower();
    const bool isBoolean = lower == QLatin1String("true") || lower == QLatin1String("false");
    return isBoolean && lower != text ? QStringList {text, lower} : QStringList {text};
}

bool isSet(const QJsonObject &object, const char *name)
{
    const QJsonValue value = object.value(QLatin1String(name));
    return !value.isUndefined() && !value.isNull();
}

QString deviceNameOf(const QJsonValue &value)
{
    const QJsonObject device = expanded(value.toObject(), deviceNames());
    QString name = device.value(QLatin1String("name")).toString();
    if (!name.isEmpty())
        return name;
    const QJsonValue identifiers = device.value(QLatin1String("identifiers"));
    return identifiers.isArray() ? identifiers.toArray().first().toString()
                                 : identifiers.toString();
}

const QStringList &kinds()
{
    static const QStringList list {QStringLiteral("sensor"), QStringLiteral("binary_sensor"),
                                   QStringLiteral("switch"), QStringLiteral("number"),
                                   QStringLiteral("select"), QStringLiteral("text"),
                                   QStringLiteral("button")};
    return list;
}

// Reads one entity, and stops at the first error.
class EntityReader
{
public:
    EntityReader(const QString &kind, const QJsonObject &entity) : kind(kind), entity(entity) { }

    bool read();

    TopicKeyword keyword;
    QString problem;
    QStringList remarks;

private:
    bool fail(const QString &text)
    {
        problem = text;
        return false;
    }
    QString text(const char *name) const { return entity.value(QLatin1String(name)).toString(); }
    double number(const char *name, double otherwise) const;
    bool is(const char *name) const { return kind == QLatin1String(name); }

    bool readTopics();
    bool readKind();
    bool readNumber();
    bool readOptions();
    void readSensor();
    bool readTwoStates();
    bool readLengths();
    bool readCommand();
    void writeAsJson();
    bool readAvailability();
    bool addAvailability(const QJsonObject &entry, const char *topic, const char *member);

    const QString kind;
    const QJsonObject entity;
};

double EntityReader::number(const char *name, double otherwise) const
{
    const QJsonValue value = entity.value(QLatin1String(name));
    bool isNumber = false;
    const double number = value.toVariant().toDouble(&isNumber);
    return isNumber && !value.isBool() && std::isfinite(number) ? number : otherwise;
}

bool EntityReader::read()
{
    if (isSet(entity, "encoding") && text("encoding") != QLatin1String("utf-8"))
        return fail(QStringLiteral("its encoding is not utf-8"));
    if (!readTopics() || !readKind() || !readCommand() || !readAvailability())
        return false;
    const double expires = number("expire_after", 0);
    if (expires > 0 && expires < 1e9)
        keyword.staleAfter = std::chrono::milliseconds(qint64(expires * 1000));
    keyword.unit = text("unit_of_measurement");
    if (entity.value(QLatin1String("retain")).toBool())
        remarks.append(QStringLiteral("requires retained commands, which are not supported"));
    return true;
}

bool EntityReader::readTopics()
{
    keyword.topic = text("state_topic");
    keyword.writeTopic = text("command_topic");
    if (is("button") || (is("text") && text("mode") == QLatin1String("password")))
        keyword.topic.clear();
    if (is("sensor") || is("binary_sensor"))
        keyword.writeTopic.clear();

    const bool isReadOnly = is("sensor") || is("binary_sensor");
    if (isReadOnly && !isTopicName(keyword.topic))
        return fail(QStringLiteral("it has no state_topic, or an illegal one"));
    if (!isReadOnly && !isTopicName(keyword.writeTopic))
        return fail(QStringLiteral("it has no command_topic, or an illegal one"));
    if (!keyword.topic.isEmpty() && !isTopicName(keyword.topic))
        return fail(QStringLiteral("its state_topic is illegal"));
    if (keyword.topic.isEmpty() || !isSet(entity, "value_template"))
        return true;
    const auto path = readValueTemplate(text("value_template"));
    if (!path) {
        return fail(QStringLiteral("its template %1 is more than a path")
                        .arg(quoted(text("value_template"))));
    }
    keyword.member = path->member;
    return true;
}

bool EntityReader::readKind()
{
    keyword.type = QStringLiteral("string");
    if (is("sensor"))
        readSensor();
    if (is("binary_sensor") || is("switch"))
        return readTwoStates();
    if (is("number"))
        return readNumber();
    if (is("select"))
        return readOptions();
    if (is("text"))
        return readLengths();
    if (is("button")) {
        const QString press = payloadText(entity.value(QLatin1String("payload_press")), "PRESS");
        keyword.values = {{press, press}};
        keyword.choices = {press};
    }
    return true;
}

void EntityReader::readSensor()
{
    static const QStringList textual {QString(), QStringLiteral("date"), QStringLiteral("enum"),
                                      QStringLiteral("timestamp")};
    const bool isNumber = isSet(entity, "unit_of_measurement") || isSet(entity, "state_class")
        || !textual.contains(text("device_class"));
    if (isNumber)
        keyword.type = QStringLiteral("double");
    keyword.unknownPayloads = {"None"};
}

bool EntityReader::readTwoStates()
{
    const QString on = payloadText(entity.value(QLatin1String("payload_on")), "ON");
    const QString off = payloadText(entity.value(QLatin1String("payload_off")), "OFF");
    const bool isSwitch = is("switch");
    const auto state = [&](const char *name, const QString &payload) {
        return isSwitch && isSet(entity, name) ? payloadText(entity.value(QLatin1String(name)), "")
                                               : payload;
    };
    const QString stateOn = state("state_on", on);
    const QString stateOff = state("state_off", off);
    keyword.type = QStringLiteral("bool");
    keyword.ignoresOthers = true;
    for (const QJsonValue &payload : payloadsOf(stateOn))
        keyword.values.append({payload, true});
    for (const QJsonValue &payload : payloadsOf(stateOff))
        keyword.values.append({payload, false});
    if (isSwitch && (stateOn != on || stateOff != off))
        keyword.writeValues = {{on, true}, {off, false}};
    if (!isSwitch)
        keyword.unknownPayloads = {"None"};
    if (number("off_delay", 0) > 0)
        return fail(QStringLiteral("it has an off_delay"));
    return stateOn != stateOff || fail(QStringLiteral("its two payloads are the same"));
}

bool EntityReader::readNumber()
{
    const double least = number("min", 1);
    const double most = number("max", 100);
    keyword.type = QStringLiteral("double");
    keyword.minimum = least;
    keyword.maximum = most;
    keyword.step = number("step", 1);
    keyword.unknownPayloads = {
        payloadText(entity.value(QLatin1String("payload_reset")), "None").toUtf8()};
    if (keyword.step < 0.001)
        return fail(QStringLiteral("its step is below 0.001"));
    return least <= most || fail(QStringLiteral("its min is above its max"));
}

bool EntityReader::readOptions()
{
    const QJsonArray options = entity.value(QLatin1String("options")).toArray();
    for (const auto &option : options) {
        if (!option.isString())
            return fail(QStringLiteral("an option is not a string"));
        keyword.choices.append(option.toString());
    }
    return !options.isEmpty() || fail(QStringLiteral("it has no options"));
}

bool EntityReader::readLengths()
{
    keyword.minimumLength = int(qBound(0.0, number("min", 0), 255.0));
    keyword.maximumLength = int(qBound(0.0, number("max", 255), 255.0));
    keyword.pattern = text("pattern");
    return keyword.minimumLength <= keyword.maximumLength
        || fail(QStringLiteral("its min is above its max"));
}

bool EntityReader::readCommand()
{
    keyword.access = keyword.writeTopic.isEmpty() ? QStringLiteral("R")
        : keyword.topic.isEmpty()                 ? QStringLiteral("W")
                                                  : QStringLiteral("RW");
    if (keyword.writeTopic.isEmpty())
        return true;
    const bool isOptimistic = entity.value(QLatin1String("optimistic")).toBool();
    if (isOptimistic || keyword.topic.isEmpty()) {
        keyword.confirmation = SourceKeyword::Confirmation::Answer;
        if (!is("button"))
            remarks.append(QStringLiteral("does not confirm what is written"));
    }
    if (!isSet(entity, "command_template"))
        return true;
    const auto command = readCommandTemplate(text("command_template"));
    const bool isText = keyword.type != QLatin1String("double");
    const bool isUsable = command
        && (command->payload.isEmpty() || isText == command->isQuoted
            || keyword.type == QLatin1String("bool"));
    if (!isUsable) {
        return fail(QStringLiteral("its template %1 is no JSON text with the value in it")
                        .arg(quoted(text("command_template"))));
    }
    keyword.writePayload = command->payload;
    if (!command->payload.isEmpty() && !command->isQuoted)
        writeAsJson();
    return problem.isEmpty();
}

// Without quotation marks around the value, the payload itself is JSON, such as true.
void EntityReader::writeAsJson()
{
    if (keyword.type == QLatin1String("double"))
        return;
    QList<TopicValue> payloads = keyword.writeValues;
    if (payloads.isEmpty())
        payloads = keyword.values;
    keyword.writeValues.clear();
    for (const TopicValue &value : std::as_const(payloads)) {
        const QByteArray json = '[' + value.payload.toString().toUtf8() + ']';
        const QJsonArray list = QJsonDocument::fromJson(json).array();
        if (!value.payload.isString())
            continue;
        if (list.size() != 1) {
            problem = QStringLiteral("its template and payload %1 make no JSON")
                          .arg(quoted(value.payload.toString()));
            return;
        }
        keyword.writeValues.append({list.first(), value.value});
    }
}

bool EntityReader::readAvailability()
{
    const QString mode =
        isSet(entity, "availability_mode") ? text("availability_mode") : QStringLiteral("latest");
    static const QHash<QString, TopicAvailability::Mode> modes {
        {QStringLiteral("all"), TopicAvailability::Mode::All},
        {QStringLiteral("any"), TopicAvailability::Mode::Any},
        {QStringLiteral("latest"), TopicAvailability::Mode::Latest},
    };
    const bool hasTopic = isSet(entity, "availability_topic");
    const bool hasList = entity.contains(QLatin1String("availability"));
    if (!modes.contains(mode))
        return fail(QStringLiteral("its availability_mode %1 is not known").arg(quoted(mode)));
    if (hasTopic && hasList)
        return fail(QStringLiteral("it has both availability and availability_topic"));
    keyword.availability.mode = modes.value(mode);
    if (hasTopic)
        return addAvailability(entity, "availability_topic", "availability_template");
    const QJsonArray list = entity.value(QLatin1String("availability")).toArray();
    return std::all_of(list.begin(), list.end(), [this](const QJsonValue &entry) {
        return addAvailability(entry.toObject(), "topic", "value_template");
    });
}

bool EntityReader::addAvailability(const QJsonObject &entry, const char *topic, const char *member)
{
    TopicAvailability::Entry result;
    result.topic = entry.value(QLatin1String(topic)).toString();
    if (!isTopicName(result.topic))
        return fail(QStringLiteral("a topic of its availability is illegal"));
    if (isSet(entry, member)) {
        const QString text = entry.value(QLatin1String(member)).toString();
        const auto path = readValueTemplate(text);
        if (!path)
            return fail(QStringLiteral("its template %1 is more than a path").arg(quoted(text)));
        result.member = path->member;
    }
    const auto payloads = [&](const char *name, const char *otherwise) {
        return textsOf(payloadText(entry.value(QLatin1String(name)), otherwise));
    };
    result.online = payloads("payload_available", "online");
    result.offline = payloads("payload_not_available", "offline");
    keyword.availability.entries.append(result);
    return true;
}

// A component inherits these members from its device, unless it has its own.
QJsonObject inherited(const QJsonObject &component, const QJsonObject &root)
{
    static const QStringList names {QStringLiteral("availability_mode"),
                                    QStringLiteral("availability_template"),
                                    QStringLiteral("payload_available"),
                                    QStringLiteral("payload_not_available"),
                                    QStringLiteral("state_topic"),
                                    QStringLiteral("command_topic"),
                                    QStringLiteral("qos"),
                                    QStringLiteral("encoding")};
    static const QStringList availability {QStringLiteral("availability"),
                                           QStringLiteral("availability_topic")};
    QJsonObject result = component;
    const auto inherit = [&](const QString &name) {
        if (!component.contains(name) && root.contains(name))
            result.insert(name, root.value(name));
    };
    const bool hasOwn =
        component.contains(availability.at(0)) || component.contains(availability.at(1));
    for (const QString &name : names)
        inherit(name);
    for (const QString &name : availability) {
        if (!hasOwn) // the two members exclude each other
            inherit(name);
    }
    return result;
}

struct Entity
{
    QString kind;
    QString id;
    QString topic; // of the description
    QString device; // its name
    QJsonObject members;
};

QString labelOf(const Entity &entity)
{
    const QJsonValue given = entity.members.value(QLatin1String("name"));
    QString name = given.toString();
    if (name.isEmpty() && !given.isNull())
        name = entity.members.value(QLatin1String("device_class")).toString(entity.id);
    if (entity.device.isEmpty())
        return name.isEmpty() ? entity.id : name;
    return name.isEmpty() ? entity.device : entity.device + QLatin1Char(' ') + name;
}

void readEntity(const Entity &entity, DescribedKeywords *keywords, Description *description,
                ConventionChange *change)
{
    EntityReader reader(entity.kind, entity.members);
    QString what = entity.topic;
    if (entity.topic.section(QLatin1Char('/'), -2, -2) != entity.id)
        what += QStringLiteral(", component ") + quoted(entity.id);
    if (!kinds().contains(entity.kind)) {
        ++description->skipped;
        keywords->say(QStringLiteral("no entity of the kind %1 is served").arg(quoted(entity.kind)),
                      change);
        return;
    }
    if (!reader.read()) {
        ++description->skipped;
        keywords->say(QStringLiteral("%1 is not served: %2").arg(what, reader.problem), change);
        return;
    }
    for (const QString &remark : std::as_const(reader.remarks))
        keywords->say(what + QLatin1Char(' ') + remark, change);

    TopicKeyword keyword = reader.keyword;
    keyword.origin = entity.topic;
    keyword.label = labelOf(entity);
    if (!entity.device.isEmpty())
        keyword.path = QLatin1Char('/') + keywordLevel(entity.device);
    keyword.path += QLatin1Char('/') + keywordLevel(entity.id);
    description->keywords.append(keyword);
    if (!keyword.topic.isEmpty())
        description->filters.append(keyword.topic);
    for (const auto &entry : std::as_const(keyword.availability.entries))
        description->filters.append(entry.topic);
}

QList<Entity> componentsOf(const QString &topic, const QJsonObject &root)
{
    const QString name = deviceNameOf(root.value(QLatin1String("device")));
    const QString base = root.value(QLatin1String("~")).toString();
    QList<Entity> entities;
    const QJsonObject components = root.value(QLatin1String("components")).toObject();
    for (auto item = components.begin(); item != components.end(); ++item) {
        const QJsonObject component = expandedEntity(item->toObject(), base);
        const QString kind = component.value(QLatin1String("platform")).toString();
        if (component.size() == 1 && !kind.isEmpty())
            continue; // removed
        entities.append({kind, item.key(), topic, name, inherited(component, root)});
    }
    return entities;
}

} // namespace

HomeAssistantConvention::HomeAssistantConvention(const ConventionOptions &options)
    : base(options.base.isEmpty() ? QStringLiteral("homeassistant") : options.base)
{ }

QString HomeAssistantConvention::name() const
{
    return QStringLiteral("homeassistant");
}

QStringList HomeAssistantConvention::subscriptions() const
{
    return {base + QLatin1String("/+/+/config"), base + QLatin1String("/+/+/+/config")};
}

ConventionChange HomeAssistantConvention::take(const QString &topic, const QByteArray &payload)
{
    ConventionChange change;
    if (!topic.startsWith(base + QLatin1Char('/')) || !topic.endsWith(QLatin1String("/config")))
        return change;
    const QStringList levels = topic.mid(base.size() + 1).split(QLatin1Char('/'));
    if (levels.size() < 3 || levels.size() > 4)
        return change;

    Description description;
    const auto skip = [&](const QString &why) {
        ++description.skipped;
        keywords.say(QStringLiteral("%1 is not served: %2").arg(topic, why), &change);
    };
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(payload, &error);
    const QJsonObject root = expandedEntity(document.object());
    if (root.value(QLatin1String("migrate_discovery")).toBool())
        return change; // it will be described as part of a device
    const QString &id = levels.at(levels.size() - 2);
    if (payload.isEmpty()) {
        // The description has been deleted.
    } else if (error.error != QJsonParseError::NoError) {
        skip(QStringLiteral("it is not JSON: %1").arg(error.errorString()));
    } else if (!document.isObject()) {
        skip(QStringLiteral("it is no JSON object"));
    } else if (levels.constFirst() != QLatin1String("device")) {
        QString device = deviceNameOf(root.value(QLatin1String("device")));
        if (device.isEmpty() && levels.size() == 4)
            device = levels.at(1);
        readEntity({levels.constFirst(), id, topic, device, root}, &keywords, &description,
                   &change);
    } else if (root.value(QLatin1String("device")).toObject().isEmpty()
               || !root.value(QLatin1String("origin")).isObject()
               || !root.value(QLatin1String("components")).isObject()) {
        skip(QStringLiteral("it lacks device, origin or components"));
    } else {
        for (const Entity &entity : componentsOf(topic, root)) {
            const QString what = QStringLiteral("its component ") + quoted(entity.id);
            if (!entity.members.value(QLatin1String("unique_id")).isString())
                skip(what + QLatin1String(" has no unique_id"));
            else
                readEntity(entity, &keywords, &description, &change);
        }
    }
    description.filters.removeDuplicates();
    keywords.set(topic, description, &change);
    return change;
}

int HomeAssistantConvention::skipped() const
{
    return keywords.skipped();
}

void HomeAssistantConvention::clear()
{
    keywords.clear();
}

} // namespace pellix::gateway
