// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "pubsub/publisher.h"
#include "tests/support/metaobject.h"
#include "tests/support/recordingclient.h"
#include "tests/support/signallog.h"

#include <QtCore/QLoggingCategory>
#include <QtQml/QJSEngine>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QString create(const QString &keyword)
{
    return q(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"%1"}})").arg(keyword);
}

QString destroy(const QString &keyword)
{
    return q(R"({"cmd":"keyDestroy","payload":{"keyword":"%1"}})").arg(keyword);
}

// The last command in the result of taken().
QString last(const QString &commands)
{
    return commands.section(QLatin1Char('\n'), -1);
}

QString flags(const PKeywordProxy &proxy)
{
    QString text;
    text += proxy.connected() ? QLatin1Char('c') : QLatin1Char('-');
    text += proxy.online() ? QLatin1Char('o') : QLatin1Char('-');
    text += proxy.consistent() ? QLatin1Char('s') : QLatin1Char('-');
    text += proxy.error() ? QLatin1Char('e') : QLatin1Char('-');
    return text;
}

// Publishes a record as the client does for an event.
void publish(PKeywordClient &client, const QVariant &value,
             PKeywordValueType type = PKeywordValueType::KVT_INT, bool connected = true,
             bool online = true, bool consistent = true, bool error = false)
{
    client.publisher()->publish(
        q("/a"),
        QVariant::fromValue(PKeywordValue {value, type, connected, online, consistent, error}));
}

} // namespace

class tst_KeywordProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void metaObject_keepsItsOrder();
    void construction_hasDefaults();
    void setKeyword_beforeTheClient();
    void setKeyword_afterTheClient();
    void setKeyword_whileNotConnectedSendsNothing();
    void setKeyword_againSubscribesAgain();
    void setKeyword_toAnotherMovesTheSubscription();
    void setKeyword_handlersStillReadTheOldOne();
    void setKeyword_emptyEndsTheSubscription();
    void setKeyword_isTakenAsItStands();
    void setClient_andReset();
    void setClient_toAnother();
    void expression_takesPrecedence();
    void expression_passesChildrenAndAggregation();
    void expression_clearedFallsBackToTheKeyword();
    void expression_refusesAKeyword();
    void expression_changesAreFollowedOnlyWhileInUse();
    void expression_ofAProxyWithoutReadyClientSendsNothing();
    void expression_sameAgainDoesNothing();
    void expression_sameConcatenationDoesNotCreateAgain();
    void value_isSplitIntoProperties();
    void value_signalsWhatDiffers_data();
    void value_signalsWhatDiffers();
    void value_equalityIsQVariants_data();
    void value_equalityIsQVariants();
    void value_nullIsValid();
    void value_thatIsNoRecordCountsAsEmpty();
    void link_lostAndBack();
    void update_goesToTheClient();
    void update_takesJavaScriptValues_data();
    void update_takesJavaScriptValues();
    void handlers_mayBindAnew();
    void handlers_leaveValueValidTrue_data();
    void handlers_leaveValueValidTrue();
    void neverEmitted_staySilent();
    void logging_namesTheProxy();
};

void tst_KeywordProxy::metaObject_keepsItsOrder()
{
    const QMetaObject &meta = PKeywordProxy::staticMetaObject;
    QCOMPARE(meta.className(), "pellix::client::PKeywordProxy");
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(ownProperties(meta),
             names("client w r clientChanged, keyword w keywordChanged, "
                   "keywordExpression w keywordExpressionChanged, value valueChanged, "
                   "labelValue labelValueChanged, valueValid valueValidChanged, "
                   "valueLabelValid valueLabelValidChanged, valueType valueTypeChanged, "
                   "connected stateChanged, online stateChanged, consistent stateChanged, "
                   "error stateChanged"));
    QCOMPARE(ownMethods(meta),
             names("signal clientChanged(), signal keywordChanged(), "
                   "signal keywordExpressionChanged(), signal valueChanged(), "
                   "signal labelValueChanged(), signal valueValidChanged(), "
                   "signal valueLabelValidChanged(), signal valueTypeChanged(), "
                   "signal stateChanged(), method update(QVariant), "
                   "method updateRelative(QVariant), method getKeywordLabel(QString)"));
    for (const char *name : {"value", "labelValue", "valueValid", "valueLabelValid"}) {
        QCOMPARE(meta.property(meta.indexOfProperty(name)).metaType(),
                 QMetaType::fromType<QVariant>());
    }
    QCOMPARE(meta.property(meta.indexOfProperty("client")).metaType(),
             QMetaType::fromType<PKeywordClient *>());
    QCOMPARE(meta.property(meta.indexOfProperty("keywordExpression")).metaType(),
             QMetaType::fromType<PAbstractKeywordExpression *>());
    QCOMPARE(meta.property(meta.indexOfProperty("valueType")).metaType(),
             QMetaType::fromType<PKeywordValueType>());
}

void tst_KeywordProxy::construction_hasDefaults()
{
    QObject parent;
    const auto *proxy = new PKeywordProxy(&parent);
    QCOMPARE(proxy->parent(), &parent);
    QCOMPARE(proxy->client(), nullptr);
    QCOMPARE(proxy->keyword(), QString());
    QCOMPARE(proxy->keywordExpression(), nullptr);
    QVERIFY(!proxy->value().isValid());
    QVERIFY(!proxy->labelValue().isValid());
    QCOMPARE(proxy->valueValid(), QVariant(false));
    QCOMPARE(proxy->valueLabelValid(), QVariant(false));
    QCOMPARE(proxy->valueType(), PKeywordValueType::KVT_NOPROP);
    QCOMPARE(flags(*proxy), q("--s-"));
}

void tst_KeywordProxy::setKeyword_beforeTheClient()
{
    RecordingClient client;
    PKeywordProxy proxy;
    SignalLog log(&proxy);

    proxy.setKeyword(q("/a"));
    QCOMPARE(proxy.keyword(), q("/a"));
    QCOMPARE(log.taken(), q("valueValidChanged keywordChanged"));
    proxy.setClient(&client);
    QCOMPARE(proxy.client(), &client);
    QCOMPARE(log.taken(), q("clientChanged"));

    const QStringList commands = client.taken().split(QLatin1Char('\n'));
    QVERIFY(commands.size() > 1);
    for (const QString &command : commands)
        QCOMPARE(command, create(q("/a")));
}

void tst_KeywordProxy::setKeyword_afterTheClient()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    QCOMPARE(client.taken(), QString());
    SignalLog log(&proxy);

    proxy.setKeyword(q("/a"));

    QCOMPARE(log.taken(), q("valueValidChanged keywordChanged"));
    QCOMPARE(last(client.taken()), create(q("/a")));
}

void tst_KeywordProxy::setKeyword_whileNotConnectedSendsNothing()
{
    RecordingClient client;
    client.publisher()->setActive(false);
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    QCOMPARE(client.taken(), QString());
    client.publisher()->setActive(true);
    QCOMPARE(client.taken(), create(q("/a")));
}

void tst_KeywordProxy::setKeyword_againSubscribesAgain()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    client.event(q("/a"), q("7"), q("int"));
    client.taken();
    SignalLog log(&proxy);

    proxy.setKeyword(q("/a"));

    QVERIFY(!proxy.value().isValid());
    QCOMPARE(proxy.valueValid(), QVariant(true));
    QCOMPARE(log.taken(), q("valueChanged valueTypeChanged stateChanged"));
    QCOMPARE(client.taken(), create(q("/a"))); // and no destroy
    proxy.setKeyword(q("/a"));
    QCOMPARE(log.taken(), QString());
    QCOMPARE(client.taken(), create(q("/a")));
}

void tst_KeywordProxy::setKeyword_toAnotherMovesTheSubscription()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    client.event(q("/a"), q("7"), q("int"));
    client.taken();
    SignalLog log(&proxy);

    proxy.setKeyword(q("/b"));

    QCOMPARE(log.taken(),
             q("valueValidChanged keywordChanged valueChanged valueTypeChanged stateChanged"));
    QCOMPARE(proxy.valueValid(), QVariant(false));
    QCOMPARE(client.taken(), destroy(q("/a")) + QLatin1Char('\n') + create(q("/b")));
    client.event(q("/a"), q("8"), q("int"));
    QVERIFY(!proxy.value().isValid());
    client.event(q("/b"), q("9"), q("int"));
    QCOMPARE(proxy.value().toInt(), 9);
}

void tst_KeywordProxy::setKeyword_handlersStillReadTheOldOne()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    publish(client, 7);
    QString read, readWithTheValue;
    connect(&proxy, &PKeywordProxy::keywordChanged, this, [&] { read = proxy.keyword(); });
    connect(&proxy, &PKeywordProxy::valueChanged, this,
            [&] { readWithTheValue = proxy.keyword(); });
    proxy.setKeyword(q("/b"));
    QCOMPARE(read, q("/a"));
    QCOMPARE(readWithTheValue, q("/a"));
    QCOMPARE(proxy.keyword(), q("/b"));
    disconnect(&proxy, nullptr, this, nullptr);
}

void tst_KeywordProxy::setKeyword_emptyEndsTheSubscription()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    client.taken();
    proxy.setKeyword(QString());
    QCOMPARE(proxy.keyword(), QString());
    QCOMPARE(client.taken(), destroy(q("/a")));
}

void tst_KeywordProxy::setKeyword_isTakenAsItStands()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    for (const char *keyword : {"a", "/a//b", "/a#b", "/A", " /a "}) {
        proxy.setKeyword(q(keyword));
        QCOMPARE(proxy.keyword(), q(keyword));
        QCOMPARE(last(client.taken()), create(q(keyword)));
    }
}

void tst_KeywordProxy::setClient_andReset()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setKeyword(q("/a"));
    SignalLog log(&proxy);
    proxy.setClient(nullptr);
    proxy.resetClient();
    QCOMPARE(log.taken(), QString());

    proxy.setClient(&client);
    client.taken();
    proxy.setClient(&client);
    QCOMPARE(client.taken(), QString());
    QCOMPARE(log.taken(), q("clientChanged"));
    client.event(q("/a"), q("7"), q("int"));
    QCOMPARE(log.taken(), q("valueChanged valueValidChanged valueTypeChanged stateChanged"));

    proxy.resetClient();
    QCOMPARE(proxy.client(), nullptr);
    QCOMPARE(proxy.keyword(), q("/a"));
    QCOMPARE(log.taken(), q("valueChanged valueTypeChanged stateChanged clientChanged"));
    QCOMPARE(client.taken(), destroy(q("/a")));
    QVERIFY(!proxy.update(1));

    proxy.setClient(&client);
    QCOMPARE(last(client.taken()), create(q("/a")));
    proxy.setClient(nullptr);
    QCOMPARE(proxy.client(), nullptr);
    QCOMPARE(client.taken(), destroy(q("/a")));
}

void tst_KeywordProxy::setClient_toAnother()
{
    RecordingClient first, second;
    PKeywordProxy proxy;
    proxy.setKeyword(q("/a"));
    proxy.setClient(&first);
    first.event(q("/a"), q("1"), q("int"));
    first.taken();
    proxy.setClient(&second);
    QCOMPARE(first.taken(), destroy(q("/a")));
    QCOMPARE(second.taken(), create(q("/a"))); // one run, because only the publisher changed
    QVERIFY(!proxy.value().isValid());
    first.event(q("/a"), q("2"), q("int"));
    QVERIFY(!proxy.value().isValid());
    second.event(q("/a"), q("3"), q("int"));
    QCOMPARE(proxy.value().toInt(), 3);
}

void tst_KeywordProxy::expression_takesPrecedence()
{
    RecordingClient client;
    PKeywordExpression expression(q("/x"));
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    client.event(q("/a"), q("7"), q("int"));
    client.taken();
    SignalLog log(&proxy);

    proxy.setKeywordExpression(&expression);

    QCOMPARE(proxy.keywordExpression(), &expression);
    QCOMPARE(proxy.keyword(), q("/x"));
    QCOMPARE(log.taken(), q("keywordChanged valueChanged valueTypeChanged stateChanged"));
    QCOMPARE(proxy.valueValid(), QVariant(true)); // unchanged
    QCOMPARE(client.taken(), destroy(q("/a")) + QLatin1Char('\n') + create(q("/x")));

    expression.setValue(q("/y"));
    QCOMPARE(log.taken(), q("keywordChanged"));
    QCOMPARE(proxy.keyword(), q("/y"));
    QCOMPARE(client.taken(), destroy(q("/x")) + QLatin1Char('\n') + create(q("/y")));
    QVERIFY(proxy.update(1));
    QVERIFY(client.taken().contains(q("\"/y\"")));

    expression.setValue(QString());
    QCOMPARE(client.taken(), destroy(q("/y"))); // an invalid expression has no subscription
}

void tst_KeywordProxy::expression_passesChildrenAndAggregation()
{
    RecordingClient client;
    PListPostfixKeywordExpression expression;
    expression.setValues({q("/u1/k1"), q("/u1/k2")});
    expression.setPostfix(q("state"));
    expression.setAggregation(PKeywordAggregation::Or);
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeywordExpression(&expression);
    QCOMPARE(last(client.taken()),
             q(R"({"cmd":"keyCreateOrUpdate","payload":{"aggregation":"bool_or",)"
               R"("children":["/u1/k1/state","/u1/k2/state"],"keyword":"/store/aggregated/)"
               R"(ab7b8b8daae39438a564f5957ac61f789debb0a4f630d52eb8f0bcfff60fa418"}})"));
    expression.setAggregation(PKeywordAggregation::No);
    QVERIFY(last(client.taken()).contains(q(R"("aggregation":"eql")")));
}

void tst_KeywordProxy::expression_clearedFallsBackToTheKeyword()
{
    RecordingClient client;
    PKeywordExpression expression(q("/x"));
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    proxy.setKeywordExpression(&expression);
    client.taken();
    SignalLog log(&proxy);

    proxy.setKeywordExpression(nullptr);

    QCOMPARE(proxy.keyword(), q("/a"));
    QCOMPARE(log.taken(), q("keywordChanged"));
    QCOMPARE(client.taken(), destroy(q("/x")) + QLatin1Char('\n') + create(q("/a")));
}

void tst_KeywordProxy::expression_refusesAKeyword()
{
    RecordingClient client;
    PKeywordExpression expression(q("/x"));
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeywordExpression(&expression);
    client.taken();
    SignalLog log(&proxy);

    QTest::ignoreMessage(QtWarningMsg, "Proxy is already using a keyword expression");
    proxy.setKeyword(q("/a"));

    QCOMPARE(proxy.keyword(), q("/x"));
    QCOMPARE(log.taken(), QString());
    QCOMPARE(client.taken(), QString());
    proxy.setKeywordExpression(nullptr);
    QCOMPARE(proxy.keyword(), QString()); // the refused keyword was not kept either
}

void tst_KeywordProxy::expression_changesAreFollowedOnlyWhileInUse()
{
    PKeywordExpression first(q("/x")), second(q("/y"));
    PKeywordProxy proxy;
    proxy.setKeywordExpression(&first);
    proxy.setKeywordExpression(&second);
    SignalLog log(&proxy);
    first.setValue(q("/z"));
    QCOMPARE(log.taken(), QString());
    second.setValue(q("/z"));
    QCOMPARE(log.taken(), q("keywordChanged"));
    proxy.setKeywordExpression(nullptr);
    log.taken();
    second.setValue(q("/w"));
    QCOMPARE(log.taken(), QString());
}

void tst_KeywordProxy::expression_ofAProxyWithoutReadyClientSendsNothing()
{
    RecordingClient client;
    client.publisher()->setActive(false);
    PKeywordExpression expression(q("/x"));
    PKeywordProxy proxy;
    proxy.setKeywordExpression(&expression);
    QCOMPARE(proxy.keyword(), q("/x"));
    proxy.setClient(&client);
    QCOMPARE(client.taken(), QString());
    client.publisher()->setActive(true);
    QCOMPARE(client.taken(), create(q("/x")));
}

void tst_KeywordProxy::expression_sameAgainDoesNothing()
{
    RecordingClient client;
    PKeywordExpression expression(q("/x"));
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeywordExpression(&expression);
    client.taken();
    SignalLog log(&proxy);
    proxy.setKeywordExpression(&expression);
    QCOMPARE(log.taken(), QString());
    QCOMPARE(client.taken(), QString());
}

void tst_KeywordProxy::expression_sameConcatenationDoesNotCreateAgain()
{
    RecordingClient client;
    PListPostfixKeywordExpression expression;
    expression.setValues({q("/a"), q("/b/x")});
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeywordExpression(&expression);
    client.taken();
    expression.setValues({q("/a/b"), q("/x")});
    QCOMPARE(client.taken(), QString());
}

void tst_KeywordProxy::value_isSplitIntoProperties()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    SignalLog log(&proxy);

    publish(client, 7.5, PKeywordValueType::KVT_DOUBLE, true, false, false, true);

    QCOMPARE(proxy.value(), QVariant(7.5));
    QCOMPARE(proxy.valueType(), PKeywordValueType::KVT_DOUBLE);
    QCOMPARE(proxy.valueValid(), QVariant(true));
    QCOMPARE(flags(proxy), q("c--e"));
    QCOMPARE(log.taken(), q("valueChanged valueValidChanged valueTypeChanged stateChanged"));
}

void tst_KeywordProxy::value_signalsWhatDiffers_data()
{
    QTest::addColumn<QVariant>("record");
    QTest::addColumn<QString>("signalNames");
    const auto row = [](const char *name, const PKeywordValue &record, const char *signalNames) {
        QTest::newRow(name) << QVariant::fromValue(record) << q(signalNames);
    };
    const QVariant seven(7);
    constexpr auto type = PKeywordValueType::KVT_INT;
    row("nothing", {seven, type, true, true, true, false}, "");
    row("value", {QVariant(8), type, true, true, true, false}, "valueChanged valueValidChanged");
    row("type", {seven, PKeywordValueType::KVT_DOUBLE, true, true, true, false},
        "valueTypeChanged");
    row("connected", {seven, type, false, true, true, false}, "stateChanged");
    row("online", {seven, type, true, false, true, false}, "stateChanged");
    row("consistent", {seven, type, true, true, false, false}, "stateChanged");
    row("error", {seven, type, true, true, true, true}, "stateChanged");
    row("all flags", {seven, type, false, false, false, true}, "stateChanged");
    row("type and flags", {seven, PKeywordValueType::KVT_BOOL, false, true, true, false},
        "valueTypeChanged stateChanged");
    row("all", {QVariant(), PKeywordValueType::KVT_NOPROP, false, false, false, true},
        "valueChanged valueValidChanged valueTypeChanged stateChanged");
}

void tst_KeywordProxy::value_signalsWhatDiffers()
{
    QFETCH(QVariant, record);
    QFETCH(QString, signalNames);
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    publish(client, 7);
    SignalLog log(&proxy);

    client.publisher()->publish(q("/a"), record);

    QCOMPARE(log.taken(), signalNames);
    const auto expected = record.value<PKeywordValue>();
    QCOMPARE(proxy.value(), expected.value);
    QCOMPARE(proxy.valueType(), expected.type);
    QCOMPARE(proxy.connected(), expected.connected);
    QCOMPARE(proxy.online(), expected.online);
    QCOMPARE(proxy.consistent(), expected.consistent);
    QCOMPARE(proxy.error(), expected.error);
}

void tst_KeywordProxy::value_equalityIsQVariants_data()
{
    QTest::addColumn<QVariant>("first");
    QTest::addColumn<QVariant>("second");
    QTest::newRow("same int") << QVariant(7) << QVariant(7);
    QTest::newRow("int and double") << QVariant(7) << QVariant(7.0);
    QTest::newRow("int and text") << QVariant(7) << QVariant(q("7"));
    QTest::newRow("int and bool") << QVariant(1) << QVariant(true);
    QTest::newRow("text in other case") << QVariant(q("a")) << QVariant(q("A"));
    QTest::newRow("not a number") << QVariant(qQNaN()) << QVariant(qQNaN());
    QTest::newRow("lists") << QVariant(QVariantList({1, 2})) << QVariant(QVariantList({1, 2}));
    QTest::newRow("other lists") << QVariant(QVariantList({1, 2}))
                                 << QVariant(QVariantList({2, 1}));
    QTest::newRow("maps") << QVariant(QVariantMap({{q("a"), 1}}))
                          << QVariant(QVariantMap({{q("a"), 1}}));
    QTest::newRow("null and null") << QVariant::fromValue(nullptr) << QVariant::fromValue(nullptr);
    QTest::newRow("null and empty text") << QVariant::fromValue(nullptr) << QVariant(QString());
    QTest::newRow("invalid and null") << QVariant() << QVariant::fromValue(nullptr);
}

void tst_KeywordProxy::value_equalityIsQVariants()
{
    QFETCH(QVariant, first);
    QFETCH(QVariant, second);
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    publish(client, first);
    QSignalSpy spy(&proxy, &PKeywordProxy::valueChanged);
    publish(client, second);
    QCOMPARE(spy.count(), first == second ? 0 : 1);
}

void tst_KeywordProxy::value_nullIsValid()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    SignalLog log(&proxy);
    client.event(q("/a"), q("null"), q("string"));
    QVERIFY(proxy.value().isValid());
    QVERIFY(proxy.value().isNull());
    QCOMPARE(proxy.valueValid(), QVariant(true));
    QCOMPARE(log.taken(), q("valueChanged valueValidChanged valueTypeChanged stateChanged"));
}

void tst_KeywordProxy::value_thatIsNoRecordCountsAsEmpty()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    publish(client, 7);
    SignalLog log(&proxy);
    client.publisher()->publish(q("/a"), q("just a text"));
    QVERIFY(!proxy.value().isValid());
    QCOMPARE(proxy.valueType(), PKeywordValueType::KVT_NOPROP);
    QCOMPARE(flags(proxy), q("----"));
    QCOMPARE(log.taken(), q("valueChanged valueValidChanged valueTypeChanged stateChanged"));
    client.publisher()->publish(q("/a"), QVariant());
    QCOMPARE(log.taken(), QString());
}

void tst_KeywordProxy::link_lostAndBack()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    publish(client, 7);
    client.taken();
    SignalLog log(&proxy);

    client.publisher()->setActive(false);
    QVERIFY(!proxy.value().isValid());
    QCOMPARE(proxy.valueValid(), QVariant(true)); // unaffected by the lost connection
    QCOMPARE(flags(proxy), q("--s-"));
    QCOMPARE(log.taken(), q("valueChanged valueTypeChanged stateChanged"));
    QCOMPARE(client.taken(), QString());

    client.publisher()->setActive(true);
    QCOMPARE(log.taken(), QString());
    QCOMPARE(client.taken(), create(q("/a")));
    publish(client, 7);
    QCOMPARE(log.taken(), q("valueChanged valueValidChanged valueTypeChanged stateChanged"));
}

void tst_KeywordProxy::update_goesToTheClient()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setKeyword(q("/a"));
    QVERIFY(!proxy.update(1));
    QVERIFY(!proxy.updateRelative(1));
    proxy.setClient(&client);
    client.taken();
    SignalLog log(&proxy);

    QVERIFY(proxy.update(5));
    QCOMPARE(client.taken(), q(R"({"cmd":"keyUpdate","payload":{"keyword":"/a","value":5}})"));
    QVERIFY(proxy.updateRelative(-1));
    QCOMPARE(client.taken(),
             q(R"({"cmd":"keyUpdate","payload":{"keyword":"/a","value":-1,)"
               R"("valueChangeMode":"relative"}})"));
    QVERIFY(!proxy.value().isValid()); // until the event arrives
    QCOMPARE(log.taken(), QString());

    client.accepts = false;
    QVERIFY(!proxy.update(5));
    QVERIFY(!proxy.updateRelative(5));
    client.accepts = true;
    client.publisher()->setActive(false);
    QVERIFY(proxy.update(5)); // the client decides whether it can be sent
    proxy.setKeyword(QString());
    client.taken();
    QVERIFY(!proxy.update(5));
    QCOMPARE(client.taken(), QString());
}

void tst_KeywordProxy::update_takesJavaScriptValues_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("json");
    QTest::newRow("number") << q("1.5") << q("1.5");
    QTest::newRow("whole number") << q("3") << q("3");
    QTest::newRow("text") << q("'a'") << q("\"a\"");
    QTest::newRow("true") << q("true") << q("true");
    QTest::newRow("null") << q("null") << q("null");
    QTest::newRow("undefined") << q("undefined") << q("null");
    QTest::newRow("nothing") << QString() << q("null");
    // Qt converts such a QJSValue to an invalid variant.
    QTest::newRow("array") << q("[1, 'a', true]") << q("null");
    QTest::newRow("object") << q("({b: 1, a: 'x'})") << q("null");
    QTest::newRow("not a number") << q("NaN") << q("null");
}

void tst_KeywordProxy::update_takesJavaScriptValues()
{
    QFETCH(QString, script);
    QFETCH(QString, json);
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setKeyword(q("/a"));
    proxy.setClient(&client);
    client.taken();
    QJSEngine engine;
    QJSEngine::setObjectOwnership(&proxy, QJSEngine::CppOwnership);
    engine.globalObject().setProperty(q("proxy"), engine.newQObject(&proxy));

    if (script.isEmpty())
        script = q("undefined");
    const QJSValue result = engine.evaluate(q("proxy.update(%1)").arg(script));

    QVERIFY2(!result.isError(), qPrintable(result.toString()));
    QCOMPARE(client.taken(),
             q(R"({"cmd":"keyUpdate","payload":{"keyword":"/a","value":%1}})").arg(json));
}

void tst_KeywordProxy::handlers_mayBindAnew()
{
    RecordingClient first, second;
    PKeywordProxy proxy;
    proxy.setKeyword(q("/a"));
    proxy.setClient(&first);
    publish(first, 1);

    // Set another client while the old one is being removed
    {
        QObject scope;
        connect(&proxy, &PKeywordProxy::valueChanged, &scope, [&] {
            if (!proxy.value().isValid())
                proxy.setClient(&second);
        });
        proxy.setClient(nullptr);
        QCOMPARE(proxy.client(), &second);
    }
    second.event(q("/a"), q("2"), q("int"));
    QCOMPARE(proxy.value().toInt(), 2);
    QVERIFY(proxy.update(3));

    // Set another keyword while a value arrives
    QObject scope;
    connect(&proxy, &PKeywordProxy::valueChanged, &scope, [&] { proxy.setKeyword(q("/b")); });
    second.event(q("/a"), q("4"), q("int"));
    QCOMPARE(proxy.keyword(), q("/b"));
    QVERIFY(!proxy.value().isValid());
}

void tst_KeywordProxy::handlers_leaveValueValidTrue_data()
{
    QTest::addColumn<QString>("deed");
    for (const char *deed : {"same keyword", "another keyword", "no client"})
        QTest::newRow(deed) << q(deed);
}

// A value has arrived, regardless of what a handler of valueChanged() does.
void tst_KeywordProxy::handlers_leaveValueValidTrue()
{
    QFETCH(QString, deed);
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    QObject scope;
    connect(&proxy, &PKeywordProxy::valueChanged, &scope, [&] {
        if (!proxy.value().isValid())
            return;
        if (deed == q("same keyword"))
            proxy.setKeyword(q("/a"));
        else if (deed == q("another keyword"))
            proxy.setKeyword(q("/b"));
        else
            proxy.resetClient();
    });
    SignalLog log(&proxy);

    client.event(q("/a"), q("1"), q("int"));

    QVERIFY(!proxy.value().isValid());
    QCOMPARE(proxy.valueValid(), QVariant(true));
    QVERIFY2(log.taken().contains(q("valueValidChanged")), "and it is signalled");
}

void tst_KeywordProxy::neverEmitted_staySilent()
{
    RecordingClient client;
    PKeywordExpression expression(q("/x"));
    PKeywordProxy proxy;
    QSignalSpy expressionChanged(&proxy, &PKeywordProxy::keywordExpressionChanged);
    QSignalSpy labelValueChanged(&proxy, &PKeywordProxy::labelValueChanged);
    proxy.setClient(&client);
    proxy.setKeywordExpression(&expression);
    proxy.setKeywordExpression(nullptr);
    proxy.getKeywordLabel(q("/u1/k1"));
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    QCOMPARE(proxy.value().toString(), q("/u1/Main"));
    QCOMPARE(expressionChanged.count(), 0);
    QCOMPARE(labelValueChanged.count(), 0);
}

void tst_KeywordProxy::logging_namesTheProxy()
{
    PKeywordExpression expression(q("/x"));
    PKeywordProxy proxy;
    proxy.setObjectName(q("level"));
    proxy.setKeyword(q("/quiet"));
    QLoggingCategory::setFilterRules(q("pellixclient.keyword.proxy.debug=true"));
    QTest::ignoreMessage(QtDebugMsg, R"("level" keyword: "/a")");
    proxy.setKeyword(q("/a"));
    proxy.setKeyword(q("/a")); // unchanged: no line
    QTest::ignoreMessage(QtDebugMsg, R"("level" keywordExpression: "/x")");
    proxy.setKeywordExpression(&expression);
    QTest::ignoreMessage(QtDebugMsg, R"("level" keywordExpression: "[nullptr]")");
    proxy.setKeywordExpression(nullptr);
    QLoggingCategory::setFilterRules(QString());
}

QTEST_GUILESS_MAIN(tst_KeywordProxy)
#include "tst_keywordproxy.moc"
