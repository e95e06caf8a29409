// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayList>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

#include <atomic>
#include <functional>
#include <memory>

struct mosquitto;

struct BrokerOptions
{
    bool persistence = false; // retained messages survive kill()
    QHash<QString, QString> passwords; // by user; no password is required if empty
    QByteArray acl;
    bool tls = false; // uses certificates of a private authority, for 127.0.0.1 and localhost
    bool clientCertificates = false; // required, with tls
    int queuedMessages = -1; // per client
    int inflightMessages = -1;
    int connections = -1; // at once
    bool isQuiet = false; // does not log each message
    QByteArrayList lines; // additional lines of the configuration
};

// A real mosquitto on a free port of 127.0.0.1.
class Broker
{
public:
    explicit Broker(const BrokerOptions &options = {});
    ~Broker();

    // All of these functions wait until the action is complete; start() and restart() until the
    // broker listens.
    bool start(); // again on the same port if called again
    void kill(); // kill -9
    void terminate(); // SIGTERM
    void freeze(); // SIGSTOP: its connections stay open, but it does not reply
    void thaw();
    bool restart() { return kill(), start(); }
    // Replaces the passwords, and sends SIGHUP.
    void setPasswords(const QHash<QString, QString> &passwords);
    // Replaces the access rules, and sends SIGHUP. Requires that options.acl was set before
    // start().
    void setAcl(const QByteArray &acl);

    // The options for the next start().
    BrokerOptions options;

    quint16 port() const { return brokerPort; }
    QString host() const { return QStringLiteral("127.0.0.1"); }
    QString url() const;
    bool isRunning() const { return process.state() == QProcess::Running; }
    QByteArray log() const;
    int connectionsSeen() const; // since the start
    // The messages of clients to the topic since the start, unless options.isQuiet is set. A
    // message is counted before it is acknowledged.
    int publicationsSeen(const QByteArray &topic) const;
    QString filePath(const QString &name) const { return folder.filePath(name); }
    QString authority() const { return filePath(QStringLiteral("ca.crt")); }
    QString clientCertificate() const { return filePath(QStringLiteral("client.crt")); }
    QString clientKey() const { return filePath(QStringLiteral("client.key")); }
    QString writeFile(const QString &name, const QByteArray &content) const;

private:
    bool launch();
    void reload();
    void save();
    void writePasswords() const;
    QByteArray configuration() const;
    bool makeCertificates() const;

    QTemporaryDir folder;
    QProcess process;
    quint16 brokerPort = 0;
    bool frozen = false;
};

// Another client of a broker, with a separate thread of libmosquitto. It reconnects automatically,
// and then renews its subscriptions.
class BrokerClient : public QObject
{
    Q_OBJECT

public:
    struct Message
    {
        QByteArray topic;
        QByteArray payload;
        bool retained = false;
        int qos = 0;
        qint64 expiry = -1; // in seconds
    };

    explicit BrokerClient(const Broker &broker, const QString &user = {},
                          const QString &password = {}, QObject *parent = nullptr);
    ~BrokerClient() override;

    bool isConnected() const { return connected; }
    // Returns when the broker has granted the subscription.
    bool subscribe(const QByteArray &filter, int qos = 1);
    void publish(const QByteArray &topic, const QByteArray &payload, bool retained = false,
                 int qos = 1, qint64 expiry = -1);
    // Returns when the broker has received all published messages.
    bool flush();
    QList<Message> messages() const { return received; } // messages reported by receivedMessage()
    QList<QByteArray> payloads(const QByteArray &topic) const;
    void clear() { received.clear(); }

    struct Shared;

Q_SIGNALS:
    void receivedMessage(const QByteArray &topic, const QByteArray &payload, bool retained);

private:
    void take(const Message &message);
    void connectAgain();

    QList<Message> received;
    std::atomic<bool> connected {false};
    std::atomic<int> unacknowledged {0};
    std::atomic<int> ungranted {0};
    QByteArrayList filters;
    mosquitto *client = nullptr;
};
