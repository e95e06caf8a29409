// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

// How the program ends. The numbers are part of its interface: scripts test them.
enum class ExitCode : int {
    Success = 0,
    NotFound = 1, // no such keyword, nothing below a level, no label
    BadUsage = 2, // the command line makes no sense
    NotConnected = 3, // the server cannot be reached, or was lost and nobody wanted to wait
    Refused = 4, // the server refused a write
    TimedOut = 5, // connected, but the answer did not come in time
    FileError = 6, // a file cannot be read or written, or is no recording
    Interrupted = 130, // Ctrl-C before there was a result; 128 plus the signal, as shells count
};
