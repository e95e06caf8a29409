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
    // A copy of the arguments: an application removes those that it handles, but the actual
    // application needs them as well.
    std::vector<char *> arguments(argv, argv + argc);
    arguments.push_back(nullptr);
    const QCoreApplication application(argc, arguments.data());

    // Options of QGuiApplication, such as -reverse, are unknown here, and are not a group of short
    // options.
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
            QCoreApplication::arguments()); // lists the options of Qt, which no other text does
    return true;
}

} // namespace programs
