// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"

#include "pubsub/publisher.h"

#include <QtCore/QLoggingCategory>

namespace pellix::client {

namespace {
Q_LOGGING_CATEGORY(lcInProcessClient, "pellixclient.keyword.inprocessclient", QtWarningMsg)

// Byte for byte as servers expect it. The client itself continues to send JSON, whatever the reply.
constexpr char protocolRequest[] =
    R"({"cmd": "keyChangeProtocol", "payload": {"newprotocol": "flatbuffers"}})";
} // namespace

class Q_DECL_HIDDEN PInProcessKeywordClient::Private
{ };

/*!
    \class pellix::client::PInProcessKeywordClient
    \inmodule PellixClientKeyword
    \inheaderfile client/inprocesskeywordclient.h
    \ingroup PellixClientKeywordClasses
    \brief The PInProcessKeywordClient class is the client of a keyword server in the same process.

    The client emits sendToServer() for every command. Pass every message of the server to
    receiveFromServer(). The application connects both to its server object, calls
    afterSignalsConnected(), and then passes the client to proxies and models:

    \code
    PInProcessKeywordClient client;
    QObject::connect(&client, &PInProcessKeywordClient::sendToServer, &server, &Server::receive);
    QObject::connect(&server, &Server::send, &client, &PInProcessKeywordClient::receiveFromServer);
    client.afterSignalsConnected();
    \endcode

    The server should reply through a queued connection, that is, after the call that sent the
    command has returned. With direct connections, the client decodes a reply inside the sending
    call: events work, but the reply to an index query arrives before sendKeyIndex() has returned
    the identifier of the query, and a PKeywordQueryModel ignores it.
*/

/*!
    \property pellix::client::PInProcessKeywordClient::connected
    \brief whether the server can be reached. It is always \c true.
*/

/*!
    Constructs a client, which is connected immediately. \a parent owns it, if given.
*/
PInProcessKeywordClient::PInProcessKeywordClient(QObject *parent)
    : PKeywordClient(parent), d(std::make_unique<Private>())
{
    connect(publisher(), &PPublisher::activeChanged, this,
            &PInProcessKeywordClient::connectedChanged);
    publisher()->setActive(true);
}

/*!
    Destroys the client and detaches its subscribers. The server is not notified.
*/
PInProcessKeywordClient::~PInProcessKeywordClient() = default;

bool PInProcessKeywordClient::connected() const
{
    return publisher()->active();
}

/*!
    Tells the server that the signals are connected, and requests that it switch to its preferred
    protocol. The client itself continues to send JSON, and the server must reply in JSON.
*/
void PInProcessKeywordClient::afterSignalsConnected()
{
    sendCommand(QByteArray::fromRawData(protocolRequest, sizeof(protocolRequest) - 1));
}

/*!
    \fn void PInProcessKeywordClient::sendToServer(const QByteArray &data)

    This signal is emitted to send one command, \a data, to the server.
*/

/*!
    Processes one message of the server, \a data. Invalid messages are silently discarded.
*/
void PInProcessKeywordClient::receiveFromServer(const QByteArray &data)
{
    receiveCommand(data);
}

/*!
    \reimp

    Emits sendToServer() with \a data. Always returns \c true, even if no server is connected.
*/
bool PInProcessKeywordClient::sendCommand(const QByteArray &data)
{
    qCDebug(lcInProcessClient) << "send" << data;
    Q_EMIT sendToServer(data);
    return true;
}

} // namespace pellix::client
