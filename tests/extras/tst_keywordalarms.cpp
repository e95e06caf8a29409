// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/keywordextrasmodule.h"
#include "extras/tables/keywordalarms.h"
#include "module/pellixclientkeywordmodule.h"
#include "tests/extras/answeringclient.h"

#include <QtCore/QDateTime>
#include <QtCore/QPointer>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtTest/QAbstractItemModelTester>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <cmath>
#include <memory>

using namespace pellix::client;
using pellix::extras::PKeywordAlarm;
using pellix::extras::PKeywordAlarms;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

class Bench
{
public:
    Bench() { alarms.setClient(&client); }

    PKeywordAlarm *add(const char *keyword, const char *text, int priority = 0)
    {
        auto *const alarm = new PKeywordAlarm(&owner);
        alarm->setKeyword(q(keyword));
        alarm->setText(q(text));
        alarm->setPriority(priority);
        alarms.addAlarm(alarm);
        return alarm;
    }
    // "+" stands for active, "!" for not acknowledged, "?" for unknown.
    QString rows()
    {
        QCoreApplication::processEvents();
        QStringList rows;
        for (int row = 0; row < alarms.rowCount(); ++row) {
            const QVariantMap fields = alarms.get(row);
            rows.append(fields.value(q("text")).toString()
                        + (fields.value(q("active")).toBool() ? q("+") : QString())
                        + (fields.value(q("acknowledged")).toBool() ? QString() : q("!"))
                        + (fields.value(q("known")).toBool() ? QString() : q("?")));
        }
        return rows.join(QLatin1Char(' '));
    }
    void value(const char *keyword, const QJsonValue &value, const char *flags = "")
    {
        client.value(q(keyword), value, q("double"), q(flags));
    }

    AnsweringClient client;
    QObject owner;
    PKeywordAlarms alarms;
    QAbstractItemModelTester tester {&alarms,
                                     QAbstractItemModelTester::FailureReportingMode::QtTest};
};

} // namespace

class tst_KeywordAlarms : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void defaults();
    void properties();
    void condition_data();
    void condition();
    void flags_data();
    void flags();
    void rows_comeGoAndAreAcknowledged();
    void rows_areInOrder();
    void rows_areBounded();
    void rows_ofOneTurnAreToldTogether();
    void link_holdsTheState();
    void source_holdsTheState();
    void alarm_changes();
    void alarm_isRemovedOrDeleted();
    void client_isReplacedAndDeleted();
    void handler_deletesEverything_data();
    void handler_deletesEverything();
    void qml_declaresThem();
};

void tst_KeywordAlarms::initTestCase()
{
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    pellix::extras::KeywordExtrasModule::registerTypes();
}

void tst_KeywordAlarms::defaults()
{
    const PKeywordAlarm alarm;
    QCOMPARE(alarm.keyword(), QString());
    QCOMPARE(alarm.text(), QString());
    QCOMPARE(alarm.priority(), 0);
    QCOMPARE(alarm.enabled(), true);
    QCOMPARE(alarm.flags(), PKeywordAlarm::NoFlag);
    QVERIFY(std::isnan(alarm.above()) && std::isnan(alarm.below()));
    QCOMPARE(alarm.hysteresis(), 0.0);
    QVERIFY(!alarm.equalTo().isValid());
    QCOMPARE(alarm.active(), false);

    const PKeywordAlarms alarms;
    QCOMPARE(alarms.client(), nullptr);
    QCOMPARE(alarms.alarms(), QList<PKeywordAlarm *>());
    QCOMPARE(alarms.limit(), 1000);
    QCOMPARE(alarms.count(), 0);
    QCOMPARE(alarms.activeCount(), 0);
    QCOMPARE(alarms.unacknowledgedCount(), 0);
    QCOMPARE(alarms.get(0), QVariantMap());
}

void tst_KeywordAlarms::properties()
{
    PKeywordAlarm alarm;
    const QList<std::pair<const char *, QVariant>> values {
        {"keyword", q("/a")}, {"text", q("t")}, {"priority", 3},      {"enabled", false},
        {"above", 1.5},       {"below", 0.5},   {"hysteresis", 0.25}, {"equalTo", q("x")}};
    for (const auto &[name, value] : values) {
        const QMetaProperty property =
            alarm.metaObject()->property(alarm.metaObject()->indexOfProperty(name));
        QSignalSpy spy(&alarm, property.notifySignal());
        QVERIFY(property.write(&alarm, value) && property.write(&alarm, value));
        QCOMPARE(property.read(&alarm), value);
        QCOMPARE(spy.size(), 1);
    }
    alarm.setHysteresis(-1);
    QCOMPARE(alarm.hysteresis(), 0.0);
}

void tst_KeywordAlarms::condition_data()
{
    QTest::addColumn<QVariantMap>("alarm");
    QTest::addColumn<QVariantList>("values");
    QTest::addColumn<QString>("active"); // after each value

    const auto row = [](const char *name, const QVariantMap &alarm, const QVariantList &values,
                        const char *active) {
        QTest::newRow(name) << alarm << values << q(active);
    };
    row("above", {{q("above"), 10}}, {9, 10, 10.5, 10, 11}, "--+-+");
    row("below", {{q("below"), 10}}, {11, 10, 9.5, 10}, "--+-");
    row("hysteresis", {{q("above"), 10}, {q("hysteresis"), 2}}, {9, 11, 9, 8.5, 8, 9, 10},
        "-+++---");
    row("hysteresis below", {{q("below"), 10}, {q("hysteresis"), 2}}, {11, 9, 11, 11.5, 12, 11},
        "-+++--");
    row("both", {{q("above"), 10}, {q("below"), 5}, {q("hysteresis"), 1}}, {7, 11, 4, 5.5, 6, 9.5},
        "-+++--");
    row("equal", {{q("equalTo"), 3}}, {2, 3, 3.0, 4}, "-++-");
    row("equal text", {{q("equalTo"), q("off")}}, {q("on"), q("off"), 0}, "-+-");
    row("equal bool", {{q("equalTo"), false}}, {true, false, 0}, "-+-");
    row("equal number is no bool", {{q("equalTo"), 1}}, {true, 1}, "-+");
    row("no number", {{q("above"), 10}}, {11, q("text"), 9, q("text")}, "++--");
    row("no condition", {}, {1, 2}, "--");
}

void tst_KeywordAlarms::condition()
{
    QFETCH(QVariantMap, alarm);
    QFETCH(QVariantList, values);
    QFETCH(QString, active);

    Bench bench;
    PKeywordAlarm *const watched = bench.add("/a", "a");
    for (auto property = alarm.cbegin(); property != alarm.cend(); ++property)
        QVERIFY(watched->setProperty(property.key().toUtf8().constData(), *property));
    QString seen;
    for (const QVariant &value : values) {
        bench.value("/a", QJsonValue::fromVariant(value));
        bench.rows();
        QCOMPARE(bench.alarms.activeCount(), int(watched->active()));
        seen += QLatin1Char(watched->active() ? '+' : '-');
    }
    QCOMPARE(seen, active);
}

void tst_KeywordAlarms::flags_data()
{
    QTest::addColumn<int>("flags");
    QTest::addColumn<QString>("state");
    QTest::newRow("error") << int(PKeywordAlarm::Error) << "e";
    QTest::newRow("offline") << int(PKeywordAlarm::NotOnline) << "o";
    QTest::newRow("no source") << int(PKeywordAlarm::NotConnected) << "c";
    QTest::newRow("inconsistent") << int(PKeywordAlarm::NotConsistent) << "i";
}

void tst_KeywordAlarms::flags()
{
    QFETCH(int, flags);
    QFETCH(QString, state);

    for (const QString &flag : {q("e"), q("o"), q("c"), q("i")}) {
        Bench bench;
        bench.add("/a", "a")->setFlags(PKeywordAlarm::Flags(flags));
        bench.client.value(q("/a"), 1, q("double"), flag);
        QCOMPARE(bench.rows(), flag == state ? q("a+!") : QString());
        bench.client.value(q("/a"), 1);
        QCOMPARE(bench.rows(), flag == state ? q("a!") : QString());
    }
}

void tst_KeywordAlarms::rows_comeGoAndAreAcknowledged()
{
    Bench bench;
    PKeywordAlarm *const alarm = bench.add("/a", "a", 7);
    alarm->setAbove(10);
    QSignalSpy came(&bench.alarms, &PKeywordAlarms::came);
    QSignalSpy went(&bench.alarms, &PKeywordAlarms::went);
    QSignalSpy unacknowledged(&bench.alarms, &PKeywordAlarms::unacknowledgedCountChanged);
    bench.value("/a", 11);
    QCOMPARE(bench.rows(), q("a+!"));
    QCOMPARE(came.size(), 1);
    QCOMPARE(came.at(0).at(0).value<PKeywordAlarm *>(), alarm);
    const QVariantMap fields = bench.alarms.get(0);
    QCOMPARE(fields.value(q("keyword")).toString(), q("/a"));
    QCOMPARE(fields.value(q("priority")).toInt(), 7);
    QVERIFY(fields.value(q("came")).toDateTime().isValid());
    QVERIFY(!fields.value(q("went")).toDateTime().isValid());
    bench.value("/a", 12); // the same alarm
    QCOMPARE(bench.rows(), q("a+!"));
    bench.alarms.acknowledge(0, q("Ada"));
    QCOMPARE(bench.rows(), q("a+"));
    QCOMPARE(bench.alarms.get(0).value(q("acknowledgedBy")).toString(), q("Ada"));
    bench.alarms.acknowledge(0, q("Bob")); // already acknowledged
    QCOMPARE(bench.alarms.get(0).value(q("acknowledgedBy")).toString(), q("Ada"));
    QCOMPARE(unacknowledged.size(), 2);
    bench.value("/a", 9);
    QCOMPARE(bench.rows(), q("a"));
    QCOMPARE(went.size(), 1);
    QVERIFY(bench.alarms.get(0).value(q("went")).toDateTime().isValid());
    bench.value("/a", 11); // another alarm
    bench.value("/a", 9);
    QCOMPARE(bench.rows(), q("a! a"));
    bench.alarms.removeAcknowledged();
    QCOMPARE(bench.rows(), q("a!"));
    bench.alarms.acknowledgeAll();
    bench.alarms.acknowledge(9);
    QCOMPARE(bench.rows(), q("a"));
    QCOMPARE(bench.alarms.unacknowledgedCount(), 0);
}

void tst_KeywordAlarms::rows_areInOrder()
{
    Bench bench;
    for (const char *name : {"/a", "/b", "/c", "/d"})
        bench.add(name, name + 1, name[1] == 'b' ? 5 : 0)->setAbove(10);
    for (const char *name : {"/a", "/b", "/c", "/d"})
        bench.value(name, 11);
    QCOMPARE(bench.rows(), q("b+! d+! c+! a+!"));
    bench.alarms.acknowledge(0);
    QCOMPARE(bench.rows(), q("d+! c+! a+! b+"));
    bench.value("/d", 1);
    QCOMPARE(bench.rows(), q("c+! a+! b+ d!"));
    bench.value("/b", 1);
    QCOMPARE(bench.rows(), q("c+! a+! d! b"));
}

void tst_KeywordAlarms::rows_areBounded()
{
    Bench bench;
    bench.alarms.setLimit(3);
    for (const char *name : {"/a", "/b", "/c", "/d"})
        bench.add(name, name + 1)->setAbove(10);
    bench.value("/a", 11);
    bench.value("/a", 1);
    QCOMPARE(bench.rows(), q("a!"));
    for (const char *name : {"/b", "/c", "/d", "/a"})
        bench.value(name, 11);
    QCOMPARE(bench.rows(), q("a+! d+! c+! b+!")); // active alarms are not removed
    bench.value("/b", 1);
    QCOMPARE(bench.rows(), q("a+! d+! c+!"));
    QCOMPARE(bench.alarms.count(), 3);
}

void tst_KeywordAlarms::rows_ofOneTurnAreToldTogether()
{
    Bench bench;
    for (int i = 0; i < 100; ++i)
        bench.add(qPrintable(q("/%1").arg(i)), "x")->setAbove(10);
    QSignalSpy inserted(&bench.alarms, &QAbstractItemModel::rowsInserted);
    QSignalSpy count(&bench.alarms, &PKeywordAlarms::activeCountChanged);
    for (int i = 0; i < 100; ++i)
        bench.value(qPrintable(q("/%1").arg(i)), 11);
    QTRY_COMPARE(bench.alarms.activeCount(), 100);
    QCOMPARE(inserted.size(), 1);
    QCOMPARE(count.size(), 1);
}

void tst_KeywordAlarms::link_holdsTheState()
{
    Bench bench;
    PKeywordAlarm *const first = bench.add("/a", "a");
    first->setAbove(10);
    bench.add("/b", "b")->setFlags(PKeywordAlarm::NotOnline);
    bench.add("/c", "c")->setFlags(PKeywordAlarm::NotConnected);
    bench.value("/a", 11);
    bench.value("/b", 1, "o");
    bench.value("/c", 1);
    QCOMPARE(bench.rows(), q("b+! a+!"));
    bench.client.link(false);
    QCOMPARE(bench.rows(), q("b+!? a+!?"));
    bench.client.link(true);
    QCOMPARE(bench.rows(), q("b+!? a+!?"));
    first->setAbove(100); // a value from before the lost connection has no effect
    QCOMPARE(bench.rows(), q("b+!? a+!?"));
    first->setAbove(10);
    bench.value("/a", 12);
    QCOMPARE(bench.rows(), q("b+!? a+!"));
    bench.value("/b", 1);
    QCOMPARE(bench.rows(), q("a+! b!"));
}

void tst_KeywordAlarms::source_holdsTheState()
{
    Bench bench;
    bench.add("/a", "a")->setBelow(10);
    bench.value("/a", 20);
    bench.value("/a", 0, "c"); // no value
    QCOMPARE(bench.rows(), QString());
    bench.value("/a", 5);
    QCOMPARE(bench.rows(), q("a+!"));
    bench.value("/a", 20, "c");
    QCOMPARE(bench.rows(), q("a+!"));
    bench.value("/a", 20);
    QCOMPARE(bench.rows(), q("a!"));
}

void tst_KeywordAlarms::alarm_changes()
{
    Bench bench;
    PKeywordAlarm *const alarm = bench.add("/a", "a");
    bench.value("/a", 11);
    alarm->setAbove(10);
    QCOMPARE(bench.rows(), q("a+!"));
    alarm->setText(q("other"));
    alarm->setPriority(4);
    QCOMPARE(bench.rows(), q("other+!"));
    QCOMPARE(bench.alarms.get(0).value(q("priority")).toInt(), 4);
    alarm->setEnabled(false);
    QCOMPARE(bench.rows(), q("other!"));
    alarm->setEnabled(true);
    QCOMPARE(bench.rows(), q("other+! other!"));
    alarm->setKeyword(q("/b"));
    QCOMPARE(bench.rows(), q("other! other!"));
    QCOMPARE(bench.client.destroyed, QStringList(q("/a")));
    bench.value("/b", 11);
    QCOMPARE(bench.alarms.activeCount(), 0); // not yet reported
    QCOMPARE(bench.rows(), q("other+! other! other!"));
    alarm->setKeyword(QString());
    QCOMPARE(bench.rows(), q("other! other! other!"));
}

void tst_KeywordAlarms::alarm_isRemovedOrDeleted()
{
    Bench bench;
    PKeywordAlarm *const first = bench.add("/a", "a");
    PKeywordAlarm *const second = bench.add("/b", "b");
    bench.alarms.addAlarm(first); // already added
    bench.alarms.addAlarm(nullptr);
    QCOMPARE(bench.alarms.alarms(), (QList<PKeywordAlarm *> {first, second}));
    first->setAbove(1);
    second->setAbove(1);
    bench.value("/a", 2);
    bench.value("/b", 2);
    QCOMPARE(bench.rows(), q("b+! a+!"));
    delete second;
    QCOMPARE(bench.rows(), q("a+! b!"));
    bench.alarms.removeAlarm(first);
    bench.alarms.removeAlarm(first);
    QCOMPARE(bench.rows(), q("b! a!").split(QLatin1Char(' ')).join(QLatin1Char(' ')));
    QCOMPARE(bench.client.destroyed, (QStringList {q("/b"), q("/a")}));
    QCOMPARE(bench.alarms.alarms(), QList<PKeywordAlarm *>());
}

void tst_KeywordAlarms::client_isReplacedAndDeleted()
{
    Bench bench;
    bench.add("/a", "a")->setAbove(1);
    bench.value("/a", 2);
    QCOMPARE(bench.rows(), q("a+!"));
    auto other = std::make_unique<AnsweringClient>();
    bench.alarms.setClient(other.get());
    QCOMPARE(bench.rows(), q("a+!?"));
    other->value(q("/a"), 0);
    QCOMPARE(bench.rows(), q("a!"));
    other.reset();
    QCOMPARE(bench.alarms.client(), nullptr);
    QCOMPARE(bench.rows(), q("a!"));
}

void tst_KeywordAlarms::handler_deletesEverything_data()
{
    QTest::addColumn<int>("signal");
    QTest::addColumn<int>("victim");
    const char *const signalNames[] = {"came",         "went",          "rowsInserted",
                                       "countChanged", "activeChanged", "dataChanged"};
    const char *const victims[] = {"list", "alarm", "client"};
    for (int signal = 0; signal < 6; ++signal) {
        for (int victim = 0; victim < 3; ++victim)
            QTest::addRow("%s: %s", signalNames[signal], victims[victim]) << signal << victim;
    }
}

void tst_KeywordAlarms::handler_deletesEverything()
{
    QFETCH(int, signal);
    QFETCH(int, victim);

    QPointer<AnsweringClient> client(new AnsweringClient);
    QPointer<PKeywordAlarms> alarms(new PKeywordAlarms);
    QPointer<PKeywordAlarm> alarm(new PKeywordAlarm);
    bool called = false;
    const auto act = [&] {
        called = true;
        if (victim == 0)
            delete alarms;
        else if (victim == 1)
            delete alarm;
        else
            delete client;
    };
    PKeywordAlarms *const list = alarms;
    switch (signal) {
    case 0:
        connect(list, &PKeywordAlarms::came, this, act);
        break;
    case 1:
        connect(list, &PKeywordAlarms::went, this, act);
        break;
    case 2:
        connect(list, &PKeywordAlarms::rowsInserted, this, act);
        break;
    case 3:
        connect(list, &PKeywordAlarms::countChanged, this, act);
        break;
    case 4:
        connect(alarm.data(), &PKeywordAlarm::activeChanged, this, act);
        break;
    case 5:
        connect(list, &PKeywordAlarms::dataChanged, this, act);
        break;
    }
    alarm->setKeyword(q("/a"));
    alarm->setAbove(1);
    alarms->addAlarm(alarm);
    alarms->setClient(client);
    for (const int value : {2, 0, 2}) {
        if (client)
            client->value(q("/a"), value);
        QCoreApplication::processEvents();
        if (alarms)
            alarms->acknowledgeAll();
    }
    QVERIFY(called);
    QCoreApplication::processEvents();
    delete alarms;
    delete alarm;
    delete client;
}

void tst_KeywordAlarms::qml_declaresThem()
{
    AnsweringClient client;
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData(R"(
        import QtQml
        import PellixClient.Keyword.Extras

        PKeywordAlarms {
            property list<PKeywordAlarm> more: [ PKeywordAlarm { keyword: "/c"; equalTo: 3 } ]

            PKeywordAlarm { keyword: "/a"; above: 10; text: "a" }
            PKeywordAlarm { keyword: "/b"; flags: PKeywordAlarm.Error | PKeywordAlarm.NotOnline; text: "b" }
        })",
                      {});
    const std::unique_ptr<QObject> object(component.createWithInitialProperties(
        {{q("client"), QVariant::fromValue<PKeywordClient *>(&client)}}));
    QVERIFY2(object, qPrintable(component.errorString()));
    auto *const alarms = qobject_cast<PKeywordAlarms *>(object.get());
    QCOMPARE(alarms->alarms().size(), 2);
    QCOMPARE(alarms->alarms().at(1)->flags(), PKeywordAlarm::Error | PKeywordAlarm::NotOnline);
    client.value(q("/a"), 11);
    client.value(q("/b"), 1, q("double"), q("o"));
    QTRY_COMPARE(alarms->activeCount(), 2);
}

QTEST_GUILESS_MAIN(tst_KeywordAlarms)
#include "tst_keywordalarms.moc"
