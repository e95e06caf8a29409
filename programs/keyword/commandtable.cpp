// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/commandtable.h"

#include <algorithm>

namespace {

QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

QStringList words(const char *blankSeparated)
{
    return QString::fromUtf8(blankSeparated).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

OptionEntry flag(const char *names, const char *description)
{
    return {words(names), {}, text(description), {}};
}

OptionEntry option(const char *names, const char *valueName, const char *description,
                   const char *choices = "")
{
    return {words(names), text(valueName), text(description), words(choices)};
}

OptionEntry file(const char *names, const char *description)
{
    OptionEntry entry = option(names, "file", description);
    entry.takesFile = true;
    return entry;
}

OptionEntry list(const char *names, const char *valueName, const char *description)
{
    OptionEntry entry = option(names, valueName, description);
    entry.repeatable = true;
    return entry;
}

CommandEntry command(const char *name, const char *arguments, const char *summary,
                     const char *options, const char *choices = "")
{
    return {text(name), text(arguments), text(summary), words(options), words(choices)};
}

CommandEntry fileCommand(const char *name, const char *arguments, const char *summary,
                         const char *options)
{
    CommandEntry entry = command(name, arguments, summary, options);
    entry.takesFile = true;
    return entry;
}

} // namespace

const QList<OptionEntry> &optionTable()
{
    static const QList<OptionEntry> table = {
        list(
            "url u", "address",
            "The server, ws://host:port or wss://host:port. Given several times, the next one is "
            "tried when one cannot be reached. Otherwise KEYWORD_URL says it, with blanks between "
            "several. user:password@ before the host goes with wss:// only; neither a password nor "
            "a token in it is shown."),
        file("ca", "Trust the authorities in this PEM file, and no others, for wss:// addresses."),
        file("cert", "Show this certificate (PEM) to the server. It goes with --key."),
        file("key", "The private key (PEM, not encrypted) of the certificate."),
        file("token-file",
             "Send the token in this file to the server, as a header of the request. Addresses "
             "have to be wss:// then."),
        option("timeout", "seconds",
               "How long to wait for the connection and for each answer: 5 by default. watch and "
               "record wait for ever by default; given it, they end when nothing came for so "
               "long."),
        flag("no-reconnect", "End when the connection cannot be made or is lost."),
        option("format f", "format",
               "text for people, which is the default; JSON lines or CSV for programs.",
               "text json csv"),
        option("time", "stamp",
               "Time stamps: none, local time, UTC, or the seconds since the line before. By "
               "default, watch prints local time as text and UTC otherwise, other commands none.",
               "none local utc delta"),
        flag("raw", "As text, print nothing but the values, one on each line."),
        option("count n", "number", "End after so many events, answers or messages."),
        flag("recursive r",
             "Each KEYWORD stands for all keywords below it; without one, for all there are."),
        option("type", "type", "List only keywords of this type.", "bool int double string"),
        option("access", "access",
               "List only keywords that grant this access: none asks for nothing (the default), "
               "read for reading, meta for their description, write for writing, readwrite for "
               "both.",
               "none read meta write readwrite"),
        option("depth", "levels", "Go no deeper than so many levels."),
        flag("wait w",
             "After sending, wait for the event that carries the value; its refusal and its "
             "absence have exit codes of their own."),
        option("as", "type",
               "Send the value as this type, rather than as what it looks like or, with --wait, as "
               "what the keyword is.",
               "bool int double string object"),
        flag("watch", "Go on printing each event of the aggregate."),
        option("keyword k", "keyword", "Name the aggregate, rather than by its children."),
        option("interval", "seconds", "The time from one request to the next: 1 by default."),
        list("exclude", "pattern",
             "Leave out keywords that match, and do not even ask for them: * stands for any text, "
             "? for one character."),
        option("rotate", "size",
               "Go on in a new file when one has reached this size, in bytes or with K, M or G. "
               "The full one gets a number behind its name, 1 for the first."),
        flag("force", "Overwrite the file if it exists."),
        option("speed", "factor",
               "Replay so many times as fast as it was recorded; max does not wait at all."),
        flag("loop", "Begin again at the end, until interrupted."),
        flag("hold", "Begin when the first client has asked for its keywords."),
        flag("stay", "At the end, go on serving the last values, until interrupted."),
        option("listen", "address",
               "Serve on this IP address, or on localhost: 127.0.0.1 by default."),
        option("port", "port", "Serve on this port; 0, the default, takes a free one."),
        list("allow-origin", "origin",
             "Serve web pages of this origin, such as http://localhost:3000, as well. By default "
             "no page is served; programs other than browsers always are."),
        flag("all", "With help: all commands with all their options."),
        flag("verbose v", "Log what the transport does, on standard error."),
        flag("help h", "Show help, of one command if there is one, and end."),
        flag("version", "Show the version and end."),
    };
    return table;
}

const QList<CommandEntry> &commandTable()
{
    static const QList<CommandEntry> table = {
        command("get", "KEYWORD...",
                "Print the values of keywords. - stands for those in standard input, one on each "
                "line.",
                "url ca cert key token-file timeout no-reconnect format time raw recursive type "
                "access depth"),
        command("watch", "KEYWORD...",
                "Print each event of keywords, until interrupted. - stands for those in standard "
                "input.",
                "url ca cert key token-file timeout no-reconnect format time raw count recursive "
                "type access depth"),
        command(
            "set", "KEYWORD VALUE [KEYWORD VALUE]...",
            "Write values. With - alone, each line of standard input has a keyword and its value; "
            "it is written as it comes.",
            "url ca cert key token-file timeout no-reconnect format time wait as"),
        command("add", "KEYWORD AMOUNT [KEYWORD AMOUNT]...",
                "Change values by an amount; true toggles a bool. - as for set.",
                "url ca cert key token-file timeout no-reconnect format time wait as"),
        command("ls", "[KEYWORD]...", "List what is directly below a keyword.",
                "url ca cert key token-file timeout no-reconnect format type access"),
        command("tree", "[KEYWORD]...", "List everything below a keyword.",
                "url ca cert key token-file timeout no-reconnect format type access depth"),
        command(
            "aggregate", "MODE CHILD CHILD...",
            "Have the server form one value of several: min, max, equal, sum, and, or.",
            "url ca cert key token-file timeout no-reconnect format time raw watch count keyword",
            "min max equal sum and or"),
        command("label", "KEYWORD...", "Print the labels of keywords. - as for get.",
                "url ca cert key token-file timeout no-reconnect format raw recursive type access "
                "depth"),
        command("ping", "[KEYWORD]",
                "Measure the round trip of a request for what is below a keyword.",
                "url ca cert key token-file timeout no-reconnect format count interval"),
        fileCommand(
            "record", "FILE [KEYWORD]...",
            "Store each message received, of all keywords by default, until interrupted. The file "
            "- is standard output, the keyword - stands for those in standard input.",
            "url ca cert key token-file timeout no-reconnect count recursive exclude rotate force "
            "type access "
            "depth"),
        fileCommand("replay", "FILE...", "Serve a recording to clients, over a WebSocket.",
                    "speed loop hold stay listen port allow-origin"),
        command("completion", "SHELL", "Print the completion file for a shell: bash, zsh or fish.",
                "", "bash zsh fish"),
        command("help", "[COMMAND]", "Show help.", "all"),
    };
    return table;
}

const QList<ExitCodeEntry> &exitCodeTable()
{
    static const QList<ExitCodeEntry> table = {
        {ExitCode::Success,
         text("Done. Also when an endless command was interrupted or its reader has gone.")},
        {ExitCode::NotFound, text("Nothing found: no such keyword, level or label.")},
        {ExitCode::BadUsage,
         text("Bad usage: the command line or the input makes no sense, or a number cannot be "
              "sent exactly.")},
        {ExitCode::NotConnected, text("Not connected: the server cannot be reached, or was lost.")},
        {ExitCode::Refused, text("Refused: the server did not accept a write.")},
        {ExitCode::TimedOut, text("Time-out: connected, but the answer did not come in time.")},
        {ExitCode::FileError,
         text("A file cannot be read or written, or is no recording; or a port is not to be had.")},
        {ExitCode::Interrupted,
         text("Interrupted before there was a result, by SIGINT, SIGTERM or SIGHUP.")},
    };
    return table;
}

const OptionEntry *findOption(const QString &name)
{
    const auto &table = optionTable();
    const auto found = std::find_if(table.cbegin(), table.cend(), [&](const OptionEntry &entry) {
        return entry.names.contains(name);
    });
    return found == table.cend() ? nullptr : &*found;
}

const CommandEntry *findCommand(const QString &name)
{
    const auto &table = commandTable();
    const auto found = std::find_if(table.cbegin(), table.cend(),
                                    [&](const CommandEntry &entry) { return entry.name == name; });
    return found == table.cend() ? nullptr : &*found;
}
