// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/startup/firstvalue.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtGui/QGuiApplication>
#include <QtWebSockets/QWebSocket>

// Does by hand what the library would. The address of the server is the only argument.
int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    QQmlApplicationEngine engine;
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/SocketValue/Main.qml")));
    QObject *const window = engine.rootObjects().value(0);
    if (!window)
        return 1;

    QWebSocket socket;
    QObject::connect(&socket, &QWebSocket::connected, &socket, [&socket] {
        socket.sendTextMessage(QStringLiteral(
            R"({"cmd":"keyCreateOrUpdate","payload":{"keyword":"/plant/line3/motor0/speed"}})"));
    });
    QObject::connect(
        &socket, &QWebSocket::textMessageReceived, window, [window](const QString &text) {
            const QJsonObject event = QJsonDocument::fromJson(text.toUtf8()).object();
            const double value = event[QLatin1String("payload")][QLatin1String("value")].toDouble();
            window->setProperty("shown", QString::number(value, 'f', 1));
        });
    socket.open(QUrl(QGuiApplication::arguments().value(1)));
    return showFirstValue(engine);
}
