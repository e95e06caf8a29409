// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/keywordserver.h"
#include "server/keywordsession.h"

namespace pellix::server {

template <typename Client> KeywordSession *linkInProcess(KeywordServer *server, Client *client)
{
    KeywordSession *const session = server->openSession(client);
    QObject::connect(client, &Client::sendToServer, session, &KeywordSession::receive);
    QObject::connect(session, &KeywordSession::send, client, &Client::receiveFromServer,
                     Qt::QueuedConnection);
    client->afterSignalsConnected();
    return session;
}

} // namespace pellix::server
