// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/common/address.h"

#include <QtCore/QUrl>

namespace programs {

QString addressProblem(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    const bool isWebSocket =
        url.scheme() == QLatin1String("ws") || url.scheme() == QLatin1String("wss");
    if (!url.isValid() || !isWebSocket || url.host().isEmpty())
        return QStringLiteral("not a WebSocket address such as ws://host:port");
    if (!url.password().isEmpty())
        return QStringLiteral("an address cannot carry a password: it would not be sent to the "
                              "server. Use a token that the server takes in the address");
    return QString();
}

} // namespace programs
