// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/completion.h"

#include "programs/keyword/commandtable.h"

namespace {

// The license of the generated file, not of this file: REUSE-IgnoreStart
QString heading(const char *firstLine)
{
    return QString::fromUtf8(firstLine)
        + QStringLiteral("# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors\n"
                         "# SPDX-License-Identifier: MIT\n"
                         "#\n# Made by \"keyword completion\"; do not edit.\n\n");
}
// REUSE-IgnoreEnd

QString dashed(const QString &name)
{
    return (name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name;
}

QStringList optionsOf(const CommandEntry &command)
{
    return command.options
        + QStringList {QStringLiteral("verbose"), QStringLiteral("help"),
                       QStringLiteral("version")};
}

// Encloses the text in single quotes for a shell.
QString quoted(QString text)
{
    return QLatin1Char('\'') + text.replace(QLatin1Char('\''), QLatin1String("'\\''"))
        + QLatin1Char('\'');
}

// Returns the first clause of a description, which is short enough for a completion list.
QString inShort(const QString &description)
{
    static const QString ends = QStringLiteral(".:;,");
    for (qsizetype i = 0; i < description.size(); ++i) {
        if (ends.contains(description.at(i))
            && (i + 1 == description.size() || description.at(i + 1) == QLatin1Char(' ')))
            return description.left(i);
    }
    return description;
}

QStringList namesOf(const QList<CommandEntry> &commands)
{
    QStringList names;
    for (const CommandEntry &command : commands)
        names.append(command.name);
    return names;
}

QString bashFile()
{
    QString text = heading("");
    text += QStringLiteral("_keyword()\n{\n"
                           "    local current=${COMP_WORDS[COMP_CWORD]} "
                           "previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
                           "    local command='' word options='' first=''\n"
                           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD - 1}\"; do\n"
                           "        case $word in\n        %1)\n"
                           "            command=$word\n            break\n            ;;\n"
                           "        esac\n    done\n\n"
                           "    case $previous in\n")
                .arg(namesOf(commandTable()).join(QStringLiteral(" | ")));
    for (const OptionEntry &option : optionTable()) {
        if (option.valueName.isEmpty())
            continue;
        QStringList names;
        for (const QString &name : option.names)
            names.append(dashed(name));
        const QString candidates = option.takesFile
            ? QStringLiteral("-f")
            : QStringLiteral("-W '%1'").arg(option.choices.join(QLatin1Char(' ')));
        text += QStringLiteral("    %1)\n        mapfile -t COMPREPLY < <(compgen %2 -- "
                               "\"$current\")\n        return\n        ;;\n")
                    .arg(names.join(QLatin1String(" | ")), candidates);
    }
    text += QStringLiteral("    esac\n\n    case $command in\n    '') first='%1' "
                           "options='--help --version' ;;\n")
                .arg(namesOf(commandTable()).join(QLatin1Char(' ')));
    for (const CommandEntry &command : commandTable()) {
        QStringList options;
        for (const QString &name : optionsOf(command)) {
            for (const QString &spelling : findOption(name)->names)
                options.append(dashed(spelling));
        }
        const QStringList choices =
            command.name == QLatin1String("help") ? namesOf(commandTable()) : command.choices;
        text += QStringLiteral("    %1)\n        options='%2'\n")
                    .arg(command.name, options.join(QLatin1Char(' ')));
        if (!choices.isEmpty())
            text += QStringLiteral("        first='%1'\n").arg(choices.join(QLatin1Char(' ')));
        text += QStringLiteral("        ;;\n");
    }
    QStringList fileCommands;
    for (const CommandEntry &command : commandTable()) {
        if (command.takesFile)
            fileCommands.append(command.name);
    }
    text +=
        QStringLiteral("    esac\n\n"
                       "    if [[ $current == -* ]]; then\n"
                       "        mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$current\")\n"
                       "    elif [[ $command =~ ^(%1)$ ]]; then\n"
                       "        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
                       "    else\n"
                       "        mapfile -t COMPREPLY < <(compgen -W \"$first\" -- \"$current\")\n"
                       "    fi\n}\n\ncomplete -F _keyword keyword\n")
            .arg(fileCommands.join(QLatin1Char('|')));
    return text;
}

// In _arguments, brackets and colons have a special meaning.
QString zshText(QString text)
{
    for (const char special : {'\\', '[', ']', ':'}) {
        const QLatin1Char character(special);
        text.replace(character, QLatin1String("\\") + QString(character));
    }
    return text;
}

QString zshOption(const OptionEntry &option)
{
    QStringList names;
    for (const QString &name : option.names)
        names.append(dashed(name));
    QString tail = QLatin1Char('[') + zshText(inShort(option.description)) + QLatin1Char(']');
    if (option.takesFile)
        tail += QStringLiteral(":%1:_files").arg(option.valueName);
    else if (!option.valueName.isEmpty())
        tail +=
            QStringLiteral(":%1:(%2)").arg(option.valueName, option.choices.join(QLatin1Char(' ')));
    const QString star = option.repeatable ? QStringLiteral("*") : QString();
    if (names.size() == 1)
        return quoted(star + names.constFirst() + tail);
    // Each spelling excludes the other, unless the option is repeatable.
    const QString group = option.repeatable
        ? QStringLiteral("'*'")
        : QStringLiteral("'(%1)'").arg(names.join(QLatin1Char(' ')));
    return group + QStringLiteral("{%1}").arg(names.join(QLatin1Char(','))) + quoted(tail);
}

QString zshFile()
{
    QString text = heading("#compdef keyword\n");
    text += QStringLiteral("_keyword() {\n    local context state state_descr line\n"
                           "    typeset -A opt_args\n    local -a commands=(\n");
    for (const CommandEntry &command : commandTable()) {
        text += QStringLiteral("        %1\n")
                    .arg(quoted(command.name + QLatin1Char(':') + inShort(command.summary)));
    }
    text += QStringLiteral("    )\n"
                           "    _arguments -C '1:command:->command' '*::argument:->argument'\n"
                           "    case $state in\n"
                           "    command) _describe command commands ;;\n"
                           "    argument)\n        case $words[1] in\n");
    for (const CommandEntry &command : commandTable()) {
        text += QStringLiteral("        %1)\n            _arguments \\\n").arg(command.name);
        for (const QString &name : optionsOf(command))
            text += QStringLiteral("                %1 \\\n").arg(zshOption(*findOption(name)));
        QString arguments = QStringLiteral("'*:argument: '");
        if (command.takesFile)
            arguments = QStringLiteral("'*:file:_files'");
        else if (command.name == QLatin1String("help"))
            arguments = QStringLiteral("'1:command:(%1)'")
                            .arg(namesOf(commandTable()).join(QLatin1Char(' ')));
        else if (!command.choices.isEmpty())
            arguments = QStringLiteral("'1:choice:(%1)' '*:argument: '")
                            .arg(command.choices.join(QLatin1Char(' ')));
        text += QStringLiteral("                %1\n            ;;\n").arg(arguments);
    }
    text += QStringLiteral("        esac\n        ;;\n    esac\n}\n\n"
                           "if [ \"$funcstack[1]\" = _keyword ]; then\n"
                           "    _keyword \"$@\"\nelse\n    compdef _keyword keyword\nfi\n");
    return text;
}

QString fishFile()
{
    QString text = heading("");
    text += QStringLiteral("complete -c keyword -f\n");
    for (const CommandEntry &command : commandTable()) {
        text += QStringLiteral("complete -c keyword -n __fish_use_subcommand -a %1 -d %2\n")
                    .arg(command.name, quoted(inShort(command.summary)));
    }
    for (const CommandEntry &command : commandTable()) {
        const QString condition =
            quoted(QStringLiteral("__fish_seen_subcommand_from ") + command.name);
        text += QLatin1Char('\n');
        if (command.takesFile)
            text += QStringLiteral("complete -c keyword -n %1 -F\n").arg(condition);
        const QStringList choices =
            command.name == QLatin1String("help") ? namesOf(commandTable()) : command.choices;
        if (!choices.isEmpty()) {
            text += QStringLiteral("complete -c keyword -n %1 -a %2\n")
                        .arg(condition, quoted(choices.join(QLatin1Char(' '))));
        }
        for (const QString &name : optionsOf(command)) {
            const OptionEntry &option = *findOption(name);
            text += QStringLiteral("complete -c keyword -n %1").arg(condition);
            for (const QString &spelling : option.names)
                text += (spelling.size() == 1 ? QStringLiteral(" -s ") : QStringLiteral(" -l "))
                    + spelling;
            if (option.takesFile) {
                text += QStringLiteral(" -r -F");
            } else if (!option.valueName.isEmpty()) {
                text += QStringLiteral(" -x");
                if (!option.choices.isEmpty())
                    text +=
                        QStringLiteral(" -a %1").arg(quoted(option.choices.join(QLatin1Char(' '))));
            }
            text += QStringLiteral(" -d %1\n").arg(quoted(inShort(option.description)));
        }
    }
    return text;
}

} // namespace

QString completionFile(const QString &shell)
{
    if (shell == QLatin1String("bash"))
        return bashFile();
    return shell == QLatin1String("zsh") ? zshFile() : fishFile();
}
