// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/eventreader_p.h"

#include "client/jsonscanner_p.h"

#include <cstring>

namespace pellix::client {

namespace {

// Compilers compare with a constant in place; the operator of Qt is a function call.
bool isSame(QLatin1String text, QLatin1String name)
{
    return text.size() == name.size()
        && std::memcmp(text.data(), name.data(), size_t(name.size())) == 0;
}

bool isSame(const QString &text, QLatin1String name)
{
    return text == name;
}

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
        if (isSame(text, known.name))
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
    AllMembers = (1 << 7) - 1,
};

template <typename Text> int memberOf(const Text &name)
{
    if (isSame(name, QLatin1String("value")))
        return Value;
    if (isSame(name, QLatin1String("keyword")))
        return Keyword;
    if (isSame(name, QLatin1String("type")))
        return Type;
    if (isSame(name, QLatin1String("connected")))
        return Connected;
    if (isSame(name, QLatin1String("online")))
        return Online;
    if (isSame(name, QLatin1String("consistent")))
        return Consistent;
    return isSame(name, QLatin1String("error")) ? Error : 0;
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

// Reads members of the payload up to its end, except those that have been read before.
bool readMembers(JsonScanner &scanner, int seen, QString *keyword, PKeywordValue *event)
{
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

bool readPayload(JsonScanner &scanner, QString *keyword, PKeywordValue *event)
{
    if (!scanner.take('{'))
        return false;
    return scanner.take('}') || readMembers(scanner, 0, keyword, event);
}

// Reads members of the message up to its end, except the command of an event and the payload if
// they have been read before.
bool readMessage(JsonScanner &scanner, bool isEvent, bool hasPayload, QString *keyword,
                 PKeywordValue *event)
{
    do {
        JsonScanner::String name;
        enum {
            Command,
            Payload,
            Other
        } member = Other;
        const auto find = [&member](const auto &text) {
            member = isSame(text, QLatin1String("cmd"))  ? Command
                : isSame(text, QLatin1String("payload")) ? Payload
                                                         : Other;
        };
        if (!scanner.takeString(&name) || !withText(name, find) || !scanner.take(':'))
            return false;
        if (member == Command) {
            JsonScanner::String command;
            const auto compare = [&isEvent](const auto &text) {
                isEvent = isSame(text, QLatin1String("keyEvent"));
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

// The form in which most servers send events: compact, with the members in alphabetical order, as
// Qt's JSON classes write them. What lies between the values is compared as a whole, up to the end
// of the last one. Returns false for every other form, after it may have changed the keyword and
// the event.
bool readUsualValues(JsonScanner &scanner, QString *keyword, PKeywordValue *event)
{
    JsonScanner::String name;
    JsonScanner::String type;
    const bool isUsual = scanner.takeBytes(R"({"cmd":"keyEvent","payload":{"connected":)")
        && scanner.takeFlag(&event->connected) && scanner.takeBytes(R"(,"consistent":)")
        && scanner.takeFlag(&event->consistent) && scanner.takeBytes(R"(,"error":)")
        && scanner.takeFlag(&event->error) && scanner.takeBytes(R"(,"keyword":)")
        && scanner.takeString(&name) && name.decode(keyword) && scanner.takeBytes(R"(,"online":)")
        && scanner.takeFlag(&event->online) && scanner.takeBytes(R"(,"type":)")
        && scanner.takeString(&type) && type.isPlain && scanner.takeBytes(R"(,"value":)")
        && scanner.takeValue(&event->value);
    if (isUsual)
        event->type = typeOf(QLatin1String(type.raw));
    return isUsual;
}

// What follows the value of an event that begins in the usual form: nothing, in most of them. Large
// values are not read a second time if another member follows.
bool readUsualEnd(JsonScanner &scanner, QString *keyword, PKeywordValue *event)
{
    if (scanner.takeBytes("}}"))
        return scanner.isAtEnd();
    const bool isPayload =
        scanner.take(',') ? readMembers(scanner, AllMembers, keyword, event) : scanner.take('}');
    if (!isPayload)
        return false;
    return scanner.take(',') ? readMessage(scanner, true, true, keyword, event)
                             : scanner.take('}') && scanner.isAtEnd();
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

bool readEvent(const QByteArray &message, JsonNames *names, QString *keyword, PKeywordValue *event)
{
    JsonScanner usual(message, names);
    if (readUsualValues(usual, keyword, event))
        return readUsualEnd(usual, keyword, event);
    *event = PKeywordValue();
    JsonScanner scanner(message, names);
    return scanner.take('{') && readMessage(scanner, false, false, keyword, event);
}

} // namespace pellix::client
