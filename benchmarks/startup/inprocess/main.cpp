// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/startup/firstvalue.h"
#include "client/inprocesskeywordclient.h"
#include "module/pellixclientkeywordmodule.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"

#include <QtGui/QGuiApplication>

int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");

    pellix::server::KeywordServer server;
    server.declare({QStringLiteral("/plant/line3/motor0/speed"), QStringLiteral("double"),
                    QStringLiteral("R"), QString(), 1.5});
    pellix::client::PInProcessKeywordClient client;
    pellix::server::linkInProcess(&server, &client);

    QQmlApplicationEngine engine;
    engine.setInitialProperties({{QStringLiteral("client"), QVariant::fromValue(&client)}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/InProcessValue/Main.qml")));
    return showFirstValue(engine);
}
