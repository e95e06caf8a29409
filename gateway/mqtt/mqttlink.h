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
    QString passwordFile; // read for each connection, so that it may change
    QString authorityFile; // what certificates are trusted; the system's if empty
    QString certificateFile; // of the client
    QString keyFile;
    QString clientId; // the broker's choice if empty
    std::chrono::seconds keepAlive {10}; // at least 5
    int version = 0; // 5, or 3 for 3.1.1; 0: 5, and 3.1.1 for brokers that do not know it
    QString announceTopic; // says "1" while there is a link, and "0" else, if not empty
    std::chrono::milliseconds connectWithin {5000};
    std::chrono::milliseconds resync {0}; // how often what is retained is asked for again; 0: never
};

bool operator==(const MqttOptions &left, const MqttOptions &right);

// Valid while the handler runs.
struct MqttMessage
{
    QByteArrayView topic; // followed by a byte 0
    QByteArrayView payload;
    bool isRetained = false; // as it was published (MQTT 5), or because it was stored (3.1.1)
    qint64 expiry = -1; // in seconds; never if negative
};

// The connection to a broker, kept as long as it is open. Everything that belongs to a connection,
// subscriptions and what is on its way, ends with it: nothing is ever sent late. It lives in a
// thread with an event loop that it never blocks.
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

    // What a subscription brings besides what is published from now on.
    enum class Retained {
        Sent, // what the broker keeps
        SentAgain, // the same; the flag tells it from what is published meanwhile
        NotSent // nothing; the flag is as it was published, where the protocol knows that
    };

    using MessageHandler = std::function<void(const MqttMessage &message)>;

    explicit MqttLink(const MqttOptions &options, QObject *parent = nullptr);
    ~MqttLink() override;

    // Called for each message, within the library: it may publish and subscribe, and must not
    // destroy this.
    void setMessageHandler(const MessageHandler &handler);

    void open();
    void close();
    State state() const;
    QString reason() const; // why there is no connection, in words
    int version() const; // of the protocol: 5 or 3
    QString url() const; // without user and password

    // Each has to be connected. The answers come as signals.
    void subscribe(const QByteArrayList &filters, int qos, Retained retained = Retained::Sent);
    void unsubscribe(const QByteArrayList &filters);
    // Has the broker send something that says nothing, after all that it has sent before:
    // answered() with the same number.
    int askForAnswer();

    // Answered once, by published(). Refused if there is no connection.
    void publish(quint64 id, const QByteArray &topic, const QByteArray &payload, int qos,
                 std::chrono::milliseconds validFor);

Q_SIGNALS:
    void stateChanged(pellix::gateway::MqttLink::State state);
    void failed(); // once more; reason() says why
    void filterRefused(const QByteArray &filter, const QString &reason);
    void subscribed(); // each filter so far has been granted or refused
    void answered(int number);
    void published(quint64 id, pellix::gateway::MqttLink::Outcome outcome, const QString &reason);
    void readingPaused(); // what had come has been read

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::gateway
