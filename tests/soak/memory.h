// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QtGlobal>

// The memory that this process uses, in bytes.
struct Memory
{
    qint64 resident = 0; // pages in RAM, as counted by the system
    qint64 heap = 0; // allocated and not freed

    static Memory now();
};
