// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "extras/writing/keywordwrite.h"
#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"
#include "server/writerequest.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>
#include <QtCore/QScopeGuard>
#include <QtCore/QUrl>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQml/QQmlExpression>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <limits>
#include <memory>

using namespace pellix::client;
using pellix::extras::PKeywordWrite;
using pellix::server::KeywordServer;
using pellix::server::linkInProcess;
using pellix::server::WriteRequest;
using State = PKeywordWrite::State;

Q_DECLARE_METATYPE(pellix::client::PKeywordValueType)

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

const QString path = QStringLiteral("/a");

QString json(const QVariant &value)
{
    const QJsonArray array {QJsonValue::fromVariant(value)};
    const QByteArray text = QJsonDocument(array).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(text.mid(1, text.size() - 2));
}

// A server whose replies are sent by the test.
class Peer : public RecordingClient
{
public:
    void tell(const QVariant &value, bool error = false,
              PKeywordValueType type = PKeywordValueType::KVT_DOUBLE, bool connected = true)
    {
        PKeywordValue event;
        event.value = value;
        event.type = type;
        event.connected = event.online = connected;
        event.consistent = true;
        event.error = error;
        publisher()->publish(path, QVariant::fromValue(event));
    }
    void tellDisconnected(const QVariant &value, bool error = false)
    {
        tell(value, error, PKeywordValueType::KVT_DOUBLE, false);
    }

    // The queries, including fences, without a reply.
    QStringList queries() const
    {
        QStringList ids;
        for (const QString &command : sent) {
            const QJsonObject message = QJsonDocument::fromJson(command.toUtf8()).object();
            if (message.value(q("cmd")) == q("keyIndex"))
                ids << message.value(q("payload")).toObject().value(q("uuid")).toString();
        }
        return ids.mid(answered);
    }
    bool answerQuery()
    {
        const QString id = queries().value(0);
        ++answered;
        return !id.isEmpty()
            && receive(q(R"({"cmd":"keyIndex","payload":{"request":{"uuid":"%1"},)"
                         R"("response":[]}})")
                           .arg(id));
    }

    // "5" for a write, "+5" for a relative one
    QStringList writes() const
    {
        QStringList values;
        for (const QString &command : sent) {
            const QJsonObject message = QJsonDocument::fromJson(command.toUtf8()).object();
            const QJsonObject payload = message.value(q("payload")).toObject();
            if (message.value(q("cmd")) == q("keyUpdate"))
                values << (payload.contains(q("valueChangeMode")) ? q("+") : QString())
                        + json(payload.value(q("value")).toVariant());
        }
        return values;
    }

private:
    int answered = 0;
};

} // namespace

class tst_KeywordWrite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void defaults();
    void properties_signalOnce();
    void keyword_isAskedForAtEachConnection();

    void write_outcomes_data();
    void write_outcomes();
    void write_byAServer_data();
    void write_byAServer();
    void write_byAServerThatDecidesLater();
    void write_withoutALinkIsNotSent();
    void write_withoutAnAnswerTimesOut();
    void write_endsWithWhatCameInTime_data();
    void write_endsWithWhatCameInTime();
    void write_waitsForTheValue();
    void write_timesOutWithoutTheValue();
    void write_withoutALimitGoesOn();

    void types_data();
    void types();
    void typed_falseLeavesItToTheServer();
    void texts_haveTheUsersDecimalPoint();
    void texts_areReadAsTheLocaleWritesThem_data();
    void texts_areReadAsTheLocaleWritesThem();
    void values_ofCpp_data();
    void values_ofCpp();
    void values_ofJavaScript_data();
    void values_ofJavaScript();
    void amounts_data();
    void amounts();

    void ownEcho_amongOthersChanges();
    void ownEcho_ofARelativeWriteAmongOthersChanges();
    void refusal_ofAnEarlierWriteIsNotThatOfTheNext();
    void refusal_onceMore();
    void refusal_doesNotMeanAnErrorThatWasThere();

    void slider_sendsTheNewest();
    void slider_doesNotWaitForLong();
    void slider_withAServerThatAnswersInside();
    void slider_lastValueIsSentAtTheEnd_data();
    void slider_lastValueIsSentAtTheEnd();
    void slider_invalidValueDoesNotLoseTheOneBefore();
    void steps_addUp();
    void steps_waitForTheOneBefore();
    void slider_whatCameOfAnEarlierValueIsNotThatOfTheLast();

    void source_lostWhilePending_data();
    void source_lostWhilePending();
    void source_notConnectedFromTheStart();
    void link_lostWhilePending();
    void link_lostWhileAValueWaits();
    void link_backWithTheValue();
    void client_deletedWhilePending();

    void reset_forgets();
    void handlers_mayDeleteAnything_data();
    void handlers_mayDeleteAnything();
    void handlers_mayWriteAgain();
};

void tst_KeywordWrite::defaults()
{
    const PKeywordWrite write;
    QCOMPARE(write.client(), nullptr);
    QCOMPARE(write.keyword(), QString());
    QCOMPARE(write.confirmWithin(), 6000);
    QVERIFY(write.isTyped());
    QVERIFY(!write.isReady());
    QCOMPARE(write.current(), QVariant());
    QCOMPARE(write.state(), State::Idle);
    QVERIFY(!write.isPending() && !write.isRelative() && !write.isUnchanged());
    QCOMPARE(write.asked(), QVariant());
    QCOMPARE(write.received(), QVariant());
    QCOMPARE(write.elapsed(), 0);
    QCOMPARE(write.problem(), QString());
}

void tst_KeywordWrite::properties_signalOnce()
{
    Peer peer;
    PKeywordWrite write;
    QSignalSpy client(&write, &PKeywordWrite::clientChanged);
    QSignalSpy keyword(&write, &PKeywordWrite::keywordChanged);
    QSignalSpy confirmWithin(&write, &PKeywordWrite::confirmWithinChanged);
    QSignalSpy typed(&write, &PKeywordWrite::typedChanged);
    for (int i = 0; i < 2; ++i) {
        write.setClient(&peer);
        write.setKeyword(path);
        write.setConfirmWithin(10);
        write.setTyped(false);
    }
    QCOMPARE(client.size(), 1);
    QCOMPARE(keyword.size(), 1);
    QCOMPARE(confirmWithin.size(), 1);
    QCOMPARE(typed.size(), 1);
    QCOMPARE(write.client(), &peer);
    QCOMPARE(write.keyword(), path);
    QCOMPARE(write.confirmWithin(), 10);
    QVERIFY(!write.isTyped());
}

void tst_KeywordWrite::keyword_isAskedForAtEachConnection()
{
    const QString create = q(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/a"}})");
    Peer peer;
    PKeywordWrite write;
    write.setKeyword(path);
    write.setClient(&peer);
    QCOMPARE(peer.taken(), create);
    QVERIFY(!write.isReady());
    peer.tell(5.0);
    QVERIFY(write.isReady());
    QCOMPARE(write.current(), QVariant(5.0));
    QCOMPARE(write.lastEvent().type, PKeywordValueType::KVT_DOUBLE);

    peer.publisher()->setActive(false);
    QVERIFY(!write.isReady());
    QCOMPARE(write.current(), QVariant());
    QCOMPARE(peer.taken(), QString());
    peer.publisher()->setActive(true);
    QCOMPARE(peer.taken(), create);

    peer.tell(6.0);
    write.setKeyword(q("/b"));
    QVERIFY(!write.isReady());
    QCOMPARE(peer.taken(),
             q(R"({"cmd":"keyDestroy","payload":{"keyword":"/a"}})"
               "\n"
               R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/b"}})"));
    Peer other;
    write.setClient(&other);
    QCOMPARE(other.taken(), q(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/b"}})"));
}

void tst_KeywordWrite::write_outcomes_data()
{
    QTest::addColumn<QVariant>("before");
    QTest::addColumn<bool>("wasError");
    QTest::addColumn<bool>("relative");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QVariant>("answer"); // invalid: no event
    QTest::addColumn<bool>("error");
    QTest::addColumn<State>("state"); // after the event
    QTest::addColumn<State>("behindFence");

    const auto row = [](const char *name, const QVariant &before, const QVariant &value,
                        const QVariant &answer, State state, State behindFence) -> QTestData & {
        return QTest::newRow(name)
            << before << false << false << value << answer << false << state << behindFence;
    };
    const auto error = [](const char *name, bool wasError, const QVariant &before,
                          const QVariant &value, const QVariant &answer, State state,
                          State behindFence) {
        QTest::newRow(name) << before << wasError << false << value << answer << true << state
                            << behindFence;
    };
    const auto relative = [](const char *name, const QVariant &before, const QVariant &value,
                             const QVariant &answer, bool error, State state, State behindFence) {
        QTest::newRow(name) << before << false << true << value << answer << error << state
                            << behindFence;
    };
    const QVariant none;
    row("the value", 0.0, 5, 5.0, State::Taken, State::Taken);
    row("as a whole number", 0.0, 5.0, 5, State::Taken, State::Taken);
    row("in single precision", 0.0, 0.1, double(0.1F), State::Taken, State::Taken);
    row("nearly", 0.0, 0.1, 0.1000001, State::Pending, State::Changed);
    row("a text", q("y"), q("x"), q("x"), State::Taken, State::Taken);
    row("another value", 0.0, 5, 4.0, State::Pending, State::Changed);
    row("another type", 0.0, 1, q("1"), State::Pending, State::Changed);
    row("limited to what it was", 4.0, 5, 4.0, State::Pending, State::Changed);
    row("nothing", 4.0, 5, none, State::Pending, State::Pending);
    row("nothing, as it was", 5.0, 5, none, State::Pending, State::Taken);
    row("64 bits, to the last", 0, qlonglong(9007199254740993), qlonglong(9007199254740993),
        State::Taken, State::Taken);
    row("64 bits, but the last", 0, qlonglong(9007199254740993), qlonglong(9007199254740992),
        State::Pending, State::Changed);
    row("a list", none, QVariantList {1, 2.0}, QVariantList {1.0, 2}, State::Taken, State::Taken);
    row("a map", none, QVariantMap {{q("x"), 1}}, QVariantMap {{q("x"), 1.0}}, State::Taken,
        State::Taken);
    row("another list", none, QVariantList {1, 2}, QVariantList {1}, State::Pending,
        State::Changed);
    row("null", 1, QVariant::fromValue(nullptr), QVariant::fromValue(nullptr), State::Taken,
        State::Taken);
    error("an error", false, 0.0, 5, 5.0, State::Refused, State::Refused);
    error("an error, as it was", false, 4.0, 5, 4.0, State::Refused, State::Refused);
    error("an error before, and the value", true, 4.0, 5, 5.0, State::Taken, State::Taken);
    error("an error before, as it was", true, 4.0, 5, 4.0, State::Refused, State::Refused);
    error("an error before, another value", true, 4.0, 5, 3.0, State::Pending, State::Changed);
    relative("relative", 41, 1, 42, false, State::Taken, State::Taken);
    relative("relative, another", 41, 1, 43, false, State::Pending, State::Changed);
    relative("relative, an error", 41, 1, 41, true, State::Refused, State::Refused);
    relative("relative, by nothing", 41, 0, none, false, State::Pending, State::Taken);
    relative("relative, nothing came", 41, 1, none, false, State::Pending, State::Pending);
    relative("relative to no number", none, 1, 7, false, State::Taken, State::Taken);
    relative("toggled", false, true, true, false, State::Taken, State::Taken);
    relative("not toggled", false, true, false, false, State::Pending, State::Changed);
}

void tst_KeywordWrite::write_outcomes()
{
    QFETCH(const QVariant, before);
    QFETCH(const bool, wasError);
    QFETCH(const bool, relative);
    QFETCH(const QVariant, value);
    QFETCH(const QVariant, answer);
    QFETCH(const bool, error);
    QFETCH(const State, state);
    QFETCH(const State, behindFence);

    Peer peer;
    PKeywordWrite write;
    write.setTyped(false);
    write.setClient(&peer);
    write.setKeyword(path);
    QSignalSpy finished(&write, &PKeywordWrite::finished);
    peer.tell(before, wasError, PKeywordValueType::KVT_INT); // before the write: not a reply
    QCOMPARE(write.state(), State::Idle);

    if (relative)
        write.add(value);
    else
        write.set(value);
    QCOMPARE(write.state(), State::Pending);
    QCOMPARE(json(write.asked()), json(value));
    QCOMPARE(write.isRelative(), relative);
    QCOMPARE(peer.writes(), QStringList((relative ? q("+") : QString()) + json(value)));
    if (answer.isValid())
        peer.tell(answer, error, PKeywordValueType::KVT_INT);
    QCOMPARE(write.state(), state);
    QCOMPARE(write.isPending(), state == State::Pending);
    QVERIFY(peer.answerQuery());
    QCOMPARE(write.state(), behindFence);
    QCOMPARE(finished.size(), behindFence == State::Pending ? 0 : 1);
    if (behindFence == State::Pending)
        return;
    QCOMPARE(write.received(), answer);
    QCOMPARE(write.isUnchanged(), !answer.isValid());
    QCOMPARE(write.problem(), behindFence == State::Refused ? q("the server refused it") : q(""));
    QVERIFY(write.elapsed() >= 0);

    peer.tell(77.0); // later, caused by another client
    QCOMPARE(write.state(), behindFence);
    QCOMPARE(write.received(), answer);
    write.setKeyword(q("/b"));
    QCOMPARE(write.state(), State::Idle);
    QCOMPARE(finished.size(), 1);
}

void tst_KeywordWrite::write_byAServer_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QVariant>("before");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("relative");
    QTest::addColumn<State>("state");
    QTest::addColumn<QVariant>("after");

    const auto row = [](const char *type, const QVariant &before, const QVariant &value,
                        bool relative, State state, const QVariant &after) {
        QTest::addRow("%s, %s%s to %s", type, relative ? "+" : "", qPrintable(json(value)),
                      qPrintable(json(before)))
            << q(type) << before << value << relative << state << after;
    };
    row("int", 5, 7, false, State::Taken, 7);
    row("int", 5, 5, false, State::Taken, 5);
    row("int", 5, 200, false, State::Changed, 100); // limited by the server
    row("int", 5, -3, false, State::Refused, 5);
    row("int", 5, q("007"), false, State::Taken, 7);
    row("int", 5, q("7.5"), false, State::NotSent, 5);
    row("int", 5, 2, true, State::Taken, 7);
    row("int", 99, 2, true, State::Changed, 100);
    row("int", 5, -10, true, State::Refused, 5);
    row("int", 5, 0, true, State::Taken, 5);
    row("double", 1.5, 2, false, State::Taken, 2);
    row("double", 1.5, 0.1, true, State::Taken, 1.6);
    row("double", 1.5, q("1e1"), false, State::Taken, 10);
    row("bool", true, false, false, State::Taken, false);
    row("bool", true, true, true, State::Taken, false);
    row("string", q("a"), q("b"), false, State::Taken, q("b"));
    row("string", q("a"), 5, false, State::Taken, q("5"));
    row("string", q("a"), 5, true, State::NotSent, q("a"));
    row("object", QVariantMap(), QVariantMap {{q("x"), QVariantList {1, true}}}, false,
        State::Taken, QVariantMap {{q("x"), QVariantList {1, true}}});
}

void tst_KeywordWrite::write_byAServer()
{
    QFETCH(const QString, type);
    QFETCH(const QVariant, before);
    QFETCH(const QVariant, value);
    QFETCH(const bool, relative);
    QFETCH(const State, state);
    QFETCH(const QVariant, after);

    KeywordServer server;
    QVERIFY(server.declare({path, type, q("RW"), QString(), before}));
    server.setWriteHandler(path, [](const WriteRequest &request) {
        if (request.value().typeId() != QMetaType::LongLong)
            request.accept();
        else if (request.value().toInt() >= 0)
            request.accept(qMin(request.value().toInt(), 100));
        else
            request.refuse();
    });
    PInProcessKeywordClient client;
    linkInProcess(&server, &client);
    PKeywordWrite write;
    write.setConfirmWithin(0);
    write.setClient(&client);
    write.setKeyword(path);
    QTRY_VERIFY(write.isReady());

    if (relative)
        write.add(value);
    else
        write.set(value);
    QTRY_COMPARE(write.state(), state);
    QCOMPARE(json(write.current()), json(after));
    QCOMPARE(json(server.value(path)), json(after));
    QCOMPARE(write.problem().isEmpty(), state == State::Taken || state == State::Changed);
}

// The reply to the query arrives long before the event of the write, and another client writes in
// between.
void tst_KeywordWrite::write_byAServerThatDecidesLater()
{
    KeywordServer server;
    QVERIFY(server.declare({path, q("int"), q("RW"), QString(), 5}));
    WriteRequest request;
    server.setWriteHandler(path, [&request](const WriteRequest &asked) { request = asked; });
    PInProcessKeywordClient client;
    linkInProcess(&server, &client);
    PKeywordWrite write;
    write.setConfirmWithin(0);
    write.setClient(&client);
    write.setKeyword(path);
    QTRY_VERIFY(write.isReady());

    QSignalSpy answered(&client, &PKeywordClient::keyIndexResponse);
    write.set(7);
    QTRY_COMPARE(answered.size(), 1);
    QVERIFY(server.setValue(path, 6));
    QTRY_COMPARE(write.current(), QVariant(6));
    QCOMPARE(write.state(), State::Pending);
    request.accept();
    QTRY_COMPARE(write.state(), State::Taken);

    write.set(9);
    QTRY_COMPARE(answered.size(), 2);
    QCOMPARE(write.state(), State::Pending);
    request.refuse();
    QTRY_COMPARE(write.state(), State::Refused);
    QCOMPARE(write.received(), QVariant(7));
}

void tst_KeywordWrite::write_withoutALinkIsNotSent()
{
    PKeywordWrite write;
    QSignalSpy finished(&write, &PKeywordWrite::finished);
    write.set(1);
    QCOMPARE(write.state(), State::NotSent);
    QCOMPARE(write.problem(), q("there is no client"));
    QCOMPARE(finished.size(), 1);

    Peer peer;
    write.setClient(&peer);
    QCOMPARE(write.state(), State::Idle);
    write.set(1);
    QCOMPARE(write.state(), State::NotSent);
    QCOMPARE(write.problem(), q("there is no keyword"));

    peer.publisher()->setActive(false);
    write.setKeyword(path);
    write.add(1);
    QCOMPARE(write.state(), State::NotSent);
    QCOMPARE(write.problem(), q("there is no connection"));
    QCOMPARE(write.asked(), QVariant(1));

    // A keyword that the server does not have
    peer.publisher()->setActive(true);
    peer.publisher()->publish(path, QVariant::fromValue(PKeywordValue()));
    write.set(1);
    QCOMPARE(write.state(), State::NotSent);
    QCOMPARE(write.problem(), q("there is no such keyword"));
    QCOMPARE(peer.writes(), QStringList());

    // A client without a transport
    PKeywordClient none;
    none.publisher()->setActive(true);
    write.setClient(&none);
    none.publisher()->publish(path,
                              QVariant::fromValue(PKeywordValue {5, {}, true, true, true, false}));
    write.set(1);
    QCOMPARE(write.state(), State::NotSent);
    QCOMPARE(write.problem(), q("the client did not accept the command"));
}

void tst_KeywordWrite::write_withoutAnAnswerTimesOut()
{
    Peer peer;
    PKeywordWrite write;
    write.setConfirmWithin(30);
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5.0);
    QSignalSpy finished(&write, &PKeywordWrite::finished);
    write.set(6);
    QVERIFY(finished.wait());
    QCOMPARE(write.state(), State::TimedOut);
    QCOMPARE(write.problem(), q("no reply within 0.03 s"));
    QVERIFY(write.elapsed() > 0);
    QCOMPARE(write.received(), QVariant());

    peer.tell(6.0); // after the timeout
    QCOMPARE(write.state(), State::TimedOut);
    write.set(7);
    peer.tell(7.0);
    QCOMPARE(write.state(), State::Taken);
    QCOMPARE(write.problem(), QString());
}

void tst_KeywordWrite::write_endsWithWhatCameInTime_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QVariant>("answer");
    QTest::addColumn<State>("state");
    QTest::newRow("another value") << QVariant(6) << QVariant(7.0) << State::Changed;
    QTest::newRow("as it was") << QVariant(5) << QVariant() << State::Taken;
}

// The server does not reply to queries
void tst_KeywordWrite::write_endsWithWhatCameInTime()
{
    QFETCH(const QVariant, value);
    QFETCH(const QVariant, answer);
    QFETCH(const State, state);
    Peer peer;
    PKeywordWrite write;
    write.setConfirmWithin(30);
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5.0);
    write.set(value);
    if (answer.isValid())
        peer.tell(answer);
    QCOMPARE(write.state(), State::Pending);
    QTRY_COMPARE(write.state(), state);
    QCOMPARE(write.received(), answer);
    QCOMPARE(write.isUnchanged(), !answer.isValid());
}

void tst_KeywordWrite::write_waitsForTheValue()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    write.set(q("007"));
    write.set(q("008"));
    QCOMPARE(write.state(), State::Pending);
    QCOMPARE(peer.writes(), QStringList());
    peer.tell(5, false, PKeywordValueType::KVT_INT); // not a reply: the value from before the write
    QCOMPARE(write.state(), State::Pending);
    QCOMPARE(peer.writes(), QStringList(q("8")));
    QCOMPARE(write.asked(), QVariant(8));
    peer.tell(8, false, PKeywordValueType::KVT_INT);
    QCOMPARE(write.state(), State::Taken);

    write.setKeyword(q("/b"));
    write.setKeyword(path);
    write.set(q("x"));
    QCOMPARE(write.state(), State::Pending);
    peer.tell(5, false, PKeywordValueType::KVT_INT);
    QCOMPARE(write.state(), State::NotSent);
    QCOMPARE(write.problem(), q("\"x\" is not an integer"));
    QCOMPARE(peer.writes(), QStringList(q("8")));

    write.setKeyword(q("/b"));
    write.setKeyword(path);
    write.set(5);
    peer.publisher()->publish(path, QVariant::fromValue(PKeywordValue()));
    QCOMPARE(write.state(), State::NotSent);
    QCOMPARE(write.problem(), q("there is no such keyword"));
}

void tst_KeywordWrite::write_timesOutWithoutTheValue()
{
    Peer peer;
    PKeywordWrite write;
    write.setConfirmWithin(30);
    write.setClient(&peer);
    write.setKeyword(path);
    write.set(5);
    QTRY_COMPARE(write.state(), State::TimedOut);
    QCOMPARE(write.problem(), q("the server has not sent the value of the keyword"));
    peer.tell(1.0);
    QCOMPARE(peer.writes(), QStringList()); // the pending write was discarded
}

void tst_KeywordWrite::write_withoutALimitGoesOn()
{
    Peer peer;
    PKeywordWrite limited;
    PKeywordWrite write;
    for (PKeywordWrite *object : {&limited, &write}) {
        object->setConfirmWithin(object == &limited ? 30 : 0);
        object->setClient(&peer);
        object->setKeyword(path);
    }
    peer.tell(5.0);
    write.set(6);
    limited.set(6);
    QTRY_COMPARE(limited.state(), State::TimedOut);
    QCOMPARE(write.state(), State::Pending);
}

void tst_KeywordWrite::types_data()
{
    QTest::addColumn<PKeywordValueType>("type");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("sent"); // as JSON
    QTest::addColumn<QString>("problem");

    const auto row = [](const char *type, PKeywordValueType number, const QVariant &value,
                        const char *sent, const char *problem = "") {
        QTest::addRow("%s, %s %s", type, value.typeName(), qPrintable(json(value)))
            << number << value << q(sent) << q(problem);
    };
    const auto toInt = [&](const QVariant &value, const char *sent, const char *problem = "") {
        row("int", PKeywordValueType::KVT_INT, value, sent, problem);
    };
    toInt(7, "7");
    toInt(7.0, "7");
    toInt(7.5, "", "7.5 is not an integer");
    toInt(q("007"), "7");
    toInt(q(" +7 "), "7");
    toInt(q("7.0"), "7");
    toInt(q("7.5"), "", "\"7.5\" is not an integer");
    toInt(q("1e3"), "1000");
    toInt(q("x"), "", "\"x\" is not an integer");
    toInt(q(""), "", "\"\" is not an integer");
    toInt(q("0x10"), "", "\"0x10\" is not an integer");
    toInt(q("nan"), "", "\"nan\" is not an integer");
    toInt(q("9223372036854775807"), "9223372036854775807");
    toInt(q("-9223372036854775808"), "-9223372036854775808");
    toInt(q("9223372036854775808"), "", "9223372036854775808 does not fit into 64 bits");
    toInt(std::numeric_limits<qlonglong>::min(), "-9223372036854775808");
    toInt(qlonglong(9007199254740993), "9007199254740993");
    toInt(9223372036854775808.0, "", "9223372036854776000 does not fit into 64 bits");
    toInt(true, "1");
    toInt(QVariant::fromValue(nullptr), "", "nothing is not an integer");
    toInt(QVariantList {1}, "", "[1] is not an integer");

    const auto toDouble = [&](const QVariant &value, const char *sent, const char *problem = "") {
        row("double", PKeywordValueType::KVT_DOUBLE, value, sent, problem);
    };
    toDouble(7, "7");
    toDouble(7.25, "7.25");
    toDouble(q("7.25"), "7.25");
    toDouble(q(".5"), "0.5");
    toDouble(q("1e400"), "", "1e400 is too large");
    toDouble(q("warm"), "", "\"warm\" is not a number");
    toDouble(qlonglong(9007199254740992), "9007199254740992");
    toDouble(qlonglong(9007199254740993), "",
             "9007199254740993 cannot be represented exactly as a floating-point number");
    toDouble(std::numeric_limits<qlonglong>::max(), "",
             "9223372036854775807 cannot be represented exactly as a floating-point number");
    toDouble(false, "0");

    const auto toBool = [&](const QVariant &value, const char *sent, const char *problem = "") {
        row("bool", PKeywordValueType::KVT_BOOL, value, sent, problem);
    };
    toBool(true, "true");
    toBool(1, "true");
    toBool(0.0, "false");
    toBool(2, "", "2 is neither true nor false");
    toBool(q("true"), "true");
    toBool(q("0"), "false");
    toBool(q("yes"), "", "\"yes\" is neither true nor false");

    const auto toText = [&](const QVariant &value, const char *sent, const char *problem = "") {
        row("string", PKeywordValueType::KVT_STRING, value, sent, problem);
    };
    toText(q("007"), "\"007\"");
    toText(q(""), "\"\"");
    toText(7, "\"7\"");
    toText(0.1, "\"0.1\"");
    toText(true, "\"true\"");
    toText(QVariantList {1, 2}, "", "[1,2] is not a string");
    toText(QVariant::fromValue(nullptr), "", "nothing is not a string");

    const auto toObject = [&](const QVariant &value, const char *sent, const char *problem = "") {
        row("object", PKeywordValueType::KVT_OBJECT, value, sent, problem);
    };
    toObject(QVariantList {1, q("x")}, "[1,\"x\"]");
    toObject(QVariantMap {{q("a"), 1}}, "{\"a\":1}");
    toObject(QVariant::fromValue(nullptr), "null");
    toObject(q("{\"a\":[1]}"), "{\"a\":[1]}");
    toObject(q(" null "), "null");
    toObject(q("a"), "", "\"a\" is neither an object nor a list");
    toObject(q(""), "", "\"\" is neither an object nor a list");
    QJsonParseError error;
    QJsonDocument::fromJson("[1, 2, ]", &error);
    toObject(q("[1, 2, ]"), "",
             qPrintable(q("not valid JSON at character 8: ") + error.errorString()));
    QJsonDocument::fromJson("[\"\u00e4\", }", &error);
    toObject(q("[\"\u00e4\", }"), "",
             qPrintable(q("not valid JSON at character 7: ") + error.errorString()));
    toObject(QString(50, QLatin1Char('x')), "",
             "\"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx…\" is neither an object nor a list");
    toObject(5, "", "5 is neither an object nor a list");
    // QJsonDocument would round these, without an error.
    toObject(q("[1, {\"a\": 9223372036854775808}]"), "",
             "9223372036854775808 does not fit into 64 bits");
    toObject(q("[-123456789012345678901234567890123456789012345]"), "",
             "-123456789012345678901234567890123456789… does not fit into 64 bits");
    toObject(q("[-9223372036854775808, 9223372036854775807]"),
             "[-9223372036854775808,9223372036854775807]");
    toObject(q("[\"\\\"12345678901234567890\", 0.12345678901234567890, 1e300]"),
             "[\"\\\"12345678901234567890\",0.12345678901234568,1e+300]");

    const auto toAny = [&](const QVariant &value, const char *sent) {
        row("no type", PKeywordValueType::KVT_NOPROP, value, sent);
    };
    toAny(q("007"), "\"007\"");
    toAny(7.5, "7.5");
    toAny(QVariantList {1}, "[1]");
    toAny(QVariant::fromValue(nullptr), "null");
}

void tst_KeywordWrite::types()
{
    QFETCH(const PKeywordValueType, type);
    QFETCH(const QVariant, value);
    QFETCH(const QString, sent);
    QFETCH(const QString, problem);
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(QVariant(), false, type);
    write.set(value);
    QCOMPARE(write.problem(), problem);
    QCOMPARE(peer.writes(), sent.isEmpty() ? QStringList() : QStringList(sent));
    QCOMPARE(write.state(), sent.isEmpty() ? State::NotSent : State::Pending);
    if (!sent.isEmpty())
        QCOMPARE(json(write.asked()), sent);
}

void tst_KeywordWrite::typed_falseLeavesItToTheServer()
{
    Peer peer;
    PKeywordWrite write;
    write.setTyped(false);
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5, false, PKeywordValueType::KVT_INT);
    write.set(q("x"));
    QCOMPARE(peer.writes(), QStringList(q("\"x\"")));
    peer.tell(5, true, PKeywordValueType::KVT_INT);
    QCOMPARE(write.state(), State::Refused);
}

void tst_KeywordWrite::texts_haveTheUsersDecimalPoint()
{
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German));
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5.0);
    write.set(q("7,5"));
    peer.tell(7.5);
    write.set(q("8.5"));
    peer.tell(8.5);
    for (const char *text : {"1.234,5", "1,2,3"}) {
        write.set(q(text));
        QCOMPARE(write.state(), State::NotSent);
    }
    write.add(q("-0,5"));
    peer.tell(5, false, PKeywordValueType::KVT_INT);
    write.set(1234.5);
    QCOMPARE(write.problem(), q("1234,5 is not an integer")); // in the notation of the locale
    QLocale::setDefault(before);
    QCOMPARE(peer.writes(), QStringList({q("7.5"), q("8.5"), q("+-0.5")}));
}

void tst_KeywordWrite::texts_areReadAsTheLocaleWritesThem_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("sent"); // empty: refused
    const auto row = [](const char *locale, const QString &text, const char *sent) {
        QTest::addRow("%s: %s", locale, text.isEmpty() ? "-" : qPrintable(text))
            << q(locale) << text << q(sent);
    };
    // A table shows a value in the form in which users edit it.
    for (const char *name : {"sv", "ar_EG", "fa", "hi", "mr", "de", "ckb", "ff_Adlm", "C"}) {
        QLocale locale(q(name));
        locale.setNumberOptions(QLocale::OmitGroupSeparator);
        const auto shown = [&locale](double number) {
            return locale.toString(number, 'g', QLocale::FloatingPointShortest);
        };
        row(name, locale.toString(-42), "-42");
        row(name, shown(-1234.5), "-1234.5");
        row(name, shown(1.5e-300), "1.5e-300");
        row(name, locale.positiveSign() + shown(2.5), "2.5");
        row(name, q("-7.25"), "-7.25"); // the notation of programs
    }
    row("sv", q("\u22123,5e\u22122"), "-0.035");
    row("C", q("\u22123"), "-3");
    row("de", q("\u0661\u0662"), "12"); // from a keyboard of another language
    row("ar_EG", q("\u0665\u0665\u066b\u0665"), "55.5");
    row("ar_EG", q("\u0661\u066c\u0662\u0663\u0664"), ""); // with a group separator
    row("fa", q("\u06f1\u066b\u06f2\u066b\u06f3"), "");
    row("sv", q("3\u2212"), "");
    row("sv", q("\u2212\u22123"), "");
    row("C", q("\u00b2"), ""); // a digit that is not part of a number
    row("C", q("\u200e"), "");
    row("sv", q("1\u00d710"), "");
}

void tst_KeywordWrite::texts_areReadAsTheLocaleWritesThem()
{
    QFETCH(const QString, locale);
    QFETCH(const QString, text);
    QFETCH(const QString, sent);
    const QLocale before;
    const auto back = qScopeGuard([&before] { QLocale::setDefault(before); });
    QLocale::setDefault(QLocale(locale));
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5.0);
    write.set(text);
    QCOMPARE(peer.writes().join(q(" ")), sent);
    QCOMPARE(write.state(), sent.isEmpty() ? State::NotSent : State::Pending);
    QCOMPARE(write.problem().contains(text), sent.isEmpty());
}

void tst_KeywordWrite::values_ofCpp_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("sent");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char *name, const QVariant &value, const char *sent,
                        const char *problem = "") {
        QTest::newRow(name) << value << q(sent) << q(problem);
    };
    row("none", {}, "", "undefined cannot be written");
    row("float", 1.5F, "1.5");
    row("unsigned", 4294967295U, "4294967295");
    row("short", QVariant::fromValue(short(-3)), "-3");
    row("unsigned, 64 bits", qulonglong(5), "5");
    row("unsigned, too great", std::numeric_limits<qulonglong>::max(), "",
        "18446744073709551615 does not fit into 64 bits");
    row("not a number", std::numeric_limits<double>::quiet_NaN(), "",
        "NaN and infinity cannot be written");
    row("within a list", QVariantList {1, std::numeric_limits<double>::infinity()}, "",
        "NaN and infinity cannot be written");
    row("texts", QStringList {q("a"), q("b")}, "[\"a\",\"b\"]");
    row("hash", QVariantHash {{q("a"), 1}}, "{\"a\":1}");
    row("numbers", QVariant::fromValue(QList<int> {1, 2}), "[1,2]");
    row("time", QDateTime::fromString(q("2026-11-22T09:30:00Z"), Qt::ISODate),
        "\"2026-11-22T09:30:00.000Z\"");
    row("no time", QDateTime(), "", "an invalid date cannot be written");
    row("address", QUrl(q("http://a/b")), "\"http://a/b\"");
    row("enumerator", QVariant::fromValue(PKeywordWrite::Refused), "4");
    row("JSON", QJsonArray {1, QJsonValue::Null}, "[1,null]");
    row("JSON object", QJsonObject {{q("a"), true}}, "{\"a\":true}");
    row("JSON value", QJsonValue(5), "5");
    row("object", QVariant::fromValue<QObject *>(this), "", "a QObject* cannot be written");
    row("record", QVariant::fromValue(PKeywordValue()), "",
        "a pellix::client::PKeywordValue cannot be written");
}

void tst_KeywordWrite::values_ofCpp()
{
    QFETCH(const QVariant, value);
    QFETCH(const QString, sent);
    QFETCH(const QString, problem);
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5, false, PKeywordValueType::KVT_NOPROP);
    write.set(value);
    QCOMPARE(write.problem(), problem);
    QCOMPARE(peer.writes(), sent.isEmpty() ? QStringList() : QStringList(sent));
}

void tst_KeywordWrite::values_ofJavaScript_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("sent");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char *script, const char *sent, const char *problem = "") {
        QTest::newRow(script) << q(script) << q(sent) << q(problem);
    };
    row("5", "5");
    row("5.5", "5.5");
    row("2147483648", "2147483648");
    row("'x'", "\"x\"");
    row("true", "true");
    row("null", "null");
    row("[1, 'x', [true, null]]", "[1,\"x\",[true,null]]");
    row("({a: 1, b: {c: [2]}})", "{\"a\":1,\"b\":{\"c\":[2]}}");
    row("[]", "[]");
    row("({})", "{}");
    row("new Date(Date.UTC(2026, 10, 22, 9, 30))", "\"2026-11-22T09:30:00.000Z\"");
    row("[new Date(0)]", "[\"1970-01-01T00:00:00.000Z\"]");
    row("undefined", "", "undefined cannot be written");
    row("[1, undefined]", "", "undefined cannot be written");
    row("({a: undefined})", "", "undefined cannot be written");
    row("() => 5", "", "a function cannot be written");
    row("({a: [() => 5]})", "", "a function cannot be written");
    row("NaN", "", "NaN and infinity cannot be written");
    row("[Infinity]", "", "NaN and infinity cannot be written");
    row("(() => { const a = []; a.push(a); a.push(a); return a })()", "",
        "a list or an object that contains itself cannot be written");
    row("(() => { const a = {}; a.a = a; return a })()", "",
        "a list or an object that contains itself cannot be written");
    row("write", "", "a QObject* cannot be written");
    row("[write]", "", "a QObject* cannot be written");
    row("new Date(NaN)", "", "an invalid date cannot be written");
}

void tst_KeywordWrite::values_ofJavaScript()
{
    QFETCH(const QString, script);
    QFETCH(const QString, sent);
    QFETCH(const QString, problem);
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5, false, PKeywordValueType::KVT_NOPROP);

    QQmlEngine engine;
    engine.rootContext()->setContextProperty(q("write"), &write);
    QQmlExpression expression(engine.rootContext(), nullptr, q("write.set(%1)").arg(script));
    expression.evaluate();
    QVERIFY2(!expression.hasError(), qPrintable(expression.error().toString()));
    QCOMPARE(write.problem(), problem);
    QCOMPARE(peer.writes(), sent.isEmpty() ? QStringList() : QStringList(sent));
}

void tst_KeywordWrite::amounts_data()
{
    QTest::addColumn<PKeywordValueType>("type");
    QTest::addColumn<QVariant>("before");
    QTest::addColumn<QVariant>("amount");
    QTest::addColumn<QString>("sent");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char *name, PKeywordValueType type, const QVariant &before,
                        const QVariant &amount, const char *sent, const char *problem = "") {
        QTest::newRow(name) << type << before << amount << q(sent) << q(problem);
    };
    row("int", PKeywordValueType::KVT_INT, 5, -2, "+-2");
    row("text", PKeywordValueType::KVT_INT, 5, q("1"), "+1");
    row("fraction", PKeywordValueType::KVT_INT, 5, 0.5, "", "0.5 is not an integer");
    row("too much", PKeywordValueType::KVT_INT, std::numeric_limits<qlonglong>::max(), 1, "",
        "the sum does not fit into 64 bits");
    row("double", PKeywordValueType::KVT_DOUBLE, 5, 0.5, "+0.5");
    row("bool", PKeywordValueType::KVT_BOOL, true, true, "+true");
    row("string", PKeywordValueType::KVT_STRING, q("5"), 1, "", "nothing can be added to a string");
    row("object", PKeywordValueType::KVT_OBJECT, QVariantMap(), 1, "",
        "nothing can be added to an object");
}

void tst_KeywordWrite::amounts()
{
    QFETCH(const PKeywordValueType, type);
    QFETCH(const QVariant, before);
    QFETCH(const QVariant, amount);
    QFETCH(const QString, sent);
    QFETCH(const QString, problem);
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(before, false, type);
    write.add(amount);
    QCOMPARE(write.problem(), problem);
    QVERIFY(write.isRelative());
    QCOMPARE(peer.writes(), sent.isEmpty() ? QStringList() : QStringList(sent));
}

void tst_KeywordWrite::ownEcho_amongOthersChanges()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5.0);
    write.set(70);
    peer.tell(33.0); // caused by another client
    QCOMPARE(write.state(), State::Pending);
    peer.tell(70.0);
    QCOMPARE(write.state(), State::Taken);
    QCOMPARE(write.received(), QVariant(70.0));
    QVERIFY(peer.answerQuery());
    peer.tell(34.0);
    QCOMPARE(write.state(), State::Taken);

    // After the early reply to the query
    write.set(80);
    QVERIFY(peer.answerQuery());
    peer.tell(35.0);
    QCOMPARE(write.state(), State::Pending);
    peer.tell(80.0);
    QCOMPARE(write.state(), State::Taken);
}

void tst_KeywordWrite::ownEcho_ofARelativeWriteAmongOthersChanges()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(10.0);
    write.add(5);
    peer.tell(20.0); // caused by another client, before the step
    QCOMPARE(write.state(), State::Pending);
    peer.tell(25.0);
    QCOMPARE(write.state(), State::Taken);
    QCOMPARE(write.received(), QVariant(25.0));
}

void tst_KeywordWrite::refusal_ofAnEarlierWriteIsNotThatOfTheNext()
{
    Peer peer;
    PKeywordWrite write;
    write.setConfirmWithin(0);
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(60.0);
    write.set(90);
    write.set(75);
    QCOMPARE(peer.writes(), QStringList(q("90")));
    QTRY_COMPARE(peer.writes(), QStringList({q("90"), q("75")})); // without a reply to 90
    peer.tell(60.0, true); // the reply to 90
    QCOMPARE(write.state(), State::Pending);
    QVERIFY(peer.answerQuery());
    QCOMPARE(write.state(), State::Pending);
    peer.tell(75.0);
    QCOMPARE(write.state(), State::Taken);

    // In the opposite order
    QVERIFY(peer.answerQuery());
    write.set(76);
    write.set(95);
    QTRY_COMPARE(peer.writes().size(), 4);
    peer.tell(76.0);
    QVERIFY(peer.answerQuery());
    peer.tell(76.0, true);
    QCOMPARE(write.state(), State::Refused);
    QCOMPARE(write.received(), QVariant(76.0));
}

void tst_KeywordWrite::refusal_onceMore()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(60.0);
    for (const double value : {90.0, 91.0, 60.0}) { // the last one is the current value
        write.set(value);
        QCOMPARE(write.state(), State::Pending);
        peer.tell(60.0, true);
        QCOMPARE(write.state(), State::Refused);
        QVERIFY(peer.answerQuery());
        QCOMPARE(write.state(), State::Refused);
    }
    write.set(60);
    peer.tell(60.0);
    QCOMPARE(write.state(), State::Taken);
    QVERIFY(!write.isUnchanged());
}

void tst_KeywordWrite::refusal_doesNotMeanAnErrorThatWasThere()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(60.0, true);
    write.set(60);
    QVERIFY(peer.answerQuery());
    QCOMPARE(write.state(), State::Taken);
    QVERIFY(write.isUnchanged());
}

void tst_KeywordWrite::slider_sendsTheNewest()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(0.0);
    QSignalSpy finished(&write, &PKeywordWrite::finished);
    for (int i = 1; i <= 50; ++i)
        write.set(i);
    QCOMPARE(peer.writes(), QStringList(q("1")));
    QCOMPARE(write.asked(), QVariant(50));
    peer.tell(1.0); // now the waiting value is sent
    QCOMPARE(peer.writes(), QStringList({q("1"), q("50")}));
    QCOMPARE(write.state(), State::Pending);
    QCOMPARE(finished.size(), 0);
    peer.tell(50.0);
    QCOMPARE(write.state(), State::Taken);
    QCOMPARE(finished.size(), 1);
    QCOMPARE(peer.writes().size(), 2);
}

void tst_KeywordWrite::slider_doesNotWaitForLong()
{
    Peer peer;
    PKeywordWrite write;
    write.setConfirmWithin(0);
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(0.0);
    write.set(1);
    write.set(2);
    write.set(3);
    QTRY_COMPARE(peer.writes(), QStringList({q("1"), q("3")}));
    peer.tell(1.0); // the echo of the first value, not a foreign change
    QVERIFY(peer.answerQuery());
    QCOMPARE(write.state(), State::Pending);
    peer.tell(3.0);
    QCOMPARE(write.state(), State::Taken);
}

void tst_KeywordWrite::slider_withAServerThatAnswersInside()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(0.0);
    QStringList states;
    connect(&write, &PKeywordWrite::stateChanged, &write,
            [&] { states << q("%1 %2").arg(write.state()).arg(write.asked().toInt()); });
    peer.answer = [&peer](const QByteArray &command) {
        const QJsonObject message = QJsonDocument::fromJson(command).object();
        const QJsonValue value = message.value(q("payload")).toObject().value(q("value"));
        if (message.value(q("cmd")) == q("keyUpdate"))
            peer.tell(qMin(value.toDouble(), 10.0), value.toDouble() < 0);
        else if (message.value(q("cmd")) == q("keyIndex"))
            peer.answerQuery();
    };
    for (const int value : {1, 2, 2, 20, -1})
        write.set(value);
    QCOMPARE(peer.writes(), QStringList({q("1"), q("2"), q("2"), q("20"), q("-1")}));
    QCOMPARE(states,
             QStringList({q("1 1"), q("2 1"), q("1 2"), q("2 2"), q("1 2"), q("2 2"), q("1 20"),
                          q("3 20"), q("1 -1"), q("4 -1")}));
    QCOMPARE(peer.queries(), QStringList());
}

void tst_KeywordWrite::slider_lastValueIsSentAtTheEnd_data()
{
    QTest::addColumn<QString>("end");
    for (const char *end : {"deleted", "other keyword", "other client", "reset"})
        QTest::newRow(end) << q(end);
}

void tst_KeywordWrite::slider_lastValueIsSentAtTheEnd()
{
    QFETCH(const QString, end);
    Peer peer;
    Peer other;
    auto write = std::make_unique<PKeywordWrite>();
    write->setClient(&peer);
    write->setKeyword(path);
    peer.tell(0, false, PKeywordValueType::KVT_INT);
    write->set(1);
    write->set(q("2"));
    if (end == q("deleted"))
        write.reset();
    else if (end == q("other keyword"))
        write->setKeyword(q("/b"));
    else if (end == q("other client"))
        write->setClient(&other);
    else
        write->reset();
    QCOMPARE(peer.writes(), QStringList({q("1"), q("2")}));
    QCOMPARE(other.writes(), QStringList());
    if (write) {
        QCOMPARE(write->state(), State::Idle);
        peer.tell(2, false, PKeywordValueType::KVT_INT);
        QCOMPARE(write->state(), State::Idle);
    }
}

void tst_KeywordWrite::slider_invalidValueDoesNotLoseTheOneBefore()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(0.0);
    write.set(1);
    write.set(2);
    write.set(q("x"));
    QCOMPARE(write.state(), State::NotSent);
    QCOMPARE(write.problem(), q("\"x\" is not a number"));
    QCOMPARE(peer.writes(), QStringList({q("1"), q("2")}));
    peer.tell(1.0);
    peer.tell(2.0);
    QCOMPARE(write.state(), State::NotSent);
}

void tst_KeywordWrite::steps_addUp()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(10.0);
    write.add(5);
    write.add(5);
    write.add(q("-2"));
    QCOMPARE(peer.writes(), QStringList(q("+5")));
    peer.tell(15.0);
    QCOMPARE(peer.writes(), QStringList({q("+5"), q("+3")}));
    QCOMPARE(write.asked(), QVariant(3));
    peer.tell(18.0);
    QCOMPARE(write.state(), State::Taken);

    // A step after a waiting value
    write.set(20);
    write.set(30);
    write.add(1);
    QVERIFY(!write.isRelative());
    peer.tell(20.0);
    peer.tell(31.0);
    QCOMPARE(write.state(), State::Taken);
    QCOMPARE(peer.writes().mid(2), QStringList({q("20"), q("31")}));

    // Toggling twice has no effect
    write.setKeyword(q("/b"));
    write.setKeyword(path);
    peer.tell(true, false, PKeywordValueType::KVT_BOOL);
    write.set(false);
    write.add(true);
    write.add(true);
    peer.tell(false, false, PKeywordValueType::KVT_BOOL);
    QCOMPARE(peer.writes().mid(4), QStringList({q("false"), q("+false")}));
}

// A step waits without a time limit, because a relative write cannot be sent twice.
void tst_KeywordWrite::steps_waitForTheOneBefore()
{
    Peer peer;
    PKeywordWrite steps;
    Peer other;
    PKeywordWrite slider; // shows when the time limit has passed
    for (PKeywordWrite *write : {&steps, &slider}) {
        write->setConfirmWithin(0);
        write->setClient(write == &steps ? &peer : &other);
        write->setKeyword(path);
    }
    peer.tell(10.0);
    other.tell(10.0);
    steps.add(1);
    steps.add(1);
    slider.set(1);
    slider.set(2);
    QTRY_COMPARE(other.writes().size(), 2);
    QCOMPARE(peer.writes(), QStringList(q("+1")));
    peer.tell(11.0);
    QCOMPARE(peer.writes(), QStringList({q("+1"), q("+1")}));
}

void tst_KeywordWrite::slider_whatCameOfAnEarlierValueIsNotThatOfTheLast()
{
    Peer peer;
    PKeywordWrite write;
    write.setConfirmWithin(0);
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(60.0);
    write.set(90);
    write.set(75);
    QTRY_COMPARE(peer.writes().size(), 2);
    peer.tell(80.0); // the result of 90
    QVERIFY(peer.answerQuery());
    QVERIFY(peer.answerQuery()); // the server decides about 75 later
    QCOMPARE(write.state(), State::Pending);
    peer.tell(75.0);
    QCOMPARE(write.state(), State::Taken);
}

void tst_KeywordWrite::source_lostWhilePending_data()
{
    QTest::addColumn<bool>("isShownBefore"); // that it is not connected
    QTest::addColumn<bool>("hadError");
    QTest::addColumn<bool>("relative");
    QTest::newRow("one event") << false << false << false;
    QTest::newRow("two events") << true << false << false;
    QTest::newRow("two events, relative") << true << false << true;
    QTest::newRow("already in error") << false << true << false;
    QTest::newRow("already in error, two events") << true << true << false;
}

// The server has lost the source of the keyword, and cannot know whether the write was executed.
void tst_KeywordWrite::source_lostWhilePending()
{
    QFETCH(const bool, isShownBefore);
    QFETCH(const bool, hadError);
    QFETCH(const bool, relative);
    Peer peer;
    PKeywordWrite write;
    write.setConfirmWithin(0);
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5.0, hadError);
    QSignalSpy finished(&write, &PKeywordWrite::finished);
    if (relative)
        write.add(1);
    else
        write.set(6);
    QVERIFY(peer.answerQuery());
    if (isShownBefore)
        peer.tellDisconnected(5.0, hadError);
    peer.tellDisconnected(5.0, true);
    QCOMPARE(write.state(), State::TimedOut);
    QCOMPARE(write.problem(), q("outcome not known: the source was lost"));
    QCOMPARE(finished.size(), 1);
    // It does not apply to the next write
    write.set(7);
    peer.tellDisconnected(5.0, true);
    QCOMPARE(write.state(), State::Refused);
}

void tst_KeywordWrite::source_notConnectedFromTheStart()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tellDisconnected(5.0);
    write.set(6);
    peer.tellDisconnected(5.0, true);
    QCOMPARE(write.state(), State::Refused);
    // Connected, and refused by the server
    peer.tell(5.0);
    write.set(6);
    peer.tell(5.0, true);
    QCOMPARE(write.state(), State::Refused);
}

void tst_KeywordWrite::link_lostWhilePending()
{
    Peer peer;
    PKeywordWrite write;
    write.setConfirmWithin(50);
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5.0);
    write.set(6);
    peer.publisher()->setActive(false);
    QCOMPARE(write.state(), State::Pending);
    peer.publisher()->setActive(true);
    peer.tell(5.0); // not a reply: the first event of the connection
    peer.tell(4.0);
    QVERIFY(peer.answerQuery()); // a reply for which no write is waiting
    QCOMPARE(write.state(), State::Pending);
    QTRY_COMPARE(write.state(), State::TimedOut);
    QCOMPARE(write.problem(), q("the connection was lost"));
    QCOMPARE(peer.writes(), QStringList(q("6"))); // not repeated
}

void tst_KeywordWrite::link_lostWhileAValueWaits()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    QSignalSpy finished(&write, &PKeywordWrite::finished);
    write.set(6); // waits for the value
    peer.publisher()->setActive(false);
    QCOMPARE(write.state(), State::NotSent);
    QCOMPARE(write.problem(), q("the connection was lost"));

    peer.publisher()->setActive(true);
    peer.tell(5.0);
    write.set(7);
    write.set(8); // waits for the outcome of 7
    peer.publisher()->setActive(false);
    QCOMPARE(write.state(), State::NotSent);
    peer.publisher()->setActive(true);
    peer.tell(8.0);
    QCOMPARE(write.state(), State::NotSent);
    QCOMPARE(peer.writes(), QStringList(q("7")));
    QCOMPARE(finished.size(), 2);
}

void tst_KeywordWrite::link_backWithTheValue()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5.0);
    write.set(6);
    peer.publisher()->setActive(false);
    peer.publisher()->setActive(true);
    peer.tell(6.0);
    QCOMPARE(write.state(), State::Taken);
}

void tst_KeywordWrite::client_deletedWhilePending()
{
    auto peer = std::make_unique<Peer>();
    PKeywordWrite write;
    write.setClient(peer.get());
    write.setKeyword(path);
    QSignalSpy clientChanged(&write, &PKeywordWrite::clientChanged);
    QSignalSpy finished(&write, &PKeywordWrite::finished);
    peer->tell(5.0);
    write.set(6);
    peer.reset();
    QCOMPARE(write.client(), nullptr);
    QCOMPARE(clientChanged.size(), 1);
    QCOMPARE(finished.size(), 1);
    QCOMPARE(write.state(), State::TimedOut);
    QCOMPARE(write.problem(), q("the connection was lost"));
    QVERIFY(!write.isReady());
    write.set(7);
    QCOMPARE(write.problem(), q("there is no client"));
}

void tst_KeywordWrite::reset_forgets()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(5.0);
    QSignalSpy stateChanged(&write, &PKeywordWrite::stateChanged);
    QSignalSpy finished(&write, &PKeywordWrite::finished);
    write.reset();
    QCOMPARE(stateChanged.size(), 0);
    write.set(6);
    write.reset();
    QCOMPARE(stateChanged.size(), 2);
    QCOMPARE(write.state(), State::Idle);
    QCOMPARE(write.asked(), QVariant());
    QVERIFY(write.isReady());
    QCOMPARE(write.current(), QVariant(5.0));
    peer.tell(6.0);
    QVERIFY(peer.answerQuery());
    QCOMPARE(write.state(), State::Idle);
    QCOMPARE(finished.size(), 0);
}

void tst_KeywordWrite::handlers_mayDeleteAnything_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QString>("deleted");
    for (const char *signal :
         {"stateChanged()", "currentChanged()", "finished()", "clientChanged()", "keywordChanged()",
          "sending", "querying", "creating", "destroying"}) {
        for (const char *deleted : {"write", "client", "both", "client and back"})
            QTest::addRow("%s in %s", deleted, signal) << QByteArray(signal) << q(deleted);
    }
}

class Deleter : public QObject
{
    Q_OBJECT

public:
    std::function<void()> work;

public Q_SLOTS:
    void run()
    {
        if (work)
            work();
    }
};

void tst_KeywordWrite::handlers_mayDeleteAnything()
{
    QFETCH(const QByteArray, signal);
    QFETCH(const QString, deleted);

    // At the first emission, the second, and so on
    for (int at = 1; at <= 6; ++at) {
        auto *peer = new Peer;
        QPointer<Peer> peerGuard(peer);
        auto *write = new PKeywordWrite;
        QPointer<PKeywordWrite> writeGuard(write);
        Deleter deleter;
        int count = 0;
        deleter.work = [&] {
            if (++count != at)
                return;
            if (deleted == q("client and back")) {
                if (writeGuard) {
                    writeGuard->setClient(nullptr);
                    writeGuard->setClient(peerGuard);
                }
                return;
            }
            if (deleted != q("client"))
                delete writeGuard;
            if (deleted != q("write"))
                delete peerGuard;
        };
        if (signal.endsWith(')'))
            connect(write, ('2' + signal).constData(), &deleter, SLOT(run()));
        peer->answer = [&](const QByteArray &command) {
            const QJsonObject message = QJsonDocument::fromJson(command).object();
            const QString cmd = message.value(q("cmd")).toString();
            static const QHash<QString, QByteArray> names = {
                {q("keyUpdate"), "sending"},
                {q("keyIndex"), "querying"},
                {q("keyCreateOrUpdate"), "creating"},
                {q("keyDestroy"), "destroying"},
            };
            if (names.value(cmd) == signal)
                deleter.run();
            const QVariant value =
                message.value(q("payload")).toObject().value(q("value")).toVariant();
            if (peerGuard && cmd == q("keyUpdate"))
                peerGuard->tell(value.toDouble() > 5 ? QVariant(5.0) : value, value.toInt() == 2);
            if (peerGuard && cmd == q("keyIndex"))
                peerGuard->answerQuery();
        };
        const auto then = [&](const std::function<void()> &step) {
            if (peerGuard && writeGuard)
                step();
        };
        then([&] { write->setClient(peer); });
        then([&] { write->setKeyword(path); });
        then([&] { peer->tell(0.0); });
        for (const int value : {1, 2, 1, 7})
            then([&] { write->set(value); });
        then([&] { write->add(1); });
        then([&] { peer->answer = {}; });
        then([&] { write->set(3); });
        then([&] { write->set(4); });
        then([&] { peer->tell(3.0); });
        then([&] { peer->tell(4.0, true); });
        then([&] { peer->publisher()->setActive(false); });
        then([&] { write->set(3); });
        then([&] { peer->publisher()->setActive(true); });
        then([&] { write->set(3); });
        then([&] { write->setKeyword(q("/b")); });
        then([&] { write->reset(); });
        delete writeGuard;
        delete peerGuard;
    }
}

void tst_KeywordWrite::handlers_mayWriteAgain()
{
    Peer peer;
    PKeywordWrite write;
    write.setClient(&peer);
    write.setKeyword(path);
    peer.tell(0.0);
    int writes = 1;
    int ends = 0;
    connect(&write, &PKeywordWrite::stateChanged, &write, [&] {
        if (write.state() == State::Taken && writes < 3)
            write.set(++writes);
    });
    connect(&write, &PKeywordWrite::finished, &write, [&ends] { ++ends; });
    write.set(1);
    for (const double value : {1.0, 2.0, 3.0})
        peer.tell(value);
    QCOMPARE(peer.writes(), QStringList({q("1"), q("2"), q("3")}));
    QCOMPARE(write.state(), State::Taken);
    QCOMPARE(ends, 1); // of the last write

    // A handler of the event that is the reply
    write.setKeyword(q("/b"));
    write.setKeyword(path);
    peer.tell(0.0);
    connect(&write, &PKeywordWrite::currentChanged, &write, [&] {
        if (write.current() == QVariant(8.0))
            write.set(9);
    });
    write.set(8);
    peer.tell(8.0);
    QCOMPARE(write.state(), State::Pending);
    QCOMPARE(peer.writes().constLast(), q("9"));
    peer.tell(9.0);
    QCOMPARE(write.state(), State::Taken);
}

QTEST_GUILESS_MAIN(tst_KeywordWrite)
#include "tst_keywordwrite.moc"
