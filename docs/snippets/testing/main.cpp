// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [program]
#include "client/inprocesskeywordclient.h"
#include "module/pellixclientkeywordmodule.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"

#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQuickTest/quicktest.h>

// The tests use this object to control the server.
class Plant : public QObject
{
    Q_OBJECT

public:
    Plant() { pellix::server::linkInProcess(&server, &client); }

    Q_INVOKABLE void setLevel(double level)
    {
        server.declare({path, QStringLiteral("double"), QStringLiteral("R"), QString(), level});
    }
    Q_INVOKABLE void removeLevel() { server.remove(path); }

    pellix::client::PInProcessKeywordClient client;

private:
    const QString path = QStringLiteral("/plant/tank1/level");
    pellix::server::KeywordServer server;
};

class Setup : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable()
    {
        PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    }
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        engine->rootContext()->setContextProperty(QStringLiteral("plant"), &plant);
        engine->rootContext()->setContextProperty(QStringLiteral("keywordClient"), &plant.client);
    }

private:
    Plant plant;
};

QUICK_TEST_MAIN_WITH_SETUP(tank, Setup)
#include "main.moc"
//! [program]
