// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/history/keywordhistories.h"
#include "extras/history/keywordhistory.h"
#include "extras/history/keywordsamples.h"
#include "extras/keywordextrasmodule.h"
#include "module/pellixclientkeywordmodule.h"
#include "pubsub/publisher.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <cmath>
#include <limits>
#include <memory>
#include <random>

using namespace pellix::client;
using namespace pellix::extras;

namespace {

const QString keyword = QStringLiteral("/a");
const QVariant null = QVariant::fromValue(nullptr);
constexpr double nothing = std::numeric_limits<double>::quiet_NaN();

void publish(PKeywordClient &client, const QVariant &value, const QString &keyword = ::keyword)
{
    PKeywordValue event;
    event.value = value;
    event.type = value.typeId() == QMetaType::Bool ? PKeywordValueType::KVT_BOOL
                                                   : PKeywordValueType::KVT_DOUBLE;
    event.connected = true;
    client.publisher()->publish(keyword, QVariant::fromValue(event));
}

PKeywordExtent plainExtent(const PKeywordSamples &samples, std::size_t from, std::size_t to)
{
    PKeywordExtent extent;
    for (std::size_t i = from; i < to; ++i)
        extent.add(samples.at(i).value);
    return extent;
}

bool isSame(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

} // namespace

class tst_KeywordHistory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void defaults();
    void ring_keepsTheNewestInOrder();
    void ring_findsTheFirstSampleFromATimeOn();
    void history_countsChangesAndNotEvents();
    void history_takesNullAsAValue();
    void history_keepsTheLastValueWithoutASource();
    void history_keepsTheLastValueWhenTheLinkIsLost();
    void history_isNotWatchedWhileTheLinkIsLost();
    void history_isNotWatchedWithoutASource();
    void history_startsAnewWithAnotherKeyword();
    void history_survivesItsClient();
    void ring_staysWithinItsMemory();
    void ring_knowsItsExtents();
    void ring_keepsTheNewestWithAnotherCapacity();
    void statistics_data();
    void statistics();
    void valueAt_holdsUpToTheNext();
    void history_asksTheServerByItself();
    void history_takesNumbersAndBools_data();
    void history_takesNumbersAndBools();
    void history_hasNoGapWhereAWriteIsRefused();
    void history_capacityOutOfRange();
    void time_isOfOneAxis();
    void histories_keepThoseThatStay();
    void histories_areDeclared();
    void csv_hasOneTimeAxis();
    void csv_isWrittenIntoAFile();
    void handlers_mayDeleteEverything_data();
    void handlers_mayDeleteEverything();
};

void tst_KeywordHistory::initTestCase()
{
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    KeywordExtrasModule::registerTypes();
}

void tst_KeywordHistory::defaults()
{
    const PKeywordHistory history;
    QCOMPARE(history.client(), nullptr);
    QCOMPARE(history.keyword(), QString());
    QCOMPARE(history.name(), QString());
    QCOMPARE(history.capacity(), 16384);
    QVERIFY(!history.known() && !history.current() && !history.watched());
    QVERIFY(!history.lastSeen().isValid() && !history.lastValue().isValid());
    QCOMPARE(history.valueType(), int(PKeywordValueType::KVT_NOPROP));
    QVERIFY(!history.lastChange().isValid());
    QCOMPARE(history.changeCount(), 0);
    QCOMPARE(history.changesPerSecond(), 0.0);
    QCOMPARE(history.sampleCount(), 0);

    PKeywordHistories histories;
    QCOMPARE(histories.client(), nullptr);
    QCOMPARE(histories.keywords(), QStringList());
    QCOMPARE(histories.capacity(), 16384);
    QCOMPARE(histories.count(), 0);
    QCOMPARE(histories.error(), QString());
    QCOMPARE(histories.at(0), nullptr);
    QCOMPARE(histories.at(-1), nullptr);
    QCOMPARE(histories.find(QString()), nullptr);
    QCOMPARE(histories.toCsv(), QStringLiteral("\"Time\"\r\n"));
}

void tst_KeywordHistory::ring_keepsTheNewestInOrder()
{
    PKeywordSamples ring(4);
    QVERIFY(ring.empty());
    for (int i = 0; i < 10; ++i) {
        ring.append({i, i * 2.0});
        QCOMPARE(ring.back().time, i);
        QCOMPARE(ring.size(), std::size_t(qMin(i + 1, 4)));
    }
    for (std::size_t i = 0; i < 4; ++i)
        QCOMPARE(ring.at(i).time, qint64(6 + i));
    ring.clear();
    QVERIFY(ring.empty());
    ring.append({1, 1});
    QCOMPARE(ring.back().time, 1);
}

void tst_KeywordHistory::ring_findsTheFirstSampleFromATimeOn()
{
    PKeywordSamples ring(8);
    QCOMPARE(ring.lowerBound(0), std::size_t(0));
    for (int i = 0; i < 12; ++i) // after wrapping: samples 4 to 11, at 40 to 110
        ring.append({qint64(i) * 10, 0});
    QCOMPARE(ring.lowerBound(0), std::size_t(0));
    QCOMPARE(ring.lowerBound(40), std::size_t(0));
    QCOMPARE(ring.lowerBound(41), std::size_t(1));
    QCOMPARE(ring.lowerBound(110), std::size_t(7));
    QCOMPARE(ring.lowerBound(111), std::size_t(8));
}

void tst_KeywordHistory::history_countsChangesAndNotEvents()
{
    RecordingClient client;
    PKeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    QVERIFY(!history.known() && !history.current());

    publish(client, 1.5);
    QVERIFY(history.known() && history.current());
    QCOMPARE(history.lastValue(), QVariant(1.5));
    QCOMPARE(history.valueType(), int(PKeywordValueType::KVT_DOUBLE));
    QCOMPARE(history.changeCount(), 0); // no change has been observed yet
    const QDateTime first = history.lastChange();
    QVERIFY(first.isValid());

    publish(client, 1.5);
    QCOMPARE(history.changeCount(), 0);
    QCOMPARE(history.lastChange(), first);
    publish(client, 2.5);
    publish(client, 3.5);
    QCOMPARE(history.changeCount(), 2);
    QCOMPARE(history.samples().size(), std::size_t(4)); // a plot also needs unchanged values
    QTRY_VERIFY(history.changesPerSecond() > 0);
    QTRY_VERIFY_WITH_TIMEOUT(history.changesPerSecond() == 0, 10000);
}

void tst_KeywordHistory::history_takesNullAsAValue()
{
    RecordingClient client;
    PKeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    publish(client, 5.0);
    publish(client, null);
    QCOMPARE(history.changeCount(), 1);
    QCOMPARE(history.lastValue(), null);
    publish(client, null);
    QCOMPARE(history.changeCount(), 1);
    publish(client, 5.0);
    QCOMPARE(history.changeCount(), 2);
    QCOMPARE(history.lastValue(), QVariant(5.0));

    publish(client, null);
    client.publisher()->setActive(false);
    QVERIFY(history.known() && !history.current());
    QCOMPARE(history.lastValue(), null); // not the 5 before it
}

// Without a source, null means that there is no value, and the last value remains known.
void tst_KeywordHistory::history_keepsTheLastValueWithoutASource()
{
    RecordingClient client;
    PKeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    PKeywordValue event;
    event.value = null;
    client.publisher()->publish(keyword, QVariant::fromValue(event));
    QVERIFY(!history.known());

    publish(client, 5.0);
    client.publisher()->publish(keyword, QVariant::fromValue(event));
    QCOMPARE(history.lastValue(), QVariant(5.0));
}

void tst_KeywordHistory::history_keepsTheLastValueWhenTheLinkIsLost()
{
    RecordingClient client;
    PKeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    publish(client, 1.5);

    client.publisher()->setActive(false);
    QVERIFY(history.known() && !history.current());
    QCOMPARE(history.lastValue(), QVariant(1.5));
    QCOMPARE(history.samples().size(), std::size_t(2));
    QVERIFY(std::isnan(history.samples().back().value)); // the line ends here

    client.publisher()->setActive(true);
    QVERIFY(!history.current()); // until the server has sent the current value
    publish(client, 1.5);
    QVERIFY(history.current());
    QCOMPARE(history.changeCount(), 0);
}

void tst_KeywordHistory::history_isNotWatchedWhileTheLinkIsLost()
{
    RecordingClient client;
    PKeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    QVERIFY(!history.watched() && !history.lastSeen().isValid());
    publish(client, 1.5);
    publish(client, 2.5);
    QVERIFY(history.watched());
    QCOMPARE(history.changeCount(), 1);
    const QDateTime changed = history.lastChange();

    client.publisher()->setActive(false);
    QVERIFY(!history.watched());
    QVERIFY(history.lastSeen() >= changed);
    client.publisher()->setActive(true);
    QVERIFY(!history.watched()); // until the server sends the current value

    // The same value, but the values in between are unknown.
    publish(client, 2.5);
    QVERIFY(history.watched());
    QCOMPARE(history.changeCount(), 0);
    QVERIFY(history.lastChange() >= history.lastSeen());
    publish(client, 3.5);
    QCOMPARE(history.changeCount(), 1);
}

void tst_KeywordHistory::history_isNotWatchedWithoutASource()
{
    RecordingClient client;
    PKeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    publish(client, 1.5);
    client.publisher()->publish(keyword, QVariant::fromValue(PKeywordValue()));
    QVERIFY(history.current() && !history.watched());
    QVERIFY(history.lastSeen().isValid());
    publish(client, 1.5);
    QVERIFY(history.watched());
    QVERIFY(history.lastChange() >= history.lastSeen());
}

void tst_KeywordHistory::history_startsAnewWithAnotherKeyword()
{
    RecordingClient client;
    PKeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    publish(client, 1.5);
    publish(client, 2.5);

    history.setKeyword(QStringLiteral("/b"));
    QVERIFY(!history.known() && !history.current() && history.samples().empty());
    QCOMPARE(history.changeCount(), 0);
    publish(client, 3.5); // of the other keyword
    QVERIFY(!history.known());
}

void tst_KeywordHistory::history_survivesItsClient()
{
    PKeywordHistory history;
    history.setKeyword(keyword);
    {
        RecordingClient client;
        history.setClient(&client);
        publish(client, 1.5);
    }
    QCOMPARE(history.client(), nullptr);
    QVERIFY(history.known() && !history.current());
}

void tst_KeywordHistory::ring_staysWithinItsMemory()
{
    QCOMPARE(sizeof(PKeywordSample), std::size_t(16));
    PKeywordSamples ring;
    const std::size_t bare = ring.memory();
    QVERIFY(bare <= 256); // no memory is allocated in advance
    for (int i = 0; i < 100000; ++i)
        ring.append({i, 1.0 * i});
    QCOMPARE(ring.size(), PKeywordSamples::defaultCapacity);
    QVERIFY2(ring.memory() - bare <= 17 * ring.size(), qPrintable(QString::number(ring.memory())));
    ring.clear();
    QVERIFY(ring.memory() <= bare);
}

void tst_KeywordHistory::ring_knowsItsExtents()
{
    std::mt19937 random(20261122);
    for (const std::size_t capacity : {1, 31, 32, 33, 1000, 1024, 5000}) {
        PKeywordSamples ring(capacity);
        qint64 time = 0;
        for (int i = 0; i < 12000; ++i) {
            time += qint64(random() % 3);
            ring.append({time, random() % 50 == 0 ? nothing : double(random() % 100000)});
            if (i % 97 != 0)
                continue;
            const std::size_t from = random() % (ring.size() + 1);
            const std::size_t to = from + random() % (ring.size() - from + 1);
            const PKeywordExtent found = ring.extent(from, to);
            const PKeywordExtent expected = plainExtent(ring, from, to);
            QCOMPARE(found.lowest, expected.lowest);
            QCOMPARE(found.highest, expected.highest);
            QCOMPARE(found.gap, expected.gap);
            const qint64 wanted = ring.front().time + qint64(random() % 4000);
            std::size_t first = 0;
            while (first < ring.size() && ring.at(first).time < wanted)
                ++first;
            QCOMPARE(ring.lowerBound(wanted), first);
            QCOMPARE(ring.lowerBound(wanted, first / 2), first);
        }
    }
}

void tst_KeywordHistory::ring_keepsTheNewestWithAnotherCapacity()
{
    PKeywordSamples ring(100);
    for (int i = 0; i < 250; ++i)
        ring.append({i, 1.0 * i});
    ring.setCapacity(10);
    QCOMPARE(ring.size(), std::size_t(10));
    QCOMPARE(ring.front().time, 240);
    QCOMPARE(ring.extent(0, 10).lowest, 240.0);
    ring.setCapacity(20);
    ring.append({250, 250});
    QCOMPARE(ring.size(), std::size_t(11));
    QCOMPARE(ring.front().time, 240);
    ring.append({5, 1}); // earlier than the last sample
    QCOMPARE(ring.back().time, 250);
    ring.setCapacity(0);
    QCOMPARE(ring.capacity(), std::size_t(1));
}

void tst_KeywordHistory::statistics_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<int>("count");
    QTest::addColumn<double>("minimum");
    QTest::addColumn<double>("maximum");
    QTest::addColumn<double>("mean");
    QTest::addColumn<double>("last");

    // The value is 4 from 100 on, 8 from 200 on, missing from 400 on, and 2 from 600 on.
    QTest::newRow("all") << 0 << 800 << 3 << 2.0 << 8.0 << (400 + 1600 + 400) / 500.0 << 2.0;
    QTest::newRow("before the first") << 0 << 99 << 0 << nothing << nothing << nothing << nothing;
    QTest::newRow("begins with a value held") << 150 << 250 << 1 << 4.0 << 8.0 << 6.0 << 8.0;
    QTest::newRow("only a value held") << 210 << 300 << 0 << 8.0 << 8.0 << 8.0 << 8.0;
    QTest::newRow("within the gap") << 450 << 550 << 0 << nothing << nothing << nothing << nothing;
    QTest::newRow("into the gap") << 300 << 500 << 0 << 8.0 << 8.0 << 8.0 << 8.0;
    QTest::newRow("across the gap") << 300 << 700 << 1 << 2.0 << 8.0 << 5.0 << 2.0;
    QTest::newRow("an instant") << 200 << 200 << 1 << 8.0 << 8.0 << 8.0 << 8.0;
    QTest::newRow("after the last") << 700 << 900 << 0 << 2.0 << 2.0 << 2.0 << 2.0;
    QTest::newRow("backwards") << 700 << 100 << 0 << nothing << nothing << nothing << nothing;
}

void tst_KeywordHistory::statistics()
{
    PKeywordSamples ring;
    for (const PKeywordSample &sample :
         {PKeywordSample {100, 4}, {200, 8}, {400, nothing}, {600, 2}})
        ring.append(sample);
    QFETCH(int, from);
    QFETCH(int, to);
    const PKeywordStatistics found = ring.statistics(from, to);
    QTEST(found.count, "count");
    QFETCH(double, minimum);
    QFETCH(double, maximum);
    QFETCH(double, mean);
    QFETCH(double, last);
    QVERIFY(isSame(found.minimum, minimum) && isSame(found.maximum, maximum));
    QVERIFY2(isSame(found.mean, mean), qPrintable(QString::number(found.mean)));
    QVERIFY(isSame(found.last, last));
}

void tst_KeywordHistory::valueAt_holdsUpToTheNext()
{
    PKeywordSamples ring;
    QVERIFY(std::isnan(ring.valueAt(0)));
    ring.append({100, 4});
    ring.append({200, nothing});
    QVERIFY(std::isnan(ring.valueAt(99)));
    QCOMPARE(ring.valueAt(100), 4.0);
    QCOMPARE(ring.valueAt(199), 4.0);
    QVERIFY(std::isnan(ring.valueAt(200)));
}

void tst_KeywordHistory::history_asksTheServerByItself()
{
    RecordingClient client;
    client.publisher()->setActive(false);
    PKeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    QCOMPARE(client.taken(), QString()); // there is no connection yet
    const QString create =
        QStringLiteral("{\"cmd\":\"keyCreateOrUpdate\",\"payload\":{\"keyword\":\"/a\"}}");
    client.publisher()->setActive(true);
    QCOMPARE(client.taken(), create);
    client.publisher()->setActive(false);
    client.publisher()->setActive(true);
    QCOMPARE(client.taken(), create);
    history.setKeyword(QStringLiteral("/b"));
    QCOMPARE(client.taken(),
             QStringLiteral("{\"cmd\":\"keyDestroy\",\"payload\":{\"keyword\":\"/a\"}}\n"
                            "{\"cmd\":\"keyCreateOrUpdate\",\"payload\":{\"keyword\":\"/b\"}}"));
}

void tst_KeywordHistory::history_takesNumbersAndBools_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<double>("sample");

    QTest::newRow("double") << QVariant(1.5) << 1.5;
    QTest::newRow("whole number") << QVariant(qlonglong(7)) << 7.0;
    QTest::newRow("bool") << QVariant(true) << 1.0;
    QTest::newRow("text") << QVariant(QStringLiteral("7")) << nothing;
    QTest::newRow("list") << QVariant(QVariantList {1}) << nothing;
    QTest::newRow("null") << QVariant::fromValue(nullptr) << nothing;
    QTest::newRow("infinity") << QVariant(std::numeric_limits<double>::infinity()) << nothing;
}

void tst_KeywordHistory::history_takesNumbersAndBools()
{
    QFETCH(QVariant, value);
    QFETCH(double, sample);
    RecordingClient client;
    PKeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    publish(client, value);
    QCOMPARE(history.sampleCount(), std::isnan(sample) ? 0 : 1);
    publish(client, 3.5);
    publish(client, value);
    QVERIFY(isSame(history.samples().back().value, sample));
}

// The error flag also indicates a refused write, which leaves the value unchanged.
void tst_KeywordHistory::history_hasNoGapWhereAWriteIsRefused()
{
    RecordingClient client;
    PKeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    PKeywordValue event;
    event.value = 1.5;
    event.connected = true;
    event.error = true;
    client.publisher()->publish(keyword, QVariant::fromValue(event));
    QCOMPARE(history.samples().back().value, 1.5);
    event.connected = false;
    client.publisher()->publish(keyword, QVariant::fromValue(event));
    QVERIFY(std::isnan(history.samples().back().value));
    client.publisher()->publish(keyword, QVariant::fromValue(event));
    QCOMPARE(history.sampleCount(), 2); // one gap
}

void tst_KeywordHistory::history_capacityOutOfRange()
{
    PKeywordHistory history;
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression(QStringLiteral("a capacity of 0 samples is out of range; it is 1$")));
    history.setCapacity(0);
    QCOMPARE(history.capacity(), 1);
    QSignalSpy changed(&history, &PKeywordHistory::capacityChanged);
    history.setCapacity(1);
    QCOMPARE(changed.size(), 0);
    history.setCapacity(5);
    QCOMPARE(changed.size(), 1);
    for (int i = 0; i < 10; ++i)
        history.append({i, 1.0 * i});
    QCOMPARE(history.sampleCount(), 5);
    history.clear();
    QCOMPARE(history.sampleCount(), 0);
}

// The system clock may be set at any time; the spacing of samples does not change.
void tst_KeywordHistory::time_isOfOneAxis()
{
    const qint64 now = PKeywordHistory::now();
    const QDateTime wall = QDateTime::currentDateTime();
    QVERIFY(PKeywordHistory::now() >= now);
    QVERIFY(std::abs(wall.msecsTo(PKeywordHistory::wallTime(now))) < 10000);
    QVERIFY(std::abs(PKeywordHistory::timeAt(PKeywordHistory::wallTime(now)) - now) < 10000);

    RecordingClient client;
    PKeywordHistory history;
    history.setClient(&client);
    history.setKeyword(keyword);
    publish(client, 4.0);
    const PKeywordStatistics all = history.statistics();
    QCOMPARE(all.count, 1);
    QCOMPARE(all.last, 4.0);
    QCOMPARE(history.statistics({}, wall.addSecs(-3600)).count, 0);
    QCOMPARE(history.statistics(wall.addSecs(-3600), wall.addSecs(3600)).mean, 4.0);
}

void tst_KeywordHistory::histories_keepThoseThatStay()
{
    RecordingClient client;
    PKeywordHistories histories;
    histories.setClient(&client);
    histories.setKeywords({QStringLiteral("/a"), QStringLiteral("/b")});
    QCOMPARE(histories.count(), 2);
    QPointer<PKeywordHistory> a = histories.find(QStringLiteral("/a"));
    QPointer<PKeywordHistory> b = histories.find(QStringLiteral("/b"));
    publish(client, 1.5);
    QCOMPARE(a->sampleCount(), 1);

    QSignalSpy changed(&histories, &PKeywordHistories::historiesChanged);
    histories.setKeywords(
        {QStringLiteral("/c"), QString(), QStringLiteral("/a"), QStringLiteral("/a")});
    QCOMPARE(changed.size(), 1);
    QCOMPARE(histories.count(), 2);
    QCOMPARE(histories.at(0)->keyword(), QStringLiteral("/c"));
    QCOMPARE(histories.at(0)->client(), &client);
    QCOMPARE(histories.at(1), a.data());
    QCOMPARE(a->sampleCount(), 1);
    QTRY_VERIFY(!b);

    QSignalSpy sampled(&histories, &PKeywordHistories::sampled);
    publish(client, 2.5);
    QCOMPARE(sampled.size(), 1);
    histories.setCapacity(10);
    QCOMPARE(a->capacity(), 10);
    delete a.data();
    QCOMPARE(histories.count(), 1);
    QCOMPARE(histories.find(QStringLiteral("/a")), nullptr);
}

void tst_KeywordHistory::histories_areDeclared()
{
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import PellixClient.Keyword.Extras\n"
                      "PKeywordHistories { keywords: ['/b']; capacity: 7\n"
                      "  PKeywordHistory { keyword: '/a'; name: 'Level'; capacity: 100000 } }",
                      {});
    const std::unique_ptr<QObject> object(component.create());
    QVERIFY2(object, qPrintable(component.errorString()));
    auto *histories = qobject_cast<PKeywordHistories *>(object.get());
    QCOMPARE(histories->count(), 2);
    QCOMPARE(histories->at(0)->name(), QStringLiteral("Level"));
    QCOMPARE(histories->at(0)->capacity(), 100000);
    QCOMPARE(histories->at(1)->name(), QStringLiteral("/b"));
    QCOMPARE(histories->at(1)->capacity(), 7);
    RecordingClient client;
    histories->setClient(&client);
    QCOMPARE(histories->at(0)->client(), &client);
    PKeywordHistory *declared = histories->at(0);
    histories->add(declared); // has no effect
    QCOMPARE(histories->count(), 2);
    histories->remove(declared);
    QCOMPARE(histories->count(), 1);
    histories->remove(histories->at(0)); // was not added with add()
    QCOMPARE(histories->count(), 1);
}

void tst_KeywordHistory::csv_hasOneTimeAxis()
{
    PKeywordHistory level;
    PKeywordHistory power;
    level.setKeyword(QStringLiteral("/tank/level"));
    power.setName(QStringLiteral("=Power, \"all\""));
    const qint64 now = PKeywordHistory::now();
    level.append({now - 4000, 0.1});
    level.append({now - 2000, nothing});
    level.append({now - 1000, 3});
    power.append({now - 3000, 1e300});
    power.append({now - 1000, -1.25});
    PKeywordHistories histories;
    histories.add(&level);
    histories.add(&power);

    const auto lines = [&](const QDateTime &from = {}, const QDateTime &to = {}) {
        const QString text = histories.toCsv(from, to);
        return text.split(QStringLiteral("\r\n"));
    };
    const QStringList all = lines();
    QCOMPARE(all.size(), 6); // the last one is empty
    QCOMPARE(all.at(0), QStringLiteral("\"Time\",\"/tank/level\",\"'=Power, \"\"all\"\"\""));
    const QStringList values {QStringLiteral("0.1,"), QStringLiteral("0.1,1e+300"),
                              QStringLiteral(",1e+300"), QStringLiteral("3,-1.25")};
    QDateTime last;
    for (int i = 0; i < 4; ++i) {
        const QString &line = all.at(i + 1);
        const qsizetype comma = line.indexOf(u',');
        QCOMPARE(line.mid(comma + 1), values.at(i));
        const QDateTime time = QDateTime::fromString(line.left(comma), Qt::ISODateWithMs);
        QVERIFY2(time.isValid(), qPrintable(line));
        if (i > 0)
            QCOMPARE(last.msecsTo(time), 1000);
        last = time;
    }
    QVERIFY(std::abs(last.msecsTo(PKeywordHistory::wallTime(now - 1000))) < 10000);

    // With a start time, the first line contains the values at that time.
    const QStringList some =
        lines(PKeywordHistory::wallTime(now - 2500), PKeywordHistory::wallTime(now - 1500));
    QCOMPARE(some.size(), 4);
    QVERIFY(some.at(1).endsWith(QStringLiteral(",0.1,1e+300")));
    QVERIFY(some.at(2).endsWith(QStringLiteral(",,1e+300")));
}

void tst_KeywordHistory::csv_isWrittenIntoAFile()
{
    QTemporaryDir folder;
    PKeywordHistory history;
    history.setKeyword(keyword);
    history.append({PKeywordHistory::now(), 1});
    PKeywordHistories histories;
    histories.add(&history);
    const QString path = folder.filePath(QStringLiteral("a #1 %20.csv"));
    QVERIFY(histories.saveCsv(path));
    QCOMPARE(histories.error(), QString());
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString written = QString::fromUtf8(file.readAll());
    QVERIFY2(written.startsWith(QStringLiteral("\"Time\",\"/a\"\r\n2")), qPrintable(written));
    QVERIFY2(written.endsWith(QStringLiteral(",1\r\n")), qPrintable(written));
    const QString other = folder.filePath(QStringLiteral("b.csv"));
    QVERIFY(histories.saveCsv(QUrl::fromLocalFile(other).toString()));
    QVERIFY(QFile::exists(other));

    QSignalSpy errors(&histories, &PKeywordHistories::errorChanged);
    const QString nowhere = folder.filePath(QStringLiteral("none/c.csv"));
    QVERIFY(!histories.saveCsv(nowhere));
    QVERIFY2(histories.error().contains(nowhere), qPrintable(histories.error()));
    QVERIFY(!histories.saveCsv(QString()));
    QCOMPARE(histories.error(), QStringLiteral("No file name is given"));
    QVERIFY(histories.saveCsv(path));
    QCOMPARE(histories.error(), QString());
    QCOMPARE(errors.size(), 3);
}

// Each signal, and each command to the server, deletes the history, its client, or both.
void tst_KeywordHistory::handlers_mayDeleteEverything_data()
{
    QTest::addColumn<QByteArray>("signal");
    for (const char *signal : {"clientChanged()", "keywordChanged()", "nameChanged()", "changed()",
                               "currentChanged()", "sampled()", "changesPerSecondChanged()", "ask"})
        QTest::newRow(signal) << QByteArray(signal);
}

void tst_KeywordHistory::handlers_mayDeleteEverything()
{
    QFETCH(QByteArray, signal);
    for (const int what : {0, 1, 2}) {
        for (int occasion = 1; occasion <= 6; ++occasion) {
            QPointer<RecordingClient> client(new RecordingClient);
            QPointer<PKeywordHistories> histories(new PKeywordHistories);
            QPointer<PKeywordHistory> history(new PKeywordHistory);
            int occasions = 0;
            const auto strike = [&] {
                if (++occasions != occasion)
                    return;
                if (what != 1)
                    delete history.data();
                if (what != 0)
                    delete client.data();
                if (what == 2)
                    delete histories.data();
            };
            if (signal == "ask") {
                client->answer = [&](const QByteArray &) { strike(); };
            } else {
                const int index = history->metaObject()->indexOfSignal(signal);
                QVERIFY(index >= 0);
            }
            class Relay : public QObject
            {
            public:
                explicit Relay(std::function<void()> act) : act(std::move(act)) { }
                int qt_metacall(QMetaObject::Call call, int id, void **arguments) override
                {
                    id = QObject::qt_metacall(call, id, arguments);
                    if (id >= 0 && call == QMetaObject::InvokeMetaMethod)
                        act();
                    return -1;
                }
                std::function<void()> act;
            };
            Relay relay(strike);
            if (signal != "ask") {
                QMetaObject::connect(history, history->metaObject()->indexOfSignal(signal), &relay,
                                     relay.metaObject()->methodCount());
            }

            histories->add(history);
            if (history)
                history->setKeyword(keyword);
            if (histories)
                histories->setClient(client);
            if (client)
                publish(*client, 1.5);
            if (client)
                publish(*client, 2.5);
            if (client)
                client->publisher()->setActive(false);
            if (client)
                client->publisher()->setActive(true);
            if (history)
                history->setKeyword(QStringLiteral("/b"));
            if (histories)
                histories->setKeywords({QStringLiteral("/c"), QStringLiteral("/d")});
            if (histories && client)
                publish(*client, 1.5, QStringLiteral("/c"));
            delete history.data();
            delete histories.data();
            delete client.data();
        }
    }
}

QTEST_GUILESS_MAIN(tst_KeywordHistory)
#include "tst_keywordhistory.moc"
