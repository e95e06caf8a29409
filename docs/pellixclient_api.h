// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// What QDoc reads as the public interface.

#pragma once

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "client/keywordclient.h"
#include "client/websocketkeywordclient.h"
#include "extras/browsing/keywordchildren.h"
#include "extras/browsing/keywordtree.h"
#include "extras/browsing/naturalorder.h"
#include "extras/keywordextrasmodule.h"
#include "models/keywordpathmodel.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"
#include "module/pellixclientkeywordmodule.h"
#include "pubsub/publisher.h"
#include "pubsub/subscriber.h"
#include "server/accesstokens.h"
#include "server/clientidentification.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"
#include "server/keywordsession.h"
#include "server/limits.h"
#include "server/peer.h"
#include "server/role.h"
#include "server/statistics.h"
#include "server/websocketkeywordserver.h"
#include "server/writerequest.h"
#include "simulator/faultkeywords.h"
#include "simulator/faultywebsocketserver.h"
#include "simulator/jsonscene.h"
#include "simulator/telemetryscene.h"
