// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

//! [certificate]
import PellixClient.Keyword.Extras

PKeywordConnection {
    urls: ["wss://127.0.0.1:8765"]
    caFile: "/etc/plant/ca.crt"
    certificateFile: "/etc/plant/panel2.crt"
    keyFile: "/etc/plant/panel2.key"
}
//! [certificate]
