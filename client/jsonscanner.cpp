// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/jsonscanner_p.h"

#include "client/jsonnames_p.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QStringView>

#include <array>
#include <charconv>
#include <cmath>
#include <map>

namespace pellix::client {

namespace {

// Deeper values are left to QJsonDocument, which has its own limit: the stack is finite.
constexpr int greatestDepth = 64;

// So many digits fit a qint64 whatever they are, and fewer a double without rounding.
constexpr qsizetype mostPlainDigits = 18;

// Printable ASCII except for the quote and the backslash: most bytes of a string.
constexpr auto plainBytes = [] {
    std::array<bool, 256> plain {};
    for (size_t byte = 0x20; byte < 0x7f; ++byte)
        plain[byte] = byte != '"' && byte != '\\';
    return plain;
}();

const QByteArrayView byteOrderMark("\xef\xbb\xbf");

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

// The code unit of the four digits of an escape, or a negative number.
int unitOf(QByteArrayView digits)
{
    int unit = 0;
    for (const char digit : digits) {
        const int value = digit >= '0' && digit <= '9' ? digit - '0'
            : digit >= 'a' && digit <= 'f'             ? digit - 'a' + 10
            : digit >= 'A' && digit <= 'F'             ? digit - 'A' + 10
                                                       : -1;
        if (value < 0)
            return -1;
        unit = unit * 16 + value;
    }
    return digits.size() == 4 ? unit : -1;
}

// What a backslash and the character behind it stand for; 0 if that is left to QJsonDocument.
char16_t escaped(char character)
{
    switch (character) {
    case '"':
    case '\\':
    case '/':
        return char16_t(character);
    case 'b':
        return u'\b';
    case 'f':
        return u'\f';
    case 'n':
        return u'\n';
    case 'r':
        return u'\r';
    case 't':
        return u'\t';
    default:
        return 0;
    }
}

bool appendUtf8(QByteArrayView utf8, QString *text)
{
    // The mark would be left out, although it is a part of the text.
    if (!utf8.isValidUtf8() || utf8.startsWith(byteOrderMark))
        return false;
    text->append(QString::fromUtf8(utf8));
    return true;
}

bool hasLoneSurrogate(const QString &text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!text.at(i).isSurrogate())
            continue;
        if (!text.at(i).isHighSurrogate() || i + 1 == text.size()
            || !text.at(i + 1).isLowSurrogate())
            return true;
        ++i;
    }
    return false;
}

bool isZero(QByteArrayView number)
{
    for (const char character : number) {
        if (character == 'e' || character == 'E')
            break;
        if (character != '0' && character != '.' && character != '-')
            return false;
    }
    return true;
}

// Qt decides whether the sign of a zero is lost, and may decide otherwise in another version: it is
// asked once.
QVariant minusZero(bool isWhole)
{
    static const QVariantList zeros =
        QJsonDocument::fromJson(QByteArrayLiteral("[-0,-0.0]")).array().toVariantList();
    return zeros.at(isWhole ? 0 : 1);
}

// The rules of the locale "C". Returns false beyond what a double holds.
bool toDouble(QByteArrayView number, double *value)
{
#ifdef __cpp_lib_to_chars
    const auto [last, error] = std::from_chars(number.begin(), number.end(), *value);
    return error == std::errc() && last == number.end();
#else
    bool isGood = false;
    *value = number.toDouble(&isGood);
    return isGood;
#endif
}

} // namespace

bool JsonScanner::String::decode(QString *text) const
{
    if (isPlain) {
        *text = QString::fromLatin1(raw);
        return true;
    }
    text->clear();
    text->reserve(raw.size());
    for (qsizetype from = 0;;) {
        const qsizetype escape = raw.indexOf('\\', from);
        if (!appendUtf8(raw.sliced(from, (escape < 0 ? raw.size() : escape) - from), text))
            return false;
        if (escape < 0)
            break;
        const char kind = raw.at(escape + 1); // never the last: the quote behind would be escaped
        from = escape + 2;
        if (kind == 'u') {
            const int unit = unitOf(raw.sliced(from, qMin<qsizetype>(4, raw.size() - from)));
            if (unit < 0)
                return false;
            text->append(QChar(char16_t(unit)));
            from += 4;
        } else if (const char16_t unit = escaped(kind)) {
            text->append(QChar(unit));
        } else {
            return false;
        }
    }
    return !hasLoneSurrogate(*text);
}

bool JsonScanner::takeString(String *string)
{
    if (!take('"'))
        return false;
    const char *const begin = at;
    bool isPlain = true;
    for (;;) {
        while (at != end && plainBytes[static_cast<unsigned char>(*at)])
            ++at;
        if (at == end)
            return false;
        if (*at == '"')
            break;
        const auto byte = static_cast<unsigned char>(*at);
        if (byte < 0x20 || (byte == '\\' && ++at == end))
            return false;
        isPlain = false;
        ++at;
    }
    *string = {QByteArrayView(begin, at - begin), isPlain};
    ++at;
    return true;
}

bool JsonScanner::takeName(QString *name)
{
    String string;
    if (!takeString(&string) || !take(':'))
        return false;
    if (!string.isPlain)
        return string.decode(name);
    *name = names->shared(QLatin1String(string.raw));
    return true;
}

bool JsonScanner::takeFlag(bool *flag)
{
    *flag = next() == 't';
    return *flag ? takeBytes("true") : skipValue();
}

bool JsonScanner::takeValue(QVariant *value, int depth)
{
    switch (next()) {
    case '"': {
        String string;
        QString text;
        if (!takeString(&string) || !string.decode(&text))
            return false;
        *value = text;
        return true;
    }
    case 't':
        *value = true;
        return takeBytes("true");
    case 'f':
        *value = false;
        return takeBytes("false");
    case 'n':
        *value = QVariant::fromValue(nullptr);
        return takeBytes("null");
    case '[':
        return depth < greatestDepth && takeArray(value, depth + 1);
    case '{':
        return depth < greatestDepth && takeObject(value, depth + 1);
    default:
        return takeNumber(value);
    }
}

// What is skipped has to be valid as well, or there would not have been a document.
bool JsonScanner::skipValue(int depth)
{
    switch (next()) {
    case '"': {
        String string;
        QString text;
        return takeString(&string) && (string.isPlain || string.decode(&text));
    }
    case 't':
        return takeBytes("true");
    case 'f':
        return takeBytes("false");
    case 'n':
        return takeBytes("null");
    case '[':
    case '{': {
        QVariant value;
        return takeValue(&value, depth);
    }
    default: {
        QVariant value;
        return takeNumber(&value);
    }
    }
}

// A number without a fraction and an exponent is whole, and so is every other one that a qint64
// holds exactly.
bool JsonScanner::takeNumber(QVariant *value)
{
    const char *const begin = at;
    const bool isNegative = at != end && *at == '-';
    if (isNegative)
        ++at;
    const char *const digits = at;
    qlonglong whole = 0;
    for (; at != end && isDigit(*at); ++at) {
        if (at - digits < mostPlainDigits)
            whole = whole * 10 + (*at - '0');
    }
    const qsizetype count = at - digits;
    if (count == 0 || (count > 1 && *digits == '0'))
        return false;
    const bool isWhole = at == end || (*at != '.' && *at != 'e' && *at != 'E');
    if (isWhole && count <= mostPlainDigits) {
        if (whole == 0 && isNegative)
            *value = minusZero(true);
        else
            *value = isNegative ? -whole : whole;
        return true;
    }

    if (at != end && *at == '.') {
        const char *const fraction = ++at;
        while (at != end && isDigit(*at))
            ++at;
        if (at == fraction)
            return false;
    }
    if (at != end && (*at == 'e' || *at == 'E')) {
        ++at;
        if (at != end && (*at == '+' || *at == '-'))
            ++at;
        const char *const exponent = at;
        while (at != end && isDigit(*at))
            ++at;
        if (at == exponent)
            return false;
    }
    const QByteArrayView number(begin, at - begin);
    if (isWhole) {
        bool isGood = false;
        const qlonglong great = number.toLongLong(&isGood);
        if (isGood) {
            *value = great;
            return true;
        }
    }
    if (isZero(number)) {
        *value = isNegative ? minusZero(false) : QVariant(qlonglong(0));
        return true;
    }
    double real = 0;
    // Numbers next to zero are where digits get lost.
    if (!toDouble(number, &real) || !std::isnormal(real))
        return false;
    constexpr double limit = 9223372036854775808.0; // 2 to the power of 63
    if (real == std::floor(real) && real >= -limit && real < limit)
        *value = qlonglong(real);
    else
        *value = real;
    return true;
}

bool JsonScanner::takeArray(QVariant *value, int depth)
{
    QVariantList list;
    ++at;
    if (!take(']')) {
        do {
            QVariant element;
            if (!takeValue(&element, depth))
                return false;
            list.append(std::move(element));
        } while (take(','));
        if (!take(']'))
            return false;
    }
    *value = list;
    return true;
}

bool JsonScanner::takeObject(QVariant *value, int depth)
{
    std::map<QString, QVariant> members;
    ++at;
    if (!take('}')) {
        size_t count = 0;
        do {
            QString name;
            if (!takeName(&name))
                return false;
            // Most encoders sort the members, so the last place saves a search.
            const auto member = members.emplace_hint(members.cend(), std::move(name), QVariant());
            if (members.size() != ++count)
                return false; // one of them occurs twice
            if (!takeValue(&member->second, depth))
                return false;
        } while (take(','));
        if (!take('}'))
            return false;
    }
    *value = QVariantMap(std::move(members));
    return true;
}

} // namespace pellix::client
