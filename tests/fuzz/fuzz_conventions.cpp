// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Descriptions of devices. The first line names a convention; each other line is a topic, a tab,
// and a payload. The reports must be consistent, and the result must not depend on the order.

#include "gateway/mqtt/keywordpath.h"
#include "server/keywordserver.h"
#include "tests/fuzz/fuzz.h"
#include "tests/gateway/mqtt/conventions/conventiontext.h"

#include <QtCore/QHash>

using namespace pellix::gateway;
using conventiontext::Taken;

namespace {

// A retained message. A broker keeps the last one of each topic.
struct Message
{
    QString topic;
    QByteArray payload;
};

void check(const TopicKeyword &keyword)
{
    using pellix::server::KeywordServer;
    FUZZ_CHECK(KeywordServer::normalizedPath(keyword.path) == keyword.path);
    FUZZ_CHECK(KeywordServer::types().contains(keyword.type));
    FUZZ_CHECK(KeywordServer::accesses().contains(keyword.access));
    FUZZ_CHECK(!keyword.origin.isEmpty());
    FUZZ_CHECK(!keyword.topic.isEmpty() || !keyword.writeTopic.isEmpty());
    FUZZ_CHECK(keyword.topic.isEmpty() || isTopicName(keyword.topic));
    FUZZ_CHECK(keyword.writeTopic.isEmpty() || isTopicName(keyword.writeTopic));
    FUZZ_CHECK(keyword.writeTopic.isEmpty() == !keyword.access.endsWith(QLatin1Char('W')));
    FUZZ_CHECK(keyword.writePayload.isEmpty() || keyword.writePayload.count("$value") == 1);
    for (const auto &entry : keyword.availability.entries)
        FUZZ_CHECK(isTopicName(entry.topic));
}

Taken takeAll(Convention *convention, const QList<Message> &messages)
{
    Taken taken;
    for (const Message &message : messages) {
        const ConventionChange change = convention->take(message.topic, message.payload);
        taken.take(change);
        FUZZ_CHECK(taken.isGood);
        for (const TopicKeyword &keyword : change.declared)
            check(keyword);
        for (const QString &text : change.messages)
            FUZZ_CHECK(text.size() < 4000);
        FUZZ_CHECK(convention->skipped() >= 0);
    }
    return taken;
}

} // namespace

void runInput(const QByteArray &input)
{
    Lines lines(input);
    const QString name = lines.text();
    ConventionOptions options;
    options.alertsAreErrors = name.endsWith(QLatin1Char('!'));
    const QString plainName = options.alertsAreErrors ? name.chopped(1) : name;
    const auto convention = Convention::create(plainName, options);
    FUZZ_CHECK((convention != nullptr) == Convention::names().contains(plainName));
    if (!convention)
        return;

    QList<Message> messages;
    QHash<QString, QByteArray> kept;
    while (!lines.atEnd()) {
        const QByteArray line = lines.bytes();
        const auto tab = line.indexOf('\t');
        messages.append(
            {QString::fromUtf8(line.left(tab)), tab < 0 ? QByteArray() : line.mid(tab + 1)});
        kept.insert(messages.constLast().topic, messages.constLast().payload);
    }
    const Taken taken = takeAll(convention.get(), messages);

    // These depend on earlier messages.
    const bool dependsOnOrder = plainName == QLatin1String("zigbee2mqtt") || input.contains("igrat")
        || input.contains("migr_") || input.contains("$state");
    if (!dependsOnOrder) {
        QStringList topics = kept.keys();
        topics.sort();
        QList<Message> sorted;
        for (const QString &topic : std::as_const(topics))
            sorted.append({topic, kept.value(topic)});
        const auto other = Convention::create(plainName, options);
        const Taken again = takeAll(other.get(), sorted);
        FUZZ_CHECK(again.keywords == taken.keywords);
        FUZZ_CHECK(again.filters == taken.filters);
        FUZZ_CHECK(other->skipped() == convention->skipped());
    }

    // All descriptions can be removed.
    Taken rest = taken;
    const QStringList topics = kept.keys();
    for (const QString &topic : topics) {
        rest.take(convention->take(topic, QByteArray()));
        FUZZ_CHECK(rest.isGood);
    }
    FUZZ_CHECK(rest.keywords.isEmpty());
    FUZZ_CHECK(rest.filters.isEmpty());
    FUZZ_CHECK(convention->skipped() == 0);
}
