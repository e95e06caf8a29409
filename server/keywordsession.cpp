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
    \brief The KeywordSession class is the connection of one client to a KeywordServer.

    The transport passes each command to receive() and delivers each message of send(). When it
    cannot accept more messages, it calls pause(): the session then records which keywords have
    changed, and sends their newest values on resume().

    Deleting the session ends it, including its subscriptions and aggregates. If the server is
    destroyed, the session accepts commands without replying.
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
    Returns the client of this session.
*/
Peer KeywordSession::peer() const
{
    return d->state.peer;
}

/*!
    Pauses the session: nothing is sent until resume().
*/
void KeywordSession::pause()
{
    d->state.paused = true;
    d->state.starved = false; // it is not resumed by the server
}

/*!
    Resumes the session and sends the data that has been waiting since pause(): replies unchanged
    and in order, and the newest value of each changed keyword.
*/
void KeywordSession::resume()
{
    d->state.paused = d->state.starved = false;
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
    Returns the number of bytes of the replies that wait for resume(). This does not include values
    of keywords, whose number is limited by that of the subscriptions. While there are many waiting
    replies, a transport should not accept further commands, since each may cause another reply.
*/
qint64 KeywordSession::waitingBytes() const
{
    return d->state.answerBytes + qint64(d->state.waitingAnswers) * qint64(sizeof(Waiting));
}

/*!
    Returns whether a write of this session is pending.
*/
bool KeywordSession::hasUndecidedWrites() const
{
    return d->state.writeBytes > 0;
}

/*!
    Processes one \a command, as JSON text. Invalid commands are ignored.
*/
void KeywordSession::receive(const QByteArray &command)
{
    if (d->server)
        d->server->d->receive(&d->state, command);
}

/*!
    \fn void KeywordSession::send(const QByteArray &message)

    This signal is emitted to send one \a message to the client, as JSON text. It is emitted inside
    receive(), and inside functions that change the keywords of the server.
*/

/*!
    \fn template <typename Client> KeywordSession *linkInProcess(KeywordServer *server, Client
   *client)

    Opens a session for \a client on \a server and connects the two, including the protocol request.
    \a client is a PInProcessKeywordClient or derived from it.

    The server replies through a queued connection: a reply inside an index query would be lost,
    because the identifier of the query is not known yet. The client owns the session, which ends
    with the client or with the server.
*/

} // namespace pellix::server
