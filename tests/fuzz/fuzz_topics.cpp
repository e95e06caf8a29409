// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Messages for the mapping of topics. A line is a topic; the next one is its payload, with a
// leading "r" if it is retained, "l" if it is not, and "c" if it is a copy in a resync. The reports
// must be consistent: no keyword is declared twice, is reported or removed without being declared,
// or has a value of another type. A payload that is written for a value must be read as the same
// value.

#include "gateway/mqtt/payload.h"
#include "gateway/mqtt/topicmapping.h"
#include "gateway/mqtt/topicpattern.h"
#include "server/keywordserver.h"
#include "tests/fuzz/fuzz.h"

#include <QtCore/QHash>

using namespace pellix::gateway;
using pellix::server::KeywordServer;

namespace {

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

MappingOptions options(bool isResynced)
{
    MappingOptions result;
    result.isResynced = isResynced;
    result.maximumTopics = 100;
    result.topics = QStringList {q("f/#"), q("g/+/x")};
    result.meta = true;
    result.labelUnit = true;
    TopicKeyword keyword;
    keyword.topic = q("f/{name}/level");
    keyword.label = q("{name}");
    keyword.unit = q("m");
    keyword.minimum = 0.0;
    keyword.errorTopic = q("f/{name}/error");
    keyword.type = q("int");
    keyword.writeTopic = q("+/set");
    result.keywords.append(keyword);
    keyword = {};
    keyword.topic = q("h/#");
    keyword.member = q("/a/0");
    keyword.scale = {0, 10, 0, 100};
    result.keywords.append(keyword);
    keyword = {};
    keyword.topic = q("k/+");
    keyword.arrayKey = q("id");
    keyword.arrayValue = q("v");
    result.keywords.append(keyword);
    TopicAvailability::Entry entry;
    entry.topic = q("f/{1}/status");
    entry.online = QStringList {q("on")};
    entry.offline = QStringList {q("off")};
    result.availability.entries.append(entry);
    for (const QString &name : Convention::names())
        result.conventions.append({name, {}});
    return result;
}

class Checker
{
public:
    void take(ReportList reports)
    {
        while (!reports.isEmpty()) {
            const SourceReport report = reports.takeSlice(7);
            for (const QString &path : report.removed)
                FUZZ_CHECK(types.remove(path) == 1);
            for (const SourceKeyword &keyword : report.declared) {
                FUZZ_CHECK(KeywordServer::types().contains(keyword.type));
                FUZZ_CHECK(KeywordServer::accesses().contains(keyword.access));
                FUZZ_CHECK(KeywordServer::normalizedPath(keyword.path) == keyword.path);
                types.insert(keyword.path, keyword.type);
            }
            for (const SourceValue &value : report.values) {
                FUZZ_CHECK(types.contains(value.path));
                if (value.value && value.value->isValid())
                    checkWrite(*value.value, types.value(value.path));
            }
        }
    }

private:
    static void checkWrite(const QVariant &value, const QString &type)
    {
        FUZZ_CHECK(KeywordServer::fits(value, type));
        const PayloadRules rules;
        const ValueType valueKind = valueType(type);
        const auto payload = rules.payload(value, valueKind);
        FUZZ_CHECK(payload);
        if (valueKind != ValueType::Double && valueKind != ValueType::Bool)
            return; // a string may look like another type
        QVariant read;
        FUZZ_CHECK(rules.value(Payload::read(*payload), valueKind, &read)
                   == PayloadRules::Result::Value);
        FUZZ_CHECK(read == value);
    }

    QHash<QString, QString> types;
};

} // namespace

void runInput(const QByteArray &input)
{
    const bool isResynced = input.contains("\nc");
    TopicMapping mapping(options(isResynced));
    Checker checker;
    checker.take(mapping.takeReports());
    Lines lines(input);
    qint64 now = 0;
    while (!lines.atEnd()) {
        const QByteArray topic = lines.bytes();
        const QByteArray payload = lines.bytes();
        // libmosquitto rejects these topics
        if (topic.isEmpty() || !QByteArrayView(topic).isValidUtf8() || topic.contains('\0'))
            continue;
        const bool isRetained = payload.startsWith('r');
        TopicMessage message {topic, QByteArrayView(payload).sliced(payload.isEmpty() ? 0 : 1),
                              isRetained, payload.startsWith('r') || payload.startsWith('l'),
                              payload.startsWith('e') ? 1 : -1};
        message.isCopy = payload.startsWith('c');
        message.isRetained = isRetained || message.isCopy;
        message.arrival = ++now * 500;
        message.notBefore = message.isCopy ? now : 0;
        mapping.take(message, now * 500);
        mapping.expire(now * 500);
        checker.take(mapping.takeReports());
        mapping.takeMessages();
    }
    mapping.takeNewFilters();
    // Another mapping takes over the state.
    TopicMapping next(options(isResynced));
    next.takeOver(mapping);
    checker.take(next.takeReports());
    TopicPattern::fromText(QString::fromUtf8(input));
}
