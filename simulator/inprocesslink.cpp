// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "simulator/inprocesslink.h"

#include "client/inprocesskeywordclient.h"
#include "simulator/keywordserver.h"
#include "simulator/keywordsession.h"

namespace pellix::simulator {

using pellix::client::PInProcessKeywordClient;

/*!
    Opens a session for \a client on \a server and wires the two, up to the protocol request.

    The server answers queued: an answer to an index query that came inside the query would be lost,
    as its sender does not know the identifier yet. The session belongs to the client and ends with
    it, or with the server.
*/
KeywordSession *linkInProcess(KeywordServer *server, PInProcessKeywordClient *client)
{
    KeywordSession *const session = server->openSession(client);
    QObject::connect(client, &PInProcessKeywordClient::sendToServer, session,
                     &KeywordSession::receive);
    QObject::connect(session, &KeywordSession::send, client,
                     &PInProcessKeywordClient::receiveFromServer, Qt::QueuedConnection);
    client->afterSignalsConnected();
    return session;
}

} // namespace pellix::simulator
