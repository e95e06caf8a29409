// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT
//
// Reads one JSON text per line, and prints it as JSON.stringify() writes it, with %n for a new line. The
// argument is the indentation; 0 for compact texts.

"use strict"

const readline = require("node:readline")

const indentation = Number(process.argv[2])
readline.createInterface({ input: process.stdin }).on("line", (line) => {
    const text = JSON.stringify(JSON.parse(line), null, indentation)
    process.stdout.write(text.replaceAll("\n", "%n") + "\n")
})
