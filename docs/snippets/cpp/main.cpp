// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [program]
#include "binding/keywordproxy.h"
#include "client/websocketkeywordclient.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>

using namespace pellix::client;

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();

    PWebSocketKeywordClient client;
    client.setUrls({arguments.value(1, QStringLiteral("ws://127.0.0.1:8765"))});
    client.setAutoReconnect(true);

    PKeywordProxy level;
    level.setClient(&client);
    level.setKeyword(QStringLiteral("/plant/tank1/level"));

    QObject::connect(&level, &PKeywordProxy::valueChanged, &application, [&level] {
        if (level.value().isValid())
            qInfo().noquote() << "level:" << level.value().toDouble();
    });
    QObject::connect(&client, &PWebSocketKeywordClient::connectedChanged, &application, [&client] {
        qInfo().noquote() << (client.connected() ? "connected" : "not connected");
    });
    return application.exec();
}
//! [program]
