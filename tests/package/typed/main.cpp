// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gauge.h" // by qmltc

#include "client/inprocesskeywordclient.h"
#include "module/pellixclientkeywordmodule.h"

#include <QtGui/QGuiApplication>
#include <QtQml/QQmlEngine>

#include <cstdio>

using namespace pellix::client;

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    PInProcessKeywordClient client;
    QQmlEngine engine;
    Typed::Gauge gauge(&engine);
    gauge.setClient(&client);
    for (const char *event :
         {R"({"cmd":"keyEvent","payload":{"keyword":"/level","type":"int","value":42}})",
          R"({"cmd":"keyEvent","payload":{"keyword":"/setpoint","value":1200}})"})
        client.receiveFromServer(event);
    QQmlListProperty<QObject> others = gauge.others();
    std::printf("%s, %s, after %d change\n", qPrintable(gauge.text()),
                gauge.isInt() ? "an int" : "no int", gauge.changes());
    std::printf("%s = %d, and %d others\n", qPrintable(gauge.setpoint()->keyword()),
                gauge.setpointNumber(), int(others.count(&others)));
    return 0;
}
