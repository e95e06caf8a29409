// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

// What the command line asks for.
struct Arguments
{
    enum class Task {
        Serve,
        Check,
        Dump
    };

    Task task = Task::Serve;
    QString file; // of the configuration; empty if the command line is all there is
    QByteArray json; // what the command line amounts to, without a file
};

// Answers --help and --version itself, which end the program with 0. Returns false after a message
// about what is wrong.
bool readArguments(Arguments *arguments);
