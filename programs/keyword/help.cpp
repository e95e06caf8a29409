// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/help.h"

#include "programs/keyword/commandtable.h"

#include <QtCore/QTextStream>

namespace {

constexpr int lineWidth = 80;
constexpr int optionIndent = 2;
constexpr int descriptionIndent = 26;

QString blanks(qsizetype count)
{
    return QString(qMax(qsizetype(1), count), QLatin1Char(' '));
}

// Appends the text to the beginning of a line, and wraps it into indented lines.
QString brokenLines(const QString &begin, const QString &text, qsizetype indent)
{
    QString result;
    QString line = begin;
    bool first = true;
    for (const QString &word : text.split(QLatin1Char(' '))) {
        if (!first && line.size() + 1 + word.size() > lineWidth) {
            result += line + QLatin1Char('\n');
            line = QString(indent, QLatin1Char(' ')) + word;
        } else {
            line += (first ? QString() : QStringLiteral(" ")) + word;
        }
        first = false;
    }
    return result + line + QLatin1Char('\n');
}

// "head    text", with a hanging indent.
QString hangingLines(const QString &head, const QString &text, int indent)
{
    const QString line = blanks(optionIndent) + head;
    if (line.size() > indent - 2)
        return line + QLatin1Char('\n') + brokenLines(blanks(indent), text, indent);
    return brokenLines(line + blanks(indent - line.size()), text, indent);
}

QString optionHead(const OptionEntry &option)
{
    QStringList names;
    for (const QString &name : option.names)
        names.append((name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name);
    QString head = names.join(QLatin1String(", "));
    if (!option.valueName.isEmpty())
        head += QStringLiteral(" <%1>").arg(option.valueName);
    return head;
}

QString optionLines(const OptionEntry &option)
{
    QString text = option.description;
    if (!option.choices.isEmpty())
        text += QStringLiteral(" (%1)").arg(option.choices.join(QLatin1Char('|')));
    return hangingLines(optionHead(option), text, descriptionIndent);
}

QString usageLine(const CommandEntry &command)
{
    QString line = QStringLiteral("keyword ") + command.name;
    if (!command.options.isEmpty())
        line += QStringLiteral(" [OPTION]...");
    if (!command.arguments.isEmpty())
        line += QLatin1Char(' ') + command.arguments;
    return line + QLatin1Char('\n');
}

} // namespace

QString overviewHelp()
{
    QString text = QStringLiteral("Usage: keyword COMMAND [OPTION]... [ARGUMENT]...\n"
                                  "Reads, writes, lists, and records the keywords of a keyword "
                                  "server.\n\nCommands:\n");
    for (const CommandEntry &command : commandTable())
        text += hangingLines(command.name, command.summary, 14);
    text += QStringLiteral("\nOptions for all of them:\n");
    for (const char *name : {"verbose", "help", "version"})
        text += optionLines(*findOption(QString::fromLatin1(name)));
    text += QStringLiteral("\nExit codes:\n");
    for (const ExitCodeEntry &entry : exitCodeTable())
        text += hangingLines(QString::number(int(entry.code)), entry.meaning, 8);
    text += QStringLiteral("\n\"keyword help COMMAND\" shows the options of a command.\n");
    return text;
}

QString commandHelp(const CommandEntry &command)
{
    QString text = QStringLiteral("Usage: ") + usageLine(command)
        + brokenLines({}, command.summary, 0) + QStringLiteral("\nOptions:\n");
    for (const QString &name : command.options)
        text += optionLines(*findOption(name));
    for (const char *name : {"verbose", "help", "version"})
        text += optionLines(*findOption(QString::fromLatin1(name)));
    return text;
}

QString completeHelp()
{
    QString text = overviewHelp();
    for (const CommandEntry &command : commandTable())
        text += QLatin1Char('\n') + commandHelp(command);
    return text;
}
