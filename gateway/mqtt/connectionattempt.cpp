// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/connectionattempt.h"

#include "gateway/mqtt/libmosquitto.h"
#include "gateway/mqtt/mqttlink.h"

#include <QtCore/QFile>
#include <QtCore/QObject>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>

namespace pellix::gateway {

namespace {

void takeLog(mosquitto *, void *data, int level, const char *text)
{
    if (level == MOSQ_LOG_ERR && std::strstr(text, "rror"))
        static_cast<MosquittoData *>(data)->tlsError = text;
}

QString readPassword(const QString &name, QByteArray *password)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot open %1: %2").arg(name, file.errorString());
    constexpr qint64 longest = 65535; // limit of the protocol
    *password = file.read(longest + 2);
    while (password->endsWith('\n') || password->endsWith('\r'))
        password->chop(1);
    return password->size() > longest ? QStringLiteral("%1 is too long").arg(name) : QString();
}

// Returns the problem, or an empty string. libmosquitto requires this order of calls.
QString configure(mosquitto *client, const MqttOptions &options, int version)
{
    mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION,
                         version == 5 ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_int_option(client, MOSQ_OPT_RECEIVE_MAXIMUM, 1000);
    mosquitto_int_option(client, MOSQ_OPT_SEND_MAXIMUM, 100);
    mosquitto_log_callback_set(client, takeLog);
    QByteArray password;
    if (!options.passwordFile.isEmpty()) {
        QString problem = readPassword(options.passwordFile, &password);
        if (!problem.isEmpty())
            return problem;
    }
    if (!options.user.isEmpty()) {
        mosquitto_username_pw_set(client, options.user.toUtf8().constData(),
                                  options.passwordFile.isEmpty() ? nullptr : password.constData());
    }
    if (!options.announceTopic.isEmpty()) {
        mosquitto_will_set(client, options.announceTopic.toUtf8().constData(), 1, "0", 1, true);
    }
    if (!options.tls)
        return {};
    const auto fileName = [](const QString &name) {
        return name.isEmpty() ? QByteArray() : QFile::encodeName(name);
    };
    const auto orNull = [](const QByteArray &name) {
        return name.isEmpty() ? nullptr : name.constData();
    };
    const QByteArray authority = fileName(options.authorityFile);
    const QByteArray certificate = fileName(options.certificateFile);
    const QByteArray key = fileName(options.keyFile);
    if (authority.isEmpty())
        mosquitto_int_option(client, MOSQ_OPT_TLS_USE_OS_CERTS, 1);
    // If no authority file is set, libmosquitto requires a folder of authorities: that of the
    // system.
    const int result = mosquitto_tls_set(client, orNull(authority),
                                         authority.isEmpty() ? "/etc/ssl/certs" : nullptr,
                                         orNull(certificate), orNull(key), nullptr);
    if (result != MOSQ_ERR_SUCCESS) {
        return QStringLiteral("cannot use the certificates or the key: %1")
            .arg(QString::fromUtf8(mosquitto_strerror(result)));
    }
    mosquitto_tls_opts_set(client, 1, nullptr, nullptr); // the broker's certificate is verified
    return {};
}

QString problemOf(int result, int error, mosquitto *client, const MqttOptions &options)
{
    if (result == MOSQ_ERR_ERRNO && error == EBADF) // libmosquitto 2.1 loses the reason
        return QStringLiteral("nothing answers at %1, port %2").arg(options.host).arg(options.port);
    if (result == MOSQ_ERR_ERRNO)
        return QString::fromLocal8Bit(std::strerror(error));
    if (result == MOSQ_ERR_EAI)
        return QStringLiteral("cannot look up %1").arg(options.host);
    const QByteArray tls = static_cast<MosquittoData *>(mosquitto_userdata(client))->tlsError;
    if (!tls.isEmpty())
        return QString::fromUtf8(tls);
    return QString::fromUtf8(mosquitto_strerror(result));
}

// With TLS, libmosquitto writes to connections that the broker has closed. Such a write would
// terminate a program that does not handle the signal.
void ignoreBrokenPipes()
{
    struct sigaction action = {};
    if (::sigaction(SIGPIPE, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO)
        || action.sa_handler != SIG_DFL)
        return;
    action.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &action, nullptr);
}

} // namespace

void MosquittoDeleter::operator()(mosquitto *client) const
{
    const auto data = static_cast<MosquittoData *>(mosquitto_userdata(client));
    mosquitto_destroy(client);
    delete data;
}

struct ConnectionAttempt::Shared
{
    std::mutex mutex;
    bool isAbandoned = false;
    Counter abandoned;
    QObject *context = nullptr;
    std::function<void(Result)> finished;
    Result result;
};

ConnectionAttempt::ConnectionAttempt(const MqttOptions &options, int version,
                                     const Counter &abandoned, QObject *context,
                                     const std::function<void(Result)> &finished)
    : shared(std::make_shared<Shared>())
{
    static std::once_flag once;
    std::call_once(once, [] {
        mosquitto_lib_init();
        ignoreBrokenPipes();
    });
    shared->abandoned = abandoned;
    shared->context = context;
    shared->finished = finished;
    const auto connectNow = [options, version, shared = shared] {
        const QByteArray id = options.clientId.toUtf8();
        Result result;
        result.client.reset(
            mosquitto_new(id.isEmpty() ? nullptr : id.constData(), true, new MosquittoData));
        result.error = configure(result.client.get(), options, version);
        if (result.error.isEmpty()) {
            const int code = mosquitto_connect_bind_v5(
                result.client.get(), options.host.toUtf8().constData(), options.port,
                int(options.keepAlive.count()), nullptr, nullptr);
            const int error = errno;
            if (code != MOSQ_ERR_SUCCESS)
                result.error = problemOf(code, error, result.client.get(), options);
        }
        const std::lock_guard<std::mutex> lock(shared->mutex);
        if (shared->isAbandoned) {
            --*shared->abandoned;
            return;
        }
        shared->result = std::move(result);
        QMetaObject::invokeMethod(
            shared->context,
            [shared] {
                if (!shared->isAbandoned)
                    shared->finished(std::move(shared->result));
            },
            Qt::QueuedConnection);
        shared->context = nullptr;
    };

    // Signals are delivered to the threads that expect them, not to this one.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread(connectNow).detach();
    } catch (const std::system_error &error) {
        shared->result.error = QString::fromLocal8Bit(error.what());
        QMetaObject::invokeMethod(
            context,
            [shared = shared] {
                if (!shared->isAbandoned)
                    shared->finished(std::move(shared->result));
            },
            Qt::QueuedConnection);
        shared->context = nullptr;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

ConnectionAttempt::~ConnectionAttempt()
{
    const std::lock_guard<std::mutex> lock(shared->mutex);
    shared->isAbandoned = true;
    if (shared->context)
        ++*shared->abandoned;
}

} // namespace pellix::gateway
