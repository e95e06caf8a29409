// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/common/commandline.h"

#include "programs/common/address.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>
#include <QtCore/qlogging.h>

#include <vector>

namespace programs {

namespace {

QtMessageHandler printMessage = nullptr;

void printWithoutSecrets(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    printMessage(type, context, withoutSecrets(message));
}

} // namespace

void complain(const QString &message)
{
    QTextStream(stderr) << QCoreApplication::applicationName() << ": " << withoutSecrets(message)
                        << Qt::endl;
}

void hideSecretsInLog()
{
    if (!printMessage)
        printMessage = qInstallMessageHandler(printWithoutSecrets);
}

bool answeredWithoutDisplay(QCommandLineParser &parser, int argc, char *argv[])
{
    // Of copies: an application takes out what it understands, and the next one needs that, too.
    std::vector<char *> arguments(argv, argv + argc);
    arguments.push_back(nullptr);
    const QCoreApplication application(argc, arguments.data());

    // Options of QGuiApplication, such as -reverse, are not known here and no cluster of letters.
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.parse(QCoreApplication::arguments());
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsCompactedShortOptions);

    QTextStream out(stdout);
    if (parser.isSet(QStringLiteral("version"))) {
        out << QCoreApplication::applicationName() << ' ' << QCoreApplication::applicationVersion()
            << Qt::endl;
        return true;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        out << parser.helpText() << Qt::flush;
        return true;
    }
    return false;
}

bool parseArguments(QCommandLineParser &parser)
{
    if (!parser.parse(QCoreApplication::arguments())) {
        complain(parser.errorText());
        return false;
    }
    if (parser.isSet(QStringLiteral("help-all")))
        parser.process(
            QCoreApplication::arguments()); // with the options of Qt, which nothing else tells
    return true;
}

} // namespace programs
