// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QWebSocket;
QT_END_NAMESPACE

// Texts that describe why there is no connection.
namespace pellix::extras {

// How the server closed the connection, with the code and the reason that it sent.
QString closeReason(const QWebSocket *socket);

// The error of the socket.
QString errorReason(const QWebSocket *socket);

// The step of the connection setup that exceeded its time limit.
QString timeoutReason(const QWebSocket *socket, int milliseconds);

} // namespace pellix::extras
