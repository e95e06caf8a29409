// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "examples/common/address.h"

#include <QtCore/QUrl>

bool isWebSocketAddress(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    const bool webSocket =
        url.scheme() == QLatin1String("ws") || url.scheme() == QLatin1String("wss");
    return url.isValid() && webSocket && !url.host().isEmpty();
}
