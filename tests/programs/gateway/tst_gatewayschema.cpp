// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/configuration.h"
#include "gateway/source.h"
#include "programs/gateway/sourcetypes.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QTest>

using namespace pellix::gateway;

// Checks that the schema and the program have the same members. The program lists its known members
// if it finds an unknown one.
class tst_GatewaySchema : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void members_areTheSame_data();
    void members_areTheSame();
    void reconnection_isDescribed_data();
    void reconnection_isDescribed();

private:
    static QJsonObject schema(const QString &definition);
};

// The top level if there is no definition.
QJsonObject tst_GatewaySchema::schema(const QString &definition)
{
    QFile file(QStringLiteral(SCHEMA));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QJsonObject whole = QJsonDocument::fromJson(file.readAll()).object();
    return definition.isEmpty()
        ? whole
        : whole.value(QLatin1String("$defs")).toObject().value(definition).toObject();
}

void tst_GatewaySchema::members_areTheSame_data()
{
    QTest::addColumn<QByteArray>("json"); // with an unknown member in this place
    QTest::addColumn<QString>("definition"); // in the schema; empty: the top level
    const auto row = [](const char *definition, const QByteArray &json) {
        QTest::newRow(*definition ? definition : "top") << json << QString::fromLatin1(definition);
    };
    row("", R"({"00000000": 1})");
    row("listener", R"({"listen": [{"00000000": 1}]})");
    row("tls", R"({"listen": [{"tls": {"00000000": 1}}]})");
    row("proxies", R"({"listen": [{"proxies": {"00000000": 1}}]})");
    row("role", R"({"roles": {"a": {"00000000": 1}}})");
    row("client", R"({"clients": [{"certificate": "CN=a", "role": "viewer", "00000000": 1},
                                  {"tokenFile": "a", "00000000": 1}]})");
    row("limits", R"({"limits": {"00000000": 1}})");
    const auto source = [](const QByteArray &members) {
        return R"({"sources": [{"name": "a", "mount": "/a", )" + members + "}]}";
    };
    row("source", source(R"("mqtt": {"url": "mqtt://a"}, "available": {"topic": "a"},
                             "00000000": 1)"));
    row("mqtt", source(R"("mqtt": {"url": "mqtts://a", "user": "a", "passwordFile": "x", "ca": "x",
                                   "certificate": "x", "key": "x", "00000000": 1})"));
    row("availability",
        source(R"("mqtt": {"url": "mqtt://a"}, "available": {"topic": "a", "00000000": 1})"));
    row("availabilities",
        source(R"("mqtt": {"url": "mqtt://a"}, "available": {"topics": [], "00000000": 1})"));
    row("keyword", source(R"("mqtt": {"url": "mqtt://a"},
        "keywords": [{"topic": "a", "available": {"topic": "a"}, "00000000": 1}, {"topic": "b", "key": "a", "00000000": 1}])"));
    row("write", source(R"("mqtt": {"url": "mqtt://a"}, "keywords": [{"topic": "a", "type": "int",
        "write": {"topic": "a", "00000000": 1}}])"));
    row("message", source(R"("mqtt": {"url": "mqtt://a"}, "tests": [{"messages": [{"topic": "a",
        "payload": 1, "00000000": 1}], "expect": {"/a": 1}}])"));
    row("test", source(R"("mqtt": {"url": "mqtt://a"}, "tests": [{"topic": "a", "payload": 1,
        "00000000": 1, "expect": {"/a": 1}}, {"messages": [], "00000000": 1,
        "expect": {"/a": 1}}])"));
    row("health", R"({"health": {"00000000": 1}})");
}

void tst_GatewaySchema::members_areTheSame()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, definition);
    QFile file(QStringLiteral(SCHEMA));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QJsonParseError error;
    QJsonObject schema = QJsonDocument::fromJson(file.readAll(), &error).object();
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(schema.value(QLatin1String("$schema")).toString(),
             QStringLiteral("https://json-schema.org/draft/2020-12/schema"));
    if (!definition.isEmpty())
        schema = schema.value(QLatin1String("$defs")).toObject().value(definition).toObject();
    QCOMPARE(schema.value(QLatin1String("additionalProperties")), QJsonValue(false));
    QStringList expected = schema.value(QLatin1String("properties")).toObject().keys();
    expected.sort();

    ConfigurationProblems problems;
    QVERIFY(!Configuration::parse(json, QString(), sourceTypes(), &problems));
    QStringList known;
    for (const ConfigurationProblem &problem : problems) {
        const QLatin1String start("unknown member \"00000000\"; known here: ");
        if (problem.text.startsWith(start))
            known += problem.text.mid(start.size()).split(QLatin1String(", "));
    }
    known.sort();
    known.removeDuplicates();
    QCOMPARE(known, expected);
}

void tst_GatewaySchema::reconnection_isDescribed_data()
{
    QTest::addColumn<QString>("definition");
    QTest::addColumn<QString>("member");
    for (const char *const definition : {"mqtt", "source", "listener"}) {
        const QStringList members = schema(QString::fromLatin1(definition))
                                        .value(QLatin1String("properties"))
                                        .toObject()
                                        .keys();
        for (const QString &member : members)
            QTest::addRow("%s, %s", definition, qPrintable(member))
                << QString::fromLatin1(definition) << member;
    }
}

// A member says so if changing it interrupts a connection, and no other does.
void tst_GatewaySchema::reconnection_isDescribed()
{
    QFETCH(QString, definition);
    QFETCH(QString, member);
    static const QStringList disconnecting {
        QStringLiteral("address"),     QStringLiteral("port"), QStringLiteral("tls"),
        QStringLiteral("unencrypted"), QStringLiteral("name"), QStringLiteral("mount")};
    const QString description = schema(definition)
                                    .value(QLatin1String("properties"))
                                    .toObject()
                                    .value(member)
                                    .toObject()
                                    .value(QLatin1String("description"))
                                    .toString();
    const bool isDescribed = description.endsWith(definition == QLatin1String("listener")
                                                      ? QLatin1String("disconnects the clients.")
                                                      : QLatin1String("reconnects to the broker."));
    if (definition != QLatin1String("mqtt")) {
        QCOMPARE(isDescribed, disconnecting.contains(member));
        return;
    }
    // Other settings are applied to a source; what it does not accept restarts it.
    const QString file = QStringLiteral(TLS_FILES "/server.crt");
    const QJsonObject changes {{QStringLiteral("url"), QStringLiteral("mqtts://b")},
                               {QStringLiteral("user"), QStringLiteral("v")},
                               {QStringLiteral("passwordFile"), file},
                               {QStringLiteral("ca"), file},
                               {QStringLiteral("certificate"), QStringLiteral("/dev/null")},
                               {QStringLiteral("key"), QStringLiteral("/dev/null")},
                               {QStringLiteral("clientId"), QStringLiteral("c")},
                               {QStringLiteral("keepAlive"), 20},
                               {QStringLiteral("version"), QStringLiteral("3.1.1")},
                               {QStringLiteral("qos"), 2},
                               {QStringLiteral("resync"), 10},
                               {QStringLiteral("announce"), QStringLiteral("t")}};
    QVERIFY(changes.contains(member));
    QJsonObject mqtt {{QStringLiteral("url"), QStringLiteral("mqtts://a")},
                      {QStringLiteral("user"), QStringLiteral("u")},
                      {QStringLiteral("certificate"), file},
                      {QStringLiteral("key"), file}};
    const auto settings = [&mqtt] {
        const QJsonObject source {{QStringLiteral("name"), QStringLiteral("a")},
                                  {QStringLiteral("mount"), QStringLiteral("/a")},
                                  {QStringLiteral("mqtt"), mqtt}};
        const QJsonObject whole {
            {QStringLiteral("listen"), QJsonArray {QJsonObject {{QStringLiteral("port"), 0}}}},
            {QStringLiteral("sources"), QJsonArray {source}}};
        ConfigurationProblems problems;
        const auto read = Configuration::parse(QJsonDocument(whole).toJson(), QString(),
                                               sourceTypes(), &problems);
        for (const ConfigurationProblem &problem : std::as_const(problems))
            qWarning("%s: %s", qPrintable(problem.pointer), qPrintable(problem.text));
        return read ? read->sources.constFirst().settings : nullptr;
    };
    const auto before = settings();
    mqtt.insert(member, changes.value(member));
    const auto after = settings();
    QVERIFY(before && after);
    QCOMPARE(isDescribed, !before->apply(*after, before->create().get()));
}

QTEST_GUILESS_MAIN(tst_GatewaySchema)
#include "tst_gatewayschema.moc"
