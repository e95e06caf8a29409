// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordglobal.h"

#include <QtCore/QMetaType>
#include <QtCore/QObject>
#include <QtCore/QVariant>

QT_BEGIN_NAMESPACE
class QDebug;
QT_END_NAMESPACE

namespace pellix::client {

Q_NAMESPACE_EXPORT(PELLIXCLIENT_KEYWORD_EXPORT)

enum class PKeywordAggregation : int {
    No = 0,
    Min = 1,
    Max = 2,
    Equal = 3,
    Sum = 4,
    And = 5,
    Or = 6,
};
Q_ENUM_NS(PKeywordAggregation)

enum class PKeywordValueType : int {
    KVT_NOPROP = 0,
    KVT_OBJECT = 1,
    KVT_BOOL = 2,
    KVT_STRING = 3,
    KVT_DOUBLE = 4,
    KVT_INT = 5,
};
Q_ENUM_NS(PKeywordValueType)

enum class PKeywordValueAccess : int {
    KVA_NONE = 0,
    KVA_READ = 1,
    KVA_READ_META = 2,
    KVA_WRITE = 3,
    KVA_READWRITE = 4,
};
Q_ENUM_NS(PKeywordValueAccess)

struct PKeywordValue
{
    QVariant value;
    PKeywordValueType type = PKeywordValueType::KVT_NOPROP;
    bool connected = false;
    bool online = false;
    bool consistent = false;
    bool error = false;
};

PELLIXCLIENT_KEYWORD_EXPORT QDebug operator<<(QDebug debug, const PKeywordValue &value);

} // namespace pellix::client

Q_DECLARE_METATYPE(pellix::client::PKeywordValue)
