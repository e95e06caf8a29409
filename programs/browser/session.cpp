// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/browser/session.h"

#include "programs/common/address.h"
#include "pubsub/publisher.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>

#include <algorithm>
#include <utility>

using namespace pellix::client;
using pellix::extras::PKeywordConnection;

namespace {

constexpr int rateInterval = 500; // milliseconds
constexpr int longestPause = 10000; // milliseconds; short, because a user is waiting

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

// The clients are children and are destroyed with the base class, which must not emit signals.
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
    if (!token.isEmpty()) {
        token.clear();
        Q_EMIT hasTokenChanged();
    }
    if (list.isEmpty()) {
        if (!inProcessClient)
            inProcessClient = createInProcess(this);
        adopt(inProcessClient);
    } else {
        // A new client replaces the old one, instead of new addresses for it. Bindings then send
        // their requests to the new server, and no reply of the old server is mistaken for one of
        // the new server.
        adopt(createConnection());
    }
    if (previous && previous != inProcessClient)
        previous->deleteLater();
    Q_EMIT addressesChanged();
}

PKeywordClient *Session::createConnection()
{
    auto *const created = new CountedClient<PKeywordConnection>(this);
    created->setMaxRetryDelay(longestPause);
    created->setAutoReconnect(reconnecting);
    created->setCaFile(authorities);
    created->setCertificateFile(certificate);
    created->setKeyFile(key);
    created->setUrls(list);
    connect(created, &PKeywordConnection::addressChanged, this, &Session::shownAddressChanged);
    connect(created, &PKeywordConnection::reasonChanged, this, &Session::reasonChanged);
    connect(created, &PKeywordConnection::stateChanged, this, &Session::stateChanged);
    connect(created, &PKeywordConnection::retryInChanged, this, &Session::retryInChanged);
    return created;
}

PKeywordConnection *Session::connection() const
{
    return qobject_cast<PKeywordConnection *>(current);
}

void Session::adopt(PKeywordClient *client)
{
    if (current) {
        current->publisher()->disconnect(this);
        current->disconnect(this);
    }
    current = client;
    if (current) {
        connect(current->publisher(), &PPublisher::activeChanged, this, &Session::onActiveChanged);
        wasConnected = connected();
    }
    Q_EMIT clientChanged();
    Q_EMIT connectedChanged();
    Q_EMIT shownAddressChanged();
    Q_EMIT reasonChanged();
    Q_EMIT stateChanged();
    Q_EMIT retryInChanged();
}

QString Session::shownAddress() const
{
    return connection() ? connection()->address() : QString();
}

QString Session::caFile() const
{
    return authorities;
}

void Session::setCaFile(const QString &fileName)
{
    setFile(&authorities, fileName, &PKeywordConnection::setCaFile);
}

QString Session::certificateFile() const
{
    return certificate;
}

void Session::setCertificateFile(const QString &fileName)
{
    setFile(&certificate, fileName, &PKeywordConnection::setCertificateFile);
}

QString Session::keyFile() const
{
    return key;
}

void Session::setKeyFile(const QString &fileName)
{
    setFile(&key, fileName, &PKeywordConnection::setKeyFile);
}

void Session::setFile(QString *file, const QString &fileName,
                      void (PKeywordConnection::*set)(const QString &))
{
    if (*file == fileName)
        return;
    *file = fileName;
    if (connection())
        (connection()->*set)(fileName);
    Q_EMIT filesChanged();
}

bool Session::hasToken() const
{
    return !token.isEmpty();
}

void Session::setToken(const QString &newToken)
{
    if (newToken == token)
        return;
    token = newToken;
    if (connection())
        connection()->setToken(token);
    Q_EMIT hasTokenChanged();
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

QString Session::reason() const
{
    return connection() ? connection()->reason() : QString();
}

bool Session::unusable() const
{
    return connection() && connection()->state() == PKeywordConnection::Unusable;
}

int Session::retryIn() const
{
    return connection() ? connection()->retryIn() : 0;
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
    if (PKeywordConnection *const server = connection()) {
        server->setAutoReconnect(reconnecting);
        if (reconnecting)
            server->open();
    }
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
    // Each address stands for one entry: two entries may differ only in their secrets.
    QStringList set = list;
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
        if (problem.isEmpty()
            && (address.contains(QLatin1String("=***")) || address.contains(QLatin1String(":***@"))
                || QUrl(address).path().startsWith(QLatin1String("/t/***"))))
            problem = tr("its secret is hidden here: enter the complete address");
        if (!problem.isEmpty())
            return tr("cannot use '%1': %2").arg(programs::shownAddress(address), problem);
    }
    return {};
}

void Session::disconnectFromServer()
{
    setAutoReconnect(false);
    if (connection())
        connection()->close();
}

void Session::tryNow()
{
    if (connection())
        connection()->open();
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
