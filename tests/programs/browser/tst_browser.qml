// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtTest
import KeywordBrowser

// Tests the browser from the view of a user: with clicks and keys, and by the texts in the window.
TestCase {
    id: root

    name: "Browser"
    when: windowShown
    visible: true
    width: 1000
    height: 700

    // The test program adds it to the context, which qmllint does not see.
    readonly property var stage: bench // qmllint disable unqualified

    Component {
        id: browser

        BrowserView {
            width: 1000
            height: 700
            session: root.stage.session
            preferences: root.stage.preferences
        }
    }

    Component {
        id: mainWindow

        Main {
            session: root.stage.session
            preferences: root.stage.preferences
            visible: false
        }
    }

    SignalSpy {
        id: loads
        signalName: "loadingChanged"
    }

    property BrowserView view
    property ListView list

    function init() {
        root.stage.reset();
        view = createTemporaryObject(browser, root);
        list = find("childView");
        tryCompare(list, "count", 2);
        list.forceActiveFocus();
    }

    function find(name: string): var {
        const item = findChild(view, name);
        verify(item, name);
        return item;
    }

    // Clicks the item when it has reached its final position.
    function click(item: Item) {
        tryVerify(() => {
            for (let outer = item; outer; outer = outer.parent) {
                if (isPolishScheduled(outer))
                    return false;
            }
            return true;
        });
        mouseClick(item);
    }

    // The first item below a parent for which the test function returns true.
    function findItem(parent, test) {
        for (let i = 0; i < parent.children.length; ++i) {
            const child = parent.children[i];
            const found = test(child) ? child : findItem(child, test);
            if (found)
                return found;
        }
        return null;
    }

    function rows(): var {
        const names = [];
        for (let row = 0; row < list.count; ++row) {
            const item = list.itemAtIndex(row);
            names.push(item ? item.displayName : "");
        }
        return names;
    }

    function tryRows(expected: var) {
        tryVerify(() => JSON.stringify(rows()) === JSON.stringify(expected), 5000,
                  JSON.stringify(rows()));
    }

    function row(name: string): var {
        for (let row = 0; row < list.count; ++row) {
            const item = list.itemAtIndex(row);
            if (item && item.displayName === name)
                return item;
        }
        fail("no row " + name + " in " + JSON.stringify(rows()));
        return null;
    }

    // All visible texts below an item.
    function texts(item: Item): var {
        const found = [];
        if (!item.visible)
            return found;
        for (const name of ["text", "placeholderText", "displayText"]) {
            if (typeof item[name] === "string" && item[name] !== "")
                found.push(item[name]);
        }
        for (let i = 0; i < item.children.length; ++i)
            found.push(...texts(item.children[i]));
        return found;
    }

    // The texts in each row of the table of pinned keywords, in the order of the columns.
    function pinnedRows(): var {
        const table = find("pinnedList");
        const found = [];
        for (let row = 0; row < table.count; ++row) {
            const item = table.itemAtIndex(row);
            found.push(!item ? "" : ["pinnedLabel", "pinnedPath", "pinnedValue", "pinnedState"].map(
                name => findChild(item, name).text).join(" | "));
        }
        return found;
    }

    function tryPinnedRows(expected: var) {
        tryVerify(() => JSON.stringify(pinnedRows()) === JSON.stringify(expected), 5000,
                  JSON.stringify(pinnedRows()));
    }

    readonly property var plant: ["Bottles", "Level", "limit", "Name of the plant", "Recipe",
                                  "Running", "Serial"]

    function openPlant() {
        view.open("/plant");
        tryRows(plant);
        // Each row shows a value.
        tryVerify(() => plant.every(name => row(name).Accessible.name !== name));
    }

    function select(name: string) {
        click(row(name));
        tryVerify(() => find("titleText").text === name);
    }

    function outcome(): string {
        return find("outcomeText").text;
    }

    function choose(name: string, index: int) {
        const choice = find(name);
        choice.forceActiveFocus();
        while (choice.currentIndex < index)
            keyClick(Qt.Key_Down);
        while (choice.currentIndex > index)
            keyClick(Qt.Key_Up);
        compare(choice.currentIndex, index);
    }

    function test_navigate_byKeys() {
        tryRows(["Bottling works", "other"]);
        keyClick(Qt.Key_Down);
        compare(view.selected, "/plant");
        keyClick(Qt.Key_Return);
        compare(view.keyword, "/plant");
        tryRows(plant);
        keyClick(Qt.Key_Down);
        keyClick(Qt.Key_Down);
        compare(view.selected, "/plant/level");
        keyClick(Qt.Key_End);
        compare(view.selected, "/plant/serial");
        keyClick(Qt.Key_Home);
        compare(view.selected, "/plant/count");
        keyClick(Qt.Key_Left);
        compare(view.keyword, "/");
        tryRows(["Bottling works", "other"]);
        // The previous level is selected, so one key returns to it.
        compare(view.selected, "/plant");
        tryCompare(list, "currentIndex", 0);
        keyClick(Qt.Key_Right);
        compare(view.keyword, "/plant");
        keyClick(Qt.Key_Backspace);
        compare(view.keyword, "/");
        keyClick(Qt.Key_Left); // there is no level above
        compare(view.keyword, "/");
    }

    function test_navigate_byMouse() {
        tryRows(["Bottling works", "other"]);
        click(row("other"));
        compare(view.selected, "/other");
        mouseDoubleClickSequence(row("other"));
        compare(view.keyword, "/other");
        tryRows(["1"]);
        mouseDoubleClickSequence(row("1"));
        tryRows(["value"]);
        click(find("upButton"));
        tryRows(["1"]);
        compare(view.selected, "/other/1");
    }

    function test_navigate_byPath() {
        keyClick("l", Qt.ControlModifier);
        const field = find("pathField");
        verify(field.visible);
        for (const key of "plant")
            keyClick(key);
        keyClick(Qt.Key_Return);
        tryRows(plant);
        compare(view.keyword, "/plant");
        verify(!field.visible);
        tryVerify(() => texts(find("path")).join("") === "Bottling worksBottling works");
        // Each level can be opened with a click.
        root.stage.declareDouble("/plant/tank/level", "", 1);
        view.open("/plant/tank");
        tryRows(["level"]);
        click(find("path").children[0]);
        compare(view.keyword, "/plant");
    }

    function test_rows_showTypeLabelAndLiveValue() {
        openPlant();
        compare(plant.map(name => row(name).typeLetter).join(""), "NNNTOBT");
        compare(row("Running").typeColor, "#f0a30a");
        verify(findItem(row("Name of the plant"), item => item.text === "North"));
        // The label is followed by the name, but the same text is not shown twice.
        compare(texts(row("Bottles")).join(" "), "N Bottles count 7");
        compare(texts(row("limit")).join(" "), "N limit 10");
        root.stage.setValue("/plant/level", 42.25);
        tryVerify(() => findItem(row("Level"), item => item.text === "42.25"));
    }

    // The same as for pinned keywords.
    function test_rows_markTheValueWithoutASource() {
        openPlant();
        const value = findItem(row("Level"), item => item.text === "41.5");
        verify(value && !value.font.strikeout);
        root.stage.setState("/plant/level", false, true, true, false);
        tryVerify(() => value.font.strikeout);
        compare(texts(row("Level")).join(" "), "N Level level 41.5");
        verify(row("Level").Accessible.name.includes("41.5"));
        root.stage.setState("/plant/level", true, true, true, false);
        tryVerify(() => !value.font.strikeout);
        compare(texts(row("Level")).join(" "), "N Level level 41.5");
    }

    function test_filter_byWords() {
        openPlant();
        keyClick("f", Qt.ControlModifier);
        for (const key of "LE")
            keyClick(key);
        tryRows(["Bottles", "Level"]);
        tryCompare(find("countText"), "text", "2 of 7");
        for (const key of " bot")
            keyClick(key);
        tryRows(["Bottles"]);
        keyClick("x");
        tryCompare(find("emptyText"), "text", "Nothing matches the filter");
        tryCompare(find("emptyText"), "visible", true);
        keyClick(Qt.Key_Escape);
        tryRows(plant);
        verify(list.activeFocus);
        tryCompare(find("countText"), "text", "7");
    }

    function test_filter_findsNamesAsWellAsLabels() {
        openPlant();
        view.filter = "count";
        tryRows(["Bottles"]);
        view.filter = "COUNT bott";
        tryRows(["Bottles"]);
        view.filter = "bottles";
        tryRows(["Bottles"]);
    }

    function test_rows_areInNaturalOrder() {
        for (const name of ["10", "9", "9a", "b", "A"])
            root.stage.declareDouble("/mixed/" + name, "", 0);
        root.stage.declareDouble("/mixed/x", "Item 10", 0);
        root.stage.declareDouble("/mixed/y", "item 9", 0);
        view.open("/mixed");
        tryRows(["9", "9a", "10", "A", "b", "item 9", "Item 10"]);
    }

    function test_rows_promiseOnlyWhatIsBelow() {
        root.stage.declareDouble("/plant/level/limit", "", 50);
        const promises = row => findItem(row, item => item.text === "\u203a" && item.visible) !== null;
        tryRows(["Bottling works", "other"]);
        verify(promises(row("other")));
        openPlant();
        select("Bottles");
        tryVerify(() => root.view.childCount === 0);
        verify(!promises(row("Bottles")) && !find("openButton").visible);
        keyClick(Qt.Key_Right);
        compare(view.keyword, "/plant");
        mouseDoubleClickSequence(row("Bottles"));
        compare(view.keyword, "/plant");

        // The children of a keyword with a value are known after it has been selected.
        verify(!promises(row("Level")));
        select("Level");
        tryVerify(() => promises(row("Level")));
        compare(find("openButton").text, "1 below \u203a");
        keyClick(Qt.Key_Right);
        compare(view.keyword, "/plant/level");
        tryRows(["limit"]);
    }

    function test_filter_byType() {
        openPlant();
        choose("typeChoice", 2);
        tryRows(["Bottles", "limit"]);
        choose("typeChoice", 1);
        tryRows(["Running"]);
        choose("typeChoice", 0);
        tryRows(plant);
    }

    function test_filter_byAccess() {
        openPlant();
        choose("accessChoice", 3);
        tryRows(["Bottles", "Level", "limit", "Name of the plant", "Recipe", "Running"]);
        choose("accessChoice", 0);
        tryRows(plant);
    }

    function test_list_keepsSelectionAndPlace() {
        root.stage.declareMany("/many", 2000);
        view.open("/many");
        tryCompare(list, "count", 2000);
        // With labels and in order: the labels arrive after the rows.
        tryVerify(() => list.itemAtIndex(10) && list.itemAtIndex(10).displayName === "Label 10");
        view.selected = "/many/k1500";
        tryVerify(() => list.currentIndex > 0);
        list.positionViewAtIndex(list.currentIndex, ListView.Center);
        const place = list.contentY - list.originY;
        const index = list.currentIndex;
        verify(place > 1000);

        loads.target = list.model;
        loads.clear();
        keyClick(Qt.Key_F5);
        // After the query and its reply, the rows are the same.
        tryCompare(loads, "count", 2);
        tryCompare(list, "count", 2000);
        tryVerify(() => list.currentIndex === index);
        tryVerify(() => Math.abs(list.contentY - list.originY - place) < 1);
        tryVerify(() => list.itemAtIndex(index) && list.itemAtIndex(index).displayName === "Label 1500");
        verify(list.itemAtIndex(index).selected);
        // The same when the label of a distant row changes.
        const top = placeText();
        root.stage.setLabel("/many/k0", "Label 0, the first");
        tryVerify(() => list.model.get(0).displayName === "Label 0, the first");
        compare(placeText(), top);
        compare(view.selected, "/many/k1500");
    }

    // The row at the top of the list, and the position of its upper edge.
    function placeText(): string {
        const top = list.itemAt(0, list.contentY) as ChildRow;
        if (!top)
            return "nothing";
        return top.displayName + " at " + (list.contentY - top.y) + " of row " + list.indexAt(0, list.contentY);
    }

    // Labels arrive one after the other, some of them after the first rows are shown.
    function hasAllLabels(): bool {
        for (let i = 0; i < list.count; ++i) {
            if (!String(list.model.get(i).displayName).startsWith("Label"))
                return false;
        }
        return true;
    }

    function test_list_keepsItsPlaceThroughAReconnect_data() {
        return [
            { tag: "all", filter: "", count: 300 },
            { tag: "by label", filter: "label 1", count: 138 },
            { tag: "by name", filter: "k2", count: 111 },
        ];
    }

    function test_list_keepsItsPlaceThroughAReconnect(row) {
        root.stage.declareMany("/many", 300);
        connectTo(root.stage.listen());
        view.open("/many");
        tryCompare(list, "count", 300);
        tryVerify(() => list.itemAtIndex(2) && list.itemAtIndex(2).displayName === "Label 2");
        tryVerify(() => hasAllLabels());
        view.filter = row.filter;
        tryCompare(list, "count", row.count);
        list.contentY = list.originY + 50 * 30 + 11;
        const top = list.itemAtIndex(50).displayName;
        view.selected = list.itemAtIndex(53).keyword;
        const selected = view.selected;
        tryCompare(list, "currentIndex", 53);

        root.stage.goAway();
        tryCompare(root.stage.session, "connected", false);
        root.stage.declareDouble("/many/a", "Label 0, k2, label 1", 0); // is sorted before the others
        loads.target = list.model;
        loads.clear();
        root.stage.listen();
        tryCompare(root.stage.session, "connected", true, 10000);
        tryCompare(loads, "count", 2, 10000);
        tryCompare(list, "count", row.count + 1);
        tryVerify(() => placeText() === top + " at 11 of row 51", 5000, placeText());
        compare(view.selected, selected);
        tryCompare(list, "currentIndex", 54);
        // The same when a label moves a row from the end to the beginning.
        root.stage.setLabel("/many/k299", "Another, label 1 k2");
        tryVerify(() => placeText() === top + " at 11 of row 52", 5000, placeText());
        compare(view.selected, selected);
    }

    function test_list_ofAnotherServerIsNotShown() {
        openPlant();
        connectTo("ws://127.0.0.1:1"); // no server is listening
        tryCompare(list, "count", 0);
        tryCompare(find("emptyText"), "text", "Not connected");
    }

    function test_list_scrollBarIsThereWhenItIsNeeded() {
        const scroller = find("childScroller");
        openPlant();
        verify(!scroller.visible);
        compare(row("Level").width, list.width);
        root.stage.declareMany("/many", 100);
        view.open("/many");
        tryCompare(list, "count", 100);
        tryCompare(scroller, "visible", true);
        compare(scroller.opacity, 1);
        compare(scroller.contentItem.opacity, 1);
        // It does not cover the rows.
        tryVerify(() => list.itemAtIndex(0).width <= scroller.x);
        view.filter = "k99";
        tryCompare(scroller, "visible", false);

        const pins = find("pinnedScroller");
        root.stage.preferences.pinned = ["/plant/level", "/plant/count"];
        tryPinnedRows(["Level | /plant/level | 41.5 | good", "Bottles | /plant/count | 7 | good"]);
        verify(!pins.visible);
        const many = [];
        for (let i = 0; i < 20; ++i)
            many.push("/many/k" + i);
        root.stage.preferences.pinned = many;
        tryCompare(pins, "visible", true);
        tryVerify(() => find("pinnedList").itemAtIndex(0).width <= pins.x);
    }

    function test_list_ofTenThousand() {
        root.stage.declareMany("/many", 10000);
        view.open("/many");
        tryCompare(list, "count", 10000);
        tryVerify(() => list.itemAtIndex(1) && list.itemAtIndex(1).displayName === "Label 1", 20000);
        // Only visible rows are instantiated.
        verify(list.contentItem.children.length < 100, list.contentItem.children.length);
        keyClick(Qt.Key_End);
        compare(list.currentIndex, 9999);
        tryVerify(() => list.itemAtIndex(9999) && list.itemAtIndex(9999).selected);
        compare(view.selected, "/many/k9999");
    }

    function test_detail_valueStateAndChanges() {
        openPlant();
        select("Level");
        const value = find("valueText");
        tryCompare(value, "text", "41.5");
        compare(find("typeText").text, "double");
        compare(find("keywordText").text, "/plant/level");
        for (const flag of ["connectedFlag", "onlineFlag", "consistentFlag", "errorFlag"])
            verify(find(flag).known && find(flag).good, flag);
        verify(find("changeText").text.startsWith("not changed since"));

        root.stage.setValue("/plant/level", 42);
        tryCompare(value, "text", "42");
        verify(find("changeText").text.startsWith("last change"));
        tryVerify(() => find("changeRateText").text !== "0.0 changes/s");

        root.stage.setState("/plant/level", true, false, false, true);
        tryVerify(() => !find("onlineFlag").good && !find("consistentFlag").good
                        && !find("errorFlag").good && find("connectedFlag").good);
        compare(find("onlineFlag").meaning, "its source does not deliver data");
        compare(find("consistentFlag").meaning, "not consistent with all its sources");
        compare(find("errorFlag").meaning, "invalid, or a write was refused");
        root.stage.setState("/plant/level", false, true, true, false);
        tryVerify(() => !find("connectedFlag").good);
        compare(find("connectedFlag").meaning, "the server has no source");
    }

    function test_detail_levelWithoutAValue() {
        tryRows(["Bottling works", "other"]);
        select("Bottling works");
        tryCompare(find("valuelessText"), "visible", true);
        for (const name of ["valueText", "connectedFlag", "changeText", "plot", "outcomeText"])
            verify(!find(name).visible, name);
        keyClick(Qt.Key_Right);
        tryRows(plant);
        select("Level");
        tryCompare(find("valueText"), "visible", true);
        verify(!find("valuelessText").visible && find("connectedFlag").visible);
    }

    function test_detail_valuelessTextTellsWhatIsBelow() {
        tryRows(["Bottling works", "other"]);
        select("Bottling works");
        tryCompare(find("valuelessText"), "visible", true);
        compare(find("valuelessText").text, "This level has no value. Press Right to list its children.");
        view.selected = "/nowhere";
        tryCompare(find("valuelessText"), "text", "This level has no value and no children.");
        tryCompare(find("valuelessText"), "visible", true);
        verify(!find("openButton").visible);
    }

    function test_detail_longTextIsReadInFull_data() {
        return [
            { tag: "one line", text: "More of it. ".repeat(100) },
            { tag: "two lines", text: "first\nsecond" },
        ];
    }

    function test_detail_longTextIsReadInFull(row) {
        openPlant();
        select("Name of the plant");
        tryCompare(find("valueText"), "text", "North");
        verify(!find("longText").visible);
        root.stage.setValue("/plant/name", row.text);
        tryCompare(find("longText"), "visible", true);
        compare(find("longEdit").text, row.text);
        const value = find("valueText"); // one line, which does not cover anything next to it
        compare(value.lineCount, 1);
        verify(value.contentWidth <= value.width, value.contentWidth);
    }

    function test_detail_plotFitsTheType_data() {
        return [
            { tag: "double", name: "Level", visible: true },
            { tag: "int", name: "Bottles", visible: true },
            { tag: "bool", name: "Running", visible: true },
            { tag: "string", name: "Serial", visible: false },
            { tag: "object", name: "Recipe", visible: false },
        ];
    }

    function test_detail_plotFitsTheType(row) {
        openPlant();
        select(row.name);
        tryCompare(find("plot"), "visible", row.visible);
    }

    function test_trend_showsWhatIsPinned() {
        openPlant();
        select("Level");
        keyClick(Qt.Key_T, Qt.ControlModifier);
        tryCompare(find("trendPane"), "visible", true);
        verify(find("trendEmpty").visible && !find("trendPlot").visible);
        verify(!find("trendExport").enabled);
        keyClick(Qt.Key_D, Qt.ControlModifier); // also pins the selected keyword in this view
        tryCompare(find("trendPlot"), "visible", true);
        const histories = find("trendPlot").histories;
        compare(histories.count, 1);
        tryVerify(() => histories.at(0).name === "Level" && histories.at(0).sampleCount > 0);

        // If two keywords have the same label, the keyword is added to it.
        root.stage.declareDouble("/other#1/value", "Level", 2.5);
        root.stage.preferences.pinned = ["/plant/level", "/other#1/value"];
        tryVerify(() => histories.count === 2 && histories.at(1).name === "Level /other#1/value");
        tryCompare(histories.at(0), "name", "Level /plant/level");
        tryVerify(() => histories.at(1).sampleCount > 0);
        const plot = find("trendPlot");
        plot.forceActiveFocus();
        keyClick(Qt.Key_Plus);
        verify(plot.span < 60);
        click(find("trendClose"));
        tryCompare(find("detailPane"), "visible", true);
        verify(!find("trendPane").visible);

        // Samples of pinned keywords are also recorded while they are not shown.
        const samples = histories.at(0).sampleCount;
        root.stage.setValue("/plant/level", 43);
        tryVerify(() => histories.at(0).sampleCount > samples);
    }

    function test_export_asksForAFile() {
        openPlant();
        select("Level");
        tryCompare(find("plot"), "visible", true);
        tryVerify(() => findChild(view, "history").sampleCount > 0);
        keyClick(Qt.Key_E, Qt.ControlModifier);
        const part = name => findChild(find("exportPopup").contentItem, name);
        const field = () => part("exportFile");
        tryVerify(() => field().activeFocus);
        verify(/level-\d{8}-\d{6}\.csv$/.test(field().text), field().text);
        const problem = () => part("exportProblem");
        const file = root.stage.newFile("level.csv");
        field().text = file + "/no/such";
        keyClick(Qt.Key_Return);
        tryVerify(() => problem().visible && problem().text.includes(file + "/no/such"));
        field().text = file;
        verify(!problem().visible);
        keyClick(Qt.Key_Return);
        tryVerify(() => !find("exportPopup").visible);
        const written = root.stage.read(file);
        verify(/^"Time","\/plant\/level"\r\n(\d{4}-[^,]*,41.5\r\n)+$/.test(written), written);

        // An existing file is only replaced after a confirmation.
        root.stage.setValue("/plant/level", 43);
        tryCompare(find("valueText"), "text", "43");
        click(find("exportButton"));
        tryVerify(() => field().activeFocus);
        field().text = file;
        keyClick(Qt.Key_Return);
        tryVerify(() => problem().visible && problem().text.includes("already"));
        compare(root.stage.read(file), written);
        keyClick(Qt.Key_Return);
        tryVerify(() => !find("exportPopup").visible);
        verify(root.stage.read(file).endsWith(",43\r\n"));
    }

    function test_write_number() {
        openPlant();
        select("Level");
        tryCompare(find("valueText"), "text", "41.5");
        keyClick(Qt.Key_Return); // moves the focus to the field
        verify(find("valueField").activeFocus);
        for (const key of "50.25")
            keyClick(key);
        keyClick(Qt.Key_Return);
        tryCompare(find("valueText"), "text", "50.25");
        verify(/^50.25 sent, 50.25 received after \d+ ms$/.test(outcome()), outcome());
        compare(root.stage.value("/plant/level"), 50.25);

        click(find("plusButton"));
        tryCompare(find("valueText"), "text", "51.25");
        verify(/^\+1 sent, 51.25 received/.test(outcome()), outcome());
        const step = find("stepField");
        step.text = "0.5";
        click(find("minusButton"));
        tryCompare(find("valueText"), "text", "50.75");
        verify(/^-0.5 sent, 50.75 received/.test(outcome()), outcome());
    }

    function test_write_badNumberIsNotSent_data() {
        return [
            { tag: "text", name: "Level", text: "warm", problem: "\"warm\" is not a number" },
            { tag: "nothing", name: "Level", text: " ", problem: "a number is expected" },
            { tag: "infinite", name: "Level", text: "1e999", problem: "1e999 is too large" },
            { tag: "fraction for an int", name: "Bottles", text: "1.5",
              problem: "\"1.5\" is not an integer" },
            { tag: "groups", name: "Level", text: "1,000", problem: "\"1,000\" is not a number" },
        ];
    }

    function test_write_badNumberIsNotSent(row) {
        openPlant();
        select(row.name);
        const field = find("valueField");
        tryCompare(field, "visible", true);
        field.text = row.text;
        click(find("setButton"));
        compare(field.problem, row.problem);
        compare(outcome(), "not sent: " + row.problem); // as text, not only in the tool tip
        field.forceActiveFocus();
        keyClick(Qt.Key_End);
        keyClick("x");
        compare(field.problem, "");
        compare(outcome(), ""); // cleared while the user corrects it
        field.text = "12";
        click(find("setButton"));
        compare(field.problem, "");
        tryCompare(find("valueText"), "text", "12");
    }

    function test_write_badStepIsNotSent() {
        openPlant();
        select("Level");
        const step = find("stepField");
        tryCompare(step, "visible", true);
        step.text = "much";
        click(find("minusButton"));
        compare(outcome(), "not sent: \"-much\" is not a number");
        verify(step.problem !== "");
        step.text = "";
        click(find("plusButton"));
        compare(outcome(), "not sent: a number is expected");
        step.text = "-2";
        click(find("minusButton"));
        tryCompare(find("valueText"), "text", "43.5");
        compare(step.problem, "");
    }

    // Numbers and times are shown and read in the format of the user's locale everywhere.
    function test_locale_isFollowedEverywhere() {
        root.stage.setLocale("de_DE");
        view = createTemporaryObject(browser, root);
        list = find("childView");
        root.stage.preferences.pinned = ["/plant/level", "/plant/count"];
        openPlant();
        select("Level");
        tryCompare(find("valueText"), "text", "41,5");
        verify(findItem(row("Level"), item => item.text === "41,5"));
        tryPinnedRows(["Level | /plant/level | 41,5 | good", "Bottles | /plant/count | 7 | good"]);
        tryVerify(() => / \d\d:\d\d:\d\d,\d\d\d, /.test(find("changeText").text), 5000,
                  find("changeText").text);
        tryVerify(() => /^\d+,\d changes\/s$/.test(find("changeRateText").text), 5000,
                  find("changeRateText").text);
        tryVerify(() => /^\d+,\d events\/s$/.test(find("rateText").text), 5000, find("rateText").text);
        choose("modeChoice", 3);
        tryCompare(find("aggregateText"), "text", "48,5");

        find("valueField").text = "1234567,25";
        click(find("setButton"));
        tryCompare(find("valueText"), "text", "1234567,25");
        compare(root.stage.value("/plant/level"), 1234567.25);
        verify(/^1234567,25 sent, 1234567,25 received/.test(outcome()), outcome());
        find("stepField").text = "0,25";
        click(find("minusButton"));
        tryCompare(find("valueText"), "text", "1234567");
        verify(/^-0,25 sent, 1234567 received/.test(outcome()), outcome());
        click(find("plusButton"));
        tryVerify(() => /^\+0,25 sent, 1234567,25 received/.test(outcome()), 5000, outcome());
        root.stage.setValue("/plant/level", 0.1 + 0.2);
        tryCompare(find("valueText"), "text", "0,3");
    }

    // A locale whose signs and digits differ from those of programs.
    function test_locale_withItsOwnDigits() {
        root.stage.setLocale("fa_IR");
        view = createTemporaryObject(browser, root);
        list = find("childView");
        openPlant();
        select("Level");
        const shown = number => Number(number).toLocaleString(Qt.locale("fa_IR"), "g", 6);
        tryCompare(find("valueText"), "text", shown(41.5));
        find("stepField").text = shown(-0.5);
        click(find("minusButton"));
        tryCompare(find("valueText"), "text", shown(42));
        click(find("plusButton"));
        tryCompare(find("valueText"), "text", shown(41.5));
    }

    function test_write_readOnlyIsNotOffered() {
        openPlant();
        select("Serial");
        tryCompare(find("valueText"), "text", "A-7");
        const reason = find("notWritableText");
        tryCompare(reason, "visible", true);
        compare(reason.text, "read-only: the server takes no value for it");
        verify(!reason.truncated);
        for (const name of ["valueField", "setButton", "trueButton", "plusButton", "stepField"])
            verify(!find(name).visible, name);
        keyClick(Qt.Key_Return); // there is no field
        verify(list.activeFocus);
        select("Level");
        tryCompare(find("valueField"), "visible", true);
        verify(!reason.visible);
        // The filter of the list has no effect on the selected keyword.
        choose("accessChoice", 3);
        root.stage.preferences.pinned = ["/plant/serial"];
        view.selected = "/plant/serial";
        tryCompare(reason, "visible", true);
        choose("accessChoice", 0);
        // A keyword that the server does not list may still exist.
        view.selected = "/plant/level/unit";
        verify(!find("notWritableText").text.includes("read-only"));
    }

    function test_write_bool() {
        openPlant();
        select("Running");
        tryCompare(find("toggleButton"), "visible", true);
        click(find("toggleButton"));
        tryCompare(find("valueText"), "text", "false");
        click(find("trueButton"));
        tryCompare(find("valueText"), "text", "true");
        click(find("falseButton"));
        tryCompare(find("valueText"), "text", "false");
        verify(!find("valueField").visible && !find("plusButton").visible);
    }

    function test_write_text() {
        openPlant();
        select("Name of the plant");
        const field = find("valueField");
        tryCompare(field, "visible", true);
        verify(!find("plusButton").visible);
        field.text = "South, 2";
        click(find("setButton"));
        tryCompare(find("valueText"), "text", "South, 2");
    }

    function test_write_refused() {
        root.stage.refuseWrites("/plant/name");
        openPlant();
        select("Name of the plant");
        tryCompare(find("valueText"), "text", "North");
        find("valueField").text = "B-8";
        click(find("setButton"));
        tryVerify(() => outcome().startsWith("B-8 sent, refused: North received with an error"),
                  5000, outcome());
        compare(find("valueText").text, "North");
        verify(!find("errorFlag").good);
    }

    function test_write_anotherValueComesBack() {
        openPlant();
        select("limit");
        tryCompare(find("valueField"), "visible", true);
        find("valueField").text = "500";
        click(find("setButton"));
        tryVerify(() => outcome().startsWith("500 sent, but 100 received"), 5000, outcome());
    }

    function test_write_whatItIsAlready() {
        openPlant();
        select("Bottles");
        tryCompare(find("valueText"), "text", "7");
        find("valueField").text = "7";
        click(find("setButton"));
        verify(outcome().startsWith("7 sent, waiting"));
        tryCompare(find("outcomeText"), "text", "7 sent, unchanged");
    }

    function test_write_object() {
        openPlant();
        select("Recipe");
        tryCompare(find("valueText"), "text", "{\"sugar\":3}");
        const field = find("valueField");
        tryCompare(field, "visible", true);
        verify(!find("notWritableText").visible && !find("trueButton").visible && !find("plusButton").visible);
        list.forceActiveFocus();
        keyClick(Qt.Key_Return); // the field contains the current value
        verify(field.activeFocus);
        compare(field.text, "{\"sugar\":3}");
        field.text = "{\"sugar\": 4, \"salt\": [1, 2]}";
        keyClick(Qt.Key_Return);
        tryCompare(find("valueText"), "text", "{\"salt\":[1,2],\"sugar\":4}");
        verify(/ received after \d+ ms$/.test(outcome()), outcome());
        field.text = "[]";
        click(find("setButton"));
        tryCompare(find("valueText"), "text", "[]");
    }

    function test_write_badJsonIsNotSent_data() {
        return [
            { tag: "nothing", text: "", problem: "\"\" is neither an object nor a list" },
            { tag: "a number", text: "7", problem: "\"7\" is neither an object nor a list" },
            { tag: "no end", text: "{\"sugar\": 4", problem: /^not valid JSON at character 11: ./ },
            { tag: "no value", text: "[1, 2, ]", problem: /^not valid JSON at character 8: ./ },
        ];
    }

    function test_write_badJsonIsNotSent(row) {
        openPlant();
        select("Recipe");
        const field = find("valueField");
        tryCompare(field, "visible", true);
        field.text = row.text;
        click(find("setButton"));
        verify(row.problem instanceof RegExp ? row.problem.test(field.problem) : field.problem === row.problem,
               field.problem);
        compare(outcome(), "not sent: " + field.problem);
        compare(JSON.stringify(root.stage.value("/plant/recipe")), "{\"sugar\":3}");
    }

    function test_pin_selectAndRemove() {
        openPlant();
        select("Level");
        keyClick("d", Qt.ControlModifier);
        select("Bottles");
        click(find("pinButton"));
        compare(root.stage.storedPins().join(" "), "/plant/level /plant/count");

        // A click in the table selects or removes a keyword.
        const pinned = find("pinnedList");
        tryPinnedRows(["Level | /plant/level | 41.5 | good", "Bottles | /plant/count | 7 | good"]);
        view.open("/other");
        tryRows(["1"]);
        click(findItem(pinned, item => item.text === "Level"));
        tryCompare(view, "selected", "/plant/level");
        compare(view.keyword, "/plant");
        tryRows(plant);
        tryVerify(() => list.currentIndex === 1);

        click(findChild(pinned.itemAtIndex(0), "unpinButton"));
        compare(root.stage.storedPins().join(" "), "/plant/count");
        keyClick("d", Qt.ControlModifier); // the selected keyword is appended again
        compare(root.stage.storedPins().join(" "), "/plant/count /plant/level");
        keyClick("d", Qt.ControlModifier);
        compare(root.stage.storedPins().join(" "), "/plant/count");
    }

    function test_pin_showsTheState_data() {
        return [
            { tag: "offline", flags: [true, false, true, false], state: "offline" },
            { tag: "inconsistent", flags: [true, true, false, false], state: "inconsistent" },
            { tag: "error", flags: [true, false, false, true], state: "error" },
            { tag: "no source", flags: [false, true, true, true], state: "no source" },
        ];
    }

    function test_pin_showsTheState(row) {
        root.stage.preferences.pinned = ["/plant/level", "/plant/limit"];
        tryPinnedRows(["Level | /plant/level | 41.5 | good", "limit | /plant/limit | 10 | good"]);
        root.stage.setState("/plant/level", ...row.flags);
        tryPinnedRows(["Level | /plant/level | 41.5 | " + row.state,
                       "limit | /plant/limit | 10 | good"]);
    }

    function test_pin_byKeys() {
        root.stage.preferences.pinned = ["/plant/level", "/plant/count", "/plant/limit"];
        const pinned = find("pinnedList");
        tryCompare(pinned, "count", 3);
        pinned.forceActiveFocus();
        keyClick(Qt.Key_Down);
        keyClick(Qt.Key_Return);
        compare(view.selected, "/plant/count");
        pinned.forceActiveFocus();
        keyClick(Qt.Key_Delete);
        compare(root.stage.storedPins().join(" "), "/plant/level /plant/limit");
    }

    function test_pin_isEdited_data() {
        return [
            { tag: "a number", keyword: "/plant/level", text: "12.5", shown: "12.5", value: 12.5, outcome: "taken" },
            { tag: "no number", keyword: "/plant/level", text: "x", shown: "41.5", value: 41.5,
              outcome: "\"x\" is not a number" },
            { tag: "too much", keyword: "/plant/limit", text: "700", shown: "100", value: 100,
              outcome: "a different value was set" },
            { tag: "a text", keyword: "/plant/name", text: "South", shown: "South", value: "South", outcome: "taken" },
        ];
    }

    function test_pin_isEdited(row) {
        root.stage.preferences.pinned = [row.keyword];
        const pinned = find("pinnedList");
        tryVerify(() => pinned.itemAtIndex(0) && pinned.itemAtIndex(0).stateText === "good");
        pinned.forceActiveFocus();
        keyClick(Qt.Key_F2);
        const field = findChild(pinned, "pinnedField");
        verify(field.visible && field.activeFocus);
        compare(field.selectedText, field.text);
        keyClick(Qt.Key_Escape);
        verify(pinned.activeFocus);
        verify(!field.visible);

        keyClick(Qt.Key_F2);
        field.text = row.text;
        keyClick(Qt.Key_Return);
        verify(pinned.activeFocus);
        tryVerify(() => pinned.itemAtIndex(0).outcomeText === row.outcome, 5000,
                  pinned.itemAtIndex(0).outcomeText);
        tryVerify(() => pinned.itemAtIndex(0).shownValue === row.shown, 5000, pinned.itemAtIndex(0).shownValue);
        compare(root.stage.value(row.keyword), row.value);
        verify(pinned.itemAtIndex(0).Accessible.name.includes(row.outcome));
        // In a narrow window, it replaces the state.
        compare(findChild(pinned, "pinnedOutcome").visible, true);
        view.width = 800;
        tryCompare(findChild(pinned, "pinnedOutcome"), "visible", false);
        const failed = row.outcome !== "taken";
        tryVerify(() => findChild(pinned, "pinnedState").text === (failed ? row.outcome : "good"));
    }

    function test_pin_readOnlyIsNotEdited() {
        root.stage.preferences.pinned = ["/plant/serial", "/plant/name"];
        const pinned = find("pinnedList");
        tryPinnedRows(["Serial | /plant/serial | A-7 | good", "Name of the plant | /plant/name | North | good"]);
        pinned.forceActiveFocus();
        const serial = pinned.itemAtIndex(0);
        tryCompare(serial, "readOnly", true);
        keyClick(Qt.Key_F2);
        verify(!serial.editing);
        verify(pinned.activeFocus);
        compare(findChild(serial, "pinnedOutcome").text, "read-only");
        verify(serial.Accessible.name.includes("read-only"));
        compare(serial.Accessible.description, "");

        keyClick(Qt.Key_Down);
        const name = pinned.itemAtIndex(1);
        verify(!name.readOnly);
        keyClick(Qt.Key_F2);
        verify(name.editing);
        keyClick(Qt.Key_Escape);

        // The mouse also changes the current row.
        mouseDoubleClickSequence(serial, 20, serial.height / 2);
        verify(serial.readOnly && !serial.editing);
    }

    // Editing that has begun ends when the reply of the server arrives.
    function test_pin_turnsOutToBeReadOnly() {
        root.stage.preferences.pinned = ["/plant/name", "/other#1/value"];
        const pinned = find("pinnedList");
        tryVerify(() => pinned.itemAtIndex(1) && pinned.itemAtIndex(1).stateText === "good");
        pinned.forceActiveFocus();
        pinned.currentIndex = 1;
        const value = pinned.itemAtIndex(1);
        value.edit();
        verify(value.editing);
        tryCompare(value, "editing", false);
        verify(value.readOnly);
        verify(pinned.activeFocus);
    }

    function test_aggregate_data() {
        return [
            { tag: "minimum", mode: 0, value: "7" },
            { tag: "maximum", mode: 1, value: "41.5" },
            { tag: "sum", mode: 3, value: "48.5" },
        ];
    }

    function test_aggregate(row) {
        verify(!find("aggregateText").visible);
        root.stage.preferences.pinned = ["/plant/level", "/plant/count"];
        choose("modeChoice", row.mode);
        tryCompare(find("aggregateText"), "text", row.value);
        root.stage.setValue("/plant/count", 6.0);
        root.stage.setValue("/plant/level", 43.5);
        tryCompare(find("aggregateText"), "text",
                   row.mode === 0 ? "6" : row.mode === 1 ? "43.5" : "49.5");
    }

    function connectTo(url: string) {
        find("addressField").text = url;
        click(find("connectButton"));
    }

    function test_server_isLostAndRegained() {
        const url = root.stage.listen();
        connectTo(url);
        compare(root.stage.session.shownAddress, url);
        tryCompare(root.stage.session, "connected", true);
        compare(find("connectionText").text, "Connected");
        compare(find("addressText").text, url);
        tryRows(["Bottling works", "other"]);
        openPlant();
        select("Level");
        tryCompare(find("valueText"), "text", "41.5");
        verify(!find("lostBanner").visible && !find("staleBadge").visible);
        root.stage.preferences.pinned = ["/plant/level", "/plant/count"];
        choose("modeChoice", 3);
        tryCompare(find("aggregateText"), "text", "48.5");
        tryPinnedRows(["Level | /plant/level | 41.5 | good", "Bottles | /plant/count | 7 | good"]);

        root.stage.goAway();
        tryCompare(find("lostBanner"), "visible", true);
        verify(find("lostText").text.startsWith("Connection lost"), find("lostText").text);
        compare(find("connectionText").text, "Not connected");
        // The last value is still shown, and is marked as old.
        compare(find("valueText").text, "41.5");
        verify(find("staleBadge").visible && find("valueText").font.strikeout);
        verify(!find("connectedFlag").known);
        compare(row("Level").stale, true);
        compare(texts(row("Level")).join(" "), "N Level level 41.5");
        verify(findItem(row("Level"), item => item.text === "41.5").font.strikeout);
        compare(find("aggregateText").text, "48.5");
        compare(find("path").children[0].text, "Bottling works");
        tryPinnedRows(["Level | /plant/level | 41.5 | last known",
                       "Bottles | /plant/count | 7 | last known"]);
        // A keyword that is pinned now has no value, and gets none from the others.
        root.stage.preferences.pin("/plant/limit");
        tryPinnedRows(["Level | /plant/level | 41.5 | last known",
                       "Bottles | /plant/count | 7 | last known",
                       "limit | /plant/limit | \u2014 | unknown"]);
        // While there is no connection, it is unknown whether the value has changed.
        verify(/^last seen [0-9:.]+, .+$/.test(find("changeText").text), find("changeText").text);
        find("valueField").text = "1";
        click(find("setButton"));
        compare(outcome(), "not sent: there is no connection");

        root.stage.setValue("/plant/level", 77);
        compare(root.stage.listen(), url);
        tryCompare(root.stage.session, "connected", true, 10000);
        tryCompare(find("valueText"), "text", "77");
        verify(!find("lostBanner").visible && !find("staleBadge").visible);
        tryRows(plant);
        compare(view.selected, "/plant/level");
        tryPinnedRows(["Level | /plant/level | 77 | good", "Bottles | /plant/count | 7 | good",
                       "limit | /plant/limit | 10 | good"]);
        tryVerify(() => find("changeText").text.startsWith("not changed since"));
    }

    function test_server_lostValueStays_data() {
        return [
            { tag: "int", name: "Bottles", value: "7" },
            { tag: "bool", name: "Running", value: "true" },
            { tag: "object", name: "Recipe", value: "{\"sugar\":3}" },
        ];
    }

    function test_server_lostValueStays(row) {
        find("addressField").text = root.stage.listen();
        click(find("connectButton"));
        tryCompare(root.stage.session, "connected", true);
        openPlant();
        select(row.name);
        tryCompare(find("valueText"), "text", row.value);
        root.stage.goAway();
        tryCompare(find("staleBadge"), "visible", true);
        compare(find("valueText").text, row.value);
    }

    function test_server_secretIsNotInTheTitle() {
        const window = createTemporaryObject(mainWindow, root);
        compare(window.title, "Keyword Browser");
        const url = root.stage.listen();
        connectTo(url + "/?token=hush&unit=north");
        tryCompare(root.stage.session, "connected", true);
        compare(window.title, url + "/?token=***&unit=north \u2013 Keyword Browser");
    }

    // A value that has become null is not known as the value before it.
    function test_server_lostNullStays() {
        connectTo(root.stage.listen());
        tryCompare(root.stage.session, "connected", true);
        openPlant();
        select("Level");
        tryCompare(find("valueText"), "text", "41.5");
        root.stage.preferences.pinned = ["/plant/level", "/plant/count"];
        choose("modeChoice", 3);
        tryCompare(find("aggregateText"), "text", "48.5");

        verify(root.stage.setNull("/plant/level"));
        tryCompare(find("valueText"), "text", "\u2014");
        verify(find("changeText").text.startsWith("last change"), find("changeText").text);
        tryVerify(() => find("aggregateText").text !== "48.5");
        const aggregate = find("aggregateText").text;
        compare(texts(row("Level")).join(" "), "N Level level \u2014");

        root.stage.goAway();
        tryCompare(find("staleBadge"), "visible", true);
        compare(find("valueText").text, "\u2014");
        compare(find("aggregateText").text, aggregate);
        compare(texts(row("Level")).join(" "), "N Level level");
    }

    function test_server_disconnectLasts() {
        find("addressField").text = root.stage.listen();
        click(find("connectButton"));
        tryCompare(root.stage.session, "connected", true);
        click(find("disconnectButton"));
        tryCompare(root.stage.session, "connected", false);
        verify(!root.stage.session.autoReconnect && !find("reconnectBox").checked);
        verify(find("lostText").text.endsWith("Automatic reconnection is off."));
        click(find("reconnectBox"));
        verify(root.stage.session.autoReconnect);
        tryCompare(root.stage.session, "connected", true, 10000);
    }

    function test_server_reasonAndNextAttemptAreTold() {
        root.stage.listen();
        root.stage.goAway();
        connectTo(root.stage.lastUrl());
        tryVerify(() => find("lostText").text.startsWith("Not connected: no value is known.  Reason: "
                                                         + "Connection refused.  Next attempt in "));
        verify(/ in [1-9][0-9]? s\.$/.test(find("lostText").text), find("lostText").text);
        verify(/^next attempt in [1-9][0-9]? s$/.test(find("retryText").text), find("retryText").text);
        compare(find("addressText").text, root.stage.lastUrl());
        root.stage.listen();
        tryCompare(find("tryNowButton"), "visible", true);
        click(find("tryNowButton"));
        tryCompare(root.stage.session, "connected", true);
        verify(!find("lostBanner").visible);
    }

    // With an authority and a token, which is visible neither in the window nor in its field.
    function test_server_withAuthorityAndToken() {
        const access = root.stage.listenWithTls();
        connectTo(access.url);
        tryVerify(() => find("lostText").text.includes("Reason: "));
        verify(!find("caField").visible);
        click(find("securityButton"));
        verify(find("caField").visible && find("tokenField").visible);
        find("caField").text = "/none";
        click(find("connectButton"));
        tryVerify(() => find("lostText").text.includes("Reason: /none: No such file or directory."));

        find("caField").text = access.authority;
        find("tokenField").text = access.token;
        verify(!find("tokenField").displayText.includes(access.token));
        click(find("connectButton"));
        tryCompare(root.stage.session, "connected", true, 10000);
        compare(texts(view).filter(text => text.includes(access.token)).join(" "), "");
        compare(find("tokenField").placeholderText, "token is set");
        tryRows(["Bottling works", "other"]);

        // Without the token, the server refuses the connection.
        click(find("forgetButton"));
        tryVerify(() => find("lostText").text.includes("HTTP status 401"));
        find("tokenField").text = access.token;
        connectTo("ws://127.0.0.1:1");
        tryVerify(() => find("lostText").text.includes("credentials are not sent over ws://"));
        verify(find("lostText").text.endsWith("These settings do not allow a connection."));
        verify(!find("retryText").visible);
        click(find("forgetButton"));
        click(find("securityButton"));
        find("caField").text = "";
        connectTo("");
        tryCompare(root.stage.session, "connected", true);
    }

    function test_server_secretsAreNotShown() {
        const url = root.stage.listen();
        connectTo(url + "/?token=hush");
        tryCompare(root.stage.session, "connected", true);
        compare(find("addressField").text, url + "/?token=***");
        compare(find("addressText").text, url + "/?token=***");
        compare(texts(view).filter(text => text.includes("hush")).join(" "), "");
        // The shown address stands for the complete one.
        click(find("connectButton"));
        compare(root.stage.session.addresses.join(" "), url + "/?token=hush");
        find("addressField").text = url + "/other?token=***";
        click(find("connectButton"));
        verify(find("addressProblem").text.includes("its secret is hidden here"));
        compare(root.stage.session.addresses.join(" "), url + "/?token=hush");
    }

    function test_server_passwordIsRefusedOverPlainAddresses() {
        connectTo("ws://me:hush@127.0.0.1:1 ws://127.0.0.1:2/?token=hush");
        const problem = find("addressProblem");
        verify(problem.visible && problem.text.includes("user and password are not sent over ws://"),
               problem.text);
        compare(find("addressField").text, "ws://me:***@127.0.0.1:1 ws://127.0.0.1:2/?token=***");
        compare(texts(view).filter(text => text.includes("hush")).join(" "), "");
        verify(root.stage.session.inProcess);
        // The reason is shown in full, and is removed by the next key.
        view.width = 800;
        tryVerify(() => !problem.truncated && problem.y + problem.height <= problem.parent.height);
        const field = find("addressField");
        field.forceActiveFocus();
        keyClick("x");
        tryCompare(problem, "visible", false);
    }

    function test_server_badAddressChangesNothing_data() {
        return [
            { tag: "scheme", text: "http://127.0.0.1" },
            { tag: "no scheme", text: "127.0.0.1:80" },
            { tag: "one of two", text: "ws://127.0.0.1:1, ftp://127.0.0.1" },
        ];
    }

    function test_server_badAddressChangesNothing(row) {
        const field = find("addressField");
        field.text = row.text;
        click(find("connectButton"));
        verify(field.problem.includes("not a WebSocket address"), field.problem);
        compare(find("addressProblem").text, field.problem);
        verify(root.stage.session.inProcess && root.stage.session.connected);
        field.forceActiveFocus();
        keyClick(Qt.Key_Escape);
        compare(field.text, "");
        compare(field.problem, "");
    }

    function test_keyboard_reachesEverything() {
        root.stage.preferences.pinned = ["/plant/level"];
        openPlant();
        select("Level");
        tryCompare(find("valueField"), "visible", true);
        click(find("securityButton"));
        const wanted = ["addressField", "connectButton", "securityButton", "caField",
                        "certificateField", "keyField", "tokenField", "upButton", "searchField", "typeChoice",
                        "accessChoice", "childView", "pinButton", "valueField", "setButton",
                        "minusButton", "stepField", "plusButton", "pinnedList", "modeChoice"];
        const reached = {};
        for (let i = 0; i < 60; ++i) {
            keyClick(Qt.Key_Tab);
            for (const name of wanted.filter(name => find(name).activeFocus))
                reached[name] = true;
        }
        compare(wanted.filter(name => !reached[name]).join(" "), "");
        click(find("securityButton"));
    }

    function pages(): var {
        return [
            { tag: "number", name: "Level" },
            { tag: "bool", name: "Running" },
            { tag: "text", name: "Name of the plant" },
            { tag: "object", name: "Recipe" },
            { tag: "read-only", name: "Serial" },
            { tag: "long text", name: "Name of the plant", text: "first\nsecond" },
            { tag: "trend", name: "Level", trend: true },
            { tag: "security", name: "Level", security: true },
            { tag: "disconnected", name: "Level", lost: true },
            { tag: "export", name: "Level", exporting: true },
        ];
    }

    // Returns the item of the page.
    function turnTo(page: var): Item {
        const url = root.stage.listen();
        connectTo(url);
        tryCompare(root.stage.session, "connected", true);
        root.stage.preferences.pinned = ["/plant/level", "/plant/count"];
        openPlant();
        view.selected = "/plant/" + ({ "Level": "level", "Running": "running", "Serial": "serial",
                                      "Recipe": "recipe" }[page.name] ?? "name");
        tryVerify(() => findChild(view, "history").known);
        if (page.text)
            root.stage.setValue("/plant/name", page.text);
        tryCompare(find("longText"), "visible", Boolean(page.text));
        view.trend = page.trend ?? false;
        if (page.security)
            click(find("securityButton"));
        if (page.lost) {
            root.stage.goAway();
            tryCompare(find("lostBanner"), "visible", true);
            tryCompare(find("tryNowButton"), "visible", true);
        }
        if (page.exporting) {
            tryVerify(() => findChild(view, "history").sampleCount > 0);
            click(find("exportButton"));
            tryVerify(() => find("exportPopup").opened);
            return find("exportPopup").contentItem;
        }
        return view;
    }

    function turnBack(page: var) {
        if (page.exporting)
            find("exportPopup").close();
        if (page.security)
            click(find("securityButton"));
    }

    function test_access_everythingIsNamedAndReached_data() {
        return pages();
    }

    // For screen readers, each control has a name and a role. Tab reaches all of them, in both directions.
    function test_access_everythingIsNamedAndReached(page) {
        const part = turnTo(page);
        const controls = root.stage.controls(part);
        verify(controls.length > 3, controls.length);
        const bad = controls.filter(control => control.name === "" || control.role <= 0);
        compare(bad.map(control => control.what + " " + control.role).join(", "), "");

        const stops = controls.filter(control => control.tabStop);
        for (const key of [Qt.Key_Tab, Qt.Key_Backtab]) {
            const left = new Set(stops.map(control => control.what + " " + control.name));
            stops[0].item.forceActiveFocus();
            for (let i = 0; i <= stops.length; ++i) {
                for (const stop of stops.filter(stop => stop.item.activeFocus))
                    left.delete(stop.what + " " + stop.name);
                keyClick(key);
            }
            compare(Array.from(left).join(", "), "");
        }
        turnBack(page);
    }

    function test_texts_canBeTranslated_data() {
        return pages();
    }

    // Except for names, values, and addresses, which come from the server.
    function test_texts_canBeTranslated(page) {
        root.stage.markTexts();
        view = createTemporaryObject(browser, root);
        list = find("childView");
        const part = turnTo(page);
        if (part === view && !page.lost) {
            tryVerify(() => find("pinnedList").itemAtIndex(0).stateText === "«good»");
            if (page.name === "Level" && !page.trend) {
                find("valueField").text = "warm";
                click(find("setButton"));
                tryVerify(() => outcome().startsWith("«not sent: "));
            }
        }
        const data = plant.concat(["Bottling works", "count", "level", "name", "recipe", "running", "serial",
                                   "North", "A-7", "true", "false", "first", "second", "warm", "sugar", "Connection refused"]);
        const spoken = root.stage.controls(part).map(control => control.name);
        const plain = texts(part).concat(spoken).map(text => {
            let rest = text.replace(/«[^]*»/, "");
            for (const word of data.concat(data.map(word => word.toLowerCase())))
                rest = rest.split(word).join("");
            return rest.replace(/\/[a-z#\/]+|wss?:\/\/[0-9.:]+|\{.*\}?|\S+\.csv/g, "");
        });
        compare(plain.filter(text => /[a-z]{2}/i.test(text)).join(" | "), "");
        turnBack(page);
    }

    function test_layout_fitsTheSmallestWindow_data() {
        return [ { tag: "dark", dark: true }, { tag: "light", dark: false } ];
    }

    function test_layout_fitsTheSmallestWindow(row) {
        root.stage.preferences.dark = row.dark;
        view.width = 800;
        view.height = 600;
        root.stage.preferences.pinned = ["/plant/level", "/plant/count"];
        openPlant();
        select("Level");
        tryCompare(find("valueText"), "text", "41.5");
        for (const name of ["pinButton", "plusButton", "errorFlag", "plot", "outcomeText",
                            "countText", "modeChoice", "rateText", "disconnectButton"]) {
            const item = find(name);
            const end = item.mapToItem(view, item.width, item.height);
            verify(item.visible && end.x <= view.width && end.y <= view.height,
                   name + " ends at " + end);
        }
        tryVerify(() => find("plot").height >= 60);
        for (const name of ["connectedFlag", "onlineFlag", "consistentFlag", "errorFlag"]) {
            verify(!findItem(find(name), item => item.truncated), name);
            verify(findItem(find(name), item => item.text === find(name).meaning).implicitWidth > 0);
        }
        root.stage.setState("/plant/level", false, false, false, true);
        tryVerify(() => !find("connectedFlag").good);
        for (const name of ["connectedFlag", "onlineFlag", "consistentFlag", "errorFlag"])
            verify(!findItem(find(name), item => item.truncated), find(name).meaning);

        // The hints are shown in full.
        const field = find("addressField");
        const hint = findItem(field, item => item.text === field.placeholderText);
        verify(hint && hint.implicitWidth <= field.width - 16, field.width);
        view.up();
        tryRows(["Bottling works", "other"]);
        tryCompare(find("valuelessText"), "visible", true);
        tryVerify(() => find("valuelessText").text.includes("Press Right to list"));
        verify(!find("valuelessText").truncated);
    }
}
