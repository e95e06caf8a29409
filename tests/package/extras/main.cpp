// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "extras/history/keywordhistories.h"
#include "extras/keywordextrasmodule.h"
#include "extras/plot/keywordplotarea.h"
#include "extras/tables/keywordalarms.h"
#include "extras/writing/keywordwrite.h"
#include "module/pellixclientkeywordmodule.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"

#include <QtCore/QTimer>
#include <QtGui/QGuiApplication>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>

using namespace pellix::client;
using namespace pellix::extras;
using namespace pellix::server;

// Writes a keyword from QML and plots it. Prints the results.
int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    KeywordServer server;
    server.declare(
        {QStringLiteral("/a"), QStringLiteral("int"), QStringLiteral("RW"), QString(), 1});
    PInProcessKeywordClient client;
    linkInProcess(&server, &client);

    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    KeywordExtrasModule::registerTypes();
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData(R"(
        import QtQuick
        import PellixClient.Keyword
        import PellixClient.Keyword.Extras

        PKeywordPlot {
            id: root

            required property PKeywordClient client
            readonly property PKeywordWrite write: PKeywordWrite {
                client: root.client
                keyword: "/a"
            }
            readonly property PKeywordAlarms alarms: PKeywordAlarms {
                client: root.client
                PKeywordAlarm { keyword: "/a"; above: 40 }
            }

            width: 320
            height: 240
            histories: PKeywordHistories {
                client: root.client
                keywords: ["/a"]
            }
        })",
                      QUrl());
    const std::unique_ptr<QObject> plot(component.createWithInitialProperties(
        {{QStringLiteral("client"), QVariant::fromValue<PKeywordClient *>(&client)}}));
    if (!plot || !plot->findChild<PKeywordPlotArea *>()) {
        std::fprintf(stderr, "%s\n", qPrintable(component.errorString()));
        return EXIT_FAILURE;
    }
    auto *const write = plot->property("write").value<PKeywordWrite *>();
    auto *const alarms = plot->property("alarms").value<PKeywordAlarms *>();
    const auto *const histories = plot->property("histories").value<PKeywordHistories *>();
    const auto tell = [write, alarms, histories] {
        if (write->isPending() || alarms->count() == 0)
            return;
        const bool isTaken = write->state() == PKeywordWrite::Taken;
        std::printf("%s, the last value is %d, %d alarm\n", isTaken ? "taken" : "not taken",
                    histories->at(0)->lastValue().toInt(), alarms->count());
        QCoreApplication::exit(isTaken ? EXIT_SUCCESS : EXIT_FAILURE);
    };
    QObject::connect(write, &PKeywordWrite::finished, &application, tell, Qt::QueuedConnection);
    QObject::connect(alarms, &PKeywordAlarms::countChanged, &application, tell,
                     Qt::QueuedConnection);
    QTimer::singleShot(std::chrono::minutes(1), &application, [] {
        std::fprintf(stderr, "no outcome, or no alarm\n");
        QCoreApplication::exit(EXIT_FAILURE);
    });
    QTimer::singleShot(0, write, [write] { write->set(42); });
    return QGuiApplication::exec();
}
