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
    One object of each kind that an application works with, tied to one another and to a live
    server, to be destroyed in whatever order a test likes.

    The parts own nothing of each other. Whoever has been destroyed is skipped by play() and by the
    destructor, as an application that keeps guarded pointers would.
*/
class TeardownScene
{
public:
    enum Part {
        Client,
        Publisher, // one of its own: the client's belongs to the client
        Subscriber, // of Publisher
        ClientSubscriber, // of the client's publisher
        PlainProxy,
        ExpressionProxy, // bound by Expression
        Expression,
        QueryModel,
        FilterModel, // over QueryModel
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

    // The servers live on from scene to scene.
    struct Servers
    {
        Servers();
        void reset(); // to the values that each scene starts with

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

    void start(); // ties the parts together and connects
    bool isLive() const; // whether the server's values have reached every part
    void waitUntilLive();
    void play(); // every operation and every kind of event, once

    // Lets everything that is under way arrive.
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
    std::array<bool, PartCount> destroyed {}; // or on the way there
};
