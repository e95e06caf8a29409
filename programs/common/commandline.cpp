// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/common/commandline.h"

#include "programs/common/address.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QStringList>
#include <QtCore/QTextStream>
#include <QtCore/qlogging.h>

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
    QStringList texts;
    for (int i = 0; i < argc; ++i)
        texts.append(QString::fromLocal8Bit(argv[i]));
    // Options of QGuiApplication, such as -reverse, are unknown here, and are not a group of short
    // options.
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.parse(texts);
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsCompactedShortOptions);
    const bool isVersion = parser.isSet(QStringLiteral("version"));
    if (!isVersion && !parser.isSet(QStringLiteral("help")))
        return false;

    // Only now, because windows are not accessible in a second application: the destructor of the
    // first one removes what Qt Quick has registered for that.
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    if (isVersion) {
        out << QCoreApplication::applicationName() << ' ' << QCoreApplication::applicationVersion()
            << Qt::endl;
    } else {
        out << parser.helpText() << Qt::flush;
    }
    return true;
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
