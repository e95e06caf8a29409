// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/settings.h"

// What a command line asks for: to run the settings, or just to print a text and end, or nothing
// because of a problem.
struct ParsedLine
{
    std::optional<Settings> settings;
    QString text;
    QString problem;
};

ParsedLine parseCommandLine(const QStringList &arguments);
