// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/configuration.h"

// Each kind of source that this program knows.
const pellix::gateway::SourceTypes &sourceTypes();
