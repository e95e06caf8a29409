// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QtGlobal>

#if defined(PELLIXCLIENT_STATIC)
#define PELLIXCLIENT_EXTRAS_EXPORT
#elif defined(pellixclient_keyword_extras_core_EXPORTS)
#define PELLIXCLIENT_EXTRAS_EXPORT Q_DECL_EXPORT
#else
#define PELLIXCLIENT_EXTRAS_EXPORT Q_DECL_IMPORT
#endif

#if defined(PELLIXCLIENT_STATIC)
#define PELLIXCLIENT_EXTRAS_QUICK_EXPORT
#elif defined(pellixclient_keyword_extras_EXPORTS)
#define PELLIXCLIENT_EXTRAS_QUICK_EXPORT Q_DECL_EXPORT
#else
#define PELLIXCLIENT_EXTRAS_QUICK_EXPORT Q_DECL_IMPORT
#endif
