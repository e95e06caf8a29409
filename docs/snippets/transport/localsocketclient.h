// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

//! [transport]
#include "client/keywordclient.h"
#include "pubsub/publisher.h"

#include <QtCore/QPointer>
#include <QtNetwork/QLocalSocket>

// Sends and receives one message per line over a local socket.
class LocalSocketClient : public pellix::client::PKeywordClient
{
    Q_OBJECT
    Q_PROPERTY(bool connected READ connected NOTIFY connectedChanged)

public:
    explicit LocalSocketClient(QObject *parent = nullptr) : PKeywordClient(parent)
    {
        connect(publisher(), &pellix::client::PPublisher::activeChanged, this,
                &LocalSocketClient::connectedChanged);
        connect(socket, &QLocalSocket::connected, this, [this] { publisher()->setActive(true); });
        connect(socket, &QLocalSocket::disconnected, this,
                [this] { publisher()->setActive(false); });
        connect(socket, &QLocalSocket::readyRead, this, [this, self = QPointer(this)] {
            while (self && socket->canReadLine())
                receiveCommand(socket->readLine()); // a handler of the value may delete this
        });
    }
    ~LocalSocketClient() override
    {
        socket->disconnect(this);
        socket->deleteLater(); // it may be emitting a signal
    }

    bool connected() const { return publisher()->active(); }
    void open(const QString &name) { socket->connectToServer(name); }

Q_SIGNALS:
    void connectedChanged();

protected:
    bool sendCommand(const QByteArray &data) override
    {
        return connected() && socket->write(data + '\n') > 0;
    }

private:
    QLocalSocket *const socket = new QLocalSocket;
};
//! [transport]
