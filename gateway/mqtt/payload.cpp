// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/payload.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <array>
#include <charconv>
#include <cmath>

namespace pellix::gateway {

namespace {

constexpr double wholeLimit = 9223372036854775808.0; // the first number beyond the range of an int
constexpr char placeholder[] = "$value";

bool isBlank(char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

QByteArrayView trimmed(QByteArrayView bytes)
{
    qsizetype begin = 0;
    qsizetype end = bytes.size();
    while (begin < end && isBlank(bytes[begin]))
        ++begin;
    while (end > begin && isBlank(bytes[end - 1]))
        --end;
    return bytes.sliced(begin, end - begin);
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Reads a number in exactly the syntax of JSON.
bool readNumber(QByteArrayView text, Payload *payload)
{
    const char *const end = text.data() + text.size();
    const char *at = text.data();
    const bool isNegative = at != end && *at == '-';
    at += isNegative;
    const char *const digits = at;
    quint64 whole = 0;
    while (at != end && isDigit(*at))
        whole = whole * 10 + quint64(*at++ - '0');
    const auto digitCount = at - digits;
    if (digitCount == 0 || (digitCount > 1 && *digits == '0'))
        return false;
    payload->kind = Payload::Kind::Number;
    if (at == end && digitCount <= 18) {
        payload->isWhole = true;
        payload->whole = isNegative ? -qint64(whole) : qint64(whole);
        payload->number = isNegative ? -double(whole) : double(whole);
        return true;
    }
    if (at != end && *at == '.') {
        const char *const fraction = ++at;
        while (at != end && isDigit(*at))
            ++at;
        if (at == fraction)
            return false;
    }
    bool isTiny = false;
    if (at != end && (*at == 'e' || *at == 'E')) {
        ++at;
        isTiny = at != end && *at == '-';
        if (at != end && (*at == '-' || *at == '+'))
            ++at;
        const char *const exponent = at;
        while (at != end && isDigit(*at))
            ++at;
        if (at == exponent)
            return false;
    }
    if (at != end)
        return false;
    const auto result = std::from_chars(text.data(), end, payload->number);
    if (result.ec == std::errc::result_out_of_range) {
        payload->number = 0;
        if (!isTiny)
            payload->kind = Payload::Kind::Unreadable;
    }
    const auto exact = std::from_chars(text.data(), end, payload->whole);
    payload->isWhole = exact.ec == std::errc() && exact.ptr == end;
    return true;
}

// Checked before the recursive parser runs.
bool isTooDeep(QByteArrayView json)
{
    int depth = 0;
    bool inText = false;
    for (qsizetype i = 0; i < json.size(); ++i) {
        const char c = json[i];
        if (inText) {
            if (c == '\\')
                ++i;
            inText = c != '"';
        } else if (c == '"') {
            inText = true;
        } else if (c == '{' || c == '[') {
            if (++depth > Payload::deepest)
                return true;
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return false;
}

QByteArray raw(QByteArrayView bytes)
{
    return QByteArray::fromRawData(bytes.data(), bytes.size());
}

void readText(Payload *payload)
{
    payload->kind = payload->bytes.isValidUtf8() ? Payload::Kind::Text : Payload::Kind::Unreadable;
}

void readJson(QByteArrayView text, Payload *payload)
{
    const bool isText = text.front() == '"';
    QJsonParseError error;
    QJsonDocument document;
    if (isText)
        document = QJsonDocument::fromJson('[' + raw(text) + ']', &error);
    else if (!isTooDeep(text))
        document = QJsonDocument::fromJson(raw(text), &error);
    else
        return; // unreadable
    if (isText && document.isArray() && document.array().size() == 1) {
        payload->kind = Payload::Kind::Text;
        payload->string = document.array().first().toString();
        payload->isMember = true;
        return;
    }
    if (!isText && !document.isNull()) {
        payload->kind = Payload::Kind::Structure;
        payload->structure =
            document.isObject() ? QJsonValue(document.object()) : QJsonValue(document.array());
        return;
    }
    // Any text may begin like JSON. However, a number out of range is still a number, and a
    // document that is too deep or too large is still JSON. Both are unreadable.
    const qsizetype before = qBound(qsizetype(0), qsizetype(error.offset) - 1, text.size() - 1);
    if ((error.error == QJsonParseError::IllegalNumber && isDigit(text[before]))
        || error.error == QJsonParseError::DeepNesting
        || error.error == QJsonParseError::DocumentTooLarge)
        return;
    readText(payload);
}

ValueType typeOfValue(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return ValueType::Bool;
    case QMetaType::Int:
    case QMetaType::LongLong:
        return ValueType::Int;
    case QMetaType::Double:
        return ValueType::Double;
    case QMetaType::QString:
        return ValueType::String;
    case QMetaType::QVariantMap:
    case QMetaType::QVariantList:
        return ValueType::Object;
    default:
        return ValueType::None;
    }
}

// The common type of all values. Integers together with other numbers are numbers.
ValueType commonType(const QList<TopicValue> &values)
{
    const auto isNumber = [](ValueType type) {
        return type == ValueType::Int || type == ValueType::Double;
    };
    ValueType common = ValueType::None;
    for (const TopicValue &entry : values) {
        const ValueType type = typeOfValue(entry.value);
        if (common == ValueType::None || type == ValueType::None)
            common = common == ValueType::None ? type : common;
        else if (isNumber(type) && isNumber(common))
            common = type == common ? type : ValueType::Double;
        else if (type != common)
            return ValueType::None;
    }
    return common;
}

bool isSame(const QVariant &left, const QVariant &right)
{
    const auto isNumber = [](const QVariant &value) {
        const ValueType type = typeOfValue(value);
        return type == ValueType::Int || type == ValueType::Double;
    };
    if (isNumber(left) && isNumber(right))
        return left.toDouble() == right.toDouble();
    return left == right;
}

QByteArray compactJson(const QJsonValue &value)
{
    const QByteArray list = QJsonDocument(QJsonArray {value}).toJson(QJsonDocument::Compact);
    return list.sliced(1, list.size() - 2);
}

bool isJson(const QByteArray &text)
{
    QJsonParseError error;
    QJsonDocument::fromJson('[' + text + ']', &error);
    return error.error == QJsonParseError::NoError;
}

} // namespace

ValueType valueType(const QString &word)
{
    for (int i = 1; i <= int(ValueType::Object); ++i) {
        if (valueTypeWord(ValueType(i)) == word)
            return ValueType(i);
    }
    return ValueType::None;
}

const QString &valueTypeWord(ValueType type)
{
    static const std::array<QString, 6> words {QString(),
                                               QStringLiteral("bool"),
                                               QStringLiteral("int"),
                                               QStringLiteral("double"),
                                               QStringLiteral("string"),
                                               QStringLiteral("object")};
    return words[std::size_t(type)];
}

Payload Payload::read(QByteArrayView bytes)
{
    Payload payload;
    payload.bytes = bytes;
    if (bytes.size() > longest)
        return payload;
    const QByteArrayView text = trimmed(bytes);
    const char first = text.isEmpty() ? '\0' : text.front();
    if (isDigit(first) || first == '-') {
        if (!readNumber(text, &payload)) {
            payload = {};
            payload.bytes = bytes;
            readText(&payload);
        }
    } else if (first == '{' || first == '[' || first == '"') {
        readJson(text, &payload);
    } else if (text == QByteArrayView("true") || text == QByteArrayView("false")) {
        payload.kind = Kind::Bool;
        payload.boolean = first == 't';
    } else if (text == QByteArrayView("null")) {
        payload.kind = Kind::Null;
    } else {
        readText(&payload);
    }
    return payload;
}

Payload Payload::read(const QJsonValue &member)
{
    Payload payload;
    payload.isMember = true;
    switch (member.type()) {
    case QJsonValue::Null:
        payload.kind = Kind::Null;
        break;
    case QJsonValue::Bool:
        payload.kind = Kind::Bool;
        payload.boolean = member.toBool();
        break;
    case QJsonValue::Double:
        payload.number = member.toDouble();
        payload.kind = std::isfinite(payload.number) ? Kind::Number : Kind::Unreadable;
        // toInteger() returns its default for a number that is not an integer or is out of range,
        // so two calls with different defaults differ.
        payload.whole = member.toInteger(0);
        payload.isWhole = payload.whole == member.toInteger(1);
        break;
    case QJsonValue::String:
        payload.kind = Kind::Text;
        payload.string = member.toString();
        break;
    case QJsonValue::Array:
    case QJsonValue::Object:
        payload.kind = Kind::Structure;
        payload.structure = member;
        break;
    case QJsonValue::Undefined:
        break;
    }
    return payload;
}

ValueType Payload::inferredType() const
{
    switch (kind) {
    case Kind::Bool:
        return ValueType::Bool;
    case Kind::Number:
        return ValueType::Double;
    case Kind::Text:
        return ValueType::String;
    case Kind::Structure:
        return ValueType::Object;
    case Kind::Unreadable:
    case Kind::Null:
        break;
    }
    return ValueType::None;
}

QString Payload::text() const
{
    return isMember ? string : QString::fromUtf8(bytes);
}

QJsonValue Payload::json() const
{
    switch (kind) {
    case Kind::Bool:
        return boolean;
    case Kind::Number:
        return isWhole ? QJsonValue(whole) : QJsonValue(number);
    case Kind::Text:
        return text();
    case Kind::Structure:
        return structure;
    case Kind::Null:
        return QJsonValue(QJsonValue::Null);
    case Kind::Unreadable:
        break;
    }
    return QJsonValue(QJsonValue::Undefined);
}

PayloadRules::PayloadRules(const TopicKeyword &keyword)
    : declaredType(valueType(keyword.type)), isDeclared(declaredType != ValueType::None),
      ignoresOthers(keyword.ignoresOthers), hasMap(!keyword.values.isEmpty()),
      written(keyword.writeValues.isEmpty() ? keyword.values : keyword.writeValues),
      unknown(keyword.unknownPayloads), emptyText(keyword.emptyText), scale(keyword.scale)
{
    if (declaredType == ValueType::None)
        declaredType = commonType(keyword.values);
    for (const TopicValue &entry : keyword.values) {
        const QByteArray text = entry.payload.isString() ? entry.payload.toString().toUtf8()
                                                         : compactJson(entry.payload);
        if (!byText.contains(text))
            byText.insert(text, entry.value);
        if (!entry.payload.isString())
            byJson.append(entry);
    }
    if (!keyword.pattern.isEmpty())
        pattern = QRegularExpression(QRegularExpression::anchoredPattern(keyword.pattern));
    const qsizetype at = keyword.writePayload.indexOf(placeholder);
    if (at < 0) {
        before = keyword.writePayload; // a constant payload, such as for a button
        spelling = keyword.writePayload.isEmpty() ? Spelling::Text : Spelling::Json;
        return;
    }
    before = keyword.writePayload.first(at);
    after = keyword.writePayload.sliced(at + qsizetype(sizeof placeholder) - 1);
    if (isJson(before + "\"\"" + after))
        spelling = before.isEmpty() && after.isEmpty() ? Spelling::Text : Spelling::Json;
    else if (isJson(before + "0" + after))
        spelling = Spelling::InQuotes;
}

const QVariant *PayloadRules::mapped(const Payload &payload) const
{
    const auto find = [this](const QByteArray &text) -> const QVariant * {
        const auto found = byText.constFind(text);
        return found == byText.constEnd() ? nullptr : &*found;
    };
    if (!payload.isMember) {
        if (const QVariant *const value = find(raw(payload.bytes)))
            return value;
        if (const QVariant *const value = find(raw(trimmed(payload.bytes))))
            return value;
    } else if (payload.kind == Payload::Kind::Text) {
        return find(payload.string.toUtf8());
    }
    const QJsonValue json = payload.json();
    for (const TopicValue &entry : byJson) {
        if (entry.payload == json
            || (entry.payload.isDouble() && json.isDouble()
                && entry.payload.toDouble() == json.toDouble()))
            return &entry.value;
    }
    // The member is a number or a literal, but is declared as a string.
    return payload.isMember && payload.kind != Payload::Kind::Structure ? find(compactJson(json))
                                                                        : nullptr;
}

bool PayloadRules::isUnknown(const Payload &payload) const
{
    if (unknown.isEmpty())
        return false;
    if (!payload.isMember)
        return unknown.contains(raw(payload.bytes))
            || unknown.contains(raw(trimmed(payload.bytes)));
    const QJsonValue json = payload.json();
    return unknown.contains(json.isString() ? json.toString().toUtf8() : compactJson(json));
}

PayloadRules::Result PayloadRules::value(const Payload &payload, ValueType type,
                                         QVariant *value) const
{
    if (!emptyText.isNull() && !payload.isMember && payload.bytes == emptyText) {
        *value = QStringLiteral("");
        return type == ValueType::String ? Result::Value : Result::Misfit;
    }
    if (payload.kind != Payload::Kind::Unreadable && isUnknown(payload)) {
        *value = QVariant();
        return Result::Value;
    }
    if (hasMap && payload.kind != Payload::Kind::Unreadable) {
        if (const QVariant *const known = mapped(payload)) {
            *value = *known;
            return Result::Value;
        }
        return ignoresOthers ? Result::Ignored : Result::Misfit;
    }
    switch (payload.kind) {
    case Payload::Kind::Unreadable:
        break;
    case Payload::Kind::Null:
        *value = QVariant();
        return Result::Value;
    case Payload::Kind::Bool:
        if (type == ValueType::Bool) {
            *value = payload.boolean;
            return Result::Value;
        }
        return text(payload, type, value);
    case Payload::Kind::Number:
        if (type == ValueType::Int && payload.isWhole && !scale) {
            *value = payload.whole;
            return Result::Value;
        }
        if (type == ValueType::Int || type == ValueType::Double)
            return number(payload.number, type, value);
        return text(payload, type, value);
    case Payload::Kind::Text:
        return text(payload, type, value);
    case Payload::Kind::Structure:
        if (type == ValueType::Object) {
            *value = payload.structure.toVariant();
            return Result::Value;
        }
        return isDeclared ? text(payload, type, value) : Result::Misfit;
    }
    return Result::Misfit;
}

PayloadRules::Result PayloadRules::number(double number, ValueType type, QVariant *value) const
{
    if (scale) {
        const auto &[from, to, first, last] = *scale;
        number = first + (number - from) * (last - first) / (to - from);
    }
    if (!std::isfinite(number))
        return Result::Misfit;
    if (type == ValueType::Double) {
        *value = number;
        return Result::Value;
    }
    const double whole = scale ? std::round(number) : number;
    if (std::trunc(whole) != whole || whole < -wholeLimit || whole >= wholeLimit)
        return Result::Misfit;
    *value = qint64(whole);
    return Result::Value;
}

// A payload that is not a string is accepted as one if it is declared as such, or if the whole
// payload is one word.
PayloadRules::Result PayloadRules::text(const Payload &payload, ValueType type,
                                        QVariant *value) const
{
    if (type == ValueType::String) {
        QString text;
        if (payload.kind == Payload::Kind::Text)
            text = payload.text();
        else if (!payload.isMember)
            text = QString::fromUtf8(payload.bytes);
        else if (isDeclared)
            text = QString::fromUtf8(compactJson(payload.json()));
        else
            return Result::Misfit;
        if (pattern && !pattern->match(text).hasMatch())
            return Result::Misfit;
        *value = text;
        return Result::Value;
    }
    if (!isDeclared || payload.kind != Payload::Kind::Text)
        return Result::Misfit;
    // A number or a literal in quotation marks.
    const QByteArray utf8 =
        payload.isMember ? payload.string.toUtf8() : payload.bytes.toByteArray();
    QByteArrayView word = trimmed(utf8);
    if (word.startsWith('+'))
        word = word.sliced(1);
    if (type == ValueType::Bool
        && (word == QByteArrayView("true") || word == QByteArrayView("false"))) {
        *value = word.front() == 't';
        return Result::Value;
    }
    Payload inner;
    if ((type == ValueType::Int || type == ValueType::Double) && readNumber(word, &inner)
        && inner.kind == Payload::Kind::Number) {
        inner.isMember = true;
        return this->value(inner, type, value);
    }
    return Result::Misfit;
}

QByteArray PayloadRules::spelled(const QJsonValue &value) const
{
    const auto plain = [&value] {
        if (value.isString())
            return value.toString().toUtf8();
        return value.isDouble() && value.toInteger(0) != value.toInteger(1)
            ? numberText(value.toDouble())
            : compactJson(value);
    };
    switch (spelling) {
    case Spelling::Text:
        return before + plain() + after;
    case Spelling::Json:
        return before + (value.isString() ? compactJson(value) : plain()) + after;
    case Spelling::InQuotes:
        break;
    }
    const QByteArray quoted = compactJson(QJsonValue(QString::fromUtf8(plain())));
    return before + quoted.sliced(1, quoted.size() - 2) + after;
}

std::optional<QByteArray> PayloadRules::payload(const QVariant &value, ValueType type) const
{
    if (spelling == Spelling::Json && after.isNull())
        return before;
    if (!written.isEmpty()) {
        for (const TopicValue &entry : written) {
            if (isSame(entry.value, value))
                return spelled(entry.payload);
        }
        return std::nullopt;
    }
    if (type == ValueType::String && value.toString().isEmpty() && !emptyText.isNull()
        && before.isEmpty() && after.isEmpty())
        return emptyText;
    if (scale && (type == ValueType::Int || type == ValueType::Double)) {
        const auto &[from, to, first, last] = *scale;
        const double number = from + (value.toDouble() - first) * (to - from) / (last - first);
        if (!std::isfinite(number))
            return std::nullopt;
        return spelled(number);
    }
    if (type == ValueType::Int)
        return spelled(QJsonValue(value.toLongLong()));
    if (type == ValueType::Double && !std::isfinite(value.toDouble()))
        return std::nullopt;
    return spelled(QJsonValue::fromVariant(value));
}

std::optional<QByteArray> PayloadRules::changePayload(double change, ValueType type) const
{
    double number = change;
    if (scale) {
        const auto &[from, to, first, last] = *scale;
        number = change * (to - from) / (last - first);
    }
    if (!std::isfinite(number))
        return std::nullopt;
    if (type == ValueType::Int && !scale)
        return spelled(QJsonValue(qint64(number)));
    return spelled(number);
}

QByteArray numberText(double number)
{
    std::array<char, 64> buffer;
    const double size = std::abs(number);
    const bool isUsual = number == 0 || (size >= 1e-5 && size < 1e15);
    const auto format = isUsual ? std::chars_format::fixed : std::chars_format::scientific;
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, format);
    return {buffer.data(), result.ptr - buffer.data()};
}

std::optional<qint64> timeOf(const QJsonValue &value)
{
    constexpr double firstMilliseconds = 1e11; // as seconds, this is the year 5138
    if (value.isDouble()) {
        const double number = value.toDouble();
        if (!(number >= 0 && number < 1e15))
            return std::nullopt;
        return qint64(number < firstMilliseconds ? number * 1000 : number);
    }
    QDateTime time = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    if (!time.isValid())
        return std::nullopt;
    return time.toMSecsSinceEpoch();
}

} // namespace pellix::gateway
