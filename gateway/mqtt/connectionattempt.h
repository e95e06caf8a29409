// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <atomic>
#include <functional>
#include <memory>

QT_BEGIN_NAMESPACE
class QObject;
QT_END_NAMESPACE

struct mosquitto;

namespace pellix::gateway {

struct MqttOptions;

// The user data of a libmosquitto client, which passes it to the callbacks. A client is used in
// only one thread at a time.
struct MosquittoData
{
    QByteArray tlsError; // the last one, from the log callback: there is no other way to get it
    void *owner = nullptr;
};

struct MosquittoDeleter
{
    void operator()(mosquitto *client) const;
};
using MosquittoClient = std::unique_ptr<mosquitto, MosquittoDeleter>;

// Connects a client of libmosquitto. This call blocks during the name lookup, and if an address
// does not respond, for minutes in the worst case. It therefore runs in a thread that owns
// everything it uses, and for which nothing waits. Destroying the attempt abandons this thread: it
// destroys the client when the call returns, or ends with the program.
class ConnectionAttempt
{
public:
    struct Result
    {
        MosquittoClient client;
        QString error; // the reason of a failure; empty if the connection is established
    };

    // Counts the threads of abandoned attempts that are still running.
    using Counter = std::shared_ptr<std::atomic<int>>;

    // The function is called in the thread of the context, unless the attempt is destroyed first.
    ConnectionAttempt(const MqttOptions &options, int version, const Counter &abandoned,
                      QObject *context, const std::function<void(Result)> &finished);
    ~ConnectionAttempt();
    Q_DISABLE_COPY_MOVE(ConnectionAttempt)

private:
    struct Shared;
    const std::shared_ptr<Shared> shared;
};

} // namespace pellix::gateway
