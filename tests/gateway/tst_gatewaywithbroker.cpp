// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/gateway.h"
#include "gateway/mqtt/mqttsourcetype.h"
#include "server/keywordserver.h"
#include "tests/gateway/mqtt/broker.h"

#include <QtCore/QMap>
#include <QtCore/QProcess>
#include <QtTest/QTest>

#include <csignal>

using namespace pellix::gateway;

namespace {

constexpr int patience = 30000; // in milliseconds, for all expected events

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

// Tests a gateway whose sources are real brokers.
class tst_GatewayWithBroker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void metrics_countWhatDoesNotFit();
    void hangUp_reconnectsOnlyWhatChanged();
    void dump_isAConfiguration_data();
    void dump_isAConfiguration();

private:
    bool apply(QByteArray sources);
    bool apply(const std::optional<Configuration> &configuration,
               const ConfigurationProblems &problems);
    QString write(const char *name, QByteArray content) const;
    QByteArray run(const QStringList &arguments, int exitCode = 0);
    QMap<QString, QVariant> valuesOf(const QStringList &paths) const;
    QByteArray metric(const char *name) const;

    const MqttSourceType mqtt;
    std::unique_ptr<Broker> broker;
    std::unique_ptr<Gateway> gateway;
    QString error;
};

void tst_GatewayWithBroker::init()
{
    broker = std::make_unique<Broker>();
    QVERIFY(broker->start());
    gateway = std::make_unique<Gateway>();
}

void tst_GatewayWithBroker::cleanup()
{
    gateway.reset();
    broker.reset();
}

// URL stands for the address of the broker.
bool tst_GatewayWithBroker::apply(QByteArray sources)
{
    ConfigurationProblems problems;
    const auto configuration =
        Configuration::parse(R"({"listen": [{"port": 0}], "sources": )"
                                 + sources.replace("URL", broker->url().toUtf8()) + '}',
                             QString(), {&mqtt}, &problems);
    return apply(configuration, problems);
}

bool tst_GatewayWithBroker::apply(const std::optional<Configuration> &configuration,
                                  const ConfigurationProblems &problems)
{
    for (const ConfigurationProblem &problem : problems)
        qWarning("%s: %s", qPrintable(problem.pointer), qPrintable(problem.text));
    return configuration && gateway->apply(*configuration, &error);
}

QString tst_GatewayWithBroker::write(const char *name, QByteArray content) const
{
    return broker->writeFile(q(name), content.replace("URL", broker->url().toUtf8()));
}

// Returns the output of the program.
QByteArray tst_GatewayWithBroker::run(const QStringList &arguments, int exitCode)
{
    QProcess process;
    process.start(q(GATEWAY), arguments);
    const bool hasEnded = process.waitForFinished(patience);
    const QByteArray errors = process.readAllStandardError();
    [&] {
        QVERIFY(hasEnded);
        QVERIFY2(process.exitCode() == exitCode, errors);
    }();
    return process.readAllStandardOutput();
}

QMap<QString, QVariant> tst_GatewayWithBroker::valuesOf(const QStringList &paths) const
{
    QMap<QString, QVariant> values;
    for (const QString &path : paths)
        values.insert(path, gateway->keywordServer()->value(path));
    return values;
}

// The value of a metric of the source "a".
QByteArray tst_GatewayWithBroker::metric(const char *name) const
{
    const QByteArray line = QByteArray("\nkeyword_gateway_") + name + "{source=\"a\"} ";
    const QByteArray all = gateway->metrics();
    const qsizetype begin = all.indexOf(line);
    return begin < 0 ? QByteArray() : all.mid(begin + line.size()).split('\n').constFirst();
}

void tst_GatewayWithBroker::metrics_countWhatDoesNotFit()
{
    BrokerClient other(*broker);
    QTRY_VERIFY_WITH_TIMEOUT(other.isConnected(), patience);
    QVERIFY2(apply(R"([{"name": "a", "mount": "/a", "mqtt": {"url": "URL"}}])"), qPrintable(error));
    QTRY_COMPARE_WITH_TIMEOUT(metric("source_up"), QByteArray("1"), patience);
    QCOMPARE(metric("source_misfits_total"), QByteArray("0"));
    QCOMPARE(metric("source_conflicts_total"), QByteArray("0"));
    other.publish("number", "1");
    other.publish("number", "hot");
    other.publish("number", "cold");
    other.publish("a//b", "1");
    other.publish("a/_/b", "1");
    QTRY_COMPARE_WITH_TIMEOUT(metric("messages_total"), QByteArray("5"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(metric("source_misfits_total"), QByteArray("2"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(metric("source_conflicts_total"), QByteArray("1"), patience);
    QTRY_COMPARE_WITH_TIMEOUT(gateway->keywordServer()->value(q("/a/number")), QVariant(1.0),
                              patience);
}

void tst_GatewayWithBroker::hangUp_reconnectsOnlyWhatChanged()
{
    const QByteArray sources = R"({"listen": [{"port": 0}], "sources": [
        {"name": "a", "mount": "/a", "mqtt": {"url": "URL", "clientId": "one"}},
        {"name": "b", "mount": "/b", "mqtt": {"url": "URL", "clientId": "two"}}]})";
    const auto connectionsOf = [this](const char *client) {
        return broker->log().count(QByteArray(" as ") + client + " (");
    };
    QProcess program;
    program.setProcessChannelMode(QProcess::MergedChannels);
    QByteArray output;
    connect(&program, &QProcess::readyRead, &program, [&] { output += program.readAll(); });
    program.start(q(GATEWAY), {q("--config"), write("gateway.json", sources)});
    QTRY_VERIFY_WITH_TIMEOUT(output.contains("a: ready") && output.contains("b: ready"), patience);
    QCOMPARE(connectionsOf("one"), 1);
    QCOMPARE(connectionsOf("two"), 1);

    write("gateway.json", QByteArray(sources).replace(R"("two")", R"("three")"));
    output.clear();
    ::kill(pid_t(program.processId()), SIGHUP);
    QTRY_VERIFY_WITH_TIMEOUT(output.contains("b: ready") && output.contains("reloaded"), patience);
    QCOMPARE(connectionsOf("three"), 1);
    // Another mapping needs no other connection.
    write("gateway.json",
          QByteArray(sources)
              .replace(R"("two"})", R"("three"}, "topics": "x/#")")
              .replace("\"/a\",", R"("/a", "keywords": [{"topic": "y", "type": "int"}],)"));
    output.clear();
    ::kill(pid_t(program.processId()), SIGHUP);
    QTRY_VERIFY_WITH_TIMEOUT(output.contains("reloaded"), patience);
    BrokerClient other(*broker); // its connection comes later than any of the gateway
    QTRY_VERIFY_WITH_TIMEOUT(other.isConnected(), patience);
    QTRY_COMPARE_WITH_TIMEOUT(broker->connectionsSeen(), 4, patience);
    QCOMPARE(connectionsOf("one"), 1);
    QCOMPARE(connectionsOf("three"), 1);
    program.terminate();
    QVERIFY(program.waitForFinished(patience));
    QCOMPARE(program.exitCode(), 0);
}

void tst_GatewayWithBroker::dump_isAConfiguration_data()
{
    QTest::addColumn<QByteArray>("configuration"); // empty: with --mqtt
    QTest::addColumn<QStringList>("paths");
    QTest::newRow("from the command line")
        << QByteArray() << QStringList {q("/p/f/number"), q("/p/f/text"),       q("/p/f/object/a"),
                                        q("/p/f/list"),   q("/p/f/object/b/c"), q("/p/f/array"),
                                        q("/p/f/{x}"),    q("/p/f/b{y}/{m}"),   q("/p/f/_/e"),
                                        q("/p/f/Label_")};
    QTest::newRow("from a configuration")
        << QByteArray(R"({"listen": [{"port": 0}], "sources": [{"name": "a", "mount": "/p",
            "mqtt": {"url": "URL"}, "topics": "f/#", "keywords": [
                {"topic": "{top}/object", "path": "/named/{top}", "value": "/b/c"},
                {"topic": "f/array", "key": "k", "value": "v", "path": "/elements"},
                {"topic": "f/{{x}", "type": "int", "label": "The {{x}"}],
            "tests": [{"topic": "f/array", "payload": [{"k": "i", "v": 1}],
                       "expect": {"/p/elements/i": 1}}]}]})")
        << QStringList {q("/p/named/f"), q("/p/elements/i"), q("/p/elements/j"),
                        q("/p/{x}"),     q("/p/b{y}/{m}"),   q("/p/_/e")};
}

// The output has the same keywords when it is read again.
void tst_GatewayWithBroker::dump_isAConfiguration()
{
    QFETCH(const QByteArray, configuration);
    QFETCH(const QStringList, paths);
    BrokerClient other(*broker);
    QTRY_VERIFY_WITH_TIMEOUT(other.isConnected(), patience);
    const QList<std::pair<QByteArray, QByteArray>> messages {
        {"f/number", "1.5"},
        {"f/text", "ON"},
        {"f/object", R"({"a": 1, "b": {"c": "x"}})"},
        {"f/list", "[1, 2]"},
        {"f/array", R"([{"k": "i", "v": 1}, {"k": "j", "v": 2}])"},
        {"f/{x}", "3"},
        {"f/b{y}", R"({"{m}": 4})"},
        {"f//e", "5"},
        {"f/Label", "6"},
    };
    for (const auto &[topic, payload] : messages)
        other.publish(topic, payload, true);
    QVERIFY(other.flush());

    QStringList arguments {q("--config"), write("gateway.json", configuration), q("--dump")};
    if (configuration.isEmpty()) {
        arguments = {q("--mqtt"), broker->url(), q("--mount"), q("/p"),
                     q("--port"), q("0"),        q("--dump")};
    }
    const QByteArray dump = run(arguments);
    const QString file = write("dump.json", dump);
    QVERIFY(run({q("--check"), file}).contains(": good; 1 sources, "));
    QCOMPARE(run({q("--config"), file, q("--dump")}), dump); // nothing is missing, or added

    ConfigurationProblems problems;
    QVERIFY(apply(Configuration::read(file, {&mqtt}, &problems), problems));
    QTRY_VERIFY_WITH_TIMEOUT(gateway->isReady(), patience);
    const QMap<QString, QVariant> values = valuesOf(paths);
    const int count = gateway->keywordServer()->keywordCount();
    for (const QString &path : paths)
        QVERIFY2(gateway->keywordServer()->contains(path), qPrintable(path));
    QVERIFY(
        std::all_of(values.begin(), values.end(), [](const QVariant &v) { return v.isValid(); }));
    // The same as without the dump
    gateway = std::make_unique<Gateway>();
    if (configuration.isEmpty())
        QVERIFY(apply(R"([{"name": "a", "mount": "/p", "mqtt": {"url": "URL"}}])"));
    else
        QVERIFY(apply(Configuration::read(arguments.at(1), {&mqtt}, &problems), problems));
    QTRY_VERIFY_WITH_TIMEOUT(gateway->isReady(), patience);
    QCOMPARE(valuesOf(paths), values);
    QCOMPARE(gateway->keywordServer()->keywordCount(), count);
}

QTEST_GUILESS_MAIN(tst_GatewayWithBroker)
#include "tst_gatewaywithbroker.moc"
