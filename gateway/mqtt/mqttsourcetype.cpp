// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/mqttsourcetype.h"

#include "gateway/configurationobject.h"
#include "gateway/mqtt/jsonpointer.h"
#include "gateway/mqtt/keywordpath.h"
#include "gateway/mqtt/mqttsource.h"
#include "gateway/mqtt/payload.h"
#include "gateway/mqtt/topicpattern.h"
#include "server/keywordserver.h"
#include "text/suggestion.h"

#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QUrl>

#include <cmath>
#include <utility>

namespace pellix::gateway {

namespace {

using namespace std::chrono_literals;

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

std::chrono::milliseconds milliseconds(double seconds)
{
    return std::chrono::milliseconds(qint64(seconds * 1000));
}

QByteArray compact(const QJsonValue &value)
{
    const QByteArray list = QJsonDocument(QJsonArray {value}).toJson(QJsonDocument::Compact);
    return list.sliced(1, list.size() - 2);
}

// A time in seconds within a reasonable range.
std::optional<std::chrono::milliseconds> readTime(ConfigurationObject &object, const char *name)
{
    const auto seconds = object.number(q(name));
    if (!seconds)
        return std::nullopt;
    constexpr double longest = 365.0 * 24 * 3600;
    if (*seconds > 0 && *seconds <= longest)
        return milliseconds(*seconds);
    object.problem(q(name), q("must be a number of seconds, above 0 and at most a year"));
    return std::nullopt;
}

QString readPointer(ConfigurationObject &object, const char *name)
{
    QString pointer = object.text(q(name)).value_or(QString());
    if (!JsonPointer::fromText(pointer)) {
        object.problem(q(name),
                       q("must be a JSON pointer such as \"/value\", not \"%1\"").arg(pointer));
    }
    return pointer;
}

// A topic that refers to the levels named in a pattern.
QString readTopic(ConfigurationObject &object, const char *name, const QStringList &names,
                  bool hasOwnNames = false)
{
    QString topic = object.text(q(name)).value_or(QString());
    if (topic.isEmpty()) {
        if (object.contains(q(name)) && object.object().value(q(name)).isString())
            object.problem(q(name), q("a topic must not be empty"));
        return topic;
    }
    const bool isRelative = topic.startsWith(QLatin1String("+/"));
    QString reason;
    const auto pattern = TopicPattern::fromText(isRelative ? topic.mid(2) : topic, &reason);
    if (!pattern) {
        object.problem(q(name), reason);
        return topic;
    }
    const QString filter = pattern->filter();
    if (filter.endsWith(QLatin1Char('#'))
        || (!hasOwnNames && topic.indexOf(QLatin1Char('+'), 1) >= 0)) {
        object.problem(
            q(name),
            q("may have \"+\" in front only, which stands for the topic of the value, and "
              "levels that it names, such as \"{1}\""));
        return topic;
    }
    for (const QString &used : namesIn(topic)) {
        if (!hasOwnNames && !names.contains(used)) {
            object.problem(q(name), q("{%1} is not a level of the topic").arg(used));
            break;
        }
    }
    return topic;
}

class KeywordReader
{
public:
    explicit KeywordReader(ConfigurationObject &object) : object(object) { }

    TopicKeyword read();

private:
    void readPlace();
    void readValues();
    void readMap();
    void addMapped(const QJsonValue &payload, const QJsonValue &value, ConfigurationObject *place,
                   const QString &member, qsizetype index = 0);
    void readLimits();
    void readWrite();

    ConfigurationObject &object;
    TopicKeyword keyword;
    QStringList names;
};

TopicAvailability::Entry readAvailabilityEntry(ConfigurationObject &object,
                                               const QStringList &names, bool hasOwnNames)
{
    TopicAvailability::Entry entry;
    entry.topic = readTopic(object, "topic", names, hasOwnNames);
    if (!object.contains(q("topic")))
        object.problem(q("must have a \"topic\""));
    entry.member = readPointer(object, "value");
    entry.online = object.texts(q("online")).value_or(QStringList {q("online")});
    entry.offline = object.texts(q("offline")).value_or(QStringList {q("offline")});
    for (const QString &word : std::as_const(entry.online)) {
        if (entry.offline.contains(word))
            object.problem(q("offline"), q("\"%1\" means online already").arg(word));
    }
    return entry;
}

TopicAvailability readAvailability(ConfigurationObject &parent, const QStringList &names,
                                   bool hasOwnNames)
{
    TopicAvailability availability;
    const auto member = q("available");
    if (!parent.contains(member))
        return availability;
    auto object = parent.object(member);
    if (!object)
        return availability;
    if (!object->contains(q("topics"))) {
        availability.entries.append(readAvailabilityEntry(*object, names, hasOwnNames));
        object->finish();
        return availability;
    }
    const QString mode =
        object->word(q("mode"), {q("all"), q("any"), q("latest")}).value_or(q("all"));
    availability.mode = mode == q("any") ? TopicAvailability::Mode::Any
        : mode == q("latest")            ? TopicAvailability::Mode::Latest
                                         : TopicAvailability::Mode::All;
    QList<ConfigurationObject> entries = object->objects(q("topics"));
    for (ConfigurationObject &entry : entries) {
        availability.entries.append(readAvailabilityEntry(entry, names, hasOwnNames));
        entry.finish();
    }
    object->finish();
    return availability;
}

TopicKeyword KeywordReader::read()
{
    keyword.origin = object.pointer();
    readPlace();
    readValues();
    readMap();
    readLimits();
    keyword.availability = readAvailability(object, names, false);
    keyword.errorTopic = readTopic(object, "error", names);
    keyword.timeMember = readPointer(object, "time");
    keyword.staleAfter = readTime(object, "staleAfter").value_or(0ms);
    readWrite();
    object.finish();
    return keyword;
}

void KeywordReader::readPlace()
{
    keyword.topic = object.text(q("topic")).value_or(QString());
    if (object.contains(q("topic"))) {
        QString reason;
        const auto pattern = TopicPattern::fromText(keyword.topic, &reason);
        if (pattern)
            names = pattern->names();
        else if (object.object().value(q("topic")).isString())
            object.problem(q("topic"), reason);
    } else if (!object.contains(q("write")) || !object.contains(q("path"))) {
        object.problem(q("must have a \"topic\", or a \"path\" and \"write\" if there is none"));
    }
    keyword.path = object.text(q("path")).value_or(QString());
    if (!keyword.path.isEmpty()) {
        const QString normal = server::KeywordServer::normalizedPath(keyword.path);
        if (normal != keyword.path || normal.endsWith(q("/Label")))
            object.problem(
                q("path"),
                q("must be a path such as \"/tank1/level\", not \"%1\"").arg(keyword.path));
    }
    keyword.label = object.text(q("label")).value_or(QString());
    keyword.unit = object.text(q("unit")).value_or(QString());
    for (const auto &[member, text] :
         {std::pair {q("path"), keyword.path}, std::pair {q("label"), keyword.label}}) {
        for (const QString &name : namesIn(text)) {
            if (!names.contains(name)) {
                object.problem(member, q("{%1} is not a level of the topic").arg(name));
                break;
            }
        }
    }
}

void KeywordReader::readValues()
{
    keyword.type =
        object.word(q("type"), {q("bool"), q("int"), q("double"), q("string"), q("object")})
            .value_or(QString());
    if (object.contains(q("key"))) {
        keyword.arrayKey = object.text(q("key")).value_or(QString());
        keyword.arrayValue = object.text(q("value")).value_or(q("value"));
        keyword.member = readPointer(object, "array");
    } else {
        keyword.member = readPointer(object, "value");
    }
    const QStringList unknown = object.texts(q("unknownPayloads")).value_or(QStringList());
    for (const QString &payload : unknown)
        keyword.unknownPayloads.append(payload.toUtf8());
    const QJsonValue scale = object.value(q("scale"));
    if (scale.isUndefined())
        return;
    const QJsonArray numbers = scale.toArray();
    std::array<double, 4> four {};
    bool isGood = numbers.size() == 4;
    for (int i = 0; isGood && i < 4; ++i) {
        isGood = numbers.at(i).isDouble();
        four[std::size_t(i)] = numbers.at(i).toDouble();
    }
    if (!isGood || four[0] == four[1] || four[2] == four[3]) {
        object.problem(
            q("scale"),
            q("must be [a, b, c, d], where payloads from a to b are values from c to d"));
        return;
    }
    if (!keyword.type.isEmpty() && keyword.type != q("int") && keyword.type != q("double"))
        object.problem(q("scale"), q("is for numbers, not for the type \"%1\"").arg(keyword.type));
    keyword.scale = four;
}

// The member of the place, or its element at the index, contains the value.
void KeywordReader::addMapped(const QJsonValue &payload, const QJsonValue &value,
                              ConfigurationObject *place, const QString &member, qsizetype index)
{
    QVariant variant = value.toVariant();
    const bool isNumber = value.isDouble();
    if (!keyword.type.isEmpty() && !value.isNull()
        && !server::KeywordServer::fits(variant, keyword.type)) {
        place->problem(
            member, index,
            q("%1 is not of the type \"%2\"").arg(QString::fromUtf8(compact(value)), keyword.type));
        return;
    }
    if (isNumber && keyword.type == q("int"))
        variant = value.toInteger();
    else if (isNumber)
        variant = value.toDouble();
    keyword.values.append({payload, variant});
}

// "map" of payloads to values or, for a bool, the payloads for true and for false.
void KeywordReader::readMap()
{
    const QJsonValue map = object.value(q("map"));
    if (map.isObject()) {
        auto payloads = object.object(q("map"));
        const QStringList names = payloads->names();
        for (const QString &payload : names)
            addMapped(payload, payloads->value(payload), &*payloads, payload);
    } else if (map.isArray()) {
        const QJsonArray pairs = map.toArray();
        for (qsizetype i = 0; i < pairs.size(); ++i) {
            const QJsonArray pair = pairs.at(i).toArray();
            if (pair.size() == 2)
                addMapped(pair.at(0), pair.at(1), &object, q("map"), i);
            else
                object.problem(q("map"), i, q("must contain a payload and a value"));
        }
    } else if (!map.isUndefined()) {
        object.problem(q("map"), q("must be an object of payloads and their values"));
    }
    for (const bool value : {true, false}) {
        const auto member = value ? "true" : "false";
        const QJsonArray payloads = object.values(q(member));
        if (!payloads.isEmpty() && keyword.type != q("bool"))
            object.problem(q(member), q("is for the type \"bool\""));
        for (const auto &payload : payloads)
            addMapped(payload, value, &object, q(member));
    }
    if (!keyword.values.isEmpty() && keyword.scale)
        object.problem(q("scale"), q("cannot be used together with a map"));
    if (keyword.type.isEmpty() && !keyword.values.isEmpty()
        && PayloadRules(keyword).type() == ValueType::None)
        object.problem(q("map"), q("has values of several types: set the \"type\""));
}

void KeywordReader::readLimits()
{
    const QJsonValue range = object.value(q("range"));
    if (!range.isUndefined()) {
        const QJsonArray limits = range.toArray();
        const auto isLimit = [](const QJsonValue &limit) {
            return limit.isDouble() || limit.isNull();
        };
        if (limits.size() != 2 || !isLimit(limits.at(0)) || !isLimit(limits.at(1))
            || (limits.at(0).isDouble() && limits.at(1).isDouble()
                && limits.at(0).toDouble() > limits.at(1).toDouble())) {
            object.problem(q("range"), q("must be [minimum, maximum], of which one may be null"));
        } else {
            if (limits.at(0).isDouble())
                keyword.minimum = limits.at(0).toDouble();
            if (limits.at(1).isDouble())
                keyword.maximum = limits.at(1).toDouble();
        }
    }
    keyword.step = object.number(q("step")).value_or(0);
    if (keyword.step < 0)
        object.problem(q("step"), q("must be above 0"));
    const QJsonValue choices = object.value(q("choices"));
    if (choices.isUndefined())
        return;
    if (!choices.isArray() || choices.toArray().isEmpty())
        object.problem(q("choices"), q("must be a list of values"));
    const QJsonArray list = choices.toArray();
    for (qsizetype i = 0; i < list.size(); ++i) {
        const QJsonValue choice = list.at(i);
        if (!keyword.type.isEmpty()
            && !server::KeywordServer::fits(choice.toVariant(), keyword.type)) {
            object.problem(q("choices"), i,
                           q("%1 is not of the type \"%2\"")
                               .arg(QString::fromUtf8(compact(choice)), keyword.type));
        }
        keyword.choices.append(choice.toVariant());
    }
}

void KeywordReader::readWrite()
{
    auto write = object.object(q("write"));
    if (!write)
        return;
    keyword.writeTopic = readTopic(*write, "topic", names);
    if (!write->contains(q("topic")))
        write->problem(q("must have a \"topic\""));
    if (keyword.topic.isEmpty() && keyword.writeTopic.startsWith(QLatin1String("+/")))
        write->problem(q("topic"), q("\"+\" stands for the topic of the value, and there is none"));
    const QJsonValue payload = write->value(q("payload"));
    if (payload.isString())
        keyword.writePayload = payload.toString().toUtf8();
    else if (payload.isObject() || payload.isArray())
        keyword.writePayload = compact(payload);
    else if (!payload.isUndefined())
        write->problem(q("payload"), q("must be a string or JSON with $value"));
    if (keyword.writePayload.count("$value") > 1)
        write->problem(q("payload"), q("may contain $value only once"));
    keyword.writeQos = write->integer(q("qos"), 0, 2).value_or(1);
    keyword.confirmWithin = readTime(*write, "confirmWithin").value_or(5000ms);
    const bool isAssumed = write->boolean(q("assume")).value_or(false);
    if (isAssumed)
        keyword.confirmation = SourceKeyword::Confirmation::Assumed;
    if (write->word(q("relative"), {q("add"), q("device")}).value_or(q("add")) == q("device")) {
        keyword.writesChange = true;
        if (keyword.type != q("int") && keyword.type != q("double"))
            write->problem(q("relative"), q("\"device\" is for the types \"int\" and \"double\""));
    }
    if (keyword.type.isEmpty() && keyword.values.isEmpty())
        write->problem(q("a writable keyword requires a \"type\""));
    if (!keyword.arrayKey.isEmpty())
        write->problem(q("elements of an array cannot be written"));
    write->finish();
}

// Empty if there is a convention of this name.
QString problemOfConvention(const QString &name)
{
    const QStringList known = Convention::names();
    if (known.contains(name))
        return {};
    const QString hint = suggestion(name, known);
    return q("\"%1\" is not a convention%2")
        .arg(name, hint.isEmpty() ? q("; available conventions: ") + known.join(q(", ")) : hint);
}

class SourceReader
{
public:
    explicit SourceReader(ConfigurationObject &source)
        : source(source), settings(std::make_shared<MqttSourceSettings>())
    { }

    std::shared_ptr<const SourceSettings> read();

private:
    void readLink();
    void readUrl(ConfigurationObject &mqtt);
    void readMapping();
    void readConventions();
    static MappingOptions::DescribedBy readConvention(ConfigurationObject &object);
    void readTests();

    ConfigurationObject &source;
    const std::shared_ptr<MqttSourceSettings> settings;
};

std::shared_ptr<const SourceSettings> SourceReader::read()
{
    const int before = source.problemCount();
    readLink();
    readMapping();
    readConventions();
    readTests();
    if (source.problemCount() > before)
        return nullptr;
    for (const char *const member :
         {"mqtt", "topics", "available", "keywords", "conventions", "meta", "labelUnit", "tests"}) {
        if (source.contains(q(member)))
            settings->json.insert(q(member), source.object().value(q(member)));
    }
    return settings;
}

void SourceReader::readLink()
{
    MqttOptions &link = settings->link;
    link.name = source.object().value(q("name")).toString();
    auto mqtt = source.object(q("mqtt"));
    if (!mqtt)
        return;
    readUrl(*mqtt);
    if (mqtt->contains(q("user")))
        link.user = mqtt->text(q("user")).value_or(QString());
    if (mqtt->contains(q("password"))) {
        mqtt->value(q("password"));
        mqtt->problem(q("password"),
                      q("a configuration must not contain passwords: set \"passwordFile\""));
    }
    if (mqtt->contains(q("passwordFile")))
        link.passwordFile = mqtt->file(q("passwordFile")).value_or(QString());
    if (!link.passwordFile.isEmpty() && link.user.isEmpty())
        mqtt->problem(q("passwordFile"), q("needs a \"user\""));
    for (const auto &[name, file] :
         {std::pair {"ca", &link.authorityFile}, std::pair {"certificate", &link.certificateFile},
          std::pair {"key", &link.keyFile}}) {
        if (!mqtt->contains(q(name)))
            continue;
        *file = mqtt->file(q(name)).value_or(QString());
        if (!link.tls)
            mqtt->problem(q(name), q("is for TLS: the URL must begin with \"mqtts://\""));
    }
    if (mqtt->contains(q("certificate")) != mqtt->contains(q("key")))
        mqtt->problem(q("a \"certificate\" needs a \"key\", and a \"key\" a \"certificate\""));
    link.clientId = mqtt->text(q("clientId")).value_or(QString());
    link.keepAlive = std::chrono::seconds(mqtt->integer(q("keepAlive"), 5, 65535).value_or(10));
    const QString version = mqtt->word(q("version"), {q("5"), q("3.1.1")}).value_or(QString());
    link.version = version == q("5") ? 5 : version == q("3.1.1") ? 3 : 0;
    settings->qos = mqtt->integer(q("qos"), 0, 2).value_or(0);
    link.resync = readTime(*mqtt, "resync").value_or(0ms);
    if (link.resync > 0ms && link.resync < 1s)
        mqtt->problem(q("resync"), q("must be at least 1 second"));
    link.announceTopic = mqtt->text(q("announce")).value_or(QString());
    if (mqtt->contains(q("announce")) && !isTopicName(link.announceTopic))
        mqtt->problem(q("announce"), q("must be a topic without wildcards"));
    mqtt->finish();
}

void SourceReader::readUrl(ConfigurationObject &mqtt)
{
    MqttOptions &link = settings->link;
    const auto member = q("url");
    const auto text = mqtt.text(member);
    if (!text) {
        if (!mqtt.contains(member))
            mqtt.problem(q("must have a \"url\""));
        return;
    }
    const QUrl url(*text, QUrl::StrictMode);
    const QString scheme = url.scheme();
    if (!url.password().isEmpty()) {
        mqtt.problem(member, q("a URL must not contain a password: set \"passwordFile\""));
        return;
    }
    const bool isKnown = scheme == q("mqtt") || scheme == q("mqtts");
    if (!url.isValid() || !isKnown || url.host().isEmpty()) {
        mqtt.problem(
            member,
            q("must be an address such as \"mqtt://broker:1883\" or \"mqtts://broker:8883\", "
              "not \"%1\"")
                .arg(*text));
        return;
    }
    const bool hasPath = !url.path().isEmpty() && url.path() != q("/");
    if (hasPath || url.hasQuery() || url.hasFragment())
        mqtt.problem(member, q("must end after the port"));
    link.tls = scheme == q("mqtts");
    link.host = url.host();
    link.port = quint16(url.port(link.tls ? 8883 : 1883));
    link.user = url.userName();
}

void SourceReader::readMapping()
{
    MappingOptions &mapping = settings->mapping;
    const bool hasOther = source.contains(q("keywords")) || source.contains(q("conventions"));
    mapping.topics =
        source.texts(q("topics")).value_or(hasOther ? QStringList() : QStringList {q("#")});
    for (qsizetype i = 0; i < mapping.topics.size(); ++i) {
        const QString &filter = mapping.topics.at(i);
        if (!TopicPattern::fromFilter(filter))
            source.problem(q("topics"), i, q("\"%1\" is not a topic filter").arg(filter));
    }
    mapping.availability = readAvailability(source, {}, true);
    mapping.meta = source.boolean(q("meta")).value_or(false);
    mapping.labelUnit = source.boolean(q("labelUnit")).value_or(false);
    QHash<QString, int> uses;
    QList<ConfigurationObject> entries = source.objects(q("keywords"));
    for (ConfigurationObject &entry : entries) {
        mapping.keywords.append(KeywordReader(entry).read());
        ++uses[mapping.keywords.constLast().topic];
    }
    // If a topic has one keyword, the keyword has the path of the topic; otherwise each has a path
    // below it.
    for (TopicKeyword &keyword : mapping.keywords)
        keyword.isMemberInPath = uses.value(keyword.topic) > 1;
}

void SourceReader::readConventions()
{
    const auto member = q("conventions");
    const QJsonArray list = source.values(member);
    for (qsizetype i = 0; i < list.size(); ++i) {
        MappingOptions::DescribedBy use;
        const QJsonValue entry = list.at(i);
        if (entry.isString()) {
            use.name = entry.toString();
            const QString problem = problemOfConvention(use.name);
            if (!problem.isEmpty())
                source.problem(member, i, problem);
        } else if (entry.isObject()) {
            ConfigurationObject object = source.objectAt(member, i);
            use = readConvention(object);
        } else {
            source.problem(member, i, q("must be the name of a convention, or an object"));
        }
        settings->mapping.conventions.append(use);
    }
}

MappingOptions::DescribedBy SourceReader::readConvention(ConfigurationObject &object)
{
    MappingOptions::DescribedBy use;
    const std::optional<QString> name = object.text(q("name"));
    const QString problem = name ? problemOfConvention(*name) : QString();
    if (!object.contains(q("name")))
        object.problem(q("must have a \"name\""));
    else if (!problem.isEmpty())
        object.problem(q("name"), problem);
    use.name = name.value_or(QString());
    ConventionOptions &options = use.options;
    options.base = object.text(q("base")).value_or(options.base);
    options.sleepingIsOnline =
        object.boolean(q("sleepingIsOnline")).value_or(options.sleepingIsOnline);
    options.alertsAreErrors =
        object.boolean(q("alertsAreErrors")).value_or(options.alertsAreErrors);
    object.finish();
    return use;
}

void SourceReader::readTests()
{
    const auto payloadOf = [](const QJsonValue &payload) {
        return payload.isString() ? payload.toString().toUtf8() : compact(payload);
    };
    const auto readMessage = [&payloadOf](ConfigurationObject &object) {
        const QString topic = object.text(q("topic")).value_or(QString());
        if (!isTopicName(topic))
            object.problem(q("topic"), q("must be a topic without wildcards"));
        const QJsonValue payload = object.value(q("payload"));
        if (payload.isUndefined())
            object.problem(q("must have a \"payload\""));
        return std::pair {topic.toUtf8(), payloadOf(payload)};
    };
    QList<ConfigurationObject> entries = source.objects(q("tests"));
    for (ConfigurationObject &entry : entries) {
        MqttSourceSettings::Test test;
        test.pointer = entry.pointer();
        if (entry.contains(q("messages"))) {
            QList<ConfigurationObject> messages = entry.objects(q("messages"));
            for (ConfigurationObject &message : messages) {
                test.messages.append(readMessage(message));
                message.finish();
            }
        } else {
            test.messages.append(readMessage(entry));
        }
        const QJsonValue expected = entry.value(q("expect"));
        if (!expected.isObject() || expected.toObject().isEmpty())
            entry.problem(q("expect"), q("must be an object of paths and their values"));
        test.expected = expected.toObject();
        entry.finish();
        settings->tests.append(test);
    }
}

// The state of the keywords that a mapping has reported so far, for tests.
struct Seen
{
    void take(ReportList reports)
    {
        while (!reports.isEmpty()) {
            const SourceReport report = reports.takeSlice(1000);
            for (const QString &path : report.removed)
                values.remove(path);
            for (const SourceKeyword &keyword : report.declared)
                values[keyword.path];
            for (const SourceValue &value : report.values) {
                SourceValue &seen = values[value.path];
                const auto before = seen.value;
                seen = value;
                if (!seen.value)
                    seen.value = before;
            }
        }
    }

    QHash<QString, SourceValue> values;
};

QString describe(const SourceValue &value)
{
    const QString text =
        QString::fromUtf8(compact(QJsonValue::fromVariant(value.value.value_or(QVariant()))));
    return value.error ? text + q(", with an error") : text;
}

bool isAsExpected(const QJsonValue &expected, const SourceValue *value)
{
    const QJsonObject object = expected.toObject();
    if (object.size() == 1 && object.value(q("error")).isBool())
        return value && value->error == object.value(q("error")).toBool();
    const QVariant seen = value ? value->value.value_or(QVariant()) : QVariant();
    if (expected.isNull())
        return !seen.isValid() || seen.isNull();
    const QJsonValue json = QJsonValue::fromVariant(seen);
    if (expected.isDouble() && json.isDouble()) {
        const double size = std::max(std::abs(expected.toDouble()), std::abs(json.toDouble()));
        return !value->error && std::abs(expected.toDouble() - json.toDouble()) <= size * 1e-12;
    }
    return value && !value->error && json == expected;
}

} // namespace

std::unique_ptr<Source> MqttSourceSettings::create() const
{
    return std::make_unique<MqttSource>(link, mapping, qos);
}

// Another broker requires another connection. All other settings only affect the mapping.
bool MqttSourceSettings::apply(const SourceSettings &other, Source *source) const
{
    const auto settings = dynamic_cast<const MqttSourceSettings *>(&other);
    const auto running = qobject_cast<MqttSource *>(source);
    if (!settings || !running || !(settings->link == link))
        return false;
    running->setMapping(settings->mapping, settings->qos);
    return true;
}

bool MqttSourceSettings::operator==(const SourceSettings &other) const
{
    const auto settings = dynamic_cast<const MqttSourceSettings *>(&other);
    return settings && settings->link == link && settings->qos == qos && settings->json == json;
}

MappingTests MqttSourceSettings::runTests(const QString &mount) const
{
    const QString base = server::KeywordServer::normalizedPath(mount);
    MappingTests result;
    for (const Test &test : tests) {
        TopicMapping topics(mapping);
        Seen seen;
        for (const auto &[topic, payload] : test.messages)
            topics.take({topic, payload}, 0);
        seen.take(topics.takeReports());
        ++result.run;
        for (auto it = test.expected.begin(); it != test.expected.end(); ++it) {
            const QString path = server::KeywordServer::normalizedPath(it.key());
            const bool isBelow = base.isEmpty() || base == q("/") || path.startsWith(base + q("/"));
            const QString own = base == q("/") ? path : path.mid(base.size());
            const auto found = seen.values.constFind(own);
            const SourceValue *const value =
                isBelow && found != seen.values.constEnd() ? &*found : nullptr;
            if (isAsExpected(it.value(), value))
                continue;
            QString escaped = it.key();
            escaped.replace(QLatin1Char('~'), q("~0")).replace(QLatin1Char('/'), q("~1"));
            result.failed.append({test.pointer + q("/expect/") + escaped,
                                  q("is %1, not %2")
                                      .arg(value ? describe(*value) : q("not there"),
                                           QString::fromUtf8(compact(it.value())))});
        }
    }
    return result;
}

QJsonObject MqttSourceSettings::toJson(const Source *source) const
{
    QJsonObject result = json;
    if (!result.contains(q("topics")) && !mapping.topics.isEmpty())
        result.insert(q("topics"), QJsonArray::fromStringList(mapping.topics));
    const auto running = qobject_cast<const MqttSource *>(source);
    if (!running)
        return result;
    QJsonArray keywords = result.value(q("keywords")).toArray();
    const QList<ServedTopic> seen = running->served();
    for (const ServedTopic &topic : seen) {
        QJsonObject keyword {{q("topic"), withoutNames(topic.topic)}, {q("type"), topic.type}};
        if (!topic.member.isEmpty()) {
            keyword.insert(q("value"), topic.member);
            keyword.insert(q("path"), withoutNames(topic.path));
        }
        keywords.append(keyword);
    }
    if (!keywords.isEmpty())
        result.insert(q("keywords"), keywords);
    return result;
}

QString MqttSourceType::name() const
{
    return q("mqtt");
}

std::shared_ptr<const SourceSettings> MqttSourceType::read(ConfigurationObject &source) const
{
    return SourceReader(source).read();
}

} // namespace pellix::gateway
