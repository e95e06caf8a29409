// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

// Quoted in docs/guides/serving.qdoc.

#include "server/accesstokens.h"
#include "server/clientidentification.h"
#include "server/keywordserver.h"
#include "server/role.h"
#include "server/websocketkeywordserver.h"
#include "server/writerequest.h"

#include <QtCore/QFile>
#include <QtCore/QObject>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslKey>

//! [device]
// A device that takes some time to do what it is told.
class Device : public QObject
{
    Q_OBJECT

public:
    void requestSpeed(double speed);

Q_SIGNALS:
    void speedReported(double speed);
    void failed(const QString &reason);
};
//! [device]

inline void Device::requestSpeed(double speed)
{
    if (speed < 0)
        Q_EMIT failed(QStringLiteral("the motor cannot reverse"));
    else
        Q_EMIT speedReported(speed > 100 ? 100 : speed);
}

//! [declare]
inline void declareSpeed(pellix::server::KeywordServer *server)
{
    pellix::server::KeywordServer::Keyword speed;
    speed.path = QStringLiteral("/plant/motor1/speed");
    speed.type = QStringLiteral("double");
    speed.access = QStringLiteral("RW");
    speed.label = QStringLiteral("Speed in %");
    speed.value = 0.0;
    server->declare(speed);
}
//! [declare]

//! [write]
inline void forwardWrites(pellix::server::KeywordServer *server, Device *device)
{
    using pellix::server::WriteRequest;
    const QString path = QStringLiteral("/plant/motor1/speed");
    server->setWriteHandler(path, [device](const WriteRequest &request) {
        // The context ends these connections as soon as one of them has decided.
        auto *const context = new QObject(device);
        QObject::connect(device, &Device::speedReported, context, [=](double speed) {
            request.accept(speed); // which also sets the keyword to this value
            context->deleteLater();
        });
        QObject::connect(device, &Device::failed, context, [=](const QString &reason) {
            request.refuse(reason);
            context->deleteLater();
        });
        device->requestSpeed(request.value().toDouble());
    });
}
//! [write]

//! [roles]
inline void addRoles(pellix::server::KeywordServer *server)
{
    const QString everything = QStringLiteral("/**");
    server->setRole({QStringLiteral("viewer"), {everything}, {}});
    server->setRole({QStringLiteral("operator"), {everything}, {QStringLiteral("/plant/*/speed")}});
}
//! [roles]

//! [tokens]
// Adds a token to the file and returns it. This is the only time that it is available.
inline QByteArray addToken(const QString &fileName, const QString &name, QString *error)
{
    pellix::server::AccessTokens tokens;
    if (QFile::exists(fileName) && !tokens.load(fileName, error))
        return {};
    const QByteArray token = tokens.create(name, QStringLiteral("operator"));
    return tokens.save(fileName, error) ? token : QByteArray();
}
//! [tokens]

//! [listen]
inline bool listenOnNetwork(pellix::server::WebSocketKeywordServer *socket,
                            const QSslCertificate &certificate, const QSslKey &key,
                            const pellix::server::AccessTokens &tokens, quint16 port = 8765)
{
    pellix::server::ClientIdentification identification;
    identification.tokens = tokens;
    return socket->setTls(certificate, key) && socket->setIdentification(identification)
        && socket->listen(QHostAddress::Any, port);
}
//! [listen]
