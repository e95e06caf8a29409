// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import QtQuick.Layouts
import KeywordBrowser
import PellixClient.Control
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

/*
    Writes the keyword, with controls that suit its type, to a value or, where it makes sense, by a
    difference. Shows the outcome.
*/
ColumnLayout {
    id: root

    required property PKeywordWrite writer
    required property int valueType
    required property var value
    required property bool readOnly // as far as is known

    readonly property bool isNumber: !readOnly && Format.isNumber(valueType)
    readonly property bool isBool: !readOnly && valueType === PKeyword.KVT_BOOL
    readonly property bool isText: !readOnly && valueType === PKeyword.KVT_STRING
    readonly property bool isObject: !readOnly && valueType === PKeyword.KVT_OBJECT // written as JSON
    readonly property bool hasField: isNumber || isText || isObject
    readonly property string problem: field.problem !== "" ? field.problem : step.problem
    readonly property string writtenKeyword: writer.keyword

    function focusField() {
        if (isBool)
            falseButton.forceActiveFocus();
        else if (hasField)
            field.forceActiveFocus();
        // Usually, only a part of an object is changed.
        if (isObject && field.text === "" && typeof value === "object" && value !== null)
            field.text = Format.valueText(value);
        field.selectAll();
    }

    // The writer reads numbers in the format of the user's locale, and reports problems with them.
    function write(from: Field, amount: string, relative: bool) {
        from.problem = isNumber && amount === "" ? qsTr("a number is expected") : "";
        if (from.problem !== "")
            return;
        if (relative)
            writer.add(amount);
        else
            writer.set(amount);
        if (writer.state === PKeywordWrite.NotSent)
            from.problem = writer.problem;
    }

    // Clears the problem, which is being corrected or is no longer relevant.
    function forgive() {
        field.problem = "";
        step.problem = "";
        if (writer.state === PKeywordWrite.NotSent)
            writer.reset();
    }

    function writeField() {
        write(field, isNumber ? field.text.trim() : field.text, false);
    }

    function writeStep(sign: int) {
        const amount = step.text.trim();
        write(step, sign < 0 && amount !== "" ? negated(amount) : amount, true);
    }

    function negated(number: string): string {
        for (const minus of ["-", "\u2212", Qt.locale().negativeSign]) {
            if (number.startsWith(minus))
                return number.slice(minus.length);
        }
        return "-" + (number.startsWith("+") ? number.slice(1) : number);
    }

    function sentText(): string {
        const asked = writer.asked;
        const sign = writer.relative && typeof asked === "number" && asked >= 0 ? "+" : "";
        return sign + Format.valueText(asked);
    }

    onWrittenKeywordChanged: {
        field.clear();
        forgive();
    }

    spacing: Theme.dp(4)

    RowLayout {
        spacing: Theme.dp(6)

        PText {
            text: qsTr("Write")
            color: Theme.textSecondary
        }
        PText {
            objectName: "notWritableText"
            visible: !root.isBool && !root.hasField
            text: root.readOnly ? qsTr("read-only: the server takes no value for it")
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
            visible: root.hasField
            placeholderText: root.isText ? qsTr("text") : root.isObject ? qsTr("JSON: {\u2026} or [\u2026]") : qsTr("number")
            Layout.fillWidth: true
            Layout.maximumWidth: root.isNumber ? Theme.dp(160) : Infinity
            onTextEdited: root.forgive()
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
            onTextEdited: root.forgive()
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
            visible: !root.isText && !root.isObject
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
                return qsTr("not sent: %1").arg(root.problem);
            const writer = root.writer;
            const sent = root.sentText();
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
                return qsTr("not sent: %1").arg(writer.problem);
            default:
                return "";
            }
        }
    }
}
