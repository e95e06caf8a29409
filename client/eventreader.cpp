// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/eventreader_p.h"

#include "client/jsonscanner_p.h"

namespace pellix::client {

namespace {

struct TypeName
{
    QLatin1String name;
    PKeywordValueType type;
};

// Looked through from the front: for five short texts that is faster than a hash.
constexpr TypeName typeNames[] = {
    {QLatin1String("double"), PKeywordValueType::KVT_DOUBLE},
    {QLatin1String("int"), PKeywordValueType::KVT_INT},
    {QLatin1String("bool"), PKeywordValueType::KVT_BOOL},
    {QLatin1String("string"), PKeywordValueType::KVT_STRING},
    {QLatin1String("object"), PKeywordValueType::KVT_OBJECT},
};

template <typename Text> PKeywordValueType typeOf(const Text &text)
{
    for (const TypeName &known : typeNames) {
        if (text == known.name)
            return known.type;
    }
    return PKeywordValueType::KVT_NOPROP;
}

enum Member : quint8 {
    Keyword = 1 << 0,
    Value = 1 << 1,
    Type = 1 << 2,
    Connected = 1 << 3,
    Online = 1 << 4,
    Consistent = 1 << 5,
    Error = 1 << 6,
};

template <typename Text> int memberOf(const Text &name)
{
    if (name == QLatin1String("value"))
        return Value;
    if (name == QLatin1String("keyword"))
        return Keyword;
    if (name == QLatin1String("type"))
        return Type;
    if (name == QLatin1String("connected"))
        return Connected;
    if (name == QLatin1String("online"))
        return Online;
    if (name == QLatin1String("consistent"))
        return Consistent;
    return name == QLatin1String("error") ? Error : 0;
}

// Calls a function with a text as it is, or with a decoded one where it has to be. Returns false if
// it is not valid.
template <typename Function> bool withText(const JsonScanner::String &string, Function function)
{
    if (string.isPlain) {
        function(QLatin1String(string.raw));
        return true;
    }
    QString text;
    if (!string.decode(&text))
        return false;
    function(text);
    return true;
}

// A member that is something else than it should be counts as missing.
bool readText(JsonScanner &scanner, QString *text)
{
    JsonScanner::String string;
    if (scanner.next() != '"')
        return scanner.skipValue();
    return scanner.takeString(&string) && string.decode(text);
}

bool readMember(JsonScanner &scanner, int member, QString *keyword, PKeywordValue *event)
{
    switch (member) {
    case Value:
        return scanner.takeValue(&event->value);
    case Keyword:
        return readText(scanner, keyword);
    case Type: {
        JsonScanner::String name;
        if (scanner.next() != '"')
            return scanner.skipValue();
        return scanner.takeString(&name)
            && withText(name, [event](const auto &text) { event->type = typeOf(text); });
    }
    case Connected:
        return scanner.takeFlag(&event->connected);
    case Online:
        return scanner.takeFlag(&event->online);
    case Consistent:
        return scanner.takeFlag(&event->consistent);
    case Error:
        return scanner.takeFlag(&event->error);
    }
    return scanner.skipValue();
}

bool readPayload(JsonScanner &scanner, QString *keyword, PKeywordValue *event)
{
    if (!scanner.take('{'))
        return false;
    if (scanner.take('}'))
        return true;
    int seen = 0;
    do {
        JsonScanner::String name;
        int member = 0;
        if (!scanner.takeString(&name)
            || !withText(name, [&member](const auto &text) { member = memberOf(text); })
            || !scanner.take(':'))
            return false;
        if ((seen & member) || !readMember(scanner, member, keyword, event))
            return false;
        seen |= member;
    } while (scanner.take(','));
    return scanner.take('}');
}

} // namespace

PKeywordValueType valueTypeFromString(QLatin1String name)
{
    return typeOf(name);
}

PKeywordValueType valueTypeFromString(const QString &name)
{
    return typeOf(name);
}

bool readEvent(const QByteArray &message, QString *keyword, PKeywordValue *event)
{
    JsonScanner scanner(message);
    if (!scanner.take('{'))
        return false;
    bool isEvent = false;
    bool hasPayload = false;
    do {
        JsonScanner::String name;
        enum {
            Command,
            Payload,
            Other
        } member = Other;
        const auto find = [&member](const auto &text) {
            member = text == QLatin1String("cmd")  ? Command
                : text == QLatin1String("payload") ? Payload
                                                   : Other;
        };
        if (!scanner.takeString(&name) || !withText(name, find) || !scanner.take(':'))
            return false;
        if (member == Command) {
            JsonScanner::String command;
            const auto compare = [&isEvent](const auto &text) {
                isEvent = text == QLatin1String("keyEvent");
            };
            if (isEvent || !scanner.takeString(&command) || !withText(command, compare) || !isEvent)
                return false;
        } else if (member == Payload) {
            if (hasPayload || !readPayload(scanner, keyword, event))
                return false;
            hasPayload = true;
        } else if (!scanner.skipValue()) {
            return false;
        }
    } while (scanner.take(','));
    return scanner.take('}') && scanner.isAtEnd() && isEvent && hasPayload;
}

} // namespace pellix::client
