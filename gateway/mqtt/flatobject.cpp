// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/flatobject.h"

#include <algorithm>

namespace pellix::gateway {

namespace {

// A double represents every number with this many digits exactly.
constexpr qsizetype longestNumber = 15;

class Scanner
{
public:
    explicit Scanner(QByteArrayView json) : at(json.data()), end(json.data() + json.size()) { }

    bool isAtEnd() const { return at == end; }
    void skipBlanks()
    {
        while (at != end && (*at == ' ' || *at == '\n' || *at == '\r' || *at == '\t'))
            ++at;
    }
    bool take(char c)
    {
        skipBlanks();
        if (at == end || *at != c)
            return false;
        ++at;
        return true;
    }
    // Returns a string of plain ASCII with its quotation marks, or null. If there is no string,
    // nothing is consumed; if the string contains other characters, everything is.
    QByteArrayView takeText()
    {
        if (!take('"'))
            return {};
        const char *const start = at - 1;
        while (at != end && *at != '"') {
            const auto c = static_cast<unsigned char>(*at++);
            if (c < 0x20 || c >= 0x7f || c == '\\')
                at = end;
        }
        if (at == end)
            return {};
        ++at;
        return {start, at - start};
    }
    QByteArrayView takeWord()
    {
        skipBlanks();
        const char *const begin = at;
        while (at != end
               && ((*at >= 'a' && *at <= 'z') || (*at >= '0' && *at <= '9') || *at == '-'
                   || *at == '.'))
            ++at;
        return {begin, at - begin};
    }

private:
    const char *at;
    const char *end;
};

// No exponent, and no negative zero, which one reader treats as an integer and the other does not.
bool isPlainNumber(QByteArrayView word)
{
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    const char *at = word.cbegin();
    const char *const end = word.cend();
    const bool isNegative = at != end && *at == '-';
    at += isNegative;
    const char *const digits = at;
    while (at != end && isDigit(*at))
        ++at;
    if (at == digits || (*digits == '0' && (isNegative || at - digits > 1)))
        return false;
    if (at == end)
        return true;
    const char *const fraction = at + 1;
    if (*at != '.' || fraction == end)
        return false;
    return std::all_of(fraction, end, isDigit);
}

bool isPlainValue(QByteArrayView word)
{
    if (word == QByteArrayView("true") || word == QByteArrayView("false")
        || word == QByteArrayView("null"))
        return true;
    return word.size() <= longestNumber && isPlainNumber(word);
}

} // namespace

std::optional<FlatObject> FlatObject::read(QByteArrayView json)
{
    FlatObject object;
    Scanner scanner(json);
    if (!scanner.take('{'))
        return std::nullopt;
    do {
        if (object.count == most)
            return std::nullopt;
        Member &member = object.members[std::size_t(object.count++)];
        scanner.skipBlanks();
        member.name = scanner.takeText();
        if (member.name.isNull() || !scanner.take(':'))
            return std::nullopt;
        member.name = member.name.sliced(1, member.name.size() - 2);
        scanner.skipBlanks();
        member.value = scanner.takeText();
        if (member.value.isNull()) {
            member.value = scanner.takeWord();
            if (!isPlainValue(member.value))
                return std::nullopt;
        }
    } while (scanner.take(','));
    if (!scanner.take('}'))
        return std::nullopt;
    scanner.skipBlanks();
    if (!scanner.isAtEnd())
        return std::nullopt;
    return object;
}

std::optional<Payload> FlatObject::member(QByteArrayView name) const
{
    for (int i = count - 1; i >= 0; --i) { // the last duplicate counts
        const QByteArrayView value = members[std::size_t(i)].value;
        if (members[std::size_t(i)].name != name)
            continue;
        Payload payload;
        if (value.front() == '"') {
            payload.kind = Payload::Kind::Text;
            payload.string = QString::fromLatin1(value.sliced(1, value.size() - 2));
        } else {
            payload = Payload::read(value);
            payload.bytes = {};
            if (payload.kind == Payload::Kind::Number && !payload.isWhole) {
                const auto whole = qint64(payload.number);
                payload.isWhole = double(whole) == payload.number;
                payload.whole = payload.isWhole ? whole : 0;
            }
        }
        payload.isMember = true;
        return payload;
    }
    return std::nullopt;
}

} // namespace pellix::gateway
