// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Messages of a server, one per line, for a client with bound proxies. The effects of each are
// compared with the results of Qt's own JSON classes.

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <array>
#include <memory>

using namespace pellix::client;

namespace {

struct Bound
{
    explicit Bound(PKeywordClient *client, const QString &keyword) : keyword(keyword)
    {
        proxy.setClient(client);
        proxy.setKeyword(keyword, false);
        QObject::connect(&proxy, &PKeywordProxy::valueChanged, &proxy, [this] { ++changes; });
    }

    // The effect of the last message's record on the proxy.
    void expect(const PKeywordValue &record)
    {
        if (record.value != expected.value) {
            expected.value = record.value;
            ++expectedChanges;
        }
        expected.type = record.type;
        expected.connected = record.connected;
        expected.online = record.online;
        expected.consistent = record.consistent;
        expected.error = record.error;
    }

    void check() const
    {
        FUZZ_CHECK(proxy.value() == expected.value);
        FUZZ_CHECK(proxy.value().metaType() == expected.value.metaType());
        FUZZ_CHECK(proxy.valueType() == expected.type);
        FUZZ_CHECK(proxy.connected() == expected.connected);
        FUZZ_CHECK(proxy.online() == expected.online);
        FUZZ_CHECK(proxy.consistent() == expected.consistent);
        FUZZ_CHECK(proxy.error() == expected.error);
        FUZZ_CHECK(changes == expectedChanges);
        FUZZ_CHECK(proxy.valueValid().toBool() == (expectedChanges > 0));
    }

    const QString keyword;
    PKeywordProxy proxy;
    PKeywordValue expected {{}, PKeywordValueType::KVT_NOPROP, false, false, true, false};
    int changes = 0;
    int expectedChanges = 0;
};

PKeywordValueType typeOf(const QString &word)
{
    static const QStringList words {QString(),
                                    QStringLiteral("object"),
                                    QStringLiteral("bool"),
                                    QStringLiteral("string"),
                                    QStringLiteral("double"),
                                    QStringLiteral("int")};
    return PKeywordValueType(qMax(qsizetype(0), words.indexOf(word)));
}

PKeywordValue recordOf(const QJsonObject &payload)
{
    const auto flag = [&payload](const char *name) {
        return payload.value(QLatin1String(name)).toBool(false);
    };
    return {payload.value(QLatin1String("value")).toVariant(),
            typeOf(payload.value(QLatin1String("type")).toString()),
            flag("connected"),
            flag("online"),
            flag("consistent"),
            flag("error")};
}

} // namespace

void runInput(const QByteArray &input)
{
    RecordingClient client;
    QJsonObject answered;
    QUuid answeredId;
    QObject::connect(&client, &PKeywordClient::keyIndexResponse, &client,
                     [&](const QUuid &id, const QVariant &data) {
                         answeredId = id;
                         answered = data.toJsonObject();
                     });

    std::array<Bound, 4> bound {
        Bound(&client, QStringLiteral("/a")), Bound(&client, QStringLiteral("/a#b")),
        Bound(&client, QStringLiteral("a")), Bound(&client, QString::fromUtf8("/\xc3\xa4"))};
    PListPostfixKeywordExpression expression(nullptr);
    expression.setValues({QStringLiteral("/a")});
    PKeywordProxy byExpression;
    byExpression.setKeywordExpression(&expression);
    byExpression.setClient(&client);
    PKeywordProxy labels;
    labels.setClient(&client);
    labels.getKeywordLabel(QStringLiteral("/x/a/b"));

    for (const QByteArray &message : input.split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(message).object();
        const QJsonObject payload = object.value(QLatin1String("payload")).toObject();
        const bool complete =
            object.contains(QLatin1String("cmd")) && object.contains(QLatin1String("payload"));
        const QString command = object.value(QLatin1String("cmd")).toString();
        const bool isEvent = complete && command == QLatin1String("keyEvent");
        const QUuid id(payload.value(QLatin1String("request"))
                           .toObject()
                           .value(QLatin1String("uuid"))
                           .toString());
        const bool isAnswer = complete && command == QLatin1String("keyIndex") && !id.isNull();

        answered = {};
        answeredId = {};
        FUZZ_CHECK(client.receiveCommand(message) == (isEvent || isAnswer));
        FUZZ_CHECK(answeredId == (isAnswer ? id : QUuid()));
        FUZZ_CHECK(answered == (isAnswer ? object : QJsonObject()));

        const QString keyword = payload.value(QLatin1String("keyword")).toString();
        for (Bound &one : bound) {
            if (isEvent && one.keyword == keyword)
                one.expect(recordOf(payload));
            one.check();
        }
        FUZZ_CHECK(byExpression.value() == bound.front().proxy.value());
    }

    // When all levels have replied, the label path is complete.
    for (const char *keyword : {"/x/a/Label", "/x/a/b/Label"})
        client.event(QString::fromLatin1(keyword), QStringLiteral("\"fresh\""));
    FUZZ_CHECK(labels.valueLabelValid().toBool());
    FUZZ_CHECK(labels.value().toString().endsWith(QLatin1String("fresh")));

    for (const QString &command : std::as_const(client.sent))
        FUZZ_CHECK(QJsonDocument::fromJson(command.toUtf8()).object().size() == 2);
}
