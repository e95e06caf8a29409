// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/ratioreporter.h"
#include "extras/history/keywordhistories.h"
#include "extras/plot/keywordplotarea.h"

#include <QtGui/QGuiApplication>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtQuick/QSGFlatColorMaterial>
#include <QtQuick/QSGGeometryNode>
#include <QtQuick/QSGRendererInterface>
#include <QtQuick/QSGTransformNode>

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

using namespace pellix::extras;

namespace {

constexpr int seriesCount = 10;
constexpr QSize pictureSize(1200, 600);

// A window that draws a frame on request: polishes, synchronizes, and renders it.
class Frames
{
public:
    Frames() { window.resize(pictureSize); }

    bool show(benchmark::State &state)
    {
        window.show();
        QCoreApplication::processEvents();
        if (window.rendererInterface()->graphicsApi() == QSGRendererInterface::Software) {
            state.SkipWithError("the scene graph has no geometry with its software adaptation");
            return false;
        }
        return true;
    }
    void draw()
    {
        QEvent update(QEvent::UpdateRequest);
        QCoreApplication::sendEvent(&window, &update);
    }

    QQuickWindow window;
};

std::vector<QPointF> walk(int count, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<QPointF> points;
    double value = 0;
    for (int i = 0; i < count; ++i) {
        value += (int(random() % 2001) - 1000) / 1000.0;
        points.emplace_back(i, value);
    }
    return points;
}

// A plot of histories with the given number of samples, one every 10 ms.
class Plot : public Frames
{
public:
    explicit Plot(int count)
    {
        const qint64 now = PKeywordHistory::now();
        for (int series = 0; series < seriesCount; ++series) {
            all.push_back(std::make_unique<PKeywordHistory>());
            all.back()->setCapacity(count);
            for (const QPointF &point : walk(count, unsigned(series)))
                all.back()->append({now - (count - qint64(point.x())) * 10, point.y()});
            histories.add(all.back().get());
        }
        area.setParentItem(window.contentItem());
        area.setSize(pictureSize);
        area.setSpan(count * 0.01 * 0.9);
        area.setHistories(&histories);
    }

    std::vector<std::unique_ptr<PKeywordHistory>> all;
    PKeywordHistories histories;
    PKeywordPlotArea area;
};

// Pans back and forth, by one pixel per frame.
void framesOfPannedPlot(benchmark::State &state)
{
    Plot plot(int(state.range(0)));
    plot.area.setFollowing(false);
    if (!plot.show(state))
        return;
    plot.area.pan(50);
    plot.draw();
    int direction = 1;
    int moved = 0;
    for (auto _ : state) {
        plot.area.pan(direction);
        plot.draw();
        if (++moved % 40 == 0)
            direction = -direction;
    }
}
BENCHMARK(framesOfPannedPlot)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Follows the current time, with a new sample of each series in each frame.
void followPlot(benchmark::State &state, Plot &plot)
{
    if (!plot.show(state))
        return;
    double value = 0;
    for (auto _ : state) {
        value = 1 - value;
        for (const auto &history : plot.all)
            history->append({PKeywordHistory::now(), value});
        plot.area.polish();
        plot.draw();
    }
}

void framesOfFollowingPlot(benchmark::State &state)
{
    Plot plot(int(state.range(0)));
    followPlot(state, plot);
}
BENCHMARK(framesOfFollowingPlot)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// The same with a span at which each frame moves by about one pixel, so that new samples never
// share a column.
void framesOfFastPlot(benchmark::State &state)
{
    Plot plot(int(state.range(0)));
    plot.area.setSpan(1);
    followPlot(state, plot);
}
BENCHMARK(framesOfFastPlot)->Arg(10000)->Unit(benchmark::kMillisecond);

// Floor: lines through all points, moved by writing all vertices again.
class BareLines : public QQuickItem
{
public:
    explicit BareLines(int count)
    {
        setFlag(ItemHasContents);
        for (int series = 0; series < seriesCount; ++series)
            lines.push_back(walk(count, unsigned(series)));
    }

    void pan(int pixels)
    {
        offset += pixels;
        update();
    }

protected:
    QSGNode *updatePaintNode(QSGNode *last, UpdatePaintNodeData *) override
    {
        const auto count = int(lines.front().size());
        QSGNode *root = last ? last : new QSGNode;
        for (int series = 0; !last && series < seriesCount; ++series) {
            auto *node = new QSGGeometryNode;
            auto *geometry = new QSGGeometry(QSGGeometry::defaultAttributes_Point2D(), count);
            geometry->setDrawingMode(QSGGeometry::DrawLineStrip);
            geometry->setVertexDataPattern(QSGGeometry::StreamPattern);
            auto *material = new QSGFlatColorMaterial;
            material->setColor(QColor::fromHsv(series * 36, 255, 200));
            node->setGeometry(geometry);
            node->setMaterial(material);
            node->setFlags(QSGNode::OwnsGeometry | QSGNode::OwnsMaterial);
            root->appendChildNode(node);
        }
        const double scale = width() / (count * 0.9);
        for (int series = 0; series < seriesCount; ++series) {
            auto *node = static_cast<QSGGeometryNode *>(root->childAtIndex(series));
            QSGGeometry::Point2D *vertices = node->geometry()->vertexDataAsPoint2D();
            for (const QPointF &point : lines[size_t(series)])
                (vertices++)->set(float(point.x() * scale + offset), float(300 - point.y()));
            node->markDirty(QSGNode::DirtyGeometry);
        }
        return root;
    }

private:
    std::vector<std::vector<QPointF>> lines;
    double offset = 0;
};

void framesOfBareLines(benchmark::State &state)
{
    Frames frames;
    BareLines lines(int(state.range(0)));
    lines.setParentItem(frames.window.contentItem());
    lines.setSize(pictureSize);
    if (!frames.show(state))
        return;
    int direction = 1;
    int moved = 0;
    for (auto _ : state) {
        lines.pan(direction);
        frames.draw();
        if (++moved % 40 == 0)
            direction = -direction;
    }
}
BENCHMARK(framesOfBareLines)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace

// A separate program, because the other benchmarks use the software renderer, which has no
// geometry. Without a display, the null backend of the Qt Rendering Hardware Interface does
// everything except the drawing.
int main(int argc, char *argv[])
{
    const auto setDefault = [](const char *name, const char *value) {
        if (qEnvironmentVariableIsEmpty(name))
            qputenv(name, value);
    };
    setDefault("QT_QPA_PLATFORM", "offscreen");
    setDefault("QSG_RENDER_LOOP", "basic");
    if (qEnvironmentVariable("QT_QPA_PLATFORM") == QLatin1String("offscreen")) {
        setDefault("QT_QUICK_BACKEND", "rhi");
        setDefault("QSG_RHI_BACKEND", "null");
    }
    const QGuiApplication application(argc, argv);
    return runBenchmarks(argc, argv, RatioReporter::Plots);
}
