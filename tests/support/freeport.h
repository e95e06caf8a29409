// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QtGlobal>

// Returns a TCP port of 127.0.0.1 that is not in use, for a program that is about to listen on it.
// No other call returns the same port while this process runs, neither here nor in another test,
// and the system does not assign it to clients or to servers that listen on any port.
quint16 freePort();
