// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/gateway.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>

namespace pellix::gateway {

// Metrics of the sources and of the process, in the text format of Prometheus, version 0.0.4.
QByteArray sourceMetrics(const QList<Gateway::SourceStatus> &sources);
QByteArray processMetrics();

} // namespace pellix::gateway
