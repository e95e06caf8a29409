// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import PellixClient.Control 1.0
import PellixClient.Keyword 1.0

// Where qmllint is disabled: theme is in the context, where the host puts it and no tool sees it.

/*!
    \qmltype PKeywordPath
    \inqmlmodule PellixClient.Keyword
    \inherits Item
    \brief Shows a keyword path level by level, and the keyword's value behind it.

    \code
    PKeywordPath {
        keyword: "/plant/tank1/level"
        keywordClient: client
    }
    \endcode

    Each level shows its label, or its own text while it has none. The value is shown while the
    keyword is connected and has no error. providerDisplayName replaces the text of the first level.
*/
Item {
    id: root

    /*!
        \qmlproperty string PKeywordPath::keyword

        The path to show, cleaned as by a PKeywordPathModel; empty by default. What is shown behind
        it is the value of the cleaned keyword.
    */
    property alias keyword: pathModel.keyword
    /*!
        \qmlproperty PKeywordClient PKeywordPath::keywordClient

        The client that reaches the server, for the value and the labels; null by default. It is not
        owned.
    */
    property alias keywordClient: valueProxy.client
    /*!
        \qmlproperty string PKeywordPath::providerDisplayName

        What stands for the first level while that has no label; empty, for the level's own text, by
        default.
    */
    property alias providerDisplayName: pathModel.providerDisplayName

    implicitWidth: row.implicitWidth
    height: theme.dp(24) // qmllint disable unqualified

    PKeywordPathModel {
        id: pathModel

        onKeywordChanged: valueProxy.keyword = keyword
    }

    PKeywordProxy {
        id: valueProxy

        keyword: pathModel.keyword
    }

    Row {
        id: row

        spacing: theme.dp(2) // qmllint disable unqualified

        Repeater {
            model: pathModel

            Rectangle {
                id: part

                required property int index
                required property string keyword
                required property string partDisplay
                readonly property var label: labelProxy.value

                width: partText.implicitWidth + theme.dp(8) // qmllint disable unqualified
                height: theme.dp(24) // qmllint disable unqualified
                color: index === 0 ? "black" : "#005691"

                PKeywordProxy {
                    id: labelProxy

                    keyword: part.keyword + "/Label"
                    client: valueProxy.client
                }

                PText {
                    id: partText

                    anchors.centerIn: parent
                    height: theme.dp(16) // qmllint disable unqualified
                    color: "white"
                    text: part.label !== undefined && part.label !== null && part.label !== ""
                          ? part.label : part.partDisplay
                }
            }
        }

        Rectangle {
            width: childrenRect.width
            height: theme.dp(24) // qmllint disable unqualified
            visible: !valueProxy.error && valueProxy.connected
            // Hidden then, these two are never seen; the rectangle keeps them all the same.
            color: valueProxy.error ? "#9B2323" : !valueProxy.connected ? "#B67600" : "#557828"

            PText {
                anchors.verticalCenter: parent.verticalCenter
                height: theme.dp(16) // qmllint disable unqualified
                color: "white"
                text: {
                    if (valueProxy.error)
                        return " = ERROR "
                    if (!valueProxy.connected)
                        return " = UNKNOWN "
                    const value = valueProxy.value
                    // A server may declare a number and send something else.
                    const isNumber = typeof value === "number"
                    if (isNumber && valueProxy.valueType === PKeyword.KVT_DOUBLE)
                        return " = " + value.toFixed(2) + " "
                    if (isNumber && valueProxy.valueType === PKeyword.KVT_INT)
                        return " = " + value.toFixed(0) + " "
                    return " = " + value + " "
                }
            }
        }
    }
}
