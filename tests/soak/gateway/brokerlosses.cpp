// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/gateway/brokerlosses.h"

#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"
#include "tests/soak/changingkeywords.h"
#include "tests/support/waitfor.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>

#include <algorithm>

using namespace pellix::client;
using namespace std::chrono_literals;

namespace {

constexpr auto longestDowntime = 1500ms; // beyond the longest pause between two attempts
constexpr auto longestCut = 6000ms; // beyond the time that an attempt to connect has

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

const QString mount = QStringLiteral("/plant");

QByteArray topic(int keyword)
{
    return ChangingKeywords::name(keyword).mid(mount.size() + 1).toUtf8();
}

BrokerOptions brokerOptions()
{
    BrokerOptions options;
    options.persistence = true;
    options.queuedMessages = 0; // as a gateway needs it
    options.isQuiet = true;
    return options;
}

} // namespace

const char *brokerLossName(BrokerLoss loss)
{
    static const char *const names[] = {"killed", "killed, nothing kept", "stopped", "half open"};
    return names[int(loss)];
}

BrokerLosses::BrokerLosses(const Options &options, QObject *parent)
    : QObject(parent), options(options), broker(brokerOptions()), gateway(options.gatewayProgram),
      values(size_t(options.keywords)), random(quint32(options.number))
{
    for (int i = 0; i < options.keywords; ++i)
        values[size_t(i)] = i;
    patience.setSingleShot(true);
    patience.setInterval(options.patience);
    connect(&patience, &QTimer::timeout, this, [this] { fail(q("not in time")); });
}

BrokerLosses::~BrokerLosses()
{
    for (const auto &client : clients)
        client->QObject::disconnect(this);
    for (const Place &place : places)
        place.proxy->disconnect(this);
}

QJsonObject BrokerLosses::configuration() const
{
    const quint16 port = line ? line->port() : broker.port();
    return {
        {q("listen"), QJsonArray {QJsonObject {{q("address"), q("127.0.0.1")}, {q("port"), 0}}}},
        {q("limits"), QJsonObject {{q("clients"), options.screens + 10}}},
        {q("sources"),
         QJsonArray {QJsonObject {
             {q("name"), q("plant")},
             {q("mount"), mount},
             {q("topics"), QJsonArray {q("#")}},
             {q("mqtt"),
              QJsonObject {{q("url"), q("mqtt://127.0.0.1:%1").arg(port)},
                           {q("keepAlive"), int(options.keepAlive.count())}}},
         }}},
    };
}

// The gateway reaches its broker last, so that the link has a higher socket number than all
// screens: one that keeps it from the first moment on would get its low number again each time.
void BrokerLosses::start()
{
    enter(Phase::Filling);
    if (!broker.start())
        return fail(q("the broker does not start"));
    if (options.losses.contains(BrokerLoss::HalfOpen)) {
        line = std::make_unique<Forwarder>(broker.port());
        if (!line->listen(0))
            return fail(q("there is no free port"));
        line->cut();
    } else {
        broker.kill();
    }
    if (!gateway.start(configuration()))
        return fail(q("the gateway does not start"));
    places.resize(size_t(options.screens) * size_t(options.keywordsEach));
    for (int i = 0; i < options.screens; ++i)
        addScreen(i);
    const auto isConnected = [](const auto &client) { return client->connected(); };
    if (!waitFor([&] { return std::all_of(clients.begin(), clients.end(), isConnected); },
                 int(options.patience.count())))
        return fail(q("the screens do not connect"));
    if (line)
        line->restore();
    else if (!broker.start())
        return fail(q("the broker does not start"));
    if (!device.open(broker.port()))
        return fail(q("the device does not reach the broker"));
    renew(0, 1);
}

void BrokerLosses::addScreen(int screen)
{
    clients.push_back(std::make_unique<PWebSocketKeywordClient>());
    PWebSocketKeywordClient *const client = clients.back().get();
    client->setAutoReconnect(true);
    connect(client, &PWebSocketKeywordClient::connectedChanged, this, [this, client] {
        if (!client->connected() && phase != Phase::Over)
            Q_EMIT screenLost();
    });
    for (int i = 0; i < options.keywordsEach; ++i) {
        const int number = screen * options.keywordsEach + i;
        Place *const place = &places[size_t(number)];
        place->keyword = number % options.keywords;
        place->proxy = std::make_unique<PKeywordProxy>();
        connect(place->proxy.get(), &PKeywordProxy::valueChanged, this,
                [this, place] { look(place); });
        connect(place->proxy.get(), &PKeywordProxy::stateChanged, this,
                [this, place] { look(place); });
        place->proxy->setClient(client);
        place->proxy->setKeyword(ChangingKeywords::name(place->keyword));
    }
    client->setUrls({gateway.url()});
}

// Each has values of its own.
void BrokerLosses::renew(int first, int step)
{
    for (int i = first; i < options.keywords; i += step)
        values[size_t(i)] += options.keywords;
    for (Place &place : places)
        count(&place);
    for (int i = first; i < options.keywords; i += step)
        device.publish(topic(i), QByteArray::number(values[size_t(i)]), true);
}

void BrokerLosses::enter(Phase next)
{
    phase = next;
    isDone = false;
    patience.start();
    sinceEntry.start();
}

void BrokerLosses::look(Place *place)
{
    bool isNumber = false;
    const qint64 value = place->proxy->value().toLongLong(&isNumber);
    if (isNumber && value < place->newest)
        return fail(q("%1 went back to %2").arg(place->proxy->keyword()).arg(value));
    if (isNumber)
        place->newest = value;
    count(place);
    checkPhase();
}

void BrokerLosses::count(Place *place)
{
    const PKeywordProxy &proxy = *place->proxy;
    const bool isRight = proxy.connected() && proxy.online() && proxy.consistent() && !proxy.error()
        && proxy.value().toLongLong() == values[size_t(place->keyword)];
    const bool isLost = !proxy.connected() && !proxy.online();
    rightCount += size_t(isRight) - size_t(std::exchange(place->isRight, isRight));
    lostCount += size_t(isLost) - size_t(std::exchange(place->isLost, isLost));
}

// Goes on later, when everybody has been told.
void BrokerLosses::checkPhase()
{
    const bool isWanted = phase == Phase::Losing       ? lostCount == places.size()
        : phase == Phase::Down || phase == Phase::Over ? false
                                                       : rightCount == places.size();
    if (!isWanted || std::exchange(isDone, true))
        return;
    const qint64 took = sinceEntry.elapsed();
    if (phase == Phase::Losing)
        Q_EMIT noticed(loss(), took);
    else if (phase == Phase::Recovering)
        Q_EMIT recovered(loss(), took);
    QTimer::singleShot(0, this,
                       phase == Phase::Losing ? &BrokerLosses::onLost : &BrokerLosses::onRight);
}

void BrokerLosses::strike()
{
    enter(Phase::Losing);
    switch (loss()) {
    case BrokerLoss::KilledKept:
    case BrokerLoss::KilledForgotten:
        broker.kill();
        break;
    case BrokerLoss::Stopped:
        broker.terminate();
        break;
    case BrokerLoss::HalfOpen:
        line->cut();
        renew(0, 1); // which nobody can see
        break;
    }
    sinceEntry.start();
}

void BrokerLosses::onLost()
{
    const auto hasNone = [](const Place &place) { return !place.proxy->value().isValid(); };
    if (std::any_of(places.begin(), places.end(), hasNone))
        return fail(q("a keyword has lost its value"));
    enter(Phase::Down);
    const auto longest = loss() == BrokerLoss::HalfOpen ? longestCut : longestDowntime;
    QTimer::singleShot(random.bounded(int(longest.count())), this, &BrokerLosses::restore);
}

// What the broker has not kept, or half of what it has, gets new values at once.
void BrokerLosses::restore()
{
    if (phase == Phase::Over)
        return;
    if (loss() == BrokerLoss::HalfOpen) {
        enter(Phase::Recovering);
        line->restore();
        return;
    }
    const bool isForgotten = loss() == BrokerLoss::KilledForgotten;
    if (isForgotten)
        QFile::remove(broker.filePath(q("mosquitto.db")));
    if (!broker.start())
        return fail(q("the broker does not start"));
    enter(Phase::Recovering);
    if (!device.open(broker.port()))
        return fail(q("the device does not reach the broker"));
    renew(0, isForgotten ? 1 : 2);
}

void BrokerLosses::onRight()
{
    switch (phase) {
    case Phase::Filling:
        Q_EMIT filled();
        strike();
        break;
    case Phase::Recovering:
        enter(Phase::Living);
        renew(0, 1);
        break;
    case Phase::Living:
        if (++round < options.losses.size()) {
            strike();
            break;
        }
        phase = Phase::Over;
        patience.stop();
        Q_EMIT finished();
        break;
    case Phase::Losing:
    case Phase::Down:
    case Phase::Over:
        break;
    }
}

void BrokerLosses::fail(const QString &what)
{
    if (phase == Phase::Over)
        return;
    const QString text = q("gateway %1, loss %2 (%3): %4; %5")
                             .arg(options.number)
                             .arg(round + 1)
                             .arg(q(brokerLossName(loss())), what, whatIsWrong());
    phase = Phase::Over;
    patience.stop();
    Q_EMIT failed(text);
}

QString BrokerLosses::whatIsWrong() const
{
    static const char *const phases[] = {"filling",    "losing", "down",
                                         "recovering", "living", "over"};
    QString text = q("%1, %2 of %3 keywords right, %4 not connected; the log of the gateway ends "
                     "with: %5")
                       .arg(q(phases[int(phase)]))
                       .arg(rightCount)
                       .arg(places.size())
                       .arg(lostCount)
                       .arg(gateway.lastLogLine());
    if (!gateway.isRunning())
        text += q("; it has ended");
    if (!broker.isRunning())
        text += q("; the broker is not running");
    const QByteArray brokerLog = broker.log().trimmed();
    text += q("; that of the broker with: ")
        + QString::fromUtf8(brokerLog.mid(brokerLog.lastIndexOf('\n') + 1));
    const auto wrong = std::find_if(places.begin(), places.end(),
                                    [](const Place &place) { return !place.isRight; });
    if (wrong != places.end() && wrong->proxy) {
        text += q("; the first that is wrong, %1: %2 instead of %3")
                    .arg(wrong->proxy->keyword(), wrong->proxy->value().toString())
                    .arg(values[size_t(wrong->keyword)]);
    }
    return text;
}
