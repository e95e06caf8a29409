// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/eventreader_p.h"
#include "client/jsonnames_p.h"

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRandomGenerator>
#include <QtTest/QTest>

#include <cstring>

using namespace pellix::client;

namespace {

// Whether two values have the same types at all levels, and doubles have the same bits.
bool areSame(const QVariant &left, const QVariant &right)
{
    if (left.metaType() != right.metaType())
        return false;
    switch (left.typeId()) {
    case QMetaType::QVariantList: {
        const QVariantList a = left.toList();
        const QVariantList b = right.toList();
        return std::equal(a.cbegin(), a.cend(), b.cbegin(), b.cend(), areSame);
    }
    case QMetaType::QVariantMap: {
        const QVariantMap a = left.toMap();
        const QVariantMap b = right.toMap();
        return std::equal(a.constKeyValueBegin(), a.constKeyValueEnd(), b.constKeyValueBegin(),
                          b.constKeyValueEnd(), [](const auto &one, const auto &other) {
                              return one.first == other.first && areSame(one.second, other.second);
                          });
    }
    case QMetaType::Double: {
        const double a = left.toDouble();
        const double b = right.toDouble();
        // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): -0 differs from 0
        return std::memcmp(&a, &b, sizeof a) == 0;
    }
    case QMetaType::Nullptr:
        return true;
    default:
        return left == right;
    }
}

struct Event
{
    QString keyword;
    PKeywordValue value;
};

PKeywordValueType typeOf(const QString &name)
{
    static const QStringList names {QString(),
                                    QStringLiteral("object"),
                                    QStringLiteral("bool"),
                                    QStringLiteral("string"),
                                    QStringLiteral("double"),
                                    QStringLiteral("int")};
    return PKeywordValueType(qMax(0, int(names.indexOf(name))));
}

// Reads a message by means of a document. Returns false if it is not an event.
bool readByDocument(const QByteArray &message, Event *event)
{
    const QJsonObject object = QJsonDocument::fromJson(message).object();
    if (object.value(QLatin1String("cmd")).toString() != QLatin1String("keyEvent")
        || !object.contains(QLatin1String("payload")))
        return false;
    const QJsonObject payload = object.value(QLatin1String("payload")).toObject();
    event->keyword = payload.value(QLatin1String("keyword")).toString();
    event->value.value = payload.value(QLatin1String("value")).toVariant();
    event->value.type = typeOf(payload.value(QLatin1String("type")).toString());
    event->value.connected = payload.value(QLatin1String("connected")).toBool();
    event->value.online = payload.value(QLatin1String("online")).toBool();
    event->value.consistent = payload.value(QLatin1String("consistent")).toBool();
    event->value.error = payload.value(QLatin1String("error")).toBool();
    return true;
}

// Whether the reader accepts the message, and whether its result is correct.
enum class Verdict {
    Left,
    Right,
    Wrong
};

Verdict verdictOf(const QByteArray &message)
{
    static JsonNames names; // with those of all messages before
    Event read;
    if (!readEvent(message, &names, &read.keyword, &read.value))
        return Verdict::Left;
    Event expected;
    const bool isRight = readByDocument(message, &expected) && read.keyword == expected.keyword
        && areSame(read.value.value, expected.value.value) && read.value.type == expected.value.type
        && read.value.connected == expected.value.connected
        && read.value.online == expected.value.online
        && read.value.consistent == expected.value.consistent
        && read.value.error == expected.value.error;
    return isRight ? Verdict::Right : Verdict::Wrong;
}

QByteArray eventWith(const QByteArray &value)
{
    return "{\"cmd\":\"keyEvent\",\"payload\":{\"keyword\":\"/a\",\"value\":" + value
        + ",\"type\":\"double\",\"connected\":true,\"online\":true,\"consistent\":true,\"error\":"
          "false}}";
}

// The form that most servers send, with these values in the order of the text.
QByteArray usualEvent(const QByteArrayList &values)
{
    const char *const names[] = {"connected", "consistent", "error", "keyword",
                                 "online",    "type",       "value"};
    QByteArrayList members;
    for (qsizetype i = 0; i < values.size(); ++i)
        members.append(QByteArray("\"") + names[i] + "\":" + values[i]);
    return "{\"cmd\":\"keyEvent\",\"payload\":{" + members.join(',') + "}}";
}

QByteArray usualEventWith(const QByteArray &value)
{
    return usualEvent({"true", "false", "true", "\"/a\"", "false", "\"int\"", value});
}

// Writes valid JSON in many different spellings.
class Speller
{
public:
    explicit Speller(quint32 seed) : random(seed) { }

    QByteArray event()
    {
        if (random.bounded(3) == 0)
            return usualForm();
        QByteArrayList payload {
            member("keyword", keyword()), member("value", value(0)), member("type", type()),
            member("connected", flag()),  member("online", flag()),  member("consistent", flag()),
            member("error", flag()),
        };
        while (payload.size() > 1 && random.bounded(4) == 0)
            payload.removeAt(random.bounded(int(payload.size())));
        if (random.bounded(3) == 0)
            payload.append(member("time", value(1)));
        QByteArrayList members {member("cmd", one({"\"keyEvent\"", "\"keyEv\\u0065nt\""})),
                                member("payload", object(payload))};
        if (random.bounded(4) == 0)
            members.append(member("id", value(1)));
        return object(members);
    }

private:
    // With or without members after the usual ones.
    QByteArray usualForm()
    {
        QByteArray event =
            usualEvent({flag(), flag(), flag(), keyword(), flag(), type(), value(0)});
        event.chop(2);
        event += blanks();
        if (random.bounded(4) == 0)
            event += ',' + member("time", value(1));
        event += '}' + blanks();
        if (random.bounded(4) == 0)
            event += ',' + member("id", value(1));
        return event + '}' + blanks();
    }
    QByteArray one(std::initializer_list<const char *> choices)
    {
        return *(choices.begin() + random.bounded(int(choices.size())));
    }
    QByteArray keyword()
    {
        return one({"\"/a\"", "\"\\/a\\/b\"", "\"/\xc3\xa4\"", "\"\\u002fa\"", "7"});
    }
    QByteArray type() { return one({"\"int\"", "\"double\"", "\"b\\u006fol\"", "\"x\"", "null"}); }
    QByteArray flag()
    {
        return one({"true", "true", "false", "false", "1", "null", "\"true\"", "[true]", "{}"});
    }
    QByteArray blanks() { return one({"", "", "", "", " ", "\n\t", "\r\n  "}); }
    QByteArray member(const QByteArray &name, const QByteArray &value)
    {
        return blanks() + '"' + name + '"' + blanks() + ':' + blanks() + value + blanks();
    }
    QByteArray object(QByteArrayList members)
    {
        for (int i = int(members.size()) - 1; i > 0; --i)
            members.swapItemsAt(i, random.bounded(i + 1));
        return '{' + members.join(',') + '}';
    }
    QByteArray value(int depth)
    {
        switch (random.bounded(depth < 4 ? 5 : 3)) {
        case 0:
            return number();
        case 1:
            return text();
        case 2:
            return one({"true", "false", "null"});
        case 3: {
            QByteArrayList elements;
            for (int i = random.bounded(4); i > 0; --i)
                elements.append(blanks() + value(depth + 1) + blanks());
            return '[' + elements.join(',') + ']';
        }
        default: {
            QByteArrayList members;
            for (int i = random.bounded(4); i > 0; --i)
                members.append(member("m" + QByteArray::number(i), value(depth + 1)));
            return object(members);
        }
        }
    }
    QByteArray number()
    {
        if (random.bounded(8) == 0)
            return one({"0", "-0", "0.0", "-0.0", "-0e5", "-0.00E-3"});
        QByteArray digits = QByteArray::number(random.bounded(1, 10));
        for (int i = random.bounded(random.bounded(2) ? 4 : 25); i > 0; --i)
            digits += QByteArray::number(random.bounded(10));
        QByteArray number = one({"", "-"}) + (random.bounded(4) ? digits : QByteArray("0."));
        if (number.endsWith('.'))
            number += digits;
        else if (random.bounded(2))
            number += '.' + one({"0", "5", "25", "000", "1234567890123456789"});
        return number + one({"", "", "e5", "E-7", "e+12", "e0", "e00", "e-20"});
    }
    QByteArray text()
    {
        QByteArray text;
        for (int i = random.bounded(6); i > 0; --i) {
            text += one({"a", "Z 9", "\xc3\xbc", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\\n", "\\\"",
                         "\\\\", "\\/", "\\t", "\\u00e9", "\\u20AC", "\\ud83d\\ude00", "\x7f"});
        }
        return '"' + text + '"';
    }

    QRandomGenerator random;
};

} // namespace

class tst_EventReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void spelling_isRead_data();
    void spelling_isRead();
    void doubtful_isLeft_data();
    void doubtful_isLeft();
    void anyLegalEvent_isRead();
    void anyDamagedEvent_isLeftOrRight();
    void names_areShared();
    void manyNames_areRight();
};

void tst_EventReader::spelling_isRead_data()
{
    QTest::addColumn<QByteArray>("message");
    const auto row = [](const char *name, const QByteArray &message) {
        QTest::newRow(name) << message;
    };
    row("payload first", "{\"payload\":{\"value\":1,\"keyword\":\"/a\"},\"cmd\":\"keyEvent\"}");
    row("nothing in the payload", "{\"cmd\":\"keyEvent\",\"payload\":{}}");
    row("members not known",
        "{\"v\":[1,{\"a\":null}],\"cmd\":\"keyEvent\",\"payload\":{\"keyword\":\"/a\",\"value\":1,"
        "\"time\":\"2026-11-22\",\"q\":{}},\"t\":1.5}");
    row("white space",
        " {\r\n\t\"cmd\" : \"keyEvent\" ,\n \"payload\" : { \"keyword\" : \"/a\" } } \n");
    row("a member after the usual ones",
        usualEvent({"true", "true", "true", "\"/a\"", "true", "\"int\"", "1,\"time\":2"}));
    row("members after the usual ones, and after the payload",
        usualEvent({"true", "true", "true", "\"/a\"", "true", "\"int\"", "1,\"q\":{},\"t\":2"})
                .chopped(1)
            + ",\"id\":7}");
    row("blanks after the usual members",
        usualEvent({"true", "true", "true", "\"/a\"", "true", "\"int\"", "1 }\n}\t"}).chopped(2));
    row("fewer than the usual members", usualEvent({"true", "true"}));
    row("blanks in the usual form", usualEventWith(" 1 ").replace(",", " , ") + '\n');
    row("escapes in names",
        "{\"c\\u006dd\":\"key\\u0045vent\",\"payload\":{\"k\\u0065yword\":\"\\/a\","
        "\"v\\u0061lue\":3}}");
    row("members of other kinds",
        "{\"cmd\":\"keyEvent\",\"payload\":{\"keyword\":3,\"type\":4,\"connected\":1,\"online\":"
        "\"true\",\"consistent\":null,\"error\":[]}}");
    for (const char *const value : {"0",
                                    "-0",
                                    "-0.0",
                                    "-0.000",
                                    "-0e5",
                                    "-0.0E-7",
                                    "-0e999",
                                    "[-0,-0.0,{\"a\":-0,\"b\":-0.0}]",
                                    "7",
                                    "-7",
                                    "999999999999999999",
                                    "9223372036854775807",
                                    "-9223372036854775808",
                                    "9223372036854775808",
                                    "123456789012345678901234567890",
                                    "0.5",
                                    "-0.5",
                                    "1.0",
                                    "1e3",
                                    "1.5e-05",
                                    "15E+2",
                                    "1e18",
                                    "1e19",
                                    "0.1",
                                    "2.2250738585072014e-308",
                                    "1.7976931348623157e308",
                                    "9007199254740993",
                                    "9007199254740993.0",
                                    "true",
                                    "false",
                                    "null",
                                    "\"\"",
                                    "\"text\"",
                                    "\"\xc3\xbc\xe2\x82\xac\xf0\x9f\x98\x80\"",
                                    "\"a\\\"\\\\\\/\\b\\f\\n\\r\\tz\"",
                                    "\"\\u00e9\\ud83d\\ude00\"",
                                    "[]",
                                    "{}",
                                    "[1,2.5,null,true,\"x\",[],{}]",
                                    "{\"a\":1,\"b\":{\"c\":[{\"d\":1}]}}",
                                    "{\"\":1,\"\\u00e4\":2}",
                                    "[[[[[[[[1]]]]]]]]"}) {
        row(value, eventWith(value));
        row((QByteArray("usual form, ") + value).constData(), usualEventWith(value));
    }
    row("an array in many arrays", eventWith(QByteArray(60, '[') + QByteArray(60, ']')));

    // A name, two values, and a message in which they are filled in.
    QFile spellings(QStringLiteral(SPELLINGS));
    QVERIFY2(spellings.open(QIODevice::ReadOnly), qPrintable(spellings.errorString()));
    while (!spellings.atEnd()) {
        const QByteArrayList columns = spellings.readLine().chopped(1).split('\t');
        if (columns.size() != 4)
            continue;
        for (const QByteArray &value : columns.mid(1, 2)) {
            const QByteArray name = columns.first() + " of the benchmarks, " + value.left(40);
            row(name.constData(),
                QByteArray(columns.last()).replace("%n", "\n").replace("%v", value));
        }
    }
}

void tst_EventReader::spelling_isRead()
{
    QFETCH(QByteArray, message);
    QCOMPARE(verdictOf(message), Verdict::Right);
}

// These messages are left to QJsonDocument.
void tst_EventReader::doubtful_isLeft_data()
{
    QTest::addColumn<QByteArray>("message");
    const auto row = [](const char *name, const QByteArray &message) {
        QTest::newRow(name) << message;
    };
    row("empty", "");
    row("no object", "[]");
    row("another command", "{\"cmd\":\"keyIndex\",\"payload\":{}}");
    row("no command", "{\"payload\":{}}");
    row("no payload", "{\"cmd\":\"keyEvent\"}");
    row("payload that is no object", "{\"cmd\":\"keyEvent\",\"payload\":[]}");
    row("command twice", "{\"cmd\":\"keyEvent\",\"cmd\":\"keyEvent\",\"payload\":{}}");
    row("payload twice", "{\"cmd\":\"keyEvent\",\"payload\":{},\"payload\":{}}");
    row("member twice",
        "{\"cmd\":\"keyEvent\",\"payload\":{\"value\":1,\"v\\u0061lue\":2,\"keyword\":\"/a\"}}");
    row("something behind", eventWith("1") + "x");
    row("something behind the usual form", usualEventWith("1") + "x");
    row("usual member twice",
        usualEvent({"true", "true", "true", "\"/a\"", "true", "\"int\"", "1,\"error\":false"}));
    row("usual member twice, between the others",
        usualEvent(
            {"true", "true", "true", "\"/a\"", "true", "\"int\"", "1,\"time\":2,\"value\":3"}));
    row("command twice, after the usual form",
        usualEventWith("1").chopped(1) + ",\"cmd\":\"keyEvent\"}");
    row("payload twice, after the usual form", usualEventWith("1").chopped(1) + ",\"payload\":{}}");
    row("nothing behind the last comma", usualEventWith("1").chopped(1) + ",}");
    row("byte order mark", "\xef\xbb\xbf" + eventWith("1"));
    row("mark in a text",
        eventWith("\"\xef\xbb\xbf"
                  "a\""));
    row("comma at the end", "{\"cmd\":\"keyEvent\",\"payload\":{\"value\":1,}}");
    row("unknown member that is no JSON", "{\"cmd\":\"keyEvent\",\"payload\":{\"x\":tru}}");
    row("very deep", eventWith(QByteArray(70, '[') + QByteArray(70, ']')));
    for (const char *const value : {"",
                                    "-",
                                    "01",
                                    "1.",
                                    ".5",
                                    "+1",
                                    "1e",
                                    "1e+",
                                    "-00",
                                    "-0.",
                                    "-0e",
                                    "1e999",
                                    "1e-999",
                                    "NaN",
                                    "nul",
                                    "truE",
                                    "'a'",
                                    "\"",
                                    "\"a",
                                    "\"\\",
                                    "\"\\x\"",
                                    "\"\\u12\"",
                                    "\"\\u12g4\"",
                                    "\"\\ud83d\"",
                                    "\"\\ude00\\ud83d\"",
                                    "\"\xff\"",
                                    "\"\xc3\"",
                                    "\"\n\"",
                                    "\"\\\n\"",
                                    "[1,]",
                                    "[1",
                                    "{\"a\":1,\"a\":2}",
                                    "{\"a\"}",
                                    "{a:1}",
                                    "{\"a\":1"}) {
        row(value, eventWith(value));
        row((QByteArray("usual form, ") + value).constData(), usualEventWith(value));
    }
}

void tst_EventReader::doubtful_isLeft()
{
    QFETCH(QByteArray, message);
    QCOMPARE(verdictOf(message), Verdict::Left);
}

// All values share one text for each member name.
void tst_EventReader::names_areShared()
{
    JsonNames names;
    const auto keys = [&names](const QByteArray &value) {
        Event event;
        return readEvent(eventWith(value), &names, &event.keyword, &event.value)
            ? event.value.value.toMap().keys()
            : QStringList();
    };
    const QString longest(32, u'x');
    const QByteArray value = "{\"speed\":%1,\"" + longest.toLatin1() + "\":1}";
    const QStringList first = keys(QByteArray(value).replace("%1", "1"));
    const QStringList second = keys(QByteArray(value).replace("%1", "2"));
    QCOMPARE(first, QStringList({QStringLiteral("speed"), longest}));
    QCOMPARE(second, first);
    for (int i = 0; i < first.size(); ++i)
        QCOMPARE(second.at(i).constData(), first.at(i).constData());

    // A longer name is not kept, because the memory for names is limited.
    const QByteArray longer = "{\"x" + longest.toLatin1() + "\":1}";
    QVERIFY(keys(longer).constFirst().constData() != keys(longer).constFirst().constData());
}

// There are more names than places for them.
void tst_EventReader::manyNames_areRight()
{
    QByteArray members;
    for (int i = 0; i < 2000; ++i)
        members += ",\"m" + QByteArray::number(i) + "\":" + QByteArray::number(i);
    const QByteArray message = eventWith("{" + members.sliced(1) + "}");
    QCOMPARE(verdictOf(message), Verdict::Right);
    QCOMPARE(verdictOf(message), Verdict::Right);
}

void tst_EventReader::anyLegalEvent_isRead()
{
    for (quint32 seed = 1; seed <= 10000; ++seed) {
        const QByteArray message = Speller(seed).event();
        QVERIFY2(verdictOf(message) == Verdict::Right, message.constData());
    }
}

void tst_EventReader::anyDamagedEvent_isLeftOrRight()
{
    int taken = 0;
    for (quint32 seed = 1; seed <= 10000; ++seed) {
        QByteArray message = Speller(seed).event();
        QRandomGenerator random(seed);
        for (int i = random.bounded(1, 4); i > 0; --i) {
            const int at = random.bounded(int(message.size()));
            switch (random.bounded(3)) {
            case 0:
                message[at] = char(random.bounded(256));
                break;
            case 1:
                message.remove(at, 1);
                break;
            default:
                message.insert(at, message.mid(random.bounded(int(message.size())), 3));
                break;
            }
        }
        const Verdict verdict = verdictOf(message);
        taken += verdict == Verdict::Right ? 1 : 0;
        QVERIFY2(verdict != Verdict::Wrong, message.constData());
    }
    QVERIFY(taken > 1000); // messages that are still valid
}

QTEST_GUILESS_MAIN(tst_EventReader)
#include "tst_eventreader.moc"
