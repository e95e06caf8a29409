// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/startup/firstvalue.h"

#include <QtGui/QGuiApplication>

int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    QQmlApplicationEngine engine;
    engine.setInitialProperties({{QStringLiteral("shown"), QStringLiteral("1.5")}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/PlainValue/Main.qml")));
    return showFirstValue(engine);
}
