// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordserver.h"
#include "server/keywordsession.h"

#include <QtCore/QBuffer>
#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QPointer>
#include <QtCore/QProperty>
#include <QtCore/QRegularExpression>
#include <QtCore/QThread>
#include <QtCore/QTimeZone>
#include <QtCore/QUrl>
#include <QtCore/QUuid>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <thread>
#include <utility>

using namespace pellix::server;
using namespace std::chrono_literals;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QByteArray json(const QJsonValue &value)
{
    const QByteArray array = QJsonDocument(QJsonArray {value}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

// Records events as "keyword=value flags".
class Client : public QObject
{
public:
    explicit Client(KeywordServer *server) : session(server->openSession())
    {
        connect(session.get(), &KeywordSession::send, this, [this](const QByteArray &message) {
            const QJsonObject payload =
                QJsonDocument::fromJson(message).object().value(q("payload")).toObject();
            QString flags;
            for (const char *flag : {"connected", "online", "consistent", "error"})
                flags += payload.value(q(flag)).toBool() ? QLatin1Char(flag[0]) : QLatin1Char('-');
            seen << q("%1=%2 %3")
                        .arg(payload.value(q("keyword")).toString(),
                             QString::fromUtf8(json(payload.value(q("value")))), flags);
            type = payload.value(q("type")).toString();
            if (onEvent)
                onEvent();
        });
    }

    void watch(const char *path)
    {
        session->receive(
            q(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"%1"}})").arg(q(path)).toUtf8());
    }
    void update(const char *path, const char *value, const char *more = "")
    {
        session->receive(q(R"({"cmd":"keyUpdate","payload":{"keyword":"%1","value":%2%3}})")
                             .arg(q(path), q(value), q(more))
                             .toUtf8());
    }
    QString taken() { return std::exchange(seen, {}).join(q(" | ")); }

    std::unique_ptr<KeywordSession> session;
    QStringList seen;
    QString type; // in the last event
    std::function<void()> onEvent;
};

QStringList logged;

void recordObjects(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (QLatin1String(context.category) == QLatin1String("pellixclient.server.objects"))
        logged << (type == QtInfoMsg ? q("info: ") : q("warning: ")) + text;
}

} // namespace

enum class Nameless {
    Zero,
    One
};

struct Size
{
    Q_GADGET
    Q_PROPERTY(double width MEMBER width)
    Q_PROPERTY(int height MEMBER height)
    Q_PROPERTY(double area READ area)

public:
    double area() const { return width * height; }

    double width = 1.5;
    int height = 2;
    friend bool operator==(const Size &a, const Size &b)
    {
        return a.width == b.width && a.height == b.height;
    }
    friend bool operator!=(const Size &a, const Size &b) { return !(a == b); }
};

struct Component
{
    Q_GADGET
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(Size size MEMBER size)
    Q_PROPERTY(QObject *owner MEMBER owner)
    Q_PROPERTY(QList<Component> parts READ parts WRITE setParts)

public:
    QList<Component> parts() const { return children; }
    void setParts(const QList<Component> &parts) { children = parts; }

    QString name;
    Size size;
    QObject *owner = nullptr;
    QList<Component> children;
};
Q_DECLARE_METATYPE(Component)

// Has one property of each type.
class Values : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool boolean MEMBER boolean NOTIFY changed)
    Q_PROPERTY(int int32 MEMBER int32 NOTIFY changed)
    Q_PROPERTY(quint8 byte MEMBER byte NOTIFY changed)
    Q_PROPERTY(char character MEMBER character NOTIFY changed)
    Q_PROPERTY(short int16 MEMBER int16 NOTIFY changed)
    Q_PROPERTY(uint uint32 MEMBER uint32 NOTIFY changed)
    Q_PROPERTY(long longNumber MEMBER longNumber NOTIFY changed)
    Q_PROPERTY(ulong ulongNumber MEMBER ulongNumber NOTIFY changed)
    Q_PROPERTY(qint64 int64 MEMBER int64 NOTIFY changed)
    Q_PROPERTY(quint64 uint64 MEMBER uint64 NOTIFY changed)
    Q_PROPERTY(double real MEMBER real NOTIFY changed)
    Q_PROPERTY(float single MEMBER single NOTIFY changed)
    Q_PROPERTY(QString text MEMBER text NOTIFY changed)
    Q_PROPERTY(QByteArray bytes MEMBER bytes NOTIFY changed)
    Q_PROPERTY(QChar letter MEMBER letter NOTIFY changed)
    Q_PROPERTY(QUrl url MEMBER url NOTIFY changed)
    Q_PROPERTY(QUuid id MEMBER id NOTIFY changed)
    Q_PROPERTY(QDate date MEMBER date NOTIFY changed)
    Q_PROPERTY(QTime time MEMBER time NOTIFY changed)
    Q_PROPERTY(QDateTime moment MEMBER moment NOTIFY changed)
    Q_PROPERTY(Mode mode MEMBER mode NOTIFY changed)
    Q_PROPERTY(Options options READ flags WRITE setFlags NOTIFY changed)
    Q_PROPERTY(Nameless nameless MEMBER nameless NOTIFY changed)
    Q_PROPERTY(QStringList strings MEMBER strings NOTIFY changed)
    Q_PROPERTY(QVariantList list MEMBER list NOTIFY changed)
    Q_PROPERTY(QVariantMap map MEMBER map NOTIFY changed)
    Q_PROPERTY(QVariantHash hash MEMBER hash NOTIFY changed)
    Q_PROPERTY(QList<int> numbers MEMBER numbers NOTIFY changed)
    Q_PROPERTY(std::vector<double> reals MEMBER reals NOTIFY changed)
    Q_PROPERTY(QList<Mode> modes MEMBER modes NOTIFY changed)
    Q_PROPERTY(QMap<QString, int> counts MEMBER counts NOTIFY changed)
    Q_PROPERTY(Size size MEMBER size NOTIFY changed)
    Q_PROPERTY(QList<Size> sizes MEMBER sizes NOTIFY changed)
    Q_PROPERTY(QJsonObject object MEMBER object NOTIFY changed)
    Q_PROPERTY(QJsonArray array MEMBER array NOTIFY changed)
    Q_PROPERTY(QJsonValue jsonValue MEMBER jsonValue NOTIFY changed)
    Q_PROPERTY(QVariant anything MEMBER anything NOTIFY changed)

public:
    enum Mode : quint8 {
        Off,
        Manual,
        Automatic = 200
    };
    Q_ENUM(Mode)
    enum Option {
        Valve = 1,
        Pump = 2,
        Heater = 4
    };
    Q_DECLARE_FLAGS(Options, Option)
    Q_FLAG(Options)

    // moc does not support flags with MEMBER.
    Options flags() const { return options; }
    void setFlags(Options flags)
    {
        options = flags;
        Q_EMIT changed();
    }

    bool boolean = true;
    int int32 = -7;
    quint8 byte = 200;
    char character = 'A';
    short int16 = -3;
    uint uint32 = 4000000000U;
    long longNumber = -5;
    ulong ulongNumber = 5;
    qint64 int64 = std::numeric_limits<qint64>::max();
    quint64 uint64 = 9;
    double real = 2.5;
    float single = 0.5F;
    QString text = q("Tür");
    QByteArray bytes = "K\xc3\xa4se";
    QChar letter = QLatin1Char('x');
    QUrl url = QUrl(q("http://a.example/ä b"));
    QUuid id = QUuid(q("{00000001-0002-0003-0405-060708090a0b}"));
    QDate date = QDate(2026, 2, 3);
    QTime time = QTime(4, 5, 6, 70);
    QDateTime moment = QDateTime(QDate(2026, 2, 3), QTime(4, 5, 6, 70), QTimeZone(7200));
    Mode mode = Manual;
    Options options = Options(Valve | Heater);
    Nameless nameless = Nameless::One;
    QStringList strings = {q("a"), q("b")};
    QVariantList list = {1, q("a"), QVariant()};
    QVariantMap map = {{q("a"), 1.5}};
    QVariantHash hash = {{q("a"), QVariantList {true}}};
    QList<int> numbers = {1, 2};
    std::vector<double> reals = {0.5, std::numeric_limits<double>::infinity()};
    QList<Mode> modes = {Off, Automatic};
    QMap<QString, int> counts = {{q("a"), 1}};
    Size size;
    QList<Size> sizes = {Size()};
    QJsonObject object = {{q("a"), QJsonValue()}};
    QJsonArray array = {1, q("a")};
    QJsonValue jsonValue = q("json");
    QVariant anything = 12;

Q_SIGNALS:
    void changed();
};

// The object that most of the tests serve.
class Tank : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("Label.level", "Level in %")
    Q_PROPERTY(double level READ level WRITE setLevel NOTIFY levelChanged)
    Q_PROPERTY(bool full READ isFull NOTIFY levelChanged)
    Q_PROPERTY(QString serial READ serial CONSTANT)

public:
    using QObject::QObject;

    double level() const
    {
        ++reads;
        const double value = now;
        const auto hook = onRead; // may delete this
        if (hook)
            hook();
        return value;
    }
    void setLevel(double level)
    {
        const auto hook = onWrite; // may delete this
        const double limited = qMin(level, 100.0);
        if (limited != now) {
            now = limited;
            Q_EMIT levelChanged();
        }
        if (hook)
            hook();
    }
    bool isFull() const { return now > 90; }
    QString serial() const { return q("T-1"); }

    mutable int reads = 0;
    mutable std::function<void()> onRead;
    std::function<void()> onWrite;

Q_SIGNALS:
    void levelChanged();

private:
    double now = 41.5;
};

// Has properties in its base class that change during its destruction.
class Base : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int base READ base WRITE setBase NOTIFY baseChanged)

public:
    ~Base() override { setBase(-1); }
    int base() const { return value; }
    void setBase(int base)
    {
        value = base;
        Q_EMIT baseChanged();
    }

Q_SIGNALS:
    void baseChanged();

private:
    int value = 1;
};

class Derived : public Base
{
    Q_OBJECT
    Q_PROPERTY(QString text READ text NOTIFY baseChanged)

public:
    QString text() const { return *owned; }

private:
    std::unique_ptr<QString> owned = std::make_unique<QString>(q("derived"));
};

// The generated code of the property uses one of these operators, depending on the version of Qt.
inline bool operator==(const Component &a, const Component &b)
{
    return a.name == b.name;
}
inline bool operator!=(const Component &a, const Component &b)
{
    return !(a == b);
}

// Its properties have no change signals.
class Silent : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int silent MEMBER silent)
    Q_PROPERTY(int fixed MEMBER fixed CONSTANT)

public:
    int silent = 1;
    int fixed = 2;
};

class Bindable : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int number READ number WRITE setNumber BINDABLE bindableNumber)

public:
    int number() const { return data; }
    void setNumber(int number) { data = number; }
    QBindable<int> bindableNumber() { return &data; }

private:
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Bindable, int, data, 3)
};

// Has properties of types that keywords do not support.
class Lossy : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QObject *pointer MEMBER pointer NOTIFY changed)
    Q_PROPERTY(QList<QObject *> pointers MEMBER pointers NOTIFY changed)
    Q_PROPERTY(Component part MEMBER part NOTIFY changed)

public:
    QObject *pointer = nullptr;
    QList<QObject *> pointers;
    Component part;

Q_SIGNALS:
    void changed();
};

// Redefines a property of its base class.
class Shadow : public Base
{
    Q_OBJECT
    Q_PROPERTY(QString base READ text CONSTANT)

public:
    QString text() const { return q("anew"); }
};

class Pipe : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int flow READ flow CONSTANT)
    Q_PROPERTY(int level MEMBER level NOTIFY levelChanged)

public:
    int flow() const { return 5; }
    int level = 6;

Q_SIGNALS:
    void levelChanged();
};

class tst_Serve : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void serve_declaresTheProperties();
    void serve_takesBasesAndTheLastOfEachName();
    void serve_leavesObjectNameOutUnlessAsked();
    void serve_refusesWhatCannotBeServed();
    void serve_refusesAnObjectOfAnotherThread();
    void moved_isNeitherReadNorWritten();
    void serve_refusesMoreThanTheLimit();
    void serve_atTwoPaths();
    void types_data();
    void types();
    void types_allHaveARow();
    void values_data();
    void values();
    void writes_data();
    void writes();
    void writes_toGadgetsKeepWhatIsNotGiven();
    void dynamic_changesItsType();
    void missingTypes_areReportedOnce();
    void notify_tellsOnlyWhatChanged();
    void notify_inTheSetterTwiceAndForOthers();
    void notify_fromAnotherThread();
    void notify_insideTheGetter();
    void bindable_isFollowed();
    void bindable_bindingIsFollowed();
    void silent_isReadOnceAndSaysSo();
    void silent_isPolled();
    void label_ofTheClassAndTheOptions();
    void label_ofNoPropertyIsReported();
    void write_takesWhatThePropertyHasAfterwards();
    void write_isAudited();
    void write_relative();
    void write_toNoValueIsRefused();
    void write_ofAReadOnlyPropertyIsRefused();
    void destroyed_keepsTheValuesNotConnected();
    void destroyed_anotherTakesThePlace();
    void destroyed_anotherTakesThePlaceAtOnce();
    void serve_replacesAnObjectThatIsAlive();
    void stopServing_removesTheKeywords();
    void clear_endsServing();
    void keyword_declaredAnewKeepsItsType();
    void server_goesBeforeItsObjects();
    void baseDestructor_doesNotReadWhatIsGone();
    void hostile_objectGoes_data();
    void hostile_objectGoes();
    void hostile_duringAWrite_data();
    void hostile_duringAWrite();
    void hostile_inTheGetterWhileServed_data();
    void hostile_inTheGetterWhileServed();
    void hostile_inTheGetterLater_data();
    void hostile_inTheGetterLater();
    void hostile_whilePolled_data();
    void hostile_whilePolled();
    void hostile_whileBound_data();
    void hostile_whileBound();
    void manyObjects_costNothingPerChange();
    void qmlObject_isServed();

private:
    // An action of a handler.
    void destroy(const QString &victim);

    std::unique_ptr<KeywordServer> server;
    QPointer<QObject> victim;
    Pipe replacement;
};

void tst_Serve::init()
{
    QTest::failOnWarning(QRegularExpression(q(".*")));
    server = std::make_unique<KeywordServer>();
}

void tst_Serve::cleanup()
{
    server.reset();
    delete victim;
}

void tst_Serve::destroy(const QString &what)
{
    if (what == q("object"))
        delete victim;
    else if (what == q("server"))
        server.reset();
    else if (what == q("serving"))
        server->stopServing(q("/t"));
    else if (what == q("replaced"))
        server->serve(&replacement, q("/t"));
    else if (what == q("cleared"))
        server->clear();
    else if (what == q("all")) {
        delete victim;
        server.reset();
    }
}

void tst_Serve::serve_declaresTheProperties()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("#plant/t#")));
    QCOMPARE(server->keywordCount(), 3);
    QCOMPARE(server->value(q("/plant/t/level")), QVariant(41.5));
    QCOMPARE(server->value(q("/plant/t/full")), QVariant(false));
    QCOMPARE(server->value(q("/plant/t/serial")), QVariant(q("T-1")));

    Client client(server.get());
    client.watch("/plant/t/level");
    QCOMPARE(client.taken(), q("/plant/t/level=41.5 coc-"));
}

void tst_Serve::serve_takesBasesAndTheLastOfEachName()
{
    Derived derived;
    QVERIFY(server->serve(&derived, q("/d")));
    QCOMPARE(server->keywordCount(), 2);
    QCOMPARE(server->value(q("/d/base")), QVariant(1));
    QCOMPARE(server->value(q("/d/text")), QVariant(q("derived")));

    Shadow shadow;
    QVERIFY(server->serve(&shadow, q("/s")));
    shadow.setBase(5);
    QCOMPARE(server->value(q("/s/base")), QVariant(q("anew")));
}

void tst_Serve::serve_leavesObjectNameOutUnlessAsked()
{
    Tank tank;
    tank.setObjectName(q("north"));
    QVERIFY(server->serve(&tank, q("/t")));
    QVERIFY(!server->contains(q("/t/objectName")));

    ServeOptions options;
    options.servesObjectName = true;
    QVERIFY(server->serve(&tank, q("/t"), options));
    QCOMPARE(server->value(q("/t/objectName")), QVariant(q("north")));
    tank.setObjectName(q("south"));
    QCOMPARE(server->value(q("/t/objectName")), QVariant(q("south")));
}

void tst_Serve::serve_refusesWhatCannotBeServed()
{
    QTest::ignoreMessage(QtWarningMsg, "cannot serve an object at \"/t\": it is null");
    QVERIFY(!server->serve(nullptr, q("/t")));
    Tank tank;
    for (const char *path : {"", "/", "#/"}) {
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(q("cannot serve Tank at \".*\": the path names no "
                                                  "level, such as \"/plant\"")));
        QVERIFY(!server->serve(&tank, q(path)));
    }
    QObject plain;
    QTest::ignoreMessage(QtWarningMsg,
                         "cannot serve QObject at \"/t\": it has no property that can be served. "
                         "Does its class contain Q_OBJECT?");
    QVERIFY(!server->serve(&plain, q("/t")));
    QCOMPARE(server->keywordCount(), 0);
}

void tst_Serve::serve_refusesAnObjectOfAnotherThread()
{
    Tank tank;
    QThread thread;
    tank.moveToThread(&thread);
    QTest::ignoreMessage(
        QtWarningMsg,
        "cannot serve Tank at \"/t\": it lives in a different thread than the server");
    QVERIFY(!server->serve(&tank, q("/t")));
    QCOMPARE(server->keywordCount(), 0);
    QCOMPARE(tank.reads, 0);
}

void tst_Serve::moved_isNeitherReadNorWritten()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("/t")));
    const QVariant before = server->value(q("/t/level"));
    const int reads = tank.reads;
    QThread thread;
    tank.moveToThread(&thread);
    Q_EMIT tank.levelChanged();
    Client client(server.get());
    client.watch("/t/setpoint");
    client.taken();
    client.update("/t/setpoint", "77");
    QVERIFY2(client.taken().endsWith(QLatin1String("e")), "the write was not refused");
    QCoreApplication::processEvents();
    QCOMPARE(server->value(q("/t/level")), before);
    QCOMPARE(tank.reads, reads);
}

void tst_Serve::serve_refusesMoreThanTheLimit()
{
    Limits limits;
    limits.keywords = 3;
    server->setLimits(limits);
    Tank tank, second;
    QVERIFY(server->serve(&tank, q("/t")));
    QTest::ignoreMessage(QtWarningMsg,
                         "cannot serve Tank at \"/u\": there would be too many keywords. "
                         "Limits::keywords can be raised");
    QVERIFY(!server->serve(&second, q("/u")));
    QCOMPARE(server->keywordCount(), 3);
    QCOMPARE(server->statistics().refusedDeclarations, quint64(1));

    // The keywords of the replaced object make room.
    Pipe pipe;
    QVERIFY(server->serve(&pipe, q("/t")));
    QVERIFY(server->serve(&second, q("/t")));
}

void tst_Serve::serve_atTwoPaths()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("/t")));
    QVERIFY(server->serve(&tank, q("/u")));
    tank.setLevel(50);
    QCOMPARE(server->value(q("/t/level")), QVariant(50.0));
    QCOMPARE(server->value(q("/u/level")), QVariant(50.0));
    QVERIFY(server->stopServing(q("/t")));
    tank.setLevel(60);
    QCOMPARE(server->value(q("/u/level")), QVariant(60.0));
}

void tst_Serve::types_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QByteArray>("value");
    const auto row = [](const char *name, const char *type, const char *value) {
        QTest::newRow(name) << q(type) << QByteArray(value);
    };
    row("boolean", "bool", "true");
    row("int32", "int", "-7");
    row("byte", "int", "200");
    row("character", "int", "65");
    row("int16", "int", "-3");
    row("uint32", "int", "4000000000");
    row("longNumber", "int", "-5");
    row("ulongNumber", "int", "5");
    row("int64", "int", "9223372036854775807");
    row("uint64", "int", "9");
    row("real", "double", "2.5");
    row("single", "double", "0.5");
    row("text", "string", "\"Tür\"");
    row("bytes", "string", "\"Käse\"");
    row("letter", "string", "\"x\"");
    row("url", "string", "\"http://a.example/%C3%A4%20b\"");
    row("id", "string", "\"00000001-0002-0003-0405-060708090a0b\"");
    row("date", "string", "\"2026-02-03\"");
    row("time", "string", "\"04:05:06.070\"");
    row("moment", "string", "\"2026-02-03T04:05:06.070+02:00\"");
    row("mode", "string", "\"Manual\"");
    row("options", "string", "\"Valve|Heater\"");
    row("nameless", "int", "1");
    row("strings", "object", "[\"a\",\"b\"]");
    row("list", "object", "[1,\"a\",null]");
    row("map", "object", "{\"a\":1.5}");
    row("hash", "object", "{\"a\":[true]}");
    row("numbers", "object", "[1,2]");
    row("reals", "object", "[0.5,null]");
    row("modes", "object", "[\"Off\",\"Automatic\"]");
    row("counts", "object", "{\"a\":1}");
    row("size", "object", "{\"area\":3,\"height\":2,\"width\":1.5}");
    row("sizes", "object", "[{\"area\":3,\"height\":2,\"width\":1.5}]");
    row("object", "object", "{\"a\":null}");
    row("array", "object", "[1,\"a\"]");
    row("jsonValue", "string", "\"json\"");
    row("anything", "int", "12");
}

void tst_Serve::types()
{
    QFETCH(QString, type);
    QFETCH(QByteArray, value);
    Values values;
    QVERIFY(server->serve(&values, q("/v")));
    Client client(server.get());
    const QByteArray path = QByteArray("/v/") + QTest::currentDataTag();
    client.watch(path.constData());
    QCOMPARE(client.taken(), QString::fromUtf8(path + "=" + value + " coc-"));
    QCOMPARE(client.type, type);
}

void tst_Serve::types_allHaveARow()
{
    Values values;
    QVERIFY(server->serve(&values, q("/v")));
    const QMetaObject &meta = Values::staticMetaObject;
    QCOMPARE(server->keywordCount(), meta.propertyCount() - meta.propertyOffset());
    QCOMPARE(server->keywordCount(), 37);
}

void tst_Serve::values_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariant>("given");
    QTest::addColumn<QByteArray>("shown");
    const auto row = [](const char *title, const char *name, const QVariant &given,
                        const char *shown) {
        QTest::newRow(title) << q(name) << given << QByteArray(shown);
    };
    const double infinity = std::numeric_limits<double>::infinity();
    row("NaN", "real", std::numeric_limits<double>::quiet_NaN(), "null");
    row("infinity", "real", infinity, "null");
    row("infinity as float", "single", -std::numeric_limits<float>::infinity(), "null");
    row("greatest quint64 that is an int", "uint64", 9223372036854775807ULL, "9223372036854775807");
    row("quint64 beyond", "uint64", 9223372036854775808ULL, "null");
    row("text of nothing", "text", QString(), "\"\"");
    row("text with quotes", "text", q("a\"\n\\"), "\"a\\\"\\n\\\\\"");
    row("bytes that are no text", "bytes", QByteArray("a\xff"), "\"a\xef\xbf\xbd\"");
    row("no date", "date", QDate(), "null");
    row("no time", "time", QTime(), "null");
    row("no date and time", "moment", QDateTime(), "null");
    row("UTC", "moment", QDateTime(QDate(2026, 2, 3), QTime(4, 5), QTimeZone::utc()),
        "\"2026-02-03T04:05:00.000Z\"");
    row("time zone", "moment", QDateTime(QDate(2026, 2, 3), QTime(4, 5), QTimeZone(-3600)),
        "\"2026-02-03T04:05:00.000-01:00\"");
    row("value without a key", "mode", QVariant::fromValue(Values::Mode(7)), "\"7\"");
    row("no flag", "options", QVariant::fromValue(Values::Options()), "\"\"");
    row("flag without a key", "options", QVariant::fromValue(Values::Options(Values::Pump | 64)),
        "\"Pump\"");
    row("list within a list", "list", QVariantList {QVariantList {infinity}}, "[[null]]");
    row("what is lost in a list", "list", QVariantList {QVariant::fromValue<QObject *>(this), 1},
        "[null,1]");
    row("gadget in a map", "map", QVariantMap {{q("s"), QVariant::fromValue(Size())}},
        "{\"s\":{\"area\":3,\"height\":2,\"width\":1.5}}");
    row("enumeration in a list", "list", QVariantList {QVariant::fromValue(Values::Automatic)},
        "[\"Automatic\"]");
    row("empty list", "numbers", QVariant::fromValue(QList<int>()), "[]");
    row("empty map", "map", QVariantMap(), "{}");
    row("infinity in a gadget", "size", QVariant::fromValue(Size {infinity, 1}),
        "{\"area\":null,\"height\":1,\"width\":null}");
}

void tst_Serve::values()
{
    QFETCH(QString, name);
    QFETCH(QVariant, given);
    QFETCH(QByteArray, shown);
    Values values;
    QVERIFY(server->serve(&values, q("/v")));
    Client client(server.get());
    const QByteArray path = "/v/" + name.toUtf8();
    client.watch(path.constData());
    client.taken();
    QVERIFY(values.setProperty(name.toUtf8().constData(), given));
    QCOMPARE(client.taken(), QString::fromUtf8(path + "=" + shown + " coc-"));
    Q_EMIT values.changed();
    QCOMPARE(client.taken(), QString());
}

void tst_Serve::writes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("written");
    QTest::addColumn<QByteArray>("shown"); // empty: refused
    const auto row = [](const char *name, const char *written, const char *shown) {
        QTest::addRow("%s %s", name, written)
            << q(name) << QByteArray(written) << QByteArray(shown);
    };
    row("boolean", "false", "false");
    row("int32", "8", "8");
    row("int32", "-2147483648", "-2147483648");
    row("int32", "2147483648", "");
    row("byte", "255", "255");
    row("byte", "256", "");
    row("byte", "-1", "");
    row("character", "-128", "-128");
    row("character", "200", "");
    row("int16", "-32769", "");
    row("uint32", "4294967295", "4294967295");
    row("uint32", "-1", "");
    row("ulongNumber", "-1", "");
    row("int64", "-9223372036854775808", "-9223372036854775808");
    row("uint64", "9223372036854775807", "9223372036854775807");
    row("uint64", "-1", "");
    row("real", "7", "7");
    row("real", "1e300", "1e+300");
    row("single", "0.25", "0.25");
    row("single", "1e300", "");
    row("text", "\"new\"", "\"new\"");
    row("bytes", "\"Öl\"", "\"Öl\"");
    row("letter", "\"y\"", "\"y\"");
    row("letter", "\"yes\"", "");
    row("url", "\"ws://b.example/%20\"", "\"ws://b.example/%20\"");
    row("url", "\"http://[\"", "");
    row("url", "\"\"", "\"\"");
    row("id", "\"{10000001-0002-0003-0405-060708090a0b}\"",
        "\"10000001-0002-0003-0405-060708090a0b\"");
    row("id", "\"00000000-0000-0000-0000-000000000000\"",
        "\"00000000-0000-0000-0000-000000000000\"");
    row("id", "\"tank\"", "");
    row("date", "\"2027-01-31\"", "\"2027-01-31\"");
    row("date", "\"2027-02-31\"", "");
    row("time", "\"23:59\"", "\"23:59:00.000\"");
    row("time", "\"24:59\"", "");
    row("moment", "\"2027-01-31T10:00:00Z\"", "\"2027-01-31T10:00:00.000Z\"");
    row("moment", "\"2027-01-31T10:00:00.5-03:30\"", "\"2027-01-31T10:00:00.500-03:30\"");
    row("moment", "\"tomorrow\"", "");
    row("mode", "\"Automatic\"", "\"Automatic\"");
    row("mode", "\"Full\"", "");
    row("mode", "\"\"", "");
    row("options", "\"Pump\"", "\"Pump\"");
    row("options", "\"Pump | Valve\"", "\"Valve|Pump\"");
    row("options", "\"\"", "\"\"");
    row("options", "\"Pump|Fan\"", "");
    row("nameless", "0", "0");
    row("strings", "[\"c\"]", "[\"c\"]");
    row("strings", "[1]", "");
    row("strings", "{}", "");
    row("list", "[true,{\"a\":[]}]", "[true,{\"a\":[]}]");
    row("list", "{}", "");
    row("map", "{\"b\":[1]}", "{\"b\":[1]}");
    row("map", "[]", "");
    row("hash", "{\"b\":null}", "{\"b\":null}");
    row("hash", "[]", "");
    row("numbers", "[]", "[]");
    row("numbers", "[3,4,5]", "[3,4,5]");
    row("numbers", "[3,2147483648]", "");
    row("numbers", "[3,\"4\"]", "");
    row("numbers", "{}", "");
    row("reals", "[1,2.5]", "[1,2.5]");
    row("reals", "[null]", "");
    row("modes", "[\"Manual\"]", "[\"Manual\"]");
    row("modes", "[\"Full\"]", "");
    row("counts", "{\"b\":2,\"c\":3}", "{\"b\":2,\"c\":3}");
    row("counts", "{\"b\":2.5}", "");
    row("counts", "[]", "");
    row("size", "{\"width\":2,\"height\":4}", "{\"area\":8,\"height\":4,\"width\":2}");
    row("size", "{\"height\":2.5}", "");
    row("size", "{\"depth\":2}", "");
    row("size", "[]", "");
    row("sizes", "[{\"width\":2,\"area\":1},{}]",
        "[{\"area\":4,\"height\":2,\"width\":2},{\"area\":3,\"height\":2,\"width\":1.5}]");
    row("sizes", "[{\"width\":\"2\"}]", "");
    row("object", "{\"b\":1}", "{\"b\":1}");
    row("object", "[]", "");
    row("array", "[]", "[]");
    row("array", "{}", "");
    row("jsonValue", "\"text\"", "\"text\"");
    row("anything", "13", "13");
    row("anything", "\"13\"", "");
}

void tst_Serve::writes()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, written);
    QFETCH(QByteArray, shown);
    Values values;
    QVERIFY(server->serve(&values, q("/v")));
    const QByteArray path = "/v/" + name.toUtf8();
    const QVariant before = values.property(name.toUtf8().constData());
    Client client(server.get());
    client.watch(path.constData());
    const QString first = client.taken();
    client.update(path.constData(), written.constData());
    if (shown.isEmpty()) {
        QCOMPARE(client.taken(), first.chopped(1) + q("e"));
        QCOMPARE(values.property(name.toUtf8().constData()), before);
    } else {
        QCOMPARE(client.taken(), QString::fromUtf8(path + "=" + shown + " coc-"));
    }
}

void tst_Serve::writes_toGadgetsKeepWhatIsNotGiven()
{
    Values values;
    values.size = {4, 5};
    QVERIFY(server->serve(&values, q("/v")));
    Client client(server.get());
    client.update("/v/size", "{\"height\":6,\"area\":1}");
    QCOMPARE(client.taken(), QString());
    QCOMPARE(values.size.width, 4.0);
    QCOMPARE(values.size.height, 6);
}

void tst_Serve::dynamic_changesItsType()
{
    Values values;
    QVERIFY(server->serve(&values, q("/v")));
    Client client(server.get());
    client.watch("/v/anything");
    client.taken();
    const std::pair<QVariant, const char *> steps[] = {
        {q("a"), "string"}, {2.5, "double"},          {QVariantList {1}, "object"},
        {true, "bool"},     {QVariant(), "bool"},     {12.5, "double"},
        {12, "int"},        {QVariantMap(), "object"}};
    for (const auto &[value, type] : steps) {
        values.setProperty("anything", value);
        QCOMPARE(client.seen.size(), 1);
        client.taken();
        QCOMPARE(client.type, q(type));
    }
    client.update("/v/anything", "{\"a\":1}");
    QCOMPARE(client.taken(), q("/v/anything={\"a\":1} coc-"));
    QCOMPARE(values.anything.toMap().value(q("a")), QVariant(1));

    Values empty;
    empty.anything.clear();
    QVERIFY(server->serve(&empty, q("/e")));
    client.watch("/e/anything");
    QCOMPARE(client.taken(), q("/e/anything=null coc-"));
    QCOMPARE(client.type, q("object"));
}

void tst_Serve::missingTypes_areReportedOnce()
{
    Lossy lossy, second;
    const auto previous = qInstallMessageHandler(recordObjects);
    logged.clear();
    const bool served = server->serve(&lossy, q("/o")) && server->serve(&second, q("/p"))
        && server->serve(&lossy, q("/o"));
    qInstallMessageHandler(previous);
    QVERIFY(served);
    QCOMPARE(logged.join(QLatin1Char('\n')),
             q("warning: cannot serve Lossy::pointer: a keyword cannot carry the type QObject*\n"
               "warning: cannot serve Lossy::pointers: a keyword cannot carry the type "
               "QList<QObject*>\n"
               "warning: cannot serve Component::owner: a keyword cannot carry the type QObject*"));
    QVERIFY(!server->contains(q("/o/pointer")));
    QCOMPARE(json(QJsonValue::fromVariant(server->value(q("/o/part")))),
             QByteArray("{\"name\":\"\",\"parts\":[],\"size\":{\"area\":3,\"height\":2,"
                        "\"width\":1.5}}"));
}

void tst_Serve::notify_tellsOnlyWhatChanged()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("/t")));
    Client client(server.get());
    client.watch("/t/level");
    client.watch("/t/full");
    client.taken();
    tank.setLevel(50);
    QCOMPARE(client.taken(), q("/t/level=50 coc-"));
    tank.setLevel(95);
    QCOMPARE(client.taken(), q("/t/level=95 coc- | /t/full=true coc-"));
    Q_EMIT tank.levelChanged();
    QCOMPARE(client.taken(), QString());
}

void tst_Serve::notify_inTheSetterTwiceAndForOthers()
{
    Tank tank, other;
    tank.onWrite = [&] {
        other.setLevel(tank.level() / 2);
        Q_EMIT tank.levelChanged();
        if (tank.level() != 33)
            tank.setLevel(33);
    };
    QVERIFY(server->serve(&tank, q("/t")));
    QVERIFY(server->serve(&other, q("/u")));
    Client client(server.get());
    client.watch("/t/level");
    client.watch("/u/level");
    client.taken();
    client.update("/t/level", "80");
    QCOMPARE(client.taken(),
             q("/t/level=80 coc- | /u/level=40 coc- | /t/level=33 coc- | /u/level=16.5 coc-"));
    QCOMPARE(server->value(q("/t/level")), QVariant(33.0));
}

void tst_Serve::notify_fromAnotherThread()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("/t")));
    tank.blockSignals(true);
    tank.setLevel(50);
    tank.blockSignals(false);
    std::thread other([&tank] { Q_EMIT tank.levelChanged(); });
    other.join();
    QCOMPARE(server->value(q("/t/level")), QVariant(41.5));
    QTRY_COMPARE(server->value(q("/t/level")), QVariant(50.0));

    // The object is destroyed before the change arrives.
    auto second = std::make_unique<Tank>();
    QVERIFY(server->serve(second.get(), q("/u")));
    std::thread late([&second] { Q_EMIT second->levelChanged(); });
    late.join();
    second.reset();
    QCoreApplication::processEvents();
    QCOMPARE(server->value(q("/u/level")), QVariant(41.5));
}

void tst_Serve::notify_insideTheGetter()
{
    Tank tank;
    tank.onRead = [&tank] { Q_EMIT tank.levelChanged(); };
    QVERIFY(server->serve(&tank, q("/t")));
    tank.setLevel(50);
    QCOMPARE(server->value(q("/t/level")), QVariant(50.0));
}

void tst_Serve::bindable_isFollowed()
{
    auto object = std::make_unique<Bindable>();
    QVERIFY(server->serve(object.get(), q("/b")));
    Client client(server.get());
    client.watch("/b/number");
    QCOMPARE(client.taken(), q("/b/number=3 coc-"));
    object->setNumber(4);
    QCOMPARE(client.taken(), q("/b/number=4 coc-"));
    client.update("/b/number", "5");
    QCOMPARE(client.taken(), q("/b/number=5 coc-"));
    QCOMPARE(object->number(), 5);
    object.reset();
    QCOMPARE(client.taken(), q("/b/number=5 --c-"));
}

void tst_Serve::bindable_bindingIsFollowed()
{
    QProperty<int> source(7);
    Bindable object;
    QVERIFY(server->serve(&object, q("/b")));
    object.bindableNumber().setBinding([&source] { return source.value() * 2; });
    QCOMPARE(server->value(q("/b/number")), QVariant(14));
    source = 8;
    QCOMPARE(server->value(q("/b/number")), QVariant(16));
}

void tst_Serve::silent_isReadOnceAndSaysSo()
{
    Silent first, second;
    const auto previous = qInstallMessageHandler(recordObjects);
    logged.clear();
    const bool served = server->serve(&first, q("/o")) && server->serve(&second, q("/p"));
    qInstallMessageHandler(previous);
    QVERIFY(served);
    QCOMPARE(logged.join(QLatin1Char('\n')),
             q("info: Silent::silent has no NOTIFY signal and is read once. "
               "Set ServeOptions::pollInterval to read it periodically"));
    first.silent = 5;
    QCoreApplication::processEvents();
    QCOMPARE(server->value(q("/o/silent")), QVariant(1));

    Client client(server.get());
    client.watch("/o/silent");
    client.taken();
    client.update("/o/silent", "6");
    QCOMPARE(client.taken(), q("/o/silent=6 coc-"));
    QCOMPARE(first.silent, 6);
}

void tst_Serve::silent_isPolled()
{
    Silent object;
    ServeOptions options;
    options.pollInterval = 1ms;
    QVERIFY(server->serve(&object, q("/o"), options));
    object.silent = 5;
    object.fixed = 5;
    QTRY_COMPARE(server->value(q("/o/silent")), QVariant(5));
    object.silent = 6;
    QTRY_COMPARE(server->value(q("/o/silent")), QVariant(6));
    QCOMPARE(server->value(q("/o/fixed")), QVariant(2)); // constant
}

void tst_Serve::label_ofTheClassAndTheOptions()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("/t")));
    ServeOptions options;
    options.labels = {{q("level"), q("Füllstand")}, {q("full"), q("Voll")}};
    QVERIFY(server->serve(&tank, q("/u"), options));
    Client client(server.get());
    for (const char *path : {"/t/level/Label", "/t/full/Label", "/u/level/Label", "/u/full/Label"})
        client.watch(path);
    QCOMPARE(client.taken(),
             q("/t/level/Label=\"Level in %\" coc- | /t/full/Label=\"\" coc- | "
               "/u/level/Label=\"Füllstand\" coc- | /u/full/Label=\"Voll\" coc-"));
}

void tst_Serve::label_ofNoPropertyIsReported()
{
    Tank tank;
    ServeOptions options;
    options.labels = {{q("levle"), q("Level")}};
    QTest::ignoreMessage(QtWarningMsg, "cannot label Tank::levle: there is no such property");
    QVERIFY(server->serve(&tank, q("/t"), options));
}

void tst_Serve::write_takesWhatThePropertyHasAfterwards()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("/t")));
    Client writer(server.get()), reader(server.get());
    QSignalSpy written(server.get(), &KeywordServer::valueWritten);
    for (Client *client : {&writer, &reader}) {
        client->watch("/t/level");
        client->taken();
    }
    writer.update("/t/level", "250");
    QCOMPARE(tank.level(), 100.0);
    QCOMPARE(writer.taken(), q("/t/level=100 coc-"));
    QCOMPARE(reader.taken(), q("/t/level=100 coc-"));
    QCOMPARE(written.size(), 1);
    QCOMPARE(written.at(0).at(1), QVariant(100.0));
}

void tst_Serve::write_isAudited()
{
    QBuffer audit;
    QVERIFY(audit.open(QIODevice::WriteOnly));
    server->setAuditDevice(&audit);
    Values values;
    QVERIFY(server->serve(&values, q("/v")));
    Client client(server.get());
    client.update("/v/byte", "256");
    client.update("/v/byte", "3");
    const QList<QByteArray> lines = audit.data().trimmed().split('\n');
    QCOMPARE(lines.size(), 2);
    const auto field = [&lines](int line, const char *name) {
        return QJsonDocument::fromJson(lines.at(line)).object().value(q(name)).toString();
    };
    QCOMPARE(field(0, "outcome"), q("refused"));
    QCOMPARE(field(0, "reason"), q("the property has no such value"));
    QCOMPARE(field(1, "outcome"), q("accepted"));
}

void tst_Serve::write_relative()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("/t")));
    Client client(server.get());
    client.update("/t/level", "8.5", R"(,"valueChangeMode":"relative")");
    QCOMPARE(tank.level(), 50.0);
}

void tst_Serve::write_toNoValueIsRefused()
{
    Values values;
    QVERIFY(server->serve(&values, q("/v")));
    connect(&values, &Values::changed, &values,
            [&values] { values.real = std::numeric_limits<double>::quiet_NaN(); });
    Client client(server.get());
    client.watch("/v/real");
    client.taken();
    client.update("/v/real", "7");
    QCOMPARE(client.taken(), q("/v/real=7 coc- | /v/real=null coc- | /v/real=null coce"));
}

void tst_Serve::write_ofAReadOnlyPropertyIsRefused()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("/t")));
    Client client(server.get());
    client.update("/t/full", "true");
    client.update("/t/serial", "\"x\"");
    QCOMPARE(client.taken(), q("/t/full=false coce | /t/serial=\"T-1\" coce"));
}

void tst_Serve::destroyed_keepsTheValuesNotConnected()
{
    auto tank = std::make_unique<Tank>();
    QVERIFY(server->serve(tank.get(), q("/t")));
    server->setState(q("/t/level"), true, true, false, true);
    Tank below;
    QVERIFY(server->serve(&below, q("/t/level")));
    Client client(server.get());
    for (const char *path : {"/t/level", "/t/full", "/t/level/level"})
        client.watch(path);
    client.taken();
    tank.reset();
    QCOMPARE(client.taken(), q("/t/level=41.5 ---e | /t/full=false --c-"));
    client.update("/t/level", "7");
    QCOMPARE(client.taken(), q("/t/level=41.5 ---e"));
    QCOMPARE(server->keywordCount(), 6);
}

void tst_Serve::destroyed_anotherTakesThePlace()
{
    auto tank = std::make_unique<Tank>();
    QVERIFY(server->serve(tank.get(), q("/t")));
    Client client(server.get());
    for (const char *path : {"/t/level", "/t/full", "/t/flow"})
        client.watch(path);
    tank.reset();
    client.taken();
    Pipe pipe;
    QVERIFY(server->serve(&pipe, q("/t")));
    QCOMPARE(client.taken(), q("/t/full=null --c- | /t/flow=5 coc- | /t/level=6 coc-"));
    QCOMPARE(server->keywordCount(), 2);
    client.update("/t/level", "8");
    QCOMPARE(client.taken(), q("/t/level=8 coc-"));
    QCOMPARE(pipe.level, 8);
}

void tst_Serve::destroyed_anotherTakesThePlaceAtOnce()
{
    for (const bool first : {true, false}) {
        auto tank = std::make_unique<Tank>();
        Pipe pipe;
        const auto replace = [&] { QVERIFY(server->serve(&pipe, q("/t"))); };
        if (first)
            connect(tank.get(), &QObject::destroyed, this, replace);
        QVERIFY(server->serve(tank.get(), q("/t")));
        if (!first)
            connect(tank.get(), &QObject::destroyed, this, replace);
        tank.reset();
        Client client(server.get());
        client.watch("/t/level");
        QCOMPARE(client.taken(), q("/t/level=6 coc-"));
        QVERIFY(server->stopServing(q("/t")));
    }
}

void tst_Serve::serve_replacesAnObjectThatIsAlive()
{
    Tank tank;
    Pipe pipe;
    QVERIFY(server->serve(&tank, q("/t")));
    QVERIFY(server->serve(&pipe, q("/t")));
    QCOMPARE(server->keywordCount(), 2);
    tank.setLevel(77);
    QCOMPARE(server->value(q("/t/level")), QVariant(6));
    Client client(server.get());
    client.update("/t/level", "9");
    QCOMPARE(pipe.level, 9);
    QCOMPARE(tank.level(), 77.0);
    client.update("/t/flow", "9"); // "R" again, so refused
    QCOMPARE(client.taken(), q("/t/flow=5 coce"));
}

void tst_Serve::stopServing_removesTheKeywords()
{
    Tank tank;
    QVERIFY(!server->stopServing(q("/t")));
    QVERIFY(server->serve(&tank, q("/t")));
    Client client(server.get());
    client.watch("/t/level");
    client.taken();
    QVERIFY(server->stopServing(q("t#")));
    QCOMPARE(client.taken(), q("/t/level=null --c-"));
    QCOMPARE(server->keywordCount(), 0);
    tank.setLevel(50);
    QCOMPARE(client.taken(), QString());
    QVERIFY(!server->stopServing(q("/t")));

    // Also after the object has been destroyed.
    auto second = std::make_unique<Tank>();
    QVERIFY(server->serve(second.get(), q("/t")));
    second.reset();
    QVERIFY(server->stopServing(q("/t")));
    QCOMPARE(server->keywordCount(), 0);
}

void tst_Serve::clear_endsServing()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("/t")));
    server->clear();
    KeywordServer::Keyword own;
    own.path = q("/t/level");
    own.type = q("double");
    own.value = 1.0;
    QVERIFY(server->declare(own));
    tank.setLevel(50);
    QCOMPARE(server->value(q("/t/level")), QVariant(1.0));
    QVERIFY(!server->stopServing(q("/t")));
}

// Declared again by the application, although the object is served.
void tst_Serve::keyword_declaredAnewKeepsItsType()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("/t")));
    KeywordServer::Keyword own;
    own.path = q("/t/level");
    own.type = q("string");
    own.value = q("full");
    QVERIFY(server->declare(own));
    tank.setLevel(50);
    QCOMPARE(server->value(q("/t/level")), QVariant(q("full")));
}

void tst_Serve::server_goesBeforeItsObjects()
{
    Tank tank;
    QVERIFY(server->serve(&tank, q("/t")));
    server.reset();
    const int reads = tank.reads;
    tank.setLevel(50);
    QCOMPARE(tank.reads, reads);
}

void tst_Serve::baseDestructor_doesNotReadWhatIsGone()
{
    auto derived = std::make_unique<Derived>();
    QVERIFY(server->serve(derived.get(), q("/d")));
    Client client(server.get());
    client.watch("/d/base");
    client.watch("/d/text");
    client.taken();
    bool isDone = false;
    client.onEvent = [&] {
        if (!std::exchange(isDone, true))
            client.update("/d/base", "7");
    };
    derived.reset();
    QVERIFY(client.seen.contains(q("/d/base=-1 coc-")));
    QCOMPARE(server->value(q("/d/text")), QVariant(q("derived")));
}

void tst_Serve::hostile_objectGoes_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<bool>("inSlot");
    for (const char *what : {"object", "server", "serving", "replaced", "cleared", "all"}) {
        QTest::addRow("%s in a slot before", what) << q(what) << true;
        QTest::addRow("%s in an event", what) << q(what) << false;
    }
}

void tst_Serve::hostile_objectGoes()
{
    QFETCH(QString, what);
    QFETCH(bool, inSlot);
    auto *const tank = new Tank;
    victim = tank;
    bool isDone = false;
    const auto act = [&] {
        if (!std::exchange(isDone, true))
            destroy(what);
    };
    if (inSlot)
        connect(tank, &Tank::levelChanged, this, act);
    QVERIFY(server->serve(tank, q("/t")));
    Client client(server.get());
    client.watch("/t/level");
    client.watch("/t/full");
    client.taken();
    if (!inSlot)
        client.onEvent = act;
    Q_EMIT tank->levelChanged(); // no change
    if (victim)
        tank->setLevel(95);
    QVERIFY(isDone);
    QCOMPARE(victim.isNull(), what == q("object") || what == q("all"));
    if (server && victim.isNull())
        QVERIFY(client.seen.contains(inSlot ? q("/t/level=41.5 --c-") : q("/t/level=95 --c-")));
}

void tst_Serve::hostile_duringAWrite_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("answer");
    QTest::newRow("object") << q("object") << q("/t/level=50 --ce");
    QTest::newRow("server") << q("server") << QString();
    QTest::newRow("serving") << q("serving") << q("/t/level=null --ce");
    QTest::newRow("replaced") << q("replaced") << q("/t/level=6 coce");
    QTest::newRow("cleared") << q("cleared") << QString();
    QTest::newRow("all") << q("all") << QString();
}

void tst_Serve::hostile_duringAWrite()
{
    QFETCH(QString, what);
    QFETCH(QString, answer);
    auto *const tank = new Tank;
    victim = tank;
    tank->onWrite = [&] { destroy(what); };
    QVERIFY(server->serve(tank, q("/t")));
    Client client(server.get());
    client.update("/t/level", "50");
    QCOMPARE(client.taken(), answer);
}

void tst_Serve::hostile_inTheGetterWhileServed_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<bool>("served");
    QTest::newRow("object") << q("object") << false;
    QTest::newRow("server") << q("server") << false;
    QTest::newRow("all") << q("all") << false;
    QTest::newRow("replaced") << q("replaced") << true;
    QTest::newRow("cleared") << q("cleared") << true;
}

void tst_Serve::hostile_inTheGetterWhileServed()
{
    QFETCH(QString, what);
    QFETCH(bool, served);
    auto *const tank = new Tank;
    victim = tank;
    tank->onRead = [&, tank] {
        if (what != q("object") && what != q("all"))
            Q_EMIT tank->levelChanged();
        tank->onRead = nullptr;
        destroy(what);
    };
    if (!served)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("a getter has destroyed it")));
    QCOMPARE(server->serve(tank, q("/t")), served);
    QCOMPARE(server && server->contains(q("/t/serial")), served);
}

void tst_Serve::hostile_inTheGetterLater_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<bool>("byWrite");
    QTest::addColumn<QString>("answer");
    const std::pair<const char *, const char *> rows[] = {
        {"object", "/t/level=95 --ce"},  {"server", ""},  {"serving", "/t/level=null --ce"},
        {"replaced", "/t/level=6 coce"}, {"cleared", ""}, {"all", ""}};
    for (const auto &[what, answer] : rows) {
        QTest::addRow("%s when it changes", what) << q(what) << false << QString();
        QTest::addRow("%s after a write", what) << q(what) << true << q(answer);
    }
}

void tst_Serve::hostile_inTheGetterLater()
{
    QFETCH(QString, what);
    QFETCH(bool, byWrite);
    QFETCH(QString, answer);
    auto *const tank = new Tank;
    victim = tank;
    QVERIFY(server->serve(tank, q("/t")));
    bool isDone = false;
    const auto act = [&] {
        if (!std::exchange(isDone, true))
            destroy(what);
    };
    Client client(server.get());
    if (byWrite) {
        tank->onWrite = [&] { tank->onRead = act; }; // from now on, because the setter has returned
        client.update("/t/level", "95");
    } else {
        tank->onRead = act;
        tank->setLevel(95);
    }
    QVERIFY(isDone);
    QCOMPARE(client.taken(), answer);
    QCOMPARE(victim.isNull(), what == q("object") || what == q("all"));
}

void tst_Serve::hostile_whilePolled_data()
{
    hostile_whileBound_data();
}

void tst_Serve::hostile_whilePolled()
{
    QFETCH(QString, what);
    auto *const object = new Silent;
    victim = object;
    ServeOptions options;
    options.pollInterval = 1ms;
    QVERIFY(server->serve(object, q("/t"), options));
    Client client(server.get());
    client.watch("/t/silent");
    bool isDone = false;
    client.onEvent = [&] {
        if (!std::exchange(isDone, true))
            destroy(what);
    };
    object->silent = 9;
    QTRY_VERIFY(isDone);
    QCoreApplication::processEvents();
}

void tst_Serve::hostile_whileBound_data()
{
    QTest::addColumn<QString>("what");
    for (const char *what : {"object", "server", "serving", "replaced", "cleared", "all"})
        QTest::newRow(what) << q(what);
}

void tst_Serve::hostile_whileBound()
{
    QFETCH(QString, what);
    auto *const object = new Bindable;
    victim = object;
    QVERIFY(server->serve(object, q("/t")));
    Client client(server.get());
    client.watch("/t/number");
    bool isDone = false;
    client.onEvent = [&] {
        if (!std::exchange(isDone, true))
            destroy(what);
    };
    object->setNumber(9);
    QVERIFY(isDone);
}

// Counts operations instead of time: one read of the changed property, and one event.
void tst_Serve::manyObjects_costNothingPerChange()
{
    std::vector<std::unique_ptr<Tank>> tanks;
    std::vector<std::unique_ptr<Values>> others;
    for (int i = 0; i < 1000; ++i) {
        tanks.push_back(std::make_unique<Tank>());
        others.push_back(std::make_unique<Values>());
        QVERIFY(server->serve(tanks.back().get(), q("/t%1").arg(i)));
        QVERIFY(server->serve(others.back().get(), q("/v%1").arg(i)));
    }
    QCOMPARE(server->keywordCount(), 40'000);
    int reads = 0;
    for (const auto &tank : tanks) {
        tank->reads = 0;
        tank->onRead = [&reads] { ++reads; };
    }
    const quint64 before = server->statistics().events;
    Client client(server.get());
    client.watch("/t500/level");
    client.taken();
    tanks[500]->setLevel(7);
    QCOMPARE(client.taken(), q("/t500/level=7 coc-"));
    QCOMPARE(reads, 1);
    QCOMPARE(server->statistics().events - before, quint64(2));
}

void tst_Serve::qmlObject_isServed()
{
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import QtQml\n"
                      "QtObject {\n"
                      "    property int count: 3\n"
                      "    property real twice: count * 2\n"
                      "    property string name: \"Works\"\n"
                      "    property var list: [1, \"a\"]\n"
                      "    readonly property var map: ({a: count})\n"
                      "    property var nested: [{a: [1, []]}, null]\n"
                      "    property var noElements: []\n"
                      "    property var noMembers: ({})\n"
                      "    property QtObject object: null\n"
                      "}\n",
                      QUrl());
    std::unique_ptr<QObject> object(component.create());
    QVERIFY2(object, qPrintable(component.errorString()));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(q("::object: a keyword cannot carry")));
    QVERIFY(server->serve(object.get(), q("/q")));
    Client client(server.get());
    for (const char *path : {"/q/count", "/q/twice", "/q/name", "/q/list", "/q/map", "/q/nested",
                             "/q/noElements", "/q/noMembers"})
        client.watch(path);
    QCOMPARE(client.taken(),
             q("/q/count=3 coc- | /q/twice=6 coc- | /q/name=\"Works\" coc- | "
               "/q/list=[1,\"a\"] coc- | /q/map={\"a\":3} coc- | "
               "/q/nested=[{\"a\":[1,[]]},null] coc- | /q/noElements=[] coc- | "
               "/q/noMembers=[] coc-"));
    client.update("/q/count", "5");
    const QStringList seen = std::exchange(client.seen, {});
    QVERIFY(seen.contains(q("/q/count=5 coc-")));
    QVERIFY(seen.contains(q("/q/twice=10 coc-")));
    object.reset();
    QVERIFY(client.seen.contains(q("/q/count=5 --c-")));
}

QTEST_GUILESS_MAIN(tst_Serve)
#include "tst_serve.moc"
