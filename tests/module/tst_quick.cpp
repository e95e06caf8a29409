// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "module/pellixclientkeywordmodule.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"

#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQuickTest/quicktest.h>

using namespace pellix::client;
using namespace pellix::server;

// The environment of the QML tests: a keyword server, and a client that is connected to it.
class Setup : public QObject
{
    Q_OBJECT

public:
    Setup()
    {
        server.declare({QStringLiteral("/plant/level"), QStringLiteral("double"),
                        QStringLiteral("RW"), QStringLiteral("Level"), 41.5});
        server.declare({QStringLiteral("/plant/on"), QStringLiteral("bool"), QStringLiteral("RW"),
                        QString(), false});
        server.declare({QStringLiteral("/plant/serial"), QStringLiteral("string"),
                        QStringLiteral("R"), QString(), QStringLiteral("A-7")});
        linkInProcess(&server, &client);
    }

public Q_SLOTS:
    void applicationAvailable()
    {
        PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    }
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        engine->rootContext()->setContextProperty(QStringLiteral("keywordClient"), &client);
    }

private:
    KeywordServer server;
    PInProcessKeywordClient client;
};

QUICK_TEST_MAIN_WITH_SETUP(quick, Setup)
#include "tst_quick.moc"
