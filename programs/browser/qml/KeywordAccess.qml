// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQml
import PellixClient.Keyword 1.0
import PellixClient.Keyword.Extras

/*
    Determines whether a keyword is read-only: the server lists it on its level, but not among the writable
    keywords. This requires two queries per level.
*/
QtObject {
    id: root

    required property PKeywordClient client
    required property string keyword
    // As far as is known.
    readonly property bool readOnly: writable.listed && readable.currentIndex >= 0 && writable.currentIndex < 0
    readonly property string level: keyword === "" ? "" : readable.parentOf(keyword)

    readonly property PKeywordChildren readable: PKeywordChildren {
        client: root.client
        keyword: root.level
        currentKeyword: root.keyword
        labels: false
        filterAccess: PKeyword.KVA_READ
    }
    readonly property PKeywordChildren writable: PKeywordChildren {
        client: root.client
        keyword: root.level
        currentKeyword: root.keyword
        labels: false
        filterAccess: PKeyword.KVA_WRITE
    }

    function refresh() {
        readable.refresh();
        writable.refresh();
    }
}
