// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

import QtQuick
import PellixClient.Keyword 1.0

/*!
    \qmltype PKeywordBinding
    \inherits Binding
    \brief Drives a property of any object from a keyword.

    It is no type of the module and is loaded by its address, "qrc:/PKeywordBinding.qml". target and
    property say what is driven, proxy.client and proxy.keyword by what:

    \code
    Loader {
        source: "qrc:/PKeywordBinding.qml"
        onLoaded: {
            item.property = "text"
            item.target = label
            item.proxy.client = keywordClient
            item.proxy.keyword = "/plant/name"
        }
    }
    \endcode

    client and keyword mirror those of the proxy. They are not meant to be assigned: that replaces
    the mirror and does not reach the proxy. The proxy signals a new keyword before it changes to
    it, so the mirror of keyword shows the one before.
*/
Binding {
    id: root

    property PKeywordProxy proxy: PKeywordProxy { }
    property PKeywordClient client: proxy.client
    property string keyword: proxy.keyword

    value: proxy.value

    function update(value) {
        proxy.update(value)
    }
}
