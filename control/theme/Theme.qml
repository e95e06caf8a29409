// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma Singleton

import QtQuick

/*!
    \qmltype Theme
    \inqmlmodule PellixClient.Theme
    \inherits QtObject
    \brief Provides the colors and sizes of PText.

    It is a singleton, which \c {import PellixClient.Control} brings as well:

    \code
    Window {
        color: Theme.window
        PText { text: "Tank 1"; font.pixelSize: Theme.dp(20) }
    }
    \endcode
*/
QtObject {
    /*! The colours of the system. */
    readonly property SystemPalette system: SystemPalette { }
    /*!
        Whether the colours are dark: by default while those of the system are.

        Assigning it decides otherwise.
    */
    property bool dark: system.window.hslLightness < system.windowText.hslLightness
    /*! How many pixels a design unit has; 1 by default. */
    property real scale: 1

    /*! Behind everything. */
    readonly property color window: dark ? "#0e1318" : "#eef1f4"
    /*! Behind what belongs together. */
    readonly property color card: dark ? "#161d24" : "#ffffff"
    /*! Around a card. */
    readonly property color cardBorder: dark ? "#222c36" : "#d5dce3"
    /*! Of tracks, and of lines on a card. */
    readonly property color groove: dark ? "#26313c" : "#d3dae1"
    /*! Of buttons and fields. */
    readonly property color control: dark ? "#202a34" : "#f1f4f7"
    /*! Of a button below the mouse. */
    readonly property color controlHover: dark ? "#2a3641" : "#e4e9ee"

    /*! Of text. */
    readonly property color text: dark ? "#e4eaf0" : "#1b242d"
    /*! Of text that says more about another. */
    readonly property color textSecondary: dark ? "#93a1af" : "#54626f"
    /*! Of text that may be overlooked. */
    readonly property color textFaint: dark ? "#8493a2" : "#5f6d79"

    /*! Of what is selected, active or good. */
    readonly property color accent: dark ? "#4cc2ae" : "#0b7a6a"
    /*! The first colour that means nothing by itself. */
    readonly property color blue: dark ? "#6ea8fe" : "#1a62c9"
    /*! The second one. */
    readonly property color violet: dark ? "#a78bfa" : "#6d4bd8"
    /*! Of warnings. */
    readonly property color warning: dark ? "#e3a73f" : "#955f00"
    /*! Of errors. */
    readonly property color error: dark ? "#ec6a6f" : "#bf2830"
    /*! Of what is not known. */
    readonly property color unknown: dark ? "#5d6b79" : "#8b98a5"

    /*! Between neighbours, in pixels. */
    readonly property real gap: dp(12)
    /*! Between an edge and what is inside, in pixels. */
    readonly property real padding: dp(16)
    /*! Of rounded corners, in pixels. */
    readonly property real radius: dp(10)

    /*! Returns the whole number of pixels that \a units design units have. */
    function dp(units: real): real {
        return Math.round(units * scale);
    }
}
