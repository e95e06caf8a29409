// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/eventtext_p.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QLocale>

#include <array>
#include <cmath>

namespace pellix::server {

namespace {

constexpr double greatestExact = 9007199254740992.0; // 2^53, up to which each whole number is one

// What QJsonDocument writes within the brackets of an array.
void appendDocument(JsonText &json, const QVariant &value)
{
    const QByteArray array =
        QJsonDocument(QJsonArray {QJsonValue::fromVariant(value)}).toJson(QJsonDocument::Compact);
    append(json, QByteArrayView(array).sliced(1).chopped(1));
}

void appendWhole(JsonText &json, qlonglong number)
{
    const bool isNegative = number < 0;
    quint64 left = isNegative ? 0 - quint64(number) : quint64(number);
    std::array<char, 20> digits;
    std::size_t start = digits.size();
    do {
        digits[--start] = char('0' + left % 10);
        left /= 10;
    } while (left > 0);
    if (isNegative)
        digits[--start] = '-';
    append(json, QByteArrayView(digits.data() + start, qsizetype(digits.size() - start)));
}

// Most numbers have few decimals. With 15 digits at most, no other number is as short and the same.
// Less than 0.1 could be shorter with an exponent.
bool appendDecimal(JsonText &json, double number)
{
    constexpr qlonglong scale = 10000;
    const double magnitude = std::fabs(number);
    if (magnitude < 0.1 || magnitude >= 1e10)
        return false;
    const auto scaled = qlonglong(std::round(magnitude * double(scale)));
    if (double(scaled) / double(scale) != magnitude)
        return false;
    if (number < 0)
        append(json, "-");
    appendWhole(json, scaled / scale);
    append(json, ".");
    qlonglong place = scale / 10;
    for (qlonglong left = scaled % scale; left > 0; place /= 10) {
        *grow(json, 1) = char('0' + left / place);
        left %= place;
    }
    return true;
}

void appendNumber(JsonText &json, double number)
{
    if (!std::isfinite(number))
        append(json, "null");
    else if (std::trunc(number) == number && std::fabs(number) < greatestExact)
        appendWhole(json, qlonglong(number));
    else if (!appendDecimal(json, number))
        append(json, QByteArray::number(number, 'g', QLocale::FloatingPointShortest));
}

void appendBool(JsonText &json, bool value)
{
    append(json, value ? QByteArrayView("true") : QByteArrayView("false"));
}

void appendValue(JsonText &json, const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        append(json, "null");
        break;
    case QMetaType::Bool:
        appendBool(json, value.toBool());
        break;
    case QMetaType::Int:
    case QMetaType::LongLong:
        appendWhole(json, value.toLongLong());
        break;
    case QMetaType::Double:
        appendNumber(json, value.toDouble());
        break;
    case QMetaType::QString:
        appendQuoted(json, value.toString());
        break;
    default:
        appendDocument(json, value);
    }
}

} // namespace

void appendQuoted(JsonText &json, QStringView text)
{
    const qsizetype start = json.size();
    char *const out = grow(json, text.size() + 2);
    // Without a branch for each character, several are taken at once.
    bool isPlain = true;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t code = text.utf16()[i];
        isPlain &= (code >= 0x20) & (code < 0x7f) & (code != u'"') & (code != u'\\');
        out[i + 1] = char(code);
    }
    if (!isPlain) {
        json.resize(start);
        appendDocument(json, text.toString());
        return;
    }
    out[0] = out[text.size() + 1] = '"';
}

QByteArray eventText(QStringView keyword, const Record &record)
{
    JsonText json;
    append(json, "{\"cmd\":\"keyEvent\",\"payload\":{\"connected\":");
    appendBool(json, record.connected);
    append(json, ",\"consistent\":");
    appendBool(json, record.consistent);
    append(json, ",\"error\":");
    appendBool(json, record.error);
    append(json, ",\"keyword\":");
    appendQuoted(json, keyword);
    append(json, ",\"online\":");
    appendBool(json, record.online);
    append(json, ",\"type\":");
    appendQuoted(json, toWord(record.type));
    append(json, ",\"value\":");
    appendValue(json, record.value);
    append(json, "}}");
    return QByteArray(json.constData(), json.size());
}

} // namespace pellix::server
