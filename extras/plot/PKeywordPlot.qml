// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T
import PellixClient.Keyword.Extras

/*!
    \qmltype PKeywordPlot
    \inqmlmodule PellixClient.Keyword
    \inherits FocusScope
    \brief Draws the histories of keywords over time, with axes, a legend, and a cursor.

    \qml
    import PellixClient.Keyword.Extras

    PKeywordPlot {
        span: 600
        histories: PKeywordHistories {
            client: keywordClient
            keywords: ["/plant/tank1/level", "/plant/tank2/level"]
        }
    }
    \endqml

    Users can zoom and move the plot with the mouse, touch, and keys, see \l {Trends}. Numbers and
    times are formatted according to the locale. A line has a gap where no value is known. Boolean
    values are drawn in steps.
*/
FocusScope { // and no Control, whose role is not to be changed in Qt 6.4
    id: root

    /*!
        \qmlproperty PKeywordHistories PKeywordPlot::histories
        The histories to draw. The default is null.
    */
    property alias histories: area.histories

    /*!
        \qmlproperty real PKeywordPlot::span
        The time from the left edge to the right edge, in seconds. The default is 60. Zooming
        changes the property.
    */
    property alias span: area.span

    /*!
        \qmlproperty bool PKeywordPlot::following
        Whether the right edge is the current time. The default is \c true. Moving the plot changes
        the property.
    */
    property alias following: area.following

    /*!
        \qmlproperty bool PKeywordPlot::steps
        Whether numbers are drawn in steps, as Boolean values always are. The default is \c false.
    */
    property alias steps: area.steps

    /*!
        \qmlproperty real PKeywordPlot::minimum
        The value at the lower edge; NaN, the default, is what the values need.
    */
    property alias minimum: area.minimum

    /*!
        \qmlproperty real PKeywordPlot::maximum
        The value at the upper edge; NaN, the default, is what the values need.
    */
    property alias maximum: area.maximum

    /*!
        \qmlproperty real PKeywordPlot::lineWidth
        The width of the lines in pixels, 1.6 by default.
    */
    property alias lineWidth: area.lineWidth

    /*!
        \qmlproperty real PKeywordPlot::fillOpacity
        The opacity of the area below the line if there is only one line. The default is 0.15.
    */
    property alias fillOpacity: area.fillOpacity

    /*!
        \qmlproperty date PKeywordPlot::from
        \readonly
        The time at the left edge.
    */
    property alias from: area.from

    /*!
        \qmlproperty date PKeywordPlot::to
        \readonly
        The time at the right edge.
    */
    property alias to: area.to

    /*!
        \qmlproperty font PKeywordPlot::font
        The font of all labels. The default size is 11 pixels.
    */
    property font font: Qt.font({ pixelSize: 11 })

    /*!
        \qmlproperty bool PKeywordPlot::legendVisible
        Whether the legend is visible. By default, it is visible if there are at least two lines.
    */
    property bool legendVisible: lines.count > 1

    /*!
        \qmlproperty color PKeywordPlot::textColor
        The color of all labels and of the cursor.
    */
    property color textColor: palette.windowText

    /*!
        \qmlproperty color PKeywordPlot::gridColor
        The color of the grid.
    */
    property color gridColor: Qt.alpha(palette.windowText, 0.16)

    /*!
        \qmlproperty color PKeywordPlot::labelColor
        The background color of the label at the cursor.
    */
    property color labelColor: palette.window

    /*!
        \qmlproperty color PKeywordPlot::focusColor
        The color of the frame around the item with the keyboard focus.
    */
    property color focusColor: palette.highlight

    /*!
        \qmlproperty var PKeywordPlot::colors
        The colors of the lines, as a list. The default contains ten colors that suit the palette,
        dark or light.
    */
    property var colors: palette.window.hslLightness < 0.5
        ? ["#4cc2ae", "#e3a73f", "#6ea8fe", "#ec6a6f", "#a78bfa",
           "#9ccc65", "#f48fb1", "#4dd0e1", "#d7b899", "#b0bec5"]
        : ["#0b7a6a", "#a85f00", "#1a62c9", "#bf2830", "#6d4bd8",
           "#4b7d12", "#b0246b", "#007a93", "#7a5a34", "#54626f"]

    /*!
        \qmlproperty bool PKeywordPlot::cursorShown
        \readonly
        Whether the cursor is visible.
    */
    readonly property bool cursorShown: area.cursorShown

    /*!
        \qmlmethod void PKeywordPlot::showNow()
        Moves the right edge to the current time, and follows it.
    */
    function showNow() {
        area.following = true;
    }

    /*!
        \qmlmethod void PKeywordPlot::moveCursor(real pixels)
        Moves the cursor to the right by \a pixels. If there is no cursor, it starts at the right
        edge.
    */
    function moveCursor(pixels: real) {
        const start = area.cursorShown ? area.cursorX : area.width;
        area.cursorX = Math.max(0, Math.min(area.width, start + pixels));
    }

    implicitWidth: 320
    implicitHeight: 160
    activeFocusOnTab: true

    Accessible.role: Accessible.Chart
    Accessible.name: qsTr("Plot of values over time")
    Accessible.description: area.cursorShown ? area.cursorSummary : area.summary
    Accessible.focusable: true

    Keys.onPressed: event => {
        content.keyboardUsed = true;
        const far = event.modifiers & (Qt.ControlModifier | Qt.ShiftModifier);
        event.accepted = true;
        switch (event.key) {
        case Qt.Key_Left: far ? root.moveCursor(-5) : area.pan(area.width / 10); break;
        case Qt.Key_Right: far ? root.moveCursor(5) : area.pan(-area.width / 10); break;
        case Qt.Key_PageUp: area.pan(area.width * 0.9); break;
        case Qt.Key_PageDown: area.pan(-area.width * 0.9); break;
        case Qt.Key_Plus:
        case Qt.Key_Equal:
        case Qt.Key_Up: area.zoom(content.zoomStep, content.zoomCentre); break;
        case Qt.Key_Minus:
        case Qt.Key_Down: area.zoom(1 / content.zoomStep, content.zoomCentre); break;
        case Qt.Key_Home: area.showOldest(); break;
        case Qt.Key_End: root.showNow(); break;
        case Qt.Key_Escape:
            event.accepted = area.cursorShown;
            area.cursorX = NaN;
            break;
        default: event.accepted = false;
        }
    }

    // One entry of the legend, which shows and hides its line of the plot.
    component LegendEntry: T.AbstractButton {
        id: entry

        required property int index
        required property string name
        required property string keyword
        required property color color
        required property bool shown
        required property string value
        required property string cursorValue
        property real widest: 0 // so that the others keep their positions

        implicitWidth: Math.min(legend.width, nameText.x + nameText.width + 6 + valueText.width + 6)
        implicitHeight: nameText.implicitHeight + 6
        focusPolicy: Qt.TabFocus
        checkable: true
        checked: shown
        opacity: shown ? 1 : 0.5
        Accessible.role: Accessible.CheckBox
        Accessible.name: qsTr("%1: %2", "keyword: value").arg(name).arg(value)
        Accessible.description: keyword
        onClicked: area.setShown(index, !shown)

        background: Rectangle {
            color: "transparent"
            radius: 3
            border.width: entry.visualFocus ? 2 : 0
            border.color: root.focusColor
        }

        Rectangle {
            id: mark

            x: 4
            anchors.verticalCenter: parent.verticalCenter
            width: 10
            height: 10
            radius: 3
            color: entry.shown ? entry.color : "transparent"
            border.width: 2
            border.color: entry.color
        }
        Text {
            id: nameText

            anchors.verticalCenter: parent.verticalCenter
            x: mark.x + mark.width + 5
            width: Math.min(implicitWidth, Math.max(40, legend.width - x - valueText.width - 12))
            text: entry.name
            textFormat: Text.PlainText
            elide: Text.ElideMiddle
            font: root.font
            color: root.textColor
        }
        Text {
            id: valueText

            anchors.verticalCenter: parent.verticalCenter
            x: nameText.x + nameText.width + 6
            width: Math.max(entry.widest, implicitWidth)
            text: entry.value
            textFormat: Text.PlainText
            font {
                family: root.font.family
                pixelSize: root.font.pixelSize
                bold: true
            }
            color: root.textColor
            onImplicitWidthChanged: entry.widest = Math.max(entry.widest, implicitWidth)
        }
    }

    Item {
        id: content

        readonly property real zoomStep: 1.25 // of each key, and of each notch of a wheel
        readonly property real zoomCentre: area.cursorShown ? area.cursorX : area.width / 2
        property bool keyboardUsed: true // and not the mouse, for which no frame is needed

        anchors {
            fill: parent
            margins: 2
        }

        Flow {
            id: legend

            visible: root.legendVisible && lines.count > 0
            width: parent.width
            spacing: 4

            Repeater {
                id: lines

                model: area.series
                delegate: LegendEntry { }
            }
        }

        PKeywordPlotArea {
            id: area

            x: valueLabelWidth + 8
            y: (legend.visible ? legend.height + 4 : 0) + metrics.height / 2
            width: Math.max(0, content.width - x - metrics.height / 2)
            height: Math.max(0, content.height - y - metrics.height - 6)
            colors: root.colors
            gridColor: root.gridColor
            labelFont: root.font
        }

        FontMetrics {
            id: metrics

            font: root.font
        }
        Repeater {
            model: area.valueTicks
            delegate: Text {
                required property real position
                required text

                x: area.x - width - 6
                y: area.y + position - height / 2
                font: root.font
                color: root.textColor
                textFormat: Text.PlainText
                Accessible.ignored: true
            }
        }
        Repeater {
            model: area.timeTicks
            delegate: Text {
                required property real position
                required text

                x: area.x + position - width / 2
                y: area.y + area.height + 4
                // An elided number would be misleading.
                visible: x >= 0 && x + width <= content.width
                font: root.font
                color: root.textColor
                textFormat: Text.PlainText
                Accessible.ignored: true
            }
        }

        Item {
            id: touch

            x: area.x
            y: area.y
            width: area.width
            height: area.height

            HoverHandler {
                id: hover

                acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad | PointerDevice.Stylus
                onPointChanged: if (hovered) area.cursorX = point.position.x
                onHoveredChanged: area.cursorX = hovered ? point.position.x : NaN
            }
            TapHandler {
                onTapped: (eventPoint) => {
                    content.keyboardUsed = false;
                    root.forceActiveFocus(Qt.MouseFocusReason);
                    area.cursorX = eventPoint.position.x;
                }
                onDoubleTapped: root.showNow()
            }
            DragHandler {
                id: drag

                property real last

                target: null
                yAxis.enabled: false
                cursorShape: Qt.ClosedHandCursor
                onActiveChanged: last = centroid.position.x
                onCentroidChanged: {
                    if (!active)
                        return;
                    area.pan(centroid.position.x - last);
                    last = centroid.position.x;
                }
            }
            PinchHandler {
                id: pinch

                property real lastScale: 1
                property real lastX

                target: null
                onActiveChanged: {
                    lastScale = 1;
                    lastX = centroid.position.x;
                }
                onActiveScaleChanged: {
                    if (!active)
                        return;
                    area.zoom(activeScale / lastScale, centroid.position.x);
                    lastScale = activeScale;
                }
                onCentroidChanged: {
                    if (!active)
                        return;
                    area.pan(centroid.position.x - lastX);
                    lastX = centroid.position.x;
                }
            }
            WheelHandler {
                acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
                target: null
                onWheel: event => {
                    const notches = event.angleDelta.y / 120;
                    if (event.modifiers & Qt.ShiftModifier)
                        area.pan(notches * area.width / 10);
                    else
                        area.zoom(Math.pow(content.zoomStep, notches), event.x);
                }
            }
            WheelHandler {
                acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
                orientation: Qt.Horizontal
                target: null
                onWheel: event => area.pan(event.angleDelta.x / 120 * area.width / 10)
            }

            Rectangle {
                visible: area.cursorShown
                x: Math.round(area.cursorX)
                width: 1
                height: parent.height
                color: root.textColor
                opacity: 0.7
            }
            Rectangle {
                id: told

                readonly property bool fitsRight: area.cursorX + 8 + width <= touch.width

                visible: area.cursorShown
                x: Math.round(fitsRight ? area.cursorX + 8 : Math.max(0, area.cursorX - 8 - width))
                y: Math.max(0, Math.min(4, touch.height - height))
                width: told.visible ? tellings.width + 12 : 0
                height: tellings.height + 8
                radius: 4
                color: Qt.alpha(root.labelColor, 0.92)
                border.width: 1
                border.color: root.gridColor

                Column {
                    id: tellings

                    x: 6
                    y: 4

                    Text {
                        text: area.cursorText
                        textFormat: Text.PlainText
                        font: root.font
                        color: root.textColor
                        Accessible.ignored: true
                    }
                    Repeater {
                        model: area.series
                        delegate: Row {
                            id: telling

                            required property string name
                            required property color color
                            required property bool shown
                            required property string cursorValue

                            visible: shown
                            spacing: 5

                            Rectangle {
                                anchors.verticalCenter: parent.verticalCenter
                                visible: lines.count > 1
                                width: 8
                                height: 8
                                radius: 2
                                color: telling.color
                            }
                            Text {
                                visible: lines.count > 1
                                width: Math.min(implicitWidth, touch.width * 0.3)
                                text: telling.name
                                textFormat: Text.PlainText
                                elide: Text.ElideMiddle
                                font: root.font
                                color: root.textColor
                                Accessible.ignored: true
                            }
                            Text {
                                text: telling.cursorValue
                                textFormat: Text.PlainText
                                font {
                                    family: root.font.family
                                    pixelSize: root.font.pixelSize
                                    bold: true
                                }
                                color: root.textColor
                                Accessible.ignored: true
                            }
                        }
                    }
                }
            }

            T.AbstractButton {
                id: now

                anchors {
                    right: parent.right
                    bottom: parent.bottom
                    margins: 6
                }
                visible: !area.following
                text: qsTr("Now")
                font: root.font
                padding: 6
                implicitWidth: implicitContentWidth + 2 * padding
                implicitHeight: implicitContentHeight + 2 * padding
                focusPolicy: Qt.TabFocus
                Accessible.name: qsTr("Follow the current time")
                onClicked: root.showNow()

                contentItem: Text {
                    text: now.text
                    font: now.font
                    color: root.textColor
                }
                background: Rectangle {
                    radius: 4
                    color: root.labelColor
                    border.width: now.visualFocus ? 2 : 1
                    border.color: now.visualFocus ? root.focusColor : root.textColor
                }
            }
        }

        Rectangle {
            x: area.x
            y: area.y
            width: area.width
            height: area.height
            visible: root.activeFocus && content.keyboardUsed
            color: "transparent"
            border.width: 2
            border.color: root.focusColor
        }
    }
}
