// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/sourcetype.h"

namespace pellix::gateway {

SourceSettings::~SourceSettings() = default;

SourceType::~SourceType() = default;

} // namespace pellix::gateway
