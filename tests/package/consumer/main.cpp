// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "client/keywordclient.h"
#include "client/keywordtypes.h"
#include "client/websocketkeywordclient.h"
#include "models/keywordpathmodel.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"
#include "module/pellixclientkeywordmodule.h"
#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"

#include <cstdio>

using namespace pellix::client;

int main()
{
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    PInProcessKeywordClient client;
    QByteArray sent;
    QObject::connect(&client, &PInProcessKeywordClient::sendToServer, &client,
                     [&](const QByteArray &command) { sent = command; });
    int value = 0;
    {
        PKeywordProxy proxy;
        proxy.setKeywordExpression(new PKeywordExpression(QStringLiteral("/a"), &proxy));
        proxy.setClient(&client);
        client.receiveFromServer(R"({"cmd":"keyEvent","payload":{"keyword":"/a","value":42}})");
        value = proxy.value().toInt();
    }
    std::printf("sent %s, received %d\n", sent.contains("keyDestroy") ? "keyDestroy" : "nothing",
                value);
    return 0;
}
