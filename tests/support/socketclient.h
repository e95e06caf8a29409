// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

/*
    The client over a WebSocket that a test is about: PWebSocketKeywordClient, or, where the same
    test is built a second time with PELLIX_TEST_CONNECTION, PKeywordConnection.

    Where the two differ, the test says so with DIFFERS: it is skipped for the second, and what
   holds there instead is tested by tst_keywordconnection.
*/
#ifdef PELLIX_TEST_CONNECTION

#include "extras/connection/keywordconnection.h"

#include <QtCore/QPointer>

#define CLIENT_CATEGORY "pellixclient.keyword.connection"
#define DIFFERS(why) QSKIP(why)

// With the settings of the other one: it does not reconnect at first, and then within a second.
class SocketClient : public pellix::extras::PKeywordConnection
{
public:
    explicit SocketClient(QObject *parent = nullptr) : PKeywordConnection(parent)
    {
        setAutoReconnect(false);
        setMinRetryDelay(1000);
        setMaxRetryDelay(1000);
    }

    QString url() const { return urls().value(0); }

    // Drops the connection, and leaves the settings as they are.
    void disconnect()
    {
        const QPointer<SocketClient> self(this);
        close();
        if (self)
            setEnabled(true);
    }
};

#else

#include "client/websocketkeywordclient.h"

#define CLIENT_CATEGORY "pellixclient.keyword.websocketclient"
#define DIFFERS(why) static_cast<void>(0)

using SocketClient = pellix::client::PWebSocketKeywordClient;

#endif
