// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/eventtext.h"
#include "benchmarks/otherprocess.h"
#include "client/websocketkeywordclient.h"

#include <QtCore/QTimer>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace pellix::client;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int shownCount = 1000; // those that change
constexpr auto refreshPeriod = std::chrono::nanoseconds(1s) / 60;
constexpr auto changeInterval = 33ms;
constexpr auto latestChange = 10s;

// A frame is late when it takes half a period longer than one, and then misses one, and one more
// with each further period.
constexpr qint64 missedPeriods(std::chrono::nanoseconds time)
{
    return std::max<qint64>(0, (time - refreshPeriod / 2) / refreshPeriod);
}
static_assert(missedPeriods(0ns) == 0 && missedPeriods(refreshPeriod) == 0);
static_assert(missedPeriods(refreshPeriod * 3 / 2) == 1 && missedPeriods(refreshPeriod * 2) == 1);
static_assert(missedPeriods(refreshPeriod * 5 / 2) == 2 && missedPeriods(refreshPeriod * 10) == 9);

// The number of periods after which the next frame is due. After a long one, it is not due in
// those that have passed.
constexpr qint64 periodsUntilNext(std::chrono::nanoseconds time)
{
    return std::max<qint64>(1, time / refreshPeriod);
}

int textCount()
{
    return smokeRun() ? shownCount : 10000;
}

// 1 000 texts fill a screen. The others are on pages that are not visible.
QByteArray page(const QByteArray &delegate)
{
    return "import QtQuick\nimport PellixClient.Keyword 1.0\n"
           "Item { Repeater { model: "
        + QByteArray::number(textCount()) + "\nText { id: item\nrequired property int index\n"
        + "x: index % 40 * 48; y: Math.floor(index / 40) * 40; visible: index < "
        + QByteArray::number(shownCount) + "\n" + delegate + "} } }";
}

// A window of a full screen without a display: its frames are drawn when the benchmark requests it,
// and not between.
class Window : public QQuickWindow
{
public:
    Window() { resize(1920, 1080); }

    void draw()
    {
        isDrawing = true;
        QEvent update(QEvent::UpdateRequest);
        QCoreApplication::sendEvent(this, &update);
        isDrawing = false;
    }

protected:
    bool event(QEvent *event) override
    {
        return (event->type() == QEvent::UpdateRequest && !isDrawing) || QQuickWindow::event(event);
    }

private:
    bool isDrawing = false;
};

// A window with many texts, of which one function changes those that are visible.
class Texts
{
public:
    virtual ~Texts() = default;
    virtual void change() = 0;

    bool create(const QByteArray &qml)
    {
        component.setData(qml, QUrl());
        item.reset(qobject_cast<QQuickItem *>(component.create()));
        if (!item)
            return false;
        item->setParentItem(window.contentItem());
        window.show();
        return waitFor([this] {
            const QList<QQuickItem *> children = items();
            return std::all_of(children.cbegin(), children.cend(), [](const QQuickItem *child) {
                const QVariant text = child->property("text"); // the repeater has none
                return !text.isValid() || !text.toString().isEmpty();
            });
        });
    }

    QList<QQuickItem *> items() const { return item->childItems(); }
    QString lastShown() const { return items().at(shownCount - 1)->property("text").toString(); }

    Window window;
    QQmlEngine engine;

private:
    QQmlComponent component {&engine};
    std::unique_ptr<QQuickItem> item;
};

// Texts that are bound to keywords of a server in another process.
class BoundTexts : public Texts
{
public:
    bool create()
    {
        engine.rootContext()->setContextProperty(QStringLiteral("hostClient"), &client);
        client.setUrls({server.url()});
        // The server does not wait for a handshake as long as creating the texts may take.
        return waitFor([this] { return client.connected(); }) && Texts::create(page(R"(
            text: level.value === undefined ? "" : level.value.toFixed(2)
            PKeywordProxy {
                id: level
                client: hostClient
                keyword: "/plant/line3/motor" + item.index + "/speed"
            })"));
    }
    void change() override { client.sendKeyUpdate(QStringLiteral("/go"), shownCount); }

private:
    const OtherProcess server {QStringLiteral("panels"), {QString::number(textCount())}};
    PWebSocketKeywordClient client;
};

// Floor: texts of a property, which this process sets.
class PlainTexts : public Texts
{
public:
    bool create()
    {
        const bool isShown = Texts::create(page(R"(
            property double level: 1.5
            text: level.toFixed(2))"));
        const QList<QQuickItem *> children = items();
        std::copy_if(children.cbegin(), children.cend(), std::back_inserter(shown),
                     [](const QQuickItem *child) {
                         return child->isVisible() && child->property("level").isValid();
                     });
        return isShown && shown.size() == shownCount;
    }

    void change() override
    {
        value = value < 9000 ? value + 1 : 1000.25;
        for (QQuickItem *const item : std::as_const(shown))
            item->setProperty("level", value);
    }

private:
    QList<QQuickItem *> shown;
    double value = 1000.25;
};

// The frames of one window. There is no display with a refresh rate here, so a clock of 60 Hz takes
// its place. A frame takes from the moment at which it is due, through any events that are handled
// first, until it is polished, synchronized, and rendered by software.
class Frames
{
public:
    explicit Frames(Texts &texts) : texts(texts) { }

    void run(Clock::duration duration)
    {
        const double processorBefore = processorTime(QCoreApplication::applicationPid());
        const QString shownBefore = texts.lastShown();
        QTimer changes;
        changes.setTimerType(Qt::PreciseTimer);
        QObject::connect(&changes, &QTimer::timeout, &changes, [this] { texts.change(); });
        changes.start(changeInterval);
        const auto end = Clock::now() + duration;
        // With sanitizers, the first changes may arrive after a short turn ends.
        const auto isMissing = [&] {
            return texts.lastShown() == shownBefore && Clock::now() < end + latestChange;
        };
        for (auto due = Clock::now(); due < end || isMissing();) {
            waitUntil(due);
            texts.window.draw();
            const auto now = Clock::now();
            times.push_back(std::chrono::nanoseconds(now - due).count());
            missed += missedPeriods(now - due);
            periods += periodsUntilNext(now - due);
            due += periodsUntilNext(now - due) * refreshPeriod;
        }
        processor += processorTime(QCoreApplication::applicationPid()) - processorBefore;
        changed = changed && texts.lastShown() != shownBefore;
    }

    bool hasChanged() const { return changed; }

    void report(benchmark::State &state, const std::string &name)
    {
        std::sort(times.begin(), times.end());
        state.counters[name + "_periods"] = double(periods);
        state.counters[name + "_missed"] = double(missed);
        state.counters[name + "_p99"] = double(times[times.size() * 99 / 100]);
        state.counters[name + "_processor"] = processor * 1e9 / double(times.size());
    }

private:
    static void waitUntil(Clock::time_point due)
    {
        QTimer timer;
        timer.setTimerType(Qt::PreciseTimer);
        timer.setSingleShot(true);
        for (;;) {
            QCoreApplication::processEvents();
            const auto left = due - Clock::now();
            if (left <= 0ns)
                return;
            timer.start(std::chrono::ceil<std::chrono::milliseconds>(left));
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
    }

    Texts &texts;
    std::vector<qint64> times;
    qint64 periods = 0;
    qint64 missed = 0;
    double processor = 0;
    bool changed = true;
};

// Both windows for a minute each, in turn, so that other programs disturb both.
void framesOfManyTexts(benchmark::State &state)
{
    BoundTexts bound;
    PlainTexts plain;
    if (!bound.create() || !plain.create()) {
        state.SkipWithError("the texts are not shown");
        return;
    }
    Frames boundFrames(bound);
    Frames plainFrames(plain);
    const int turns = smokeRun() ? 1 : 12;
    const Clock::duration turn = smokeRun() ? 500ms : 5s;
    for (auto _ : state) {
        for (int i = 0; i < turns; ++i) {
            boundFrames.run(turn);
            plainFrames.run(turn);
        }
    }
    if (!boundFrames.hasChanged() || !plainFrames.hasChanged())
        state.SkipWithError("the texts have not changed");
    boundFrames.report(state, "bound");
    plainFrames.report(state, "plain");
}
BENCHMARK(framesOfManyTexts)->Iterations(1)->Repetitions(1)->UseRealTime();

} // namespace
