// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/common/address.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QUrl>

namespace programs {

namespace {

// The text is also shown in windows, so it is translated.
struct Text
{
    Q_DECLARE_TR_FUNCTIONS(programs)
};

} // namespace

QString addressProblem(const QString &text, Passwords passwords)
{
    const QUrl url(text, QUrl::StrictMode);
    const bool isWebSocket =
        url.scheme() == QLatin1String("ws") || url.scheme() == QLatin1String("wss");
    if (!url.isValid() || !isWebSocket || url.host().isEmpty())
        return Text::tr("not a WebSocket address such as ws://host:port");
    if (passwords == Passwords::Encrypted) {
        const bool tells = !url.userName().isEmpty() || !url.password().isEmpty();
        if (tells && url.scheme() == QLatin1String("ws"))
            return Text::tr(
                "user and password are not sent over ws://, which is not encrypted; use wss://");
        return QString();
    }
    if (!url.password().isEmpty())
        return Text::tr("an address cannot contain a password: it would not be sent to the "
                        "server. Use a token in the address if the server accepts it");
    return QString();
}

} // namespace programs
