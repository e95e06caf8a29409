// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import PellixClient.Control 1.0
import PellixClient.Keyword 1.0

// Where qmllint is disabled: the application puts theme into the context, where no tool sees it.

/*!
    \qmltype PKeywordPath
    \inqmlmodule PellixClient.Keyword
    \inherits Item
    \brief Shows a keyword path level by level, followed by the value of the keyword.

    \code
    PKeywordPath {
        keyword: "/plant/tank1/level"
        keywordClient: client
    }
    \endcode

    Each level shows its label, or its own text if it has none. The value is shown while the keyword
    is connected and not in error. providerDisplayName replaces the text of the first level.
*/
Item {
    id: root

    /*!
        \qmlproperty string PKeywordPath::keyword

        The path to show, cleaned as by a PKeywordPathModel. The default is an empty string. The
        value shown after it is that of the cleaned keyword.
    */
    property alias keyword: pathModel.keyword
    /*!
        \qmlproperty PKeywordClient PKeywordPath::keywordClient

        The client from which the value and the labels are read. The default is null. The component
        does not own the client.
    */
    property alias keywordClient: valueProxy.client
    /*!
        \qmlproperty string PKeywordPath::providerDisplayName

        The text to show for the first level if it has no label. The default is an empty string,
        which shows the text of the level.
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
            // These two are hidden then and never visible; the rectangle nevertheless keeps them.
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
