// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/keywordsession.h"

#include "server/keywordserver_p.h"
#include "server/keywordsession_p.h"

namespace pellix::server {

/*!
    \class pellix::server::KeywordSession
    \inmodule PellixClientServer
    \inheaderfile server/keywordsession.h
    \ingroup PellixClientServerClasses
    \brief The KeywordSession class is one client's link to a KeywordServer.

    Whatever carries the messages hands each command to receive() and delivers each send(). When it
    can take no more, it calls pause(): the session then keeps which keywords have changed, and
    tells their newest values on resume().

    Deleting the session ends it: its subscriptions go, and its aggregates. A session whose server
    is gone takes commands without answering.
*/

KeywordSession::KeywordSession(KeywordServer *server, const Peer &peer, bool limited,
                               QObject *parent)
    : QObject(parent), d(std::make_unique<Private>())
{
    d->server = server;
    d->state.q = this;
    d->state.peer = peer;
    d->state.limited = limited;
    server->d->join(&d->state);
}

/*!
    Ends the session.
*/
KeywordSession::~KeywordSession()
{
    d->end();
}

void KeywordSession::Private::end()
{
    if (server)
        server->d->leave(&state);
    server.clear();
}

/*!
    Returns who is at the other end.
*/
Peer KeywordSession::peer() const
{
    return d->state.peer;
}

/*!
    Has nothing sent until resume().
*/
void KeywordSession::pause()
{
    d->state.paused = true;
}

/*!
    Sends what has been waiting since pause(): answers as they are, in their order, and of each
    keyword that has changed its newest value.
*/
void KeywordSession::resume()
{
    d->state.paused = false;
    if (d->server)
        d->server->d->send(&d->state);
}

/*!
    Returns whether the session is paused.
*/
bool KeywordSession::isPaused() const
{
    return d->state.paused;
}

/*!
    Returns how many bytes of answers wait for resume(), other than values of keywords, which are as
    many as the session watches at most. A transport takes no further commands while there are many:
    each may ask for another answer.
*/
qint64 KeywordSession::waitingBytes() const
{
    return d->state.answerBytes + qint64(d->state.waitingAnswers) * qint64(sizeof(Waiting));
}

/*!
    Returns whether a write of this session waits for its decision.
*/
bool KeywordSession::hasUndecidedWrites() const
{
    return d->state.writeBytes > 0;
}

/*!
    Takes one \a command, as JSON text. What is no valid command is ignored.
*/
void KeywordSession::receive(const QByteArray &command)
{
    if (d->server)
        d->server->d->receive(&d->state, command);
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
