// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/gateway/arguments.h"

#include "programs/common/commandline.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTextStream>

#include <cstdlib>

namespace {

const QLatin1String defaultPort("8765");

bool refuse(const QString &message)
{
    programs::complain(message);
    return false;
}

QByteArray configurationOf(const QStringList &urls, const QStringList &mounts, int port)
{
    QJsonArray sources;
    for (qsizetype i = 0; i < urls.size(); ++i) {
        const QString number = urls.size() > 1 ? QString::number(i + 1) : QString();
        sources.append(QJsonObject {
            {QStringLiteral("name"), QStringLiteral("mqtt") + number},
            {QStringLiteral("mount"), mounts.value(i, QStringLiteral("/"))},
            {QStringLiteral("mqtt"), QJsonObject {{QStringLiteral("url"), urls.at(i)}}},
            {QStringLiteral("topics"), QJsonArray {QStringLiteral("#")}},
        });
    }
    const QJsonObject listener {{QStringLiteral("address"), QStringLiteral("127.0.0.1")},
                                {QStringLiteral("port"), port}};
    return QJsonDocument(QJsonObject {{QStringLiteral("listen"), QJsonArray {listener}},
                                      {QStringLiteral("sources"), sources}})
        .toJson();
}

} // namespace

bool readArguments(Arguments *arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Serves the topics of MQTT brokers as keywords, over WebSockets."));
    const QCommandLineOption help = parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption config(
        QStringLiteral("config"),
        QStringLiteral("Run with the configuration in <file>. SIGHUP reloads it."),
        QStringLiteral("file"));
    const QCommandLineOption check(
        QStringLiteral("check"),
        QStringLiteral(
            "Print the errors in the configuration <file>, run its mapping tests, and exit."),
        QStringLiteral("file"));
    const QCommandLineOption mqtt(
        QStringLiteral("mqtt"),
        QStringLiteral("Without a configuration: serve all topics of the broker at <url>, such as "
                       "mqtt://127.0.0.1, read-only. May be given several times."),
        QStringLiteral("url"));
    const QCommandLineOption mount(
        QStringLiteral("mount"),
        QStringLiteral(
            "With --mqtt: the <path> of its topics, once for each broker; / by default."),
        QStringLiteral("path"));
    const QCommandLineOption port(
        QStringLiteral("port"),
        QStringLiteral(
            "With --mqtt: listen on <port> of this machine; %1 by default. 0 selects a free one.")
            .arg(defaultPort),
        QStringLiteral("port"), defaultPort);
    const QCommandLineOption dump(
        QStringLiteral("dump"),
        QStringLiteral("With --mqtt or --config: print the resulting configuration, including the "
                       "observed topics, and exit."));
    parser.addOptions({config, check, mqtt, mount, port, dump});
    if (!parser.parse(QCoreApplication::arguments()))
        return refuse(parser.errorText());
    if (parser.isSet(help) || parser.isSet(QStringLiteral("version"))
        || parser.isSet(QStringLiteral("help-all"))) {
        parser.process(QCoreApplication::arguments());
    }
    if (!parser.positionalArguments().isEmpty())
        return refuse(QStringLiteral("unexpected argument: ")
                      + parser.positionalArguments().constFirst());
    const int sources = parser.isSet(config) + parser.isSet(check) + parser.isSet(mqtt);
    if (sources != 1)
        return refuse(QStringLiteral("use one of --config, --check, and --mqtt"));
    if (!parser.isSet(mqtt) && (parser.isSet(mount) || parser.isSet(port)))
        return refuse(QStringLiteral(
            "--mount and --port require --mqtt; with a configuration, set them there"));
    if (parser.isSet(check) && parser.isSet(dump))
        return refuse(QStringLiteral("--dump and --check cannot be used together"));

    if (parser.isSet(check))
        arguments->task = Arguments::Task::Check;
    else if (parser.isSet(dump))
        arguments->task = Arguments::Task::Dump;
    if (!parser.isSet(mqtt)) {
        arguments->file = parser.value(parser.isSet(check) ? check : config);
        return true;
    }
    bool isNumber = false;
    const ushort number = parser.value(port).toUShort(&isNumber);
    if (!isNumber)
        return refuse(QStringLiteral("--port: not a port number: ") + parser.value(port));
    const QStringList urls = parser.values(mqtt);
    const QStringList mounts = parser.values(mount);
    if (mounts.size() > urls.size() || (urls.size() > 1 && mounts.size() != urls.size()))
        return refuse(QStringLiteral("--mount must be given once for each --mqtt"));
    arguments->json = configurationOf(urls, mounts, number);
    return true;
}
