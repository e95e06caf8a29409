// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QWebSocket;
QT_END_NAMESPACE

// Why there is no connection, in words.
namespace pellix::extras {

// How the server closed the connection, by the number and the text that it gave.
QString closeReason(const QWebSocket *socket);

// What the socket says of its error.
QString errorReason(const QWebSocket *socket);

// What did not come in time while the connection was made.
QString timeoutReason(const QWebSocket *socket, int milliseconds);

} // namespace pellix::extras
