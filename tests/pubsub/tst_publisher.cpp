// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"

#include <QtCore/QHashFunctions>
#include <QtCore/QMetaMethod>
#include <QtCore/QRandomGenerator>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>
#include <vector>

using namespace pellix::client;

class tst_Publisher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void metaObject_listsSignalsInOrder();
    void construction_startsInactive();
    void setActive_emitsOnlyOnChange();
    void setActive_tellsPublisherBeforeSubscribers();
    void publish_reachesEverySubscriberOfTheTopic();
    void publish_comparesTopicsExactly_data();
    void publish_comparesTopicsExactly();
    void publish_withoutSubscriberDoesNothing();
    void publish_onEmptyTopicReachesNobody();
    void publish_deliversWhileInactive();
    void publish_servesInOrderOfJoining();
    void publish_sharesOneVariant();
    void topicRemoved_onlyAfterLastSubscriberLeaves_data();
    void topicRemoved_onlyAfterLastSubscriberLeaves();
    void topicRemoved_alsoWhileInactive();
    void topicRemoved_neverForTheEmptyTopic();
    void topicRemoved_comesAfterJoiningTheNewTopic();
    void destruction_detachesSubscribersWithoutTopicRemoved();
    void topics_comeAndGo();
    void teardown_inAnyOrderOfManySubscribers_data();
    void teardown_inAnyOrderOfManySubscribers();
};

void tst_Publisher::metaObject_listsSignalsInOrder()
{
    const QMetaObject &meta = PPublisher::staticMetaObject;
    QCOMPARE(meta.className(), "pellix::client::PPublisher");
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods << QString::fromLatin1(meta.method(i).methodSignature());
    QCOMPARE(
        methods,
        QStringList({QStringLiteral("activeChanged()"), QStringLiteral("topicRemoved(QString)")}));
}

void tst_Publisher::construction_startsInactive()
{
    QObject parent;
    const auto *publisher = new PPublisher(&parent);
    QCOMPARE(publisher->parent(), &parent);
    QVERIFY(!publisher->active());
}

void tst_Publisher::setActive_emitsOnlyOnChange()
{
    PPublisher publisher;
    QSignalSpy spy(&publisher, &PPublisher::activeChanged);

    publisher.setActive(false);
    QCOMPARE(spy.count(), 0);
    publisher.setActive(true);
    QVERIFY(publisher.active());
    QCOMPARE(spy.count(), 1);
    publisher.setActive(true);
    QCOMPARE(spy.count(), 1);
    publisher.setActive(false);
    QVERIFY(!publisher.active());
    QCOMPARE(spy.count(), 2);
}

void tst_Publisher::setActive_tellsPublisherBeforeSubscribers()
{
    PPublisher publisher;
    PSubscriber first, second;
    first.setPublisher(&publisher);
    second.setPublisher(&publisher);
    QStringList log;
    QObject scope; // disconnects before the captured variables are destroyed
    connect(&publisher, &PPublisher::activeChanged, &scope, [&] { log << QStringLiteral("p"); });
    connect(&first, &PSubscriber::publisherActiveChanged, &scope,
            [&] { log << QStringLiteral("1"); });
    connect(&second, &PSubscriber::publisherActiveChanged, &scope,
            [&] { log << QStringLiteral("2"); });

    publisher.setActive(true);

    QCOMPARE(log.join(QLatin1Char(' ')), QStringLiteral("p 1 2"));
}

void tst_Publisher::publish_reachesEverySubscriberOfTheTopic()
{
    PPublisher publisher;
    PSubscriber a1, a2, b;
    for (PSubscriber *subscriber : {&a1, &a2, &b})
        subscriber->setPublisher(&publisher);
    a1.setTopic(QStringLiteral("/a"));
    a2.setTopic(QStringLiteral("/a"));
    b.setTopic(QStringLiteral("/b"));
    QSignalSpy spyA1(&a1, &PSubscriber::valueChanged);
    QSignalSpy spyA2(&a2, &PSubscriber::valueChanged);
    QSignalSpy spyB(&b, &PSubscriber::valueChanged);

    publisher.publish(QStringLiteral("/a"), 7);
    publisher.publish(QStringLiteral("/a"), 7);

    QCOMPARE(spyA1.count(), 2); // equal values are published as well
    QCOMPARE(spyA2.count(), 2);
    QCOMPARE(spyB.count(), 0);
    QCOMPARE(spyA1.at(0).at(0).value<QVariant>().toInt(), 7);
}

void tst_Publisher::publish_comparesTopicsExactly_data()
{
    QTest::addColumn<QString>("published");
    QTest::addColumn<int>("count");
    QTest::newRow("same") << QStringLiteral("/a/b") << 1;
    QTest::newRow("other case") << QStringLiteral("/A/b") << 0;
    QTest::newRow("other separator") << QStringLiteral("/a#b") << 0;
    QTest::newRow("trailing separator") << QStringLiteral("/a/b/") << 0;
    QTest::newRow("doubled separator") << QStringLiteral("/a//b") << 0;
    QTest::newRow("blank behind") << QStringLiteral("/a/b ") << 0;
    QTest::newRow("parent") << QStringLiteral("/a") << 0;
}

void tst_Publisher::publish_comparesTopicsExactly()
{
    QFETCH(QString, published);
    QFETCH(int, count);
    PPublisher publisher;
    PSubscriber subscriber;
    subscriber.setPublisher(&publisher);
    subscriber.setTopic(QStringLiteral("/a/b"));
    QSignalSpy spy(&subscriber, &PSubscriber::valueChanged);

    publisher.publish(published, 1);

    QCOMPARE(spy.count(), count);
}

void tst_Publisher::publish_withoutSubscriberDoesNothing()
{
    PPublisher publisher;
    QSignalSpy active(&publisher, &PPublisher::activeChanged);
    QSignalSpy removed(&publisher, &PPublisher::topicRemoved);

    publisher.publish(QStringLiteral("/a"), 1);

    QCOMPARE(active.count(), 0);
    QCOMPARE(removed.count(), 0);
}

void tst_Publisher::publish_onEmptyTopicReachesNobody()
{
    PPublisher publisher;
    PSubscriber subscriber;
    subscriber.setPublisher(&publisher);
    QSignalSpy spy(&subscriber, &PSubscriber::valueChanged);

    publisher.publish(QString(), 1);

    QCOMPARE(spy.count(), 0);
}

void tst_Publisher::publish_deliversWhileInactive()
{
    PPublisher publisher;
    PSubscriber subscriber;
    subscriber.setPublisher(&publisher);
    subscriber.setTopic(QStringLiteral("/a"));
    QSignalSpy spy(&subscriber, &PSubscriber::valueChanged);

    publisher.publish(QStringLiteral("/a"), 1);

    QCOMPARE(spy.count(), 1);
}

void tst_Publisher::publish_servesInOrderOfJoining()
{
    PPublisher publisher;
    std::vector<std::unique_ptr<PSubscriber>> subscribers;
    QStringList log;
    QObject scope; // disconnects before the captured variables are destroyed
    for (int i = 0; i < 5; ++i) {
        subscribers.push_back(std::make_unique<PSubscriber>());
        connect(subscribers.back().get(), &PSubscriber::valueChanged, &scope,
                [&log, i] { log << QString::number(i); });
    }
    for (const int i : {3, 1, 4, 0, 2}) {
        subscribers[i]->setPublisher(&publisher);
        subscribers[i]->setTopic(QStringLiteral("/a"));
    }
    subscribers[1]->setTopic(QStringLiteral("/b"));
    subscribers[1]->setTopic(QStringLiteral("/a"));

    publisher.publish(QStringLiteral("/a"), 1);

    QCOMPARE(log.join(QLatin1Char(' ')), QStringLiteral("3 4 0 2 1"));
}

void tst_Publisher::publish_sharesOneVariant()
{
    PPublisher publisher;
    PSubscriber subscribers[3];
    QList<const void *> payloads;
    QObject scope; // disconnects before the captured variables are destroyed
    for (PSubscriber &subscriber : subscribers) {
        subscriber.setPublisher(&publisher);
        subscriber.setTopic(QStringLiteral("/a"));
        connect(&subscriber, &PSubscriber::valueChanged, &scope,
                [&](const QVariant &value) { payloads << value.constData(); });
    }
    struct Large
    {
        char bytes[256] = {};
    };
    const QVariant value = QVariant::fromValue(Large());

    publisher.publish(QStringLiteral("/a"), value);

    QCOMPARE(payloads, QList<const void *>(3, value.constData()));
}

enum class Leave {
    ChangeTopic,
    EmptyTopic,
    NoPublisher,
    OtherPublisher,
    Destroy
};

void tst_Publisher::topicRemoved_onlyAfterLastSubscriberLeaves_data()
{
    QTest::addColumn<int>("leave");
    QTest::newRow("change topic") << int(Leave::ChangeTopic);
    QTest::newRow("empty topic") << int(Leave::EmptyTopic);
    QTest::newRow("no publisher") << int(Leave::NoPublisher);
    QTest::newRow("other publisher") << int(Leave::OtherPublisher);
    QTest::newRow("destroy") << int(Leave::Destroy);
}

void tst_Publisher::topicRemoved_onlyAfterLastSubscriberLeaves()
{
    QFETCH(int, leave);
    PPublisher publisher, other;
    auto first = std::make_unique<PSubscriber>();
    auto second = std::make_unique<PSubscriber>();
    for (PSubscriber *subscriber : {first.get(), second.get()}) {
        subscriber->setPublisher(&publisher);
        subscriber->setTopic(QStringLiteral("/a"));
    }
    QSignalSpy spy(&publisher, &PPublisher::topicRemoved);
    const auto go = [&](std::unique_ptr<PSubscriber> &subscriber) {
        switch (Leave(leave)) {
        case Leave::ChangeTopic:
            subscriber->setTopic(QStringLiteral("/b"));
            break;
        case Leave::EmptyTopic:
            subscriber->setTopic(QString());
            break;
        case Leave::NoPublisher:
            subscriber->setPublisher(nullptr);
            break;
        case Leave::OtherPublisher:
            subscriber->setPublisher(&other);
            break;
        case Leave::Destroy:
            subscriber.reset();
            break;
        }
    };

    go(first);
    QCOMPARE(spy.count(), 0);
    go(second);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toString(), QStringLiteral("/a"));
}

void tst_Publisher::topicRemoved_alsoWhileInactive()
{
    PPublisher publisher;
    PSubscriber subscriber;
    subscriber.setPublisher(&publisher);
    subscriber.setTopic(QStringLiteral("/a"));
    QSignalSpy spy(&publisher, &PPublisher::topicRemoved);
    QVERIFY(!publisher.active());

    subscriber.setTopic(QString());

    QCOMPARE(spy.count(), 1);
}

void tst_Publisher::topicRemoved_neverForTheEmptyTopic()
{
    PPublisher publisher;
    auto subscriber = std::make_unique<PSubscriber>();
    QSignalSpy spy(&publisher, &PPublisher::topicRemoved);

    subscriber->setPublisher(&publisher);
    subscriber->setTopic(QStringLiteral("/a"));
    QCOMPARE(spy.count(), 0);
    subscriber->setTopic(QString());
    QCOMPARE(spy.count(), 1);
    subscriber->setPublisher(nullptr);
    subscriber->setPublisher(&publisher);
    subscriber.reset();
    QCOMPARE(spy.count(), 1);
}

void tst_Publisher::topicRemoved_comesAfterJoiningTheNewTopic()
{
    PPublisher publisher;
    PSubscriber subscriber;
    subscriber.setPublisher(&publisher);
    subscriber.setTopic(QStringLiteral("/a"));
    QStringList log;
    QObject scope; // disconnects before the captured variables are destroyed
    connect(&subscriber, &PSubscriber::valueChanged, &scope,
            [&](const QVariant &value) { log << value.toString(); });
    connect(&publisher, &PPublisher::topicRemoved, &scope, [&](const QString &topic) {
        log << topic;
        publisher.publish(QStringLiteral("/a"), QStringLiteral("old"));
        publisher.publish(QStringLiteral("/b"), QStringLiteral("new"));
    });

    subscriber.setTopic(QStringLiteral("/b"));

    QCOMPARE(log.join(QLatin1Char(' ')), QStringLiteral("/a new"));
}

void tst_Publisher::destruction_detachesSubscribersWithoutTopicRemoved()
{
    auto publisher = std::make_unique<PPublisher>();
    publisher->setActive(true);
    PSubscriber subscriber;
    subscriber.setPublisher(publisher.get());
    subscriber.setTopic(QStringLiteral("/a"));
    QSignalSpy removed(publisher.get(), &PPublisher::topicRemoved);
    QSignalSpy publisherActive(&subscriber, &PSubscriber::publisherActiveChanged);
    QSignalSpy active(&subscriber, &PSubscriber::activeChanged);

    publisher.reset();

    QCOMPARE(removed.count(), 0);
    QCOMPARE(publisherActive.count(), 1);
    QCOMPARE(active.count(), 1);
    QVERIFY(!subscriber.active());
    QVERIFY(!subscriber.publisherActive());
    QCOMPARE(subscriber.topic(), QStringLiteral("/a"));
}

// Compared with a list for each topic, while the number of topics grows and shrinks, and the seed
// of the hash tables changes.
void tst_Publisher::topics_comeAndGo()
{
    constexpr int topicCount = 300;
    QHash<QString, QList<const PSubscriber *>> expected;
    QList<const PSubscriber *> served;
    QStringList removed;
    PPublisher publisher;
    std::vector<std::unique_ptr<PSubscriber>> subscribers;
    connect(&publisher, &PPublisher::topicRemoved, this,
            [&](const QString &topic) { removed << topic; });

    QRandomGenerator random(7);
    const auto anyTopic = [&] { return QString::number(random.bounded(topicCount)); };
    const auto leave = [&](PSubscriber *subscriber) {
        QList<const PSubscriber *> &others = expected[subscriber->topic()];
        others.removeOne(subscriber);
        return others.isEmpty() ? QStringList(subscriber->topic()) : QStringList();
    };
    for (int step = 0; step < 6000; ++step) {
        const bool grows = step / 1500 % 2 == 0;
        const auto any = subscribers.empty() ? 0 : size_t(random.bounded(int(subscribers.size())));
        removed.clear();
        if (subscribers.empty() || random.bounded(10) < (grows ? 6 : 1)) {
            subscribers.push_back(std::make_unique<PSubscriber>());
            PSubscriber *const subscriber = subscribers.back().get();
            connect(subscriber, &PSubscriber::valueChanged, this,
                    [&served, subscriber] { served << subscriber; });
            subscriber->setTopic(anyTopic());
            subscriber->setPublisher(&publisher);
            expected[subscriber->topic()] << subscriber;
        } else if (random.bounded(2) == 0) {
            const QStringList gone = leave(subscribers[any].get());
            subscribers.erase(subscribers.begin() + std::ptrdiff_t(any));
            QCOMPARE(removed, gone);
        } else {
            PSubscriber *const subscriber = subscribers[any].get();
            const QString topic = anyTopic();
            const QStringList gone =
                topic == subscriber->topic() ? QStringList() : leave(subscriber);
            if (topic != subscriber->topic())
                expected[topic] << subscriber;
            subscriber->setTopic(topic);
            QCOMPARE(removed, gone);
        }
        if (step % 1000 == 0)
            QHashSeed::resetRandomGlobalSeed();

        const QString topic = anyTopic();
        served.clear();
        publisher.publish(topic, step);
        QCOMPARE(served, expected.value(topic));
    }
}

void tst_Publisher::teardown_inAnyOrderOfManySubscribers_data()
{
    QTest::addColumn<QString>("order");
    QTest::addColumn<bool>("oneTopic");
    for (const char *order : {"first in first out", "last in first out", "publisher first"}) {
        QTest::addRow("%s, one topic", order) << QString::fromLatin1(order) << true;
        QTest::addRow("%s, a topic each", order) << QString::fromLatin1(order) << false;
    }
}

// 100 000 subscribers: if detaching a subscriber took longer than O(1), the test would exceed its
// time limit.
void tst_Publisher::teardown_inAnyOrderOfManySubscribers()
{
    QFETCH(QString, order);
    QFETCH(bool, oneTopic);
    constexpr int count = 100000;
    auto publisher = std::make_unique<PPublisher>();
    QSignalSpy removed(publisher.get(), &PPublisher::topicRemoved);
    std::vector<std::unique_ptr<PSubscriber>> subscribers;
    for (int i = 0; i < count; ++i) {
        subscribers.push_back(std::make_unique<PSubscriber>());
        subscribers.back()->setPublisher(publisher.get());
        subscribers.back()->setTopic(oneTopic ? QStringLiteral("/a") : QString::number(i));
    }

    if (order == QLatin1String("publisher first")) {
        publisher.reset();
        for (const auto &subscriber : subscribers)
            QVERIFY(!subscriber->active());
        QCOMPARE(removed.count(), 0);
    } else if (order == QLatin1String("first in first out")) {
        for (auto &subscriber : subscribers)
            subscriber.reset();
        QCOMPARE(removed.count(), oneTopic ? 1 : count);
    } else {
        while (!subscribers.empty())
            subscribers.pop_back();
        QCOMPARE(removed.count(), oneTopic ? 1 : count);
    }
}

QTEST_GUILESS_MAIN(tst_Publisher)
#include "tst_publisher.moc"
