// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/keywordclient.h"
#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"
#include "tests/support/metaobject.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <cmath>
#include <limits>

using namespace pellix::client;

Q_DECLARE_METATYPE(pellix::client::PKeywordValueType)

namespace {

constexpr auto noType = PKeywordValueType::KVT_NOPROP;
constexpr auto noAccess = PKeywordValueAccess::KVA_NONE;

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QJsonObject payloadOf(const QString &command)
{
    return QJsonDocument::fromJson(command.toUtf8())
        .object()
        .value(QLatin1String("payload"))
        .toObject();
}

} // namespace

class tst_KeywordClient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void metaObject_keepsItsOrder();
    void construction_ownsAnInactivePublisher();
    void baseClass_cannotSend();
    void sendKeyCreate_buildsTheCommand_data();
    void sendKeyCreate_buildsTheCommand();
    void sendKeyCreate_hasThreeForms();
    void sendKeyUpdate_buildsTheCommand_data();
    void sendKeyUpdate_buildsTheCommand();
    void sendKeyUpdate_leavesAnUndefinedValueOut();
    void sendKeyDestroy_buildsTheCommand();
    void commands_areWrittenAsADocumentIs();
    void emptyKeyword_isRefused();
    void refusingTransport_isReported();
    void sendKeyIndex_buildsTheCommand_data();
    void sendKeyIndex_buildsTheCommand();
    void sendKeyIndex_sendsItsFilters_data();
    void sendKeyIndex_sendsItsFilters();
    void sendKeyIndex_sortsItsKeys();
    void topicRemoved_destroysTheKeyword();
    void keyEvent_isPublished();
    void keyEvent_readsEachFieldByItself_data();
    void keyEvent_readsEachFieldByItself();
    void keyEvent_mapsTypes_data();
    void keyEvent_mapsTypes();
    void keyEvent_convertsValues_data();
    void keyEvent_convertsValues();
    void keyEvent_isReadAsADocumentIs_data();
    void keyEvent_isReadAsADocumentIs();
    void keyEvent_topicIsTakenAsReceived();
    void message_isRejected_data();
    void message_isRejected();
    void keyIndex_isSignalled_data();
    void keyIndex_isSignalled();
    void logging_isSilentByDefault();
    void logging_showsReceivedBytesWhenEnabled();
    void destruction_detachesSubscribersAndSendsNothing();
    void handlers_mayDeleteTheClient_data();
    void handlers_mayDeleteTheClient();
};

void tst_KeywordClient::metaObject_keepsItsOrder()
{
    const QMetaObject &meta = PKeywordClient::staticMetaObject;
    QCOMPARE(meta.className(), "pellix::client::PKeywordClient");
    QCOMPARE(ownProperties(meta), QStringList());
    QCOMPARE(ownMethods(meta),
             QStringList({
                 q("signal keyIndexResponse(QUuid,QVariant)"),
                 q("method sendKeyCreate(QString,QStringList,PKeywordAggregation)"),
                 q("method sendKeyCreate(QString,QStringList)"),
                 q("method sendKeyCreate(QString)"),
                 q("method sendKeyUpdate(QString,QVariant)"),
                 q("method sendKeyUpdateRelative(QString,QVariant)"),
                 q("method sendKeyDestroy(QString)"),
                 q("method sendKeyIndex(QString,PKeywordValueType,PKeywordValueAccess)"),
             }));
}

void tst_KeywordClient::construction_ownsAnInactivePublisher()
{
    QObject parent;
    auto *client = new PKeywordClient(&parent);
    QCOMPARE(client->parent(), &parent);
    QPointer<PPublisher> publisher = client->publisher();
    QVERIFY(publisher);
    QVERIFY(!publisher->parent());
    QVERIFY(!publisher->active());
    delete client;
    QVERIFY(!publisher);
}

void tst_KeywordClient::baseClass_cannotSend()
{
    PKeywordClient client;
    QVERIFY(!client.sendKeyCreate(q("/a")));
    QVERIFY(!client.sendKeyUpdate(q("/a"), 1));
    QVERIFY(!client.sendKeyUpdateRelative(q("/a"), 1));
    QVERIFY(!client.sendKeyDestroy(q("/a")));
    QVERIFY(client.sendKeyIndex(q("/a"), noType, noAccess).isNull());
}

void tst_KeywordClient::sendKeyCreate_buildsTheCommand_data()
{
    QTest::addColumn<QStringList>("children");
    QTest::addColumn<int>("aggregation");
    QTest::addColumn<QString>("payload");
    const QStringList one {q("x")};
    const QStringList two {q("/x/1"), q("/w")};
    QTest::newRow("alone") << QStringList() << 0 << q(R"("keyword":"a/b")");
    QTest::newRow("children, none")
        << one << 0 << q(R"("aggregation":"eql","children":["x"],"keyword":"a/b")");
    QTest::newRow("children keep their order")
        << two << 0 << q(R"("aggregation":"eql","children":["/x/1","/w"],"keyword":"a/b")");
    const QList<const char *> words {"min", "max", "eql", "sum", "bool_and", "bool_or"};
    for (int i = 0; i < words.size(); ++i) {
        QTest::addRow("children, %s", words.at(i))
            << one << i + 1
            << q(R"("aggregation":"%1","children":["x"],"keyword":"a/b")").arg(q(words.at(i)));
        QTest::addRow("no children, %s", words.at(i))
            << QStringList() << i + 1
            << q(R"("aggregation":"%1","keyword":"a/b")").arg(q(words.at(i)));
    }
    QTest::newRow("above the range")
        << QStringList() << 7 << q(R"("aggregation":"","keyword":"a/b")");
    QTest::newRow("below the range")
        << one << -1 << q(R"("aggregation":"","children":["x"],"keyword":"a/b")");
}

void tst_KeywordClient::sendKeyCreate_buildsTheCommand()
{
    QFETCH(QStringList, children);
    QFETCH(int, aggregation);
    QFETCH(QString, payload);
    RecordingClient client;

    QVERIFY(client.sendKeyCreate(q("a/b"), children, PKeywordAggregation(aggregation)));

    QCOMPARE(client.taken(), q(R"({"cmd":"keyCreateOrUpdate","payload":{%1}})").arg(payload));
}

void tst_KeywordClient::sendKeyCreate_hasThreeForms()
{
    RecordingClient client;
    bool sent = false;
    QVERIFY(QMetaObject::invokeMethod(&client, "sendKeyCreate", Q_RETURN_ARG(bool, sent),
                                      Q_ARG(QString, q("/a"))));
    QVERIFY(sent);
    QVERIFY(QMetaObject::invokeMethod(&client, "sendKeyCreate", Q_RETURN_ARG(bool, sent),
                                      Q_ARG(QString, q("/a")), Q_ARG(QStringList, {q("/b")})));
    QVERIFY(QMetaObject::invokeMethod(&client, "sendKeyCreate", Q_RETURN_ARG(bool, sent),
                                      Q_ARG(QString, q("/a")), Q_ARG(QStringList, {q("/b")}),
                                      Q_ARG(PKeywordAggregation, PKeywordAggregation::Sum)));
    QCOMPARE(client.sent.size(), 3);
    QVERIFY(client.sent.at(1).contains(q("\"eql\"")));
    QVERIFY(client.sent.at(2).contains(q("\"sum\"")));
}

void tst_KeywordClient::sendKeyUpdate_buildsTheCommand_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("json");
    QTest::newRow("invalid") << QVariant() << q("null");
    QTest::newRow("null pointer") << QVariant::fromValue(nullptr) << q("null");
    QTest::newRow("true") << QVariant(true) << q("true");
    QTest::newRow("int") << QVariant(-7) << q("-7");
    QTest::newRow("large integer")
        << QVariant(Q_INT64_C(9007199254740993)) << q("9007199254740993");
    QTest::newRow("double") << QVariant(1.25) << q("1.25");
    QTest::newRow("whole double") << QVariant(2.0) << q("2");
    QTest::newRow("text") << QVariant(q("a\"b\n\u00e4")) << q("\"a\\\"b\\n\u00e4\"");
    QTest::newRow("empty text") << QVariant(QString()) << q("\"\"");
    QTest::newRow("string list") << QVariant(QStringList({q("b"), q("a")})) << q(R"(["b","a"])");
    QTest::newRow("list") << QVariant(QVariantList({1, true, QVariant()})) << q("[1,true,null]");
    QTest::newRow("map") << QVariant(QVariantMap({{q("b"), 1}, {q("a"), 2}}))
                         << q(R"({"a":2,"b":1})");
    QTest::newRow("hash") << QVariant(QVariantHash({{q("b"), 1}, {q("a"), 2}}))
                          << q(R"({"a":2,"b":1})");
    QTest::newRow("JSON array") << QVariant(QJsonArray({1, 2})) << q("[1,2]");
    QTest::newRow("JSON object") << QVariant(QJsonObject({{q("a"), 1}})) << q(R"({"a":1})");
    QTest::newRow("not a number") << QVariant(qQNaN()) << q("null");
}

void tst_KeywordClient::sendKeyUpdate_buildsTheCommand()
{
    QFETCH(QVariant, value);
    QFETCH(QString, json);
    RecordingClient client;

    QVERIFY(client.sendKeyUpdate(q("/a#b"), value));
    QCOMPARE(client.taken(),
             q(R"({"cmd":"keyUpdate","payload":{"keyword":"/a#b","value":%1}})").arg(json));
    QVERIFY(client.sendKeyUpdateRelative(q("/a#b"), value));
    QCOMPARE(client.taken(),
             q(R"({"cmd":"keyUpdate","payload":{"keyword":"/a#b","value":%1,)"
               R"("valueChangeMode":"relative"}})")
                 .arg(json));
}

void tst_KeywordClient::sendKeyUpdate_leavesAnUndefinedValueOut()
{
    RecordingClient client;
    const QVariant undefined = QVariant::fromValue(QJsonValue(QJsonValue::Undefined));

    QVERIFY(client.sendKeyUpdate(q("/a"), undefined));
    QCOMPARE(client.taken(), q(R"({"cmd":"keyUpdate","payload":{"keyword":"/a"}})"));
    QVERIFY(client.sendKeyUpdateRelative(q("/a"), undefined));
    QCOMPARE(client.taken(),
             q(R"({"cmd":"keyUpdate","payload":{"keyword":"/a","valueChangeMode":"relative"}})"));
}

void tst_KeywordClient::sendKeyDestroy_buildsTheCommand()
{
    RecordingClient client;
    QVERIFY(client.sendKeyDestroy(q("/a/b")));
    QCOMPARE(client.taken(), q(R"({"cmd":"keyDestroy","payload":{"keyword":"/a/b"}})"));
}

void tst_KeywordClient::commands_areWrittenAsADocumentIs()
{
    // All of the first characters, characters that JSON escapes, and invalid text.
    QStringList keywords;
    for (char16_t code = 0; code < 0x180; ++code)
        keywords << q("/a") + QChar(code) + q("b");
    keywords << q("\"") << q("\\") << q("/\xC3\xA4/\xF0\x9F\x94\xA5") << QString(QChar(0xd83d))
             << QString(QChar(0xde00)) + QChar(0xd83d) << QString(QChar(0xffff))
             << QString(5000, QChar(u'x'));
    const auto document = [](const QString &command, const QJsonObject &payload) {
        return QString::fromUtf8(
            QJsonDocument(QJsonObject {{q("cmd"), command}, {q("payload"), payload}})
                .toJson(QJsonDocument::Compact));
    };

    RecordingClient client;
    for (const QString &keyword : std::as_const(keywords)) {
        const QJsonArray children {keyword, q("plain")};
        client.sendKeyCreate(keyword, {keyword, q("plain")}, PKeywordAggregation::Sum);
        QCOMPARE(client.taken(),
                 document(q("keyCreateOrUpdate"),
                          {{q("keyword"), keyword},
                           {q("children"), children},
                           {q("aggregation"), q("sum")}}));
        client.sendKeyUpdateRelative(keyword, keyword);
        QCOMPARE(client.taken(),
                 document(q("keyUpdate"),
                          {{q("keyword"), keyword},
                           {q("value"), keyword},
                           {q("valueChangeMode"), q("relative")}}));
        client.sendKeyDestroy(keyword);
        QCOMPARE(client.taken(), document(q("keyDestroy"), {{q("keyword"), keyword}}));
    }
    const QVariantList values {true,
                               -0.0,
                               1e300,
                               std::numeric_limits<double>::quiet_NaN(),
                               Q_INT64_C(9007199254740993),
                               QVariant(),
                               QVariantMap {{q("b"), 1}, {q("a"), QVariantList {1, q("]")}}}};
    for (const QVariant &value : values) {
        client.sendKeyUpdate(q("/a"), value);
        QCOMPARE(client.taken(),
                 document(q("keyUpdate"),
                          {{q("keyword"), q("/a")}, {q("value"), QJsonValue::fromVariant(value)}}));
    }
}

void tst_KeywordClient::emptyKeyword_isRefused()
{
    RecordingClient client;
    QVERIFY(!client.sendKeyCreate(QString()));
    QVERIFY(!client.sendKeyCreate(QString(), {q("/a")}, PKeywordAggregation::Or));
    QVERIFY(!client.sendKeyUpdate(QString(), 1));
    QVERIFY(!client.sendKeyUpdateRelative(QString(), 1));
    QVERIFY(!client.sendKeyDestroy(QString()));
    QCOMPARE(client.taken(), QString());
}

void tst_KeywordClient::refusingTransport_isReported()
{
    RecordingClient client;
    client.accepts = false;
    QVERIFY(!client.sendKeyCreate(q("/a")));
    QVERIFY(!client.sendKeyUpdate(q("/a"), 1));
    QVERIFY(!client.sendKeyUpdateRelative(q("/a"), 1));
    QVERIFY(!client.sendKeyDestroy(q("/a")));
    QVERIFY(client.sendKeyIndex(q("/a"), noType, noAccess).isNull());
    QCOMPARE(client.sent.size(), 5);
}

void tst_KeywordClient::sendKeyIndex_buildsTheCommand_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<QString>("address");
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("separators alone") << q("//#/") << QString();
    QTest::newRow("one part") << q("dev") << q(R"("factory":"dev",)");
    QTest::newRow("two parts") << q("/dev/1") << q(R"("factory":"dev","instance":"1",)");
    QTest::newRow("three parts") << q("/dev/1/a")
                                 << q(R"("factory":"dev","instance":"1","keyQuery":["a"],)");
    QTest::newRow("five parts, #")
        << q("dev#1/a/b/c") << q(R"("factory":"dev","instance":"1","keyQuery":["a","b","c"],)");
    QTest::newRow("doubled and trailing")
        << q("//dev##1//a/") << q(R"("factory":"dev","instance":"1","keyQuery":["a"],)");
    QTest::newRow("blanks stay") << q(" dev /1") << q(R"("factory":" dev ","instance":"1",)");
}

void tst_KeywordClient::sendKeyIndex_buildsTheCommand()
{
    QFETCH(QString, query);
    QFETCH(QString, address);
    RecordingClient client;

    const QUuid id = client.sendKeyIndex(query, noType, noAccess);

    QVERIFY(!id.isNull());
    QCOMPARE(client.taken(),
             q(R"({"cmd":"keyIndex","payload":{"access":"N",%1"uuid":"%2"}})")
                 .arg(address, id.toString(QUuid::WithBraces)));
    QVERIFY(client.sendKeyIndex(query, noType, noAccess) != id);
}

void tst_KeywordClient::sendKeyIndex_sendsItsFilters_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("access");
    QTest::addColumn<QString>("typeText");
    QTest::addColumn<QString>("accessText");
    const QList<const char *> types {"", "", "bool", "string", "double", "int"};
    for (int i = 0; i < types.size(); ++i)
        QTest::addRow("type %d", i) << i << 0 << q(types.at(i)) << q("N");
    QTest::newRow("type above") << 6 << 0 << QString() << q("N");
    QTest::newRow("type below") << -1 << 0 << QString() << q("N");
    const QList<const char *> accesses {"N", "R", "RM", "W", "RW"};
    for (int i = 0; i < accesses.size(); ++i)
        QTest::addRow("access %d", i) << 0 << i << QString() << q(accesses.at(i));
    QTest::newRow("access above") << 0 << 5 << QString() << QString();
    QTest::newRow("access below") << 0 << -1 << QString() << QString();
}

void tst_KeywordClient::sendKeyIndex_sendsItsFilters()
{
    QFETCH(int, type);
    QFETCH(int, access);
    QFETCH(QString, typeText);
    QFETCH(QString, accessText);
    RecordingClient client;

    client.sendKeyIndex(q("/a"), PKeywordValueType(type), PKeywordValueAccess(access));

    const QJsonObject payload = payloadOf(client.taken());
    QCOMPARE(payload.contains(q("type")), !typeText.isEmpty());
    QCOMPARE(payload.value(q("type")).toString(), typeText);
    QCOMPARE(payload.contains(q("access")), !accessText.isEmpty());
    QCOMPARE(payload.value(q("access")).toString(), accessText);
}

void tst_KeywordClient::sendKeyIndex_sortsItsKeys()
{
    RecordingClient client;
    const QUuid id = client.sendKeyIndex(q("dev#1/a/b/c"), PKeywordValueType::KVT_DOUBLE,
                                         PKeywordValueAccess::KVA_READWRITE);
    QCOMPARE(client.taken(),
             q(R"({"cmd":"keyIndex","payload":{"access":"RW","factory":"dev","instance":"1",)"
               R"("keyQuery":["a","b","c"],"type":"double","uuid":"%1"}})")
                 .arg(id.toString()));
}

void tst_KeywordClient::topicRemoved_destroysTheKeyword()
{
    RecordingClient client;
    PSubscriber first, second;
    for (PSubscriber *subscriber : {&first, &second}) {
        subscriber->setPublisher(client.publisher());
        subscriber->setTopic(q("/a"));
    }
    first.setTopic(q("/b"));
    QCOMPARE(client.taken(), QString());
    second.setTopic(QString());
    QCOMPARE(client.taken(), q(R"({"cmd":"keyDestroy","payload":{"keyword":"/a"}})"));
}

void tst_KeywordClient::keyEvent_isPublished()
{
    RecordingClient client;
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    subscriber.setTopic(q("/a"));
    QSignalSpy spy(&subscriber, &PSubscriber::valueChanged);

    QVERIFY(client.receive(q(R"( {"payload":{"keyword":"/a","value":4.5,"type":"double",)"
                             R"("connected":true,"online":true,"consistent":true,"error":true},)"
                             R"("cmd":"keyEvent","more":1} )")));

    QCOMPARE(spy.count(), 1);
    const QVariant published = spy.at(0).at(0).value<QVariant>();
    QCOMPARE(published.metaType(), QMetaType::fromType<PKeywordValue>());
    const auto record = published.value<PKeywordValue>();
    QCOMPARE(record.value, QVariant(4.5));
    QCOMPARE(record.type, PKeywordValueType::KVT_DOUBLE);
    QVERIFY(record.connected && record.online && record.consistent && record.error);
}

void tst_KeywordClient::keyEvent_readsEachFieldByItself_data()
{
    QTest::addColumn<QString>("payload");
    QTest::addColumn<QString>("record");
    const auto row = [](const char *name, const char *payload, const char *record) {
        QTest::newRow(name) << q(payload) << q(record);
    };
    row("nothing else", R"("keyword":"/a")", "QVariant(Invalid)falsefalsefalsefalse");
    row("connected", R"("keyword":"/a","connected":true)", "QVariant(Invalid)truefalsefalsefalse");
    row("online", R"("keyword":"/a","online":true)", "QVariant(Invalid)falsetruefalsefalse");
    row("consistent", R"("keyword":"/a","consistent":true)",
        "QVariant(Invalid)falsefalsetruefalse");
    row("error", R"("keyword":"/a","error":true)", "QVariant(Invalid)falsefalsefalsetrue");
    row("flags mistyped",
        R"("keyword":"/a","connected":1,"online":"true","consistent":[],"error":{})",
        "QVariant(Invalid)falsefalsefalsefalse");
    row("flags null", R"("keyword":"/a","connected":null,"error":null)",
        "QVariant(Invalid)falsefalsefalsefalse");
    row("names are case-sensitive", R"("keyword":"/a","Value":1,"ONLINE":true)",
        "QVariant(Invalid)falsefalsefalsefalse");
}

void tst_KeywordClient::keyEvent_readsEachFieldByItself()
{
    QFETCH(QString, payload);
    QFETCH(QString, record);
    RecordingClient client;
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    subscriber.setTopic(q("/a"));
    QSignalSpy spy(&subscriber, &PSubscriber::valueChanged);

    QVERIFY(client.receive(q(R"({"cmd":"keyEvent","payload":{%1}})").arg(payload)));

    QCOMPARE(spy.count(), 1);
    QString text;
    QDebug(&text).nospace() << spy.at(0).at(0).value<QVariant>().value<PKeywordValue>();
    QCOMPARE(text, q("PKeywordValue(%1)").arg(record));
}

void tst_KeywordClient::keyEvent_mapsTypes_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<int>("type");
    QTest::newRow("object") << q("\"object\"") << 1;
    QTest::newRow("bool") << q("\"bool\"") << 2;
    QTest::newRow("string") << q("\"string\"") << 3;
    QTest::newRow("double") << q("\"double\"") << 4;
    QTest::newRow("int") << q("\"int\"") << 5;
    QTest::newRow("Bool") << q("\"Bool\"") << 0;
    QTest::newRow("unknown") << q("\"float\"") << 0;
    QTest::newRow("empty") << q("\"\"") << 0;
    QTest::newRow("blank behind") << q("\"int \"") << 0;
    QTest::newRow("number") << q("5") << 0;
    QTest::newRow("null") << q("null") << 0;
}

void tst_KeywordClient::keyEvent_mapsTypes()
{
    QFETCH(QString, json);
    QFETCH(int, type);
    RecordingClient client;
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    subscriber.setTopic(q("/a"));
    QSignalSpy spy(&subscriber, &PSubscriber::valueChanged);

    client.receive(q(R"({"cmd":"keyEvent","payload":{"keyword":"/a","type":%1}})").arg(json));

    QCOMPARE(spy.count(), 1);
    QCOMPARE(int(spy.at(0).at(0).value<QVariant>().value<PKeywordValue>().type), type);
}

void tst_KeywordClient::keyEvent_convertsValues_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("whole") << q("7") << QVariant(Q_INT64_C(7));
    QTest::newRow("double") << q("7.5") << QVariant(7.5);
    QTest::newRow("true") << q("true") << QVariant(true);
    QTest::newRow("text") << q("\"\u00e4\"") << QVariant(q("\u00e4"));
    QTest::newRow("empty text") << q("\"\"") << QVariant(q(""));
    QTest::newRow("null") << q("null") << QVariant::fromValue(nullptr);
    QTest::newRow("array") << q("[1,\"a\"]") << QVariant(QVariantList({Q_INT64_C(1), q("a")}));
    QTest::newRow("object") << q("{\"a\":1}") << QVariant(QVariantMap({{q("a"), Q_INT64_C(1)}}));
}

void tst_KeywordClient::keyEvent_convertsValues()
{
    QFETCH(QString, json);
    QFETCH(QVariant, value);
    RecordingClient client;
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    subscriber.setTopic(q("/a"));
    QSignalSpy spy(&subscriber, &PSubscriber::valueChanged);

    client.receive(q(R"({"cmd":"keyEvent","payload":{"keyword":"/a","value":%1}})").arg(json));

    const auto got = spy.at(0).at(0).value<QVariant>().value<PKeywordValue>().value;
    QCOMPARE(got, value);
    QCOMPARE(got.metaType(), value.metaType());
    QVERIFY(got.isValid());
}

void tst_KeywordClient::keyEvent_isReadAsADocumentIs_data()
{
    QTest::addColumn<QByteArray>("message");

    const auto row = [](const QByteArray &message) {
        QTest::newRow(message.left(100).constData()) << message;
    };
    // Values, and texts that resemble values.
    for (const char *value : {"0",
                              "-0",
                              "1",
                              "-1",
                              "7.5",
                              "-7.5",
                              "0.1",
                              "00",
                              "01",
                              "-01",
                              "1.",
                              ".5",
                              "+1",
                              "1.0",
                              "-0.0",
                              "0.0",
                              "5.000",
                              "1e3",
                              "1E3",
                              "1.5e-3",
                              "1e400",
                              "123456789012345",
                              "1234567890123456",
                              "9007199254740993",
                              "9223372036854775807",
                              "9223372036854775808",
                              "0.123456789012345",
                              "0.1234567890123456789",
                              "1234567.1234567",
                              "4.35",
                              "1e",
                              "-",
                              "--1",
                              "1-1",
                              "0x10",
                              "NaN",
                              "Infinity",
                              "true",
                              "false",
                              "null",
                              "True",
                              "tru",
                              "truee",
                              "\"\"",
                              "\"a\"",
                              "\"a b\"",
                              "\"a\\nb\"",
                              "\"\\u00e4\"",
                              "\"\xC3\xA4\"",
                              "\"\xFF\"",
                              "\"\x7F\"",
                              "\"\x01\"",
                              "\"a",
                              "[]",
                              "[1,2]",
                              "{}",
                              "{\"a\":1}",
                              ""}) {
        row(QByteArray(R"({"cmd":"keyEvent","payload":{"keyword":"/a","type":"double","value":)")
            + value + "}}");
    }
    // Different members, in different orders, with whitespace between them.
    for (
        const char *message :
        {R"({"cmd":"keyEvent","payload":{}})",
         R"({"payload":{"keyword":"/a"},"cmd":"keyEvent"})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a"},"more":1})",
         R"({"cmd":"keyEvent","cmd":"other","payload":{"keyword":"/a"}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a"},"payload":{"keyword":"/b"}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","keyword":"/b"}})",
         R"({"cmd":"keyEvent","payload":{"value":1,"value":2,"keyword":"/a"}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","unknown":1,"value":2}})",
         R"({"cmd":"keyEvent","payload":{"keyword":1,"value":2}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"","value":2}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/\u0061","value":2}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","connected":1,"online":"true"}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","connected":true,"online":true,"consistent":true,"error":true}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","connected":false,"online":false,"consistent":false,"error":false}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","type":"Bool","value":true}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","type":"bool","value":true}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","type":"object","value":null}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","type":"int","value":1}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","type":"string","value":"x"}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","type":1,"value":"x"}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","value":1,}})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","value":1}},)",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","value":1}}x)",
         "{\"cmd\":\"keyEvent\",\"payload\":{\"keyword\":\"/a\",\"value\":1}}\n",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a","value":1})",
         R"({"cmd":"keyEvent","payload":{"keyword":"/a" "value":1}})",
         R"({"cmd":"keyEvent","payload":["keyword"]})",
         R"({"cmd":"keyEvent","payload":null})",
         R"({"cmd":"KeyEvent","payload":{"keyword":"/a"}})",
         R"([{"cmd":"keyEvent","payload":{"keyword":"/a"}}])",
         "{\v\"cmd\":\"keyEvent\",\"payload\":{\"keyword\":\"/a\"}}"})
        row(message);
    row(" \t{ \"cmd\" :\r\n\"keyEvent\" , \"payload\" : { \"keyword\" : \"/a\" , \"value\" : 1.5 } "
        "} ");
    row("{\"cmd\":\"keyEvent\",\"payload\":{\"\xEF\xBB\xBF"
        "keyword\":\"/a\",\"value\":1}}");
}

// Most events are read without a document. The published values must be the same.
void tst_KeywordClient::keyEvent_isReadAsADocumentIs()
{
    QFETCH(const QByteArray, message);

    const QJsonObject document = QJsonDocument::fromJson(message).object();
    const bool isEvent =
        document.value(q("cmd")) == QJsonValue(q("keyEvent")) && document.contains(q("payload"));
    const QJsonObject payload = document.value(q("payload")).toObject();
    const QString keyword = payload.value(q("keyword")).toString();

    RecordingClient client;
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    subscriber.setTopic(keyword.isEmpty() ? q("/a") : keyword);
    QSignalSpy published(&subscriber, &PSubscriber::valueChanged);

    QCOMPARE(client.receiveCommand(message), isEvent);
    QCOMPARE(published.size(), isEvent && !keyword.isEmpty() ? 1 : 0);
    if (published.isEmpty())
        return;
    const auto event = published.first().first().value<QVariant>().value<PKeywordValue>();
    const QVariant expected = payload.value(q("value")).toVariant();
    QCOMPARE(event.value, expected);
    QCOMPARE(event.value.metaType(), expected.metaType());
    QCOMPARE(event.value.isNull(), expected.isNull());
    QCOMPARE(event.value.toString().isNull(), expected.toString().isNull());
    if (expected.typeId() == QMetaType::Double)
        QCOMPARE(std::signbit(event.value.toDouble()), std::signbit(expected.toDouble()));
    const QMap<QString, PKeywordValueType> types {{q("object"), PKeywordValueType::KVT_OBJECT},
                                                  {q("bool"), PKeywordValueType::KVT_BOOL},
                                                  {q("string"), PKeywordValueType::KVT_STRING},
                                                  {q("double"), PKeywordValueType::KVT_DOUBLE},
                                                  {q("int"), PKeywordValueType::KVT_INT}};
    QCOMPARE(event.type, types.value(payload.value(q("type")).toString(), noType));
    QCOMPARE(event.connected, payload.value(q("connected")).toBool());
    QCOMPARE(event.online, payload.value(q("online")).toBool());
    QCOMPARE(event.consistent, payload.value(q("consistent")).toBool());
    QCOMPARE(event.error, payload.value(q("error")).toBool());
}

void tst_KeywordClient::keyEvent_topicIsTakenAsReceived()
{
    RecordingClient client;
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    QSignalSpy spy(&subscriber, &PSubscriber::valueChanged);
    int expected = 0;
    for (const char *topic : {"a", "/a//b", "/a#b", " /a ", "/A", "/a/"}) {
        subscriber.setTopic(q(topic));
        QVERIFY(client.event(q(topic), q("1")));
        QCOMPARE(spy.count(), ++expected);
    }
    subscriber.setTopic(q("/a"));
    // Understood, and published with the empty topic, which can have no subscribers.
    QVERIFY(client.receive(q(R"({"cmd":"keyEvent","payload":{"value":1}})")));
    QVERIFY(client.receive(q(R"({"cmd":"keyEvent","payload":{"keyword":5}})")));
    QVERIFY(client.receive(q(R"({"cmd":"keyEvent","payload":"text"})")));
    QVERIFY(client.receive(q(R"({"cmd":"keyEvent","payload":null})")));
    QCOMPARE(spy.count(), expected);
}

void tst_KeywordClient::message_isRejected_data()
{
    QTest::addColumn<QByteArray>("message");
    const auto row = [](const char *name, const QByteArray &message) {
        QTest::newRow(name) << message;
    };
    const QByteArray id = QUuid::createUuid().toByteArray();
    row("empty", "");
    row("no JSON", "hello");
    row("cut off", R"({"cmd":"keyEvent","payload":{"keyword":"/a")");
    row("array", R"([{"cmd":"keyEvent","payload":{}}])");
    row("number", "1");
    row("invalid UTF-8", "{\"cmd\":\"keyEvent\",\"payload\":{\"keyword\":\"\xff\xfe\"}}");
    row("no cmd", R"({"payload":{"keyword":"/a"}})");
    row("no payload", R"({"cmd":"keyEvent"})");
    row("names are case-sensitive", R"({"Cmd":"keyEvent","payload":{}})");
    row("unknown cmd", R"({"cmd":"keyOther","payload":{}})");
    row("cmd in other case", R"({"cmd":"KeyEvent","payload":{}})");
    row("cmd a number", R"({"cmd":1,"payload":{}})");
    row("cmd null", R"({"cmd":null,"payload":{}})");
    row("cmd an array", R"({"cmd":["keyEvent"],"payload":{}})");
    row("index: payload no object", R"({"cmd":"keyIndex","payload":[]})");
    row("index: payload empty", R"({"cmd":"keyIndex","payload":{}})");
    row("index: no request", R"({"cmd":"keyIndex","payload":{"response":[]}})");
    row("index: request no object", R"({"cmd":"keyIndex","payload":{"request":"a"}})");
    row("index: request empty", R"({"cmd":"keyIndex","payload":{"request":{}}})");
    row("index: no uuid", R"({"cmd":"keyIndex","payload":{"request":{"a":1}}})");
    row("index: uuid a number", R"({"cmd":"keyIndex","payload":{"request":{"uuid":1}}})");
    row("index: uuid malformed", R"({"cmd":"keyIndex","payload":{"request":{"uuid":"abc"}}})");
    row("index: uuid null",
        R"({"cmd":"keyIndex","payload":{"request":{"uuid":"{00000000-0000-0000-0000-000000000000}"}}})");
    row("index: uuid not in request", R"({"cmd":"keyIndex","payload":{"uuid":")" + id + R"("}})");
}

void tst_KeywordClient::message_isRejected()
{
    QFETCH(QByteArray, message);
    RecordingClient client;
    PSubscriber subscriber;
    subscriber.setPublisher(client.publisher());
    subscriber.setTopic(q("/a"));
    QSignalSpy values(&subscriber, &PSubscriber::valueChanged);
    QSignalSpy responses(&client, &PKeywordClient::keyIndexResponse);

    QVERIFY(!client.receiveCommand(message));

    QCOMPARE(values.count(), 0);
    QCOMPARE(responses.count(), 0);
}

void tst_KeywordClient::keyIndex_isSignalled_data()
{
    QTest::addColumn<int>("format");
    QTest::newRow("with braces") << int(QUuid::WithBraces);
    QTest::newRow("without braces") << int(QUuid::WithoutBraces);
}

void tst_KeywordClient::keyIndex_isSignalled()
{
    QFETCH(int, format);
    RecordingClient client;
    QSignalSpy spy(&client, &PKeywordClient::keyIndexResponse);
    const QUuid id = client.sendKeyIndex(q("/a"), noType, noAccess);
    const QString message =
        q(R"({"cmd":"keyIndex","payload":{"request":{"uuid":"%1"},"response":[{"name":"/a/b"}]}})")
            .arg(id.toString(QUuid::StringFormat(format)));

    QVERIFY(client.receive(message));

    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<QUuid>(), id);
    const QVariant data = spy.at(0).at(1).value<QVariant>();
    QCOMPARE(data.metaType(), QMetaType::fromType<QJsonObject>());
    QCOMPARE(data.toJsonObject(), QJsonDocument::fromJson(message.toUtf8()).object());
}

void tst_KeywordClient::logging_isSilentByDefault()
{
    RecordingClient client; // any log line would fail the test
    const QLoggingCategory category("pellixclient.keyword.keywordclient", QtWarningMsg);
    QVERIFY(!category.isDebugEnabled());
    QVERIFY(!client.receiveCommand("nonsense"));
}

void tst_KeywordClient::logging_showsReceivedBytesWhenEnabled()
{
    RecordingClient client;
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.keywordclient.debug=true"));
    QTest::ignoreMessage(QtDebugMsg, R"(receive "not \"JSON\"")");
    client.receiveCommand("not \"JSON\"");
    QLoggingCategory::setFilterRules(QString());
}

void tst_KeywordClient::destruction_detachesSubscribersAndSendsNothing()
{
    QStringList sent;
    PSubscriber subscriber;
    {
        RecordingClient client;
        subscriber.setPublisher(client.publisher());
        subscriber.setTopic(q("/a"));
        client.answer = [&](const QByteArray &command) { sent << QString::fromUtf8(command); };
    }
    QVERIFY(!subscriber.active());
    QVERIFY(!subscriber.publisherActive());
    QCOMPARE(sent, QStringList());
}

void tst_KeywordClient::handlers_mayDeleteTheClient_data()
{
    QTest::addColumn<QString>("handler");
    for (const char *handler : {"value", "index", "answer to a removal"})
        QTest::newRow(handler) << q(handler);
}

void tst_KeywordClient::handlers_mayDeleteTheClient()
{
    QFETCH(QString, handler);
    auto *client = new RecordingClient;
    const QPointer<RecordingClient> guard = client;
    PSubscriber subscriber, other;
    for (PSubscriber *one : {&subscriber, &other}) {
        one->setPublisher(client->publisher());
        one->setTopic(q("/a"));
    }
    QObject scope;
    if (handler == QLatin1String("value")) {
        connect(&subscriber, &PSubscriber::valueChanged, &scope, [&] { delete client; });
        QSignalSpy spy(&other, &PSubscriber::valueChanged);
        QVERIFY(client->event(q("/a"), q("1")));
        QCOMPARE(spy.count(), 0);
    } else if (handler == QLatin1String("index")) {
        connect(client, &PKeywordClient::keyIndexResponse, &scope, [&] { delete client; });
        QVERIFY(client->receive(q(R"({"cmd":"keyIndex","payload":{"request":{"uuid":"%1"}}})")
                                    .arg(QUuid::createUuid().toString())));
    } else {
        subscriber.setTopic(q("/b"));
        client->answer = [&](const QByteArray &) { delete client; };
        subscriber.setTopic(q("/c"));
        QVERIFY(!subscriber.active());
    }
    QVERIFY(!guard);
}

QTEST_GUILESS_MAIN(tst_KeywordClient)
#include "tst_keywordclient.moc"
