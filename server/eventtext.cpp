// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/eventtext_p.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QLocale>

#include <cmath>

namespace pellix::server {

namespace {

constexpr double greatestExact = 9007199254740992.0; // 2^53, up to which each whole number is one

// What QJsonDocument writes within the brackets of an array.
void appendDocument(QByteArray &json, const QVariant &value)
{
    const QByteArray array =
        QJsonDocument(QJsonArray {QJsonValue::fromVariant(value)}).toJson(QJsonDocument::Compact);
    json.append(array.constData() + 1, array.size() - 2);
}

void appendNumber(QByteArray &json, double number)
{
    if (!std::isfinite(number))
        json += "null";
    else if (std::trunc(number) == number && std::fabs(number) < greatestExact)
        json += QByteArray::number(qlonglong(number));
    else
        json += QByteArray::number(number, 'g', QLocale::FloatingPointShortest);
}

void appendValue(QByteArray &json, const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        json += "null";
        break;
    case QMetaType::Bool:
        json += value.toBool() ? "true" : "false";
        break;
    case QMetaType::Int:
    case QMetaType::LongLong:
        json += QByteArray::number(value.toLongLong());
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

const char *trueOrFalse(bool value)
{
    return value ? "true" : "false";
}

} // namespace

void appendQuoted(QByteArray &json, QStringView text)
{
    const qsizetype start = json.size();
    json.resize(start + text.size() + 2);
    char *out = json.data() + start;
    *out++ = '"';
    for (const QChar character : text) {
        const char16_t code = character.unicode();
        if (code < 0x20 || code >= 0x7f || code == u'"' || code == u'\\') {
            json.resize(start);
            appendDocument(json, text.toString());
            return;
        }
        *out++ = char(code);
    }
    *out = '"';
}

QByteArray eventText(QStringView keyword, const Record &record)
{
    QByteArray json;
    json.reserve(160 + keyword.size());
    json += "{\"cmd\":\"keyEvent\",\"payload\":{\"connected\":";
    json += trueOrFalse(record.connected);
    json += ",\"consistent\":";
    json += trueOrFalse(record.consistent);
    json += ",\"error\":";
    json += trueOrFalse(record.error);
    json += ",\"keyword\":";
    appendQuoted(json, keyword);
    json += ",\"online\":";
    json += trueOrFalse(record.online);
    json += ",\"type\":";
    appendQuoted(json, toWord(record.type));
    json += ",\"value\":";
    appendValue(json, record.value);
    json += "}}";
    return json;
}

} // namespace pellix::server
