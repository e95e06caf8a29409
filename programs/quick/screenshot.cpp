// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/quick/screenshot.h"

#include "programs/common/commandline.h"
#include "programs/quick/livereport.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QTextStream>
#include <QtCore/QTimer>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <QtQuick/QQuickWindow>

#include <cstdlib>

Screenshot::Screenshot()
    : fileOption(QStringLiteral("screenshot"),
                 QGuiApplication::translate("Screenshot",
                                            "Save a picture of the window as the PNG <file>, print "
                                            "the displayed values, and exit."),
                 QStringLiteral("file")),
      durationOption(
          QStringLiteral("duration"),
          QGuiApplication::translate("Screenshot",
                                     "The time before the screenshot in <seconds>; 5 by default."),
          QStringLiteral("seconds"), QStringLiteral("5"))
{ }

void Screenshot::addOptions(QCommandLineParser &parser) const
{
    parser.addOptions({fileOption, durationOption});
}

int Screenshot::prepare(const QCommandLineParser &parser)
{
    if (!parser.isSet(fileOption)) {
        if (parser.isSet(durationOption)) {
            programs::complain(
                QGuiApplication::translate("Screenshot", "--duration requires --screenshot"));
            return programs::badUsage;
        }
        return EXIT_SUCCESS;
    }
    const QString name = parser.value(fileOption);
    if (name.isEmpty()) {
        programs::complain(
            QGuiApplication::translate("Screenshot", "--screenshot requires a file name"));
        return programs::badUsage;
    }
    bool isNumber = false;
    const double seconds = parser.value(durationOption).toDouble(&isNumber);
    constexpr double longest = 24 * 60 * 60;
    if (!isNumber || !(seconds > 0 && seconds <= longest)) {
        programs::complain(
            QGuiApplication::translate("Screenshot", "'%1' is not a duration in seconds")
                .arg(parser.value(durationOption)));
        return programs::badUsage;
    }
    duration = std::chrono::milliseconds(qRound64(seconds * 1000));
    file.setFileName(name);
    if (!file.open(QIODevice::WriteOnly)) {
        programs::complain(QGuiApplication::translate("Screenshot", "cannot write '%1': %2")
                               .arg(name, file.errorString()));
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

void Screenshot::schedule(QQuickWindow *window)
{
    if (!file.isOpen())
        return;
    QTimer::singleShot(duration, window, [this, window] { QCoreApplication::exit(take(*window)); });
}

int Screenshot::take(QQuickWindow &window)
{
    QTextStream out(stdout);
    const LiveValues values = liveValues(window);
    for (const QString &line : reportLines(values))
        out << line << '\n';

    if (!window.grabWindow().save(&file, "PNG") || !file.commit()) {
        programs::complain(QGuiApplication::translate("Screenshot", "cannot write '%1': %2")
                               .arg(file.fileName(), file.errorString()));
        return EXIT_FAILURE;
    }
    out << QGuiApplication::translate("Screenshot", "Saved %1").arg(file.fileName()) << Qt::endl;

    if (values.empty()) {
        programs::complain(QGuiApplication::translate("Screenshot", "no value is known"));
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
