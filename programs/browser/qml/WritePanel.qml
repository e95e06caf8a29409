// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

/*
    Writes the keyword, absolutely and, where that makes sense, relatively, with what suits its type.
    Says what became of it.
*/
ColumnLayout {
    id: root

    required property PKeywordWrite writer
    required property int valueType
    required property var value

    readonly property bool isNumber: Format.isNumber(valueType)
    readonly property bool isBool: valueType === PKeyword.KVT_BOOL
    readonly property bool isText: valueType === PKeyword.KVT_STRING
    readonly property string problem: field.problem !== "" ? field.problem : step.problem
    readonly property string writtenKeyword: writer.keyword

    function focusField() {
        if (isBool)
            falseButton.forceActiveFocus();
        else if (isNumber || isText)
            field.forceActiveFocus();
        field.selectAll();
    }

    function plainNumber(text: string): string {
        return text.trim().replace(",", ".");
    }

    // The number in a text, or NaN. It is var since qmllint 6.4 crashes on the calls below otherwise.
    function number(text: var): real {
        const trimmed = plainNumber(text);
        const number = trimmed === "" ? NaN : Number(trimmed);
        const whole = valueType !== PKeyword.KVT_INT || Number.isInteger(number);
        return isFinite(number) && whole ? number : NaN;
    }

    function numberProblem(text: string): string {
        if (!isNaN(number(text)))
            return "";
        return valueType === PKeyword.KVT_INT ? qsTr("must be an integer")
                                              : qsTr("must be a number");
    }

    function writeField() {
        field.problem = isNumber ? numberProblem(field.text) : "";
        if (field.problem === "")
            writer.set(isNumber ? plainNumber(field.text) : field.text); // each digit of it
    }

    function writeStep(sign: int) {
        step.problem = numberProblem(step.text);
        if (step.problem === "")
            writer.add(sign * number(step.text));
    }

    onWrittenKeywordChanged: {
        field.clear();
        field.problem = "";
        step.problem = "";
    }

    spacing: Theme.dp(4)

    RowLayout {
        spacing: Theme.dp(6)

        PText {
            text: qsTr("Write")
            color: Theme.textSecondary
        }
        PText {
            visible: !root.isNumber && !root.isBool && !root.isText
            text: root.valueType === PKeyword.KVT_OBJECT ? qsTr("objects can only be written by programs")
                                                         : qsTr("no value: it cannot be written")
            color: Theme.textFaint
            Layout.fillWidth: true
        }
        PushButton {
            id: falseButton

            objectName: "falseButton"
            visible: root.isBool
            text: qsTr("false")
            onClicked: root.writer.set(false)
        }
        PushButton {
            objectName: "trueButton"
            visible: root.isBool
            text: qsTr("true")
            onClicked: root.writer.set(true)
        }
        PushButton {
            objectName: "toggleButton"
            visible: root.isBool
            enabled: typeof root.value === "boolean"
            text: qsTr("toggle")
            onClicked: root.writer.set(!root.value)
        }
        Field {
            id: field

            objectName: "valueField"
            visible: root.isNumber || root.isText
            placeholderText: root.isText ? qsTr("text") : qsTr("number")
            Layout.fillWidth: true
            Layout.maximumWidth: root.isText ? Infinity : Theme.dp(160)
            onTextEdited: problem = ""
            onAccepted: root.writeField()
        }
        PushButton {
            objectName: "setButton"
            visible: field.visible
            text: qsTr("Set")
            onClicked: root.writeField()
        }
        Item {
            visible: root.isNumber
            implicitWidth: Theme.dp(10)
        }
        PText {
            visible: root.isNumber
            text: qsTr("relative")
            color: Theme.textSecondary
        }
        PushButton {
            objectName: "minusButton"
            visible: root.isNumber
            text: "\u2212"
            tip: qsTr("Write relatively: subtract this amount")
            onClicked: root.writeStep(-1)
        }
        Field {
            id: step

            objectName: "stepField"
            visible: root.isNumber
            text: "1"
            placeholderText: qsTr("step")
            horizontalAlignment: TextInput.AlignHCenter
            Layout.preferredWidth: Theme.dp(70)
            onTextEdited: problem = ""
            onAccepted: root.writeStep(1)
        }
        PushButton {
            objectName: "plusButton"
            visible: root.isNumber
            text: "+"
            tip: qsTr("Write relatively: add this amount")
            onClicked: root.writeStep(1)
        }
        Item {
            visible: !root.isText
            Layout.fillWidth: true
        }
    }
    PText {
        objectName: "outcomeText"
        Layout.fillWidth: true
        Layout.preferredHeight: Theme.dp(18)
        font.pixelSize: Theme.dp(12)
        color: {
            if (root.problem !== "")
                return Theme.error;
            switch (root.writer.state) {
            case PKeywordWrite.Taken: return root.writer.unchanged ? Theme.textSecondary : Theme.accent;
            case PKeywordWrite.Changed: return Theme.warning;
            case PKeywordWrite.Refused:
            case PKeywordWrite.TimedOut:
            case PKeywordWrite.NotSent: return Theme.error;
            default: return Theme.textSecondary;
            }
        }
        text: {
            if (root.problem !== "")
                return root.problem;
            const writer = root.writer;
            const number = Number(writer.asked);
            const sent = writer.relative ? (number < 0 ? "" : "+") + Format.numberText(number)
                                         : Format.valueText(writer.asked);
            const received = Format.valueText(writer.received);
            switch (writer.state) {
            case PKeywordWrite.Pending:
                return qsTr("%1 sent, waiting for the reply").arg(sent);
            case PKeywordWrite.Taken:
                return writer.unchanged
                    ? qsTr("%1 sent, unchanged").arg(sent)
                    : qsTr("%1 sent, %2 received after %3 ms").arg(sent).arg(received).arg(writer.elapsed);
            case PKeywordWrite.Changed:
                return qsTr("%1 sent, but %2 received after %3 ms").arg(sent).arg(received).arg(writer.elapsed);
            case PKeywordWrite.Refused:
                return qsTr("%1 sent, refused: %2 received with an error after %3 ms").arg(sent).arg(received).arg(writer.elapsed);
            case PKeywordWrite.TimedOut:
                return qsTr("%1 sent: %2").arg(sent).arg(writer.problem);
            case PKeywordWrite.NotSent:
                return qsTr("%1 not sent: %2").arg(sent).arg(writer.problem);
            default:
                return "";
            }
        }
    }
}
