// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

// The addresses of keyword servers, as people give them to a program: ws://host:port or
// wss://host:port.
namespace programs {

// Why the text is no address that a program can use, as the end of a message that names the
// address before it; empty if it is one. An address with a password is none: Qt's WebSockets send
// no credentials from an address before Qt 6.5, and the server would be asked without them.
QString addressProblem(const QString &text);

// The address as it may be shown, logged or recorded: a password, a token in the path (/t/TOKEN)
// and the values of a query that carry a secret, such as a token, read "***". A text that is no
// address is treated the same way as far as it looks like one.
QString shownAddress(const QString &text);

// A message that may quote addresses, with each of them as shownAddress() shows it.
QString withoutSecrets(const QString &message);

} // namespace programs
