// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QMap>
#include <QtCore/QProcessEnvironment>
#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

// The result of a run of the program under test.
struct Run
{
    bool finished = false;
    int exitCode = -1;
    QString output;
    QString errors;

    // The printed lines "keyword = value", by keyword.
    QMap<QString, QString> values() const;
};

QString webSocketAddress(quint16 port);

// Verifies that the program prints the message on standard error, nothing else, and exits with the
// code.
void verifyRefused(const QStringList &arguments, const QString &message, int exitCode = 2);

// Verifies that --help and --version work without a display.
void verifyAnswersWithoutDisplay(const QString &name);

// Verifies that "--help" contains all of these options.
void verifyHelpNames(const QStringList &options);

// A folder for the picture and the other files of a run.
class Desk
{
public:
    QString picture() const { return directory.filePath(QStringLiteral("picture.png")); }
    QString file(const QString &name) const { return directory.filePath(name); }

    // The event loop of the test continues while the program runs, because the server may be in
    // this process.
    Run run(const QStringList &arguments) const;
    Run run(const QStringList &arguments, const QProcessEnvironment &environment) const;

    // Without a display, and without settings or files of the user.
    QProcessEnvironment environment() const;

    // Whether there is a picture of this size with text and colors, and not of a blank window.
    bool hasPicture(const QSize &size) const;

private:
    QTemporaryDir directory;
};
