// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

// What the libraries log. Standard error is for the user of the program: without verbose only
// warnings get there, and none of the transport, whose state the connection puts into words.
// QT_LOGGING_RULES overrides all of it.
namespace diagnostics {

void install(bool verbose);

} // namespace diagnostics
