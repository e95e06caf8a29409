// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/support/socketclient.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QStringList>

// The warnings in the category of the WebSocket client, which are recorded instead of failing the
// test. A test that installs recordWarnings() as the message handler stores the previous handler
// here, and restores it.
inline QStringList warnings;
inline QtMessageHandler previousHandler = nullptr;

inline void recordWarnings(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (QLatin1String(context.category) != QLatin1String(CLIENT_CATEGORY))
        previousHandler(type, context, text);
    else if (type == QtWarningMsg)
        warnings << text;
}
