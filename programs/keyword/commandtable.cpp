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
        list("url u", "address",
             "Connect to the server at this address, ws://host:port or wss://host:port. If given "
             "several times, the next address is tried when one cannot be reached. The default is "
             "KEYWORD_URL, with several addresses separated by spaces. user:password@ before the "
             "host requires wss://. Passwords and tokens in an address are never shown."),
        file("ca", "Trust only the authorities in this PEM file, for wss:// addresses."),
        file("cert", "Send this certificate (PEM) to the server. Requires --key."),
        file("key", "The unencrypted private key (PEM) of the certificate."),
        file("token-file",
             "Send the token in this file to the server, in a header of the request. Requires "
             "wss:// addresses."),
        option("timeout", "seconds",
               "How long to wait for the connection and for each reply; 6 by default. By default, "
               "watch and record wait forever; with this option, they end if nothing arrives for "
               "this time."),
        flag("no-reconnect", "End when the connection fails or is lost."),
        option("format f", "format",
               "The output format: text for people, which is the default, or JSON lines or CSV for "
               "programs.",
               "text json csv"),
        option("time", "stamp",
               "The time stamps: none, local time, UTC, or the seconds since the previous line. By "
               "default, watch prints local time as text, and UTC in other formats; other commands "
               "print none.",
               "none local utc delta"),
        flag("raw", "Print only the values, one per line, in the format text."),
        option("count n", "number", "End after this number of events, replies, or messages."),
        flag("recursive r",
             "Use all keywords below each KEYWORD; without a KEYWORD, use all keywords."),
        option("type", "type", "List only keywords of this type.", "bool int double string"),
        option("access", "access",
               "List only keywords that grant this access: none for any (the default), read, meta "
               "for metadata, write, or readwrite for both.",
               "none read meta write readwrite"),
        option("depth", "levels", "Descend at most this number of levels."),
        flag("wait w",
             "Wait for the outcome of each write. A refusal has another exit code than a "
             "timeout or an unknown outcome."),
        option("as", "type",
               "Send the value as this type. By default, the type is determined by the value or, "
               "with --wait, by the keyword.",
               "bool int double string object"),
        flag("watch", "Keep printing each event of the aggregate."),
        option("keyword k", "keyword",
               "The name of the aggregate. By default, it is computed from its children."),
        option("interval", "seconds", "The time between two requests; 1 by default."),
        list("exclude", "pattern",
             "Exclude keywords that match, without subscribing to them: * matches any text, ? one "
             "character."),
        option("rotate", "size",
               "Continue in a new file when the file has reached this size, in bytes or with K, M, "
               "or G. A number is appended to the name of the full file, starting with 1."),
        flag("force", "Overwrite the file if it exists."),
        option("speed", "factor",
               "Replay this number of times as fast as recorded; max replays without waiting."),
        flag("loop", "Start again at the end, until interrupted."),
        flag("hold", "Start when the first client has subscribed to its keywords."),
        flag("stay", "Keep serving the last values at the end, until interrupted."),
        option("listen", "address",
               "Listen on this IP address, or on localhost; 127.0.0.1 by default."),
        option("port", "port", "Listen on this port; 0, the default, selects a free one."),
        list("allow-origin", "origin",
             "Also serve web pages from this origin, such as http://localhost:3000. By default, "
             "web pages are refused; other programs are always served."),
        flag("all", "Show all commands with all their options, for the command help."),
        flag("verbose v", "Log the activity of the transport on standard error."),
        flag("help h", "Show help, or the help of a command, and exit."),
        flag("version", "Show the version and exit."),
    };
    return table;
}

const QList<CommandEntry> &commandTable()
{
    static const QList<CommandEntry> table = {
        command("get", "KEYWORD...",
                "Print the values of keywords. - reads keywords from standard input, one per line.",
                "url ca cert key token-file timeout no-reconnect format time raw recursive type "
                "access depth"),
        command("watch", "KEYWORD...",
                "Print each event of keywords, until interrupted. - reads keywords from standard "
                "input.",
                "url ca cert key token-file timeout no-reconnect format time raw count recursive "
                "type access depth"),
        command("set", "KEYWORD VALUE [KEYWORD VALUE]...",
                "Write values. With - as the only argument, each line of standard input contains a "
                "keyword and its value, which is written immediately.",
                "url ca cert key token-file timeout no-reconnect format time wait as"),
        command("add", "KEYWORD AMOUNT [KEYWORD AMOUNT]...",
                "Change values by an amount; true toggles a Boolean value. For -, see set.",
                "url ca cert key token-file timeout no-reconnect format time wait as"),
        command("ls", "[KEYWORD]...", "List the children of a keyword.",
                "url ca cert key token-file timeout no-reconnect format type access"),
        command("tree", "[KEYWORD]...", "List everything below a keyword.",
                "url ca cert key token-file timeout no-reconnect format type access depth"),
        command(
            "aggregate", "MODE CHILD CHILD...",
            "Let the server compute one value from several: min, max, equal, sum, and, or.",
            "url ca cert key token-file timeout no-reconnect format time raw watch count keyword",
            "min max equal sum and or"),
        command("label", "KEYWORD...", "Print the labels of keywords. For -, see get.",
                "url ca cert key token-file timeout no-reconnect format raw recursive type access "
                "depth"),
        command("ping", "[KEYWORD]",
                "Measure the round-trip time of a query of the children of a keyword.",
                "url ca cert key token-file timeout no-reconnect format count interval"),
        fileCommand(
            "record", "FILE [KEYWORD]...",
            "Store each received message, of all keywords by default, until interrupted. The file "
            "- is standard output; the keyword - reads keywords from standard input.",
            "url ca cert key token-file timeout no-reconnect count recursive exclude rotate force "
            "type access "
            "depth"),
        fileCommand("replay", "FILE...", "Serve a recording to clients, over a WebSocket.",
                    "speed loop hold stay listen port allow-origin"),
        command("completion", "SHELL", "Print the completion file for a shell: bash, zsh, or fish.",
                "", "bash zsh fish"),
        command("help", "[COMMAND]", "Show help.", "all"),
    };
    return table;
}

const QList<ExitCodeEntry> &exitCodeTable()
{
    static const QList<ExitCodeEntry> table = {
        {ExitCode::Success,
         text("Success, including when an endless command is interrupted or its reader exits.")},
        {ExitCode::NotFound, text("Nothing found: no such keyword, level, or label.")},
        {ExitCode::BadUsage,
         text("Bad usage: the command line or the input is invalid, or a number cannot be sent "
              "exactly.")},
        {ExitCode::NotConnected,
         text("Not connected: the server cannot be reached, or the connection was lost.")},
        {ExitCode::Refused, text("Refused: the server did not accept a write.")},
        {ExitCode::TimedOut,
         text("Timeout: connected, but there was no reply in time, or the outcome of a write is "
              "not known.")},
        {ExitCode::FileError,
         text("A file cannot be read or written, or is not a recording; or a port is not "
              "available.")},
        {ExitCode::Interrupted,
         text("Interrupted before there was a result, by SIGINT, SIGTERM, or SIGHUP.")},
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
