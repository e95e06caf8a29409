// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/common/interrupt.h"
#include "programs/keyword/command.h"
#include "programs/keyword/commandline.h"
#include "programs/keyword/completion.h"
#include "programs/keyword/diagnostics.h"

#include <QtCore/QCoreApplication>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {

// A new file or socket gets the lowest free number, which may be that of a standard stream that the
// caller has closed. This function occupies the number with a file that cannot be read or written
// in its place.
void occupyClosedStandardFiles()
{
#ifdef Q_OS_UNIX
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(number, F_GETFD) == -1)
            (void)::open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
#endif
}

} // namespace

int main(int argc, char **argv)
{
    occupyClosedStandardFiles();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("keyword"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PELLIX_VERSION));

    const ParsedLine line = parseCommandLine(QCoreApplication::arguments());
    if (!line.problem.isEmpty()) {
        complain(line.problem);
        complain(QStringLiteral("try \"keyword help\""));
        return int(ExitCode::BadUsage);
    }
    const Settings settings = line.settings.value_or(Settings());
    Output output(settings.format, settings.time.value_or(TimeStamp::None));
    ExitCode end = ExitCode::Success;
    output.onEnd = [&end](const QString &problem) {
        if (!problem.isEmpty()) {
            complain(QStringLiteral("standard output: ") + problem);
            end = ExitCode::FileError;
        }
    };
    if (!line.settings || settings.command == QLatin1String("completion")) {
        const QString text =
            line.settings ? completionFile(settings.arguments.constFirst()) : line.text;
        output.line(text.chopped(1).toUtf8());
        return int(end);
    }

    diagnostics::install(settings.verbose);
    const std::unique_ptr<Command> command = createCommand(settings, &output);
    output.onEnd = [&command](const QString &problem) {
        if (!problem.isEmpty())
            complain(QStringLiteral("standard output: ") + problem);
        command->finish(problem.isEmpty() ? ExitCode::Success : ExitCode::FileError);
    };
    output.watchReader();
    programs::onInterrupt([&command] { command->interrupt(); });
    QMetaObject::invokeMethod(command.get(), &Command::start, Qt::QueuedConnection);
    return QCoreApplication::exec();
}
