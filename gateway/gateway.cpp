// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/gateway.h"

#include "gateway/auditfile.h"
#include "gateway/healthserver.h"
#include "gateway/metrics.h"
#include "gateway/selfkeywords.h"
#include "gateway/sourcemount.h"
#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

#include <algorithm>
#include <typeinfo>
#include <utility>
#include <vector>

namespace pellix::gateway {

Q_LOGGING_CATEGORY(lcGateway, "pellixclient.gateway", QtInfoMsg)

namespace {

using namespace std::chrono_literals;
using server::KeywordServer;
using server::WebSocketKeywordServer;

constexpr auto selfInterval = 1000ms;
constexpr auto drainInterval = 20ms;
constexpr auto stopTime = 500ms; // for the sources to stop, after the clients have left

bool isSame(const SourceSettings &a, const SourceSettings &b)
{
    return typeid(a) == typeid(b) && a == b;
}

bool openAudit(const QString &name, std::unique_ptr<AuditFile> *opened, QString *error)
{
    if (name.isEmpty())
        return true;
    auto file = std::make_unique<AuditFile>(name);
    if (!file->openToAppend()) {
        *error = QStringLiteral("cannot write to %1: %2").arg(name, file->errorString());
        return false;
    }
    *opened = std::move(file);
    return true;
}

QString placeOf(const QHostAddress &address, quint16 port)
{
    return QStringLiteral("%1 port %2").arg(address.toString()).arg(port);
}

} // namespace

class Gateway::Private
{
public:
    struct Listener
    {
        Configuration::Listener settings;
        std::unique_ptr<WebSocketKeywordServer> server;
    };
    using Listeners = std::vector<Listener>;
    // Listeners that are closed because others need their ports.
    struct Closed
    {
        std::vector<bool> isKept; // the listeners that must not be closed
        bool isHealthKept = false;
        std::vector<std::pair<Listener *, quint16>> listeners; // and their ports
        quint16 health = 0; // the port of the health listener
    };
    struct Running
    {
        Configuration::Source settings;
        std::unique_ptr<Source> source;
        std::unique_ptr<SourceMount> mount;
        Source::State lastState = Source::State::Stopped;
        QString lastReason;
        bool wasReady = false;
    };

    explicit Private(Gateway *q) : q(q) { }

    std::unique_ptr<WebSocketKeywordServer> open(const Configuration::Listener &settings,
                                                 int clients, QString *error);
    static bool configure(WebSocketKeywordServer *listener, const Configuration::Listener &settings,
                          int clients);
    bool openAll(const Configuration &configuration, Listeners *opened,
                 std::unique_ptr<HealthServer> *openedHealth, QString *error);
    std::unique_ptr<HealthServer> openHealth(const Configuration::Health &settings, QString *error);
    bool keepsHealth(const Configuration &configuration) const;
    void makeRoom(quint16 port, Closed *closed);
    void restore(const Closed &closed, QString *error);
    void addHealthPages(HealthServer *server);
    void applyRoles(const QList<server::Role> &roles);
    void dropOldRoles(const QList<server::Role> &roles);
    void applySources(const QList<Configuration::Source> &wanted);
    bool keeps(Running &running, const Configuration::Source &wanted);
    std::unique_ptr<Running> start(const Configuration::Source &settings);
    void retire(std::unique_ptr<Running> running);
    void applySelf(const QString &mount);
    void serveWaiting();
    void applyAudit(std::unique_ptr<AuditFile> file);
    void onStateChanged(Running *running, Source::State state);
    void drainSome();
    void giveUpWrites();
    void stopSources();
    void endDraining();

    Gateway *const q;
    std::unique_ptr<AuditFile> audit; // before the server, whose destructor writes to it
    KeywordServer server;
    std::shared_ptr<PathQueue> queue = SourceMount::createQueue();
    Listeners listeners;
    std::optional<Configuration::Health> healthSettings;
    std::unique_ptr<HealthServer> health;
    std::vector<std::unique_ptr<Running>> running;
    std::vector<std::unique_ptr<Source>> retired; // sources that have not stopped yet
    std::unique_ptr<SelfKeywords> self;
    QTimer selfTimer;
    QTimer drainTimer;
    QElapsedTimer sinceDrain;
    std::chrono::milliseconds drainTime {0};
    bool isDraining = false;
    bool isStopping = false; // the sources are stopping
    bool isDrained = false;
};

Gateway::Gateway(QObject *parent) : QObject(parent), d(std::make_unique<Private>(this))
{
    qRegisterMetaType<Source::State>();
    d->selfTimer.setInterval(selfInterval);
    connect(&d->selfTimer, &QTimer::timeout, this, [this] {
        d->self->update(sources());
        d->serveWaiting();
    });
    d->drainTimer.setInterval(drainInterval);
    connect(&d->drainTimer, &QTimer::timeout, this, [this] { d->drainSome(); });
}

Gateway::~Gateway()
{
    blockSignals(true);
    d->self.reset();
    for (auto &running : d->running) {
        running->source->disconnect(this);
        running->mount.reset();
    }
}

bool Gateway::apply(const Configuration &configuration, QString *error)
{
    Private::Listeners opened;
    std::unique_ptr<HealthServer> health;
    std::unique_ptr<AuditFile> audit;
    // Everything that can fail comes first.
    if (!openAudit(configuration.audit, &audit, error))
        return false;
    if (!d->openAll(configuration, &opened, &health, error))
        return false;

    server::Limits limits = configuration.limits;
    limits.writeTime =
        std::max(limits.writeTime, d->server.limits().writeTime); // the mounts may have raised it
    d->server.setLimits(limits);
    d->applyRoles(configuration.roles);
    d->applySources(configuration.sources);
    d->applySelf(configuration.self);
    d->serveWaiting();
    d->applyAudit(std::move(audit));
    if (health || !configuration.health)
        d->health = std::move(health);
    d->healthSettings = configuration.health;
    // Listeners that are no longer configured close their connections now.
    const Private::Listeners old = std::exchange(d->listeners, std::move(opened));
    d->dropOldRoles(configuration.roles);
    Q_EMIT statusChanged();
    return true;
}

void Gateway::reopenAudit()
{
    if (!d->audit)
        return;
    QString error;
    std::unique_ptr<AuditFile> file;
    if (openAudit(d->audit->fileName(), &file, &error))
        d->applyAudit(std::move(file));
    else
        qCWarning(lcGateway).noquote() << error;
}

void Gateway::drain(std::chrono::milliseconds within)
{
    if (std::exchange(d->isDraining, true))
        return;
    d->drainTime = within;
    d->sinceDrain.start();
    for (const Private::Listener &listener : d->listeners)
        listener.server->setMaximumClients(0);
    d->drainTimer.start();
    Q_EMIT statusChanged();
}

bool Gateway::isReady() const
{
    return !d->isDraining && !d->listeners.empty()
        && std::all_of(d->running.cbegin(), d->running.cend(),
                       [](const auto &running) { return running->wasReady; });
}

bool Gateway::isDraining() const
{
    return d->isDraining;
}

QList<Gateway::SourceStatus> Gateway::sources() const
{
    QList<SourceStatus> sources;
    for (const auto &running : d->running) {
        sources.append({running->settings.name, running->mount->isReady(), running->wasReady,
                        running->source.get(), running->mount.get()});
    }
    return sources;
}

QList<QUrl> Gateway::urls() const
{
    QList<QUrl> urls;
    for (const Private::Listener &listener : d->listeners)
        urls += listener.server->urls();
    return urls;
}

quint16 Gateway::healthPort() const
{
    return d->health ? d->health->port() : 0;
}

QByteArray Gateway::metrics() const
{
    server::Statistics statistics = d->server.statistics();
    for (const Private::Listener &listener : d->listeners) {
        const server::Statistics own = listener.server->statistics();
        using Statistics = server::Statistics;
        for (const auto count : {&Statistics::refusedClients, &Statistics::badRequests,
                                 &Statistics::foreignOrigins, &Statistics::missingCredentials,
                                 &Statistics::wrongCredentials, &Statistics::excessAttempts,
                                 &Statistics::excessClients, &Statistics::droppedHandshakes})
            statistics.*count += own.*count;
        const int days = listener.server->certificateDays();
        if (days >= 0 && (statistics.certificateDays < 0 || days < statistics.certificateDays))
            statistics.certificateDays = days;
    }
    return statistics.toPrometheus() + sourceMetrics(sources()) + processMetrics();
}

QString Gateway::status() const
{
    const auto ready = std::count_if(d->running.cbegin(), d->running.cend(),
                                     [](const auto &running) { return running->mount->isReady(); });
    return QStringLiteral("%1%2 of %3 sources ready, %4 clients, %5 keywords")
        .arg(d->isDraining ? QStringLiteral("stopping, ") : QString())
        .arg(ready)
        .arg(d->running.size())
        .arg(d->server.sessionCount())
        .arg(d->server.keywordCount());
}

KeywordServer *Gateway::keywordServer() const
{
    return &d->server;
}

bool Gateway::Private::configure(WebSocketKeywordServer *listener,
                                 const Configuration::Listener &settings, int clients)
{
    listener->setUnencryptedAllowed(settings.isUnencryptedAllowed);
    listener->setAllowedOrigins(settings.origins);
    listener->setMaximumClients(clients);
    return listener->setTls(settings.chain, settings.key)
        && listener->setIdentification(settings.identification);
}

std::unique_ptr<WebSocketKeywordServer>
Gateway::Private::open(const Configuration::Listener &settings, int clients, QString *error)
{
    auto listener = std::make_unique<WebSocketKeywordServer>(&server);
    if (configure(listener.get(), settings, clients)
        && listener->listen(settings.address, settings.port))
        return listener;
    *error = QStringLiteral("cannot listen on %1: %2")
                 .arg(placeOf(settings.address, settings.port), listener->errorString());
    return nullptr;
}

// A listener that keeps its address, port, and encryption continues. A new listener that needs the
// port of an old one closes the old one first, and restores it on failure.
bool Gateway::Private::openAll(const Configuration &configuration, Listeners *opened,
                               std::unique_ptr<HealthServer> *openedHealth, QString *error)
{
    const int clients = isDraining ? 0 : configuration.clients;
    Closed closed;
    closed.isHealthKept = keepsHealth(configuration);
    std::vector<bool> &isKept = closed.isKept;
    isKept.resize(listeners.size());
    Listeners wanted;
    std::vector<std::size_t> keptFrom; // index of the kept listener; listeners.size() if none
    for (const Configuration::Listener &settings : configuration.listeners) {
        std::size_t i = 0;
        while (i < listeners.size() && (isKept[i] || !listeners[i].settings.isSamePlace(settings)))
            ++i;
        if (i < listeners.size())
            isKept[i] = true;
        keptFrom.push_back(i);
        wanted.push_back({settings, nullptr});
    }

    bool hasFailed = false;
    for (std::size_t i = 0; i < wanted.size() && !hasFailed; ++i) {
        if (keptFrom[i] < listeners.size())
            continue;
        makeRoom(wanted[i].settings.port, &closed);
        wanted[i].server = open(wanted[i].settings, clients, error);
        hasFailed = !wanted[i].server;
    }
    if (!hasFailed && configuration.health && !closed.isHealthKept) {
        makeRoom(configuration.health->port, &closed);
        *openedHealth = openHealth(*configuration.health, error);
        hasFailed = !*openedHealth;
    }
    if (hasFailed) {
        wanted.clear();
        restore(closed, error);
        return false;
    }

    // Set the roles before the listeners use them. A client that connects in between gets the roles
    // of the previous configuration.
    for (const server::Role &role : configuration.roles)
        server.setRole(role);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (keptFrom[i] == listeners.size())
            continue;
        wanted[i].server = std::move(listeners[keptFrom[i]].server);
        configure(wanted[i].server.get(), wanted[i].settings, clients);
    }
    listeners.erase(std::remove_if(listeners.begin(), listeners.end(),
                                   [](const Listener &listener) { return !listener.server; }),
                    listeners.end());
    *opened = std::move(wanted);
    return true;
}

bool Gateway::Private::keepsHealth(const Configuration &configuration) const
{
    const auto &wanted = configuration.health;
    return wanted && healthSettings && health && wanted->address == healthSettings->address
        && wanted->port == healthSettings->port;
}

std::unique_ptr<HealthServer> Gateway::Private::openHealth(const Configuration::Health &settings,
                                                           QString *error)
{
    auto opened = std::make_unique<HealthServer>();
    addHealthPages(opened.get());
    if (opened->listen(settings.address, settings.port))
        return opened;
    *error = QStringLiteral("cannot listen on %1 for health: %2")
                 .arg(placeOf(settings.address, settings.port), opened->errorString());
    return nullptr;
}

// Closes the listeners that use a port and are not kept.
void Gateway::Private::makeRoom(quint16 port, Closed *closed)
{
    if (port == 0)
        return;
    for (std::size_t i = 0; i < listeners.size(); ++i) {
        if (closed->isKept[i] || listeners[i].server->port() != port)
            continue;
        listeners[i].server->close();
        closed->listeners.emplace_back(&listeners[i], port);
    }
    if (health && !closed->isHealthKept && health->port() == port) {
        health->close();
        closed->health = port;
    }
}

void Gateway::Private::restore(const Closed &closed, QString *error)
{
    const auto fail = [error](const QHostAddress &address, quint16 port, const QString &reason) {
        *error +=
            QStringLiteral("; cannot listen on %1 again: %2").arg(placeOf(address, port), reason);
    };
    for (const auto &[listener, port] : closed.listeners) {
        const QHostAddress &address = listener->settings.address;
        if (!listener->server->listen(address, port))
            fail(address, port, listener->server->errorString());
    }
    if (closed.health != 0 && !health->listen(healthSettings->address, closed.health))
        fail(healthSettings->address, closed.health, health->errorString());
}

void Gateway::Private::addHealthPages(HealthServer *pages)
{
    const QByteArray text = "text/plain; charset=utf-8";
    pages->setPage("/healthz", [text] { return HealthServer::Page {200, text, "ok\n"}; });
    pages->setPage("/readyz", [this, text] {
        if (q->isReady())
            return HealthServer::Page {200, text, "ready\n"};
        QByteArray reason = isDraining ? "stopping\n" : "";
        for (const auto &one : running) {
            if (!isDraining && !one->wasReady)
                reason +=
                    one->settings.name.toUtf8() + ": " + one->source->reason().toUtf8() + '\n';
        }
        return HealthServer::Page {503, text, reason};
    });
    pages->setPage("/metrics", [this] {
        return HealthServer::Page {200, "text/plain; version=0.0.4; charset=utf-8", q->metrics()};
    });
}

void Gateway::Private::applyRoles(const QList<server::Role> &roles)
{
    for (const server::Role &role : roles)
        server.setRole(role);
}

// Called when no listener assigns these roles any more.
void Gateway::Private::dropOldRoles(const QList<server::Role> &roles)
{
    const QStringList names = server.roles();
    for (const QString &name : names) {
        const bool isKept =
            std::any_of(roles.cbegin(), roles.cend(),
                        [&](const server::Role &role) { return role.name == name; });
        if (!isKept)
            server.removeRole(name);
    }
}

void Gateway::Private::applySources(const QList<Configuration::Source> &wanted)
{
    std::vector<std::unique_ptr<Running>> before = std::exchange(running, {});
    std::vector<std::unique_ptr<Running>> after(std::size_t(wanted.size()));
    for (std::size_t i = 0; i < after.size(); ++i) {
        const auto found = std::find_if(before.begin(), before.end(), [&](const auto &one) {
            return one && keeps(*one, wanted.at(qsizetype(i)));
        });
        if (found != before.end())
            after[i] = std::move(*found);
    }
    // Removed sources release their paths before other sources claim them.
    for (auto &one : before) {
        if (one)
            retire(std::move(one));
    }
    for (std::size_t i = 0; i < after.size(); ++i)
        running.push_back(after[i] ? std::move(after[i]) : start(wanted.at(qsizetype(i))));
}

bool Gateway::Private::keeps(Running &running, const Configuration::Source &wanted)
{
    if (running.settings.name != wanted.name || running.settings.mount != wanted.mount)
        return false;
    const SourceSettings &now = *running.settings.settings;
    const SourceSettings &next = *wanted.settings;
    const bool keeps =
        isSame(now, next) || (typeid(now) == typeid(next) && now.apply(next, running.source.get()));
    if (keeps)
        running.settings = wanted;
    return keeps;
}

std::unique_ptr<Gateway::Private::Running>
Gateway::Private::start(const Configuration::Source &settings)
{
    auto running = std::make_unique<Running>();
    running->settings = settings;
    running->source = settings.settings->create();
    running->mount = std::make_unique<SourceMount>(running->source.get(), &server, settings.name,
                                                   settings.mount, queue);
    connect(
        running->source.get(), &Source::stateChanged, q,
        [this, running = running.get()](Source::State state) { onStateChanged(running, state); });
    running->source->start();
    return running;
}

// The keywords are removed at once. The source may take longer to stop.
void Gateway::Private::retire(std::unique_ptr<Running> running)
{
    Source *const source = running->source.get();
    source->disconnect(q);
    running->mount.reset();
    retired.push_back(std::move(running->source));
    const auto dropIfStopped = [this, source] {
        const auto found = std::find_if(retired.begin(), retired.end(),
                                        [&](const auto &one) { return one.get() == source; });
        if (found == retired.end() || source->state() != Source::State::Stopped)
            return;
        found->release()->deleteLater(); // it may be on the call stack
        retired.erase(found);
    };
    connect(source, &Source::stateChanged, q, dropIfStopped);
    source->stop();
    dropIfStopped();
}

void Gateway::Private::applySelf(const QString &mount)
{
    if (self && self->mount() == mount)
        return;
    self.reset();
    selfTimer.stop();
    if (mount.isEmpty())
        return;
    self = std::make_unique<SelfKeywords>(&server, mount);
    self->update(q->sources());
    selfTimer.start();
}

// The limit of keywords may have changed.
void Gateway::Private::serveWaiting()
{
    for (const auto &one : running)
        one->mount->serveWaiting();
}

void Gateway::Private::applyAudit(std::unique_ptr<AuditFile> file)
{
    server.setAuditDevice(file.get());
    audit = std::move(file);
}

// Logs each change once, regardless of the number of failed attempts.
void Gateway::Private::onStateChanged(Running *running, Source::State state)
{
    const QString name = running->settings.name;
    const QString reason = running->source->reason();
    if (state == Source::State::Ready) {
        running->wasReady = true;
        qCInfo(lcGateway).noquote().nospace() << name << ": ready";
    } else if (state == Source::State::Lost
               && (running->lastState == Source::State::Ready || reason != running->lastReason)) {
        qCWarning(lcGateway).noquote().nospace()
            << name << ": not connected: "
            << (reason.isEmpty() ? QStringLiteral("the connection was lost") : reason);
    }
    if (state == Source::State::Ready || state == Source::State::Lost) {
        running->lastState = state;
        running->lastReason = reason;
    }
    Q_EMIT q->statusChanged();
}

// Disconnects clients evenly over the time, so that they do not all reconnect at the same moment.
void Gateway::Private::drainSome()
{
    if (isStopping) {
        const bool haveStopped = std::all_of(running.cbegin(), running.cend(), [](const auto &one) {
            return one->source->state() == Source::State::Stopped;
        });
        if (haveStopped || sinceDrain.elapsed() >= (drainTime + stopTime).count())
            endDraining();
        return;
    }
    const qint64 left = drainTime.count() - sinceDrain.elapsed();
    if (left <= 0)
        giveUpWrites();
    int waiting = 0;
    int clients = 0;
    for (const Listener &listener : listeners) {
        if (left <= 0)
            listener.server->closeClients();
        const int now = listener.server->closeClients(0);
        const qint64 turns = qMax<qint64>(1, left / drainInterval.count());
        waiting += listener.server->closeClients(int((now + turns - 1) / turns));
        clients += listener.server->clientCount();
    }
    if (left <= 0 || (waiting == 0 && clients == 0))
        stopSources();
}

// The clients receive the replies before they are disconnected.
void Gateway::Private::giveUpWrites()
{
    for (const auto &one : running)
        one->mount->giveUpWrites(QStringLiteral("the gateway is stopping"));
}

void Gateway::Private::stopSources()
{
    isStopping = true;
    drainTime = std::chrono::milliseconds(sinceDrain.elapsed());
    for (const auto &one : running)
        one->source->stop();
    drainSome();
}

void Gateway::Private::endDraining()
{
    drainTimer.stop();
    if (!std::exchange(isDrained, true))
        Q_EMIT q->drained();
}

} // namespace pellix::gateway
