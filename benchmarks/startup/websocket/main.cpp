// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/startup/firstvalue.h"
#include "module/pellixclientkeywordmodule.h"

#include <QtGui/QGuiApplication>

// The address of the server is the only argument.
int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");

    QQmlApplicationEngine engine;
    engine.setInitialProperties(
        {{QStringLiteral("addresses"), QGuiApplication::arguments().mid(1)}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/WebSocketValue/Main.qml")));
    return showFirstValue(engine);
}
