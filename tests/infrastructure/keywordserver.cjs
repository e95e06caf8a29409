// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT
//
// A small keyword server that uses the package ws of Node.js. Its arguments are a port (0 for a free one) and
// "deflate" or "plain". It reads the values of its keywords from standard input, one JSON object per line,
// and prints events on standard output, one per line.

"use strict"

const readline = require("node:readline")
const { WebSocketServer } = require("ws")

const [port, compression] = process.argv.slice(2)
const keywords = new Map([
    ["/plant/name", "Works"],
    ["/plant/tank1/level", 41.5],
    ["/plant/tank2/level", 7],
])
const say = (...words) => process.stdout.write(words.join(" ") + "\n")

const server = new WebSocketServer({
    host: "127.0.0.1",
    port: Number(port),
    perMessageDeflate: compression === "deflate" ? { threshold: 0 } : false,
    maxPayload: 64 * 1024 * 1024,
})

function typeOf(value) {
    return { boolean: "bool", number: "double", string: "string" }[typeof value] ?? "object"
}

function event(keyword) {
    const known = keywords.has(keyword)
    const value = known ? keywords.get(keyword) : null
    return JSON.stringify({
        cmd: "keyEvent",
        payload: { keyword, value, type: typeOf(value), connected: known, online: known,
                   consistent: true, error: false },
    })
}

function changed(keyword, send = (client, text) => client.send(text)) {
    for (const client of server.clients) {
        if (client.watched.has(keyword))
            send(client, event(keyword))
    }
}

// Sends one message in frames of the given number of bytes, which may split characters.
function sendInParts(client, text, size) {
    const bytes = Buffer.from(text)
    for (let at = 0; at < bytes.length; at += size)
        client.send(bytes.subarray(at, at + size),
                    { binary: false, fin: at + size >= bytes.length })
}

function children(payload) {
    const path = [payload.factory, payload.instance, ...(payload.keyQuery ?? [])]
    const parent = path.filter(level => level).map(level => "/" + level).join("")
    const names = new Map()
    for (const [keyword, value] of keywords) {
        if (!keyword.startsWith(parent + "/"))
            continue
        const rest = keyword.slice(parent.length + 1).split("/")
        names.set(parent + "/" + rest[0], rest.length === 1 ? typeOf(value) : "object")
    }
    return [...names].map(([name, type]) => ({ name, type }))
}

const commands = {
    keyCreateOrUpdate(client, { keyword }) {
        client.watched.add(keyword)
        client.send(event(keyword))
    },
    keyUpdate(client, { keyword, value, valueChangeMode }) {
        keywords.set(keyword, valueChangeMode === "relative" ? keywords.get(keyword) + value : value)
        changed(keyword)
    },
    keyDestroy(client, { keyword }) {
        client.watched.delete(keyword)
        say("destroyed", keyword)
    },
    keyIndex(client, payload) {
        client.send(JSON.stringify({
            cmd: "keyIndex", payload: { request: payload, response: children(payload) },
        }))
    },
}

const orders = {
    set: ({ keyword, value }) => { keywords.set(keyword, value); changed(keyword) },
    fragments: ({ keyword, value, size }) => {
        keywords.set(keyword, value)
        changed(keyword, (client, text) => sendInParts(client, text, size))
    },
    large: ({ keyword, size }) => { keywords.set(keyword, "x".repeat(size)); changed(keyword) },
    ping: () => server.clients.forEach(client => client.ping("are you there")),
    close: ({ code }) => server.clients.forEach(client => client.close(code, "as told")),
    terminate: () => server.clients.forEach(client => client.terminate()),
}

server.on("listening", () => say("listening", server.address().port))
server.on("error", error => {
    process.stderr.write(error.message + "\n")
    process.exit(1)
})
server.on("connection", client => {
    client.watched = new Set()
    say("connected", client.extensions || "plain")
    client.on("message", (data, isBinary) => {
        const { cmd, payload } = JSON.parse(isBinary ? "{}" : data.toString())
        commands[cmd]?.(client, payload)
    })
    client.on("ping", () => say("ping"))
    client.on("pong", data => say("pong", data))
    client.on("close", code => say("closed", code))
    client.on("error", error => say("error", error.message))
})
readline.createInterface({ input: process.stdin })
    .on("line", line => {
        const order = JSON.parse(line)
        orders[order.do](order)
    })
    .on("close", () => process.exit(0)) // the test has ended
