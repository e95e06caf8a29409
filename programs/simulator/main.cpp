// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/connection/pemfiles.h"
#include "programs/common/interrupt.h"
#include "server/keywordserver.h"
#include "simulator/faultkeywords.h"
#include "simulator/faultywebsocketserver.h"
#include "simulator/jsonscene.h"
#include "simulator/telemetryscene.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTextStream>

#include <cstdlib>
#include <memory>
#include <vector>

using namespace pellix::server;
using namespace pellix::simulator;

namespace {

int fail(const QString &message)
{
    QTextStream(stderr) << QCoreApplication::applicationName() << ": " << message << Qt::endl;
    return EXIT_FAILURE;
}

// Returns the file of a scene. A plain name that is not a file in the current folder refers to a
// scene installed with the program.
QString sceneFile(const QString &name)
{
    if (QFile::exists(name) || QDir::fromNativeSeparators(name).contains(QLatin1Char('/')))
        return name;
    const QDir scenes(QCoreApplication::applicationDirPath() + QLatin1String("/" PELLIX_SCENES));
    return scenes.exists(name) ? QDir::cleanPath(scenes.filePath(name)) : name;
}

QHostAddress toAddress(const QString &text)
{
    return text == QLatin1String("localhost") ? QHostAddress(QHostAddress::LocalHost)
                                              : QHostAddress(text);
}

QString addressesOf(const FaultyWebSocketServer &server)
{
    QStringList addresses;
    for (const QUrl &url : server.urls())
        addresses.append(url.toString());
    return addresses.join(QLatin1String(", "));
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("keyword-simulator"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PELLIX_VERSION));
    qSetMessagePattern(QStringLiteral("%{appname}: %{message}"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("A keyword server over WebSockets, for development and tests."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption portOption(
        QStringLiteral("port"),
        QStringLiteral("Listen on <port>; 0, the default, selects a free one."),
        QStringLiteral("port"), QStringLiteral("0"));
    const QCommandLineOption listenOption(QStringLiteral("listen"),
                                          QStringLiteral("Listen on the IP <address>, or on "
                                                         "localhost; 127.0.0.1 by default."),
                                          QStringLiteral("address"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption originOption(
        QStringLiteral("allow-origin"),
        QStringLiteral("Also serve web pages from <origin>, such as http://localhost:3000; may be "
                       "given several times. By default, web pages are refused."),
        QStringLiteral("origin"));
    const QCommandLineOption sceneOption(
        QStringLiteral("scene"),
        QStringLiteral("Load the scene in <file>, or an installed one by "
                       "its name; may be given several times."),
        QStringLiteral("file.json"));
    const QCommandLineOption generateOption(
        QStringLiteral("generate"),
        QStringLiteral("Declare <count> changing keywords below "
                       "/load."),
        QStringLiteral("count"));
    const QCommandLineOption telemetryOption(
        QStringLiteral("telemetry"),
        QStringLiteral("Declare keywords with the state of this machine below /machine."));
    const QCommandLineOption certificateOption(
        QStringLiteral("tls-cert"),
        QStringLiteral("Use TLS (wss) with the certificate in <file> (PEM), and its chain."),
        QStringLiteral("file"));
    const QCommandLineOption keyOption(QStringLiteral("tls-key"),
                                       QStringLiteral("The certificate's private key (PEM)."),
                                       QStringLiteral("file"));
    const QCommandLineOption faultsOption(
        QStringLiteral("faults"),
        QStringLiteral("Declare keywords below /simulator/faults that cause faults."));
    parser.addOptions({portOption, listenOption, originOption, sceneOption, generateOption,
                       telemetryOption, certificateOption, keyOption, faultsOption});
    parser.process(application);
    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("unexpected argument: ")
                    + parser.positionalArguments().constFirst());

    bool isNumber = false;
    const ushort port = parser.value(portOption).toUShort(&isNumber);
    if (!isNumber)
        return fail(QStringLiteral("--port: not a port number: ") + parser.value(portOption));
    const QHostAddress address = toAddress(parser.value(listenOption));
    if (address.isNull()) {
        return fail(QStringLiteral("--listen: neither an IP address nor localhost: ")
                    + parser.value(listenOption));
    }
    for (const QString &origin : parser.values(originOption)) {
        if (!FaultyWebSocketServer::isOrigin(origin)) {
            return fail(QStringLiteral("--allow-origin: not an origin such as "
                                       "http://localhost:3000: ")
                        + origin);
        }
    }
    if (parser.isSet(certificateOption) != parser.isSet(keyOption))
        return fail(QStringLiteral("--tls-cert and --tls-key must be used together"));

    KeywordServer server;
    std::vector<std::unique_ptr<JsonScene>> scenes;
    QString error;
    for (const QString &fileName : parser.values(sceneOption)) {
        scenes.push_back(std::make_unique<JsonScene>(&server));
        if (!scenes.back()->load(sceneFile(fileName), &error))
            return fail(error);
    }
    if (parser.isSet(generateOption)) {
        scenes.push_back(std::make_unique<JsonScene>(&server));
        const QByteArray json =
            "{\"generate\": {\"count\": " + parser.value(generateOption).toUtf8()
            + ", \"animator\": {\"kind\": \"sine\", \"period\": 60}}}";
        if (!scenes.back()->loadData(json, QStringLiteral("--generate"), &error))
            return fail(error);
    }
    TelemetryScene telemetry(&server);
    FaultyWebSocketServer socketServer(&server);
    const auto startScenes = [&] {
        for (const auto &scene : scenes)
            scene->start();
        if (parser.isSet(telemetryOption))
            telemetry.start();
        if (parser.isSet(faultsOption))
            declareFaultKeywords(&server, &socketServer);
    };
    QObject::connect(&socketServer, &FaultyWebSocketServer::restarted, &socketServer, startScenes);
    startScenes();

    if (parser.isSet(certificateOption)) {
        const auto certificates =
            pellix::extras::readCertificates(parser.value(certificateOption), &error);
        const auto key = certificates.isEmpty()
            ? QSslKey()
            : pellix::extras::readPrivateKey(parser.value(keyOption), &error);
        if (key.isNull())
            return fail(error);
        if (!socketServer.setTls(certificates, key)) {
            return fail(QStringLiteral("%1, %2: %3")
                            .arg(parser.value(certificateOption), parser.value(keyOption),
                                 socketServer.errorString()));
        }
    }
    // This server is for development: on all addresses, every client has full rights.
    ClientIdentification everybody;
    everybody.role = ClientIdentification::fullRights;
    socketServer.setIdentification(everybody);
    socketServer.setUnencryptedAllowed(true);
    socketServer.setAllowedOrigins(parser.values(originOption));
    if (!socketServer.listen(address, port)) {
        return fail(QStringLiteral("cannot listen on %1 port %2: %3")
                        .arg(address.toString())
                        .arg(port)
                        .arg(socketServer.errorString()));
    }
    programs::onInterrupt(&QCoreApplication::quit);
    QTextStream(stdout) << "listening on " << addressesOf(socketServer) << ", "
                        << server.keywordCount() << " keywords" << Qt::endl;
    return QCoreApplication::exec();
}
