// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArrayList>
#include <QtCore/QByteArrayView>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <chrono>
#include <functional>
#include <memory>

namespace pellix::gateway {

struct MqttOptions
{
    QString name; // of the source, for the log
    QString host;
    quint16 port = 1883;
    bool tls = false;
    QString user;
    QString passwordFile; // read for each connection, so the password can change
    QString authorityFile; // the trusted authorities; those of the system if empty
    QString certificateFile; // of the client
    QString keyFile;
    QString clientId; // assigned by the broker if empty
    std::chrono::seconds keepAlive {10}; // at least 5
    int version = 0; // 5, or 3 for 3.1.1; 0: 5, or 3.1.1 if the broker does not support 5
    QString announceTopic; // "1" is published here while connected, otherwise "0"; may be empty
    std::chrono::milliseconds connectWithin {5000};
    std::chrono::milliseconds resync {0}; // how often to request retained messages again; 0: never
    std::chrono::milliseconds retryRefused {60000}; // how often to request refused subscriptions
};

bool operator==(const MqttOptions &left, const MqttOptions &right);

// Only valid while the handler runs.
struct MqttMessage
{
    QByteArrayView topic; // followed by a null byte
    QByteArrayView payload;
    bool isRetained = false; // published with this flag (MQTT 5), or sent from storage (3.1.1)
    qint64 expiry = -1; // in seconds; never if negative
};

// A connection to a broker, which is retried between open() and close(). When the connection is
// lost, its subscriptions and pending messages are discarded, so nothing is ever sent late. The
// object never blocks the event loop of its thread.
class MqttLink : public QObject
{
    Q_OBJECT

public:
    enum class State {
        Closed,
        Connecting,
        Connected
    };
    Q_ENUM(State)

    enum class Outcome {
        Acknowledged,
        Refused, // by the broker, or not sent at all
        Unknown // the connection was lost before it was acknowledged
    };
    Q_ENUM(Outcome)

    // The messages that a subscription requests in addition to those published from now on.
    enum class Retained {
        Sent, // the retained messages
        SentAgain, // the same; the retain flag distinguishes them from new messages
        NotSent // none; with MQTT 5, the retain flag is as published
    };

    using MessageHandler = std::function<void(const MqttMessage &message)>;

    explicit MqttLink(const MqttOptions &options, QObject *parent = nullptr);
    ~MqttLink() override;

    // The handler is called for each message from within libmosquitto. It may publish and
    // subscribe, but must not destroy the link.
    void setMessageHandler(const MessageHandler &handler);

    void open();
    void close();
    State state() const;
    QString reason() const; // why there is no connection, as text
    int version() const; // of the protocol: 5 or 3
    QString url() const; // without user and password

    // Both require a connection. The results are reported by signals.
    void subscribe(const QByteArrayList &filters, int qos, Retained retained = Retained::Sent);
    void unsubscribe(const QByteArrayList &filters);
    // Requests an empty reply from the broker, which arrives after everything that the broker has
    // sent before. Then answered() is emitted with the returned number.
    int askForAnswer();

    // The outcome is reported once, by published(). Without a connection, it is Refused. If the
    // broker does not acknowledge earlier messages, the message waits, and is refused after the
    // given time, which is unlimited if it is 0.
    void publish(quint64 id, const QByteArray &topic, const QByteArray &payload, int qos,
                 std::chrono::milliseconds validFor);

Q_SIGNALS:
    void stateChanged(pellix::gateway::MqttLink::State state);
    void failed(); // an attempt has failed; reason() contains the cause
    void filterRefused(const QByteArray &filter, const QString &reason);
    void subscribed(); // the broker has granted or refused each filter so far
    void answered(int number);
    void published(quint64 id, pellix::gateway::MqttLink::Outcome outcome, const QString &reason);
    // The broker has acknowledged the message, but nobody has subscribed to its topic (MQTT 5).
    void unheard(const QByteArray &topic);
    void readingPaused(); // all received data has been processed

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::gateway
