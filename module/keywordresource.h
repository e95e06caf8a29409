// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordglobal.h"

namespace pellix::client {

PELLIXCLIENT_KEYWORD_EXPORT void initKeywordResource();

} // namespace pellix::client
