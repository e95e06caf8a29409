// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QtGlobal>

// What this process uses now, in bytes.
struct Memory
{
    qint64 resident = 0; // pages in RAM, as the system counts them
    qint64 heap = 0; // allocated and not freed

    static Memory now();
};
