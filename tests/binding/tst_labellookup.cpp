// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "tests/support/recordingclient.h"
#include "tests/support/signallog.h"

#include <QtCore/QHash>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// A server that replies to each create request for a label within the call.
void answerAtOnce(RecordingClient &client, const QHash<QString, QString> &labels)
{
    client.answer = [&client, labels](const QByteArray &command) {
        const QJsonObject message = QJsonDocument::fromJson(command).object();
        if (message.value(QLatin1String("cmd")) != QLatin1String("keyCreateOrUpdate"))
            return;
        const QString keyword = message.value(QLatin1String("payload"))
                                    .toObject()
                                    .value(QLatin1String("keyword"))
                                    .toString();
        client.event(keyword, QLatin1Char('"') + labels.value(keyword) + QLatin1Char('"'));
    };
}

} // namespace

class tst_LabelLookup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void lookup_walksThroughTheLevels();
    void lookup_signalsItsSteps();
    void lookup_asksAsOftenAsEveryBinding();
    void keyword_markedAsALabelAsksAsOften_data();
    void keyword_markedAsALabelAsksAsOften();
    void lookup_takesNamesWhereLabelsAreEmpty_data();
    void lookup_takesNamesWhereLabelsAreEmpty();
    void lookup_waitsForADifferingValue();
    void lookup_afterwardsValuesAreOrdinary();
    void result_outlastsTheSameLabel_data();
    void result_outlastsTheSameLabel();
    void result_repeatedByTheServer();
    void result_isProtectedUntilTheNextSubscription_data();
    void result_isProtectedUntilTheNextSubscription();
    void result_handlerSubscribesAgain();
    void lookup_againAfterCompletion();
    void lookup_sameKeyUnderWayDoesNothing();
    void lookup_needsAClient();
    void lookup_shortKeysFinishAtOnce_data();
    void lookup_shortKeysFinishAtOnce();
    void lookup_keyWithoutLeadingSeparatorLosesItsFirstLevel();
    void lookup_abandonedLeavesItsPrefixes();
    void lookup_endedByAKeyword();
    void lookup_whileAnExpressionIsSet();
    void lookup_survivesTheLink();
    void synchronousServer_data();
    void synchronousServer();
    void queuedServer_data();
    void queuedServer();
    void lookup_fromAHandlerOfAnOrdinaryValue_data();
    void lookup_fromAHandlerOfAnOrdinaryValue();
    void nextLookup_fromAHandler_data();
    void nextLookup_fromAHandler();
};

void tst_LabelLookup::lookup_walksThroughTheLevels()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);

    proxy.getKeywordLabel(q("/u1/k1/level"));
    QCOMPARE(proxy.keyword(), q("/u1/k1/Label"));
    QCOMPARE(proxy.valueLabelValid(), QVariant(false));
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    QCOMPARE(proxy.keyword(), q("/u1/k1/level/Label"));
    QCOMPARE(proxy.valueLabelValid(), QVariant(false));
    client.event(q("/u1/k1/level/Label"), q("\"\""));

    QCOMPARE(proxy.value(), QVariant(q("/u1/Main/level")));
    QCOMPARE(proxy.valueLabelValid(), QVariant(true));
    QVERIFY(!proxy.labelValue().isValid());
    QCOMPARE(proxy.keyword(), q("/u1/k1/level/Label"));
}

void tst_LabelLookup::lookup_signalsItsSteps()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    SignalLog log(&proxy);

    proxy.getKeywordLabel(q("/u1/k1/level"));
    QCOMPARE(log.taken(), q("valueLabelValidChanged valueValidChanged keywordChanged"));
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    QCOMPARE(log.taken(),
             q("valueTypeChanged stateChanged valueValidChanged keywordChanged valueChanged "
               "valueTypeChanged stateChanged"));
    client.event(q("/u1/k1/level/Label"), q("\"Level\""));
    QCOMPARE(log.taken(), q("valueTypeChanged stateChanged valueChanged valueLabelValidChanged"));
}

// A subscription that becomes active is established again from within, and requests the keyword
// twice.
void tst_LabelLookup::lookup_asksAsOftenAsEveryBinding()
{
    const QString create = q(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"%1"}})");
    const QString destroy = q(R"({"cmd":"keyDestroy","payload":{"keyword":"%1"}})");
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("/u1/k1/level"));
    const QString first = create.arg(q("/u1/k1/Label"));
    QCOMPARE(client.taken(), first + q("\n") + first);
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    QCOMPARE(client.taken(),
             destroy.arg(q("/u1/k1/Label")) + q("\n") + create.arg(q("/u1/k1/level/Label")));
}

void tst_LabelLookup::keyword_markedAsALabelAsksAsOften_data()
{
    QTest::addColumn<bool>("byExpression");
    QTest::newRow("keyword") << false;
    QTest::newRow("expression") << true;
}

void tst_LabelLookup::keyword_markedAsALabelAsksAsOften()
{
    QFETCH(bool, byExpression);
    QStringList commands;
    for (const bool labelLookup : {false, true}) {
        RecordingClient client;
        PKeywordExpression expression(q("/x"));
        PKeywordProxy proxy;
        if (byExpression) {
            proxy.setKeyword(q("/a"), labelLookup);
            proxy.setKeywordExpression(&expression);
            proxy.setClient(&client);
        } else {
            proxy.setClient(&client);
            proxy.setKeyword(q("/a"), labelLookup);
        }
        commands << client.taken();
    }
    QVERIFY(commands.at(0).count(q("keyCreateOrUpdate")) > 1);
    QCOMPARE(commands.at(1), commands.at(0));
}

void tst_LabelLookup::lookup_takesNamesWhereLabelsAreEmpty_data()
{
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("result");
    QTest::newRow("text") << q("\"Main\"") << q("/u1/Main");
    QTest::newRow("empty text") << q("\"\"") << q("/u1/k1");
    QTest::newRow("null") << q("null") << q("/u1/k1");
    QTest::newRow("number") << q("7") << q("/u1/7");
    QTest::newRow("true") << q("true") << q("/u1/true");
    QTest::newRow("blank") << q("\" \"") << q("/u1/ ");
    QTest::newRow("list") << q("[1]") << q("/u1/k1");
    QTest::newRow("with a separator") << q("\"a/b\"") << q("/u1/a/b");
}

void tst_LabelLookup::lookup_takesNamesWhereLabelsAreEmpty()
{
    QFETCH(QString, label);
    QFETCH(QString, result);
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("/u1/k1"));
    client.event(q("/u1/k1/Label"), label);
    QCOMPARE(proxy.value(), QVariant(result));
}

void tst_LabelLookup::lookup_waitsForADifferingValue()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("/u1/k1"));
    client.receive(q(R"({"cmd":"keyEvent","payload":{"keyword":"/u1/k1/Label"}})"));
    QCOMPARE(proxy.valueLabelValid(), QVariant(false)); // an invalid value equals the cleared value
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    QCOMPARE(proxy.valueLabelValid(), QVariant(true));
}

void tst_LabelLookup::lookup_afterwardsValuesAreOrdinary()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("/u1/k1"));
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    SignalLog log(&proxy);
    client.event(q("/u1/k1/Label"), q("\"Other\""));
    QCOMPARE(proxy.value(), QVariant(q("Other")));
    QCOMPARE(log.taken(), q("valueChanged valueValidChanged"));
    QCOMPARE(proxy.valueLabelValid(), QVariant(true));
}

void tst_LabelLookup::result_outlastsTheSameLabel_data()
{
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("result");
    QTest::newRow("text") << q("\"Main\"") << q("/u1/Main");
    QTest::newRow("empty text") << q("\"\"") << q("/u1/k1");
    QTest::newRow("null") << q("null") << q("/u1/k1");
    QTest::newRow("number") << q("7") << q("/u1/7");
}

void tst_LabelLookup::result_outlastsTheSameLabel()
{
    QFETCH(QString, label);
    QFETCH(QString, result);
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("/u1/k1"));
    client.event(q("/u1/k1/Label"), label);
    QCOMPARE(proxy.value(), QVariant(result));
    SignalLog log(&proxy);

    client.event(q("/u1/k1/Label"), label);
    QCOMPARE(log.taken(), QString());
    client.event(q("/u1/k1/Label"), label, q("int")); // the type is applied
    QCOMPARE(log.taken(), q("valueTypeChanged"));
    QCOMPARE(proxy.valueType(), PKeywordValueType::KVT_INT);
    client.receive(q(R"({"cmd":"keyEvent","payload":{"keyword":"/u1/k1/Label","value":%1,)"
                     R"("type":"int","error":true}})")
                       .arg(label)); // and so are the flags
    QCOMPARE(log.taken(), q("stateChanged"));
    QVERIFY(proxy.error());
    QCOMPARE(proxy.value(), QVariant(result));

    client.event(q("/u1/k1/Label"), q("\"Other\""), q("int"));
    QCOMPARE(proxy.value(), QVariant(q("Other")));
    QCOMPARE(log.taken(), q("valueChanged valueValidChanged stateChanged"));
    client.event(q("/u1/k1/Label"), label, q("int")); // no longer protected
    QCOMPARE(log.taken(), q("valueChanged valueValidChanged"));
    QVERIFY(proxy.value() != QVariant(result));
}

// A value that equals the result, but not the label, ends the protection like any other value.
void tst_LabelLookup::result_repeatedByTheServer()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("/u1/k1"));
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    client.event(q("/u1/k1/Label"), q("\"/u1/Main\""));
    QCOMPARE(proxy.value(), QVariant(q("/u1/Main")));
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    QCOMPARE(proxy.value(), QVariant(q("Main")));
}

void tst_LabelLookup::result_isProtectedUntilTheNextSubscription_data()
{
    QTest::addColumn<QString>("by");
    for (const char *by : {"link", "other client", "same keyword", "next lookup"})
        QTest::newRow(by) << q(by);
}

void tst_LabelLookup::result_isProtectedUntilTheNextSubscription()
{
    QFETCH(QString, by);
    RecordingClient client, other;
    RecordingClient *answering = &client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("/u1/k1"));
    client.event(q("/u1/k1/Label"), q("\"Main\""));

    if (by == q("link")) {
        client.publisher()->setActive(false);
        client.publisher()->setActive(true);
    } else if (by == q("other client")) {
        proxy.setClient(&other);
        answering = &other;
    } else if (by == q("same keyword")) {
        proxy.setKeyword(q("/u1/k1/Label"));
    } else {
        // The expression refuses it: the lookup continues with the next value that arrives.
        PKeywordExpression expression(q("/u1/k1/Label"));
        proxy.setKeywordExpression(&expression);
        client.event(q("/u1/k1/Label"), q("\"Main\""));
        QCOMPARE(proxy.value(), QVariant(q("Main")));
        QTest::ignoreMessage(QtWarningMsg, "Proxy is already using a keyword expression");
        proxy.getKeywordLabel(q("/u2/k2"));
        client.event(q("/u1/k1/Label"), q("\"Two\""));
        QCOMPARE(proxy.value(), QVariant(q("/u2/Two")));
        QTest::ignoreMessage(QtWarningMsg, "Proxy is already using a keyword expression");
        proxy.getKeywordLabel(q("/u3/k3"));
        client.event(q("/u1/k1/Label"), q("\"Two\""));
        QCOMPARE(proxy.value(), QVariant(q("/u3/Two")));
        return;
    }
    QVERIFY(!proxy.value().isValid());
    answering->event(q("/u1/k1/Label"), q("\"Main\""));
    QCOMPARE(proxy.value(), QVariant(q("Main")));
    QCOMPARE(proxy.valueValid(), QVariant(true));
}

// A handler of the result that subscribes again gets the label as an ordinary value.
void tst_LabelLookup::result_handlerSubscribesAgain()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    QObject scope;
    connect(&proxy, &PKeywordProxy::valueLabelValidChanged, &scope, [&] {
        if (proxy.valueLabelValid().toBool())
            proxy.setKeyword(q("/u1/k1/Label"));
    });
    proxy.getKeywordLabel(q("/u1/k1"));
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    QVERIFY(!proxy.value().isValid());
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    QCOMPARE(proxy.value(), QVariant(q("Main")));
}

void tst_LabelLookup::lookup_againAfterCompletion()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    for (const char *label : {"Main", "Other"}) {
        proxy.getKeywordLabel(q("/u1/k1"));
        QCOMPARE(proxy.valueLabelValid(), QVariant(false));
        client.event(q("/u1/k1/Label"), q("\"%1\"").arg(q(label)));
        QCOMPARE(proxy.value(), QVariant(q("/u1/") + q(label)));
    }
}

void tst_LabelLookup::lookup_sameKeyUnderWayDoesNothing()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("/u1/k1"));
    client.taken();
    SignalLog log(&proxy);
    proxy.getKeywordLabel(q("/u1/k1"));
    QCOMPARE(log.taken(), QString());
    QCOMPARE(client.taken(), QString());
}

void tst_LabelLookup::lookup_needsAClient()
{
    PKeywordProxy proxy;
    SignalLog log(&proxy);
    proxy.getKeywordLabel(q("/u1/k1"));
    QCOMPARE(log.taken(), QString());
    QCOMPARE(proxy.keyword(), QString());
}

void tst_LabelLookup::lookup_shortKeysFinishAtOnce_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("runs");
    QTest::addColumn<QString>("result");
    QTest::newRow("empty") << QString() << false << QString();
    QTest::newRow("separator") << q("/") << true << q("/");
    QTest::newRow("one level") << q("/u1") << true << q("/u1");
    QTest::newRow("no separator") << q("u1") << true << QString();
    QTest::newRow("one level after the first") << q("u1/k1") << true << q("/k1");
}

void tst_LabelLookup::lookup_shortKeysFinishAtOnce()
{
    QFETCH(QString, key);
    QFETCH(bool, runs);
    QFETCH(QString, result);
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    SignalLog log(&proxy);

    proxy.getKeywordLabel(key);

    QCOMPARE(client.taken(), QString());
    QCOMPARE(proxy.valueLabelValid(), QVariant(runs));
    QCOMPARE(log.taken(),
             runs ? q("valueLabelValidChanged valueChanged valueLabelValidChanged") : QString());
    if (runs)
        QCOMPARE(proxy.value(), QVariant(result));
    proxy.getKeywordLabel(q("/u1/k1")); // the next lookup is not affected by leftovers
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    QCOMPARE(proxy.value(), QVariant(q("/u1/Main")));
}

void tst_LabelLookup::lookup_keyWithoutLeadingSeparatorLosesItsFirstLevel()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("u1/k1/level"));
    QCOMPARE(proxy.keyword(), q("/k1/level/Label"));
    client.event(q("/k1/level/Label"), q("\"Level\""));
    QCOMPARE(proxy.value(), QVariant(q("/k1/Level")));
}

void tst_LabelLookup::lookup_abandonedLeavesItsPrefixes()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("/u1/k1/level")); // leaves its prefix /u1/k1/level behind
    proxy.getKeywordLabel(q("/u2/k2"));
    QCOMPARE(proxy.keyword(), q("/u2/Label"));
    client.event(q("/u2/Label"), q("\"Two\""));
    QCOMPARE(proxy.keyword(), q("/u2/k2/Label"));
    client.event(q("/u2/k2/Label"), q("\"Key\""));
    QCOMPARE(proxy.value(), QVariant(q("/u1/k1/level/Two/Key")));
}

void tst_LabelLookup::lookup_endedByAKeyword()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("/u1/k1"));
    proxy.setKeyword(q("/a"));
    client.event(q("/a"), q("\"x\""));
    QCOMPARE(proxy.value(), QVariant(q("x")));
    QCOMPARE(proxy.valueLabelValid(), QVariant(false));
    proxy.getKeywordLabel(q("/u1/k1")); // the previous lookup still counts as pending
    QCOMPARE(proxy.keyword(), q("/a"));
}

void tst_LabelLookup::lookup_whileAnExpressionIsSet()
{
    RecordingClient client;
    PKeywordExpression expression(q("/x"));
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeywordExpression(&expression);
    QTest::ignoreMessage(QtWarningMsg, "Proxy is already using a keyword expression");
    proxy.getKeywordLabel(q("/u1/k1/level"));
    QCOMPARE(proxy.keyword(), q("/x"));
    QTest::ignoreMessage(QtWarningMsg, "Proxy is already using a keyword expression");
    client.event(q("/x"), q("\"value\"")); // treated as a label; the next step is refused as well
    QCOMPARE(proxy.valueLabelValid(), QVariant(false));
    client.event(q("/x"), q("\"next\""));
    QCOMPARE(proxy.valueLabelValid(), QVariant(true));
}

void tst_LabelLookup::lookup_survivesTheLink()
{
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.getKeywordLabel(q("/u1/k1"));
    client.publisher()->setActive(false);
    client.publisher()->setActive(true);
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    QCOMPARE(proxy.value(), QVariant(q("/u1/Main")));
    QCOMPARE(proxy.valueLabelValid(), QVariant(true));
}

void tst_LabelLookup::synchronousServer_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("fresh");
    QTest::addColumn<QString>("result");
    for (const bool fresh : {true, false}) {
        const char *const state = fresh ? "fresh" : "bound before";
        QTest::addRow("two levels, %s", state) << q("/u1/k1") << fresh << q("/u1/Main");
        QTest::addRow("three levels, %s", state)
            << q("/u1/k1/level") << fresh << q("/u1/Main/level");
        QTest::addRow("five levels, %s", state)
            << q("/u1/k1/a/b/c") << fresh << q("/u1/Main/A/b/C");
    }
}

void tst_LabelLookup::synchronousServer()
{
    QFETCH(QString, key);
    QFETCH(bool, fresh);
    QFETCH(QString, result);
    RecordingClient client;
    answerAtOnce(client,
                 {{q("/u1/k1/Label"), q("Main")},
                  {q("/u1/k1/a/Label"), q("A")},
                  {q("/u1/k1/a/b/c/Label"), q("C")}});
    PKeywordProxy proxy;
    proxy.setClient(&client);
    if (!fresh)
        proxy.setKeyword(q("/somewhere"));

    proxy.getKeywordLabel(key);

    QCOMPARE(proxy.value(), QVariant(result));
    QCOMPARE(proxy.valueLabelValid(), QVariant(true));
}

void tst_LabelLookup::queuedServer_data()
{
    synchronousServer_data();
}

// Each create request is answered later and in order, as by a server across a network.
void tst_LabelLookup::queuedServer()
{
    QFETCH(QString, key);
    QFETCH(bool, fresh);
    QFETCH(QString, result);
    RecordingClient client;
    answerAtOnce(client,
                 {{q("/u1/k1/Label"), q("Main")},
                  {q("/u1/k1/a/Label"), q("A")},
                  {q("/u1/k1/a/b/c/Label"), q("C")}});
    int waiting = 0;
    client.answer = [&client, &waiting, answerNow = client.answer](const QByteArray &command) {
        ++waiting;
        QMetaObject::invokeMethod(
            &client,
            [&waiting, answerNow, command] {
                answerNow(command);
                --waiting;
            },
            Qt::QueuedConnection);
    };
    PKeywordProxy proxy;
    proxy.setClient(&client);
    if (!fresh)
        proxy.setKeyword(q("/somewhere"));

    proxy.getKeywordLabel(key);
    QTRY_COMPARE(waiting, 0); // the last replies repeat the last label

    QCOMPARE(proxy.value(), QVariant(result));
    QCOMPARE(proxy.valueLabelValid(), QVariant(true));
}

void tst_LabelLookup::lookup_fromAHandlerOfAnOrdinaryValue_data()
{
    QTest::addColumn<QString>("handler");
    for (const char *handler :
         {"valueChanged", "valueValidChanged", "valueTypeChanged", "stateChanged"})
        QTest::newRow(handler) << q(handler);
}

// The value that caused the call of the handler is not a label of the lookup that the handler
// starts.
void tst_LabelLookup::lookup_fromAHandlerOfAnOrdinaryValue()
{
    QFETCH(QString, handler);
    RecordingClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    bool started = false;
    QObject scope;
    const auto start = [&] {
        if (proxy.value() == QVariant(5) && !std::exchange(started, true))
            proxy.getKeywordLabel(q("/u1/k1/level"));
    };
    if (handler == q("valueChanged"))
        connect(&proxy, &PKeywordProxy::valueChanged, &scope, start);
    else if (handler == q("valueValidChanged"))
        connect(&proxy, &PKeywordProxy::valueValidChanged, &scope, start);
    else if (handler == q("valueTypeChanged"))
        connect(&proxy, &PKeywordProxy::valueTypeChanged, &scope, start);
    else
        connect(&proxy, &PKeywordProxy::stateChanged, &scope, start);

    client.event(q("/a"), q("5"), q("int"));
    QVERIFY(started);
    QCOMPARE(proxy.keyword(), q("/u1/k1/Label"));
    // A value has arrived, although the handler of valueChanged() has discarded it.
    QCOMPARE(proxy.valueValid(), QVariant(handler == q("valueChanged")));
    client.event(q("/u1/k1/Label"), q("\"Main\""));
    client.event(q("/u1/k1/level/Label"), q("\"Level\""));
    QCOMPARE(proxy.value(), QVariant(q("/u1/Main/Level")));
    QCOMPARE(proxy.valueLabelValid(), QVariant(true));
}

void tst_LabelLookup::nextLookup_fromAHandler_data()
{
    QTest::addColumn<QString>("handler");
    QTest::addColumn<bool>("synchronous");
    for (const char *handler : {"valueChanged", "valueLabelValidChanged"}) {
        QTest::addRow("%s, synchronous server", handler) << q(handler) << true;
        QTest::addRow("%s, server answers later", handler) << q(handler) << false;
    }
}

void tst_LabelLookup::nextLookup_fromAHandler()
{
    QFETCH(QString, handler);
    QFETCH(bool, synchronous);
    RecordingClient client;
    const QHash<QString, QString> labels {{q("/u1/k1/Label"), q("One")},
                                          {q("/u2/k2/Label"), q("Two")}};
    if (synchronous)
        answerAtOnce(client, labels);
    PKeywordProxy proxy;
    proxy.setClient(&client);
    QStringList results;
    bool started = false;
    QObject scope;
    const auto next = [&] {
        if (proxy.value().isValid())
            results << proxy.value().toString();
        const bool ready = handler == QLatin1String("valueChanged")
            ? proxy.value() == QVariant(q("/u1/One"))
            : proxy.valueLabelValid().toBool();
        if (ready && !std::exchange(started, true))
            proxy.getKeywordLabel(q("/u2/k2"));
    };
    if (handler == QLatin1String("valueChanged"))
        connect(&proxy, &PKeywordProxy::valueChanged, &scope, next);
    else
        connect(&proxy, &PKeywordProxy::valueLabelValidChanged, &scope, next);

    proxy.getKeywordLabel(q("/u1/k1"));
    if (!synchronous) {
        client.event(q("/u1/k1/Label"), q("\"One\""));
        QCOMPARE(proxy.keyword(), q("/u2/k2/Label"));
        QCOMPARE(proxy.valueLabelValid(), QVariant(false));
        client.event(q("/u2/k2/Label"), q("\"Two\""));
    }

    QVERIFY(started);
    QVERIFY(results.contains(q("/u1/One")));
    QCOMPARE(proxy.value(), QVariant(q("/u2/Two")));
    QCOMPARE(proxy.valueLabelValid(), QVariant(true));
}

QTEST_GUILESS_MAIN(tst_LabelLookup)
#include "tst_labellookup.moc"
