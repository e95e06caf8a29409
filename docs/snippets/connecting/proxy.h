// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

//! [proxy]
#include <QtNetwork/QNetworkProxy>

// Call it in main(), before the first client connects.
inline void useProxy(const QString &host, quint16 port)
{
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::HttpProxy, host, port));
}
//! [proxy]
