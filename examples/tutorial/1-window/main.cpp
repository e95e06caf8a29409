// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [program]
#include "module/pellixclientkeywordmodule.h"

#include <QtGui/QGuiApplication>
#include <QtQml/QQmlApplicationEngine>

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");

    QQmlApplicationEngine engine;
    if (argc > 1)
        engine.setInitialProperties(
            {{QStringLiteral("addresses"), QStringList(application.arguments().at(1))}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Tanks/Main.qml")));
    return engine.rootObjects().isEmpty() ? 1 : QGuiApplication::exec();
}
//! [program]
