// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QtGlobal>

#if defined(PELLIXCLIENT_STATIC)
#define PELLIXCLIENT_SERVER_EXPORT
#elif defined(pellixclient_server_EXPORTS)
#define PELLIXCLIENT_SERVER_EXPORT Q_DECL_EXPORT
#else
#define PELLIXCLIENT_SERVER_EXPORT Q_DECL_IMPORT
#endif
