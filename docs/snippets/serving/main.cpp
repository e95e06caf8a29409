// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [program]
#include "tank.h"

#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QString port = application.arguments().value(1, QStringLiteral("8765"));

    Tank tank;
    pellix::server::KeywordServer server;
    server.serve(&tank, QStringLiteral("/plant/tank1"));

    bool isPort = false;
    const quint16 number = port.toUShort(&isPort);
    pellix::server::WebSocketKeywordServer socket(&server);
    if (!isPort || !socket.listen(QHostAddress::LocalHost, number)) {
        qCritical().noquote() << "cannot listen on port" << port + QStringLiteral(":")
                              << (isPort ? socket.errorString() : QStringLiteral("no port number"));
        return 1;
    }
    qInfo().noquote() << "serving at" << socket.url().toString();
    return application.exec();
}
//! [program]
