// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma Singleton

import QtQuick

/*!
    \qmltype Theme
    \inqmlmodule PellixClient.Theme
    \inherits QtObject
    \brief Provides the colors and sizes of PText.

    It is a singleton, which is also available with \c {import PellixClient.Control}:

    \code
    Window {
        color: Theme.window
        PText { text: "Tank 1"; font.pixelSize: Theme.dp(20) }
    }
    \endcode
*/
QtObject {
    /*! The colors of the system. */
    readonly property SystemPalette system: SystemPalette { }
    /*!
        Whether the colors are dark. By default, this follows the colors of the system.

        Assign a value to override the system.
    */
    property bool dark: system.window.hslLightness < system.windowText.hslLightness
    /*! The number of pixels per design unit. The default is 1. */
    property real scale: 1

    /*! The background of a window. */
    readonly property color window: dark ? "#0e1318" : "#eef1f4"
    /*! The background of a card. */
    readonly property color card: dark ? "#161d24" : "#ffffff"
    /*! The border of a card. */
    readonly property color cardBorder: dark ? "#222c36" : "#d5dce3"
    /*! The color of tracks, and of lines on a card. */
    readonly property color groove: dark ? "#26313c" : "#d3dae1"
    /*! The color of buttons and fields. */
    readonly property color control: dark ? "#202a34" : "#f1f4f7"
    /*! The color of a button under the mouse. */
    readonly property color controlHover: dark ? "#2a3641" : "#e4e9ee"

    /*! The color of text. */
    readonly property color text: dark ? "#e4eaf0" : "#1b242d"
    /*! The color of secondary text. */
    readonly property color textSecondary: dark ? "#93a1af" : "#54626f"
    /*! The color of text of minor importance. */
    readonly property color textFaint: dark ? "#8493a2" : "#5f6d79"

    /*! The color of selected, active, or good items. */
    readonly property color accent: dark ? "#4cc2ae" : "#0b7a6a"
    /*! The first color without a fixed meaning. */
    readonly property color blue: dark ? "#6ea8fe" : "#1a62c9"
    /*! The second color without a fixed meaning. */
    readonly property color violet: dark ? "#a78bfa" : "#6d4bd8"
    /*! The color of warnings. */
    readonly property color warning: dark ? "#e3a73f" : "#955f00"
    /*! The color of errors. */
    readonly property color error: dark ? "#ec6a6f" : "#bf2830"
    /*! The color of unknown states. */
    readonly property color unknown: dark ? "#5d6b79" : "#8b98a5"

    /*! The spacing between adjacent items, in pixels. */
    readonly property real gap: dp(12)
    /*! The padding between an edge and its content, in pixels. */
    readonly property real padding: dp(16)
    /*! The radius of rounded corners, in pixels. */
    readonly property real radius: dp(10)

    /*! Returns \a units design units in pixels, as an integer. */
    function dp(units: real): real {
        return Math.round(units * scale);
    }
}
