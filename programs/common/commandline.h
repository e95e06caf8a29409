// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QCommandLineParser;
QT_END_NAMESPACE

namespace programs {

// The exit code for an invalid command line. The exit code for other failures is EXIT_FAILURE.
constexpr int badUsage = 2;

// Prints an error message on standard error, after the name of the program. Addresses in the
// message are shown without their secrets.
void complain(const QString &message);

// After this call, log messages of Qt and of the keyword library show addresses without their
// secrets.
void hideSecretsInLog();

// Prints the help or the version if the arguments request it, and returns whether they do. It does
// not need a display. Call it before you create a QGuiApplication, which exits if there is no
// display.
bool answeredWithoutDisplay(QCommandLineParser &parser, int argc, char *argv[]);

// Parses the arguments of the application. If they are invalid, prints a message and returns false.
bool parseArguments(QCommandLineParser &parser);

} // namespace programs
