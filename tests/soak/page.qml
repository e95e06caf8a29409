// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0
import "qrc:/" // PKeywordBinding is not part of the module

// A page with all types of the module, which is created and destroyed with "shown".
Item {
    id: root

    required property PKeywordClient keywordClient
    property bool shown: false
    property int visit: 0 // each visit shows other keywords

    width: 600
    height: 400

    Loader {
        anchors.fill: parent
        active: root.shown
        sourceComponent: page
    }

    // Without ComponentBehavior: Bound, which Qt 6.4 does not support here in a Loader. Outer ids are looked
    // up at run time.
    // qmllint disable unqualified
    Component {
        id: page

        Column {
            id: column

            readonly property string group: "/soak/group" + root.visit % 10

            PKeywordProxy { id: plain; client: root.keywordClient; keyword: column.group + "/k1" }
            PKeywordProxy {
                id: postfixed
                client: root.keywordClient
                keywordExpression: PPostfixKeywordExpression { value: column.group; postfix: "k2" }
            }
            PKeywordProxy {
                id: computed
                client: root.keywordClient
                keywordExpression: PKeywordExpression { value: column.group + "/k3" }
            }
            PKeywordProxy {
                id: aggregated
                client: root.keywordClient
                keywordExpression: PListPostfixKeywordExpression {
                    values: ["/soak/group1", "/soak/group2", column.group]
                    postfix: "k4"
                    aggregation: PKeyword.Max
                }
            }
            PKeywordProxy {
                id: labelled
                client: root.keywordClient
                Component.onCompleted: getKeywordLabel(column.group + "/k5")
            }
            Text {
                text: plain.value + " " + postfixed.value + " " + computed.value + " "
                      + aggregated.value + " " + labelled.value
            }
            Text { id: bound }
            // The type can only be found by its URL, which qmllint does not read.
            // qmllint disable
            PKeywordBinding {
                target: bound
                property: "text"
                proxy.client: root.keywordClient
                proxy.keyword: column.group + "/k6"
            }
            // qmllint enable
            PKeywordPath {
                keywordClient: root.keywordClient // qmllint disable unqualified
                keyword: column.group + "/k7"
            }
            PKeywordPathList {
                width: 300
                height: 60
                keywordClient: root.keywordClient // qmllint disable unqualified
                keywords: [column.group + "/k8", column.group + "/k9"]
            }
            Repeater {
                model: PKeywordPathModel { keyword: column.group + "/k10" }
                Text {
                    required property string partDisplay
                    text: partDisplay
                }
            }
            PKeywordQueryFilterProxyModel {
                id: filtered
                sourceModel: PKeywordQueryModel {
                    keywordClient: root.keywordClient // qmllint disable unqualified
                    keyword: column.group
                }
                filter: "1"
            }
            ListView {
                width: 300
                height: 100
                model: filtered
                delegate: Text {
                    required property string displayName
                    text: displayName
                }
            }
        }
    }
}
