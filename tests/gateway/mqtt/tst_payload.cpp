// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/jsonpointer.h"
#include "gateway/mqtt/payload.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QTest>

#include <cmath>
#include <limits>

using namespace pellix::gateway;

namespace {

using Kind = Payload::Kind;
using Result = PayloadRules::Result;

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QVariant whole(qint64 number)
{
    return QVariant::fromValue(number);
}

QByteArray nested(int levels)
{
    return QByteArray(levels, '[') + QByteArray(levels, ']');
}

// The rules of a keyword in a short form, such as "int scale=0,27648,0,100 map=ON:true,OFF:false".
TopicKeyword keyword(const QByteArray &text)
{
    TopicKeyword result;
    for (const QByteArray &word : text.split(' ')) {
        const qsizetype equals = word.indexOf('=');
        const QByteArray name = word.first(qMax(qsizetype(0), equals));
        const QByteArray rest = word.sliced(equals + 1);
        if (name.isEmpty()) {
            result.type = QString::fromUtf8(rest);
        } else if (name == "scale") {
            const auto numbers = rest.split(',');
            result.scale = {numbers.at(0).toDouble(), numbers.at(1).toDouble(),
                            numbers.at(2).toDouble(), numbers.at(3).toDouble()};
        } else if (name == "map") {
            const QJsonObject map = QJsonDocument::fromJson(rest).object();
            for (auto it = map.begin(); it != map.end(); ++it)
                result.values.append({it.key(), it.value().toVariant()});
        } else if (name == "list") { // [[payload,value],...]
            const QJsonArray list = QJsonDocument::fromJson(rest).array();
            for (const auto &pair : list)
                result.values.append({pair.toArray().at(0), pair.toArray().at(1).toVariant()});
        } else if (name == "unknown") {
            result.unknownPayloads = rest.split(',');
        } else if (name == "empty") {
            result.emptyText = QByteArray::fromHex(rest);
        } else if (name == "others") {
            result.ignoresOthers = true;
        } else if (name == "pattern") {
            result.pattern = QString::fromUtf8(rest);
        } else if (name == "write") {
            result.writePayload = rest;
        }
    }
    return result;
}

} // namespace

class tst_Payload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void payload_isWhatItLooksLike_data();
    void payload_isWhatItLooksLike();
    void number_isExact_data();
    void number_isExact();
    void value_hasTheTypeOfItsKeyword_data();
    void value_hasTheTypeOfItsKeyword();
    void member_hasTheTypeOfItsKeyword_data();
    void member_hasTheTypeOfItsKeyword();
    void type_isThatOfMappedValues_data();
    void type_isThatOfMappedValues();
    void writtenPayload_isSpelled_data();
    void writtenPayload_isSpelled();
    void writtenPayload_readsBack_data();
    void writtenPayload_readsBack();
    void change_isSpelled_data();
    void change_isSpelled();
    void numberText_isUsual_data();
    void numberText_isUsual();
    void pointer_leadsToMembers_data();
    void pointer_leadsToMembers();
    void pointer_mayBeNone_data();
    void pointer_mayBeNone();
    void time_isRead_data();
    void time_isRead();
};

void tst_Payload::payload_isWhatItLooksLike_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<Payload::Kind>("kind");
    const auto row = [](const char *name, const QByteArray &bytes, Kind kind) {
        QTest::newRow(name) << bytes << kind;
    };
    row("true", "true", Kind::Bool);
    row("false", "false", Kind::Bool);
    row("true with blanks", " true\r\n", Kind::Bool);
    row("True", "True", Kind::Text);
    row("null", "null", Kind::Null);
    row("null with a line feed", "null\n", Kind::Null);
    row("zero", "0", Kind::Number);
    row("whole", "21", Kind::Number);
    row("negative", "-21", Kind::Number);
    row("with a line feed", "21\n", Kind::Number);
    row("fraction", "21.5", Kind::Number);
    row("exponent", "2e3", Kind::Number);
    row("exponent with signs", "-2.5E-3", Kind::Number);
    row("twenty digits", "12345678901234567890", Kind::Number);
    row("tiny", "1e-999", Kind::Number);
    row("beyond double", "1e999", Kind::Unreadable);
    row("beyond double, negative", "-1e999", Kind::Unreadable);
    row("beyond double in JSON", "{\"a\":1e999}", Kind::Unreadable);
    row("leading zero", "021", Kind::Text);
    row("plus", "+21", Kind::Text);
    row("no digit before the dot", ".5", Kind::Text);
    row("no digit after the dot", "5.", Kind::Text);
    row("no digit in the exponent", "5e", Kind::Text);
    row("minus", "-", Kind::Text);
    row("number and unit", "21 °C", Kind::Text);
    row("comma", "21,5", Kind::Text);
    row("NaN", "NaN", Kind::Text);
    row("-inf", "-inf", Kind::Text);
    row("hexadecimal", "0x10", Kind::Text);
    row("time", "12:30", Kind::Text);
    row("date", "2026-11-22", Kind::Text);
    row("ON", "ON", Kind::Text);
    row("empty", "", Kind::Text);
    row("blanks", "  ", Kind::Text);
    row("in quotes", "\"23.7\"", Kind::Text);
    row("quote alone", "\"", Kind::Text);
    row("two quoted", "\"a\", \"b\"", Kind::Text);
    row("object", "{\"a\":1}", Kind::Structure);
    row("empty object", "{}", Kind::Structure);
    row("array", " [1,2] ", Kind::Structure);
    row("object with a mistake", "{\"a\":}", Kind::Text);
    row("brace", "{", Kind::Text);
    row("bracket in a text", "[INFO] started", Kind::Text);
    row("umlaut", "Füllstand", Kind::Text);
    row("byte 0", QByteArray(1, '\0'), Kind::Text);
    row("not UTF-8", "\xff\xfe", Kind::Unreadable);
    row("not UTF-8 after a digit", "1\xff", Kind::Unreadable);
    row("Latin-1", "F\xfcllstand", Kind::Unreadable);
    row("surrogate in UTF-8", "\xed\xa0\x80", Kind::Unreadable);
    row("1 MiB", QByteArray(1 << 20, 'x'), Kind::Text);
    row("more than 1 MiB", QByteArray((1 << 20) + 1, 'x'), Kind::Unreadable);
    row("deep", nested(Payload::deepest), Kind::Structure);
    row("too deep", nested(Payload::deepest + 1), Kind::Unreadable);
    row("much too deep", nested(500000), Kind::Unreadable);
    row("brackets in a text in JSON", "[\"" + QByteArray(100, '[') + "\\\"\"]", Kind::Structure);
}

void tst_Payload::payload_isWhatItLooksLike()
{
    QFETCH(const QByteArray, bytes);
    QFETCH(const Payload::Kind, kind);
    QCOMPARE(Payload::read(bytes).kind, kind);
}

void tst_Payload::number_isExact_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("isWhole");
    QTest::addColumn<qint64>("whole");
    QTest::addColumn<double>("number");
    QTest::newRow("0") << QByteArray("0") << true << qint64(0) << 0.0;
    QTest::newRow("-0") << QByteArray("-0") << true << qint64(0) << -0.0;
    QTest::newRow("18 digits") << QByteArray("-123456789012345678") << true
                               << qint64(-123456789012345678) << -123456789012345678.0;
    QTest::newRow("greatest") << QByteArray("9223372036854775807") << true
                              << std::numeric_limits<qint64>::max() << 9223372036854775807.0;
    QTest::newRow("least") << QByteArray("-9223372036854775808") << true
                           << std::numeric_limits<qint64>::min() << -9223372036854775808.0;
    QTest::newRow("beyond") << QByteArray("9223372036854775808") << false << qint64(0)
                            << 9223372036854775808.0;
    QTest::newRow("0.1") << QByteArray("0.1") << false << qint64(0) << 0.1;
    QTest::newRow("17 digits") << QByteArray("0.30000000000000004") << false << qint64(0)
                               << 0.30000000000000004;
    QTest::newRow("greatest double")
        << QByteArray("1.7976931348623157e308") << false << qint64(0) << 1.7976931348623157e308;
}

void tst_Payload::number_isExact()
{
    QFETCH(const QByteArray, bytes);
    QFETCH(const bool, isWhole);
    QFETCH(const qint64, whole);
    QFETCH(const double, number);
    const Payload payload = Payload::read(bytes);
    QCOMPARE(payload.kind, Kind::Number);
    QCOMPARE(payload.isWhole, isWhole);
    if (isWhole)
        QCOMPARE(payload.whole, whole);
    QVERIFY(payload.number == number);
    QCOMPARE(std::signbit(payload.number), std::signbit(number));
    // The same number as a member
    const QJsonValue member = QJsonDocument::fromJson('[' + bytes + ']').array().first();
    const Payload asMember = Payload::read(member);
    QCOMPARE(asMember.isWhole, isWhole);
    if (isWhole)
        QCOMPARE(asMember.whole, whole);
    QVERIFY(asMember.number == number);
}

void tst_Payload::value_hasTheTypeOfItsKeyword_data()
{
    QTest::addColumn<QByteArray>("rules"); // empty: the type of the first payload
    QTest::addColumn<QByteArray>("inferred");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<PayloadRules::Result>("result");
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char *name, const char *rules, const char *inferred,
                        const QByteArray &payload, Result result, const QVariant &value = {}) {
        QTest::newRow(name) << QByteArray(rules) << QByteArray(inferred) << payload << result
                            << value;
    };
    constexpr auto good = Result::Value;
    constexpr auto misfit = Result::Misfit;
    row("inferred bool, bool", "", "true", "false", good, false);
    row("inferred bool, number", "", "true", "1", misfit);
    row("inferred bool, text", "", "true", "ON", misfit);
    row("inferred bool, null", "", "true", "null", good);
    row("inferred number, fraction", "", "21", "21.5", good, 21.5);
    row("inferred number, whole", "", "21.5", "21", good, 21.0);
    row("inferred number, text", "", "21", "hot", misfit);
    row("inferred number, quoted", "", "21", "\"21\"", misfit);
    row("inferred number, beyond", "", "21", "1e999", misfit);
    row("inferred number, bool", "", "21", "true", misfit);
    row("inferred number, object", "", "21", "{}", misfit);
    row("inferred number, not UTF-8", "", "21", "\xff", misfit);
    row("inferred text, text", "", "ON", "OFF", good, q("OFF"));
    row("inferred text, number", "", "ON", "21", good, q("21"));
    row("inferred text, bool", "", "ON", "true", good, q("true"));
    row("inferred text, empty", "", "ON", "", good, q(""));
    row("inferred text, quoted", "", "ON", "\"23.7\"", good, q("23.7"));
    row("inferred text, blanks stay", "", "ON", " OFF\n", good, q(" OFF\n"));
    row("inferred text, null", "", "ON", "null", good);
    row("inferred text, object", "", "ON", "{}", misfit);
    row("inferred array, array", "", "[]", "[1,2]", good, QVariantList {whole(1), whole(2)});
    row("inferred array, number", "", "[]", "1", misfit);

    row("bool, true", "bool", "", "true", good, true);
    row("bool, quoted", "bool", "", "\"true\"", good, true);
    row("bool, number", "bool", "", "1", misfit);
    row("bool, ON", "bool", "", "ON", misfit);
    row("int, whole", "int", "", "21", good, whole(21));
    row("int, whole with a fraction of 0", "int", "", "21.0", good, whole(21));
    row("int, fraction", "int", "", "21.5", misfit);
    row("int, quoted", "int", "", "\"21\"", good, whole(21));
    row("int, exact", "int", "", "9007199254740993", good, whole(9007199254740993));
    row("int, quoted and exact", "int", "", "\"9007199254740993\"", good, whole(9007199254740993));
    row("int, beyond", "int", "", "9223372036854775808", misfit);
    row("int, null", "int", "", "null", good);
    row("double, number", "double", "", "21", good, 21.0);
    row("double, quoted", "double", "", "\"23.7\"", good, 23.7);
    row("double, plus", "double", "", "+23.7", good, 23.7);
    row("double, text", "double", "", "warm", misfit);
    row("double, NaN", "double", "", "NaN", misfit);
    row("double, empty", "double", "", "", misfit);
    row("double, bool", "double", "", "true", misfit);
    row("string, number", "string", "", "21", good, q("21"));
    row("string, 1.0 as it is", "string", "", "1.0", good, q("1.0"));
    row("string, object", "string", "", "{\"a\": 1}", good, q("{\"a\": 1}"));
    row("string, not UTF-8", "string", "", "\xff", misfit);
    row("object, object", "object", "", "{\"a\":1}", good, QVariantMap {{q("a"), whole(1)}});
    row("object, number", "object", "", "1", misfit);
    row("object, text", "object", "", "a", misfit);

    row("map, ON", "bool map={\"ON\":true,\"OFF\":false}", "", "ON", good, true);
    row("map, quoted", "bool map={\"ON\":true,\"OFF\":false}", "", "\"OFF\"", good, false);
    row("map, blanks", "bool map={\"ON\":true}", "", "ON\n", good, true);
    row("map, another", "bool map={\"ON\":true,\"OFF\":false}", "", "on", misfit);
    row("map, true is another", "bool map={\"ON\":true,\"OFF\":false}", "", "true", misfit);
    row("map, others are ignored", "bool map={\"ON\":true} others=1", "", "on", Result::Ignored);
    row("map, number as text", "bool map={\"1\":true,\"0\":false}", "", "1", good, true);
    row("map, number", "bool list=[[1,true],[0,false]]", "", "1.0", good, true);
    row("map, bool", "string list=[[true,\"open\"],[false,\"closed\"]]", "", "true", good,
        q("open"));
    row("map, empty payload", "string map={\"\":\"none\"}", "", "", good, q("none"));
    row("map, not UTF-8", "bool map={\"ON\":true}", "", "\xff", misfit);
    row("map, null", "string list=[[null,\"none\"]]", "", "null", good, q("none"));
    row("unknown, stands for null", "double unknown=None,unavailable", "", "None", good);
    row("unknown, not it", "double unknown=None,unavailable", "", "Some", misfit);
    row("unknown, with a map", "bool map={\"ON\":true} unknown=None", "", "None", good);
    row("empty text", "string empty=00", "", QByteArray(1, '\0'), good, q(""));
    row("scale, in the middle", "double scale=0,27648,0,100", "", "13824", good, 50.0);
    row("scale, outside", "double scale=0,10,0,100", "", "11", good, 110.0);
    row("scale, backwards", "double scale=0,10,100,0", "", "2", good, 80.0);
    row("scale, whole is rounded", "int scale=0,3,0,10", "", "2", good, whole(7));
    row("scale, inferred", "scale=0,10,0,100", "1", "5", good, 50.0);
    row("scale, quoted", "double scale=0,10,0,100", "", "\"5\"", good, 50.0);
    row("scale, beyond", "double scale=0,1e-300,0,1e300", "", "1e300", misfit);
    row("pattern", "string pattern=[a-z]+", "", "abc", good, q("abc"));
    row("pattern, not it", "string pattern=[a-z]+", "", "abc1", misfit);
}

void tst_Payload::value_hasTheTypeOfItsKeyword()
{
    QFETCH(const QByteArray, rules);
    QFETCH(const QByteArray, inferred);
    QFETCH(const QByteArray, payload);
    QFETCH(const PayloadRules::Result, result);
    QFETCH(const QVariant, value);
    const PayloadRules reader(keyword(rules));
    const ValueType type =
        inferred.isEmpty() ? reader.type() : Payload::read(inferred).inferredType();
    QVERIFY(type != ValueType::None);
    QVariant read;
    QCOMPARE(reader.value(Payload::read(payload), type, &read), result);
    if (result == Result::Value) {
        QCOMPARE(read, value);
        QCOMPARE(read.typeId(), value.typeId());
    }
}

void tst_Payload::member_hasTheTypeOfItsKeyword_data()
{
    QTest::addColumn<QByteArray>("rules");
    QTest::addColumn<QByteArray>("inferred");
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<PayloadRules::Result>("result");
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char *name, const char *rules, const char *inferred, const char *json,
                        Result result, const QVariant &value = {}) {
        QTest::newRow(name) << QByteArray(rules) << QByteArray(inferred) << QByteArray(json)
                            << result << value;
    };
    constexpr auto good = Result::Value;
    constexpr auto misfit = Result::Misfit;
    row("inferred text, number", "", "\"a\"", "1", misfit);
    row("inferred text, text", "", "\"a\"", "\"b\"", good, q("b"));
    row("inferred number, number", "", "1", "2.5", good, 2.5);
    row("inferred number, text", "", "1", "\"2.5\"", misfit);
    row("inferred number, null", "", "1", "null", good);
    row("string, number", "string", "", "1.5", good, q("1.5"));
    row("double, text", "double", "", "\"1.5\"", good, 1.5);
    row("int, exact", "int", "", "9007199254740993", good, whole(9007199254740993));
    row("object, array", "object", "", "[1]", good, QVariantList {whole(1)});
    row("map, text", "bool map={\"ON\":true}", "", "\"ON\"", good, true);
    row("map, bool", "bool list=[[true,true],[false,false]]", "", "true", good, true);
    row("map, bool is no text", "bool list=[[true,true],[false,false]]", "", "\"yes\"", misfit);
    row("map, number", "string list=[[1,\"one\"]]", "", "1.0", good, q("one"));
    row("map, number for a text", "string map={\"1\":\"one\"}", "", "1", good, q("one"));
    row("map, array", "string list=[[[1],\"one\"]]", "", "[1]", good, q("one"));
    row("unknown, text", "double unknown=None", "", "\"None\"", good);
    row("scale", "double scale=0,10,0,100", "", "5", good, 50.0);
}

void tst_Payload::member_hasTheTypeOfItsKeyword()
{
    QFETCH(const QByteArray, rules);
    QFETCH(const QByteArray, inferred);
    QFETCH(const QByteArray, json);
    QFETCH(const PayloadRules::Result, result);
    QFETCH(const QVariant, value);
    const auto member = [](const QByteArray &text) {
        return Payload::read(QJsonDocument::fromJson('[' + text + ']').array().first());
    };
    const PayloadRules reader(keyword(rules));
    const ValueType type = inferred.isEmpty() ? reader.type() : member(inferred).inferredType();
    QVariant read;
    QCOMPARE(reader.value(member(json), type, &read), result);
    if (result == Result::Value) {
        QCOMPARE(read, value);
        QCOMPARE(read.typeId(), value.typeId());
    }
}

void tst_Payload::type_isThatOfMappedValues_data()
{
    QTest::addColumn<QByteArray>("rules");
    QTest::addColumn<QString>("type");
    QTest::newRow("bool") << QByteArray("map={\"a\":true,\"b\":false}") << "bool";
    QTest::newRow("int") << QByteArray("map={\"a\":1,\"b\":2}") << "int";
    QTest::newRow("int and double") << QByteArray("map={\"a\":1,\"b\":2.5,\"c\":3}") << "double";
    QTest::newRow("string") << QByteArray("map={\"a\":\"x\",\"b\":null}") << "string";
    QTest::newRow("mixed") << QByteArray("map={\"a\":\"x\",\"b\":1}") << "";
    QTest::newRow("declared") << QByteArray("double map={\"a\":1}") << "double";
    QTest::newRow("nothing") << QByteArray("") << "";
    QTest::newRow("no type") << QByteArray("float") << "";
}

void tst_Payload::type_isThatOfMappedValues()
{
    QFETCH(const QByteArray, rules);
    QFETCH(const QString, type);
    QCOMPARE(valueTypeWord(PayloadRules(keyword(rules)).type()), type);
}

void tst_Payload::writtenPayload_isSpelled_data()
{
    QTest::addColumn<QByteArray>("rules");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("payload"); // null: the value has no payload
    const auto row = [](const char *name, const char *rules, const QVariant &value,
                        const QByteArray &payload) {
        QTest::newRow(name) << QByteArray(rules) << value << payload;
    };
    row("bool", "bool", true, "true");
    row("int", "int", whole(-9007199254740993), "-9007199254740993");
    row("double", "double", 21.5, "21.5");
    row("whole double", "double", 21.0, "21");
    row("whole double, large", "double", 100000.0, "100000");
    row("0.1", "double", 0.1, "0.1");
    row("infinite", "double", std::numeric_limits<double>::infinity(), {});
    row("text", "string", q("a \"b\" ü"), "a \"b\" ü");
    row("empty text", "string", q(""), "");
    row("empty text, declared", "string empty=00", q(""), QByteArray(1, '\0'));
    row("object", "object", QVariantMap {{q("a"), 1}}, "{\"a\":1}");
    row("JSON, number", "double write={\"level\":$value}", 21.5, "{\"level\":21.5}");
    row("JSON, text", "string write={\"mode\":$value}", q("a\"b"), "{\"mode\":\"a\\\"b\"}");
    row("JSON, bool", "bool write={\"on\":$value}", false, "{\"on\":false}");
    row("JSON, in quotes", "double write={\"level\":\"$value\"}", 21.5, "{\"level\":\"21.5\"}");
    row("JSON, text in quotes", "string write={\"m\":\"x$value\"}", q("a\"b"),
        "{\"m\":\"xa\\\"b\"}");
    row("JSON, list", "int write=[1,$value]", whole(2), "[1,2]");
    row("text around", "double write=SET:$value;", 21.5, "SET:21.5;");
    row("value alone", "string write=$value", q("x"), "x");
    row("always the same", "bool write=PRESS", true, "PRESS");
    row("map", "bool map={\"ON\":true,\"OFF\":false}", true, "ON");
    row("map, first of a value", "bool list=[[\"ON\",true],[\"1\",true]]", true, "ON");
    row("map, in JSON", "bool map={\"ON\":true} write={\"state\":$value}", true,
        "{\"state\":\"ON\"}");
    row("map, JSON type", "bool list=[[true,true]] write={\"state\":$value}", true,
        "{\"state\":true}");
    row("map, number", "string list=[[1,\"one\"]]", q("one"), "1");
    row("map, no payload", "string map={\"a\":\"b\"}", q("c"), {});
    row("scale", "double scale=0,27648,0,100", 50.0, "13824");
    row("scale, fraction", "double scale=0,1,0,8", 1.0, "0.125");
}

void tst_Payload::writtenPayload_isSpelled()
{
    QFETCH(const QByteArray, rules);
    QFETCH(const QVariant, value);
    QFETCH(const QByteArray, payload);
    const PayloadRules writer(keyword(rules));
    const std::optional<QByteArray> written = writer.payload(value, writer.type());
    QCOMPARE(written.has_value(), !payload.isNull());
    QCOMPARE(written.value_or(QByteArray()), payload);
}

void tst_Payload::writtenPayload_readsBack_data()
{
    QTest::addColumn<QByteArray>("rules");
    QTest::addColumn<QVariant>("value");
    const double numbers[] = {0,     -0.0,   0.1,  1 / 3.0, 1e15, 123456789012345680.0,
                              1e300, 5e-324, -1e-7};
    for (const double number : numbers)
        QTest::addRow("%g", number) << QByteArray("double") << QVariant(number);
    QTest::newRow("greatest int") << QByteArray("int") << whole(std::numeric_limits<qint64>::max());
    QTest::newRow("text") << QByteArray("string") << QVariant(q("a\tb ü"));
    QTest::newRow("object") << QByteArray("object") << QVariant(QVariantList {q("a"), 1.5});
}

void tst_Payload::writtenPayload_readsBack()
{
    QFETCH(const QByteArray, rules);
    QFETCH(const QVariant, value);
    const PayloadRules both(keyword(rules));
    const std::optional<QByteArray> written = both.payload(value, both.type());
    QVERIFY(written);
    QVariant read;
    QCOMPARE(both.value(Payload::read(*written), both.type(), &read), Result::Value);
    QCOMPARE(read, value);
}

void tst_Payload::change_isSpelled_data()
{
    QTest::addColumn<QByteArray>("rules");
    QTest::addColumn<double>("change");
    QTest::addColumn<QByteArray>("payload");
    QTest::newRow("double") << QByteArray("double") << 0.5 << QByteArray("0.5");
    QTest::newRow("int") << QByteArray("int") << -3.0 << QByteArray("-3");
    QTest::newRow("scale without offset")
        << QByteArray("double scale=100,200,0,10") << 1.0 << QByteArray("10");
    QTest::newRow("JSON") << QByteArray("int write={\"by\":$value}") << 2.0
                          << QByteArray("{\"by\":2}");
}

void tst_Payload::change_isSpelled()
{
    QFETCH(const QByteArray, rules);
    QFETCH(const double, change);
    QFETCH(const QByteArray, payload);
    const PayloadRules writer(keyword(rules));
    QCOMPARE(writer.changePayload(change, writer.type()).value_or(QByteArray("none")), payload);
}

void tst_Payload::numberText_isUsual_data()
{
    QTest::addColumn<double>("number");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("0") << 0.0 << QByteArray("0");
    QTest::newRow("21") << 21.0 << QByteArray("21");
    QTest::newRow("0.00001") << 0.00001 << QByteArray("0.00001");
    QTest::newRow("1000000") << 1000000.0 << QByteArray("1000000");
    QTest::newRow("1e+20") << 1e20 << QByteArray("1e+20");
    QTest::newRow("1e-7") << 1e-7 << QByteArray("1e-07");
}

void tst_Payload::numberText_isUsual()
{
    QFETCH(const double, number);
    QFETCH(const QByteArray, text);
    QCOMPARE(numberText(number), text);
}

void tst_Payload::pointer_leadsToMembers_data()
{
    QTest::addColumn<QString>("pointer");
    QTest::addColumn<QJsonValue>("value");
    QTest::newRow("member") << "/a" << QJsonValue(1);
    QTest::newRow("deeper") << "/b/c" << QJsonValue(2);
    QTest::newRow("element") << "/d/1" << QJsonValue(4);
    QTest::newRow("with a slash") << "/e~1f" << QJsonValue(5);
    QTest::newRow("with a tilde") << "/g~0h" << QJsonValue(6);
    QTest::newRow("escaped once") << "/i~01" << QJsonValue(7);
    QTest::newRow("empty name") << "/" << QJsonValue(8);
    const QJsonValue none(QJsonValue::Undefined);
    QTest::newRow("none") << "/z" << none;
    QTest::newRow("through a number") << "/a/b" << none;
    QTest::newRow("past the end") << "/d/2" << none;
    QTest::newRow("no index") << "/d/01" << none;
    QTest::newRow("no number") << "/d/-" << none;
}

void tst_Payload::pointer_leadsToMembers()
{
    QFETCH(const QString, pointer);
    QFETCH(const QJsonValue, value);
    const QJsonValue json =
        QJsonDocument::fromJson("{\"a\":1,\"b\":{\"c\":2},\"d\":[3,4],\"e/f\":5,\"g~h\":6,"
                                "\"i~1\":7,\"\":8}")
            .object();
    QCOMPARE(JsonPointer::fromText(pointer)->of(json), value);
    QCOMPARE(JsonPointer().of(json), json);
}

void tst_Payload::pointer_mayBeNone_data()
{
    QTest::addColumn<QString>("pointer");
    for (const char *const text : {"a", "a/b", "/a~", "/a~2", "/~x/b"})
        QTest::newRow(text) << q(text);
}

void tst_Payload::pointer_mayBeNone()
{
    QFETCH(const QString, pointer);
    QVERIFY(!JsonPointer::fromText(pointer));
}

void tst_Payload::time_isRead_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<qint64>("time"); // -1: no time
    QTest::newRow("seconds") << QJsonValue(1795331735) << qint64(1795331735000);
    QTest::newRow("seconds with a fraction") << QJsonValue(1795331735.25) << qint64(1795331735250);
    QTest::newRow("milliseconds") << QJsonValue(1795331735250.0) << qint64(1795331735250);
    QTest::newRow("text") << QJsonValue(q("2026-11-22T07:15:35Z")) << qint64(1795331735000);
    QTest::newRow("text with an offset")
        << QJsonValue(q("2026-11-22T08:15:35.250+01:00")) << qint64(1795331735250);
    QTest::newRow("negative") << QJsonValue(-1) << qint64(-1);
    QTest::newRow("another text") << QJsonValue(q("yesterday")) << qint64(-1);
    QTest::newRow("null") << QJsonValue(QJsonValue::Null) << qint64(-1);
}

void tst_Payload::time_isRead()
{
    QFETCH(const QJsonValue, value);
    QFETCH(const qint64, time);
    QCOMPARE(timeOf(value).value_or(-1), time);
}

QTEST_GUILESS_MAIN(tst_Payload)
#include "tst_payload.moc"
