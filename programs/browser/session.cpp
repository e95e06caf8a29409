// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/browser/session.h"

#include "client/websocketkeywordclient.h"
#include "programs/common/address.h"
#include "pubsub/publisher.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QRegularExpression>

#include <algorithm>
#include <utility>

using namespace pellix::client;

namespace {

constexpr int rateInterval = 500; // milliseconds

qint64 now()
{
    return QDeadlineTimer::current().deadline(); // monotonic, in milliseconds
}

} // namespace

Session::Session(CreateInProcess createInProcess, QObject *parent)
    : QObject(parent), createInProcess(std::move(createInProcess)), measuredAt(now())
{
    rateTimer.setInterval(rateInterval);
    connect(&rateTimer, &QTimer::timeout, this, &Session::measure);
    rateTimer.start();
}

// The clients are children and go with the base class; nothing may be told about that.
Session::~Session()
{
    if (current)
        current->publisher()->disconnect(this);
}

PKeywordClient *Session::client() const
{
    return current;
}

QStringList Session::addresses() const
{
    return list;
}

void Session::setAddresses(const QStringList &addresses)
{
    if ((current && addresses == list) || !problem(addresses).isEmpty())
        return;

    PKeywordClient *const previous = current;
    list = addresses;
    lost = {};
    wasConnected = false;
    if (list.isEmpty()) {
        if (!inProcessClient)
            inProcessClient = createInProcess(this);
        adopt(inProcessClient);
    } else {
        // A new client rather than new addresses for the old one: what was bound to the old server
        // asks the new one again, and nothing of the old one is taken for an answer of the new.
        auto *webSocket = new CountedClient<PWebSocketKeywordClient>(this);
        webSocket->setUrls(list);
        webSocket->setAutoReconnect(reconnecting);
        adopt(webSocket);
    }
    if (previous && previous != inProcessClient)
        previous->deleteLater();
    Q_EMIT addressesChanged();
}

void Session::adopt(PKeywordClient *client)
{
    if (current)
        current->publisher()->disconnect(this);
    current = client;
    if (current) {
        connect(current->publisher(), &PPublisher::activeChanged, this, &Session::onActiveChanged);
        wasConnected = connected();
    }
    Q_EMIT clientChanged();
    Q_EMIT connectedChanged();
}

QString Session::shownAddress() const
{
    const auto *webSocket = qobject_cast<const PWebSocketKeywordClient *>(current);
    return webSocket ? programs::shownAddress(webSocket->url()) : QString();
}

bool Session::inProcess() const
{
    return list.isEmpty();
}

bool Session::connected() const
{
    return current && current->publisher()->active();
}

QDateTime Session::lostAt() const
{
    return lost;
}

void Session::onActiveChanged()
{
    lost = wasConnected && !connected() ? QDateTime::currentDateTime() : lost;
    if (connected()) {
        wasConnected = true;
        lost = {};
    }
    Q_EMIT connectedChanged();
}

bool Session::autoReconnect() const
{
    return reconnecting;
}

void Session::setAutoReconnect(bool autoReconnect)
{
    if (autoReconnect == reconnecting)
        return;
    reconnecting = autoReconnect;
    if (auto *webSocket = qobject_cast<PWebSocketKeywordClient *>(current))
        webSocket->setAutoReconnect(reconnecting);
    Q_EMIT autoReconnectChanged();
}

double Session::eventsPerSecond() const
{
    return rate;
}

QStringList Session::parseAddresses(const QString &text) const
{
    static const QRegularExpression separator(QStringLiteral("[\\s,]+"));
    QStringList addresses = text.split(separator, Qt::SkipEmptyParts);
    QStringList set = list; // each stands for one: two may differ in their secrets only
    for (QString &address : addresses) {
        const auto same = std::find_if(set.cbegin(), set.cend(), [&address](const QString &other) {
            return programs::shownAddress(other) == address;
        });
        if (same != set.cend()) {
            address = *same;
            set.erase(same);
        }
    }
    return addresses;
}

QString Session::shown(const QStringList &addresses) const
{
    QStringList shown;
    for (const QString &address : addresses)
        shown.append(programs::shownAddress(address));
    return shown.join(QLatin1Char(' '));
}

QString Session::problem(const QStringList &addresses) const
{
    for (const QString &address : addresses) {
        QString problem = programs::addressProblem(address);
        if (problem.isEmpty() && address.contains(QLatin1String("=***")))
            problem = tr("its secret is hidden here: type the address with it");
        if (!problem.isEmpty())
            return tr("cannot use '%1': %2").arg(programs::shownAddress(address), problem);
    }
    return {};
}

// Lasts: a client with automatic reconnection would be back within a second.
void Session::disconnectFromServer()
{
    setAutoReconnect(false);
    if (auto *webSocket = qobject_cast<PWebSocketKeywordClient *>(current))
        webSocket->disconnect();
}

void Session::measure()
{
    const qint64 at = now();
    const double seconds = static_cast<double>(at - measuredAt) / 1000;
    if (seconds <= 0)
        return;
    const double measured = std::exchange(events, 0) / seconds;
    measuredAt = at;
    if (measured == rate)
        return;
    rate = measured;
    Q_EMIT eventsPerSecondChanged();
}
