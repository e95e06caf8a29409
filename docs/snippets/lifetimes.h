// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"

#include <memory>

// The server and the client of a program, in one process.
//! [plant]
struct Plant
{
    pellix::server::KeywordServer server; // destroyed last
    std::unique_ptr<pellix::client::PInProcessKeywordClient> client =
        std::make_unique<pellix::client::PInProcessKeywordClient>();
    pellix::client::PKeywordExpression expression {QStringLiteral("/plant/name")};
    pellix::client::PKeywordProxy name; // destroyed first: it refers to the others

    Plant()
    {
        pellix::server::linkInProcess(&server, client.get());
        name.setClient(client.get());
        name.setKeywordExpression(&expression);
    }
};
//! [plant]
