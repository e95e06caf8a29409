// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/gateway/mqtt/broker.h"

#include "gateway/mqtt/libmosquitto.h"
#include "tests/support/freeport.h"
#include "tests/support/waitfor.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>
#include <QtCore/QStandardPaths>

#include <algorithm>
#include <csignal>
#include <mutex>

#include <unistd.h>

namespace {

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

bool run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (process.waitForFinished(60000) && process.exitCode() == 0)
        return true;
    qWarning("%s: %s", qPrintable(program), process.readAll().constData());
    return false;
}

// Checks the condition frequently, and stops waiting if the process ends.
bool waitUntil(QProcess *process, const std::function<bool()> &condition)
{
    const QDeadlineTimer deadline(30000);
    while (!condition()) {
        if (deadline.hasExpired() || process->waitForFinished(2)
            || process->state() == QProcess::NotRunning)
            return condition();
    }
    return true;
}

} // namespace

Broker::Broker(const BrokerOptions &options) : options(options)
{
    if (!options.acl.isEmpty())
        writeFile(q("acl"), options.acl);
    if (options.tls && !makeCertificates())
        qFatal("no certificates for the broker");
}

Broker::~Broker()
{
    if (process.state() == QProcess::NotRunning)
        return;
    if (frozen)
        thaw();
    terminate();
}

QString Broker::url() const
{
    return q(options.tls ? "mqtts://127.0.0.1:%1" : "mqtt://127.0.0.1:%1").arg(brokerPort);
}

QString Broker::writeFile(const QString &name, const QByteArray &content) const
{
    QFile file(filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

QByteArray Broker::log() const
{
    QFile file(filePath(q("log")));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

int Broker::connectionsSeen() const
{
    return int(log().count("New client connected"));
}

int Broker::publicationsSeen(const QByteArray &topic) const
{
    const QByteArrayList lines = log().split('\n');
    return int(std::count_if(lines.begin(), lines.end(), [&topic](const QByteArray &line) {
        return line.contains("Received PUBLISH from ") && line.contains(", '" + topic + "', ");
    }));
}

void Broker::writePasswords() const
{
    const QString file = writeFile(q("passwords"), {});
    for (auto it = options.passwords.cbegin(); it != options.passwords.cend(); ++it) {
        if (!run(q("mosquitto_passwd"), {q("-b"), file, it.key(), it.value()}))
            qFatal("no password file for the broker");
    }
}

bool Broker::makeCertificates() const
{
    const auto path = [this](const char *name) { return filePath(q(name)); };
    const auto issue = [&path](const QByteArray &name, const QString &subject,
                               const QString &extensions) {
        const QString base = path(name.constData());
        return run(q("openssl"),
                   {q("req"), q("-newkey"), q("rsa:2048"), q("-nodes"), q("-keyout"),
                    base + q(".key"), q("-out"), base + q(".csr"), q("-subj"), subject})
            && run(q("openssl"),
                   {q("x509"), q("-req"), q("-in"), base + q(".csr"), q("-CA"), path("ca.crt"),
                    q("-CAkey"), path("ca.key"), q("-CAcreateserial"), q("-days"), q("30"),
                    q("-out"), base + q(".crt"), q("-extfile"), extensions});
    };
    const QString server =
        writeFile(q("server.ext"), "subjectAltName=IP:127.0.0.1,DNS:localhost\n");
    const QString client = writeFile(q("client.ext"), "extendedKeyUsage=clientAuth\n");
    return run(q("openssl"),
               {q("req"), q("-x509"), q("-newkey"), q("rsa:2048"), q("-nodes"), q("-keyout"),
                path("ca.key"), q("-out"), path("ca.crt"), q("-subj"), q("/CN=Test authority"),
                q("-days"), q("30")})
        && issue("server", q("/CN=127.0.0.1"), server) && issue("client", q("/CN=gateway"), client);
}

QByteArray Broker::configuration() const
{
    const auto path = [this](const char *name) { return QFile::encodeName(filePath(q(name))); };
    QByteArrayList lines {"log_dest stderr",
                          options.isQuiet ? "log_type information" : "log_type all",
                          "persistence false"};
    if (::geteuid() == 0)
        lines.append("user root"); // otherwise, it could not read our private files
    if (options.passwords.isEmpty())
        lines.append("allow_anonymous true");
    else
        lines.append("allow_anonymous false\npassword_file " + path("passwords"));
    if (!options.acl.isEmpty())
        lines.append("acl_file " + path("acl"));
    if (options.persistence) {
        lines[2] =
            "persistence true\npersistence_location " + QFile::encodeName(folder.path()) + "/";
    }
    if (options.queuedMessages >= 0)
        lines.append("max_queued_messages " + QByteArray::number(options.queuedMessages));
    if (options.inflightMessages >= 0)
        lines.append("max_inflight_messages " + QByteArray::number(options.inflightMessages));
    lines.append("listener " + QByteArray::number(brokerPort) + " 127.0.0.1");
    if (options.connections >= 0)
        lines.append("max_connections " + QByteArray::number(options.connections));
    if (options.tls) {
        lines.append({"cafile " + path("ca.crt"), "certfile " + path("server.crt"),
                      "keyfile " + path("server.key")});
    }
    if (options.clientCertificates)
        lines.append("require_certificate true");
    return (lines + options.lines).join('\n') + '\n';
}

bool Broker::launch()
{
    if (!options.passwords.isEmpty())
        writePasswords();
    const QString file = writeFile(q("broker.conf"), configuration());
    writeFile(q("log"), {});
    QString program = QStandardPaths::findExecutable(q("mosquitto"));
    if (program.isEmpty())
        program = q("/usr/sbin/mosquitto");
    // To a file, because a pipe might not be read.
    process.setStandardErrorFile(filePath(q("log")));
    process.start(program, {q("-c"), file});
    frozen = false;
    return process.waitForStarted()
        && waitUntil(&process, [this] { return log().contains(" running\n"); })
        && process.state() == QProcess::Running;
}

bool Broker::start()
{
    if (brokerPort != 0) {
        // The old broker may still use the port for a moment.
        const QDeadlineTimer deadline(30000);
        while (!launch()) {
            if (deadline.hasExpired() || !log().contains("Address already in use"))
                return false;
        }
        return true;
    }
    for (int i = 0; i < 20; ++i) {
        brokerPort = freePort();
        if (launch())
            return true;
        if (!log().contains("Address already in use"))
            break;
    }
    qWarning("the broker does not start: %s", log().constData());
    return false;
}

void Broker::save()
{
    const QString file = filePath(q("mosquitto.db"));
    QFile::remove(file);
    ::kill(pid_t(process.processId()), SIGUSR1);
    waitUntil(&process, [&file] { return QFile::exists(file); });
}

void Broker::kill()
{
    if (options.persistence && isRunning() && !frozen)
        save();
    process.kill();
    process.waitForFinished();
}

void Broker::terminate()
{
    process.terminate();
    if (!process.waitForFinished())
        kill();
}

void Broker::freeze()
{
    ::kill(pid_t(process.processId()), SIGSTOP);
    frozen = true;
}

void Broker::thaw()
{
    ::kill(pid_t(process.processId()), SIGCONT);
    frozen = false;
}

void Broker::setPasswords(const QHash<QString, QString> &passwords)
{
    options.passwords = passwords;
    writePasswords();
    reload();
}

void Broker::setAcl(const QByteArray &acl)
{
    options.acl = acl;
    writeFile(q("acl"), acl);
    reload();
}

void Broker::reload()
{
    const auto reloads = log().count("Reloading config");
    ::kill(pid_t(process.processId()), SIGHUP);
    waitUntil(&process, [&] { return log().count("Reloading config") > reloads; });
}

BrokerClient::BrokerClient(const Broker &broker, const QString &user, const QString &password,
                           QObject *parent)
    : QObject(parent)
{
    static std::once_flag once;
    std::call_once(once, [] {
        mosquitto_lib_init();
        std::signal(SIGPIPE, SIG_IGN); // it writes to connections that the broker has closed
    });
    client = mosquitto_new(nullptr, true, this);
    mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(client, MOSQ_OPT_SEND_MAXIMUM, 1000);
    if (!user.isEmpty())
        mosquitto_username_pw_set(client, user.toUtf8().constData(), password.toUtf8().constData());
    if (broker.options.tls) {
        mosquitto_tls_set(client, QFile::encodeName(broker.authority()).constData(), nullptr,
                          QFile::encodeName(broker.clientCertificate()).constData(),
                          QFile::encodeName(broker.clientKey()).constData(), nullptr);
    }
    mosquitto_connect_v5_callback_set(
        client, [](mosquitto *, void *self, int reason, int, const mosquitto_property *) {
            if (reason == 0)
                static_cast<BrokerClient *>(self)->connectAgain();
        });
    mosquitto_disconnect_v5_callback_set(
        client, [](mosquitto *, void *self, int, const mosquitto_property *) {
            static_cast<BrokerClient *>(self)->connected = false;
        });
    mosquitto_publish_v5_callback_set(
        client, [](mosquitto *, void *self, int, int, const mosquitto_property *) {
            --static_cast<BrokerClient *>(self)->unacknowledged;
        });
    mosquitto_subscribe_v5_callback_set(
        client, [](mosquitto *, void *self, int, int, const int *, const mosquitto_property *) {
            --static_cast<BrokerClient *>(self)->ungranted;
        });
    mosquitto_message_v5_callback_set(
        client,
        [](mosquitto *, void *object, const mosquitto_message *message,
           const mosquitto_property *properties) {
            const auto self = static_cast<BrokerClient *>(object);
            uint32_t expiry = 0;
            const bool expires = mosquitto_property_read_int32(
                properties, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL, &expiry, false);
            const Message copy {message->topic,
                                {static_cast<const char *>(message->payload), message->payloadlen},
                                message->retain,
                                message->qos,
                                expires ? qint64(expiry) : -1};
            QMetaObject::invokeMethod(
                self, [self, copy] { self->take(copy); }, Qt::QueuedConnection);
        });
    mosquitto_reconnect_delay_set(client, 1, 1, false);
    mosquitto_loop_start(client);
    // This succeeds, because the broker is listening, unless it allows no more clients.
    mosquitto_connect(client, "127.0.0.1", broker.port(), 60);
    waitFor([this] { return isConnected(); }, 5000);
}

BrokerClient::~BrokerClient()
{
    mosquitto_disconnect(client);
    mosquitto_loop_stop(client, false);
    mosquitto_destroy(client);
}

// Called in the thread of libmosquitto.
void BrokerClient::connectAgain()
{
    connected = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            for (const QByteArray &filter : std::as_const(filters)) {
                ++ungranted;
                mosquitto_subscribe(client, nullptr, filter.constData(), 1);
            }
        },
        Qt::QueuedConnection);
}

bool BrokerClient::subscribe(const QByteArray &filter, int qos)
{
    ++ungranted;
    mosquitto_subscribe(client, nullptr, filter.constData(), qos);
    const bool granted = waitFor([this] { return ungranted <= 0; });
    filters.append(filter);
    return granted;
}

void BrokerClient::publish(const QByteArray &topic, const QByteArray &payload, bool retained,
                           int qos, qint64 expiry)
{
    mosquitto_property *properties = nullptr;
    if (expiry >= 0) {
        mosquitto_property_add_int32(&properties, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL,
                                     uint32_t(expiry));
    }
    ++unacknowledged;
    const int result = mosquitto_publish_v5(client, nullptr, topic.constData(), int(payload.size()),
                                            payload.constData(), qos, retained, properties);
    mosquitto_property_free_all(&properties);
    if (result != MOSQ_ERR_SUCCESS)
        qWarning("cannot publish %s: %s", topic.constData(), mosquitto_strerror(result));
}

bool BrokerClient::flush()
{
    return waitFor([this] { return unacknowledged <= 0; });
}

QList<QByteArray> BrokerClient::payloads(const QByteArray &topic) const
{
    QList<QByteArray> result;
    for (const Message &message : received) {
        if (message.topic == topic)
            result.append(message.payload);
    }
    return result;
}

void BrokerClient::take(const Message &message)
{
    received.append(message);
    Q_EMIT receivedMessage(message.topic, message.payload, message.retained);
}
