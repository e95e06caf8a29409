// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "livereport.h"

#include "client/inprocesskeywordclient.h"
#include "client/websocketkeywordclient.h"
#include "module/pellixclientkeywordmodule.h"
#include "simulator/inprocesslink.h"
#include "simulator/keywordserver.h"
#include "simulator/telemetryscene.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QLoggingCategory>
#include <QtCore/QSaveFile>
#include <QtCore/QTextStream>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtGui/QFont>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <QtQml/QQmlApplicationEngine>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQuick/QQuickWindow>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>

using namespace pellix::client;
using namespace pellix::simulator;

namespace {

struct Options
{
    QStringList urls;
    QString screenshot; // empty: run until the window is closed
    std::chrono::milliseconds duration {};
};

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

bool isWebSocketAddress(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    const bool webSocket =
        url.scheme() == QLatin1String("ws") || url.scheme() == QLatin1String("wss");
    return url.isValid() && webSocket && !url.host().isEmpty();
}

void complain(const QString &message)
{
    QTextStream(stderr) << QCoreApplication::applicationName() << ": " << message << Qt::endl;
}

// The options, or nothing after a message about what is wrong with them.
std::optional<Options> parseOptions(const QGuiApplication &application)
{
    const QCommandLineOption url(
        QStringLiteral("url"),
        QGuiApplication::translate("main",
                                   "Watch the keyword server at this WebSocket <address>, "
                                   "such as ws://host:port. Given again: the next choice."),
        QStringLiteral("address"));
    const QCommandLineOption screenshot(
        QStringLiteral("screenshot"),
        QGuiApplication::translate("main",
                                   "Save a picture of the window as the PNG <file> and print "
                                   "the values shown, then exit."),
        QStringLiteral("file"));
    const QCommandLineOption duration(
        QStringLiteral("duration"),
        QGuiApplication::translate("main",
                                   "The time before the screenshot in <seconds>, 5 if not "
                                   "given."),
        QStringLiteral("seconds"), QStringLiteral("5"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QGuiApplication::translate(
        "main", "Shows the live values of a machine: of this one, or of a keyword server."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({url, screenshot, duration});
    parser.process(application); // exits with a message at an unknown option

    if (!parser.positionalArguments().isEmpty()) {
        complain(QGuiApplication::translate("main", "unexpected argument '%1'")
                     .arg(parser.positionalArguments().constFirst()));
        return std::nullopt;
    }
    Options options;
    options.urls = parser.values(url);
    for (const QString &address : std::as_const(options.urls)) {
        if (!isWebSocketAddress(address)) {
            complain(QGuiApplication::translate(
                         "main", "'%1' is no WebSocket address: ws://host:port is expected")
                         .arg(address));
            return std::nullopt;
        }
    }
    options.screenshot = parser.value(screenshot);
    if (parser.isSet(screenshot) && options.screenshot.isEmpty()) {
        complain(QGuiApplication::translate("main", "--screenshot needs a file name"));
        return std::nullopt;
    }
    if (parser.isSet(duration) && !parser.isSet(screenshot)) {
        complain(QGuiApplication::translate("main", "--duration goes with --screenshot only"));
        return std::nullopt;
    }
    bool isNumber = false;
    const double seconds = parser.value(duration).toDouble(&isNumber);
    constexpr double longest = 24 * 60 * 60;
    if (!isNumber || !(seconds > 0 && seconds <= longest)) {
        complain(QGuiApplication::translate("main", "'%1' is no duration in seconds")
                     .arg(parser.value(duration)));
        return std::nullopt;
    }
    options.duration = std::chrono::milliseconds(qRound64(seconds * 1000));
    return options;
}

// Prints what the window shows and saves its picture. Returns the exit code of the program.
int takeScreenshot(QQuickWindow &window, QSaveFile &file)
{
    QTextStream out(stdout);
    const LiveValues values = liveValues(window);
    for (const QString &line : reportLines(values))
        out << line << '\n';

    if (!window.grabWindow().save(&file, "PNG") || !file.commit()) {
        complain(QGuiApplication::translate("main", "cannot write '%1': %2")
                     .arg(file.fileName(), file.errorString()));
        return EXIT_FAILURE;
    }
    out << QGuiApplication::translate("main", "Saved %1").arg(file.fileName()) << Qt::endl;

    if (values.empty()) {
        complain(QGuiApplication::translate("main", "not a single value is known"));
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

// The components of the keyword library look for an object "theme" in their context.
std::unique_ptr<QObject> createThemeHolder(QQmlEngine &engine)
{
    QQmlComponent component(&engine);
    component.setData("import QtQml\nimport PellixClient.Control\n"
                      "QtObject { readonly property QtObject theme: Theme }",
                      QUrl());
    return std::unique_ptr<QObject>(component.create());
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("telemetry"));
    QGuiApplication::setApplicationVersion(QStringLiteral(TELEMETRY_VERSION));
    const std::optional<Options> options = parseOptions(application);
    if (!options)
        return EXIT_FAILURE;

    // The transport tells each command at debug level. QT_LOGGING_RULES brings that back.
    QLoggingCategory::setFilterRules(
        QStringLiteral("pellixclient.keyword.websocketclient.debug=false"));

    // Opened at once, so that a bad name is reported before the duration and not after it.
    QSaveFile picture(options->screenshot);
    if (!options->screenshot.isEmpty() && !picture.open(QIODevice::WriteOnly)) {
        complain(QGuiApplication::translate("main", "cannot write '%1': %2")
                     .arg(picture.fileName(), picture.errorString()));
        return EXIT_FAILURE;
    }

    // Fonts whose digits all have one width: numbers do not jump when they change.
    QFont font;
    font.setFamilies({QStringLiteral("DejaVu Sans"), QStringLiteral("Noto Sans"), font.family()});
    QGuiApplication::setFont(font);

    // The client outlives the engine, whose proxies point to it.
    std::unique_ptr<InProcess> inProcess;
    std::unique_ptr<PWebSocketKeywordClient> webSocket;
    PKeywordClient *client = nullptr;
    if (options->urls.isEmpty()) {
        inProcess = std::make_unique<InProcess>();
        client = &inProcess->client;
    } else {
        webSocket = std::make_unique<PWebSocketKeywordClient>();
        webSocket->setAutoReconnect(true);
        webSocket->setUrls(options->urls);
        client = webSocket.get();
    }

    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    const std::unique_ptr<QObject> themeHolder = createThemeHolder(engine);
    if (!themeHolder)
        return EXIT_FAILURE;
    engine.rootContext()->setContextProperty(QStringLiteral("theme"),
                                             themeHolder->property("theme").value<QObject *>());
    engine.setInitialProperties({{QStringLiteral("client"), QVariant::fromValue(client)}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Telemetry/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return EXIT_FAILURE;

    if (!options->screenshot.isEmpty()) {
        auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().constFirst());
        QTimer::singleShot(options->duration, window, [window, &picture] {
            QCoreApplication::exit(takeScreenshot(*window, picture));
        });
    }
    return QGuiApplication::exec();
}
