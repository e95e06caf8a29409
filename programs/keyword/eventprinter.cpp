// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/eventprinter.h"

#include "programs/keyword/terminaltext.h"

using namespace pellix::client;

namespace {

constexpr qsizetype widestValue = 32; // longer values exceed their column
constexpr qsizetype typeWidth = 6;

bool isNull(const QVariant &value)
{
    return !value.isValid() || value.typeId() == QMetaType::Nullptr;
}

QString stateWords(const PKeywordValue &event)
{
    QStringList words;
    if (!event.connected)
        words.append(QStringLiteral("not connected"));
    if (!event.online)
        words.append(QStringLiteral("offline"));
    if (!event.consistent)
        words.append(QStringLiteral("inconsistent"));
    if (event.error)
        words.append(QStringLiteral("error"));
    return words.isEmpty() ? QStringLiteral("ok") : words.join(QLatin1String(", "));
}

const char *stateColor(const PKeywordValue &event)
{
    const char *const red = "\033[31m";
    const char *const yellow = "\033[33m";
    const char *const green = "\033[32m";
    if (event.error)
        return red;
    return event.connected && event.online && event.consistent ? green : yellow;
}

} // namespace

QString typeName(PKeywordValueType type)
{
    switch (type) {
    case PKeywordValueType::KVT_NOPROP:
        break;
    case PKeywordValueType::KVT_OBJECT:
        return QStringLiteral("object");
    case PKeywordValueType::KVT_BOOL:
        return QStringLiteral("bool");
    case PKeywordValueType::KVT_STRING:
        return QStringLiteral("string");
    case PKeywordValueType::KVT_DOUBLE:
        return QStringLiteral("double");
    case PKeywordValueType::KVT_INT:
        return QStringLiteral("int");
    }
    return QStringLiteral("");
}

bool isUnknown(const PKeywordValue &event)
{
    return !event.connected && event.type == PKeywordValueType::KVT_NOPROP && isNull(event.value);
}

QString shownValue(const QVariant &value)
{
    if (isNull(value))
        return QStringLiteral("-");
    if (value.typeId() == QMetaType::QString)
        return shownText(value.toString());
    return QString::fromUtf8(plainText(QJsonValue::fromVariant(value)));
}

EventPrinter::EventPrinter(Output *output, bool raw) : output(output), raw(raw)
{
    if (output->stamps())
        row.emplace_back("time", QJsonValue());
    for (const char *name :
         {"keyword", "value", "type", "connected", "online", "consistent", "error"})
        row.emplace_back(name, QJsonValue());
}

void EventPrinter::addConnectionRows()
{
    // In CSV, all rows must have the same columns.
    const bool isCsv = output->format() == Format::Csv;
    connectionRow = isCsv ? row : Row(row.begin(), row.begin() + int(output->stamps()));
    connectionRow.emplace_back("connection", QJsonValue());
    if (isCsv)
        row.emplace_back("connection", QJsonValue());
}

void EventPrinter::printConnection(const QString &state)
{
    if (output->isText())
        return; // standard error reports it
    if (output->stamps())
        connectionRow.front().second = output->stampValue();
    connectionRow.back().second = state;
    output->row(connectionRow);
}

void EventPrinter::makeRoomFor(const QStringList &keywords)
{
    for (const QString &keyword : keywords)
        keywordWidth = qMax(keywordWidth, columnsOf(shownText(keyword)));
}

void EventPrinter::makeRoomFor(const PKeywordValue &event)
{
    valueWidth = qMax(valueWidth, qMin(widestValue, columnsOf(shownValue(event.value))));
}

void EventPrinter::print(const QString &keyword, const PKeywordValue &event)
{
    if (output->isText()) {
        if (raw)
            output->rawLine(plainText(QJsonValue::fromVariant(event.value)));
        else
            output->line(textLine(keyword, event));
        return;
    }
    size_t field = 0;
    if (output->stamps())
        row[field++].second = output->stampValue();
    row[field++].second = keyword;
    row[field++].second = QJsonValue::fromVariant(event.value);
    row[field++].second = output->word(typeName(event.type));
    row[field++].second = event.connected;
    row[field++].second = event.online;
    row[field++].second = event.consistent;
    row[field++].second = event.error;
    output->row(row);
}

QByteArray EventPrinter::textLine(const QString &keyword, const PKeywordValue &event)
{
    const QString value = shownValue(event.value);
    valueWidth = qMax(valueWidth, qMin(widestValue, columnsOf(value)));
    const QString type = typeName(event.type);
    QByteArray line = output->stamp();
    if (!line.isEmpty())
        line += "  ";
    line += padded(shownText(keyword), keywordWidth) + "  " + padded(value, valueWidth) + "  "
        + padded(type.isEmpty() ? QStringLiteral("-") : type, typeWidth) + "  ";
    const QByteArray state = stateWords(event).toUtf8();
    return output->colored() ? line + stateColor(event) + state + "\033[0m" : line + state;
}
