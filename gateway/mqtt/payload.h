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

ValueType valueType(const QString &word); // None if it is not a type
const QString &valueTypeWord(ValueType type);

// A payload, or a member of one, before a type is applied. Plain numbers and texts are read without
// a JSON document.
struct Payload
{
    enum class Kind : quint8 {
        Unreadable, // too long, too deep, not UTF-8, or a number outside the range of double
        Null,
        Bool,
        Number,
        Text,
        Structure // an object or an array
    };

    // The bytes must outlive the payload.
    static Payload read(QByteArrayView bytes);
    static Payload read(const QJsonValue &member);

    ValueType inferredType() const; // never Int: a later number may have a fraction
    QString text() const; // for Kind::Text
    QJsonValue json() const; // for any kind except Unreadable

    static constexpr qsizetype longest = qsizetype(1024) * 1024;
    static constexpr int deepest = 64; // levels of a structure

    Kind kind = Kind::Unreadable;
    bool boolean = false;
    bool isWhole = false; // the number is an integer, which whole contains
    bool isMember = false; // from JSON, so that a string is always a text
    double number = 0;
    qint64 whole = 0;
    QByteArrayView bytes; // the original payload
    QString string; // a text that was in quotes
    QJsonValue structure;
};

// Converts the payloads of one keyword to values of its type, and written values to payloads.
class PayloadRules
{
public:
    enum class Result {
        Value,
        Misfit,
        Ignored // leaves the value unchanged
    };

    PayloadRules() = default; // for undeclared keywords
    explicit PayloadRules(const TopicKeyword &keyword);

    // The declared type, or the common type of all mapped values.
    ValueType type() const { return declaredType; }
    // Sets value to an invalid variant for null.
    Result value(const Payload &payload, ValueType type, QVariant *value) const;
    // Returns nothing if no payload stands for the value.
    std::optional<QByteArray> payload(const QVariant &value, ValueType type) const;
    // The payload for a difference, to which the scale applies without its offset.
    std::optional<QByteArray> changePayload(double change, ValueType type) const;

private:
    enum class Spelling : quint8 {
        Text,
        Json,
        InQuotes // JSON in which $value is part of a string
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
    QByteArray before; // the text before $value
    QByteArray after; // and after it
};

// The shortest text that is read back as the same number, without an exponent for numbers of usual
// size.
QByteArray numberText(double number);

// Milliseconds since 1970, from a number of seconds or milliseconds, or from a text in the format
// of ISO 8601.
std::optional<qint64> timeOf(const QJsonValue &value);

} // namespace pellix::gateway
