// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

// The exit codes of the program. The numbers are part of its interface, because scripts test them.
enum class ExitCode : int {
    Success = 0,
    NotFound = 1, // no such keyword, nothing below a level, no label
    BadUsage = 2, // the command line or the input is invalid
    NotConnected = 3, // the server cannot be reached, or the connection was lost (--no-reconnect)
    Refused = 4, // the server refused a write
    TimedOut = 5, // connected, but the reply did not arrive in time
    FileError = 6, // a file cannot be read or written, or is not a recording
    Interrupted = 130, // by a signal before there was a result; 128 + SIGINT, as in shells
};
