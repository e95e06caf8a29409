// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/gateway/mqtt/conventions/conventiontext.h"

#include <QtTest/QTest>

using namespace pellix::gateway;
using namespace conventiontext;

namespace {

const QByteArray lampExposes = R"([
      { "type": "light", "features": [
        { "type": "binary", "name": "state", "label": "State", "property": "state", "access": 7,
          "value_on": "ON", "value_off": "OFF", "value_toggle": "TOGGLE" },
        { "type": "numeric", "name": "brightness", "label": "Brightness", "property": "brightness", "access": 7,
          "value_min": 0, "value_max": 254 },
        { "type": "composite", "name": "color_xy", "label": "Color", "property": "color", "access": 7, "features": [
          { "type": "numeric", "name": "x", "property": "x", "access": 7 },
          { "type": "numeric", "name": "y", "property": "y", "access": 7 } ] } ] },
      { "type": "numeric", "name": "linkquality", "property": "linkquality", "unit": "lqi", "access": 1, "value_min": 0, "value_max": 255 },
      { "type": "enum", "name": "effect", "property": "effect", "access": 2, "values": ["blink", "breathe"] } ])";

QByteArray device(const QByteArray &address, const QByteArray &name, const QByteArray &exposes,
                  const QByteArray &more = {})
{
    return R"({"ieee_address":")" + address
        + R"(","type":"Router","supported":true,"disabled":false,"friendly_name":")" + name
        + R"(","definition":{"model":"M","vendor":"V","options":[],"exposes":)" + exposes + "}"
        + more + "}";
}

QByteArray list(std::initializer_list<QByteArray> entries)
{
    return '[' + QByteArrayList(entries).join(',') + ']';
}

} // namespace

class tst_Zigbee2Mqtt : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void devices_makeKeywords();
    void expose_data();
    void expose();
    void access_data();
    void access();
    void label_data();
    void label();
    void illegalExpose_isDroppedAlone_data();
    void illegalExpose_isDroppedAlone();
    void property_exposedTwiceIsMerged();
    void attributeOutput_hasTopicsOfItsOwn();
    void availability_data();
    void availability();
    void device_isSkipped_data();
    void device_isSkipped();
    void friendlyName_data();
    void friendlyName();
    void rename_isMatchedByAddress();
    void names_canBeExchanged();
    void list_isTakenAnew();
    void sameList_changesNothing();
    void group_hasWhatAllMembersHave();
    void group_isSkipped_data();
    void group_isSkipped();
    void base_isConfigurable();
    void foreignTopics_areIgnored();
    void broken_keepsWhatWas_data();
    void broken_keepsWhatWas();
    void hostile_data();
    void hostile();
    void groupsOfThousands_areLimited();
    void clear_forgets();

private:
    void take(const char *topic, const QByteArray &payload)
    {
        taken.take(
            convention->take(QLatin1String("zigbee2mqtt/bridge/") + QLatin1String(topic), payload));
    }
    TopicKeyword keyword(const char *path) const
    {
        return taken.keywords.value(QString::fromUtf8(path));
    }
    QString paths() const { return taken.paths().join(QLatin1Char(' ')); }

    std::unique_ptr<Convention> convention;
    Taken taken;
};

void tst_Zigbee2Mqtt::init()
{
    convention = Convention::create(QStringLiteral("zigbee2mqtt"));
    taken = {};
}

void tst_Zigbee2Mqtt::cleanup()
{
    QVERIFY(taken.isGood);
}

void tst_Zigbee2Mqtt::devices_makeKeywords()
{
    QCOMPARE(convention->name(), QStringLiteral("zigbee2mqtt"));
    QCOMPARE(convention->subscriptions().join(QLatin1Char(' ')),
             QStringLiteral("zigbee2mqtt/bridge/info zigbee2mqtt/bridge/devices "
                            "zigbee2mqtt/bridge/groups"));
    take("devices",
         list({R"({"ieee_address":"0x0","type":"Coordinator","friendly_name":"Coordinator",
                   "definition":null})",
               device("0x1", "hall/lamp", lampExposes)}));
    QCOMPARE(paths(),
             QStringLiteral("/hall/lamp/brightness /hall/lamp/color /hall/lamp/color/x "
                            "/hall/lamp/color/y /hall/lamp/effect /hall/lamp/linkquality "
                            "/hall/lamp/state"));
    QCOMPARE(taken.sortedFilters().join(QLatin1Char(' ')),
             QStringLiteral("zigbee2mqtt/bridge/state zigbee2mqtt/hall/lamp"));
    QCOMPARE(convention->skipped(), 0);
    QVERIFY(taken.messages.isEmpty());
}

void tst_Zigbee2Mqtt::expose_data()
{
    QTest::addColumn<QByteArray>("expose");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("reading");
    QTest::addColumn<QString>("writing");
    const auto row = [](const char *name, const char *expose, const char *path, const char *reading,
                        const char *writing = "nothing") {
        QTest::newRow(name) << QByteArray(expose) << QString::fromUtf8(path)
                            << QString::fromUtf8(reading) << QString::fromUtf8(writing);
    };
    row("binary, texts",
        R"({"type":"binary","property":"state","access":7,"value_on":"ON","value_off":"OFF","value_toggle":"TOGGLE"})",
        "/d/state", R"(bool RW from:zigbee2mqtt/d#/state values:"ON"=true "OFF"=false)",
        R"(zigbee2mqtt/d/set {"state": $value})");
    row("binary, JSON booleans",
        R"({"type":"binary","property":"occupancy","access":1,"value_on":true,"value_off":false})",
        "/d/occupancy", "bool R from:zigbee2mqtt/d#/occupancy values:true=true false=false");
    row("binary, the other way round",
        R"({"type":"binary","property":"contact","access":1,"value_on":false,"value_off":true})",
        "/d/contact", "bool R from:zigbee2mqtt/d#/contact values:false=true true=false");
    row("binary, numbers",
        R"({"type":"binary","property":"b","access":3,"value_on":1,"value_off":0})", "/d/b",
        "bool RW from:zigbee2mqtt/d#/b values:1=true 0=false",
        R"(zigbee2mqtt/d/set {"b": $value})");
    row("numeric", R"({"type":"numeric","property":"t","access":1})", "/d/t",
        "double R from:zigbee2mqtt/d#/t");
    row("numeric, all",
        R"({"type":"numeric","property":"t","access":7,"unit":"°C","value_min":5,"value_max":30,"value_step":0.5,
            "presets":[{"name":"eco","value":17,"description":""}]})",
        "/d/t", "double RW unit:°C from:zigbee2mqtt/d#/t 5..30 step:0.5",
        R"(zigbee2mqtt/d/set {"t": $value})");
    row("enum", R"({"type":"enum","property":"mode","access":3,"values":["a","b c"]})", "/d/mode",
        "string RW from:zigbee2mqtt/d#/mode choices:a,b c",
        R"(zigbee2mqtt/d/set {"mode": $value})");
    row("enum, numbers", R"({"type":"enum","property":"mode","access":3,"values":[1,2,"auto"]})",
        "/d/mode",
        R"(string RW from:zigbee2mqtt/d#/mode choices:1,2,auto values:1=1 2=2 "auto"=auto)",
        R"(zigbee2mqtt/d/set {"mode": $value})");
    row("enum, action",
        R"({"type":"enum","name":"action","property":"action","access":1,"values":["on","off"]})",
        "/d/action", "string R from:zigbee2mqtt/d#/action choices:on,off unknown:");
    row("text", R"({"type":"text","property":"note","access":7})", "/d/note",
        "string RW from:zigbee2mqtt/d#/note", R"(zigbee2mqtt/d/set {"note": $value})");
    row("list",
        R"({"type":"list","property":"l","access":3,"item_type":{"type":"numeric","access":3},"length_max":3})",
        "/d/l", "object RW from:zigbee2mqtt/d#/l", R"(zigbee2mqtt/d/set {"l": $value})");
    row("composite",
        R"({"type":"composite","property":"c","access":3,"features":[{"type":"text","property":"t","access":3}]})",
        "/d/c", "object RW from:zigbee2mqtt/d#/c", R"(zigbee2mqtt/d/set {"c": $value})");
    row("composite, member",
        R"({"type":"composite","property":"c","access":3,"features":[{"type":"text","property":"t","access":3}]})",
        "/d/c/t", "string R from:zigbee2mqtt/d#/c/t");
    row("composite, member of a member",
        R"({"type":"composite","property":"c","features":[{"type":"composite","property":"i","features":[
            {"type":"numeric","property":"n","access":1}]}]})",
        "/d/c/i/n", "double R from:zigbee2mqtt/d#/c/i/n");
    row("composite without property",
        R"({"type":"composite","features":[{"type":"text","property":"t","access":3}]})", "/d/t",
        "string RW from:zigbee2mqtt/d#/t", R"(zigbee2mqtt/d/set {"t": $value})");
    for (const char *const type : {"light", "switch", "fan", "cover", "lock", "climate"}) {
        const QByteArray expose = R"({"type":")" + QByteArray(type)
            + R"(","features":[{"type":"numeric","property":"p","access":7}]})";
        row(type, expose, "/d/p", "double RW from:zigbee2mqtt/d#/p",
            R"(zigbee2mqtt/d/set {"p": $value})");
    }
    row("lock, texts",
        R"({"type":"lock","features":[{"type":"binary","property":"state","access":7,"value_on":"LOCK","value_off":"UNLOCK"}]})",
        "/d/state", R"(bool RW from:zigbee2mqtt/d#/state values:"LOCK"=true "UNLOCK"=false)",
        R"(zigbee2mqtt/d/set {"state": $value})");
    row("endpoint",
        R"({"type":"switch","endpoint":"left","features":[{"type":"binary","name":"state","endpoint":"left",
            "property":"state_left","access":7,"value_on":"ON","value_off":"OFF"}]})",
        "/d/state_left", R"(bool RW from:zigbee2mqtt/d#/state_left values:"ON"=true "OFF"=false)",
        R"(zigbee2mqtt/d/set {"state_left": $value})");
    row("odd property", R"({"type":"text","property":"a/b~\"c","access":3})", "/d/a_b~\"c",
        R"(string RW from:zigbee2mqtt/d#/a~1b~0"c)", R"(zigbee2mqtt/d/set {"a/b~\"c": $value})");
    row("limits of a wrong kind",
        R"({"type":"numeric","property":"t","access":1,"value_min":"a","value_max":null,"value_step":[]})",
        "/d/t", "double R from:zigbee2mqtt/d#/t");
}

void tst_Zigbee2Mqtt::expose()
{
    QFETCH(QByteArray, expose);
    QFETCH(QString, path);
    QFETCH(QString, reading);
    QFETCH(QString, writing);
    take("devices", list({device("0x1", "d", '[' + expose + ']')}));
    const TopicKeyword found = taken.keywords.value(path);
    QCOMPARE(conventiontext::reading(found), path + QLatin1Char(' ') + reading);
    QCOMPARE(conventiontext::writing(found), writing);
    QCOMPARE(convention->skipped(), 0);
}

void tst_Zigbee2Mqtt::access_data()
{
    QTest::addColumn<QByteArray>("expose");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QByteArray &expose, const char *expected) {
        QTest::newRow(name) << expose << QString::fromLatin1(expected);
    };
    const char *const expected[] = {"", "R", "W", "RW", "R", "R", "RW", "RW"};
    for (int bits = 0; bits < 8; ++bits) {
        row(qPrintable(QStringLiteral("bits %1").arg(bits)),
            R"({"type":"text","property":"p","access":)" + QByteArray::number(bits) + "}",
            expected[bits]);
    }
    row("none given", R"({"type":"text","property":"p"})", "R");
    row("as text", R"({"type":"text","property":"p","access":"7"})", "R");
    const QByteArray features =
        R"("features":[{"type":"text","property":"a","access":1},{"type":"text","property":"b","access":2}]})";
    row("composite of its own", R"({"type":"composite","property":"p","access":1,)" + features,
        "R");
    row("composite, or-ed", R"({"type":"composite","property":"p",)" + features, "RW");
    row("composite to set",
        R"({"type":"composite","property":"p","features":[{"type":"text","property":"b","access":2}]})",
        "W");
}

void tst_Zigbee2Mqtt::access()
{
    QFETCH(QByteArray, expose);
    QFETCH(QString, expected);
    take("devices", list({device("0x1", "d", '[' + expose + ']')}));
    const TopicKeyword found = keyword("/d/p");
    QCOMPARE(found.access, expected);
    QCOMPARE(convention->skipped(), expected.isEmpty() ? 1 : 0);
    QCOMPARE(found.topic.isEmpty(), !expected.contains(QLatin1Char('R')));
    QCOMPARE(found.writeTopic.isEmpty(), !expected.contains(QLatin1Char('W')));
    if (expected == QLatin1String("W"))
        QCOMPARE(found.confirmation, SourceKeyword::Confirmation::Answer);
}

void tst_Zigbee2Mqtt::label_data()
{
    QTest::addColumn<QByteArray>("names");
    QTest::addColumn<QString>("expected");
    QTest::newRow("label") << QByteArray(R"("label":"Link quality","name":"linkquality")")
                           << QStringLiteral("Link quality");
    QTest::newRow("name") << QByteArray(R"("name":"max_cool_setpoint")")
                          << QStringLiteral("max cool setpoint");
    QTest::newRow("neither") << QByteArray(R"("x":1)") << QString();
    QTest::newRow("of a wrong kind")
        << QByteArray(R"("label":5,"name":"a_b")") << QStringLiteral("a b");
}

void tst_Zigbee2Mqtt::label()
{
    QFETCH(QByteArray, names);
    QFETCH(QString, expected);
    take(
        "devices",
        list({device("0x1", "d", R"([{"type":"text","property":"p","access":1,)" + names + "}]")}));
    QCOMPARE(keyword("/d/p").label, expected);
}

void tst_Zigbee2Mqtt::illegalExpose_isDroppedAlone_data()
{
    QTest::addColumn<QByteArray>("expose");
    const auto row = [](const char *name, const char *expose) {
        QTest::newRow(name) << QByteArray(expose);
    };
    row("not an object", "5");
    row("null", "null");
    row("no type", R"({"property":"p","access":1})");
    row("unknown type", R"({"type":"blob","property":"p","access":1})");
    row("no property", R"({"type":"text","name":"p","access":1})");
    row("property not text", R"({"type":"text","property":5,"access":1})");
    row("property like a place", R"({"type":"text","property":"$value","access":3})");
    row("binary without payloads", R"({"type":"binary","property":"p","access":1})");
    row("binary with one payload", R"({"type":"binary","property":"p","access":1,"value_on":1})");
    row("binary with one payload for both",
        R"({"type":"binary","property":"p","access":1,"value_on":1,"value_off":1})");
    row("enum without values", R"({"type":"enum","property":"p","access":1})");
    row("enum of objects", R"({"type":"enum","property":"p","access":1,"values":[{}]})");
    row("no access", R"({"type":"text","property":"p","access":0})");
}

void tst_Zigbee2Mqtt::illegalExpose_isDroppedAlone()
{
    QFETCH(QByteArray, expose);
    take("devices",
         list({device("0x1", "d",
                      '[' + expose + R"(,{"type":"text","property":"good","access":1}])")}));
    QCOMPARE(paths(), QStringLiteral("/d/good"));
    QCOMPARE(convention->skipped(), 1);
    QCOMPARE(taken.messages.size(), 1);
}

void tst_Zigbee2Mqtt::property_exposedTwiceIsMerged()
{
    take("devices", list({device("0x1", "d", R"([{"type":"light","features":[
        {"type":"composite","name":"color_xy","property":"color","access":7,"features":[
            {"type":"numeric","property":"x","access":7},{"type":"numeric","property":"y","access":7}]},
        {"type":"composite","name":"color_hs","property":"color","access":7,"features":[
            {"type":"numeric","property":"hue","access":7},{"type":"numeric","property":"saturation","access":7}]}]},
        {"type":"text","property":"t","access":1},{"type":"text","property":"t","access":2}])")}));
    QCOMPARE(paths(),
             QStringLiteral("/d/color /d/color/hue /d/color/saturation /d/color/x "
                            "/d/color/y /d/t"));
    QCOMPARE(keyword("/d/t").access, QStringLiteral("RW"));
    QCOMPARE(convention->skipped(), 0);
}

void tst_Zigbee2Mqtt::attributeOutput_hasTopicsOfItsOwn()
{
    take("devices", list({device("0x1", "lamp", lampExposes)}));
    QCOMPARE(keyword("/lamp/state").member, QStringLiteral("/state"));
    take("info", R"({"config":{"advanced":{"output":"attribute_and_json"}}})");
    QVERIFY(taken.last.declared.isEmpty());
    take("info", R"({"config":{"advanced":{"output":"attribute"}}})");
    QCOMPARE(reading(keyword("/lamp/state")),
             QStringLiteral("/lamp/state bool RW from:zigbee2mqtt/lamp/state "
                            "values:\"ON\"=true \"OFF\"=false unknown:"));
    QCOMPARE(writing(keyword("/lamp/state")),
             QStringLiteral("zigbee2mqtt/lamp/set {\"state\": $value}"));
    QCOMPARE(reading(keyword("/lamp/color/x")),
             QStringLiteral("/lamp/color/x double R from:zigbee2mqtt/lamp/color-x unknown:"));
    QCOMPARE(keyword("/lamp/color").access, QStringLiteral("W")); // the device has no such topic
    QVERIFY(taken.filters.contains(QStringLiteral("zigbee2mqtt/lamp/color-x")));
    QVERIFY(!taken.filters.contains(QStringLiteral("zigbee2mqtt/lamp")));
    take("devices",
         list({device("0x1", "lamp", R"([{"type":"list","property":"l","access":1}])")}));
    QCOMPARE(keyword("/lamp/l").type, QStringLiteral("string")); // elements are joined by commas
}

void tst_Zigbee2Mqtt::availability_data()
{
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<bool>("hasOwn");
    const auto row = [](const char *name, const char *config, bool hasOwn) {
        QTest::newRow(name) << QByteArray(config) << hasOwn;
    };
    row("not known", "", false);
    row("1.x, off", R"("availability":false)", false);
    row("1.x, on", R"("availability":true)", true);
    row("1.x, with times", R"("availability":{"active":{"timeout":10}})", true);
    row("2.x, off", R"("availability":{"enabled":false,"active":{"timeout":10}})", false);
    row("2.x, on", R"("availability":{"enabled":true})", true);
    row("of a wrong kind", R"("availability":"on")", false);
    row("off for the device",
        R"("availability":{"enabled":true},"devices":{"0x1":{"availability":false}})", false);
    row("on for the device", R"("devices":{"0x1":{"availability":{"timeout":5}}})", true);
    row("on for the device by its name", R"("devices":{"d":{"availability":true}})", true);
    row("on for another device", R"("devices":{"0x2":{"availability":true}})", false);
}

// Both forms of the payload are accepted: the member does not apply to plain text.
void tst_Zigbee2Mqtt::availability()
{
    QFETCH(QByteArray, config);
    QFETCH(bool, hasOwn);
    take("info", "{\"config\":{" + config + "}}");
    take("devices", list({device("0x1", "d", R"([{"type":"text","property":"p","access":1}])")}));
    QString expected = QStringLiteral("all zigbee2mqtt/bridge/state#/state=online|offline");
    if (hasOwn)
        expected += QStringLiteral(" zigbee2mqtt/d/availability#/state=online|offline");
    QCOMPARE(conventiontext::availability(keyword("/d/p").availability), expected);
    QCOMPARE(taken.filters.contains(QStringLiteral("zigbee2mqtt/d/availability")), hasOwn);

    // The availability is enabled and disabled while devices are known.
    take("info", R"({"config":{"availability":true}})");
    QCOMPARE(keyword("/d/p").availability.entries.size(), 2);
    take("info", QByteArray());
    QCOMPARE(keyword("/d/p").availability.entries.size(), 1);
}

void tst_Zigbee2Mqtt::device_isSkipped_data()
{
    QTest::addColumn<QByteArray>("device");
    QTest::addColumn<int>("skipped");
    const char *const exposes = R"([{"type":"text","property":"p","access":1}])";
    QTest::newRow("coordinator") << QByteArray(
        R"({"ieee_address":"0x9","type":"Coordinator","friendly_name":"c"})")
                                 << 0;
    QTest::newRow("no definition") << QByteArray(
        R"({"ieee_address":"0x9","type":"Router","friendly_name":"c","definition":null})")
                                   << 1;
    QTest::newRow("definition missing")
        << QByteArray(R"({"ieee_address":"0x9","type":"EndDevice","friendly_name":"c"})") << 1;
    QTest::newRow("disabled")
        << device("0x9", "c", exposes).replace("\"disabled\":false", "\"disabled\":true") << 1;
    QTest::newRow("no address") << device("", "c", exposes) << 1;
    QTest::newRow("address of another") << device("0x1", "c", exposes) << 1;
    QTest::newRow("no name") << device("0x9", "", exposes) << 1;
    QTest::newRow("name with a wildcard") << device("0x9", "a/#", exposes) << 1;
    QTest::newRow("not an object") << QByteArray("7") << 1;
    QTest::newRow("exposes of a wrong kind") << device("0x9", "c", "{}") << 0;
}

void tst_Zigbee2Mqtt::device_isSkipped()
{
    QFETCH(QByteArray, device);
    QFETCH(int, skipped);
    take("devices",
         list({::device("0x1", "d", R"([{"type":"text","property":"p","access":1}])"), device}));
    QCOMPARE(paths(), QStringLiteral("/d/p"));
    QCOMPARE(convention->skipped(), skipped);
    QCOMPARE(taken.messages.size(), skipped);
}

void tst_Zigbee2Mqtt::friendlyName_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("path");
    const auto row = [](const char *name, const char *path) {
        QTest::newRow(name) << QByteArray(name) << QString::fromUtf8(path);
    };
    row("lamp", "/lamp/p");
    row("hall/lamp", "/hall/lamp/p");
    row("hall/lamp/set", "/hall/lamp/set/p");
    row("Küche 1", "/Küche 1/p");
    row("a//b", "/a/_/b/p");
    row("x/Label", "/x/Label_/p");
}

void tst_Zigbee2Mqtt::friendlyName()
{
    QFETCH(QByteArray, name);
    QFETCH(QString, path);
    take("devices", list({device("0x1", name, R"([{"type":"text","property":"p","access":3}])")}));
    QCOMPARE(paths(), path);
    QCOMPARE(taken.keywords.value(path).topic,
             QLatin1String("zigbee2mqtt/") + QString::fromUtf8(name));
    QCOMPARE(taken.keywords.value(path).writeTopic,
             QLatin1String("zigbee2mqtt/") + QString::fromUtf8(name) + QLatin1String("/set"));
}

void tst_Zigbee2Mqtt::rename_isMatchedByAddress()
{
    const char *const exposes = R"([{"type":"text","property":"p","access":1}])";
    take("info", R"({"config":{"availability":true}})");
    take("devices", list({device("0x1", "old", exposes), device("0x2", "other", exposes)}));
    take("devices", list({device("0x1", "new", exposes), device("0x2", "other", exposes)}));
    QCOMPARE(taken.last.removed.join(QLatin1Char(' ')), QStringLiteral("/old/p"));
    QCOMPARE(taken.last.declared.size(), 1);
    QCOMPARE(taken.last.messages.join(QLatin1Char(' ')),
             QStringLiteral("\"old\" is called \"new\" now"));
    QCOMPARE(taken.sortedFilters().join(QLatin1Char(' ')),
             QStringLiteral("zigbee2mqtt/bridge/state zigbee2mqtt/new zigbee2mqtt/new/availability "
                            "zigbee2mqtt/other zigbee2mqtt/other/availability"));
}

// The value of one device must not be kept as the value of the other.
void tst_Zigbee2Mqtt::names_canBeExchanged()
{
    const char *const exposes = R"([{"type":"text","property":"p","access":1}])";
    take("devices", list({device("0x1", "a", exposes), device("0x2", "b", exposes)}));
    take("devices", list({device("0x1", "b", exposes), device("0x2", "a", exposes)}));
    QStringList removed = taken.last.removed;
    removed.sort();
    QCOMPARE(removed.join(QLatin1Char(' ')), QStringLiteral("/a/p /b/p"));
    QCOMPARE(taken.last.declared.size(), 2);
    QCOMPARE(convention->skipped(), 0);
    QCOMPARE(taken.last.messages.size(), 2);
}

void tst_Zigbee2Mqtt::list_isTakenAnew()
{
    const char *const exposes = R"([{"type":"text","property":"p","access":1}])";
    take("devices", list({device("0x1", "a", exposes), device("0x2", "b", exposes)}));
    take("devices", list({device("0x2", "b", exposes), device("0x3", "c", exposes)}));
    QCOMPARE(paths(), QStringLiteral("/b/p /c/p"));
    take("devices", QByteArray());
    QVERIFY(taken.keywords.isEmpty());
    QVERIFY(taken.filters.isEmpty());
}

void tst_Zigbee2Mqtt::sameList_changesNothing()
{
    take("devices", list({device("0x1", "a", lampExposes)}));
    take("devices", list({device("0x1", "a", lampExposes)}));
    QVERIFY(taken.last.removed.isEmpty() && taken.last.declared.isEmpty());
    take("devices", list({device("0x1", "a", lampExposes, R"(,"power_source":"Battery")")}));
    QVERIFY(taken.last.removed.isEmpty() && taken.last.declared.isEmpty());
    QVERIFY(taken.last.subscribe.isEmpty() && taken.last.unsubscribe.isEmpty());
}

void tst_Zigbee2Mqtt::group_hasWhatAllMembersHave()
{
    const QByteArray plug =
        R"([{"type":"binary","property":"state","access":7,"value_on":"ON","value_off":"OFF"},
            {"type":"numeric","property":"brightness","access":1},{"type":"numeric","property":"power","access":1}])";
    take("groups", R"([{"id":4,"friendly_name":"hall/all","scenes":[],"members":[
        {"ieee_address":"0x1","endpoint":1},{"ieee_address":"0x1","endpoint":2},{"ieee_address":"0x2","endpoint":1}]}])");
    QVERIFY(taken.keywords.isEmpty());
    QCOMPARE(convention->skipped(), 1); // so far
    take("devices", list({device("0x1", "lamp", lampExposes), device("0x2", "plug", plug)}));
    QCOMPARE(convention->skipped(), 0);
    QCOMPARE(reading(keyword("/hall/all/state")),
             QStringLiteral("/hall/all/state bool RW from:zigbee2mqtt/hall/all#/state "
                            "values:\"ON\"=true \"OFF\"=false"));
    QCOMPARE(writing(keyword("/hall/all/state")),
             QStringLiteral("zigbee2mqtt/hall/all/set {\"state\": $value}"));
    QCOMPARE(keyword("/hall/all/brightness").access, QStringLiteral("R"));
    QVERIFY(!taken.keywords.contains(QStringLiteral("/hall/all/power")));
    QVERIFY(!taken.keywords.contains(QStringLiteral("/hall/all/effect")));
    take("info", R"({"config":{"groups":{"4":{"availability":true}}}})");
    QVERIFY(taken.filters.contains(QStringLiteral("zigbee2mqtt/hall/all/availability")));
    take("groups", "[]");
    QVERIFY(!taken.keywords.contains(QStringLiteral("/hall/all/state")));
}

void tst_Zigbee2Mqtt::group_isSkipped_data()
{
    QTest::addColumn<QByteArray>("group");
    QTest::addColumn<int>("skipped");
    QTest::newRow("no members") << QByteArray(R"({"id":1,"friendly_name":"g","members":[]})") << 0;
    QTest::newRow("members missing") << QByteArray(R"({"id":1,"friendly_name":"g"})") << 0;
    QTest::newRow("member not known")
        << QByteArray(R"({"id":1,"friendly_name":"g","members":[{"ieee_address":"0x7"}]})") << 1;
    QTest::newRow("member of a wrong kind")
        << QByteArray(R"({"id":1,"friendly_name":"g","members":[5]})") << 1;
    QTest::newRow("no id") << QByteArray(
        R"({"friendly_name":"g","members":[{"ieee_address":"0x1"}]})")
                           << 1;
    QTest::newRow("no name") << QByteArray(R"({"id":1,"members":[{"ieee_address":"0x1"}]})") << 1;
    QTest::newRow("name of a device")
        << QByteArray(R"({"id":1,"friendly_name":"d","members":[{"ieee_address":"0x1"}]})") << 1;
}

void tst_Zigbee2Mqtt::group_isSkipped()
{
    QFETCH(QByteArray, group);
    QFETCH(int, skipped);
    take("devices", list({device("0x1", "d", R"([{"type":"text","property":"p","access":1}])")}));
    take("groups", list({group}));
    QCOMPARE(paths(), QStringLiteral("/d/p"));
    QVERIFY(keyword("/d/p").origin.startsWith(QLatin1String("device ")));
    QCOMPARE(convention->skipped(), skipped);
    QCOMPARE(taken.messages.size(), skipped);
}

void tst_Zigbee2Mqtt::base_isConfigurable()
{
    ConventionOptions options;
    options.base = QStringLiteral("house/zigbee");
    convention = Convention::create(QStringLiteral("zigbee2mqtt"), options);
    taken.take(convention->take(
        QStringLiteral("house/zigbee/bridge/devices"),
        list({device("0x1", "d", R"([{"type":"text","property":"p","access":1}])")})));
    QCOMPARE(keyword("/d/p").topic, QStringLiteral("house/zigbee/d"));
    QVERIFY(taken.filters.contains(QStringLiteral("house/zigbee/bridge/state")));
}

void tst_Zigbee2Mqtt::foreignTopics_areIgnored()
{
    for (const char *const topic :
         {"", "zigbee2mqtt", "zigbee2mqtt/devices", "other/bridge/devices",
          "zigbee2mqtt/bridge/devices/x", "zigbee2mqtt/bridge/definitions"}) {
        taken.take(
            convention->take(QString::fromLatin1(topic), list({device("0x1", "d", lampExposes)})));
        QVERIFY2(taken.keywords.isEmpty(), topic);
        QVERIFY(taken.messages.isEmpty());
    }
}

void tst_Zigbee2Mqtt::broken_keepsWhatWas_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::newRow("cut off") << QByteArray(R"([{"ieee_address":"0x1")");
    QTest::newRow("text") << QByteArray("\"x\"");
    QTest::newRow("zeros") << QByteArray(100, '\0');
    QTest::newRow("1 MiB of brackets") << QByteArray(1 << 20, '[');
}

void tst_Zigbee2Mqtt::broken_keepsWhatWas()
{
    QFETCH(QByteArray, payload);
    take("devices", list({device("0x1", "d", lampExposes)}));
    const QStringList before = taken.paths();
    for (const char *const topic : {"devices", "groups", "info"}) {
        take(topic, payload);
        QCOMPARE(taken.last.messages.size(), 1);
        take(topic, payload);
        QCOMPARE(taken.last.messages.size(), 0);
    }
    QCOMPARE(taken.paths(), before);
}

void tst_Zigbee2Mqtt::hostile_data()
{
    QTest::addColumn<QByteArray>("exposes");
    QTest::newRow("composites within composites") << QByteArray(
        '[' + QByteArray(R"({"type":"composite","property":"c","features":[)").repeated(250)
        + QByteArray("]}").repeated(250) + ']');
    QTest::newRow("lights within lights")
        << QByteArray('[' + QByteArray(R"({"type":"light","features":[)").repeated(250)
                      + QByteArray("]}").repeated(250) + ']');
    QTest::newRow("nulls") << QByteArray("[null" + QByteArray(",null").repeated(10000) + ']');
    QTest::newRow("1 MiB of a name") << QByteArray(R"([{"type":"text","access":7,"property":")"
                                                   + QByteArray(1 << 20, 'x') + R"("}])");
    QTest::newRow("the same property, often") << QByteArray(
        R"([{"type":"text","access":7,"property":"p"})"
        + QByteArray(R"(,{"type":"text","access":7,"property":"p"})").repeated(10000) + ']');
}

void tst_Zigbee2Mqtt::hostile()
{
    QFETCH(QByteArray, exposes);
    take("devices", list({device("0x1", "d", exposes)}));
    QVERIFY(taken.keywords.size() <= 1);
    QVERIFY(taken.messages.size() <= 2);
    for (const QString &path : taken.paths())
        QVERIFY(path.size() < 1000);
    for (const QString &message : std::as_const(taken.messages))
        QVERIFY(message.size() < 400);
}

// A group with all members of large devices, thousands of times, is a short text, but has a large
// result.
void tst_Zigbee2Mqtt::groupsOfThousands_areLimited()
{
    QByteArrayList exposes;
    for (int i = 0; i < 1000; ++i)
        exposes.append(R"({"type":"text","access":1,"property":"p)" + QByteArray::number(i)
                       + "\"}");
    QByteArrayList groups;
    for (int i = 0; i < 2000; ++i) {
        groups.append(R"({"id":)" + QByteArray::number(i) + R"(,"friendly_name":"g)"
                      + QByteArray::number(i) + R"(","members":[{"ieee_address":"0x1"}]})");
    }
    take("devices", list({device("0x1", "d", '[' + exposes.join(',') + ']')}));
    QCOMPARE(taken.keywords.size(), 1000);
    take("groups", '[' + groups.join(',') + ']');
    QCOMPARE(taken.keywords.size(), 1000 + 50000);
    QCOMPARE(convention->skipped(), 2000 - 50);
    QVERIFY(taken.messages.size() <= 1000);
}

void tst_Zigbee2Mqtt::clear_forgets()
{
    take("info", R"({"config":{"availability":true}})");
    take("devices", list({device("0x1", "d", lampExposes)}));
    convention->clear();
    taken = {};
    take("groups", "[]");
    QVERIFY(taken.keywords.isEmpty());
    take("devices", list({device("0x1", "d", lampExposes)}));
    QCOMPARE(taken.keywords.size(), 7);
    QCOMPARE(taken.filters.size(), 2);
}

QTEST_GUILESS_MAIN(tst_Zigbee2Mqtt)
#include "tst_zigbee2mqtt.moc"
