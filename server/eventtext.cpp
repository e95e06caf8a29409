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
void appendDocument(JsonText &json, const QVariant &value)
{
    const QByteArray array =
        QJsonDocument(QJsonArray {QJsonValue::fromVariant(value)}).toJson(QJsonDocument::Compact);
    append(json, QByteArrayView(array).sliced(1).chopped(1));
}

void appendNumber(JsonText &json, double number)
{
    if (!std::isfinite(number))
        append(json, "null");
    else if (std::trunc(number) == number && std::fabs(number) < greatestExact)
        append(json, QByteArray::number(qlonglong(number)));
    else
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
        append(json, QByteArray::number(value.toLongLong()));
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
