// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/configuration.h"

// The source types that this program supports.
const pellix::gateway::SourceTypes &sourceTypes();
