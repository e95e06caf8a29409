// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/record_p.h"

#include <array>
#include <cmath>

namespace pellix::server {

namespace {

constexpr double intLimit = 9223372036854775808.0; // the first above the values of an int

constexpr qint64 bytesOfText = 32; // besides its characters
constexpr qint64 bytesOfList = 32; // besides its values
constexpr qint64 bytesOfMap = 64;
constexpr qint64 bytesOfMember = 96; // besides its name

qint64 textBytes(const QString &text)
{
    return text.isEmpty() ? 0 : bytesOfText + text.size() * qint64(sizeof(QChar));
}

const std::array<QString, 6> &typeWords()
{
    static const std::array<QString, 6> words {QStringLiteral(""),       QStringLiteral("bool"),
                                               QStringLiteral("int"),    QStringLiteral("double"),
                                               QStringLiteral("string"), QStringLiteral("object")};
    return words;
}

const std::array<QString, 5> &accessWords()
{
    static const std::array<QString, 5> words {QStringLiteral("N"), QStringLiteral("R"),
                                               QStringLiteral("RM"), QStringLiteral("W"),
                                               QStringLiteral("RW")};
    return words;
}

} // namespace

const QString &toWord(Type type)
{
    return typeWords()[std::size_t(type)];
}

const QString &toWord(Access access)
{
    return accessWords()[std::size_t(access)];
}

Type typeFromWord(const QString &word)
{
    const auto &words = typeWords();
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (words[i] == word)
            return Type(i);
    }
    return Type::None;
}

bool accessFromWord(const QString &word, Access *access)
{
    const auto &words = accessWords();
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == word) {
            *access = Access(i);
            return true;
        }
    }
    return false;
}

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::LongLong:
        return true;
    default:
        return false;
    }
}

bool isWholeNumber(const QVariant &value)
{
    const int id = value.typeId();
    if (id == QMetaType::LongLong || id == QMetaType::Int)
        return true;
    if (id != QMetaType::Double)
        return false;
    const double number = value.toDouble();
    return std::trunc(number) == number && number >= -intLimit && number < intLimit;
}

bool fits(const QVariant &value, Type type)
{
    switch (type) {
    case Type::None:
        break;
    case Type::Bool:
        return value.typeId() == QMetaType::Bool;
    case Type::Int:
        return isWholeNumber(value);
    case Type::Double:
        return isNumber(value);
    case Type::String:
        return value.typeId() == QMetaType::QString;
    case Type::Object:
        return value.typeId() == QMetaType::QVariantMap
            || value.typeId() == QMetaType::QVariantList;
    }
    return false;
}

QVariant asType(const QVariant &value, Type type)
{
    if (type == Type::Int)
        return value.toLongLong();
    if (type == Type::Double)
        return value.toDouble();
    return value;
}

qint64 memoryOf(const QVariant &value)
{
    qint64 bytes = 0;
    if (value.typeId() == QMetaType::QString) {
        bytes = textBytes(value.toString());
    } else if (value.typeId() == QMetaType::QVariantList) {
        const QVariantList list = value.toList();
        bytes = bytesOfList + list.size() * qint64(sizeof(QVariant));
        for (const QVariant &item : list)
            bytes += memoryOf(item);
    } else if (value.typeId() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        bytes = bytesOfMap + map.size() * bytesOfMember;
        for (auto item = map.cbegin(); item != map.cend(); ++item)
            bytes += textBytes(item.key()) + memoryOf(item.value());
    }
    return bytes;
}

} // namespace pellix::server
