// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/conventions/convention.h"

namespace pellix::gateway {

Convention::~Convention() = default;

} // namespace pellix::gateway
