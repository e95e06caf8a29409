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

// Implements the options --screenshot and --duration: saves a picture of the window after some
// time, and exits.
class Screenshot
{
public:
    Screenshot();

    void addOptions(QCommandLineParser &parser) const;

    // Reads the options and opens the file, so that an invalid name is reported before the
    // duration, not after it. Returns 0. In case of an error, prints a message and returns the exit
    // code.
    int prepare(const QCommandLineParser &parser);

    // Takes the picture after the duration, prints each value that the window shows, and exits:
    // with an error if the picture cannot be written, or if there is no value. Does nothing without
    // the options.
    void schedule(QQuickWindow *window);

private:
    int take(QQuickWindow &window);

    const QCommandLineOption fileOption;
    const QCommandLineOption durationOption;
    QSaveFile file;
    std::chrono::milliseconds duration {};
};
