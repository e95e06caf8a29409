// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Usage: node search.js SITE
//
// The search of the documentation site finds what readers look for: each line contains some words, the page
// that must be among the first three results, and its heading. Runs the script of the site without a browser.

"use strict";

const fs = require("fs");
const path = require("path");
const vm = require("vm");

const expected = [
    ["setpoint readback", "setpoint.html"],
    ["state flags", "state-flags.html"],
    ["FetchContent", "building.html", "FetchContent and add_subdirectory"],
    ["autoReconnect", "qml-pellixclient-keyword-pwebsocketkeywordclient.html", "autoReconnect"],
    ["updaterelative", "qml-pellixclient-keyword-pkeywordproxy.html", "updateRelative()"],
    ["exit codes", "keyword-tool.html", "Exit codes"],
    ["vulnerability", "security.html", "Reporting"],
    ["house style", "contributing.html", "House style for text"],
    ["deployment", "platforms.html"],
    ["access tokens", "pellix-server-accesstokens.html"],
];
const nothing = ["xyzzyplugh", "setpoint xyzzyplugh", " "];

function loadSite(folder) {
    const element = {classList: {add() {}}, dataset: {}};
    const page = {addEventListener() {}, documentElement: element, createElement: () => element};
    const context = vm.createContext({document: page, localStorage: {getItem: () => null}});
    vm.runInContext(fs.readFileSync(path.join(folder, "style/site.js"), "utf8"), context);
    vm.runInContext("pellixSearch.show = () => {};", context);
    vm.runInContext(fs.readFileSync(path.join(folder, "style/search-index.js"), "utf8"), context);
    return text => vm.runInContext(`pellixSearch.find(${JSON.stringify(text)})`, context);
}

const find = loadSite(process.argv[2]);
let failures = 0;
for (const [text, page, heading] of expected) {
    const sections = find(text).slice(0, 3).map(hit => hit.section);
    if (!sections.some(section => section.address.startsWith(page) && (!heading || section.heading === heading))) {
        console.error(`"${text}" does not find ${page} ${heading || ""}, but:`);
        sections.forEach(section => console.error(`    ${section.address}  ${section.heading || section.title}`));
        ++failures;
    }
}
for (const text of nothing) {
    if (find(text).length) {
        console.error(`"${text}" finds something`);
        ++failures;
    }
}
console.log(`${expected.length + nothing.length - failures} of ${expected.length + nothing.length} searches passed`);
process.exitCode = failures ? 1 : 0;
