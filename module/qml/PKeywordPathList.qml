// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import PellixClient.Control 1.0
import PellixClient.Keyword 1.0

// Where qmllint is disabled: the application puts theme into the context, where no tool sees it.

/*!
    \qmltype PKeywordPathList
    \inqmlmodule PellixClient.Keyword
    \inherits ScrollView
    \brief Lists keyword paths with their values, and lets the user select and remove them.

    \code
    PKeywordPathList {
        keywords: ["/plant/tank1/level", "/plant/name"]
        keywordClient: client
        isRemoveVisible: true
        onKeywordSelected: (index, keyword) => show(keyword)
        onKeywordRemove: (index, keyword) => forget(index)
    }
    \endcode

    The list emits signals when the user taps an item. It never changes keywords itself.
*/
ScrollView {
    id: root

    /*! The keyword paths to list, an array or list of strings. The default is undefined: no paths. */
    property var keywords
    /*!
        The PKeywordClient from which values and labels are read. The default is undefined. The list
        does not own the client.
    */
    property var keywordClient
    /*!
        The text to show for the first level of each path. The default is an empty string, which
        shows the text of the level.
    */
    property string providerDisplayName: ""
    /*! Whether each path has a field to remove it. The default is \c false. */
    property bool isRemoveVisible: false

    /*! This signal is emitted when the user taps the path at \a index, which is \a keyword. */
    signal keywordSelected(int index, string keyword)
    /*!
        This signal is emitted when the user taps the field that removes the path at \a index, which
        is \a keyword. The list itself does not remove the path.
    */
    signal keywordRemove(int index, string keyword)

    ScrollBar.vertical.policy: ScrollBar.AlwaysOn

    Column {
        anchors.fill: parent
        spacing: theme.dp(4) // qmllint disable unqualified

        Repeater {
            model: root.keywords

            Row {
                id: entry

                required property int index
                required property string modelData

                height: theme.dp(24) // qmllint disable unqualified
                spacing: theme.dp(2) // qmllint disable unqualified

                PKeywordPath {
                    height: theme.dp(24) // qmllint disable unqualified
                    width: implicitWidth
                    keyword: entry.modelData
                    keywordClient: root.keywordClient
                    providerDisplayName: root.providerDisplayName

                    TapHandler {
                        onTapped: root.keywordSelected(entry.index, entry.modelData)
                    }
                }

                Rectangle {
                    width: visible ? theme.dp(24) : 0 // qmllint disable unqualified
                    height: width
                    visible: root.isRemoveVisible
                    color: "red"

                    PText {
                        anchors.centerIn: parent
                        height: theme.dp(16) // qmllint disable unqualified
                        color: "white"
                        text: "x"
                    }

                    TapHandler {
                        onTapped: root.keywordRemove(entry.index, entry.modelData)
                    }
                }
            }
        }
    }
}
