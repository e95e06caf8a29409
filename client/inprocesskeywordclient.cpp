// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"

#include "pubsub/publisher.h"

#include <QtCore/QLoggingCategory>

namespace pellix::client {

namespace {
Q_LOGGING_CATEGORY(lcInProcessClient, "pellixclient.keyword.inprocessclient", QtWarningMsg)

// Byte for byte as servers know it. The client itself goes on in JSON whatever the server answers.
constexpr char protocolRequest[] =
    R"({"cmd": "keyChangeProtocol", "payload": {"newprotocol": "flatbuffers"}})";
} // namespace

class PInProcessKeywordClient::Private
{ };

/*!
    \class pellix::client::PInProcessKeywordClient
    \inmodule PellixClientKeyword
    \inheaderfile client/inprocesskeywordclient.h
    \ingroup PellixClientKeywordClasses
    \brief The PInProcessKeywordClient class talks to a keyword server in the same process.

    Every command leaves through sendToServer(), every message of the server enters through
    receiveFromServer(). The host connects both to its server object, calls
    afterSignalsConnected(), and then hands the client to proxies and models:

    \code
    PInProcessKeywordClient client;
    QObject::connect(&client, &PInProcessKeywordClient::sendToServer, &server, &Server::receive);
    QObject::connect(&server, &Server::send, &client, &PInProcessKeywordClient::receiveFromServer);
    client.afterSignalsConnected();
    \endcode

    The server should answer queued, that is, after the call that sent it a command has returned.
    With direct connections an answer is decoded inside the sending call: events work, but the
    answer to an index query comes before the caller of sendKeyIndex() knows the identifier of its
    query, and is lost to a PKeywordQueryModel.
*/

/*!
    \property pellix::client::PInProcessKeywordClient::connected
    \brief whether the server can be reached: always \c true.
*/

/*!
    Constructs a client, which is connected from then on. \a parent owns it, if given.
*/
PInProcessKeywordClient::PInProcessKeywordClient(QObject *parent)
    : PKeywordClient(parent), d(std::make_unique<Private>())
{
    connect(publisher(), &PPublisher::activeChanged, this,
            &PInProcessKeywordClient::connectedChanged);
    publisher()->setActive(true);
}

/*!
    Destroys the client. Its subscribers are detached, the server is not told.
*/
PInProcessKeywordClient::~PInProcessKeywordClient() = default;

bool PInProcessKeywordClient::connected() const
{
    return publisher()->active();
}

/*!
    Tells the server that the wiring is complete and asks it to change to the protocol that it
    prefers. The client itself goes on in JSON, and the server must answer it in JSON.
*/
void PInProcessKeywordClient::afterSignalsConnected()
{
    sendCommand(QByteArray::fromRawData(protocolRequest, sizeof(protocolRequest) - 1));
}

/*!
    \fn void PInProcessKeywordClient::sendToServer(const QByteArray &data)

    This signal carries one command, \a data, to the server.
*/

/*!
    Takes one message of the server, \a data. What is no valid message is dropped silently.
*/
void PInProcessKeywordClient::receiveFromServer(const QByteArray &data)
{
    receiveCommand(data);
}

/*!
    \reimp

    Emits sendToServer() with \a data. Always returns \c true, also with no server connected.
*/
bool PInProcessKeywordClient::sendCommand(const QByteArray &data)
{
    qCDebug(lcInProcessClient) << "send" << data;
    Q_EMIT sendToServer(data);
    return true;
}

} // namespace pellix::client
