// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QMap>
#include <QtCore/QProcessEnvironment>
#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

// What became of a run of the program under test.
struct Run
{
    bool finished = false;
    int exitCode = -1;
    QString output;
    QString errors;

    // The printed lines "keyword = value".
    QMap<QString, QString> values() const;
};

QString webSocketAddress(quint16 port);

// That the program says the message on standard error, prints nothing else, and ends with the code.
void verifyRefused(const QStringList &arguments, const QString &message, int exitCode = 2);

// That --help and --version are answered where there is no display.
void verifyAnswersWithoutDisplay(const QString &name);

// That "--help" names them all.
void verifyHelpNames(const QStringList &options);

// A folder for the picture and what else a run of the program leaves behind.
class Desk
{
public:
    QString picture() const { return directory.filePath(QStringLiteral("picture.png")); }
    QString file(const QString &name) const { return directory.filePath(name); }

    // The event loop of the test goes on while the program runs: the server may live here.
    Run run(const QStringList &arguments) const;
    Run run(const QStringList &arguments, const QProcessEnvironment &environment) const;

    // Without a display, and with nothing of the user's.
    QProcessEnvironment environment() const;

    // Whether there is a picture of that size, with text and colours rather than a blank window.
    bool hasPicture(const QSize &size) const;

private:
    QTemporaryDir directory;
};
