// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordglobal.h"

namespace pellix::client {

// Has the engine register the types of "PellixClient.Keyword" when something imports that module
// for the first time. For the plugin, which Qt refuses if it registers types while it is being
// loaded. Does nothing where PellixClientKeywordModule::registerTypes() has registered that module.
PELLIXCLIENT_KEYWORD_EXPORT void registerTypesOnImport();

} // namespace pellix::client
