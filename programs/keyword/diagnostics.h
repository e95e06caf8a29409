// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

// Log messages of the libraries. Standard error is for the user of the program: without --verbose,
// it contains only warnings, and none of the transport, because the connection reports its state
// itself. QT_LOGGING_RULES overrides all of this.
namespace diagnostics {

void install(bool verbose);

} // namespace diagnostics
