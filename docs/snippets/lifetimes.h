// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"

#include <memory>

// What a program holds that has everything in one process.
//! [plant]
struct Plant
{
    pellix::server::KeywordServer server; // goes last
    std::unique_ptr<pellix::client::PInProcessKeywordClient> client =
        std::make_unique<pellix::client::PInProcessKeywordClient>();
    pellix::client::PKeywordExpression expression {QStringLiteral("/plant/name")};
    pellix::client::PKeywordProxy name; // goes first: it points to the others

    Plant()
    {
        pellix::server::linkInProcess(&server, client.get());
        name.setClient(client.get());
        name.setKeywordExpression(&expression);
    }
};
//! [plant]
