// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/settings.h"

// The parsed command line: the settings of a command, or a text to print before exiting, or a
// problem.
struct ParsedLine
{
    std::optional<Settings> settings;
    QString text;
    QString problem;
};

ParsedLine parseCommandLine(const QStringList &arguments);
