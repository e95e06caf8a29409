// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "client/websocketkeywordclient.h"
#include "module/pellixclientkeywordmodule.h"
#include "programs/common/address.h"
#include "programs/common/commandline.h"
#include "programs/quick/hosttheme.h"
#include "programs/quick/screenshot.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"
#include "simulator/telemetryscene.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QLoggingCategory>
#include <QtGui/QGuiApplication>
#include <QtQml/QQmlApplicationEngine>
#include <QtQuick/QQuickWindow>

#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

using namespace pellix::client;
using namespace pellix::server;
using namespace pellix::simulator;

namespace {

// The server, its keywords, and the client that is connected to it, all in this process.
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

class CommandLine
{
public:
    explicit CommandLine(const Screenshot &screenshot);

    // The addresses of the server: an empty list for the server in this process. If the command
    // line is invalid, prints a message and returns nothing.
    std::optional<QStringList> addresses() const;

    QCommandLineParser parser;

private:
    const QCommandLineOption url {
        QStringLiteral("url"),
        QGuiApplication::translate("main",
                                   "Watch the keyword server at this WebSocket <address>, "
                                   "such as ws://host:port. If given several times, the first "
                                   "one is used."),
        QStringLiteral("address")};
};

CommandLine::CommandLine(const Screenshot &screenshot)
{
    parser.setApplicationDescription(QGuiApplication::translate(
        "main",
        "Shows the live values of a machine: of this one, or of a keyword server.\n\n"
        "An address with a password is refused. Addresses are shown without their secrets.\n\n"
        "The exit code is 0 on success, 1 on failure, or 2 if the command line is invalid."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption(url);
    screenshot.addOptions(parser);
}

std::optional<QStringList> CommandLine::addresses() const
{
    if (!parser.positionalArguments().isEmpty()) {
        const QString argument = parser.positionalArguments().constFirst();
        programs::complain(QGuiApplication::translate("main", "unexpected argument '%1'")
                               .arg(programs::shownAddress(argument)));
        return std::nullopt;
    }
    QStringList addresses = parser.values(url);
    for (const QString &address : std::as_const(addresses)) {
        const QString problem = programs::addressProblem(address, programs::Passwords::Nowhere);
        if (!problem.isEmpty()) {
            programs::complain(QGuiApplication::translate("main", "cannot use '%1': %2")
                                   .arg(programs::shownAddress(address), problem));
            return std::nullopt;
        }
    }
    return addresses;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication::setApplicationName(QStringLiteral("telemetry"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TELEMETRY_VERSION));
    programs::hideSecretsInLog();

    Screenshot screenshot;
    CommandLine commandLine(screenshot);
    if (programs::answeredWithoutDisplay(commandLine.parser, argc, argv))
        return EXIT_SUCCESS;
    const QGuiApplication application(argc, argv);
    if (!programs::parseArguments(commandLine.parser))
        return programs::badUsage;
    const std::optional<QStringList> addresses = commandLine.addresses();
    if (!addresses)
        return programs::badUsage;
    if (const int exitCode = screenshot.prepare(commandLine.parser))
        return exitCode;

    // The transport logs each command at debug level. QT_LOGGING_RULES can enable this again.
    QLoggingCategory::setFilterRules(
        QStringLiteral("pellixclient.keyword.websocketclient.debug=false"));
    useSteadyFonts();

    // The client must outlive the engine, whose proxies refer to it.
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
