// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "client/keywordclient.h"
#include "client/keywordtypes.h"
#include "client/websocketkeywordclient.h"
#include "models/keywordpathmodel.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"
#include "module/pellixclientkeywordmodule.h"
#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"

#include <QtGui/QGuiApplication>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>

#include <cstdio>
#include <memory>

using namespace pellix::client;

namespace {

// Loads a component of the library from its resource. The application provides the text element,
// here from an import folder, and the theme.
bool loadsPath(const QString &importPath)
{
    QQmlEngine engine;
    engine.addImportPath(importPath);
    const QJSValue theme = engine.evaluate(QStringLiteral("({ dp: units => units })"));
    engine.rootContext()->setContextProperty(QStringLiteral("theme"), QVariant::fromValue(theme));
    QQmlComponent component(&engine, QUrl(QStringLiteral("qrc:/PKeywordPath.qml")));
    const std::unique_ptr<QObject> path(component.create());
    for (const QQmlError &error : component.errors())
        std::printf("%s\n", qPrintable(error.toString()));
    return path && path->property("height").toDouble() == 24;
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    if (argc != 2) {
        std::printf("Usage: consumer FOLDER, which has the module PellixClient.Control\n");
        return 1;
    }
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    PInProcessKeywordClient client;
    QByteArray sent;
    QObject::connect(&client, &PInProcessKeywordClient::sendToServer, &client,
                     [&](const QByteArray &command) { sent = command; });
    int value = 0;
    {
        PKeywordProxy proxy;
        proxy.setKeywordExpression(new PKeywordExpression(QStringLiteral("/a"), &proxy));
        proxy.setClient(&client);
        client.receiveFromServer(R"({"cmd":"keyEvent","payload":{"keyword":"/a","value":42}})");
        value = proxy.value().toInt();
    }
    std::printf("sent %s, received %d\n", sent.contains("keyDestroy") ? "keyDestroy" : "nothing",
                value);
    std::printf("qrc:/PKeywordPath.qml %s\n",
                loadsPath(QString::fromLocal8Bit(argv[1])) ? "loads" : "does not load");
    return 0;
}
