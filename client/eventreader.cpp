// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/eventreader_p.h"

#include <QtCore/QByteArrayView>

#include <cmath>

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

// As many digits as a double and a qint64 can hold, whatever they are.
constexpr qsizetype mostDigits = 15;

// Walks over the text of a message. What each function takes it steps over; one that cannot take
// what is there returns false, and the message is not a plain one.
class Scanner
{
public:
    explicit Scanner(const QByteArray &text) : at(text.constData()), end(at + text.size()) { }

    bool take(char character)
    {
        skipBlanks();
        if (at == end || *at != character)
            return false;
        ++at;
        return true;
    }

    bool takeEnd()
    {
        skipBlanks();
        return at == end;
    }

    bool takeString(QLatin1String *string)
    {
        if (!take('"'))
            return false;
        const char *const begin = at;
        for (; at != end && *at != '"'; ++at) {
            const auto byte = static_cast<unsigned char>(*at);
            if (byte < 0x20 || byte > 0x7e || byte == '\\')
                return false;
        }
        if (at == end)
            return false;
        *string = QLatin1String(begin, at - begin);
        ++at;
        return true;
    }

    bool takeBool(bool *value)
    {
        skipBlanks();
        *value = at != end && *at == 't';
        return takeWord(*value ? QByteArrayView("true") : QByteArrayView("false"));
    }

    bool takeValue(QVariant *value)
    {
        skipBlanks();
        if (at == end)
            return false;
        switch (*at) {
        case '"': {
            QLatin1String string;
            if (!takeString(&string))
                return false;
            *value = QString(string);
            return true;
        }
        case 't':
        case 'f': {
            bool truth = false;
            if (!takeBool(&truth))
                return false;
            *value = truth;
            return true;
        }
        default:
            return takeNumber(value);
        }
    }

private:
    void skipBlanks()
    {
        while (at != end && (*at == ' ' || *at == '\n' || *at == '\t' || *at == '\r'))
            ++at;
    }

    bool takeWord(QByteArrayView word)
    {
        if (end - at < word.size() || QByteArrayView(at, word.size()) != word)
            return false;
        at += word.size();
        return true;
    }

    qsizetype takeDigits()
    {
        const char *const begin = at;
        while (at != end && *at >= '0' && *at <= '9')
            ++at;
        return at - begin;
    }

    bool takeNumber(QVariant *value)
    {
        const char *const begin = at;
        if (*at == '-')
            ++at;
        const bool leadingZero = at != end && *at == '0';
        const qsizetype whole = takeDigits();
        if (whole == 0 || whole > mostDigits || (leadingZero && whole > 1))
            return false;
        if (at == end || *at == 'e' || *at == 'E')
            return false;
        if (*at != '.') {
            const qlonglong number = QByteArrayView(begin, at - begin).toLongLong();
            if (number == 0 && *begin == '-')
                return false; // minus zero
            *value = number;
            return true;
        }
        ++at;
        const qsizetype fraction = takeDigits();
        if (fraction == 0 || fraction > mostDigits || at == end || *at == 'e' || *at == 'E')
            return false;
        const double number = QByteArrayView(begin, at - begin).toDouble();
        if (number == std::floor(number))
            return false; // a document makes a whole number of it
        *value = number;
        return true;
    }

    const char *at;
    const char *const end;
};

enum Member : quint8 {
    Keyword = 1 << 0,
    Value = 1 << 1,
    Type = 1 << 2,
    Connected = 1 << 3,
    Online = 1 << 4,
    Consistent = 1 << 5,
    Error = 1 << 6,
};

int memberOf(QLatin1String name)
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

bool readMember(Scanner &scanner, int member, QString *keyword, PKeywordValue *event)
{
    QLatin1String text;
    switch (member) {
    case Value:
        return scanner.takeValue(&event->value);
    case Keyword:
        if (!scanner.takeString(&text))
            return false;
        *keyword = QString(text);
        return true;
    case Type:
        if (!scanner.takeString(&text))
            return false;
        event->type = valueTypeFromString(text);
        return true;
    case Connected:
        return scanner.takeBool(&event->connected);
    case Online:
        return scanner.takeBool(&event->online);
    case Consistent:
        return scanner.takeBool(&event->consistent);
    case Error:
        return scanner.takeBool(&event->error);
    }
    return false;
}

bool readPayload(Scanner &scanner, QString *keyword, PKeywordValue *event)
{
    if (!scanner.take('{'))
        return false;
    int seen = 0;
    do {
        QLatin1String name;
        if (!scanner.takeString(&name) || !scanner.take(':'))
            return false;
        const int member = memberOf(name);
        if (member == 0 || (seen & member) || !readMember(scanner, member, keyword, event))
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

bool readPlainEvent(const QByteArray &message, QString *keyword, PKeywordValue *event)
{
    Scanner scanner(message);
    QLatin1String name;
    QLatin1String command;
    return scanner.take('{') && scanner.takeString(&name) && name == QLatin1String("cmd")
        && scanner.take(':') && scanner.takeString(&command) && command == QLatin1String("keyEvent")
        && scanner.take(',') && scanner.takeString(&name) && name == QLatin1String("payload")
        && scanner.take(':') && readPayload(scanner, keyword, event) && scanner.take('}')
        && scanner.takeEnd();
}

} // namespace pellix::client
