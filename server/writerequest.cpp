// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/writerequest.h"

#include "server/keywordserver_p.h"

namespace pellix::server {

// The data that all copies of a request share. The destruction of the last copy refuses the write,
// because it can no longer be decided.
class Q_DECL_HIDDEN WriteRequest::Handle
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
    \brief The WriteRequest class represents a write of a client, which can be accepted or refused.

    The write handler of a keyword receives a request and decides it immediately, or stores it and
    decides it later, after the reply of the device. When the request is accepted, clients receive
    the new value. When it is refused, the writer receives the unchanged value with the flag \e
    error.

    All copies refer to the same request. The first decision is final; later ones have no effect. A
    request is refused if all copies are destroyed, or if it is not decided within
    Limits::writeTime. A request can be decided even after the session, the keyword, or the server
    has been destroyed.
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
    Constructs a copy of \a other, which refers to the same request.
*/
WriteRequest::WriteRequest(const WriteRequest &other) = default;

/*!
    Makes this object refer to the same request as \a other.
*/
WriteRequest &WriteRequest::operator=(const WriteRequest &other) = default;

/*!
    Destroys this copy. The last one refuses the write if it is still pending.
*/
WriteRequest::~WriteRequest() = default;

/*!
    Returns whether the write has not been decided yet.
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
    Returns the complete new value, even for a relative write. A relative write adds to the last
    pending write of this keyword, if there is one.
*/
QVariant WriteRequest::value() const
{
    return d ? d->write.value : QVariant();
}

/*!
    Returns whether this is a relative write.
*/
bool WriteRequest::isRelative() const
{
    return d && d->write.isRelative;
}

/*!
    Returns the amount of a relative write or, for a Boolean value, whether it toggles. For other
    writes, returns an invalid variant.
*/
QVariant WriteRequest::change() const
{
    return d ? d->write.change : QVariant();
}

/*!
    Returns the client that writes.
*/
Peer WriteRequest::peer() const
{
    return d ? d->write.peer : Peer();
}

/*!
    Accepts the write: the keyword is set to the new value.
*/
void WriteRequest::accept() const
{
    accept(value());
}

/*!
    Accepts the write with \a value, the actual value of the source. If the value does not fit the
    type of the keyword, the write is refused.
*/
void WriteRequest::accept(const QVariant &value) const
{
    const std::shared_ptr<Handle> handle = d; // the following calls may destroy this object
    if (handle)
        handle->decide(Decision::Accepted, value,
                       QStringLiteral("the accepted value does not fit"));
}

/*!
    Accepts the write without changing the value. Use this function for sources that report each new
    value themselves: the result of the write has been set already, or will be set.
    \sa KeywordServer::setValue()
*/
void WriteRequest::acceptAsReported() const
{
    const std::shared_ptr<Handle> handle = d;
    if (handle)
        handle->decide(Decision::AcceptedAsReported);
}

/*!
    Refuses the write. \a reason appears in the audit line, but is not sent to the client.
*/
void WriteRequest::refuse(const QString &reason) const
{
    const std::shared_ptr<Handle> handle = d;
    if (handle)
        handle->refuse(reason);
}

} // namespace pellix::server
