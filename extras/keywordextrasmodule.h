// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/extrasglobal.h"

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_QUICK_EXPORT KeywordExtrasModule
{
public:
    static void registerTypes();
};

} // namespace pellix::extras
