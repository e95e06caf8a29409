// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/gateway/gatewayload.h"

#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"
#include "gateway/gateway.h"
#include "gateway/mqtt/mqttsourcetype.h"
#include "server/keywordserver.h"
#include "tests/gateway/mqtt/broker.h"
#include "tests/gateway/mqtt/notifierclient.h"
#include "tests/support/waitfor.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRandomGenerator>

#include <algorithm>
#include <deque>
#include <limits>
#include <memory>

#include <mosquitto.h>

using namespace pellix::client;
using namespace pellix::gateway;
using namespace std::chrono_literals;

namespace {

constexpr auto tickInterval = 10ms;
constexpr auto settleInterval = 50ms;
constexpr int setpoints = 100;
constexpr int writesPerTick = 2;
constexpr int ticksPerVisit = 20;
constexpr size_t visitors = 3; // at the same time
constexpr int keywordsOfVisitor = 100;
constexpr int ticksOfOutage = 20;

// Topics that change together, some in each tick.
struct Group
{
    const char *name;
    int topics;
    int perTick;
    bool isObject;
};
constexpr Group groups[] = {
    {"fast", 20, 20, false},
    {"medium", 200, 20, false},
    {"slow", 680, 7, false},
    {"machine", 100, 2, true},
};
constexpr const char *members[] = {"/temp", "/pump/speed"}; // of an object

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

BrokerOptions brokerOptions()
{
    BrokerOptions options;
    options.persistence = true;
    options.queuedMessages = 0;
    options.isQuiet = true;
    return options;
}

class GatewayLoad : public QObject
{
    Q_OBJECT

public:
    explicit GatewayLoad(const GatewayLoadOptions &options);
    ~GatewayLoad() override;

    bool start();
    bool runCycle();
    GatewayLoadFigures figures;

private:
    // A client with some of the keywords.
    struct Visitor
    {
        // The client last, as the proxies are subscribed to it.
        std::unique_ptr<PWebSocketKeywordClient> client;
        std::vector<std::unique_ptr<PKeywordProxy>> proxies;
    };

    QByteArray configuration(bool isOther) const;
    bool reload(bool isOther);
    bool openDevice();
    void answer(const mosquitto_message &message);
    void addKeyword(const QString &keyword);
    void change(const Group &group, int number);
    void publishAll();
    void tick(int number);
    void visit();
    void loseBroker();
    bool fail(const QString &what);
    QString unsettled() const;

    const GatewayLoadOptions options;
    QRandomGenerator random {1};
    MqttSourceType type;
    Broker broker {brokerOptions()};
    NotifierClient device;
    std::unique_ptr<Gateway> gateway;
    PWebSocketKeywordClient client;
    std::vector<std::unique_ptr<PKeywordProxy>> proxies; // of the client, for all keywords
    std::deque<Visitor> passing;
    QHash<QByteArray, QByteArray> payloads; // by topic, last published
    QHash<QString, double> values; // by keyword
    QElapsedTimer elapsed;
    int turns[std::size(groups)] = {};
    int setpoint = 0;
};

QByteArray topicOf(const Group &group, int number)
{
    return QByteArray(group.name) + "/k" + QByteArray::number(number);
}

GatewayLoad::GatewayLoad(const GatewayLoadOptions &options) : options(options)
{
    device.setMessageHandler([this](const mosquitto_message &message) { answer(message); });
    client.setAutoReconnect(true);
}

GatewayLoad::~GatewayLoad() = default;

// The other one has labels, limits, and a second source besides.
QByteArray GatewayLoad::configuration(bool isOther) const
{
    const QJsonObject mqtt {{q("url"), broker.url()}};
    QJsonArray keywords {QJsonObject {{q("topic"), q("set/{1}")},
                                      {q("type"), q("double")},
                                      {q("write"), QJsonObject {{q("topic"), q("+/set")}}}}};
    if (isOther) {
        keywords.append(QJsonObject {{q("topic"), q("medium/{1}")},
                                     {q("type"), q("double")},
                                     {q("label"), q("Medium {1}")},
                                     {q("range"), QJsonArray {0, 1000000}}});
    }
    QJsonArray sources {QJsonObject {
        {q("name"), q("plant")},
        {q("mount"), q("/plant")},
        {q("mqtt"), mqtt},
        {q("topics"), QJsonArray {q("fast/#"), q("medium/#"), q("slow/#"), q("machine/#")}},
        {q("keywords"), keywords}}};
    if (isOther) {
        sources.append(QJsonObject {{q("name"), q("other")},
                                    {q("mount"), q("/other")},
                                    {q("mqtt"), mqtt},
                                    {q("topics"), QJsonArray {q("slow/#"), q("machine/#")}}});
    }
    const QJsonArray all {q("/**")};
    return QJsonDocument(
               QJsonObject {{q("listen"),
                             QJsonArray {QJsonObject {{q("address"), q("127.0.0.1")},
                                                      {q("port"), 0},
                                                      {q("role"), q("operator")}}}},
                            {q("roles"),
                             QJsonObject {{q("operator"),
                                           QJsonObject {{q("read"), all}, {q("write"), all}}}}},
                            {q("self"), q("/gateway")},
                            {q("sources"), sources}})
        .toJson();
}

bool GatewayLoad::fail(const QString &what)
{
    figures.failure = what;
    return false;
}

bool GatewayLoad::reload(bool isOther)
{
    ConfigurationProblems problems;
    QString error;
    const auto parsed = Configuration::parse(configuration(isOther), {}, {&type}, &problems);
    if (!parsed)
        error = problems.constFirst().pointer + QLatin1Char(' ') + problems.constFirst().text;
    if (!parsed || !gateway->apply(*parsed, &error))
        return fail(q("the configuration is refused: ") + error);
    ++figures.reloads;
    return true;
}

bool GatewayLoad::openDevice()
{
    if (!device.open(broker.port()))
        return fail(q("the device does not reach the broker"));
    device.subscribe("set/+/set");
    publishAll();
    return true;
}

void GatewayLoad::addKeyword(const QString &keyword)
{
    proxies.push_back(std::make_unique<PKeywordProxy>());
    connect(proxies.back().get(), &PKeywordProxy::valueChanged, this, [this] { ++figures.events; });
    proxies.back()->setClient(&client);
    proxies.back()->setKeyword(keyword);
}

bool GatewayLoad::start()
{
    elapsed.start();
    for (const Group &group : groups) {
        for (int i = 0; i < group.topics; ++i)
            change(group, i);
    }
    for (int i = 0; i < setpoints; ++i) {
        payloads.insert("set/k" + QByteArray::number(i), "0");
        values.insert(q("/plant/set/k%1").arg(i), 0);
    }
    if (!broker.start() || !openDevice())
        return fail(q("the broker does not start"));
    gateway = std::make_unique<Gateway>();
    if (!reload(false))
        return false;
    client.setUrls({gateway->urls().constFirst().toString()});
    const QStringList keywords = values.keys();
    for (const QString &keyword : keywords)
        addKeyword(keyword);
    return true;
}

// What a device reports after it was told.
void GatewayLoad::answer(const mosquitto_message &message)
{
    QByteArray topic(message.topic);
    topic.chop(int(qstrlen("/set")));
    const QByteArray payload(static_cast<const char *>(message.payload), message.payloadlen);
    payloads.insert(topic, payload);
    values.insert(q("/plant/") + QString::fromLatin1(topic), payload.toDouble());
    device.publish(topic, payload, true);
    ++figures.messages;
}

// Of the same length each time, so that memory at rest can be compared.
void GatewayLoad::change(const Group &group, int number)
{
    const QByteArray topic = topicOf(group, number);
    const QString keyword = q("/plant/") + QString::fromLatin1(topic);
    const auto next = [this] { return 100000 + random.bounded(900000) + 0.5; };
    const double value = next();
    QByteArray payload = QByteArray::number(value, 'f', 1);
    if (group.isObject) {
        const double speed = next();
        payload = "{\"temp\":" + payload
            + ",\"state\":\"on\",\"pump\":{\"speed\":" + QByteArray::number(speed, 'f', 1) + "}}";
        values.insert(keyword + q(members[0]), value);
        values.insert(keyword + q(members[1]), speed);
        ++figures.objects;
    } else {
        values.insert(keyword, value);
    }
    payloads.insert(topic, payload);
    device.publish(topic, payload, true);
    ++figures.messages;
}

void GatewayLoad::publishAll()
{
    for (auto it = payloads.cbegin(); it != payloads.cend(); ++it)
        device.publish(it.key(), it.value(), true);
}

void GatewayLoad::visit()
{
    Visitor visitor;
    visitor.client = std::make_unique<PWebSocketKeywordClient>();
    for (int i = 0; i < keywordsOfVisitor; ++i) {
        visitor.proxies.push_back(std::make_unique<PKeywordProxy>());
        visitor.proxies.back()->setClient(visitor.client.get());
        const size_t number = (size_t(figures.visits) * keywordsOfVisitor + size_t(i));
        visitor.proxies.back()->setKeyword(proxies[number % proxies.size()]->keyword());
    }
    visitor.client->setUrls(client.urls());
    passing.push_back(std::move(visitor));
    ++figures.visits;
    if (passing.size() > visitors)
        passing.pop_front();
}

// In turn, with and without what it has kept.
void GatewayLoad::loseBroker()
{
    const qint64 kind = ++figures.brokersLost % 3;
    if (kind == 0)
        broker.terminate();
    else
        broker.kill();
    if (kind == 1)
        QFile::remove(broker.filePath(q("mosquitto.db")));
}

void GatewayLoad::tick(int number)
{
    for (size_t i = 0; i < std::size(groups); ++i) {
        for (int k = 0; k < groups[i].perTick && device.isOpen(); ++k) {
            change(groups[i], turns[i]);
            turns[i] = (turns[i] + 1) % groups[i].topics;
        }
    }
    for (int i = 0; i < writesPerTick; ++i) {
        const QString keyword = q("/plant/set/k%1").arg(setpoint = (setpoint + 1) % setpoints);
        client.sendKeyUpdate(keyword, 100000 + random.bounded(900000) + 0.5);
        ++figures.writes;
    }
    if (number % ticksPerVisit == 0)
        visit();
}

// What is not at rest; empty when everything is.
QString GatewayLoad::unsettled() const
{
    if (!client.connected())
        return q("the client is not connected");
    if (const int sessions = gateway->keywordServer()->sessionCount(); sessions != 1)
        return q("there are %1 sessions instead of 1").arg(sessions);
    for (const auto &proxy : proxies) {
        const double expected = values.value(proxy->keyword());
        if (!proxy->connected() || !proxy->online() || proxy->value().toDouble() != expected)
            return q("%1 is %2 instead of %3%4")
                .arg(proxy->keyword(), proxy->value().toString())
                .arg(expected)
                .arg(proxy->online() ? QString() : q(", and not online"));
    }
    return {};
}

bool GatewayLoad::runCycle()
{
    const auto pause = [](std::chrono::milliseconds time) {
        waitFor([] { return false; }, int(time.count()));
    };
    const int outage = options.ticks * 3 / 10;
    for (int i = 0; i < options.ticks; ++i) {
        if (i == outage)
            loseBroker();
        if (i == outage + ticksOfOutage && (!broker.start() || !openDevice()))
            return fail(q("the broker does not start"));
        if (i == options.ticks / 2 && !reload(true))
            return false;
        if (i == options.ticks * 8 / 10 && !reload(false))
            return false;
        tick(i);
        pause(tickInterval);
    }
    passing.clear();
    if (!waitFor([this] { return unsettled().isEmpty(); }, int(options.patience.count())))
        return fail(unsettled());
    pause(settleInterval); // for what is deleted later
    figures.milliseconds = elapsed.elapsed();
    figures.samples.push_back({figures.milliseconds, Memory::now()});
    return true;
}

} // namespace

GatewayLoadFigures
runGatewayLoad(const GatewayLoadOptions &options,
               const std::function<void(const GatewayLoadFigures &figures)> &progress)
{
    GatewayLoad load(options);
    if (!load.start())
        return load.figures;
    const auto isOver = [&options, &figures = load.figures] {
        return figures.milliseconds >= options.duration.count()
            || (options.cycles > 0 && figures.samples.size() >= size_t(options.cycles));
    };
    while (!isOver() && load.runCycle()) {
        if (progress)
            progress(load.figures);
    }
    return load.figures;
}

#include "gatewayload.moc"
