// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

// The parsed command line.
struct Arguments
{
    enum class Task {
        Serve,
        Check,
        Dump
    };

    Task task = Task::Serve;
    QString file; // the configuration file; empty with --mqtt
    QByteArray json; // the configuration made from --mqtt and its options; empty with a file
};

// Handles --help and --version, which exit with 0. If the arguments are invalid, prints a message
// and returns false.
bool readArguments(Arguments *arguments);
