// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/duplicatemembers.h"

#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <vector>

namespace pellix::gateway {

namespace {

struct Level
{
    bool isObject = false;
    bool isNameNext = false; // of an object member
    qsizetype index = 0; // of a list element
    QString name;
    QHash<QString, qsizetype> places;
};

QString pointerOf(const std::vector<Level> &levels)
{
    QString pointer;
    for (const Level &level : levels) {
        QString name = level.isObject ? level.name : QString::number(level.index);
        name.replace(QLatin1Char('~'), QLatin1String("~0"));
        pointer += QLatin1Char('/') + name.replace(QLatin1Char('/'), QLatin1String("~1"));
    }
    return pointer;
}

// The position after the quotation mark that closes the string.
qsizetype endOfText(const QByteArray &json, qsizetype begin)
{
    qsizetype at = begin + 1;
    while (at < json.size() && json.at(at) != '"')
        at += json.at(at) == '\\' ? 2 : 1;
    return qMin(at + 1, json.size());
}

} // namespace

QString placeInJson(const QByteArray &json, qsizetype offset)
{
    const QByteArray before = json.left(offset);
    const qsizetype line = before.count('\n') + 1;
    const qsizetype column = before.size() - (before.lastIndexOf('\n') + 1) + 1;
    return QStringLiteral("line %1, column %2").arg(line).arg(column);
}

ConfigurationProblems duplicateMembers(const QByteArray &json)
{
    ConfigurationProblems problems;
    std::vector<Level> levels;
    for (qsizetype at = 0; at < json.size(); ++at) {
        const char c = json.at(at);
        if (c == '{' || c == '[') {
            Level level;
            level.isObject = level.isNameNext = c == '{';
            levels.push_back(level);
        } else if (levels.empty()) {
            continue;
        } else if (c == '}' || c == ']') {
            levels.pop_back();
        } else if (c == ',') {
            ++levels.back().index;
            levels.back().isNameNext = levels.back().isObject;
        } else if (c == '"') {
            const qsizetype end = endOfText(json, at);
            if (levels.back().isNameNext) {
                const QByteArray text = json.mid(at, end - at); // possibly with escape sequences
                levels.back().name =
                    QJsonDocument::fromJson('[' + text + ']').array().at(0).toString();
                levels.back().isNameNext = false;
                QHash<QString, qsizetype> &places = levels.back().places;
                const auto first = places.constFind(levels.back().name);
                if (first == places.constEnd()) {
                    places.insert(levels.back().name, at);
                } else {
                    problems.append({pointerOf(levels),
                                     QStringLiteral("is specified twice: in %1 and in %2")
                                         .arg(placeInJson(json, *first), placeInJson(json, at))});
                }
            }
            at = end - 1;
        }
    }
    return problems;
}

} // namespace pellix::gateway
