// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/gateway.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>

namespace pellix::gateway {

// In the text format of Prometheus, version 0.0.4: sources, and the process that serves them.
QByteArray sourceMetrics(const QList<Gateway::SourceStatus> &sources);
QByteArray processMetrics();

} // namespace pellix::gateway
