// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QCommandLineOption>
#include <QtCore/QSaveFile>
#include <QtCore/QString>

#include <chrono>

QT_BEGIN_NAMESPACE
class QCommandLineParser;
class QQuickWindow;
QT_END_NAMESPACE

// A picture of a window, taken after some time, that ends the program: the options --screenshot and
// --duration of a command line.
class Screenshot
{
public:
    Screenshot();

    void addOptions(QCommandLineParser &parser) const;

    // Reads the options and opens the file, so that a bad name is reported before the duration and
    // not after it. Returns 0, or the exit code of the program after a message about what is wrong.
    int prepare(const QCommandLineParser &parser);

    // Takes the picture when the duration is over, prints each value that the window shows, and
    // exits: with an error if the picture cannot be written, or if no value is known.
    // Without the options it does nothing.
    void schedule(QQuickWindow *window);

private:
    int take(QQuickWindow &window);

    const QCommandLineOption fileOption;
    const QCommandLineOption durationOption;
    QSaveFile file;
    std::chrono::milliseconds duration {};
};
