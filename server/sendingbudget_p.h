// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QtGlobal>

namespace pellix::server {

// What waits for all clients of a server together.
struct SendingBudget
{
    qint64 waiting = 0; // bytes
    quint64 pauses = 0; // of sessions, because there are too many
};

} // namespace pellix::server
