// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/restartrounds.h"

#include "binding/keywordproxy.h"

using namespace pellix::client;
using namespace std::chrono_literals;

namespace {

// The longest duration of an outage after the client has detected it, beyond the first retry.
constexpr auto longestDowntime = 1500ms;
constexpr auto intruderPollInterval = 100ms;
constexpr auto pulseInterval = 100ms;
constexpr qint64 stall = 1000; // milliseconds; a ping takes several turns of the event loop
constexpr qint64 stallMemory = 10000; // milliseconds: two ticks of the keep-alive

// Slow outages, which only the keep-alive detects, and quick ones alternate.
constexpr Outage sequence[outageCount] = {
    Outage::Aborted,  Outage::Silent,  Outage::Killed,    Outage::Closed,
    Outage::HalfOpen, Outage::Refused, Outage::PortTaken,
};

} // namespace

RestartRounds::RestartRounds(const Options &options, QObject *parent)
    : QObject(parent), options(options), host(options.keywords, options.simulator),
      arrived(size_t(options.keywords)), random(quint32(options.client))
{
    client.setAutoReconnect(true);
    connect(&client, &SocketClient::connectedChanged, this, &RestartRounds::onConnectedChanged);
    for (int i = 0; i < options.keywords; ++i) {
        proxies.push_back(std::make_unique<PKeywordProxy>());
        connect(proxies.back().get(), &PKeywordProxy::valueChanged, this,
                [this, i] { onValueChanged(i); });
        proxies.back()->setClient(&client);
        proxies.back()->setKeyword(KeywordHost::keyword(i));
    }
    patience.setSingleShot(true);
    connect(&patience, &QTimer::timeout, this,
            [this] { fail(QStringLiteral("no recovery in time")); });
    connect(&pulse, &QTimer::timeout, this, [this] {
        if (sincePulse.restart() > stall)
            sinceStall.start();
    });
    sincePulse.start();
    pulse.start(pulseInterval);
}

RestartRounds::~RestartRounds()
{
    client.QObject::disconnect(this);
    for (const auto &proxy : proxies)
        proxy->QObject::disconnect(this);
}

// Each outage occurs twice in a row: once the same server returns, and once it may be another one.
Outage RestartRounds::outageOf(int round) const
{
    return sequence[(options.client + round / 2) % outageCount];
}

void RestartRounds::start(int rounds)
{
    this->rounds = rounds;
    patience.start(options.patience);
    host.serve(outageOf(0), stage);
    expect(Phase::Binding, stage);
    client.setUrls({QStringLiteral("ws://127.0.0.1:%1").arg(host.port())});
}

// Counts again which keywords have the value of the stage.
void RestartRounds::expect(Phase phase, qint64 stage)
{
    this->phase = phase;
    this->stage = stage;
    missing = options.keywords;
    for (int i = 0; i < options.keywords; ++i) {
        arrived[size_t(i)] = false;
        onValueChanged(i);
    }
}

void RestartRounds::onValueChanged(int i)
{
    const bool right = proxies[size_t(i)]->value() == QVariant(host.value(i, stage));
    if (right == arrived[size_t(i)])
        return;
    arrived[size_t(i)] = right;
    missing += right ? -1 : 1;
    // Delayed, because other handlers are called after this one.
    if (missing == 0 && phase != Phase::Over)
        QTimer::singleShot(0, this, [this, expected = stage] {
            if (missing == 0 && stage == expected)
                onAllArrived();
        });
}

void RestartRounds::strike()
{
    phase = Phase::Losing;
    patience.start(options.patience);
    host.strike();
}

void RestartRounds::onConnectedChanged()
{
    if (phase == Phase::Losing && !client.connected()) {
        // Set the stage immediately, before the client can reconnect and get the old values again.
        host.setStage(stage + 1);
        expect(Phase::Down, stage + 1);
        QTimer::singleShot(0, this, &RestartRounds::onLost); // after all handlers have been called
    } else if ((phase == Phase::Recovering || phase == Phase::Writing) && !client.connected()) {
        onUnexpectedLoss();
    } else if (phase == Phase::Writing) {
        QTimer::singleShot(0, this, &RestartRounds::writeAll); // pending writes are lost
    }
}

void RestartRounds::onUnexpectedLoss()
{
    const bool stalled = sincePulse.elapsed() > stall
        || (sinceStall.isValid() && sinceStall.elapsed() < stallMemory);
    if (stalled)
        Q_EMIT lostByStall();
    else
        fail(QStringLiteral("connection lost without a reason"));
}

void RestartRounds::writeAll()
{
    for (int i = 0; i < options.keywords && phase == Phase::Writing; ++i)
        proxies[size_t(i)]->update(host.value(i, stage));
}

void RestartRounds::onLost()
{
    for (int i = 0; i < options.keywords; ++i) {
        if (proxies[size_t(i)]->value().isValid() || proxies[size_t(i)]->connected()) {
            fail(QStringLiteral("%1 still has a value").arg(KeywordHost::keyword(i)));
            return;
        }
    }
    switch (outageOf(round)) {
    case Outage::Closed:
    case Outage::HalfOpen:
        restore();
        break;
    case Outage::Aborted:
    case Outage::Silent:
    case Outage::Killed:
        QTimer::singleShot(random.bounded(int(longestDowntime.count())), this,
                           &RestartRounds::restore);
        break;
    case Outage::Refused:
    case Outage::PortTaken: {
        auto *const poll = new QTimer(this);
        connect(poll, &QTimer::timeout, this, [this, poll] {
            if (host.intruderVisits() == 0)
                return;
            delete poll;
            QTimer::singleShot(longestDowntime, this, &RestartRounds::restore);
        });
        poll->start(intruderPollInterval);
        break;
    }
    }
}

void RestartRounds::restore()
{
    if (phase == Phase::Over)
        return;
    phase = Phase::Recovering;
    sinceRestored.start();
    host.serve(outageOf(round + 1), stage);
}

void RestartRounds::onAllArrived()
{
    for (const auto &proxy : proxies) {
        if (!proxy->connected() || !proxy->online() || !proxy->consistent() || proxy->error()
            || !proxy->valueValid().toBool() || proxy->valueType() != PKeywordValueType::KVT_INT) {
            fail(QStringLiteral("%1 has its value, but not its state").arg(proxy->keyword()));
            return;
        }
    }
    switch (phase) {
    case Phase::Binding:
        strike();
        break;
    case Phase::Recovering:
        Q_EMIT recovered(outageOf(round), sinceRestored.elapsed());
        expect(Phase::Writing, stage + 1);
        writeAll();
        break;
    case Phase::Writing:
        if (++round < rounds) {
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

void RestartRounds::fail(const QString &what)
{
    if (phase == Phase::Over)
        return;
    const QString where = QStringLiteral("client %1, round %2, %3: %4; %5")
                              .arg(options.client)
                              .arg(round)
                              .arg(QLatin1String(outageName(outageOf(round))), what, whatIsWrong());
    phase = Phase::Over;
    patience.stop();
    Q_EMIT failed(where);
}

QString RestartRounds::whatIsWrong() const
{
    QString text =
        client.connected() ? QStringLiteral("connected") : QStringLiteral("not connected");
    static const char *const phases[] = {"binding",    "losing",  "down",
                                         "recovering", "writing", "over"};
    text += QStringLiteral(", %1, %2 of %3 keywords not as expected")
                .arg(QLatin1String(phases[int(phase)]))
                .arg(missing)
                .arg(options.keywords);
    for (int i = 0; i < options.keywords; ++i) {
        if (!arrived[size_t(i)]) {
            text += QStringLiteral(", the first %1: %2 instead of %3")
                        .arg(KeywordHost::keyword(i),
                             proxies[size_t(i)]->value().isValid()
                                 ? proxies[size_t(i)]->value().toString()
                                 : QStringLiteral("no value"))
                        .arg(host.value(i, stage));
            break;
        }
    }
    return text;
}
