// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordsession.h"

#include "server/keywordserver_p.h"

namespace pellix::server {

class KeywordSession::Private
{
public:
    QPointer<KeywordServer> server;
};

/*!
    \class pellix::server::KeywordSession
    \inmodule PellixClientServer
    \inheaderfile server/keywordsession.h
    \ingroup PellixClientServerClasses
    \brief The KeywordSession class is one client's link to a KeywordServer.

    Whatever carries the messages hands each command to receive() and delivers each send(). Deleting
    the session ends it: its subscriptions go, and the aggregates that nobody else uses. A session
    whose server is gone takes commands without answering.
*/

KeywordSession::KeywordSession(KeywordServer *server, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>())
{
    d->server = server;
}

/*!
    Ends the session.
*/
KeywordSession::~KeywordSession()
{
    if (d->server)
        d->server->d->leave(this);
}

/*!
    Takes one \a command, as JSON text. What is no valid command is ignored.
*/
void KeywordSession::receive(const QByteArray &command)
{
    if (d->server)
        d->server->d->receive(this, command);
}

/*!
    \fn void KeywordSession::send(const QByteArray &message)

    This signal carries one \a message to the client, as JSON text. It is emitted inside receive()
    and inside the changes of the server's keywords.
*/

/*!
    \fn template <typename Client> KeywordSession *linkInProcess(KeywordServer *server, Client
   *client)

    Opens a session for \a client on \a server and wires the two, up to the protocol request. The
    client is a PInProcessKeywordClient, or a class derived from it.

    The server answers queued: an answer to an index query that came inside the query would be lost,
    as its sender does not know the identifier yet. The session belongs to the client and ends with
    it, or with the server.
*/

} // namespace pellix::server
