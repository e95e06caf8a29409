// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/mqttsource.h"

#include "client/inprocesskeywordclient.h"
#include "extras/writing/keywordwrite.h"
#include "gateway/mqtt/mqttsourcetype.h"
#include "gateway/sourcemount.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"
#include "tests/gateway/mqtt/broker.h"
#include "tests/gateway/mqtt/fulllistener.h"
#include "tests/server/testclient.h"
#include "tests/support/waitfor.h"

#include <QtCore/QDirIterator>
#include <QtCore/QElapsedTimer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <mutex>

using namespace pellix::gateway;
using namespace std::chrono_literals;
using State = Source::State;
using Outcome = Source::Outcome;

namespace {

constexpr int longTime = 60000; // in milliseconds; the time that a loaded machine may take

MqttOptions optionsFor(const Broker &broker)
{
    MqttOptions options;
    options.name = q("test");
    options.host = broker.host();
    options.port = broker.port();
    options.keepAlive = 5s;
    options.connectWithin = 1s;
    return options;
}

MqttOptions resyncedOptions(const Broker &broker, int version)
{
    MqttOptions options = optionsFor(broker);
    options.resync = 1s;
    options.version = version;
    return options;
}

void addVersions()
{
    QTest::addColumn<int>("version");
    QTest::newRow("5") << 5;
    QTest::newRow("3.1.1") << 3;
}

TopicKeyword writable(const char *topic, const char *type)
{
    TopicKeyword keyword;
    keyword.topic = q(topic);
    keyword.type = q(type);
    keyword.writeTopic = q("+/set");
    return keyword;
}

MappingOptions everything(const QList<TopicKeyword> &keywords = {})
{
    MappingOptions options;
    options.topics = QStringList {q("#")};
    options.keywords = keywords;
    return options;
}

// A source whose reports are recorded.
struct Observed
{
    Observed(const Broker &broker, const MappingOptions &mapping, int qos = 0)
        : Observed(optionsFor(broker), mapping, qos)
    { }
    Observed(const MqttOptions &options, const MappingOptions &mapping, int qos = 0)
        : source(options, mapping, qos)
    {
        QObject::connect(&source, &Source::stateChanged, &source,
                         [this](State state) { states.append(state); });
        QObject::connect(&source, &Source::reported, &source, [this](const SourceReport &report) {
            ++signalCount;
            largest = qMax(largest,
                           report.removed.size() + report.declared.size() + report.values.size());
            for (const QString &path : report.removed) {
                ++removals;
                values.remove(path);
            }
            for (const SourceKeyword &keyword : report.declared)
                values[keyword.path];
            for (const SourceValue &value : report.values) {
                ++reports;
                SourceValue &known = values[value.path];
                const auto before = known.value;
                known = value;
                if (!known.value)
                    known.value = before;
                lastState = source.state();
            }
        });
        QObject::connect(&source, &Source::writeAnswered, &source,
                         [this](quint64 id, Outcome outcome, const QString &reason) {
                             answers.append({id, outcome});
                             lastReason = reason;
                         });
    }
    void write(quint64 id, const char *path, const QVariant &value)
    {
        SourceWrite write;
        write.id = id;
        write.path = q(path);
        write.value = value;
        source.write(write);
    }
    QVariant value(const char *path) const
    {
        return values.value(q(path)).value.value_or(QVariant());
    }

    MqttSource source;
    QList<State> states;
    QHash<QString, SourceValue> values;
    QList<std::pair<quint64, Outcome>> answers;
    QString lastReason;
    State lastState = State::Stopped;
    qsizetype largest = 0;
    int reports = 0;
    int signalCount = 0;
    int removals = 0;
};
using Answers = QList<std::pair<quint64, Outcome>>;

// The entire path to the clients of a server
struct Plant
{
    explicit Plant(const MappingOptions &mapping)
    {
        if (!broker.start())
            qFatal("no broker");
        device = std::make_unique<BrokerClient>(broker);
        device->publish("v", "10", true);
        device->flush();
        source = std::make_unique<MqttSource>(optionsFor(broker), mapping);
        mount = std::make_unique<SourceMount>(source.get(), &server, q("test"), q("/plant"),
                                              SourceMount::createQueue());
        source->start();
    }
    bool isReady()
    {
        return waitFor(
            [this] { return source->state() == State::Ready && server.contains(q("/plant/v")); });
    }
    // The reaction of the device to a write.
    void onWrite(const std::function<void(const QByteArray &)> &function)
    {
        device->subscribe("v/set");
        QObject::connect(
            device.get(), &BrokerClient::receivedMessage, device.get(),
            [function](const QByteArray &, const QByteArray &payload) { function(payload); });
    }

    Broker broker;
    std::unique_ptr<BrokerClient> device;
    pellix::server::KeywordServer server;
    std::unique_ptr<MqttSource> source;
    std::unique_ptr<SourceMount> mount;
};

TopicKeyword setpoint(std::chrono::milliseconds confirmWithin = 20s)
{
    TopicKeyword keyword = writable("v", "double");
    keyword.confirmWithin = confirmWithin;
    return keyword;
}

QString accessPlugin()
{
    const QString name = q("mosquitto_dynamic_security.so");
    QDirIterator files(q("/usr/lib"), {name}, QDir::Files, QDirIterator::Subdirectories);
    return files.hasNext() ? files.next() : QString();
}

// A broker that refuses subscriptions other than open/#, until it accepts all.
class RefusingBroker : public Broker
{
public:
    RefusingBroker()
    {
        const QString rules = writeFile(
            q("rules.json"),
            R"({"defaultACLAccess":{"publishClientSend":true,"publishClientReceive":true,)"
            R"("subscribe":false,"unsubscribe":true},"clients":[],"anonymousGroup":"all",)"
            R"("groups":[{"groupname":"all","roles":[{"rolename":"all"}]}],)"
            R"("roles":[{"rolename":"all","acls":[)"
            R"({"acltype":"publishClientSend","topic":"$CONTROL/#","allow":true},)"
            R"({"acltype":"subscribePattern","topic":"open/#","allow":true}]}]})");
        options.lines = {"plugin " + QFile::encodeName(accessPlugin()),
                         "plugin_opt_config_file " + QFile::encodeName(rules)};
    }
    void acceptAll() const
    {
        BrokerClient administrator(*this);
        administrator.publish("$CONTROL/dynamic-security/v1",
                              R"({"commands":[{"command":"setDefaultACLAccess","acls":[)"
                              R"({"acltype":"subscribe","allow":true}]}]})");
        administrator.flush();
    }
};

// The lines of the log while it exists.
class LogLines
{
public:
    LogLines()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        lines.clear();
        previous = qInstallMessageHandler(take);
    }
    ~LogLines() { qInstallMessageHandler(previous); }
    Q_DISABLE_COPY_MOVE(LogLines)
    static QStringList with(const char *text)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return lines.filter(q(text));
    }

private:
    static void take(QtMsgType, const QMessageLogContext &, const QString &line)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        lines.append(line);
    }
    static inline std::mutex mutex;
    static inline QStringList lines;
    QtMessageHandler previous = nullptr;
};

#define QTRY_STATE(observed, expected)                                                             \
    QTRY_COMPARE_WITH_TIMEOUT((observed).source.state(), expected, longTime)

} // namespace

class tst_MqttSource : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void states_followTheLink();
    void ready_isAfterWhatWasKept_data();
    void ready_isAfterWhatWasKept();
    void ready_waitsForConventions();
    void values_areReported();
    void brokersQueue_mayBeFull();
    void restart_isFollowed_data();
    void restart_isFollowed();
    void frozenBroker_isLost();
    void otherPassword_isLost();
    void refusedFilter_leavesTheOthers_data();
    void refusedFilter_leavesTheOthers();
    void allFiltersRefused_isNotReady();
    void refusedFilter_mayBeRemoved();
    void write_isAnswered();
    void write_thatNobodyHears_isCounted();
    void write_isRefused_data();
    void write_isRefused();
    void write_withoutLinkIsRefusedAtOnce();
    void write_isUnknownIfTheBrokerDies();
    void write_isUnknownIfTheSourceStops();
    void mapping_isReplacedWithoutTheLink();
    void mapping_keepsWhatWasDescribed();
    void stop_isQuick_data();
    void stop_isQuick();
    void deletion_isPossibleFromHandlers();
    void slowReader_getsTheNewest();
    void resync_bringsWhatWasMissed_data() { addVersions(); }
    void resync_bringsWhatWasMissed();
    void resync_followsEachConnection();
    void resync_isQuietOtherwise_data() { addVersions(); }
    void resync_isQuietOtherwise();
    void resync_leavesWhatIsNotRetained();
    void resync_leavesFlagsAsPublished();
    void resync_isNoSignOfLife_data() { addVersions(); }
    void resync_isNoSignOfLife();
    void resync_confirmsNoWrite();
    void noResync_byDefault();
    void mounted_readbackIsShown();
    void mounted_linkLossKeepsValues();
    void mounted_twoWritersAddUp();
    void mounted_deviceThatNeverAnswers();
    void mounted_deviceThatAnswersSomethingElse();
    void mounted_refusedWriteIsNotSentLater();
    void mounted_refusedFilterIsOffline();
    void mounted_lostWriteIsUnknownToItsWriter();
};

void tst_MqttSource::states_followTheLink()
{
    Broker broker;
    QVERIFY(broker.start());
    Observed observed(broker, everything());
    QCOMPARE(observed.source.state(), State::Stopped);
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    QCOMPARE(observed.source.reason(), QString());
    QCOMPARE(observed.states, (QList {State::Connecting, State::Subscribing, State::Ready}));
    observed.source.stop();
    QCOMPARE(observed.source.state(), State::Stopped);
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    QCOMPARE(observed.source.statistics().connections, quint64(2));
}

void tst_MqttSource::ready_isAfterWhatWasKept_data()
{
    QTest::addColumn<int>("count");
    QTest::newRow("none") << 0;
    QTest::newRow("one") << 1;
    QTest::newRow("many") << 10000;
}

void tst_MqttSource::ready_isAfterWhatWasKept()
{
    QFETCH(const int, count);
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    for (int i = 0; i < count; ++i)
        writer.publish("plant/" + QByteArray::number(i), QByteArray::number(i), true);
    QVERIFY(writer.flush());
    Observed observed(broker, everything());
    int atReady = -1;
    connect(&observed.source, &Source::stateChanged, this, [&](State state) {
        if (state == State::Ready)
            atReady = int(observed.values.size());
    });
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    QCOMPARE(atReady, count);
    QVERIFY2(observed.largest <= 1000, qPrintable(QString::number(observed.largest)));
    QCOMPARE(observed.source.statistics().messages, quint64(count));
    QCOMPARE(observed.source.served().size(), count);
}

void tst_MqttSource::ready_waitsForConventions()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    writer.publish("homie/5/dev/$description",
                   "{\"homie\":\"5.0\",\"version\":1,\"nodes\":{\"n\":{\"properties\":{\"t\":{"
                   "\"datatype\":\"float\"}}}}}",
                   true);
    writer.publish("homie/5/dev/n/t", "21.5", true);
    writer.publish("homie/5/dev/$state", "ready", true);
    QVERIFY(writer.flush());
    MappingOptions options;
    options.conventions = {{q("homie"), {}}};
    Observed observed(broker, options);
    QVariant atReady;
    connect(&observed.source, &Source::stateChanged, this, [&](State state) {
        if (state == State::Ready && !observed.values.isEmpty())
            atReady = observed.values.cbegin()->value.value_or(QVariant());
    });
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    QCOMPARE(atReady, QVariant(21.5));
}

void tst_MqttSource::values_areReported()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    Observed observed(broker, everything());
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    writer.publish("a", "1");
    writer.publish("b", "{\"x\":true}");
    writer.publish("c", "\xff");
    writer.publish("d", QByteArray(1 << 20, 'x'));
    writer.publish("e", "x", true);
    writer.publish("e", "", true);
    writer.publish("f", "1", false, 1, 1);
    QTRY_COMPARE_WITH_TIMEOUT(observed.value("/f"), QVariant(1.0), longTime);
    QCOMPARE(observed.value("/a"), QVariant(1.0));
    QCOMPARE(observed.value("/b/x"), QVariant(true));
    QCOMPARE(observed.value("/d").toString().size(), 1 << 20);
    QVERIFY(!observed.values.contains(q("/c")));
    QVERIFY(!observed.values.contains(q("/e")));
    QCOMPARE(observed.source.statistics().unreadable, quint64(1));
    QTRY_VERIFY_WITH_TIMEOUT(!observed.values.value(q("/f")).online, longTime); // the value expires
}

// For subscriptions with QoS 1, a broker discards messages beyond its queue limit.
void tst_MqttSource::brokersQueue_mayBeFull()
{
    BrokerOptions options;
    options.queuedMessages = 10;
    options.inflightMessages = 5;
    Broker broker(options);
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    for (int i = 0; i < 3000; ++i)
        writer.publish("plant/" + QByteArray::number(i), "1", true);
    QVERIFY(writer.flush());
    Observed some(broker, everything(), 1);
    some.source.start();
    QTRY_STATE(some, State::Ready);
    QVERIFY(some.values.size() < 3000);
    Observed all(broker, everything(), 0);
    all.source.start();
    QTRY_STATE(all, State::Ready);
    QCOMPARE(all.values.size(), 3000);
}

void tst_MqttSource::restart_isFollowed_data()
{
    QTest::addColumn<bool>("persistence");
    QTest::newRow("with persistence") << true;
    QTest::newRow("without") << false;
}

void tst_MqttSource::restart_isFollowed()
{
    QFETCH(const bool, persistence);
    BrokerOptions options;
    options.persistence = persistence;
    Broker broker(options);
    QVERIFY(broker.start());
    {
        BrokerClient writer(broker);
        writer.publish("a", "1", true);
        writer.publish("b", "1", true);
        QVERIFY(writer.flush());
    }
    Observed observed(broker, everything());
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    const int before = observed.reports;
    broker.kill();
    QTRY_STATE(observed, State::Lost);
    QVERIFY(observed.source.reason().startsWith(q("connection lost: ")));
    QVERIFY(broker.start());
    QTRY_STATE(observed, State::Ready);
    QCOMPARE(observed.states.mid(3), (QList {State::Lost, State::Subscribing, State::Ready}));
    QCOMPARE(observed.value("/a"), QVariant(1.0));
    // Each value is current again if the broker has it.
    QCOMPARE(observed.reports - before, persistence ? 2 : 0);
    BrokerClient writer(broker);
    writer.publish("a", "2");
    QTRY_COMPARE_WITH_TIMEOUT(observed.value("/a"), QVariant(2.0), longTime);
}

void tst_MqttSource::frozenBroker_isLost()
{
    Broker broker;
    QVERIFY(broker.start());
    Observed observed(broker, everything());
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    broker.freeze();
    QTRY_STATE(observed, State::Lost);
    broker.thaw();
    QTRY_STATE(observed, State::Ready);
}

void tst_MqttSource::otherPassword_isLost()
{
    BrokerOptions options;
    options.passwords.insert(q("hmi"), q("secret"));
    Broker broker(options);
    QVERIFY(broker.start());
    MqttOptions link = optionsFor(broker);
    link.user = q("hmi");
    link.passwordFile = broker.writeFile(q("secret"), "secret");
    MqttSource source(link, everything());
    source.start();
    QTRY_COMPARE_WITH_TIMEOUT(source.state(), State::Ready, longTime);
    broker.options.passwords = {{q("hmi"), q("other")}};
    QVERIFY(broker.restart());
    QTRY_VERIFY_WITH_TIMEOUT(source.reason().contains(q("Not authorized")), longTime);
    QCOMPARE(source.state(), State::Lost);
    broker.writeFile(q("secret"), "other");
    QTRY_COMPARE_WITH_TIMEOUT(source.state(), State::Ready, longTime);
}

void tst_MqttSource::refusedFilter_leavesTheOthers_data()
{
    QTest::addColumn<std::chrono::milliseconds>("resync");
    QTest::newRow("without resync") << 0ms;
    QTest::newRow("with resync") << 300ms;
}

void tst_MqttSource::refusedFilter_leavesTheOthers()
{
    QFETCH(const std::chrono::milliseconds, resync);
    if (accessPlugin().isEmpty())
        QSKIP("mosquitto has no dynamic security here");
    RefusingBroker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    writer.publish("open/a", "1", true);
    writer.publish("secret/b", "2", true);
    QVERIFY(writer.flush());
    MappingOptions mapping;
    mapping.topics = QStringList {q("open/#"), q("secret/#")};
    MqttOptions options = optionsFor(broker);
    options.retryRefused = 200ms;
    options.resync = resync;
    const LogLines log;
    Observed observed(options, mapping);
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    QCOMPARE(observed.value("/open/a"), QVariant(1.0));
    QVERIFY(!observed.values.contains(q("/secret/b")));
    QCOMPARE(observed.source.reason(), q("the broker refuses the subscription to secret/#"));
    QCOMPARE(observed.source.statistics().refusedFilters, quint64(1));
    const auto requests = [&broker] { return broker.log().count("Received SUBSCRIBE"); };
    const auto before = requests();
    QTRY_VERIFY_WITH_TIMEOUT(requests() > before + 3, longTime);
    QCOMPARE(log.with("refuses the subscription to secret/#: Not authorized").size(), 1);
    QCOMPARE(log.with("accepts the subscription").size(), 0);
    broker.acceptAll();
    QTRY_COMPARE_WITH_TIMEOUT(observed.value("/secret/b"), QVariant(2.0), longTime);
    QTRY_COMPARE_WITH_TIMEOUT(observed.source.reason(), QString(), longTime);
    QCOMPARE(observed.source.statistics().refusedFilters, quint64(0));
    QCOMPARE(log.with("accepts the subscription to secret/#").size(), 1);
    QCOMPARE(log.with("refuses").size(), 1);
    QCOMPARE(observed.states, (QList {State::Connecting, State::Subscribing, State::Ready}));
    QCOMPARE(observed.source.statistics().connections, quint64(1));
}

void tst_MqttSource::allFiltersRefused_isNotReady()
{
    if (accessPlugin().isEmpty())
        QSKIP("mosquitto has no dynamic security here");
    RefusingBroker broker;
    QVERIFY(broker.start());
    MqttOptions options = optionsFor(broker);
    options.retryRefused = 200ms;
    Observed observed(options, everything());
    observed.source.start();
    QTRY_COMPARE_WITH_TIMEOUT(observed.source.reason(),
                              q("the broker refuses the subscription to #"), longTime);
    const auto before = broker.log().count("Received SUBSCRIBE");
    QTRY_VERIFY_WITH_TIMEOUT(broker.log().count("Received SUBSCRIBE") > before + 1, longTime);
    QCOMPARE(observed.source.state(), State::Subscribing);
    broker.acceptAll();
    QTRY_STATE(observed, State::Ready);
    QCOMPARE(observed.source.reason(), QString());
}

void tst_MqttSource::refusedFilter_mayBeRemoved()
{
    if (accessPlugin().isEmpty())
        QSKIP("mosquitto has no dynamic security here");
    RefusingBroker broker;
    QVERIFY(broker.start());
    MappingOptions mapping;
    mapping.topics = QStringList {q("open/#")};
    Observed observed(broker, mapping);
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    QCOMPARE(observed.source.reason(), QString());
    MappingOptions both = mapping;
    both.topics = QStringList {q("open/#"), q("secret/#")};
    observed.source.setMapping(both, 0);
    QTRY_COMPARE_WITH_TIMEOUT(observed.source.reason(),
                              q("the broker refuses the subscription to secret/#"), longTime);
    observed.source.setMapping(mapping, 0);
    QTRY_COMPARE_WITH_TIMEOUT(observed.source.reason(), QString(), longTime);
    QCOMPARE(observed.source.state(), State::Ready);
    QCOMPARE(observed.source.statistics().refusedFilters, quint64(0));
}

void tst_MqttSource::write_isAnswered()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    QVERIFY(device.subscribe("pump/set"));
    Observed observed(broker, everything({writable("pump", "bool")}));
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    observed.write(1, "/pump", true);
    QTRY_COMPARE_WITH_TIMEOUT(observed.answers, (Answers {{1, Outcome::Accepted}}), longTime);
    QTRY_COMPARE_WITH_TIMEOUT(device.payloads("pump/set"), QList<QByteArray> {"true"}, longTime);
    QVERIFY(!device.messages().constFirst().retained);
    QCOMPARE(device.messages().constFirst().expiry, 5);
    QVERIFY(!observed.value("/pump").isValid()); // only a readback sets the value, not the write
    QCOMPARE(observed.source.statistics().writes, quint64(1));
}

void tst_MqttSource::write_thatNobodyHears_isCounted()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    QVERIFY(device.subscribe("pump/set"));
    MappingOptions mapping;
    mapping.keywords = {writable("pump", "bool"), writable("fan", "bool"),
                        writable("lamp", "bool")};
    const LogLines log;
    Observed observed(broker, mapping);
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    for (const char *path : {"/pump", "/fan", "/fan", "/lamp", "/fan"})
        observed.write(quint64(observed.answers.size()), path, true);
    QTRY_COMPARE_WITH_TIMEOUT(observed.answers.size(), 5, longTime);
    for (const auto &answer : std::as_const(observed.answers))
        QCOMPARE(answer.second, Outcome::Accepted);
    QCOMPARE(observed.source.statistics().writes, quint64(5));
    QCOMPARE(observed.source.statistics().unheardWrites, quint64(4));
    QCOMPARE(log.with("nobody has subscribed to fan/set").size(), 1);
    QCOMPARE(log.with("nobody has subscribed to lamp/set").size(), 1);
    QCOMPARE(log.with("nobody has subscribed to").size(), 2);
}

void tst_MqttSource::write_isRefused_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QString>("reason");
    QTest::newRow("by the broker") << QByteArray("/pump") << "Not authorized";
    QTest::newRow("no write topic") << QByteArray("/level") << "there is no topic for writes";
    QTest::newRow("no keyword") << QByteArray("/none") << "there is no topic for writes";
}

void tst_MqttSource::write_isRefused()
{
    QFETCH(const QByteArray, path);
    QFETCH(const QString, reason);
    BrokerOptions options;
    options.acl = "topic read #\n";
    Broker broker(options);
    QVERIFY(broker.start());
    Observed observed(broker, everything({writable("pump", "bool")}));
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    observed.write(1, path.constData(), true);
    QTRY_COMPARE_WITH_TIMEOUT(observed.answers, (Answers {{1, Outcome::Refused}}), longTime);
    QCOMPARE(observed.lastReason, reason);
}

void tst_MqttSource::write_withoutLinkIsRefusedAtOnce()
{
    Broker broker;
    QVERIFY(broker.start());
    Observed observed(broker, everything({writable("pump", "bool")}));
    observed.write(1, "/pump", true);
    QTRY_COMPARE_WITH_TIMEOUT(observed.answers.size(), 1, longTime);
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    broker.kill();
    QTRY_STATE(observed, State::Lost);
    observed.write(2, "/pump", true);
    QTRY_COMPARE_WITH_TIMEOUT(observed.answers,
                              (Answers {{1, Outcome::Refused}, {2, Outcome::Refused}}), longTime);
    QVERIFY(broker.start());
    BrokerClient device(broker);
    QVERIFY(device.subscribe("pump/set"));
    QTRY_STATE(observed, State::Ready);
    observed.write(3, "/pump", false);
    QTRY_COMPARE_WITH_TIMEOUT(device.payloads("pump/set"), QList<QByteArray> {"false"}, longTime);
}

void tst_MqttSource::write_isUnknownIfTheBrokerDies()
{
    Broker broker;
    QVERIFY(broker.start());
    Observed observed(broker, everything({writable("pump", "bool")}));
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    broker.freeze();
    observed.write(1, "/pump", true);
    QTRY_COMPARE_WITH_TIMEOUT(observed.source.statistics().writes, quint64(1), longTime);
    broker.kill();
    QTRY_COMPARE_WITH_TIMEOUT(observed.answers, (Answers {{1, Outcome::Unknown}}), longTime);
    QVERIFY(broker.start());
    QTRY_STATE(observed, State::Ready);
    observed.write(2, "/pump", false);
    const Answers expected {{1, Outcome::Unknown}, {2, Outcome::Accepted}};
    QTRY_COMPARE_WITH_TIMEOUT(observed.answers, expected, longTime);
    QCOMPARE(broker.publicationsSeen("pump/set"), 1);
}

void tst_MqttSource::write_isUnknownIfTheSourceStops()
{
    Broker broker;
    QVERIFY(broker.start());
    Observed observed(broker, everything({writable("pump", "bool")}));
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    broker.freeze();
    observed.write(1, "/pump", true);
    observed.source.stop();
    QCOMPARE(observed.answers, (Answers {{1, Outcome::Unknown}}));
    QCOMPARE(observed.source.state(), State::Stopped);
}

void tst_MqttSource::mapping_isReplacedWithoutTheLink()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    writer.publish("a", "1", true);
    writer.publish("b", "1", true);
    QVERIFY(writer.flush());
    MappingOptions before = everything();
    Observed observed(broker, before);
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    writer.publish("live", "1");
    QTRY_VERIFY_WITH_TIMEOUT(observed.values.contains(q("/live")), longTime);
    TopicKeyword b;
    b.topic = q("b");
    b.type = q("int");
    b.path = q("/renamed");
    QSignalSpy states(&observed.source, &Source::stateChanged);
    observed.source.setMapping(everything({b}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(observed.value("/renamed"), QVariant(qint64(1)), longTime);
    QVERIFY(!observed.values.contains(q("/b")));
    QCOMPARE(observed.value("/a"), QVariant(1.0));
    QCOMPARE(observed.value("/live"), QVariant(1.0));
    QCOMPARE(states.size(), 0);
    QCOMPARE(observed.source.statistics().connections, quint64(1));
}

// A device does not send its description again when the configuration changes.
void tst_MqttSource::mapping_keepsWhatWasDescribed()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    MappingOptions before;
    before.conventions.append({q("homie"), {}});
    Observed observed(broker, before);
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    device.publish("homie/5/dev/$state", "ready");
    device.publish("homie/5/dev/$description",
                   R"({"homie":"5.0","version":1,"nodes":{"n":{"properties":{"t":{)"
                   R"("datatype":"float"}}}}})");
    // Values are received only after the subscription, which takes a moment.
    const auto isThere = [&](const char *text, double value) {
        device.publish("homie/5/dev/n/t", text);
        return device.flush() && observed.value("/dev/n/t") == QVariant(value);
    };
    QTRY_VERIFY_WITH_TIMEOUT(isThere("21.5", 21.5), longTime);
    QSignalSpy states(&observed.source, &Source::stateChanged);
    MappingOptions after = before;
    after.topics = QStringList {q("plant/#")};
    observed.removals = 0;
    observed.source.setMapping(after, 0);
    QTRY_VERIFY_WITH_TIMEOUT(isThere("22.5", 22.5), longTime);
    QCOMPARE(observed.removals, 0);
    QCOMPARE(states.size(), 0);
}

void tst_MqttSource::stop_isQuick_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<bool>("swallows");
    QTest::newRow("nobody listens") << "127.0.0.1" << false;
    QTest::newRow("swallows packets") << "127.0.0.1" << true;
    QTest::newRow("no such name") << "broker.invalid" << false;
}

void tst_MqttSource::stop_isQuick()
{
    QFETCH(const QString, host);
    QFETCH(const bool, swallows);
    const FullListener full;
    MqttOptions options;
    options.host = host;
    options.port = swallows ? full.port() : 1;
    auto source = std::make_unique<MqttSource>(options, everything());
    source->start();
    QTRY_COMPARE_WITH_TIMEOUT(source->state(), State::Connecting, longTime);
    QTRY_COMPARE_WITH_TIMEOUT(full.attempts() > 0, swallows, longTime);
    // Without a time limit, this could block for minutes.
    QElapsedTimer time;
    time.start();
    source->stop();
    QCOMPARE(source->state(), State::Stopped);
    source.reset();
    QVERIFY2(time.elapsed() < 20000, qPrintable(QString::number(time.elapsed())));
    QCOMPARE(full.attempts() > 0, swallows); // the system continues to try
}

void tst_MqttSource::deletion_isPossibleFromHandlers()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    writer.publish("a", "1", true);
    QVERIFY(writer.flush());
    for (int i = 0; i < 3; ++i) {
        auto source = std::make_unique<MqttSource>(optionsFor(broker), everything());
        const auto reset = [&] { source.reset(); };
        connect(source.get(), &Source::reported, this, [&] {
            if (i == 0)
                reset();
        });
        connect(source.get(), &Source::stateChanged, this, [&](State state) {
            if ((i == 1 && state == State::Ready) || (i == 2 && state == State::Stopped))
                reset();
        });
        source->start();
        if (i == 2)
            source->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!source, longTime);
    }
}

void tst_MqttSource::slowReader_getsTheNewest()
{
    Broker broker;
    QVERIFY(broker.start());
    Observed observed(broker, everything());
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    BrokerClient writer(broker);
    constexpr int count = 60000;
    const int before = observed.reports;
    const int signalsBefore = observed.signalCount;
    for (int i = 1; i <= count; ++i)
        writer.publish("fast", QByteArray::number(i), false, 0);
    // This thread does not process events until all messages have arrived.
    while (observed.source.statistics().messages < count && writer.isConnected()) { }
    QTRY_COMPARE_WITH_TIMEOUT(observed.value("/fast"), QVariant(double(count)), longTime);
    // At most 20 000 values wait, and each signal contains 1000 of them.
    QVERIFY2(observed.reports - before <= 2 * 20000, qPrintable(QString::number(observed.reports)));
    QVERIFY2(observed.signalCount - signalsBefore <= 2 * 20,
             qPrintable(QString::number(observed.signalCount)));
}

// One message is withheld by the broker.
void tst_MqttSource::resync_bringsWhatWasMissed()
{
    QFETCH(const int, version);
    BrokerOptions brokerOptions;
    brokerOptions.acl = "topic readwrite #\n";
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    writer.publish("a", "1", true);
    QVERIFY(writer.flush());
    Observed observed(resyncedOptions(broker, version), everything());
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    broker.setAcl("topic write #\n");
    writer.publish("a", "2", true);
    writer.publish("b", "3", true);
    QVERIFY(writer.flush());
    broker.setAcl("topic readwrite #\n");
    QTRY_COMPARE_WITH_TIMEOUT(observed.value("/a"), QVariant(2.0), longTime);
    QTRY_COMPARE_WITH_TIMEOUT(observed.value("/b"), QVariant(3.0), longTime);
    writer.publish("a", "4", true);
    QTRY_COMPARE_WITH_TIMEOUT(observed.value("/a"), QVariant(4.0), longTime);
}

// The broker withholds the retained message at first, and the period of the resyncs is very long.
void tst_MqttSource::resync_followsEachConnection()
{
    const QByteArray withheld = "topic write #\n";
    BrokerOptions brokerOptions;
    brokerOptions.acl = withheld;
    brokerOptions.persistence = true;
    Broker broker(brokerOptions);
    QVERIFY(broker.start());
    MqttOptions options = optionsFor(broker);
    options.resync = 1h;
    Observed observed(options, everything());
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    for (int value = 1; value <= 3; ++value) {
        // If this machine is too slow to permit reading before the resync, it is tried again.
        const auto isBrought = [&] {
            const auto connections = observed.source.statistics().connections;
            broker.setAcl(withheld);
            {
                BrokerClient writer(broker);
                writer.publish("a", QByteArray::number(value), true);
                writer.flush();
            }
            broker.restart();
            const auto isReady = [&] {
                return observed.source.statistics().connections > connections
                    && observed.source.state() == State::Ready;
            };
            if (!waitFor(isReady, longTime) || observed.value("/a") == QVariant(double(value)))
                return false;
            broker.setAcl("topic readwrite #\n");
            return waitFor([&] { return observed.value("/a") == QVariant(double(value)); }, 5000);
        };
        QVERIFY(isBrought() || isBrought() || isBrought());
    }
}

void tst_MqttSource::resync_isQuietOtherwise()
{
    QFETCH(const int, version);
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    for (int i = 0; i < 1000; ++i)
        writer.publish("plant/" + QByteArray::number(i), QByteArray::number(i), true);
    QVERIFY(writer.flush());
    Observed observed(resyncedOptions(broker, version), everything());
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    writer.publish("plant/7", "live", true);
    QTRY_VERIFY_WITH_TIMEOUT(observed.source.statistics().messages > 3000, longTime);
    QCOMPARE(observed.reports, 1001);
    QCOMPARE(observed.states, (QList {State::Connecting, State::Subscribing, State::Ready}));
}

// The retained message of a topic is older than its message without the retain flag.
void tst_MqttSource::resync_leavesWhatIsNotRetained()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    writer.publish("a", "1", true);
    QVERIFY(writer.flush());
    Observed observed(resyncedOptions(broker, 5), everything());
    QList<QVariant> values;
    connect(&observed.source, &Source::reported, this, [&](const SourceReport &report) {
        for (const SourceValue &value : report.values)
            values.append(value.value.value_or(QVariant()));
    });
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    writer.publish("a", "2");
    QVERIFY(writer.flush());
    QTRY_VERIFY_WITH_TIMEOUT(observed.source.statistics().messages >= 6, longTime);
    QCOMPARE(values, (QList<QVariant> {1.0, 2.0}));
}

// An empty message is either a string, or deletes the retained string.
void tst_MqttSource::resync_leavesFlagsAsPublished()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    writer.publish("other", "1", true);
    writer.publish("a", "text", true);
    QVERIFY(writer.flush());
    Observed observed(resyncedOptions(broker, 5), everything());
    observed.source.start();
    QTRY_STATE(observed, State::Ready);
    QTRY_VERIFY_WITH_TIMEOUT(observed.source.statistics().messages >= 4, longTime);
    writer.publish("a", "");
    QTRY_COMPARE_WITH_TIMEOUT(observed.value("/a"), QVariant(QString()), longTime);
    writer.publish("a", "", true);
    QTRY_VERIFY_WITH_TIMEOUT(!observed.values.contains(q("/a")), longTime);
}

void tst_MqttSource::resync_isNoSignOfLife()
{
    QFETCH(const int, version);
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    writer.publish("a", "1", true);
    QVERIFY(writer.flush());
    TopicKeyword keyword;
    keyword.topic = q("a");
    keyword.type = q("double");
    keyword.staleAfter = 2500ms;
    pellix::server::KeywordServer server;
    MqttSource source(resyncedOptions(broker, version), everything({keyword}));
    const SourceMount mount(&source, &server, q("test"), q("/"), SourceMount::createQueue());
    source.start();
    QTRY_COMPARE_WITH_TIMEOUT(source.state(), State::Ready, longTime);
    Client client(&server);
    client.create("/a");
    QTRY_COMPARE_WITH_TIMEOUT(client.seen.join(QLatin1Char(' ')), q("/a=1 coc-"), longTime);
    client.taken();
    QTRY_COMPARE_WITH_TIMEOUT(client.seen.join(QLatin1Char(' ')), q("/a=1 c-c-"), longTime);
    // The value does not change afterwards.
    const quint64 before = source.statistics().messages;
    QTRY_VERIFY_WITH_TIMEOUT(source.statistics().messages > before + 1, longTime);
    QCOMPARE(client.seen.size(), 1);
}

// A copy of the current value does not affect a pending write.
void tst_MqttSource::resync_confirmsNoWrite()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    device.publish("v", "1", true);
    QVERIFY(device.flush());
    QVERIFY(device.subscribe("v/set"));
    pellix::server::KeywordServer server;
    MqttSource source(resyncedOptions(broker, 5), everything({setpoint(60s)}));
    const SourceMount mount(&source, &server, q("test"), q("/"), SourceMount::createQueue());
    source.start();
    QTRY_COMPARE_WITH_TIMEOUT(source.state(), State::Ready, longTime);
    Client client(&server);
    client.create("/v");
    client.taken();
    client.update("/v", "2");
    QTRY_COMPARE_WITH_TIMEOUT(device.payloads("v/set"), QList<QByteArray> {"2"}, longTime);
    const quint64 before = source.statistics().messages;
    QTRY_VERIFY_WITH_TIMEOUT(source.statistics().messages >= before + 3, longTime);
    QCOMPARE(client.seen.join(QLatin1Char(' ')), q("/v=1 co--")); // the write is still pending
    device.publish("v", "2", true);
    QTRY_COMPARE_WITH_TIMEOUT(client.seen.join(QLatin1Char(' ')), q("/v=1 co-- /v=2 coc-"),
                              longTime);
}

void tst_MqttSource::noResync_byDefault()
{
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient writer(broker);
    writer.publish("a", "1", true);
    QVERIFY(writer.flush());
    Observed observed(broker, everything());
    Observed resynced(resyncedOptions(broker, 5), everything());
    observed.source.start();
    resynced.source.start();
    QTRY_STATE(observed, State::Ready);
    QTRY_VERIFY_WITH_TIMEOUT(resynced.source.statistics().messages >= 3, longTime);
    QCOMPARE(observed.source.statistics().messages, quint64(1));
}

void tst_MqttSource::mounted_readbackIsShown()
{
    Plant plant(everything({setpoint()}));
    QVERIFY(plant.isReady());
    plant.onWrite([&](const QByteArray &payload) { plant.device->publish("v", payload, true); });
    Client client(&plant.server);
    client.create("/plant/v");
    QCOMPARE(client.taken(), q("/plant/v=10 coc-"));
    client.update("/plant/v", "11.5");
    QCOMPARE(plant.server.value(q("/plant/v")), QVariant(10.0)); // not yet the written value
    QTRY_VERIFY_WITH_TIMEOUT(client.seen.contains(q("/plant/v=11.5 coc-")), longTime);
    QTRY_COMPARE_WITH_TIMEOUT(plant.mount->statistics().writes, quint64(1), longTime);
    QCOMPARE(plant.mount->statistics().refusedWrites, quint64(0));
}

void tst_MqttSource::mounted_linkLossKeepsValues()
{
    Plant plant(everything({setpoint()}));
    QVERIFY(plant.isReady());
    Client client(&plant.server);
    client.create("/plant/v");
    QCOMPARE(client.taken(), q("/plant/v=10 coc-"));
    plant.broker.kill();
    QTRY_COMPARE_WITH_TIMEOUT(client.seen.join(QLatin1Char(' ')), q("/plant/v=10 --c-"), longTime);
    client.taken();
    client.update("/plant/v", "11"); // refused immediately
    QTRY_COMPARE_WITH_TIMEOUT(client.seen.join(QLatin1Char(' ')), q("/plant/v=10 --ce"), longTime);
    client.taken();
    // Connected again, but the current value is still unknown
    QVERIFY(plant.broker.start());
    QTRY_COMPARE_WITH_TIMEOUT(plant.source->state(), State::Ready, longTime);
    QTRY_COMPARE_WITH_TIMEOUT(client.seen.join(QLatin1Char(' ')), q("/plant/v=10 c-c-"), longTime);
    client.taken();
    BrokerClient writer(plant.broker);
    writer.publish("v", "12");
    QTRY_COMPARE_WITH_TIMEOUT(client.seen.join(QLatin1Char(' ')), q("/plant/v=12 coc-"), longTime);
}

void tst_MqttSource::mounted_twoWritersAddUp()
{
    Plant plant(everything({setpoint()}));
    QVERIFY(plant.isReady());
    plant.onWrite([&](const QByteArray &payload) { plant.device->publish("v", payload, true); });
    Client one(&plant.server), other(&plant.server);
    one.create("/plant/v");
    other.create("/plant/v");
    for (int i = 0; i < 5; ++i) {
        one.update("/plant/v", "1", true);
        other.update("/plant/v", "2", true);
    }
    QTRY_COMPARE_WITH_TIMEOUT(plant.server.value(q("/plant/v")), QVariant(25.0), longTime);
    QCOMPARE(plant.mount->statistics().refusedWrites, quint64(0));
}

void tst_MqttSource::mounted_deviceThatNeverAnswers()
{
    Plant plant(everything({setpoint(500ms)}));
    QVERIFY(plant.isReady());
    Client client(&plant.server), other(&plant.server);
    client.create("/plant/v");
    other.create("/plant/v");
    client.taken();
    other.taken();
    client.update("/plant/v", "11");
    // The write is shown as pending after a while, and is then refused. Only the writer receives
    // the refusal.
    QTRY_VERIFY_WITH_TIMEOUT(client.seen.contains(q("/plant/v=10 coce")), longTime);
    QCOMPARE(client.seen.constFirst(), q("/plant/v=10 co--"));
    QCOMPARE(client.seen.constLast(), q("/plant/v=10 coce"));
    QTRY_COMPARE_WITH_TIMEOUT(other.seen.join(q(" | ")), q("/plant/v=10 co-- | /plant/v=10 coc-"),
                              longTime);
}

void tst_MqttSource::mounted_deviceThatAnswersSomethingElse()
{
    Plant plant(everything({setpoint(2s)}));
    QVERIFY(plant.isReady());
    plant.onWrite([&](const QByteArray &) { plant.device->publish("v", "50", true); });
    Client client(&plant.server);
    client.create("/plant/v");
    client.taken();
    client.update("/plant/v", "11");
    QTRY_VERIFY_WITH_TIMEOUT(client.seen.contains(q("/plant/v=50 coce")), longTime);
    QCOMPARE(plant.server.value(q("/plant/v")), QVariant(50.0));
    QCOMPARE(plant.mount->statistics().refusedWrites, quint64(1));
}

// The broker does not reply until the writers have been told so.
void tst_MqttSource::mounted_refusedWriteIsNotSentLater()
{
    QList<TopicKeyword> keywords;
    for (int i = 0; i < 40; ++i) {
        const QByteArray name = "v" + QByteArray::number(i);
        keywords.append(writable(name.constData(), "double"));
        keywords.last().confirmWithin = 1s;
    }
    Broker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    QVERIFY(device.subscribe("+/set", 0)); // so the broker keeps nothing for it
    MqttOptions options = optionsFor(broker);
    options.keepAlive = 60s;
    pellix::server::KeywordServer server;
    MqttSource source(options, everything(keywords));
    const SourceMount mount(&source, &server, q("test"), q("/"), SourceMount::createQueue());
    source.start();
    QTRY_COMPARE_WITH_TIMEOUT(source.state(), State::Ready, longTime);
    QTRY_VERIFY_WITH_TIMEOUT(server.contains(q("/v39")), longTime);
    Client client(&server);
    for (int i = 0; i < 40; ++i)
        client.create("/v" + QByteArray::number(i));
    broker.freeze();
    for (int i = 0; i < 40; ++i)
        client.update("/v" + QByteArray::number(i), "1");
    QTRY_COMPARE_WITH_TIMEOUT(mount.statistics().refusedWrites, quint64(40), longTime);
    QTRY_COMPARE_WITH_TIMEOUT(source.statistics().writes, quint64(40), longTime);
    broker.thaw();
    BrokerClient writer(broker);
    writer.publish("v0", "5");
    QTRY_COMPARE_WITH_TIMEOUT(server.value(q("/v0")), QVariant(5.0), longTime);
    client.update("/v0", "2");
    QTRY_VERIFY_WITH_TIMEOUT(device.payloads("v0/set").contains("2"), longTime);
    QVERIFY2(device.messages().size() <= 21, qPrintable(QString::number(device.messages().size())));
}

void tst_MqttSource::mounted_refusedFilterIsOffline()
{
    if (accessPlugin().isEmpty())
        QSKIP("mosquitto has no dynamic security here");
    RefusingBroker broker;
    QVERIFY(broker.start());
    BrokerClient device(broker);
    device.publish("open/a", "1", true);
    device.publish("secret/b", "2", true);
    QVERIFY(device.flush());
    MappingOptions mapping;
    mapping.keywords = {writable("open/a", "double"), writable("secret/b", "double")};
    MqttOptions options = optionsFor(broker);
    options.retryRefused = 200ms;
    pellix::server::KeywordServer server;
    MqttSource source(options, mapping);
    const SourceMount mount(&source, &server, q("test"), q("/"), SourceMount::createQueue());
    source.start();
    QTRY_VERIFY_WITH_TIMEOUT(mount.isReady(), longTime);
    Client client(&server);
    client.create("/open/a");
    client.create("/secret/b");
    QCOMPARE(client.taken(), q("/open/a=1 coc- | /secret/b=null c-c-"));
    broker.acceptAll();
    QTRY_COMPARE_WITH_TIMEOUT(client.seen.join(QLatin1Char(' ')), q("/secret/b=2 coc-"), longTime);
}

// The broker dies between the message and its acknowledgment.
void tst_MqttSource::mounted_lostWriteIsUnknownToItsWriter()
{
    using pellix::extras::PKeywordWrite;
    Plant plant(everything({setpoint(60s)}));
    QVERIFY(plant.isReady());
    pellix::client::PInProcessKeywordClient client;
    pellix::server::linkInProcess(&plant.server, &client);
    PKeywordWrite write;
    write.setConfirmWithin(0);
    write.setClient(&client);
    write.setKeyword(q("/plant/v"));
    QTRY_VERIFY_WITH_TIMEOUT(write.isReady() && write.lastEvent().connected, longTime);
    plant.broker.freeze();
    write.set(11);
    QTRY_COMPARE_WITH_TIMEOUT(plant.source->statistics().writes, quint64(1), longTime);
    plant.broker.kill();
    QTRY_VERIFY_WITH_TIMEOUT(!write.isPending(), longTime);
    QCOMPARE(write.state(), PKeywordWrite::TimedOut);
    QCOMPARE(write.problem(), q("outcome not known: the source was lost"));
    // From now on, nothing is sent.
    write.set(12);
    QTRY_VERIFY_WITH_TIMEOUT(!write.isPending(), longTime);
    QCOMPARE(write.state(), PKeywordWrite::Refused);
}

QTEST_GUILESS_MAIN(tst_MqttSource)
#include "tst_mqttsource.moc"
