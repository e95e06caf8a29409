// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordserver.h"
#include "server/keywordsession.h"
#include "simulator/jsonscene.h"
#include "simulator/telemetryscene.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSysInfo>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>

using namespace pellix::server;
using namespace pellix::simulator;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// Writes a keyword like a client.
void write(KeywordServer &server, const char *keyword, const char *value)
{
    const std::unique_ptr<KeywordSession> session(server.openSession());
    session->receive(q(R"({"cmd":"keyUpdate","payload":{"keyword":"%1","value":%2}})")
                         .arg(q(keyword), q(value))
                         .toUtf8());
}

} // namespace

class tst_Scenes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void json_declaresItsKeywords();
    void json_badSceneIsRefusedWhole_data();
    void json_badSceneIsRefusedWhole();
    void json_unreadableFileIsNamed();
    void json_animatorsMove();
    void json_randomWalkRepeatsWithItsSeed();
    void json_generates();
    void json_startDeclaresAgain();
    void shippedScenes_areGood_data();
    void shippedScenes_areGood();
    void telemetry_showsThisMachine();
    void telemetry_readsTheFilesThatItIsGiven();
    void telemetry_goesOfflineWithItsFiles_data();
    void telemetry_goesOfflineWithItsFiles();
    void telemetry_refreshes();
    void telemetry_settingsShowAnEffect();
    void telemetry_refusesBadSettings_data();
    void telemetry_refusesBadSettings();
};

void tst_Scenes::json_declaresItsKeywords()
{
    KeywordServer server;
    JsonScene scene(&server);
    QString error;
    QVERIFY2(scene.loadData(R"({"keywords": [
        {"path": "/p", "label": "Plant"},
        {"path": "/p/a", "type": "int", "access": "RW", "label": "A", "value": 3},
        {"path": "/p/b", "type": "bool"},
        {"path": "/p/c", "type": "object", "value": {"x": [1]}}]})",
                            q("test"), &error),
             qPrintable(error));
    QCOMPARE(server.keywordCount(), 3);
    QCOMPARE(server.value(q("/p/a")), QVariant(3));
    QCOMPARE(server.value(q("/p/b")), QVariant(false));
    QVERIFY(server.value(q("/p/c")).toMap().contains(q("x")));
    write(server, "/p/a", "4");
    QCOMPARE(server.value(q("/p/a")), QVariant(4));
    write(server, "/p/b", "true"); // refused, because the default is "R"
    QCOMPARE(server.value(q("/p/b")), QVariant(false));
}

void tst_Scenes::json_badSceneIsRefusedWhole_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("where");
    const auto row = [](const char *name, const char *json, const char *where) {
        QTest::newRow(name) << QByteArray(json) << q(where);
    };
    row("no JSON", "{\n\n nonsense", "scene.json: line 3: ");
    row("empty", "", "scene.json: line 1: ");
    row("array", "[]", "scene.json: top level: ");
    row("unknown member", R"({"keyword": []})", "scene.json: top level: unknown member");
    row("keywords no array", R"({"keywords": {}})", "scene.json: keywords: ");
    row("keyword no object", R"({"keywords": [1]})", "scene.json: keywords[0]: ");
    row("no path", R"({"keywords": [{"type": "int"}]})", "scene.json: keywords[0].path: ");
    row("path a number", R"({"keywords": [{"path": 1, "type": "int"}]})",
        "scene.json: keywords[0].path: ");
    row("second keyword",
        R"({"keywords": [{"path": "/a", "type": "int"}, {"path": "/b", "type": "x"}]})",
        "scene.json: keywords[1].type: \"x\" is not known; must be \"bool\", \"int\", \"double\", "
        "\"string\" or \"object\"");
    row("no type", R"({"keywords": [{"path": "/a", "value": 1}]})",
        "scene.json: keywords[0].type: is missing");
    row("value of another type", R"({"keywords": [{"path": "/a", "type": "int", "value": "x"}]})",
        "scene.json: keywords[0].value: does not fit the type \"int\"");
    row("access", R"({"keywords": [{"path": "/a", "type": "int", "access": "all"}]})",
        "scene.json: keywords[0].access: \"all\" is not known; must be \"N\", \"R\", \"RM\", \"W\" "
        "or \"RW\"");
    row("typing error", R"({"keywords": [{"path": "/a", "type": "int", "lable": "x"}]})",
        "scene.json: keywords[0]: unknown member \"lable\"");
    row("animator no object", R"({"keywords": [{"path": "/a", "type": "int", "animator": 1}]})",
        "scene.json: keywords[0].animator: ");
    row("animator's kind",
        R"({"keywords": [{"path": "/a", "type": "int", "animator": {"kind": "x"}}]})",
        "scene.json: keywords[0].animator.kind: ");
    row("animator for a text",
        R"({"keywords": [{"path": "/a", "type": "string", "animator": {"kind": "sine"}}]})",
        "scene.json: keywords[0].animator: ");
    row("toggle for a number",
        R"({"keywords": [{"path": "/a", "type": "int", "animator": {"kind": "toggle"}}]})",
        "scene.json: keywords[0].animator: ");
    row("period",
        R"({"keywords": [{"path": "/a", "type": "int", "animator": {"kind": "ramp", "period": 0}}]})",
        "scene.json: keywords[0].animator.period: ");
    row("range",
        R"({"keywords": [{"path": "/a", "type": "int", "animator": {"kind": "ramp", "min": 2, "max": 1}}]})",
        "scene.json: keywords[0].animator.min: ");
    row("rate", R"({"rate": 0})", "scene.json: rate: ");
    row("generate no object", R"({"generate": 5})", "scene.json: generate: ");
    row("generate count", R"({"generate": {"count": 0}})", "scene.json: generate.count: ");
    row("generate too many", R"({"generate": {"count": 2000000}})", "scene.json: generate.count: ");
    const auto animated = [&row](const char *name, const char *members, const char *where) {
        const QByteArray json = R"({"keywords": [{"path": "/a", "type": "double", "animator": {)"
            + QByteArray(members) + "}}]}";
        row(name, json.constData(), where);
    };
    const char *const inAnimator = "scene.json: keywords[0].animator";
    animated("period too short", R"("kind": "sine", "period": 1e-300)", inAnimator);
    animated("period negative", R"("kind": "sine", "period": -1)", inAnimator);
    animated("period a text", R"("kind": "sine", "period": "1")", inAnimator);
    animated("seed negative", R"("kind": "randomWalk", "seed": -1)", inAnimator);
    animated("seed too great", R"("kind": "randomWalk", "seed": 1e300)", inAnimator);
    animated("range beyond numbers", R"("kind": "ramp", "min": -1e308, "max": 1e308)", inAnimator);
    animated("no kind", "", inAnimator);
    animated("kind a list", R"("kind": [])", inAnimator);
    row("generate animator no object", R"({"generate": {"count": 1, "animator": 1}})",
        "scene.json: generate.animator: ");
    row("generate count a text", R"({"generate": {"count": "1"}})", "scene.json: generate.count: ");
    row("generate count negative", R"({"generate": {"count": -1e300}})",
        "scene.json: generate.count: ");
    row("rate a text", R"({"rate": "1"})", "scene.json: top level.rate: ");
    row("rate too great", R"({"rate": 1e300})", "scene.json: rate: ");
    row("path of separators", R"({"keywords": [{"path": "/#/", "type": "int"}]})",
        "scene.json: keywords[0].path: ");
    row("value null", R"({"keywords": [{"path": "/a", "type": "int", "value": null}]})",
        "scene.json: keywords[0].value: does not fit the type \"int\"");
    row("value beyond int", R"({"keywords": [{"path": "/a", "type": "int", "value": 1e300}]})",
        "scene.json: keywords[0].value: does not fit the type \"int\"");
    row("access null", R"({"keywords": [{"path": "/a", "type": "int", "access": null}]})",
        "scene.json: keywords[0].access: ");
    row("invalid UTF-8", "{\"keywords\": [{\"path\": \"/\xff\", \"type\": \"int\"}]}",
        "scene.json: line 1: ");
    row("nested too deep", QByteArray(2000, '[').constData(), "scene.json: line 1: ");
    row("generate type", R"({"generate": {"count": 1, "type": "x"}})",
        "scene.json: generate.type: \"x\" is not known; must be ");
    row("generate access", R"({"generate": {"count": 1, "access": "x"}})",
        "scene.json: generate.access: \"x\" is not known; must be ");
    row("path twice",
        R"({"keywords": [{"path": "/a/b", "type": "int"}, {"path": "/c", "type": "int"},
                         {"path": "/a/b", "type": "int"}]})",
        "scene.json: keywords[2].path: /a/b is already declared at keywords[0].path");
    row("path twice, in another spelling",
        R"({"keywords": [{"path": "/a/b", "type": "int"}, {"path": "a##b/", "type": "bool"}]})",
        "scene.json: keywords[1].path: /a/b is already declared at keywords[0].path");
    row("path twice, one of them a label",
        R"({"keywords": [{"path": "/a", "type": "int"}, {"path": "/a/", "label": "A"}]})",
        "scene.json: keywords[1].path: /a is already declared at keywords[0].path");
    row("label twice",
        R"({"keywords": [{"path": "/a/b", "type": "int"}, {"path": "/a", "label": "A"},
                         {"path": "#a", "label": "A"}]})",
        "scene.json: keywords[2].path: /a is already declared at keywords[1].path");
    row("path generated as well",
        R"({"keywords": [{"path": "p/group0#value1", "type": "int"}],
            "generate": {"count": 2, "prefix": "/p"}})",
        "scene.json: generate.prefix: /p/group0/value1 is already declared at keywords[0].path");
}

void tst_Scenes::json_badSceneIsRefusedWhole()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, where);
    KeywordServer server;
    JsonScene scene(&server);
    QString error;
    QVERIFY(!scene.loadData(json, q("scene.json"), &error));
    QVERIFY2(error.startsWith(where), qPrintable(error));
    QVERIFY(error.size() > where.size() || !where.endsWith(QLatin1String(": ")));
    QCOMPARE(server.keywordCount(), 0);
    QVERIFY(!scene.loadData(json, q("scene.json"), nullptr));
}

void tst_Scenes::json_unreadableFileIsNamed()
{
    KeywordServer server;
    JsonScene scene(&server);
    QString error;
    QVERIFY(!scene.load(q("/nowhere/scene.json"), &error));
    QVERIFY2(error.startsWith(q("/nowhere/scene.json: ")), qPrintable(error));
}

void tst_Scenes::json_animatorsMove()
{
    KeywordServer server;
    JsonScene scene(&server);
    QVERIFY(scene.loadData(R"({"rate": 200, "keywords": [
        {"path": "/ramp", "type": "double", "animator": {"kind": "ramp", "min": 1, "max": 2, "period": 0.2}},
        {"path": "/sine", "type": "double", "animator": {"kind": "sine", "min": -1, "max": 1, "period": 0.2}},
        {"path": "/walk", "type": "int", "animator": {"kind": "randomWalk", "min": 0, "max": 9, "step": 5}},
        {"path": "/toggle", "type": "bool", "animator": {"kind": "toggle", "period": 0.1}}]})",
                           q("test")));
    struct Range
    {
        double low = 1e9, high = -1e9;
        int changes = 0;
        QVariant last;
    };
    QHash<QString, Range> ranges;
    scene.start();
    const auto moved = [&] {
        bool all = true;
        for (const char *path : {"/ramp", "/sine", "/walk", "/toggle"}) {
            Range &range = ranges[q(path)];
            const QVariant value = server.value(q(path));
            range.low = qMin(range.low, value.toDouble());
            range.high = qMax(range.high, value.toDouble());
            if (value != range.last)
                ++range.changes;
            range.last = value;
            all = all && range.changes > 3;
        }
        return all;
    };
    while (!moved())
        QTest::qWait(5);
    scene.stop();
    QVERIFY(ranges[q("/sine")].low >= -1 && ranges[q("/sine")].high <= 1);
    QVERIFY(ranges[q("/walk")].low >= 0 && ranges[q("/walk")].high <= 9);
    QCOMPARE(ranges[q("/walk")].last.metaType().id(), int(QMetaType::LongLong));
    QCOMPARE(ranges[q("/toggle")].high, 1.0);
    QCOMPARE(ranges[q("/toggle")].low, 0.0);
}

void tst_Scenes::json_randomWalkRepeatsWithItsSeed()
{
    const auto walk = [](int seed) {
        KeywordServer server;
        QStringList values;
        JsonScene scene(&server);
        scene.loadData(q(R"({"rate": 1000, "keywords": [{"path": "/w", "type": "double",
                             "animator": {"kind": "randomWalk", "seed": %1}}]})")
                           .arg(seed)
                           .toUtf8(),
                       q("test"));
        const std::unique_ptr<KeywordSession> session(server.openSession());
        QObject::connect(session.get(), &KeywordSession::send, session.get(),
                         [&](const QByteArray &message) { values << QString::fromUtf8(message); });
        session->receive(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/w"}})");
        scene.start();
        while (values.size() < 6)
            QTest::qWait(2);
        return values.mid(1, 5);
    };
    const QStringList first = walk(7);
    QCOMPARE(walk(7), first);
    QVERIFY(walk(8) != first);
}

void tst_Scenes::json_generates()
{
    KeywordServer server;
    JsonScene scene(&server);
    QVERIFY(scene.loadData(R"({"generate": {"count": 1234, "prefix": "/load", "type": "int"}})",
                           q("test")));
    QCOMPARE(server.keywordCount(), 1234);
    QVERIFY(server.contains(q("/load/group0/value0")));
    QVERIFY(server.contains(q("/load/group12/value33")));
    QVERIFY(!server.contains(q("/load/group12/value34")));
}

void tst_Scenes::json_startDeclaresAgain()
{
    KeywordServer server;
    JsonScene scene(&server);
    QVERIFY(
        scene.loadData(R"({"keywords": [{"path": "/a", "type": "int", "value": 3}]})", q("test")));
    server.clear();
    scene.start();
    QCOMPARE(server.value(q("/a")), QVariant(3));
}

void tst_Scenes::shippedScenes_areGood_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("count");
    QTest::newRow("plant") << q("plant.json") << 60;
    QTest::newRow("load") << q("load.json") << 10000;
}

void tst_Scenes::shippedScenes_areGood()
{
    QFETCH(QString, file);
    QFETCH(int, count);
    KeywordServer server;
    JsonScene scene(&server);
    QString error;
    QVERIFY2(scene.load(q(SCENES "/") + file, &error), qPrintable(error));
    QCOMPARE(server.keywordCount(), count);
}

void tst_Scenes::telemetry_showsThisMachine()
{
    KeywordServer server;
    TelemetryScene scene(&server);
    QCOMPARE(server.keywordCount(), 0);
    scene.start();
    QCOMPARE(server.value(q("/machine/host/name")).toString(), QSysInfo::machineHostName());

    // The values are those of the kernel's own files
    QFile uptime(q("/proc/uptime"));
    QVERIFY(uptime.open(QIODevice::ReadOnly));
    const double seconds = uptime.readAll().split(' ').constFirst().toDouble();
    QVERIFY(qAbs(server.value(q("/machine/uptime")).toDouble() - seconds) < 5);
    const double total = server.value(q("/machine/memory/total")).toDouble();
    const double used = server.value(q("/machine/memory/used")).toDouble();
    const double available = server.value(q("/machine/memory/available")).toDouble();
    QVERIFY(total > 1e8);
    QVERIFY(used > 0 && used < total);
    QCOMPARE(used + available, total);
    QVERIFY(server.value(q("/machine/processes/count")).toInt() > 0);
    QVERIFY(server.contains(q("/machine/cpu/core0/load")));
}

namespace {

// Simulated files of the kernel, whose counters grow on request.
struct Machine
{
    Machine() : scene(&server), session(server.openSession())
    {
        scene.setRootFolder(folder.path());
        QDir(folder.path()).mkpath(q("sys/block/sda"));
        QDir(folder.path()).mkpath(q("proc/net"));
        QDir(folder.path()).mkpath(q("proc/1"));
        QDir(folder.path()).mkpath(q("proc/42"));
        save("proc/meminfo", "MemTotal: 1000 kB\nMemFree: 1 kB\nMemAvailable: 600 kB\n");
        save("proc/loadavg", "0.50 1.50 2.50 1/100 4711\n");
        save("proc/uptime", "1234.5 2000.0\n");
        count(1);
        QObject::connect(
            session.get(), &KeywordSession::send, session.get(), [this](const QByteArray &message) {
                const QJsonObject payload =
                    QJsonDocument::fromJson(message).object().value(q("payload")).toObject();
                online.insert(payload.value(q("keyword")).toString(),
                              payload.value(q("online")).toBool());
            });
    }

    void count(int rounds)
    {
        save("proc/stat",
             q("cpu 0 0 %1 %1 0 0 0 0 0 0\ncpu0 0 0 %1 %1 0 0 0 0 0 0\nintr 1\n").arg(rounds * 10));
        save("proc/diskstats",
             q(" 8 0 sda 1 1 %1 1 1 1 %1 1 1 1 1\n 8 1 sda1 1 1 9 1 1 1 9 1 1 1 1\n")
                 .arg(rounds * 10));
        save("proc/net/dev",
             q("Inter-| x\n face |bytes\n  lo: 5 0 0 0 0 0 0 0 5 0\neth0: %1 0 0 0 0 0 0 0 %1 0\n")
                 .arg(rounds * 10));
    }
    void save(const char *name, const QString &content)
    {
        QFile file(folder.filePath(q(name)));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content.toUtf8()), content.toUtf8().size());
    }
    void save(const char *name, const char *content) { save(name, q(content)); }
    void remove(const char *name)
    {
        const QString path = folder.filePath(q(name));
        QVERIFY(QFileInfo(path).isDir() ? QDir(path).removeRecursively() : QFile::remove(path));
    }

    void start()
    {
        scene.start();
        write(server, "/machine/settings/refreshRate", "50");
        for (const QString &keyword : all()) {
            session->receive(q(R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"%1"}})")
                                 .arg(keyword)
                                 .toUtf8());
        }
    }
    static QStringList all()
    {
        return {q("/machine/cpu/load"),
                q("/machine/cpu/core0/load"),
                q("/machine/cpu/high"),
                q("/machine/memory/total"),
                q("/machine/memory/used"),
                q("/machine/memory/available"),
                q("/machine/load/1min"),
                q("/machine/load/5min"),
                q("/machine/load/15min"),
                q("/machine/uptime"),
                q("/machine/disk/readRate"),
                q("/machine/disk/writeRate"),
                q("/machine/network/receiveRate"),
                q("/machine/network/sendRate"),
                q("/machine/processes/count")};
    }
    QStringList offline() const
    {
        QStringList paths;
        for (const QString &path : all()) {
            if (!online.value(path))
                paths << path.mid(9);
        }
        return paths;
    }
    double number(const char *path) const { return server.value(q(path)).toDouble(); }

    QTemporaryDir folder;
    KeywordServer server;
    TelemetryScene scene;
    std::unique_ptr<KeywordSession> session;
    QHash<QString, bool> online;
};

} // namespace

void tst_Scenes::telemetry_readsTheFilesThatItIsGiven()
{
    Machine machine;
    machine.start();
    // A rate requires two measurements.
    const QStringList changes {q("cpu/load"),        q("cpu/core0/load"), q("cpu/high"),
                               q("disk/readRate"),   q("disk/writeRate"), q("network/receiveRate"),
                               q("network/sendRate")};
    QCOMPARE(machine.offline(), changes);
    QCOMPARE(machine.number("/machine/memory/total"), 1000 * 1024.0);
    QCOMPARE(machine.number("/machine/memory/used"), 400 * 1024.0);
    QCOMPARE(machine.number("/machine/load/5min"), 1.5);
    QCOMPARE(machine.number("/machine/uptime"), 1234.5);
    QCOMPARE(machine.server.value(q("/machine/processes/count")).toInt(), 2);
    QVERIFY(!machine.server.value(q("/machine/cpu/high")).isValid());

    machine.count(2);
    QTRY_COMPARE(machine.offline(), QStringList());
    QCOMPARE(machine.number("/machine/cpu/load"), 50.0);
    QCOMPARE(machine.number("/machine/cpu/core0/load"), 50.0);
    QCOMPARE(machine.server.value(q("/machine/cpu/high")), QVariant(false));
}

void tst_Scenes::telemetry_goesOfflineWithItsFiles_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("content"); // null: the file is removed
    QTest::addColumn<QStringList>("offline");
    const auto rows = [](const char *file, const QStringList &offline) {
        const auto row = [&](const char *name, const QString &content) {
            QTest::newRow(qPrintable(q(file) + QLatin1Char(' ') + q(name)))
                << q(file) << content << offline;
        };
        row("gone", QString());
        row("empty", q(""));
        row("an empty line", q("\n"));
        row("garbage",
            q("x\ncpu x x x x x x x x\ncpu0\n8 0 sda x x x x x x x\neth0: x\n"
              "MemTotal: x kB\nMemAvailable:\n"));
    };
    rows("proc/stat", {q("cpu/load"), q("cpu/core0/load"), q("cpu/high")});
    rows("proc/meminfo", {q("memory/total"), q("memory/used"), q("memory/available")});
    rows("proc/loadavg", {q("load/1min"), q("load/5min"), q("load/15min")});
    rows("proc/uptime", {q("uptime")});
    rows("proc/diskstats", {q("disk/readRate"), q("disk/writeRate")});
    rows("proc/net/dev", {q("network/receiveRate"), q("network/sendRate")});
    QTest::newRow("one of three") << q("proc/loadavg") << q("0.5 x 2.5")
                                  << QStringList {q("load/5min")};
    QTest::newRow("no core") << q("proc/stat") << q("cpu 0 0 90 90 0 0 0 0\n")
                             << QStringList {q("cpu/core0/load")};
    QTest::newRow("no disks") << q("sys/block") << QString()
                              << QStringList {q("disk/readRate"), q("disk/writeRate")};
    QStringList measured;
    for (const QString &path : Machine::all())
        measured << path.mid(9);
    QTest::newRow("nothing") << q("proc") << QString() << measured;
}

void tst_Scenes::telemetry_goesOfflineWithItsFiles()
{
    QFETCH(QString, file);
    QFETCH(QString, content);
    QFETCH(QStringList, offline);
    // Missing from the start
    Machine poor;
    if (content.isNull())
        poor.remove(qPrintable(file));
    else
        poor.save(qPrintable(file), content);
    poor.start();
    for (const QString &path : std::as_const(offline)) {
        QVERIFY2(poor.offline().contains(path), qPrintable(path));
        QVERIFY2(!poor.server.value(q("/machine/") + path).isValid(), qPrintable(path));
    }

    // Missing later
    Machine machine;
    machine.start();
    machine.count(2);
    QTRY_COMPARE(machine.offline(), QStringList());
    if (content.isNull())
        machine.remove(qPrintable(file));
    else
        machine.save(qPrintable(file), content);
    QTRY_COMPARE(machine.offline(), offline);
    for (const QString &path : std::as_const(offline))
        QVERIFY2(machine.server.value(q("/machine/") + path).isValid(), qPrintable(path));
}

void tst_Scenes::telemetry_refreshes()
{
    KeywordServer server;
    TelemetryScene scene(&server);
    scene.start();
    const double before = server.value(q("/machine/uptime")).toDouble();
    QTRY_VERIFY(server.value(q("/machine/uptime")).toDouble() > before);
    QTRY_VERIFY(server.value(q("/machine/cpu/load")).isValid());
    const double load = server.value(q("/machine/cpu/load")).toDouble();
    QVERIFY(load >= 0 && load <= 100);
}

void tst_Scenes::telemetry_settingsShowAnEffect()
{
    KeywordServer server;
    TelemetryScene scene(&server);
    scene.start();
    write(server, "/machine/settings/refreshRate", "50");
    QCOMPARE(server.value(q("/machine/settings/refreshRate")), QVariant(50.0));
    QTRY_VERIFY(server.value(q("/machine/cpu/load")).isValid());
    QTRY_VERIFY(server.value(q("/machine/cpu/load")).toDouble() > 0);
    write(server, "/machine/settings/highLoad", "0");
    QTRY_VERIFY(server.value(q("/machine/cpu/high")).toBool());
    write(server, "/machine/settings/highLoad", "100");
    QTRY_VERIFY(!server.value(q("/machine/cpu/high")).toBool());

    // Paused, while a second scene shows that time passes
    write(server, "/machine/settings/paused", "true");
    const QVariant uptime = server.value(q("/machine/uptime"));
    KeywordServer other;
    TelemetryScene witness(&other);
    witness.start();
    const double start = other.value(q("/machine/uptime")).toDouble();
    QTRY_VERIFY(other.value(q("/machine/uptime")).toDouble() > start + 0.3);
    QCOMPARE(server.value(q("/machine/uptime")), uptime);
    write(server, "/machine/settings/paused", "false");
    QTRY_VERIFY(server.value(q("/machine/uptime")) != uptime);
    write(server, "/machine/settings/name", "\"Mine\"");
    QCOMPARE(server.value(q("/machine/settings/name")).toString(), q("Mine"));
}

void tst_Scenes::telemetry_refusesBadSettings_data()
{
    QTest::addColumn<QByteArray>("keyword");
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("rate too high")
        << QByteArray("/machine/settings/refreshRate") << QByteArray("51");
    QTest::newRow("rate too low") << QByteArray("/machine/settings/refreshRate")
                                  << QByteArray("0.1");
    QTest::newRow("rate negative")
        << QByteArray("/machine/settings/refreshRate") << QByteArray("-5");
    QTest::newRow("empty name") << QByteArray("/machine/settings/name") << QByteArray("\" \"");
    QTest::newRow("limit") << QByteArray("/machine/settings/highLoad") << QByteArray("101");
    QTest::newRow("measured") << QByteArray("/machine/uptime") << QByteArray("1");
}

void tst_Scenes::telemetry_refusesBadSettings()
{
    QFETCH(QByteArray, keyword);
    QFETCH(QByteArray, value);
    KeywordServer server;
    TelemetryScene scene(&server);
    scene.start();
    scene.stop();
    const QVariant before = server.value(QString::fromUtf8(keyword));
    write(server, keyword.constData(), value.constData());
    QCOMPARE(server.value(QString::fromUtf8(keyword)), before);
}

QTEST_GUILESS_MAIN(tst_Scenes)
#include "tst_scenes.moc"
