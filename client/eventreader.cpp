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

// The form in which most servers send events: compact, with the members in alphabetical order, as
// Qt's JSON classes write them. What lies between the values is compared as a whole. Returns false
// for every other form, after it may have changed the keyword and the event.
bool readUsualEvent(JsonScanner scanner, QString *keyword, PKeywordValue *event)
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
        && scanner.takeValue(&event->value) && scanner.takeBytes("}}") && scanner.isAtEnd();
    if (isUsual)
        event->type = typeOf(QLatin1String(type.raw));
    return isUsual;
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
    if (readUsualEvent(scanner, keyword, event))
        return true;
    *event = PKeywordValue();
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

} // namespace pellix::client
