// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Scene files for the reader of the simulator: a file is either refused completely, with a reason,
// or declared completely.

#include "server/keywordserver.h"
#include "simulator/animator_p.h"
#include "simulator/jsonscene.h"
#include "tests/fuzz/fuzz.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSet>

using namespace pellix::server;
using namespace pellix::simulator;

void runInput(const QByteArray &input)
{
    const QJsonObject scene = QJsonDocument::fromJson(input).object();
    const QJsonObject generate = scene.value(QLatin1String("generate")).toObject();
    const double count = generate.value(QLatin1String("count")).toDouble();
    if (count > 1000)
        return; // a million is allowed, but takes too long

    KeywordServer server;
    JsonScene reader(&server);
    QString error;
    const bool good = reader.loadData(input, QStringLiteral("scene"), &error);
    FUZZ_CHECK(good == error.isEmpty());
    if (!good) {
        FUZZ_CHECK(error.startsWith(QLatin1String("scene: ")));
        FUZZ_CHECK(server.keywordCount() == 0);
        return;
    }

    const QJsonArray keywords = scene.value(QLatin1String("keywords")).toArray();
    FUZZ_CHECK(server.keywordCount() <= keywords.size() + count);
    FUZZ_CHECK(server.keywordCount() >= (count >= 1 && keywords.isEmpty() ? int(count) : 0));
    for (const auto &item : keywords) {
        const QJsonObject keyword = item.toObject();
        const QString path = keyword.value(QLatin1String("path")).toString();
        FUZZ_CHECK(!path.isEmpty());
        const bool isLevel = keyword.value(QLatin1String("type")).toString().isEmpty();
        FUZZ_CHECK(isLevel || server.contains(path));
    }
    reader.start();
    FUZZ_CHECK(reader.loadData(input, QStringLiteral("scene"), &error)); // also when loaded again
    reader.stop();
}
