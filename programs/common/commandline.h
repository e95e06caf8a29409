// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QCommandLineParser;
QT_END_NAMESPACE

namespace programs {

// How a program ends when the command line makes no sense. Other failures end it with EXIT_FAILURE.
constexpr int badUsage = 2;

// Says on standard error what is wrong, after the name of the program. Addresses in the message are
// shown without their secrets.
void complain(const QString &message);

// From now on, what Qt and the keyword library log shows addresses without their secrets.
void hideSecretsInLog();

// Prints the help or the version if the arguments ask for it, and returns whether they do. It needs
// no display, so it is to be called before there is a QGuiApplication, which ends the program
// without one.
bool answeredWithoutDisplay(QCommandLineParser &parser, int argc, char *argv[]);

// Parses the arguments of the application. Returns false after a message about what is wrong.
bool parseArguments(QCommandLineParser &parser);

} // namespace programs
