// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

/*
    The keywords that the program soak-server changes in turn, and their values. Each change adds 1,
    so the last value of a keyword follows from the number of changes.
*/
namespace ChangingKeywords {

inline QString name(int i)
{
    return QStringLiteral("/plant/line%1/k%2").arg(i / 100).arg(i % 100);
}

// Returns -1 if it is not one of the keywords.
inline int number(QStringView name)
{
    constexpr QStringView head = u"/plant/line";
    const qsizetype end = name.indexOf(u"/k", head.size());
    if (!name.startsWith(head) || end < 0)
        return -1;
    bool isLine = false;
    bool isKeyword = false;
    const int line = name.mid(head.size(), end - head.size()).toInt(&isLine);
    const int keyword = name.mid(end + 2).toInt(&isKeyword);
    return isLine && isKeyword ? line * 100 + keyword : -1;
}

inline qint64 valueAfter(qint64 changes, int i, int keywords)
{
    return changes > i ? (changes - 1 - i) / keywords + 1 : 0;
}

} // namespace ChangingKeywords
