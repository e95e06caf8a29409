// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/connection/shownaddress.h"

#include <QtCore/QString>

// The addresses of keyword servers, as entered by users: ws://host:port or wss://host:port.
namespace programs {

// Whether an address may contain a user name and a password. For PKeywordConnection, it may if it
// is a wss:// address. For PWebSocketKeywordClient, it may not: before Qt 6.5, Qt WebSockets does
// not send them, and would connect without them.
enum class Passwords {
    Encrypted,
    Nowhere
};

// Returns why a program cannot use the address, as the end of a message that begins with the
// address; or an empty string if it can.
QString addressProblem(const QString &text, Passwords passwords = Passwords::Encrypted);

using pellix::extras::shownAddress;
using pellix::extras::withoutSecrets;

} // namespace programs
