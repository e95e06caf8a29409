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

// What belongs to a client of libmosquitto, which hands it to its callbacks. One client is used in
// one thread at a time.
struct MosquittoData
{
    QByteArray tlsError; // what it said of one last, which it does only for its log
    void *owner = nullptr;
};

struct MosquittoDeleter
{
    void operator()(mosquitto *client) const;
};
using MosquittoClient = std::unique_ptr<mosquitto, MosquittoDeleter>;

// Connects a client of libmosquitto, which blocks while a name is looked up and while an address
// swallows packets: minutes, in the worst case. So it happens in a thread that owns all that it
// needs and that nobody waits for. Destroying the attempt leaves it to itself: it throws the client
// away when the call returns, or ends with the program.
class ConnectionAttempt
{
public:
    struct Result
    {
        MosquittoClient client;
        QString error; // why not; empty if the connection has been made
    };

    // Counts threads of abandoned attempts that have not ended yet.
    using Counter = std::shared_ptr<std::atomic<int>>;

    // The function is called in the context's thread, unless this is destroyed before.
    ConnectionAttempt(const MqttOptions &options, int version, const Counter &abandoned,
                      QObject *context, const std::function<void(Result)> &finished);
    ~ConnectionAttempt();
    Q_DISABLE_COPY_MOVE(ConnectionAttempt)

private:
    struct Shared;
    const std::shared_ptr<Shared> shared;
};

} // namespace pellix::gateway
