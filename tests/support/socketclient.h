// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

/*
    The client over a WebSocket that a test uses: PWebSocketKeywordClient or, if the test is
    compiled with PELLIX_TEST_CONNECTION, PKeywordConnection.

    If the two differ, the test states this with DIFFERS: it is skipped for the second, and
    tst_keywordconnection tests its behavior instead.
*/
#ifdef PELLIX_TEST_CONNECTION

#include "extras/connection/keywordconnection.h"

#include <QtCore/QPointer>

#define CLIENT_CATEGORY "pellixclient.keyword.connection"
#define DIFFERS(why) QSKIP(why)

// With the settings of PWebSocketKeywordClient: it does not reconnect by default, and otherwise
// within a second.
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

    // Closes the connection, and keeps the settings.
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
