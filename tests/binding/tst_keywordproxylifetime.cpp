// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "pubsub/publisher.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QMetaMethod>
#include <QtCore/QPointer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <functional>
#include <memory>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

/*
    All objects with which a proxy works, and all operations on it. Objects that a handler deletes
    are missing for the rest of the run; the operations check for this, like the code of an
    application.
*/
struct Bench
{
    QPointer<RecordingClient> client = new RecordingClient;
    QPointer<RecordingClient> otherClient = new RecordingClient;
    QPointer<PListPostfixKeywordExpression> expression = new PListPostfixKeywordExpression;
    QPointer<PKeywordProxy> proxy = new PKeywordProxy;
    QPointer<PKeywordProxy> neighbour = new PKeywordProxy;

    Bench()
    {
        expression->setValues({q("/x"), q("/y")});
        for (PKeywordProxy *one : {proxy.data(), neighbour.data()}) {
            one->setKeyword(q("/a"));
            one->setClient(client);
        }
        client->event(q("/a"), q("1"), q("int"));
    }
    ~Bench()
    {
        delete neighbour;
        delete proxy;
        delete expression;
        delete otherClient;
        delete client;
    }

    void event(const char *value)
    {
        if (client)
            client->event(proxy ? proxy->keyword() : q("/a"), q(value), q("double"));
    }
    void onProxy(const std::function<void()> &operation)
    {
        if (proxy)
            operation();
    }
    void run()
    {
        event("2.5");
        onProxy([this] { proxy->setKeyword(q("/b")); });
        event("3.5");
        onProxy([this] { proxy->setKeyword(q("/b")); });
        if (client)
            client->publisher()->setActive(false);
        if (client)
            client->publisher()->setActive(true);
        event("4.5");
        onProxy([this] { proxy->setKeywordExpression(expression); });
        event("5.5");
        if (expression)
            expression->setValues({q("/x"), q("/z")});
        event("6.5");
        onProxy([this] { proxy->setKeywordExpression(nullptr); });
        onProxy([this] { proxy->getKeywordLabel(q("/u1/k1/k2")); });
        event("\"One\"");
        event("\"Two\"");
        onProxy([this] { proxy->setClient(otherClient); });
        onProxy([this] { proxy->update(1); });
        onProxy([this] { proxy->resetClient(); });
        onProxy([this] { proxy->setClient(client); });
        event("7.5");
    }
};

const char *const victims[] = {"proxy", "client", "expression", "neighbour", "everything"};

} // namespace

// Deletes each object that a proxy uses inside each signal of the proxy, at each emission during a
// run over all operations. The address sanitizer detects errors.
class tst_KeywordProxyLifetime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void handlers_mayDeleteAnything_data();
    void handlers_mayDeleteAnything();
    void sending_mayDeleteTheProxy_data();
    void sending_mayDeleteTheProxy();
    void leavingATopic_mayDeleteTheProxy_data();
    void leavingATopic_mayDeleteTheProxy();
    void clientFirst_readsAsNotSet();
    void clientFirst_nullIsStillAChange_data();
    void clientFirst_nullIsStillAChange();
    void clearingTheClient_whileAHandlerDeletesIt();
    void expressionFirst_readsAsNotSet();
    void expressionFirst_canStillBeCleared();
    void dyingProxy_toleratesItsHandlers();
    void dyingClient_refusesWhatItsHandlersAsk();
};

void tst_KeywordProxyLifetime::handlers_mayDeleteAnything_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<int>("time");
    QTest::addColumn<QString>("victim");
    const QMetaObject &meta = PKeywordProxy::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() != QMetaMethod::Signal)
            continue;
        const QByteArray signal = meta.method(i).methodSignature();
        Bench bench;
        QSignalSpy spy(bench.proxy, meta.method(i));
        bench.run();
        for (int time = 1; time <= spy.count(); ++time) {
            for (const char *victim : victims)
                QTest::addRow("%s %d: %s", signal.constData(), time, victim)
                    << signal << time << q(victim);
        }
    }
}

void tst_KeywordProxyLifetime::handlers_mayDeleteAnything()
{
    QFETCH(QByteArray, signal);
    QFETCH(int, time);
    QFETCH(QString, victim);
    Bench bench;
    int times = 0;
    QObject scope;
    const auto handler = [&] {
        if (++times != time)
            return;
        const bool all = victim == QLatin1String("everything");
        if (all || victim == QLatin1String("neighbour"))
            delete bench.neighbour;
        if (all || victim == QLatin1String("expression"))
            delete bench.expression;
        if (all || victim == QLatin1String("client"))
            delete bench.client;
        if (all || victim == QLatin1String("proxy"))
            delete bench.proxy;
    };
    PKeywordProxy *const proxy = bench.proxy;
    const QHash<QByteArray, void (PKeywordProxy::*)()> signalOf {
        {"clientChanged()", &PKeywordProxy::clientChanged},
        {"keywordChanged()", &PKeywordProxy::keywordChanged},
        {"valueChanged()", &PKeywordProxy::valueChanged},
        {"valueValidChanged()", &PKeywordProxy::valueValidChanged},
        {"valueLabelValidChanged()", &PKeywordProxy::valueLabelValidChanged},
        {"valueTypeChanged()", &PKeywordProxy::valueTypeChanged},
        {"stateChanged()", &PKeywordProxy::stateChanged},
    };
    QVERIFY(signalOf.contains(signal));
    connect(proxy, signalOf.value(signal), &scope, handler);

    bench.run();

    QVERIFY(times >= time);
}

void tst_KeywordProxyLifetime::sending_mayDeleteTheProxy_data()
{
    QTest::addColumn<int>("time");
    for (int time = 1; time <= 12; ++time)
        QTest::addRow("command %d", time) << time;
}

void tst_KeywordProxyLifetime::sending_mayDeleteTheProxy()
{
    QFETCH(int, time);
    Bench bench;
    int times = 0;
    bench.client->answer = [&](const QByteArray &) {
        if (++times == time)
            delete bench.proxy;
    };
    bench.run();
    QVERIFY(times >= time);
    QVERIFY(!bench.proxy);
    if (bench.client)
        bench.client->answer = nullptr;
}

void tst_KeywordProxyLifetime::leavingATopic_mayDeleteTheProxy_data()
{
    QTest::addColumn<bool>("toAnother");
    QTest::newRow("for another client") << true;
    QTest::newRow("for none") << false;
}

void tst_KeywordProxyLifetime::leavingATopic_mayDeleteTheProxy()
{
    QFETCH(bool, toAnother);
    RecordingClient client;
    RecordingClient other;
    QPointer<PKeywordProxy> proxy = new PKeywordProxy;
    proxy->setKeyword(q("/a"));
    proxy->setClient(&client);
    QSignalSpy clientChanged(proxy, &PKeywordProxy::clientChanged);
    QSignalSpy left(other.publisher(), &PPublisher::topicRemoved);
    QObject scope;
    connect(client.publisher(), &PPublisher::topicRemoved, &scope, [&] { delete proxy; });

    proxy->setClient(toAnother ? &other : nullptr);

    QVERIFY(!proxy);
    QCOMPARE(clientChanged.count(), 0);
    QCOMPARE(left.count(), toAnother ? 1 : 0);
}

void tst_KeywordProxyLifetime::clientFirst_readsAsNotSet()
{
    auto client = std::make_unique<RecordingClient>();
    PKeywordProxy proxy;
    proxy.setKeyword(q("/a"));
    proxy.setClient(client.get());
    client->event(q("/a"), q("1"), q("int"));
    QVERIFY(proxy.value().isValid());
    QSignalSpy spy(&proxy, &PKeywordProxy::valueChanged);

    client.reset();

    QCOMPARE(proxy.client(), nullptr);
    QVERIFY(!proxy.value().isValid());
    QCOMPARE(spy.count(), 1);
    QVERIFY(!proxy.update(1));
    proxy.getKeywordLabel(q("/u1/k1"));
    proxy.resetClient();
    proxy.setKeyword(q("/b"));
    RecordingClient next;
    proxy.setClient(&next);
    next.event(q("/b"), q("2"), q("int"));
    QCOMPARE(proxy.value().toInt(), 2);
}

void tst_KeywordProxyLifetime::clientFirst_nullIsStillAChange_data()
{
    QTest::addColumn<bool>("byReset");
    QTest::newRow("set to null") << false;
    QTest::newRow("reset") << true;
}

void tst_KeywordProxyLifetime::clientFirst_nullIsStillAChange()
{
    QFETCH(bool, byReset);
    auto client = std::make_unique<RecordingClient>();
    PKeywordProxy proxy;
    proxy.setClient(client.get());
    client.reset();
    QSignalSpy changed(&proxy, &PKeywordProxy::clientChanged);
    const auto clear = [&] { byReset ? proxy.resetClient() : proxy.setClient(nullptr); };

    clear();
    QCOMPARE(changed.count(), 1);
    clear();
    QCOMPARE(changed.count(), 1);
}

void tst_KeywordProxyLifetime::clearingTheClient_whileAHandlerDeletesIt()
{
    auto *client = new RecordingClient;
    PKeywordProxy proxy;
    proxy.setKeyword(q("/a"));
    proxy.setClient(client);
    client->event(q("/a"), q("1"), q("int"));
    QSignalSpy changed(&proxy, &PKeywordProxy::clientChanged);
    QObject scope;
    connect(&proxy, &PKeywordProxy::valueChanged, &scope,
            [&] { delete std::exchange(client, nullptr); });

    proxy.setClient(nullptr);

    QVERIFY(!client);
    QCOMPARE(proxy.client(), nullptr);
    QCOMPARE(changed.count(), 1);
}

void tst_KeywordProxyLifetime::expressionFirst_readsAsNotSet()
{
    RecordingClient client;
    auto expression = std::make_unique<PKeywordExpression>(q("/x"));
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    proxy.setKeywordExpression(expression.get());

    expression.reset();

    QCOMPARE(proxy.keywordExpression(), nullptr);
    QCOMPARE(proxy.keyword(), q("/x")); // until the next subscription
    client.publisher()->setActive(false);
    client.publisher()->setActive(true);
    QCOMPARE(proxy.keyword(), q("/a"));
    proxy.setKeyword(q("/b")); // no expression prevents it
    QCOMPARE(proxy.keyword(), q("/b"));
}

void tst_KeywordProxyLifetime::expressionFirst_canStillBeCleared()
{
    RecordingClient client;
    auto expression = std::make_unique<PKeywordExpression>(q("/x"));
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    proxy.setKeywordExpression(expression.get());
    expression.reset();
    QSignalSpy spy(&proxy, &PKeywordProxy::keywordChanged);

    proxy.setKeywordExpression(nullptr);

    QCOMPARE(spy.count(), 1);
    QCOMPARE(proxy.keyword(), q("/a"));
    client.event(q("/a"), q("1"), q("int"));
    QCOMPARE(proxy.value().toInt(), 1);
    proxy.setKeywordExpression(nullptr);
    QCOMPARE(spy.count(), 1);
}

void tst_KeywordProxyLifetime::dyingProxy_toleratesItsHandlers()
{
    RecordingClient client, other;
    auto *proxy = new PKeywordProxy;
    proxy->setKeyword(q("/a"));
    proxy->setClient(&client);
    bool called = false;
    client.answer = [&](const QByteArray &command) { // the destroy command
        if (!command.contains("keyDestroy") || std::exchange(called, true))
            return;
        proxy->update(1);
        proxy->setKeyword(q("/b"));
        proxy->setClient(&other);
        proxy->setKeyword(q("/c"));
        proxy->resetClient();
    };

    delete proxy;

    QVERIFY(called);
    client.answer = nullptr;
    client.event(q("/b"), q("1"));
    client.event(q("/c"), q("1"));
    other.event(q("/c"), q("1"));
}

void tst_KeywordProxyLifetime::dyingClient_refusesWhatItsHandlersAsk()
{
    auto client = std::make_unique<RecordingClient>();
    RecordingClient *const raw = client.get();
    PKeywordProxy proxy, late;
    proxy.setKeyword(q("/a"));
    proxy.setClient(raw);
    raw->event(q("/a"), q("1"), q("int"));
    late.setKeyword(q("/b"));
    QObject scope;
    bool called = false;
    connect(&proxy, &PKeywordProxy::valueChanged, &scope, [&] {
        called = true;
        QVERIFY(!proxy.update(2));
        proxy.setKeyword(q("/c"));
        late.setClient(raw);
        QVERIFY(!late.update(3));
    });

    client.reset();

    QVERIFY(called);
    QCOMPARE(proxy.client(), nullptr);
    QCOMPARE(late.client(), nullptr);
    late.setKeyword(q("/d"));
}

QTEST_GUILESS_MAIN(tst_KeywordProxyLifetime)
#include "tst_keywordproxylifetime.moc"
