// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/topicmapping.h"

#include "gateway/mqtt/flatobject.h"
#include "gateway/mqtt/jsonpointer.h"
#include "gateway/mqtt/keywordpath.h"
#include "gateway/mqtt/payload.h"
#include "gateway/mqtt/topicpattern.h"
#include "gateway/mqtt/topicsync.h"

#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSet>

#include <algorithm>
#include <deque>
#include <functional>
#include <set>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

namespace pellix::gateway {

namespace {

constexpr int memberLevels = 4; // depth of nested objects whose members become children
constexpr qsizetype mostMembers = 10000; // members per topic
constexpr qsizetype mostMessages = 1000; // kept for the log

constexpr QLatin1String unitName("Unit");
constexpr QLatin1String minimumName("Min");
constexpr QLatin1String maximumName("Max");
constexpr QLatin1String timeName("Time");
constexpr QLatin1String statusName("Status");

QString metaPath(const QString &path, QLatin1String name)
{
    return path + QLatin1Char('/') + name;
}

QString textOfTime(qint64 milliseconds)
{
    return QDateTime::fromMSecsSinceEpoch(milliseconds).toUTC().toString(Qt::ISODateWithMs);
}

QByteArray raw(QByteArrayView bytes)
{
    return QByteArray::fromRawData(bytes.data(), bytes.size());
}

// The priority if two keywords claim the same path: first the configuration, then topics before
// members, then the smaller name.
enum class Rank {
    Configured,
    Topic,
    Member
};

QString keyOf(const TopicAvailability &settings)
{
    QStringList words {QString::number(int(settings.mode))};
    for (const TopicAvailability::Entry &entry : settings.entries)
        words << entry.topic << entry.member << entry.online << QString() << entry.offline
              << QString();
    return words.join(QChar(u'\n'));
}

} // namespace

class TopicMapping::Private
{
public:
    struct Topic;
    struct Availability;

    // A convention, and the filters for which it has requested a subscription.
    struct Reader
    {
        MappingOptions::DescribedBy use;
        std::unique_ptr<Convention> convention;
        QStringList filters;
    };

    struct Declaration
    {
        TopicKeyword keyword;
        PayloadRules rules;
        JsonPointer member;
        JsonPointer time;
        QByteArray flatMember; // name of the member, if the pointer is one ASCII level; or null
        Reader *reader = nullptr; // the convention that described it; null: configured
    };

    struct Keyword
    {
        QString path;
        Topic *topic = nullptr;
        std::shared_ptr<const Declaration> declaration; // null: served undeclared
        Availability *availability = nullptr;
        QByteArray member; // to order keywords with the same path
        QVariant value; // only set if there is a target topic
        QVariant target;
        qint64 expires = 0;
        qint64 time = 0; // the last one that a payload contained
        ValueType type = ValueType::None;
        Rank rank = Rank::Topic;
        bool isMember = false;
        bool isReported = false; // declared to the source
        bool isShadowed = false; // another keyword has its path
        bool isMisfit = false;
        bool isExpired = false;
        bool isGone = false; // deleted; has no value until the next message
        bool hasErrorTopic = false; // the error topic has a payload
        bool hasTarget = false;
        bool isContinued = false; // from another mapping, with its value
    };
    using KeywordPointer = std::unique_ptr<Keyword>;

    // A child of a keyword that describes it.
    struct Meta
    {
        SourceKeyword keyword;
        QVariant value; // invalid: unknown
    };

    // A member of an object. The members of a nested object are its children.
    struct Node
    {
        QString name;
        KeywordPointer keyword;
        std::vector<Node> children; // sorted
    };

    // A declaration of an array whose elements become children.
    struct Array
    {
        std::shared_ptr<const Declaration> declaration;
        QString path;
        Availability *availability = nullptr;
        Node root;
    };

    struct Topic
    {
        QByteArray name;
        KeywordPointer own; // the keyword for the whole payload
        Node root; // its members
        std::vector<KeywordPointer> declared;
        std::vector<Array> arrays;
        std::vector<Reader *> readers;
        std::vector<std::pair<Availability *, int>> availabilities;
        QByteArray state; // the last payload, if keywords may depend on it
        std::unique_ptr<TopicSync> sync; // if copies of retained messages arrive repeatedly
        std::vector<Keyword *> errorOf;
        std::vector<Keyword *> targetOf;
        Availability *availability = nullptr; // of undeclared keywords
        QString path;
        std::size_t place = 0; // in the list of all topics
        quint32 connection = 0;
        int members = 0;
        bool isServed = false; // without a declaration
        bool isDescription = false;
        bool keepsState = false; // keywords that are not known yet may depend on its payload
    };

    struct Availability
    {
        TopicAvailability settings;
        std::vector<JsonPointer> members;
        std::vector<signed char> states; // -1: unknown
        QString status; // the text that came last, known or not
        int latest = -1;
        bool isAvailable = false;
        QSet<Keyword *> keywords;
        int users = 0; // topics and arrays that refer to it
    };

    explicit Private(const MappingOptions &options);

    // Topics and keywords
    Topic *topicOf(QByteArrayView name);
    Topic *prepare(const QByteArray &name);
    void prepareDeclared(Topic *topic, const QStringList &levels);
    void declareKeyword(Topic *topic, const TopicKeyword &pattern, const TopicCaptures &captures,
                        Reader *reader);
    void watchStates(const TopicKeyword &keyword);
    TopicKeyword instance(const TopicKeyword &pattern, const TopicCaptures &captures) const;
    QString pathOf(const TopicKeyword &keyword) const;
    QStringList strippedLevels(const QString &topic) const;
    QString strippedPath(const QString &topic) const;
    void sayIfChanged(const QString &level, const QString &topic);
    void sayIfChanged(const QStringList &levels, const QString &topic);
    void sayIfChanged(const TopicKeyword &pattern, const TopicKeyword &keyword,
                      const TopicCaptures &captures);
    Availability *availabilityOf(const TopicAvailability &settings);
    TopicAvailability defaultAvailability(const QStringList &levels,
                                          const TopicCaptures &captures) const;
    void attach(Keyword *keyword);
    void forget(Keyword *keyword);
    void clear(Node *node);
    void dropUndeclared(Topic *topic);
    bool isUnused(const Topic &topic) const;
    void dropLater(const Topic *topic);
    void dropUnused(qint64 until);
    void dropUnusedAvailabilities();
    void drop(Topic *topic);
    void addFilter(const QString &filter);
    void removeFilter(const QString &filter);
    void needTopic(const QString &topic);
    void needTopics(const TopicKeyword &keyword);

    // Paths
    bool isBefore(const Keyword &left, const Keyword &right) const;
    bool claim(Keyword *keyword);
    void release(Keyword *keyword);
    void declareNow(Keyword *keyword, bool again);
    SourceKeyword sourceKeyword(const Keyword &keyword) const;
    QList<Meta> metaOf(const Keyword &keyword) const;
    std::optional<Meta> metaAt(const QString &path) const;
    void declareMeta(const Meta &meta, bool again);
    void removeMetas(const Keyword &before, const Keyword &now);
    void reportMeta(const Keyword &keyword, QLatin1String name);

    // Messages
    void takeDescription(Topic *topic, QByteArrayView payload);
    void apply(const ConventionChange &change, Reader *reader);
    void takeAvailability(Topic *topic, QByteArrayView payload);
    bool takeState(Availability *availability, int index, QByteArrayView payload);
    void takeErrors(Topic *topic, QByteArrayView payload);
    void takeTargets(Topic *topic, QByteArrayView payload);
    static void takeTarget(Keyword *keyword, QByteArrayView payload);
    void takeValues(Topic *topic, const TopicMessage &message, qint64 now);
    void takeDeclared(Topic *topic, const Payload &payload, const TopicMessage &message,
                      qint64 now);
    bool takeFlat(Topic *topic, const TopicMessage &message, qint64 now);
    static QByteArray flatMemberOf(const Declaration &declaration);
    void takeArray(Topic *topic, Array *array, const QJsonValue &json, qint64 expires);
    void takeMembers(Topic *topic, Node *node, const QJsonObject &object, const QString &path,
                     int level, qint64 expires);
    Node *child(Topic *topic, Node *node, const QString &name);
    Keyword *memberKeyword(Topic *topic, Node *node, const QString &path,
                           Availability *availability,
                           const std::shared_ptr<const Declaration> &declaration);
    void setMisfit(Node *node);
    void update(Keyword *keyword, const Payload &payload, qint64 expires, qint64 time);
    void reportFlags(Keyword *keyword);
    SourceValue flags(const Keyword &keyword) const;
    void removeTopic(Topic *topic);
    bool isDeletion(const Topic &topic, const TopicMessage &message) const;
    bool isNews(Topic *topic, const TopicMessage &message, bool isFirst);
    void say(const QString &message);

    // Another mapping
    void takeOverReaders(Private *other);
    void takeOverTopic(const Topic &before);
    void takeOverArrays(Topic *topic, const Topic &before);
    void takeOverMembers(Topic *topic, Node *node, const Node &before, const QString &path,
                         Availability *availability,
                         const std::shared_ptr<const Declaration> &declaration);
    void takeOverAvailabilities(const Private &other);
    void continueKeyword(Keyword *keyword, const Keyword &before);
    void reportDifference(const Private &other);

    const MappingOptions options;
    QList<TopicPattern> served;
    QList<TopicPattern> patterns; // of options.keywords
    QStringList prefix; // levels that are removed from all paths
    QList<TopicPattern> states; // of topics that keywords may depend on
    std::vector<std::unique_ptr<Reader>> readers;
    std::vector<std::pair<TopicPattern, Reader *>> descriptions;

    QHash<QByteArray, Topic *> topics;
    std::vector<std::unique_ptr<Topic>> ownedTopics;
    std::unordered_map<QString, std::unique_ptr<Availability>> availabilities; // by their settings
    std::deque<std::pair<QByteArray, qint64>> emptied; // topics, and when they may be dropped
    QSet<Availability *> abandoned; // may have lost their last user
    qint64 arrival = 0; // of the last message
    QSet<QByteArray> named; // topics declared by their names
    QHash<QString, Keyword *> paths; // the keyword that has each path
    QHash<QString, Keyword *> described; // those created by conventions
    std::set<std::pair<qint64, Keyword *>> expiring;
    std::vector<KeywordPointer> commands; // keywords without a topic

    QHash<QString, int> filterUses;
    QStringList filterOrder;
    QList<TopicPattern> wildcardFilters;
    QByteArrayList newFilters;
    QByteArrayList oldFilters;

    PayloadRules plain;
    ReportList reports;
    QStringList messages;
    QSet<Topic *> doubtful; // topics with an ignored copy
    qint64 messageTime = 0; // for values without a time of their own; 0: now
    QSet<QString> said;
    Statistics counts;
    quint32 connection = 1;
};

TopicMapping::Private::Private(const MappingOptions &options) : options(options)
{
    QList<QStringList> fixed;
    for (const QString &filter : options.topics) {
        served.append(TopicPattern::fromFilter(filter).value_or(TopicPattern()));
        fixed.append(served.constLast().fixedLevels());
        addFilter(filter);
    }
    // The levels with which all filters begin are redundant.
    if (!fixed.isEmpty()) {
        prefix = fixed.constFirst();
        for (const QStringList &levels : std::as_const(fixed)) {
            const auto end =
                std::mismatch(prefix.cbegin(), prefix.cend(), levels.cbegin(), levels.cend()).first;
            prefix.resize(end - prefix.cbegin());
        }
    }
    for (const TopicAvailability::Entry &entry : options.availability.entries) {
        if (const auto pattern = TopicPattern::fromText(entry.topic)) {
            addFilter(pattern->filter());
            states.append(*pattern);
        }
    }
    for (const auto &use : options.conventions) {
        std::unique_ptr<Convention> convention = Convention::create(use.name, use.options);
        if (!convention)
            continue;
        readers.push_back(std::make_unique<Reader>());
        Reader *const reader = readers.back().get();
        const QStringList filters = convention->subscriptions();
        for (const QString &filter : filters) {
            descriptions.emplace_back(TopicPattern::fromFilter(filter).value_or(TopicPattern()),
                                      reader);
            addFilter(filter);
        }
        reader->use = use;
        reader->convention = std::move(convention);
    }
    for (const TopicKeyword &keyword : options.keywords) {
        patterns.append(TopicPattern::fromText(keyword.topic).value_or(TopicPattern()));
        if (!patterns.constLast().hasWildcards())
            named.insert(patterns.constLast().filter().toUtf8());
    }
    for (qsizetype i = 0; i < patterns.size(); ++i) {
        const TopicKeyword &keyword = options.keywords.at(i);
        if (keyword.topic.isEmpty()) {
            declareKeyword(nullptr, keyword, {}, nullptr);
            continue;
        }
        addFilter(patterns.at(i).filter());
        // Subscribe to its other topics as well. They keep their wildcards, because the devices are
        // not known.
        TopicKeyword wild = keyword;
        TopicCaptures captures;
        for (const QString &name : patterns.at(i).names())
            captures.insert(name, QStringLiteral("+"));
        wild.topic = patterns.at(i).filter();
        wild = instance(wild, captures);
        needTopics(wild);
        watchStates(wild);
        if (!patterns.at(i).hasWildcards())
            topicOf(patterns.at(i).filter().toUtf8());
    }
}

// Filters

void TopicMapping::Private::addFilter(const QString &filter)
{
    if (filterUses[filter]++ > 0)
        return;
    filterOrder.append(filter);
    const QByteArray utf8 = filter.toUtf8();
    oldFilters.removeAll(utf8);
    newFilters.append(utf8);
    const auto pattern = TopicPattern::fromFilter(filter);
    if (pattern && pattern->hasWildcards())
        wildcardFilters.append(*pattern);
}

void TopicMapping::Private::removeFilter(const QString &filter)
{
    const auto uses = filterUses.find(filter);
    if (uses == filterUses.end() || --*uses > 0)
        return;
    filterUses.remove(filter);
    filterOrder.removeOne(filter);
    const QByteArray utf8 = filter.toUtf8();
    if (!newFilters.removeOne(utf8))
        oldFilters.append(utf8);
    wildcardFilters.removeIf(
        [&filter](const TopicPattern &pattern) { return pattern.filter() == filter; });
}

// Subscribes to a topic that no other filter includes.
void TopicMapping::Private::needTopic(const QString &topic)
{
    if (topic.isEmpty() || filterUses.contains(topic))
        return;
    const QStringList levels = topic.split(QLatin1Char('/'));
    for (const TopicPattern &pattern : std::as_const(wildcardFilters)) {
        if (pattern.matches(levels))
            return;
    }
    addFilter(topic);
}

void TopicMapping::Private::needTopics(const TopicKeyword &keyword)
{
    needTopic(keyword.topic);
    needTopic(keyword.errorTopic);
    needTopic(keyword.targetTopic);
    for (const TopicAvailability::Entry &entry : keyword.availability.entries)
        needTopic(entry.topic);
}

// Payloads on these topics are kept, because they may arrive before the keywords that depend on
// them.
void TopicMapping::Private::watchStates(const TopicKeyword &keyword)
{
    QStringList topics {keyword.errorTopic, keyword.targetTopic};
    for (const TopicAvailability::Entry &entry : keyword.availability.entries)
        topics.append(entry.topic);
    for (const QString &topic : std::as_const(topics)) {
        if (const auto pattern = TopicPattern::fromFilter(topic))
            states.append(*pattern);
    }
}

// Topics and keywords

TopicMapping::Private::Topic *TopicMapping::Private::topicOf(QByteArrayView name)
{
    const auto found = topics.constFind(raw(name));
    return found != topics.constEnd() ? *found : prepare(name.toByteArray());
}

// Determines the use of a topic once for all its messages.
TopicMapping::Private::Topic *TopicMapping::Private::prepare(const QByteArray &name)
{
    if (topics.size() >= options.maximumTopics) {
        say(QStringLiteral("more than %1 topics: the rest is ignored").arg(options.maximumTopics));
        return nullptr;
    }
    ownedTopics.push_back(std::make_unique<Topic>());
    Topic *const topic = ownedTopics.back().get();
    topic->place = ownedTopics.size() - 1;
    topic->name = name;
    topics.insert(name, topic);
    const QString text = QString::fromUtf8(name);
    const QStringList levels = text.split(QLatin1Char('/'));
    for (const auto &[pattern, reader] : descriptions) {
        if (pattern.matches(levels)) {
            topic->isDescription = true;
            if (std::find(topic->readers.begin(), topic->readers.end(), reader)
                == topic->readers.end())
                topic->readers.push_back(reader);
        }
    }
    topic->keepsState = topic->isDescription
        || std::any_of(states.cbegin(), states.cend(),
                       [&](const TopicPattern &pattern) { return pattern.matches(levels); });
    prepareDeclared(topic, levels);
    if (!topic->declared.empty() || !topic->arrays.empty() || topic->isDescription)
        return topic;
    topic->isServed = std::any_of(served.cbegin(), served.cend(), [&](const TopicPattern &pattern) {
        return pattern.matches(levels);
    });
    if (topic->isServed) {
        topic->path = strippedPath(text);
        sayIfChanged(strippedLevels(text), text);
        topic->availability = availabilityOf(defaultAvailability(levels, {}));
        if (topic->availability)
            ++topic->availability->users;
    }
    return topic;
}

void TopicMapping::Private::prepareDeclared(Topic *topic, const QStringList &levels)
{
    QSet<QString> members; // only the first declaration of each member applies
    for (qsizetype i = 0; i < patterns.size(); ++i) {
        TopicCaptures captures;
        const TopicKeyword &pattern = options.keywords.at(i);
        if (members.contains(pattern.member) || !patterns.at(i).matches(levels, &captures))
            continue;
        members.insert(pattern.member);
        TopicKeyword keyword = pattern;
        keyword.topic = QString::fromUtf8(topic->name);
        declareKeyword(topic, keyword, captures, nullptr);
    }
}

// Replaces the wildcards with the captured levels.
TopicKeyword TopicMapping::Private::instance(const TopicKeyword &pattern,
                                             const TopicCaptures &captures) const
{
    TopicKeyword keyword = pattern;
    const auto fill = [&](QString *topic) {
        const bool isBelow = topic->startsWith(QLatin1String("+/")); // the topic of the keyword
        *topic = isBelow ? keyword.topic + filledIn(topic->mid(1), captures)
                         : filledIn(*topic, captures);
    };
    TopicCaptures asLevels;
    for (auto it = captures.begin(); it != captures.end(); ++it)
        asLevels.insert(it.key(), keywordLevel(it.value()));
    keyword.path = filledIn(keyword.path, asLevels);
    keyword.label = filledIn(keyword.label, captures);
    for (QString *topic : {&keyword.writeTopic, &keyword.errorTopic, &keyword.targetTopic})
        fill(topic);
    if (keyword.availability.entries.isEmpty()) {
        keyword.availability = defaultAvailability(keyword.topic.split(QLatin1Char('/')), captures);
    } else {
        for (TopicAvailability::Entry &entry : keyword.availability.entries)
            fill(&entry.topic);
    }
    return keyword;
}

// A level that is named in the availability, but not in the keyword, is taken from the same
// position in the topic.
TopicAvailability TopicMapping::Private::defaultAvailability(const QStringList &levels,
                                                             const TopicCaptures &captures) const
{
    TopicAvailability result = options.availability;
    result.entries.clear();
    for (TopicAvailability::Entry entry : options.availability.entries) {
        const TopicPattern pattern = TopicPattern::fromText(entry.topic).value_or(TopicPattern());
        TopicCaptures own;
        if (pattern.hasWildcards() && !pattern.matchesBeginning(levels, &own))
            own = captures;
        int number = 0;
        QStringList parts = entry.topic.split(QLatin1Char('/'));
        for (QString &part : parts) {
            if (part == QLatin1String("+"))
                part = QLatin1Char('{') + QString::number(++number) + QLatin1Char('}');
            else if (!namesIn(part).isEmpty())
                ++number;
        }
        const QString topic = parts.join(QLatin1Char('/'));
        const QStringList names = namesIn(topic);
        // An entry in which a level is still unknown does not apply to this topic.
        if (!std::all_of(names.cbegin(), names.cend(),
                         [&own](const QString &name) { return own.contains(name); }))
            continue;
        entry.topic = filledIn(topic, own);
        result.entries.append(entry);
    }
    return result;
}

QStringList TopicMapping::Private::strippedLevels(const QString &topic) const
{
    const QStringList levels = topic.split(QLatin1Char('/'));
    const bool hasPrefix = levels.size() > prefix.size()
        && std::equal(prefix.cbegin(), prefix.cend(), levels.cbegin());
    return hasPrefix ? levels.mid(prefix.size()) : levels;
}

QString TopicMapping::Private::strippedPath(const QString &topic) const
{
    return keywordPath(strippedLevels(topic).join(QLatin1Char('/')));
}

// Each reason is logged once, because it may apply to all topics.
void TopicMapping::Private::sayIfChanged(const QString &level, const QString &topic)
{
    const QString served = keywordLevel(level);
    if (served == level)
        return;
    const QString reason = level.isEmpty() ? QStringLiteral("a keyword has no empty levels")
        : level == QLatin1String("Label")  ? QStringLiteral("Label is reserved for labels")
                                           : QStringLiteral("/ and # separate levels");
    if (said.contains(reason))
        return;
    said.insert(reason);
    say(QStringLiteral("%1: the level \"%2\" is served as \"%3\", because %4; further ones are not "
                       "logged")
            .arg(topic, level, served, reason));
}

void TopicMapping::Private::sayIfChanged(const QStringList &levels, const QString &topic)
{
    for (const QString &level : levels)
        sayIfChanged(level, topic);
}

void TopicMapping::Private::sayIfChanged(const TopicKeyword &pattern, const TopicKeyword &keyword,
                                         const TopicCaptures &captures)
{
    const QStringList names = namesIn(pattern.path);
    for (const QString &name : names)
        sayIfChanged(captures.value(name), keyword.topic);
    if (!pattern.path.isEmpty())
        return;
    sayIfChanged(strippedLevels(keyword.topic), keyword.topic);
    if (keyword.isMemberInPath) {
        sayIfChanged(JsonPointer::fromText(keyword.member).value_or(JsonPointer()).names(),
                     keyword.topic);
    }
}

QString TopicMapping::Private::pathOf(const TopicKeyword &keyword) const
{
    if (!keyword.path.isEmpty())
        return keyword.path;
    QString path = strippedPath(keyword.topic);
    if (keyword.isMemberInPath) {
        const auto pointer = JsonPointer::fromText(keyword.member).value_or(JsonPointer());
        for (const QString &name : pointer.names())
            path += QLatin1Char('/') + keywordLevel(name);
    }
    return path;
}

void TopicMapping::Private::declareKeyword(Topic *topic, const TopicKeyword &pattern,
                                           const TopicCaptures &captures, Reader *reader)
{
    const bool isConfigured = !reader;
    auto declaration = std::make_shared<Declaration>();
    declaration->keyword = isConfigured ? instance(pattern, captures) : pattern;
    declaration->rules = PayloadRules(pattern);
    declaration->member = JsonPointer::fromText(pattern.member).value_or(JsonPointer());
    declaration->time = JsonPointer::fromText(pattern.timeMember).value_or(JsonPointer());
    declaration->flatMember = flatMemberOf(*declaration);
    declaration->reader = reader;
    needTopics(declaration->keyword);
    const QString path = pathOf(declaration->keyword);
    if (isConfigured)
        sayIfChanged(pattern, declaration->keyword, captures);
    if (topic && !pattern.arrayKey.isEmpty()) {
        Availability *const availability = availabilityOf(declaration->keyword.availability);
        if (availability)
            ++availability->users;
        topic->arrays.push_back({declaration, path, availability, {}});
        return;
    }
    auto keyword = std::make_unique<Keyword>();
    keyword->path = path;
    keyword->topic = topic;
    keyword->declaration = declaration;
    keyword->member = pattern.member.toUtf8();
    keyword->isMember = !pattern.member.isEmpty();
    keyword->rank = isConfigured ? Rank::Configured : Rank::Topic;
    keyword->type = declaration->rules.type();
    attach(keyword.get());
    Keyword *const declared = keyword.get();
    (topic ? topic->declared : commands).push_back(std::move(keyword));
    if (!isConfigured)
        described.insert(path, declared);
    if (declared->type != ValueType::None && claim(declared) && topic)
        reports.report(flags(*declared));
}

// Connects the keyword to the other topics on which it depends.
void TopicMapping::Private::attach(Keyword *keyword)
{
    const TopicKeyword &settings = keyword->declaration->keyword;
    keyword->availability = availabilityOf(settings.availability);
    if (keyword->availability)
        keyword->availability->keywords.insert(keyword);
    if (!settings.errorTopic.isEmpty()) {
        if (Topic *const topic = topicOf(settings.errorTopic.toUtf8())) {
            topic->errorOf.push_back(keyword);
            keyword->hasErrorTopic = keyword->hasErrorTopic || !topic->state.isEmpty();
        }
    }
    if (!settings.targetTopic.isEmpty()) {
        if (Topic *const topic = topicOf(settings.targetTopic.toUtf8())) {
            topic->targetOf.push_back(keyword);
            if (!topic->state.isEmpty())
                takeTarget(keyword, topic->state);
        }
    }
}

TopicMapping::Private::Availability *
TopicMapping::Private::availabilityOf(const TopicAvailability &settings)
{
    if (settings.entries.isEmpty())
        return nullptr;
    std::unique_ptr<Availability> &availability = availabilities[keyOf(settings)];
    if (availability)
        return availability.get();
    availability = std::make_unique<Availability>();
    Availability *const made = availability.get();
    made->settings = settings;
    made->states.assign(std::size_t(settings.entries.size()), -1);
    for (int i = 0; i < int(settings.entries.size()); ++i) {
        const TopicAvailability::Entry &entry = settings.entries.at(i);
        made->members.push_back(JsonPointer::fromText(entry.member).value_or(JsonPointer()));
        needTopic(entry.topic);
        if (Topic *const topic = topicOf(entry.topic.toUtf8())) {
            topic->availabilities.emplace_back(made, i);
            if (!topic->state.isEmpty()) // it may not be published again for a long time
                takeState(made, i, topic->state);
        }
    }
    return made;
}

// Removes all references to the keyword.
void TopicMapping::Private::forget(Keyword *keyword)
{
    release(keyword);
    if (keyword->availability) {
        keyword->availability->keywords.remove(keyword);
        abandoned.insert(keyword->availability);
    }
    if (keyword->expires > 0)
        expiring.erase({keyword->expires, keyword});
    if (!keyword->declaration)
        return;
    const TopicKeyword &settings = keyword->declaration->keyword;
    const auto detach = [&](const QString &name, std::vector<Keyword *> Topic::*list) {
        Topic *const topic = name.isEmpty() ? nullptr : topics.value(name.toUtf8());
        if (topic) {
            auto &users = topic->*list;
            users.erase(std::remove(users.begin(), users.end(), keyword), users.end());
            dropLater(topic);
        }
    };
    detach(settings.errorTopic, &Topic::errorOf);
    detach(settings.targetTopic, &Topic::targetOf);
}

void TopicMapping::Private::clear(Node *node)
{
    for (Node &inner : node->children)
        clear(&inner);
    if (node->keyword)
        forget(node->keyword.get());
    node->keyword.reset();
    node->children.clear();
}

// Removes the keywords that existed before the topic was declared.
void TopicMapping::Private::dropUndeclared(Topic *topic)
{
    if (topic->own)
        forget(topic->own.get());
    topic->own.reset();
    clear(&topic->root);
    topic->members = 0;
}

// Whether nothing would change if the topic were new.
bool TopicMapping::Private::isUnused(const Topic &topic) const
{
    const auto isGone = [](const KeywordPointer &keyword) {
        return keyword->isGone && !keyword->declaration->reader;
    };
    return !topic.own && topic.root.children.empty() && topic.availabilities.empty()
        && topic.errorOf.empty() && topic.targetOf.empty() && topic.state.isEmpty()
        && std::all_of(topic.declared.begin(), topic.declared.end(), isGone)
        && std::all_of(topic.arrays.begin(), topic.arrays.end(),
                       [](const Array &array) { return array.root.children.empty(); })
        && !named.contains(topic.name);
}

// If copies of retained messages arrive, one may be older than the deletion of its topic.
void TopicMapping::Private::dropLater(const Topic *topic)
{
    emptied.emplace_back(topic->name,
                         options.isResynced ? arrival + TopicSync::laggingTime : arrival);
}

// Topics whose messages have been deleted may be as many as ever existed.
void TopicMapping::Private::dropUnused(qint64 until)
{
    dropUnusedAvailabilities();
    while (!emptied.empty() && emptied.front().second <= until) {
        Topic *const topic = topics.value(emptied.front().first);
        emptied.pop_front();
        if (topic && isUnused(*topic))
            drop(topic);
        dropUnusedAvailabilities();
    }
}

void TopicMapping::Private::dropUnusedAvailabilities()
{
    const auto unused = std::exchange(abandoned, {});
    for (Availability *const availability : unused) {
        if (!availability->keywords.isEmpty() || availability->users > 0)
            continue;
        for (const TopicAvailability::Entry &entry : availability->settings.entries) {
            Topic *const topic = topics.value(entry.topic.toUtf8());
            if (!topic)
                continue;
            auto &users = topic->availabilities;
            users.erase(std::remove_if(users.begin(), users.end(),
                                       [availability](const auto &user) {
                                           return user.first == availability;
                                       }),
                        users.end());
            dropLater(topic);
        }
        availabilities.erase(keyOf(availability->settings));
    }
}

void TopicMapping::Private::drop(Topic *topic)
{
    for (const KeywordPointer &keyword : topic->declared)
        forget(keyword.get());
    QList<Availability *> used {topic->availability};
    for (const Array &array : topic->arrays)
        used.append(array.availability);
    for (Availability *const availability : std::as_const(used)) {
        if (!availability)
            continue;
        --availability->users;
        abandoned.insert(availability);
    }
    doubtful.remove(topic);
    topics.remove(topic->name);
    const std::size_t place = topic->place;
    std::swap(ownedTopics[place], ownedTopics.back());
    ownedTopics[place]->place = place;
    ownedTopics.pop_back();
}

// Paths

bool TopicMapping::Private::isBefore(const Keyword &left, const Keyword &right) const
{
    const auto key = [](const Keyword &keyword) {
        const Rank rank =
            keyword.rank == Rank::Topic && keyword.isMember ? Rank::Member : keyword.rank;
        return std::make_tuple(rank, keyword.topic ? keyword.topic->name : QByteArray(),
                               keyword.member);
    };
    return key(left) < key(right);
}

// Returns whether the keyword now has its path.
bool TopicMapping::Private::claim(Keyword *keyword)
{
    if (keyword->isReported)
        return true;
    Keyword *&owner = paths[keyword->path];
    if (owner && owner != keyword) {
        Keyword *const other = owner;
        if (!keyword->isShadowed && !other->isShadowed) {
            ++counts.collisions;
            const auto name = [](const Keyword &one) {
                return one.topic ? QString::fromUtf8(one.topic->name + one.member)
                                 : QStringLiteral("a command");
            };
            say(QStringLiteral("%1 and %2 have the same path, %3: the first one has it")
                    .arg(name(isBefore(*keyword, *other) ? *keyword : *other),
                         name(isBefore(*keyword, *other) ? *other : *keyword), keyword->path));
        }
        if (!isBefore(*keyword, *other)) {
            keyword->isShadowed = true;
            return false;
        }
        release(other);
        other->isShadowed = true;
    }
    if (const auto replaced = metaAt(keyword->path))
        reports.remove(keyword->path);
    paths.insert(keyword->path, keyword);
    keyword->isShadowed = false;
    declareNow(keyword, false);
    return true;
}

void TopicMapping::Private::release(Keyword *keyword)
{
    if (!keyword->isReported)
        return;
    keyword->isReported = false;
    const QList<Meta> metas = metaOf(*keyword);
    for (const Meta &meta : metas)
        reports.remove(meta.keyword.path);
    paths.remove(keyword->path);
    reports.remove(keyword->path);
    if (const auto uncovered = metaAt(keyword->path))
        declareMeta(*uncovered, false);
}

void TopicMapping::Private::declareNow(Keyword *keyword, bool again)
{
    keyword->isReported = true;
    reports.declare(sourceKeyword(*keyword), again);
    const QList<Meta> metas = metaOf(*keyword);
    for (const Meta &meta : metas)
        declareMeta(meta, again);
}

SourceKeyword TopicMapping::Private::sourceKeyword(const Keyword &keyword) const
{
    SourceKeyword result;
    result.path = keyword.path;
    result.type = valueTypeWord(keyword.type);
    if (!keyword.declaration)
        return result;
    const TopicKeyword &settings = keyword.declaration->keyword;
    const bool isWritten = !settings.writeTopic.isEmpty();
    const bool isRead = !settings.topic.isEmpty();
    result.access = settings.access;
    if (result.access.isEmpty()) {
        result.access = !isWritten ? QStringLiteral("R")
            : isRead               ? QStringLiteral("RW")
                                   : QStringLiteral("W");
    }
    result.label = settings.label;
    if (options.labelUnit && !settings.unit.isEmpty()) {
        const QString name =
            result.label.isEmpty() ? keyword.path.section(QLatin1Char('/'), -1) : result.label;
        result.label = QStringLiteral("%1 [%2]").arg(name, settings.unit);
    }
    result.minimum = settings.minimum;
    result.maximum = settings.maximum;
    result.step = settings.step;
    result.choices = settings.choices;
    if (result.choices.isEmpty() && isWritten && keyword.type != ValueType::Bool) {
        for (const TopicValue &entry :
             settings.writeValues.isEmpty() ? settings.values : settings.writeValues) {
            if (!result.choices.contains(entry.value))
                result.choices.append(entry.value);
        }
    }
    result.staleAfter = settings.staleAfter;
    result.confirmWithin = settings.confirmWithin;
    result.confirmation = settings.confirmation;
    if (!isRead && result.confirmation == SourceKeyword::Confirmation::Readback)
        result.confirmation = SourceKeyword::Confirmation::Answer;
    result.writesChange = settings.writesChange;
    return result;
}

// The unit and the limits of a keyword, from its configuration or description, the time of its
// value, and the status of its device.
QList<TopicMapping::Private::Meta> TopicMapping::Private::metaOf(const Keyword &keyword) const
{
    QList<Meta> result;
    if (!options.meta || !keyword.declaration)
        return result;
    const TopicKeyword &settings = keyword.declaration->keyword;
    const auto add = [&](QLatin1String name, const QVariant &value, const QString &type) {
        Meta meta;
        meta.keyword.path = metaPath(keyword.path, name);
        meta.keyword.type = type;
        meta.keyword.access = QStringLiteral("RM");
        meta.value = value;
        // A topic of that name has precedence.
        if (!paths.contains(meta.keyword.path))
            result.append(meta);
    };
    const QString number = QStringLiteral("double");
    const QString text = QStringLiteral("string");
    if (!settings.unit.isEmpty())
        add(unitName, settings.unit, text);
    if (!settings.minimum.isNull())
        add(minimumName, settings.minimum, number);
    if (!settings.maximum.isNull())
        add(maximumName, settings.maximum, number);
    if (!settings.timeMember.isEmpty())
        add(timeName, keyword.time > 0 ? textOfTime(keyword.time) : QVariant(), text);
    if (const Availability *const availability = keyword.availability)
        add(statusName, availability->status.isNull() ? QVariant() : availability->status, text);
    return result;
}

// The child with this path of a keyword that describes it.
std::optional<TopicMapping::Private::Meta> TopicMapping::Private::metaAt(const QString &path) const
{
    if (!options.meta)
        return std::nullopt;
    const Keyword *const parent = paths.value(path.left(path.lastIndexOf(QLatin1Char('/'))));
    if (!parent)
        return std::nullopt;
    const QList<Meta> metas = metaOf(*parent);
    for (const Meta &meta : metas) {
        if (meta.keyword.path == path)
            return meta;
    }
    return std::nullopt;
}

void TopicMapping::Private::declareMeta(const Meta &meta, bool again)
{
    reports.declare(meta.keyword, again);
    if (!meta.value.isValid())
        return;
    SourceValue reported;
    reported.path = meta.keyword.path;
    reported.value = meta.value;
    reports.report(reported);
}

// Removes those that a keyword no longer has.
void TopicMapping::Private::removeMetas(const Keyword &before, const Keyword &now)
{
    QSet<QString> remaining;
    const QList<Meta> metas = metaOf(now);
    for (const Meta &meta : metas)
        remaining.insert(meta.keyword.path);
    const QList<Meta> previous = metaOf(before);
    for (const Meta &meta : previous) {
        if (!remaining.contains(meta.keyword.path))
            reports.remove(meta.keyword.path);
    }
}

void TopicMapping::Private::reportMeta(const Keyword &keyword, QLatin1String name)
{
    if (!keyword.isReported)
        return;
    const auto meta = metaAt(metaPath(keyword.path, name));
    if (!meta)
        return;
    SourceValue reported;
    reported.path = meta->keyword.path;
    reported.value = meta->value;
    reports.report(reported);
}

void TopicMapping::Private::say(const QString &message)
{
    if (said.size() >= mostMessages || said.contains(message))
        return;
    said.insert(message);
    messages.append(message);
}

// Descriptions

void TopicMapping::Private::takeDescription(Topic *topic, QByteArrayView payload)
{
    const auto listeners = topic->readers;
    for (Reader *const reader : listeners) {
        apply(reader->convention->take(QString::fromUtf8(topic->name), payload.toByteArray()),
              reader);
    }
}

void TopicMapping::Private::apply(const ConventionChange &change, Reader *reader)
{
    const auto drop = [this](const QString &path) {
        Keyword *const keyword = described.take(path);
        if (!keyword)
            return;
        forget(keyword);
        if (keyword->topic)
            dropLater(keyword->topic);
        auto &list = keyword->topic ? keyword->topic->declared : commands;
        list.erase(std::find_if(list.begin(), list.end(), [keyword](const KeywordPointer &other) {
            return other.get() == keyword;
        }));
    };
    for (const QString &path : change.removed)
        drop(path);
    for (const TopicKeyword &keyword : change.declared) {
        Topic *const topic = keyword.topic.isEmpty() ? nullptr : topicOf(keyword.topic.toUtf8());
        if (!topic && !keyword.topic.isEmpty())
            continue;
        Keyword *const old = described.value(pathOf(keyword));
        if (old && old->topic == topic && old->declaration->keyword.member == keyword.member) {
            // Apply the new declaration and keep the value.
            const bool wasReported = old->isReported;
            old->isReported = false;
            const Keyword before = *old;
            forget(old);
            auto declaration = std::make_shared<Declaration>(*old->declaration);
            declaration->keyword = keyword;
            declaration->rules = PayloadRules(keyword);
            declaration->time = JsonPointer::fromText(keyword.timeMember).value_or(JsonPointer());
            declaration->flatMember = flatMemberOf(*declaration);
            old->declaration = declaration;
            attach(old);
            old->isReported = wasReported;
            if (declaration->rules.type() != ValueType::None)
                old->type = declaration->rules.type();
            if (wasReported) {
                removeMetas(before, *old);
                declareNow(old, true);
                reports.report(flags(*old));
            } else if (old->type != ValueType::None) {
                claim(old);
            }
            continue;
        }
        drop(pathOf(keyword));
        if (topic)
            dropUndeclared(topic);
        declareKeyword(topic, keyword, {}, reader);
    }
    for (const QString &filter : change.subscribe) {
        addFilter(filter);
        reader->filters.append(filter);
    }
    for (const QString &filter : change.unsubscribe) {
        removeFilter(filter);
        reader->filters.removeOne(filter);
    }
    for (const QString &message : change.messages)
        say(message);
}

// Availability, errors, and targets

void TopicMapping::Private::takeAvailability(Topic *topic, QByteArrayView payload)
{
    for (const auto &[availability, index] : topic->availabilities) {
        const QString statusBefore = availability->status;
        const bool isOther = takeState(availability, index, payload);
        const bool isOtherStatus = options.meta && availability->status != statusBefore;
        for (Keyword *const keyword : std::as_const(availability->keywords)) {
            if (isOther)
                reportFlags(keyword);
            if (isOtherStatus)
                reportMeta(*keyword, statusName);
        }
    }
}

// Returns whether the availability of the dependent keywords has changed.
bool TopicMapping::Private::takeState(Availability *availability, int index, QByteArrayView payload)
{
    const TopicAvailability::Entry &entry = availability->settings.entries.at(index);
    QString word = QString::fromUtf8(payload);
    const JsonPointer &member = availability->members[std::size_t(index)];
    if (!member.isWhole()) {
        const Payload read = Payload::read(payload);
        if (read.structure.isObject()) {
            const QJsonValue value = member.of(read.structure);
            word = value.isString()
                ? value.toString()
                : QString::fromUtf8(PayloadRules()
                                        .payload(value.toVariant(), ValueType::None)
                                        .value_or(QByteArray()));
        }
    }
    availability->status = payload.isEmpty() ? QString() : word;
    signed char &state = availability->states[std::size_t(index)];
    if (payload.isEmpty() && !entry.online.contains(word) && !entry.offline.contains(word))
        state = -1; // the retained message was deleted
    else if (entry.online.contains(word) || entry.online.contains(word.trimmed()))
        state = 1;
    else if (entry.offline.contains(word) || entry.offline.contains(word.trimmed()))
        state = 0;
    else
        return false;
    availability->latest = state == -1 ? availability->latest : index;
    const auto &states = availability->states;
    const auto isOn = [](signed char one) { return one == 1; };
    bool isAvailable = false;
    switch (availability->settings.mode) {
    case TopicAvailability::Mode::All:
        isAvailable = std::all_of(states.begin(), states.end(), isOn);
        break;
    case TopicAvailability::Mode::Any:
        isAvailable = std::any_of(states.begin(), states.end(), isOn);
        break;
    case TopicAvailability::Mode::Latest:
        isAvailable = availability->latest >= 0 && states[std::size_t(availability->latest)] == 1;
        break;
    }
    return std::exchange(availability->isAvailable, isAvailable) != isAvailable;
}

void TopicMapping::Private::takeErrors(Topic *topic, QByteArrayView payload)
{
    for (Keyword *const keyword : topic->errorOf) {
        if (std::exchange(keyword->hasErrorTopic, !payload.isEmpty()) == payload.isEmpty())
            reportFlags(keyword);
    }
}

void TopicMapping::Private::takeTargets(Topic *topic, QByteArrayView payload)
{
    for (Keyword *const keyword : topic->targetOf) {
        takeTarget(keyword, payload);
        reportFlags(keyword);
    }
}

void TopicMapping::Private::takeTarget(Keyword *keyword, QByteArrayView payload)
{
    keyword->hasTarget = !payload.isEmpty()
        && keyword->declaration->rules.value(Payload::read(payload), keyword->type,
                                             &keyword->target)
            == PayloadRules::Result::Value;
}

SourceValue TopicMapping::Private::flags(const Keyword &keyword) const
{
    SourceValue value;
    value.path = keyword.path;
    value.online = (!keyword.availability || keyword.availability->isAvailable)
        && !keyword.isExpired && !keyword.isGone;
    value.error = keyword.isMisfit;
    if (keyword.declaration) {
        const TopicKeyword &settings = keyword.declaration->keyword;
        value.error = value.error || keyword.hasErrorTopic || settings.isFaulty;
        value.consistent = !keyword.hasTarget || !settings.isConsistentWithTarget
            || keyword.target == keyword.value;
    }
    return value;
}

void TopicMapping::Private::reportFlags(Keyword *keyword)
{
    if (keyword->isReported)
        reports.report(flags(*keyword));
}

// Values

void TopicMapping::Private::update(Keyword *keyword, const Payload &payload, qint64 expires,
                                   qint64 time)
{
    if (keyword->type == ValueType::None) {
        keyword->type = payload.inferredType();
        if (keyword->type == ValueType::None) // the type is still unknown
            return;
    }
    if (!claim(keyword))
        return;
    QVariant value;
    const PayloadRules &rules = keyword->declaration ? keyword->declaration->rules : plain;
    const PayloadRules::Result result = rules.value(payload, keyword->type, &value);
    if (result == PayloadRules::Result::Ignored)
        return;
    if (result == PayloadRules::Result::Misfit) {
        ++counts.misfits;
        keyword->isMisfit = true;
        reports.report(flags(*keyword));
        return;
    }
    keyword->isMisfit = false;
    keyword->isExpired = false;
    keyword->isGone = false;
    if (keyword->expires != expires) {
        if (keyword->expires > 0)
            expiring.erase({keyword->expires, keyword});
        keyword->expires = expires;
        if (expires > 0)
            expiring.insert({expires, keyword});
    }
    if (keyword->declaration && !keyword->declaration->keyword.targetTopic.isEmpty())
        keyword->value = value;
    SourceValue reported = flags(*keyword);
    reported.value = std::move(value);
    reported.time = time > 0 ? time : messageTime;
    reports.report(std::move(reported));
    if (std::exchange(keyword->time, time) != time)
        reportMeta(*keyword, timeName);
}

// An empty retained message deletes the previous one. Before MQTT 5, an existing subscriber cannot
// distinguish it from an empty string.
bool TopicMapping::Private::isDeletion(const Topic &topic, const TopicMessage &message) const
{
    if (!message.payload.isEmpty())
        return false;
    if (message.isRetained || message.isFlagExact)
        return message.isRetained;
    const auto isText = [](const KeywordPointer &keyword) {
        return keyword && keyword->type == ValueType::String;
    };
    return !isText(topic.own) && std::none_of(topic.declared.begin(), topic.declared.end(), isText);
}

void TopicMapping::Private::removeTopic(Topic *topic)
{
    dropUndeclared(topic);
    for (Array &array : topic->arrays)
        clear(&array.root);
    for (const KeywordPointer &keyword : topic->declared) {
        keyword->isGone = true;
        keyword->isMisfit = false;
        const bool isDescribed = keyword->declaration->reader;
        // A keyword that is declared by its topic name stays, without a current value.
        if (isDescribed || named.contains(topic->name))
            reportFlags(keyword.get());
        else
            release(keyword.get());
    }
}

// Returns whether a message contains news. A message that was missed gets the oldest time that it
// can have, so that it does not make a keyword appear fresh.
bool TopicMapping::Private::isNews(Topic *topic, const TopicMessage &message, bool isFirst)
{
    if (isFirst || !topic->sync)
        topic->sync = std::make_unique<TopicSync>();
    const size_t payload = qHash(message.payload);
    if (!message.isCopy) {
        topic->sync->takeLive(
            payload, message.isFlagExact ? std::optional(message.isRetained) : std::nullopt,
            message.arrival);
        doubtful.remove(topic);
        return true;
    }
    const TopicSync::Verdict verdict = topic->sync->takeCopy(payload, message.arrival);
    if (verdict == TopicSync::Verdict::Doubtful)
        doubtful.insert(topic);
    else
        doubtful.remove(topic);
    if (verdict != TopicSync::Verdict::New)
        return false;
    if (message.notBefore > 0)
        ++counts.recovered;
    messageTime = message.notBefore;
    return true;
}

void TopicMapping::Private::takeValues(Topic *topic, const TopicMessage &message, qint64 now)
{
    const bool isDeclared = !topic->declared.empty() || !topic->arrays.empty();
    if (!isDeclared && !topic->isServed)
        return;
    if (isDeletion(*topic, message)) {
        removeTopic(topic);
        return;
    }
    if (isDeclared && takeFlat(topic, message, now))
        return;
    const Payload payload = Payload::read(message.payload);
    if (payload.kind == Payload::Kind::Unreadable)
        ++counts.unreadable;
    if (isDeclared) {
        takeDeclared(topic, payload, message, now);
        return;
    }
    const qint64 expires = message.expiry < 0 ? 0 : now + message.expiry * 1000;
    if (!topic->own && payload.structure.isObject()) {
        takeMembers(topic, &topic->root, payload.structure.toObject(), topic->path, 1, expires);
        return;
    }
    if (!topic->root.children.empty()) {
        if (payload.kind != Payload::Kind::Null) {
            ++counts.misfits;
            setMisfit(&topic->root);
        }
        return;
    }
    if (!topic->own) {
        topic->own = std::make_unique<Keyword>();
        topic->own->path = topic->path;
        topic->own->topic = topic;
        topic->own->availability = topic->availability;
        if (topic->availability)
            topic->availability->keywords.insert(topic->own.get());
    }
    update(topic->own.get(), payload, expires, 0);
}

void TopicMapping::Private::takeDeclared(Topic *topic, const Payload &payload,
                                         const TopicMessage &message, qint64 now)
{
    const qint64 expires = message.expiry < 0 ? 0 : now + message.expiry * 1000;
    for (const KeywordPointer &keyword : topic->declared) {
        const Declaration &declaration = *keyword->declaration;
        qint64 time = 0;
        if (!declaration.time.isWhole())
            time = timeOf(declaration.time.of(payload.structure)).value_or(0);
        if (declaration.member.isWhole()) {
            update(keyword.get(), payload, expires, time);
            continue;
        }
        if (payload.kind != Payload::Kind::Structure) {
            // Null, which stands for no value, is not an error for the members.
            if (payload.kind == Payload::Kind::Null)
                continue;
            Payload none;
            update(keyword.get(), none, expires, time);
            continue;
        }
        const QJsonValue value = declaration.member.of(payload.structure);
        if (!value.isUndefined()) // otherwise, the payload does not contain the member
            update(keyword.get(), Payload::read(value), expires, time);
    }
    for (Array &array : topic->arrays)
        takeArray(topic, &array, array.declaration->member.of(payload.json()), expires);
}

QByteArray TopicMapping::Private::flatMemberOf(const Declaration &declaration)
{
    const QStringList names = declaration.member.names();
    if (names.size() != 1 || !declaration.time.isWhole())
        return {};
    const bool isPlain = std::all_of(names.constFirst().cbegin(), names.constFirst().cend(),
                                     [](QChar c) { return c >= u' ' && c <= u'~'; });
    return isPlain && !names.constFirst().isEmpty() ? names.constFirst().toLatin1() : QByteArray();
}

// Takes the values without parsing a document. Returns false if that is not possible.
bool TopicMapping::Private::takeFlat(Topic *topic, const TopicMessage &message, qint64 now)
{
    if (!topic->arrays.empty())
        return false;
    for (const KeywordPointer &keyword : topic->declared) {
        if (keyword->declaration->flatMember.isNull())
            return false;
    }
    const std::optional<FlatObject> object = FlatObject::read(message.payload);
    if (!object)
        return false;
    const qint64 expires = message.expiry < 0 ? 0 : now + message.expiry * 1000;
    for (const KeywordPointer &keyword : topic->declared) {
        if (const auto payload = object->member(keyword->declaration->flatMember))
            update(keyword.get(), *payload, expires, 0);
    }
    return true;
}

void TopicMapping::Private::takeArray(Topic *topic, Array *array, const QJsonValue &json,
                                      qint64 expires)
{
    if (json.isUndefined())
        return;
    if (!json.isArray()) {
        ++counts.misfits;
        setMisfit(&array->root);
        return;
    }
    const TopicKeyword &settings = array->declaration->keyword;
    const QJsonArray elements = json.toArray();
    for (const auto &item : elements) {
        const QJsonObject element = item.toObject();
        const QJsonValue key = element.value(settings.arrayKey);
        const QJsonValue value = element.value(settings.arrayValue);
        const QString name = key.isString() ? key.toString()
            : key.isDouble()                ? QString::fromUtf8(numberText(key.toDouble()))
                                            : QString();
        if (name.isEmpty() || value.isUndefined())
            continue;
        Node *const node = child(topic, &array->root, name);
        if (!node)
            return;
        Keyword *const keyword =
            memberKeyword(topic, node, array->path + QLatin1Char('/') + keywordLevel(name),
                          array->availability, array->declaration);
        update(keyword, Payload::read(value), expires, 0);
    }
}

// Returns the member with this name, and inserts it in order if necessary. Returns null if there
// are too many.
TopicMapping::Private::Node *TopicMapping::Private::child(Topic *topic, Node *node,
                                                          const QString &name)
{
    auto &children = node->children;
    const auto place =
        std::lower_bound(children.begin(), children.end(), name,
                         [](const Node &one, const QString &other) { return one.name < other; });
    if (place != children.end() && place->name == name)
        return &*place;
    if (topic->members >= mostMembers) {
        say(QStringLiteral("%1 has more than %2 members: the rest is ignored")
                .arg(QString::fromUtf8(topic->name))
                .arg(mostMembers));
        return nullptr;
    }
    sayIfChanged(name, QString::fromUtf8(topic->name));
    ++topic->members;
    Node made;
    made.name = name;
    return &*children.insert(place, std::move(made));
}

TopicMapping::Private::Keyword *
TopicMapping::Private::memberKeyword(Topic *topic, Node *node, const QString &path,
                                     Availability *availability,
                                     const std::shared_ptr<const Declaration> &declaration)
{
    if (node->keyword)
        return node->keyword.get();
    node->keyword = std::make_unique<Keyword>();
    Keyword *const keyword = node->keyword.get();
    keyword->path = path;
    keyword->topic = topic;
    keyword->member = '/' + node->name.toUtf8();
    keyword->isMember = true;
    keyword->declaration = declaration;
    keyword->type = declaration ? declaration->rules.type() : ValueType::None;
    keyword->rank = declaration ? Rank::Configured : Rank::Topic;
    keyword->availability = availability;
    if (availability)
        availability->keywords.insert(keyword);
    return keyword;
}

void TopicMapping::Private::takeMembers(Topic *topic, Node *node, const QJsonObject &object,
                                        const QString &path, int level, qint64 expires)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        Node *const inner = child(topic, node, it.key());
        if (!inner)
            return;
        const QJsonValue value = it.value();
        const bool isInner = value.isObject() && !inner->keyword && level < memberLevels;
        if (isInner) {
            takeMembers(topic, inner, value.toObject(),
                        path + QLatin1Char('/') + keywordLevel(it.key()), level + 1, expires);
            continue;
        }
        if (!inner->children.empty()) { // it was an object before, but is not now
            if (!value.isNull()) {
                ++counts.misfits;
                setMisfit(inner);
            }
            continue;
        }
        Keyword *const keyword = inner->keyword
            ? inner->keyword.get()
            : memberKeyword(topic, inner, path + QLatin1Char('/') + keywordLevel(it.key()),
                            topic->availability, nullptr);
        update(keyword, Payload::read(value), expires, 0);
    }
}

void TopicMapping::Private::setMisfit(Node *node)
{
    for (Node &inner : node->children)
        setMisfit(&inner);
    if (node->keyword) {
        node->keyword->isMisfit = true;
        reportFlags(node->keyword.get());
    }
}

// Changing the mapping

// The broker does not send descriptions again when only the mapping changes.
void TopicMapping::Private::takeOverReaders(Private *other)
{
    for (const auto &reader : readers) {
        const auto found =
            std::find_if(other->readers.begin(), other->readers.end(),
                         [&reader](const auto &before) { return before->use == reader->use; });
        if (found == other->readers.end())
            continue;
        reader->convention.swap((*found)->convention);
        reader->filters.swap((*found)->filters);
        for (const QString &filter : std::as_const(reader->filters))
            addFilter(filter);
        for (const Keyword *const before : std::as_const(other->described)) {
            if (before->declaration->reader != found->get())
                continue;
            const TopicKeyword &keyword = before->declaration->keyword;
            Topic *const topic = before->topic ? topicOf(before->topic->name) : nullptr;
            if (topic || !before->topic)
                declareKeyword(topic, keyword, {}, reader.get());
        }
    }
}

void TopicMapping::Private::takeOverTopic(const Topic &before)
{
    Topic *const topic = topicOf(before.name);
    if (!topic)
        return;
    if (topic->keepsState || !topic->availabilities.empty())
        topic->state = before.state;
    for (const KeywordPointer &keyword : topic->declared) {
        const TopicKeyword &settings = keyword->declaration->keyword;
        const auto same =
            std::find_if(before.declared.begin(), before.declared.end(), [&](const auto &other) {
                return other->declaration->keyword.member == settings.member;
            });
        if (same != before.declared.end()) {
            continueKeyword(keyword.get(), **same);
        } else if (settings.member.isEmpty() && before.own) {
            continueKeyword(keyword.get(), *before.own);
        } else if (const auto pointer = JsonPointer::fromText(settings.member)) {
            const Node *node = &before.root;
            for (const QString &name : pointer->names()) {
                const auto inner =
                    std::find_if(node->children.begin(), node->children.end(),
                                 [&name](const Node &one) { return one.name == name; });
                node = inner != node->children.end() ? &*inner : nullptr;
                if (!node)
                    break;
            }
            if (node && node->keyword)
                continueKeyword(keyword.get(), *node->keyword);
        }
    }
    takeOverArrays(topic, before);
    if (!topic->isServed || !topic->declared.empty())
        return;
    if (before.own) {
        topic->own = std::make_unique<Keyword>();
        topic->own->path = topic->path;
        topic->own->topic = topic;
        topic->own->availability = topic->availability;
        if (topic->availability)
            topic->availability->keywords.insert(topic->own.get());
        continueKeyword(topic->own.get(), *before.own);
    }
    takeOverMembers(topic, &topic->root, before.root, topic->path, topic->availability, nullptr);
}

void TopicMapping::Private::takeOverArrays(Topic *topic, const Topic &before)
{
    for (Array &array : topic->arrays) {
        for (const Array &other : before.arrays) {
            if (other.declaration->keyword == array.declaration->keyword) {
                takeOverMembers(topic, &array.root, other.root, array.path, array.availability,
                                array.declaration);
            }
        }
    }
}

void TopicMapping::Private::takeOverMembers(Topic *topic, Node *node, const Node &before,
                                            const QString &path, Availability *availability,
                                            const std::shared_ptr<const Declaration> &declaration)
{
    for (const Node &inner : before.children) {
        Node *const made = child(topic, node, inner.name);
        if (!made)
            return;
        const QString innerPath = path + QLatin1Char('/') + keywordLevel(inner.name);
        if (inner.keyword) {
            continueKeyword(memberKeyword(topic, made, innerPath, availability, declaration),
                            *inner.keyword);
        }
        takeOverMembers(topic, made, inner, innerPath, availability, declaration);
    }
}

// The known availability is kept.
void TopicMapping::Private::takeOverAvailabilities(const Private &other)
{
    for (const auto &[key, availability] : availabilities) {
        const auto found = other.availabilities.find(key);
        if (found != other.availabilities.end()) {
            const Availability *const before = found->second.get();
            availability->states = before->states;
            availability->status = before->status;
            availability->latest = before->latest;
            availability->isAvailable = before->isAvailable;
            continue;
        }
        for (int i = 0; i < int(availability->settings.entries.size()); ++i) {
            const QByteArray name = availability->settings.entries.at(i).topic.toUtf8();
            const Topic *const topic = topics.value(name);
            if (topic && !topic->state.isEmpty())
                takeState(availability.get(), i, topic->state);
        }
    }
}

// Keeps the type and the value of a keyword if payloads have the same meaning as before.
void TopicMapping::Private::continueKeyword(Keyword *keyword, const Keyword &before)
{
    static const TopicKeyword none;
    const auto settingsOf = [](const Keyword &one) -> const TopicKeyword & {
        return one.declaration ? one.declaration->keyword : none;
    };
    const auto meaning = [](const TopicKeyword &settings) {
        return std::tie(settings.values, settings.scale, settings.unknownPayloads,
                        settings.emptyText);
    };
    const TopicKeyword &settings = settingsOf(*keyword);
    const TopicKeyword &old = settingsOf(before);
    if (keyword->type == ValueType::None)
        keyword->type = before.type;
    if (keyword->type != before.type || meaning(settings) != meaning(old))
        return;
    keyword->isContinued = before.isReported;
    keyword->isMisfit = before.isMisfit;
    keyword->isGone = before.isGone;
    keyword->isExpired = before.isExpired;
    keyword->time = settings.timeMember == old.timeMember ? before.time : 0;
    keyword->expires = before.expires;
    if (keyword->expires > 0)
        expiring.insert({keyword->expires, keyword});
    if (settings.errorTopic == old.errorTopic)
        keyword->hasErrorTopic = before.hasErrorTopic;
    if (settings.targetTopic == old.targetTopic) {
        keyword->hasTarget = before.hasTarget;
        keyword->target = before.target;
        keyword->value = before.value;
    }
    if (before.isReported)
        claim(keyword);
    else if (keyword->isReported && keyword->isGone)
        release(keyword);
}

// Reports the removed keywords, and the current state of the others.
void TopicMapping::Private::reportDifference(const Private &other)
{
    QSet<QString> metas;
    for (const Keyword *const keyword : std::as_const(paths)) {
        const QList<Meta> ofKeyword = metaOf(*keyword);
        for (const Meta &meta : ofKeyword)
            metas.insert(meta.keyword.path);
    }
    reports = {};
    for (const Keyword *const before : other.paths) {
        const Keyword *const keyword = paths.value(before->path);
        if (!keyword || !keyword->isContinued)
            reports.remove(before->path);
        const QList<Meta> ofKeyword = other.metaOf(*before);
        for (const Meta &meta : ofKeyword) {
            if (!metas.contains(meta.keyword.path))
                reports.remove(meta.keyword.path);
        }
    }
    for (Keyword *const keyword : std::as_const(paths)) {
        declareNow(keyword, false);
        reports.report(flags(*keyword));
    }
}

TopicMapping::TopicMapping(const MappingOptions &options)
    : d(std::make_unique<Private>(options)) { }

TopicMapping::~TopicMapping() = default;

void TopicMapping::takeOver(TopicMapping &other)
{
    d->takeOverReaders(other.d.get());
    for (const auto &before : other.d->ownedTopics)
        d->takeOverTopic(*before);
    for (const auto &command : d->commands) {
        if (const Private::Keyword *const before = other.d->paths.value(command->path))
            d->continueKeyword(command.get(), *before);
    }
    d->takeOverAvailabilities(*other.d);
    for (const auto &topic : d->ownedTopics) {
        if (d->isUnused(*topic))
            d->dropLater(topic.get());
    }
    d->dropUnused(d->arrival + TopicSync::laggingTime); // what copies were known is not taken over
    d->reportDifference(*other.d);
    d->counts = other.d->counts;
}

QByteArrayList TopicMapping::filters() const
{
    QByteArrayList result;
    for (const QString &filter : std::as_const(d->filterOrder))
        result.append(filter.toUtf8());
    return result;
}

QByteArrayList TopicMapping::takeNewFilters()
{
    return std::exchange(d->newFilters, {});
}

QByteArrayList TopicMapping::takeOldFilters()
{
    return std::exchange(d->oldFilters, {});
}

void TopicMapping::beginConnection()
{
    ++d->connection;
    d->doubtful.clear();
}

bool TopicMapping::hasDoubts() const
{
    return !d->doubtful.isEmpty();
}

bool TopicMapping::take(const TopicMessage &message, qint64 now)
{
    Private::Topic *const topic = d->topicOf(message.topic);
    if (!topic)
        return false;
    const bool isFirst = std::exchange(topic->connection, d->connection) != d->connection;
    d->messageTime = 0;
    d->arrival = message.arrival;
    if (d->options.isResynced && !d->isNews(topic, message, isFirst))
        return false;
    constexpr qsizetype longestState = 1024; // longer payloads are descriptions
    const bool isState = (topic->keepsState || !topic->availabilities.empty())
        && message.payload.size() <= longestState;
    if (isState || !topic->state.isEmpty())
        topic->state = isState ? message.payload.toByteArray() : QByteArray();
    if (topic->isDescription)
        d->takeDescription(topic, message.payload);
    if (!topic->availabilities.empty())
        d->takeAvailability(topic, message.payload);
    if (!topic->errorOf.empty())
        d->takeErrors(topic, message.payload);
    if (!topic->targetOf.empty())
        d->takeTargets(topic, message.payload);
    d->takeValues(topic, message, now);
    if (message.payload.isEmpty())
        d->dropLater(topic);
    d->dropUnused(message.arrival);
    return isFirst && message.isRetained;
}

qint64 TopicMapping::expire(qint64 now)
{
    while (!d->expiring.empty() && d->expiring.begin()->first <= now) {
        Private::Keyword *const keyword = d->expiring.begin()->second;
        d->expiring.erase(d->expiring.begin());
        keyword->expires = 0;
        keyword->isExpired = true;
        d->reportFlags(keyword);
    }
    return d->expiring.empty() ? 0 : d->expiring.begin()->first;
}

std::optional<TopicCommand> TopicMapping::command(const SourceWrite &write, QString *reason) const
{
    const Private::Keyword *const keyword = d->paths.value(write.path);
    if (!keyword || !keyword->declaration || keyword->declaration->keyword.writeTopic.isEmpty()) {
        *reason = QStringLiteral("there is no topic for writes");
        return std::nullopt;
    }
    const TopicKeyword &settings = keyword->declaration->keyword;
    const PayloadRules &rules = keyword->declaration->rules;
    if (keyword->type == ValueType::String) {
        const QString text = write.value.toString();
        const bool isTooLong = settings.maximumLength >= 0 && text.size() > settings.maximumLength;
        if (text.size() < settings.minimumLength || isTooLong) {
            *reason = QStringLiteral("the text is too %1")
                          .arg(isTooLong ? QStringLiteral("long") : QStringLiteral("short"));
            return std::nullopt;
        }
        if (!settings.pattern.isEmpty()
            && !QRegularExpression(QRegularExpression::anchoredPattern(settings.pattern))
                    .match(text)
                    .hasMatch()) {
            *reason = QStringLiteral("the text does not match %1").arg(settings.pattern);
            return std::nullopt;
        }
    }
    const std::optional<QByteArray> payload = settings.writesChange && write.change.isValid()
        ? rules.changePayload(write.change.toDouble(), keyword->type)
        : rules.payload(write.value, keyword->type);
    if (!payload) {
        *reason = QStringLiteral("no payload represents the value");
        return std::nullopt;
    }
    return TopicCommand {settings.writeTopic.toUtf8(), *payload, settings.writeQos,
                         settings.confirmWithin};
}

ReportList TopicMapping::takeReports()
{
    return std::exchange(d->reports, {});
}

bool TopicMapping::hasReports() const
{
    return !d->reports.isEmpty();
}

QStringList TopicMapping::takeMessages()
{
    return std::exchange(d->messages, {});
}

TopicMapping::Statistics TopicMapping::statistics() const
{
    Statistics counts = d->counts;
    for (const auto &reader : d->readers)
        counts.skipped += quint64(reader->convention->skipped());
    return counts;
}

QList<ServedTopic> TopicMapping::served() const
{
    QList<ServedTopic> result;
    const std::function<void(const QString &, const QString &, const Private::Node &)> addMembers =
        [&](const QString &topic, const QString &pointer, const Private::Node &node) {
            for (const Private::Node &inner : node.children) {
                QString name = inner.name;
                name.replace(QLatin1Char('~'), QLatin1String("~0"));
                name.replace(QLatin1Char('/'), QLatin1String("~1"));
                const QString member = pointer + QLatin1Char('/') + name;
                const Private::Keyword *const keyword = inner.keyword.get();
                if (keyword && keyword->isReported)
                    result.append({topic, member, keyword->path, valueTypeWord(keyword->type)});
                addMembers(topic, member, inner);
            }
        };
    for (const auto &topic : d->ownedTopics) {
        const QString name = QString::fromUtf8(topic->name);
        if (topic->own && topic->own->isReported)
            result.append({name, {}, topic->path, valueTypeWord(topic->own->type)});
        addMembers(name, {}, topic->root);
    }
    std::sort(result.begin(), result.end(), [](const ServedTopic &left, const ServedTopic &right) {
        return std::tie(left.topic, left.member) < std::tie(right.topic, right.member);
    });
    return result;
}

} // namespace pellix::gateway
