// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/gateway/mqtt/conventions/conventiontext.h"

#include <QtCore/QRegularExpression>
#include <QtTest/QTest>

using namespace pellix::gateway;
using namespace conventiontext;

namespace {

// A description with one property "p" of the node "n".
QByteArray withProperty(const QByteArray &property)
{
    return R"({"homie":"5.0","version":1,"nodes":{"n":{"properties":{"p":)" + property + "}}}}";
}

const QByteArray boilerRoom = R"(
{ "homie": "5.0", "version": 3, "name": "Boiler room", "children": ["pump-a"], "extensions": [],
  "nodes": { "boiler": { "name": "Boiler", "type": "heating", "properties": {
    "flow":     { "name": "Flow temperature", "datatype": "float", "unit": "°C", "format": "0:110" },
    "setpoint": { "datatype": "float", "unit": "°C", "format": "30:80:0.5", "settable": true },
    "mode":     { "datatype": "enum", "format": "off,eco,comfort", "settable": true },
    "fault":    { "datatype": "boolean", "format": "fine,broken" },
    "ring":     { "datatype": "string", "retained": false } } } } })";

} // namespace

class tst_Homie : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void description_makesKeywords();
    void property_data();
    void property();
    void pattern_data();
    void pattern();
    void write_data();
    void write();
    void illegalProperty_isDroppedAlone_data();
    void illegalProperty_isDroppedAlone();
    void illegalNode_isDroppedAlone_data();
    void illegalNode_isDroppedAlone();
    void illegalDevice_isDropped_data();
    void illegalDevice_isDropped();
    void unknownFields_areIgnored();
    void defaults();
    void state_makesItConnected_data();
    void state_makesItConnected();
    void state_comesInAnyOrder();
    void state_isAvailability();
    void sleeping_isOnlineIfSoConfigured();
    void child_dependsOnItsRootAsWell();
    void label_isUnique();
    void label_followsOtherDevices();
    void alert_setsErrorIfSoConfigured();
    void alert_isIgnoredOtherwise();
    void emptyDescription_removes();
    void newDescription_changesOnlyWhatIsDifferent();
    void filters_areOfTheDevice();
    void base_isAnotherDomain();
    void foreignTopics_areIgnored_data();
    void foreignTopics_areIgnored();
    void messages_areToldOnce();
    void hostile_data();
    void hostile();
    void thousands_areToldOnceEach();
    void clear_forgets();

private:
    void start(const ConventionOptions &options = {})
    {
        convention = Convention::create(QStringLiteral("homie"), options);
        taken = {};
    }
    void take(const char *topic, const QByteArray &payload)
    {
        taken.take(convention->take(QString::fromUtf8(topic), payload));
    }
    void describe(const QByteArray &description, const char *device = "dev")
    {
        const QByteArray topic = QByteArray("homie/5/") + device;
        take(topic + "/$state", "ready");
        take(topic + "/$description", description);
    }
    QString label(const char *path) const
    {
        return taken.keywords.value(QString::fromUtf8(path)).label;
    }

    std::unique_ptr<Convention> convention;
    Taken taken;
};

void tst_Homie::init()
{
    start();
}

void tst_Homie::cleanup()
{
    QVERIFY(taken.isGood);
}

void tst_Homie::description_makesKeywords()
{
    QCOMPARE(convention->name(), QStringLiteral("homie"));
    QCOMPARE(convention->subscriptions().join(QLatin1Char(' ')),
             QStringLiteral("homie/5/+/$state homie/5/+/$description"));
    describe(boilerRoom, "boiler-room");
    QCOMPARE(taken.paths().join(QLatin1Char(' ')),
             QStringLiteral("/boiler-room/boiler/fault /boiler-room/boiler/flow "
                            "/boiler-room/boiler/mode /boiler-room/boiler/ring "
                            "/boiler-room/boiler/setpoint"));
    QCOMPARE(label("/boiler-room/boiler/flow"), QStringLiteral("Flow temperature"));
    QCOMPARE(convention->skipped(), 0);
    QVERIFY(taken.messages.isEmpty());
}

void tst_Homie::property_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const char *property, const char *expected) {
        QTest::newRow(name) << QByteArray(property) << QString::fromUtf8(expected);
    };
    row("integer", R"({"datatype":"integer"})", "int R");
    row("integer, limits", R"({"datatype":"integer","format":"-5:10"})", "int R -5..10");
    row("integer, least", R"({"datatype":"integer","format":"0:"})", "int R 0..");
    row("integer, most", R"({"datatype":"integer","format":":7"})", "int R ..7");
    row("integer, step", R"({"datatype":"integer","format":"0:10:2"})", "int R 0..10 step:2");
    row("integer, step alone", R"({"datatype":"integer","format":"::5"})", "int R step:5");
    row("integer, of 64 bits",
        R"({"datatype":"integer","format":"-9223372036854775808:9223372036854775807"})",
        "int R -9223372036854775808..9223372036854775807");
    row("float", R"({"datatype":"float"})", "double R");
    row("float, limits", R"({"datatype":"float","format":"0.5:1e3"})", "double R 0.5..1000");
    row("float, step", R"({"datatype":"float","format":"30:80:0.5"})", "double R 30..80 step:0.5");
    row("float, unit", R"({"datatype":"float","unit":"m³"})", "double R unit:m³");
    row("boolean", R"({"datatype":"boolean"})", R"(bool R values:"true"=true "false"=false)");
    row("boolean, named", R"({"datatype":"boolean","format":"closed,open"})",
        R"(bool R values:"true"=true "false"=false)");
    row("string", R"({"datatype":"string"})", "string R empty:00");
    row("enum", R"({"datatype":"enum","format":"off, eco,on"})",
        R"(string R choices:off, eco,on values:"off"=off " eco"= eco "on"=on)");
    row("datetime", R"({"datatype":"datetime"})", "string R pattern:");
    row("duration", R"({"datatype":"duration"})", "string R pattern:");
    row("color", R"({"datatype":"color","format":"rgb"})", "string R pattern:");
    row("json", R"({"datatype":"json"})", "object R");
    row("json with a schema", R"({"datatype":"json","format":"{\"type\":\"array\"}"})", "object R");
}

void tst_Homie::property()
{
    QFETCH(QByteArray, property);
    QFETCH(QString, expected);
    describe(withProperty(property));
    const TopicKeyword keyword = taken.keywords.value(QStringLiteral("/dev/n/p"));
    QString text = reading(keyword);
    if (expected.endsWith(QLatin1String("pattern:"))) {
        QVERIFY(!keyword.pattern.isEmpty()); // another test checks what it matches
        text.replace(keyword.pattern, QString());
    }
    text.remove(QStringLiteral(" from:homie/5/dev/n/p"));
    text.remove(QStringLiteral(" target:homie/5/dev/n/p/$target"));
    QCOMPARE(text, QLatin1String("/dev/n/p ") + expected);
    QCOMPARE(keyword.topic, QStringLiteral("homie/5/dev/n/p"));
    QCOMPARE(keyword.targetTopic, QStringLiteral("homie/5/dev/n/p/$target"));
    QCOMPARE(convention->skipped(), 0);
}

void tst_Homie::pattern_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("fits");
    const auto rows = [](const char *property, const char *texts, bool fits) {
        const QStringList list = QString::fromLatin1(texts).split(QLatin1Char(' '));
        for (const QString &text : list) {
            QTest::addRow("%s %s", property, qPrintable(text))
                << QByteArray(property) << text << fits;
        }
    };
    const char *const rgb = R"({"datatype":"color","format":"rgb"})";
    const char *const all = R"({"datatype":"color","format":"hsv,xyz,rgb"})";
    const char *const datetime = R"({"datatype":"datetime"})";
    const char *const duration = R"({"datatype":"duration"})";
    rows(rgb, "rgb,0,0,0 rgb,255,128,9", true);
    rows(rgb, "rgb,256,0,0 rgb,1,2 rgb,1,2,3,4 255,0,0 hsv,1,2,3 rgb,-1,0,0 RGB,1,2,3", false);
    rows(all, "rgb,255,255,255 hsv,0,0,0 hsv,360,100,100 xyz,0,1 xyz,0.25,0.33", true);
    rows(all, "hsv,361,0,0 hsv,0,101,0 xyz,1.1,0 xyz,1 xyz,0.2,0.3,0.4", false);
    rows(datetime, "2026-11-22T07:30:00Z 2026-11-22T07:30:00.250+01:00 2026-11-22 2026-11-22T07:30",
         true);
    rows(datetime, "22.11.2026 tomorrow 2026-11-22T 07:30", false);
    rows(duration, "PT12H5M46S PT5M PT1H PT46S", true);
    rows(duration, "PT P1D 12H PT5M12H pt5m", false);
}

void tst_Homie::pattern()
{
    QFETCH(QByteArray, property);
    QFETCH(QString, text);
    QFETCH(bool, fits);
    describe(withProperty(property));
    const QString pattern = taken.keywords.value(QStringLiteral("/dev/n/p")).pattern;
    const QRegularExpression expression(QRegularExpression::anchoredPattern(pattern));
    QVERIFY(expression.isValid());
    QCOMPARE(expression.match(text).hasMatch(), fits);
}

void tst_Homie::write_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QString>("access");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const char *property, const char *access,
                        const char *expected) {
        QTest::newRow(name) << QByteArray(property) << QString::fromLatin1(access)
                            << QString::fromLatin1(expected);
    };
    row("by itself", R"({"datatype":"string"})", "R", "nothing");
    row("not settable", R"({"datatype":"string","settable":false})", "R", "nothing");
    row("settable", R"({"datatype":"string","settable":true})", "RW", "homie/5/dev/n/p/set");
    row("settable, retained", R"({"datatype":"string","settable":true,"retained":true})", "RW",
        "homie/5/dev/n/p/set");
    row("settable, not retained", R"({"datatype":"string","settable":true,"retained":false})", "W",
        "homie/5/dev/n/p/set qos:0");
    row("not retained", R"({"datatype":"string","retained":false})", "R", "nothing");
}

void tst_Homie::write()
{
    QFETCH(QByteArray, property);
    QFETCH(QString, access);
    QFETCH(QString, expected);
    describe(withProperty(property));
    const TopicKeyword keyword = taken.keywords.value(QStringLiteral("/dev/n/p"));
    QCOMPARE(keyword.access, access);
    QCOMPARE(writing(keyword), expected);
}

void tst_Homie::illegalProperty_isDroppedAlone_data()
{
    QTest::addColumn<QByteArray>("property");
    const auto row = [](const char *name, const char *property) {
        QTest::newRow(name) << QByteArray(property);
    };
    row("not an object", "5");
    row("null", "null");
    row("no datatype", "{}");
    row("unknown datatype", R"({"datatype":"number"})");
    row("datatype in capitals", R"({"datatype":"Float"})");
    row("datatype null", R"({"datatype":null})");
    row("name null", R"({"datatype":"float","name":null})");
    row("name not text", R"({"datatype":"float","name":5})");
    row("unit not text", R"({"datatype":"float","unit":["m"]})");
    row("settable as text", R"({"datatype":"float","settable":"true"})");
    row("retained null", R"({"datatype":"float","retained":null})");
    row("format not text", R"({"datatype":"float","format":5})");
    row("float, one limit without colon", R"({"datatype":"float","format":"5"})");
    row("float, words", R"({"datatype":"float","format":"a:b"})");
    row("float, four parts", R"({"datatype":"float","format":"1:2:3:4"})");
    row("float, not a number", R"({"datatype":"float","format":"nan:5"})");
    row("float, infinite", R"({"datatype":"float","format":"0:inf"})");
    row("float, limits the wrong way round", R"({"datatype":"float","format":"5:1"})");
    row("float, no step", R"({"datatype":"float","format":"0:1:0"})");
    row("integer, fraction", R"({"datatype":"integer","format":"0.5:1"})");
    row("integer, beyond 64 bits", R"({"datatype":"integer","format":"0:9223372036854775808"})");
    row("integer, negative step", R"({"datatype":"integer","format":"0:1:-1"})");
    row("boolean, one name", R"({"datatype":"boolean","format":"on"})");
    row("boolean, three names", R"({"datatype":"boolean","format":"a,b,c"})");
    row("boolean, same name", R"({"datatype":"boolean","format":"a,a"})");
    row("boolean, empty name", R"({"datatype":"boolean","format":",a"})");
    row("enum, no format", R"({"datatype":"enum"})");
    row("enum, empty format", R"({"datatype":"enum","format":""})");
    row("enum, empty entry", R"({"datatype":"enum","format":"a,,b"})");
    row("enum, double entry", R"({"datatype":"enum","format":"a,b,a"})");
    row("color, no format", R"({"datatype":"color"})");
    row("color, unknown", R"({"datatype":"color","format":"rgb,cmyk"})");
}

void tst_Homie::illegalProperty_isDroppedAlone()
{
    QFETCH(QByteArray, property);
    describe(R"({"homie":"5.0","version":1,"nodes":{"n":{"properties":{
                 "p":)"
             + property + R"(,"good":{"datatype":"float"}}}}})");
    QCOMPARE(taken.paths().join(QLatin1Char(' ')), QStringLiteral("/dev/n/good"));
    QCOMPARE(convention->skipped(), 1);
    QCOMPARE(taken.messages.size(), 1);
    QVERIFY(taken.messages.first().startsWith(QLatin1String("homie/5/dev/n/p is not served: ")));
}

void tst_Homie::illegalNode_isDroppedAlone_data()
{
    QTest::addColumn<QByteArray>("node");
    QTest::newRow("not an object") << QByteArray(R"("bad":[])");
    QTest::newRow("null") << QByteArray(R"("bad":null)");
    QTest::newRow("name") << QByteArray(R"("bad":{"name":1})");
    QTest::newRow("type") << QByteArray(R"("bad":{"type":null})");
    QTest::newRow("properties") << QByteArray(R"("bad":{"properties":[]})");
    QTest::newRow("id in capitals") << QByteArray(R"("Bad":{})");
    QTest::newRow("id with a slash") << QByteArray(R"("b/d":{})");
    QTest::newRow("id empty") << QByteArray(R"("":{})");
    QTest::newRow("id of an attribute") << QByteArray(R"("$bad":{})");
    QTest::newRow("property's id")
        << QByteArray(R"("bad":{"properties":{"$x":{"datatype":"float"}}})");
}

void tst_Homie::illegalNode_isDroppedAlone()
{
    QFETCH(QByteArray, node);
    describe(R"({"homie":"5.0","version":1,"nodes":{)" + node
             + R"(,"n":{"properties":{"good":{"datatype":"float"}}}}})");
    QCOMPARE(taken.paths().join(QLatin1Char(' ')), QStringLiteral("/dev/n/good"));
    QCOMPARE(convention->skipped(), 1);
    QCOMPARE(taken.messages.size(), 1);
}

void tst_Homie::illegalDevice_isDropped_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::newRow("no version of Homie") << QByteArray(R"("version":1)");
    QTest::newRow("Homie 4") << QByteArray(R"("homie":"4.0.0","version":1)");
    QTest::newRow("Homie as a number") << QByteArray(R"("homie":5.0,"version":1)");
    QTest::newRow("no version") << QByteArray(R"("homie":"5.0")");
    QTest::newRow("version as text") << QByteArray(R"("homie":"5.0","version":"1")");
    QTest::newRow("version with a fraction") << QByteArray(R"("homie":"5.0","version":1.5)");
    QTest::newRow("name null") << QByteArray(R"("homie":"5.0","version":1,"name":null)");
    QTest::newRow("children") << QByteArray(R"("homie":"5.0","version":1,"children":"a")");
    QTest::newRow("extensions") << QByteArray(R"("homie":"5.0","version":1,"extensions":{})");
    QTest::newRow("root") << QByteArray(R"("homie":"5.0","version":1,"root":1)");
    QTest::newRow("root with a wildcard") << QByteArray(R"("homie":"5.0","version":1,"root":"+")");
    QTest::newRow("root with a NUL") << QByteArray(R"("homie":"5.0","version":1,"root":"a\u0000")");
    QTest::newRow("root of two levels") << QByteArray(R"("homie":"5.0","version":1,"root":"a/b")");
    QTest::newRow("parent") << QByteArray(R"("homie":"5.0","version":1,"parent":[])");
}

void tst_Homie::illegalDevice_isDropped()
{
    QFETCH(QByteArray, members);
    describe(boilerRoom);
    QCOMPARE(taken.keywords.size(), 5);
    take("homie/5/dev/$description",
         "{" + members + R"(,"nodes":{"n":{"properties":{"p":{"datatype":"float"}}}}})");
    QVERIFY(taken.keywords.isEmpty());
    QVERIFY(taken.filters.isEmpty());
    QCOMPARE(convention->skipped(), 1);
    QCOMPARE(taken.messages.size(), 1);
}

void tst_Homie::unknownFields_areIgnored()
{
    describe(R"({"homie":"5.3","version":1,"future":null,"nodes":{"n":{"new":[1],"properties":{
                 "p":{"datatype":"float","tags":null}}}}})");
    QCOMPARE(taken.paths().join(QLatin1Char(' ')), QStringLiteral("/dev/n/p"));
    QCOMPARE(convention->skipped(), 0);
}

void tst_Homie::defaults()
{
    describe(R"({"homie":"5.0","version":1})", "a");
    describe(R"({"homie":"5.0","version":1,"nodes":{"n":{}}})", "b");
    QVERIFY(taken.keywords.isEmpty());
    QVERIFY(taken.filters.isEmpty());
    QCOMPARE(convention->skipped(), 0);
    describe(withProperty(R"({"datatype":"float"})"));
    QCOMPARE(label("/dev/n/p"), QStringLiteral("p")); // the id is used as the name
    QCOMPARE(taken.keywords.value(QStringLiteral("/dev/n/p")).access, QStringLiteral("R"));
}

void tst_Homie::state_makesItConnected_data()
{
    QTest::addColumn<QByteArray>("state");
    QTest::addColumn<bool>("isThere");
    for (const char *const state : {"init", "ready", "disconnected", "sleeping", "lost"})
        QTest::newRow(state) << QByteArray(state) << true;
    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("unknown") << QByteArray("alert") << false;
    QTest::newRow("capitals") << QByteArray("Ready") << false;
}

void tst_Homie::state_makesItConnected()
{
    QFETCH(QByteArray, state);
    QFETCH(bool, isThere);
    take("homie/5/dev/$description", boilerRoom);
    QVERIFY(taken.keywords.isEmpty());
    QVERIFY(taken.filters.isEmpty());
    take("homie/5/dev/$state", state);
    QCOMPARE(taken.keywords.size(), isThere ? 5 : 0);
}

void tst_Homie::state_comesInAnyOrder()
{
    take("homie/5/dev/$state", "ready");
    QVERIFY(taken.keywords.isEmpty());
    take("homie/5/dev/$description", boilerRoom);
    QCOMPARE(taken.keywords.size(), 5);
    take("homie/5/dev/$state", "lost"); // only affects the availability
    QVERIFY(taken.last.removed.isEmpty());
    QVERIFY(taken.last.declared.isEmpty());
    take("homie/5/dev/$state", "gibberish");
    QCOMPARE(taken.keywords.size(), 5);
    take("homie/5/dev/$state", QByteArray());
    QVERIFY(taken.keywords.isEmpty());
    QVERIFY(taken.filters.isEmpty());
    take("homie/5/dev/$state", "init"); // it is back, and its description is still retained
    QCOMPARE(taken.keywords.size(), 5);
}

void tst_Homie::state_isAvailability()
{
    describe(withProperty(R"({"datatype":"float"})"));
    QCOMPARE(availability(taken.keywords.value(QStringLiteral("/dev/n/p")).availability),
             QStringLiteral("all homie/5/dev/$state=ready|init,disconnected,lost,sleeping"));
}

void tst_Homie::sleeping_isOnlineIfSoConfigured()
{
    ConventionOptions options;
    options.sleepingIsOnline = true;
    start(options);
    describe(withProperty(R"({"datatype":"float"})"));
    QCOMPARE(availability(taken.keywords.value(QStringLiteral("/dev/n/p")).availability),
             QStringLiteral("all homie/5/dev/$state=ready,sleeping|init,disconnected,lost"));
}

void tst_Homie::child_dependsOnItsRootAsWell()
{
    const QByteArray child = R"({"homie":"5.0","version":1,"root":"hub","parent":"floor",
        "nodes":{"n":{"properties":{"p":{"datatype":"float"}}}}})";
    describe(child);
    QCOMPARE(availability(taken.keywords.value(QStringLiteral("/dev/n/p")).availability),
             QStringLiteral("all homie/5/dev/$state=ready|init,disconnected,lost,sleeping "
                            "homie/5/hub/$state=init,ready,disconnected,sleeping|lost"));
    describe(QByteArray(child).replace("hub", "box")); // its root has changed
    QVERIFY(availability(taken.keywords.value(QStringLiteral("/dev/n/p")).availability)
                .contains(QLatin1String("homie/5/box/$state")));
    describe(QByteArray(child).replace("hub", "dev")); // it is its own root
    QCOMPARE(taken.keywords.value(QStringLiteral("/dev/n/p")).availability.entries.size(), 1);
}

void tst_Homie::label_isUnique()
{
    describe(R"({"homie":"5.0","version":1,"name":"House","nodes":{
        "a":{"name":"Hall","properties":{"t":{"name":"Temperature","datatype":"float"},
                                         "h":{"name":"Humidity","datatype":"float"}}},
        "b":{"name":"Attic","properties":{"t":{"name":"Temperature","datatype":"float"}}},
        "c":{"name":"Attic","properties":{"t":{"name":"Temperature","datatype":"float"}}}}})");
    QCOMPARE(label("/dev/a/h"), QStringLiteral("Humidity"));
    QCOMPARE(label("/dev/a/t"), QStringLiteral("Hall Temperature"));
    QCOMPARE(label("/dev/b/t"), QStringLiteral("House Attic Temperature"));
    QCOMPARE(label("/dev/c/t"), QStringLiteral("House Attic Temperature"));
}

void tst_Homie::label_followsOtherDevices()
{
    const QByteArray tank = R"({"homie":"5.0","version":1,"name":"%1","nodes":{
        "n":{"name":"Tank","properties":{"p":{"name":"Level","datatype":"float"}}}}})";
    describe(QByteArray(tank).replace("%1", "One"), "one");
    QCOMPARE(label("/one/n/p"), QStringLiteral("Level"));
    describe(QByteArray(tank).replace("%1", "Two"), "two");
    QCOMPARE(label("/one/n/p"), QStringLiteral("One Tank Level"));
    QCOMPARE(label("/two/n/p"), QStringLiteral("Two Tank Level"));
    QVERIFY(taken.last.removed.isEmpty()); // so the value is kept
    take("homie/5/one/$description", QByteArray());
    QCOMPARE(label("/two/n/p"), QStringLiteral("Level"));
}

void tst_Homie::alert_setsErrorIfSoConfigured()
{
    ConventionOptions options;
    options.alertsAreErrors = true;
    start(options);
    QVERIFY(convention->subscriptions().contains(QStringLiteral("homie/5/+/$alert/+")));
    describe(boilerRoom);
    const QString path = QStringLiteral("/dev/boiler/flow");
    QVERIFY(!taken.keywords.value(path).isFaulty);
    take("homie/5/dev/$alert/battery", "Battery is low");
    QVERIFY(taken.keywords.value(path).isFaulty);
    take("homie/5/dev/$alert/battery", "Battery is very low");
    take("homie/5/dev/$alert/fire", "Fire");
    QVERIFY(taken.last.declared.isEmpty());
    take("homie/5/dev/$alert/battery", QByteArray());
    QVERIFY(taken.keywords.value(path).isFaulty);
    take("homie/5/dev/$alert/fire", QByteArray());
    QVERIFY(!taken.keywords.value(path).isFaulty);
    QVERIFY(taken.last.removed.isEmpty());

    // An alert before the description also counts.
    take("homie/5/late/$alert/x", "x");
    describe(boilerRoom, "late");
    QVERIFY(taken.keywords.value(QStringLiteral("/late/boiler/flow")).isFaulty);
}

void tst_Homie::alert_isIgnoredOtherwise()
{
    describe(boilerRoom);
    take("homie/5/dev/$alert/battery", "Battery is low");
    QVERIFY(taken.last.declared.isEmpty());
}

void tst_Homie::emptyDescription_removes()
{
    describe(boilerRoom);
    take("homie/5/dev/$description", QByteArray());
    QVERIFY(taken.keywords.isEmpty());
    QVERIFY(taken.filters.isEmpty());
    QCOMPARE(convention->skipped(), 0);
}

void tst_Homie::newDescription_changesOnlyWhatIsDifferent()
{
    describe(boilerRoom);
    QByteArray next = boilerRoom;
    take("homie/5/dev/$description", next.replace("\"version\": 3", "\"version\": 4"));
    QVERIFY(taken.last.removed.isEmpty());
    QVERIFY(taken.last.declared.isEmpty());
    take("homie/5/dev/$description",
         next.replace("off,eco", "idle,eco").replace("\"ring\"", "\"bell\""));
    QCOMPARE(taken.last.removed.join(QLatin1Char(' ')), QStringLiteral("/dev/boiler/ring"));
    QCOMPARE(taken.last.declared.size(), 2);
    QVERIFY(taken.last.subscribe.isEmpty());
    QVERIFY(taken.last.unsubscribe.isEmpty());
}

void tst_Homie::filters_areOfTheDevice()
{
    describe(boilerRoom, "a");
    describe(boilerRoom, "b");
    QCOMPARE(taken.sortedFilters().join(QLatin1Char(' ')),
             QStringLiteral("homie/5/a/+/+ homie/5/a/+/+/$target "
                            "homie/5/b/+/+ homie/5/b/+/+/$target"));
    take("homie/5/a/$state", QByteArray());
    QCOMPARE(taken.sortedFilters().join(QLatin1Char(' ')),
             QStringLiteral("homie/5/b/+/+ homie/5/b/+/+/$target"));
}

void tst_Homie::base_isAnotherDomain()
{
    ConventionOptions options;
    options.base = QStringLiteral("site/east");
    start(options);
    take("site/east/5/dev/$state", "ready");
    take("site/east/5/dev/$description", withProperty(R"({"datatype":"float"})"));
    QCOMPARE(taken.keywords.value(QStringLiteral("/dev/n/p")).topic,
             QStringLiteral("site/east/5/dev/n/p"));
    describe(boilerRoom, "other");
    QCOMPARE(taken.keywords.size(), 1);
}

void tst_Homie::foreignTopics_areIgnored_data()
{
    QTest::addColumn<QString>("topic");
    for (const char *const topic :
         {"", "homie", "homie/5", "homie/5/dev", "homie/5/dev/$log/warn", "homie/5/dev/n/p",
          "homie/5/$broadcast/alert", "homie/5/Dev/$description", "homie/5//$description",
          "homie/4/dev/$description", "other/5/dev/$description", "homie/5/dev/$description/x",
          "homie/5/dev/$state/x/y"})
        QTest::newRow(topic) << QString::fromLatin1(topic);
}

void tst_Homie::foreignTopics_areIgnored()
{
    QFETCH(QString, topic);
    take("homie/5/dev/$state", "ready");
    taken.take(convention->take(topic, boilerRoom));
    QVERIFY(taken.keywords.isEmpty());
    QVERIFY(taken.messages.isEmpty());
}

void tst_Homie::messages_areToldOnce()
{
    for (int i = 0; i < 3; ++i)
        describe(withProperty("{}"));
    QCOMPARE(taken.messages.size(), 1);
    QCOMPARE(convention->skipped(), 1);
    take("homie/5/dev/$description", withProperty(R"({"datatype":"float"})"));
    QCOMPARE(convention->skipped(), 0);
}

void tst_Homie::hostile_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::newRow("cut off") << boilerRoom.left(boilerRoom.size() / 2);
    QTest::newRow("an array") << QByteArray("[]");
    QTest::newRow("a text") << QByteArray("\"x\"");
    QTest::newRow("not UTF-8") << QByteArray("{\"homie\":\"5.0\",\"version\":1,\"name\":\"\xff\"}");
    QTest::newRow("zeros") << QByteArray(1000, '\0');
    QTest::newRow("1 MiB of brackets") << QByteArray(1 << 20, '[');
    QTest::newRow("1 MiB of text")
        << QByteArray("{\"homie\":\"" + QByteArray(1 << 20, 'x') + "\"}");
    QTest::newRow("too deep") << QByteArray(R"({"homie":"5.0","version":1,"nodes":)"
                                            + QByteArray(R"({"n":)").repeated(5000) + "1"
                                            + QByteArray(5000, '}') + "}");
}

void tst_Homie::hostile()
{
    QFETCH(QByteArray, payload);
    describe(payload);
    QVERIFY(taken.keywords.isEmpty());
    QCOMPARE(convention->skipped(), 1);
    QCOMPARE(taken.messages.size(), 1);
    QVERIFY(taken.messages.first().size() < 300);
}

// All devices have the same names: each keyword is declared once, even if new devices share its
// label.
void tst_Homie::thousands_areToldOnceEach()
{
    QByteArray properties;
    for (int i = 0; i < 20; ++i)
        properties += (i ? ",\"p" : "\"p") + QByteArray::number(i) + R"(":{"datatype":"float"})";
    const QByteArray description =
        R"({"homie":"5.0","version":1,"nodes":{"n":{"properties":{)" + properties + "}}}}";
    qint64 changes = 0;
    for (int device = 0; device < 1000; ++device) {
        describe(description, "d" + QByteArray::number(device));
        changes += taken.last.declared.size() + taken.last.removed.size();
    }
    QCOMPARE(taken.keywords.size(), 20000);
    QCOMPARE(changes, 20000 + 20); // only the labels of the first device change
}

void tst_Homie::clear_forgets()
{
    describe(boilerRoom);
    convention->clear();
    taken = {};
    take("homie/5/dev/$state", "ready");
    QVERIFY(taken.keywords.isEmpty());
    take("homie/5/dev/$description", boilerRoom);
    QCOMPARE(taken.keywords.size(), 5);
    QCOMPARE(taken.filters.size(), 2);
}

QTEST_GUILESS_MAIN(tst_Homie)
#include "tst_homie.moc"
