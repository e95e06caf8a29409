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
#include <memory>

namespace pellix::extras {

namespace {

// Colours of vertices are multiplied by their opacity.
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

Amount linesAmount(const PlotPicture &picture)
{
    Amount result;
    const bool filled = picture.fillOpacity > 0;
    for (const PlotLine &line : picture.lines) {
        result.vertices += line.points.size() * (lineVertices + (filled ? fillVertices : 0));
        const std::size_t segments = line.points.size() - line.ends.size();
        result.indices += segments * (lineIndices + (filled ? quadIndices : 0));
    }
    return result;
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

void addLine(Triangles &triangles, const QPointF *points, std::size_t count, double width,
             const QColor &color)
{
    const VertexColor solid(color, 1);
    const VertexColor clear(color, 0);
    const double inner = std::max(0.0, width / 2 - 0.5);
    const double outer = inner + 1;
    for (std::size_t i = 0; i < count; ++i) {
        const QPointF normal = across(points, i, count);
        const QPointF &point = points[i];
        triangles.addVertex(point.x() + normal.x() * outer, point.y() + normal.y() * outer, clear);
        triangles.addVertex(point.x() + normal.x() * inner, point.y() + normal.y() * inner, solid);
        triangles.addVertex(point.x() - normal.x() * inner, point.y() - normal.y() * inner, solid);
        triangles.addVertex(point.x() - normal.x() * outer, point.y() - normal.y() * outer, clear);
        if (i == 0)
            continue;
        triangles.addQuad(8, 7, 4, 3);
        triangles.addQuad(7, 6, 3, 2);
        triangles.addQuad(6, 5, 2, 1);
    }
}

void addFill(Triangles &triangles, const QPointF *points, std::size_t count, double bottom,
             const VertexColor &color)
{
    for (std::size_t i = 0; i < count; ++i) {
        triangles.addVertex(points[i].x(), points[i].y(), color);
        triangles.addVertex(points[i].x(), bottom, color);
        if (i > 0)
            triangles.addQuad(4, 3, 2, 1);
    }
}

// Calls a function for each run of a line, with its points and their number.
template <typename Function> void forEachRun(const PlotLine &line, Function function)
{
    std::size_t begin = 0;
    for (const std::size_t end : line.ends) {
        function(line.points.data() + begin, end - begin);
        begin = end;
    }
}

// Triangles of any colours.
class TrianglesNode : public QSGGeometryNode
{
public:
    TrianglesNode()
    {
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

private:
    QSGGeometry geometry {QSGGeometry::defaultAttributes_ColoredPoint2D(), 0, 0,
                          QSGGeometry::UnsignedIntType};
    QSGVertexColorMaterial material;
};

// The grid, and the lines before it, which move without being made anew.
class PictureNode : public QSGNode
{
public:
    PictureNode()
    {
        for (QSGNode *node : {static_cast<QSGNode *>(&grid), static_cast<QSGNode *>(&place),
                              static_cast<QSGNode *>(&lines)})
            node->setFlag(QSGNode::OwnedByParent, false);
        appendChildNode(&grid);
        appendChildNode(&place);
        place.appendChildNode(&lines);
    }
    ~PictureNode() override
    {
        place.removeAllChildNodes();
        removeAllChildNodes();
    }

    void draw(const PlotPicture &picture)
    {
        drawGrid(picture);
        if (picture.serial != serial) {
            serial = picture.serial;
            drawLines(picture);
        }
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

    void drawLines(const PlotPicture &picture)
    {
        Triangles triangles = lines.begin(linesAmount(picture));
        for (const PlotLine &line : picture.lines) {
            if (picture.fillOpacity <= 0)
                break;
            const VertexColor fill(line.color, picture.fillOpacity);
            forEachRun(line, [&](const QPointF *points, std::size_t count) {
                addFill(triangles, points, count, picture.size.height(), fill);
            });
        }
        for (const PlotLine &line : picture.lines) {
            forEachRun(line, [&](const QPointF *points, std::size_t count) {
                addLine(triangles, points, count, picture.lineWidth, line.color);
            });
        }
    }

    TrianglesNode grid;
    QSGTransformNode place;
    TrianglesNode lines;
    int serial = -1;
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
            forEachRun(line, [&](const QPointF *points, std::size_t count) {
                QPolygonF area(QList<QPointF>(points, points + count));
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
        forEachRun(line, [&](const QPointF *points, std::size_t count) {
            painter.drawPolyline(points, int(count));
        });
    }
    return image;
}

} // namespace pellix::extras
