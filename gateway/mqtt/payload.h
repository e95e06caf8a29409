// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/topickeyword.h"

#include <QtCore/QByteArrayView>
#include <QtCore/QHash>
#include <QtCore/QJsonValue>
#include <QtCore/QRegularExpression>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>
#include <optional>

namespace pellix::gateway {

// The types of keywords.
enum class ValueType : quint8 {
    None, // not known yet
    Bool,
    Int,
    Double,
    String,
    Object
};

ValueType valueType(const QString &word); // None if it is no type
const QString &valueTypeWord(ValueType type);

// What a payload, or a member of one, says before anybody asks for a type. Plain numbers and texts
// are read without a JSON document.
struct Payload
{
    enum class Kind : quint8 {
        Unreadable, // too long, too deep, no UTF-8, or a number that no double can hold
        Null,
        Bool,
        Number,
        Text,
        Structure // an object or an array
    };

    // The bytes have to live as long as this.
    static Payload read(QByteArrayView bytes);
    static Payload read(const QJsonValue &member);

    ValueType inferredType() const; // never int: what is whole now may not be so later
    QString text() const; // of Text
    QJsonValue json() const; // of anything readable

    static constexpr qsizetype longest = 1024 * 1024;
    static constexpr int deepest = 64; // levels of a structure

    Kind kind = Kind::Unreadable;
    bool boolean = false;
    bool isWhole = false; // the number, which is in whole then as well
    bool isMember = false; // of JSON, so that a text is one
    double number = 0;
    qint64 whole = 0;
    QByteArrayView bytes; // as it came, of a payload
    QString string; // of a text in quotes
    QJsonValue structure;
};

// How payloads of one keyword are read, once it has a type, and how its values are written.
class PayloadRules
{
public:
    enum class Result {
        Value,
        Misfit,
        Ignored // it says nothing
    };

    PayloadRules() = default; // of keywords that nobody has declared
    explicit PayloadRules(const TopicKeyword &keyword);

    // The declared type, or the one of all values that payloads can stand for.
    ValueType type() const { return declaredType; }
    // An invalid value is the value null.
    Result value(const Payload &payload, ValueType type, QVariant *value) const;
    // None if no payload stands for it.
    std::optional<QByteArray> payload(const QVariant &value, ValueType type) const;
    // Of a difference, which has a scale but no offset.
    std::optional<QByteArray> changePayload(double change, ValueType type) const;

private:
    enum class Spelling : quint8 {
        Text,
        Json,
        InQuotes // JSON in which $value is part of a text
    };

    const QVariant *mapped(const Payload &payload) const;
    bool isUnknown(const Payload &payload) const;
    Result number(double number, ValueType type, QVariant *value) const;
    Result text(const Payload &payload, ValueType type, QVariant *value) const;
    QByteArray spelled(const QJsonValue &value) const;

    ValueType declaredType = ValueType::None;
    bool isDeclared = false;
    bool ignoresOthers = false;
    bool hasMap = false;
    QHash<QByteArray, QVariant> byText;
    QList<TopicValue> byJson;
    QList<TopicValue> written;
    QList<QByteArray> unknown;
    QByteArray emptyText;
    std::optional<std::array<double, 4>> scale;
    std::optional<QRegularExpression> pattern;
    Spelling spelling = Spelling::Text;
    QByteArray before; // $value
    QByteArray after;
};

// As short as reads back the same, and without an exponent where numbers are of usual size.
QByteArray numberText(double number);

// Milliseconds since 1970, of a number of seconds or milliseconds or of a text as in ISO 8601.
std::optional<qint64> timeOf(const QJsonValue &value);

} // namespace pellix::gateway
