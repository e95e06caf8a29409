// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/support/socketclient.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QStringList>

// The warnings of the WebSocket client's category, kept in place of failing the test. Whoever
// installs recordWarnings() as the message handler keeps the one before it here, and installs it
// again.
inline QStringList warnings;
inline QtMessageHandler previousHandler = nullptr;

inline void recordWarnings(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (QLatin1String(context.category) != QLatin1String(CLIENT_CATEGORY))
        previousHandler(type, context, text);
    else if (type == QtWarningMsg)
        warnings << text;
}
