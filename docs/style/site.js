// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// The color scheme, the navigation on narrow screens, and the search of the documentation site. It works
// without a server: the index is a script, which is loaded when the search gets the focus.

"use strict";

const themeKey = "pellixclient-theme";

// Before the first paint. Without a choice, the page follows the system.
function applyTheme(theme) {
    if (theme === "dark" || theme === "light")
        document.documentElement.dataset.theme = theme;
}
try {
    applyTheme(localStorage.getItem(themeKey));
} catch (error) {
    // Some browsers refuse storage to pages that are files.
}

function toggleTheme() {
    const system = matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light";
    const theme = (document.documentElement.dataset.theme || system) === "dark" ? "light" : "dark";
    applyTheme(theme);
    try {
        localStorage.setItem(themeKey, theme);
    } catch (error) {
        // The choice then lasts for this page.
    }
}

const pellixSearch = {
    sections: null,
    wanted: false,

    load() {
        if (this.wanted)
            return;
        this.wanted = true;
        const script = document.createElement("script");
        script.src = "style/search-index.js";
        document.head.append(script);
    },

    // Called by the index: [address, title of the page, heading, text] for each section.
    fill(rows) {
        this.sections = rows.map(([address, title, heading, text]) => ({
            address, title, heading, text,
            name: (heading || title).toLowerCase(),
            all: (title + " " + heading + " " + text).toLowerCase()
        }));
        this.show();
    },

    // How well a section fits: 0 if a word is missing, more if words are in its heading.
    rank(section, words) {
        let rank = section.heading ? 1 : 2;
        for (const word of words) {
            if (!section.all.includes(word))
                return 0;
            const at = section.name.indexOf(word);
            if (section.name === word)
                rank += 30;
            else if (at >= 0)
                rank += /\w/.test(section.name[at - 1] || " ") ? 8 : 16;
            if (section.title.toLowerCase().includes(word))
                rank += 4;
        }
        return rank;
    },

    find(text) {
        const words = text.toLowerCase().split(/\s+/).filter(word => word);
        if (!words.length || !this.sections)
            return [];
        return this.sections.map(section => ({section, words, rank: this.rank(section, words)}))
            .filter(hit => hit.rank).sort((a, b) => b.rank - a.rank).slice(0, 12);
    },

    // The text around the first word that was found.
    excerpt({section, words}) {
        const lower = section.text.toLowerCase();
        const at = Math.max(0, Math.min(...words.map(word => lower.indexOf(word)).filter(index => index >= 0)));
        const start = at > 40 && Number.isFinite(at) ? lower.lastIndexOf(" ", at - 30) + 1 : 0;
        const text = section.text.slice(start, start + 120);
        const end = start + 120 < section.text.length ? text.lastIndexOf(" ") : text.length;
        return (start ? "… " : "") + text.slice(0, end) + (end < text.length ? " …" : "");
    },

    result(hit) {
        const item = document.createElement("li");
        const link = document.createElement("a");
        link.href = hit.section.address;
        const parts = [["b", hit.section.heading || hit.section.title],
            ["i", hit.section.heading ? hit.section.title : ""], ["span", this.excerpt(hit)]];
        for (const [tag, text] of parts) {
            const part = document.createElement(tag);
            part.textContent = text;
            link.append(part);
        }
        item.append(link);
        return item;
    },

    show() {
        const hits = this.find(this.input.value);
        this.list.replaceChildren(...hits.map(hit => this.result(hit)));
        if (!hits.length && this.sections && this.input.value.trim()) {
            const none = document.createElement("li");
            none.textContent = "Nothing found";
            this.list.append(none);
        }
        this.list.hidden = !this.list.children.length;
    },

    hide() {
        this.list.hidden = true;
    },

    // Up and Down move through the results, Return opens the first one.
    onKey(event) {
        const links = [...this.list.querySelectorAll("a")];
        const at = links.indexOf(document.activeElement);
        if (event.key === "Escape") {
            this.hide();
            this.input.focus();
        } else if (event.key === "Enter" && at < 0 && links.length) {
            links[0].click();
        } else if (event.key === "ArrowDown" && at + 1 < links.length) {
            links[at + 1].focus();
        } else if (event.key === "ArrowUp" && at >= 0) {
            (links[at - 1] || this.input).focus();
        } else {
            return;
        }
        event.preventDefault();
    },

    start() {
        const box = document.querySelector(".search");
        this.input = box.querySelector("input");
        this.list = box.querySelector(".results");
        this.input.addEventListener("focus", () => { this.load(); this.show(); });
        this.input.addEventListener("input", () => this.show());
        box.addEventListener("keydown", event => this.onKey(event));
        this.list.addEventListener("click", () => this.hide());
        document.addEventListener("click", event => box.contains(event.target) || this.hide());
        document.addEventListener("keydown", event => {
            if (event.key === "/" && !/^(INPUT|TEXTAREA)$/.test(document.activeElement.tagName)) {
                event.preventDefault();
                this.input.focus();
            }
        });
    }
};

function startNavigation() {
    const button = document.querySelector(".menu");
    button.addEventListener("click", () => {
        const open = document.body.classList.toggle("navigating");
        button.setAttribute("aria-expanded", open);
    });
    const current = document.querySelector("nav [aria-current]");
    const navigation = document.getElementById("navigation");
    if (current && current.offsetTop > navigation.clientHeight * 0.7)
        navigation.scrollTop = current.offsetTop - navigation.clientHeight / 2;
    const contents = document.querySelector(".contents");
    if (contents && !matchMedia("(min-width: 80rem)").matches)
        contents.open = false;
}

document.addEventListener("DOMContentLoaded", () => {
    document.documentElement.classList.add("scripted");
    document.querySelector(".theme").addEventListener("click", toggleTheme);
    pellixSearch.start();
    startNavigation();
});
