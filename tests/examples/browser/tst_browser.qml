// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

pragma ComponentBehavior: Bound

import QtQuick
import QtTest
import KeywordBrowser

// The browser as its user meets it: by clicks and keys, and by what is to be read in the window.
TestCase {
    id: root

    name: "Browser"
    when: windowShown
    visible: true
    width: 1000
    height: 700

    // The test program puts it into the context, where qmllint does not see it.
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

    SignalSpy {
        id: resets
        signalName: "modelReset"
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

    // Once it is where it belongs.
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

    // The first item below one for which a test holds.
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

    readonly property var plant: ["Bottles", "Level", "limit", "Name of the plant", "Recipe",
                                  "Running", "Serial"]

    function openPlant() {
        view.open("/plant");
        tryRows(plant);
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
        // It selects where it came from, and so goes down again by one key.
        compare(view.selected, "/plant");
        tryCompare(list, "currentIndex", 0);
        keyClick(Qt.Key_Right);
        compare(view.keyword, "/plant");
        keyClick(Qt.Key_Backspace);
        compare(view.keyword, "/");
        keyClick(Qt.Key_Left); // there is nothing above
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
        const path = find("path");
        compare(path.keyword, "/plant");
        tryVerify(() => findItem(path, item => item.text === "Bottling works"));
    }

    function test_rows_showTypeLabelAndLiveValue() {
        openPlant();
        compare(plant.map(name => row(name).typeLetter).join(""), "NNNTOBT");
        compare(row("Running").typeColor, "#f0a30a");
        verify(findItem(row("Name of the plant"), item => item.text === "North"));
        root.stage.setValue("/plant/level", 42.25);
        tryVerify(() => findItem(row("Level"), item => item.text === "42.25"));
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
        tryCompare(find("emptyText"), "text", "Nothing fits the filter");
        tryCompare(find("emptyText"), "visible", true);
        keyClick(Qt.Key_Escape);
        tryRows(plant);
        verify(list.activeFocus);
        tryCompare(find("countText"), "text", "7");
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
        tryRows(["Bottles", "Level", "limit", "Name of the plant", "Running"]);
        choose("accessChoice", 0);
        tryRows(plant);
    }

    function test_list_keepsSelectionAndPlace() {
        root.stage.declareMany("/many", 2000);
        view.open("/many");
        tryCompare(list, "count", 2000);
        // Labelled and in order: the labels arrive after the rows.
        tryVerify(() => list.itemAtIndex(2) && list.itemAtIndex(2).displayName === "Label 10");
        view.selected = "/many/k1500";
        tryVerify(() => list.currentIndex > 0);
        list.positionViewAtIndex(list.currentIndex, ListView.Center);
        const place = list.contentY - list.originY;
        const index = list.currentIndex;
        verify(place > 1000);

        resets.target = list.model;
        resets.clear();
        keyClick(Qt.Key_F5);
        // The rows go, and come anew with the answer.
        tryCompare(resets, "count", 2);
        tryCompare(list, "count", 2000);
        tryVerify(() => list.currentIndex === index);
        tryVerify(() => Math.abs(list.contentY - list.originY - place) < 1);
        tryVerify(() => list.itemAtIndex(index) && list.itemAtIndex(index).displayName === "Label 1500");
        verify(list.itemAtIndex(index).selected);
        // And with the next label, that of a row far away.
        root.stage.setValue("/many/k0/Label", "Zero");
        tryVerify(() => Math.abs(list.contentY - list.originY - place) < 1);
        compare(view.selected, "/many/k1500");
    }

    function test_list_ofTenThousand() {
        root.stage.declareMany("/many", 10000);
        view.open("/many");
        tryCompare(list, "count", 10000);
        tryVerify(() => list.itemAtIndex(1) && list.itemAtIndex(1).displayName === "Label 1", 20000);
        // Rows exist for what is to be seen only.
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
        compare(find("onlineFlag").meaning, "its device does not answer");
        compare(find("errorFlag").meaning, "invalid, or a write was refused");
        root.stage.setState("/plant/level", false, true, true, false);
        tryVerify(() => !find("connectedFlag").good);
        compare(find("connectedFlag").meaning, "the server has no source for it");
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

    function test_detail_plotFitsTheType_data() {
        return [
            { tag: "double", name: "Level", visible: true, steps: false },
            { tag: "int", name: "Bottles", visible: true, steps: false },
            { tag: "bool", name: "Running", visible: true, steps: true },
            { tag: "string", name: "Serial", visible: false, steps: false },
            { tag: "object", name: "Recipe", visible: false, steps: false },
        ];
    }

    function test_detail_plotFitsTheType(row) {
        openPlant();
        select(row.name);
        const plot = find("plot");
        tryCompare(plot, "visible", row.visible);
        compare(plot.steps, row.steps);
    }

    function test_write_number() {
        openPlant();
        select("Level");
        tryCompare(find("valueText"), "text", "41.5");
        keyClick(Qt.Key_Return); // to the field
        verify(find("valueField").activeFocus);
        for (const key of "50.25")
            keyClick(key);
        keyClick(Qt.Key_Return);
        tryCompare(find("valueText"), "text", "50.25");
        verify(/^50.25 sent, 50.25 came back after \d+ ms$/.test(outcome()), outcome());
        compare(root.stage.value("/plant/level"), 50.25);

        click(find("plusButton"));
        tryCompare(find("valueText"), "text", "51.25");
        verify(/^\+1 sent, 51.25 came back/.test(outcome()), outcome());
        const step = find("stepField");
        step.text = "0.5";
        click(find("minusButton"));
        tryCompare(find("valueText"), "text", "50.75");
        verify(/^-0.5 sent, 50.75 came back/.test(outcome()), outcome());
    }

    function test_write_badNumberIsNotSent_data() {
        return [
            { tag: "text", name: "Level", text: "warm", problem: "a number is expected" },
            { tag: "nothing", name: "Level", text: "", problem: "a number is expected" },
            { tag: "infinite", name: "Level", text: "1e999", problem: "a number is expected" },
            { tag: "fraction for an int", name: "Bottles", text: "1.5",
              problem: "a whole number is expected" },
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
        compare(outcome(), "");
        field.text = "12";
        click(find("setButton"));
        compare(field.problem, "");
        tryCompare(find("valueText"), "text", "12");
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
        openPlant();
        select("Serial");
        tryCompare(find("valueText"), "text", "A-7");
        find("valueField").text = "B-8";
        click(find("setButton"));
        tryVerify(() => outcome().startsWith("B-8 sent, refused: A-7 came back with an error"),
                  5000, outcome());
        compare(find("valueText").text, "A-7");
        verify(!find("errorFlag").good);
    }

    function test_write_anotherValueComesBack() {
        openPlant();
        select("limit");
        tryCompare(find("valueField"), "visible", true);
        find("valueField").text = "500";
        click(find("setButton"));
        tryVerify(() => outcome().startsWith("500 sent, but 100 came back"), 5000, outcome());
    }

    function test_write_whatItIsAlready() {
        openPlant();
        select("Bottles");
        tryCompare(find("valueText"), "text", "7");
        find("valueField").text = "7";
        click(find("setButton"));
        verify(outcome().startsWith("7 sent, waiting"));
        tryCompare(find("outcomeText"), "text", "7 sent, which is what it was already");
    }

    function test_write_objectIsNotOffered() {
        openPlant();
        select("Recipe");
        tryCompare(find("valueText"), "text", "{\"sugar\":3}");
        verify(!find("valueField").visible && !find("trueButton").visible);
    }

    function test_pin_selectAndRemove() {
        openPlant();
        select("Level");
        keyClick("d", Qt.ControlModifier);
        select("Bottles");
        click(find("pinButton"));
        compare(root.stage.storedPins().join(" "), "/plant/level /plant/count");

        // The list shows label and value, and selects and removes by a click.
        const pinned = find("pinnedList");
        tryVerify(() => findItem(pinned, item => item.text === " = 41.50 "));
        view.open("/other");
        tryRows(["1"]);
        click(findItem(pinned, item => item.text === "Level"));
        tryCompare(view, "selected", "/plant/level");
        compare(view.keyword, "/plant");
        tryRows(plant);
        tryVerify(() => list.currentIndex === 1);

        click(findItem(pinned, item => item.text === "x")); // of the first
        compare(root.stage.storedPins().join(" "), "/plant/count");
        keyClick("d", Qt.ControlModifier); // what is selected comes back, at the end
        compare(root.stage.storedPins().join(" "), "/plant/count /plant/level");
        keyClick("d", Qt.ControlModifier);
        compare(root.stage.storedPins().join(" "), "/plant/count");
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

    function test_server_isLostAndRegained() {
        const url = root.stage.listen();
        const address = find("addressField");
        address.text = url;
        click(find("connectButton"));
        compare(root.stage.session.address, url);
        tryCompare(root.stage.session, "connected", true);
        compare(find("connectionText").text, "Connected");
        compare(find("addressText").text, url);
        tryRows(["Bottling works", "other"]);
        openPlant();
        select("Level");
        tryCompare(find("valueText"), "text", "41.5");
        verify(!find("lostBanner").visible && !find("staleBadge").visible);
        root.stage.preferences.pin("/plant/level");

        root.stage.goAway();
        tryCompare(find("lostBanner"), "visible", true);
        verify(find("lostText").text.startsWith("Connection lost"), find("lostText").text);
        compare(find("connectionText").text, "Not connected");
        // The last value is still to be read, and looks it.
        compare(find("valueText").text, "41.5");
        verify(find("staleBadge").visible && find("valueText").font.strikeout);
        verify(!find("connectedFlag").known);
        compare(row("Level").stale, true);
        find("valueField").text = "1";
        click(find("setButton"));
        compare(outcome(), "1 not sent: there is no connection");

        root.stage.setValue("/plant/level", 77);
        compare(root.stage.listen(), url);
        tryCompare(root.stage.session, "connected", true, 10000);
        tryCompare(find("valueText"), "text", "77");
        verify(!find("lostBanner").visible && !find("staleBadge").visible);
        tryRows(plant);
        compare(view.selected, "/plant/level");
        tryVerify(() => findItem(find("pinnedList"), item => item.text === " = 77.00 "));
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
        verify(field.problem.includes("is no WebSocket address"), field.problem);
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
        const wanted = ["addressField", "connectButton", "upButton", "searchField", "typeChoice",
                        "accessChoice", "childView", "pinButton", "valueField", "setButton",
                        "minusButton", "stepField", "plusButton", "modeChoice"];
        const reached = {};
        for (let i = 0; i < 60; ++i) {
            keyClick(Qt.Key_Tab);
            const item = root.Window.window.activeFocusItem;
            if (item)
                reached[list.activeFocus ? "childView" : item.objectName] = true;
        }
        compare(wanted.filter(name => !reached[name]).join(" "), "");
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
    }
}
