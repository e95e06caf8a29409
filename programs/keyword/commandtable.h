// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/exitcode.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

// The commands and options. The parser, the help, the completion files, and the test of the manual
// page all read these tables, so that they cannot differ.
struct OptionEntry
{
    QStringList names; // without dashes; the long one comes first
    QString valueName; // empty for a switch
    QString description;
    QStringList choices; // the allowed values, if they can be listed
    bool repeatable = false;
    bool takesFile = false;

    const QString &name() const { return names.constFirst(); }
};

struct CommandEntry
{
    QString name;
    QString arguments;
    QString summary;
    QStringList options; // the names of its options
    QStringList choices; // for its first argument
    bool takesFile = false; // whether the first argument is a file
};

struct ExitCodeEntry
{
    ExitCode code;
    QString meaning;
};

const QList<OptionEntry> &optionTable();
const QList<CommandEntry> &commandTable();
const QList<ExitCodeEntry> &exitCodeTable();

const OptionEntry *findOption(const QString &name); // by any of its names
const CommandEntry *findCommand(const QString &name);
