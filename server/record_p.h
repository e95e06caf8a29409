// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace pellix::server {

enum class Type : quint8 {
    None,
    Bool,
    Int,
    Double,
    String,
    Object
};
enum class Access : quint8 {
    None,
    Read,
    ReadMeta,
    Write,
    ReadWrite
};

// Their names in the protocol.
const QString &toWord(Type type);
const QString &toWord(Access access);
Type typeFromWord(const QString &word); // None if it is no type

// Nothing is granted if it is no access.
bool accessFromWord(const QString &word, Access *access);

inline bool isWritable(Access access)
{
    return access == Access::Write || access == Access::ReadWrite;
}

bool isNumber(const QVariant &value);
bool isWholeNumber(const QVariant &value);
bool fits(const QVariant &value, Type type);

// The value in the form in which the type is kept: whole numbers as such, others as double.
QVariant asType(const QVariant &value, Type type);
// The memory of a value besides the variant. That of an object may be thirty times as long as its
// JSON, which also limits the depth.
qint64 memoryOf(const QVariant &value);

// What an event says of a keyword at this moment.
struct Record
{
    QVariant value;
    Type type = Type::None;
    bool connected = false;
    bool online = false;
    bool consistent = true;
    bool error = false;
    bool exists = false;

    bool operator==(const Record &other) const
    {
        return value == other.value && type == other.type && connected == other.connected
            && online == other.online && consistent == other.consistent && error == other.error
            && exists == other.exists;
    }
};

} // namespace pellix::server
