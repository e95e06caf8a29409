// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/configurationobject.h"
#include "gateway/mqtt/mqttsourcetype.h"
#include "gateway/mqtt/topicmapping.h"
#include "gateway/mqtt/topicpattern.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QMap>
#include <QtTest/QTest>

using namespace pellix::gateway;
using namespace std::chrono_literals;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

MappingOptions optionsOf(const QByteArray &members)
{
    const QJsonObject object =
        QJsonDocument::fromJson("{\"mqtt\":{\"url\":\"mqtt://x\"}," + members + '}').object();
    ConfigurationProblems problems;
    ConfigurationObject source(object, q("/sources/0"), &problems);
    const auto settings = MqttSourceType().read(source);
    for (const ConfigurationProblem &problem : std::as_const(problems))
        qWarning("%s: %s", qPrintable(problem.pointer), qPrintable(problem.text));
    return settings ? std::static_pointer_cast<const MqttSourceSettings>(settings)->mapping
                    : MappingOptions();
}

// The keywords that result from reports, like those in the server of a source.
class Keywords
{
public:
    void take(ReportList reports)
    {
        while (!reports.isEmpty()) {
            const SourceReport report = reports.takeSlice(3);
            for (const QString &path : report.removed)
                QVERIFY2(known.remove(path) == 1, qPrintable(path));
            for (const SourceKeyword &keyword : report.declared)
                known[keyword.path].keyword = keyword;
            for (const SourceValue &value : report.values) {
                QVERIFY2(known.contains(value.path), qPrintable(value.path));
                Known &one = known[value.path];
                if (value.value) {
                    one.hasValue = true;
                    one.value = *value.value;
                    one.time = value.time;
                }
                one.flags = value;
            }
        }
    }
    // The keywords sorted by path, such as "/a:int=1 /b:string[RW]="x"!"
    QString text() const
    {
        QStringList words;
        for (auto it = known.begin(); it != known.end(); ++it) {
            QString word = it.key() + QLatin1Char(':') + it->keyword.type;
            if (it->keyword.access != q("R"))
                word += QLatin1Char('[') + it->keyword.access + QLatin1Char(']');
            if (it->hasValue) {
                const QByteArray json =
                    QJsonDocument(QJsonArray {QJsonValue::fromVariant(it->value)})
                        .toJson(QJsonDocument::Compact);
                word += QLatin1Char('=') + QString::fromUtf8(json.mid(1, json.size() - 2));
            }
            if (it->flags.error)
                word += q("!");
            if (!it->flags.online)
                word += q("(away)");
            if (!it->flags.consistent)
                word += q("~");
            words.append(word);
        }
        return words.join(QLatin1Char(' '));
    }

    struct Known
    {
        SourceKeyword keyword;
        SourceValue flags;
        QVariant value;
        bool hasValue = false;
        qint64 time = 0;
    };
    QMap<QString, Known> known;
};

struct Mapped
{
    explicit Mapped(const QByteArray &members) : Mapped(optionsOf(members)) { }
    explicit Mapped(const MappingOptions &options) : mapping(options)
    {
        keywords.take(mapping.takeReports());
    }
    bool take(const QByteArray &topic, const QByteArray &payload, bool isRetained = false,
              bool isFlagExact = true, qint64 expiry = -1, qint64 now = 0)
    {
        const bool isFirst = mapping.take({topic, payload, isRetained, isFlagExact, expiry}, now);
        keywords.take(mapping.takeReports());
        return isFirst;
    }
    std::optional<TopicCommand> command(const char *path, const QVariant &value,
                                        const QVariant &change = {})
    {
        SourceWrite write;
        write.path = q(path);
        write.value = value;
        write.change = change;
        return mapping.command(write, &reason);
    }

    TopicMapping mapping;
    Keywords keywords;
    QString reason;
};

} // namespace

class tst_TopicMapping : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pattern_matches_data();
    void pattern_matches();
    void pattern_mayBeNone_data();
    void pattern_mayBeNone();
    void messages_becomeKeywords_data();
    void missedCopy_isAsOldAsItMayBe();
    void messages_becomeKeywords();
    void meta_returnsWhenItsTopicIsDeleted();
    void meta_followsTheDescription();
    void emptyMessage_deletes_data();
    void emptyMessage_deletes();
    void braces_areDoubled();
    void filters_areSubscribedTo_data();
    void filters_areSubscribedTo();
    void keyword_isDescribed_data();
    void keyword_isDescribed();
    void write_isACommand_data();
    void write_isACommand();
    void write_mayBeImpossible();
    void availability_isHeeded_data();
    void availability_isHeeded();
    void samePath_belongsToTheFirst_data();
    void samePath_belongsToTheFirst();
    void samePath_isSaidOnce();
    void changedLevel_isSaidOnce_data();
    void changedLevel_isSaidOnce();
    void value_expires();
    void time_isThePayloads();
    void firstRetained_isToldOncePerConnection();
    void otherMapping_isTakenOver();
    void members_areReadTheSameBothWays_data();
    void members_areReadTheSameBothWays();
    void states_countFromBefore_data();
    void states_countFromBefore();
    void otherMapping_handsOverDescriptions_data();
    void otherMapping_handsOverDescriptions();
    void otherMapping_handsOverWhatWasKnown_data();
    void otherMapping_handsOverWhatWasKnown();
    void otherMapping_keepsNoValueOfAnotherMeaning_data();
    void otherMapping_keepsNoValueOfAnotherMeaning();
    void convention_declaresKeywords();
    void unreadable_isCounted();
    void members_areBounded();
    void topics_areBounded();
    void topics_deletedMakeRoom_data();
    void topics_deletedMakeRoom();
    void topics_notServedAnyMoreMakeRoom();
    void topics_deletedAreRememberedWhileCopiesMayBeOlder();
    void served_isWhatNobodyDeclared();
    void reports_areInOrder();
    void reports_areCompacted();
};

void tst_TopicMapping::pattern_matches_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("topic");
    QTest::addColumn<bool>("matches");
    QTest::addColumn<QString>("captures"); // such as 1=a,name=b
    const auto row = [](const char *pattern, const char *topic, bool matches,
                        const char *captures = "") {
        QTest::addRow("%s: %s", pattern, topic) << q(pattern) << q(topic) << matches << q(captures);
    };
    row("a/b", "a/b", true);
    row("a/b", "a/c", false);
    row("a/b", "a", false);
    row("a/b", "a/b/c", false);
    row("a/+", "a/b", true, "1=b");
    row("a/+", "a", false);
    row("a/+", "a/", true, "1=");
    row("a/+/c", "a/b/c", true, "1=b");
    row("+/+", "a/b", true, "1=a,2=b");
    row("a/{name}/c", "a/b/c", true, "1=b,name=b");
    row("{x}/{2}", "a/b", true, "1=a,2=b,x=a");
    row("a/{{x}", "a/{x}", true);
    row("a/{{x}", "a/b", false);
    row("a/b{{x}}", "a/b{x}}", true);
    row("{{{{/{1}", "{{/b", true, "1=b");
    row("a}/b", "a}/b", true);
    row("a/#", "a/b/c", true);
    row("a/#", "a", true);
    row("a/#", "b", false);
    row("#", "a/b", true);
    row("#", "/", true);
    row("#", "$SYS/broker", false);
    row("+/broker", "$SYS/broker", false);
    row("{x}/broker", "$SYS/broker", false);
    row("$SYS/#", "$SYS/broker", true);
    row("/a", "/a", true);
    row("+/a", "/a", true, "1=");
}

void tst_TopicMapping::pattern_matches()
{
    QFETCH(const QString, pattern);
    QFETCH(const QString, topic);
    QFETCH(const bool, matches);
    QFETCH(const QString, captures);
    TopicCaptures captured;
    const auto parsed = TopicPattern::fromText(pattern);
    QVERIFY(parsed);
    QCOMPARE(parsed->matches(topic.split(QLatin1Char('/')), &captured), matches);
    if (!matches)
        return;
    QStringList words;
    for (auto it = captured.begin(); it != captured.end(); ++it)
        words.append(it.key() + QLatin1Char('=') + it.value());
    words.sort();
    QCOMPARE(words.join(QLatin1Char(',')), captures);
}

void tst_TopicMapping::pattern_mayBeNone_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *pattern, const char *reason) {
        QTest::newRow(pattern) << q(pattern) << q(reason);
    };
    row("", "a topic must not be empty");
    row("a/#/b", "\"#\" is the last level");
    row("a#", "a wildcard stands for a whole level");
    row("a/b+", "a wildcard stands for a whole level");
    row("a/b{x}", "a wildcard stands for a whole level");
    row("a/{{{x}", "a wildcard stands for a whole level");
    row("a/{{b{x}", "a wildcard stands for a whole level");
    row("{x}/{x}", "{x} occurs twice");
}

void tst_TopicMapping::pattern_mayBeNone()
{
    QFETCH(const QString, pattern);
    QFETCH(const QString, reason);
    QString said;
    QVERIFY(!TopicPattern::fromText(pattern, &said));
    QCOMPARE(said, reason);
}

void tst_TopicMapping::messages_becomeKeywords_data()
{
    QTest::addColumn<QByteArray>("members"); // members of the source
    QTest::addColumn<QByteArrayList>("messages"); // topic=payload
    QTest::addColumn<QString>("keywords");
    const auto row = [](const char *name, const char *members, const QByteArrayList &messages,
                        const char *keywords) {
        QTest::newRow(name) << QByteArray(members) << messages << q(keywords);
    };
    const char *const all = "\"topics\":\"#\"";
    row("as it is", all, {"a/b=21"}, "/a/b:double=21");
    row("below what the filter fixes", "\"topics\":\"factory/#\"", {"factory/line1/temp=1"},
        "/line1/temp:double=1");
    row("fixed levels before a wildcard", "\"topics\":\"factory/+/temp\"", {"factory/l/temp=1"},
        "/l/temp:double=1");
    row("what all filters fix", "\"topics\":[\"f/a/#\",\"f/b/#\"]", {"f/a/x=1", "f/b/x=2"},
        "/a/x:double=1 /b/x:double=2");
    row("filters with nothing in common", "\"topics\":[\"a/#\",\"b/#\"]", {"a/x=1", "b/x=2"},
        "/a/x:double=1 /b/x:double=2");
    row("a filter without wildcards", "\"topics\":\"f/line/temp\"", {"f/line/temp=1"},
        "/temp:double=1");
    row("the filter's own level", "\"topics\":\"f/#\"", {"f=1"}, "/f:double=1");
    row("empty level", all, {"a//b=1", "/c=2"}, "/_/c:double=2 /a/_/b:double=1");
    row("trailing empty level", all, {"a/=1"}, "/a/_:double=1");
    row("Label", all, {"a/Label=1", "a/Labels=2"}, "/a/Label_:double=1 /a/Labels:double=2");
    row("$ topics are not served", all, {"$SYS/uptime=1"}, "");
    row("$ topics by name", "\"topics\":\"$SYS/#\"", {"$SYS/uptime=4 seconds"},
        "/uptime:string=\"4 seconds\"");
    row("not served", "\"topics\":\"a/#\"", {"b=1"}, "");

    row("bool", all, {"a=true"}, "/a:bool=true");
    row("number", all, {"a=21", "a=21.5"}, "/a:double=21.5");
    row("text", all, {"a=ON"}, "/a:string=\"ON\"");
    row("text in quotes", all, {"a=\"23.7\""}, "/a:string=\"23.7\"");
    row("null", all, {"a=1", "a=null"}, "/a:double=null");
    row("null first", all, {"a=null"}, "");
    row("null first, then a number", all, {"a=null", "a=1"}, "/a:double=1");
    row("not UTF-8", all, {"a=\xff"}, "");
    row("not UTF-8 later", all, {"a=1", "a=\xff"}, "/a:double=1!");
    row("beyond double", all, {"a=1e999"}, "");
    row("misfit keeps the value", all, {"a=1", "a=hot"}, "/a:double=1!");
    row("a good one takes the error back", all, {"a=1", "a=hot", "a=2"}, "/a:double=2");
    row("misfit of a bool", all, {"a=true", "a=ON"}, "/a:bool=true!");
    row("array", all, {"a=[1,2]"}, "/a:object=[1,2]");
    row("live empty text", all, {"a=x", "a="}, "/a:string=\"\"");
    row("live empty message of a number", all, {"a=1", "a="}, "/a:double=1!");

    row("object", all, {"room={\"temp\":21,\"rh\":40}"}, "/room/rh:double=40 /room/temp:double=21");
    row("object in object", all, {"a={\"b\":{\"c\":true}}"}, "/a/b/c:bool=true");
    row("four levels", all, {"a={\"1\":{\"2\":{\"3\":{\"4\":{\"5\":1}}}}}"},
        "/a/1/2/3/4:object={\"5\":1}");
    row("array in object", all, {"a={\"b\":[1]}"}, "/a/b:object=[1]");
    row("null in object", all, {"a={\"b\":null,\"c\":1}"}, "/a/c:double=1");
    row("member names", all, {"a={\"\":1,\"b/c\":2,\"d#\":3,\"Label\":4}"},
        "/a/Label_:double=4 /a/_:double=1 /a/b_c:double=2 /a/d_:double=3");
    row("a member less", all, {"a={\"b\":1,\"c\":2}", "a={\"b\":3}"},
        "/a/b:double=3 /a/c:double=2");
    row("a member more", all, {"a={\"b\":1}", "a={\"b\":3,\"c\":2}"},
        "/a/b:double=3 /a/c:double=2");
    row("misfit of a member", all, {"a={\"b\":1,\"c\":2}", "a={\"b\":\"x\",\"c\":3}"},
        "/a/b:double=1! /a/c:double=3");
    row("an object no longer", all, {"a={\"b\":1}", "a=off"}, "/a/b:double=1!");
    row("an object again", all, {"a={\"b\":1}", "a=off", "a={\"b\":2}"}, "/a/b:double=2");
    row("an inner object no longer", all, {"a={\"b\":{\"c\":1},\"d\":1}", "a={\"b\":1,\"d\":2}"},
        "/a/b/c:double=1! /a/d:double=2");
    row("an object of late", all, {"a=1", "a={\"b\":1}"}, "/a:double=1!");
    row("too deep", all, {"a=" + QByteArray(500, '[') + QByteArray(500, ']')}, "");

    row("declared", "\"topics\":\"f/#\",\"keywords\":[{\"topic\":\"f/a\",\"type\":\"int\"}]",
        {"f/a=21"}, "/a:int=21");
    row("declared up front", "\"keywords\":[{\"topic\":\"f/a\",\"type\":\"int\"}]", {}, "/f/a:int");
    row("up front by its map", "\"keywords\":[{\"topic\":\"a\",\"map\":{\"ON\":true}}]", {},
        "/a:bool");
    row("not up front without a type", "\"keywords\":[{\"topic\":\"a\"}]", {}, "");
    row("not up front with wildcards", "\"keywords\":[{\"topic\":\"+/a\",\"type\":\"int\"}]", {},
        "");
    row("wildcard", "\"keywords\":[{\"topic\":\"+/a\",\"type\":\"int\"}]", {"x/a=1", "y/a=2"},
        "/x/a:int=1 /y/a:int=2");
    row("wildcard at the end", "\"keywords\":[{\"topic\":\"x/#\",\"type\":\"int\"}]",
        {"x/a/b=1", "y/a=2"}, "/x/a/b:int=1");
    row("only what is declared", "\"keywords\":[{\"topic\":\"a\",\"type\":\"int\"}]", {"b=1"},
        "/a:int");
    row("first declaration",
        "\"keywords\":[{\"topic\":\"a/b\",\"type\":\"int\"},"
        "{\"topic\":\"a/+\",\"type\":\"string\"}]",
        {"a/b=1", "a/c=2"}, "/a/b:int=1 /a/c:string=\"2\"");
    row("path",
        "\"keywords\":[{\"topic\":\"f/{n}/level\",\"path\":\"/tanks/{n}\",\"type\":\"int\"}]",
        {"f/a/level=1"}, "/tanks/a:int=1");
    row("path with an empty level", "\"keywords\":[{\"topic\":\"f/+\",\"path\":\"/t/{1}\"}]",
        {"f/=1"}, "/t/_:double=1");
    row("member",
        "\"topics\":\"factory/#\",\"keywords\":[{\"topic\":\"factory/{1}/level\","
        "\"value\":\"/value\",\"type\":\"double\"}]",
        {"factory/tank1/level={\"value\":12.5,\"x\":1}"}, "/tank1/level:double=12.5");
    row("two members",
        "\"keywords\":[{\"topic\":\"r\",\"value\":\"/temp\",\"type\":\"int\"},"
        "{\"topic\":\"r\",\"value\":\"/in/rh\"}]",
        {"r={\"temp\":1,\"in\":{\"rh\":2}}"}, "/r/in/rh:double=2 /r/temp:int=1");
    row("member that is not there", "\"keywords\":[{\"topic\":\"r\",\"value\":\"/t\"}]",
        {"r={\"t\":1}", "r={\"x\":2}"}, "/r:double=1");
    row("no JSON for a member", "\"keywords\":[{\"topic\":\"r\",\"value\":\"/t\"}]",
        {"r={\"t\":1}", "r=1"}, "/r:double=1!");
    row("object declared", "\"keywords\":[{\"topic\":\"r\",\"type\":\"object\"}]", {"r={\"t\":1}"},
        "/r:object={\"t\":1}");
    row("named elements", "\"keywords\":[{\"topic\":\"r\",\"key\":\"id\",\"value\":\"v\"}]",
        {"r=[{\"id\":\"a\",\"v\":1},{\"id\":2,\"v\":\"x\"},{\"v\":3}]"},
        "/r/2:string=\"x\" /r/a:double=1");
    row("named elements inside",
        "\"keywords\":[{\"topic\":\"r\",\"array\":\"/d\",\"key\":\"id\",\"value\":\"v\","
        "\"type\":\"int\"}]",
        {"r={\"d\":[{\"id\":\"a\",\"v\":1}]}"}, "/r/a:int=1");
    row("named elements no longer",
        "\"keywords\":[{\"topic\":\"r\",\"key\":\"id\",\"value\":\"v\"}]",
        {"r=[{\"id\":\"a\",\"v\":1}]", "r=1"}, "/r/a:double=1!");
    row("map",
        "\"keywords\":[{\"topic\":\"a\",\"type\":\"bool\",\"map\":{\"ON\":true,\"OFF\":false}}]",
        {"a=ON"}, "/a:bool=true");
    row("true and false",
        "\"keywords\":[{\"topic\":\"a\",\"type\":\"bool\",\"true\":[\"ON\",1],\"false\":\"OFF\"}]",
        {"a=1"}, "/a:bool=true");
    row("scale", "\"keywords\":[{\"topic\":\"a\",\"scale\":[0,27648,0,100]}]", {"a=13824"},
        "/a:double=50");
    row("unknown payload",
        "\"keywords\":[{\"topic\":\"a\",\"type\":\"double\","
        "\"unknownPayloads\":[\"None\"]}]",
        {"a=1", "a=None"}, "/a:double=null");
    row("error topic", "\"keywords\":[{\"topic\":\"a\",\"type\":\"int\",\"error\":\"+/error\"}]",
        {"a=1", "a/error=overload"}, "/a:int=1!");
    row("error topic, taken back",
        "\"keywords\":[{\"topic\":\"f/{n}\",\"type\":\"int\",\"error\":\"e/{n}\"}]",
        {"f/a=1", "e/a=overload", "e/b=overload", "e/a="}, "/f/a:int=1");
    row("command",
        "\"keywords\":[{\"path\":\"/reset\",\"type\":\"bool\",\"write\":{\"topic\":\"r\"}}]", {},
        "/reset:bool[W]");
    row("units and limits",
        "\"meta\":true,\"keywords\":[{\"topic\":\"a\",\"type\":\"int\",\"unit\":\"m\","
        "\"range\":[0,null]}]",
        {"a=1"}, "/a:int=1 /a/Min:double[RM]=0 /a/Unit:string[RM]=\"m\"");
    const QByteArray timed = R"("meta":true,"keywords":[{"topic":"a","value":"/v","time":"/at"}])";
    row("time of a value", timed, {R"(a={"v":1,"at":1795331735.25})"},
        R"(/a:double=1 /a/Time:string[RM]="2026-11-22T07:15:35.250Z")");
    row("newer time", timed, {R"(a={"v":1,"at":1795331735})", R"(a={"v":1,"at":1795331736})"},
        R"(/a:double=1 /a/Time:string[RM]="2026-11-22T07:15:36.000Z")");
    row("value without a time", timed, {R"(a={"v":1,"at":1795331735})", R"(a={"v":2})"},
        "/a:double=2 /a/Time:string[RM]=null");
    const QByteArray status =
        R"("meta":true,"keywords":[{"topic":"a","type":"int","available":{"topic":"is"}}])";
    row("unknown status", status, {"a=1"}, "/a:int=1(away) /a/Status:string[RM]");
    row("status", status, {"a=1", "is=online"}, R"(/a:int=1 /a/Status:string[RM]="online")");
    row("status that is not a known word", status, {"a=1", "is=online", "is=asleep"},
        R"(/a:int=1 /a/Status:string[RM]="asleep")");
    row("deleted status", status, {"a=1", "is=online", "is="},
        "/a:int=1(away) /a/Status:string[RM]=null");
    const QByteArray covered =
        R"("meta":true,"keywords":[{"topic":"a","type":"int","unit":"m"}],"topics":"#")";
    row("topic with the name of a unit", covered, {"a=1", "a/Unit=7"}, "/a:int=1 /a/Unit:double=7");
    row("keyword below such a topic", covered, {"a/Unit=7", "a=1"}, "/a:int=1 /a/Unit:double=7");
}

void tst_TopicMapping::meta_returnsWhenItsTopicIsDeleted()
{
    Mapped mapped(R"("meta":true,"keywords":[{"topic":"a","type":"int","unit":"m"}],"topics":"#")");
    mapped.take("a", "1");
    mapped.take("a/Unit", "7");
    QCOMPARE(mapped.keywords.text(), q("/a:int=1 /a/Unit:double=7"));
    mapped.take("a/Unit", "", true);
    QCOMPARE(mapped.keywords.text(), q("/a:int=1 /a/Unit:string[RM]=\"m\""));
}

void tst_TopicMapping::meta_followsTheDescription()
{
    Mapped mapped(R"("meta":true,"conventions":"homie")");
    const auto describe = [&](const QByteArray &members) {
        mapped.take("homie/5/dev/$description",
                    R"({"homie":"5.0","version":1,"nodes":{"n":{"properties":{"t":{)"
                    R"("datatype":"float")"
                        + members + "}}}}}");
    };
    mapped.take("homie/5/dev/$state", "init");
    describe(R"(,"unit":"m","format":"0:9")");
    mapped.take("homie/5/dev/n/t", "1");
    QCOMPARE(mapped.keywords.text(),
             q("/dev/n/t:double=1(away) /dev/n/t/Max:double[RM]=9 /dev/n/t/Min:double[RM]=0 "
               "/dev/n/t/Status:string[RM]=\"init\" /dev/n/t/Unit:string[RM]=\"m\""));
    mapped.take("homie/5/dev/$state", "sleeping");
    describe("");
    QCOMPARE(mapped.keywords.text(),
             q("/dev/n/t:double=1(away) /dev/n/t/Status:string[RM]=\"sleeping\""));
}

void tst_TopicMapping::messages_becomeKeywords()
{
    QFETCH(const QByteArray, members);
    QFETCH(const QByteArrayList, messages);
    QFETCH(const QString, keywords);
    Mapped mapped(members);
    for (const QByteArray &message : messages) {
        const qsizetype equals = message.indexOf('=');
        mapped.take(message.first(equals), message.sliced(equals + 1));
    }
    QCOMPARE(mapped.keywords.text(), keywords);
}

void tst_TopicMapping::emptyMessage_deletes_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QByteArray>("payload"); // the payload before the deletion
    QTest::addColumn<bool>("isRetained");
    QTest::addColumn<bool>("isFlagExact");
    QTest::addColumn<QString>("keywords");
    const QByteArray all = "\"topics\":\"#\"";
    QTest::newRow("number") << all << QByteArray("1") << true << true << "";
    QTest::newRow("text") << all << QByteArray("x") << true << true << "";
    QTest::newRow("object") << all << QByteArray("{\"b\":1,\"c\":{\"d\":2}}") << true << true << "";
    QTest::newRow("not retained") << all << QByteArray("x") << false << true << "/a:string=\"\"";
    QTest::newRow("3.1.1, number") << all << QByteArray("1") << false << false << "";
    QTest::newRow("3.1.1, text") << all << QByteArray("x") << false << false << "/a:string=\"\"";
    QTest::newRow("declared by name")
        << QByteArray("\"keywords\":[{\"topic\":\"a\",\"type\":\"int\"}]") << QByteArray("1")
        << true << true << "/a:int=1(away)";
    QTest::newRow("declared with wildcards")
        << QByteArray("\"keywords\":[{\"topic\":\"+\",\"type\":\"int\"}]") << QByteArray("1")
        << true << true << "";
}

void tst_TopicMapping::emptyMessage_deletes()
{
    QFETCH(const QByteArray, members);
    QFETCH(const QByteArray, payload);
    QFETCH(const bool, isRetained);
    QFETCH(const bool, isFlagExact);
    QFETCH(const QString, keywords);
    Mapped mapped(members);
    mapped.take("a", payload, true, isFlagExact);
    const QString before = mapped.keywords.text();
    QVERIFY(!before.isEmpty());
    mapped.take("a", "", isRetained, isFlagExact);
    QCOMPARE(mapped.keywords.text(), keywords);
    // It may exist again later, even with another type
    mapped.take("a", payload, true, isFlagExact);
    QCOMPARE(mapped.keywords.text(), before);
}

void tst_TopicMapping::braces_areDoubled()
{
    for (const char *text : {"", "a", "{", "{{", "a/{x}/b{", "}{1}", "{{{x}}}"}) {
        QCOMPARE(filledIn(withoutNames(q(text)), {{q("x"), q("1")}, {q("1"), q("2")}}), q(text));
        QCOMPARE(namesIn(withoutNames(q(text))), QStringList());
        if (*text != 0)
            QCOMPARE(TopicPattern::fromText(withoutNames(q(text)))->filter(), q(text));
    }
    Mapped mapped(R"("keywords":[{"topic":"f/{{x}/v","path":"/{{x}/p{{","label":"The {{x}",
        "type":"int","write":{"topic":"f/{{x}/set"},"error":"f/{{x}/error"},
        {"topic":"f/{1}/w","path":"/{1}{{1}"}])");
    QCOMPARE(mapped.mapping.filters().join(' '), QByteArray("f/{x}/v f/{x}/error f/+/w"));
    mapped.take("f/{x}/v", "1");
    mapped.take("f/{x}/w", "2");
    QCOMPARE(mapped.keywords.text(), q("/{x}/p{:int[RW]=1 /{x}{1}:double=2"));
    QCOMPARE(mapped.keywords.known.value(q("/{x}/p{")).keyword.label, q("The {x}"));
    QCOMPARE(mapped.command("/{x}/p{", 5)->topic, QByteArray("f/{x}/set"));
    mapped.take("f/{x}/v", "", true); // declared by its name, so it stays
    QCOMPARE(mapped.keywords.text(), q("/{x}/p{:int[RW]=1(away) /{x}{1}:double=2"));
}

void tst_TopicMapping::filters_areSubscribedTo_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QByteArrayList>("filters");
    const auto row = [](const char *name, const char *members, const QByteArrayList &filters) {
        QTest::newRow(name) << QByteArray(members) << filters;
    };
    row("topics", "\"topics\":[\"a/#\",\"$SYS/#\"]", {"a/#", "$SYS/#"});
    row("nothing said", "\"meta\":false", {"#"});
    row("keyword", "\"keywords\":[{\"topic\":\"a/{n}/b\"}]", {"a/+/b"});
    row("availability of all", "\"topics\":\"a/#\",\"available\":{\"topic\":\"b/{1}/s\"}",
        {"a/#", "b/+/s"});
    row("other topics of a keyword",
        "\"keywords\":[{\"topic\":\"a/{n}\",\"error\":\"e/{n}\",\"available\":{\"topic\":\"+/"
        "s\"}}]",
        {"a/+", "e/+", "a/+/s"});
    row("covered", "\"topics\":\"#\",\"keywords\":[{\"topic\":\"a\",\"error\":\"e\"}]", {"#", "a"});
    row("same twice",
        "\"keywords\":[{\"topic\":\"a\",\"value\":\"/x\"},{\"topic\":\"a\","
        "\"value\":\"/y\"}]",
        {"a"});
}

void tst_TopicMapping::filters_areSubscribedTo()
{
    QFETCH(const QByteArray, members);
    QFETCH(const QByteArrayList, filters);
    QCOMPARE(TopicMapping(optionsOf(members)).filters(), filters);
}

void tst_TopicMapping::keyword_isDescribed_data()
{
    QTest::addColumn<QByteArray>("entry");
    QTest::addColumn<QByteArray>("others");
    QTest::addColumn<QString>("description"); // access, label, limits, choices, times, confirmation
    const auto row = [](const char *name, const char *entry, const char *description,
                        const char *others = "") {
        QTest::newRow(name) << QByteArray(entry) << QByteArray(others) << q(description);
    };
    row("read only", "\"type\":\"int\"", "R \"\" 0..0 [] 0 5000 0");
    row("written", "\"type\":\"int\",\"write\":{\"topic\":\"+/set\"}", "RW \"\" 0..0 [] 0 5000 0");
    row("label", "\"type\":\"int\",\"label\":\"Level of {name} ({1})\"",
        "R \"Level of tank (tank)\" 0..0 [] 0 5000 0");
    row("label and unit", "\"type\":\"int\",\"label\":\"Level\",\"unit\":\"m\"",
        "R \"Level [m]\" 0..0 [] 0 5000 0", ",\"labelUnit\":true");
    row("unit alone", "\"type\":\"int\",\"unit\":\"m\"", "R \"tank [m]\" 0..0 [] 0 5000 0",
        ",\"labelUnit\":true");
    row("limits", "\"type\":\"int\",\"range\":[1,5],\"step\":0.5", "R \"\" 1..5 [] 0 5000 0");
    row("choices", "\"type\":\"string\",\"choices\":[\"a\",\"b\"]",
        "R \"\" 0..0 [\"a\",\"b\"] 0 5000 0");
    row("choices of a map", "\"map\":{\"0\":\"off\",\"1\":\"on\"},\"write\":{\"topic\":\"+/set\"}",
        "RW \"\" 0..0 [\"off\",\"on\"] 0 5000 0");
    row("stale", "\"type\":\"int\",\"staleAfter\":1.5", "R \"\" 0..0 [] 1500 5000 0");
    row("confirmed", "\"type\":\"int\",\"write\":{\"topic\":\"s\",\"confirmWithin\":2}",
        "RW \"\" 0..0 [] 0 2000 0");
    row("assumed", "\"type\":\"int\",\"write\":{\"topic\":\"s\",\"assume\":true}",
        "RW \"\" 0..0 [] 0 5000 2");
}

void tst_TopicMapping::keyword_isDescribed()
{
    QFETCH(const QByteArray, entry);
    QFETCH(const QByteArray, others);
    QFETCH(const QString, description);
    Mapped mapped("\"keywords\":[{\"topic\":\"f/{name}\"," + entry + "}]" + others);
    mapped.take("f/tank", "1");
    QVERIFY(mapped.keywords.known.contains(q("/f/tank")));
    const SourceKeyword keyword = mapped.keywords.known.value(q("/f/tank")).keyword;
    const QByteArray choices =
        QJsonDocument(QJsonArray::fromVariantList(keyword.choices)).toJson(QJsonDocument::Compact);
    QCOMPARE(q("%1 \"%2\" %3..%4 %5 %6 %7 %8")
                 .arg(keyword.access, keyword.label)
                 .arg(keyword.minimum.toDouble())
                 .arg(keyword.maximum.toDouble())
                 .arg(QString::fromUtf8(choices))
                 .arg(keyword.staleAfter.count())
                 .arg(keyword.confirmWithin.count())
                 .arg(int(keyword.confirmation)),
             description);
}

void tst_TopicMapping::write_isACommand_data()
{
    QTest::addColumn<QByteArray>("entry");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QVariant>("change");
    QTest::addColumn<QString>("command"); // topic=payload, qos
    const auto row = [](const char *name, const char *entry, const QVariant &value,
                        const char *command, const QVariant &change = {}) {
        QTest::newRow(name) << QByteArray(entry) << value << change << q(command);
    };
    row("topic of the value and more", "\"type\":\"double\",\"write\":{\"topic\":\"+/set\"}", 1.5,
        "f/tank/set=1.5 1");
    row("named level", "\"type\":\"int\",\"write\":{\"topic\":\"set/{name}\",\"qos\":2}", qint64(1),
        "set/tank=1 2");
    row("numbered level", "\"type\":\"int\",\"write\":{\"topic\":\"{1}/set\",\"qos\":0}", qint64(1),
        "tank/set=1 0");
    row("template",
        "\"type\":\"int\",\"write\":{\"topic\":\"s\",\"payload\":\"{\\\"v\\\": $value}\"}",
        qint64(1), "s={\"v\": 1} 1");
    row("template as JSON",
        "\"type\":\"string\",\"write\":{\"topic\":\"s\",\"payload\":{\"v\":\"$value\"}}", q("a"),
        "s={\"v\":\"a\"} 1");
    row("map", "\"type\":\"bool\",\"map\":{\"ON\":true,\"OFF\":false},\"write\":{\"topic\":\"s\"}",
        true, "s=ON 1");
    row("scale", "\"type\":\"double\",\"scale\":[0,1000,0,10],\"write\":{\"topic\":\"s\"}", 5.0,
        "s=500 1");
    row("change", "\"type\":\"int\",\"write\":{\"topic\":\"s\",\"relative\":\"device\"}", qint64(9),
        "s=2 1", qint64(2));
    row("no change", "\"type\":\"int\",\"write\":{\"topic\":\"s\",\"relative\":\"device\"}",
        qint64(9), "s=9 1");
}

void tst_TopicMapping::write_isACommand()
{
    QFETCH(const QByteArray, entry);
    QFETCH(const QVariant, value);
    QFETCH(const QVariant, change);
    QFETCH(const QString, command);
    Mapped mapped("\"keywords\":[{\"topic\":\"f/{name}\"," + entry + "}]");
    mapped.take("f/tank", "");
    const auto written = mapped.command("/f/tank", value, change);
    QVERIFY2(written, qPrintable(mapped.reason));
    QCOMPARE(QString::fromUtf8(written->topic + '=' + written->payload + ' '
                               + QByteArray::number(written->qos)),
             command);
    QCOMPARE(written->validFor, 5000ms);
}

void tst_TopicMapping::write_mayBeImpossible()
{
    Mapped mapped("\"topics\":\"#\",\"keywords\":[{\"topic\":\"a\",\"type\":\"string\","
                  "\"map\":{\"1\":\"on\"},\"write\":{\"topic\":\"s\"}}]");
    mapped.take("b", "1");
    QVERIFY(!mapped.command("/b", 1.0));
    QCOMPARE(mapped.reason, q("there is no topic for writes"));
    QVERIFY(!mapped.command("/c", 1.0));
    QVERIFY(!mapped.command("/a", q("off")));
    QCOMPARE(mapped.reason, q("no payload represents the value"));
    QVERIFY(mapped.command("/a", q("on")));
}

void tst_TopicMapping::availability_isHeeded_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QByteArrayList>("messages");
    QTest::addColumn<QString>("keywords");
    const auto row = [](const char *name, const QByteArray &members, const QByteArrayList &messages,
                        const char *keywords) {
        QTest::newRow(name) << members << messages << q(keywords);
    };
    const QByteArray each =
        "\"topics\":\"f/#\",\"keywords\":[{\"topic\":\"f/{1}/level\",\"type\":\"int\"}],"
        "\"available\":{\"topic\":\"f/{1}/status\"}";
    row("before its first message", each, {"f/a/level=1"}, "/a/level:int=1(away)");
    row("online", each, {"f/a/level=1", "f/a/status=online"},
        "/a/level:int=1 /a/status:string=\"online\"");
    row("offline", each, {"f/a/status=online", "f/a/level=1", "f/a/status=offline"},
        "/a/level:int=1(away) /a/status:string=\"offline\"(away)");
    row("another device", each, {"f/a/status=online", "f/b/level=1"},
        "/a/status:string=\"online\" /b/level:int=1(away)");
    row("another word", each, {"f/a/level=1", "f/a/status=online", "f/a/status=maybe"},
        "/a/level:int=1 /a/status:string=\"maybe\"");
    row("topics as they are", "\"topics\":\"f/#\",\"available\":{\"topic\":\"f/{x}/status\"}",
        {"f/a/status=online", "f/a/x/y=1", "f/b/x/y=1"},
        "/a/status:string=\"online\" /a/x/y:double=1 /b/x/y:double=1(away)");
    row("braces in a topic", "\"topics\":\"f/#\",\"available\":{\"topic\":\"f/{1}/up\"}",
        {"f/{x}/v=1"}, "/{x}/v:double=1(away)");
    row("doubled braces", "\"topics\":\"f/#\",\"available\":{\"topic\":\"f/{{x}/up\"}",
        {"f/a=1", "f/{x}/up=online"}, "/a:double=1 /{x}/up:string=\"online\"");
    const QByteArray two =
        "\"keywords\":[{\"topic\":\"v\",\"type\":\"int\",\"available\":{\"mode\":\"MODE\","
        "\"topics\":[{\"topic\":\"s1\"},{\"topic\":\"s2\",\"value\":\"/state\",\"online\":\"up\","
        "\"offline\":[\"down\",\"0\"]}]}}]";
    const auto mode = [&two](const char *name) { return QByteArray(two).replace("MODE", name); };
    row("all, one of them", mode("all"), {"v=1", "s1=online"}, "/v:int=1(away)");
    row("all, both", mode("all"), {"v=1", "s1=online", "s2={\"state\":\"up\"}"}, "/v:int=1");
    row("all, one away", mode("all"), {"v=1", "s1=online", "s2=up", "s2={\"state\":0}"},
        "/v:int=1(away)");
    row("any, one of them", mode("any"), {"v=1", "s2=up"}, "/v:int=1");
    row("any, none", mode("any"), {"v=1", "s2=up", "s2=down"}, "/v:int=1(away)");
    row("latest, away", mode("latest"), {"v=1", "s1=online", "s2=down"}, "/v:int=1(away)");
    row("latest, there", mode("latest"), {"v=1", "s2=down", "s1=online"}, "/v:int=1");
    row("nobody says so any longer", mode("any"), {"v=1", "s1=online", "s1="}, "/v:int=1(away)");
    const QByteArray homie =
        "homie/5/d/$description={\"homie\":\"5.0\",\"version\":1,\"nodes\":{\"n\":"
        "{\"properties\":{\"p\":{\"datatype\":\"integer\"}}}}}";
    row("said before the description", "\"conventions\":\"homie\"",
        {"homie/5/d/$state=ready", homie, "homie/5/d/n/p=1"}, "/d/n/p:int=1");
    row("said behind the description", "\"conventions\":\"homie\"",
        {homie, "homie/5/d/$state=ready", "homie/5/d/n/p=1"}, "/d/n/p:int=1");
    row("said away before the description", "\"conventions\":\"homie\"",
        {"homie/5/d/$state=lost", homie, "homie/5/d/n/p=1"}, "/d/n/p:int=1(away)");
    row("said before another keyword needs it", "\"conventions\":\"homeassistant\"",
        {"homeassistant/sensor/a/config={\"stat_t\":\"v\",\"avty_t\":\"s\"}", "s=online",
         "homeassistant/sensor/b/config={\"stat_t\":\"v\",\"avty_t\":\"s\",\"avty_mode\":\"all\"}",
         "v=x"},
        "/a:string=\"x\" /b:string=\"x\"");
}

void tst_TopicMapping::availability_isHeeded()
{
    QFETCH(const QByteArray, members);
    QFETCH(const QByteArrayList, messages);
    QFETCH(const QString, keywords);
    Mapped mapped(members);
    for (const QByteArray &message : messages) {
        const qsizetype equals = message.indexOf('=');
        mapped.take(message.first(equals), message.sliced(equals + 1));
    }
    QCOMPARE(mapped.keywords.text(), keywords);
}

void tst_TopicMapping::samePath_belongsToTheFirst_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QByteArrayList>("messages");
    QTest::addColumn<QString>("keywords");
    const QByteArray all = "\"topics\":\"#\"";
    QTest::newRow("empty level and _")
        << all << QByteArrayList {"a//b=1", "a/_/b=2"} << "/a/_/b:double=1";
    QTest::newRow("topic and member")
        << all << QByteArrayList {"a={\"b\":1}", "a/b=2"} << "/a/b:double=2";
    QTest::newRow("Label and Label_")
        << all << QByteArrayList {"Label=1", "Label_=text"} << "/Label_:double=1";
    QTest::newRow("two members") << all << QByteArrayList {"a={\"b/c\":1}", "a={\"b_c\":2}"}
                                 << "/a/b_c:double=1";
    QTest::newRow("declared") << QByteArray(
        "\"topics\":\"#\",\"keywords\":[{\"topic\":\"z\",\"path\":\"/a\"}]")
                              << QByteArrayList {"a=1", "z=2"} << "/a:double=2";
    QTest::newRow("deeper members")
        << all << QByteArrayList {"a={\"b\":{\"c\":1}}", "a/b={\"c\":2}"} << "/a/b/c:double=1";
}

void tst_TopicMapping::samePath_belongsToTheFirst()
{
    QFETCH(const QByteArray, members);
    QFETCH(QByteArrayList, messages);
    QFETCH(const QString, keywords);
    for (int order = 0; order < 2; ++order) {
        Mapped mapped(members);
        for (const QByteArray &message : std::as_const(messages)) {
            const qsizetype equals = message.indexOf('=');
            mapped.take(message.first(equals), message.sliced(equals + 1));
        }
        QCOMPARE(mapped.keywords.text(), keywords);
        if (messages.size() > 1)
            QCOMPARE(mapped.mapping.statistics().collisions, quint64(1));
        std::reverse(messages.begin(), messages.end());
    }
}

void tst_TopicMapping::samePath_isSaidOnce()
{
    Mapped mapped("\"topics\":\"#\"");
    for (int i = 0; i < 3; ++i) {
        mapped.take("a/_/b", "1", true);
        mapped.take("a//b", "2", true);
    }
    QCOMPARE(mapped.mapping.takeMessages().mid(1),
             QStringList {q("a//b and a/_/b have the same path, /a/_/b: the first one has it")});
    QCOMPARE(mapped.keywords.text(), q("/a/_/b:double=2"));
    // The other topic gets the path when the first one is removed.
    mapped.take("a//b", "", true);
    QCOMPARE(mapped.keywords.text(), QString());
    mapped.take("a/_/b", "3", true);
    QCOMPARE(mapped.keywords.text(), q("/a/_/b:double=3"));
    QVERIFY(mapped.mapping.takeMessages().isEmpty());
}

void tst_TopicMapping::changedLevel_isSaidOnce_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QByteArrayList>("messages"); // topics and payloads
    QTest::addColumn<QString>("paths");
    QTest::addColumn<QStringList>("said");
    const QByteArray all = R"("topics":"f/#")";
    const QString empty = q(": the level \"\" is served as \"_\", because a keyword has no empty "
                            "levels; further ones are not logged");
    const QString label = q(": the level \"Label\" is served as \"Label_\", because Label is "
                            "reserved for labels; further ones are not logged");
    const QString slash = q(": the level \"x/y\" is served as \"x_y\", because / and # separate "
                            "levels; further ones are not logged");
    QTest::newRow("none") << all << QByteArrayList {"f/a/label", "1"} << q("/a/label")
                          << QStringList();
    QTest::newRow("empty") << all << QByteArrayList {"f/a//b", "1", "f/b//c", "1", "f/a//b", "1"}
                           << q("/a/_/b /b/_/c") << QStringList {q("f/a//b") + empty};
    QTest::newRow("reserved") << all << QByteArrayList {"f/a/Label", "1", "f/b/Label", "1"}
                              << q("/a/Label_ /b/Label_") << QStringList {q("f/a/Label") + label};
    QTest::newRow("both") << all << QByteArrayList {"f/Label/", "1"} << q("/Label_/_")
                          << QStringList {q("f/Label/") + label, q("f/Label/") + empty};
    QTest::newRow("members") << all << QByteArrayList {"f/a", R"({"Label":1,"x/y":{"":2},"x#y":3})"}
                             << q("/a/Label_ /a/x_y /a/x_y/_")
                             << QStringList {q("f/a") + label,
                                             q("f/a") + QString(slash).replace(q("x/y"), q("x#y")),
                                             q("f/a") + empty};
    QTest::newRow("not in the path")
        << QByteArray(R"("topics":"/#")") << QByteArrayList {"/a", "1"} << q("/a") << QStringList();
    QTest::newRow("declared") << QByteArray(R"("keywords":[{"topic":"f/{1}"}])")
                              << QByteArrayList {"f/", "1", "f/Label", "1"} << q("/f/Label_ /f/_")
                              << QStringList {q("f/") + empty, q("f/Label") + label};
    QTest::newRow("declared, with a path")
        << QByteArray(R"("keywords":[{"topic":"+/+/{n}/x","path":"/p{n}"}])")
        << QByteArrayList {"f//Label/x", "1"} << q("/pLabel_")
        << QStringList {q("f//Label/x") + label};
    QTest::newRow("declared members")
        << QByteArray(
               R"("keywords":[{"topic":"f","value":"/Label"},{"topic":"f","value":"/x~1y"}])")
        << QByteArrayList {"f", R"({"Label":1,"x/y":2})"} << q("/f/Label_ /f/x_y")
        << QStringList {q("f") + label, q("f") + slash};
}

void tst_TopicMapping::changedLevel_isSaidOnce()
{
    QFETCH(const QByteArray, members);
    QFETCH(const QByteArrayList, messages);
    QFETCH(const QString, paths);
    QFETCH(const QStringList, said);
    Mapped mapped(members);
    for (qsizetype i = 0; i < messages.size(); i += 2)
        mapped.take(messages.at(i), messages.at(i + 1), true);
    QCOMPARE(mapped.keywords.known.keys().join(QLatin1Char(' ')), paths);
    QCOMPARE(mapped.mapping.takeMessages(), said);
}

void tst_TopicMapping::value_expires()
{
    Mapped mapped("\"topics\":\"#\"");
    mapped.take("a", "1", false, true, 10, 1000);
    mapped.take("b", "1", false, true, 20, 1000);
    mapped.take("c", "1", false, true, 5, 1000);
    mapped.take("c", "2");
    QCOMPARE(mapped.mapping.expire(10999), 11000);
    QVERIFY(!mapped.mapping.hasReports());
    QCOMPARE(mapped.mapping.expire(11000), 21000);
    mapped.keywords.take(mapped.mapping.takeReports());
    QCOMPARE(mapped.keywords.text(), q("/a:double=1(away) /b:double=1 /c:double=2"));
    mapped.take("a", "2");
    mapped.take("b", "", true);
    QCOMPARE(mapped.mapping.expire(99000), 0);
    QCOMPARE(mapped.keywords.text(), q("/a:double=2 /c:double=2"));
}

void tst_TopicMapping::time_isThePayloads()
{
    Mapped mapped("\"keywords\":[{\"topic\":\"a\",\"value\":\"/v\",\"time\":\"/at\"}]");
    mapped.take("a", "{\"v\":1,\"at\":1795331735}");
    QCOMPARE(mapped.keywords.known.value(q("/a")).time, 1795331735000);
    mapped.take("a", "{\"v\":1}");
    QCOMPARE(mapped.keywords.known.value(q("/a")).time, 0);
}

void tst_TopicMapping::firstRetained_isToldOncePerConnection()
{
    Mapped mapped("\"topics\":\"#\"");
    QVERIFY(mapped.take("a", "1", true));
    QVERIFY(!mapped.take("a", "1", true));
    QVERIFY(!mapped.take("b", "1", false));
    mapped.mapping.beginConnection();
    QVERIFY(mapped.take("a", "1", true));
}

void tst_TopicMapping::otherMapping_isTakenOver()
{
    Mapped before("\"topics\":\"f/#\",\"keywords\":[{\"topic\":\"f/d\",\"type\":\"int\"}]");
    before.take("f/a", "1");
    before.take("f/b", "x");
    before.take("f/c", "{\"m\":1}");
    before.take("f/d", "1");
    QCOMPARE(before.keywords.text(), q("/a:double=1 /b:string=\"x\" /c/m:double=1 /d:int=1"));
    TopicMapping after(optionsOf("\"topics\":\"f/#\",\"keywords\":[{\"topic\":\"f/b\","
                                 "\"type\":\"int\"},{\"topic\":\"f/e\",\"type\":\"int\"}]"));
    after.takeOver(before.mapping);
    before.keywords.take(after.takeReports());
    // Keywords that remain keep their values. A keyword with a new type waits for a value.
    QCOMPARE(before.keywords.known.keys().join(QLatin1Char(' ')), q("/a /b /c/m /e"));
    QCOMPARE(before.keywords.known.value(q("/b")).keyword.type, q("int"));
    after.take({"f/d", "true"}, 0);
    before.keywords.take(after.takeReports());
    QVERIFY(before.keywords.known.value(q("/d")).value.toBool());
}

namespace {

using Messages = QList<std::pair<QByteArray, QByteArray>>;

const Messages &described()
{
    static const Messages messages {
        {"homie/5/dev/$state", "ready"},
        {"homie/5/dev/$description",
         R"({"homie":"5.0","version":1,"nodes":{"n":{"properties":{"t":{"name":"Temp","datatype":"float","settable":true}}}}})"},
        {"homie/5/dev/n/t", "21.5"},
        {"homeassistant/sensor/p/config",
         R"({"name":"Power","unique_id":"p","state_topic":"home/p","availability_topic":"home/lwt"})"},
        {"home/lwt", "online"},
        {"home/p", "7"},
        {"zigbee2mqtt/bridge/devices",
         R"([{"friendly_name":"lamp","ieee_address":"0x1","type":"EndDevice","supported":true,"definition":{"exposes":[{"type":"numeric","name":"level","property":"level","access":7,"value_min":0,"value_max":254}]}}])"},
        {"zigbee2mqtt/bridge/state", R"({"state":"online"})"},
        {"zigbee2mqtt/lamp/availability", R"({"state":"online"})"},
        {"zigbee2mqtt/lamp", R"({"level":3})"},
    };
    return messages;
}

const QByteArray allConventions =
    R"("topics":"plant/#","conventions":["homie","homeassistant","zigbee2mqtt"])";

} // namespace

void tst_TopicMapping::members_areReadTheSameBothWays_data()
{
    QTest::addColumn<QByteArray>("payload");
    // NOLINTBEGIN(bugprone-suspicious-missing-comma): the last payload stands in two lines
    for (const char *const payload :
         {R"({"v":1})",
          R"({"v":1.5})",
          R"({"v":-1})",
          R"({"v":0})",
          R"({"v":-0})",
          R"({"v":1.0})",
          R"({"v":0.1})",
          R"({"v":123456789012345})",
          R"({"v":9007199254740993})",
          R"({"v":92233720368547758080})",
          R"({"v":1e3})",
          R"({"v":1E3})",
          R"({"v":1e999})",
          R"({"v":01})",
          R"({"v":1.})",
          R"({"v":.5})",
          R"({"v":-})",
          R"({"v":--1})",
          R"({"v":1-1})",
          R"({"v":1.2.3})",
          R"({"v":})",
          R"({"v"})",
          R"({"v":true})",
          R"({"v":false})",
          R"({"v":null})",
          R"({"v":nul})",
          R"({"v":truee})",
          R"({"v":"a b"})",
          R"({"v":""})",
          R"({"v":"1"})",
          R"({"v":"a\n"})",
          R"({"v":"\u00e4"})",
          R"({"v":"ä"})",
          "{\"v\":\"a\t5}",
          "{\"v\":\"a\t5\"}",
          "{\"v\":\"\xff\"}",
          R"({"v":"a})",
          R"({"v":"a\"})",
          R"({"v":1,"w":2})",
          R"({"w":2,"v":1})",
          R"({"v":1,"v":2})",
          R"({"\u0076":3})",
          R"({"v":1,"\u0076":3})",
          R"({"w":2})",
          R"({})",
          R"( { "v" : 1 , "w" : "x" } )",
          "\n{\"v\":\t1\r\n}",
          R"({"v":1,})",
          R"({,"v":1})",
          R"({"v":1}})",
          R"({"v":1} x)",
          R"({"v":1)",
          R"({"v" 1})",
          R"({"v":1 "w":2})",
          R"({"v":{"a":1}})",
          R"({"v":[1]})",
          R"({"w":{"v":1},"v":2})",
          R"({v:1})",
          R"(["v",1])",
          R"("v")",
          "5",
          "",
          "x",
          "null",
          R"({"a":1,"b":2,"c":3,"d":4,"e":5,"f":6,"g":7,"h":8,"i":9,"j":1,"k":2,"l":3,"m":4,"n":5,)"
          R"("o":6,"p":7,"q":8,"v":9})"}) {
        QTest::newRow(payload) << QByteArray(payload);
    }
    // NOLINTEND(bugprone-suspicious-missing-comma)
}

// The same keyword, next to one that requires a JSON document
void tst_TopicMapping::members_areReadTheSameBothWays()
{
    QFETCH(const QByteArray, payload);
    for (const char *const type : {"int", "double", "string", "bool", "object", ""}) {
        const QByteArray keyword = R"({"topic":"t","value":"/v","path":"/v")"
            + (*type ? QByteArray(R"(,"type":")") + type + '"' : QByteArray()) + '}';
        Mapped quick(R"("keywords":[)" + keyword + ']');
        Mapped thorough(R"("keywords":[)" + keyword
                        + R"(,{"topic":"t","value":"/none/at/all","path":"/none"}])");
        for (Mapped *const mapped : {&quick, &thorough}) {
            mapped->take("t", R"({"v":true})"); // so that an earlier value exists
            mapped->take("t", payload);
        }
        // A payload that is not an object is also a misfit of the other keyword.
        thorough.keywords.known.remove(q("/none"));
        QCOMPARE(quick.keywords.text(), thorough.keywords.text());
        QCOMPARE(quick.mapping.statistics().unreadable, thorough.mapping.statistics().unreadable);
        const QVariant read = quick.keywords.known.value(q("/v")).value;
        QCOMPARE(read, thorough.keywords.known.value(q("/v")).value);
        QCOMPARE(read.typeId(), thorough.keywords.known.value(q("/v")).value.typeId());
    }
}

// A broker sends retained messages in any order.
void tst_TopicMapping::states_countFromBefore_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<Messages>("messages");
    QTest::addColumn<QString>("expected");
    const QByteArray available = R"("available":{"topic":"+/is","online":"1","offline":"0"})";
    QTest::newRow("of the source")
        << QByteArray(R"("topics":"#",)" + available) << Messages {{"l/is", "1"}, {"l/a", "5"}}
        << q("/l/a:double=5 /l/is:double=1");
    QTest::newRow("of the source, away")
        << QByteArray(R"("topics":"#",)" + available) << Messages {{"l/is", "0"}, {"l/a", "5"}}
        << q("/l/a:double=5(away) /l/is:double=0(away)");
    QTest::newRow("of a declared keyword")
        << QByteArray(R"("keywords":[{"topic":"{x}/a","type":"int","available":)"
                      R"({"topic":"{x}/is","online":"1","offline":"0"}}])")
        << Messages {{"l/is", "1"}, {"l/a", "5"}} << q("/l/a:int=5");
    QTest::newRow("an error") << QByteArray(
        R"("keywords":[{"topic":"{x}/a","type":"int","error":"{x}/error"}])")
                              << Messages {{"l/error", "hot"}, {"l/a", "5"}} << q("/l/a:int=5!");
    QTest::newRow("an error that is over")
        << QByteArray(R"("keywords":[{"topic":"{x}/a","type":"int","error":"{x}/error"}])")
        << Messages {{"l/error", "hot"}, {"l/error", ""}, {"l/a", "5"}} << q("/l/a:int=5");
}

void tst_TopicMapping::states_countFromBefore()
{
    QFETCH(const QByteArray, members);
    QFETCH(const Messages, messages);
    QFETCH(const QString, expected);
    Mapped mapped(members);
    for (const auto &[topic, payload] : messages)
        mapped.take(topic, payload, true);
    QCOMPARE(mapped.keywords.text(), expected);
}

void tst_TopicMapping::otherMapping_handsOverDescriptions_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QByteArrayList>("kept"); // conventions that are kept
    QTest::newRow("another topic") << QByteArray(allConventions).replace("plant/#", "works/#")
                                   << QByteArrayList {"homeassistant", "homie", "zigbee2mqtt"};
    QTest::newRow("in another order")
        << QByteArray(R"("topics":"plant/#","conventions":["zigbee2mqtt","homie","homeassistant"])")
        << QByteArrayList {"homeassistant", "homie", "zigbee2mqtt"};
    QTest::newRow("one switched off")
        << QByteArray(R"("topics":"plant/#","conventions":["homie","zigbee2mqtt"])")
        << QByteArrayList {"homie", "zigbee2mqtt"};
    QTest::newRow("none any more") << QByteArray(R"("topics":"plant/#")") << QByteArrayList {};
    QTest::newRow("one with another base")
        << QByteArray(R"("topics":"plant/#","conventions":[{"name":"homie","base":"other"},)"
                      R"("homeassistant","zigbee2mqtt"])")
        << QByteArrayList {"homeassistant", "zigbee2mqtt"};
}

// Descriptions need not be sent again, because many brokers do not.
void tst_TopicMapping::otherMapping_handsOverDescriptions()
{
    QFETCH(const QByteArray, members);
    QFETCH(const QByteArrayList, kept);
    Mapped before(allConventions);
    for (const auto &[topic, payload] : described())
        before.take(topic, payload);
    QString expected = before.keywords.text();
    QCOMPARE(before.keywords.known.size(), 3);
    for (const Keywords::Known &known : std::as_const(before.keywords.known))
        QVERIFY2(known.hasValue && known.flags.online, qPrintable(expected));

    QByteArrayList filters = before.mapping.filters();
    TopicMapping after(optionsOf(members));
    after.takeOver(before.mapping);
    before.keywords.take(after.takeReports());
    QStringList words = expected.split(QLatin1Char(' '));
    words.removeIf([&](const QString &word) {
        return (word.contains(q("21.5")) && !kept.contains("homie"))
            || (word.contains(q("=\"7")) && !kept.contains("homeassistant"))
            || (word.contains(q("=3")) && !kept.contains("zigbee2mqtt"));
    });
    expected = words.join(QLatin1Char(' '));
    QCOMPARE(words.join(QString()).isEmpty() ? 0 : words.size(), kept.size());
    QCOMPARE(before.keywords.text(), expected);

    // The mapping works as before: subscriptions, values, writes, and a description that is sent
    // again and removed
    const auto take = [&](const QByteArray &topic, const QByteArray &payload) {
        after.take({topic, payload, true}, 0);
        before.keywords.take(after.takeReports());
    };
    if (kept.contains("homie")) {
        QVERIFY(after.filters().join(' ').contains("homie/5/dev/"));
        take(described().at(1).first, described().at(1).second);
        QCOMPARE(before.keywords.text(), expected);
        take("homie/5/dev/n/t", "22.5");
        QCOMPARE(before.keywords.text(), expected.replace(q("21.5"), q("22.5")));
        take("homie/5/dev/$state", "lost");
        QCOMPARE(before.keywords.text(), expected.replace(q("22.5"), q("22.5(away)")));
        take("homie/5/dev/$description", {});
        QCOMPARE(before.keywords.known.size(), kept.size() - 1);
    } else {
        QVERIFY(!after.filters().join(' ').contains("homie/5/dev"));
    }
    if (kept.contains("homeassistant")) {
        take("home/lwt", "offline");
        QVERIFY(before.keywords.text().contains(q("=\"7\"(away)")));
    }
}

void tst_TopicMapping::otherMapping_handsOverWhatWasKnown_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<Messages>("messages");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<QString>("expected");
    const QByteArray other = R"(,"topics":"other/#")";
    const auto row = [&](const char *name, const QByteArray &members, const Messages &messages,
                         const char *expected) {
        QTest::newRow(name) << members << messages << members + other << q(expected);
    };
    row("type from the first value", R"("keywords":[{"topic":"a"}])", {{"a", "x"}},
        "/a:string=\"x\"");
    row("type of each member of a pattern", R"("keywords":[{"topic":"{line}/a","value":"/v"}])",
        {{"l/a", R"({"v":1})"}}, "/l/a:double=1");
    row("there",
        R"("available":{"topic":"+/is","online":"1","offline":"0"},)"
        R"("keywords":[{"topic":"{line}/a","type":"int"}])",
        {{"l/is", "1"}, {"l/a", "5"}}, "/l/a:int=5");
    row("away",
        R"("available":{"topic":"+/is","online":"1","offline":"0"},)"
        R"("keywords":[{"topic":"{line}/a","type":"int"}])",
        {{"l/is", "1"}, {"l/a", "5"}, {"l/is", "0"}}, "/l/a:int=5(away)");
    row("status and time",
        R"("meta":true,"keywords":[{"topic":"a","value":"/v","time":"/at","type":"int",)"
        R"("available":{"topic":"is"}}])",
        {{"is", "online"}, {"a", R"({"v":1,"at":1795331735})"}},
        R"(/a:int=1 /a/Status:string[RM]="online" /a/Time:string[RM]="2026-11-22T07:15:35.000Z")");
    row("a misfit", R"("keywords":[{"topic":"a","type":"int"}])", {{"a", "1"}, {"a", "x"}},
        "/a:int=1!");
    row("an error topic", R"("keywords":[{"topic":"a","type":"int","error":"a/error"}])",
        {{"a", "1"}, {"a/error", "broken"}}, "/a:int=1!");
    row("elements of an array",
        R"("keywords":[{"topic":"a","array":"/list","key":"id","value":"v"}])",
        {{"a", R"({"list":[{"id":"x","v":1},{"id":"y","v":true}]})"}},
        "/a/x:double=1 /a/y:bool=true");
    QTest::newRow("served as before, with a label now")
        << QByteArray(R"("topics":"#")") << Messages {{"a", "1"}, {"b", R"({"c":2})"}}
        << QByteArray(R"("topics":"#","keywords":[{"topic":"a","type":"double","label":"A"},)"
                      R"({"topic":"b","value":"/c","path":"/b/c","label":"C"}])")
        << q("/a:double=1 /b/c:double=2");
}

void tst_TopicMapping::otherMapping_handsOverWhatWasKnown()
{
    QFETCH(const QByteArray, before);
    QFETCH(const Messages, messages);
    QFETCH(const QByteArray, after);
    QFETCH(const QString, expected);
    Mapped mapped(before);
    for (const auto &[topic, payload] : messages)
        mapped.take(topic, payload, false);
    QCOMPARE(mapped.keywords.text(), expected);
    TopicMapping next(optionsOf(after));
    next.takeOver(mapped.mapping);
    ReportList reports = next.takeReports();
    mapped.keywords.take(reports);
    QCOMPARE(mapped.keywords.text(), expected);
    // Keywords that remain are not removed temporarily either.
    while (!reports.isEmpty())
        QCOMPARE(reports.takeSlice(1000).removed, QStringList());
}

void tst_TopicMapping::otherMapping_keepsNoValueOfAnotherMeaning_data()
{
    QTest::addColumn<QByteArray>("keyword");
    QTest::addColumn<QString>("expected");
    QTest::newRow("the same") << QByteArray(R"("topic":"a","type":"double")") << q("/a:double=5");
    QTest::newRow("another scale")
        << QByteArray(R"("topic":"a","type":"double","scale":[0,10,0,100])") << q("/a:double");
    QTest::newRow("another table")
        << QByteArray(R"("topic":"a","type":"double","map":{"5":6})") << q("/a:double");
    QTest::newRow("another topic")
        << QByteArray(R"("topic":"b","path":"/a","type":"double")") << q("/a:double");
    QTest::newRow("another member")
        << QByteArray(R"("topic":"a","value":"/v","path":"/a","type":"double")") << q("/a:double");
}

void tst_TopicMapping::otherMapping_keepsNoValueOfAnotherMeaning()
{
    QFETCH(const QByteArray, keyword);
    QFETCH(const QString, expected);
    Mapped mapped(R"("keywords":[{"topic":"a","type":"double"}])");
    mapped.take("a", "5");
    TopicMapping next(optionsOf(R"("keywords":[{)" + keyword + R"(}],"meta":true)"));
    next.takeOver(mapped.mapping);
    mapped.keywords.take(next.takeReports());
    QCOMPARE(mapped.keywords.text(), expected);
}

void tst_TopicMapping::convention_declaresKeywords()
{
    MappingOptions options = optionsOf("\"topics\":\"plant/#\",\"conventions\":\"homie\"");
    TopicMapping mapping(options);
    Keywords keywords;
    const QByteArrayList before = mapping.takeNewFilters();
    QVERIFY(before.size() > 1);
    QCOMPARE(before.constFirst(), QByteArray("plant/#"));
    const auto take = [&](const QByteArray &topic, const QByteArray &payload) {
        mapping.take({topic, payload, true}, 0);
        keywords.take(mapping.takeReports());
    };
    const QByteArray description =
        "{\"homie\":\"5.0\",\"version\":1,\"nodes\":{\"n\":{\"properties\":{\"t\":{"
        "\"name\":\"Temp\",\"datatype\":\"float\",\"settable\":true}}}}}";
    take("homie/5/dev/$state", "ready");
    take("homie/5/dev/$description", description);
    QCOMPARE(keywords.known.size(), 1);
    const QString path = keywords.known.firstKey();
    QCOMPARE(keywords.known.first().keyword.access, q("RW"));
    QVERIFY(!mapping.takeNewFilters().isEmpty()); // for the values
    take("homie/5/dev/$state", "ready");
    take("homie/5/dev/n/t", "21.5");
    QCOMPARE(keywords.text(), path + q(":double[RW]=21.5"));
    SourceWrite write;
    write.path = path;
    write.value = 22.0;
    QString reason;
    const auto command = mapping.command(write, &reason);
    QVERIFY(command);
    QCOMPARE(command->topic, QByteArray("homie/5/dev/n/t/set"));
    QCOMPARE(command->payload, QByteArray("22"));
    // A target that differs from the value
    take("homie/5/dev/n/t/$target", "23");
    QCOMPARE(keywords.text(), path + q(":double[RW]=21.5~"));
    take("homie/5/dev/n/t", "23.0");
    QCOMPARE(keywords.text(), path + q(":double[RW]=23"));
    take("homie/5/dev/$state", "lost");
    QCOMPARE(keywords.text(), path + q(":double[RW]=23(away)"));
    take("homie/5/dev/$description", "");
    QCOMPARE(keywords.text(), QString());
}

void tst_TopicMapping::unreadable_isCounted()
{
    Mapped mapped("\"topics\":\"#\"");
    mapped.take("a", "\xff");
    mapped.take("b", QByteArray((1 << 20) + 1, '1'));
    mapped.take("c", "1");
    mapped.take("c", "x");
    QCOMPARE(mapped.mapping.statistics().unreadable, quint64(2));
    QCOMPARE(mapped.mapping.statistics().misfits, quint64(1));
}

void tst_TopicMapping::members_areBounded()
{
    Mapped mapped("\"topics\":\"#\"");
    QJsonObject object;
    for (int i = 0; i < 12000; ++i)
        object.insert(QString::number(i), i);
    mapped.take("a", QJsonDocument(object).toJson(QJsonDocument::Compact));
    QCOMPARE(mapped.keywords.known.size(), 10000);
    QCOMPARE(mapped.mapping.takeMessages(),
             QStringList {q("a has more than 10000 members: the rest is ignored")});
}

void tst_TopicMapping::topics_areBounded()
{
    MappingOptions options = optionsOf("\"topics\":\"#\"");
    QCOMPARE(options.maximumTopics, qsizetype(1000000));
    options.maximumTopics = 3;
    Mapped mapped(options);
    for (const char *topic : {"a", "b", "c", "d", "e"})
        mapped.take(topic, "1", true);
    QCOMPARE(mapped.keywords.text(), q("/a:double=1 /b:double=1 /c:double=1"));
    QCOMPARE(mapped.mapping.takeMessages(),
             QStringList {q("more than 3 topics: the rest is ignored")});
    mapped.take("b", "", true);
    mapped.take("d", "2", true);
    QCOMPARE(mapped.keywords.text(), q("/a:double=1 /c:double=1 /d:double=2"));
    // A topic with the place of another can be deleted as well.
    mapped.take("c", "", true);
    mapped.take("a", "", true);
    mapped.take("e", "3", true);
    mapped.take("b", "4", true);
    QCOMPARE(mapped.keywords.text(), q("/b:double=4 /d:double=2 /e:double=3"));
}

void tst_TopicMapping::topics_deletedMakeRoom_data()
{
    QTest::addColumn<QByteArray>("members");
    QTest::addColumn<QList<QByteArrayList>>(
        "messages"); // topics and payloads, with N as the number
    QTest::addColumn<QString>("keywords");
    const auto row = [](const char *name, const char *members,
                        const QList<QByteArrayList> &messages, const char *keywords) {
        QTest::newRow(name) << QByteArray(members) << messages << q(keywords);
    };
    row("undeclared", R"("topics":"#")", {{"a/N", "1"}}, "/a/N:double=1");
    row("members", R"("topics":"#")", {{"a/N", R"({"b":1,"c":{"d":2}})"}},
        "/a/N/b:double=1 /a/N/c/d:double=2");
    row("unknown value", R"("topics":"#")", {{"a/N", "null"}}, "");
    row("declared with a wildcard", R"("keywords":[{"topic":"a/{1}","type":"int"}])",
        {{"a/N", "1"}}, "/a/N:int=1");
    row("declared members", R"("keywords":[{"topic":"a/{1}","value":"/b"},
                                           {"topic":"a/{1}","value":"/c"}])",
        {{"a/N", R"({"b":1,"c":2})"}}, "/a/N/b:double=1 /a/N/c:double=2");
    row("an array", R"("keywords":[{"topic":"a/{1}","key":"k","value":"v"}])",
        {{"a/N", R"([{"k":"x","v":1},{"k":"y","v":2}])"}}, "/a/N/x:double=1 /a/N/y:double=2");
    row("availability", R"("topics":"a/#","available":{"topic":"up/{1}/state"},"meta":true)",
        {{"up/N/state", "online"}, {"a/N/v", "1"}}, "/N/v:double=1");
    row("availability of a keyword",
        R"("keywords":[{"topic":"a/{1}","available":{"topic":"a/{1}/up"},"error":"a/{1}/error"}])",
        {{"a/N", "1"}, {"a/N/up", "online"}}, "/a/N:double=1");
    row("availability of an array",
        R"("keywords":[{"topic":"a/{1}","key":"k","value":"v","available":{"topic":"a/{1}/up"}}])",
        {{"a/N", R"([{"k":"x","v":1}])"}, {"a/N/up", "online"}}, "/a/N/x:double=1");
    row("described", R"("topics":"x/#","conventions":["homeassistant"])",
        {{"homeassistant/sensor/pN/config",
          R"({"name":"P","unique_id":"pN","state_topic":"home/pN","availability_topic":"up/N"})"},
         {"up/N", "online"},
         {"home/pN", "7"}},
        "/pN:string=\"7\"");
}

void tst_TopicMapping::topics_deletedMakeRoom()
{
    QFETCH(QByteArray, members);
    QFETCH(const QList<QByteArrayList>, messages);
    QFETCH(QString, keywords);
    MappingOptions options = optionsOf(members);
    options.maximumTopics = 5;
    auto mapping = std::make_unique<TopicMapping>(options);
    Keywords seen;
    const auto take = [&](QByteArray topic, QByteArray payload, const QByteArray &number) {
        topic.replace("N", number);
        payload.replace("N", number);
        mapping->take({topic, payload, true}, 0);
        seen.take(mapping->takeReports());
    };
    for (int i = 0; i < 50; ++i) {
        const QByteArray number = QByteArray::number(i);
        for (const QByteArrayList &message : messages)
            take(message[0], message[1], number);
        QString expected = keywords;
        expected.replace(QLatin1Char('N'), QString::fromLatin1(number));
        QCOMPARE(seen.text(), expected);
        QByteArrayList topics;
        for (const QByteArrayList &message : messages)
            topics.insert(i % 2 == 0 ? 0 : topics.size(), message[0]);
        for (const QByteArray &topic : std::as_const(topics))
            take(topic, "", number);
        QCOMPARE(seen.text(), QString());
        if (i % 10 == 9) {
            auto next = std::make_unique<TopicMapping>(options);
            next->takeOver(*mapping);
            mapping = std::move(next);
            seen.take(mapping->takeReports());
        }
    }
    QCOMPARE(mapping->takeMessages(), QStringList());
}

void tst_TopicMapping::topics_notServedAnyMoreMakeRoom()
{
    MappingOptions options = optionsOf("\"topics\":\"a/#\"");
    options.maximumTopics = 3;
    Mapped before(options);
    for (const char *topic : {"a/1", "a/2", "a/3"})
        before.take(topic, "1", true);
    options.topics = QStringList {q("b/#")};
    Mapped after(options);
    after.mapping.takeOver(before.mapping);
    after.mapping.takeReports();
    for (const char *topic : {"b/1", "b/2", "b/3"})
        after.take(topic, "1", true);
    QCOMPARE(after.keywords.text(), q("/1:double=1 /2:double=1 /3:double=1"));
    QCOMPARE(after.mapping.takeMessages(), QStringList());
}

void tst_TopicMapping::topics_deletedAreRememberedWhileCopiesMayBeOlder()
{
    MappingOptions options = optionsOf("\"topics\":\"#\"");
    options.isResynced = true;
    options.maximumTopics = 2;
    Mapped mapped(options);
    const auto take = [&](const char *topic, const char *payload, bool isCopy, qint64 arrival) {
        TopicMessage message {topic, payload, true, true};
        message.isCopy = isCopy;
        message.arrival = arrival;
        mapped.mapping.take(message, 0);
        mapped.keywords.take(mapped.mapping.takeReports());
    };
    take("a", "1", false, 1000);
    take("a", "", false, 2000);
    take("a", "1", true, 5000); // an old copy
    take("b", "1", false, 5000);
    QCOMPARE(mapped.keywords.text(), q("/b:double=1"));
    take("b", "2", false, 20000);
    take("c", "3", false, 20000);
    QCOMPARE(mapped.keywords.text(), q("/b:double=2 /c:double=3"));
}

void tst_TopicMapping::served_isWhatNobodyDeclared()
{
    Mapped mapped("\"topics\":\"f/#\",\"keywords\":[{\"topic\":\"f/d\",\"type\":\"int\"}]");
    mapped.take("f/d", "1");
    mapped.take("f/b", "{\"x\":{\"y~/\":true}}");
    mapped.take("f/a", "1");
    const QList<ServedTopic> served = mapped.mapping.served();
    QCOMPARE(served.size(), 2);
    QCOMPARE(served.at(0).topic + served.at(0).member + q(" ") + served.at(0).path + q(" ")
                 + served.at(0).type,
             q("f/a /a double"));
    QCOMPARE(served.at(1).topic + served.at(1).member + q(" ") + served.at(1).path + q(" ")
                 + served.at(1).type,
             q("f/b/x/y~0~1 /b/x/y~_ bool"));
}

void tst_TopicMapping::reports_areInOrder()
{
    ReportList list;
    SourceKeyword keyword;
    SourceValue value;
    keyword.path = value.path = q("/a");
    list.declare(keyword, false);
    list.report(value);
    list.remove(q("/a"));
    list.declare(keyword, false);
    list.declare(keyword, true); // declared again
    SourceReport report = list.takeSlice(10);
    QCOMPARE(report.declared.size(), 1);
    QCOMPARE(report.values.size(), 1);
    QCOMPARE(list.valueCount(), 0);
    report = list.takeSlice(10);
    QCOMPARE(report.removed.size(), 1);
    QCOMPARE(report.declared.size(), 1);
    report = list.takeSlice(10);
    QCOMPARE(report.declared.size(), 1);
    QVERIFY(list.isEmpty());
}

void tst_TopicMapping::reports_areCompacted()
{
    ReportList list;
    for (int i = 0; i < 10; ++i) {
        SourceValue value;
        value.path = i % 2 == 0 ? q("/a") : q("/b");
        if (i < 8)
            value.value = i;
        value.online = i < 8;
        list.report(value);
    }
    list.compact();
    QCOMPARE(list.valueCount(), 2);
    const SourceReport report = list.takeSlice(10);
    QCOMPARE(report.values.at(0).value.value_or(QVariant()).toInt(), 6);
    QCOMPARE(report.values.at(1).value.value_or(QVariant()).toInt(), 7);
    QVERIFY(!report.values.at(0).online);
}

void tst_TopicMapping::missedCopy_isAsOldAsItMayBe()
{
    MappingOptions options;
    options.isResynced = true;
    for (const char *const topic : {"a", "b"}) {
        TopicKeyword keyword;
        keyword.topic = q(topic);
        keyword.type = q("double");
        options.keywords.append(keyword);
    }
    TopicMapping mapping(options);
    QList<qint64> times;
    const auto take = [&](const char *topic, const char *payload, bool isCopy, qint64 notBefore) {
        TopicMessage message {topic, payload, isCopy, false};
        message.isCopy = isCopy;
        message.arrival = 5000;
        message.notBefore = notBefore;
        const bool isFirst = mapping.take(message, 0);
        ReportList reports = mapping.takeReports();
        while (!reports.isEmpty()) {
            for (const SourceValue &value : reports.takeSlice(100).values) {
                if (value.value)
                    times.append(value.time);
            }
        }
        return isFirst;
    };
    QVERIFY(take("a", "1", true, 0));
    QVERIFY(!take("a", "1", true, 1700000000000)); // already known
    take("a", "2", true, 1700000001000);
    take("b", "1", true, 1700000002000);
    take("b", "2", false, 0);
    take("b", "1", true, 1700000002000); // possibly older
    QVERIFY(mapping.hasDoubts());
    take("b", "3", false, 0);
    QVERIFY(!mapping.hasDoubts());
    QCOMPARE(times, (QList<qint64> {0, 1700000001000, 1700000002000, 0, 0}));
    QCOMPARE(mapping.statistics().recovered, quint64(2));
}

QTEST_GUILESS_MAIN(tst_TopicMapping)
#include "tst_topicmapping.moc"
