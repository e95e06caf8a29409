// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/writerequest.h"

#include "server/keywordserver_p.h"

namespace pellix::server {

// What all copies of a request share. With the last of them the write is refused, as nobody can
// decide it any more.
class WriteRequest::Handle
{
public:
    Handle(KeywordServer *server, quint64 id, const PendingWrite &write)
        : server(server), id(id), write(write)
    { }
    ~Handle() { refuse(QStringLiteral("its handler has not decided it")); }
    Q_DISABLE_COPY_MOVE(Handle)

    bool isPending() const { return server && server->d->writes.count(id) > 0; }
    void decide(Decision decision, const QVariant &value = {}, const QString &reason = {}) const
    {
        if (server)
            server->d->decide(id, decision, value, reason);
    }
    void refuse(const QString &reason) const { decide(Decision::Refused, {}, reason); }

    const QPointer<KeywordServer> server;
    const quint64 id;
    const PendingWrite write;
};

/*!
    \class pellix::server::WriteRequest
    \inmodule PellixClientServer
    \inheaderfile server/writerequest.h
    \ingroup PellixClientServerClasses
    \brief The WriteRequest class is a client's write to a keyword, to be accepted or refused.

    The write handler of a keyword gets a request and decides it at once, or keeps it and decides it
    later, when the device has answered. Clients see the new value once the request is accepted;
    when it is refused, the writer gets the unchanged value with the flag \e error.

    Copies of a request are the same request. The first decision counts; later ones do nothing. A
    request that nobody keeps is refused, and so is one that is not decided within
    Limits::writeTime. The session, the keyword and the server may all be gone when it is decided.
    \sa KeywordServer::setWriteHandler()
*/

/*!
    Constructs a request that is not pending.
*/
WriteRequest::WriteRequest() = default;

WriteRequest::WriteRequest(KeywordServer *server, quint64 id, const PendingWrite &write)
    : d(std::make_shared<Handle>(server, id, write))
{ }

/*!
    Constructs a copy of \a other, which is the same request.
*/
WriteRequest::WriteRequest(const WriteRequest &other) = default;

/*!
    Makes this the same request as \a other.
*/
WriteRequest &WriteRequest::operator=(const WriteRequest &other) = default;

/*!
    Destroys this copy. The last one refuses the write if it is still pending.
*/
WriteRequest::~WriteRequest() = default;

/*!
    Returns whether the write is still to be decided.
*/
bool WriteRequest::isPending() const
{
    return d && d->isPending();
}

/*!
    Returns the path of the keyword, with "/" as its only separator.
*/
QString WriteRequest::path() const
{
    return d ? d->write.path : QString();
}

/*!
    Returns the whole new value, also for a relative write. A relative write adds to the last write
    of this keyword that is still pending, if there is one.
*/
QVariant WriteRequest::value() const
{
    return d ? d->write.value : QVariant();
}

/*!
    Returns whether the client asked for a change of the value rather than for a value.
*/
bool WriteRequest::isRelative() const
{
    return d && d->write.isRelative;
}

/*!
    Returns what a relative write adds; for a bool, whether it toggles. Invalid for others.
*/
QVariant WriteRequest::change() const
{
    return d ? d->write.change : QVariant();
}

/*!
    Returns who writes.
*/
Peer WriteRequest::peer() const
{
    return d ? d->write.peer : Peer();
}

/*!
    Accepts the write: the keyword has the new value from now on.
*/
void WriteRequest::accept() const
{
    accept(value());
}

/*!
    Accepts the write with \a value, which is what the source made of it. A value that does not fit
    the type of the keyword refuses the write.
*/
void WriteRequest::accept(const QVariant &value) const
{
    const std::shared_ptr<Handle> handle = d; // what happens now may destroy this object
    if (handle)
        handle->decide(Decision::Accepted, value,
                       QStringLiteral("the accepted value does not fit"));
}

/*!
    Accepts the write and leaves the value as it is. This is for sources that report each new value
    by themselves: whatever they make of the write has been set already, or will be.
    \sa KeywordServer::setValue()
*/
void WriteRequest::acceptAsReported() const
{
    const std::shared_ptr<Handle> handle = d;
    if (handle)
        handle->decide(Decision::AcceptedAsReported);
}

/*!
    Refuses the write. \a reason goes to the audit line, and not to the client.
*/
void WriteRequest::refuse(const QString &reason) const
{
    const std::shared_ptr<Handle> handle = d;
    if (handle)
        handle->refuse(reason);
}

} // namespace pellix::server
