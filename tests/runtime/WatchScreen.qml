// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Fusion
import "../../docs/snippets/withoutcpp"

/*
    The screen of a guide, for the address in the last argument of the program. It changes the setpoints like
    a user, prints the contents when all values have arrived, acknowledges the first alarm, and exits.
*/
Screen {
    id: root

    property bool moved: false

    function all(item, found) {
        for (let i = 0; i < item.children.length; ++i) { // Qt 6.4 does not support "of" here
            if (!found.includes(item.children[i]))
                found.push(item.children[i]);
            root.all(item.children[i], found);
        }
        return found;
    }

    address: Qt.application.arguments[Qt.application.arguments.length - 1]

    Timer {
        interval: 10
        repeat: true
        running: true
        onTriggered: {
            const items = []; // some versions of Qt keep the header in the content
            [root.header, root.contentItem, root.footer].forEach(part => root.all(part, items));
            // By their properties: in the preview, the types are other objects.
            const sliders = items.filter(item => item.snapMode !== undefined);
            const alarms = items.filter(item => item.highlighted !== undefined);
            const plot = items.find(item => item.Accessible.role === Accessible.Chart);
            if (!root.moved && sliders.every(slider => slider.enabled)) {
                root.moved = true;
                sliders.forEach((slider, index) => {
                    slider.value = 30 + 5 * index;
                    slider.moved();
                });
            }
            const labels = items.filter(item => item.lineCount !== undefined && item.background !== undefined);
            const setpoints = labels.map(item => item.text.trim());
            const texts = setpoints.concat(plot.Accessible.description)
                .concat(alarms.map(item => item.text.replace(/^[0-9:]+ +/, "")));
            if (!/setpoint: 30\|.*setpoint: 35\|.*level: [0-9.]+; .*level: [0-9.]+\|/.test(texts.join("|"))
                || alarms.length < 1)
                return;
            running = false;
            print(root.title + "|" + texts.join("|"));
            alarms[0].clicked();
            Qt.quit();
        }
    }
}
