// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/mqtt/jsonpointer.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

namespace pellix::gateway {

namespace {

// "~1" stands for "/", and "~0" for "~"; nothing else may follow a "~".
bool unescape(QString *level)
{
    for (qsizetype i = level->indexOf(QLatin1Char('~')); i >= 0;
         i = level->indexOf(QLatin1Char('~'), i + 1)) {
        if (i + 1 == level->size())
            return false;
        const QChar code = level->at(i + 1);
        if (code != QLatin1Char('0') && code != QLatin1Char('1'))
            return false;
        level->replace(i, 2, code == QLatin1Char('0') ? QLatin1Char('~') : QLatin1Char('/'));
    }
    return true;
}

QJsonValue element(const QJsonArray &array, const QString &name)
{
    bool isNumber = false;
    const int index = name.toInt(&isNumber);
    const bool isCanonical = isNumber && index >= 0 && QString::number(index) == name;
    return isCanonical && index < array.size() ? array.at(index)
                                               : QJsonValue(QJsonValue::Undefined);
}

} // namespace

std::optional<JsonPointer> JsonPointer::fromText(const QString &text)
{
    JsonPointer pointer;
    if (text.isEmpty())
        return pointer;
    if (!text.startsWith(QLatin1Char('/')))
        return std::nullopt;
    pointer.levels = text.mid(1).split(QLatin1Char('/'));
    for (QString &level : pointer.levels) {
        if (!unescape(&level))
            return std::nullopt;
    }
    return pointer;
}

QJsonValue JsonPointer::of(const QJsonValue &json) const
{
    QJsonValue value = json;
    for (const QString &level : levels) {
        if (value.isObject())
            value = value.toObject().value(level);
        else if (value.isArray())
            value = element(value.toArray(), level);
        else
            return QJsonValue(QJsonValue::Undefined);
    }
    return value;
}

} // namespace pellix::gateway
