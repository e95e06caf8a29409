// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// The reactions of a client to messages that a correct server does not send.

#include "binding/keywordproxy.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"
#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"
#include "tests/support/recordingclient.h"
#include "tests/support/socketclient.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QAbstractItemModelTester>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

#include <memory>

using namespace pellix::client;

namespace {

using Bytes = QByteArray;
using MakeBytes = Bytes (*)();

constexpr qsizetype mebi = 1024 * qsizetype(1024);

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// Functions that build messages from nested parts. JSON fragments are inserted unchanged.
Bytes message(const Bytes &cmd, const Bytes &payload)
{
    return R"({"cmd":)" + cmd + R"(,"payload":)" + payload + '}';
}

Bytes keyEvent(const Bytes &members)
{
    return message(R"("keyEvent")", '{' + members + '}');
}

Bytes eventWith(const Bytes &value)
{
    return keyEvent(R"("keyword":"/a","value":)" + value);
}

Bytes answerTo(const Bytes &uuid, const Bytes &response = "[]")
{
    return message(R"("keyIndex")",
                   R"({"request":{"uuid":)" + uuid + R"(},"response":)" + response + '}');
}

Bytes nested(const char *open, const char *close, int depth)
{
    return Bytes(open).repeated(depth) + Bytes(close).repeated(depth);
}

// A value as a short text, such as "int 7". All characters except printable ASCII are shown as code
// units.
QString shown(const QVariant &value)
{
    const auto plain = [](const QString &text) {
        QString result;
        for (const QChar c : text) {
            const bool isPlain = c.unicode() >= 0x20 && c.unicode() < 0x7f;
            result += isPlain ? QString(c) : q("<%1>").arg(uint(c.unicode()), 0, 16);
        }
        return result.size() > 100 ? q("%1 letters").arg(text.size()) : result;
    };
    switch (value.metaType().id()) {
    case QMetaType::UnknownType:
        return q("nothing");
    case QMetaType::Nullptr:
        return q("null");
    case QMetaType::Bool:
        return value.toBool() ? q("true") : q("false");
    case QMetaType::LongLong:
        return q("int %1").arg(value.toLongLong());
    case QMetaType::Double:
        return q("double %1").arg(value.toDouble(), 0, 'g', 17);
    case QMetaType::QString:
        return q("text ") + plain(value.toString());
    case QMetaType::QVariantList:
        return q("list of %1").arg(value.toList().size());
    case QMetaType::QVariantMap:
        return q("object of %1").arg(value.toMap().keys().join(QLatin1Char(',')));
    }
    return q("? ") + QLatin1String(value.typeName());
}

QString flagsOf(bool connected, bool online, bool consistent, bool error)
{
    return QString(QLatin1Char(connected ? 'c' : '-')) + QLatin1Char(online ? 'o' : '-')
        + QLatin1Char(consistent ? 'c' : '-') + QLatin1Char(error ? 'e' : '-');
}

// A client with a bound keyword, and the effect of its last message on one line:
//   dropped                  not understood; no effect
//   taken                    understood, for a keyword without a subscription
//   /a: int 7, type 5, coc-  a record of the keyword
//   answer UUID              a reply to an index query
class Listener
{
public:
    Listener()
    {
        subscriber.setPublisher(client.publisher());
        subscriber.setTopic(q("/a"));
        QObject::connect(
            &subscriber, &PSubscriber::valueChanged, &subscriber, [this](const QVariant &value) {
                QVERIFY(value.metaType() == QMetaType::fromType<PKeywordValue>());
                record = value.value<PKeywordValue>();
                seen << q("/a: %1, type %2, %3")
                            .arg(shown(record.value), QString::number(int(record.type)),
                                 flagsOf(record.connected, record.online, record.consistent,
                                         record.error));
            });
        QObject::connect(&client, &PKeywordClient::keyIndexResponse, &client,
                         [this](const QUuid &id, const QVariant &data) {
                             seen << q("answer ") + id.toString(QUuid::WithoutBraces);
                             answer = data.toJsonObject();
                         });
        proxy.setClient(&client);
        proxy.setKeyword(q("/a"));
        client.taken();
    }

    QString reactionTo(const Bytes &bytes)
    {
        seen.clear();
        const bool understood = client.receiveCommand(bytes);
        if (!understood && seen.isEmpty())
            return q("dropped");
        if (understood && seen.isEmpty())
            return q("taken");
        return seen.join(q(" | ")) + (understood ? QString() : q(" but false"));
    }

    RecordingClient client;
    PSubscriber subscriber;
    PKeywordProxy proxy;
    PKeywordValue record;
    QJsonObject answer;
    QStringList seen;
};

// A server that replies to a handshake with the given bytes, in place of a correct reply or, if
// they begin a frame, after one. "KEY" in the bytes is replaced with the value that the client
// expects.
class RawServer : public QObject
{
public:
    explicit RawServer(const Bytes &answer)
    {
        connect(&server, &QTcpServer::newConnection, this, [this, answer] {
            QTcpSocket *const socket = server.nextPendingConnection();
            socket->setParent(this);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket, answer] {
                request += socket->readAll();
                if (!request.contains("\r\n\r\n"))
                    return;
                const auto start = request.indexOf("Sec-WebSocket-Key: ") + 19;
                const Bytes key = request.mid(start, request.indexOf('\r', start) - start);
                request.clear();
                const Bytes accept = QCryptographicHash::hash(
                    key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11", QCryptographicHash::Sha1);
                socket->write(Bytes(answer).replace("KEY", accept.toBase64()));
                ++answered;
            });
        });
        server.listen(QHostAddress::LocalHost);
    }

    QString url() const { return q("ws://127.0.0.1:%1").arg(server.serverPort()); }

    QTcpServer server;
    Bytes request;
    int answered = 0;
};

const char goodHandshake[] = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                             "Connection: Upgrade\r\nSec-WebSocket-Accept: KEY\r\n\r\n";

// Collects warnings while it exists, so that they do not fail the test.
class Warnings
{
public:
    Warnings()
    {
        texts().clear();
        previous = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &, const QString &text) {
                if (type == QtWarningMsg)
                    texts() << text;
            });
    }
    ~Warnings() { qInstallMessageHandler(previous); }
    Q_DISABLE_COPY_MOVE(Warnings)

    static QStringList &texts()
    {
        static QStringList all;
        return all;
    }

private:
    QtMessageHandler previous;
};

} // namespace

Q_DECLARE_METATYPE(MakeBytes)

class tst_HostileMessages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The client logs each command by default, which is not tested here.
    void initTestCase() { QLoggingCategory::setFilterRules(q(CLIENT_CATEGORY ".debug=false")); }
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void message_hasItsReaction_data();
    void message_hasItsReaction();
    void hugeMessage_hasItsReaction_data();
    void hugeMessage_hasItsReaction();
    void duplicatedMembers_theLastCounts();
    void indexAnswer_givesTheseRows_data();
    void indexAnswer_givesTheseRows();
    void indexAnswer_ofAMillionItems();
    void labels_areShownAsText_data();
    void labels_areShownAsText();
    void frames_overAWebSocket_data();
    void frames_overAWebSocket();
    void brokenFrames_endTheConnection_data();
    void brokenFrames_endTheConnection();
    void refusedHandshake_isLoggedQuoted_data();
    void refusedHandshake_isLoggedQuoted();
};

void tst_HostileMessages::message_hasItsReaction_data()
{
    QTest::addColumn<Bytes>("bytes");
    QTest::addColumn<QString>("reaction");
    const auto row = [](const Bytes &name, const Bytes &bytes, const Bytes &reaction) {
        QTest::newRow(name.constData()) << bytes << QString::fromUtf8(reaction);
    };

    // Messages that are not JSON objects.
    const struct
    {
        const char *name;
        Bytes bytes;
    } noObjects[] = {
        {"empty", ""},
        {"blanks", " \t\r\n "},
        {"a NUL", Bytes(1, '\0')},
        {"a megabyte of NUL", Bytes(mebi, '\0')},
        {"a word", "hello"},
        {"null", "null"},
        {"true", "true"},
        {"a number", "1"},
        {"a text", R"("keyEvent")"},
        {"an array", "[" + keyEvent(R"("keyword":"/a")") + "]"},
        {"an empty array", "[]"},
        {"a brace", "{"},
        {"a closing brace", "}"},
        {"a bracket", "["},
        {"a quote", "\""},
        {"a BOM alone", "\xef\xbb\xbf"},
        {"two BOMs", "\xef\xbb\xbf\xef\xbb\xbf" + keyEvent("")},
        {"UTF-16", QByteArray("{\0\"\0c\0m\0d\0\"\0:\0001\0}\0", 18)},
        {"gzip", "\x1f\x8b\x08\x00\x00\x00"},
        {"HTTP", "HTTP/1.1 400 Bad Request\r\n\r\n"},
        {"XML", "<cmd>keyEvent</cmd>"},
        {"text in front", "x" + keyEvent("")},
        {"text behind", keyEvent("") + "x"},
        {"a second message behind", keyEvent("") + keyEvent("")},
        {"a NUL behind", keyEvent("") + '\0'},
        {"a NUL in front", '\0' + keyEvent("")},
        {"a NUL between", Bytes(keyEvent("")).insert(7, '\0')},
        {"single quotes", "{'cmd':'keyEvent','payload':{}}"},
        {"names without quotes", "{cmd:\"keyEvent\",payload:{}}"},
        {"a comment", "/* x */" + keyEvent("")},
        {"a comma behind", R"({"cmd":"keyEvent","payload":{},})"},
        {"no comma", R"({"cmd":"keyEvent" "payload":{}})"},
        {"no colon", R"({"cmd" "keyEvent","payload":{}})"},
        {"a name that is no text", R"({1:2,"cmd":"keyEvent","payload":{}})"},
        {"a bracket closed by a brace", R"({"cmd":"keyEvent","payload":{"value":[}})"},
        {"invalid UTF-8 in a name", "{\"\xff\":1,\"cmd\":\"keyEvent\",\"payload\":{}}"},
    };
    for (const auto &each : noObjects)
        row(Bytes("no object: ") + each.name, each.bytes, "dropped");

    // A valid message, truncated at every position.
    const Bytes whole = keyEvent(R"("keyword":"/a","value":[1.5e1,"\u00e4",true])");
    for (int length = 1; length < whole.size(); ++length)
        row("cut off after " + Bytes::number(length), whole.left(length), "dropped");
    row("not cut off", whole, "/a: list of 3, type 0, ----");

    // The outer object.
    for (const char *cmd : {"null",
                            "true",
                            "1",
                            "[]",
                            "{}",
                            R"(["keyEvent"])",
                            R"({"keyEvent":1})",
                            R"("")",
                            R"("keyevent")",
                            R"("KeyEvent")",
                            R"("keyEvent ")",
                            R"(" keyEvent")",
                            R"("keyEvent\u0000")",
                            R"("keyEventX")",
                            R"("keyEven")",
                            R"("keyUpdate")",
                            R"("keyDestroy")",
                            R"("keyCreateOrUpdate")",
                            R"("keyChangeProtocol")",
                            R"("\ud800")"})
        row(Bytes("cmd ") + cmd, message(cmd, R"({"keyword":"/a","value":1})"), "dropped");
    row("cmd spelt with escapes", message(R"("\u006bey\u0045vent")", R"({"keyword":"/a"})"),
        "/a: nothing, type 0, ----");
    for (const char *payload :
         {"null", "false", "0", R"("x")", "[]", R"([{"keyword":"/a"}])", "{}"})
        row(Bytes("event, payload ") + payload, message(R"("keyEvent")", payload), "taken");
    for (const char *payload : {"null", "false", "0", R"("x")", "[]", R"([{"request":{}}])", "{}"})
        row(Bytes("answer, payload ") + payload, message(R"("keyIndex")", payload), "dropped");
    row("no payload", R"({"cmd":"keyEvent"})", "dropped");
    row("no cmd", R"({"payload":{"keyword":"/a"}})", "dropped");
    row("no members", "{}", "dropped");
    row("members with other names", R"({"Cmd":"keyEvent","Payload":{"keyword":"/a"}})", "dropped");
    row("payload in the payload", keyEvent(R"("payload":{"keyword":"/a"})"), "taken");
    row("other members", R"({"x":[],"payload":{"keyword":"/a"},"y":null,"cmd":"keyEvent"})",
        "/a: nothing, type 0, ----");
    row("a BOM in front", "\xef\xbb\xbf" + keyEvent(R"("keyword":"/a")"),
        "/a: nothing, type 0, ----");

    // Each field with each JSON type. A field of the wrong type is treated as missing.
    const struct
    {
        const char *kind;
        Bytes json;
        const char *asValue;
    } kinds[] = {
        {"null", "null", "null"},
        {"true", "true", "true"},
        {"false", "false", "false"},
        {"0", "0", "int 0"},
        {"1", "1", "int 1"},
        {"a text", R"("true")", "text true"},
        {"an empty text", R"("")", "text "},
        {"a list", "[true]", "list of 1"},
        {"an object", R"({"a":true})", "object of a"},
    };
    for (const auto &each : kinds) {
        const Bytes isTrue = each.json == "true" ? "yes" : "";
        const auto named = [&each](const char *field) { return Bytes(field) + " is " + each.kind; };
        const auto with = [&each](const char *field) {
            return keyEvent(R"("keyword":"/a",")" + Bytes(field) + R"(":)" + each.json);
        };
        row(named("keyword"), keyEvent(R"("value":1,"keyword":)" + each.json), "taken");
        row(named("value"), with("value"), Bytes("/a: ") + each.asValue + ", type 0, ----");
        row(named("type"), with("type"), "/a: nothing, type 0, ----");
        row(named("connected"), with("connected"),
            isTrue.isEmpty() ? "/a: nothing, type 0, ----" : "/a: nothing, type 0, c---");
        row(named("online"), with("online"),
            isTrue.isEmpty() ? "/a: nothing, type 0, ----" : "/a: nothing, type 0, -o--");
        row(named("consistent"), with("consistent"),
            isTrue.isEmpty() ? "/a: nothing, type 0, ----" : "/a: nothing, type 0, --c-");
        row(named("error"), with("error"),
            isTrue.isEmpty() ? "/a: nothing, type 0, ----" : "/a: nothing, type 0, ---e");
    }
    for (const char *type : {"INT", "int ", "integer", "float", "array", "null", "5", "int\\u0000"})
        row(Bytes("type ") + type, keyEvent(R"("keyword":"/a","type":")" + Bytes(type) + "\""),
            "/a: nothing, type 0, ----");
    row("value does not fit its type", keyEvent(R"("keyword":"/a","value":"x","type":"int")"),
        "/a: text x, type 5, ----");
    for (const char *keyword : {"/A", "/a ", " /a", "a", "//a", "/a/", "#a", "/a\\u0000", "/b"})
        row(Bytes("keyword ") + keyword,
            keyEvent(R"("value":1,"keyword":")" + Bytes(keyword) + "\""), "taken");

    // Numbers. Integers that fit into 64 bits are read as integers, all others as double.
    const struct
    {
        const char *json;
        const char *value; // null: not valid JSON
    } numbers[] = {
        {"9223372036854775807", "int 9223372036854775807"},
        {"-9223372036854775808", "int -9223372036854775808"},
        {"9223372036854775808", "double 9.2233720368547758e+18"},
        {"18446744073709551616", "double 1.8446744073709552e+19"},
        {"9007199254740993", "int 9007199254740993"},
        {"1e308", "double 1e+308"},
        {"-1.7976931348623157e308", "double -1.7976931348623157e+308"},
        {"2.2250738585072014e-308", "double 2.2250738585072014e-308"},
        {"0.1", "double 0.10000000000000001"},
        {"1e2", "int 100"},
        {"1E+2", "int 100"},
        {"2.0", "int 2"},
        {"-0", "int 0"},
        {"1e309", nullptr},
        {"-1e999", nullptr},
        {"1e99999999999999999999", nullptr},
        {"NaN", nullptr},
        {"nan", nullptr},
        {"-NaN", nullptr},
        {"NAN", nullptr},
        {"Infinity", nullptr},
        {"-Infinity", nullptr},
        {"inf", nullptr},
        {"-inf", nullptr},
        {"1.#QNAN", nullptr},
        {"+1", nullptr},
        {"01", nullptr},
        {"0x10", nullptr},
        {"--1", nullptr},
        {"-", nullptr},
        {"1e", nullptr},
        {"1,5", nullptr},
        {"1 2", nullptr},
        {"1_000", nullptr},
        {"1f", nullptr},
        {"\xd9\xa1", nullptr}, // the Arabic digit one
    };
    for (const auto &each : numbers) {
        row(Bytes("number ") + each.json, eventWith(each.json),
            each.value ? Bytes("/a: ") + each.value + ", type 0, ----" : Bytes("dropped"));
    }
    row("number of 100 000 digits", eventWith(Bytes(100000, '9')), "dropped");

    // Words that are not JSON literals.
    for (const char *word : {"True", "FALSE", "nil", "None", "undefined", "nul", "truex", "tru"})
        row(Bytes("word ") + word, eventWith(word), "dropped");

    // Strings.
    const struct
    {
        const char *name;
        Bytes json;
        const char *value; // null: not valid JSON
    } texts[] = {
        {"NUL escaped", R"("a\u0000b")", "text a<0>b"},
        {"NUL raw", Bytes("\"a\0b\"", 5), "text a<0>b"},
        {"all short escapes", R"("\"\\\/\b\f\n\r\t")", "text \"\\/<8><c><a><d><9>"},
        {"pair escaped", R"("\ud83d\ude00")", "text <d83d><de00>"},
        {"pair raw", "\"\xf0\x9f\x98\x80\"", "text <d83d><de00>"},
        {"lone high surrogate", R"("\ud800")", "text <d800>"},
        {"lone low surrogate", R"("\udc00")", "text <dc00>"},
        {"surrogates in wrong order", R"("\ude00\ud83d")", "text <de00><d83d>"},
        {"noncharacter", R"("\uffff")", "text <ffff>"},
        {"BOM inside", "\"a\xef\xbb\xbf\"", "text a<feff>"},
        {"right to left override", R"("\u202e")", "text <202e>"},
        {"markup", R"("<img src='http://x/'>")", "text <img src='http://x/'>"},
        {"format signs", R"("%1 %s %n {}")", "text %1 %s %n {}"},
        {"escape of three digits", R"("\u123")", nullptr},
        {"escape of no hexadecimal digits", R"("\uzzzz")", nullptr},
        {"escape at the end", R"("\)", nullptr},
        {"no end", R"("abc)", nullptr},
        {"overlong /", "\"\xc0\xaf\"", nullptr},
        {"overlong NUL", "\"\xc0\x80\"", nullptr},
        {"surrogate in UTF-8", "\"\xed\xa0\x80\"", nullptr},
        {"beyond Unicode", "\"\xf4\x90\x80\x80\"", nullptr},
        {"five bytes", "\"\xf8\x88\x80\x80\x80\"", nullptr},
        {"continuation alone", "\"\x80\"", nullptr},
        {"lead byte alone", "\"\xc3\"", nullptr},
        {"lead byte at the end", "\"\xc3", nullptr},
        {"FF", "\"\xff\"", nullptr},
        {"Latin-1", "\"\xe4rger\"", nullptr},
    };
    for (const auto &each : texts) {
        row(Bytes("text, ") + each.name, eventWith(each.json),
            each.value ? Bytes("/a: ") + each.value + ", type 0, ----" : Bytes("dropped"));
    }
    row("keyword with invalid UTF-8", keyEvent("\"keyword\":\"/a\xff\""), "dropped");
    row("keyword a lone surrogate", keyEvent(R"("keyword":"/\ud800")"), "taken");

    // Nesting: Qt reads 1024 levels, of which the message itself takes two.
    row("1022 lists", eventWith(nested("[", "]", 1022)), "/a: list of 1, type 0, ----");
    row("1023 lists", eventWith(nested("[", "]", 1023)), "dropped");
    row("1022 objects",
        eventWith(R"({"a":)" + nested(R"({"a":)", "}", 1020).replace(":}", ":{}}") + '}'),
        "/a: object of a, type 0, ----");
    row("100 000 lists", eventWith(nested("[", "]", 100000)), "dropped");
    row("100 000 lists that do not end", eventWith(Bytes(100000, '[')), "dropped");
    row("100 000 objects that do not end", Bytes(R"({"cmd":)").repeated(100000), "dropped");
    row("100 000 ends", Bytes(100000, ']'), "dropped");
    row("deep where nobody reads",
        keyEvent(R"("x":)" + nested("[", "]", 1023) + R"(,"keyword":"/a")"), "dropped");
    row("deep in cmd", message(nested("[", "]", 1000), R"({"keyword":"/a"})"), "dropped");

    // Replies to index queries. The identifier is read by QUuid.
    const Bytes plain = "3f2504e0-4f89-41d3-9a0c-0305e82c3301";
    const struct
    {
        const char *name;
        Bytes json;
        bool good;
    } uuids[] = {
        {"with braces", "\"{" + plain + "}\"", true},
        {"without braces", '"' + plain + '"', true},
        {"in capitals", '"' + plain.toUpper() + '"', true},
        {"escaped", R"("\u0033)" + plain.mid(1) + '"', true},
        {"all zero", R"("{00000000-0000-0000-0000-000000000000}")", false},
        {"one digit short", '"' + plain.chopped(1) + '"', false},
        {"cut in the middle", '"' + plain.left(18) + '"', false},
        {"no hexadecimal digit", R"("g)" + plain.mid(1) + '"', false},
        {"no hyphens", '"' + Bytes(plain).replace("-", "") + '"', false},
        {"brackets", "\"[" + plain + "]\"", false},
        {"a blank in front", "\" " + plain + '"', false},
        {"a URN", "\"urn:uuid:" + plain + '"', false},
        {"empty", R"("")", false},
        {"NUL", R"("\u0000")", false},
        {"a word", R"("uuid")", false},
        {"a number", "1", false},
        {"null", "null", false},
        {"true", "true", false},
        {"a list", "[\"" + plain + "\"]", false},
        {"an object", "{\"" + plain + "\":1}", false},
        {"64 KiB", '"' + Bytes(65536, '3') + '"', false},
    };
    for (const auto &each : uuids) {
        row(Bytes("uuid, ") + each.name, answerTo(each.json),
            each.good ? "answer " + plain : Bytes("dropped"));
    }
    for (const char *request : {"null", "1", "[]", R"("x")", "{}", R"({"id":1})"})
        row(Bytes("request ") + request,
            message(R"("keyIndex")", R"({"response":[],"request":)" + Bytes(request) + '}'),
            "dropped");
    row("uuid beside the request",
        message(R"("keyIndex")", R"({"uuid":")" + plain + R"(","request":{}})"), "dropped");
    for (const char *response : {"null", "1", "{}", R"("x")", "[[[]]]", "[null,1,{}]"})
        row(Bytes("response ") + response, answerTo('"' + plain + '"', response),
            "answer " + plain);
    row("no response", message(R"("keyIndex")", R"({"request":{"uuid":")" + plain + R"("}})"),
        "answer " + plain);
}

void tst_HostileMessages::message_hasItsReaction()
{
    QFETCH(Bytes, bytes);
    QFETCH(QString, reaction);
    Listener listener;

    QCOMPARE(listener.reactionTo(bytes), reaction);

    // The bound keyword shows exactly this, the reply is complete, and nothing was sent to the
    // server.
    const bool isRecord = reaction.startsWith(QLatin1Char('/'));
    const PKeywordProxy &proxy = listener.proxy;
    QCOMPARE(shown(proxy.value()), isRecord ? shown(listener.record.value) : q("nothing"));
    QCOMPARE(int(proxy.valueType()), isRecord ? int(listener.record.type) : 0);
    QCOMPARE(flagsOf(proxy.connected(), proxy.online(), proxy.consistent(), proxy.error()),
             isRecord ? reaction.right(4) : q("--c-"));
    if (reaction.startsWith(q("answer")))
        QCOMPARE(listener.answer, QJsonDocument::fromJson(bytes).object());
    QCOMPARE(listener.client.taken(), QString());

    // The client still processes messages.
    QVERIFY(listener.client.event(q("/a"), q("\"good\"")));
    QCOMPARE(listener.proxy.value(), QVariant(q("good")));
}

void tst_HostileMessages::hugeMessage_hasItsReaction_data()
{
    QTest::addColumn<MakeBytes>("make");
    QTest::addColumn<QString>("reaction");
    const auto row = [](const char *name, MakeBytes make, const char *reaction) {
        QTest::newRow(name) << make << q(reaction);
    };
    row(
        "value of 64 MiB", [] { return eventWith('"' + Bytes(64 * mebi, 'x') + '"'); },
        "/a: text 67108864 letters, type 0, ----");
    row(
        "value of 64 MiB, cut off", [] { return eventWith('"' + Bytes(64 * mebi, 'x')); },
        "dropped");
    row(
        "keyword of 64 MiB",
        [] { return keyEvent(R"("keyword":"/)" + Bytes(64 * mebi, 'x') + '"'); }, "taken");
    row(
        "member name of 64 MiB",
        [] { return keyEvent("\"" + Bytes(64 * mebi, 'x') + R"(":1,"keyword":"/a")"); },
        "/a: nothing, type 0, ----");
    row(
        "cmd of 64 MiB", [] { return message('"' + Bytes(64 * mebi, 'x') + '"', "{}"); },
        "dropped");
    row(
        "64 MiB of blanks in front",
        [] { return Bytes(64 * mebi, ' ') + keyEvent(R"("keyword":"/a")"); },
        "/a: nothing, type 0, ----");
    row(
        "64 MiB of NUL", [] { return Bytes(64 * mebi, '\0'); }, "dropped");
    row(
        "64 MiB of [", [] { return Bytes(64 * mebi, '['); }, "dropped");
    row(
        "list of a million", [] { return eventWith('[' + Bytes("0,").repeated(999999) + "0]"); },
        "/a: list of 1000000, type 0, ----");
    row(
        "a million members of one name",
        [] {
            return keyEvent(Bytes(R"("keyword":"/b",)").repeated(1000000) + R"("keyword":"/a")");
        },
        "/a: nothing, type 0, ----");
}

void tst_HostileMessages::hugeMessage_hasItsReaction()
{
    QFETCH(MakeBytes, make);
    QFETCH(QString, reaction);
    Listener listener;

    QCOMPARE(listener.reactionTo(make()), reaction);

    QVERIFY(listener.client.event(q("/a"), q("\"good\"")));
    QCOMPARE(listener.proxy.value(), QVariant(q("good")));
}

void tst_HostileMessages::duplicatedMembers_theLastCounts()
{
    Listener listener;
    QCOMPARE(listener.reactionTo(R"({"cmd":"x","cmd":"keyEvent","payload":1,)"
                                 R"("payload":{"keyword":"/b","keyword":"/a","value":1,"value":2,)"
                                 R"("error":true,"error":false,"type":"bool","type":"int"}})"),
             q("/a: int 2, type 5, ----"));
    QCOMPARE(listener.reactionTo(R"({"cmd":"keyEvent","payload":{"keyword":"/a"},"payload":1})"),
             q("taken"));
    QCOMPARE(listener.reactionTo(R"({"cmd":"keyEvent","cmd":null,"payload":{"keyword":"/a"}})"),
             q("dropped"));
}

// Rows as "keyword normalizedKeyword name type letter", sorted and separated by " | ".
void tst_HostileMessages::indexAnswer_givesTheseRows_data()
{
    QTest::addColumn<Bytes>("payload");
    QTest::addColumn<QString>("rows");
    const auto row = [](const Bytes &name, const Bytes &payload, const char *rows) {
        QTest::newRow(name.constData()) << R"({"request":{"uuid":"ID"})" + payload + '}' << q(rows);
    };
    for (const char *response : {"null", "true", "5", R"("text")", "{}", R"({"name":"/a"})", "[]"})
        row(Bytes("response ") + response, R"(,"response":)" + Bytes(response), "");
    row("no response", "", "");
    row("response with another name", R"(,"Response":[{"name":"/a"}])", "");

    const auto items = [&row](const Bytes &name, const Bytes &list, const char *rows) {
        row(name, R"(,"response":[)" + list + ']', rows);
    };
    for (const char *item : {"null", "true", "5", R"("/a")", "[]", R"([{"name":"/a"}])", "{}",
                             R"({"Name":"/a"})", R"({"name":null})", R"({"name":""})",
                             R"({"name":[]})", R"({"name":{}})", R"({"name":{"name":"/a"}})"})
        items(Bytes("item ") + item, item, "[/] [/] [] [] >");
    items("name a number", R"({"name":5})", "[/5] [/5] [5] [] >");
    items("name true", R"({"name":true})", "[/true] [/true] [true] [] >");
    items("type a number", R"({"name":"/a","type":5})", "[/a] [/a] [a] [5] >");
    items("type null", R"({"name":"/a","type":null})", "[/a] [/a] [a] [] >");
    items("type a list", R"({"name":"/a","type":["int"]})", "[/a] [/a] [a] [] >");
    items("type in capitals", R"({"name":"/a","type":"INT"})", "[/a] [/a] [a] [INT] >");
    items("type with a blank", R"({"name":"/a","type":"int "})", "[/a] [/a] [a] [int ] >");
    items("all types",
          R"({"name":"/b","type":"bool"},{"name":"/d","type":"double"},{"name":"/i","type":"int"},)"
          R"({"name":"/o","type":"object"},{"name":"/s","type":"string"})",
          "[/b] [/b] [b] [bool] B | [/d] [/d] [d] [double] N | [/i] [/i] [i] [int] N | "
          "[/o] [/o] [o] [object] O | [/s] [/s] [s] [string] T");
    items("separators", R"({"name":"/"},{"name":"#"},{"name":"//"},{"name":"##"})",
          "[/##] [/] [] [] > | [/#] [/] [] [] > | [//] [/] [] [] > | [/] [/] [] [] >");
    items("three slashes", R"({"name":"///a"})", "[///a] [//a] [a] [] >");
    items("separator behind", R"({"name":"/a/b/"},{"name":"/a#"})",
          "[/a#] [/a/] [] [] > | [/a/b/] [/a/b/] [] [] >");
    items("both separators", R"({"name":"a#b/c"})", "[/a#b/c] [/a/b/c] [c] [] >");
    items("one name twice", R"({"name":"/a","type":"int"},{"name":"/a","type":"bool"})",
          "[/a] [/a] [a] [bool] B");
    items("one keyword twice", R"({"name":"/a","type":"int"},{"name":"a","type":"bool"})",
          "[/a] [/a] [a] [bool] B");
    items("one path in two spellings", R"({"name":"/a/b"},{"name":"/a#b"})",
          "[/a#b] [/a/b] [b] [] > | [/a/b] [/a/b] [b] [] >");
    items("a member twice", R"({"name":"/a","name":"/b"})", "[/b] [/b] [b] [] >");
    items("NUL inside", R"({"name":"/a\u0000/b"})", "[/a<0>/b] [/a<0>/b] [b] [] >");
    items("lone surrogate", R"({"name":"/\ud800/\udc00"})",
          "[/<d800>/<dc00>] [/<d800>/<dc00>] [<dc00>] [] >");
    items("line breaks", R"({"name":"/a\n\r\t","type":"\n"})",
          "[/a<a><d><9>] [/a<a><d><9>] [a<a><d><9>] [<a>] >");
    items("blanks", R"({"name":" / "})", "[/ / ] [/ / ] [ ] [] >");
    items("markup", R"({"name":"/<b>x<b>"})", "[/<b>x<b>] [/<b>x<b>] [<b>x<b>] [] >");
    items("a mixture", R"(1,{"name":"/b"},[],null,{"name":"/a","more":{}})",
          "[/] [/] [] [] > | [/a] [/a] [a] [] > | [/b] [/b] [b] [] >");
    items("foreign paths", R"({"name":"/../etc"},{"name":"C:\\x"},{"name":"file:///x"})",
          "[/../etc] [/../etc] [etc] [] > | [/C:\\x] [/C:\\x] [C:\\x] [] > | "
          "[/file:///x] [/file://x] [x] [] >");
}

void tst_HostileMessages::indexAnswer_givesTheseRows()
{
    QFETCH(Bytes, payload);
    QFETCH(QString, rows);
    RecordingClient client;
    PKeywordQueryModel model;
    PKeywordQueryFilterProxyModel filtered;
    filtered.setSourceModel(&model);
    const QAbstractItemModelTester modelTester(&model);
    const QAbstractItemModelTester filteredTester(&filtered);
    model.setKeywordClient(&client);
    const auto answer = [&](Bytes answered) {
        model.setKeyword(q("/x"));
        const QString query = client.sent.constLast();
        const Bytes id = query.mid(query.indexOf(QLatin1Char('{'), 30), 38).toLatin1();
        return client.receiveCommand(message(R"("keyIndex")", answered.replace("ID", id)));
    };
    // Rows to be replaced.
    QVERIFY(answer(R"({"request":{"uuid":"ID"},"response":[{"name":"/old"}]})"));
    QCOMPARE(model.rowCount(), 1);

    QVERIFY(answer(payload));

    QVERIFY(!model.loading());
    QStringList seen;
    for (int i = 0; i < model.rowCount(); ++i) {
        const auto of = [&](int role) {
            return shown(model.index(i, 0).data(role)).remove(0, 5); // all of them are texts
        };
        QCOMPARE(of(PKeywordQueryModel::DisplayNameRole), of(PKeywordQueryModel::NameRole));
        seen << q("[%1] [%2] [%3] [%4] %5")
                    .arg(of(PKeywordQueryModel::KeywordRole),
                         of(PKeywordQueryModel::NormalizedKeywordRole),
                         of(PKeywordQueryModel::NameRole), of(PKeywordQueryModel::TypeRole),
                         of(PKeywordQueryModel::TypeLetterRole));
    }
    seen.sort();
    QCOMPARE(seen.join(q(" | ")), rows);
    QCOMPARE(filtered.rowCount(), model.rowCount());
    filtered.setFilter(q("no such name"));
    QCOMPARE(filtered.rowCount(), 0);
    filtered.setFilter(QString());

    QVERIFY(answer(R"({"request":{"uuid":"ID"},"response":[]})"));
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(filtered.rowCount(), 0);
}

void tst_HostileMessages::indexAnswer_ofAMillionItems()
{
#if defined(__SANITIZE_ADDRESS__)
    constexpr int count = 100000; // with the sanitizer, a million would take minutes
#else
    constexpr int count = 1000000;
#endif
    RecordingClient client;
    client.publisher()->setActive(false); // avoids label requests, which are not tested here
    PKeywordQueryModel model;
    model.setKeywordClient(&client);
    model.setKeyword(q("/x"));
    const QString query = client.sent.constLast();
    Bytes items;
    items.reserve(qsizetype(count) * 32);
    for (int i = 0; i < count; ++i)
        items += R"({"name":"/x/)" + Bytes::number(i) + R"(","type":"int"},)";
    items.chop(1);
    QSignalSpy resets(&model, &PKeywordQueryModel::modelReset);

    const Bytes id = query.mid(query.indexOf(QLatin1Char('{'), 30), 38).toLatin1();
    QVERIFY(client.receiveCommand(answerTo('"' + id + '"', '[' + items + ']')));

    QCOMPARE(resets.count(), 1);
    QCOMPARE(model.rowCount(), count);
    for (const int row : {0, count / 2, count - 1}) {
        const QModelIndex index = model.index(row, 0);
        QVERIFY(index.data(PKeywordQueryModel::KeywordRole).toString().startsWith(q("/x/")));
        QCOMPARE(index.data(PKeywordQueryModel::TypeRole).toString(), q("int"));
    }
    // The label of one of the children still finds its row.
    QSignalSpy changes(&model, &PKeywordQueryModel::dataChanged);
    QVERIFY(client.event(q("/x/77777/Label"), q("\"Seven\"")));
    QCOMPARE(changes.count(), 1);
    QCOMPARE(changes.at(0).at(0).toModelIndex().data(PKeywordQueryModel::KeywordRole).toString(),
             q("/x/77777"));
    QCOMPARE(changes.at(0).at(0).toModelIndex().data(PKeywordQueryModel::NameRole).toString(),
             q("Seven"));
}

void tst_HostileMessages::labels_areShownAsText_data()
{
    QTest::addColumn<Bytes>("value");
    QTest::addColumn<QString>("name");
    const auto row = [](const Bytes &value, const char *name) {
        QTest::newRow(value.constData()) << value << q(name);
    };
    // A value that is not a string, or is empty, does not change the name.
    for (const char *value : {"null", R"("")", "[]", R"(["x"])", "{}", R"({"a":1})"})
        row(value, "b");
    row("7", "7");
    row("true", "true");
    row("1e300", "1e+300");
    row(R"(" ")", " ");
    row(R"("\u0000")", "<0>");
    row(R"("\ud800")", "<d800>");
    row(R"("<b>bold<\/b>")", "<b>bold</b>");
    row(R"("\n")", "<a>");
}

void tst_HostileMessages::labels_areShownAsText()
{
    QFETCH(Bytes, value);
    QFETCH(QString, name);
    RecordingClient client;
    PKeywordQueryModel model;
    PKeywordQueryFilterProxyModel filtered;
    filtered.setSourceModel(&model);
    const QAbstractItemModelTester modelTester(&model);
    const QAbstractItemModelTester filteredTester(&filtered);
    model.setKeywordClient(&client);
    model.setKeyword(q("/a"));
    const QString query = client.sent.constLast();
    const Bytes id = query.mid(query.indexOf(QLatin1Char('{'), 30), 38).toLatin1();
    QVERIFY(client.receiveCommand(answerTo('"' + id + '"', R"([{"name":"/a/b"}])")));

    QVERIFY(client.receiveCommand(keyEvent(R"("keyword":"/a/b/Label","value":)" + value)));

    const QVariant got = filtered.index(0, 0).data(PKeywordQueryModel::DisplayNameRole);
    QCOMPARE(shown(got), q("text ") + name);
}

// Over a real connection: either the text arrives, or nothing.
void tst_HostileMessages::frames_overAWebSocket_data()
{
    QTest::addColumn<bool>("binary");
    QTest::addColumn<Bytes>("bytes");
    QTest::addColumn<QString>("value");
    const Bytes good = eventWith("1");
    QTest::newRow("text") << false << good << q("int 1");
    QTest::newRow("binary, a good message") << true << good << q("nothing");
    QTest::newRow("binary, empty") << true << Bytes() << q("nothing");
    QTest::newRow("binary, NULs") << true << Bytes(1000, '\0') << q("nothing");
    QTest::newRow("binary, 1 MiB") << true << Bytes(mebi, '\xff') << q("nothing");
    QTest::newRow("text, empty") << false << Bytes() << q("nothing");
    QTest::newRow("text, NUL inside") << false << eventWith("\"a\0b\"") << q("nothing");
    QTest::newRow("text, no JSON") << false << Bytes("hello") << q("nothing");
    QTest::newRow("text, with a BOM") << false << "\xef\xbb\xbf" + good << q("int 1");
    QTest::newRow("text, pair of surrogates")
        << false << eventWith("\"\xf0\x9f\x98\x80\"") << q("text <d83d><de00>");
    QTest::newRow("text, noncharacter")
        << false << eventWith("\"\xef\xbf\xbf\"") << q("text <ffff>");
    QTest::newRow("text, 1 MiB") << false << eventWith('"' + Bytes(mebi, 'x') + '"')
                                 << q("text 1048576 letters");
    QTest::newRow("text, 100 000 lists")
        << false << eventWith(nested("[", "]", 100000)) << q("nothing");
}

void tst_HostileMessages::frames_overAWebSocket()
{
    QFETCH(bool, binary);
    QFETCH(Bytes, bytes);
    QFETCH(QString, value);
    QWebSocketServer server(q("test"), QWebSocketServer::NonSecureMode);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    SocketClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    PKeywordProxy last;
    last.setClient(&client);
    last.setKeyword(q("/last"));
    client.setUrls({q("ws://127.0.0.1:%1").arg(server.serverPort())});
    QTRY_VERIFY(server.hasPendingConnections());
    const std::unique_ptr<QWebSocket> socket(server.nextPendingConnection());
    QTRY_VERIFY(client.connected());

    if (binary)
        socket->sendBinaryMessage(bytes);
    else
        socket->sendTextMessage(QString::fromUtf8(bytes));
    socket->sendTextMessage(QString::fromUtf8(keyEvent(R"("keyword":"/last","value":true)")));

    QTRY_COMPARE(last.value(), QVariant(true)); // still connected and responsive
    QCOMPARE(shown(proxy.value()), value);
    QVERIFY(client.connected());
}

// Frames that violate the WebSocket protocol: the connection is closed and retried, and nothing was
// published.
void tst_HostileMessages::brokenFrames_endTheConnection_data()
{
    QTest::addColumn<Bytes>("frames");
    const Bytes good = keyEvent(R"("keyword":"/a","value":1)");
    const Bytes length(1, char(good.size()));
    QVERIFY(good.size() < 126);
    QTest::newRow("text of invalid UTF-8") << Bytes("\x81\x02\xff\xfe");
    QTest::newRow("text cut inside a letter") << Bytes("\x81\x01\xc3");
    QTest::newRow("unknown kind of frame") << "\x83" + length + good;
    QTest::newRow("reserved bit") << "\xc1" + length + good;
    QTest::newRow("continuation of nothing") << "\x80" + length + good;
    QTest::newRow("text inside a text") << "\x01\x01{\x81" + length + good;
    QTest::newRow("ping in pieces") << Bytes("\x09\x00", 2);
    QTest::newRow("ping too long") << "\x89\x7e" + Bytes("\x00\x80", 2) + Bytes(128, 'x');
    QTest::newRow("length of 63 bits") << "\x81\x7f\x7f" + Bytes(7, '\xff');
    QTest::newRow("length of 64 bits") << "\x81\x7f\xff" + Bytes(7, '\xff');
    QTest::newRow("close") << Bytes("\x88\x00", 2);
    QTest::newRow("close with half a code") << Bytes("\x88\x01\x03");
    QTest::newRow("close with a code that there is not") << Bytes("\x88\x02\xff\xff");
}

void tst_HostileMessages::brokenFrames_endTheConnection()
{
    QFETCH(Bytes, frames);
    RawServer server(goodHandshake + frames);
    const Warnings warnings;
    SocketClient client;
    PKeywordProxy proxy;
    proxy.setClient(&client);
    proxy.setKeyword(q("/a"));
    QSignalSpy values(&proxy, &PKeywordProxy::valueChanged);
    QSignalSpy connections(&client, &SocketClient::connectedChanged);
    client.setAutoReconnect(true);

    client.setUrls({server.url()});

    QTRY_COMPARE(server.answered, 2); // the client has reconnected
    QCOMPARE(values.count(), 0);
    QVERIFY(connections.count() >= 2);
}

void tst_HostileMessages::refusedHandshake_isLoggedQuoted_data()
{
    QTest::addColumn<Bytes>("reason");
    QTest::addColumn<QString>("quoted");
    QTest::newRow("control sequence of one byte") << Bytes("\x9bred") << q("418 (\\u009Bred)");
    // Later versions of Qt do not accept this text as a status.
    QTest::newRow("escape and bell") << Bytes("\x1b[31mred\a") << q("");
}

void tst_HostileMessages::refusedHandshake_isLoggedQuoted()
{
    QFETCH(Bytes, reason);
    QFETCH(QString, quoted);
    const RawServer server("HTTP/1.1 418 " + reason + "\r\nX: y\r\n\r\n");
    const Warnings warnings;
    SocketClient client;

    client.setUrls({server.url()});

    QTRY_VERIFY(!warnings.texts().isEmpty());
    QVERIFY(!client.connected());
    const QString logged = warnings.texts().join(QString());
    QVERIFY2(logged.contains(quoted), qPrintable(logged));
    for (const QChar c : logged)
        QVERIFY2(c.isPrint(), qPrintable(logged));
}

QTEST_GUILESS_MAIN(tst_HostileMessages)

#include "tst_hostilemessages.moc"
