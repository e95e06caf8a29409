// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordglobal.h"

namespace pellix::client {

// Makes the engine register the types of "PellixClient.Keyword" when that module is imported for
// the first time. For the plugin, which Qt rejects if it registers types while it is being loaded.
// Does nothing if PellixClientKeywordModule::registerTypes() has registered the module.
PELLIXCLIENT_KEYWORD_EXPORT void registerTypesOnImport();

} // namespace pellix::client
