// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"

#include <QtCore/QPointer>
#include <QtCore/QScopedValueRollback>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <functional>
#include <memory>
#include <random>
#include <vector>

using namespace pellix::client;

namespace {
const QString topicA = QStringLiteral("/a");
const QString topicB = QStringLiteral("/b");
} // namespace

// Tests handlers that interfere with a delivery, a notification, or a change in progress.
class tst_PubSubReentrancy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void delivery_reachesAllThatStillListen_data();
    void delivery_reachesAllThatStillListen();
    void delivery_skipsThatWhichJoinedMeanwhile();
    void delivery_servesNobodyTwiceThatLeftAndJoinedAgain();
    void delivery_nestedComesAfterTheOneUnderWay();
    void delivery_nestedOnAnotherTopicGoesOutAtOnce();
    void delivery_survivesTheTopicBeingLeftAndJoinedByOthers();
    void notification_tellsEachStateOnce();
    void notification_survivesDeaths_data();
    void notification_survivesDeaths();
    void topicRemoved_handlerDeletes_data();
    void topicRemoved_handlerDeletes();
    void topicRemoved_handlerChangesTheTopicAgain();
    void setPublisher_handlerDeletesTheSubscriber();
    void dyingPublisher_takesNobody();
    void dyingPublisher_toleratesThatTopicsAreLeft();
    void dyingPublisher_handlersDeleteSubscribers();
    void dyingSubscriber_ignoresChanges();
    void randomOperations_keepTheBooks_data();
    void randomOperations_keepTheBooks();

private:
    std::unique_ptr<PPublisher> publisher;
    std::vector<std::unique_ptr<PSubscriber>> subscribers;
    QStringList served;
    using Handler = std::function<void(int)>;
    Handler onServed;
};

// Five subscribers of the topic /a, which record deliveries and then call onServed.
void tst_PubSubReentrancy::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    publisher = std::make_unique<PPublisher>();
    served.clear();
    onServed = [](int) {};
    for (int i = 0; i < 5; ++i) {
        subscribers.push_back(std::make_unique<PSubscriber>());
        PSubscriber *const subscriber = subscribers.back().get();
        connect(subscriber, &PSubscriber::valueChanged, this, [this, i](const QVariant &value) {
            served << QString::number(i) + value.toString();
            const auto handler = onServed; // may be replaced while the handler runs
            handler(i);
        });
        subscriber->setPublisher(publisher.get());
        subscriber->setTopic(topicA);
    }
}

void tst_PubSubReentrancy::cleanup()
{
    subscribers.clear();
    publisher.reset();
}

void tst_PubSubReentrancy::delivery_reachesAllThatStillListen_data()
{
    QTest::addColumn<int>("actor");
    QTest::addColumn<int>("victim");
    QTest::addColumn<int>("deed");
    for (int actor = 0; actor < 5; ++actor) {
        for (int victim = 0; victim < 5; ++victim) {
            for (int deed = 0; deed < 5; ++deed)
                QTest::addRow("%d does %d to %d", actor, deed, victim) << actor << victim << deed;
        }
        QTest::addRow("%d deletes the publisher", actor) << actor << -1 << 5;
        QTest::addRow("%d deletes everything", actor) << actor << -1 << 6;
    }
}

void tst_PubSubReentrancy::delivery_reachesAllThatStillListen()
{
    QFETCH(int, actor);
    QFETCH(int, victim);
    QFETCH(int, deed);
    PPublisher other;
    const QScopedValueRollback<Handler> rollback(onServed, [&](int i) {
        if (i != actor)
            return;
        switch (deed) {
        case 0:
            subscribers[victim].reset();
            break;
        case 1:
            subscribers[victim]->setTopic(topicB);
            break;
        case 2:
            subscribers[victim]->setTopic(QString());
            break;
        case 3:
            subscribers[victim]->setPublisher(nullptr);
            break;
        case 4:
            subscribers[victim]->setPublisher(&other);
            break;
        case 5:
            publisher.reset();
            break;
        case 6:
            subscribers.clear();
            publisher.reset();
            break;
        }
    });

    publisher->publish(topicA, QStringLiteral("x"));

    QStringList expected;
    for (int i = 0; i < 5; ++i) {
        const bool gone = victim < 0 ? i > actor : i == victim && victim > actor;
        if (!gone)
            expected << QString::number(i) + QStringLiteral("x");
    }
    QCOMPARE(served.join(QLatin1Char(' ')), expected.join(QLatin1Char(' ')));
}

void tst_PubSubReentrancy::delivery_skipsThatWhichJoinedMeanwhile()
{
    PSubscriber late;
    QSignalSpy spy(&late, &PSubscriber::valueChanged);
    const QScopedValueRollback<Handler> rollback(onServed, [&](int i) {
        if (i == 0) {
            late.setPublisher(publisher.get());
            late.setTopic(topicA);
        }
    });

    publisher->publish(topicA, QStringLiteral("x"));
    QCOMPARE(spy.count(), 0);
    QCOMPARE(served.count(), 5);
    publisher->publish(topicA, QStringLiteral("y"));
    QCOMPARE(spy.count(), 1);
}

void tst_PubSubReentrancy::delivery_servesNobodyTwiceThatLeftAndJoinedAgain()
{
    onServed = [&](int i) {
        subscribers[i]->setTopic(topicB);
        subscribers[i]->setTopic(topicA);
    };

    publisher->publish(topicA, QStringLiteral("x"));

    QCOMPARE(served.join(QLatin1Char(' ')), QStringLiteral("0x 1x 2x 3x 4x"));
}

void tst_PubSubReentrancy::delivery_nestedOnAnotherTopicGoesOutAtOnce()
{
    subscribers[4]->setTopic(topicB);
    onServed = [&](int i) {
        if (i == 1)
            publisher->publish(topicB, QStringLiteral("y"));
    };

    publisher->publish(topicA, QStringLiteral("x"));

    QCOMPARE(served.join(QLatin1Char(' ')), QStringLiteral("0x 1x 4y 2x 3x"));
}

void tst_PubSubReentrancy::delivery_nestedComesAfterTheOneUnderWay()
{
    onServed = [&](int i) {
        if (i == 1 && served.count() == 2)
            publisher->publish(topicA, QStringLiteral("y"));
        if (i == 3 && served.last() == QLatin1String("3y"))
            subscribers[4].reset();
    };

    publisher->publish(topicA, QStringLiteral("x"));

    QCOMPARE(served.join(QLatin1Char(' ')), QStringLiteral("0x 1x 2x 3x 4x 0y 1y 2y 3y"));
}

void tst_PubSubReentrancy::delivery_survivesTheTopicBeingLeftAndJoinedByOthers()
{
    PSubscriber newcomer;
    QSignalSpy spy(&newcomer, &PSubscriber::valueChanged);
    const QScopedValueRollback<Handler> rollback(onServed, [&](int i) {
        if (i != 2)
            return;
        for (auto &subscriber : subscribers)
            subscriber->setTopic(topicB); // the topic is removed and created again
        newcomer.setPublisher(publisher.get());
        newcomer.setTopic(topicA);
        for (int filler = 0; filler < 1000; ++filler) { // the table of topics grows
            auto *subscriber = new PSubscriber(&newcomer);
            subscriber->setPublisher(publisher.get());
            subscriber->setTopic(QString::number(filler));
        }
    });

    publisher->publish(topicA, QStringLiteral("x"));

    QCOMPARE(served.join(QLatin1Char(' ')), QStringLiteral("0x 1x 2x"));
    QCOMPARE(spy.count(), 0);
}

void tst_PubSubReentrancy::notification_tellsEachStateOnce()
{
    QStringList told;
    QObject scope; // disconnects before the captured variables are destroyed
    for (int i = 0; i < 5; ++i) {
        PSubscriber *const subscriber = subscribers[i].get();
        connect(subscriber, &PSubscriber::publisherActiveChanged, &scope, [&, i, subscriber] {
            told << QString::number(i)
                    + (subscriber->publisherActive() ? QLatin1Char('+') : QLatin1Char('-'));
            if (i == 2 && publisher->active())
                publisher->setActive(false);
        });
    }

    publisher->setActive(true);

    QCOMPARE(told.join(QLatin1Char(' ')), QStringLiteral("0+ 1+ 2+ 0- 1- 2-"));
}

void tst_PubSubReentrancy::notification_survivesDeaths_data()
{
    QTest::addColumn<int>("actor");
    QTest::addColumn<int>("victim");
    for (int actor = -1; actor < 5; ++actor) {
        for (int victim = -1; victim < 5; ++victim) {
            QTest::addRow("%s deletes %s",
                          actor < 0 ? "publisher's handler" : qPrintable(QString::number(actor)),
                          victim < 0 ? "the publisher" : qPrintable(QString::number(victim)))
                << actor << victim;
        }
    }
}

void tst_PubSubReentrancy::notification_survivesDeaths()
{
    QFETCH(int, actor);
    QFETCH(int, victim);
    QStringList told;
    const auto act = [&] {
        if (victim < 0)
            publisher.reset();
        else
            subscribers[victim].reset();
    };
    bool acted = false;
    QObject scope; // disconnects before the captured variables are destroyed
    for (int i = 0; i < 5; ++i) {
        connect(subscribers[i].get(), &PSubscriber::publisherActiveChanged, &scope, [&, i] {
            if (!std::exchange(acted, acted || i == actor) && i == actor) {
                told << QString::number(i);
                act();
            } else if (publisher) {
                told << QString::number(i);
            }
        });
    }
    if (actor < 0)
        connect(publisher.get(), &PPublisher::activeChanged, &scope, act);

    publisher->setActive(true);

    QStringList expected;
    for (int i = 0; i < 5; ++i) {
        const bool gone = victim < 0 ? i > actor : i == victim && victim > actor;
        if (!gone)
            expected << QString::number(i);
    }
    QCOMPARE(told.join(QLatin1Char(' ')), expected.join(QLatin1Char(' ')));
}

void tst_PubSubReentrancy::topicRemoved_handlerDeletes_data()
{
    QTest::addColumn<bool>("deletePublisher");
    QTest::addColumn<bool>("deleteSubscriber");
    QTest::addColumn<int>("leave");
    for (int leave = 0; leave < 3; ++leave) {
        QTest::addRow("publisher, leave %d", leave) << true << false << leave;
        QTest::addRow("subscriber, leave %d", leave) << false << true << leave;
        QTest::addRow("both, leave %d", leave) << true << true << leave;
    }
}

void tst_PubSubReentrancy::topicRemoved_handlerDeletes()
{
    QFETCH(bool, deletePublisher);
    QFETCH(bool, deleteSubscriber);
    QFETCH(int, leave);
    PPublisher other;
    auto *subscriber = new PSubscriber;
    const QPointer<PSubscriber> guard = subscriber;
    bool dying = false;
    subscriber->setPublisher(publisher.get());
    subscriber->setTopic(topicB);
    int removals = 0;
    QObject scope; // disconnects before the captured variables are destroyed
    connect(publisher.get(), &PPublisher::topicRemoved, &scope, [&] {
        ++removals;
        if (deletePublisher)
            publisher.reset();
        if (deleteSubscriber && !std::exchange(dying, true))
            delete subscriber;
    });

    switch (leave) {
    case 0:
        subscriber->setTopic(QStringLiteral("/c"));
        break;
    case 1:
        subscriber->setPublisher(&other);
        break;
    case 2:
        dying = true;
        delete subscriber;
        break;
    }

    // If it is deleted while it changes from /b to /c, it also leaves /c, unless the publisher is
    // gone.
    QCOMPARE(removals, leave == 0 && !deletePublisher ? 2 : 1);
    QCOMPARE(!publisher, deletePublisher);
    QCOMPARE(guard.isNull(), deleteSubscriber || leave == 2);
    if (guard) {
        QCOMPARE(guard->active(), leave == 1);
        delete guard;
    }
}

void tst_PubSubReentrancy::topicRemoved_handlerChangesTheTopicAgain()
{
    PSubscriber subscriber;
    subscriber.setPublisher(publisher.get());
    subscriber.setTopic(topicB);
    QStringList removed;
    QSignalSpy active(&subscriber, &PSubscriber::activeChanged);
    QObject scope; // disconnects before the captured variables are destroyed
    connect(publisher.get(), &PPublisher::topicRemoved, &scope, [&](const QString &topic) {
        removed << topic;
        if (topic == topicB)
            subscriber.setTopic(topicB); // subscribes again
    });

    subscriber.setTopic(QStringLiteral("/c"));

    QCOMPARE(removed.join(QLatin1Char(' ')), QStringLiteral("/b /c"));
    QCOMPARE(subscriber.topic(), topicB);
    QCOMPARE(active.count(), 0);
    QSignalSpy values(&subscriber, &PSubscriber::valueChanged);
    publisher->publish(topicB, 1);
    QCOMPARE(values.count(), 1);
}

void tst_PubSubReentrancy::setPublisher_handlerDeletesTheSubscriber()
{
    publisher->setActive(true);
    auto *subscriber = new PSubscriber;
    subscriber->setTopic(topicB);
    QSignalSpy active(subscriber, &PSubscriber::activeChanged);
    QObject scope; // disconnects before the captured variables are destroyed
    connect(subscriber, &PSubscriber::publisherActiveChanged, &scope, [&] { delete subscriber; });
    QSignalSpy removed(publisher.get(), &PPublisher::topicRemoved);

    subscriber->setPublisher(publisher.get());

    QCOMPARE(active.count(), 0);
    QCOMPARE(removed.count(), 1);
}

void tst_PubSubReentrancy::dyingPublisher_takesNobody()
{
    PPublisher *const raw = publisher.get();
    PSubscriber newcomer;
    newcomer.setTopic(topicB);
    QObject scope; // disconnects before the captured variables are destroyed
    connect(subscribers[1].get(), &PSubscriber::activeChanged, &scope, [&] {
        subscribers[1]->setPublisher(raw);
        subscribers[0]->setPublisher(raw);
        newcomer.setPublisher(raw);
        raw->setActive(true);
        raw->publish(topicA, QStringLiteral("x"));
    });
    const auto last =
        std::make_unique<QSignalSpy>(subscribers[4].get(), &PSubscriber::activeChanged);

    delete publisher.release();

    QVERIFY(!newcomer.active());
    for (const auto &subscriber : subscribers)
        QVERIFY(!subscriber->active());
    QCOMPARE(last->count(), 1);
    newcomer.setTopic(topicA); // no longer accesses a publisher
}

void tst_PubSubReentrancy::dyingPublisher_toleratesThatTopicsAreLeft()
{
    subscribers[3]->setTopic(topicB); // the only subscriber of its topic
    QStringList removed;
    QObject scope; // disconnects before the captured variables are destroyed
    connect(publisher.get(), &PPublisher::topicRemoved, &scope,
            [&](const QString &topic) { removed << topic; });
    connect(subscribers[0].get(), &PSubscriber::activeChanged, &scope, [&] {
        subscribers[3]->setTopic(QStringLiteral("/c")); // still attached, the last one of /b
        subscribers[1]->setTopic(QStringLiteral("/d"));
        subscribers[1]->setPublisher(nullptr);
        for (int i : {2, 4})
            subscribers[size_t(i)]->setTopic(QString());
    });

    publisher.reset();

    QCOMPARE(removed, QStringList());
    for (const auto &subscriber : subscribers)
        QVERIFY(!subscriber->active());
    QCOMPARE(subscribers[3]->topic(), QStringLiteral("/c"));
    PPublisher next; // they have no references to the old publisher
    QSignalSpy left(&next, &PPublisher::topicRemoved);
    subscribers[3]->setPublisher(&next);
    next.publish(QStringLiteral("/c"), 1);
    QCOMPARE(served, QStringList(QStringLiteral("31")));
    subscribers[3].reset();
    QCOMPARE(left.count(), 1);
}

void tst_PubSubReentrancy::dyingPublisher_handlersDeleteSubscribers()
{
    QObject scope; // disconnects before the captured variables are destroyed
    connect(subscribers[1].get(), &PSubscriber::activeChanged, &scope, [&] {
        subscribers[4].reset();
        subscribers[0].reset();
        subscribers[2].reset();
    });
    connect(subscribers[3].get(), &PSubscriber::activeChanged, &scope,
            [&] { subscribers.clear(); });

    publisher.reset();

    QVERIFY(subscribers.empty());
}

void tst_PubSubReentrancy::dyingSubscriber_ignoresChanges()
{
    auto *subscriber = new PSubscriber;
    subscriber->setPublisher(publisher.get());
    subscriber->setTopic(topicB);
    bool removed = false;
    QObject scope; // disconnects before the captured variables are destroyed
    connect(publisher.get(), &PPublisher::topicRemoved, &scope, [&] {
        removed = true;
        subscriber->setPublisher(publisher.get());
        subscriber->setTopic(topicA);
    });

    delete subscriber;

    QVERIFY(removed);
    publisher->publish(topicB, QStringLiteral("x"));
    publisher->publish(topicA, QStringLiteral("x"));
    QCOMPARE(served.count(), 5);
}

void tst_PubSubReentrancy::randomOperations_keepTheBooks_data()
{
    QTest::addColumn<unsigned>("seed");
    for (unsigned seed = 1; seed <= 40; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

// Random changes during deliveries, checked against the state of each subscriber at the time of the
// publication: it is served at most once per publication, and skipped only if it left or joined in
// the meantime.
void tst_PubSubReentrancy::randomOperations_keepTheBooks()
{
    QFETCH(unsigned, seed);
    subscribers.clear();
    std::mt19937 random(seed);
    const auto below = [&](int n) { return int(random() % unsigned(n)); };

    struct Member
    {
        std::unique_ptr<PSubscriber> subscriber;
        bool attached = false;
        int topic = 0; // 0: no topic
        int change = 0; // number of the last change; 0: none yet
    };
    constexpr int memberCount = 12;
    std::vector<Member> members(memberCount);
    QHash<int, int> listeners; // number of listeners by topic
    QHash<int, int> removals, expectedRemovals;
    int changes = 0;
    int publications = 0;
    int depth = 0;
    struct Publication
    {
        int topic;
        int start;
        QList<int> served;
    };
    QHash<int, Publication> running;
    std::function<void()> act;

    const auto listens = [&](const Member &m) { return m.attached && m.topic != 0; };
    const auto update = [&](Member &m, bool attached, int topic) {
        const bool listened = listens(m);
        const int before = m.topic;
        if (listened && (!attached || topic != before) && --listeners[before] == 0)
            ++expectedRemovals[before];
        if (attached && topic != 0 && (!listened || topic != before))
            ++listeners[topic];
        if (attached != m.attached || topic != before)
            m.change = ++changes;
        m.attached = attached;
        m.topic = topic;
    };
    QObject scope; // disconnects before the captured variables are destroyed
    const auto create = [&](int i) {
        members[i].subscriber = std::make_unique<PSubscriber>();
        members[i].change = ++changes;
        connect(members[i].subscriber.get(), &PSubscriber::valueChanged, &scope,
                [&, i](const QVariant &value) {
                    Publication &publication = running[value.toInt()];
                    publication.served << i;
                    QVERIFY(listens(members[i]));
                    QCOMPARE(members[i].topic, publication.topic);
                    QVERIFY2(members[i].change <= publication.start, "joined meanwhile");
                    act();
                });
    };
    const auto topicName = [](int topic) {
        return topic == 0 ? QString() : QString::number(topic);
    };
    connect(publisher.get(), &PPublisher::topicRemoved, &scope, [&](const QString &topic) {
        ++removals[topic.toInt()];
        if (below(3) == 0)
            act();
    });
    act = [&] {
        if (++depth > 4) {
            --depth;
            return;
        }
        const int i = below(memberCount);
        Member &m = members[i];
        switch (below(6)) {
        case 0:
            if (m.subscriber) {
                update(m, false, 0);
                const auto dying = std::move(m.subscriber);
            } else {
                create(i);
            }
            break;
        case 1:
        case 2:
            if (m.subscriber) {
                const int topic = below(4);
                update(m, m.attached, topic);
                m.subscriber->setTopic(topicName(topic));
            }
            break;
        case 3:
            if (m.subscriber) {
                const bool attached = below(3) > 0;
                update(m, attached, m.topic);
                m.subscriber->setPublisher(attached ? publisher.get() : nullptr);
            }
            break;
        default: {
            const int id = ++publications;
            const int topic = below(4);
            const int start = changes;
            running[id] = {topic, start, {}};
            QList<int> expected;
            for (int k = 0; k < memberCount; ++k) {
                if (members[k].subscriber && listens(members[k]) && members[k].topic == topic)
                    expected << k;
            }
            publisher->publish(topicName(topic), id);
            const QList<int> got = running.take(id).served;
            for (const int k : expected) {
                const bool unchanged = members[k].subscriber && members[k].change <= start;
                QVERIFY(got.count(k) <= 1);
                if (unchanged)
                    QCOMPARE(got.count(k), 1);
            }
            for (const int k : got)
                QVERIFY(expected.contains(k));
            break;
        }
        }
        --depth;
    };

    for (int i = 0; i < memberCount; ++i)
        create(i);
    for (int step = 0; step < 3000; ++step) {
        act();
        if (QTest::currentTestFailed())
            return;
    }
    QVERIFY(publications > 500);
    expectedRemovals.remove(0);
    QCOMPARE(removals, expectedRemovals);
    QVERIFY(!removals.isEmpty());
}

QTEST_GUILESS_MAIN(tst_PubSubReentrancy)
#include "tst_pubsubreentrancy.moc"
