// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/conventions/valuetemplate.h"
#include "tests/gateway/mqtt/conventions/conventiontext.h"

#include <QtTest/QTest>

using namespace pellix::gateway;
using namespace conventiontext;

namespace {

const QByteArray level = R"(
{ "~": "heat/tank1", "name": "Level", "uniq_id": "tank1_level", "stat_t": "~/state", "val_tpl": "{{ value_json.level }}",
  "unit_of_meas": "%", "stat_cla": "measurement", "exp_aft": 120,
  "avty": [ { "t": "~/status" }, { "t": "heat/bridge", "val_tpl": "{{ value_json.state }}", "pl_avail": "up" } ], "avty_mode": "all",
  "dev": { "ids": ["tank1"], "name": "Tank 1", "mf": "Some", "mdl": "T", "sw": "1.2" }, "o": { "name": "tanks", "sw": "3.1" } })";

const QByteArray tank = R"(
{ "dev": { "ids": "tank1", "name": "Tank 1" }, "o": { "name": "tanks" }, "stat_t": "heat/tank1/state", "avty_t": "heat/tank1/status",
  "cmps": { "level": { "p": "sensor", "uniq_id": "tank1_level", "val_tpl": "{{ value_json.level }}", "unit_of_meas": "%" },
            "pump":  { "p": "switch", "uniq_id": "tank1_pump", "cmd_t": "heat/tank1/pump/set", "val_tpl": "{{ value_json.pump }}" },
            "gone":  { "p": "sensor" } } })";

} // namespace

class tst_HomeAssistant : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void component_makesKeyword();
    void device_makesKeywords();
    void kind_data();
    void kind();
    void payloadOfJsonBoolean_isBoth_data();
    void payloadOfJsonBoolean_isBoth();
    void confirmation_data();
    void confirmation();
    void sensor_isNumberOrText_data();
    void sensor_isNumberOrText();
    void abbreviation_data();
    void abbreviation();
    void longName_wins();
    void base_isReplaced_data();
    void base_isReplaced();
    void availability_data();
    void availability();
    void expiry_data();
    void expiry();
    void valueTemplate_data();
    void valueTemplate();
    void commandTemplate_data();
    void commandTemplate();
    void commandTemplate_ofKind_data();
    void commandTemplate_ofKind();
    void path_data();
    void path();
    void label_data();
    void label();
    void entity_isSkipped_data();
    void entity_isSkipped();
    void kind_isSkippedAndToldOnce();
    void component_inherits();
    void component_hasItsOwn();
    void device_isSkipped_data();
    void device_isSkipped();
    void component_isSkippedAlone_data();
    void component_isSkippedAlone();
    void emptyPayload_removes();
    void newPayload_replaces();
    void migration_keepsTheEntity();
    void samePath_isOfTheSmallerTopic();
    void retainedCommands_areToldOnce();
    void prefix_isConfigurable();
    void foreignTopics_areIgnored_data();
    void foreignTopics_areIgnored();
    void hostile_data();
    void hostile();
    void thousands_areToldOnceEach();
    void clear_forgets();

private:
    void take(const char *topic, const QByteArray &payload)
    {
        taken.take(
            convention->take(QLatin1String("homeassistant/") + QLatin1String(topic), payload));
    }
    // An entity of this kind, without a device.
    TopicKeyword entity(const char *kind, const QByteArray &members)
    {
        taken.take(
            convention->take(QStringLiteral("homeassistant/%1/x/config").arg(QLatin1String(kind)),
                             '{' + members + '}'));
        return keyword("/x");
    }
    TopicKeyword keyword(const char *path) const
    {
        return taken.keywords.value(QString::fromUtf8(path));
    }
    QString paths() const { return taken.paths().join(QLatin1Char(' ')); }

    std::unique_ptr<Convention> convention;
    Taken taken;
};

void tst_HomeAssistant::init()
{
    convention = Convention::create(QStringLiteral("homeassistant"));
    taken = {};
}

void tst_HomeAssistant::cleanup()
{
    QVERIFY(taken.isGood);
}

void tst_HomeAssistant::component_makesKeyword()
{
    QCOMPARE(convention->name(), QStringLiteral("homeassistant"));
    QCOMPARE(convention->subscriptions().join(QLatin1Char(' ')),
             QStringLiteral("homeassistant/+/+/config homeassistant/+/+/+/config"));
    take("sensor/tank1/level/config", level);
    QCOMPARE(paths(), QStringLiteral("/Tank 1/level"));
    const TopicKeyword found = keyword("/Tank 1/level");
    QCOMPARE(reading(found),
             QStringLiteral("/Tank 1/level double R unit:% from:heat/tank1/state#/level "
                            "unknown:None stale:120000"));
    QCOMPARE(found.label, QStringLiteral("Tank 1 Level"));
    QCOMPARE(conventiontext::availability(found.availability),
             QStringLiteral("all heat/tank1/status=online|offline heat/bridge#/state=up|offline"));
    QCOMPARE(taken.sortedFilters().join(QLatin1Char(' ')),
             QStringLiteral("heat/bridge heat/tank1/state heat/tank1/status"));
    QCOMPARE(convention->skipped(), 0);
    QVERIFY(taken.messages.isEmpty());
}

void tst_HomeAssistant::device_makesKeywords()
{
    take("device/tank1/config", tank);
    QCOMPARE(paths(), QStringLiteral("/Tank 1/level /Tank 1/pump"));
    QCOMPARE(reading(keyword("/Tank 1/pump")),
             QStringLiteral("/Tank 1/pump bool RW from:heat/tank1/state#/pump "
                            "values:\"ON\"=true \"OFF\"=false ignoresOthers"));
    QCOMPARE(writing(keyword("/Tank 1/pump")), QStringLiteral("heat/tank1/pump/set"));
    for (const TopicKeyword &found : std::as_const(taken.keywords)) {
        QCOMPARE(conventiontext::availability(found.availability),
                 QStringLiteral("latest heat/tank1/status=online|offline"));
    }
    QCOMPARE(convention->skipped(), 0);
}

void tst_HomeAssistant::kind_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QString>("reading");
    QTest::addColumn<QString>("writing");
    const auto row = [](const char *name, const char *kind, const char *members,
                        const char *reading, const char *writing = "nothing") {
        QTest::newRow(name) << QByteArray(kind) << QByteArray(members) << QString::fromUtf8(reading)
                            << QString::fromUtf8(writing);
    };
    row("sensor", "sensor", R"("stat_t":"s")", "string R from:s unknown:None");
    row("sensor with unit", "sensor", R"("stat_t":"s","unit_of_meas":"°C")",
        "double R unit:°C from:s unknown:None");
    row("sensor ignores commands", "sensor", R"("stat_t":"s","cmd_t":"c")",
        "string R from:s unknown:None");
    row("binary_sensor", "binary_sensor", R"("stat_t":"s")",
        R"(bool R from:s values:"ON"=true "OFF"=false ignoresOthers unknown:None)");
    row("binary_sensor, payloads", "binary_sensor",
        R"("stat_t":"s","pl_on":"open","pl_off":"shut")",
        R"(bool R from:s values:"open"=true "shut"=false ignoresOthers unknown:None)");
    row("switch", "switch", R"("stat_t":"s","cmd_t":"c")",
        R"(bool RW from:s values:"ON"=true "OFF"=false ignoresOthers)", "c");
    row("switch, payloads", "switch", R"("stat_t":"s","cmd_t":"c","pl_on":"on","pl_off":"off")",
        R"(bool RW from:s values:"on"=true "off"=false ignoresOthers)", "c");
    row("switch, states", "switch",
        R"("stat_t":"s","cmd_t":"c","pl_on":"start","pl_off":"stop","stat_on":"runs","stat_off":"stands")",
        R"(bool RW from:s values:"runs"=true "stands"=false ignoresOthers)",
        R"(c values:"start"=true "stop"=false)");
    row("switch, one state", "switch", R"("stat_t":"s","cmd_t":"c","stat_on":"runs")",
        R"(bool RW from:s values:"runs"=true "OFF"=false ignoresOthers)",
        R"(c values:"ON"=true "OFF"=false)");
    row("number", "number", R"("stat_t":"s","cmd_t":"c")",
        "double RW from:s 1..100 step:1 unknown:None", "c");
    row("number, limits", "number",
        R"("stat_t":"s","cmd_t":"c","min":-5,"max":5.5,"step":0.001,"unit_of_meas":"V","pl_rst":"-")",
        "double RW unit:V from:s -5..5.5 step:0.001 unknown:-", "c");
    row("number, limits as text", "number", R"("stat_t":"s","cmd_t":"c","min":"0","max":"10")",
        "double RW from:s 0..10 step:1 unknown:None", "c");
    row("select", "select", R"("stat_t":"s","cmd_t":"c","ops":["eco","full power"])",
        "string RW from:s choices:eco,full power", "c");
    row("text", "text", R"("stat_t":"s","cmd_t":"c")", "string RW from:s length:0..255", "c");
    row("text, limits", "text", R"("stat_t":"s","cmd_t":"c","min":2,"max":8,"ptrn":"[a-z]+")",
        "string RW from:s length:2..8 pattern:[a-z]+", "c");
    row("text, password", "text", R"("stat_t":"s","cmd_t":"c","mode":"password")",
        "string W length:0..255", "c unconfirmed");
    row("button", "button", R"("cmd_t":"c")", R"(string W choices:PRESS values:"PRESS"=PRESS)",
        "c unconfirmed");
    row("button, payload", "button", R"("cmd_t":"c","pl_prs":"go","stat_t":"s")",
        R"(string W choices:go values:"go"=go)", "c unconfirmed");
}

void tst_HomeAssistant::kind()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, members);
    QFETCH(QString, reading);
    QFETCH(QString, writing);
    const TopicKeyword found = entity(kind, members);
    QCOMPARE(conventiontext::reading(found), QLatin1String("/x ") + reading);
    QCOMPARE(conventiontext::writing(found), writing);
    QCOMPARE(found.writeQos, 1);
    QCOMPARE(convention->skipped(), 0);
}

void tst_HomeAssistant::payloadOfJsonBoolean_isBoth_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const char *members, const char *expected) {
        QTest::newRow(name) << QByteArray(members) << QString::fromUtf8(expected);
    };
    row("True", R"("pl_on":"True","pl_off":"False")",
        R"("True"=true true=true "False"=false false=false)");
    row("true", R"("pl_on":"true","pl_off":"false")",
        R"("true"=true true=true "false"=false false=false)");
    row("JSON booleans", R"("pl_on":true,"pl_off":false)",
        R"("True"=true true=true "False"=false false=false)");
    row("the other way round", R"("pl_on":"false","pl_off":"true")",
        R"("false"=true false=true "true"=false true=false)");
    row("numbers as text", R"("pl_on":"1","pl_off":"0")", R"("1"=true 1=true "0"=false 0=false)");
    row("numbers", R"("pl_on":1,"pl_off":0)", R"("1"=true 1=true "0"=false 0=false)");
    row("no number", R"("pl_on":"01","pl_off":"1e400")", R"("01"=true "1e400"=false)");
}

void tst_HomeAssistant::payloadOfJsonBoolean_isBoth()
{
    QFETCH(QByteArray, members);
    QFETCH(QString, expected);
    QCOMPARE(values(entity("binary_sensor", R"("stat_t":"s",)" + members).values), expected);
}

void tst_HomeAssistant::confirmation_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QString>("access");
    QTest::addColumn<bool>("isConfirmed");
    QTest::newRow("state") << QByteArray(R"(,"stat_t":"s")") << QStringLiteral("RW") << true;
    QTest::newRow("no state") << QByteArray() << QStringLiteral("W") << false;
    QTest::newRow("optimistic") << QByteArray(R"(,"stat_t":"s","opt":true)") << QStringLiteral("RW")
                                << false;
    QTest::newRow("not optimistic")
        << QByteArray(R"(,"stat_t":"s","opt":false)") << QStringLiteral("RW") << true;
}

void tst_HomeAssistant::confirmation()
{
    QFETCH(QByteArray, members);
    QFETCH(QString, access);
    QFETCH(bool, isConfirmed);
    const TopicKeyword found = entity("switch", R"("cmd_t":"c")" + members);
    QCOMPARE(found.access, access);
    QCOMPARE(found.confirmation,
             isConfirmed ? SourceKeyword::Confirmation::Readback
                         : SourceKeyword::Confirmation::Answer);
    QCOMPARE(taken.messages.join(QLatin1Char(' ')),
             isConfirmed ? QString()
                         : QStringLiteral("homeassistant/switch/x/config does not confirm what is "
                                          "written"));
    QCOMPARE(convention->skipped(), 0);
}

void tst_HomeAssistant::sensor_isNumberOrText_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QString>("type");
    const auto row = [](const char *members, const char *type) {
        QTest::newRow(members) << QByteArray(members) << QString::fromLatin1(type);
    };
    row("", "string");
    row(R"(,"unit_of_meas":"%")", "double");
    row(R"(,"unit_of_meas":null)", "string");
    row(R"(,"stat_cla":"measurement")", "double");
    row(R"(,"stat_cla":"total_increasing")", "double");
    row(R"(,"dev_cla":"temperature")", "double");
    row(R"(,"dev_cla":null)", "string");
    row(R"(,"dev_cla":"timestamp")", "string");
    row(R"(,"dev_cla":"date")", "string");
    row(R"(,"dev_cla":"enum","ops":["a","b"])", "string");
}

void tst_HomeAssistant::sensor_isNumberOrText()
{
    QFETCH(QByteArray, members);
    QFETCH(QString, type);
    QCOMPARE(entity("sensor", R"("stat_t":"s")" + members).type, type);
}

void tst_HomeAssistant::abbreviation_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("members"); // with @ in place of the name
    QTest::addColumn<QByteArray>("brief");
    QTest::addColumn<QByteArray>("full");
    const auto row = [](const char *kind, const char *members, const char *brief,
                        const char *full) {
        QTest::addRow("%s %s", kind, brief)
            << QByteArray(kind) << QByteArray(members) << QByteArray(brief) << QByteArray(full);
    };
    row("sensor", R"("@":"s")", "stat_t", "state_topic");
    row("sensor", R"("stat_t":"s","@":"{{ value_json.a }}")", "val_tpl", "value_template");
    row("sensor", R"("stat_t":"s","@":"temperature")", "dev_cla", "device_class");
    row("sensor", R"("stat_t":"s","@":"V")", "unit_of_meas", "unit_of_measurement");
    row("sensor", R"("stat_t":"s","@":"total")", "stat_cla", "state_class");
    row("sensor", R"("stat_t":"s","@":7)", "exp_aft", "expire_after");
    row("sensor", R"("stat_t":"s","@":{"name":"D"})", "dev", "device");
    row("sensor", R"("stat_t":"s","@":"latin1")", "e", "encoding");
    row("sensor", R"("stat_t":"s","@":true)", "migr_discvry", "migrate_discovery");
    row("sensor", R"("stat_t":"s","@":[{"topic":"a"}])", "avty", "availability");
    row("sensor", R"("stat_t":"s","@":"a")", "avty_t", "availability_topic");
    row("sensor", R"("stat_t":"s","avty_t":"a","@":"any")", "avty_mode", "availability_mode");
    row("sensor", R"("stat_t":"s","avty_t":"a","@":"{{ value_json.b }}")", "avty_tpl",
        "availability_template");
    row("sensor", R"("stat_t":"s","avty_t":"a","@":"yes")", "pl_avail", "payload_available");
    row("sensor", R"("stat_t":"s","avty_t":"a","@":"no")", "pl_not_avail", "payload_not_available");
    row("sensor", R"("stat_t":"s","avty":[{"@":"a"}])", "t", "topic");
    row("sensor", R"("stat_t":"s","avty":[{"t":"a","@":"{{ value_json.c }}"}])", "val_tpl",
        "value_template");
    row("sensor", R"("stat_t":"s","avty":[{"t":"a","@":"yes"}])", "pl_avail", "payload_available");
    row("sensor", R"("stat_t":"s","avty":[{"t":"a","@":"no"}])", "pl_not_avail",
        "payload_not_available");
    row("binary_sensor", R"("stat_t":"s","@":"1")", "pl_on", "payload_on");
    row("binary_sensor", R"("stat_t":"s","@":"0")", "pl_off", "payload_off");
    row("binary_sensor", R"("stat_t":"s","@":5)", "off_dly", "off_delay");
    row("switch", R"("@":"c")", "cmd_t", "command_topic");
    row("switch", R"("cmd_t":"c","@":"{\"a\": \"{{ value }}\"}")", "cmd_tpl", "command_template");
    row("switch", R"("cmd_t":"c","stat_t":"s","@":true)", "opt", "optimistic");
    row("switch", R"("cmd_t":"c","@":true)", "ret", "retain");
    row("switch", R"("cmd_t":"c","stat_t":"s","@":"1")", "stat_on", "state_on");
    row("switch", R"("cmd_t":"c","stat_t":"s","@":"0")", "stat_off", "state_off");
    row("number", R"("cmd_t":"c","stat_t":"s","@":"-")", "pl_rst", "payload_reset");
    row("select", R"("cmd_t":"c","stat_t":"s","@":["a"])", "ops", "options");
    row("text", R"("cmd_t":"c","stat_t":"s","@":"a+")", "ptrn", "pattern");
    row("button", R"("cmd_t":"c","@":"go")", "pl_prs", "payload_press");
    row("sensor", R"("stat_t":"s","dev":{"@":["d"]})", "ids", "identifiers");
}

// Both names have the same effect, and it is not empty.
void tst_HomeAssistant::abbreviation()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, members);
    QFETCH(QByteArray, brief);
    QFETCH(QByteArray, full);
    const auto result = [&](const QByteArray &name) {
        init();
        entity(kind, QByteArray(members).replace("\"@\"", '"' + name + '"'));
        QStringList texts = taken.messages;
        texts.append(QString::number(convention->skipped()));
        for (const TopicKeyword &found : std::as_const(taken.keywords))
            texts += {reading(found), writing(found), found.label,
                      conventiontext::availability(found.availability)};
        return texts.join(QLatin1Char('\n'));
    };
    const QString withBrief = result(brief);
    QCOMPARE(withBrief, result(full));
    QVERIFY(withBrief != result("unknown"));
}

void tst_HomeAssistant::longName_wins()
{
    QCOMPARE(entity("sensor", R"("stat_t":"a","state_topic":"b")").topic, QStringLiteral("b"));
}

void tst_HomeAssistant::base_isReplaced_data()
{
    QTest::addColumn<QByteArray>("topic");
    QTest::addColumn<QString>("expected");
    QTest::newRow("start") << QByteArray("~/s") << QStringLiteral("base/x/s");
    QTest::newRow("end") << QByteArray("s/~") << QStringLiteral("s/base/x");
    QTest::newRow("alone") << QByteArray("~") << QStringLiteral("base/x");
    QTest::newRow("in between") << QByteArray("a/~/b") << QStringLiteral("a/~/b");
    QTest::newRow("nowhere") << QByteArray("a/b") << QStringLiteral("a/b");
}

void tst_HomeAssistant::base_isReplaced()
{
    QFETCH(QByteArray, topic);
    QFETCH(QString, expected);
    TopicKeyword found = entity("switch",
                                R"("~":"base/x","stat_t":")" + topic + R"(","cmd_t":")" + topic
                                    + R"(","avty_t":")" + topic + R"(","pl_on":"~on","name":"~")");
    QCOMPARE(found.topic, expected);
    QCOMPARE(found.writeTopic, expected);
    QCOMPARE(found.availability.entries.first().topic, expected);
    QCOMPARE(found.values.first().payload.toString(), QStringLiteral("~on"));
    QCOMPARE(found.label, QStringLiteral("~"));
    found = entity("sensor",
                   R"("~":"base/x","stat_t":"s","avty":[{"t":")" + topic + R"(","pl_avail":"~"}])");
    found = keyword("/x");
    QVERIFY(taken.messages.size() <= 1); // two entities have the same path
    init();
    found = entity("sensor",
                   R"("~":"base/x","stat_t":"s","avty":[{"t":")" + topic + R"(","pl_avail":"~"}])");
    QCOMPARE(found.availability.entries.first().topic, expected);
    QCOMPARE(found.availability.entries.first().online.first(), QStringLiteral("~"));
}

void tst_HomeAssistant::availability_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QString>("expected"); // empty: the entity is skipped
    const auto row = [](const char *name, const char *members, const char *expected) {
        QTest::newRow(name) << QByteArray(members) << QString::fromUtf8(expected);
    };
    row("none", "", "latest");
    row("topic", R"(,"avty_t":"a")", "latest a=online|offline");
    row("payloads", R"(,"avty_t":"a","pl_avail":"up","pl_not_avail":"down")", "latest a=up|down");
    row("payloads of JSON", R"(,"avty_t":"a","pl_avail":true,"pl_not_avail":0)",
        "latest a=True,true|0");
    row("template", R"(,"avty_t":"a","avty_tpl":"{{ value_json.s }}")",
        "latest a#/s=online|offline");
    row("list", R"(,"avty":[{"t":"a"},{"t":"b","pl_avail":"1","pl_not_avail":"0"}])",
        "latest a=online|offline b=1|0");
    row("one entry that is no list", R"(,"avty":{"t":"a"})", "latest a=online|offline");
    row("empty list", R"(,"avty":[])", "latest");
    row("all", R"(,"avty":[{"t":"a"}],"avty_mode":"all")", "all a=online|offline");
    row("any", R"(,"avty":[{"t":"a"}],"avty_mode":"any")", "any a=online|offline");
    row("latest", R"(,"avty":[{"t":"a"}],"avty_mode":"latest")", "latest a=online|offline");
    row("another mode", R"(,"avty":[{"t":"a"}],"avty_mode":"most")", "");
    row("both", R"(,"avty":[{"t":"a"}],"avty_t":"b")", "");
    row("entry without topic", R"(,"avty":[{"pl_avail":"1"}])", "");
    row("entry of a wrong kind", R"(,"avty":[5])", "");
    row("of a wrong kind", R"(,"avty":"a")", "");
    row("wildcard", R"(,"avty_t":"a/+")", "");
    row("template with logic", R"(,"avty_t":"a","avty_tpl":"{{ 'online' if value else '' }}")", "");
}

void tst_HomeAssistant::availability()
{
    QFETCH(QByteArray, members);
    QFETCH(QString, expected);
    const TopicKeyword found = entity("sensor", R"("stat_t":"s")" + members);
    QCOMPARE(taken.keywords.isEmpty(), expected.isEmpty());
    QCOMPARE(convention->skipped(), expected.isEmpty() ? 1 : 0);
    if (!expected.isEmpty())
        QCOMPARE(conventiontext::availability(found.availability), expected);
}

void tst_HomeAssistant::expiry_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<qint64>("milliseconds");
    QTest::newRow("seconds") << QByteArray("90") << qint64(90000);
    QTest::newRow("0: never") << QByteArray("0") << qint64(0);
    QTest::newRow("as text") << QByteArray("\"15\"") << qint64(15000);
    QTest::newRow("negative") << QByteArray("-5") << qint64(0);
    QTest::newRow("beyond all") << QByteArray("1e300") << qint64(0);
    QTest::newRow("of a wrong kind") << QByteArray("true") << qint64(0);
}

void tst_HomeAssistant::expiry()
{
    QFETCH(QByteArray, value);
    QFETCH(qint64, milliseconds);
    QCOMPARE(qint64(entity("sensor", R"("stat_t":"s","exp_aft":)" + value).staleAfter.count()),
             milliseconds);
}

void tst_HomeAssistant::valueTemplate_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isPath");
    QTest::addColumn<QString>("member");
    const auto row = [](const char *text, const char *member) {
        QTest::newRow(text) << QString::fromUtf8(text) << true << QString::fromUtf8(member);
    };
    row("{{ value }}", "");
    row("{{value}}", "");
    row("  {{  value  }}  ", "");
    row("{{ value_json }}", "");
    row("{{ value_json.a }}", "/a");
    row("{{value_json.a}}", "/a");
    row("{{ value_json.a.b_2 }}", "/a/b_2");
    row("{{ value_json['a']['b'] }}", "/a/b");
    row("{{ value_json[\"a b\"] }}", "/a b");
    row("{{ value_json[0].a }}", "/0/a");
    row("{{ value_json.list[12] }}", "/list/12");
    row("{{ value_json['a/b~c'] }}", "/a~1b~0c");
    row("{{ value_json[''] }}", "/");
    row("{{ value_json.a | float }}", "/a");
    row("{{ value_json.a|is_defined }}", "/a");
    row("{{ value | string }}", "");
    for (const char *const text : {"",
                                   "value",
                                   "{{ }}",
                                   "{{ other }}",
                                   "{{ value.a }}",
                                   "{{ value_json. }}",
                                   "{{ value_json.1a }}",
                                   "{{ value_json['a }}",
                                   "{{ value_json[a] }}",
                                   "{{ value * 2 }}",
                                   "{{ value_json.a + 1 }}",
                                   "{{ value_json.a | round(1) }}",
                                   "{{ value_json.a | int }}",
                                   "{{ value_json.a | default(0) }}",
                                   "{{ value_json.a | lower }}",
                                   "{% if value %}1{% endif %}",
                                   "x{{ value }}",
                                   "{{ value }} %",
                                   "{{ value }}{{ value }}",
                                   "{{ value_json.a if value_json.b else 0 }}",
                                   "{{ value_json.a == 'on' }}",
                                   "{{ value_json['a\\'b'] }}",
                                   "{{ value_json.get('a') }}",
                                   "{{ states('x') }}",
                                   "{{{}}}",
                                   "{{ value_json[99999999999999999999] }}",
                                   "{{",
                                   "}}",
                                   "{{}}"})
        QTest::newRow(text) << QString::fromLatin1(text) << false << QString();
    QTest::newRow("very long") << QLatin1String("{{ value_json")
            + QStringLiteral(".a").repeated(100000) + QLatin1String(" }}")
                               << false << QString();
    QTest::newRow("long") << QLatin1String("{{ value_json") + QStringLiteral(".a").repeated(2000)
            + QLatin1String("! }}")
                          << false << QString();
}

void tst_HomeAssistant::valueTemplate()
{
    QFETCH(QString, text);
    QFETCH(bool, isPath);
    QFETCH(QString, member);
    const auto result = readValueTemplate(text);
    QCOMPARE(result.has_value(), isPath);
    if (result)
        QCOMPARE(result->member, member);
}

void tst_HomeAssistant::commandTemplate_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isGood");
    QTest::addColumn<QString>("payload");
    QTest::addColumn<bool>("isQuoted");
    const auto row = [](const char *text, const char *payload, bool isQuoted = false) {
        QTest::newRow(text) << QString::fromUtf8(text) << true << QString::fromUtf8(payload)
                            << isQuoted;
    };
    row("{{ value }}", "");
    row(" {{value}} ", "");
    row(R"({"level": {{ value }} })", R"({"level": $value })");
    row(R"({"state": "{{ value }}"})", R"({"state": $value})", true);
    row(R"({"a":1,"b":{"c":[{{value}}]}})", R"({"a":1,"b":{"c":[$value]}})");
    for (const char *const text :
         {"", "x", "{{ other }}", "{{ value }}%", "set {{ value }}", R"({"a": {{ value }})",
          R"({"a": {{ value }}, "b": {{ value }} })", R"({"a": "{{ value }}})",
          R"({"a": "x{{ value }}"})", R"({"a": "{{ value }} %"})", R"({"a": {{ value | int }} })",
          R"({"a": {{ value }}, "b": "{% now %}"})", R"({"$value": {{ value }} })",
          R"({"a": {{ value }}, "b": "{{ x }}"})", R"("{{ value }}")"})
        QTest::newRow(text) << QString::fromLatin1(text) << false << QString() << false;
}

void tst_HomeAssistant::commandTemplate()
{
    QFETCH(QString, text);
    QFETCH(bool, isGood);
    QFETCH(QString, payload);
    QFETCH(bool, isQuoted);
    const auto result = readCommandTemplate(text);
    QCOMPARE(result.has_value(), isGood);
    if (result) {
        QCOMPARE(QString::fromUtf8(result->payload), payload);
        QCOMPARE(result->isQuoted, isQuoted);
    }
}

void tst_HomeAssistant::commandTemplate_ofKind_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QString>("expected"); // empty: the entity is skipped
    const auto row = [](const char *name, const char *kind, const char *members,
                        const char *expected) {
        QTest::newRow(name) << QByteArray(kind) << QByteArray(members)
                            << QString::fromUtf8(expected);
    };
    const char *const bare = R"("cmd_tpl":"{\"v\": {{ value }} }")";
    const char *const quotes = R"("cmd_tpl":"{\"v\": \"{{ value }}\"}")";
    row("number", "number", bare, R"(c {"v": $value })");
    row("number in quotes", "number", quotes, "");
    row("text in quotes", "text", quotes, R"(c {"v": $value})");
    row("text without", "text", bare, "");
    row("select in quotes", "select",
        QByteArray(R"("ops":["a"],)" + QByteArray(quotes)).constData(), R"(c {"v": $value})");
    row("button in quotes", "button", quotes, R"(c {"v": $value} unconfirmed)");
    row("switch in quotes", "switch", quotes, R"(c {"v": $value})");
    row("switch without, JSON", "switch",
        QByteArray(R"("pl_on":"true","pl_off":"false",)" + QByteArray(bare)).constData(),
        R"(c {"v": $value } values:true=true false=false)");
    row("switch without, numbers", "switch",
        QByteArray(R"("pl_on":"1","pl_off":"0",)" + QByteArray(bare)).constData(),
        R"(c {"v": $value } values:1=true 0=false)");
    row("switch without, no JSON", "switch", bare, "");
    row("value alone", "switch", R"("cmd_tpl":"{{ value }}")", "c");
    row("logic", "switch", R"("cmd_tpl":"{{ value * 2 }}")", "");
}

void tst_HomeAssistant::commandTemplate_ofKind()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, members);
    QFETCH(QString, expected);
    const TopicKeyword found = entity(kind, R"("stat_t":"s","cmd_t":"c",)" + members);
    QCOMPARE(convention->skipped(), expected.isEmpty() ? 1 : 0);
    QCOMPARE(writing(found), expected.isEmpty() ? QStringLiteral("nothing") : expected);
}

void tst_HomeAssistant::path_data()
{
    QTest::addColumn<QByteArray>("topic");
    QTest::addColumn<QByteArray>("device");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const char *topic, const char *device,
                        const char *expected) {
        QTest::newRow(name) << QByteArray(topic) << QByteArray(device)
                            << QString::fromUtf8(expected);
    };
    row("device's name", "sensor/o/config", R"({"name":"Tank 1","ids":["i"]})", "/Tank 1/o");
    row("first identifier", "sensor/o/config", R"({"ids":["i","j"]})", "/i/o");
    row("identifier as text", "sensor/o/config", R"({"ids":"i"})", "/i/o");
    row("identifier in full", "sensor/o/config", R"({"identifiers":"i"})", "/i/o");
    row("name null", "sensor/o/config", R"({"name":null,"ids":"i"})", "/i/o");
    row("node", "sensor/n/o/config", R"({"name":"D"})", "/D/o");
    row("node, no device", "sensor/n/o/config", "{}", "/n/o");
    row("no device", "sensor/o/config", "{}", "/o");
    row("device of a wrong kind", "sensor/o/config", "5", "/o");
    row("separators", "sensor/o/config", R"({"name":"a/b#c"})", "/a_b_c/o");
    row("Label", "sensor/Label/config", R"({"name":"Label"})", "/Label_/Label_");
}

void tst_HomeAssistant::path()
{
    QFETCH(QByteArray, topic);
    QFETCH(QByteArray, device);
    QFETCH(QString, expected);
    take(topic, R"({"stat_t":"s","dev":)" + device + "}");
    QCOMPARE(paths(), expected);
}

void tst_HomeAssistant::label_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const char *members, const char *expected) {
        QTest::newRow(name) << QByteArray(members) << QString::fromUtf8(expected);
    };
    row("both", R"(,"name":"Level","dev":{"name":"Tank"})", "Tank Level");
    row("name null", R"(,"name":null,"dev":{"name":"Tank"})", "Tank");
    row("name missing", R"(,"dev_cla":"power","dev":{"name":"Tank"})", "Tank power");
    row("name and class missing", R"(,"dev":{"name":"Tank"})", "Tank x");
    row("no device", R"(,"name":"Level")", "Level");
    row("nothing", "", "x");
}

void tst_HomeAssistant::label()
{
    QFETCH(QByteArray, members);
    QFETCH(QString, expected);
    entity("sensor", R"("stat_t":"s")" + members);
    QCOMPARE(taken.keywords.begin()->label, expected);
}

void tst_HomeAssistant::entity_isSkipped_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("members");
    const auto row = [](const char *name, const char *kind, const char *members) {
        QTest::newRow(name) << QByteArray(kind) << QByteArray(members);
    };
    row("sensor without state", "sensor", R"("name":"x")");
    row("sensor, state of a wrong kind", "sensor", R"("stat_t":5)");
    row("sensor, state with a wildcard", "sensor", R"("stat_t":"a/#")");
    row("sensor, template with logic", "sensor", R"("stat_t":"s","val_tpl":"{{ value|round }}")");
    row("sensor, template of a wrong kind", "sensor", R"("stat_t":"s","val_tpl":5)");
    row("sensor, another encoding", "sensor", R"("stat_t":"s","e":"latin1")");
    row("sensor, no encoding", "sensor", R"("stat_t":"s","e":"")");
    row("binary_sensor without state", "binary_sensor", "");
    row("binary_sensor, off_delay", "binary_sensor", R"("stat_t":"s","off_dly":5)");
    row("binary_sensor, one payload", "binary_sensor", R"("stat_t":"s","pl_on":"OFF")");
    row("switch without command", "switch", R"("stat_t":"s")");
    row("switch, command with a wildcard", "switch", R"("cmd_t":"+")");
    row("switch, state with a wildcard", "switch", R"("cmd_t":"c","stat_t":"+")");
    row("number without command", "number", R"("stat_t":"s")");
    row("number, limits the wrong way round", "number", R"("cmd_t":"c","min":5,"max":1)");
    row("number, step too small", "number", R"("cmd_t":"c","step":0.0001)");
    row("select without command", "select", R"("ops":["a"])");
    row("select without options", "select", R"("cmd_t":"c")");
    row("select, no options", "select", R"("cmd_t":"c","ops":[])");
    row("select, option of a wrong kind", "select", R"("cmd_t":"c","ops":["a",5])");
    row("text without command", "text", "");
    row("text, limits the wrong way round", "text", R"("cmd_t":"c","min":9,"max":1)");
    row("button without command", "button", "");
}

void tst_HomeAssistant::entity_isSkipped()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, members);
    for (int i = 0; i < 2; ++i)
        entity(kind, members);
    QVERIFY(taken.keywords.isEmpty());
    QCOMPARE(convention->skipped(), 1);
    QVERIFY(!taken.messages.isEmpty());
    const QString start = QStringLiteral("homeassistant/%1/x/config is not served: ");
    QVERIFY(taken.messages.last().startsWith(start.arg(QString::fromLatin1(kind))));
    QVERIFY(taken.messages.size() <= 2);
    QCOMPARE(taken.messages.removeDuplicates(), 0);
}

void tst_HomeAssistant::kind_isSkippedAndToldOnce()
{
    take("light/a/config", R"({"cmd_t":"c"})");
    take("light/b/config", R"({"cmd_t":"c"})");
    take("climate/a/config", R"({})");
    QVERIFY(taken.keywords.isEmpty());
    QCOMPARE(convention->skipped(), 3);
    QCOMPARE(taken.messages.join(QLatin1Char('\n')),
             QStringLiteral("no entity of the kind \"light\" is served\n"
                            "no entity of the kind \"climate\" is served"));
    take("light/a/config", QByteArray());
    QCOMPARE(convention->skipped(), 2);
}

void tst_HomeAssistant::component_inherits()
{
    take("device/d/config", R"({"~":"b","dev":{"name":"D"},"o":{"name":"o"},
        "stat_t":"~/s","cmd_t":"~/c","avty":[{"t":"~/a"}],"avty_mode":"any","e":"utf-8","pl_avail":"up",
        "cmps":{"x":{"p":"number","uniq_id":"1"}}})");
    QCOMPARE(reading(keyword("/D/x")),
             QStringLiteral("/D/x double RW from:b/s 1..100 step:1 unknown:None"));
    QCOMPARE(writing(keyword("/D/x")), QStringLiteral("b/c"));
    QCOMPARE(conventiontext::availability(keyword("/D/x").availability),
             QStringLiteral("any b/a=online|offline")); // an entry has its own payloads
}

void tst_HomeAssistant::component_hasItsOwn()
{
    take("device/d/config", R"({"~":"b","dev":{"name":"D"},"o":{"name":"o"},
        "stat_t":"~/s","cmd_t":"~/c","avty":[{"t":"~/a"}],"avty_mode":"any","e":"utf-8",
        "cmps":{"x":{"p":"number","uniq_id":"1","~":"own","stat_t":"~/s","cmd_t":"~/c","avty_t":"~/a","avty_mode":"all"},
                "y":{"p":"sensor","uniq_id":"2","e":"latin1"}}})");
    QCOMPARE(reading(keyword("/D/x")),
             QStringLiteral("/D/x double RW from:own/s 1..100 step:1 unknown:None"));
    QCOMPARE(writing(keyword("/D/x")), QStringLiteral("own/c"));
    QCOMPARE(conventiontext::availability(keyword("/D/x").availability),
             QStringLiteral("all own/a=online|offline"));
    QCOMPARE(convention->skipped(), 1);
}

void tst_HomeAssistant::device_isSkipped_data()
{
    QTest::addColumn<QByteArray>("payload");
    const auto row = [](const char *name, const char *payload) {
        QTest::newRow(name) << QByteArray(payload);
    };
    row("no device", R"({"o":{"name":"o"},"cmps":{}})");
    row("empty device", R"({"dev":{},"o":{"name":"o"},"cmps":{}})");
    row("no origin", R"({"dev":{"ids":"d"},"cmps":{}})");
    row("origin of a wrong kind", R"({"dev":{"ids":"d"},"o":"o","cmps":{}})");
    row("no components", R"({"dev":{"ids":"d"},"o":{"name":"o"}})");
    row("components of a wrong kind", R"({"dev":{"ids":"d"},"o":{"name":"o"},"cmps":[]})");
}

void tst_HomeAssistant::device_isSkipped()
{
    QFETCH(QByteArray, payload);
    take("device/tank1/config", tank);
    take("device/tank1/config", payload);
    QVERIFY(taken.keywords.isEmpty());
    QVERIFY(taken.filters.isEmpty());
    QCOMPARE(convention->skipped(), 1);
    QCOMPARE(taken.messages.size(), 1);
}

void tst_HomeAssistant::component_isSkippedAlone_data()
{
    QTest::addColumn<QByteArray>("component");
    const auto row = [](const char *name, const char *component) {
        QTest::newRow(name) << QByteArray(component);
    };
    row("no unique_id", R"({"p":"sensor","stat_t":"s"})");
    row("no platform", R"({"uniq_id":"2","stat_t":"s"})");
    row("unknown platform", R"({"p":"vacuum","uniq_id":"2"})");
    row("not an object", "5");
    row("empty", "{}");
    row("no topic", R"({"p":"sensor","uniq_id":"2"})");
}

void tst_HomeAssistant::component_isSkippedAlone()
{
    QFETCH(QByteArray, component);
    take("device/d/config",
         R"({"dev":{"name":"D"},"o":{"name":"o"},"cmps":{
             "good":{"p":"sensor","uniq_id":"1","stat_t":"g"},"bad":)"
             + component + "}}");
    QCOMPARE(paths(), QStringLiteral("/D/good"));
    QCOMPARE(convention->skipped(), 1);
    QCOMPARE(taken.messages.size(), 1);
}

void tst_HomeAssistant::emptyPayload_removes()
{
    take("sensor/tank1/level/config", level);
    take("device/tank1/config", QByteArray(tank).replace("\"level\"", "\"height\""));
    QCOMPARE(taken.keywords.size(), 3);
    take("sensor/tank1/level/config", QByteArray());
    QCOMPARE(paths(), QStringLiteral("/Tank 1/height /Tank 1/pump"));
    take("device/tank1/config",
         QByteArray(tank).replace(R"({ "p": "switch", "uniq_id": "tank1_pump")",
                                  R"({ "p": "switch" }, "y": { "p": "switch")"));
    QVERIFY(!taken.keywords.contains(QStringLiteral("/Tank 1/pump"))); // it had only a platform
    take("device/tank1/config", QByteArray());
    QVERIFY(taken.keywords.isEmpty());
    QVERIFY(taken.filters.isEmpty());
    QCOMPARE(convention->skipped(), 0);
}

void tst_HomeAssistant::newPayload_replaces()
{
    take("sensor/tank1/level/config", level);
    take("sensor/tank1/level/config", level);
    QVERIFY(taken.last.declared.isEmpty() && taken.last.removed.isEmpty());
    take("sensor/tank1/level/config", QByteArray(level).replace("\"%\"", "\"m\""));
    QCOMPARE(taken.last.declared.size(), 1);
    QVERIFY(taken.last.removed.isEmpty() && taken.last.subscribe.isEmpty());
    QCOMPARE(keyword("/Tank 1/level").unit, QStringLiteral("m"));
    take("sensor/tank1/level/config", QByteArray(level).replace("Tank 1", "Tank 2"));
    QCOMPARE(taken.last.removed.join(QLatin1Char(' ')), QStringLiteral("/Tank 1/level"));
    QCOMPARE(paths(), QStringLiteral("/Tank 2/level"));
}

void tst_HomeAssistant::migration_keepsTheEntity()
{
    take("sensor/tank1/level/config", level);
    take("sensor/tank1/level/config", R"({"migrate_discovery": true})");
    QCOMPARE(paths(), QStringLiteral("/Tank 1/level"));
    take("device/tank1/config", tank);
    QCOMPARE(keyword("/Tank 1/level").origin, QStringLiteral("homeassistant/device/tank1/config"));
    take("sensor/tank1/level/config", QByteArray());
    QCOMPARE(paths(), QStringLiteral("/Tank 1/level /Tank 1/pump"));
    QCOMPARE(convention->skipped(), 0);
}

void tst_HomeAssistant::samePath_isOfTheSmallerTopic()
{
    const auto check = [this](const QList<QByteArray> &order) {
        init();
        for (const QByteArray &kind : order)
            take(kind + "/x/config", R"({"stat_t":")" + kind + R"("})");
        QCOMPARE(keyword("/x").topic, QStringLiteral("binary_sensor"));
        QCOMPARE(convention->skipped(), 1);
        QCOMPARE(taken.messages.join(QLatin1Char(' ')),
                 QStringLiteral("/x is described by homeassistant/binary_sensor/x/config and by "
                                "homeassistant/sensor/x/config; the first is served"));
    };
    check({"sensor", "binary_sensor"});
    QCOMPARE(taken.last.removed.size(), 1); // the value belonged to another entity
    check({"binary_sensor", "sensor"});
    QVERIFY(taken.last.removed.isEmpty() && taken.last.declared.isEmpty());
    take("binary_sensor/x/config", QByteArray());
    QCOMPARE(keyword("/x").topic, QStringLiteral("sensor"));
    QCOMPARE(taken.last.removed.size(), 1);
    QCOMPARE(convention->skipped(), 0);
}

void tst_HomeAssistant::retainedCommands_areToldOnce()
{
    for (int i = 0; i < 2; ++i)
        entity("switch", R"("cmd_t":"c","stat_t":"s","ret":true)");
    QCOMPARE(
        taken.messages.join(QLatin1Char(' ')),
        QStringLiteral(
            "homeassistant/switch/x/config requires retained commands, which are not supported"));
}

void tst_HomeAssistant::prefix_isConfigurable()
{
    ConventionOptions options;
    options.base = QStringLiteral("ha/disco");
    convention = Convention::create(QStringLiteral("homeassistant"), options);
    taken.take(convention->take(QStringLiteral("ha/disco/sensor/x/config"), R"({"stat_t":"s"})"));
    QCOMPARE(paths(), QStringLiteral("/x"));
}

void tst_HomeAssistant::foreignTopics_areIgnored_data()
{
    QTest::addColumn<QString>("topic");
    for (const char *const topic :
         {"", "homeassistant", "homeassistant/status", "homeassistant/sensor/config",
          "homeassistant/sensor/x/state", "homeassistant/sensor/a/b/c/config",
          "other/sensor/x/config", "homeassistantsensor/x/config"})
        QTest::newRow(topic) << QString::fromLatin1(topic);
}

void tst_HomeAssistant::foreignTopics_areIgnored()
{
    QFETCH(QString, topic);
    taken.take(convention->take(topic, level));
    QVERIFY(taken.keywords.isEmpty());
    QCOMPARE(convention->skipped(), 0);
}

void tst_HomeAssistant::hostile_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::newRow("cut off") << level.left(level.size() / 2);
    QTest::newRow("an array") << QByteArray("[]");
    QTest::newRow("a text") << QByteArray("\"x\"");
    QTest::newRow("null") << QByteArray("null");
    QTest::newRow("zeros") << QByteArray(1000, '\0');
    QTest::newRow("1 MiB of brackets") << QByteArray(1 << 20, '{');
    QTest::newRow("1 MiB of a device's name")
        << QByteArray(R"({"stat_t":"s","dev":{"name":")" + QByteArray(1 << 20, 'x') + R"("}})");
    QTest::newRow("1 MiB of a topic")
        << QByteArray(R"({"stat_t":")" + QByteArray(1 << 20, 'x') + R"("})");
    QTest::newRow("1 MiB of a base")
        << QByteArray(R"({"stat_t":"~","~":")" + QByteArray(1 << 20, 'x') + R"("})");
    QTest::newRow("1 MiB of a template") << QByteArray(
        R"({"stat_t":"s","val_tpl":")" + QByteArray("{{").repeated(1 << 19) + R"("})");
    QTest::newRow("too deep") << QByteArray(QByteArray(R"({"a":)").repeated(5000) + '1'
                                            + QByteArray(5000, '}'));
    QTest::newRow("all of a wrong kind") << QByteArray(
        R"({"~":5,"stat_t":[],"cmd_t":{},"avty":5,"avty_mode":[],"val_tpl":5,"dev":"x","exp_aft":"x",
            "pl_on":[],"ops":{},"min":[],"max":{},"step":"","e":7,"ret":"x","opt":"x","name":7})");
}

void tst_HomeAssistant::hostile()
{
    QFETCH(QByteArray, payload);
    int count = 0;
    for (const char *const kind :
         {"sensor", "binary_sensor", "switch", "number", "select", "text", "button", "device"}) {
        take(QByteArray(QByteArray(kind) + "/x/config").constData(), payload);
        ++count;
        QVERIFY(taken.keywords.isEmpty());
        QCOMPARE(convention->skipped(), count);
    }
    for (const QString &message : std::as_const(taken.messages))
        QVERIFY(message.size() < 500);
}

void tst_HomeAssistant::thousands_areToldOnceEach()
{
    QByteArrayList components;
    for (int i = 0; i < 10000; ++i) {
        const QByteArray number = QByteArray::number(i);
        components.append('"' + number + R"(":{"p":"sensor","uniq_id":"u","stat_t":"s/)" + number
                          + R"("})");
    }
    const QByteArray device =
        R"({"dev":{"name":"D"},"o":{},"avty_t":"a","cmps":{)" + components.join(',') + "}}";
    take("device/d/config", device);
    QCOMPARE(taken.last.declared.size(), 10000);
    QCOMPARE(taken.filters.size(), 10001);
    take("device/d/config", QByteArray(device).replace("\"s/77\"", "\"s/x\""));
    QCOMPARE(taken.last.declared.size(), 1);
    QCOMPARE(taken.last.unsubscribe.size(), 1);
    take("device/d/config", QByteArray());
    QCOMPARE(taken.last.removed.size(), 10000);
    QVERIFY(taken.filters.isEmpty());
    for (int i = 0; i < 3000; ++i) // the number of messages is limited, the count is not
        take(("sensor/s" + QByteArray::number(i) + "/config").constData(), "{}");
    QCOMPARE(convention->skipped(), 3000);
    QCOMPARE(taken.messages.size(), 1000);
}

void tst_HomeAssistant::clear_forgets()
{
    take("sensor/tank1/level/config", level);
    take("light/x/config", "{}");
    convention->clear();
    QCOMPARE(convention->skipped(), 0);
    taken = {};
    take("sensor/tank1/level/config", level);
    QCOMPARE(taken.last.declared.size(), 1);
    QCOMPARE(taken.filters.size(), 3);
}

QTEST_GUILESS_MAIN(tst_HomeAssistant)
#include "tst_homeassistant.moc"
