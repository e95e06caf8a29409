// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/history/keywordhistories.h"
#include "extras/keywordextrasmodule.h"
#include "extras/plot/keywordplotarea.h"
#include "extras/plot/plotaxes_p.h"
#include "extras/plot/plotline_p.h"
#include "extras/plot/plotnode_p.h"
#include "module/pellixclientkeywordmodule.h"
#include "pubsub/publisher.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QRegularExpression>
#include <QtGui/QAccessible>
#include <QtGui/QFontMetricsF>
#include <QtGui/QImage>
#include <QtGui/QPolygonF>
#include <QtGui/QWheelEvent>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtQuick/QSGGeometryNode>
#include <QtQuick/QSGTransformNode>
#include <QtTest/QAbstractItemModelTester>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <random>

using namespace pellix::client;
using namespace pellix::extras;

namespace {

const QString keyword = QStringLiteral("/a");
constexpr double nothing = std::numeric_limits<double>::quiet_NaN();

void publish(PKeywordClient &client, const QVariant &value, const QString &keyword = ::keyword)
{
    PKeywordValue event;
    event.value = value;
    event.type = value.typeId() == QMetaType::Bool ? PKeywordValueType::KVT_BOOL
                                                   : PKeywordValueType::KVT_DOUBLE;
    event.connected = true;
    client.publisher()->publish(keyword, QVariant::fromValue(event));
}

PlotView plainView(double from, double to)
{
    PlotView view;
    view.from = from;
    view.to = to;
    view.now = to;
    view.highest = 100;
    view.size = QSizeF(100, 100);
    return view;
}

// The points of each run, as "x,y x,y | x,y".
QString shown(const PlotLine &line)
{
    QString text;
    std::size_t end = 0;
    std::size_t run = 0;
    for (std::size_t i = 0; i < line.points.size(); ++i) {
        if (run < line.ends.size() && i == end) {
            if (i > 0)
                text += QLatin1String(" |");
            end = line.ends[run++];
        }
        text += QStringLiteral(" %1,%2").arg(line.points[i].x()).arg(line.points[i].y());
    }
    return text.trimmed();
}

QString texts(const std::vector<PlotTick> &ticks)
{
    QStringList result;
    for (const PlotTick &tick : ticks)
        result.append(tick.text);
    return result.join(QLatin1Char(' '));
}

// Draws the triangles of a node like a graphics card: interpolates their premultiplied colors and
// blends them with the image.
void rasterize(QImage &image, const QSGNode *node, QPointF offset)
{
    if (node->type() == QSGNode::TransformNodeType) {
        offset += static_cast<const QSGTransformNode *>(node)->matrix().map(QPointF());
    } else if (node->type() == QSGNode::GeometryNodeType) {
        const QSGGeometry *geometry = static_cast<const QSGGeometryNode *>(node)->geometry();
        const QSGGeometry::ColoredPoint2D *vertices = geometry->vertexDataAsColoredPoint2D();
        const quint32 *indices = geometry->indexDataAsUInt();
        for (int i = 0; i + 2 < geometry->indexCount(); i += 3) {
            const auto &a = vertices[indices[i]];
            const auto &b = vertices[indices[i + 1]];
            const auto &c = vertices[indices[i + 2]];
            const double area =
                double(b.x - a.x) * double(c.y - a.y) - double(c.x - a.x) * double(b.y - a.y);
            if (area == 0)
                continue;
            const QPolygonF triangle({{a.x, a.y}, {b.x, b.y}, {c.x, c.y}});
            const QRect bounds =
                triangle.boundingRect().translated(offset).toAlignedRect() & image.rect();
            for (int y = bounds.top(); y <= bounds.bottom(); ++y) {
                for (int x = bounds.left(); x <= bounds.right(); ++x) {
                    const double px = x + 0.5 - offset.x();
                    const double py = y + 0.5 - offset.y();
                    const double wb = ((px - double(a.x)) * double(c.y - a.y)
                                       - double(c.x - a.x) * (py - double(a.y)))
                        / area;
                    const double wc = (double(b.x - a.x) * (py - double(a.y))
                                       - (px - double(a.x)) * double(b.y - a.y))
                        / area;
                    const double wa = 1 - wb - wc;
                    if (wa < 0 || wb < 0 || wc < 0)
                        continue;
                    const auto mix = [&](uchar pa, uchar pb, uchar pc) {
                        return int(pa * wa + pb * wb + pc * wc);
                    };
                    const int alpha = mix(a.a, b.a, c.a);
                    const auto over = [&](int source, int below) {
                        return std::min(255, source + below * (255 - alpha) / 255);
                    };
                    auto *pixel = reinterpret_cast<QRgb *>(image.scanLine(y)) + x;
                    *pixel =
                        qRgba(over(mix(a.r, b.r, c.r), qRed(*pixel)),
                              over(mix(a.g, b.g, c.g), qGreen(*pixel)),
                              over(mix(a.b, b.b, c.b), qBlue(*pixel)), over(alpha, qAlpha(*pixel)));
                }
            }
        }
    }
    for (const QSGNode *child = node->firstChild(); child; child = child->nextSibling())
        rasterize(image, child, offset);
}

struct Difference
{
    int different = 0;
    int colored = 0;
};

// Compares images of the same size. Soft edges may differ.
Difference differentPixels(const QImage &drawn, const QImage &painted)
{
    Difference result;
    for (int y = 0; y < drawn.height(); ++y) {
        for (int x = 0; x < drawn.width(); ++x) {
            const QRgb a = drawn.pixel(x, y);
            const QRgb b = painted.pixel(x, y);
            result.colored += qAlpha(b) > 200;
            result.different += std::abs(qAlpha(a) - qAlpha(b)) > 110
                || std::abs(qRed(a) - qRed(b)) > 150 || std::abs(qBlue(a) - qBlue(b)) > 110;
        }
    }
    return result;
}

// A QML plot in a window, with two histories.
class Page
{
public:
    Page()
    {
        window.resize(400, 200);
        window.setColor(Qt::white);
        component.setData(R"(
            import QtQuick
            import PellixClient.Keyword.Extras
            PKeywordPlot {
                width: 400; height: 200
                palette.window: "white"
                colors: ["#ff0000", "#0000ff"]
                gridColor: "transparent"
                textColor: "#808080"
                histories: PKeywordHistories {
                    keywords: ["/a", "/b"]
                }
            })",
                          {});
        plot.reset(qobject_cast<QQuickItem *>(component.create()));
        if (!plot)
            qFatal("%s", qPrintable(component.errorString()));
        plot->setParentItem(window.contentItem());
        histories = plot->property("histories").value<PKeywordHistories *>();
        histories->setClient(&client);
        area = plot->findChild<PKeywordPlotArea *>();
        window.show();
    }

    bool draw()
    {
        window.requestActivate();
        return QTest::qWaitForWindowExposed(&window) && area && area->width() > 0;
    }
    // Appends a thousand samples, one per second, until now.
    void fill(PKeywordHistory *history, double value = 50)
    {
        const qint64 now = PKeywordHistory::now();
        for (qint64 i = 0; i < 1000; ++i)
            history->append({now - (1000 - i) * 1000, value});
    }
    // Waits for a new picture: the times at the edges belong to the last one.
    bool drawn()
    {
        QSignalSpy frames(area, &PKeywordPlotArea::frameChanged);
        area->polish();
        return frames.wait();
    }
    QVariant row(int row, const char *role) const
    {
        const QAbstractItemModel *model = area->series();
        return model->data(model->index(row, 0), model->roleNames().key(role));
    }
    double positionOf(const QDateTime &time) const
    {
        return area->width() * double(area->from().msecsTo(time))
            / double(area->from().msecsTo(area->to()));
    }

    RecordingClient client;
    QQmlEngine engine;
    QQmlComponent component {&engine};
    QQuickWindow window;
    std::unique_ptr<QQuickItem> plot;
    PKeywordHistories *histories = nullptr;
    PKeywordPlotArea *area = nullptr;
};

} // namespace

class tst_KeywordPlot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void defaults();
    void line_data();
    void line();
    void line_isBoundedByThePixels();
    void line_doesNotFlicker();
    void line_goesOnAsIfMadeAnew_data();
    void line_goesOnAsIfMadeAnew();
    void line_doesNotGoOnFromOtherSamples();
    void valueAxis_data();
    void valueAxis();
    void valueAxis_ofBoolsAndOfNothing();
    void timeAxis_isOfRoundTimes();
    void texts_followTheLocale();
    void picture_isTheSameInTriangles_data();
    void picture_isTheSameInTriangles();
    void picture_thatGrowsIsTheSameInTriangles();
    void plot_isDrawnAtMostThirtyTimesASecond();
    void plot_drawsStepsAtTheirHeight();
    void plot_thatFollowedLooksLikeANewOne_data();
    void plot_thatFollowedLooksLikeANewOne();
    void legend_hidesALine();
    void cursor_tellsAllValuesOfATime();
    void keyboard();
    void mouse();
    void touch();
    void screenReader();
    void colors_followThePalette();
    void anythingMayBeDeleted_data();
    void anythingMayBeDeleted();
};

void tst_KeywordPlot::initTestCase()
{
    QLocale::setDefault(QLocale::c());
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    KeywordExtrasModule::registerTypes();
}

void tst_KeywordPlot::defaults()
{
    PKeywordPlotArea area;
    QCOMPARE(area.histories(), nullptr);
    QCOMPARE(area.span(), 60.0);
    QVERIFY(area.following() && !area.steps() && !area.cursorShown());
    QVERIFY(std::isnan(area.minimum()) && std::isnan(area.maximum()) && std::isnan(area.cursorX()));
    QCOMPARE(area.lineWidth(), 1.6);
    QCOMPARE(area.fillOpacity(), 0.15);
    QCOMPARE(area.series()->rowCount(), 0);
    QVERIFY(!area.colors().isEmpty());

    area.setSpan(0);
    QCOMPARE(area.span(), 1.0);
    area.setSpan(1e20);
    QCOMPARE(area.span(), 2592000.0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("span is not a number$")));
    area.setSpan(nothing);
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("an invalid color: tree$")));
    area.setColors({QStringLiteral("tree"), QStringLiteral("red")});
    QCOMPARE(area.colors(), QVariantList {QColor(Qt::red)});
    area.setColors({});
    QCOMPARE(area.colors(), QVariantList {QColor(Qt::red)});
    area.setLineWidth(0);
    QCOMPARE(area.lineWidth(), 1.0);
    area.setFillOpacity(5);
    QCOMPARE(area.fillOpacity(), 1.0);
    area.setShown(7, false); // there is no such row
    area.zoom(-1, 0);
    QCOMPARE(area.span(), 2592000.0);
}

void tst_KeywordPlot::line_data()
{
    QTest::addColumn<QList<double>>("samples"); // time, value, time, value
    QTest::addColumn<bool>("stepped");
    QTest::addColumn<QString>("expected");

    const QList<double> two {10, 0, 20, 100};
    QTest::newRow("none") << QList<double>() << false << QString();
    QTest::newRow("held until now") << QList<double> {10, 50} << false << "10,50 100,50";
    QTest::newRow("line") << two << false << "10,100 20,0 100,0";
    QTest::newRow("steps") << two << true << "10,100 20,100 20,0 100,0";
    QTest::newRow("reaches into the picture")
        << QList<double> {-30, 50, -10, 0, 10, 100} << false << "-10,100 10,0 100,0";
    QTest::newRow("gap") << QList<double> {10, 0, 20, nothing, 40, 100} << false
                         << "10,100 20,100 | 40,0 100,0";
    QTest::newRow("ends with a gap")
        << QList<double> {10, 0, 20, nothing} << false << "10,100 20,100";
    QTest::newRow("leads beyond the picture")
        << QList<double> {90, 0, 150, 100, 160, 0} << false << "90,100 150,0";
    QTest::newRow("a gap in a crowd")
        << QList<double> {10, 0, 50.1, 40, 50.2, nothing, 50.3, 10, 60, 0} << false
        << "10,100 50,90 50,60 | 50.3,90 60,100 100,100";
    QTest::newRow("a crowd in one column")
        << QList<double> {10, 0, 50.1, 40, 50.2, 90, 50.3, 10, 50.4, 30, 60, 0} << false
        << "10,100 50,90 50,10 60,100 100,100";
}

void tst_KeywordPlot::line()
{
    QFETCH(QList<double>, samples);
    QFETCH(bool, stepped);
    QFETCH(QString, expected);
    // A column of pixels is 10 ms wide. Crowded samples are placed in the middle of their column.
    PKeywordSamples ring;
    for (qsizetype i = 0; i + 1 < samples.size(); i += 2)
        ring.append({qint64(std::lround(samples.at(i) * 10)) + 1000, samples.at(i + 1)});
    const PlotLine line = traceLine(ring, plainView(1000, 2000), stepped);
    QString found = shown(line);
    found.replace(QStringLiteral("50.5,"), QStringLiteral("50,"));
    QCOMPARE(found, expected);
}

// For any number of samples, a column of pixels has at most two points, and the extremes are kept.
void tst_KeywordPlot::line_isBoundedByThePixels()
{
    std::mt19937 random(7);
    for (const int count : {1000, 30000, 1000000}) {
        PKeywordSamples ring(1000000);
        for (int i = 0; i < count; ++i)
            ring.append({qint64(i) * 1000000 / count, double(random() % 100)});
        PlotView view = plainView(0, 1000000);
        view.size = QSizeF(500, 200);
        const PlotLine line = traceLine(ring, view, false);
        QVERIFY2(line.points.size() <= 2 * std::size_t(502),
                 qPrintable(QString::number(line.points.size())));
        QVERIFY(line.points.size() >= 900);
        const auto [low, high] =
            std::minmax_element(line.points.cbegin(), line.points.cend(),
                                [](const QPointF &a, const QPointF &b) { return a.y() < b.y(); });
        const PKeywordExtent extent = ring.extent(0, ring.size());
        QCOMPARE(low->y(), view.y(extent.highest));
        QCOMPARE(high->y(), view.y(extent.lowest));
        QVERIFY(std::is_sorted(line.points.cbegin(), line.points.cend(),
                               [](const QPointF &a, const QPointF &b) { return a.x() < b.x(); }));
    }
}

// A moving picture shows the same line, shifted to the left.
void tst_KeywordPlot::line_doesNotFlicker()
{
    std::mt19937 random(7);
    PKeywordSamples ring(100000);
    for (qint64 i = 0; i < 100000; ++i)
        ring.append({i * 10, double(random() % 100)});
    const PlotLine first = traceLine(ring, plainView(0, 500000), false);
    const PlotLine second = traceLine(ring, plainView(1234, 501234), false);
    int compared = 0;
    for (const QPointF &point : first.points) {
        const double x = point.x() - 0.2468;
        if (x < 2 || x > 98)
            continue;
        const bool found =
            std::any_of(second.points.cbegin(), second.points.cend(), [&](const QPointF &other) {
                return std::abs(other.x() - x) < 1e-6 && std::abs(other.y() - point.y()) < 1e-6;
            });
        QVERIFY2(found, qPrintable(QStringLiteral("%1,%2").arg(x).arg(point.y())));
        ++compared;
    }
    QVERIFY(compared > 100);
}

void tst_KeywordPlot::line_goesOnAsIfMadeAnew_data()
{
    QTest::addColumn<bool>("stepped");
    QTest::addColumn<int>("longest"); // milliseconds between two samples
    QTest::addColumn<int>("capacity");
    QTest::newRow("crowded") << false << 4 << 100000;
    QTest::newRow("crowded steps") << true << 4 << 100000;
    QTest::newRow("sparse") << false << 400 << 100000;
    QTest::newRow("sparse steps") << true << 400 << 100000;
    QTest::newRow("mixed") << false << 60 << 100000;
    QTest::newRow("of few samples") << true << 60 << 40;
}

void tst_KeywordPlot::line_goesOnAsIfMadeAnew()
{
    QFETCH(bool, stepped);
    QFETCH(int, longest);
    QFETCH(int, capacity);
    std::mt19937 random(7);
    PKeywordSamples samples;
    samples.setCapacity(std::size_t(capacity));
    const PlotView view = plainView(1000, 2000);
    PlotTracer tracer(view, stepped);
    PlotLine line;
    std::vector<QPointF> kept;
    qint64 time = 1000;
    double end = 0;
    int begun = 0;
    std::size_t mostFinal = 0;
    for (int step = 0; step < 1000; ++step) {
        for (auto count = random() % 4; count > 0; --count) {
            time += qint64(random() % unsigned(longest));
            samples.append({time, random() % 20 == 0 ? nothing : double(random() % 100)});
        }
        if (random() % 3 == 0)
            time += qint64(random() % 5);
        // The end is sometimes before the last samples.
        end = std::max(end, double(time) - (random() % 4 == 0 ? 30 : 0));
        if (!tracer.canExtend(samples) || samples.empty() || capacity < 100) {
            // The tracer does not remove points of discarded samples. The plot handles this case.
            tracer = PlotTracer(view, stepped);
            line = {};
            kept.clear();
            ++begun;
        }
        tracer.extend(line, samples, end, double(time));

        PlotLine anew;
        PlotTracer(view, stepped).extend(anew, samples, end, double(time));
        if (line.points != anew.points || line.ends != anew.ends)
            QCOMPARE(shown(line), shown(anew));
        QVERIFY(line.final <= line.points.size());
        QVERIFY(line.final >= kept.size());
        QVERIFY(std::equal(kept.cbegin(), kept.cend(), line.points.cbegin()));
        kept.assign(line.points.cbegin(), line.points.cbegin() + qsizetype(line.final));
        mostFinal = std::max(mostFinal, line.final);
    }
    if (capacity > 100) {
        QVERIFY(begun <= 1); // only before the first sample
        QVERIFY2(line.points.size() < line.final + 16, qPrintable(QString::number(line.final)));
        QVERIFY(mostFinal > 300);
    }
}

void tst_KeywordPlot::line_doesNotGoOnFromOtherSamples()
{
    PKeywordSamples samples;
    samples.setCapacity(5);
    const PlotView view = plainView(0, 1000);
    PlotTracer tracer(view, false);
    PlotLine line;
    QVERIFY(tracer.canExtend(samples));
    tracer.extend(line, samples, 1000, 1000);
    QVERIFY(tracer.canExtend(samples)); // there were no samples
    for (int i = 0; i < 5; ++i)
        samples.append({qint64(i) * 100, 50.0 + i});
    tracer.extend(line, samples, 1000, 500);
    QVERIFY(tracer.canExtend(samples));
    const quint64 generation = samples.generation();
    for (qint64 i = 5; i < 9; ++i)
        samples.append({i * 100, 50});
    QCOMPARE(samples.generation(), generation);
    QVERIFY(tracer.canExtend(samples)); // the sample at which it continues still exists
    samples.append({900, 50});
    QVERIFY(!tracer.canExtend(samples));

    tracer = PlotTracer(view, false);
    line = {};
    tracer.extend(line, samples, 1000, 1000);
    QVERIFY(tracer.canExtend(samples));
    samples.setCapacity(50);
    QVERIFY(samples.generation() != generation);
    QVERIFY(!tracer.canExtend(samples));
    tracer = PlotTracer(view, false);
    line = {};
    tracer.extend(line, samples, 1000, 1000);
    samples.clear();
    QVERIFY(!tracer.canExtend(samples));
    samples.append({2000, 1});
    QVERIFY(!tracer.canExtend(samples));
}

void tst_KeywordPlot::valueAxis_data()
{
    QTest::addColumn<double>("lowest");
    QTest::addColumn<double>("highest");
    QTest::addColumn<double>("minimum");
    QTest::addColumn<double>("maximum");
    QTest::addColumn<QString>("expected");

    QTest::newRow("round") << 3.0 << 97.0 << nothing << nothing << "0 20 40 60 80 100";
    QTest::newRow("small") << 0.001 << 0.0042 << nothing << nothing
                           << "0.001 0.002 0.003 0.004 0.005";
    QTest::newRow("across zero") << -0.3 << 0.4 << nothing << nothing << "-0.4 -0.2 0.0 0.2 0.4";
    QTest::newRow("steady") << 100.0 << 100.0 << nothing << nothing << "94 96 98 100 102 104 106";
    QTest::newRow("steady zero") << 0.0 << 0.0 << nothing << nothing
                                 << "-0.6 -0.4 -0.2 0.0 0.2 0.4 0.6";
    QTest::newRow("fixed") << 3.0 << 5.0 << 0.0 << 10.0 << "0 2 4 6 8 10";
    QTest::newRow("fixed below") << 3.0 << 5.0 << 0.0 << nothing << "0 1 2 3 4 5";
    QTest::newRow("fixed the wrong way")
        << 3.0 << 5.0 << 10.0 << nothing << "10.0 10.2 10.4 10.6 10.8 11.0";
    QTest::newRow("large") << 1e15 << 1e15 + 3 << nothing << nothing
                           << "9.4e+14 9.6e+14 9.8e+14 1e+15 1.02e+15 1.04e+15 1.06e+15";
}

void tst_KeywordPlot::valueAxis()
{
    QFETCH(double, lowest);
    QFETCH(double, highest);
    QFETCH(double, minimum);
    QFETCH(double, maximum);
    PlotView view = plainView(0, 1000);
    view.size.setHeight(200);
    PKeywordExtent extent;
    extent.add(lowest);
    extent.add(highest);
    QFont font;
    font.setPixelSize(10);
    const std::vector<PlotTick> ticks =
        valueTicks(view, extent, minimum, maximum, false, QFontMetricsF(font));
    QTEST(texts(ticks), "expected");
    QVERIFY(view.lowest < view.highest);
    for (const PlotTick &tick : ticks)
        QVERIFY(tick.position >= -1e-6 && tick.position <= 200 + 1e-6);
}

void tst_KeywordPlot::valueAxis_ofBoolsAndOfNothing()
{
    PlotView view = plainView(0, 1000);
    const QFontMetricsF metrics {QFont()};
    QCOMPARE(texts(valueTicks(view, {}, nothing, nothing, true, metrics)),
             QStringLiteral("false true"));
    QVERIFY(view.lowest < 0 && view.highest > 1);
    QVERIFY(!valueTicks(view, {}, nothing, nothing, false, metrics).empty());
    QCOMPARE(view.lowest, 0.0);
    QCOMPARE(view.highest, 1.0);
}

void tst_KeywordPlot::timeAxis_isOfRoundTimes()
{
    const QFontMetricsF metrics {QFont()};
    const auto now = double(PKeywordHistory::now());
    for (const double span : {1e3, 1e4, 6e4, 6e5, 3.6e6, 8.64e7, 2.592e9}) {
        PlotView view = plainView(now - span, now);
        view.size = QSizeF(800, 100);
        const std::vector<PlotTick> ticks = timeTicks(view, metrics);
        QVERIFY2(ticks.size() >= 2 && ticks.size() <= 20, qPrintable(texts(ticks)));
        for (std::size_t i = 0; i < ticks.size(); ++i) {
            QVERIFY(ticks[i].position >= 0 && ticks[i].position <= 800);
            if (i > 0) { // the labels do not overlap
                QVERIFY2(ticks[i].position - ticks[i - 1].position
                             > metrics.horizontalAdvance(ticks[i].text),
                         qPrintable(texts(ticks)));
            }
        }
    }
}

void tst_KeywordPlot::texts_followTheLocale()
{
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    QCOMPARE(plotNumberText(1234.5), QStringLiteral("1234,5"));
    const QDateTime time(QDate::currentDate(), QTime(15, 4, 5, 60));
    QCOMPARE(plotTimeText(time, 60000), QStringLiteral("15:04:05"));
    QCOMPARE(plotTimeText(time, 5000), QStringLiteral("15:04:05,060"));
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QCOMPARE(plotNumberText(1234567.0), QStringLiteral("1234567"));
    PlotView view = plainView(0, 1000);
    PKeywordExtent extent;
    extent.add(12000);
    extent.add(18000);
    const QString ticks =
        texts(valueTicks(view, extent, nothing, nothing, false, QFontMetricsF(QFont())));
    QVERIFY2(ticks.contains(QStringLiteral("15000")), qPrintable(ticks));
    QVERIFY2(plotTimeText(time, 60000).startsWith(QStringLiteral("3:04:05")),
             qPrintable(plotTimeText(time, 60000)));
    QVERIFY(plotTimeText(time.addDays(-1), 60000).size() > plotTimeText(time, 60000).size());
    QLocale::setDefault(QLocale::c());
    QCOMPARE(plotNumberText(nothing), QStringLiteral("\u2014"));
}

// Without a graphics card: draws what a graphics card would draw, and compares it with the painted
// picture.
void tst_KeywordPlot::picture_isTheSameInTriangles_data()
{
    QTest::addColumn<double>("fillOpacity");
    QTest::addColumn<double>("offset");
    QTest::newRow("lines") << 0.0 << 0.0;
    QTest::newRow("filled") << 0.3 << 0.0;
    QTest::newRow("moved") << 0.3 << 40.0;
}

void tst_KeywordPlot::picture_isTheSameInTriangles()
{
    QFETCH(double, fillOpacity);
    QFETCH(double, offset);
    PKeywordSamples samples;
    for (int i = 0; i < 60; ++i)
        samples.append({qint64(i) * 10, i == 30 ? nothing : 50 + 40 * std::sin(i / 6.0)});
    PlotView view = plainView(0, 600);
    view.size = QSizeF(200, 100);
    PlotPicture picture;
    picture.size = view.size;
    picture.gridColor = QColor(0, 0, 255, 100);
    picture.horizontals = {10, 60};
    picture.verticals = {50};
    picture.lines = {traceLine(samples, view, false)};
    QCOMPARE(picture.lines.front().ends.size(), std::size_t(2));
    picture.lines.front().color = Qt::red;
    picture.lineWidth = 3;
    picture.fillOpacity = fillOpacity;

    std::unique_ptr<QSGNode> node(drawTriangles(picture, nullptr));
    picture.offset = offset;
    QCOMPARE(drawTriangles(picture, node.get()), node.get());
    QImage drawn(view.size.toSize(), QImage::Format_ARGB32_Premultiplied);
    drawn.fill(Qt::transparent);
    rasterize(drawn, node.get(), {});
    const QImage painted = paintPlot(picture, 1);
    const auto [different, colored] = differentPixels(drawn, painted);
    QVERIFY2(colored > 400, qPrintable(QString::number(colored)));
    QVERIFY2(different < colored / 50, qPrintable(QString::number(different)));
}

// The line is the same, regardless of how it was divided into parts.
void tst_KeywordPlot::picture_thatGrowsIsTheSameInTriangles()
{
    PKeywordSamples samples;
    PlotView view = plainView(0, 1000);
    view.size = QSizeF(1000, 100);
    PlotPicture picture;
    picture.size = view.size;
    picture.gridColor = Qt::transparent;
    picture.lineWidth = 3;
    picture.lines.resize(2);
    picture.lines[0].color = QColor(255, 0, 0, 150); // translucent, so that overlaps are visible
    picture.lines[1].color = Qt::blue;
    PlotTracer tracers[] = {PlotTracer(view, false), PlotTracer(view, true)};
    std::unique_ptr<QSGNode> node;
    const auto image = [&](const QSGNode *drawn) {
        QImage result(view.size.toSize(), QImage::Format_ARGB32_Premultiplied);
        result.fill(Qt::transparent);
        rasterize(result, drawn, {});
        return result;
    };
    const auto draw = [&](int time) {
        for (std::size_t line = 0; line < 2; ++line)
            tracers[line].extend(picture.lines[line], samples, time, time);
        QSGNode *const drawn = drawTriangles(picture, node.get());
        if (!node)
            node.reset(drawn);
        return drawn == node.get();
    };
    const auto drawAnew = [&] {
        PlotPicture copy = picture;
        for (PlotLine &line : copy.lines)
            line.final = 0; // everything in one part
        const std::unique_ptr<QSGNode> fresh(drawTriangles(copy, nullptr));
        return image(fresh.get());
    };
    for (int i = 0; i <= 200; ++i) {
        samples.append({qint64(i) * 5, i % 70 == 50 ? nothing : 50 + 40 * std::sin(i / 6.0)});
        QVERIFY(draw(i * 5));
        if (i % 40 == 7)
            QCOMPARE(image(node.get()), drawAnew());
        for (PlotLine &line : picture.lines)
            line.serial += i % 50 == 20; // starts a new body with the next sample
        if (i % 50 == 21) { // the end of the body changes
            samples.append({qint64(i) * 5, 5});
            samples.append({qint64(i) * 5, 95});
            QVERIFY(draw(i * 5));
            QCOMPARE(image(node.get()), drawAnew());
        }
    }
    // More points than the tail can hold, at once and one by one
    for (int i = 200; i < 1200; ++i) {
        samples.append({qint64(i) * 5, double(i % 90)});
        if (i % 50 == 0 || i > 1000) {
            picture.offset = 1000 - i * 5;
            QVERIFY(draw(i * 5));
        }
        if (i % 400 == 0 || i == 1199)
            QCOMPARE(image(node.get()), drawAnew());
    }
}

void tst_KeywordPlot::plot_isDrawnAtMostThirtyTimesASecond()
{
    RecordingClient client;
    PKeywordHistories histories;
    histories.setClient(&client);
    histories.setKeywords({keyword});
    QQuickWindow window;
    window.resize(300, 100);
    PKeywordPlotArea plot;
    plot.setParentItem(window.contentItem());
    plot.setSize({300, 100});
    plot.setSpan(1);
    plot.setHistories(&histories);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    QSignalSpy drawn(&plot, &PKeywordPlotArea::frameChanged);
    QElapsedTimer timer;
    timer.start();
    int events = 0;
    QTRY_VERIFY((publish(client, ++events), drawn.size() >= 15));
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(drawn.size() <= elapsed * 30 / 1000 + 2,
             qPrintable(QStringLiteral("%1 in %2 ms").arg(drawn.size()).arg(elapsed)));

    plot.setVisible(false);
    drawn.clear();
    plot.setVisible(true);
    QTRY_VERIFY(!drawn.isEmpty());

    // A plot that does not follow draws new samples, and then nothing.
    plot.setFollowing(false);
    publish(client, ++events);
    const int before = int(drawn.size());
    QTRY_VERIFY(drawn.size() > before);
    QTRY_VERIFY((drawn.clear(), !drawn.wait(300)));
}

void tst_KeywordPlot::plot_drawsStepsAtTheirHeight()
{
    RecordingClient client;
    PKeywordHistories histories;
    histories.setClient(&client);
    histories.setKeywords({keyword});
    QQuickWindow window;
    window.resize(300, 100);
    window.setColor(Qt::white);
    PKeywordPlotArea plot;
    plot.setParentItem(window.contentItem());
    plot.setSize({300, 100});
    plot.setHistories(&histories);
    plot.setSpan(1);
    plot.setColors({QColor(Qt::red)});
    plot.setGridColor(Qt::white);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    // The rows with red pixels near the right edge.
    const auto redRows = [&window] {
        const QImage image = window.grabWindow();
        QList<int> rows;
        for (int y = 0; y < image.height(); ++y) {
            const QColor color = image.pixelColor(image.width() * 9 / 10, y);
            if (color.red() > 200 && color.green() < 100)
                rows.append(y);
        }
        return rows;
    };
    publish(client, true);
    QTRY_VERIFY(!redRows().isEmpty() && redRows().constLast() < 30);
    publish(client, false);
    QTRY_VERIFY(!redRows().isEmpty() && redRows().constFirst() > 60);
    histories.setClient(nullptr); // no value is known after this
    QTRY_VERIFY(redRows().isEmpty());
}

void tst_KeywordPlot::plot_thatFollowedLooksLikeANewOne_data()
{
    QTest::addColumn<int>("what");
    for (const char *name : {"samples", "gap", "another range", "made room", "cleared",
                             "other capacity", "zoomed", "panned", "hidden", "steps", "color"}) {
        static int number = 0;
        QTest::newRow(name) << number++;
    }
}

void tst_KeywordPlot::plot_thatFollowedLooksLikeANewOne()
{
    QFETCH(int, what);
    PKeywordHistory histories[2];
    PKeywordHistories all;
    const qint64 now = PKeywordHistory::now();
    for (PKeywordHistory &history : histories) {
        history.setCapacity(2000);
        for (int i = 0; i < 1500; ++i)
            history.append({now - 1000000 + qint64(i) * 500, 50 + 40 * std::sin(i / 90.0)});
        all.add(&history);
    }
    QQuickWindow window;
    window.resize(600, 200);
    window.setColor(Qt::white);
    const auto make = [&](double y) {
        auto plot = std::make_unique<PKeywordPlotArea>();
        plot->setParentItem(window.contentItem());
        plot->setSize({600, 100});
        plot->setY(y);
        plot->setSpan(1000); // one pixel is longer than the test
        plot->setColors({QColor(Qt::red), QColor(Qt::blue)});
        plot->setHistories(&all);
        return plot;
    };
    const auto drawn = [](PKeywordPlotArea *plot) {
        QSignalSpy frames(plot, &PKeywordPlotArea::frameChanged);
        plot->polish();
        return frames.wait();
    };
    const std::unique_ptr<PKeywordPlotArea> plot = make(0);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QVERIFY(drawn(plot.get()));
    const auto append = [&](int count, double value) {
        for (PKeywordHistory &history : histories) {
            const qint64 last = history.samples().back().time;
            for (qint64 i = 0; i < count; ++i)
                history.append({last + i * 100, value});
        }
    };
    append(500, 30);
    QVERIFY(drawn(plot.get()));
    switch (what) {
    case 1:
        append(1, nothing);
        QVERIFY(drawn(plot.get()));
        append(200, 60);
        break;
    case 2:
        append(3, 400);
        break;
    case 3:
        append(1200, 10);
        break;
    case 4:
        histories[0].clear();
        histories[0].append({now - 300000, 70});
        histories[0].append({now - 200000, 60});
        break;
    case 5:
        histories[0].setCapacity(200);
        histories[0].append({now - 100000, 60});
        break;
    case 6:
        plot->setSpan(300);
        break;
    case 7:
        plot->pan(200);
        break;
    case 8:
        plot->setShown(0, false);
        break;
    case 9:
        plot->setSteps(true);
        break;
    case 10:
        plot->setColors({QColor(Qt::green)});
        break;
    default:
        break;
    }
    QVERIFY(drawn(plot.get()));
    append(40, 20);
    QVERIFY(drawn(plot.get()));

    const std::unique_ptr<PKeywordPlotArea> other = make(100);
    other->setSpan(plot->span());
    if (what == 7)
        other->pan(200);
    other->setShown(0, what != 8);
    other->setSteps(plot->steps());
    other->setColors(plot->colors());
    QVERIFY(drawn(other.get()) && drawn(plot.get()));
    const QImage image = window.grabWindow();
    const QImage upper = image.copy(0, 0, 600, 100);
    const QImage lower = image.copy(0, 100, 600, 100);
    int different = 0;
    int colored = 0;
    for (int y = 0; y < 100; ++y) {
        for (int x = 0; x < 600; ++x) {
            const QColor a = upper.pixelColor(x, y);
            const QColor b = lower.pixelColor(x, y);
            colored += b.saturation() > 100;
            different += std::abs(a.red() - b.red()) > 130 || std::abs(a.blue() - b.blue()) > 130
                || std::abs(a.green() - b.green()) > 130;
        }
    }
    QVERIFY2(colored > 100, qPrintable(QString::number(colored)));
    QVERIFY2(different <= colored / 30,
             qPrintable(QStringLiteral("%1 of %2").arg(different).arg(colored)));
}

void tst_KeywordPlot::legend_hidesALine()
{
    Page page;
    QVERIFY(page.draw());
    const QAbstractItemModelTester tester(page.area->series());
    page.fill(page.histories->at(0), 20);
    page.fill(page.histories->at(1), 80);
    const auto pixels = [&page](Qt::GlobalColor wanted) {
        const QImage image = page.window.grabWindow();
        int count = 0;
        for (int y = int(page.area->mapToScene({}).y()); y < image.height(); ++y) {
            for (int x = int(page.area->mapToScene({}).x()); x < image.width(); ++x) {
                const QColor color = image.pixelColor(x, y);
                const QColor target(wanted);
                count += std::abs(color.red() - target.red()) < 60
                    && std::abs(color.green() - target.green()) < 60
                    && std::abs(color.blue() - target.blue()) < 60;
            }
        }
        return count;
    };
    QTRY_VERIFY(pixels(Qt::red) > 200 && pixels(Qt::blue) > 200);
    QCOMPARE(page.row(0, "value").toString(), QStringLiteral("20"));
    QVERIFY(page.row(0, "shown").toBool());
    page.area->setShown(0, false);
    QTRY_VERIFY(pixels(Qt::red) == 0 && pixels(Qt::blue) > 200);
    QVERIFY(!page.row(0, "shown").toBool());
    page.area->setShown(0, true);
    QTRY_VERIFY(pixels(Qt::red) > 200);
    page.histories->setKeywords({QStringLiteral("/b")});
    QTRY_COMPARE(page.area->series()->rowCount(), 1);
}

void tst_KeywordPlot::cursor_tellsAllValuesOfATime()
{
    Page page;
    QVERIFY(page.draw());
    const qint64 now = PKeywordHistory::now();
    page.histories->at(0)->append({now - 40000, 1.5});
    page.histories->at(0)->append({now - 10000, 2.5});
    page.histories->at(1)->append({now - 20000, 7});
    const QPoint middle = page.area->mapToScene({page.area->width() / 2, 20}).toPoint();
    QTest::mouseMove(&page.window, middle);
    QTRY_VERIFY(page.area->cursorShown());
    QTRY_COMPARE(page.row(0, "cursorValue").toString(), QStringLiteral("1.5"));
    QCOMPARE(page.row(1, "cursorValue").toString(), QStringLiteral("\u2014"));
    QCOMPARE(page.row(0, "value").toString(), QStringLiteral("2.5"));
    QVERIFY(!page.area->cursorText().isEmpty());
    QTest::mouseMove(&page.window, page.area->mapToScene({page.area->width() - 2, 20}).toPoint());
    QTRY_COMPARE(page.row(0, "cursorValue").toString(), QStringLiteral("2.5"));
    QTRY_COMPARE(page.row(1, "cursorValue").toString(), QStringLiteral("7"));
    QTest::mouseMove(&page.window, {1, 1});
    QTRY_VERIFY(!page.area->cursorShown());
}

void tst_KeywordPlot::keyboard()
{
    Page page;
    QVERIFY(page.draw());
    page.fill(page.histories->at(0));
    QVERIFY(QTest::qWaitForWindowActive(&page.window));
    page.plot->forceActiveFocus();
    PKeywordPlotArea *area = page.area;
    const auto press = [&page](int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(&page.window, Qt::Key(key), modifiers);
    };
    const auto age = [area] {
        return double(area->to().msecsTo(QDateTime::currentDateTime())) / 1000;
    };

    press(Qt::Key_Plus);
    QCOMPARE(area->span(), 48.0);
    press(Qt::Key_Minus);
    QCOMPARE(area->span(), 60.0);
    QVERIFY(area->following());
    press(Qt::Key_Left);
    QVERIFY(!area->following());
    QTRY_VERIFY(age() > 5);
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    QVERIFY(area->following());
    press(Qt::Key_Home);
    QVERIFY(!area->following());
    QTRY_VERIFY(age() > 930);
    press(Qt::Key_Left); // scrolling stops shortly before the first sample
    for (int i = 0; i < 30; ++i)
        press(Qt::Key_Left);
    QTRY_VERIFY(age() > 980);
    QVERIFY(age() < 1000 + 60);
    press(Qt::Key_End);
    QVERIFY(area->following());

    press(Qt::Key_Left, Qt::ControlModifier);
    QVERIFY(area->cursorShown());
    QCOMPARE(area->cursorX(), area->width() - 5);
    press(Qt::Key_Right, Qt::ShiftModifier);
    press(Qt::Key_Right, Qt::ShiftModifier);
    QCOMPARE(area->cursorX(), area->width());
    QTRY_COMPARE(page.row(0, "cursorValue").toString(), QStringLiteral("50"));
    press(Qt::Key_Escape);
    QVERIFY(!area->cursorShown());
}

void tst_KeywordPlot::mouse()
{
    Page page;
    QVERIFY(page.draw());
    page.fill(page.histories->at(0));
    PKeywordPlotArea *area = page.area;
    const QPoint middle = area->mapToScene({area->width() / 2, area->height() / 2}).toPoint();
    const auto wheel = [&](QPoint delta, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QWheelEvent event(middle, page.window.mapToGlobal(middle), {}, delta, Qt::NoButton,
                          modifiers, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&page.window, &event);
    };
    wheel({0, 120});
    QCOMPARE(area->span(), 48.0);
    QVERIFY(area->following()); // the current time stays at the right edge
    wheel({0, -120});
    QCOMPARE(area->span(), 60.0);

    QTest::mousePress(&page.window, Qt::LeftButton, {}, middle);
    for (int x = 5; x <= 60; x += 5)
        QTest::mouseMove(&page.window, middle + QPoint(x, 0));
    QTest::mouseRelease(&page.window, Qt::LeftButton, {}, middle + QPoint(60, 0));
    QVERIFY(!area->following());

    // The time below the mouse stays in place.
    QVERIFY(page.drawn());
    QVERIFY(area->to() < QDateTime::currentDateTime().addMSecs(-1000));
    const QDateTime centre = area->from().addMSecs(area->from().msecsTo(area->to()) / 2);
    wheel({0, 240});
    QVERIFY(page.drawn());
    QVERIFY(std::abs(double(area->from().msecsTo(area->to())) - 60000 / 1.5625) < 5);
    QVERIFY(std::abs(page.positionOf(centre) - area->width() / 2) < 3);
    const QDateTime before = area->to();
    wheel({0, 120}, Qt::ShiftModifier);
    QTRY_VERIFY(area->to() < before.addMSecs(-1000));
    wheel({-1200, 0});
    wheel({-1200, 0});
    QTRY_VERIFY(area->following());
}

void tst_KeywordPlot::touch()
{
    Page page;
    QVERIFY(page.draw());
    page.fill(page.histories->at(0));
    PKeywordPlotArea *area = page.area;
    const std::unique_ptr<QPointingDevice> screen(QTest::createTouchDevice());
    const QPoint middle = area->mapToScene({area->width() / 2, area->height() / 2}).toPoint();
    const auto at = [&](int x) { return middle + QPoint(x, 0); };

    QTest::touchEvent(&page.window, screen.get()).press(0, at(0));
    for (int x = 5; x <= 60; x += 5)
        QTest::touchEvent(&page.window, screen.get()).move(0, at(x));
    QTest::touchEvent(&page.window, screen.get()).release(0, at(60));
    QVERIFY(!area->following());

    const double span = area->span();
    QTest::touchEvent(&page.window, screen.get()).press(0, at(-30)).press(1, at(30));
    for (int x = 30; x <= 90; x += 5)
        QTest::touchEvent(&page.window, screen.get()).move(0, at(-x)).move(1, at(x));
    QTest::touchEvent(&page.window, screen.get()).release(0, at(-90)).release(1, at(90));
    QVERIFY2(area->span() < span * 0.8, qPrintable(QString::number(area->span())));
}

void tst_KeywordPlot::screenReader()
{
    Page page;
    page.histories->at(0)->setName(QStringLiteral("Level"));
    QVERIFY(page.draw());
    publish(page.client, 41.5);
    QTRY_COMPARE(page.area->summary(), QStringLiteral("Level: 41.5; /b: \u2014"));
    QAccessibleInterface *reader = QAccessible::queryAccessibleInterface(page.plot.get());
    QVERIFY(reader);
    QCOMPARE(reader->role(), QAccessible::Chart);
    QCOMPARE(reader->text(QAccessible::Name), QStringLiteral("Plot of values over time"));
    QTRY_COMPARE(reader->text(QAccessible::Description), QStringLiteral("Level: 41.5; /b: \u2014"));
    page.area->setCursorX(page.area->width() - 1);
    QTRY_VERIFY2(reader->text(QAccessible::Description).endsWith(QStringLiteral("; /b: \u2014")),
                 qPrintable(reader->text(QAccessible::Description)));
    QVERIFY(reader->text(QAccessible::Description).contains(page.area->cursorText()));
}

void tst_KeywordPlot::colors_followThePalette()
{
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import PellixClient.Keyword.Extras\nPKeywordPlot { }", {});
    const std::unique_ptr<QObject> plot(component.create());
    QVERIFY2(plot, qPrintable(component.errorString()));
    QObject *palette = plot->property("palette").value<QObject *>();
    QVERIFY(palette);
    const auto first = [&] { return plot->property("colors").toList().value(0).toString(); };
    palette->setProperty("window", QColor(Qt::white));
    palette->setProperty("windowText", QColor(Qt::black));
    QCOMPARE(first(), QStringLiteral("#0b7a6a"));
    QCOMPARE(plot->property("textColor").value<QColor>(), QColor(Qt::black));
    palette->setProperty("window", QColor(Qt::black));
    palette->setProperty("windowText", QColor(Qt::white));
    QCOMPARE(first(), QStringLiteral("#4cc2ae"));
    QCOMPARE(plot->property("textColor").value<QColor>(), QColor(Qt::white));
}

// In any order, including while they are drawn.
void tst_KeywordPlot::anythingMayBeDeleted_data()
{
    QTest::addColumn<int>("order");
    for (int order = 0; order < 6; ++order)
        QTest::addRow("%d", order) << order;
}

void tst_KeywordPlot::anythingMayBeDeleted()
{
    QFETCH(int, order);
    auto client = std::make_unique<RecordingClient>();
    auto histories = std::make_unique<PKeywordHistories>();
    histories->setClient(client.get());
    histories->setKeywords({keyword});
    QQuickWindow window;
    window.resize(300, 100);
    auto plot = std::make_unique<PKeywordPlotArea>();
    plot->setParentItem(window.contentItem());
    plot->setSize({300, 100});
    plot->setSpan(1);
    plot->setHistories(histories.get());
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    publish(*client, 1.5);
    plot->setShown(0, false);
    plot->setShown(0, true);
    window.grabWindow();

    constexpr int orders[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
    for (const int which : orders[order]) {
        switch (which) {
        case 0:
            client.reset();
            break;
        case 1:
            delete histories->at(0);
            window.grabWindow();
            histories.reset();
            break;
        default:
            plot.reset();
        }
        window.grabWindow();
        if (plot) {
            plot->pan(10);
            plot->showOldest();
            QSignalSpy drawn(plot.get(), &PKeywordPlotArea::frameChanged);
            plot->polish();
            QTRY_VERIFY(!drawn.isEmpty());
            QCOMPARE(plot->histories(), histories.get());
        }
    }
}

QTEST_MAIN(tst_KeywordPlot)
#include "tst_keywordplot.moc"
