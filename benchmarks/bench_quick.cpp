// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/eventtext.h"
#include "client/inprocesskeywordclient.h"

#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>

#include <memory>

using namespace pellix::client;

namespace {

// The theme that the components of the library expect from their application.
class Theme : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE double dp(double units) const { return units; }
};

// A window with items from a piece of QML, whose context contains "theme" and "hostClient".
class Page
{
public:
    explicit Page(const QByteArray &qml)
    {
        engine.addImportPath(QStringLiteral(BENCHMARK_QML_IMPORTS));
        engine.rootContext()->setContextProperty(QStringLiteral("theme"), &theme);
        engine.rootContext()->setContextProperty(QStringLiteral("hostClient"), &client);
        component.setData(qml, QUrl());
        window.resize(800, 600);
    }

    bool create()
    {
        item.reset(qobject_cast<QQuickItem *>(component.create()));
        if (item)
            item->setParentItem(window.contentItem());
        return item != nullptr;
    }

    Theme theme;
    PInProcessKeywordClient client;
    QQmlEngine engine;
    QQmlComponent component {&engine};
    QQuickWindow window;
    std::unique_ptr<QQuickItem> item;
};

QByteArray repeated(int count, const QByteArray &delegate)
{
    return "import QtQuick\nimport PellixClient.Control\nimport PellixClient.Keyword 1.0\n"
           "Column { Repeater { model: "
        + QByteArray::number(count) + "\n" + delegate + "} }";
}

void create(benchmark::State &state, const QByteArray &delegate)
{
    Page page(repeated(int(state.range(0)), delegate));
    for (auto _ : state) {
        page.item.reset();
        if (!page.create()) {
            state.SkipWithError(qPrintable(page.component.errorString()));
            return;
        }
    }
}

void createPaths(benchmark::State &state)
{
    create(state, R"(
        PKeywordPath {
            required property int index
            keyword: "/plant/line3/motor" + index + "/speed"
            keywordClient: hostClient
        })");
}
BENCHMARK(createPaths)->Arg(10)->Arg(1000)->Unit(benchmark::kMillisecond);

// Floor: the same items with constant texts instead of bindings.
void createPlainPaths(benchmark::State &state)
{
    create(state, R"(
        Item {
            id: path
            required property int index
            property string keyword: "/plant/line3/motor" + index + "/speed"
            property bool connected: false
            property var value
            implicitWidth: row.implicitWidth
            height: theme.dp(24)
            Row {
                id: row
                spacing: theme.dp(2)
                Repeater {
                    model: path.keyword.split("/").slice(1)
                    Rectangle {
                        id: part
                        required property int index
                        required property string modelData
                        width: partText.implicitWidth + theme.dp(8)
                        height: theme.dp(24)
                        color: index === 0 ? "black" : "#005691"
                        PText {
                            id: partText
                            anchors.centerIn: parent
                            height: theme.dp(16)
                            color: "white"
                            text: part.modelData
                        }
                    }
                }
                Rectangle {
                    width: childrenRect.width
                    height: theme.dp(24)
                    visible: path.connected
                    color: !path.connected ? "#B67600" : "#557828"
                    PText {
                        anchors.verticalCenter: parent.verticalCenter
                        height: theme.dp(16)
                        color: "white"
                        text: path.connected ? " = " + path.value + " " : " = UNKNOWN "
                    }
                }
            }
        })");
}
BENCHMARK(createPlainPaths)->Arg(10)->Arg(1000)->Unit(benchmark::kMillisecond);

// Each iteration changes all texts and draws the frame.
void frameOfBoundTexts(benchmark::State &state)
{
    const auto count = int(state.range(0));
    Page page(repeated(count, R"(
        Text {
            id: item
            required property int index
            x: index % 40 * 20
            text: level.value === undefined ? "" : level.value.toFixed(2)
            PKeywordProxy {
                id: level
                client: hostClient
                keyword: "/plant/line3/motor" + item.index + "/speed"
            }
        })"));
    page.create();
    page.window.show();
    const std::vector<QByteArray> texts = eventTexts(count);
    page.client.receiveFromServer(texts.front());
    if (page.item->childItems().constFirst()->property("text") != QLatin1String("1234.57")) {
        state.SkipWithError("the texts are not bound");
        return;
    }
    size_t half = 0;
    for (auto _ : state) {
        for (size_t i = 0; i < size_t(count); ++i)
            page.client.receiveFromServer(texts[half + i]);
        half = half == 0 ? size_t(count) : 0;
        benchmark::DoNotOptimize(page.window.grabWindow());
    }
}
BENCHMARK(frameOfBoundTexts)->Arg(10)->Arg(1000)->Unit(benchmark::kMillisecond);

// Floor: the messages are decoded and read, and the values are set on the items.
void frameOfPlainTexts(benchmark::State &state)
{
    const auto count = int(state.range(0));
    Page page(repeated(count, R"(
        Text {
            required property int index
            property var value
            x: index % 40 * 20
            text: value === undefined ? "" : value.toFixed(2)
        })"));
    page.create();
    page.window.show();
    const std::vector<QByteArray> texts = eventTexts(count);
    QList<QQuickItem *> items;
    for (QQuickItem *child : page.item->childItems()) {
        if (child->metaObject()->indexOfProperty("value") >= 0)
            items.append(child);
    }
    if (items.size() != count) {
        state.SkipWithError("items are missing");
        return;
    }
    size_t half = 0;
    for (auto _ : state) {
        for (size_t i = 0; i < size_t(count); ++i) {
            decodeAndReadFields(texts[half + i]);
            items[qsizetype(i)]->setProperty("value", (half ? 8765.4321 : 1234.5678) + double(i));
        }
        half = half == 0 ? size_t(count) : 0;
        benchmark::DoNotOptimize(page.window.grabWindow());
    }
}
BENCHMARK(frameOfPlainTexts)->Arg(10)->Arg(1000)->Unit(benchmark::kMillisecond);

} // namespace

#include "bench_quick.moc"
