// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/mqttlink.h"

#include "gateway/mqtt/connectionattempt.h"
#include "gateway/mqtt/libmosquitto.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QLoggingCategory>
#include <QtCore/QRandomGenerator>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <iterator>
#include <tuple>
#include <utility>
#include <vector>

#ifdef Q_OS_UNIX
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#endif

namespace pellix::gateway {

namespace {

Q_LOGGING_CATEGORY(lcMqttLink, "pellixclient.gateway.mqtt", QtInfoMsg)

using namespace std::chrono_literals;

constexpr auto firstDelay = 200ms; // before another attempt; half of it at random
constexpr auto longestDelay = 1000ms;
constexpr auto tick = 250ms;
constexpr int filtersPerPacket = 100;
constexpr qsizetype bytesPerPacket = qsizetype(16) * 1024;
constexpr int mostUnacknowledged = 1000;
constexpr int mostSent = 100; // publications that are sent before they are acknowledged
// Before MQTT 5, messages do not expire on their way, so fewer of them are on their way.
constexpr int mostSentInOld = 20;
constexpr int mostAbandoned = 32; // attempts that have not returned
constexpr int packetsPerTurn = 256;
constexpr char nothing[] = "keyword-gateway/nothing/is/here"; // a topic that nobody uses

auto membersOf(const MqttOptions &options)
{
    return std::tie(options.name, options.host, options.port, options.tls, options.user,
                    options.passwordFile, options.authorityFile, options.certificateFile,
                    options.keyFile, options.clientId, options.keepAlive, options.version,
                    options.announceTopic, options.connectWithin, options.resync,
                    options.retryRefused);
}

QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

// The reason that the broker states itself, if any.
QString reasonString(const mosquitto_property *properties)
{
    char *string = nullptr;
    if (!mosquitto_property_read_string(properties, MQTT_PROP_REASON_STRING, &string, false))
        return {};
    QString result = QString::fromUtf8(string);
    std::free(string);
    return result;
}

// The reason of an MQTT 3.1.1 broker, without the prefix that all these reasons have.
QString refusalOf(int code)
{
    QString refusal = text(mosquitto_connack_string(code));
    if (refusal.endsWith(QLatin1Char('.'))) // before libmosquitto 2.1
        refusal.chop(1);
    const QLatin1String start("Connection Refused: ");
    return refusal.startsWith(start) ? refusal.mid(start.size()) : refusal;
}

// A broker may hold back a short message until the previous one is acknowledged, which the system
// delays by up to 40 ms as soon as this end has replied to something. The system returns to this
// by itself, so this is called after each read.
void acknowledgeAtOnce([[maybe_unused]] int socket)
{
#ifdef TCP_QUICKACK
    constexpr int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
#endif
}

QString reasonOf(int code, const mosquitto_property *properties)
{
    const QString said = reasonString(properties);
    const QString reason = text(mosquitto_reason_string(code));
    return said.isEmpty() ? reason : reason + QStringLiteral(" (") + said + QLatin1Char(')');
}

} // namespace

bool operator==(const MqttOptions &left, const MqttOptions &right)
{
    return membersOf(left) == membersOf(right);
}

class MqttLink::Private
{
public:
    struct Publication
    {
        quint64 id = 0;
        QByteArray topic;
        QByteArray payload;
        int qos = 0;
        QDeadlineTimer end {QDeadlineTimer::Forever}; // of the time in which it may be sent
    };

    Private(MqttLink *q, const MqttOptions &options) : q(q), options(options) { }

    void attempt();
    void attemptAgain();
    void takeAttempt(ConnectionAttempt::Result result);
    void setCallbacks();
    void read(bool isReadable);
    void write();
    void look();
    void checkLink();
    void settle();
    void fail(const QString &why);
    void setState(State next);
    void drop();
    void log(const QString &line);
    void chooseVersion();

    int announce(const char *payload);
    bool maySend() const;
    void send(const Publication &publication);
    void sendWaiting();
    void refuseLate();

    void onConnect(int code, const mosquitto_property *properties);
    void changeVersion();
    void onDisconnect(int code);
    void onSubscribe(int mid, int count, const int *granted);
    void onPublish(int mid, int code, const mosquitto_property *properties);

    MqttLink *const q;
    const MqttOptions options;
    MessageHandler handler;
    State state = State::Closed;
    QString reason;
    QString logged; // the last line in the log

    // One connection
    MosquittoClient client;
    std::unique_ptr<QSocketNotifier> readNotifier;
    std::unique_ptr<QSocketNotifier> writeNotifier;
    QHash<int, QByteArrayList> subscribing; // by packet identifier
    QHash<int, Publication> publishing;
    int announcing = 0; // the packet identifier of the announcement, until it is acknowledged
    std::deque<Publication> waiting; // for the acknowledgments of earlier publications
    int quota = mostSent;
    QString endReason;
    quint64 callbacks = 0;
    int inLibrary = 0;
    bool closeWanted = false;
    bool isConfirmed = false; // by a successful CONNACK
    bool isAsked = false; // whether a reply has been requested
    std::chrono::milliseconds keepAlive {0};
    QElapsedTimer heard;
    QElapsedTimer ticked;

    // Attempts
    std::unique_ptr<ConnectionAttempt> connecting;
    const ConnectionAttempt::Counter abandoned = std::make_shared<std::atomic<int>>(0);
    QTimer *retry = nullptr;
    QTimer *limit = nullptr; // of an attempt, until the broker has accepted it
    QTimer *ticker = nullptr;
    int failures = 0;
    int version = 5;
    int closesBeforeAnswer = 0;
    bool isFiveRefused = false;
};

MqttLink::MqttLink(const MqttOptions &options, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>(this, options))
{
    d->retry = new QTimer(this);
    d->limit = new QTimer(this);
    d->ticker = new QTimer(this);
    for (QTimer *timer : {d->retry, d->limit})
        timer->setSingleShot(true);
    d->ticker->setInterval(tick);
    connect(d->retry, &QTimer::timeout, this, [this] { d->attempt(); });
    connect(d->limit, &QTimer::timeout, this,
            [this] { d->fail(QStringLiteral("no reply in time")); });
    connect(d->ticker, &QTimer::timeout, this, [this] { d->look(); });
}

MqttLink::~MqttLink()
{
    disconnect();
    close();
}

void MqttLink::setMessageHandler(const MessageHandler &handler)
{
    d->handler = handler;
}

MqttLink::State MqttLink::state() const
{
    return d->state;
}

QString MqttLink::reason() const
{
    return d->reason;
}

int MqttLink::version() const
{
    return d->version;
}

QString MqttLink::url() const
{
    const bool isIpv6 = d->options.host.contains(QLatin1Char(':'));
    return QStringLiteral("%1://%2:%3")
        .arg(d->options.tls ? QStringLiteral("mqtts") : QStringLiteral("mqtt"),
             isIpv6 ? QLatin1Char('[') + d->options.host + QLatin1Char(']') : d->options.host)
        .arg(d->options.port);
}

void MqttLink::open()
{
    if (d->state != State::Closed)
        return;
    d->version = d->options.version == 3 ? 3 : 5;
    d->setState(State::Connecting);
    d->attempt();
}

void MqttLink::close()
{
    if (d->state == State::Closed)
        return;
    if (d->inLibrary > 0) {
        d->closeWanted = true;
        return;
    }
    if (d->client && d->isConfirmed) {
        d->announce("0");
        mosquitto_disconnect_v5(d->client.get(), 0, nullptr);
        for (int i = 0; i < 10 && mosquitto_socket(d->client.get()) >= 0
             && mosquitto_want_write(d->client.get());
             ++i)
            mosquitto_loop_write(d->client.get(), 1);
    }
    d->retry->stop();
    d->reason.clear();
    d->setState(State::Closed);
    d->drop();
    d->log(QStringLiteral("closed"));
}

void MqttLink::Private::log(const QString &line)
{
    if (line == logged) // avoids repeating the same line
        return;
    logged = line;
    qCInfo(lcMqttLink).noquote() << (options.name.isEmpty() ? q->url()
                                                            : options.name + QStringLiteral(" (")
                                             + q->url() + QLatin1Char(')'))
            + QStringLiteral(": ") + line;
}

void MqttLink::Private::setState(State next)
{
    if (state == next)
        return;
    state = next;
    Q_EMIT q->stateChanged(next);
}

void MqttLink::Private::attempt()
{
    if (*abandoned >= mostAbandoned) {
        attemptAgain();
        return;
    }
    limit->start(options.connectWithin);
    connecting = std::make_unique<ConnectionAttempt>(
        options, version, abandoned, q,
        [this](ConnectionAttempt::Result result) { takeAttempt(std::move(result)); });
}

// Retries soon at first, because a broker that restarts is often available again quickly, and later
// about once a second. The delay is random, so that the gateways of a plant do not all connect at
// once.
void MqttLink::Private::attemptAgain()
{
    const auto longest = qMin(longestDelay, firstDelay * (1 << qMin(failures, 4)));
    ++failures;
    const auto shortest = int(longest.count() / 2);
    retry->start(shortest + QRandomGenerator::global()->bounded(shortest + 1));
}

void MqttLink::Private::takeAttempt(ConnectionAttempt::Result result)
{
    const auto finished = std::move(connecting); // keeps the attempt alive while its function runs
    if (!result.error.isEmpty()) {
        fail(result.error);
        return;
    }
    client = std::move(result.client);
    setCallbacks();
    const int socket = mosquitto_socket(client.get());
    if (socket < 0) {
        fail(QStringLiteral("the broker closed the connection"));
        return;
    }
    readNotifier = std::make_unique<QSocketNotifier>(socket, QSocketNotifier::Read);
    writeNotifier = std::make_unique<QSocketNotifier>(socket, QSocketNotifier::Write);
    connect(readNotifier.get(), &QSocketNotifier::activated, q, [this] { read(true); });
    connect(writeNotifier.get(), &QSocketNotifier::activated, q, [this] { write(); });
    keepAlive = options.keepAlive;
    heard.start();
    ticked.start();
    ticker->start();
    settle();
}

void MqttLink::Private::setCallbacks()
{
    static_cast<MosquittoData *>(mosquitto_userdata(client.get()))->owner = this;
    static const auto owner = [](void *data) {
        return static_cast<Private *>(static_cast<MosquittoData *>(data)->owner);
    };
    mosquitto_connect_v5_callback_set(
        client.get(),
        [](mosquitto *, void *data, int code, int, const mosquitto_property *properties) {
            owner(data)->onConnect(code, properties);
        });
    mosquitto_disconnect_v5_callback_set(
        client.get(), [](mosquitto *, void *data, int code, const mosquitto_property *) {
            owner(data)->onDisconnect(code);
        });
    mosquitto_subscribe_v5_callback_set(
        client.get(),
        [](mosquitto *, void *data, int mid, int count, const int *granted,
           const mosquitto_property *) { owner(data)->onSubscribe(mid, count, granted); });
    mosquitto_unsubscribe_v5_callback_set(
        client.get(), [](mosquitto *, void *data, int mid, const mosquitto_property *) {
            ++owner(data)->callbacks;
            Q_EMIT owner(data)->q->answered(mid);
        });
    mosquitto_publish_v5_callback_set(
        client.get(),
        [](mosquitto *, void *data, int mid, int code, const mosquitto_property *properties) {
            owner(data)->onPublish(mid, code, properties);
        });
    mosquitto_message_v5_callback_set(
        client.get(),
        [](mosquitto *, void *data, const mosquitto_message *message,
           const mosquitto_property *properties) {
            Private *const d = owner(data);
            ++d->callbacks;
            if (!d->handler)
                return;
            MqttMessage copy {message->topic,
                              {static_cast<const char *>(message->payload), message->payloadlen},
                              message->retain};
            uint32_t expiry = 0;
            if (properties
                && mosquitto_property_read_int32(properties, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL,
                                                 &expiry, false))
                copy.expiry = expiry;
            d->handler(copy);
        });
}

void MqttLink::Private::onConnect(int code, const mosquitto_property *properties)
{
    ++callbacks;
    constexpr int unknownVersion = 1; // code of MQTT 3.1.1
    if (code == 0) {
        uint16_t serverKeepAlive = 0;
        if (mosquitto_property_read_int16(properties, MQTT_PROP_SERVER_KEEP_ALIVE, &serverKeepAlive,
                                          false)
            && serverKeepAlive > 0)
            keepAlive = std::chrono::seconds(serverKeepAlive);
        uint16_t receiveMaximum = 0;
        quota = version == 5 ? mostSent : mostSentInOld;
        if (mosquitto_property_read_int16(properties, MQTT_PROP_RECEIVE_MAXIMUM, &receiveMaximum,
                                          false)
            && receiveMaximum > 0)
            quota = qMin(quota, int(receiveMaximum));
        isConfirmed = true;
        return;
    }
    if (code == unknownVersion || code == MQTT_RC_UNSUPPORTED_PROTOCOL_VERSION)
        changeVersion();
    endReason = QStringLiteral("refused: ")
        + (version == 5 || code > 5 ? reasonOf(code, properties) : refusalOf(code));
}

// The broker has refused this version of the protocol.
void MqttLink::Private::changeVersion()
{
    if (options.version != 0)
        return;
    isFiveRefused = version == 5;
    version = version == 5 ? 3 : 5;
    failures = 0;
}

void MqttLink::Private::onDisconnect(int code)
{
    ++callbacks;
    if (!endReason.isEmpty())
        return;
    if (code == MOSQ_ERR_MALFORMED_PACKET && !isConfirmed && version == 5) {
        // libmosquitto 2.1 rejects the reply in which a broker without MQTT 5 refuses it.
        changeVersion();
        endReason = QStringLiteral("refused: ")
            + text(mosquitto_reason_string(MQTT_RC_UNSUPPORTED_PROTOCOL_VERSION));
        return;
    }
    const QByteArray tls = static_cast<MosquittoData *>(mosquitto_userdata(client.get()))->tlsError;
    if (code == MOSQ_ERR_TLS || (!isConfirmed && !tls.isEmpty()))
        endReason = QString::fromUtf8(tls);
    else if (code == MOSQ_ERR_KEEPALIVE)
        endReason = QStringLiteral("the broker does not reply");
    else if (code >= 0x80)
        endReason = QStringLiteral("the broker ended it: ") + text(mosquitto_reason_string(code));
}

void MqttLink::Private::onSubscribe(int mid, int count, const int *granted)
{
    ++callbacks;
    const QByteArrayList filters = subscribing.take(mid);
    for (qsizetype i = 0; i < filters.size(); ++i) {
        const int code = i < count ? granted[i] : int(MQTT_RC_UNSPECIFIED);
        if (code >= 0x80)
            Q_EMIT q->filterRefused(filters.at(i), text(mosquitto_reason_string(code)));
    }
    if (subscribing.isEmpty())
        Q_EMIT q->subscribed();
}

void MqttLink::Private::onPublish(int mid, int code, const mosquitto_property *properties)
{
    ++callbacks;
    if (mid == announcing)
        announcing = 0;
    if (!publishing.contains(mid))
        return;
    const Publication publication = publishing.take(mid);
    if (code >= 0x80) {
        Q_EMIT q->published(publication.id, Outcome::Refused, reasonOf(code, properties));
        return;
    }
    // This is not a refusal, and any wildcard subscription hides it.
    if (code == MQTT_RC_NO_MATCHING_SUBSCRIBERS)
        Q_EMIT q->unheard(publication.topic);
    Q_EMIT q->published(publication.id, Outcome::Acknowledged, {});
}

// Each call reads one packet, so several packets are read per turn of the event loop. With TLS, the
// following packets may already be decrypted, and the socket does not report them.
void MqttLink::Private::read(bool isReadable)
{
    const quint64 atStart = callbacks;
    for (int i = 0; i < packetsPerTurn; ++i) {
        const quint64 before = callbacks;
        ++inLibrary;
        const int result = mosquitto_loop_read(client.get(), 1);
        --inLibrary;
        if (result != MOSQ_ERR_SUCCESS || mosquitto_socket(client.get()) < 0)
            break;
        if (callbacks == before || closeWanted)
            break;
    }
    // The result of the library is the same if there was nothing to read.
    if (isReadable || callbacks != atStart) {
        acknowledgeAtOnce(mosquitto_socket(client.get()));
        heard.start();
        isAsked = false;
    }
    Q_EMIT q->readingPaused();
    sendWaiting();
    settle();
}

void MqttLink::Private::write()
{
    ++inLibrary;
    mosquitto_loop_write(client.get(), 1);
    --inLibrary;
    settle();
}

// Called periodically.
void MqttLink::Private::look()
{
    const bool wasAsleep = ticked.restart() > 4 * tick.count();
    if (!client)
        return;
    if (wasAsleep) // this program was suspended, not the broker
        heard.start();
    if (options.tls) {
        read(false);
        if (!client)
            return;
    }
    ++inLibrary;
    mosquitto_loop_misc(client.get());
    --inLibrary;
    settle();
    refuseLate();
    if (isConfirmed)
        checkLink();
}

// libmosquitto itself detects a half-open connection only after somewhat more than two periods.
void MqttLink::Private::checkLink()
{
    const auto silence = std::chrono::milliseconds(heard.elapsed());
    if (!isAsked && silence > keepAlive / 2) {
        isAsked = true;
        q->askForAnswer();
    } else if (silence > keepAlive * 3 / 2) {
        fail(QStringLiteral("the broker does not reply"));
    }
}

// Handles the changes that any call of the library may have caused.
void MqttLink::Private::settle()
{
    if (inLibrary > 0 || !client)
        return;
    if (closeWanted) {
        closeWanted = false;
        q->close();
        return;
    }
    if (isConfirmed && state != State::Connected && mosquitto_socket(client.get()) >= 0) {
        limit->stop();
        failures = 0;
        closesBeforeAnswer = 0;
        reason.clear();
        // The callback is only needed for TLS errors, which occur earlier. With it, the library
        // formats a line for each packet.
        mosquitto_log_callback_set(client.get(), nullptr);
        log(version == 5 ? QStringLiteral("connected by MQTT 5")
                         : QStringLiteral("connected by MQTT 3.1.1"));
        announcing = announce("1");
        setState(State::Connected);
        settle();
        return;
    }
    if (mosquitto_socket(client.get()) < 0) {
        chooseVersion();
        fail(endReason.isEmpty() ? QStringLiteral("the broker closed the connection") : endReason);
        return;
    }
    const bool wantsWrite = mosquitto_want_write(client.get());
    if (writeNotifier->isEnabled() != wantsWrite)
        writeNotifier->setEnabled(wantsWrite);
}

// A broker without MQTT 5 may close the connection without a reply. If it has refused MQTT 5
// before, it supports 3.1.1, and closes the connection for another reason.
void MqttLink::Private::chooseVersion()
{
    if (isFiveRefused && version == 3)
        return;
    if (isConfirmed || options.version != 0 || !endReason.isEmpty() || ++closesBeforeAnswer < 2)
        return;
    closesBeforeAnswer = 0;
    version = version == 5 ? 3 : 5;
}

void MqttLink::Private::fail(const QString &why)
{
    const bool wasConnected = state == State::Connected;
    reason = wasConnected ? QStringLiteral("connection lost: ") + why
                          : QStringLiteral("cannot connect: ") + why;
    // The previous close may have been caused by a proxy, and not by the broker.
    if (wasConnected && options.version == 0 && !isFiveRefused)
        version = 5;
    if (wasConnected)
        logged.clear(); // the gateway logs the loss; the next connection is news again
    else
        log(reason);
    setState(State::Connecting);
    if (state == State::Connecting) // a receiver of the signal may have closed the link
        drop();
    if (state != State::Connecting)
        return;
    attemptAgain();
    Q_EMIT q->failed();
}

void MqttLink::Private::drop()
{
    ticker->stop();
    limit->stop();
    connecting.reset();
    // One of them may be on the call stack.
    for (auto *notifier : {&readNotifier, &writeNotifier}) {
        if (*notifier) {
            (*notifier)->setEnabled(false);
            notifier->release()->deleteLater();
        }
    }
    client.reset(); // discards everything that it would send again
    subscribing.clear();
    endReason.clear();
    closeWanted = false;
    isConfirmed = false;
    isAsked = false;
    announcing = 0;
    const auto unsent = std::exchange(waiting, {});
    const auto unknown = std::exchange(publishing, {});
    for (const Publication &publication : unknown) {
        Q_EMIT q->published(publication.id, Outcome::Unknown,
                            QStringLiteral("the connection was lost before the broker answered"));
    }
    for (const Publication &publication : unsent) {
        Q_EMIT q->published(publication.id, Outcome::Refused,
                            QStringLiteral("the connection to the broker was lost"));
    }
}

void MqttLink::subscribe(const QByteArrayList &filters, int qos, Retained retained)
{
    if (d->state != State::Connected)
        return;
    int options = 0;
    if (d->version == 5) {
        options = retained == Retained::NotSent ? MQTT_SUB_OPT_SEND_RETAIN_NEVER
                                                : MQTT_SUB_OPT_SEND_RETAIN_ALWAYS;
        if (retained != Retained::SentAgain)
            options |= MQTT_SUB_OPT_RETAIN_AS_PUBLISHED;
    }
    for (qsizetype i = 0; i < filters.size();) {
        QByteArrayList packet;
        std::vector<char *> pointers;
        qsizetype bytes = 0;
        for (; i < filters.size() && packet.size() < filtersPerPacket && bytes < bytesPerPacket;
             ++i) {
            const QByteArray &filter = filters.at(i);
            if (mosquitto_sub_topic_check2(filter.constData(), size_t(filter.size()))
                != MOSQ_ERR_SUCCESS) {
                Q_EMIT filterRefused(filter, QStringLiteral("no topic filter"));
                continue;
            }
            packet.append(filter);
            bytes += filter.size();
        }
        for (const QByteArray &filter : std::as_const(packet))
            pointers.push_back(const_cast<char *>(filter.constData()));
        if (packet.isEmpty())
            continue;
        int mid = 0;
        const int result = mosquitto_subscribe_multiple(d->client.get(), &mid, int(packet.size()),
                                                        pointers.data(), qos, options, nullptr);
        if (result == MOSQ_ERR_SUCCESS || mosquitto_socket(d->client.get()) < 0) {
            d->subscribing.insert(mid, packet);
            continue;
        }
        for (const QByteArray &filter : std::as_const(packet))
            Q_EMIT filterRefused(filter, text(mosquitto_strerror(result)));
    }
    // The signal is never emitted within this call.
    if (d->subscribing.isEmpty())
        QMetaObject::invokeMethod(this, &MqttLink::subscribed, Qt::QueuedConnection);
    d->settle();
}

void MqttLink::unsubscribe(const QByteArrayList &filters)
{
    if (d->state != State::Connected)
        return;
    for (const QByteArray &filter : filters)
        mosquitto_unsubscribe(d->client.get(), nullptr, filter.constData());
    d->settle();
}

int MqttLink::askForAnswer()
{
    int mid = 0;
    if (d->state == State::Connected) {
        mosquitto_unsubscribe(d->client.get(), &mid, nothing);
        d->settle();
    }
    return mid;
}

void MqttLink::publish(quint64 id, const QByteArray &topic, const QByteArray &payload, int qos,
                       std::chrono::milliseconds validFor)
{
    if (d->state != State::Connected) {
        Q_EMIT published(id, Outcome::Refused,
                         QStringLiteral("there is no connection to the broker"));
        return;
    }
    if (d->publishing.size() + qsizetype(d->waiting.size()) >= mostUnacknowledged) {
        Q_EMIT published(id, Outcome::Refused, QStringLiteral("the broker is too slow"));
        return;
    }
    Private::Publication publication {id, topic, payload, qos, {}};
    if (validFor.count() <= 0)
        publication.end = QDeadlineTimer(QDeadlineTimer::Forever);
    else
        publication.end = QDeadlineTimer(validFor);
    if (qos > 0 && !(d->waiting.empty() && d->maySend())) {
        d->waiting.push_back(publication);
        return;
    }
    d->send(publication);
    d->settle();
}

// Returns the packet identifier, or 0 if there is nothing to announce.
int MqttLink::Private::announce(const char *payload)
{
    int mid = 0;
    if (!options.announceTopic.isEmpty()) {
        mosquitto_publish(client.get(), &mid, options.announceTopic.toUtf8().constData(), 1,
                          payload, 1, true);
    }
    return mid;
}

// The library would queue further publications and send them at any later time, even after their
// writers have given up.
bool MqttLink::Private::maySend() const
{
    return publishing.size() + (announcing == 0 ? 0 : 1) < quota;
}

// A handler of the signals may close the link, which refuses everything that is waiting.
void MqttLink::Private::sendWaiting()
{
    refuseLate();
    while (state == State::Connected && !waiting.empty() && maySend()) {
        const Publication next = std::move(waiting.front());
        waiting.pop_front();
        send(next);
    }
}

void MqttLink::Private::refuseLate()
{
    const auto isLate = [](const Publication &publication) { return publication.end.hasExpired(); };
    const auto firstLate =
        std::stable_partition(waiting.begin(), waiting.end(), std::not_fn(isLate));
    const std::deque<Publication> late(std::make_move_iterator(firstLate),
                                       std::make_move_iterator(waiting.end()));
    waiting.erase(firstLate, waiting.end());
    for (const Publication &publication : late) {
        Q_EMIT q->published(publication.id, Outcome::Refused,
                            QStringLiteral("the broker does not reply"));
    }
}

void MqttLink::Private::send(const Publication &publication)
{
    mosquitto_property *properties = nullptr;
    if (version == 5 && !publication.end.isForever()) {
        const qint64 seconds = (publication.end.remainingTime() + 999) / 1000;
        mosquitto_property_add_int32(&properties, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL,
                                     uint32_t(qMax<qint64>(seconds, 1)));
    }
    int mid = 0;
    int qos = publication.qos;
    const auto publish = [&] {
        return mosquitto_publish_v5(client.get(), &mid, publication.topic.constData(),
                                    int(publication.payload.size()),
                                    publication.payload.constData(), qos, false, properties);
    };
    int result = publish();
    while (result == MOSQ_ERR_QOS_NOT_SUPPORTED && qos > 0) {
        --qos;
        result = publish();
    }
    mosquitto_property_free_all(&properties);
    switch (result) {
    case MOSQ_ERR_SUCCESS:
        if (qos == 0) // QoS 0 has no acknowledgment
            Q_EMIT q->published(publication.id, Outcome::Acknowledged, {});
        else
            publishing.insert(mid, publication);
        break;
    case MOSQ_ERR_INVAL:
    case MOSQ_ERR_NOMEM:
    case MOSQ_ERR_NO_CONN: // queued by the library, but never sent: the client is destroyed
    case MOSQ_ERR_NOT_SUPPORTED:
    case MOSQ_ERR_OVERSIZE_PACKET:
    case MOSQ_ERR_PAYLOAD_SIZE:
    case MOSQ_ERR_MALFORMED_UTF8:
    case MOSQ_ERR_QOS_NOT_SUPPORTED:
        Q_EMIT q->published(publication.id, Outcome::Refused, text(mosquitto_strerror(result)));
        break;
    default: // includes network errors, after which part of the packet may have been sent
        publishing.insert(mid, publication);
        break;
    }
}

} // namespace pellix::gateway
