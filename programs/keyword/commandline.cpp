// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/commandline.h"

#include "programs/keyword/commandtable.h"
#include "programs/keyword/help.h"
#include "text/suggestion.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QHash>

namespace {

const QLatin1String standardInput("-"); // or standard output

// Options of all commands.
QStringList everywhere()
{
    return {QStringLiteral("help"), QStringLiteral("version"), QStringLiteral("verbose")};
}

QStringList commandNames()
{
    QStringList names;
    for (const CommandEntry &command : commandTable())
        names.append(command.name);
    return names;
}

// Returns the long names of the options of a command, or of all options if there is no such
// command.
QStringList optionNames(const QString &commandName)
{
    const CommandEntry *const command = findCommand(commandName);
    QStringList names = everywhere();
    for (const OptionEntry &option : optionTable()) {
        if (!command || command->options.contains(option.name()))
            names.append(option.name());
    }
    return names;
}

// Returns an option written with one dash, such as "-recursive", which the parser reads as "-r" and
// other options. Returns an empty string if there is none.
QString optionWithOneDash(const QStringList &arguments)
{
    for (const QString &argument : arguments) {
        QString name = argument.mid(1).section(QLatin1Char('='), 0, 0);
        if (argument.startsWith(QLatin1Char('-')) && name.size() > 1 && findOption(name))
            return name;
    }
    return {};
}

// Reports only the first unknown short option, because the following ones may be its value.
QString parseProblem(const QCommandLineParser &parser, const QStringList &arguments)
{
    const QStringList unknown = parser.unknownOptionNames();
    if (unknown.isEmpty())
        return parser.errorText();
    const QString oneDash = optionWithOneDash(arguments);
    if (!oneDash.isEmpty())
        return QStringLiteral("unknown option -%1; did you mean --%1?").arg(oneDash);
    const QString &name = unknown.constFirst();
    if (name.size() == 1)
        return QStringLiteral("unknown option -") + name;
    return QStringLiteral("unknown option --") + name
        + suggestion(name, optionNames(parser.positionalArguments().value(0)),
                     QStringLiteral("--"));
}

QString noSuchCommand(const QString &name)
{
    return QStringLiteral("'%1' is not a command").arg(name) + suggestion(name, commandNames());
}

// Returns an option that the command does not have, or an empty string.
QString strayOption(const QCommandLineParser &parser, const CommandEntry &command)
{
    const QStringList given = parser.optionNames();
    for (const QString &name : given) {
        const QString &option = findOption(name)->name();
        if (!command.options.contains(option) && !everywhere().contains(option))
            return option;
    }
    return {};
}

bool isWrite(const Settings &settings)
{
    return settings.command == QLatin1String("set") || settings.command == QLatin1String("add");
}

QString readProblem(const Settings &settings)
{
    if (settings.arguments.isEmpty() && !settings.recursive)
        return QStringLiteral("no keyword given");
    return settings.arguments.count(standardInput) > 1 ? QStringLiteral("- is given twice")
                                                       : QString();
}

QString writeProblem(const Settings &settings)
{
    const QStringList &arguments = settings.arguments;
    if (arguments == QStringList(standardInput))
        return {};
    if (!arguments.isEmpty() && arguments.constFirst() == standardInput)
        return QStringLiteral(
            "- must be the only argument: standard input contains the keywords and the values");
    return arguments.isEmpty() || arguments.size() % 2 != 0
        ? QStringLiteral("keywords and values must be given in pairs")
        : QString();
}

QString aggregateProblem(const Settings &settings)
{
    const QStringList modes = findCommand(settings.command)->choices;
    if (!modes.contains(settings.arguments.value(0)))
        return QStringLiteral("the first argument must be a mode: ")
            + modes.join(QLatin1String(", "));
    if (settings.arguments.size() < 3)
        return QStringLiteral("at least two keywords are required");
    return settings.count && !settings.watch ? QStringLiteral("--count requires --watch")
                                             : QString();
}

QString pingProblem(const Settings &settings)
{
    return settings.arguments.size() > 1 ? QStringLiteral("at most one keyword") : QString();
}

QString recordProblem(const Settings &settings)
{
    if (settings.arguments.isEmpty())
        return QStringLiteral("no file given");
    if (settings.arguments.mid(1).count(standardInput) > 1)
        return QStringLiteral("- is given twice");
    return settings.rotate > 0 && settings.arguments.constFirst() == standardInput
        ? QStringLiteral("--rotate requires a file, but - is standard output")
        : QString();
}

QString replayProblem(const Settings &settings)
{
    if (settings.arguments.isEmpty())
        return QStringLiteral("no file given");
    return settings.loop && settings.stay
        ? QStringLiteral("--loop and --stay cannot be used together")
        : QString();
}

QString completionProblem(const Settings &settings)
{
    const QStringList shells = findCommand(settings.command)->choices;
    return settings.arguments.size() != 1 || !shells.contains(settings.arguments.constFirst())
        ? QStringLiteral("the shell must be bash, zsh, or fish")
        : QString();
}

QString serverProblem(const Settings &settings)
{
    if (settings.urls.isEmpty())
        return QStringLiteral("no server given: use --url, or set KEYWORD_URL");
    for (qsizetype i = 0; i < settings.arguments.size(); i += isWrite(settings) ? 2 : 1) {
        if (settings.arguments.at(i).isEmpty())
            return QStringLiteral("a keyword is empty");
    }
    return {};
}

// Returns the problem with the arguments of a command, or an empty string.
QString argumentProblem(const Settings &settings)
{
    using Check = QString (*)(const Settings &);
    static const QHash<QString, Check> checks = {
        {QStringLiteral("get"), readProblem},
        {QStringLiteral("watch"), readProblem},
        {QStringLiteral("label"), readProblem},
        {QStringLiteral("set"), writeProblem},
        {QStringLiteral("add"), writeProblem},
        {QStringLiteral("aggregate"), aggregateProblem},
        {QStringLiteral("ping"), pingProblem},
        {QStringLiteral("record"), recordProblem},
        {QStringLiteral("replay"), replayProblem},
        {QStringLiteral("completion"), completionProblem},
    };
    const Check check = checks.value(settings.command);
    const QString problem = check ? check(settings) : QString();
    const bool talks = findCommand(settings.command)->options.contains(QLatin1String("url"));
    return problem.isEmpty() && talks ? serverProblem(settings) : problem;
}

QString versionText()
{
    return QCoreApplication::applicationName() + QLatin1Char(' ')
        + QCoreApplication::applicationVersion() + QLatin1Char('\n');
}

void addOptions(QCommandLineParser *parser)
{
    for (const OptionEntry &entry : optionTable()) {
        QCommandLineOption option(entry.names);
        option.setValueName(entry.valueName);
        parser->addOption(option);
    }
}

ParsedLine helpFor(const Settings &settings)
{
    if (settings.helpAll)
        return {{}, completeHelp(), {}};
    if (settings.arguments.isEmpty())
        return {{}, overviewHelp(), {}};
    const CommandEntry *const topic = findCommand(settings.arguments.constFirst());
    if (!topic)
        return {{}, {}, noSuchCommand(settings.arguments.constFirst())};
    return {{}, commandHelp(*topic), {}};
}

} // namespace

ParsedLine parseCommandLine(const QStringList &arguments)
{
    QCommandLineParser parser;
    addOptions(&parser);
    QStringList line;
    for (const QString &argument : arguments)
        line.append(hiddenArgument(argument));
    if (!parser.parse(line))
        return {{}, {}, parseProblem(parser, arguments)};

    if (parser.isSet(QStringLiteral("version")))
        return {{}, versionText(), {}};
    QStringList positional;
    for (const QString &argument : parser.positionalArguments())
        positional.append(shownArgument(argument));
    if (positional.isEmpty()) {
        if (parser.isSet(QStringLiteral("help")))
            return {{}, overviewHelp(), {}};
        return {{}, {}, QStringLiteral("no command given")};
    }

    Settings settings;
    settings.command = positional.takeFirst();
    settings.arguments = positional;
    const CommandEntry *const command = findCommand(settings.command);
    if (!command)
        return {{}, {}, noSuchCommand(settings.command)};
    if (parser.isSet(QStringLiteral("help")))
        return {{}, commandHelp(*command), {}};
    const QString stray = strayOption(parser, *command);
    if (!stray.isEmpty())
        return {{}, {}, QStringLiteral("%1 has no option --%2").arg(command->name, stray)};
    QString problem = readSettings(parser, &settings);
    if (problem.isEmpty())
        problem = argumentProblem(settings);
    if (!problem.isEmpty())
        return {{}, {}, problem};

    return command->name == QLatin1String("help") ? helpFor(settings)
                                                  : ParsedLine {settings, {}, {}};
}
