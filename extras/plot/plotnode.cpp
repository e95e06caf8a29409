// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/plot/plotnode_p.h"

#include <QtGui/QMatrix4x4>
#include <QtGui/QPainter>
#include <QtGui/QPolygonF>
#include <QtQuick/QQuickWindow>
#include <QtQuick/QSGGeometryNode>
#include <QtQuick/QSGImageNode>
#include <QtQuick/QSGRendererInterface>
#include <QtQuick/QSGTransformNode>
#include <QtQuick/QSGVertexColorMaterial>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

namespace pellix::extras {

namespace {

// Vertex colors are multiplied by their opacity.
struct VertexColor
{
    VertexColor(const QColor &color, double opacity)
        : red(part(color.redF(), color.alphaF() * opacity)),
          green(part(color.greenF(), color.alphaF() * opacity)),
          blue(part(color.blueF(), color.alphaF() * opacity)),
          alpha(part(1, color.alphaF() * opacity))
    { }

    static uchar part(double value, double alpha)
    {
        return static_cast<uchar>(std::lround(value * alpha * 255));
    }

    uchar red;
    uchar green;
    uchar blue;
    uchar alpha;
};

// Writes triangles into a geometry that has been allocated for them.
class Triangles
{
public:
    explicit Triangles(QSGGeometry &geometry)
        : vertices(geometry.vertexDataAsColoredPoint2D()), indices(geometry.indexDataAsUInt())
    { }

    void addVertex(double x, double y, const VertexColor &color)
    {
        vertices[vertex++].set(float(x), float(y), color.red, color.green, color.blue, color.alpha);
    }
    // Between the vertices of two edges, which are counted from the last one that was added.
    void addQuad(quint32 a, quint32 b, quint32 c, quint32 d)
    {
        for (const quint32 back : {a, b, c, c, b, d})
            indices[index++] = vertex - back;
    }

private:
    QSGGeometry::ColoredPoint2D *vertices;
    quint32 *indices;
    quint32 vertex = 0;
    quint32 index = 0;
};

struct Amount
{
    std::size_t vertices = 0;
    std::size_t indices = 0;
};

constexpr std::size_t lineVertices = 4; // across a line: a soft edge, the line, a soft edge
constexpr std::size_t lineIndices = 18;
constexpr std::size_t fillVertices = 2;
constexpr std::size_t quadIndices = 6;

Amount gridAmount(const PlotPicture &picture)
{
    const std::size_t lines = picture.horizontals.size() + picture.verticals.size();
    return {lines * 4, lines * quadIndices};
}

void addRectangle(Triangles &triangles, const QRectF &area, const VertexColor &color)
{
    triangles.addVertex(area.left(), area.top(), color);
    triangles.addVertex(area.right(), area.top(), color);
    triangles.addVertex(area.left(), area.bottom(), color);
    triangles.addVertex(area.right(), area.bottom(), color);
    triangles.addQuad(4, 3, 2, 1);
}

QPointF normalTo(const QPointF &from, const QPointF &to)
{
    const QPointF along = to - from;
    const double length = std::sqrt(QPointF::dotProduct(along, along));
    return length > 0 ? QPointF(-along.y(), along.x()) / length : QPointF(0, 1);
}

// The direction across a line at one of its points, so long that the line keeps its width at a
// bend. A sharp bend is cut off.
QPointF across(const QPointF *points, std::size_t i, std::size_t count)
{
    const QPointF before =
        i > 0 ? normalTo(points[i - 1], points[i]) : normalTo(points[0], points[1]);
    const QPointF after = i + 1 < count ? normalTo(points[i], points[i + 1]) : before;
    const QPointF sum = before + after;
    const double square = QPointF::dotProduct(sum, sum);
    return square < 1 ? after : sum * (2 / square);
}

// Points of a run, from the first to before the last, and the whole run around them.
struct Stretch
{
    const QPointF *points;
    std::size_t count;
    std::size_t first;
    std::size_t last;
};

// Calls a function for each run of which there is something to draw between two points of a line.
template <typename Function>
void forEachRun(const PlotLine &line, std::size_t from, std::size_t to, Function function)
{
    std::size_t begin = 0;
    for (const std::size_t end : line.ends) {
        const std::size_t first = std::max(begin, from);
        const std::size_t last = std::min(end, to);
        if (first + 1 < last)
            function(
                Stretch {line.points.data() + begin, end - begin, first - begin, last - begin});
        begin = end;
    }
}

void addLine(Triangles &triangles, const Stretch &stretch, double width, const QColor &color)
{
    const VertexColor solid(color, 1);
    const VertexColor clear(color, 0);
    const double inner = std::max(0.0, width / 2 - 0.5);
    const double outer = inner + 1;
    for (std::size_t i = stretch.first; i < stretch.last; ++i) {
        const QPointF normal = across(stretch.points, i, stretch.count);
        const QPointF &point = stretch.points[i];
        triangles.addVertex(point.x() + normal.x() * outer, point.y() + normal.y() * outer, clear);
        triangles.addVertex(point.x() + normal.x() * inner, point.y() + normal.y() * inner, solid);
        triangles.addVertex(point.x() - normal.x() * inner, point.y() - normal.y() * inner, solid);
        triangles.addVertex(point.x() - normal.x() * outer, point.y() - normal.y() * outer, clear);
        if (i == stretch.first)
            continue;
        triangles.addQuad(8, 7, 4, 3);
        triangles.addQuad(7, 6, 3, 2);
        triangles.addQuad(6, 5, 2, 1);
    }
}

void addFill(Triangles &triangles, const Stretch &stretch, double bottom, const VertexColor &color)
{
    for (std::size_t i = stretch.first; i < stretch.last; ++i) {
        const QPointF &point = stretch.points[i];
        triangles.addVertex(point.x(), point.y(), color);
        triangles.addVertex(point.x(), bottom, color);
        if (i > stretch.first)
            triangles.addQuad(4, 3, 2, 1);
    }
}

// Vertex colours, but equal to no other one: the scene graph uploads whatever has equal materials
// together, so that a line that grows would have all others uploaded, too.
class OwnMaterial : public QSGVertexColorMaterial
{
public:
    int compare(const QSGMaterial *other) const override
    {
        if (other == this)
            return 0;
        return std::less<const QSGMaterial *>()(this, other) ? -1 : 1;
    }
};

// Triangles of any color.
class TrianglesNode : public QSGGeometryNode
{
public:
    TrianglesNode()
    {
        setFlag(QSGNode::OwnedByParent, false);
        geometry.setDrawingMode(QSGGeometry::DrawTriangles);
        setGeometry(&geometry);
        setMaterial(&material);
    }

    Triangles begin(const Amount &amount)
    {
        geometry.allocate(int(amount.vertices), int(amount.indices));
        markDirty(QSGNode::DirtyGeometry);
        return Triangles(geometry);
    }
    void clear()
    {
        if (geometry.vertexCount() > 0)
            begin({});
    }

private:
    QSGGeometry geometry {QSGGeometry::defaultAttributes_ColoredPoint2D(), 0, 0,
                          QSGGeometry::UnsignedIntType};
    OwnMaterial material;
};

// A line, or the area below it: a constant part, and a part that is rebuilt each time.
struct Strip
{
    TrianglesNode body;
    TrianglesNode tail;
};

class LineNodes
{
public:
    void appendTo(QSGNode &fills, QSGNode &lines)
    {
        fills.appendChildNode(&fill.body);
        fills.appendChildNode(&fill.tail);
        lines.appendChildNode(&stroke.body);
        lines.appendChildNode(&stroke.tail);
    }

    void draw(const PlotLine &line, const PlotPicture &picture)
    {
        // The way across a point depends on the next one, which has to be final as well.
        const std::size_t final = line.final > 1 ? line.final - 1 : 0;
        if (line.serial != serial || final > built + longestTail) {
            serial = line.serial;
            built = final;
            drawStretch(line, picture, 0, built, fill.body, stroke.body);
        }
        drawStretch(line, picture, built > 0 ? built - 1 : 0, line.points.size(), fill.tail,
                    stroke.tail);
    }

private:
    static constexpr std::size_t longestTail = 256; // points

    static void drawStretch(const PlotLine &line, const PlotPicture &picture, std::size_t from,
                            std::size_t to, TrianglesNode &fill, TrianglesNode &stroke)
    {
        std::size_t points = 0;
        std::size_t segments = 0;
        forEachRun(line, from, to, [&](const Stretch &stretch) {
            points += stretch.last - stretch.first;
            segments += stretch.last - stretch.first - 1;
        });
        Triangles strokes = stroke.begin({points * lineVertices, segments * lineIndices});
        forEachRun(line, from, to, [&](const Stretch &stretch) {
            addLine(strokes, stretch, picture.lineWidth, line.color);
        });
        if (picture.fillOpacity <= 0) {
            fill.clear();
            return;
        }
        const VertexColor color(line.color, picture.fillOpacity);
        Triangles fills = fill.begin({points * fillVertices, segments * quadIndices});
        forEachRun(line, from, to, [&](const Stretch &stretch) {
            addFill(fills, stretch, picture.size.height(), color);
        });
    }

    Strip fill;
    Strip stroke;
    int serial = -1;
    std::size_t built = 0; // points of the body
};

// The grid, and the lines in front of it, which move without being rebuilt.
class PictureNode : public QSGNode
{
public:
    PictureNode()
    {
        for (QSGNode *node : {static_cast<QSGNode *>(&place), &fills, &lines})
            node->setFlag(QSGNode::OwnedByParent, false);
        appendChildNode(&grid);
        appendChildNode(&place);
        place.appendChildNode(&fills);
        place.appendChildNode(&lines);
    }
    ~PictureNode() override
    {
        fills.removeAllChildNodes();
        lines.removeAllChildNodes();
        place.removeAllChildNodes();
        removeAllChildNodes();
    }

    void draw(const PlotPicture &picture)
    {
        drawGrid(picture);
        if (all.size() != picture.lines.size())
            makeNodes(picture.lines.size());
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i]->draw(picture.lines[i], picture);
        QMatrix4x4 matrix;
        matrix.translate(float(picture.offset), 0);
        if (matrix != place.matrix())
            place.setMatrix(matrix);
    }

private:
    void drawGrid(const PlotPicture &picture)
    {
        Triangles triangles = grid.begin(gridAmount(picture));
        const VertexColor color(picture.gridColor, 1);
        for (const double y : picture.horizontals)
            addRectangle(triangles, {0, std::round(y), picture.size.width(), 1}, color);
        for (const double x : picture.verticals)
            addRectangle(triangles, {std::round(x), 0, 1, picture.size.height()}, color);
    }

    void makeNodes(std::size_t count)
    {
        fills.removeAllChildNodes();
        lines.removeAllChildNodes();
        all.clear();
        for (std::size_t i = 0; i < count; ++i) {
            all.push_back(std::make_unique<LineNodes>());
            all.back()->appendTo(fills, lines);
        }
    }

    TrianglesNode grid;
    QSGTransformNode place;
    QSGNode fills;
    QSGNode lines;
    std::vector<std::unique_ptr<LineNodes>> all;
};

QSGNode *drawImage(const PlotPicture &picture, QQuickWindow &window, QSGNode *last)
{
    auto *node = static_cast<QSGImageNode *>(last);
    if (!node) {
        node = window.createImageNode();
        node->setOwnsTexture(true);
    }
    node->setTexture(
        window.createTextureFromImage(paintPlot(picture, window.effectiveDevicePixelRatio())));
    node->setRect(QRectF(QPointF(), picture.size));
    return node;
}

} // namespace

QSGNode *drawPlot(const PlotPicture &picture, QQuickWindow &window, QSGNode *last)
{
    if (picture.size.isEmpty()) {
        delete last;
        return nullptr;
    }
    if (window.rendererInterface()->graphicsApi() == QSGRendererInterface::Software)
        return drawImage(picture, window, last);
    return drawTriangles(picture, last);
}

QSGNode *drawTriangles(const PlotPicture &picture, QSGNode *last)
{
    auto *node = last ? static_cast<PictureNode *>(last) : new PictureNode;
    node->draw(picture);
    return node;
}

QImage paintPlot(const PlotPicture &picture, double pixelRatio)
{
    QImage image((picture.size * pixelRatio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(pixelRatio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    for (const double y : picture.horizontals)
        painter.fillRect(QRectF(0, std::round(y), picture.size.width(), 1), picture.gridColor);
    for (const double x : picture.verticals)
        painter.fillRect(QRectF(std::round(x), 0, 1, picture.size.height()), picture.gridColor);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(picture.offset, 0);
    if (picture.fillOpacity > 0) {
        for (const PlotLine &line : picture.lines) {
            QColor fill = line.color;
            fill.setAlphaF(float(fill.alphaF() * picture.fillOpacity));
            painter.setBrush(fill);
            painter.setPen(Qt::NoPen);
            forEachRun(line, 0, line.points.size(), [&](const Stretch &run) {
                QPolygonF area(QList<QPointF>(run.points, run.points + run.count));
                area << QPointF(area.constLast().x(), picture.size.height())
                     << QPointF(area.constFirst().x(), picture.size.height());
                painter.drawPolygon(area);
            });
        }
    }
    painter.setBrush(Qt::NoBrush);
    for (const PlotLine &line : picture.lines) {
        painter.setPen(
            QPen(line.color, picture.lineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        forEachRun(line, 0, line.points.size(),
                   [&](const Stretch &run) { painter.drawPolyline(run.points, int(run.count)); });
    }
    return image;
}

} // namespace pellix::extras
