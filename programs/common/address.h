// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/connection/shownaddress.h"

#include <QtCore/QString>

// The addresses of keyword servers, as people give them to a program: ws://host:port or
// wss://host:port.
namespace programs {

// Where an address may carry a user and a password: for PKeywordConnection, which sends them over
// wss:// alone; nowhere for PWebSocketKeywordClient, since Qt's WebSockets send none before Qt 6.5,
// and the server would be asked without them.
enum class Passwords {
    Encrypted,
    Nowhere
};

// Why the text is no address that a program can use, as the end of a message that names the
// address before it; empty if it is one.
QString addressProblem(const QString &text, Passwords passwords = Passwords::Encrypted);

using pellix::extras::shownAddress;
using pellix::extras::withoutSecrets;

} // namespace programs
