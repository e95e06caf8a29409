// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordglobal.h"

namespace pellix::client {

class PELLIXCLIENT_KEYWORD_EXPORT PellixClientKeywordModule
{
public:
    static void registerTypes(const char *uri);
};

} // namespace pellix::client

// Applications call this once from main(), which is rarely in a namespace.
using pellix::client::PellixClientKeywordModule;
