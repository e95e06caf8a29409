// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Control

/*
    Plots the last minute of a number. The samples are taken at fixed intervals, not when the value
    changes, so that a constant value is a line, and an unknown one (NaN) is a gap.
*/
Canvas {
    id: root

    property real value: NaN
    // The value at the upper edge; with 0, the largest value shown, but at least the floor.
    property real ceiling: 0
    property real floor: 1
    // The number of lines: the base line, and then one at each quarter above it.
    property int gridLines: 1
    property color tone: Theme.accent

    property var samples: []
    readonly property int capacity: 121
    readonly property color currentTone: isNaN(value) ? Theme.unknown : tone

    implicitWidth: Theme.dp(120)
    implicitHeight: Theme.dp(36)

    function scaleTop(): real {
        if (ceiling > 0)
            return ceiling;
        let top = floor;
        for (const sample of samples) {
            if (sample > top)
                top = sample;
        }
        return top * 1.1;
    }

    // Sequences of known samples, each as a list of points.
    function runs(): var {
        const top = scaleTop();
        const line = Theme.dp(1.5);
        const step = width / (capacity - 1);
        const usable = height - 2 * line;
        const found = [];
        let run = null;
        for (let i = 0; i < samples.length; ++i) {
            if (isNaN(samples[i])) {
                run = null;
                continue;
            }
            if (!run) {
                run = [];
                found.push(run);
            }
            const share = Math.max(0, Math.min(1, samples[i] / top));
            run.push({ x: width - (samples.length - 1 - i) * step, y: line + usable * (1 - share) });
        }
        return found;
    }

    onPaint: {
        const context = getContext("2d");
        context.reset();
        context.lineWidth = 1;
        context.strokeStyle = Theme.groove;
        for (let i = 0; i < gridLines; ++i) {
            const y = Math.round((height - 1) * (1 - i / 4)) + 0.5;
            context.globalAlpha = i === 0 ? 1 : 0.55;
            context.beginPath();
            context.moveTo(0, y);
            context.lineTo(width, y);
            context.stroke();
        }
        context.globalAlpha = 1;

        const shade = context.createLinearGradient(0, 0, 0, height);
        shade.addColorStop(0, Qt.alpha(currentTone, 0.32));
        shade.addColorStop(1, Qt.alpha(currentTone, 0.02));
        context.lineJoin = "round";
        for (const run of runs()) {
            context.beginPath();
            context.moveTo(run[0].x, height);
            for (const point of run)
                context.lineTo(point.x, point.y);
            context.lineTo(run[run.length - 1].x, height);
            context.closePath();
            context.fillStyle = shade;
            context.fill();

            context.beginPath();
            context.moveTo(run[0].x, run[0].y);
            for (const point of run)
                context.lineTo(point.x, point.y);
            context.lineWidth = 1.6;
            context.strokeStyle = currentTone;
            context.stroke();
        }
    }
    onCurrentToneChanged: requestPaint()
    onWidthChanged: requestPaint()
    onHeightChanged: requestPaint()

    Timer {
        interval: 500
        running: true
        repeat: true
        onTriggered: {
            root.samples.push(root.value);
            if (root.samples.length > root.capacity)
                root.samples.shift();
            root.requestPaint();
        }
    }
}
