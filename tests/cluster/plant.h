// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <chrono>

// The topics, paths, and values of the keywords of the plant, as used by publishers, inspectors,
// and screens. A value consists of the number of its keyword, so that a value of another keyword is
// noticed, and a count from 1.
namespace plant {

inline QByteArray topic(int i)
{
    return "plant/line" + QByteArray::number(i / 100) + "/k" + QByteArray::number(i % 100);
}

// Returns -1 if the path is not one of the plant.
inline int number(QStringView path)
{
    constexpr QStringView head = u"plant/line";
    if (path.startsWith(u'/'))
        path = path.mid(1);
    const qsizetype end = path.indexOf(u"/k", head.size());
    if (!path.startsWith(head) || end < 0)
        return -1;
    bool isLine = false;
    bool isKeyword = false;
    const int line = path.mid(head.size(), end - head.size()).toInt(&isLine);
    const int keyword = path.mid(end + 2).toInt(&isKeyword);
    return isLine && isKeyword ? line * 100 + keyword : -1;
}

inline QString path(int i)
{
    return QLatin1Char('/') + QString::fromLatin1(topic(i));
}

constexpr qint64 countRange = 1'000'000'000;

inline qint64 value(int keyword, qint64 count)
{
    return keyword * countRange + count;
}

// Returns -1 if the value is not one of this keyword.
inline qint64 count(int keyword, qint64 value)
{
    const qint64 count = value - keyword * countRange;
    return count > 0 && count < countRange ? count : -1;
}

// The number of the keyword that a screen shows at this place.
inline int shown(int screen, int place, int keywords)
{
    return int((qint64(screen) * 37 + place) % keywords);
}

// In milliseconds, from a clock that all processes of the machine share.
inline qint64 now()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace plant
