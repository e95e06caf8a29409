// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "examples/mqttplant/plantlink.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QUrl>

#include <csignal>
#include <cstdio>

namespace {

std::atomic<bool> isEnding {false};

void endSoon(int)
{
    isEnding = true;
}

int refuse(const QString &text)
{
    std::fprintf(stderr, "mqtt-plant: %s\n", qUtf8Printable(text));
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Simulates a small plant that publishes to an MQTT broker and accepts "
                       "commands from it."));
    parser.addHelpOption();
    const QCommandLineOption url(
        QStringLiteral("url"), QStringLiteral("Connect to the broker at this address."),
        QStringLiteral("address"), QStringLiteral("mqtt://127.0.0.1:1883"));
    const QCommandLineOption period(
        QStringLiteral("period"),
        QStringLiteral("The time for which the scale and the heater are available, and then "
                       "unavailable, alternately."),
        QStringLiteral("seconds"), QStringLiteral("20"));
    parser.addOptions({url, period});
    parser.process(application);

    const QUrl address(parser.value(url));
    if (address.scheme() != QLatin1String("mqtt") || address.host().isEmpty())
        return refuse(
            QStringLiteral("'%1' is not the address of a broker, such as mqtt://127.0.0.1:1883")
                .arg(parser.value(url)));
    const double seconds = parser.value(period).toDouble();
    if (!(seconds >= 0.1 && seconds <= 3600))
        return refuse(
            QStringLiteral("--period must be a number of seconds from 0.1 to 3600, not '%1'")
                .arg(parser.value(period)));
    if (!parser.positionalArguments().isEmpty())
        return refuse(QStringLiteral("arguments other than options are not allowed"));

    std::signal(SIGINT, endSoon);
    std::signal(SIGTERM, endSoon);
    PlantLink link(address.host().toUtf8(), address.port(1883),
                   std::chrono::milliseconds(qint64(seconds * 1000)));
    link.run(isEnding);
    return 0;
}
