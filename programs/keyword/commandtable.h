// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/keyword/exitcode.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

// What the command line offers. The parser, the help, the completion files and the test of the
// manual page all read these tables, so that they cannot differ.
struct OptionEntry
{
    QStringList names; // without dashes; the long one comes first
    QString valueName; // empty for a switch
    QString description;
    QStringList choices; // the only values there are, if they can be listed
    bool repeatable = false;
    bool takesFile = false;

    const QString &name() const { return names.constFirst(); }
};

struct CommandEntry
{
    QString name;
    QString arguments;
    QString summary;
    QStringList options; // the names of those that it knows
    QStringList choices; // for its first argument
    bool takesFile = false; // as its first argument
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
