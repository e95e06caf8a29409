// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"

#include <QtCore/QMetaMethod>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using namespace pellix::client;

class tst_Subscriber : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void metaObject_listsSignalsInOrder();
    void construction_hasNeitherPublisherNorTopic();
    void active_needsPublisherAndTopic();
    void setTopic_toTheSameDoesNothing();
    void setTopic_toAnotherStaysActiveSilently();
    void setPublisher_toTheSameDoesNothing();
    void setPublisher_mirrorsTheActiveFlagAtOnce();
    void setPublisher_betweenActivePublishersIsSilent();
    void setPublisher_signalsPublisherActiveBeforeActive();
    void setActive_isMirrored();
    void topic_isKeptWithoutPublisher();
    void lateJoiner_getsNoEarlierValue();
};

void tst_Subscriber::metaObject_listsSignalsInOrder()
{
    const QMetaObject &meta = PSubscriber::staticMetaObject;
    QCOMPARE(meta.className(), "pellix::client::PSubscriber");
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods << QString::fromLatin1(meta.method(i).methodSignature());
    QCOMPARE(
        methods,
        QStringList({QStringLiteral("activeChanged()"), QStringLiteral("publisherActiveChanged()"),
                     QStringLiteral("valueChanged(QVariant)")}));
}

void tst_Subscriber::construction_hasNeitherPublisherNorTopic()
{
    QObject parent;
    auto *subscriber = new PSubscriber(&parent);
    QCOMPARE(subscriber->parent(), &parent);
    QVERIFY(subscriber->topic().isEmpty());
    QVERIFY(!subscriber->active());
    QVERIFY(!subscriber->publisherActive());
}

void tst_Subscriber::active_needsPublisherAndTopic()
{
    PPublisher publisher;
    PSubscriber subscriber;
    QSignalSpy spy(&subscriber, &PSubscriber::activeChanged);

    subscriber.setTopic(QStringLiteral("/a"));
    QVERIFY(!subscriber.active());
    QCOMPARE(spy.count(), 0);
    subscriber.setPublisher(&publisher);
    QVERIFY(subscriber.active());
    QCOMPARE(spy.count(), 1);
    subscriber.setTopic(QString());
    QVERIFY(!subscriber.active());
    QCOMPARE(spy.count(), 2);
    subscriber.setTopic(QStringLiteral("/b"));
    QVERIFY(subscriber.active());
    QCOMPARE(spy.count(), 3);
    subscriber.setPublisher(nullptr);
    QVERIFY(!subscriber.active());
    QCOMPARE(spy.count(), 4);
}

void tst_Subscriber::setTopic_toTheSameDoesNothing()
{
    PPublisher publisher;
    PSubscriber subscriber;
    subscriber.setPublisher(&publisher);
    subscriber.setTopic(QStringLiteral("/a"));
    QSignalSpy active(&subscriber, &PSubscriber::activeChanged);
    QSignalSpy removed(&publisher, &PPublisher::topicRemoved);

    subscriber.setTopic(QStringLiteral("/a"));

    QCOMPARE(active.count(), 0);
    QCOMPARE(removed.count(), 0); // otherwise, the server would destroy a keyword in use
}

void tst_Subscriber::setTopic_toAnotherStaysActiveSilently()
{
    PPublisher publisher;
    PSubscriber subscriber;
    subscriber.setPublisher(&publisher);
    subscriber.setTopic(QStringLiteral("/a"));
    QSignalSpy active(&subscriber, &PSubscriber::activeChanged);

    subscriber.setTopic(QStringLiteral("/b"));

    QCOMPARE(subscriber.topic(), QStringLiteral("/b"));
    QVERIFY(subscriber.active());
    QCOMPARE(active.count(), 0);
}

void tst_Subscriber::setPublisher_toTheSameDoesNothing()
{
    PPublisher publisher;
    publisher.setActive(true);
    PSubscriber subscriber;
    subscriber.setPublisher(&publisher);
    subscriber.setTopic(QStringLiteral("/a"));
    QSignalSpy active(&subscriber, &PSubscriber::activeChanged);
    QSignalSpy publisherActive(&subscriber, &PSubscriber::publisherActiveChanged);
    QSignalSpy removed(&publisher, &PPublisher::topicRemoved);

    subscriber.setPublisher(&publisher);

    QCOMPARE(active.count(), 0);
    QCOMPARE(publisherActive.count(), 0);
    QCOMPARE(removed.count(), 0);
}

void tst_Subscriber::setPublisher_mirrorsTheActiveFlagAtOnce()
{
    PPublisher publisher;
    publisher.setActive(true);
    PSubscriber subscriber;
    QSignalSpy spy(&subscriber, &PSubscriber::publisherActiveChanged);

    subscriber.setPublisher(&publisher);
    QVERIFY(subscriber.publisherActive());
    QCOMPARE(spy.count(), 1);
    subscriber.setPublisher(nullptr);
    QVERIFY(!subscriber.publisherActive());
    QCOMPARE(spy.count(), 2);
}

void tst_Subscriber::setPublisher_betweenActivePublishersIsSilent()
{
    PPublisher first, second;
    first.setActive(true);
    second.setActive(true);
    PSubscriber subscriber;
    subscriber.setTopic(QStringLiteral("/a"));
    subscriber.setPublisher(&first);
    QSignalSpy active(&subscriber, &PSubscriber::activeChanged);
    QSignalSpy publisherActive(&subscriber, &PSubscriber::publisherActiveChanged);
    QSignalSpy removed(&first, &PPublisher::topicRemoved);
    QSignalSpy values(&subscriber, &PSubscriber::valueChanged);

    subscriber.setPublisher(&second);

    QCOMPARE(active.count(), 0);
    QCOMPARE(publisherActive.count(), 0);
    QCOMPARE(removed.count(), 1);
    first.publish(QStringLiteral("/a"), 1);
    QCOMPARE(values.count(), 0);
    second.publish(QStringLiteral("/a"), 2);
    QCOMPARE(values.count(), 1);
    first.setActive(false);
    QVERIFY(subscriber.publisherActive());
    QCOMPARE(publisherActive.count(), 0);
}

void tst_Subscriber::setPublisher_signalsPublisherActiveBeforeActive()
{
    PPublisher publisher;
    publisher.setActive(true);
    PSubscriber subscriber;
    subscriber.setTopic(QStringLiteral("/a"));
    QStringList log;
    QObject scope; // disconnects before the captured variables are destroyed
    connect(&subscriber, &PSubscriber::activeChanged, &scope,
            [&] { log << QStringLiteral("active"); });
    connect(&subscriber, &PSubscriber::publisherActiveChanged, &scope,
            [&] { log << QStringLiteral("publisherActive"); });

    subscriber.setPublisher(&publisher);

    QCOMPARE(log.join(QLatin1Char(' ')), QStringLiteral("publisherActive active"));
}

void tst_Subscriber::setActive_isMirrored()
{
    PPublisher publisher;
    PSubscriber subscriber;
    subscriber.setPublisher(&publisher);
    QSignalSpy spy(&subscriber, &PSubscriber::publisherActiveChanged);

    publisher.setActive(true);
    QVERIFY(subscriber.publisherActive());
    QCOMPARE(spy.count(), 1);
    publisher.setActive(true);
    QCOMPARE(spy.count(), 1);
    publisher.setActive(false);
    QVERIFY(!subscriber.publisherActive());
    QCOMPARE(spy.count(), 2);
}

void tst_Subscriber::topic_isKeptWithoutPublisher()
{
    PPublisher publisher;
    PSubscriber subscriber;
    subscriber.setTopic(QStringLiteral("/a"));
    QCOMPARE(subscriber.topic(), QStringLiteral("/a"));
    subscriber.setPublisher(&publisher);
    QSignalSpy spy(&subscriber, &PSubscriber::valueChanged);

    publisher.publish(QStringLiteral("/a"), 1);

    QCOMPARE(spy.count(), 1);
}

void tst_Subscriber::lateJoiner_getsNoEarlierValue()
{
    PPublisher publisher;
    PSubscriber early, late;
    early.setPublisher(&publisher);
    early.setTopic(QStringLiteral("/a"));
    publisher.publish(QStringLiteral("/a"), 1);
    QSignalSpy spy(&late, &PSubscriber::valueChanged);

    late.setPublisher(&publisher);
    late.setTopic(QStringLiteral("/a"));

    QCOMPARE(spy.count(), 0);
}

QTEST_GUILESS_MAIN(tst_Subscriber)
#include "tst_subscriber.moc"
