// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <benchmark/benchmark.h>

#include <vector>

// The names and messages used by all benchmarks.

inline QString keywordName(int i)
{
    return QStringLiteral("/plant/line3/motor%1/speed").arg(i);
}

inline QByteArray eventText(const QString &keyword, double value)
{
    return QStringLiteral(
               R"({"cmd":"keyEvent","payload":{"connected":true,"consistent":true,)"
               R"("error":false,"keyword":"%1","online":true,"type":"double","value":%2}})")
        .arg(keyword)
        .arg(value, 0, 'f', 4)
        .toUtf8();
}

// Returns texts for all keywords, twice with different values, so that each event is a change.
inline std::vector<QByteArray> eventTexts(int keywords)
{
    std::vector<QByteArray> texts;
    texts.reserve(size_t(keywords) * 2);
    for (int i = 0; i < keywords; ++i)
        texts.push_back(eventText(keywordName(i), 1234.5678 + i));
    for (int i = 0; i < keywords; ++i)
        texts.push_back(eventText(keywordName(i), 8765.4321 + i));
    return texts;
}

// The floor of everything that receives an event: decodes it and reads its seven fields.
inline void decodeAndReadFields(const QByteArray &text)
{
    const QJsonObject message = QJsonDocument::fromJson(text).object();
    const QJsonObject payload = message.value(QLatin1String("payload")).toObject();
    benchmark::DoNotOptimize(payload.value(QLatin1String("keyword")).toString());
    benchmark::DoNotOptimize(payload.value(QLatin1String("value")).toVariant());
    benchmark::DoNotOptimize(payload.value(QLatin1String("type")).toString());
    benchmark::DoNotOptimize(payload.value(QLatin1String("connected")).toBool());
    benchmark::DoNotOptimize(payload.value(QLatin1String("online")).toBool());
    benchmark::DoNotOptimize(payload.value(QLatin1String("consistent")).toBool());
    benchmark::DoNotOptimize(payload.value(QLatin1String("error")).toBool());
}
