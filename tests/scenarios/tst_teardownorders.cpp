// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordproxy.h"
#include "models/keywordquerymodel.h"
#include "module/pellixclientkeywordmodule.h"
#include "tests/scenarios/teardownscene.h"
#include "tests/support/socketclient.h"

#include <QtCore/QLoggingCategory>
#include <QtTest/QTest>

#include <algorithm>
#include <random>

using namespace pellix::client;

using Part = TeardownScene::Part;
using Order = QList<Part>;
using Screen = TeardownScene::Screen;
using Transport = TeardownScene::Transport;
Q_DECLARE_METATYPE(TeardownScene::Screen)
Q_DECLARE_METATYPE(TeardownScene::Transport)

namespace {

constexpr int randomOrders = 150; // per transport; PELLIX_TEARDOWN_ORDERS sets another number

QString toString(const Order &order)
{
    QStringList names;
    for (const Part part : order)
        names << QString::fromLatin1(TeardownScene::name(part));
    return names.join(QLatin1String(", "));
}

} // namespace

// Destroys the parts of a live scene in every order. The sanitizers detect errors; without them,
// only a crash or a warning fails the test.
class tst_TeardownOrders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void permutations_data();
    void permutations();
    void pairs_data();
    void pairs();
    void randomOrders_data();
    void randomOrders();
    void cleanupTestCase();

private:
    void tearDown(Transport transport, Screen screen, const Order &order);

    std::unique_ptr<TeardownScene::Servers> servers;
    int orders = 0;
};

void tst_TeardownOrders::initTestCase()
{
    // Lost connections are logged as warnings, but are intended here.
    QLoggingCategory::setFilterRules(QStringLiteral(CLIENT_CATEGORY "=false"));
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    servers = std::make_unique<TeardownScene::Servers>();
}

void tst_TeardownOrders::cleanupTestCase()
{
    servers.reset();
    qInfo("%d orders", orders);
}

// Builds a scene, destroys the given parts in this order while processing the events that this
// causes, and then destroys the other parts in the order of the scene.
void tst_TeardownOrders::tearDown(Transport transport, Screen screen, const Order &order)
{
    servers->reset();
    {
        TeardownScene scene(*servers, transport, screen);
        scene.start();
        scene.waitUntilLive();
        QVERIFY2(scene.isLive(), qPrintable(toString(order)));
        for (const Part part : order) {
            scene.destroy(part);
            servers->keywords.setValue(QStringLiteral("/plant/tank1/level"), int(part));
            if (screen == Screen::With)
                TeardownScene::settle(transport);
            QVERIFY2(!scene.part(part), qPrintable(toString(order)));

            const auto *const proxy =
                static_cast<PKeywordProxy *>(scene.part(TeardownScene::PlainProxy));
            QVERIFY(!proxy || proxy->client() == scene.part(TeardownScene::Client));
            const auto *const model =
                static_cast<PKeywordQueryModel *>(scene.part(TeardownScene::QueryModel));
            QVERIFY(!model || model->keywordClient() == scene.part(TeardownScene::Client));
        }
    }
    QTRY_COMPARE(servers->keywords.sessionCount(), 0);
    ++orders;
}

void tst_TeardownOrders::permutations_data()
{
    QTest::addColumn<Order>("order");
    const auto rows = [](const Order &order) {
        // One row for each first part; the other parts are permuted in the test.
        for (int i = 0; i < order.size(); ++i) {
            Order row = order;
            row.move(i, 0);
            std::sort(row.begin() + 1, row.end());
            QTest::addRow("of %d, %s first", int(order.size()), TeardownScene::name(order.at(i)))
                << row;
        }
    };
    // Parts that refer to each other. The path model refers to no other part.
    rows({TeardownScene::Client, TeardownScene::ClientSubscriber, TeardownScene::PlainProxy,
          TeardownScene::ExpressionProxy, TeardownScene::Expression, TeardownScene::QueryModel,
          TeardownScene::FilterModel});
    rows({TeardownScene::Client, TeardownScene::Publisher, TeardownScene::Subscriber,
          TeardownScene::ClientSubscriber, TeardownScene::PlainProxy, TeardownScene::PathModel});
}

void tst_TeardownOrders::permutations()
{
    QFETCH(Order, order);
    do {
        tearDown(Transport::InProcess, Screen::Without, order);
        if (QTest::currentTestFailed())
            return;
    } while (std::next_permutation(order.begin() + 1, order.end()));
}

void tst_TeardownOrders::pairs_data()
{
    QTest::addColumn<Transport>("transport");
    QTest::addColumn<Part>("first");
    for (const Part first : TeardownScene::parts(Screen::With)) {
        QTest::addRow("in process, %s first", TeardownScene::name(first))
            << Transport::InProcess << first;
        QTest::addRow("web socket, %s first", TeardownScene::name(first))
            << Transport::WebSocket << first;
    }
}

void tst_TeardownOrders::pairs()
{
    QFETCH(Transport, transport);
    QFETCH(Part, first);
    for (const Part second : TeardownScene::parts(Screen::With)) {
        if (second == first)
            continue;
        tearDown(transport, Screen::With, {first, second});
        if (QTest::currentTestFailed())
            return;
    }
}

void tst_TeardownOrders::randomOrders_data()
{
    QTest::addColumn<Transport>("transport");
    QTest::addColumn<unsigned>("seed");
    bool given = false;
    const int asked = qEnvironmentVariableIntValue("PELLIX_TEARDOWN_ORDERS", &given);
    for (int seed = 1; seed <= (given ? asked : ::randomOrders); ++seed) {
        QTest::addRow("in process, seed %d", seed) << Transport::InProcess << unsigned(seed);
        QTest::addRow("web socket, seed %d", seed) << Transport::WebSocket << unsigned(seed);
    }
}

void tst_TeardownOrders::randomOrders()
{
    QFETCH(Transport, transport);
    QFETCH(unsigned, seed);
    Order order = TeardownScene::parts(Screen::With);
    std::mt19937 random(seed);
    std::shuffle(order.begin(), order.end(), random);
    tearDown(transport, Screen::With, order);
}

QTEST_MAIN(tst_TeardownOrders)
#include "tst_teardownorders.moc"
