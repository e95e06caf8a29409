// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick

/*
    Prints the texts below an item, with their heights, and exits when the level of the first tank and all
    labels are shown.
*/
Timer {
    id: root

    required property Item item

    function texts(item) {
        let found = []
        for (let i = 0; i < item.children.length; ++i) { // Qt 6.4 does not support "of" here
            const child = item.children[i]
            if (child instanceof Text && child.visible)
                found.push(child.text.trim() + " (" + child.height + (child.font.bold ? ", bold)" : ")"))
            found = found.concat(root.texts(child))
        }
        return found
    }

    interval: 10
    repeat: true
    running: true
    onTriggered: {
        const shown = root.texts(root.item).join("|")
        if (/= 45.00/.test(shown) && !/plant|tank|level/.test(shown)) {
            print(shown)
            Qt.quit()
        }
    }
}
