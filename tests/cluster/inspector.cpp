// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/cluster/inspector.h"

#include "tests/cluster/plant.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QUrl>

#include <algorithm>

using namespace std::chrono_literals;

Inspector::Inspector(const QString &name, quint16 port, int keywords,
                     const std::function<qint64(int)> &lastSent, QObject *parent)
    : QObject(parent), lastSent(lastSent), places(size_t(keywords))
{
    setObjectName(name);
    const QUrl url(QStringLiteral("ws://127.0.0.1:%1").arg(port));
    retry.setSingleShot(true);
    connect(&retry, &QTimer::timeout, this, [this, url] { socket.open(url); });
    connect(&socket, &QWebSocket::connected, this, [this] {
        for (int i = 0; i < int(places.size()); ++i) {
            socket.sendTextMessage(
                QStringLiteral("{\"cmd\":\"keyCreateOrUpdate\",\"payload\":{\"keyword\":\"%1\"}}")
                    .arg(plant::path(i)));
        }
    });
    connect(&socket, &QWebSocket::textMessageReceived, this, &Inspector::read);
    connect(&socket, &QWebSocket::disconnected, this, [this] {
        for (Place &place : places) {
            endWrong(&place, plant::now());
            place.online = false;
            place.value = -1;
        }
        retry.start(100ms);
    });
    socket.open(url);
}

Inspector::~Inspector()
{
    socket.disconnect(this);
    socket.abort();
}

Inspector::Wrongness Inspector::wrongnessOf(const Place &place, qint64 now) const
{
    Wrongness result = place.wrongness;
    if (place.wrongSince == 0)
        return result;
    const qint64 duration = now - place.wrongSince;
    if (faultEnd > 0) {
        result.longestAfter =
            std::max(result.longestAfter, now - std::max(place.wrongSince, faultEnd));
        result.longestRecovered =
            std::max(result.longestRecovered, now - std::max(place.wrongSince, recovery));
    }
    result.longest = std::max(result.longest, duration);
    result.late += duration > 1000;
    result.still = 1;
    return result;
}

void Inspector::endWrong(Place *place, qint64 now)
{
    place->wrongness = wrongnessOf(*place, now);
    place->wrongness.still = 0;
    place->wrongSince = 0;
}

Inspector::Wrongness Inspector::wrongness(const std::vector<qint64> &kept) const
{
    const qint64 now = plant::now();
    Wrongness sum;
    for (size_t i = 0; i < places.size(); ++i) {
        if (!kept.empty() && kept[i] < places[i].acknowledged)
            continue;
        const Wrongness one = wrongnessOf(places[i], now);
        sum.longest = std::max(sum.longest, one.longest);
        sum.longestAfter = std::max(sum.longestAfter, one.longestAfter);
        sum.longestRecovered = std::max(sum.longestRecovered, one.longestRecovered);
        sum.late += one.late;
        sum.still += one.still;
    }
    return sum;
}

void Inspector::restart()
{
    for (Place &place : places)
        place.wrongness = {};
    stepsBack = 0;
}

void Inspector::endFault(qint64 time)
{
    faultEnd = time;
    setRecovery(time);
}

void Inspector::setRecovery(qint64 time)
{
    recovery = time;
    for (Place &place : places)
        place.wrongness.longestRecovered = 0;
}

void Inspector::read(const QString &text)
{
    const QJsonObject payload =
        QJsonDocument::fromJson(text.toUtf8()).object().value(QLatin1String("payload")).toObject();
    const int keyword = plant::number(payload.value(QLatin1String("keyword")).toString());
    if (keyword < 0 || keyword >= int(places.size()))
        return;
    ++events;
    Place &place = places[size_t(keyword)];
    const bool wasOnline =
        std::exchange(place.online, payload.value(QLatin1String("online")).toBool());
    qint64 value = plant::count(keyword, payload.value(QLatin1String("value")).toInteger(-1));
    if (place.online && (value < 0 || value > lastSent(keyword))) {
        ++foreign;
        value = -1; // is wrong, and missing
    }
    if (wasOnline && place.online && value < place.value)
        ++stepsBack;
    place.value = value;
    const bool isWrong = place.online && value < place.acknowledged;
    const qint64 now = plant::now();
    if (!isWrong)
        endWrong(&place, now);
    else if (place.wrongSince == 0)
        place.wrongSince = now;
}

void Inspector::noteAcknowledged(int keyword, qint64 value, qint64 time)
{
    Place &place = places[size_t(keyword)];
    place.acknowledged = std::max(place.acknowledged, value);
    if (place.online && place.value < value && place.wrongSince == 0)
        place.wrongSince = time;
}

int Inspector::missing(const std::vector<qint64> &kept) const
{
    int count = 0;
    for (size_t i = 0; i < places.size(); ++i) {
        const Place &place = places[i];
        const qint64 expected =
            kept.empty() ? place.acknowledged : std::min(place.acknowledged, kept[i]);
        count += !place.online || place.value < expected;
    }
    return count;
}

int Inspector::wrong(qint64 longerThan) const
{
    const qint64 now = plant::now();
    return int(std::count_if(places.begin(), places.end(), [&](const Place &place) {
        return place.wrongSince > 0 && now - place.wrongSince > longerThan;
    }));
}

int Inspector::offline() const
{
    return int(std::count_if(places.begin(), places.end(),
                             [](const Place &place) { return !place.online; }));
}
