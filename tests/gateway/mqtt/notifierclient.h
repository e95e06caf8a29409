// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <functional>
#include <memory>

QT_BEGIN_NAMESPACE
class QSocketNotifier;
QT_END_NAMESPACE

struct mosquitto;
struct mosquitto_message;

// A client of a broker in the event loop of this thread: libmosquitto and socket notifiers, and
// nothing else. It works with any number of open files, and does not connect again by itself.
class NotifierClient : public QObject
{
    Q_OBJECT

public:
    explicit NotifierClient(QObject *parent = nullptr);
    ~NotifierClient() override;

    // The message is only valid while the handler runs. It may publish.
    using MessageHandler = std::function<void(const mosquitto_message &message)>;
    void setMessageHandler(const MessageHandler &newHandler) { handler = newHandler; }

    // Messages and subscriptions can follow at once: the broker reads them after the request to
    // connect.
    bool open(quint16 port);
    void close();
    bool isOpen() const { return client != nullptr; }
    void subscribe(const QByteArray &filter); // QoS 0
    void publish(const QByteArray &topic, const QByteArray &payload, bool retained); // QoS 0

Q_SIGNALS:
    void subscribed();
    void lost();

private:
    void settle();

    struct Deleter
    {
        void operator()(mosquitto *client) const;
    };
    std::unique_ptr<mosquitto, Deleter> client;
    std::unique_ptr<QSocketNotifier> readNotifier;
    std::unique_ptr<QSocketNotifier> writeNotifier;
    QTimer ticker;
    MessageHandler handler;
    bool isReading = false;
};
