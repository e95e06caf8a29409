// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Builds a live scene and exits with it, in the way given by the first argument. With "qt" as the
// second argument, there are only Qt objects, so that warnings of Qt itself can be determined.

#include "module/pellixclientkeywordmodule.h"
#include "tests/scenarios/teardownscene.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QTimer>
#include <QtGui/QGuiApplication>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickView>

#include <cstdlib>

using namespace pellix::client;

namespace {

// Alive and reachable when the process exits, so not a leak.
TeardownScene::Servers *servers = nullptr;
TeardownScene *scene = nullptr;

// Destroyed when the process exits, after the application object.
std::unique_ptr<TeardownScene::Servers> lateServers;
std::unique_ptr<TeardownScene> lateScene;

// The same without this library: a timer and a screen.
struct TimedObject : QObject
{
    TimedObject()
    {
        timer.start(1000);
        startTimer(1000);
    }
    QTimer timer;
};
std::unique_ptr<TimedObject> lateTimers;

QQuickView *plainScreen()
{
    auto *const engine = new QQmlEngine;
    auto *const view = new QQuickView(engine, nullptr);
    QQmlComponent component(engine);
    component.setData("import QtQuick\nItem { Text { text: \"plain\" } }", QUrl());
    view->setContent(QUrl(), nullptr, component.create());
    view->show();
    return view;
}

} // namespace

int main(int argc, char **argv)
{
    QLoggingCategory::setFilterRules(
        QStringLiteral("pellixclient.keyword.websocketclient.debug=false"));
    const QGuiApplication app(argc, argv);
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");

    const QByteArray way = argc > 1 ? argv[1] : "";
    if (argc > 2 && QByteArray(argv[2]) == "qt") {
        if (way == "static") {
            lateTimers = std::make_unique<TimedObject>();
            return 0;
        }
        const auto *const view = plainScreen();
        QObject::connect(view, &QQuickWindow::frameSwapped, &app, [] { std::exit(0); });
        return QCoreApplication::exec();
    }
    const auto transport = argc > 2 && QByteArray(argv[2]) == "websocket"
        ? TeardownScene::Transport::WebSocket
        : TeardownScene::Transport::InProcess;
    const auto live = [transport](TeardownScene::Servers *servers, TeardownScene::Screen screen) {
        auto scene = std::make_unique<TeardownScene>(*servers, transport, screen);
        scene->start();
        scene->waitUntilLive();
        if (!scene->isLive())
            qFatal("the scene is not live");
        return scene;
    };

    if (way == "stack") {
        TeardownScene::Servers servers;
        const auto scene = live(&servers, TeardownScene::Screen::With);
        QTimer::singleShot(0, &app, &QCoreApplication::quit);
        return QCoreApplication::exec();
    }
    if (way == "static") {
        // Without a screen, because Qt Quick must not outlive the application object.
        lateServers = std::make_unique<TeardownScene::Servers>();
        lateScene = live(lateServers.get(), TeardownScene::Screen::Without);
        return 0;
    }
    servers = new TeardownScene::Servers;
    scene =
        live(servers,
             way == "left unseen" ? TeardownScene::Screen::Without : TeardownScene::Screen::With)
            .release();
    if (way == "left" || way == "left unseen") {
        QTimer::singleShot(0, &app, &QCoreApplication::quit);
        return QCoreApplication::exec();
    }
    if (way == "exit") {
        QTimer::singleShot(0, &app, [] { std::exit(0); });
        return QCoreApplication::exec();
    }
    if (way == "handler") {
        QObject::connect(&servers->keywords, &pellix::server::KeywordServer::valueWritten, &app,
                         [] { std::exit(0); });
        for (;;)
            scene->play();
    }
    return 2;
}
