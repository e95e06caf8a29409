// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QtGlobal>

#if defined(PELLIXCLIENT_STATIC)
#define PELLIXCLIENT_SIMULATOR_EXPORT
#elif defined(pellixclient_simulator_EXPORTS)
#define PELLIXCLIENT_SIMULATOR_EXPORT Q_DECL_EXPORT
#else
#define PELLIXCLIENT_SIMULATOR_EXPORT Q_DECL_IMPORT
#endif
