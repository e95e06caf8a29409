// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/peer.h"
#include "server/serverglobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>

#include <memory>

namespace pellix::server {

class KeywordServer;

class PELLIXCLIENT_SERVER_EXPORT KeywordSession : public QObject
{
    Q_OBJECT

public:
    ~KeywordSession() override;

    Peer peer() const;
    void pause();
    void resume();
    bool isPaused() const;
    qint64 waitingBytes() const;
    bool hasUndecidedWrites() const;

public Q_SLOTS:
    void receive(const QByteArray &command);

Q_SIGNALS:
    void send(const QByteArray &message);

private:
    friend class KeywordServer;
    friend class WebSocketKeywordServer;
    KeywordSession(KeywordServer *server, const Peer &peer, bool limited, QObject *parent);

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::server
