// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "client/websocketkeywordclient.h"
#include "examples/common/address.h"
#include "examples/common/hosttheme.h"
#include "examples/common/screenshot.h"
#include "module/pellixclientkeywordmodule.h"
#include "simulator/inprocesslink.h"
#include "simulator/keywordserver.h"
#include "simulator/telemetryscene.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QLoggingCategory>
#include <QtCore/QUrl>
#include <QtGui/QGuiApplication>
#include <QtQml/QQmlApplicationEngine>
#include <QtQuick/QQuickWindow>

#include <cstdlib>
#include <memory>
#include <optional>

using namespace pellix::client;
using namespace pellix::simulator;

namespace {

// The server, its keywords and the client that is linked to it, all in this process.
struct InProcess
{
    KeywordServer server;
    TelemetryScene scene {&server};
    PInProcessKeywordClient client;

    InProcess()
    {
        linkInProcess(&server, &client);
        scene.start();
    }
};

// The addresses to try, none for the server in this process, or nothing after a message about what
// is wrong with the command line.
std::optional<QStringList> parseAddresses(const QGuiApplication &application,
                                          Screenshot &screenshot)
{
    const QCommandLineOption url(
        QStringLiteral("url"),
        QGuiApplication::translate("main",
                                   "Watch the keyword server at this WebSocket <address>, "
                                   "such as ws://host:port. Given again: the next choice."),
        QStringLiteral("address"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QGuiApplication::translate(
        "main", "Shows the live values of a machine: of this one, or of a keyword server."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption(url);
    screenshot.addOptions(parser);
    parser.process(application); // exits with a message at an unknown option

    if (!parser.positionalArguments().isEmpty()) {
        complain(QGuiApplication::translate("main", "unexpected argument '%1'")
                     .arg(parser.positionalArguments().constFirst()));
        return std::nullopt;
    }
    const QStringList addresses = parser.values(url);
    for (const QString &address : addresses) {
        if (!isWebSocketAddress(address)) {
            complain(QGuiApplication::translate(
                         "main", "'%1' is no WebSocket address: ws://host:port is expected")
                         .arg(address));
            return std::nullopt;
        }
    }
    if (!screenshot.prepare(parser))
        return std::nullopt;
    return addresses;
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("telemetry"));
    QGuiApplication::setApplicationVersion(QStringLiteral(TELEMETRY_VERSION));
    Screenshot screenshot;
    const std::optional<QStringList> addresses = parseAddresses(application, screenshot);
    if (!addresses)
        return EXIT_FAILURE;

    // The transport tells each command at debug level. QT_LOGGING_RULES brings that back.
    QLoggingCategory::setFilterRules(
        QStringLiteral("pellixclient.keyword.websocketclient.debug=false"));
    useSteadyFonts();

    // The client outlives the engine, whose proxies point to it.
    std::unique_ptr<InProcess> inProcess;
    std::unique_ptr<PWebSocketKeywordClient> webSocket;
    PKeywordClient *client = nullptr;
    if (addresses->isEmpty()) {
        inProcess = std::make_unique<InProcess>();
        client = &inProcess->client;
    } else {
        webSocket = std::make_unique<PWebSocketKeywordClient>();
        webSocket->setAutoReconnect(true);
        webSocket->setUrls(*addresses);
        client = webSocket.get();
    }

    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    QQmlApplicationEngine engine;
    if (!provideTheme(engine))
        return EXIT_FAILURE;
    engine.setInitialProperties({{QStringLiteral("client"), QVariant::fromValue(client)}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Telemetry/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return EXIT_FAILURE;

    screenshot.schedule(qobject_cast<QQuickWindow *>(engine.rootObjects().constFirst()));
    return QGuiApplication::exec();
}
