// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordclient.h"
#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"

#include <QtCore/QPointer>

#include <array>
#include <functional>
#include <memory>

/*
    One object of each kind that an application uses, connected to each other and to a live server.
    A test can destroy them in any order.

    The parts do not own each other. Parts that have been destroyed are skipped by play() and by the
    destructor, as in an application with guarded pointers.
*/
class TeardownScene
{
public:
    enum Part {
        Client,
        Publisher, // a separate one; the publisher of Client is owned by Client
        Subscriber, // of Publisher
        ClientSubscriber, // of the client's publisher
        PlainProxy,
        ExpressionProxy, // bound by Expression
        Expression,
        QueryModel,
        FilterModel, // on QueryModel
        PathModel,
        View, // shows all of them
        Engine, // of View
        PartCount
    };
    enum class Transport {
        InProcess,
        WebSocket
    };
    enum class Screen {
        Without,
        With
    };

    // The servers are reused from scene to scene.
    struct Servers
    {
        Servers();
        void reset(); // sets the initial values of each scene

        pellix::server::KeywordServer keywords;
        pellix::simulator::FaultyWebSocketServer sockets {&keywords};
    };

    TeardownScene(Servers &servers, Transport transport, Screen screen);
    TeardownScene(const TeardownScene &) = delete;
    TeardownScene &operator=(const TeardownScene &) = delete;
    ~TeardownScene();

    static const char *name(Part part);
    static QList<Part> parts(Screen screen);

    QObject *part(Part part) const { return objects[part].data(); }
    void destroy(Part part);

    void start(); // connects the parts, and connects to the server
    bool isLive() const; // whether the server's values have reached every part
    void waitUntilLive();
    void play(); // every operation and every kind of event, once

    // Waits until all pending events have arrived.
    static void settle(Transport transport);

private:
    template <typename Type> Type *get(Part part) const
    {
        return static_cast<Type *>(objects[part].data());
    }
    template <typename Type> void on(Part part, const std::function<void(Type *)> &operation);
    void connectSocket(const QStringList &urls);
    void showScreen();

    Servers &servers;
    const Transport transport;
    std::array<QPointer<QObject>, PartCount> objects;
    std::array<bool, PartCount> destroyed {}; // or being destroyed
};
