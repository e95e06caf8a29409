// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/connection/shownaddress_p.h"

#include <QtCore/QString>

// The addresses of keyword servers, as people give them to a program: ws://host:port or
// wss://host:port.
namespace programs {

// Why the text is no address that a program can use, as the end of a message that names the
// address before it; empty if it is one. An address with a password is none: Qt's WebSockets send
// no credentials from an address before Qt 6.5, and the server would be asked without them.
QString addressProblem(const QString &text);

using pellix::extras::shownAddress;
using pellix::extras::withoutSecrets;

} // namespace programs
